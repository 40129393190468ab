#pragma once
// Reading numbers and dates as people write them in mail: amounts with either decimal
// mark and grouped thousands, dates in their common written forms. Pure functions.

#include <string_view>

#include "uKwEnum.h"
#include "uKwTypes.h"

// Which mark separates the decimals of a number. dmAuto: the last of "." and "," when
// both occur; a mark that occurs more than once groups thousands; else a single mark is
// the decimal mark. persisted: never reorder
#define KW_DECIMAL_MARK(X) X(dmAuto) X(dmPoint) X(dmComma)
KW_ENUM(TDecimalMark, KW_DECIMAL_MARK);
static_assert(TDecimalMarkCount == 3);

// The first number in text ("Total: EUR 1.234,50" gives 1234.5): digits with the marks
// and the thousands groups (".", ",", "'", a blank before three digits) around them, a
// "-" right before it. False when text holds no digit or two decimal marks.
bool ParseNumberText(std::string_view text, TDecimalMark mark, double& value);
// A date with an optional time: "2024-03-05", "05.03.2024", "03/05/2024" (day first unless
// monthFirst; dotted dates always day first), "March 5, 2024", "Tue, 05 Mar 2024 14:07:09
// +0100", "5 Mar 2024 2:07 pm"; English month names; a two-digit year is 1970-2069. A zone
// offset is ignored. False for anything else or a day that does not exist.
bool ParseWrittenDate(std::string_view text, bool monthFirst, TDateTime& value);
