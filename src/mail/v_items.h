// Calendar objects by what they hold.
#pragma once

#include <memory>

#include "mail/v_calendar.h"

namespace nalvo::mail {

// An empty object of the type of the first event, task or journal entry in `calendar`; null when there is none.
std::unique_ptr<VCalendar> calendarFor(const Component& calendar);

}  // namespace nalvo::mail
