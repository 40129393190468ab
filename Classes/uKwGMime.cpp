#include "uKwGMime.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

#include <gmime/gmime.h>

#include "uKwDateTime.h"

namespace {

struct TGFree {
  void operator()(void* memory) const noexcept { g_free(memory); }
};
using TGCharPtr = std::unique_ptr<char, TGFree>;

struct TGDateTimeUnref {
  void operator()(GDateTime* date) const noexcept { g_date_time_unref(date); }
};
using TGDateTimePtr = std::unique_ptr<GDateTime, TGDateTimeUnref>;

// Nothing to decode: no encoded word, no 8-bit byte, no NUL (where the C string API
// would stop). Most header values are like this and skip GMime entirely.
bool IsPlainAscii(std::string_view text) {
  for (unsigned char c : text)
    if (c >= 0x80 || c == 0) return false;
  return true;
}

bool NeedsHeaderDecoding(std::string_view text) {
  return !IsPlainAscii(text) || text.find("=?") != std::string_view::npos;
}

// The length of the valid UTF-8 sequence at text[pos] (shortest form, no surrogates,
// at most U+10FFFF), or 0 when the byte there does not start one.
size_t Utf8SequenceLength(std::string_view text, size_t pos) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[pos + i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // bounds of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (pos + length > text.size()) return 0;
  if (byte(1) < low || byte(1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  return length;
}

void AppendLatin1(std::string& out, unsigned char c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

std::string TakeUtf8(TGCharPtr text) {
  if (!text) return {};
  std::string_view view(text.get());
  return IsValidUtf8(view) ? std::string(view) : RepairUtf8AsLatin1(view);
}

// The parser options of the calling thread for one fallback charset; rebuilt only when
// the charset changes (messages of one mailbox mostly share theirs).
GMimeParserOptions* ThreadParserOptions(std::string_view fallbackCharset) {
  thread_local std::string charset;
  thread_local TGMimeParserOptionsPtr options;
  if (!options || charset != fallbackCharset) {
    options = NewParserOptions(fallbackCharset);
    charset.assign(fallbackCharset);
  }
  return options.get();
}

bool IsUtf8Name(std::string_view charset) {
  return g_ascii_strcasecmp(std::string(charset).c_str(), "utf-8") == 0 ||
         g_ascii_strcasecmp(std::string(charset).c_str(), "utf8") == 0;
}

// The whole name as base64 words of at most 45 bytes each (cut between characters):
// readers that split address lists at commas before decoding, as ours do, and that take
// a quoted part as the whole name, still see one name. GMime's phrase encoder leaves
// ASCII words such as "Doe," bare, which those readers would split.
std::string EncodeWholePhrase(std::string_view utf8) {
  std::string phrase;
  for (size_t pos = 0; pos < utf8.size();) {
    size_t end = pos;
    while (end < utf8.size() && end - pos < 45) {
      const size_t length = std::max<size_t>(1, Utf8SequenceLength(utf8, end));
      if (end + length - pos > 45) break;
      end += length;
    }
    TGCharPtr base64(g_base64_encode(reinterpret_cast<const guchar*>(utf8.data() + pos), end - pos));
    if (!phrase.empty()) phrase += ' ';
    phrase += "=?utf-8?b?" + std::string(base64.get()) + "?=";
    pos = end;
  }
  return phrase;
}

}  // namespace

void EnsureGMimeInitialized() {
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
}

void TGObjectUnref::operator()(void* object) const noexcept {
  if (object) g_object_unref(object);
}

void TGMimeParserOptionsFree::operator()(_GMimeParserOptions* options) const noexcept {
  if (options) g_mime_parser_options_free(options);
}

void TGMimeFormatOptionsFree::operator()(_GMimeFormatOptions* options) const noexcept {
  if (options) g_mime_format_options_free(options);
}

TGMimeParserOptionsPtr NewParserOptions(std::string_view fallbackCharset) {
  EnsureGMimeInitialized();
  TGMimeParserOptionsPtr options(g_mime_parser_options_new());
  g_mime_parser_options_set_rfc2047_compliance_mode(options.get(), GMIME_RFC_COMPLIANCE_LOOSE);
  // GMime takes the first charset that converts without error, so the order is the rule:
  // UTF-8, then the message's charset, then Latin-1 (which never fails).
  const std::string charset(fallbackCharset);
  const char* charsets[] = {"utf-8", charset.c_str(), "iso-8859-1", nullptr};
  if (charset.empty() || IsUtf8Name(charset)) charsets[1] = "iso-8859-1", charsets[2] = nullptr;
  g_mime_parser_options_set_fallback_charsets(options.get(), charsets);
  return options;
}

std::string DecodeHeaderText(std::string_view value, std::string_view fallbackCharset) {
  if (!NeedsHeaderDecoding(value)) return std::string(value);
  EnsureGMimeInitialized();
  const std::string input(value);
  return TakeUtf8(TGCharPtr(
      g_mime_utils_header_decode_text(ThreadParserOptions(fallbackCharset), input.c_str())));
}

std::string DecodeHeaderPhrase(std::string_view value, std::string_view fallbackCharset) {
  if (!NeedsHeaderDecoding(value)) return std::string(value);
  EnsureGMimeInitialized();
  const std::string input(value);
  return TakeUtf8(TGCharPtr(
      g_mime_utils_header_decode_phrase(ThreadParserOptions(fallbackCharset), input.c_str())));
}

std::string EncodeHeaderText(std::string_view utf8) {
  if (IsPlainAscii(utf8)) return std::string(utf8);
  EnsureGMimeInitialized();
  const std::string input = IsValidUtf8(utf8) ? std::string(utf8) : RepairUtf8AsLatin1(utf8);
  TGCharPtr encoded(g_mime_utils_header_encode_text(nullptr, input.c_str(), nullptr));
  return encoded ? std::string(encoded.get()) : std::string();
}

std::string FormatAddressHeader(std::string_view name, std::string_view address) {
  if (name.empty()) return std::string(address);
  const std::string nameText = IsValidUtf8(name) ? std::string(name) : RepairUtf8AsLatin1(name);
  std::string phrase;
  if (IsPlainAscii(nameText)) {
    EnsureGMimeInitialized();
    TGCharPtr quoted(g_mime_utils_quote_string(nameText.c_str()));
    phrase = quoted ? quoted.get() : nameText;
  } else {
    phrase = EncodeWholePhrase(nameText);
  }
  return phrase + " <" + std::string(address) + ">";
}

std::string UnfoldHeader(std::string_view rawHeader) {
  // GMime's unfolding rule, done here so that a NUL byte does not cut the value short.
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  size_t first = 0, last = rawHeader.size();
  while (first < last && isBlank(rawHeader[first])) ++first;
  while (last > first && isBlank(rawHeader[last - 1])) --last;
  std::string unfolded;
  unfolded.reserve(last - first);
  for (size_t i = first; i < last; ++i)
    if (rawHeader[i] != '\r' && rawHeader[i] != '\n') unfolded.push_back(rawHeader[i]);
  return unfolded;
}

TDateTime DecodeRfcDate(std::string_view text) {
  if (text.empty()) return 0;
  EnsureGMimeInitialized();
  const std::string input(text);
  TGDateTimePtr date(g_mime_utils_header_decode_date(input.c_str()));
  if (!date) return 0;
  return UnixToDateTime(g_date_time_to_unix(date.get()));
}

std::string FormatRfcDate(TDateTime gmt) {
  if (gmt == 0) return {};
  EnsureGMimeInitialized();
  TGDateTimePtr date(g_date_time_new_from_unix_utc(DateTimeToUnix(gmt)));
  if (!date) return {};
  TGCharPtr text(g_mime_utils_header_format_date(date.get()));
  return text ? std::string(text.get()) : std::string();
}

std::string ConvertToUtf8(std::string_view bytes, std::string_view charset) {
  if (charset.empty() || IsUtf8Name(charset))
    return IsValidUtf8(bytes) ? std::string(bytes) : RepairUtf8AsLatin1(bytes);
  EnsureGMimeInitialized();
  const std::string from(charset);
  iconv_t cd = g_mime_iconv_open("UTF-8", g_mime_charset_iconv_name(from.c_str()));
  if (cd == reinterpret_cast<iconv_t>(-1))
    return IsValidUtf8(bytes) ? std::string(bytes) : RepairUtf8AsLatin1(bytes);
  std::string out;
  std::string buffer(4 * bytes.size() + 16, '\0');
  char* in = const_cast<char*>(bytes.data());
  size_t inLeft = bytes.size();
  while (inLeft > 0) {
    char* outPtr = buffer.data();
    size_t outLeft = buffer.size();
    const size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    out.append(buffer.data(), outPtr - buffer.data());
    if (rc != static_cast<size_t>(-1) || errno == E2BIG) continue;
    // An invalid or truncated sequence: one byte as Latin-1, then go on from a clean state.
    AppendLatin1(out, static_cast<unsigned char>(*in));
    ++in, --inLeft;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
  }
  char* outPtr = buffer.data();
  size_t outLeft = buffer.size();
  iconv(cd, nullptr, nullptr, &outPtr, &outLeft);
  out.append(buffer.data(), outPtr - buffer.data());
  g_mime_iconv_close(cd);
  return IsValidUtf8(out) ? out : RepairUtf8AsLatin1(out);
}

bool IsValidUtf8(std::string_view text) {
  for (size_t pos = 0; pos < text.size();) {
    const size_t length = Utf8SequenceLength(text, pos);
    if (length == 0) return false;
    pos += length;
  }
  return true;
}

std::string RepairUtf8AsLatin1(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 2);
  for (size_t pos = 0; pos < bytes.size();) {
    const size_t length = Utf8SequenceLength(bytes, pos);
    if (length == 0) {
      AppendLatin1(out, static_cast<unsigned char>(bytes[pos++]));
    } else {
      out.append(bytes.substr(pos, length));
      pos += length;
    }
  }
  return out;
}
