// Recurrence rules: their text, and the dates that they stand for.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "mail/calendar.h"
#include "mail/date_time.h"

namespace nalvo::mail {

class RRuleIterator;

// By what a rule steps; the number is the rank of that field.
enum Frequency : int { kNoFrequency = -1, kYearly, kMonthly, kWeekly, kDaily, kHourly, kMinutely, kSecondly };

// An entry of BYDAY: a weekday, and which of them in its month or year. Negative ordinals count from the end, 0 is each.
constexpr int dayEntry(int ordinal, int weekday) { return ordinal * 256 + weekday; }
constexpr int ordinalOf(int entry) { return entry >> 8; }
constexpr int weekdayOfEntry(int entry) { return entry & 0xFF; }

// A rule whose text could not be read isn't valid: it prints as nothing and gives no dates.
struct RRule {
  RRule() = default;
  // The value of RRULE, of iCalendar or of vCalendar 1.0 ("W1 MO TH #10"). Keys that aren't known are passed over, values
  // that can't match are left out of a list that has others.
  explicit RRule(std::string_view text);

  // In the grammar of iCalendar, its keys always in the same order. COUNT is not written beside UNTIL.
  std::string toString() const;

  // The dates from `start` on, which is one of them when the rule gives it, or with `includeStart` in any case, and then
  // counts as the first. The rule must outlive the iterator and stay as it is.
  RRuleIterator iterate(const DateTime& start, bool includeStart) const&;
  RRuleIterator iterate(const DateTime& start, bool includeStart) const&& = delete;

  Frequency freq = kNoFrequency;
  int interval = 1;
  DateTime until;   // the last date may be this one; null for none
  DateTime xUntil;  // X-UNTIL, which only travels along
  int count = -1;   // -1: no limit
  // By DateField: BYMONTH to BYSECOND. Negative values count from the end of the field around.
  std::array<std::vector<int>, kDateFields> by;
  std::vector<int> bySetPos;
  int weekStart = 1;  // 1 Monday to 7 Sunday
  bool valid = false;
};

// Steps through the dates of a rule in ascending order.
//
// The cost is bounded whatever the rule: a step that finds nothing within eight years, or that would take too many passes or
// candidates, ends the iterator.
class RRuleIterator {
 public:
  // One that has ended.
  RRuleIterator() = default;

  // The null date at the end.
  const DateTime& current() const;
  bool hasEnded() const { return batch_.empty() && produced_ > 0; }
  void advance();
  // Advances, and gives the state before.
  RRuleIterator next();

  // Two that have ended are equal.
  friend bool operator==(const RRuleIterator& a, const RRuleIterator& b);

 private:
  friend struct RRule;

  RRuleIterator(const RRule& rule, const DateTime& start, bool includeStart);

  void end();
  void fillBatch();
  void includeDate(const DateTime& start);
  void cutTail();

  const RRule* rule_ = nullptr;
  std::vector<DateTime> batch_;  // of the present period, ascending
  std::size_t index_ = 0;
  std::int64_t produced_ = 1;       // dates in all batches so far; -1 ahead of the first
  std::int64_t gapCorrection_ = 0;  // seconds from the last date back to where it was before a gap in local time moved it
  int anchorDay_ = 0;               // the day of the month that a plain monthly rule keeps to; 0 for other rules
};

}  // namespace nalvo::mail
