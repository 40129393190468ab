#include "uKwDataConvert.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "uKwDateTime.h"

namespace {

char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr const char* kMonthNames[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                       "jul", "aug", "sep", "oct", "nov", "dec"};

int MonthOfWord(std::string_view word) {
  if (word.size() < 3) return 0;
  std::string lower;
  for (char c : word) lower += AsciiLower(c);
  static const char* const kFull[] = {"january", "february", "march",     "april",   "may",      "june",
                                      "july",    "august",   "september", "october", "november", "december"};
  for (int m = 0; m < 12; ++m) {
    if (lower == kMonthNames[m]) return m + 1;
    if (lower.size() >= 3 && std::strncmp(kFull[m], lower.c_str(), lower.size()) == 0) return m + 1;
  }
  if (lower == "sept") return 9;
  return 0;
}

struct TDateToken {
  bool IsNumber = false;
  std::string_view Text;
  char SeparatorBefore = ' ';
};

// A time "14:07", "14:07:09", "2:07 pm": cut out of the text, its parts set.
bool TakeTime(std::string& text, int& hour, int& minute, int& second) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != ':' || i == 0 || !std::isdigit(static_cast<unsigned char>(text[i - 1]))) continue;
    size_t start = i - 1;
    if (start > 0 && std::isdigit(static_cast<unsigned char>(text[start - 1]))) --start;
    auto two = [&](size_t at, int& out) {
      if (at + 2 > text.size() || !std::isdigit(static_cast<unsigned char>(text[at])) ||
          !std::isdigit(static_cast<unsigned char>(text[at + 1])))
        return false;
      out = (text[at] - '0') * 10 + (text[at + 1] - '0');
      return true;
    };
    hour = std::atoi(text.substr(start, i - start).c_str());
    if (!two(i + 1, minute)) continue;
    size_t end = i + 3;
    second = 0;
    if (end < text.size() && text[end] == ':' && two(end + 1, second)) end += 3;
    size_t k = end;
    while (k < text.size() && text[k] == ' ') ++k;
    std::string marker;
    while (k < text.size() && std::isalpha(static_cast<unsigned char>(text[k])) && marker.size() < 3)
      marker += AsciiLower(text[k++]);
    if (marker == "am" || marker == "pm") {
      if (hour < 1 || hour > 12) return false;
      hour = hour % 12 + (marker == "pm" ? 12 : 0);
      end = k;
    }
    text = text.substr(0, start) + " " + text.substr(end);
    return hour < 24 && minute < 60 && second < 60;
  }
  return false;
}

std::vector<TDateToken> DateTokens(std::string_view text) {
  std::vector<TDateToken> tokens;
  char separator = ' ';
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (std::isdigit(c) || std::isalpha(c)) {
      const bool digit = std::isdigit(c);
      size_t start = i;
      while (i < text.size() && (digit ? std::isdigit(static_cast<unsigned char>(text[i]))
                                       : std::isalpha(static_cast<unsigned char>(text[i]))))
        ++i;
      tokens.push_back({digit, text.substr(start, i - start), separator});
      separator = ' ';
    } else {
      if (c != ' ' && c != ',') separator = static_cast<char>(c);
      ++i;
    }
  }
  return tokens;
}

int FullYear(std::string_view digits) {
  const int year = std::atoi(std::string(digits).c_str());
  if (digits.size() == 2) return year < 70 ? 2000 + year : 1900 + year;
  return digits.size() == 4 ? year : -1;
}

}  // namespace

bool ParseNumberText(std::string_view text, TDecimalMark mark, double& value) {
  size_t first = 0;
  while (first < text.size() && !std::isdigit(static_cast<unsigned char>(text[first]))) ++first;
  if (first == text.size()) return false;
  const bool negative = first > 0 && (text[first - 1] == '-' || (first > 1 && text[first - 1] == ' ' && text[first - 2] == '-'));
  std::string run;
  for (size_t i = first; i < text.size(); ++i) {
    const char c = text[i];
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == ',' || c == '\'') {
      run += c;
    } else if (c == ' ' && i + 3 < text.size() + 0 && std::isdigit(static_cast<unsigned char>(text[i + 1])) &&
               std::isdigit(static_cast<unsigned char>(text[i + 2])) &&
               std::isdigit(static_cast<unsigned char>(text[i + 3])) &&
               (i + 4 >= text.size() || !std::isdigit(static_cast<unsigned char>(text[i + 4])))) {
      continue;  // a blank that groups thousands
    } else {
      break;
    }
  }
  while (!run.empty() && !std::isdigit(static_cast<unsigned char>(run.back()))) run.pop_back();
  char decimal = '.';
  if (mark == dmComma) {
    decimal = ',';
  } else if (mark == dmAuto) {
    const size_t lastPoint = run.rfind('.'), lastComma = run.rfind(',');
    if (lastPoint != std::string::npos && lastComma != std::string::npos) {
      decimal = lastPoint > lastComma ? '.' : ',';
    } else {
      const char only = lastComma != std::string::npos ? ',' : '.';
      const size_t count = static_cast<size_t>(std::count(run.begin(), run.end(), only));
      decimal = count == 1 ? only : '\0';
    }
  }
  std::string plain = negative ? "-" : "";
  bool decimalSeen = false;
  for (char c : run) {
    if (std::isdigit(static_cast<unsigned char>(c))) {
      plain += c;
    } else if (c == decimal) {
      if (decimalSeen) return false;  // two decimal marks
      decimalSeen = true;
      plain += '.';
    }
  }
  auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  return error == std::errc() && end == plain.data() + plain.size() && std::isfinite(value);
}

bool ParseWrittenDate(std::string_view text, bool monthFirst, TDateTime& value) {
  std::string rest(text);
  int hour = 0, minute = 0, second = 0;
  TakeTime(rest, hour, minute, second);
  int year = -1, month = 0, day = 0;
  std::vector<std::string_view> numbers;
  char firstSeparator = ' ';
  for (const TDateToken& token : DateTokens(rest)) {
    if (!token.IsNumber) {
      if (!month) month = MonthOfWord(token.Text);
      continue;
    }
    // A zone offset ("+0000") or a stray long number is no part of the date.
    if ((token.SeparatorBefore == '+' || token.SeparatorBefore == '-') && token.Text.size() == 4 && numbers.size() >= 3)
      continue;
    if (numbers.size() == 1) firstSeparator = token.SeparatorBefore;
    numbers.push_back(token.Text);
  }
  if (month) {  // "5 March 2024", "March 5, 2024", "Tue, 05 Mar 2024"
    for (std::string_view n : numbers) {
      if (n.size() == 4 && year < 0) year = FullYear(n);
      else if (n.size() <= 2 && !day) day = std::atoi(std::string(n).c_str());
      else if (n.size() == 2 && year < 0) year = FullYear(n);
    }
  } else {
    if (numbers.size() < 3) return false;
    if (numbers[0].size() == 4) {  // 2024-03-05, 2024/03/05
      year = FullYear(numbers[0]);
      month = std::atoi(std::string(numbers[1]).c_str());
      day = std::atoi(std::string(numbers[2]).c_str());
    } else {
      int a = std::atoi(std::string(numbers[0]).c_str()), b = std::atoi(std::string(numbers[1]).c_str());
      // Dotted dates are written day first everywhere.
      const bool swap = monthFirst && firstSeparator != '.';
      day = swap ? b : a;
      month = swap ? a : b;
      year = FullYear(numbers[2]);
    }
  }
  if (year < 0 || !month || !day) return false;
  TKwDateParts parts{year, month, day, hour, minute, second, 0};
  return TryEncodeDateTime(parts, value) && value != 0;
}

