// What the mail of a task, or of a message about one, is known to drop or to alter.
#pragma once

#include "host/carried.h"

namespace nalvo::host {

// The task that a message about one holds, with which it is one mail. Null for any other message.
MemoryMessage* taskWithin(const MemoryMessage& message);

// Adds to the plan of a task or a message about one; does nothing for others. `holder` is the message that holds the task;
// null for none.
void planTask(const MemoryMessage& message, const MemoryMessage* holder, CarriedLayer& layer);

}  // namespace nalvo::host
