// Events, tasks and journal entries: what they read of a calendar, and what they write into one.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/com/guid.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"
#include "tests/support/cpu_time.h"

namespace nalvo::mail {
namespace {

using namespace std::string_literals;
using testing::ScopedZone;

constexpr std::int64_t kNow = 1'167'652'800;  // 2007-01-01 12:00 UTC

class Calendar : public ::testing::Test {
 protected:
  const ScopedZone machine_{"Europe/Prague"};
  const ScopedClock clock_{*fileTimeOfUnix(kNow)};
  const ScopedGuidSource ids_{[] { return GUID{0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}}; }};
};

std::string calendar(const std::string& components) { return "BEGIN:VCALENDAR\r\n" + components + "END:VCALENDAR\r\n"; }

constexpr const char* kStamp = "DTSTAMP:20070101T120000Z\r\n";

// The text of one component, which needs no repair.
std::string component(const std::string& type, const std::string& lines) {
  return "BEGIN:" + type + "\r\n" + kStamp + lines + "END:" + type + "\r\n";
}

bool readText(VCalendar& object, const std::string& text) {
  std::istringstream in(text);
  return object.read(in);
}

template <typename Object>
struct With : Object {
  explicit With(const std::string& lines) { EXPECT_TRUE(readText(*this, calendar(component(this->getType(), lines)))); }
  // What stands in its component behind the stamp.
  std::string lines() const {
    const std::string text = this->toText(), head = "BEGIN:"s + this->getType() + "\r\n" + kStamp;
    const std::size_t start = text.find(head), end = text.rfind("END:"s + this->getType());
    return start == std::string::npos ? text : text.substr(start + head.size(), end - start - head.size());
  }
};

DateTime inZone(const char* zone, int day, int month, int year, int hour, int minute) {
  DateTime date(day, month, year, hour, minute, 0);
  date.setZone(NTimeZone::byId(zone));
  return date;
}

TEST_F(Calendar, BeginsWithWhatEveryoneNeeds) {
  VEvent event;
  event.createNew();
  EXPECT_EQ(event.toText(),
            "BEGIN:VCALENDAR\r\nPRODID:-//Nalvo Works//Nalvo Relay//EN\r\nMETHOD:PUBLISH\r\nVERSION:2.0\r\n"
            "X-VERSION-QTL:6.2.0\r\nBEGIN:VEVENT\r\nDTSTAMP:20070101T120000Z\r\nUID:01234567-89ab-cdef-0102-030405060708\r\n"
            "END:VEVENT\r\nEND:VCALENDAR\r\n");
}

TEST_F(Calendar, ChoosesTheComponentThatIsNoException) {
  const std::string exception = component("VEVENT", "RECURRENCE-ID:20070102T100000Z\r\nSUMMARY:exception\r\n");
  const std::string other = component("VEVENT", "RECURRENCE-ID:20070103T100000Z\r\nSUMMARY:other\r\n");
  const std::string master = component("VEVENT", "SUMMARY:master\r\n");
  struct Case {
    const char* why;
    std::string text, summary;
    bool read;
  };
  const Case kCases[] = {
      {"exceptions alone", calendar(exception + other), "exception", true},
      {"a master behind", calendar(component("VTODO", "SUMMARY:task\r\n") + exception + master), "master", true},
      {"an exception of no date", calendar(component("VEVENT", "RECURRENCE-ID:\r\nSUMMARY:x\r\n") + master), "x", true},
      {"another type", calendar(component("VTODO", "SUMMARY:task\r\n")), "", false},
      {"no calendar", "BEGIN:VCARD\r\nFN:x\r\nEND:VCARD\r\n", "", false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    VEvent event;
    EXPECT_EQ(readText(event, c.text), c.read);
    EXPECT_EQ(event.getSummary(), c.summary);
    EXPECT_EQ(std::string_view(event.current().name), "VEVENT");
    event.setSummary("mine");
    VEvent again;
    EXPECT_TRUE(readText(again, event.toText()));
    EXPECT_EQ(again.toText(), event.toText());
  }
}

TEST_F(Calendar, RepairsStampsAndNames) {
  VEvent event;
  ASSERT_TRUE(readText(event, calendar("BEGIN:VEVENT\r\nATTENDEE:MailTo:user\r\nATTENDEE;CN=X:mailto:x\r\nATTENDEE;CN:y\r\n"
                                       "DTSTAMP:never\r\nEND:VEVENT\r\n")));
  EXPECT_EQ(event.toText(), calendar("BEGIN:VEVENT\r\nATTENDEE;CN=user:MailTo:user\r\nATTENDEE;CN=X:mailto:x\r\n"
                                     "ATTENDEE;CN=y:y\r\nDTSTAMP:20070101T120000Z\r\nEND:VEVENT\r\n"));
}

TEST_F(Calendar, PrintsZonesAheadInTheReverseOfTheirNames) {
  VEvent event;
  event.createNew("u");
  event.setStart(inZone("America/New_York", 1, 7, 2007, 9, 0));
  event.setEnd(inZone("Europe/Prague", 1, 7, 2007, 17, 0));
  const std::string text = event.toText();
  const std::size_t prague = text.find("TZID:Europe/Prague"), york = text.find("TZID:America/New_York");
  EXPECT_LT(prague, york);
  EXPECT_LT(york, text.find("BEGIN:VEVENT"));
  EXPECT_EQ(event.root().findComponent("VTIMEZONE"), nullptr);
  EXPECT_EQ(event.getDuration(), Duration(2 * 3600));
  VEvent again;
  ASSERT_TRUE(readText(again, text));
  EXPECT_EQ(again.zones().size(), 2U);
  EXPECT_EQ(again.getDuration(), Duration(2 * 3600));
  EXPECT_EQ(again.toText(), text);
}

TEST_F(Calendar, TakesTheFirstZoneOfAName) {
  const auto zone = [](const char* offset) {
    return "BEGIN:VTIMEZONE\r\nTZID:Z\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\nTZOFFSETTO:"s + offset +
           "\r\nTZOFFSETFROM:" + offset + "\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
  };
  VEvent event;
  ASSERT_TRUE(
      readText(event, calendar(component("VEVENT", "DTSTART;TZID=Z:20070101T120000\r\n") + zone("+0300") + zone("-0500"))));
  EXPECT_EQ(event.getStart(), DateTime(1, 1, 2007, 9, 0, 0));
  const std::string empty = "BEGIN:VTIMEZONE\r\nTZID:Z\r\nEND:VTIMEZONE\r\n";
  ASSERT_TRUE(readText(event, calendar(empty + zone("+0300") + component("VEVENT", "DTSTART;TZID=Z:20070101T120000\r\n"))));
  EXPECT_EQ(event.getStart(), DateTime(1, 1, 2007, 9, 0, 0)) << "an empty one is no zone";
}

TEST_F(Calendar, LimitsNumbers) {
  With<VTodo> todo("");
  EXPECT_EQ(todo.getPriority(), 5);
  for (const auto& [set, priority, percent] : {std::tuple{12, 9, 12}, {-1, 0, 0}, {120, 9, 100}}) {
    todo.setPriority(set);
    todo.setPercentComplete(set);
    EXPECT_EQ(todo.getProperty("PRIORITY"), std::to_string(priority));
    EXPECT_EQ(todo.getPercentComplete(), percent);
  }
  EXPECT_EQ(With<VEvent>("PRIORITY:17\r\nSEQUENCE:3\r\n").getPriority(), 9);
  EXPECT_EQ(With<VEvent>("SEQUENCE:3\r\n").getSequence(), 3);
}

TEST_F(Calendar, KeepsMethodAndVersionsOutsideOfTheComponent) {
  VEvent event;
  ASSERT_TRUE(readText(event, calendar("METHOD:declineCounter\r\nVERSION:\r\n" + component("VEVENT", "METHOD:ADD\r\n"))));
  EXPECT_EQ(event.getMethod(), Method::DeclineCounter);
  EXPECT_EQ(event.getVersion() + event.getServerVersion(), "2.06.2.0");
  event.setMethod(Method::Reply);
  EXPECT_EQ(event.root().getPropertyText("METHOD"), "REPLY");
  EXPECT_EQ(event.getProperty("METHOD"), "ADD");
}

TEST_F(Calendar, ForgetsTheAlternativeOfADescription) {
  With<VEvent> event("DESCRIPTION;ALTREP=\"cid:1\":a\r\nSUMMARY;LANGUAGE=cs:b\r\n");
  EXPECT_EQ(event.getDescriptionAltRep(), "cid:1");
  event.setDescription("c");
  event.setSummary("d");
  EXPECT_EQ(event.lines(), "SUMMARY;LANGUAGE=cs:d\r\nDESCRIPTION:c\r\n");
}

TEST_F(Calendar, WritesAttendees) {
  using A = Attendee;
  struct Case {
    Attendee attendee;
    const char* line;
  };
  const Case kCases[] = {
      {{"A, B", "user", A::AddressKind::Mail, A::Role::Chair, A::PartStat::NeedsAction, false, false},
       "ATTENDEE;ROLE=CHAIR;CN=\"A, B\":mailto:user\r\n"},
      {{"", "MAILTO:user", A::AddressKind::Mail, A::Role::Required, A::PartStat::InProcess, true, true},
       "ATTENDEE;PARTSTAT=IN-PROCESS;RSVP=TRUE;X-SENT=TRUE;CN=user:MAILTO:user\r\n"},
      {{"", "user", A::AddressKind::Mail, A::Role::Optional, A::PartStat::Declined, false, false},
       "ATTENDEE;ROLE=OPT-PARTICIPANT;PARTSTAT=DECLINED;CN=user:mailto:user\r\n"},
      {{"", "ldap:x", A::AddressKind::Other, A::Role::NonParticipant, A::PartStat::NeedsAction, false, false},
       "ATTENDEE;ROLE=NON-PARTICIPANT;CN=\"ldap:x\":ldap:x\r\n"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.line);
    With<VEvent> event("");
    event.addAttendee(c.attendee);
    EXPECT_EQ(event.lines(), c.line);
    const Attendee read = With<VEvent>(event.lines()).getAttendees().at(0);
    EXPECT_EQ(std::tie(read.addressKind, read.role, read.partStat, read.rsvp, read.sent),
              std::tie(c.attendee.addressKind, c.attendee.role, c.attendee.partStat, c.attendee.rsvp, c.attendee.sent));
    event.removeAttendees();
    EXPECT_EQ(event.lines(), "");
  }
  const Attendee odd = With<VEvent>("ATTENDEE;ROLE=x;PARTSTAT=y;RSVP=FALSE;CN=n:<MAILTO:u>\r\n").getAttendees().at(0);
  EXPECT_EQ(odd.address, "<u>");
  EXPECT_TRUE(odd.role == A::Role::Required && odd.partStat == A::PartStat::NeedsAction && !odd.rsvp);
}

TEST_F(Calendar, WritesTheOrganizer) {
  With<VEvent> event("ORGANIZER;X-SENT=TRUE;DIR=d;CN=n:MAILTO:u\r\n");
  Attendee organizer = event.getOrganizer();
  EXPECT_EQ(organizer.name + organizer.address, "nu");
  EXPECT_TRUE(organizer.sent);
  organizer.name.clear();
  organizer.sent = false;
  event.setOrganizer(organizer);
  EXPECT_EQ(event.lines(), "ORGANIZER;DIR=d:mailto:u\r\n");
  event.setOrganizer({});
  EXPECT_EQ(event.lines(), "");
}

TEST_F(Calendar, ReadsExtraDates) {
  struct Case {
    const char *why, *lines;
    std::vector<std::tuple<DateTime, DateTime, int>> dates;
  };
  const DateTime none, first(1, 1, 2007, 10, 0, 0), second(2, 1, 2007, 10, 0, 0), end(1, 1, 2007, 11, 0, 0);
  const Case kCases[] = {
      {"a period and a date",
       "RDATE:20070101T100000Z/20070101T110000Z, 20070102T100000Z\r\n",
       {{first, end, -1}, {second, none, -1}}},
      {"a period by its length", "RDATE;VALUE=PERIOD:20070101T100000Z/PT1H\r\n", {{first, end, -1}}},
      {"fewer moved ones than dates",
       "EXDATE:20070105T100000Z, 20070106T100000Z\r\nRDATE;X-MOVED=20070106T100000Z:"
       "20070101T100000Z,20070102T100000Z\r\n",
       {{first, none, 1}, {second, none, -1}}},
      {"two moved ones",
       "EXDATE:20070105T100000Z\r\nEXDATE:20070106T100000Z\r\nRDATE;X-MOVED=20070106T100000Z/20070105T100000Z:"
       "20070101T100000Z,20070102T100000Z\r\n",
       {{first, none, 1}, {second, none, 0}}},
      {"a moved one by another clock",
       "EXDATE:20070105T100000Z\r\nRDATE;TZID=Asia/Calcutta;X-MOVED=20070105T100000Z:"
       "20070101T153000\r\n",
       {{first, none, 0}}},
      {"a whole day excluded, a time moved",
       "EXDATE;VALUE=DATE:20070105\r\nRDATE;X-MOVED=20070105T100000Z:20070101T100000Z\r\n",
       {{first, none, 0}}},
      {"a whole day moved", "EXDATE:20070105T100000Z\r\nRDATE;X-MOVED=20070105:20070101T100000Z\r\n", {{first, none, 0}}},
      {"whole days", "RDATE;VALUE=PERIOD:20070101/20070102\r\n", {{DateTime(1, 1, 2007), DateTime(2, 1, 2007), -1}}},
      {"nothing that reads", "RDATE:never,,20070101T100000Z\r\n", {{first, none, -1}}},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    std::vector<std::tuple<DateTime, DateTime, int>> dates;
    for (const RecurrenceDate& date : With<VEvent>(c.lines).getRDates()) {
      dates.emplace_back(date.start, date.end, date.movedFrom);
    }
    EXPECT_EQ(dates, c.dates);
  }
}

TEST_F(Calendar, WritesExtraDatesThatItReads) {
  With<VEvent> event("");
  event.addExDate(inZone("America/New_York", 8, 1, 2007, 21, 0));
  event.addExDate(DateTime(10, 1, 2007, 2, 0, 0));
  event.addRDates({});
  const DateTime start = inZone("America/New_York", 9, 1, 2007, 9, 0);
  // The end and the second excluded date are in UTC, the start's zone is the one that is written.
  const std::vector<RecurrenceDate> dates = {{start, DateTime(9, 1, 2007, 15, 0, 0), 1},
                                             {DateTime(3, 1, 2007), DateTime(4, 1, 2007), -1}};
  event.addRDates(dates);
  event.addRDate({start, {}, 7});
  EXPECT_EQ(event.lines(),
            "EXDATE;TZID=America/New_York:20070108T210000\r\nEXDATE:20070110T020000Z\r\n"
            "RDATE;TZID=America/New_York;VALUE=PERIOD;X-MOVED=20070109T210000-0500:20070109T090000/20070109T100000\r\n"
            "RDATE;VALUE=PERIOD:20070103/20070104\r\nRDATE;TZID=America/New_York:20070109T090000\r\n");
  const std::vector<RecurrenceDate> read = event.getRDates();
  ASSERT_EQ(read.size(), 3U);
  for (std::size_t i = 0; i < dates.size(); ++i) {
    EXPECT_EQ(read[i].start, dates[i].start);
    EXPECT_EQ(read[i].end, dates[i].end);
    EXPECT_EQ(read[i].movedFrom, dates[i].movedFrom);
  }
  event.removeRDates();
  event.removeExDates();
  EXPECT_EQ(event.lines(), "");
}

TEST_F(Calendar, CountsItsExceptionsAsExtraDates) {
  const std::string master = "UID:u\r\nDTSTART:20070101T100000Z\r\nDTEND:20070101T113000Z\r\nEXDATE:20070102T100000Z\r\n";
  VEvent event;
  ASSERT_TRUE(readText(
      event, calendar(component("VEVENT", master) +
                      component("VEVENT", "UID:U\r\nRECURRENCE-ID:20070103T100000Z\r\nDTSTART:20070103T120000Z\r\n") +
                      component("VEVENT", "UID:other\r\nRECURRENCE-ID:20070104T100000Z\r\nDTSTART:20070103T120000Z\r\n") +
                      component("VEVENT", "UID:u\r\nRECURRENCE-ID:20070105T100000Z\r\nDURATION:PT5M\r\n") +
                      component("VTODO", "UID:u\r\nRECURRENCE-ID:20070106T100000Z\r\n") +
                      component("VEVENT",
                                "UID:u\r\nRECURRENCE-ID:20070102T100000Z\r\nDTSTART:20070103T120000Z\r\n"
                                "DTEND:20070103T120100Z\r\n"))));
  EXPECT_EQ(event.getAllExDates().size(), 4U);
  const std::vector<RecurrenceDate> dates = event.getOccurrences();
  ASSERT_EQ(dates.size(), 3U);
  EXPECT_EQ(dates[0].end, DateTime(3, 1, 2007, 13, 30, 0)) << "as long as the master";
  EXPECT_EQ(dates[0].movedFrom, 1);
  EXPECT_EQ(dates[1].start, DateTime(1, 1, 2007, 10, 0, 0)) << "without a start";
  EXPECT_EQ(dates[1].end, DateTime(1, 1, 2007, 10, 5, 0)) << "by its own length";
  EXPECT_EQ(dates[1].movedFrom, 2);
  EXPECT_EQ(dates[2].end, DateTime(3, 1, 2007, 12, 1, 0));
  EXPECT_EQ(dates[2].movedFrom, 0) << "the first that is the same";
}

TEST_F(Calendar, StaysQuickWithManyExceptions) {
  const auto cost = [](int count) {
    With<VEvent> event("UID:u\r\nDTSTART:20070101T100000Z\r\n");
    std::vector<RecurrenceDate> dates;
    for (int i = 0; i < count; ++i) {
      const DateTime day(1 + i % 28, 1 + i / 28 % 12, 2000 + i / 336, 10, 0, 0);
      event.addExDate(day);
      dates.push_back({day + Duration(3600), day + Duration(7200), i});
    }
    const double begin = test::cpuSeconds();
    event.addRDates(dates);
    EXPECT_EQ(event.getOccurrences().at(static_cast<std::size_t>(count) - 1).movedFrom, count - 1);
    return test::cpuSeconds() - begin;
  };
  // Sixteen times as many; the square would be 256.
  EXPECT_LT(cost(16'000), 100 * std::max(cost(1'000), 0.001));
}

TEST_F(Calendar, KnowsAllDayEvents) {
  struct Case {
    const char *why, *lines;
    DateTime start, effectiveEnd;
    bool allDay;
    std::int64_t duration;
  };
  const DateTime none, first(1, 1, 2007), second(2, 1, 2007);
  constexpr std::int64_t kDay = 86400;
  const Case kCases[] = {
      {"midnight of its zone", "X-MICROSOFT-CDO-ALLDAYEVENT:true\r\nDTSTART;TZID=America/New_York:20070101T000000\r\n",
       inZone("America/New_York", 1, 1, 2007, 0, 0), inZone("America/New_York", 2, 1, 2007, 0, 0), true, kDay},
      {"another time takes the day in UTC",
       "X-MICROSOFT-CDO-ALLDAYEVENT:TRUE\r\nDTSTART;TZID=Europe/Prague:20070102T003000\r\n", first, second, true, kDay},
      {"days", "DTSTART;VALUE=DATE:20070101\r\nDTEND;VALUE=DATE:20070102\r\n", first, second, true, kDay},
      {"a day without an end", "DTSTART;VALUE=DATE:20070101\r\n", first, none, false, 0},
      {"days that say no", "X-MICROSOFT-CDO-ALLDAYEVENT:FALSE\r\nDTSTART:20070101\r\nDTEND:20070102\r\n", first, second,
       false, kDay},
      {"an end alone", "DTEND:20070102T000000Z\r\n", none, second, false, 0},
      {"a length", "DTSTART:20070101T000000Z\r\nDURATION:PT1H\r\n", first, none, false, 3600},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const With<VEvent> event(c.lines);
    EXPECT_EQ(event.getStart(), c.start);
    EXPECT_EQ(event.getEffectiveEnd(), c.effectiveEnd);
    EXPECT_EQ(event.isAllDay(), c.allDay);
    EXPECT_EQ(event.getDuration().seconds(), c.duration);
  }
}

TEST_F(Calendar, TurnsAllDayEventsOnAndOff) {
  With<VEvent> event("");
  event.setStart(inZone("America/New_York", 1, 1, 2007, 22, 0));
  event.setEnd(DateTime(3, 1, 2007, 1, 0, 0));
  event.setAllDay(true);
  EXPECT_NE(
      event.lines().find("DTSTART;VALUE=DATE:20070101\r\nDTEND;VALUE=DATE:20070103\r\nX-MICROSOFT-CDO-ALLDAYEVENT:TRUE\r\n"),
      std::string::npos)
      << event.lines();
  event.setAllDay(false);
  EXPECT_FALSE(event.isAllDayProperty());
  EXPECT_EQ(event.getStart(), DateTime(1, 1, 2007));
  EXPECT_EQ(event.current().findProperty("DTSTART").firstValue().firstParamValue("TZID"), "America/New_York");
}

TEST_F(Calendar, TellsHowBusyAnEventIs) {
  const std::pair<const char*, BusyStatus> kCases[] = {
      {"", BusyStatus::Busy},
      {"TRANSP:TRANSPARENT\r\n", BusyStatus::Free},
      {"X-MICROSOFT-CDO-BUSYSTATUS:oof\r\nTRANSP:TRANSPARENT\r\n", BusyStatus::OutOfOffice},
      {"X-MICROSOFT-CDO-BUSYSTATUS:UNAVAILABLE\r\n", BusyStatus::OutOfOffice},
      {"X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE\r\n", BusyStatus::Tentative},
      {"X-MICROSOFT-CDO-BUSYSTATUS:x\r\nTRANSP:TRANSPARENT\r\n", BusyStatus::Busy},
  };
  for (const auto& [lines, status] : kCases) {
    EXPECT_EQ(With<VEvent>(lines).getBusyStatus(), status) << lines;
  }
  for (const auto status : {BusyStatus::Busy, BusyStatus::OutOfOffice, BusyStatus::Tentative, BusyStatus::Free}) {
    With<VEvent> event("");
    event.setBusyStatus(status);
    EXPECT_EQ(event.getBusyStatus(), status);
    EXPECT_EQ(event.lines().starts_with("TRANSP:TRANSPARENT"), status == BusyStatus::Free);
  }
  With<VEvent> event("CLASS:x-secret\r\nX-LABEL:7\r\n");
  EXPECT_EQ(event.getLabel(), 7);
  EXPECT_EQ(event.getClass(), Privacy::Public);
  event.setClass(Privacy::Confidential);
  EXPECT_EQ(event.getClass(), Privacy::Confidential);
}

TEST_F(Calendar, KnowsWhatAnObjectTouches) {
  struct Case {
    const char *why, *type, *lines;
    const char *from, *to;
    bool occurs;
  };
  static constexpr Case kCases[] = {
      {"an event to its end", "VEVENT", "DTSTART:20070102T100000Z\r\nDTEND:20070102T110000Z\r\n", "20070102T105900Z",
       "20070103T000000Z", true},
      {"up to its start", "VEVENT", "DTSTART:20070102T100000Z\r\nDTEND:20070102T110000Z\r\n", "20070101T000000Z",
       "20070102T100000Z", false},
      {"a day from a start alone", "VEVENT", "DTSTART:20070102T100000Z\r\n", "20070103T100000Z", "20070104T000000Z", true},
      {"a whole day alone", "VEVENT", "DTSTART:20070102\r\n", "20070102T000000Z", "20070104T000000Z", true},
      {"behind its midnight", "VEVENT", "DTSTART:20070102\r\n", "20070102T000100Z", "20070104T000000Z", false},
      {"a length", "VEVENT", "DTSTART:20070102T100000Z\r\nDURATION:PT1H\r\n", "20070102T110000Z", "20070103T000000Z", false},
      {"a journal entry", "VJOURNAL", "DTSTART:20070102T100000Z\r\n", "20070103T095900Z", "20070104T000000Z", true},
      {"a journal entry a day later", "VJOURNAL", "DTSTART:20070102T100000Z\r\n", "20070103T100000Z", "20070104T000000Z",
       false},
      {"a task without dates", "VTODO", "", "20070101T000000Z", "20080101T000000Z", true},
      {"a task that is due", "VTODO", "DUE;VALUE=DATE:20070102\r\n", "20070101T000000Z", "20070102T000000Z", true},
      {"a task up to its end", "VTODO", "DTSTART:20070102\r\nDTEND:20070104\r\n", "20070104T000000Z", "20070105T000000Z",
       true},
      {"a task with a length", "VTODO", "DTSTART:20070102\r\nDURATION:P1D\r\n", "20070103T000100Z", "20070105T000000Z",
       false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const DateTime from = DateTime::parse(c.from), to = DateTime::parse(c.to);
    const bool occurs = c.type == "VEVENT"s  ? With<VEvent>(c.lines).occursIn(from, to)
                        : c.type == "VTODO"s ? With<VTodo>(c.lines).occursIn(from, to)
                                             : With<VJournal>(c.lines).occursIn(from, to);
    EXPECT_EQ(occurs, c.occurs);
  }
}

TEST_F(Calendar, PutsTasksOnWholeDays) {
  With<VTodo> todo("");
  todo.setStart(inZone("Europe/Prague", 2, 1, 2007, 0, 30));
  todo.setDue(DateTime(5, 1, 2007, 23, 59, 0));
  EXPECT_NE(todo.lines().find("DTSTART;VALUE=DATE:20070101\r\nDUE;VALUE=DATE:20070105\r\nDTDUE;VALUE=DATE:20070105\r\n"),
            std::string::npos)
      << todo.lines();
  EXPECT_EQ(todo.getDuration(), Duration(4 * 86400));
  EXPECT_EQ(todo.getAlarmBase(), DateTime(5, 1, 2007));
  EXPECT_EQ(With<VTodo>("DTDUE:20070105\r\n").getDue(), DateTime(5, 1, 2007));
  EXPECT_EQ(With<VTodo>("DTDUE:20070105\r\n").getDuration(), Duration(0));
  EXPECT_EQ(With<VTodo>("DTSTART:20070105\r\nDURATION:PT1H\r\n").getDuration(), Duration(3600));
  EXPECT_EQ(With<VTodo>("DTSTART:20070105\r\n").getAlarmBase(), DateTime(5, 1, 2007));
}

TEST_F(Calendar, FindsTheDayOfCompletion) {
  struct Case {
    const char *zone, *completed, *day;
  };
  static constexpr Case kCases[] = {
      {"Europe/Prague", "20070101T230000Z", "20070102"},     // local midnight
      {"America/New_York", "20070102T050000Z", "20070102"},  // local midnight
      {"Europe/Prague", "20070102T120000Z", "20070102"},
      {"America/New_York", "20070102T140000Z", "20070103"},  // somebody's midnight, it would seem
      {"Europe/Prague", "", ""},
  };
  for (const Case& c : kCases) {
    const ScopedZone machine(c.zone);
    const With<VTodo> todo("COMPLETED:"s + c.completed + "\r\n");
    EXPECT_EQ(todo.getCompletedDate().toString(), c.day) << c.completed;
    EXPECT_EQ(todo.getEnd().toString(), c.day);
  }
  With<VTodo> todo("");
  todo.setCompleted(inZone("Europe/Prague", 2, 1, 2007, 0, 0), true);
  EXPECT_EQ(todo.lines(), "COMPLETED:20070101T230000Z\r\nDTEND;VALUE=DATE:20070102\r\n");
  todo.setCompleted(inZone("Europe/Prague", 2, 1, 2007, 0, 0), false);
  EXPECT_EQ(todo.lines(), "COMPLETED:20070101T230000Z\r\nDTEND;VALUE=DATE:20070101\r\n");
  todo.setCompleted({}, true);
  EXPECT_EQ(todo.lines(), "");
}

TEST_F(Calendar, TiesTheStatusOfATaskToItsPercentage) {
  struct Case {
    int set, read, percent;
    const char* text;
  };
  static constexpr Case kCases[] = {
      {0, 0, 0, ""},           {1, 1, 50, "IN-PROCESS"},   {2, 2, 100, "COMPLETED"},   {3, 3, 50, "NEEDS-ACTION"},
      {4, 4, 50, "CANCELLED"}, {9, 3, 50, "NEEDS-ACTION"}, {-1, 3, 50, "NEEDS-ACTION"}};
  for (const Case& c : kCases) {
    With<VTodo> todo("STATUS:x\r\nPERCENT-COMPLETE:50\r\n");
    EXPECT_EQ(todo.getStatus(), 0);
    todo.setStatus(c.set);
    EXPECT_EQ(todo.getStatus(), c.read);
    EXPECT_EQ(todo.getPercentComplete(), c.percent);
    EXPECT_EQ(todo.getProperty("STATUS"), c.text);
  }
  EXPECT_EQ(With<VJournal>("STATUS:Final\r\n").getStatus(), VJournal::Status::Final);
}

TEST_F(Calendar, ReadsAlarmsOfAllKinds) {
  using Kind = VAlarm::TriggerKind;
  struct Case {
    const char *why, *lines;
    VAlarm::Action action;
    Kind kind;
    std::int64_t offset;
    DateTime time;
  };
  const DateTime none, time(1, 1, 2007, 10, 0, 0);
  const Case kCases[] = {
      {"relative", "ACTION:audio\r\nTRIGGER:-PT15M\r\n", VAlarm::Action::Audio, Kind::Start, -900, none},
      {"to the end", "ACTION:EMAIL\r\nTRIGGER;RELATED=END:PT5M\r\n", VAlarm::Action::Email, Kind::End, 300, none},
      {"an instant", "ACTION:X\r\nTRIGGER;VALUE=DATE-TIME:20070101T100000Z\r\n", VAlarm::Action::Display, Kind::Time, 0,
       time},
      {"an instant that isn't said to be one", "TRIGGER:20070101T100000Z\r\n", VAlarm::Action::Display, Kind::Time, 0, time},
      {"none", "ACTION:PROCEDURE\r\n", VAlarm::Action::Procedure, Kind::Start, 0, none},
      {"nothing that reads", "TRIGGER:soon\r\n", VAlarm::Action::Display, Kind::Start, 0, none},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const With<VEvent> event("BEGIN:VALARM\r\nX-A:1\r\n"s + c.lines + "END:VALARM\r\n");
    const VAlarm alarm = event.getAlarms().at(0);
    EXPECT_EQ(alarm.action, c.action);
    EXPECT_EQ(alarm.triggerKind, c.kind);
    EXPECT_EQ(alarm.triggerOffset.seconds(), c.offset);
    EXPECT_EQ(alarm.triggerTime, c.time);
  }
}

TEST_F(Calendar, WritesAlarmsBehindTheProperties) {
  With<VTodo> todo("BEGIN:VALARM\r\nACTION:EMAIL\r\nEND:VALARM\r\n");
  todo.removeAlarms();
  todo.addAlarm({VAlarm::Action::Audio, "bell", VAlarm::TriggerKind::Start, Duration(-900), {}});
  todo.addAlarm({VAlarm::Action::Display, "", VAlarm::TriggerKind::End, Duration(0), {}});
  todo.addAlarm({VAlarm::Action::Display, "x", VAlarm::TriggerKind::Time, {}, DateTime(1, 1, 2007, 10, 0, 0)});
  todo.setSummary("s");
  EXPECT_EQ(todo.lines(),
            "SUMMARY:s\r\nBEGIN:VALARM\r\nACTION:AUDIO\r\nDESCRIPTION:bell\r\nTRIGGER;RELATED=START:-PT15M\r\nEND:VALARM\r\n"
            "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;RELATED=END:PT00S\r\nEND:VALARM\r\n"
            "BEGIN:VALARM\r\nACTION:DISPLAY\r\nDESCRIPTION:x\r\nTRIGGER;VALUE=DATE-TIME:20070101T100000Z\r\nEND:VALARM\r\n");
  EXPECT_EQ(With<VEvent>("DTSTART:20070101T100000Z\r\nDURATION:PT1H\r\n").getAlarmEnd(), DateTime(1, 1, 2007, 11, 0, 0));
  EXPECT_EQ(With<VEvent>("DTSTART:20070101T100000Z\r\n").getAlarmEnd(), DateTime());
}

}  // namespace
}  // namespace nalvo::mail
