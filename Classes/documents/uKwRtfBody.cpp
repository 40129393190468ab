#include "uKwRtfBody.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <vector>

#include "uKwGMime.h"
#include "uKwMsgProperties.h"

namespace {

constexpr std::string_view kPresetDictionary =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern \\fscript "
    "\\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
constexpr uint32_t kMagicCompressed = 0x75465A4C;    // "LZFu"
constexpr uint32_t kMagicUncompressed = 0x414C454D;  // "MELA"
constexpr size_t kMaxRtfBytes = size_t{64} << 20;
constexpr int kMaxGroupDepth = 512;

uint32_t Le32(std::string_view bytes, size_t pos) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[pos + i]);
  return value;
}

// A control word or symbol: name (letters, or the one symbol), parameter.
struct TControl {
  std::string Name;
  bool HasParameter = false;
  int Parameter = 0;
};

TControl ReadControl(std::string_view rtf, size_t& pos) {
  TControl control;  // pos is just after the backslash
  if (pos >= rtf.size()) return control;
  if (!std::isalpha(static_cast<unsigned char>(rtf[pos]))) {
    control.Name = rtf[pos++];
    return control;
  }
  while (pos < rtf.size() && std::isalpha(static_cast<unsigned char>(rtf[pos])) && control.Name.size() < 32)
    control.Name += rtf[pos++];
  bool negative = false;
  if (pos < rtf.size() && rtf[pos] == '-') {
    negative = true;
    ++pos;
  }
  int64_t value = 0;
  while (pos < rtf.size() && std::isdigit(static_cast<unsigned char>(rtf[pos]))) {
    control.HasParameter = true;
    if (value < 100000000) value = value * 10 + (rtf[pos] - '0');
    ++pos;
  }
  control.Parameter = static_cast<int>(negative ? -value : value);
  if (pos < rtf.size() && rtf[pos] == ' ') ++pos;  // the delimiter belongs to the word
  return control;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsSkippedDestination(std::string_view name) {
  static constexpr std::array<std::string_view, 12> kSkipped = {
      "fonttbl", "colortbl", "stylesheet", "info", "pict", "header", "footer", "object",
      "listtable", "listoverridetable", "rsidtbl", "generator"};
  for (std::string_view skipped : kSkipped)
    if (name == skipped) return true;
  return false;
}

// One walk over the RTF for both readings. In HTML mode, text inside \htmlrtf ... \htmlrtf0
// is RTF-only and dropped, and the {\*\htmltag} groups carry the HTML; in text mode every
// \* destination is dropped.
class TRtfReader {
 public:
  TRtfReader(std::string_view rtf, bool htmlMode) : FRtf(rtf), FHtmlMode(htmlMode) {}

  std::string Read() {
    std::vector<TGroup> stack{TGroup{}};
    size_t pos = 0;
    while (pos < FRtf.size()) {
      const char c = FRtf[pos++];
      TGroup& group = stack.back();
      if (c == '{') {
        if (stack.size() < kMaxGroupDepth) stack.push_back(TGroup{group.Skip, group.HtmlRtf, group.UcSkip, true});
        continue;
      }
      if (c == '}') {
        if (stack.size() > 1) stack.pop_back();
        continue;
      }
      if (c == '\r' || c == '\n') continue;
      if (c != '\\') {
        group.First = false;
        Emit(group, std::string(1, c));
        continue;
      }
      const bool first = group.First;
      group.First = false;
      Control(stack.back(), ReadControl(FRtf, pos), first, pos);
    }
    Flush();
    return FOut;
  }

 private:
  struct TGroup {
    bool Skip = false;
    bool HtmlRtf = false;
    int UcSkip = 1;
    bool First = true;  // nothing read in the group yet
  };

  void Control(TGroup& group, const TControl& control, bool first, size_t& pos) {
    const std::string& name = control.Name;
    if (name == "*") {
      group.Skip = true;  // an ignorable destination, unless it is an HTML tag in HTML mode
      group.First = first;
    } else if (name == "htmltag" || name == "mhtmltag") {
      if (FHtmlMode && first) group.Skip = false;
    } else if (first && IsSkippedDestination(name)) {
      group.Skip = true;
    } else if (name == "htmlrtf") {
      group.HtmlRtf = !control.HasParameter || control.Parameter != 0;
    } else if (name == "par" || name == "line") {
      Emit(group, FHtmlMode ? "\r\n" : "\n");
    } else if (name == "tab" || name == "cell") {
      Emit(group, "\t");
    } else if (name == "row") {
      Emit(group, "\n");
    } else if (name == "ansicpg" && control.HasParameter) {
      FCodepage = static_cast<uint32_t>(control.Parameter);
    } else if (name == "uc" && control.HasParameter) {
      group.UcSkip = std::max(0, std::min(control.Parameter, 8));
    } else if (name == "u" && control.HasParameter) {
      const char32_t c = static_cast<char32_t>(control.Parameter < 0 ? control.Parameter + 65536 : control.Parameter);
      const char16_t unit = static_cast<char16_t>(c);
      Emit(group, Utf16LeBytesToUtf8(std::string{static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)}));
      SkipFallback(group.UcSkip, pos);
    } else if (name == "'" && pos + 1 < FRtf.size()) {
      const int high = HexValue(FRtf[pos]), low = HexValue(FRtf[pos + 1]);
      pos += 2;
      if (high >= 0 && low >= 0 && Visible(group)) FPending += static_cast<char>(high * 16 + low);
    } else if (name == "\\" || name == "{" || name == "}") {
      Emit(group, name);
    } else if (name == "~") {
      Emit(group, "\xC2\xA0");
    }
  }

  // Skips the fallback characters after \uN: plain characters or \'hh escapes.
  void SkipFallback(int count, size_t& pos) {
    for (int i = 0; i < count && pos < FRtf.size(); ++i) {
      if (FRtf[pos] == '\\' && pos + 1 < FRtf.size() && FRtf[pos + 1] == '\'') pos += 4;
      else if (FRtf[pos] == '{' || FRtf[pos] == '}' || FRtf[pos] == '\\') break;
      else ++pos;
    }
  }

  bool Visible(const TGroup& group) const { return !group.Skip && !(FHtmlMode && group.HtmlRtf); }

  void Emit(const TGroup& group, const std::string& text) {
    if (!Visible(group)) return;
    Flush();
    FOut += text;
  }

  void Flush() {
    if (FPending.empty()) return;
    FOut += ConvertToUtf8(FPending, CodepageCharset(FCodepage));
    FPending.clear();
  }

  std::string_view FRtf;
  bool FHtmlMode;
  uint32_t FCodepage = 1252;
  std::string FPending;  // 8-bit characters from \'hh, converted together
  std::string FOut;
};

}  // namespace

bool DecompressRtf(std::string_view compressed, std::string& rtf) {
  rtf.clear();
  if (compressed.size() < 16) return false;
  const uint32_t rawSize = Le32(compressed, 4);
  const uint32_t magic = Le32(compressed, 8);
  const size_t limit = std::min<size_t>(rawSize, kMaxRtfBytes);
  if (magic == kMagicUncompressed) {
    rtf = compressed.substr(16, limit);
    return true;
  }
  if (magic != kMagicCompressed) return false;
  std::array<char, 4096> dictionary{};
  std::copy(kPresetDictionary.begin(), kPresetDictionary.end(), dictionary.begin());
  size_t write = kPresetDictionary.size();
  size_t pos = 16;
  rtf.reserve(limit);
  while (pos < compressed.size() && rtf.size() < limit) {
    const unsigned flags = static_cast<unsigned char>(compressed[pos++]);
    for (int bit = 0; bit < 8 && pos < compressed.size() && rtf.size() < limit; ++bit) {
      if ((flags & (1u << bit)) == 0) {
        const char c = compressed[pos++];
        rtf += c;
        dictionary[write] = c;
        write = (write + 1) % dictionary.size();
        continue;
      }
      if (pos + 1 >= compressed.size()) return true;
      const unsigned reference = (static_cast<unsigned char>(compressed[pos]) << 8) |
                                 static_cast<unsigned char>(compressed[pos + 1]);
      pos += 2;
      size_t offset = reference >> 4;
      const size_t length = (reference & 0xF) + 2;
      if (offset == write) return true;  // the end marker
      for (size_t i = 0; i < length && rtf.size() < limit; ++i) {
        const char c = dictionary[offset];
        offset = (offset + 1) % dictionary.size();
        rtf += c;
        dictionary[write] = c;
        write = (write + 1) % dictionary.size();
      }
    }
  }
  return true;
}

bool RtfExtractHtml(std::string_view rtf, std::string& html) {
  html.clear();
  if (rtf.substr(0, 200).find("\\fromhtml") == std::string_view::npos) return false;
  html = TRtfReader(rtf, true).Read();
  return true;
}

std::string RtfToText(std::string_view rtf) { return TRtfReader(rtf, false).Read(); }
