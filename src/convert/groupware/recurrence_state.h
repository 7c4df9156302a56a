// How an item repeats: between the binary pattern of MAPI and the rule, exclusions and moved dates of calendar text.
#pragma once

#include "frame/conversion_state.h"
#include "mail/date_time.h"
#include "mail/v_event.h"
#include "mail/v_todo.h"
#include "platform/time/time_zone.h"

namespace nalvo::RecurrenceState {

// Reads the pattern of the message, PidLidAppointmentRecur or PidLidTaskRecurrence, into `object`, whose rule and exclusions
// it replaces. Without a pattern the object does not repeat. `zone` is the one in which the item's times are local. For an
// appointment its own PidLidTimeZoneStruct comes before it, and one that has none gets that of the machine.
//
// Throws   E_INVALIDARG for an unknown frequency, pattern or end; E_FAIL for a regenerating series; MAPI_E_CORRUPT_DATA when
//          the counts contradict each other; the code of a read.
void createState(ConvertorDataMessage& data, mail::VEvent& object, const TIME_ZONE_INFORMATION& zone);
void createState(ConvertorDataMessage& data, mail::VTodo& object, const TIME_ZONE_INFORMATION& zone);

// Writes the pattern of `object` and the properties that say that the item repeats, or removes them when it does not: no
// rule, no `start`, or an event without `end`. Both times are in UTC, or whole days. The clock of an appointment is that of
// its PidLidTimeZoneStruct, which is made from the machine's zone when it is missing; of a task that of the machine. Whether
// the item is all-day is read from PidLidAppointmentSubType, so that stands before.
//
// On a failure the item does not repeat either.
void ParseState(const mail::DateTime& start, const mail::DateTime& end, ConvertorDataMessage& data,
                const mail::VEvent& object);
void ParseState(const mail::DateTime& start, const mail::DateTime& end, ConvertorDataMessage& data,
                const mail::VTodo& object);

}  // namespace nalvo::RecurrenceState
