#include "uKwMessageOutputText.h"

#include <array>
#include <cstdint>
#include <unordered_map>

#include "uKwUtf8.h"

namespace {

// ---------------------------------------------------------------- UTF-8 and UTF-16

struct TDecodedChar {
  char32_t Code;
  size_t Length;
};

// The character at text[pos]; a byte that does not start a valid sequence is the
// Latin-1 character of its value.
TDecodedChar DecodeAt(std::string_view text, size_t pos) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[pos + i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;
  char32_t code = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, code = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, code = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, code = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {lead, 1};
  }
  if (pos + length > text.size() || byte(1) < low || byte(1) > high) return {lead, 1};
  for (size_t i = 1; i < length; ++i) {
    if (i > 1 && (byte(i) < 0x80 || byte(i) > 0xBF)) return {lead, 1};
    code = (code << 6) | (byte(i) & 0x3F);
  }
  return {code, length};
}

// The UTF-16 code units of one character (one, or a surrogate pair).
template <class Sink>
void ForEachUtf16Unit(char32_t code, Sink sink) {
  if (code < 0x10000) {
    sink(static_cast<uint16_t>(code));
  } else {
    code -= 0x10000;
    sink(static_cast<uint16_t>(0xD800 + (code >> 10)));
    sink(static_cast<uint16_t>(0xDC00 + (code & 0x3FF)));
  }
}

template <class Sink>
void ForEachCharacter(std::string_view text, Sink sink) {
  for (size_t pos = 0; pos < text.size();) {
    const TDecodedChar c = DecodeAt(text, pos);
    sink(c.Code);
    pos += c.Length;
  }
}

bool IsCharacterStart(char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }

// ---------------------------------------------------------------- HTML entities

// The Latin-1 entities from U+00A0 to U+00FF, in code order.
constexpr std::array<std::string_view, 96> kLatin1EntityNames = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",
    "copy",   "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn",
    "sup2",   "sup3",   "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",
    "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde",
    "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave",
    "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde",
    "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",
    "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil",
    "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",   "eth",
    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};

struct TEntity {
  std::string_view Name;
  char32_t Code;
};

constexpr TEntity kOtherEntities[] = {
    {"quot", 34},      {"QUOT", 34},      {"amp", 38},       {"AMP", 38},      {"apos", 39},
    {"lt", 60},        {"LT", 60},        {"gt", 62},        {"GT", 62},       {"OElig", 338},
    {"oelig", 339},    {"Scaron", 352},   {"scaron", 353},   {"Yuml", 376},    {"fnof", 402},
    {"circ", 710},     {"tilde", 732},    {"ensp", 8194},    {"emsp", 8195},   {"thinsp", 8201},
    {"zwnj", 8204},    {"zwj", 8205},     {"lrm", 8206},     {"rlm", 8207},    {"ndash", 8211},
    {"mdash", 8212},   {"lsquo", 8216},   {"rsquo", 8217},   {"sbquo", 8218},  {"ldquo", 8220},
    {"rdquo", 8221},   {"bdquo", 8222},   {"dagger", 8224},  {"Dagger", 8225}, {"bull", 8226},
    {"hellip", 8230},  {"permil", 8240},  {"prime", 8242},   {"Prime", 8243},  {"lsaquo", 8249},
    {"rsaquo", 8250},  {"euro", 8364},    {"trade", 8482},   {"larr", 8592},   {"uarr", 8593},
    {"rarr", 8594},    {"darr", 8595},    {"harr", 8596},    {"minus", 8722},  {"infin", 8734},
    {"ne", 8800},      {"le", 8804},      {"ge", 8805},      {"hearts", 9829}, {"COPY", 169},
    {"REG", 174}};

const std::unordered_map<std::string_view, char32_t>& EntityTable() {
  static const std::unordered_map<std::string_view, char32_t> table = [] {
    std::unordered_map<std::string_view, char32_t> map;
    for (size_t i = 0; i < kLatin1EntityNames.size(); ++i)
      map.emplace(kLatin1EntityNames[i], static_cast<char32_t>(0xA0 + i));
    for (const TEntity& entity : kOtherEntities) map.emplace(entity.Name, entity.Code);
    return map;
  }();
  return table;
}

// Numeric references 128-159 name windows-1252 characters in real mail, as browsers read them.
constexpr char32_t kWindows1252High[32] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

char32_t SanitizeReference(uint32_t code) {
  if (code >= 0x80 && code <= 0x9F) return kWindows1252High[code - 0x80];
  if (code == 0 || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return 0xFFFD;
  return code;
}

bool IsAsciiAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsAsciiDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAsciiAlnum(char c) { return IsAsciiAlpha(c) || IsAsciiDigit(c); }
char AsciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }
bool IsHtmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

// Reads the reference at html[pos] == '&'. On success sets code and returns the length
// consumed; 0 when the text there is not a known reference (the "&" is then plain text).
size_t ReadCharacterReference(std::string_view html, size_t pos, char32_t& code) {
  size_t i = pos + 1;
  if (i < html.size() && html[i] == '#') {
    ++i;
    const bool hex = i < html.size() && (html[i] == 'x' || html[i] == 'X');
    if (hex) ++i;
    const size_t digitsStart = i;
    uint32_t value = 0;
    for (; i < html.size() && i - digitsStart < 8; ++i) {
      const char c = AsciiLower(html[i]);
      if (IsAsciiDigit(c)) value = value * (hex ? 16 : 10) + (c - '0');
      else if (hex && c >= 'a' && c <= 'f') value = value * 16 + (c - 'a' + 10);
      else break;
    }
    if (i == digitsStart) return 0;
    code = SanitizeReference(value);
    if (i < html.size() && html[i] == ';') ++i;
    return i - pos;
  }
  const size_t nameStart = i;
  while (i < html.size() && i - nameStart < 10 && IsAsciiAlnum(html[i])) ++i;
  const auto found = EntityTable().find(html.substr(nameStart, i - nameStart));
  if (found == EntityTable().end()) return 0;
  code = found->second;
  if (i < html.size() && html[i] == ';') ++i;
  return i - pos;
}

// ---------------------------------------------------------------- HTML to text

enum TTagKind { tkOther, tkLineBreak, tkBlock, tkParagraph, tkCell, tkListItem, tkPre, tkSkip, tkSkipIfClosed };

TTagKind TagKind(std::string_view name) {
  static const std::unordered_map<std::string_view, TTagKind> kinds = {
      {"br", tkLineBreak},   {"div", tkBlock},        {"tr", tkBlock},          {"dt", tkBlock},
      {"dd", tkBlock},       {"hr", tkBlock},         {"center", tkBlock},      {"form", tkBlock},
      {"header", tkBlock},   {"footer", tkBlock},     {"section", tkBlock},     {"article", tkBlock},
      {"nav", tkBlock},      {"aside", tkBlock},      {"address", tkBlock},     {"caption", tkBlock},
      {"figure", tkBlock},   {"fieldset", tkBlock},   {"main", tkBlock},        {"dl", tkBlock},
      {"p", tkParagraph},    {"h1", tkParagraph},     {"h2", tkParagraph},      {"h3", tkParagraph},
      {"h4", tkParagraph},   {"h5", tkParagraph},     {"h6", tkParagraph},      {"table", tkParagraph},
      {"ul", tkParagraph},   {"ol", tkParagraph},     {"blockquote", tkParagraph},
      {"td", tkCell},        {"th", tkCell},          {"li", tkListItem},       {"pre", tkPre},
      {"script", tkSkip},    {"style", tkSkip},       {"template", tkSkip},     {"xml", tkSkip},
      {"head", tkSkipIfClosed}, {"title", tkSkipIfClosed}};
  const auto found = kinds.find(name);
  return found == kinds.end() ? tkOther : found->second;
}

// One pass over the document; every search either moves the position past what it
// found or is remembered as failed, so no text is scanned more than a few times.
class THtmlTextExtractor {
 public:
  explicit THtmlTextExtractor(std::string_view html) : FHtml(html) {}
  std::string Run();

 private:
  void AppendVisible(std::string_view bytes);
  void Space(char c);
  void Break(int newlines);
  bool Markup();  // at '<'; false when it is a plain "<"
  void Entity();  // at '&'
  size_t FindTagEnd(size_t from);
  size_t FindCloseTag(size_t from, std::string_view name);
  void HandleTag(std::string_view name, bool closing);

  std::string_view FHtml;
  size_t FPos = 0;
  std::string FOut;
  bool FPendingSpace = false;
  bool FAtLineStart = true;
  int FPreDepth = 0;
  bool FQuotesUnreliable = false;  // an attribute quote ran to the end once
  std::unordered_map<std::string, bool> FCloseTagMissing;
};

void THtmlTextExtractor::AppendVisible(std::string_view bytes) {
  if (FPendingSpace && !FAtLineStart) FOut.push_back(' ');
  FOut.append(bytes);
  FPendingSpace = false;
  FAtLineStart = false;
}

void THtmlTextExtractor::Space(char c) {
  if (FPreDepth == 0) {
    FPendingSpace = true;
  } else if (c == '\n') {
    FOut.push_back('\n');
    FAtLineStart = true;
  } else if (c != '\r') {
    FOut.push_back(c == '\f' ? ' ' : c);
    FAtLineStart = false;
  }
}

void THtmlTextExtractor::Break(int newlines) {
  FPendingSpace = false;
  FAtLineStart = true;
  if (FOut.empty()) return;
  int trailing = 0;
  for (size_t i = FOut.size(); i > 0 && trailing < newlines && FOut[i - 1] == '\n'; --i) ++trailing;
  for (; trailing < newlines; ++trailing) FOut.push_back('\n');
}

size_t THtmlTextExtractor::FindTagEnd(size_t from) {
  if (!FQuotesUnreliable) {
    char quote = 0, previous = 0;
    for (size_t i = from; i < FHtml.size(); ++i) {
      const char c = FHtml[i];
      if (quote) {
        if (c == quote) quote = 0;
      } else if ((c == '"' || c == '\'') && previous == '=') {
        quote = c;
      } else if (c == '>') {
        return i;
      }
      if (!IsHtmlSpace(c)) previous = c;
    }
    FQuotesUnreliable = true;
  }
  const size_t end = FHtml.find('>', from);
  return end == std::string_view::npos ? FHtml.size() : end;
}

// Position of "</name" (any case, followed by a non-name character), or npos.
size_t THtmlTextExtractor::FindCloseTag(size_t from, std::string_view name) {
  if (FCloseTagMissing[std::string(name)]) return std::string_view::npos;
  for (size_t i = FHtml.find("</", from); i != std::string_view::npos; i = FHtml.find("</", i + 2)) {
    size_t k = 0;
    while (k < name.size() && i + 2 + k < FHtml.size() && AsciiLower(FHtml[i + 2 + k]) == name[k]) ++k;
    const size_t after = i + 2 + k;
    if (k == name.size() && (after == FHtml.size() || !IsAsciiAlnum(FHtml[after]))) return i;
  }
  FCloseTagMissing[std::string(name)] = true;
  return std::string_view::npos;
}

bool THtmlTextExtractor::Markup() {
  const size_t next = FPos + 1;
  if (next < FHtml.size() && (FHtml[next] == '!' || FHtml[next] == '?')) {
    const bool comment = FHtml.substr(FPos, 4) == "<!--";
    const size_t end = comment ? FHtml.find("-->", FPos + 4) : FHtml.find('>', next);
    FPos = end == std::string_view::npos ? FHtml.size() : end + (comment ? 3 : 1);
    return true;
  }
  const bool closing = next < FHtml.size() && FHtml[next] == '/';
  size_t i = next + (closing ? 1 : 0);
  if (i >= FHtml.size() || !IsAsciiAlpha(FHtml[i])) return false;
  std::string name;
  for (; i < FHtml.size() && IsAsciiAlnum(FHtml[i]); ++i)
    if (name.size() < 12) name.push_back(AsciiLower(FHtml[i]));
  const size_t end = FindTagEnd(i);
  const bool selfClosed = end > 0 && end < FHtml.size() && FHtml[end - 1] == '/';
  FPos = end < FHtml.size() ? end + 1 : FHtml.size();
  const TTagKind kind = TagKind(name);
  if (!closing && !selfClosed && (kind == tkSkip || kind == tkSkipIfClosed)) {
    const size_t close = FindCloseTag(FPos, name);
    if (close != std::string_view::npos) {
      const size_t closeEnd = FindTagEnd(close + 2);
      FPos = closeEnd < FHtml.size() ? closeEnd + 1 : FHtml.size();
    } else if (kind == tkSkip) {
      FPos = FHtml.size();  // an unclosed script hides the rest, as in a browser
    }
    return true;
  }
  HandleTag(name, closing);
  return true;
}

void THtmlTextExtractor::HandleTag(std::string_view name, bool closing) {
  switch (TagKind(name)) {
    case tkLineBreak:
      FOut.push_back('\n');
      FPendingSpace = false;
      FAtLineStart = true;
      break;
    case tkBlock: Break(1); break;
    case tkParagraph: Break(2); break;
    case tkCell:
      if (!closing && !FAtLineStart) FOut.push_back('\t'), FPendingSpace = false;
      break;
    case tkListItem:
      Break(1);
      if (!closing) AppendVisible("- "), FAtLineStart = true;
      break;
    case tkPre:
      Break(2);
      FPreDepth = closing ? (FPreDepth > 0 ? FPreDepth - 1 : 0) : FPreDepth + 1;
      break;
    default: break;
  }
}

void THtmlTextExtractor::Entity() {
  char32_t code = 0;
  const size_t length = ReadCharacterReference(FHtml, FPos, code);
  if (length == 0) {
    AppendVisible("&");
    ++FPos;
    return;
  }
  FPos += length;
  std::string text;
  AppendUtf8(text, code == 0xA0 ? U' ' : code);  // a kept blank, never collapsed
  AppendVisible(text);
}

std::string THtmlTextExtractor::Run() {
  while (FPos < FHtml.size()) {
    const char c = FHtml[FPos];
    if (c == '<') {
      if (!Markup()) AppendVisible("<"), ++FPos;
    } else if (c == '&') {
      Entity();
    } else if (IsHtmlSpace(c)) {
      Space(c);
      ++FPos;
    } else {
      size_t end = FPos + 1;
      while (end < FHtml.size() && FHtml[end] != '<' && FHtml[end] != '&' && !IsHtmlSpace(FHtml[end])) ++end;
      AppendVisible(FHtml.substr(FPos, end - FPos));
      FPos = end;
    }
  }
  return FOut;
}

// Splits at "\n", cuts trailing blanks, keeps at most one empty line in a row and none
// at either end.
TStringList TidyLines(std::string_view text) {
  TStringList lines;
  bool pendingEmpty = false;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    if (line.empty()) {
      pendingEmpty = !lines.empty();
    } else {
      if (pendingEmpty) lines.emplace_back();
      lines.emplace_back(line);
      pendingEmpty = false;
    }
    start = end + 1;
  }
  return lines;
}

std::string JoinLinesLf(const TStringList& lines) {
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i) text.push_back('\n');
    text += lines[i];
  }
  return text;
}

// ---------------------------------------------------------------- RTF

bool IsRightToLeft(char32_t c) {
  return (c >= 0x0590 && c <= 0x08FF) || (c >= 0xFB1D && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFF);
}

bool IsStrongLeftToRight(char32_t c) {
  if (c < 0x80) return IsAsciiAlpha(static_cast<char>(c));
  if (c < 0xC0 || IsRightToLeft(c)) return false;
  const bool punctuationOrSymbol = (c >= 0x2000 && c <= 0x2BFF) || (c >= 0x3000 && c <= 0x303F) ||
                                   (c >= 0x1F000 && c <= 0x1FAFF) || c == 0xD7 || c == 0xF7;
  return !punctuationOrSymbol;
}

bool StartsRightToLeft(std::string_view line) {
  for (size_t pos = 0; pos < line.size();) {
    const TDecodedChar c = DecodeAt(line, pos);
    if (IsRightToLeft(c.Code)) return true;
    if (IsStrongLeftToRight(c.Code)) return false;
    pos += c.Length;
  }
  return false;
}

void AppendRtfEscaped(std::string& rtf, std::string_view line) {
  ForEachCharacter(line, [&rtf](char32_t c) {
    if (c == '\\' || c == '{' || c == '}') {
      rtf.push_back('\\');
      rtf.push_back(static_cast<char>(c));
    } else if (c == '\t') {
      rtf += "\\tab ";
    } else if (c >= 0x20 && c < 0x7F) {
      rtf.push_back(static_cast<char>(c));
    } else if (c >= 0x80) {
      ForEachUtf16Unit(c, [&rtf](uint16_t unit) {
        rtf += "\\u" + std::to_string(static_cast<int16_t>(unit)) + "?";
      });
    }
  });
}

// ---------------------------------------------------------------- encodings

std::string Utf16Bytes(std::string_view utf8, bool bigEndian) {
  std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
  out.reserve(2 + 2 * utf8.size());
  ForEachCharacter(utf8, [&](char32_t c) {
    ForEachUtf16Unit(c, [&](uint16_t unit) {
      const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
      out.push_back(bigEndian ? high : low);
      out.push_back(bigEndian ? low : high);
    });
  });
  return out;
}

bool IsUtf7Direct(char32_t c) {
  if (c >= 0x80) return false;
  const char a = static_cast<char>(c);
  return IsAsciiAlnum(a) || std::string_view("'(),-./:? \t\r\n").find(a) != std::string_view::npos;
}

std::string Utf7Bytes(std::string_view utf8) {
  static constexpr std::string_view kBase64 =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  uint32_t bits = 0;
  int bitCount = 0;
  bool inBase64 = false;
  const auto closeBase64 = [&] {
    if (bitCount > 0) out.push_back(kBase64[(bits << (6 - bitCount)) & 0x3F]);
    out.push_back('-');
    bits = 0, bitCount = 0, inBase64 = false;
  };
  ForEachCharacter(utf8, [&](char32_t c) {
    if (IsUtf7Direct(c)) {
      if (inBase64) closeBase64();
      out.push_back(static_cast<char>(c));
    } else if (c == '+' && !inBase64) {
      out += "+-";
    } else {
      if (!inBase64) out.push_back('+'), inBase64 = true;
      ForEachUtf16Unit(c, [&](uint16_t unit) {
        bits = (bits << 16) | unit;
        bitCount += 16;
        while (bitCount >= 6) {
          bitCount -= 6;
          out.push_back(kBase64[(bits >> bitCount) & 0x3F]);
        }
        bits &= (1u << bitCount) - 1;
      });
    }
  });
  if (inBase64) closeBase64();
  return out;
}

std::string AsciiBytes(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  ForEachCharacter(utf8, [&](char32_t c) { out.push_back(c < 0x80 ? static_cast<char>(c) : '?'); });
  return out;
}

}  // namespace

std::string HtmlEscape(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out.push_back(c);
    }
  }
  return out;
}

std::string HtmlExtractText(std::string_view html) {
  return JoinLinesLf(TidyLines(THtmlTextExtractor(html).Run()));
}

TStringList HtmlExtractText(const TStringList& htmlLines) {
  return TidyLines(THtmlTextExtractor(JoinLinesLf(htmlLines)).Run());
}

TStringList TextToHtml(const TStringList& lines) {
  TStringList html = {"<html>",
                      "<head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\"></head>",
                      "<body>"};
  for (const std::string& line : lines) {
    std::string out;
    bool afterBlank = true;  // a blank at the start of a line is kept too
    for (const char c : line) {
      if (c == ' ') {
        out += afterBlank ? "&nbsp;" : " ";
        afterBlank = true;
        continue;
      }
      afterBlank = false;
      if (c == '\t') out += "&nbsp;&nbsp;&nbsp;&nbsp;", afterBlank = true;
      else if (c == '\r') continue;
      else if (c == '&') out += "&amp;";
      else if (c == '<') out += "&lt;";
      else if (c == '>') out += "&gt;";
      else if (c == '"') out += "&quot;";
      else out.push_back(c);
    }
    html.push_back(out + "<br>");
  }
  html.push_back("</body>");
  html.push_back("</html>");
  return html;
}

TStringList WrapText(const TStringList& lines, int width) {
  if (width < 1) return lines;
  TStringList wrapped;
  for (const std::string& line : lines) {
    std::string_view rest = line;
    while (true) {
      // limit: the byte index after `width` characters, or the end.
      size_t limit = 0;
      int count = 0;
      while (limit < rest.size() && count < width) {
        ++limit;
        while (limit < rest.size() && !IsCharacterStart(rest[limit])) ++limit;
        ++count;
      }
      if (limit >= rest.size()) break;
      size_t cut = limit;  // the blank at the limit itself is a fine place to break
      while (cut > 0 && rest[cut] != ' ') --cut;
      size_t next = cut;
      if (cut == 0) cut = next = limit;  // one word longer than the line: a hard break
      size_t keep = cut;
      while (keep > 0 && rest[keep - 1] == ' ') --keep;
      if (keep == 0) keep = cut;
      wrapped.emplace_back(rest.substr(0, keep));
      while (next < rest.size() && rest[next] == ' ') ++next;
      rest.remove_prefix(next);
    }
    wrapped.emplace_back(rest);
  }
  return wrapped;
}

std::string JoinLinesCrLf(const TStringList& lines) {
  size_t size = 0;
  for (const std::string& line : lines) size += line.size() + 2;
  std::string text;
  text.reserve(size);
  for (const std::string& line : lines) {
    text += line;
    text += "\r\n";
  }
  return text;
}

std::string TextToRtf(const TStringList& lines) {
  std::string rtf =
      "{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial;}}\r\n"
      "\\viewkind4\\f0\\fs20\r\n";
  for (const std::string& line : lines) {
    rtf += StartsRightToLeft(line) ? "\\pard\\rtlpar\\qr " : "\\pard\\ltrpar ";
    AppendRtfEscaped(rtf, line);
    rtf += "\\par\r\n";
  }
  rtf += "}\r\n";
  return rtf;
}

std::string EncodeTextFile(std::string_view utf8, TKwEncoding encoding) {
  switch (encoding) {
    case meUnicode: return Utf16Bytes(utf8, false);
    case meBigEndian: return Utf16Bytes(utf8, true);
    case meUTF8: return "\xEF\xBB\xBF" + std::string(utf8);
    case meUTF7: return Utf7Bytes(utf8);
    case meASCII: return AsciiBytes(utf8);
    case meDefault: break;
  }
  return std::string(utf8);
}

std::string Base64Encode(std::string_view bytes) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  size_t i = 0;
  const auto byte = [&](size_t k) { return static_cast<uint32_t>(static_cast<unsigned char>(bytes[k])); };
  for (; i + 2 < bytes.size(); i += 3) {
    const uint32_t group = (byte(i) << 16) | (byte(i + 1) << 8) | byte(i + 2);
    for (int shift = 18; shift >= 0; shift -= 6) out.push_back(kAlphabet[(group >> shift) & 0x3F]);
  }
  if (i < bytes.size()) {
    const bool two = i + 1 < bytes.size();
    const uint32_t group = (byte(i) << 16) | (two ? byte(i + 1) << 8 : 0);
    out.push_back(kAlphabet[(group >> 18) & 0x3F]);
    out.push_back(kAlphabet[(group >> 12) & 0x3F]);
    out.push_back(two ? kAlphabet[(group >> 6) & 0x3F] : '=');
    out.push_back('=');
  }
  return out;
}
