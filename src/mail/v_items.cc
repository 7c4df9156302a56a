#include "mail/v_items.h"

#include <map>
#include <utility>

#include "mail/content_lines.h"
#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/text/text.h"

namespace nalvo::mail {

bool isItemType(std::string_view name) {
  return equalsIgnoreCase(name, "VEVENT") || equalsIgnoreCase(name, "VTODO") || equalsIgnoreCase(name, "VJOURNAL");
}

std::vector<CalendarItem> itemsOf(const Component& calendar) {
  std::vector<CalendarItem> items;
  std::map<std::string, std::size_t> places;
  for (const Component& component : calendar.children) {
    if (!isItemType(component.name)) {
      continue;
    }
    const std::string type = toLowerAscii(std::string_view(component.name));
    const std::string& uid = component.getPropertyText("UID");
    const bool isException = !component.findProperty("RECURRENCE-ID").firstValue().isEmptyValue();
    const auto [place, isNew] = places.emplace(uid.empty() ? std::to_string(items.size()) : type + uid, items.size());
    const bool isOther = !isNew && !isException && items[place->second].hasSeries;
    if (isNew || isOther) {
      items.push_back({type, {}});
    }
    CalendarItem& item = isOther ? items.back() : items[place->second];
    item.components.push_back(&component);
    item.hasSeries = item.hasSeries || !isException;
  }
  std::vector<CalendarItem> parted;
  for (CalendarItem& item : items) {
    if (item.hasSeries) {
      parted.push_back(std::move(item));
      continue;
    }
    for (const Component* component : item.components) {
      parted.push_back({item.type, {component}});
    }
  }
  return parted;
}

bool holdsSeveralItems(HeaderLex& lexer) {
  std::size_t items = 0;
  Component component;
  while (items < 2 && component.read(lexer, {})) {
    // Behind a line that can't be read, items stand without their calendar.
    const bool isItem = equalsIgnoreCase(component.name, "VCARD") || isItemType(component.name);
    items += isItem ? 1 : itemsOf(component).size();
  }
  return items > 1;
}

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
