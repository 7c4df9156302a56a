// Calendar, card and note texts in the form in which the library writes them, and the dates on which they occur.
#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <sstream>

#include "mail/content_sources.h"
#include "mail/sticky_note.h"
#include "mail/v_card.h"
#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/text/text.h"
#include "tool/commands.h"

namespace nalvo::tool {
namespace {

using namespace nalvo::mail;

std::string readAll(IStream* file) {
  std::string text;
  std::array<char, 65536> block;
  ULONG count = 0;
  while (file->Read(block.data(), static_cast<ULONG>(block.size()), &count) >= 0 && count > 0) {
    text.append(block.data(), count);
  }
  return text;
}

// Of the type of the first component that has one; null when there is none.
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

std::string dateText(const DateTime& date) {
  if (date.isDateOnly() || date.kind() == DateTime::Kind::Fixed) {
    return date.toString(DateTime::kExtended);
  }
  return date.toString(DateTime::kExtended | DateTime::kLocal) + " " + (date.zone() ? date.zone()->id() : "local time");
}

// By instant: the dates of the rules without the excluded ones, and the extra and moved ones.
std::string occurrencesOf(const VCalendar& object, std::size_t count) {
  const std::vector<DateTime> exDates = object.getAllExDates();
  const ExcludedDates excluded(exDates);
  const DateTime start = object.getStart();
  std::set<DateTime> dates;
  const auto add = [&](const DateTime& date) {
    if (!date.isNull() && excluded.find(date) < 0) {
      dates.insert(date);
    }
  };
  const std::vector<RRule> rules = object.getRRules();
  if (rules.empty()) {
    add(start);
  }
  for (const RRule& rule : rules) {
    const std::size_t most = count + exDates.size();
    RRuleIterator next = rule.iterate(start, true);
    for (std::size_t i = 0; i < most && !next.hasEnded() && !start.isNull(); ++i, next.advance()) {
      add(next.current());
    }
  }
  for (const RecurrenceDate& extra : object.getOccurrences()) {
    if (!extra.start.isNull()) {
      dates.insert(extra.start);
    }
  }
  std::string text;
  for (auto date = dates.begin(); date != dates.end() && count > 0; ++date, --count) {
    text.append(dateText(*date)).push_back('\n');
  }
  return text;
}

// What `text`, one whole component, says as an object.
template <typename Object>
std::string rewritten(const std::string& text) {
  std::istringstream in(text);
  Object object;
  object.read(in);
  return object.toText();
}

std::string tell(const Component& component, const ObjectOptions& options) {
  const std::string text = component.toText();
  if (equalsIgnoreCase(component.name, "VCARD")) {
    return options.occurrences ? std::string() : rewritten<VCard>(text);
  }
  if (equalsIgnoreCase(component.name, "STICKYNOTE")) {
    return options.occurrences ? std::string() : rewritten<StickyNote>(text);
  }
  const std::unique_ptr<VCalendar> calendar = calendarFor(component);
  if (!calendar) {
    return options.occurrences ? std::string() : text;
  }
  std::istringstream in(text);
  calendar->read(in);
  return options.occurrences ? occurrencesOf(*calendar, *options.occurrences) : calendar->toText();
}

}  // namespace

Outcome object(const Input& input, const ObjectOptions& options) {
  std::istringstream in(readAll(input.open().get()));
  vcIStreamLex lexer(in, "");
  Outcome outcome;
  Component component;
  bool isAny = false;
  while (component.read(lexer, "")) {
    isAny = true;
    outcome.output += tell(component, options);
  }
  if (!isAny) {
    outcome.error = "no calendar, card or note in it";
  }
  return outcome;
}

}  // namespace nalvo::tool
