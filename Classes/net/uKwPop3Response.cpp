#include "uKwPop3Response.h"

#include <charconv>

namespace {

std::string_view NextWord(std::string_view& text) {
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) {
    text = {};
    return {};
  }
  text.remove_prefix(start);
  const size_t end = text.find_first_of(" \t");
  std::string_view word = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end);
  return word;
}

template <class T>
bool ToNumber(std::string_view text, T& value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

bool IsPrintable(std::string_view text) {
  for (char c : text)
    if (c < 0x21 || c > 0x7E) return false;
  return true;
}

}  // namespace

bool IsPop3Ok(std::string_view statusLine) {
  return statusLine.substr(0, 3) == "+OK" && (statusLine.size() == 3 || statusLine[3] == ' ');
}

bool ParsePop3Stat(std::string_view statusLine, int& count, int64_t& size) {
  if (!IsPop3Ok(statusLine)) return false;
  statusLine.remove_prefix(3);
  return ToNumber(NextWord(statusLine), count) && ToNumber(NextWord(statusLine), size) && count >= 0 && size >= 0;
}

std::vector<TKwPop3Listing> ParsePop3Listing(std::string_view text) {
  std::vector<TKwPop3Listing> listing;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    TKwPop3Listing entry;
    const std::string_view number = NextWord(line);
    const std::string_view value = NextWord(line);
    if (!ToNumber(number, entry.Number) || entry.Number < 1 || value.empty() || !IsPrintable(value)) continue;
    entry.Value = value;
    listing.push_back(std::move(entry));
  }
  return listing;
}
