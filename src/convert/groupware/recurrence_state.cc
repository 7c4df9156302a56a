// From the pattern of a message to its object.
#include "convert/groupware/recurrence_state.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <vector>

#include "convert/groupware/recurrence_pattern_rule.h"
#include "convert/groupware/recurrence_state_item.h"
#include "diagnostics/hresult_exception.h"
#include "properties/mapi_prop_utils.h"

namespace nalvo::RecurrenceState {
namespace {

using namespace detail;
using mail::DateTime;
using mail::RecurrenceDate;
using Pattern = RecurrencePattern;

constexpr SourceFile kSource{".\\RecurrenceState"};

DateTime wholeDay(Minutes minutes) { return DateTime(secondsOf(minutes)).makeDateOnly(); }

void setEnd(const Pattern& pattern, ItemKind kind, bool allDay, const ItemClock& clock, mail::RRule& rule) {
  switch (pattern.end) {
    case Pattern::End::OnDate:
      rule.until = allDay ? wholeDay(pattern.endDate) : clock.utc(dayOf(pattern.endDate) + pattern.startOffset);
      break;
    case Pattern::End::AfterCount:
      rule.count = static_cast<int>(std::min<std::uint32_t>(pattern.count, std::numeric_limits<int>::max()));
      if (kind == ItemKind::Task) {
        rule.xUntil = wholeDay(pattern.endDate);
      }
      break;
    case Pattern::End::Never:
      break;
  }
}

RecurrenceDate movedDate(const Pattern::Exception& exception, bool allDay, const ItemClock& clock, std::size_t position) {
  const auto dateOf = [&](Minutes local) {
    return exception.allDay.value_or(allDay) ? wholeDay(local) : clock.instant(local);
  };
  return {dateOf(exception.start), dateOf(exception.end), static_cast<int>(position)};
}

// Days are compared as the pattern holds them, whatever the zone makes of their midnights.
void createExceptionsFinalize(const Pattern& pattern, bool allDay, const ItemClock& clock, mail::VCalendar& object) {
  if (pattern.modified.size() != pattern.exceptions.size() || pattern.modified.size() > pattern.deleted.size()) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("RecurrenceState::detail::createExceptionsFinalize"));
  }
  object.removeRDates();
  object.removeExDates();
  std::unordered_map<Minutes, const Pattern::Exception*> exceptionOfDay;
  for (const Pattern::Exception& exception : pattern.exceptions) {
    exceptionOfDay.try_emplace(dayOf(exception.original), &exception);
  }
  std::vector<RecurrenceDate> moved;
  for (std::size_t i = 0; i < pattern.deleted.size(); ++i) {
    const Minutes day = dayOf(pattern.deleted[i]);
    const auto found = exceptionOfDay.find(day);
    const bool isMoved = found != exceptionOfDay.end();
    const Minutes original = isMoved ? found->second->original : day + pattern.startOffset;
    object.addExDate(allDay ? wholeDay(day) : clock.instant(original));
    if (isMoved) {
      moved.push_back(movedDate(*found->second, allDay, clock, i));
    }
  }
  object.addRDates(moved);
}

void readSeries(ConvertorDataMessage& data, mail::VCalendar& object, ItemKind kind, const TIME_ZONE_INFORMATION& zone) {
  constexpr const char* kWhere = "RecurrenceState::createState";
  object.removeRRules();
  object.removeExDates();
  const SeriesTags tags(data, kind);
  if (!MapiPropUtils::propertyExists(tags.message, tags.pattern)) {
    return;
  }
  const Pattern pattern = readRecurrencePattern(openPattern(tags, 0, kWhere).get(), kind);
  const ItemClock clock(kind == ItemKind::Task ? zone : appointmentZone(data));
  // Dates of a task are whole days.
  const bool allDay = kind == ItemKind::Task || isAllDayItem(data);
  mail::RRule rule = ruleOfPattern(pattern);
  setEnd(pattern, kind, allDay, clock, rule);
  object.addRRule(rule);
  createExceptionsFinalize(pattern, allDay, clock, object);
}

}  // namespace

void createState(ConvertorDataMessage& data, mail::VEvent& object, const TIME_ZONE_INFORMATION& zone) {
  readSeries(data, object, ItemKind::Appointment, zone);
}

void createState(ConvertorDataMessage& data, mail::VTodo& object, const TIME_ZONE_INFORMATION& zone) {
  readSeries(data, object, ItemKind::Task, zone);
}

}  // namespace nalvo::RecurrenceState
