#include "uKwDateTime.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

// Days from 0001-01-01 (proleptic Gregorian) to 1899-12-30.
constexpr int64_t kDaysTo18991230 = 693593;

bool IsLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days since 1970-01-01 of a civil date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t y, int m, int d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  year = static_cast<int>(yoe + era * 400 + (month <= 2));
}

// Offset of local time from GMT, in seconds, at the given instant.
int64_t LocalOffsetAt(int64_t unixSeconds) {
  time_t t = static_cast<time_t>(unixSeconds);
  struct tm local {};
  if (!localtime_r(&t, &local)) return 0;
  return local.tm_gmtoff;
}

}  // namespace

bool TryEncodeDateTime(const TKwDateParts& p, TDateTime& value) {
  value = 0;
  if (p.Year < 1 || p.Year > 9999 || p.Month < 1 || p.Month > 12 || p.Day < 1 ||
      p.Day > DaysInMonth(p.Year, p.Month) || p.Hour < 0 || p.Hour > 23 || p.Minute < 0 ||
      p.Minute > 59 || p.Second < 0 || p.Second > 59 || p.Millisecond < 0 || p.Millisecond > 999)
    return false;
  double days = static_cast<double>(DaysFromCivil(p.Year, p.Month, p.Day)) + kUnixEpochDateTime;
  double time = (p.Hour * 3600000.0 + p.Minute * 60000.0 + p.Second * 1000.0 + p.Millisecond) /
                (kSecondsPerDay * 1000.0);
  // Before 1899-12-30 the framework keeps the time of day positive: -1.25 is 12-29 06:00.
  value = days < 0 ? days - time : days + time;
  return true;
}

TDateTime EncodeDateTime(int year, int month, int day, int hour, int minute, int second, int millisecond) {
  TDateTime value;
  TryEncodeDateTime({year, month, day, hour, minute, second, millisecond}, value);
  return value;
}

TKwDateParts DecodeDateTime(TDateTime value) {
  TKwDateParts parts;
  if (!std::isfinite(value)) return parts;
  // Milliseconds since 1899-12-30 with the framework's sign convention undone.
  double whole = std::trunc(value);
  double fraction = std::fabs(value - whole);
  int64_t ms = static_cast<int64_t>(std::llround(fraction * kSecondsPerDay * 1000.0));
  int64_t days = static_cast<int64_t>(whole);
  if (ms >= 86400000) {
    ms -= 86400000;
    days += 1;
  }
  CivilFromDays(days - static_cast<int64_t>(kUnixEpochDateTime), parts.Year, parts.Month, parts.Day);
  parts.Hour = static_cast<int>(ms / 3600000);
  parts.Minute = static_cast<int>(ms / 60000 % 60);
  parts.Second = static_cast<int>(ms / 1000 % 60);
  parts.Millisecond = static_cast<int>(ms % 1000);
  return parts;
}

int DayOfWeek(TDateTime value) {
  int64_t days = static_cast<int64_t>(std::floor(value));
  // 1899-12-30 was a Saturday (7).
  return static_cast<int>(((days + 6) % 7 + 7) % 7) + 1;
}

TDateTime UnixToDateTime(int64_t seconds) {
  return static_cast<double>(seconds) / kSecondsPerDay + kUnixEpochDateTime;
}

int64_t DateTimeToUnix(TDateTime value) {
  return static_cast<int64_t>(std::llround((value - kUnixEpochDateTime) * kSecondsPerDay));
}

TDateTime GmtToLocal(TDateTime gmt) {
  if (gmt == 0) return 0;
  int64_t seconds = DateTimeToUnix(gmt);
  return gmt + static_cast<double>(LocalOffsetAt(seconds)) / kSecondsPerDay;
}

TDateTime LocalToGmt(TDateTime local) {
  if (local == 0) return 0;
  // The offset depends on the instant; take it at the guess, then correct once across a
  // daylight-saving change.
  int64_t guess = DateTimeToUnix(local);
  int64_t offset = LocalOffsetAt(guess);
  offset = LocalOffsetAt(guess - offset);
  return local - static_cast<double>(offset) / kSecondsPerDay;
}

std::tm DateTimeToTm(TDateTime value) {
  const TKwDateParts p = DecodeDateTime(value);
  std::tm t{};
  t.tm_year = p.Year - 1900;
  t.tm_mon = p.Month - 1;
  t.tm_mday = p.Day;
  t.tm_hour = p.Hour;
  t.tm_min = p.Minute;
  t.tm_sec = p.Second;
  t.tm_wday = DayOfWeek(value) - 1;
  t.tm_isdst = -1;
  return t;
}

std::string DateTimeToLocaleString(TDateTime value) {
  if (value == 0) return "";
  const std::tm t = DateTimeToTm(value);
  char buffer[128];
  size_t n = strftime(buffer, sizeof buffer, "%x %X", &t);
  return std::string(buffer, n);
}

std::string DateTimeToIsoText(TDateTime gmt, int offsetMinutes) {
  const TKwDateParts p = DecodeDateTime(gmt + offsetMinutes / (kSecondsPerDay / 60));
  char text[48];
  int n = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", p.Year, p.Month, p.Day, p.Hour,
                        p.Minute, p.Second);
  if (p.Millisecond != 0) n += std::snprintf(text + n, sizeof text - n, ".%03d", p.Millisecond);
  const int east = std::abs(offsetMinutes);
  std::snprintf(text + n, sizeof text - n, "%c%02d:%02d", offsetMinutes < 0 ? '-' : '+', east / 60, east % 60);
  return text;
}

int LocalOffsetMinutes(TDateTime local) {
  return static_cast<int>(std::lround((local - LocalToGmt(local)) * (kSecondsPerDay / 60)));
}

TDateTime NowGmt() {
  using namespace std::chrono;
  auto ms = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
  return static_cast<double>(ms) / (kSecondsPerDay * 1000.0) + kUnixEpochDateTime;
}

TDateTime NowLocal() { return GmtToLocal(NowGmt()); }
