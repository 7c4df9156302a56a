// Between a rule of calendar text and the part of a recurrence pattern that says how an item repeats. Where a rule begins
// and ends is no matter of these two.
#pragma once

#include "convert/groupware/recurrence_pattern.h"
#include "mail/rrule.h"

namespace nalvo {

// Fills frequency, type and what belongs to them. A pattern holds less than a rule: of lists of months and of days of the
// month their first entry, of positions the first four and the last. `start` is the first date by the wall clock.
//
// False for a rule that isn't valid or steps finer than days. E_INVALIDARG for days that name no weekday.
bool describeRule(const mail::RRule& rule, const mail::DateTime& start, RecurrencePattern& pattern);

// E_INVALIDARG for a monthly type with a frequency below a month.
mail::RRule ruleOfPattern(const RecurrencePattern& pattern);

}  // namespace nalvo
