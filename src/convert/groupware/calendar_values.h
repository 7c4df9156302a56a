// Values that appointments, meetings and tasks have in common.
#pragma once

#include <string>
#include <string_view>

#include "mail/date_time.h"

namespace nalvo {

// PR_IMPORTANCE and PRIORITY.
int priorityOfImportance(std::uint32_t importance);
std::uint32_t importanceOfPriority(int priority);
// PR_PRIORITY of an item whose PR_IMPORTANCE this is.
std::uint32_t mapiPriorityOfImportance(std::uint32_t importance);

// A new PidLidGlobalObjectId, which is its clean twin as well. `searchKey` may be empty.
std::string makeGlobalObjectId(std::string_view searchKey);
// PidLidCleanGlobalObjectId: the id of the series to which the instance with this id belongs.
std::string cleanGlobalObjectId(std::string_view globalId);

// The instant at which a whole day begins in the machine's zone; any other date stays. Null for a day at either end of the
// calendar, whose midnight may have no name.
mail::DateTime instantOfDay(const mail::DateTime& date);

}  // namespace nalvo
