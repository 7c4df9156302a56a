#include "convert/groupware/recurrence_pattern_rule.h"

#include <algorithm>
#include <limits>

#include "diagnostics/hresult_exception.h"
#include "mail/calendar.h"

namespace nalvo {
namespace {

using Pattern = RecurrencePattern;
namespace calendar = mail::calendar;

constexpr SourceFile kSource{".\\RecurrenceState"};

constexpr int kFirstYear = 1601;
constexpr std::uint32_t kMinutesOfWeek = 7 * kMinutesOfDay;
constexpr std::uint32_t kMonthsOfYear = 12;
// The first Sunday, on which a pattern of weekdays begins.
constexpr std::uint32_t kFirstSunday = 6 * kMinutesOfDay;
constexpr int kMostInterval = 1'000'000;  // A period in minutes has 32 bits.

struct FrequencyRow {
  mail::Frequency rule;
  Pattern::Frequency pattern;
};
constexpr FrequencyRow kFrequencies[] = {
    {mail::kYearly, Pattern::Frequency::Yearly},
    {mail::kMonthly, Pattern::Frequency::Monthly},
    {mail::kWeekly, Pattern::Frequency::Weekly},
    {mail::kDaily, Pattern::Frequency::Daily},
};

struct WeekdayRow {
  std::uint32_t bit;
  int weekday;
};
constexpr WeekdayRow kWeekdays[] = {{2, 1}, {4, 2}, {8, 3}, {0x10, 4}, {0x20, 5}, {0x40, 6}, {Pattern::kSunday, 7}};

std::uint32_t minutesTo(std::int64_t year, std::int64_t month, std::int64_t day) {
  return static_cast<std::uint32_t>((calendar::timegm({year, month, day}) - calendar::kFirstSecond) / 60);
}

// The first of a month that is counted from January 1601.
std::uint32_t minutesToMonth(std::uint32_t month) {
  return minutesTo(kFirstYear + month / kMonthsOfYear, month % kMonthsOfYear + 1, 1);
}

std::uint32_t bitOf(int weekday) {
  return std::find_if(std::begin(kWeekdays), std::end(kWeekdays),
                      [=](const WeekdayRow& row) { return row.weekday == weekday; })
      ->bit;
}

std::uint32_t weekdaysOf(const std::vector<int>& days) {
  std::uint32_t weekdays = 0;
  for (const WeekdayRow& row : kWeekdays) {
    const bool isIn =
        std::any_of(days.begin(), days.end(), [&](int entry) { return mail::weekdayOfEntry(entry) == row.weekday; });
    weekdays |= isIn ? row.bit : 0;
  }
  return weekdays;
}

// Which of the weekdays of a month, told by a position or by the ordinal of a single day; 0 when it is each.
int positionOf(const mail::RRule& rule) {
  const std::vector<int>& days = rule.by[mail::kWeekday];
  if (!rule.bySetPos.empty()) {
    return rule.bySetPos.front();
  }
  return days.size() == 1 ? mail::ordinalOf(days.front()) : 0;
}

std::uint32_t monthDayOf(const std::vector<int>& days, int dayOfStart) {
  const int day = days.empty() ? dayOfStart : days.front();
  if (day == -1) {
    return 31;  // A pattern takes what is beyond the end of a month as its last day.
  }
  return static_cast<std::uint32_t>(day >= 1 && day <= 31 ? day : dayOfStart);
}

class Description {
 public:
  Description(const mail::RRule& rule, const mail::DateTime& start, Pattern& pattern)
      : rule_(rule),
        start_(start.wallClock()),
        interval_(static_cast<std::uint32_t>(std::clamp(rule.interval, 1, kMostInterval))),
        pattern_(pattern) {}

  void daily() {
    const std::vector<int>& days = rule_.by[mail::kWeekday];
    if (days.empty()) {
      pattern_.type = Pattern::Type::Day;
      pattern_.period = interval_ * kMinutesOfDay;
      pattern_.firstDateTime = startDay() % pattern_.period;
      return;
    }
    pattern_.type = Pattern::Type::Week;
    pattern_.period = interval_;
    pattern_.firstDateTime = kFirstSunday;
    pattern_.weekdays = weekdaysOf(days);
    if (pattern_.weekdays == 0) {
      throwHResult(E_INVALIDARG, kSource.at("RecurrenceState::ParseState"));
    }
  }

  void weekly() {
    pattern_.type = Pattern::Type::Week;
    pattern_.period = interval_;
    pattern_.firstDayOfWeek = static_cast<std::uint32_t>(rule_.weekStart % 7);
    setWeekdays();
    if (interval_ > 1) {
      const auto daysIn = static_cast<std::uint32_t>(calendar::daysInto(start_.weekday, rule_.weekStart));
      const std::int64_t period = std::int64_t{interval_} * kMinutesOfWeek;
      const std::int64_t weekStart = std::int64_t{startDay()} - daysIn * kMinutesOfDay;
      pattern_.firstDateTime = static_cast<std::uint32_t>((weekStart + period) % period);
    }
  }

  void monthly() { everyMonths(interval_, static_cast<std::uint32_t>(start_.month)); }

  void yearly() {
    const std::vector<int>& months = rule_.by[mail::kMonth];
    const bool isTold = !months.empty() && months.front() >= 1 && months.front() <= 12;
    everyMonths(interval_ * kMonthsOfYear, static_cast<std::uint32_t>(isTold ? months.front() : start_.month));
  }

 private:
  std::uint32_t startDay() const { return minutesTo(start_.year, start_.month, start_.day); }

  void setWeekdays() {
    const std::uint32_t weekdays = weekdaysOf(rule_.by[mail::kWeekday]);
    pattern_.weekdays = weekdays != 0 ? weekdays : bitOf(start_.weekday);
  }

  void everyMonths(std::uint32_t period, std::uint32_t month) {
    pattern_.period = period;
    const auto years = static_cast<std::uint32_t>(start_.year - kFirstYear);
    pattern_.firstDateTime = minutesToMonth((kMonthsOfYear * years + month - 1) % period);
    const int position = positionOf(rule_);
    if (position == 0) {
      pattern_.type = Pattern::Type::Month;
      pattern_.monthDay = monthDayOf(rule_.by[mail::kMonthDay], static_cast<int>(start_.day));
      return;
    }
    pattern_.type = Pattern::Type::MonthNth;
    setWeekdays();
    pattern_.nth = position < 0 ? Pattern::kLast : std::min(static_cast<std::uint32_t>(position), Pattern::kLast);
  }

  const mail::RRule& rule_;
  const calendar::Fields start_;
  const std::uint32_t interval_;
  Pattern& pattern_;
};

int clampedInterval(std::uint32_t interval) {
  return static_cast<int>(std::clamp<std::uint32_t>(interval, 1, std::numeric_limits<int>::max()));
}

// The month in which the years of a pattern begin.
int monthOf(std::uint32_t firstDateTime) {
  return static_cast<int>(calendar::gmtime(calendar::kFirstSecond + std::int64_t{firstDateTime} * 60).month);
}

void setDays(std::uint32_t weekdays, mail::RRule& rule) {
  for (const WeekdayRow& row : kWeekdays) {
    if ((weekdays & row.bit) != 0) {
      rule.by[mail::kWeekday].push_back(mail::dayEntry(0, row.weekday));
    }
  }
}

void setMonths(const Pattern& pattern, mail::RRule& rule) {
  if (rule.freq == mail::kMonthly) {
    rule.interval = clampedInterval(pattern.period);
  } else if (rule.freq == mail::kYearly) {
    rule.interval = pattern.period % kMonthsOfYear == 0 ? clampedInterval(pattern.period / kMonthsOfYear) : 1;
    rule.by[mail::kMonth].push_back(monthOf(pattern.firstDateTime));
  } else {
    throwHResult(E_INVALIDARG, kSource.at("RecurrenceState::createState"));
  }
}

}  // namespace

bool describeRule(const mail::RRule& rule, const mail::DateTime& start, RecurrencePattern& pattern) {
  const auto* row = std::find_if(std::begin(kFrequencies), std::end(kFrequencies),
                                 [&](const FrequencyRow& each) { return each.rule == rule.freq; });
  if (!rule.valid || row == std::end(kFrequencies)) {
    return false;
  }
  pattern.frequency = row->pattern;
  Description description(rule, start, pattern);
  switch (row->pattern) {
    case Pattern::Frequency::Daily:
      description.daily();
      break;
    case Pattern::Frequency::Weekly:
      description.weekly();
      break;
    case Pattern::Frequency::Monthly:
      description.monthly();
      break;
    case Pattern::Frequency::Yearly:
      description.yearly();
      break;
  }
  return true;
}

mail::RRule ruleOfPattern(const RecurrencePattern& pattern) {
  mail::RRule rule;
  rule.valid = true;
  rule.freq = std::find_if(std::begin(kFrequencies), std::end(kFrequencies), [&](const FrequencyRow& each) {
                return each.pattern == pattern.frequency;
              })->rule;
  switch (pattern.type) {
    case Pattern::Type::Day:
      rule.interval = clampedInterval(pattern.period / kMinutesOfDay);
      break;
    case Pattern::Type::Week:
      rule.interval = clampedInterval(pattern.period);
      setDays(pattern.weekdays, rule);
      if (rule.freq == mail::kWeekly && rule.interval > 1 && pattern.firstDayOfWeek < 7) {
        rule.weekStart = pattern.firstDayOfWeek == 0 ? 7 : static_cast<int>(pattern.firstDayOfWeek);
      }
      break;
    case Pattern::Type::Month:
      setMonths(pattern, rule);
      if (pattern.monthDay >= 1 && pattern.monthDay <= 31) {
        rule.by[mail::kMonthDay].push_back(static_cast<int>(pattern.monthDay));
      }
      break;
    case Pattern::Type::MonthNth:
      setMonths(pattern, rule);
      setDays(pattern.weekdays, rule);
      if (!rule.by[mail::kWeekday].empty() && pattern.nth >= 1 && pattern.nth <= Pattern::kLast) {
        rule.bySetPos.push_back(pattern.nth == Pattern::kLast ? -1 : static_cast<int>(pattern.nth));
      }
      break;
  }
  return rule;
}

}  // namespace nalvo
