#include "uKwGMime.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

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
    TGCharPtr base64(
        g_base64_encode(reinterpret_cast<const guchar*>(utf8.data() + pos), end - pos));
    if (!phrase.empty()) phrase += ' ';
    phrase += "=?utf-8?b?" + std::string(base64.get()) + "?=";
    pos = end;
  }
  return phrase;
}

// Conversion descriptors to UTF-8 by source charset, kept for the thread's life. Opening
// one loads a conversion module and glibc unloads it when its last descriptor closes, so
// opening one per call cost more than converting; the descriptors held here also keep the
// modules loaded for GMime's own conversions.
class TUtf8ConverterCache {
 public:
  ~TUtf8ConverterCache() { CloseAll(); }

  // A descriptor in its initial state, or kNone when the charset is unknown.
  iconv_t Get(const std::string& charset) {
    // Mail can name any number of made-up charsets; real ones are a few dozen.
    if (FConverters.size() >= kMaxCharsets && !FConverters.contains(charset)) CloseAll();
    auto [it, added] = FConverters.try_emplace(charset, kNone);
    if (added) it->second = g_mime_iconv_open("UTF-8", g_mime_charset_iconv_name(charset.c_str()));
    else if (it->second != kNone) iconv(it->second, nullptr, nullptr, nullptr, nullptr);
    return it->second;
  }

  static inline const iconv_t kNone = reinterpret_cast<iconv_t>(-1);

 private:
  static constexpr size_t kMaxCharsets = 256;

  void CloseAll() {
    for (auto& [charset, cd] : FConverters)
      if (cd != kNone) g_mime_iconv_close(cd);
    FConverters.clear();
  }

  std::unordered_map<std::string, iconv_t> FConverters;
};

TUtf8ConverterCache& Utf8Converters() {
  thread_local TUtf8ConverterCache converters;
  return converters;
}

// GMime converts encoded words and raw 8-bit text itself, opening a descriptor per
// conversion; one held here for each charset named keeps its module loaded meanwhile.
void KeepConvertersLoaded(std::string_view value, std::string_view fallbackCharset) {
  if (!fallbackCharset.empty()) Utf8Converters().Get(std::string(fallbackCharset));
  for (size_t start = value.find("=?"); start != std::string_view::npos; start = value.find("=?", start + 2)) {
    const size_t end = value.find('?', start + 2);
    if (end == std::string_view::npos) break;
    std::string_view charset = value.substr(start + 2, end - start - 2);
    charset = charset.substr(0, charset.find('*'));  // an RFC 2231 language suffix
    if (!charset.empty() && charset.size() < 40) Utf8Converters().Get(std::string(charset));
  }
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
  KeepConvertersLoaded(value, fallbackCharset);
  const std::string input(value);
  return TakeUtf8(TGCharPtr(
      g_mime_utils_header_decode_text(ThreadParserOptions(fallbackCharset), input.c_str())));
}

std::string DecodeHeaderPhrase(std::string_view value, std::string_view fallbackCharset) {
  if (!NeedsHeaderDecoding(value)) return std::string(value);
  EnsureGMimeInitialized();
  KeepConvertersLoaded(value, fallbackCharset);
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
  std::string unfolded(rawHeader.substr(first, last - first));
  const auto isLineBreak = [](char c) { return c == '\r' || c == '\n'; };
  if (std::any_of(unfolded.begin(), unfolded.end(), isLineBreak)) std::erase_if(unfolded, isLineBreak);
  return unfolded;
}

namespace {

// RFC 5322 names its obsolete zones in a grammar whose strings ignore case, while GMime
// looks them up as written: "cst" would otherwise read as UTC.
std::string WithObsoleteZonesUpperCase(std::string_view text) {
  static constexpr std::string_view kZones[] = {"UT", "GMT", "EST", "EDT", "CST", "CDT", "MST", "MDT", "PST", "PDT"};
  std::string result(text);
  const auto isDelimiter = [](char c) { return c == ' ' || c == '\t' || c == ',' || c == '(' || c == ')'; };
  for (size_t start = 0; start < result.size();) {
    size_t end = start;
    while (end < result.size() && !isDelimiter(result[end])) ++end;
    std::string token = result.substr(start, end - start);
    for (char& c : token)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (std::find(std::begin(kZones), std::end(kZones), token) != std::end(kZones))
      result.replace(start, token.size(), token);
    start = end + 1;
  }
  return result;
}

}  // namespace

TDateTime DecodeRfcDate(std::string_view text) {
  int offsetMinutes = 0;
  return DecodeRfcDate(text, offsetMinutes);
}

TDateTime DecodeRfcDate(std::string_view text, int& offsetMinutes) {
  offsetMinutes = 0;
  if (text.empty()) return 0;
  EnsureGMimeInitialized();
  const std::string input = WithObsoleteZonesUpperCase(text);
  TGDateTimePtr date(g_mime_utils_header_decode_date(input.c_str()));
  if (!date) return 0;
  offsetMinutes = static_cast<int>(g_date_time_get_utc_offset(date.get()) / G_TIME_SPAN_MINUTE);
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
  iconv_t cd = Utf8Converters().Get(std::string(charset));
  if (cd == TUtf8ConverterCache::kNone)
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
  return IsValidUtf8(out) ? out : RepairUtf8AsLatin1(out);
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

// ---------------------------------------------------------------- MIME tree

namespace {

std::string ToLowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

std::string TrimBlanks(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  size_t first = 0, last = text.size();
  while (first < last && isBlank(text[first])) ++first;
  while (last > first && isBlank(text[last - 1])) --last;
  return std::string(text.substr(first, last - first));
}

std::string CopyOrEmpty(const char* text) { return text ? std::string(text) : std::string(); }

// Whatever GMime wrote into a memory stream, as bytes.
std::string TakeStreamBytes(GMimeStream* stream) {
  GByteArray* array = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
  if (!array || array->len == 0) return {};
  return std::string(reinterpret_cast<const char*>(array->data), array->len);
}

GMimeMessage* ParseMessage(std::string_view text) {
  TGObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  TGObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  g_mime_parser_set_format(parser.get(), GMIME_FORMAT_MESSAGE);
  return g_mime_parser_construct_message(parser.get(), ThreadParserOptions({}));
}

// Text after an mbox separator line, or the text itself.
std::string_view SkipMboxSeparator(std::string_view text) {
  if (text.substr(0, 5) != "From ") return text;
  const size_t end = text.find('\n');
  return end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
}

GMimeFormatOptions* ThreadFormatOptions() {
  thread_local TGMimeFormatOptionsPtr options;
  if (!options) {
    options.reset(g_mime_format_options_new());
    g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
  }
  return options.get();
}

}  // namespace

TKwMimeMessage::TKwMimeMessage(std::string_view text) {
  EnsureGMimeInitialized();
  const std::string_view body = SkipMboxSeparator(text);
  FMessage.reset(ParseMessage(body));
  if (!FMessage || !g_mime_message_get_mime_part(FMessage.get())) {
    // No header block GMime accepts: the whole text is the body of a header-less message.
    std::string headerless;
    headerless.reserve(body.size() + 2);
    headerless.append("\r\n").append(body);
    FMessage.reset(ParseMessage(headerless));
  }
}

TKwMimeMessage::~TKwMimeMessage() = default;

TKwMimePart TKwMimeMessage::Root() const {
  if (!FMessage) return TKwMimePart();
  return TKwMimePart(g_mime_message_get_mime_part(FMessage.get()));
}

bool TKwMimePart::IsMultipart() const { return FObject && GMIME_IS_MULTIPART(FObject); }

bool TKwMimePart::IsMessage() const { return FObject && GMIME_IS_MESSAGE_PART(FObject); }

std::string TKwMimePart::ContentType() const {
  if (!FObject || !g_mime_object_get_header(FObject, "Content-Type")) return {};
  GMimeContentType* type = g_mime_object_get_content_type(FObject);
  if (!type) return {};
  return ToLowerAscii(CopyOrEmpty(g_mime_content_type_get_media_type(type)) + "/" +
                      CopyOrEmpty(g_mime_content_type_get_media_subtype(type)));
}

std::string TKwMimePart::ContentTypeAttributes() const {
  if (!FObject) return {};
  GMimeHeader* header =
      g_mime_header_list_get_header(g_mime_object_get_header_list(FObject), "Content-Type");
  if (!header) return {};
  const std::string value = UnfoldHeader(CopyOrEmpty(g_mime_header_get_raw_value(header)));
  const size_t semicolon = value.find(';');
  return semicolon == std::string::npos ? std::string()
                                        : TrimBlanks(std::string_view(value).substr(semicolon + 1));
}

std::string TKwMimePart::Disposition() const {
  return FObject ? CopyOrEmpty(g_mime_object_get_disposition(FObject)) : std::string();
}

std::string TKwMimePart::ContentId() const {
  return FObject ? CopyOrEmpty(g_mime_object_get_content_id(FObject)) : std::string();
}

std::string TKwMimePart::FileName() const {
  if (!FObject) return {};
  const char* name =
      GMIME_IS_PART(FObject) ? g_mime_part_get_filename(GMIME_PART(FObject)) : nullptr;
  if (!name) name = g_mime_object_get_content_disposition_parameter(FObject, "filename");
  if (!name) name = g_mime_object_get_content_type_parameter(FObject, "name");
  const std::string text = CopyOrEmpty(name);
  return IsValidUtf8(text) ? text : RepairUtf8AsLatin1(text);
}

std::string TKwMimePart::HeadersText() const {
  if (!FObject) return {};
  return TakeUtf8(TGCharPtr(g_mime_object_get_headers(FObject, ThreadFormatOptions())));
}

std::string TKwMimePart::DecodedBytes() const {
  if (!FObject) return {};
  TGObjectPtr<GMimeStream> stream(g_mime_stream_mem_new());
  if (GMIME_IS_PART(FObject)) {
    GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(FObject));
    if (content) g_mime_data_wrapper_write_to_stream(content, stream.get());
  } else if (GMIME_IS_MESSAGE_PART(FObject)) {
    GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(FObject));
    if (message) g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, stream.get());
  } else {
    g_mime_object_write_content_to_stream(FObject, nullptr, stream.get());
  }
  return TakeStreamBytes(stream.get());
}

int TKwMimePart::ChildCount() const {
  if (IsMultipart()) return std::max(0, g_mime_multipart_get_count(GMIME_MULTIPART(FObject)));
  if (IsMessage()) return g_mime_message_part_get_message(GMIME_MESSAGE_PART(FObject)) ? 1 : 0;
  return 0;
}

TKwMimePart TKwMimePart::Child(int index) const {
  if (index < 0 || index >= ChildCount()) return TKwMimePart();
  if (IsMultipart()) return TKwMimePart(g_mime_multipart_get_part(GMIME_MULTIPART(FObject), index));
  GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(FObject));
  return TKwMimePart(g_mime_message_get_mime_part(message));
}

// ---------------------------------------------------------------- uuencode

namespace {

struct TTextLine {
  std::string_view Text;       // without its line break
  size_t Start = 0, Next = 0;  // offsets of the line and of the one after it
};

bool ReadTextLine(std::string_view text, size_t pos, TTextLine& line) {
  if (pos >= text.size()) return false;
  const char* start = text.data() + pos;
  const auto* lf = static_cast<const char*>(std::memchr(start, '\n', text.size() - pos));
  const size_t lineEnd = lf ? static_cast<size_t>(lf - text.data()) : text.size();
  const auto* cr = static_cast<const char*>(std::memchr(start, '\r', lineEnd - pos));
  const size_t end = cr ? static_cast<size_t>(cr - text.data()) : lineEnd;
  size_t next = end;
  if (next < text.size())
    next += (text[next] == '\r' && next + 1 < text.size() && text[next + 1] == '\n') ? 2 : 1;
  line = {text.substr(pos, end - pos), pos, next};
  return true;
}

int UuValue(char c) { return (static_cast<unsigned char>(c) - 32) & 63; }

bool IsUuCharacter(char c) { return c >= 32 && c <= 96; }

std::string_view TrimRight(std::string_view text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// "begin 644 name": three or four octal digits, then the name.
bool ParseUuBegin(std::string_view line, std::string& fileName) {
  if (line.substr(0, 6) != "begin ") return false;
  size_t pos = 6;
  const size_t digits = pos;
  while (pos < line.size() && line[pos] >= '0' && line[pos] <= '7') ++pos;
  if (pos - digits < 3 || pos - digits > 4 || pos >= line.size() || line[pos] != ' ') return false;
  fileName = TrimBlanks(line.substr(pos + 1));
  return !fileName.empty();
}

// A data line whose length character agrees with the characters that follow. Some
// encoders strip trailing blanks (which encode zero bits), so shorter lines pass too.
bool IsUuDataLine(std::string_view line, bool strict) {
  line = strict ? line : TrimRight(line);
  if (line.empty() || !IsUuCharacter(line[0])) return false;
  for (char c : line)
    if (!IsUuCharacter(c) && c != ' ') return false;
  const size_t count = UuValue(line[0]);
  const size_t needed = (count + 2) / 3 * 4;
  if (line.size() - 1 > needed + 2) return false;
  return !strict || (count > 0 && line.size() - 1 + 1 >= needed);
}

void DecodeUuLine(std::string_view line, std::string& out) {
  size_t count = UuValue(line[0]);
  const auto at = [&](size_t i) { return i < line.size() ? UuValue(line[i]) : 0; };
  for (size_t i = 1; count > 0; i += 4) {
    const int a = at(i), b = at(i + 1), c = at(i + 2), d = at(i + 3);
    const char bytes[3] = {static_cast<char>(a << 2 | b >> 4),
                           static_cast<char>((b << 4 | c >> 2) & 0xFF),
                           static_cast<char>((c << 6 | d) & 0xFF)};
    const size_t take = std::min<size_t>(3, count);
    out.append(bytes, take);
    count -= take;
  }
}

// Decodes the block whose "begin" line is `begin`; returns the offset after the block.
size_t DecodeUuBlock(std::string_view text, const TTextLine& begin, std::string& bytes) {
  size_t pos = begin.Next;
  TTextLine line;
  while (ReadTextLine(text, pos, line)) {
    if (TrimBlanks(line.Text) == "end") return line.Next;
    if (!IsUuDataLine(line.Text, false)) return line.Start;  // cut short: the rest is text
    if (UuValue(line.Text[0]) > 0) DecodeUuLine(line.Text, bytes);
    pos = line.Next;
  }
  return text.size();
}

bool StartsUuBlock(std::string_view text, const TTextLine& line, std::string& fileName) {
  TTextLine first;
  return ParseUuBegin(line.Text, fileName) && ReadTextLine(text, line.Next, first) &&
         IsUuDataLine(TrimRight(first.Text), true);
}

}  // namespace

std::vector<TKwUuFile> ExtractUuencodedFiles(std::string_view text, std::string& remainingText) {
  std::vector<TKwUuFile> files;
  remainingText.clear();
  size_t copiedUpTo = 0;
  TTextLine line;
  for (size_t pos = 0; ReadTextLine(text, pos, line);) {
    TKwUuFile file;
    if (!StartsUuBlock(text, line, file.FileName)) {
      pos = line.Next;
      continue;
    }
    remainingText.append(text.substr(copiedUpTo, line.Start - copiedUpTo));
    pos = copiedUpTo = DecodeUuBlock(text, line, file.Bytes);
    files.push_back(std::move(file));
  }
  if (files.empty()) {
    remainingText.assign(text);
  } else {
    remainingText.append(text.substr(copiedUpTo));
  }
  return files;
}

bool HasUuencodedFile(std::string_view text) {
  TTextLine line;
  std::string fileName;
  for (size_t pos = text.find("begin "); pos != std::string_view::npos;
       pos = text.find("begin ", pos + 1)) {
    if (pos > 0 && text[pos - 1] != '\n' && text[pos - 1] != '\r') continue;
    if (ReadTextLine(text, pos, line) && StartsUuBlock(text, line, fileName)) return true;
  }
  return false;
}
