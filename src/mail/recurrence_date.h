// Dates beside those of a rule: more of them, and which of the excluded ones they stand for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "mail/date_time.h"
#include "mail/v_component.h"

namespace nalvo::mail {

struct RecurrenceDate {
  DateTime start;
  DateTime end;        // null when it isn't told
  int movedFrom = -1;  // position in the list of excluded dates; -1 when it stands for none
};

// Where a date stands in a list of excluded ones.
class ExcludedDates {
 public:
  explicit ExcludedDates(const std::vector<DateTime>& dates);

  // The first that is the same: the same day when either is a whole day, else the same instant. -1 when there is none, and
  // for a null date.
  int find(const DateTime& date) const;

 private:
  using Positions = std::unordered_map<std::int64_t, int>;

  Positions instants_;   // of dates with a time
  Positions wholeDays_;  // by the day of the wall clock
  Positions days_;       // of all
};

// Appends what a value of RDATE says: dates and periods, with X-MOVED beside them. Those that can't be read are left out.
void readRecurrenceDates(const PropertyValue& value, const Zones& zones, const ExcludedDates& excluded,
                         std::vector<RecurrenceDate>& dates);
// Replaces text and parameters. `moved` is the excluded date, or null. All are written by the clock of `date.start`.
void writeRecurrenceDate(const RecurrenceDate& date, const DateTime& moved, PropertyValue& value);

}  // namespace nalvo::mail
