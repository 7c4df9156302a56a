// The series of calendars, and which of them a recurrence pattern holds.
#pragma once

#include "mail/v_calendar.h"

namespace nalvo::host {

// One rule, from a day that each month has, and no dates beside it but those that stand for others. Excluded dates are those
// of the rule to the minute. Patterns have no place for other series.
bool isHeldByPattern(const mail::VCalendar& object);

}  // namespace nalvo::host
