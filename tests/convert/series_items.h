// Series for tests: an item in the midst of a conversion, and a list of rules with what they are for.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "mail/windows_zone.h"
#include "tests/support/item.h"

namespace nalvo::test {

using ZonePtr = std::shared_ptr<const mail::NTimeZone>;

// UTC for a name that is none.
inline TIME_ZONE_INFORMATION zoneInfo(const std::string& name) {
  const ZonePtr zone = mail::NTimeZone::byId(name);
  return zone == nullptr ? TIME_ZONE_INFORMATION{} : mail::DateTimeUtils::zoneToTimeZoneInformation(*zone).value();
}

// An item with a series, in the midst of a conversion.
class SeriesItem : public Caller {
 public:
  explicit SeriesItem(const host::HostContextPtr& shared = std::make_shared<host::HostContext>()) : Caller(shared) {
    state.setMimeToMapi(stream("\r\n").get(), annotations.get(), flags.get(), message.get(), allocator.get(),
                        ToMapiFlags::Normal);
  }

  void setZone(const std::string& name) { writeTimeZoneStruct(state, zoneInfo(name)); }
  std::string blob(const NamedProperty& property = named::kAppointmentRecur) const { return bytes(tagOf(property)); }
  bool isRecurring() const { return get<bool>(tagOf(named::kRecurring)); }

  ConvertorDataMessage state;
};

// "VEVENT" with these lines, parted by LF.
template <typename Object>
void readObject(const std::string& lines, Object& object) {
  std::istringstream text("BEGIN:VCALENDAR\nBEGIN:" + std::string(object.getType()) + "\nUID:u\n" + lines +
                          "\nEND:" + object.getType() + "\nEND:VCALENDAR\n");
  ASSERT_TRUE(object.read(text)) << lines;
}

inline std::string writeBlob(SeriesItem& item, const mail::VEvent& event) {
  item.set(named::kAppointmentSubType, event.getStart().isDateOnly());
  RecurrenceState::ParseState(event.getStart(), event.getEffectiveEnd(), item.state, event);
  return item.has(item.tagOf(named::kAppointmentRecur)) ? item.blob() : std::string();
}

struct SeriesCase {
  const char* why;
  const char* zone;
  const char* lines;
};

inline constexpr SeriesCase kSeries[] = {
    {"every day", "America/New_York", "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY"},
    {"every third day", "Europe/Prague",
     "DTSTART:20080302T140000Z\nDTEND:20080302T150000Z\nRRULE:FREQ=DAILY;INTERVAL=3;COUNT=40"},
    {"every day of work", "Asia/Calcutta",
     "DTSTART:20080303T033000Z\nDTEND:20080303T043000Z\nRRULE:FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR;COUNT=12"},
    {"every week on the day of the start", "Australia/Sydney",
     "DTSTART:20080328T220000Z\nDTEND:20080328T230000Z\nRRULE:FREQ=WEEKLY;COUNT=8"},
    {"a late evening, whose day in UTC is the next one", "America/New_York",
     "DTSTART:20080109T020000Z\nDTEND:20080109T030000Z\nRRULE:FREQ=WEEKLY;BYDAY=TU;COUNT=10"},
    {"two days of every second week", "Europe/Prague",
     "DTSTART:20080103T080000Z\nDTEND:20080103T081500Z\nRRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=MO,TH;COUNT=20"},
    {"weeks that begin on Sunday", "Europe/Prague",
     "DTSTART:20080106T080000Z\nDTEND:20080106T090000Z\nRRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=SU,TU;COUNT=9;WKST=SU"},
    {"the same weeks that begin on Monday", "Europe/Prague",
     "DTSTART:20080106T080000Z\nDTEND:20080106T090000Z\nRRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=SU,TU;COUNT=9"},
    {"weeks that begin on Saturday, every third", "Europe/Prague",
     "DTSTART:20080104T080000Z\nDTEND:20080104T090000Z\nRRULE:FREQ=WEEKLY;INTERVAL=3;BYDAY=SA,FR;COUNT=9;WKST=SA"},
    {"a day of the month", "America/New_York", "DTSTART:20080115T140000Z\nDTEND:20080115T150000Z\nRRULE:FREQ=MONTHLY"},
    {"every fifth month until a date", "America/New_York",
     "DTSTART:20081115T140000Z\nDTEND:20081115T150000Z\nRRULE:FREQ=MONTHLY;INTERVAL=5;UNTIL=20121215T140000Z"},
    {"the last day of the month", "America/New_York",
     "DTSTART:20080131T140000Z\nDTEND:20080131T150000Z\nRRULE:FREQ=MONTHLY;BYMONTHDAY=-1;COUNT=14"},
    {"the second Tuesday", "America/New_York",
     "DTSTART:20080108T140000Z\nDTEND:20080108T150000Z\nRRULE:FREQ=MONTHLY;BYDAY=2TU;COUNT=14"},
    {"the last Friday", "America/New_York",
     "DTSTART:20080125T140000Z\nDTEND:20080125T150000Z\nRRULE:FREQ=MONTHLY;BYDAY=-1FR;COUNT=14"},
    {"the last day of work of every second month", "Europe/Prague",
     "DTSTART:20080131T140000Z\nDTEND:20080131T150000Z\n"
     "RRULE:FREQ=MONTHLY;INTERVAL=2;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1;COUNT=14"},
    {"a birthday", "Europe/Prague",
     "DTSTART;VALUE=DATE:20080301\nDTEND;VALUE=DATE:20080302\nRRULE:FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=1;COUNT=9"},
    {"every second year from an even one", "Europe/Prague",
     "DTSTART:20080715T140000Z\nDTEND:20080715T150000Z\nRRULE:FREQ=YEARLY;INTERVAL=2;COUNT=9"},
    {"every third year from an odd one", "Europe/Prague",
     "DTSTART:20090715T140000Z\nDTEND:20090715T150000Z\nRRULE:FREQ=YEARLY;INTERVAL=3;COUNT=9"},
    {"the fourth Thursday of November", "America/New_York",
     "DTSTART:20081127T170000Z\nDTEND:20081127T180000Z\nRRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=4TH;COUNT=9"},
    {"until the moment of the last, across the end of daylight saving", "America/New_York",
     "DTSTART:20081019T130000Z\nDTEND:20081019T140000Z\nRRULE:FREQ=WEEKLY;BYDAY=SU;UNTIL=20081102T140000Z"},
    {"across both changes of the south", "Australia/Sydney",
     "DTSTART:20080229T210000Z\nDTEND:20080229T213000Z\nRRULE:FREQ=WEEKLY;UNTIL=20081130T210000Z"},
    {"one date alone", "America/New_York", "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=1"},
    {"over midnight", "America/New_York", "DTSTART:20080301T040000Z\nDTEND:20080301T080000Z\nRRULE:FREQ=DAILY;COUNT=5"},
    {"deleted in UTC, on another day there", "America/New_York",
     "DTSTART:20080109T020000Z\nDTEND:20080109T030000Z\nRRULE:FREQ=WEEKLY;BYDAY=TU;COUNT=10\nEXDATE:20080116T020000Z"},
    {"deleted out of order and twice, once as a whole day", "America/New_York",
     "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=10\n"
     "EXDATE:20080305T140000Z,20080303T140000Z\nEXDATE;VALUE=DATE:20080303"},
    {"moved by an exception, which lasts as long as the others", "America/New_York",
     "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=10\nEND:VEVENT\nBEGIN:VEVENT\nUID:u\n"
     "RECURRENCE-ID:20080305T140000Z\nDTSTART:20080305T180000Z"},
    {"two moved past each other, and one deleted", "Europe/Prague",
     "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=10\nEXDATE:20080304T140000Z\n"
     "EXDATE:20080305T140000Z\nEXDATE:20080306T140000Z\n"
     "RDATE;VALUE=PERIOD;X-MOVED=20080304T140000Z:20080309T100000Z/20080309T110000Z\n"
     "RDATE;VALUE=PERIOD;X-MOVED=20080306T140000Z:20080302T060000Z/20080302T070000Z"},
    {"an exception of another series", "Europe/Prague",
     "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=3\nEND:VEVENT\nBEGIN:VEVENT\nUID:v\n"
     "RECURRENCE-ID:20080302T140000Z\nDTSTART:20080302T180000Z"},
    {"whole days, one of them moved", "America/New_York",
     "DTSTART;VALUE=DATE:20080301\nDTEND;VALUE=DATE:20080302\nRRULE:FREQ=DAILY;COUNT=5\nEXDATE;VALUE=DATE:20080303\n"
     "RDATE;VALUE=PERIOD;X-MOVED=20080303:20080310/20080311"},
    {"a whole day that got a time", "America/New_York",
     "DTSTART;VALUE=DATE:20080301\nDTEND;VALUE=DATE:20080302\nRRULE:FREQ=DAILY;COUNT=5\nEND:VEVENT\nBEGIN:VEVENT\nUID:u\n"
     "RECURRENCE-ID;VALUE=DATE:20080303\nDTSTART:20080303T150000Z\nDTEND:20080303T160000Z"},
    {"a date that became a whole day", "Australia/Sydney",
     "DTSTART:20080301T220000Z\nDTEND:20080301T230000Z\nRRULE:FREQ=DAILY;COUNT=5\nEND:VEVENT\nBEGIN:VEVENT\nUID:u\n"
     "RECURRENCE-ID:20080303T220000Z\nDTSTART;VALUE=DATE:20080304\nDTEND;VALUE=DATE:20080305"},
};

}  // namespace nalvo::test
