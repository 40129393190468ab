// Feeds arbitrary bytes to the parsers of POP3 replies: UIDL and LIST listings and the
// STAT line. Every entry taken must have a positive number and a printable value.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "uKwPop3Response.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const TKwPop3Listing& entry : ParsePop3Listing(text)) {
    if (entry.Number < 1 || entry.Value.empty()) abort();
    for (char c : entry.Value)
      if (c < 0x21 || c > 0x7E) abort();
  }
  int count = 0;
  int64_t total = 0;
  ParsePop3Stat(text, count, total);
  return 0;
}
