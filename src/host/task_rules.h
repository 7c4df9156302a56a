// Conditions of the rules about tasks.
#pragma once

#include "host/rule_case.h"

namespace nalvo::host::tasks {

bool isTask(const Case& c);
// Both times are midnight of one day, each somewhere.
bool isSameDay(const Case& c);
// Both patterns mean the same dates.
bool isSameSeries(const Case& c);
bool repeats(const Case& c);
// A reminder that did not say when it rings, or rings again at another time than at first.
bool isTimeOfReminder(const Case& c);
// The same share in whole percents.
bool isSamePercentage(const Case& c);

}  // namespace nalvo::host::tasks
