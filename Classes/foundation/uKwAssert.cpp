#include "uKwAssert.h"

EAssertionFailed::EAssertionFailed(std::string_view unit, int line)
    : std::logic_error("Assertion failure (" + std::string(unit) + ", line " +
                       std::to_string(line) + ")"),
      FUnit(unit),
      FLine(line) {}

void AssertionFailure(std::string_view unit, int line) { throw EAssertionFailed(unit, line); }
