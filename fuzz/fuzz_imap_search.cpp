// Feeds arbitrary bytes to the parsers of "* SEARCH" and "* n FETCH" replies (literals
// included) and to the SELECT data readers. Any input must parse or be refused without
// crashing or reading past its end.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "uKwImapResponse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<uint32_t> numbers;
  ParseImapSearchLine(text, numbers);
  TKwImapFetch fetch;
  ParseImapFetch(text, fetch);
  uint32_t value = 0;
  ParseImapExists(text, value);
  ParseImapUidValidity(text, value);
  return 0;
}
