// Feeds arbitrary bytes to the header decoder and the address parser. Any input must
// decode without crashing, hanging or raising; decoded values must be valid UTF-8; the
// stored form must read back to the same bytes; rebuilt header lines must decode again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "uKwGMime.h"
#include "uKwHeaders.h"
#include "uKwStream.h"

namespace {

// Raw 8-bit text is read in the message charset: vary it with the input so that the
// fallback conversions (stateful, multi-byte, unknown) are exercised too.
constexpr std::string_view kCharsets[] = {"",         "windows-1252", "iso-2022-jp", "shift_jis",
                                          "utf-16le", "utf-7",        "koi8-r",      "no-such-set"};

void Require(bool condition) {
  if (!condition) abort();
}

void RequireValidFields(const TKwHeaders& h) {
  for (const std::string* text :
       {&h.Subject, &h.Organization, &h.From.Name, &h.From.Address, &h.ReplyTo.Name, &h.MessageID,
        &h.XMailer, &h.References, &h.InReplyTo})
    Require(IsValidUtf8(*text));
  for (int i = 0; i < h.ToList.Count(); ++i) Require(IsValidUtf8(h.ToList.Items(i).Name));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QUILLON_HOME", "/tmp/quillon-fuzz-home", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TKwHeaders headers;
  headers.Charset = kCharsets[size % std::size(kCharsets)];
  headers.LoadHeadersFromString(text);
  headers.DecodeHeaders();  // a second decode over the same lines must hold too
  RequireValidFields(headers);

  TKwPropertyWriter first;
  headers.WriteData(first);
  TKwHeaders loaded;
  TKwPropertyReader reader(first.Data());
  loaded.ReadData(reader);
  TKwPropertyWriter second;
  loaded.WriteData(second);
  Require(first.Data() == second.Data());

  headers.EncodeHeaders(size % 2 == 0);
  std::string rebuilt;
  for (const std::string& line : headers.Lines) rebuilt += line + "\r\n";
  TKwHeaders again;
  again.LoadHeadersFromString(rebuilt);
  RequireValidFields(again);

  std::string name, address;
  ParseEmailAddress(text, name, address);
  IsValidEmailAddress(text);
  return 0;
}
