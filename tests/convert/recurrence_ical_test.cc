// Series as another program expands them from our calendar text.
#ifdef NALVO_HAVE_ICAL

#include <libical/ical.h>

#include <set>

#include "tests/convert/calendar_items.h"
#include "tests/convert/series_items.h"
#include "tests/support/recurrence_blob.h"

namespace nalvo::test {
namespace {

using mail::DateTime;
using mail::testing::ScopedZone;

constexpr std::int64_t kWindow = 12 * 366 * RecurrenceBlob::kDay;  // of an endless series
constexpr std::size_t kMost = 5'000;                               // dates in the window

struct Free {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};

// By the wall clock of `zone`, null for whole days.
std::set<std::int64_t> startsIn(const std::string& calendar, std::int64_t from, const ZonePtr& zone) {
  struct Collected {
    std::set<std::int64_t> starts;
    const mail::NTimeZone* zone;
  } collected{{}, zone.get()};
  const std::unique_ptr<icalcomponent, Free> all(icalparser_parse_string(calendar.c_str()));
  icalcomponent* event = icalcomponent_get_first_component(all.get(), ICAL_VEVENT_COMPONENT);
  EXPECT_EQ(icalcomponent_count_errors(all.get()), 0) << calendar;
  const auto timeAt = [](std::int64_t minutes) {
    return icaltime_from_timet_with_zone(60 * minutes + mail::calendar::kFirstSecond, 0, icaltimezone_get_utc_timezone());
  };
  const auto add = [](icalcomponent*, icaltime_span* span, void* data) {
    auto& into = *static_cast<Collected*>(data);
    const std::int64_t offset = into.zone == nullptr ? 0 : into.zone->getOffsetAt(span->start).seconds();
    into.starts.insert((span->start + offset - mail::calendar::kFirstSecond) / 60);
  };
  icalcomponent_foreach_recurrence(event, timeAt(from - 2 * RecurrenceBlob::kDay), timeAt(from + kWindow), add, &collected);
  // It leaves extra dates that are periods to its callers.
  for (icalproperty* each = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY); each != nullptr;
       each = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
    const icaltimetype start = icalproperty_get_rdate(each).period.start;
    const std::int64_t offset =
        icaltime_is_utc(start) && zone != nullptr ? zone->getOffsetAt(icaltime_as_timet(start)).seconds() : 0;
    collected.starts.insert((icaltime_as_timet(start) + offset - mail::calendar::kFirstSecond) / 60);
  }
  return collected.starts;
}

// What readers of calendar text understand otherwise: a whole day as a period; a 31st, which a rule passes over in shorter
// months.
bool isKnownToDiffer(const std::string& calendar) {
  const std::string moved = lineOf(calendar, "RDATE");
  const bool isWholeDay = moved.rfind('/') == moved.rfind(':') + sizeof "20080116";
  return isWholeDay || calendar.find("BYMONTHDAY=31") != std::string::npos;
}

TEST(RecurrencePattern, IsExpandedTheSameByAnotherProgram) {
  int compared = 0;
  for (const char* machine : {"America/Los_Angeles", "Asia/Tokyo"}) {
    const ScopedZone scope(machine);
    for (const SeriesCase& c : kSeries) {
      SCOPED_TRACE(std::string(machine) + ": " + c.why);
      mail::VEvent event;
      readObject(c.lines, event);
      SeriesItem series;
      series.setZone(c.zone);
      const std::string bytes = writeBlob(series, event);
      const bool allDay = event.getStart().isDateOnly();

      Item item(u"IPM.Appointment");
      item.set(named::kTimeZoneStruct, series.bytes(series.tagOf(named::kTimeZoneStruct)));
      item.set(named::kRecurring, true);
      item.set(named::kAppointmentRecur, bytes);
      item.set(named::kAppointmentSubType, allDay);
      const ZonePtr zone = mail::NTimeZone::byId(c.zone);
      const auto store = [&](const NamedProperty& property, const DateTime& date) {
        const std::int64_t offset = date.isDateOnly() ? zone->getOffsetAt(date.seconds()).seconds() : 0;
        const std::uint64_t minutes =
            static_cast<std::uint64_t>(date.seconds() - offset - mail::calendar::kFirstSecond) / 60;
        item.set(property, fileTimeOf(minutes * 60 * kTicksPerSecond));
      };
      store(named::kAppointmentStartWhole, event.getStart());
      store(named::kAppointmentEndWhole, event.getEffectiveEnd());
      const std::string calendar = calendarOf(item.write());
      if (isKnownToDiffer(calendar)) {
        continue;
      }
      ++compared;
      const RecurrenceBlob blob(bytes, true);
      std::set<std::int64_t> meant;
      for (const Occurrence& occurrence : blob.occurrences(kMost)) {
        if (occurrence.start < blob.startDate + kWindow - 2 * RecurrenceBlob::kDay) {
          meant.insert(occurrence.start);
        }
      }
      std::set<std::int64_t> expanded = startsIn(calendar, blob.startDate, allDay ? nullptr : zone);
      expanded.erase(expanded.lower_bound(blob.startDate + kWindow - 2 * RecurrenceBlob::kDay), expanded.end());
      EXPECT_EQ(expanded, meant) << calendar;
    }
  }
  EXPECT_GE(compared, 40);
}

}  // namespace
}  // namespace nalvo::test

#endif
