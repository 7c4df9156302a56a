#include "mail/v_items.h"

#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/text/text.h"

namespace nalvo::mail {

std::unique_ptr<VCalendar> calendarFor(const Component& calendar) {
  for (const Component& child : calendar.children) {
    if (equalsIgnoreCase(child.name, "VEVENT")) {
      return std::make_unique<VEvent>();
    }
    if (equalsIgnoreCase(child.name, "VTODO")) {
      return std::make_unique<VTodo>();
    }
    if (equalsIgnoreCase(child.name, "VJOURNAL")) {
      return std::make_unique<VJournal>();
    }
  }
  return nullptr;
}

}  // namespace nalvo::mail
