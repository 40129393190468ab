// Feeds arbitrary bytes to the message loader: MIME decoding, both walks over the MIME
// tree, S/MIME detection, uuencode, the derived data and every column. Any input must
// load without crashing, hanging or raising; bodies and names must be valid UTF-8; no
// attachment may be unnamed; the stored form must read back to the same bytes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "uKwGMime.h"
#include "uKwMailMessage.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

void RequireValidLines(const TStringList& lines) {
  for (const std::string& line : lines) Require(IsValidUtf8(line));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QUILLON_HOME", "/tmp/quillon-fuzz-home", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TKwMailMessage message;
  message.DecodeOptions = {doParseWords, doParseImageLinks};
  Require(message.LoadMIMEFromString(std::string(text)));
  RequireValidLines(message.TextPart);
  RequireValidLines(message.HtmlPart);
  for (int i = 0; i < message.Attachments->GetCount(); ++i) {
    Require(!message.Attachments->GetAttachment(i).FileName.empty());
    Require(IsValidUtf8(message.Attachments->GetAttachment(i).FileName));
  }
  for (int field = 0; field < TColumnFieldCount; ++field)
    message.ColumnFieldToDataString(static_cast<TColumnField>(field));

  std::string first, second;
  message.SaveToCompressedStream(first);
  TKwBaseMessage stored;
  Require(stored.LoadFromCompressedStream(first));
  stored.SaveToCompressedStream(second);
  Require(first == second);
  return 0;
}
