#include "uKwImapResponse.h"

#include <charconv>
#include <cstring>

#include "uKwUtf8.h"

namespace {

constexpr int kMaxDepth = 64;

bool IsAtomEnd(char c) { return c == ' ' || c == '(' || c == ')' || c == '"' || c == '\r' || c == '\n'; }

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if ((a[i] | 0x20) != (b[i] | 0x20)) return false;
  return true;
}

template <class T>
bool ToNumber(std::string_view text, T& value) {
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

class TValueReader {
 public:
  explicit TValueReader(std::string_view text) : FText(text) {}

  bool ReadAll(std::vector<TKwImapValue>& values) {
    while (SkipSpaces()) {
      if (FText[FPos] == ')') return false;
      values.emplace_back();
      if (!ReadValue(values.back(), 0)) return false;
    }
    return true;
  }

 private:
  bool SkipSpaces() {
    while (FPos < FText.size() && (FText[FPos] == ' ' || FText[FPos] == '\r' || FText[FPos] == '\n')) ++FPos;
    return FPos < FText.size();
  }

  bool ReadValue(TKwImapValue& value, int depth) {
    const char c = FText[FPos];
    if (c == '(') return ReadList(value, depth);
    if (c == '"') return ReadQuoted(value);
    if (c == '{') return ReadLiteral(value);
    return ReadAtom(value);
  }

  bool ReadList(TKwImapValue& value, int depth) {
    if (depth >= kMaxDepth) return false;
    value.Kind = TKwImapValue::ivList;
    ++FPos;
    while (SkipSpaces()) {
      if (FText[FPos] == ')') {
        ++FPos;
        return true;
      }
      value.Items.emplace_back();
      if (!ReadValue(value.Items.back(), depth + 1)) return false;
    }
    return false;
  }

  bool ReadQuoted(TKwImapValue& value) {
    value.Kind = TKwImapValue::ivString;
    for (++FPos; FPos < FText.size(); ++FPos) {
      char c = FText[FPos];
      if (c == '"') {
        ++FPos;
        return true;
      }
      if (c == '\\' && FPos + 1 < FText.size()) c = FText[++FPos];
      value.Text += c;
    }
    return false;
  }

  bool ReadLiteral(TKwImapValue& value) {
    value.Kind = TKwImapValue::ivString;
    const size_t close = FText.find('}', FPos);
    if (close == std::string_view::npos) return false;
    std::string_view digits = FText.substr(FPos + 1, close - FPos - 1);
    if (!digits.empty() && digits.back() == '+') digits.remove_suffix(1);  // LITERAL+
    size_t length = 0;
    if (!ToNumber(digits, length)) return false;
    size_t start = close + 1;
    if (FText.substr(start, 2) != "\r\n") return false;
    start += 2;
    if (length > FText.size() - start) return false;
    value.Text.assign(FText.substr(start, length));
    FPos = start + length;
    return true;
  }

  // Section names keep their brackets and what is inside them: "BODY[HEADER.FIELDS (A B)]".
  bool ReadAtom(TKwImapValue& value) {
    const size_t start = FPos;
    int brackets = 0;
    while (FPos < FText.size()) {
      const char c = FText[FPos];
      if (c == '[') ++brackets;
      if (c == ']' && brackets > 0) --brackets;
      if (brackets == 0 && IsAtomEnd(c)) break;
      if (brackets > 0 && (c == '\r' || c == '\n')) return false;
      ++FPos;
    }
    if (FPos == start) {  // a lone ')' or '"' is caught by the callers
      ++FPos;
      return false;
    }
    value.Text.assign(FText.substr(start, FPos - start));
    return brackets == 0;
  }

  std::string_view FText;
  size_t FPos = 0;
};

// The values after "* KEYWORD" (or "* n KEYWORD" when numbered), or false.
bool UntaggedValues(std::string_view line, std::string_view keyword, bool numbered,
                    std::vector<TKwImapValue>& values, uint32_t* number = nullptr) {
  if (!ParseImapValues(line, values)) return false;
  const size_t at = numbered ? 2 : 1;
  if (values.size() <= at || values[0].Text != "*" || values[0].Kind != TKwImapValue::ivAtom) return false;
  if (values[at].Kind != TKwImapValue::ivAtom || !EqualsNoCase(values[at].Text, keyword)) return false;
  if (numbered && (values[1].Kind != TKwImapValue::ivAtom || !ToNumber(values[1].Text, *number))) return false;
  values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at + 1));
  return true;
}

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

int Base64Value(char c) {
  const char* at = std::strchr(kBase64, c);
  return c && at ? static_cast<int>(at - kBase64) : -1;
}

// The UTF-16BE of one "&...-" run as UTF-8; false when it is not well formed.
bool DecodeRun(std::string_view run, std::string& out) {
  std::u16string units;
  uint32_t bits = 0;
  int count = 0;
  for (char c : run) {
    const int v = Base64Value(c);
    if (v < 0) return false;
    bits = (bits << 6) | static_cast<uint32_t>(v);
    count += 6;
    if (count >= 16) {
      count -= 16;
      units += static_cast<char16_t>((bits >> count) & 0xFFFF);
    }
  }
  if (count >= 6 || (bits & ((1u << count) - 1)) != 0 || units.empty()) return false;
  for (size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (i + 1 >= units.size() || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return false;
    }
    AppendUtf8(out, c);
  }
  return true;
}

}  // namespace

bool ParseImapValues(std::string_view text, std::vector<TKwImapValue>& values) {
  return TValueReader(text).ReadAll(values);
}

bool ParseImapListLine(std::string_view line, TKwImapMailbox& mailbox) {
  std::vector<TKwImapValue> v;
  if (!UntaggedValues(line, "LIST", false, v) && !UntaggedValues(line, "LSUB", false, v)) return false;
  if (v.size() < 3 || v[0].Kind != TKwImapValue::ivList) return false;
  mailbox = {};
  for (const TKwImapValue& flag : v[0].Items) {
    mailbox.Flags.push_back(flag.Text);
    if (EqualsNoCase(flag.Text, "\\Noselect") || EqualsNoCase(flag.Text, "\\NonExistent"))
      mailbox.IsSelectable = false;
    if (EqualsNoCase(flag.Text, "\\HasChildren")) mailbox.HasChildren = true;
  }
  if (!v[1].IsNil()) {
    if (v[1].Kind != TKwImapValue::ivString || v[1].Text.size() != 1) return false;
    mailbox.Delimiter = v[1].Text[0];
  }
  if (v[2].Kind == TKwImapValue::ivList || v[2].Text.empty()) return false;
  mailbox.Name = v[2].Text;
  return true;
}

bool ParseImapSearchLine(std::string_view line, std::vector<uint32_t>& numbers) {
  std::vector<TKwImapValue> v;
  if (!UntaggedValues(line, "SEARCH", false, v)) {
    // "* SEARCH" with no match has no values after the keyword.
    if (!ParseImapValues(line, v) || v.size() != 2 || v[0].Text != "*" || !EqualsNoCase(v[1].Text, "SEARCH"))
      return false;
    return true;
  }
  for (const TKwImapValue& value : v) {
    uint32_t n = 0;
    if (value.Kind == TKwImapValue::ivList) continue;  // "(MODSEQ n)" of CONDSTORE
    if (!ToNumber(value.Text, n)) return false;
    numbers.push_back(n);
  }
  return true;
}

bool ParseImapFetch(std::string_view line, TKwImapFetch& fetch) {
  std::vector<TKwImapValue> v;
  fetch = {};
  if (!UntaggedValues(line, "FETCH", true, v, &fetch.SequenceNumber)) return false;
  if (v.size() != 1 || v[0].Kind != TKwImapValue::ivList) return false;
  std::vector<TKwImapValue>& items = v[0].Items;
  for (size_t i = 0; i + 1 < items.size(); i += 2) {
    const std::string& name = items[i].Text;
    TKwImapValue& value = items[i + 1];
    if (EqualsNoCase(name, "UID")) {
      if (!ToNumber(value.Text, fetch.Uid)) return false;
    } else if (EqualsNoCase(name, "RFC822.SIZE")) {
      if (!ToNumber(value.Text, fetch.Size)) return false;
    } else if (EqualsNoCase(name, "FLAGS")) {
      for (const TKwImapValue& flag : value.Items) fetch.IsSeen |= EqualsNoCase(flag.Text, "\\Seen");
    } else if (EqualsNoCase(name, "BODY[HEADER]") || EqualsNoCase(name, "RFC822.HEADER")) {
      fetch.HasHeader = !value.IsNil();
      fetch.Header = std::move(value.Text);
    } else if (EqualsNoCase(name, "BODY[]") || EqualsNoCase(name, "RFC822")) {
      fetch.HasBody = !value.IsNil();
      fetch.Body = std::move(value.Text);
    }
  }
  return true;
}

bool ParseImapExists(std::string_view line, uint32_t& exists) {
  std::vector<TKwImapValue> v;
  if (!ParseImapValues(line, v) || v.size() != 3 || v[0].Text != "*" || !EqualsNoCase(v[2].Text, "EXISTS"))
    return false;
  return ToNumber(v[1].Text, exists);
}

bool ParseImapUidValidity(std::string_view line, uint32_t& uidValidity) {
  constexpr std::string_view kKey = "[UIDVALIDITY ";
  if (line.substr(0, 5) != "* OK ") return false;
  const size_t at = line.find(kKey);
  if (at == std::string_view::npos) return false;
  const size_t start = at + kKey.size();
  const size_t close = line.find(']', start);
  return close != std::string_view::npos && ToNumber(line.substr(start, close - start), uidValidity);
}

std::string DecodeModifiedUtf7(std::string_view name) {
  std::string out;
  for (size_t i = 0; i < name.size(); ++i) {
    const size_t end = name[i] == '&' ? name.find('-', i + 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
      out += name[i];
    } else if (end == i + 1) {
      out += '&';
      i = end;
    } else if (std::string decoded; DecodeRun(name.substr(i + 1, end - i - 1), decoded)) {
      out += decoded;
      i = end;
    } else {
      out += name[i];
    }
  }
  return out;
}

std::string EncodeModifiedUtf7(std::string_view utf8) {
  std::string out;
  std::u16string run;
  auto flush = [&] {
    if (run.empty()) return;
    out += '&';
    uint32_t bits = 0;
    int count = 0;
    for (char16_t unit : run) {
      bits = (bits << 16) | unit;
      count += 16;
      while (count >= 6) {
        count -= 6;
        out += kBase64[(bits >> count) & 0x3F];
      }
    }
    if (count > 0) out += kBase64[(bits << (6 - count)) & 0x3F];
    out += '-';
    run.clear();
  };
  for (size_t i = 0; i < utf8.size();) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    if (c >= 0x20 && c < 0x7F) {
      flush();
      out += c == '&' ? std::string("&-") : std::string(1, static_cast<char>(c));
      ++i;
      continue;
    }
    const size_t length = Utf8SequenceLength(utf8, i);
    const char32_t code = length ? DecodeUtf8Sequence(utf8, i, length) : U'\uFFFD';
    i += length ? length : 1;
    if (code >= 0x10000) {
      run += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      run += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    } else {
      run += static_cast<char16_t>(code);
    }
  }
  flush();
  return out;
}

std::string ImapQuoted(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '\r' || c == '\n' || c == '\0') continue;
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}
