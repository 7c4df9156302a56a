// Reminders, between properties and alarms.
#include <gtest/gtest.h>

#include "tests/convert/calendar_items.h"

namespace nalvo::test {
namespace {

using mail::testing::ScopedZone;

constexpr char kEvent[] = "DTSTART:20240506T090000Z\nDTEND:20240506T100000Z\n";

std::string alarm(const std::string& lines) { return "BEGIN:VALARM\n" + lines + "END:VALARM\n"; }

TEST(Alarm, GoesOutAsDistanceAndNextTime) {
  struct Case {
    const char* why;
    std::int32_t delta;
    bool isSet;
    const char* signal;  // null: none
    std::string trigger, next, alarm;
  };
  const Case cases[] = {
      {"half an hour", 30, true, "2024-05-06 08:30", "X-ALARM-TRIGGER:-PT30M", "X-NEXT-ALARM:20240506T083000Z",
       "TRIGGER;RELATED=START:-PT30M"},
      {"switched off, it keeps both", 30, false, "2024-05-06 08:30", "X-ALARM-TRIGGER:-PT30M",
       "X-NEXT-ALARM:20240506T083000Z", "<none>"},
      {"the mark of the usual distance", 0x5AE980E1, true, nullptr, "X-ALARM-TRIGGER:-PT15M", "<none>",
       "TRIGGER;RELATED=START:-PT15M"},
      {"never", 15, true, "8907-12-05 17:42", "X-ALARM-TRIGGER:-PT15M", "<none>", "TRIGGER;RELATED=START:-PT15M"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Item item(u"IPM.Appointment");
    item.set(named::kAppointmentStartWhole, at("2024-05-06 09:00"));
    item.set(named::kReminderDelta, c.delta);
    item.set(named::kReminderSet, c.isSet);
    if (c.signal != nullptr) {
      item.set(named::kReminderSignalTime, at(c.signal));
    }
    const std::string calendar = calendarOf(item.write());
    EXPECT_EQ(lineOf(calendar, "X-ALARM-TRIGGER"), c.trigger) << calendar;
    EXPECT_EQ(lineOf(calendar, "X-NEXT-ALARM"), c.next);
    EXPECT_EQ(lineOf(calendar, "TRIGGER"), c.alarm);
  }
}

TEST(Alarm, PlaysASoundWhenTheItemHasOneOfItsOwn) {
  Item item(u"IPM.Appointment");
  item.set(named::kAppointmentStartWhole, at("2024-05-06 09:00"));
  item.set(PR_SUBJECT, std::u16string(u"Dentist"));
  item.set(named::kReminderSet, true);
  std::string calendar = calendarOf(item.write());
  EXPECT_EQ(lineOf(calendar, "ACTION"), "ACTION:DISPLAY");
  EXPECT_NE(calendar.find("\nDESCRIPTION:Dentist\n"), std::string::npos) << calendar;
  item.set(named::kReminderOverride, true);
  item.set(named::kReminderFileParameter, std::u16string(u"C:\\ring.wav"));
  const std::string mail = item.write();
  calendar = calendarOf(mail);
  EXPECT_EQ(lineOf(calendar, "ACTION"), "ACTION:AUDIO");
  const Item back(item, mail);
  EXPECT_TRUE(flagOf(back, named::kReminderOverride));
  EXPECT_EQ(wideOf(back, named::kReminderFileParameter), u"C:\\ring.wav");
}

TEST(Alarm, ComesBackByWhatItCountsFrom) {
  struct Case {
    const char* why;
    std::string lines;
    std::uint32_t delta;
    const char* signal;
    const char* time;
  };
  const std::string kStart = kEvent;
  const std::string kLasting = "DTSTART:20240506T090000Z\nDURATION:PT2H\n";
  const Case cases[] = {
      {"from the start", kStart + alarm("TRIGGER:-PT20M\n"), 20, "2024-05-06 08:40", "2024-05-06 09:00"},
      {"from the end", kStart + alarm("TRIGGER;RELATED=END:-PT90M\n"), 30, "2024-05-06 08:30", "2024-05-06 09:00"},
      {"from an end that the duration tells", kLasting + alarm("TRIGGER;RELATED=END:-PT2H30M\n"), 30, "2024-05-06 08:30",
       "2024-05-06 09:00"},
      {"at an instant", "X-ALARM-TRIGGER:-PT45M\n" + kStart + alarm("TRIGGER;VALUE=DATE-TIME:20240506T060000Z\n"), 45,
       "2024-05-06 06:00", "2024-05-06 09:00"},
      {"at an instant that says so by its text alone", kStart + alarm("TRIGGER:20240506T060000Z\n"), 180, "2024-05-06 06:00",
       "2024-05-06 09:00"},
      {"the next time is known", "X-NEXT-ALARM:20240506T070000Z\n" + kStart + alarm("TRIGGER:-PT20M\n"), 20,
       "2024-05-06 07:00", "2024-05-06 09:00"},
      {"behind the start", kStart + alarm("TRIGGER:PT10M\n"), 0, "2024-05-06 09:10", "2024-05-06 09:00"},
      {"no trigger", kStart + alarm("ACTION:DISPLAY\n"), 0, "2024-05-06 09:00", "2024-05-06 09:00"},
      {"no start, but a next time", "X-NEXT-ALARM:20240506T070000Z\n" + alarm("TRIGGER:-PT20M\n"), 20, "2024-05-06 07:00",
       "2024-05-06 07:00"},
      {"the second alarm is one that shows", kStart + alarm("ACTION:EMAIL\nTRIGGER:-P1D\n") + alarm("TRIGGER:-PT5M\n"), 5,
       "2024-05-06 08:55", "2024-05-06 09:00"},
      {"farther than any number of minutes", kStart + alarm("TRIGGER:-P99999999999999D\n"), 0x7FFFFFFF, "1601-01-01 00:00",
       "2024-05-06 09:00"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ReceivedEvent event(c.lines);
    EXPECT_TRUE(flagOf(event, named::kReminderSet));
    EXPECT_FALSE(flagOf(event, named::kReminderOverride));
    EXPECT_EQ(numberOf(event, named::kReminderDelta), c.delta);
    EXPECT_EQ(timeOf(event, named::kReminderSignalTime), c.signal);
    EXPECT_EQ(timeOf(event, named::kReminderTime), c.time);
  }
}

TEST(Alarm, OfAWholeDayRingsByTheMachinesClock) {
  const ScopedZone zone("America/New_York");
  const ReceivedEvent event("DTSTART;VALUE=DATE:20240506\nDTEND;VALUE=DATE:20240507\n" + alarm("TRIGGER:-PT15M\n"));
  EXPECT_EQ(timeOf(event, named::kReminderSignalTime), "2024-05-06 03:45");
  EXPECT_EQ(timeOf(event, named::kReminderTime), "2024-05-06 04:00");
}

TEST(Alarm, ThatIsSwitchedOffKeepsItsTimes) {
  struct Case {
    const char* why;
    std::string lines;
    std::uint32_t delta;
    const char* signal;
    const char* time;
  };
  const Case cases[] = {
      {"nothing is known", "", 0, "<none>", "<none>"},
      {"both are", "X-ALARM-TRIGGER:-PT25M\nX-NEXT-ALARM:20240506T083500Z\n", 25, "2024-05-06 08:35", "2024-05-06 09:00"},
      {"a mail is no reminder", "X-ALARM-TRIGGER:PT25M\n" + alarm("ACTION:EMAIL\nTRIGGER:-PT5M\n"), 0, "<none>", "<none>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ReceivedEvent event(kEvent + c.lines);
    EXPECT_FALSE(flagOf(event, named::kReminderSet));
    EXPECT_EQ(numberOf(event, named::kReminderDelta), c.delta);
    EXPECT_EQ(timeOf(event, named::kReminderSignalTime), c.signal);
    EXPECT_EQ(timeOf(event, named::kReminderTime), c.time);
  }
}

TEST(Alarm, WithNothingToCountFromIsCorrupt) {
  const std::string lines[] = {
      alarm("TRIGGER:-PT5M\n"),
      "DTSTART:20240506T090000Z\n" + alarm("TRIGGER;RELATED=END:-PT5M\n"),
      "DTSTART:20240506T090000Z\nDTEND:20240506T090000Z\n" + alarm("TRIGGER;RELATED=END:-PT5M\n"),
      kEvent + alarm("TRIGGER;VALUE=DATE-TIME:soon\n"),
  };
  for (const std::string& each : lines) {
    SCOPED_TRACE(each);
    const ReceivedEvent event(each, MAPI_E_CORRUPT_DATA);
  }
}

}  // namespace
}  // namespace nalvo::test
