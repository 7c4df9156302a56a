// What a calendar holds: events, tasks and journal entries, each with all that belongs to it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mail/v_calendar.h"

namespace nalvo::mail {

// Whether a component of that name is an event, a task or a journal entry.
bool isItemType(std::string_view name);

// A series with its exceptions, or what stands alone.
struct CalendarItem {
  std::string type;                          // "vevent"
  std::vector<const Component*> components;  // of the calendar
  bool hasSeries = false;                    // one of them is no exception
};

// Those of a calendar in their order. Of two with one id that both are no exceptions each is an item, and so is each
// exception without a series, for an item has one place for what it is.
std::vector<CalendarItem> itemsOf(const Component& calendar);
std::vector<CalendarItem> itemsOf(Component&& calendar) = delete;

// Whether a text holds more than one of them, or more than one card.
bool holdsSeveralItems(HeaderLex& lexer);

// An empty object of the type of the first event, task or journal entry in `calendar`; null when there is none.
std::unique_ptr<VCalendar> calendarFor(const Component& calendar);

}  // namespace nalvo::mail
