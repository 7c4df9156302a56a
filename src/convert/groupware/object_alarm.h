// Reminders of appointments and tasks, between properties and alarms.
#pragma once

#include "frame/conversion_state.h"
#include "mail/v_event.h"
#include "mail/v_todo.h"

namespace nalvo::ObjectAlarm {

// Replaces the alarms by the item's one reminder. The extensions that tell its distance and next time are set for a reminder
// that is switched off, too.
void createAlarms(ConvertorDataMessage& data, mail::VCalendar& object);

// Takes the first alarm that shows or plays something; all others are dropped. Without one the reminder is switched off, and
// keeps what the extensions tell.
//
// Throws MAPI_E_CORRUPT_DATA for an alarm that has nothing to count from.
void parseAlarms(ConvertorDataMessage& data, const mail::VEvent& object);
void parseAlarms(ConvertorDataMessage& data, const mail::VTodo& object);

}  // namespace nalvo::ObjectAlarm
