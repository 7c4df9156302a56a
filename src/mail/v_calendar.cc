#include "mail/v_calendar.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "mail/v_text.h"
#include "platform/com/guid.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

// By the numbers of Method.
constexpr std::array<std::string_view, 8> kMethods = {"PUBLISH", "REQUEST", "REPLY",   "ADD",
                                                      "CANCEL",  "REFRESH", "COUNTER", "DECLINECOUNTER"};

// An empty one isn't written, and would be missing when the text is read again.
bool hasRecurrenceId(const Component& component) {
  const auto& values = component.findProperty("RECURRENCE-ID").values;
  return !std::all_of(values.begin(), values.end(), [](const PropertyValue& value) { return value.isEmptyValue(); });
}

std::string textOf(const GUID& id) {
  std::array<char, 37> text{};
  const auto& tail = id.Data4;
  std::snprintf(text.data(), text.size(), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", id.Data1, id.Data2, id.Data3,
                tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
  return text.data();
}

}  // namespace

DateTime dayInUtc(const DateTime& date) {
  if (date.isNull() || date.isDateOnly()) {
    return date;
  }
  return DateTime(date.seconds()).makeDateOnly();
}

const Component& VCalendar::current() const { return main_ < root().children.size() ? root().children[main_] : root(); }

bool VCalendar::selectMain() {
  const std::vector<Component>& children = root().children;
  const auto isOfType = [this](const Component& child) { return equalsIgnoreCase(child.name, getType()); };
  const auto first = std::find_if(children.begin(), children.end(), isOfType);
  const auto master = std::find_if(first, children.end(),
                                   [&](const Component& child) { return isOfType(child) && !hasRecurrenceId(child); });
  main_ = static_cast<std::size_t>((master == children.end() ? first : master) - children.begin());
  if (first == children.end()) {
    rootForWrite().addComponent(getType());
    return false;
  }
  return true;
}

void VCalendar::createNew() { createNew(textOf(newGuid())); }

void VCalendar::createNew(std::string_view uid) {
  zones_.clear();
  rootForWrite() = Component("VCALENDAR");
  rootForWrite().setPropertyText("PRODID", "-//Nalvo Works//Nalvo Relay//EN");
  setMethod(getMethod());
  rootForWrite().setPropertyText("VERSION", getVersion());
  rootForWrite().setPropertyText("X-VERSION-QTL", getServerVersion());
  selectMain();
  setStamp(DateTime::now());
  if (!uid.empty()) {
    setUid(uid);
  }
}

bool VCalendar::readFrom(HeaderLex& lexer) {
  zones_.clear();
  if (!rootForWrite().read(lexer, "VCALENDAR")) {
    createNew();
    return false;
  }
  for (const Component& child : root().children) {
    if (equalsIgnoreCase(child.name, "VTIMEZONE")) {
      registerZone(std::make_shared<const NTimeZone>(child));
    }
  }
  rootForWrite().eraseComponents("VTIMEZONE");
  const bool found = selectMain();
  if (getStamp().isNull()) {
    setStamp(DateTime::now());
  }
  if (current().hasProperty("ATTENDEE")) {
    for (PropertyValue& value : currentForWrite().addProperty("ATTENDEE").values) {
      addMissingName(value);
    }
  }
  return found;
}

void VCalendar::printTo(const Sink& sink) const {
  std::vector<Component> components;
  for (auto zone = zones_.rbegin(); zone != zones_.rend(); ++zone) {
    components.push_back(zone->second->toComponent());
  }
  root().print(sink, components);
}

void VCalendar::registerZone(const std::shared_ptr<const TimeZone>& zone) {
  if (auto known = std::dynamic_pointer_cast<const NTimeZone>(zone)) {
    std::shared_ptr<const NTimeZone>& kept = zones_[known->id()];
    if (!kept || !kept->isValid()) {
      kept = std::move(known);
    }
  }
}

DateTime VCalendar::getDate(const Component& component, std::string_view name) const {
  return component.findProperty(name).firstValue().getDateTime(zones_);
}

void VCalendar::setDate(std::string_view name, const DateTime& date) {
  registerZone(date.zone());
  currentForWrite().addProperty(name).firstValueForWrite().setDateTime(date);
}

DateTime VCalendar::getDayDate(std::string_view name) const {
  const DateTime date = getDate(name);
  const calendar::Fields wall = date.wallClock();
  return wall.hour == 0 && wall.minute == 0 && wall.second == 0 ? date.makeDateOnly() : dayInUtc(date);
}

int VCalendar::getLimited(std::string_view name, int least, int most, int missing) const {
  const std::string& text = getProperty(name);
  return text.empty() ? missing : std::clamp(leadingInt(text), least, most);
}

void VCalendar::setLimited(std::string_view name, int number, int least, int most) {
  setProperty(name, std::to_string(std::clamp(number, least, most)));
}

void VCalendar::setDescription(std::string text) {
  currentForWrite().removeProperty("DESCRIPTION");
  setProperty("DESCRIPTION", text);
}

std::string VCalendar::getDescriptionAltRep() const {
  return std::string(current().findProperty("DESCRIPTION").firstValue().firstParamValue("ALTREP"));
}

int VCalendar::getPriority() const { return getLimited("PRIORITY", 0, 9, 5); }

void VCalendar::setPriority(int priority) { setLimited("PRIORITY", priority, 0, 9); }

int VCalendar::getSequence() const { return leadingInt(getProperty("SEQUENCE")); }

Method VCalendar::getMethod() const {
  return static_cast<Method>(std::max(indexOf(kMethods, root().getPropertyText("METHOD")), 0));
}

void VCalendar::setMethod(Method method) {
  rootForWrite().setPropertyText("METHOD", kMethods[static_cast<std::size_t>(method)]);
}

std::string VCalendar::getVersion() const {
  const std::string& version = root().getPropertyText("VERSION");
  return version.empty() ? "2.0" : version;
}

std::string VCalendar::getServerVersion() const {
  const std::string& version = root().getPropertyText("X-VERSION-QTL");
  return version.empty() ? "6.2.0" : version;
}

std::vector<Attendee> VCalendar::getAttendees() const {
  std::vector<Attendee> attendees;
  for (const PropertyValue& value : current().findProperty("ATTENDEE").values) {
    attendees.push_back(readAttendee(value));
  }
  return attendees;
}

void VCalendar::addAttendee(const Attendee& attendee) {
  writeAttendee(attendee, currentForWrite().addProperty("ATTENDEE").addValue());
}

Attendee VCalendar::getOrganizer() const { return readOrganizer(current().findProperty("ORGANIZER").firstValue()); }

void VCalendar::setOrganizer(const Attendee& organizer) {
  writeOrganizer(organizer, currentForWrite().addProperty("ORGANIZER").firstValueForWrite());
}

std::vector<VAlarm> VCalendar::getAlarms() const {
  std::vector<VAlarm> alarms;
  for (const Component& child : current().children) {
    if (equalsIgnoreCase(child.name, "VALARM")) {
      alarms.push_back(readAlarm(child, zones_));
    }
  }
  return alarms;
}

void VCalendar::addAlarm(const VAlarm& alarm) {
  registerZone(alarm.triggerTime.zone());
  writeAlarm(alarm, currentForWrite().addComponent("VALARM"));
}

void VCalendar::dump(std::ostream& log) const {
  dumpFields(log, {"SUMMARY", "DESCRIPTION", "LOCATION", "ORGANIZER", "CREATED", "DTSTART", "DTEND", "DTDUE", "DURATION",
                   "STATUS", "PRIORITY", "PERCENT-COMPLETE"});
}

}  // namespace nalvo::mail
