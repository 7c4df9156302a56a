// Those who take part without an entry of the recipient table: three texts of the item, PidLidNonSendableTo and its kin,
// with a list of answers each. They travel as attendees who are not asked.
#pragma once

#include <vector>

#include "frame/conversion_state.h"
#include "mail/v_event.h"

namespace nalvo::ObjectAttendees {

void addNonSendable(ConvertorDataMessage& data, mail::VEvent& object);
void parseNonSendable(ConvertorDataMessage& data, const std::vector<mail::Attendee>& attendees);

}  // namespace nalvo::ObjectAttendees
