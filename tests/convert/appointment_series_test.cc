// Series and their instances as calendars of others tell them.
#include <gtest/gtest.h>

#include "convert/groupware/calendar_values.h"
#include "tests/convert/calendar_items.h"

namespace nalvo::test {
namespace {

using mail::testing::ScopedZone;

// A message that moves one instance says which; without that, others would take it for the whole series.
TEST(Appointment, AboutOneInstanceSaysWhich) {
  struct Case {
    const char* instance;
    const char* start;
    const char* property;
  };
  for (const Case& c :
       {Case{"RECURRENCE-ID:20240506T090000Z", "DTSTART:20240507T100000Z\nDTEND:20240507T110000Z\n", "2024-05-06 09:00"},
        Case{"RECURRENCE-ID;VALUE=DATE:20240506", "DTSTART;VALUE=DATE:20240507\nDTEND;VALUE=DATE:20240508\n",
             "2024-05-05 22:00"}}) {
    const ScopedZone scope("Europe/Prague");
    ReceivedEvent event(std::string(c.start) + c.instance + "\n");
    const ULONG tag = event.tagOf(kExceptionReplaceTime);
    EXPECT_EQ(textOf(event.get<FILETIME>(tag)), c.property);
    EXPECT_FALSE(flagOf(event, named::kRecurring));
    const ReceivedItem back(u"", event.write(kForSend));
    EXPECT_EQ(textOf(back.get<FILETIME>(back.tagOf(kExceptionReplaceTime))), c.property);
  }
}

TEST(Appointment, RepeatsWithoutAnEnd) {
  ReceivedEvent event("DTSTART:20240506T090000Z\nRRULE:FREQ=DAILY;COUNT=3\n");
  EXPECT_TRUE(flagOf(event, named::kRecurring));
  EXPECT_EQ(timeOf(event, named::kAppointmentEndWhole), "2024-05-06 09:00");
  EXPECT_EQ(lineOf(calendarOf(event.write()), "RRULE"), "RRULE:FREQ=DAILY;COUNT=3");
  EXPECT_FALSE(ReceivedEvent("DTSTART:20240506T090000Z\n").has(event.tagOf(named::kAppointmentEndWhole)));
}

// A pattern ends with a day; an occurrence on that day may already be behind the end of the rule.
TEST(Appointment, EndsWithTheLastInstance) {
  struct Case {
    const char* why;
    const char* lines;
    const char* until;
  };
  const std::string timed = "DTSTART:20240506T090000Z\nDTEND:20240506T100000Z\nRRULE:FREQ=DAILY;UNTIL=";
  const std::string whole = "DTSTART;VALUE=DATE:20240506\nDTEND;VALUE=DATE:20240507\nRRULE:FREQ=DAILY;UNTIL=";
  const ScopedZone scope("Europe/Prague");
  for (const Case& c : {Case{"with it", "20240510T090000Z", "20240510T090000Z"},
                        Case{"a second ahead of the next", "20240510T085959Z", "20240509T090000Z"},
                        Case{"with the day", "20240510", "20240510T090000Z"}}) {
    SCOPED_TRACE(c.why);
    const std::string rule = lineOf(calendarOf(ReceivedEvent(timed + c.lines + "\n").write()), "RRULE");
    EXPECT_EQ(rule, std::string("RRULE:FREQ=DAILY;UNTIL=") + c.until);
  }
  for (const char* until : {"20240510", "20240510T235959Z", "20240509T220000Z"}) {
    EXPECT_EQ(lineOf(calendarOf(ReceivedEvent(whole + until + "\n").write()), "RRULE"), "RRULE:FREQ=DAILY;UNTIL=20240510");
  }
}

}  // namespace
}  // namespace nalvo::test
