#include "uKwDateTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

TEST(TKwDateTimeTest, EncodesTheFrameworkEpochAndItsNeighbours) {
  EXPECT_EQ(EncodeDateTime(1899, 12, 30), 0.0);
  EXPECT_EQ(EncodeDateTime(1970, 1, 1), kUnixEpochDateTime);
  EXPECT_EQ(EncodeDateTime(2024, 1, 31, 12), 45322.5);
  // Before the epoch the time of day still counts away from zero.
  EXPECT_EQ(EncodeDateTime(1899, 12, 29, 6), -1.25);
  auto parts = DecodeDateTime(-1.25);
  EXPECT_EQ(parts.Day, 29);
  EXPECT_EQ(parts.Hour, 6);
}

TEST(TKwDateTimeTest, DecodeRoundsToTheMillisecondAndInvertsEncode) {
  for (int year : {1, 1600, 1899, 1900, 2000, 2024, 2038, 9999}) {
    TDateTime v = EncodeDateTime(year, 2, 28, 23, 59, 59, 999);
    auto p = DecodeDateTime(v);
    EXPECT_EQ(p.Year, year);
    EXPECT_EQ(p.Month, 2);
    EXPECT_EQ(p.Day, 28);
    EXPECT_EQ(p.Hour, 23);
    EXPECT_EQ(p.Second, 59);
    EXPECT_EQ(p.Millisecond, 999);
  }
  EXPECT_EQ(DayOfWeek(EncodeDateTime(2026, 11, 21)), 7);  // a Saturday
}

TEST(TKwDateTimeTest, ConvertsBetweenLocalAndGmtAtTheDatesOwnOffset) {
  const char* old = std::getenv("TZ");
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  TDateTime winterGmt = EncodeDateTime(2024, 1, 15, 12);
  TDateTime summerGmt = EncodeDateTime(2024, 7, 15, 12);
  EXPECT_NEAR(GmtToLocal(winterGmt) - winterGmt, 1.0 / 24, 1e-9);
  EXPECT_NEAR(GmtToLocal(summerGmt) - summerGmt, 2.0 / 24, 1e-9);
  EXPECT_NEAR(LocalToGmt(GmtToLocal(summerGmt)), summerGmt, 1e-9);
  EXPECT_EQ(GmtToLocal(0), 0.0) << "zero means no date";
  if (old) setenv("TZ", old, 1); else unsetenv("TZ");
  tzset();
}

TEST(TKwDateTimeTest, IsoTextShowsTheWallClockOfTheGivenOffset) {
  const TDateTime gmt = EncodeDateTime(2024, 3, 5, 12, 15);
  EXPECT_EQ(DateTimeToIsoText(gmt, 330), "2024-03-05T17:45:00+05:30");
  EXPECT_EQ(DateTimeToIsoText(gmt, -480), "2024-03-05T04:15:00-08:00");
  EXPECT_EQ(DateTimeToIsoText(gmt, 0), "2024-03-05T12:15:00+00:00");
  EXPECT_EQ(DateTimeToIsoText(EncodeDateTime(2024, 12, 31, 23, 30, 0, 250), 60), "2025-01-01T00:30:00.250+01:00")
      << "the offset may carry the date into the next year";
  const char* old = std::getenv("TZ");
  setenv("TZ", "America/St_Johns", 1);  // -03:30 in winter, -02:30 in summer
  tzset();
  EXPECT_EQ(LocalOffsetMinutes(EncodeDateTime(2024, 1, 15, 12)), -210);
  EXPECT_EQ(LocalOffsetMinutes(EncodeDateTime(2024, 7, 15, 12)), -150);
  if (old) setenv("TZ", old, 1); else unsetenv("TZ");
  tzset();
}

// ---- error paths

TEST(TKwDateTimeTest, RefusesDatesThatDoNotExist) {
  TDateTime v = 1;
  EXPECT_FALSE(TryEncodeDateTime({2023, 2, 29}, v));
  EXPECT_EQ(v, 0.0);
  EXPECT_FALSE(TryEncodeDateTime({2024, 13, 1}, v));
  EXPECT_FALSE(TryEncodeDateTime({0, 1, 1}, v));
  EXPECT_FALSE(TryEncodeDateTime({2024, 1, 1, 24}, v));
  EXPECT_TRUE(TryEncodeDateTime({2024, 2, 29}, v));
}
