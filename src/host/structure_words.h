// Binary structures in words, for people who look at an item.
#pragma once

#include <string>
#include <string_view>

#include "nalvo/com.h"

namespace nalvo::host {

// PidLidAppointmentRecur, PidLidTaskRecurrence: "every 2 weeks on Monday and Thursday, 10 times, 1 moved, 2 deleted".
// "unreadable" for a damaged one.
std::string recurrenceWords(std::string_view bytes);
// PidLidTimeZoneStruct: "UTC-05:00, daylight saving UTC-04:00 from the second Sunday of March at 02:00 to ...".
std::string zoneWords(std::string_view bytes);

// The words of a binary property of PSETID_Appointment or PSETID_Task; empty for one that has none.
std::string structureWords(const GUID& set, std::uint32_t id, std::string_view bytes);

}  // namespace nalvo::host
