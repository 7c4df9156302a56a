#include "host/calendar_series.h"

#include <algorithm>

#include "mail/calendar.h"
#include "mail/time_zone.h"

namespace nalvo::host {
namespace {

using mail::VCalendar;

constexpr int kInEachMonth = 28;

bool isPlace(int ordinal) { return (ordinal >= 1 && ordinal <= 4) || ordinal == -1; }
bool isPlain(const std::vector<int>& weekdays) {
  return std::all_of(weekdays.begin(), weekdays.end(), [](int day) { return mail::ordinalOf(day) == 0; });
}

// One day of each month: of its number, or of a weekday and place.
bool isOneDay(const mail::RRule& rule) {
  const std::vector<int>& days = rule.by[mail::kMonthDay];
  const std::vector<int>& weekdays = rule.by[mail::kWeekday];
  if (weekdays.empty()) {
    return rule.bySetPos.empty() && (days.empty() || (days.size() == 1 && days[0] > 0 && days[0] <= kInEachMonth));
  }
  return days.empty() &&
         (isPlain(weekdays) ? rule.bySetPos.size() == 1 && isPlace(rule.bySetPos[0])
                            : weekdays.size() == 1 && rule.bySetPos.empty() && isPlace(mail::ordinalOf(weekdays[0])));
}

// A recurrence pattern has no place for other rules.
bool isHeldByPattern(const mail::RRule& rule) {
  for (const mail::DateField field : {mail::kWeek, mail::kYearDay, mail::kHour, mail::kMinute, mail::kSecond}) {
    if (!rule.by[field].empty()) {
      return false;
    }
  }
  const std::vector<int>& months = rule.by[mail::kMonth];
  const std::vector<int>& weekdays = rule.by[mail::kWeekday];
  switch (rule.freq) {
    case mail::kDaily:
    case mail::kWeekly:
      return months.empty() && rule.by[mail::kMonthDay].empty() && rule.bySetPos.empty() && isPlain(weekdays);
    case mail::kMonthly:
      return months.empty() && isOneDay(rule);
    case mail::kYearly:
      return months.size() <= 1 && isOneDay(rule) && (weekdays.empty() || months.size() == 1);
    default:
      return false;
  }
}

bool isAtClockOf(const mail::DateTime& start, const mail::DateTime& date) {
  const mail::calendar::Fields wall = date.wallClock(), own = start.wallClock();
  return date.zone() && start.zone() && date.zone()->id() == start.zone()->id() && wall.hour == own.hour &&
         wall.minute == own.minute;
}

}  // namespace

bool isHeldByPattern(const VCalendar& object) {
  const std::vector<mail::RRule> rules = object.getRRules();
  const std::vector<mail::RecurrenceDate> more = object.getOccurrences();
  const std::vector<mail::DateTime> excluded = object.getAllExDates();
  const mail::DateTime start = object.getStart();
  return rules.size() <= 1 && (rules.empty() || (isHeldByPattern(rules.front()) && start.wallClock().day <= kInEachMonth)) &&
         std::all_of(more.begin(), more.end(), [](const auto& date) { return date.movedFrom >= 0; }) &&
         std::all_of(excluded.begin(), excluded.end(), [&start](const mail::DateTime& date) {
           return date.isNull() || start.isNull() || date.isDateOnly() ||
                  (date.seconds() - start.seconds()) % mail::calendar::kDay == 0 || isAtClockOf(start, date);
         });
}

}  // namespace nalvo::host
