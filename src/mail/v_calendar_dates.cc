// The dates on which a calendar object repeats, beside its start.
#include <algorithm>
#include <iterator>
#include <set>

#include "mail/v_calendar.h"
#include "platform/text/text.h"

namespace nalvo::mail {

std::vector<RRule> VCalendar::getRRules() const {
  std::vector<RRule> rules;
  for (const PropertyValue& value : current().findProperty("RRULE").values) {
    rules.emplace_back(value.text);
  }
  return rules;
}

std::vector<DateTime> VCalendar::getExDates() const {
  std::vector<DateTime> dates;
  for (const PropertyValue& value : current().findProperty("EXDATE").values) {
    const std::vector<DateTime> more = value.getDateTimes(zones_);
    dates.insert(dates.end(), more.begin(), more.end());
  }
  return dates;
}

bool VCalendar::isException(const Component& component) const {
  return equalsIgnoreCase(component.name, getType()) &&
         equalsIgnoreCase(component.getPropertyText("UID"), getProperty("UID")) &&
         !getDate(component, "RECURRENCE-ID").isNull();
}

std::vector<DateTime> VCalendar::getAllExDates() const {
  std::vector<DateTime> dates = getExDates();
  for (const Component& child : root().children) {
    if (isException(child)) {
      dates.push_back(getDate(child, "RECURRENCE-ID"));
    }
  }
  return dates;
}

void VCalendar::addExDate(const DateTime& date) {
  registerZone(date.zone());
  currentForWrite().addProperty("EXDATE").addValue().setDateTime(date);
}

std::vector<RecurrenceDate> VCalendar::getRDates() const {
  const ExcludedDates excluded(getExDates());
  std::vector<RecurrenceDate> dates;
  for (const PropertyValue& value : current().findProperty("RDATE").values) {
    readRecurrenceDates(value, zones_, excluded, dates);
  }
  return dates;
}

void VCalendar::addRDates(std::span<const RecurrenceDate> dates) {
  const std::vector<DateTime> excluded = getExDates();
  for (const RecurrenceDate& date : dates) {
    registerZone(date.start.zone());
    const bool moved = date.movedFrom >= 0 && static_cast<std::size_t>(date.movedFrom) < excluded.size();
    writeRecurrenceDate(date, moved ? excluded[static_cast<std::size_t>(date.movedFrom)] : DateTime(),
                        currentForWrite().addProperty("RDATE").addValue());
  }
}

std::vector<RecurrenceDate> VCalendar::getOccurrences() const {
  std::vector<RecurrenceDate> dates = getRDates();
  const ExcludedDates excluded(getAllExDates());
  for (const Component& child : root().children) {
    if (!isException(child)) {
      continue;
    }
    RecurrenceDate date;
    date.movedFrom = excluded.find(getDate(child, "RECURRENCE-ID"));
    date.start = getDate(child, "DTSTART");
    if (date.start.isNull()) {
      date.start = getStart();
    }
    date.end = getDate(child, "DTEND");
    if (date.end.isNull()) {
      const Duration own = Duration::parse(child.getPropertyText("DURATION"));
      const Duration length = own.isNull() ? getDuration() : own;
      date.end = length.isNull() ? DateTime() : date.start + length;
    }
    dates.push_back(std::move(date));
  }
  return dates;
}

std::vector<DateTime> VCalendar::getFirstDates(std::size_t count) const {
  const std::vector<DateTime> exDates = getAllExDates();
  const ExcludedDates excluded(exDates);
  const DateTime start = getStart();
  std::set<DateTime> dates;
  const auto add = [&](const DateTime& date) {
    if (!date.isNull() && excluded.find(date) < 0) {
      dates.insert(date);
    }
  };
  const std::vector<RRule> rules = getRRules();
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
  for (const RecurrenceDate& extra : getOccurrences()) {
    if (!extra.start.isNull()) {
      dates.insert(extra.start);
    }
  }
  return {dates.begin(), std::next(dates.begin(), static_cast<std::ptrdiff_t>(std::min(count, dates.size())))};
}

}  // namespace nalvo::mail
