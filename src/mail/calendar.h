// Calendar arithmetic of the library: the proleptic Gregorian calendar from 1601 to 29999, whatever the platform can do.
#pragma once

#include <cstdint>

namespace nalvo::mail {

// The fields of a date, by the numbers that recurrence rules use for their lists.
enum DateField : std::uint8_t {
  kYear,
  kMonth,     // 1 to 12
  kWeek,      // of the year
  kYearDay,   // 1 to 366
  kMonthDay,  // 1 to 31
  kWeekday,   // 1 Monday to 7 Sunday
  kHour,
  kMinute,
  kSecond,
};
inline constexpr int kDateFields = 9;

// How fine a field is, 0 for the year to 6 for the second; the same number as the frequency that steps by it.
int rankOf(DateField field);
// The field that holds it, n times over; a negative n goes the other way. Both end at the year and the second.
DateField parentOf(DateField field, int n = 1);
DateField childOf(DateField field, int n = 1);

namespace calendar {

inline constexpr std::int64_t kDay = 86400;
// 1601-01-01 and 30000-01-01: seconds outside are taken as the nearer end.
inline constexpr std::int64_t kFirstSecond = -11644473600;
inline constexpr std::int64_t kLastSecond = 884541340800;

struct Fields {
  std::int64_t year = 1970;
  std::int64_t month = 1;  // 1 to 12
  std::int64_t day = 1;
  std::int64_t hour = 0;
  std::int64_t minute = 0;
  std::int64_t second = 0;
  int weekday = 4;  // 1 Monday to 7 Sunday
  int yearDay = 1;  // 1 to 366
};

// `seconds` since 1970 taken apart.
Fields gmtime(std::int64_t seconds);
// The way back, without regard to weekday and yearDay. Fields may lie outside their range by up to 2^31: month 13 is January
// of the next year, day 0 the last of the month before.
std::int64_t timegm(const Fields& fields);

bool isLeapYear(std::int64_t year);
int daysOfYear(std::int64_t year);
// `month` may lie outside 1 to 12 and then counts into the years around.
int daysOfMonth(std::int64_t year, std::int64_t month);
// 1 Monday to 7 Sunday.
int weekdayOf(std::int64_t year, std::int64_t month, std::int64_t day);

// Places after `weekStart` in the week, 0 to 6. A week start that is no weekday counts as Monday.
int daysInto(int weekday, int weekStart);
// The week that holds a date; week 1 is the one that holds at least four days of its year, so days around New Year may
// belong to week 52 or 53 of the year before, or to week 1 of the next.
int weekOf(const Fields& fields, int weekStart);

}  // namespace calendar
}  // namespace nalvo::mail
