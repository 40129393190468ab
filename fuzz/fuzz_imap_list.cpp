// Feeds arbitrary bytes to the parser of "* LIST" replies and to the mailbox-name codec.
// Any input must parse or be refused without crashing; a decoded name must be valid UTF-8
// whenever its wire form was ASCII, and an encoded name must decode back.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "uKwImapResponse.h"
#include "uKwUtf8.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TKwImapMailbox mailbox;
  ParseImapListLine(text, mailbox);
  const std::string decoded = DecodeModifiedUtf7(mailbox.Name.empty() ? text : mailbox.Name);
  if (IsValidUtf8(decoded) && DecodeModifiedUtf7(EncodeModifiedUtf7(decoded)) != decoded) abort();
  return 0;
}
