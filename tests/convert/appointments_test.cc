// Appointments both ways: what travels as calendar text, ids, times in many zones, people.
#include <gtest/gtest.h>

#include <cstring>  // memcpy

#include "convert/groupware/calendar_convert.h"
#include "mail/windows_zone.h"
#include "platform/com/guid.h"
#include "tests/convert/calendar_items.h"

namespace nalvo::test {
namespace {

using mail::testing::ScopedZone;

// Machines of four continents.
constexpr const char* kMachines[] = {"America/New_York", "Europe/Prague", "Asia/Tokyo", "Pacific/Auckland", "UTC"};

constexpr ULONG kTagStartDate = propTag(PT_SYSTIME, 0x0060);
constexpr ULONG kTagEndDate = propTag(PT_SYSTIME, 0x0061);
constexpr ULONG kTagSenderAddress = propTag(PT_STRING8, 0x0C1F);
constexpr ULONG kTagParentEntryId = propTag(PT_BINARY, 0x0E09);
constexpr ULONG kTagRecipientFlags = propTag(PT_LONG, 0x5FFD);
constexpr ULONG kTagTrackStatus = propTag(PT_LONG, 0x5FFF);
constexpr ULONG kTagResponsibility = propTag(PT_BOOLEAN, 0x0E0F);

host::PropertyBag& lastRecipient(Caller& item) { return item.message->parts().recipients.back()->bag(); }

void setTimes(Caller& item, const char* start, const char* end, bool allDay = false) {
  item.set(named::kAppointmentStartWhole, at(start));
  item.set(named::kAppointmentEndWhole, at(end));
  item.set(named::kAppointmentSubType, allDay);
}

std::string zoneBytes(const char* name) {
  const TIME_ZONE_INFORMATION info = mail::DateTimeUtils::zoneToTimeZoneInformation(*mail::NTimeZone::byId(name)).value();
  std::string bytes(48, '\0');
  std::memcpy(bytes.data(), &info.Bias, 4);
  std::memcpy(bytes.data() + 8, &info.DaylightBias, 4);
  std::memcpy(bytes.data() + 14, &info.StandardDate, 16);
  std::memcpy(bytes.data() + 32, &info.DaylightDate, 16);
  return bytes;
}

// Named properties have numbers of their own in each message, and travel in the order of these.
std::vector<std::string> sortedLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

void fillAppointment(Caller& item) {
  setTimes(item, "2024-05-06 09:00", "2024-05-06 10:30");
  item.set(PR_SUBJECT, std::u16string(u"Sch\u00f6ner Termin"));
  item.set(PR_BODY, std::u16string(u"Bring the plans."));
  item.set(PR_IMPORTANCE, std::int32_t{2});
  item.set(named::kLocation, std::u16string(u"Room 5; left, up"));
  item.set(named::kBusyStatus, std::int32_t{3});
  item.set(named::kPrivate, true);
  item.set(named::kKeywords, std::vector<std::u16string>{u"work", u"at home"});
  item.set(named::kAppointmentSequence, std::int32_t{4});
  item.set(named::kAttendeeCriticalChange, at("2024-04-01 12:00"));
  item.set(named::kAppointmentColor, std::int32_t{7});
  item.set(named::kReminderSet, true);
  item.set(named::kReminderDelta, std::int32_t{15});
  item.set(named::kReminderSignalTime, at("2024-05-06 08:45"));
  item.set(PR_SENDER_NAME, std::u16string(u"Ann"));
  item.set(PR_SENDER_EMAIL_ADDRESS, std::u16string(u"ann@example.com"));
  item.set(kTagSenderAddress, std::string("ann@example.com"));
  item.addRecipient(1, u"Ann", u"SMTP", "ann@example.com");
  lastRecipient(item).set(kTagRecipientFlags, {PT_LONG, 3});
  lastRecipient(item).set(kTagResponsibility, {PT_BOOLEAN, true});
  item.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
}

TEST(Appointment, ComesBackWhole) {
  for (const char* machine : kMachines) {
    const ScopedZone zone(machine);
    SCOPED_TRACE(machine);
    Item item(u"IPM.Appointment");
    fillAppointment(item);
    item.set(named::kResponseStatus, std::int32_t{1});
    item.set(named::kSideEffects, std::int32_t{0x77});
    item.set(named::kAppointmentStateFlags, std::int32_t{1});
    const std::string mail = item.write();
    EXPECT_NE(mail.find("component=vevent"), std::string::npos) << mail;
    EXPECT_EQ(mail.find("method="), std::string::npos);
    const Item back(item, mail);
    EXPECT_EQ(back.text(PR_MESSAGE_CLASS), u"IPM.Appointment");
    EXPECT_EQ(back.text(PR_SUBJECT), u"Sch\u00f6ner Termin");
    EXPECT_EQ(back.text(PR_BODY), u"Bring the plans.");
    EXPECT_TRUE(back.has(PR_RTF_COMPRESSED));
    EXPECT_EQ(back.number(PR_IMPORTANCE), 2U);
    EXPECT_EQ(back.number(PR_PRIORITY), 1U);
    EXPECT_EQ(back.number(PR_SENSITIVITY), 2U);
    EXPECT_EQ(wideOf(back, named::kLocation), u"Room 5; left, up");
    EXPECT_EQ(back.get<std::vector<std::u16string>>(back.tagOf(named::kKeywords)),
              (std::vector<std::u16string>{u"work", u"at home"}));
    const std::pair<const NamedProperty*, std::uint32_t> numbers[] = {
        {&named::kBusyStatus, 3},           {&named::kAppointmentSequence, 4},  {&named::kAppointmentColor, 7},
        {&named::kReminderDelta, 15},       {&named::kResponseStatus, 1},       {&named::kSideEffects, 0x77},
        {&named::kAppointmentDuration, 90}, {&named::kAppointmentStateFlags, 1}};
    for (const auto& [property, value] : numbers) {
      EXPECT_EQ(numberOf(back, *property), value) << std::hex << property->id;
    }
    const std::pair<const NamedProperty*, const char*> times[] = {{&named::kAppointmentStartWhole, "2024-05-06 09:00"},
                                                                  {&named::kAppointmentEndWhole, "2024-05-06 10:30"},
                                                                  {&named::kClipStart, "2024-05-06 09:00"},
                                                                  {&named::kClipEnd, "2024-05-06 10:30"},
                                                                  {&named::kCommonStart, "2024-05-06 09:00"},
                                                                  {&named::kCommonEnd, "2024-05-06 10:30"},
                                                                  {&named::kReminderSignalTime, "2024-05-06 08:45"},
                                                                  {&named::kReminderTime, "2024-05-06 09:00"},
                                                                  {&named::kAttendeeCriticalChange, "2024-04-01 12:00"}};
    for (const auto& [property, value] : times) {
      EXPECT_EQ(timeOf(back, *property), value) << std::hex << property->id;
    }
    EXPECT_EQ(textOf(back.get<FILETIME>(kTagStartDate)), "2024-05-06 09:00");
    EXPECT_EQ(textOf(back.get<FILETIME>(kTagEndDate)), "2024-05-06 10:30");
    EXPECT_TRUE(flagOf(back, named::kPrivate));
    EXPECT_FALSE(flagOf(back, named::kRecurring));
    EXPECT_EQ(back.bytes(back.tagOf(named::kGlobalObjectId)), item.bytes(item.tagOf(named::kGlobalObjectId)));
    // Once more changes nothing.
    Item again(u"IPM.Appointment", back.context);
    again.message = back.message;
    EXPECT_EQ(sortedLines(calendarOf(again.write())), sortedLines(calendarOf(mail)));
  }
}

TEST(Appointment, TellsBusyStatusAndImportance) {
  struct Case {
    std::int32_t busy, importance;
    std::string transparency, status, priority;
    std::uint32_t busyBack, importanceBack, mapiPriority;
  };
  const Case cases[] = {
      {0, 0, "TRANSP:TRANSPARENT", "X-MICROSOFT-CDO-BUSYSTATUS:FREE", "PRIORITY:9", 0, 0, 0xFFFFFFFF},
      {1, 1, "TRANSP:OPAQUE", "X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE", "PRIORITY:5", 1, 1, 0},
      {3, 2, "TRANSP:OPAQUE", "X-MICROSOFT-CDO-BUSYSTATUS:OOF", "PRIORITY:1", 3, 2, 1},
      {4, 9, "TRANSP:OPAQUE", "X-MICROSOFT-CDO-BUSYSTATUS:BUSY", "PRIORITY:5", 2, 1, 0},
  };
  for (const Case& c : cases) {
    Item item(u"IPM.Appointment");
    item.set(named::kBusyStatus, c.busy);
    item.set(PR_IMPORTANCE, c.importance);
    const std::string mail = item.write();
    const std::string calendar = calendarOf(mail);
    EXPECT_EQ(lineOf(calendar, "TRANSP"), c.transparency);
    EXPECT_EQ(lineOf(calendar, "X-MICROSOFT-CDO-BUSYSTATUS"), c.status);
    EXPECT_EQ(lineOf(calendar, "PRIORITY"), c.priority);
    const Item back(item, mail);
    EXPECT_EQ(numberOf(back, named::kBusyStatus), c.busyBack);
    EXPECT_EQ(back.number(PR_IMPORTANCE), c.importanceBack);
    EXPECT_EQ(back.number(PR_PRIORITY), c.mapiPriority);
  }
  for (const auto& [priority, importance] : {std::pair(0, 1U), {1, 2U}, {2, 1U}, {3, 1U}, {5, 1U}, {6, 0U}, {9, 0U}}) {
    const ReceivedEvent event("PRIORITY:" + std::to_string(priority) + "\n");
    EXPECT_EQ(event.number(PR_IMPORTANCE), importance) << priority;
  }
}

TEST(Appointment, GetsAnIdThatItKeeps) {
  const ScopedGuidSource guids([] { return GUID{0x04030201, 0x0605, 0x0807, {9, 10, 11, 12, 13, 14, 15, 16}}; });
  const std::string head =
      "040000008200E00074C5B7101A82E00800000000"
      "0102030405060708090A0B0C0D0E0F10";
  for (const auto& [key, tail] : {std::pair<std::string, std::string>("", "00000000"), {"\xAB\x01", "02000000AB01"}}) {
    Item item(u"IPM.Appointment");
    if (!key.empty()) {
      item.set(PR_SEARCH_KEY, key);
    }
    EXPECT_EQ(lineOf(calendarOf(item.write()), "UID"), "UID:" + head + tail);
    const std::string id = item.bytes(item.tagOf(named::kGlobalObjectId));
    EXPECT_EQ(id.size(), 40 + key.size());
    EXPECT_EQ(item.bytes(item.tagOf(named::kCleanGlobalObjectId)), id);
    EXPECT_EQ(lineOf(calendarOf(item.write()), "UID"), "UID:" + head + tail);
  }
}

TEST(Appointment, TakesIdsOfOthersAsTheyAre) {
  const std::string series =
      "040000008200E00074C5B7101A82E008"
      "00000000"
      "00112233445566778899AABBCCDDEEFF"
      "00000000";
  std::string instance = series;
  instance.replace(32, 8, "07E80506");
  struct Case {
    const char* why;
    std::string uid, id, clean;
  };
  const auto bytesOf = [](const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
      bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
  };
  const Case cases[] = {
      {"any text", "0c0a-x@host", "0c0a-x@host", "0c0a-x@host"},
      {"of this system", series, bytesOf(series), bytesOf(series)},
      {"of an instance, whose series is the clean one", instance, bytesOf(instance), bytesOf(series)},
      {"lower case", "0a0b", "0a0b", "0a0b"},
      {"hexadecimal by chance: bytes that are printable", "7034567023", "7034567023", "7034567023"},
      {"an odd digit", "3615354", "3615354", "3615354"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller event;
    event.flags->messageClass = u"IPM.Appointment";
    std::string mail = calendarMail("");
    mail.replace(mail.find("UID:u1"), 6, "UID:" + c.uid);
    event.read(mail);
    EXPECT_EQ(event.bytes(event.tagOf(named::kGlobalObjectId)), c.id);
    EXPECT_EQ(event.bytes(event.tagOf(named::kCleanGlobalObjectId)), c.clean);
    EXPECT_EQ(lineOf(calendarOf(event.write()), "UID"), "UID:" + c.uid);
  }
  Caller event;
  std::string mail = calendarMail("");
  mail.erase(mail.find("UID:u1\n"), 7);
  event.read(mail);
  EXPECT_FALSE(event.has(event.tagOf(named::kGlobalObjectId)));
}

TEST(Appointment, ReadsTimes) {
  struct Case {
    const char* why;
    std::string lines;
    const char* start;
    const char* end;
    std::int64_t minutes;  // -1: none
  };
  const std::string zone = "DTSTART;TZID=America/New_York:20240506T090000\nDTEND;TZID=Europe/Prague:20240506T160000\n";
  const Case cases[] = {
      {"none", "", "<none>", "<none>", -1},
      {"an end alone", "DTEND:20240506T100000Z\n", "<none>", "2024-05-06 10:00", -1},
      {"a start alone", "DTSTART:20240506T100000Z\n", "2024-05-06 10:00", "<none>", -1},
      {"a duration", "DTSTART:20240506T100000Z\nDURATION:PT1H10M\n", "2024-05-06 10:00", "2024-05-06 11:10", 70},
      {"each in a zone of its own, counted by the clocks", zone, "2024-05-06 13:00", "2024-05-06 14:00", 420},
      {"backwards", "DTSTART:20240506T100000Z\nDTEND:20240506T090000Z\n", "2024-05-06 10:00", "2024-05-06 09:00",
       0xFFFFFFC4},
      {"ahead of all calendars", "DTSTART:15000101T100000Z\nDTEND:20240506T090000Z\n", "<none>", "2024-05-06 09:00", -1},
      {"at the last of days", "DTSTART:99991231T100000Z\nDURATION:P400D\n", "9999-12-31 10:00", "10001-02-03 10:00", 576000},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ReceivedEvent event(c.lines);
    EXPECT_FALSE(flagOf(event, named::kAppointmentSubType));
    EXPECT_EQ(timeOf(event, named::kAppointmentStartWhole), c.start);
    EXPECT_EQ(timeOf(event, named::kAppointmentEndWhole), c.end);
    EXPECT_EQ(event.has(event.tagOf(named::kAppointmentDuration)), c.minutes >= 0);
    if (c.minutes >= 0) {
      EXPECT_EQ(numberOf(event, named::kAppointmentDuration), static_cast<std::uint32_t>(c.minutes));
    }
  }
}

TEST(Appointment, OfWholeDaysIsTheSameDayOnEveryMachine) {
  struct Machine {
    const char* zone;
    const char* start;
    const char* end;
  };
  // Over the change to daylight saving of each.
  const Machine machines[] = {{"America/New_York", "2024-03-10 05:00", "2024-03-11 04:00"},
                              {"UTC", "2024-03-10 00:00", "2024-03-11 00:00"},
                              {"Asia/Tokyo", "2024-03-09 15:00", "2024-03-10 15:00"},
                              {"Pacific/Auckland", "2024-03-09 11:00", "2024-03-10 11:00"},
                              {"America/Sao_Paulo", "2024-03-10 03:00", "2024-03-11 03:00"}};
  const std::string forms[] = {
      "DTSTART;VALUE=DATE:20240310\nDTEND;VALUE=DATE:20240311\n",
      "DTSTART;VALUE=DATE:20240310\nDURATION:P1D\n",
      "DTSTART;VALUE=DATE:20240310\n",
      "X-MICROSOFT-CDO-ALLDAYEVENT:TRUE\nDTSTART:20240310T000000\nDTEND:20240311T000000\n",
      "X-MICROSOFT-CDO-ALLDAYEVENT:TRUE\nDTSTART;VALUE=DATE:20240310\n",
  };
  for (const Machine& machine : machines) {
    const ScopedZone zone(machine.zone);
    for (const std::string& lines : forms) {
      SCOPED_TRACE(machine.zone + ("\n" + lines));
      ReceivedEvent event(lines);
      EXPECT_TRUE(flagOf(event, named::kAppointmentSubType));
      EXPECT_EQ(timeOf(event, named::kAppointmentStartWhole), machine.start);
      EXPECT_EQ(timeOf(event, named::kAppointmentEndWhole), machine.end);
      EXPECT_EQ(numberOf(event, named::kAppointmentDuration), 1440U);
      const std::string calendar = calendarOf(event.write());
      EXPECT_EQ(lineOf(calendar, "DTSTART"), "DTSTART;VALUE=DATE:20240310");
      EXPECT_EQ(lineOf(calendar, "DTEND"), "DTEND;VALUE=DATE:20240311");
    }
  }
}

TEST(Appointment, OfWholeDaysThatWasMadeElsewhereKeepsItsDay) {
  struct Case {
    const char* why;
    const char* machine;
    const char* start;
    const char* zone;  // of the item; null: none
    const char* day;
  };
  const Case cases[] = {
      {"midnight of the machine", "Asia/Tokyo", "2024-11-28 15:00", "America/New_York", "DTSTART;VALUE=DATE:20241129"},
      {"the item says where", "America/New_York", "2024-11-28 15:00", "Asia/Tokyo", "DTSTART;VALUE=DATE:20241129"},
      {"the nearest midnight, ahead", "UTC", "2024-11-28 15:00", nullptr, "DTSTART;VALUE=DATE:20241129"},
      {"the nearest midnight, behind", "Europe/Prague", "2024-11-28 05:00", nullptr, "DTSTART;VALUE=DATE:20241128"},
      {"a time that stands for none", "America/New_York", "1601-01-01 00:00", nullptr, "DTSTART;VALUE=DATE:16010101"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ScopedZone zone(c.machine);
    Item item(u"IPM.Appointment");
    setTimes(item, c.start, c.start, true);
    if (c.zone != nullptr) {
      item.set(named::kTimeZoneStruct, zoneBytes(c.zone));
    }
    EXPECT_EQ(lineOf(calendarOf(item.write()), "DTSTART"), c.day);
  }
}

TEST(Appointment, KeepsInstantsInGapsAndOverlaps) {
  struct Case {
    const char* zone;
    const char* gap;      // the minute ahead of a change forward, and one behind it
    const char* overlap;  // both halves of the hour that is there twice
    const char* overlapAgain;
  };
  const Case cases[] = {{"America/New_York", "2024-03-10 07:00", "2024-11-03 05:30", "2024-11-03 06:30"},
                        {"Europe/Prague", "2024-03-31 01:00", "2024-10-27 00:30", "2024-10-27 01:30"},
                        {"Australia/Sydney", "2024-10-05 16:00", "2024-04-06 15:30", "2024-04-06 16:30"},
                        {"America/Santiago", "2024-09-08 04:00", "2024-04-07 02:30", "2024-04-07 03:30"}};
  for (const Case& c : cases) {
    const ScopedZone zone(c.zone);
    for (const char* start : {c.gap, c.overlap, c.overlapAgain}) {
      SCOPED_TRACE(std::string(c.zone) + " " + start);
      Item item(u"IPM.Appointment");
      setTimes(item, start, "2024-12-01 00:00");
      const Item back(item, item.write());
      // Calendar text has one name for both halves of an overlap.
      const bool isSecond = start == c.overlapAgain;
      const std::string told = timeOf(back, named::kAppointmentStartWhole);
      EXPECT_TRUE(told == start || (isSecond && told == c.overlap) || (start == c.overlap && told == c.overlapAgain))
          << told;
    }
  }
}

TEST(Appointment, SeriesKeepsItsClockOverBothChanges) {
  struct Case {
    const char* zone;
    const char* start;  // first instance, UTC
  };
  const Case cases[] = {{"America/New_York", "2024-02-05 14:00"}, {"Australia/Sydney", "2024-02-04 22:00"}};
  for (const char* machine : kMachines) {
    const ScopedZone scope(machine);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(machine) + " " + c.zone);
      const std::string lines = std::string("DTSTART;TZID=") + c.zone + ":20240205T090000\nDTEND;TZID=" + c.zone +
                                ":20240205T100000\nRRULE:FREQ=WEEKLY;COUNT=45;BYDAY=MO\nEXDATE;TZID=" + c.zone +
                                ":20240506T090000\n";
      ReceivedEvent event(lines);
      EXPECT_TRUE(flagOf(event, named::kRecurring));
      EXPECT_EQ(timeOf(event, named::kAppointmentStartWhole), c.start);
      EXPECT_EQ(event.bytes(event.tagOf(named::kTimeZoneStruct)), zoneBytes(c.zone));
      // The last of them, by the clock of the zone.
      const std::string calendar = calendarOf(event.write());
      EXPECT_NE(lineOf(calendar, "DTSTART").find("20240205T090000"), std::string::npos) << calendar;
      EXPECT_NE(lineOf(calendar, "EXDATE").find("20240506T090000"), std::string::npos) << calendar;
      EXPECT_NE(lineOf(calendar, "RRULE").find("COUNT=45"), std::string::npos) << calendar;
    }
  }
}

// --- People

std::vector<std::string> recipientsOf(const Caller& item) {
  std::vector<std::string> list;
  for (const auto& recipient : item.message->parts().recipients) {
    const host::PropertyBag& bag = recipient->bag();
    const auto number = [&bag](ULONG tag) {
      const host::PropertyRecord* record = bag.find(tag);
      return record == nullptr ? std::string("-") : std::to_string(std::get<std::int32_t>(record->content));
    };
    const host::PropertyRecord* address = bag.find(PR_EMAIL_ADDRESS_A);
    list.push_back(wideToUtf8(host::textOf(*bag.find(PR_DISPLAY_NAME))) + "|" +
                   (address == nullptr ? std::string() : wideToUtf8(host::textOf(*address))) + "|" +
                   number(PR_RECIPIENT_TYPE) + "|" + number(kTagRecipientFlags) + "|" + number(kTagTrackStatus));
  }
  return list;
}

TEST(Attendees, AreTheRecipients) {
  Item item(u"IPM.Appointment");
  const auto add = [&item](std::int32_t type, const char16_t* name, std::int32_t flags, std::int32_t status) {
    item.addRecipient(type, name, u"SMTP", wideToUtf8(name) + "@example.com");
    lastRecipient(item).set(kTagRecipientFlags, {PT_LONG, flags});
    lastRecipient(item).set(kTagTrackStatus, {PT_LONG, status});
  };
  item.set(PR_SENDER_NAME, std::u16string(u"Ann"));
  item.set(PR_SENDER_EMAIL_ADDRESS, std::u16string(u"ann@example.com"));
  item.set(kTagSenderAddress, std::string("ann@example.com"));
  add(1, u"Bob", 1, 3);
  add(2, u"Cleo", 1, 4);
  add(3, u"Room", 1, 2);
  add(1, u"First", 3, 0);
  add(1, u"Last", 3, 0);
  add(1, u"LAST", 3, 3);
  item.addRecipient(1, u"Eve", u"EX", "/o=First/cn=eve");
  lastRecipient(item).set(kTagResponsibility, {PT_BOOLEAN, true});
  const std::string mail = item.write();
  const std::string calendar = calendarOf(mail);
  EXPECT_EQ(lineOf(calendar, "ORGANIZER"), "ORGANIZER;CN=Last:mailto:Last@example.com");
  EXPECT_NE(calendar.find("\nATTENDEE;PARTSTAT=ACCEPTED;RSVP=TRUE;CN=Bob:mailto:Bob@example.com\n"), std::string::npos)
      << calendar;
  EXPECT_EQ(calendar.find("/o="), std::string::npos) << calendar;
  EXPECT_EQ(
      recipientsOf(Item(item, mail)),
      (std::vector<std::string>{"Last|Last@example.com|1|3|0", "Bob|Bob@example.com|1|1|3", "Cleo|Cleo@example.com|2|1|4",
                                "Room|Room@example.com|3|1|2", "LAST|LAST@example.com|1|3|3", "Eve||1|1|0"}));
}

TEST(Attendees, OfOtherSystemsComeBackFromAnnotations) {
  Item item(u"IPM.Appointment");
  item.set(named::kLocation, std::u16string());
  item.set(PR_SENDER_NAME, std::u16string(u"Eve"));
  item.set(PR_SENDER_ADDRTYPE, std::u16string(u"EX"));
  item.set(PR_SENDER_EMAIL_ADDRESS, std::u16string(u"/o=First/cn=eve"));
  item.addRecipient(1, u"Eve", u"EX", "/o=First/cn=eve");
  lastRecipient(item).set(kTagRecipientFlags, {PT_LONG, 3});
  const std::string mail = item.write();
  EXPECT_EQ(calendarOf(mail).find("/o="), std::string::npos);
  const Item back(item, mail);
  EXPECT_EQ(back.text(PR_SENDER_EMAIL_ADDRESS), u"/o=First/cn=eve");
  EXPECT_EQ(recipientsOf(back), (std::vector<std::string>{"Eve||1|3|0"}));
  EXPECT_TRUE(back.has(back.tagOf(named::kLocation)));
}

TEST(Attendees, WhoHaveNotAnsweredTakeTheItemsAnswer) {
  Item item(u"IPM.Appointment");
  item.set(named::kResponseStatus, std::int32_t{3});
  item.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
  const std::string mail = item.write();
  EXPECT_EQ(lineOf(calendarOf(mail), "ATTENDEE"), "ATTENDEE;PARTSTAT=ACCEPTED;CN=Bob:mailto:bob@example.com");
  const Item back(item, mail);
  EXPECT_TRUE(recipientsOf(back).empty());
  EXPECT_EQ(wideOf(back, named::kNonSendableTo), u"Bob <bob@example.com>");
}

TEST(Attendees, WithoutRecipientKeepTheirForm) {
  struct Case {
    const char* why;
    std::u16string text;
    std::vector<std::int32_t> statuses;
    std::u16string back;  // empty: none
    std::vector<std::int32_t> statusesBack;
  };
  const Case cases[] = {
      {"all forms", u"a@x; Bo B<b@x>; Cy [c@x]; Dan", {3, 4, 2, 0}, u"<a@x>; Bo B <b@x>; Cy <c@x>; <Dan>", {3, 4, 2, 0}},
      {"fewer answers than names", u"a@x; b@x", {3}, u"<a@x>", {3}},
      {"fewer names than answers", u"a@x", {3, 3}, u"<a@x>", {3}},
      {"brackets that make no sense", u"a<b; c>d; <e@x>f; g@x", {3, 3, 3, 4}, u"<g@x>", {4}},
      {"an answer that is not known", u"a@x", {9}, u"<a@x>", {0}},
      {"nobody", u"", {0}, u"", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Item item(u"IPM.Appointment");
    item.set(named::kNonSendableCc, c.text);
    item.set(named::kNonSendCcTrackStatus, c.statuses);
    const Item back(item, item.write());
    EXPECT_EQ(back.has(back.tagOf(named::kNonSendableCc)), !c.back.empty());
    EXPECT_FALSE(back.has(back.tagOf(named::kNonSendableTo)));
    if (!c.back.empty()) {
      EXPECT_EQ(wideOf(back, named::kNonSendableCc), c.back);
      EXPECT_EQ(back.get<std::vector<std::int32_t>>(back.tagOf(named::kNonSendCcTrackStatus)), c.statusesBack);
    }
  }
}

TEST(Attendees, TheOrganizerIsSenderOrIsRepresentedByOne) {
  struct Case {
    std::string organizer;
    std::u16string sender, represented;
  };
  const Case cases[] = {{"mailto:ANN@example.com", u"ANN@example.com", u"ANN@example.com"},
                        {"mailto:boss@example.com", u"ann@example.com", u"boss@example.com"}};
  for (const Case& c : cases) {
    const ReceivedEvent event("ORGANIZER;CN=X:" + c.organizer + "\n");
    EXPECT_EQ(event.text(kTagSenderAddress), c.sender);
    EXPECT_EQ(event.text(changePropType(PR_SENT_REPRESENTING_EMAIL_ADDRESS, PT_STRING8)), c.represented);
    EXPECT_EQ(event.text(PR_SENDER_ADDRTYPE), u"SMTP");
    EXPECT_TRUE(event.has(PR_SENDER_ENTRYID) && event.has(PR_SENT_REPRESENTING_SEARCH_KEY));
  }
  const ReceivedEvent event("");
  EXPECT_FALSE(event.has(PR_SENDER_NAME));
  EXPECT_TRUE(recipientsOf(event).empty());
}

// Nobody is lost for having the chair of somebody else's meeting.
TEST(Attendees, WithAChairThatIsNotTheirsHaveToCome) {
  const std::string chair = "ATTENDEE;ROLE=CHAIR;PARTSTAT=ACCEPTED;CN=Bob";
  const std::string kDate = "DTSTART:20240506T090000Z\n";
  const std::string ann = "ORGANIZER;CN=Ann:mailto:ann@example.com\n";
  ReceivedEvent asked(kDate + ann + chair + ";RSVP=TRUE:mailto:bob@example.com\n");
  EXPECT_EQ(recipientsOf(asked), (std::vector<std::string>{"Ann|ann@example.com|1|3|0", "Bob|bob@example.com|1|1|3"}));
  EXPECT_EQ(asked.text(PR_SENDER_NAME), u"Ann");
  EXPECT_EQ(wideOf(ReceivedEvent(kDate + ann + chair + ":mailto:bob@example.com\n"), named::kNonSendableTo),
            u"Bob <bob@example.com>");
  EXPECT_EQ(wideOf(ReceivedEvent(kDate + chair + ":mailto:bob@example.com\n"), named::kNonSendableTo),
            u"Bob <bob@example.com>");
}

TEST(Appointment, OfSomebodyElseHidesWhatIsPrivate) {
  const std::string text =
      "DTSTART:20240506T090000Z\nDTEND:20240506T100000Z\nSUMMARY:Secret\nLOCATION:There\nATTENDEE;RSVP=TRUE:mailto:bob@x\n";
  for (const std::string privacy : {"PRIVATE", "CONFIDENTIAL", "PUBLIC"}) {
    Caller event;
    event.flags->messageClass = u"IPM.Appointment";
    event.set(kTagParentEntryId, std::string("folder"));
    event.addressBook->folderKinds["folder"] = 1;
    event.read(calendarMail(text + "CLASS:" + privacy + "\n"));
    const bool hidden = privacy != "PUBLIC";
    EXPECT_EQ(event.text(PR_SUBJECT), hidden ? u"Private item" : u"Secret");
    EXPECT_EQ(event.has(event.tagOf(named::kLocation)), !hidden);
    EXPECT_EQ(event.has(event.tagOf(named::kReminderSet)), !hidden);
    EXPECT_EQ(event.has(PR_ACCESS), hidden);
    EXPECT_EQ(recipientsOf(event).empty(), hidden);
    EXPECT_EQ(timeOf(event, named::kAppointmentStartWhole), "2024-05-06 09:00");
  }
}

TEST(Appointment, IsWrittenAnewForWhatItsTextHolds) {
  Item item(u"IPM.Appointment");
  ConvertorDataMessage data;
  const PartTags tags = toMime::CalendarConvert(&data).getPartTags(item.message.get());
  EXPECT_TRUE(tags.bodyTags.contains(item.tagOf(named::kLocation)));
  EXPECT_TRUE(tags.bodyTags.contains(PR_SENDER_NAME));
  EXPECT_TRUE(tags.ignoredTags.contains(item.tagOf(named::kCommonStart)));
  EXPECT_TRUE(tags.ignoredTags.contains(PR_RTF_COMPRESSED));
  for (const NamedProperty* other : {&named::kResponseStatus, &named::kAppointmentDuration, &named::kRecurrencePattern}) {
    EXPECT_FALSE(tags.bodyTags.contains(item.tagOf(*other)) || tags.ignoredTags.contains(item.tagOf(*other)));
  }
}

TEST(FaultSweep, Appointments) { sweepItem(u"IPM.Appointment", fillAppointment); }

}  // namespace
}  // namespace nalvo::test
