#pragma once
// A compiled Perl-compatible regular expression (PCRE2), the one place that knows the
// library. Patterns are compiled once and kept, typically as function-local statics:
//   static const TKwRegEx kIp(R"(\b(?:[0-9]{1,3}\.){3}[0-9]{1,3}\b)");
//
// Matching is in UTF-8 mode and tolerates bytes that are not valid UTF-8 (they never match
// a character class that needs a character, and never fail the match). Every match runs
// under a backtracking limit, so a hostile subject ends as "no match" instead of hanging.
// An object is immutable after construction; Find and the others may be called from any
// thread at once (each thread has its own match data).

#include <cstddef>
#include <memory>
#include <string_view>

struct TKwRegExFlags {
  bool CaseSensitive = false;  // else ASCII letters fold to ASCII letters only
  bool DotMatchesLineBreaks = false;  // "." also matches CR and LF
};

class TKwRegEx {
 public:
  // Case-insensitive unless caseSensitive; "." stops at line breaks.
  // Throws std::invalid_argument naming the pattern and the error for a bad pattern.
  explicit TKwRegEx(std::string_view pattern, bool caseSensitive = false);
  TKwRegEx(std::string_view pattern, TKwRegExFlags flags);
  ~TKwRegEx();
  TKwRegEx(TKwRegEx&&) noexcept;
  TKwRegEx& operator=(TKwRegEx&&) noexcept;
  TKwRegEx(const TKwRegEx&) = delete;
  TKwRegEx& operator=(const TKwRegEx&) = delete;

  // The first match starting at or after `from`: its offset and length in `subject`.
  // False when there is none, also when the limit was hit or `from` is past the end.
  bool Find(std::string_view subject, size_t& matchStart, size_t& matchLength,
            size_t from = 0) const;
  // The first matched text (a view into subject), or an empty view when none.
  std::string_view FindText(std::string_view subject) const;
  bool IsMatch(std::string_view subject) const;
  // The capturing groups of the pattern.
  int CaptureCount() const;
  // The number of a named group, or -1 when the pattern has no group of that name.
  int GroupNumber(std::string_view name) const;
  // The text of capture group `group` (0: the whole match) of the first match, a view into
  // subject. False when there is no match or the group took no part in it.
  bool FindGroup(std::string_view subject, int group, std::string_view& text) const;

 private:
  struct TCompiled;
  std::unique_ptr<TCompiled> FCompiled;
};
