// Calendar, card and note texts in the form in which the library writes them, and the dates on which they occur.
#include <array>
#include <memory>
#include <sstream>

#include "mail/content_sources.h"
#include "mail/sticky_note.h"
#include "mail/v_card.h"
#include "mail/v_items.h"
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

std::string dateText(const DateTime& date) {
  if (date.isDateOnly() || date.kind() == DateTime::Kind::Fixed) {
    return date.toString(DateTime::kExtended);
  }
  return date.toString(DateTime::kExtended | DateTime::kLocal) + " " + (date.zone() ? date.zone()->id() : "local time");
}

std::string occurrencesOf(const VCalendar& object, std::size_t count) {
  std::string text;
  for (const DateTime& date : object.getFirstDates(count)) {
    text.append(dateText(date)).push_back('\n');
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
