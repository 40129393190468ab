#pragma once
// TDateTime arithmetic: days since 1899-12-30 00:00 as a double, the fraction being the
// time of day. Local time is the process's time zone (TZ); GMT conversions go through
// the C library so that daylight saving applies to the date converted, not to today.
// Pure functions; safe from any thread.

#include <cstdint>
#include <ctime>
#include <string>

#include "uKwTypes.h"

constexpr TDateTime kUnixEpochDateTime = 25569.0;  // 1970-01-01
constexpr double kSecondsPerDay = 86400.0;

struct TKwDateParts {
  int Year = 1899, Month = 12, Day = 30, Hour = 0, Minute = 0, Second = 0, Millisecond = 0;
};

// Exact for any date from year 1 to 9999; false and 0 for a date that does not exist.
bool TryEncodeDateTime(const TKwDateParts& parts, TDateTime& value);
TDateTime EncodeDateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                         int millisecond = 0);
// Rounded to the millisecond, as the desktop program decodes.
TKwDateParts DecodeDateTime(TDateTime value);
// The same fields as the C library's broken-down time, day of week set, DST left to it.
std::tm DateTimeToTm(TDateTime value);
int DayOfWeek(TDateTime value);  // 1 Sunday ... 7 Saturday

TDateTime UnixToDateTime(int64_t seconds);  // no time zone applied
int64_t DateTimeToUnix(TDateTime value);    // rounded to the second

// The date in the process locale's short date and long time format ("%x %X"); "" for 0.
std::string DateTimeToLocaleString(TDateTime value);

// ISO 8601 with a UTC offset: the wall-clock time `offsetMinutes` east of GMT, for example
// "2024-03-05T17:45:00+01:00"; ".123" after the seconds when there are milliseconds.
std::string DateTimeToIsoText(TDateTime gmt, int offsetMinutes);
// The local zone's offset from GMT, in minutes east, at the given local date (daylight
// saving as it applied then).
int LocalOffsetMinutes(TDateTime local);

TDateTime GmtToLocal(TDateTime gmt);
TDateTime LocalToGmt(TDateTime local);
TDateTime NowLocal();
TDateTime NowGmt();
