// Feeds arbitrary bytes to the action-file readers: the binary property stream, its
// base64 text and the JSON form. Any input must load or be refused, never crash or hang.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "uKwActionFile.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QUILLON_HOME", "/tmp/quillon-fuzz-home", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  TKwActionLoadResult fromStream = LoadActionFromStream(bytes);
  if (fromStream.Action) {
    // Whatever loaded must save again, and what it saves must load.
    std::string again;
    fromStream.Action->SaveToStream(again);
    if (!LoadActionFromStream(again).Action) abort();
  }
  LoadActionFromText(bytes);
  return 0;
}
