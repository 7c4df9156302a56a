#include "mail/calendar.h"

#include <algorithm>

namespace nalvo::mail {
namespace {

struct FieldRow {
  int rank;
  DateField parent, child;
};
constexpr FieldRow kFields[kDateFields] = {
    {0, kYear, kMonth},       // year
    {1, kYear, kMonthDay},    // month
    {2, kYear, kWeekday},     // week
    {3, kYear, kHour},        // day of the year
    {3, kMonth, kHour},       // day of the month
    {3, kWeek, kHour},        // weekday
    {4, kMonthDay, kMinute},  // hour
    {5, kHour, kSecond},      // minute
    {6, kMinute, kSecond},    // second
};

// Division towards the past, and what it leaves: 0 to `by` - 1.
constexpr std::int64_t floorDivide(std::int64_t number, std::int64_t by) { return number / by - (number % by < 0 ? 1 : 0); }
constexpr std::int64_t floorRest(std::int64_t number, std::int64_t by) { return number - floorDivide(number, by) * by; }

// Years are counted from March here, so that the leap day is the last of its year.
constexpr std::int64_t kDaysOf400Years = 146097;
constexpr std::int64_t kDaysOf100Years = 36524;
constexpr std::int64_t kDaysOf4Years = 1461;
// From 1 March 1600 to 1 January 1970.
constexpr std::int64_t kDaysTo1970 = 135080;

// Days from 1 March to the first of a month that is `months` later, 0 to 11.
constexpr std::int64_t daysFromMarch(std::int64_t months) { return (153 * months + 2) / 5; }

// Days since 1970.
constexpr std::int64_t daysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
  const std::int64_t months = (year - 1600) * 12 + month - 3;
  const std::int64_t years = floorDivide(months, 12);
  return years * 365 + floorDivide(years, 4) - floorDivide(years, 100) + floorDivide(years, 400) +
         daysFromMarch(floorRest(months, 12)) + day - 1 - kDaysTo1970;
}
static_assert(daysOf(1970, 1, 1) == 0 && daysOf(1600, 3, 1) == -kDaysTo1970 && daysOf(2000, 3, 1) == 11017);

}  // namespace

int rankOf(DateField field) { return kFields[field].rank; }

DateField parentOf(DateField field, int n) {
  for (; n > 0; --n) {
    field = kFields[field].parent;
  }
  for (; n < 0; ++n) {
    field = kFields[field].child;
  }
  return field;
}

DateField childOf(DateField field, int n) { return parentOf(field, -n); }

namespace calendar {

Fields gmtime(std::int64_t seconds) {
  seconds = std::clamp(seconds, kFirstSecond, kLastSecond);
  const std::int64_t sinceEpoch = floorDivide(seconds, kDay);
  const std::int64_t ofDay = floorRest(seconds, kDay);

  std::int64_t days = sinceEpoch + kDaysTo1970;
  const std::int64_t cycles = days / kDaysOf400Years;
  days %= kDaysOf400Years;
  // The last day of 400 and of 4 years is one more than the even share.
  const std::int64_t centuries = std::min<std::int64_t>(days / kDaysOf100Years, 3);
  days -= centuries * kDaysOf100Years;
  const std::int64_t leaps = days / kDaysOf4Years;
  days %= kDaysOf4Years;
  const std::int64_t years = std::min<std::int64_t>(days / 365, 3);
  days -= years * 365;
  const std::int64_t months = (5 * days + 2) / 153;

  Fields fields;
  fields.month = months < 10 ? months + 3 : months - 9;
  fields.year = 1600 + cycles * 400 + centuries * 100 + leaps * 4 + years + (months < 10 ? 0 : 1);
  fields.day = days - daysFromMarch(months) + 1;
  fields.hour = ofDay / 3600;
  fields.minute = ofDay / 60 % 60;
  fields.second = ofDay % 60;
  fields.weekday = static_cast<int>(floorRest(sinceEpoch + 3, 7)) + 1;
  fields.yearDay = static_cast<int>(sinceEpoch - daysOf(fields.year, 1, 1)) + 1;
  return fields;
}

std::int64_t timegm(const Fields& fields) {
  const std::int64_t days = daysOf(fields.year, fields.month, fields.day);
  const std::int64_t seconds = ((days * 24 + fields.hour) * 60 + fields.minute) * 60 + fields.second;
  return std::clamp(seconds, kFirstSecond, kLastSecond);
}

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysOfYear(std::int64_t year) { return isLeapYear(year) ? 366 : 365; }

int daysOfMonth(std::int64_t year, std::int64_t month) {
  return static_cast<int>(daysOf(year, month + 1, 1) - daysOf(year, month, 1));
}

int weekdayOf(std::int64_t year, std::int64_t month, std::int64_t day) {
  return static_cast<int>(floorRest(daysOf(year, month, day) + 3, 7)) + 1;
}

int daysInto(int weekday, int weekStart) {
  const int start = weekStart >= 1 && weekStart <= 7 ? weekStart : 1;
  return (weekday - start + 7) % 7;
}

int weekOf(const Fields& fields, int weekStart) {
  const int first = daysInto(weekdayOf(fields.year, 1, 1), weekStart);
  const int nextFirst = daysInto(weekdayOf(fields.year + 1, 1, 1), weekStart);
  if (fields.month == 12 && nextFirst < 4 && fields.day >= 32 - nextFirst) {
    return 1;
  }
  if (first < 4) {
    return (fields.yearDay - 1 + first) / 7 + 1;
  }
  if (fields.month == 1 && fields.day <= 7 - first) {
    // Also ahead of the first year of the calendar, where no instant lies.
    Fields last{fields.year - 1, 12, 31};
    last.yearDay = daysOfYear(last.year);
    return weekOf(last, weekStart);
  }
  return (fields.yearDay - 1 + first) / 7;
}

}  // namespace calendar
}  // namespace nalvo::mail
