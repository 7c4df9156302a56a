#include <gtest/gtest.h>

#include <cmath>

#include "platform/time/clock.h"
#include "platform/time/file_time.h"

using namespace nalvo;

namespace {

TEST(FileTime, GoesToTheCalendarAndBack) {
  struct Case {
    std::string_view why;
    std::uint64_t ticks;
    SYSTEMTIME time;
  };
  static constexpr Case kCases[] = {
      {"the first instant", 0, {1601, 1, 1, 1, 0, 0, 0, 0}},
      {"the Unix epoch", 116'444'736'000'000'000, {1970, 1, 4, 1, 0, 0, 0, 0}},
      {"a leap day", 128'488'031'990'000'000, {2008, 2, 5, 29, 23, 59, 59, 0}},
      {"the last day of a year", 128'436'192'000'000'000 - 10'000, {2007, 12, 1, 31, 23, 59, 59, 999}},
      {"the last millisecond", 0x7FFF'FFFF'FFFF'FFFF / 10'000 * 10'000, {30828, 9, 4, 14, 2, 48, 5, 477}},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const auto time = fileTimeToSystemTime(fileTimeOf(c.ticks));
    ASSERT_TRUE(time);
    EXPECT_TRUE(*time == c.time) << time->wYear << '-' << time->wMonth << '-' << time->wDay;
    if (c.time.wYear < 30828) {
      const auto back = systemTimeToFileTime(c.time);
      ASSERT_TRUE(back);
      EXPECT_EQ(ticksOf(*back), c.ticks);
    }
  }
}

TEST(FileTime, RefusesWhatTheCalendarLacks) {
  EXPECT_FALSE(fileTimeToSystemTime(fileTimeOf(0x8000'0000'0000'0000)));
  static constexpr SYSTEMTIME kBad[] = {
      {2007, 2, 0, 29, 0, 0, 0, 0}, {2008, 13, 0, 1, 0, 0, 0, 0},   {2008, 0, 0, 1, 0, 0, 0, 0},
      {2008, 1, 0, 0, 0, 0, 0, 0},  {2008, 1, 0, 1, 24, 0, 0, 0},   {2008, 1, 0, 1, 0, 60, 0, 0},
      {2008, 1, 0, 1, 0, 0, 60, 0}, {2008, 1, 0, 1, 0, 0, 0, 1000}, {1600, 1, 0, 1, 0, 0, 0, 0},
      {30828, 1, 0, 1, 0, 0, 0, 0},
  };
  for (const SYSTEMTIME& time : kBad) {
    EXPECT_FALSE(systemTimeToFileTime(time)) << time.wYear << '-' << time.wMonth << '-' << time.wDay;
  }
}

TEST(FileTime, CountsUnixSeconds) {
  EXPECT_EQ(unixSecondsOf(*fileTimeOfUnix(1'199'178'000)), 1'199'178'000);
  EXPECT_EQ(ticksOf(*fileTimeOfUnix(-11'644'473'600)), 0U);
  EXPECT_FALSE(fileTimeOfUnix(-11'644'473'601));
  EXPECT_FALSE(fileTimeOfUnix(INT64_MAX));
  EXPECT_EQ(unixSecondsOf(fileTimeOf(116'444'735'999'999'999)), -1);
}

TEST(VariantTime, CountsTheFractionAwayFromZero) {
  struct Case {
    double days;
    SYSTEMTIME time;
  };
  static constexpr Case kCases[] = {
      {0.0, {1899, 12, 6, 30, 0, 0, 0, 0}},         {1.5, {1899, 12, 0, 31, 12, 0, 0, 0}},
      {-1.25, {1899, 12, 5, 29, 6, 0, 0, 0}},       {39448.375, {2008, 1, 2, 1, 9, 0, 0, 0}},
      {2'958'465.0, {9999, 12, 5, 31, 0, 0, 0, 0}},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.days);
    const auto time = variantTimeToSystemTime(c.days);
    ASSERT_TRUE(time);
    EXPECT_TRUE(*time == c.time) << time->wYear << '-' << time->wMonth << '-' << time->wDay << ' ' << time->wHour;
    EXPECT_DOUBLE_EQ(systemTimeToVariantTime(c.time).value_or(NAN), c.days);
  }
  EXPECT_FALSE(variantTimeToSystemTime(2'958'466.0));
  EXPECT_FALSE(variantTimeToSystemTime(-657'435.0));
  EXPECT_FALSE(variantTimeToSystemTime(NAN));
  // Rounded to the next day, not to 24:00.
  const auto midnight = variantTimeToSystemTime(39448.0 - 1e-7);
  ASSERT_TRUE(midnight);
  EXPECT_EQ(midnight->wDay, 1);
  EXPECT_EQ(midnight->wHour, 0);
}

TEST(Clock, StandsStillForATest) {
  const FILETIME noon = *fileTimeOfUnix(1'199'188'800);
  {
    const ScopedClock clock(noon);
    EXPECT_EQ(currentFileTime(), noon);
  }
  EXPECT_GT(ticksOf(currentFileTime()), ticksOf(noon));
}

}  // namespace
