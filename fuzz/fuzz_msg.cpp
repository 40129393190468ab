// Feeds arbitrary bytes to the Outlook message reader: the compound-file layer, the
// property streams, recipients, attachments, nested messages and the compressed RTF body.
// Any input must load or fail without crashing, hanging or raising; what loads must give
// valid UTF-8 bodies and named attachments.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "uKwMailMessage.h"
#include "uKwMsgReader.h"
#include "uKwRtfBody.h"
#include "uKwUtf8.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QUILLON_HOME", "/tmp/quillon-fuzz-home", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  TKwMailMessage message;
  std::string error;
  if (LoadMsgBytes(bytes, message, error)) {
    for (const std::string& line : message.TextPart) Require(IsValidUtf8(line));
    for (int i = 0; i < message.Attachments->GetCount(); ++i)
      Require(!message.Attachments->GetAttachment(i).FileName.empty());
  } else {
    Require(!error.empty());
  }
  // The RTF layer on its own, as the reader meets it inside a property.
  std::string rtf, html;
  if (DecompressRtf(bytes, rtf)) RtfExtractHtml(rtf, html);
  RtfToText(bytes);
  return 0;
}
