#pragma once
// Programming errors (an unknown action kind, a display text asked for a kind without
// one) fail loudly in every build with an exception that names the unit and line.

#include <stdexcept>
#include <string>
#include <string_view>

class EAssertionFailed : public std::logic_error {
 public:
  EAssertionFailed(std::string_view unit, int line);
  const std::string& Unit() const { return FUnit; }
  int Line() const { return FLine; }

 private:
  std::string FUnit;
  int FLine;
};

// Throws EAssertionFailed("Assertion failure (<unit>, line <line>)").
[[noreturn]] void AssertionFailure(std::string_view unit, int line);
