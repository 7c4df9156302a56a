// Recurrence patterns: between a rule and the bytes, in zones of two hemispheres, against a reader of its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "convert/groupware/recurrence_pattern.h"
#include "diagnostics/boundary.h"
#include "host/file_stream.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "mail/rrule.h"
#include "platform/time/file_time.h"
#include "tests/convert/series_items.h"
#include "tests/mail/zones.h"
#include "tests/support/recurrence_blob.h"

namespace nalvo::test {
namespace {

using mail::DateTime;
using mail::testing::ScopedZone;

constexpr std::size_t kMost = 200;  // dates of an endless series that are compared

// What the rule and its exceptions mean, by the wall clock of `zone`.
std::vector<Occurrence> expectedDates(const mail::VEvent& event, const ZonePtr& zone) {
  const auto local = [&](const DateTime& date) {
    const std::int64_t offset = date.isDateOnly() ? 0 : zone->getOffsetAt(date.seconds()).seconds();
    return (date.seconds() + offset - mail::calendar::kFirstSecond) / 60;
  };
  const auto original = [&](const DateTime& date) {
    const std::int64_t time = local(event.getStart()) % RecurrenceBlob::kDay;
    return date.isDateOnly() ? local(date) + time : local(date);
  };
  std::vector<Occurrence> dates;
  mail::RRule rule = event.getRRules().at(0);
  if (!rule.until.isNull()) {
    rule.until = DateTime(60 * local(rule.until) + mail::calendar::kFirstSecond);
  }
  const std::int64_t length = local(event.getEffectiveEnd()) - local(event.getStart());
  const DateTime start(60 * local(event.getStart()) + mail::calendar::kFirstSecond);
  auto each = rule.iterate(start, true);
  for (std::size_t i = 0; i < kMost && !each.hasEnded(); ++i, each.advance()) {
    const std::int64_t minutes = local(each.current().makeDateOnly()) + local(event.getStart()) % RecurrenceBlob::kDay;
    dates.push_back({minutes, minutes + length});
  }
  for (const DateTime& excluded : event.getAllExDates()) {
    std::erase_if(dates, [&](const Occurrence& date) { return date.start == original(excluded); });
  }
  for (const mail::RecurrenceDate& moved : event.getOccurrences()) {
    dates.push_back({local(moved.start), local(moved.end)});
  }
  std::sort(dates.begin(), dates.end());
  return dates;
}

TEST(RecurrencePattern, MeansTheDatesOfTheRule) {
  for (const char* machine : {"America/Los_Angeles", "Asia/Tokyo"}) {
    const ScopedZone scope(machine);
    for (const SeriesCase& c : kSeries) {
      SCOPED_TRACE(std::string(machine) + ": " + c.why);
      mail::VEvent event;
      readObject(c.lines, event);
      SeriesItem item;
      item.setZone(c.zone);
      const RecurrenceBlob blob(writeBlob(item, event), true);
      EXPECT_EQ(blob.occurrences(kMost).size(), expectedDates(event, mail::NTimeZone::byId(c.zone)).size());
      EXPECT_EQ(blob.occurrences(kMost), expectedDates(event, mail::NTimeZone::byId(c.zone)));
      EXPECT_EQ(blob.modified.size(), blob.exceptions.size());
      EXPECT_TRUE(item.isRecurring());
      EXPECT_EQ(item.number(item.tagOf(named::kRecurrenceType)), blob.frequency - 0x2009);
    }
  }
}

TEST(RecurrencePattern, ComesBackEqualThroughCalendarText) {
  const ScopedZone scope("America/Los_Angeles");
  for (const SeriesCase& c : kSeries) {
    SCOPED_TRACE(c.why);
    mail::VEvent event;
    readObject(c.lines, event);
    SeriesItem item;
    item.setZone(c.zone);
    const std::string before = writeBlob(item, event);

    mail::VEvent made;
    made.createNew("u");
    made.setStart(event.getStart());
    made.setEnd(event.getEffectiveEnd());
    RecurrenceState::createState(item.state, made, zoneInfo("UTC"));
    std::istringstream text(made.toText());
    mail::VEvent again;
    ASSERT_TRUE(again.read(text));
    EXPECT_EQ(writeBlob(item, again), before) << made.toText();
  }
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
    text += "0123456789abcdef"[c & 15];
  }
  return text;
}

TEST(RecurrencePattern, HasTheBytesOfItsLayout) {
  const ScopedZone scope("UTC");
  mail::VEvent event;
  readObject(
      "DTSTART:20080305T093000Z\nDTEND:20080305T103000Z\nRRULE:FREQ=MONTHLY;INTERVAL=2;COUNT=3\n"
      "EXDATE:20080505T093000Z\nRDATE;VALUE=PERIOD;X-MOVED=20080505T093000Z:20080506T080000Z/20080506T090000Z",
      event);
  SeriesItem item;
  EXPECT_EQ(hex(writeBlob(item, event)),
            "043004300c2002000000"
            "00000000"                  // March 2008 counts like January 1601 in every second month
            "0200000000000000"          // period, no regenerating
            "05000000"                  // day of the month
            "222000000300000000000000"  // after 3
            "01000000400cc50c"          // deleted
            "01000000e011c50c"          // modified
            "20b5c30c6063c60c"          // first and last day
            "06300000083000003a02000076020000"
            "0100c013c50cfc13c50c7a0ec50c0000"
            "000000000000000000000000");
}

TEST(RecurrencePattern, HasTheNumbersOfTheEdges) {
  struct Case {
    const char* why;
    const char* lines;
    std::uint32_t firstDateTime, period, nth, end;
  };
  constexpr std::uint32_t kCounted = 0;  // not looked at
  const Case kCases[] = {
      {"March in every second month", "DTSTART:20080301T000000Z\nRRULE:FREQ=MONTHLY;INTERVAL=2;COUNT=3", 0, 2, 0, kCounted},
      {"1 March", "DTSTART:20080301T000000Z\nRRULE:FREQ=YEARLY;COUNT=3", 84960, 12, 0, kCounted},
      {"1 March of no leap year", "DTSTART:20090301T000000Z\nRRULE:FREQ=YEARLY;COUNT=3", 84960, 12, 0, kCounted},
      {"each day", "DTSTART:20080301T000000Z\nRRULE:FREQ=DAILY", 0, 1440, 0, 1525252319},
      {"each week", "DTSTART:20080301T000000Z\nRRULE:FREQ=WEEKLY", 0, 1, 0, 1525252319},
      {"each month", "DTSTART:20080301T000000Z\nRRULE:FREQ=MONTHLY", 0, 1, 0, 1525252319},
      {"days by name", "DTSTART:20080303T000000Z\nRRULE:FREQ=DAILY;BYDAY=MO", 8640, 1, 0, 1525252319},
      {"the last", "DTSTART:20080301T000000Z\nRRULE:FREQ=MONTHLY;BYDAY=SA;BYSETPOS=-1", 0, 1, 5, 1525252319},
      {"the last but one", "DTSTART:20080301T000000Z\nRRULE:FREQ=MONTHLY;BYDAY=SA;BYSETPOS=-2", 0, 1, 5, 1525252319},
      {"no count", "DTSTART:20080301T000000Z\nRRULE:FREQ=DAILY;COUNT=0", 0, 1440, 0, 1525252319},
      {"longer than any calendar", "DTSTART:20080301T000000Z\nRRULE:FREQ=YEARLY;COUNT=2147483647", 84960, 12, 0, kCounted},
      {"until the end of time", "DTSTART:20080301T000000Z\nRRULE:FREQ=DAILY;UNTIL=99991231T235959Z", 0, 1440, 0, kCounted},
  };
  const ScopedZone scope("UTC");
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    mail::VEvent event;
    readObject(std::string(c.lines) + "\nDTEND:20080301T010000Z", event);
    SeriesItem item;
    const RecurrenceBlob blob(writeBlob(item, event), true);
    EXPECT_EQ(blob.firstDateTime, c.firstDateTime);
    EXPECT_EQ(blob.period, c.period);
    EXPECT_EQ(blob.nth, c.nth);
    if (c.end != kCounted) {
      EXPECT_EQ(blob.endDate, c.end);
      EXPECT_EQ(blob.occurrenceCount, 10U);
      const FILETIME clipEnd = item.get<FILETIME>(item.tagOf(named::kClipEnd));
      EXPECT_EQ(mail::DateTimeUtils::fileTimeToSystemTime(clipEnd).wMonth, 8);
    }
    EXPECT_GE(blob.endDate, blob.startDate);
  }
}

// Its midnight lies on the day before elsewhere.
TEST(RecurrencePattern, OfWholeDaysLeavesOutTheDayThatADateHasInItsZone) {
  const ScopedZone scope("UTC");
  mail::VEvent event;
  readObject(
      "DTSTART;VALUE=DATE:20080301\nDTEND;VALUE=DATE:20080302\nRRULE:FREQ=DAILY;COUNT=10\n"
      "EXDATE;TZID=Asia/Tokyo:20080304T000000",
      event);
  SeriesItem item;
  item.set(named::kAppointmentSubType, true);
  const RecurrenceBlob blob(writeBlob(item, event), true);
  ASSERT_EQ(blob.deleted.size(), 1U);
  EXPECT_EQ(blob.deleted[0] - blob.startDate, 3 * RecurrenceBlob::kDay);
}

TEST(RecurrencePattern, IsNotThereWithoutASeries) {
  const char* kCases[] = {
      "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z",
      "DTSTART:20080301T140000Z\nRRULE:FREQ=DAILY",
      "DTEND:20080301T150000Z\nRRULE:FREQ=DAILY",
      "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=HOURLY",
      "DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:nonsense",
  };
  for (const char* lines : kCases) {
    SCOPED_TRACE(lines);
    mail::VEvent event;
    readObject(lines, event);
    SeriesItem item;
    item.set(named::kAppointmentRecur, std::string("old"));
    item.set(named::kRecurrenceType, std::int32_t{2});
    EXPECT_EQ(writeBlob(item, event), "");
    EXPECT_FALSE(item.isRecurring());
    EXPECT_FALSE(item.has(item.tagOf(named::kRecurrenceType)));
  }
}

// To the object.

HRESULT readInto(mail::VEvent& event, const std::string& blob, const std::string& zone, bool allDay = false) {
  SeriesItem item;
  item.setZone(zone);
  item.set(named::kAppointmentRecur, blob);
  item.set(named::kAppointmentSubType, allDay);
  return atBoundary([&] { RecurrenceState::createState(item.state, event, zoneInfo("UTC")); });
}

std::string patternBytes(const RecurrencePattern& pattern) {
  ComPtr<IStream> stream = streamUtils::createStream();
  writeRecurrencePattern(pattern, ItemKind::Appointment, stream.get());
  return Caller::contentOf(stream.get());
}

std::uint32_t minutesAt(int year, int month, int day, int hour = 0, int minute = 0) {
  return static_cast<std::uint32_t>((DateTime(day, month, year, hour, minute, 0).seconds() - mail::calendar::kFirstSecond) /
                                    60);
}

RecurrencePattern dailyAtNine() {
  RecurrencePattern pattern;
  pattern.period = 1440;
  pattern.startOffset = 540;
  pattern.endOffset = 600;
  pattern.startDate = minutesAt(2008, 10, 1);
  pattern.end = RecurrencePattern::End::OnDate;
  pattern.endDate = minutesAt(2008, 11, 2);
  return pattern;
}

TEST(RecurrenceRule, EndsAtTheLastDateWhateverTheSeason) {
  mail::VEvent event;
  ASSERT_EQ(readInto(event, patternBytes(dailyAtNine()), "America/New_York"), S_OK);
  EXPECT_EQ(event.getProperty("RRULE"), "FREQ=DAILY;UNTIL=20081102T140000Z");
  mail::VEvent wholeDay;
  ASSERT_EQ(readInto(wholeDay, patternBytes(dailyAtNine()), "America/New_York", true), S_OK);
  EXPECT_EQ(wholeDay.getProperty("RRULE"), "FREQ=DAILY;UNTIL=20081102");
}

TEST(RecurrenceRule, KeepsMovedDatesWhereMidnightIsLeftOut) {
  RecurrencePattern pattern = dailyAtNine();
  pattern.deleted = {minutesAt(2008, 10, 18), minutesAt(2008, 10, 19)};
  pattern.modified = {minutesAt(2008, 10, 20)};
  pattern.exceptions = {{minutesAt(2008, 10, 20, 7), minutesAt(2008, 10, 20, 8), minutesAt(2008, 10, 19, 9), std::nullopt}};
  const std::string bytes = patternBytes(pattern);
  // The clocks of both go forward at midnight of a day in October.
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = 180;
  zone.DaylightBias = -60;
  zone.DaylightDate = {0, 10, 0, 3, 0, 0, 0, 0};
  zone.StandardDate = {0, 2, 0, 3, 0, 0, 0, 0};
  SeriesItem item;
  writeTimeZoneStruct(item.state, zone);
  item.set(named::kAppointmentRecur, bytes);
  mail::VEvent event;
  RecurrenceState::createState(item.state, event, zoneInfo("UTC"));
  const std::vector<DateTime> deleted = event.getExDates();
  ASSERT_EQ(deleted.size(), 2U);
  EXPECT_EQ(deleted[0], DateTime(18, 10, 2008, 12, 0, 0));
  EXPECT_EQ(deleted[1], DateTime(19, 10, 2008, 11, 0, 0));
  const std::vector<mail::RecurrenceDate> moved = event.getRDates();
  ASSERT_EQ(moved.size(), 1U) << event.toText();
  EXPECT_EQ(moved[0].start, DateTime(20, 10, 2008, 9, 0, 0));
  EXPECT_EQ(moved[0].movedFrom, 1);
}

TEST(RecurrenceRule, ReadsPastWhatOthersWrite) {
  RecurrencePattern pattern = dailyAtNine();
  pattern.deleted = {minutesAt(2008, 10, 5), minutesAt(2008, 10, 5)};
  pattern.modified = {minutesAt(2008, 10, 6)};
  pattern.exceptions = {{minutesAt(2008, 10, 6, 7), minutesAt(2008, 10, 6, 8), minutesAt(2008, 10, 5, 9), std::nullopt}};
  std::string bytes = patternBytes(pattern);
  // Subject, reminder, location, all-day flag and body of the exception, then a block that nobody knows.
  const std::size_t flags = bytes.size() - 4 - 8 - 2;
  bytes.replace(flags, 2,
                std::string("\x9D\x02", 2) + std::string("\x04\x00\x03\x00new", 7) + std::string(8, 'r') +
                    std::string("\x03\x00\x02\x00", 4) + "at" + std::string("\x01\x00\x00\x00", 4));
  bytes += "more";
  mail::VEvent event;
  ASSERT_EQ(readInto(event, bytes, "America/New_York"), S_OK);
  ASSERT_EQ(event.getExDates().size(), 2U) << "both days are those of the one exception";
  ASSERT_EQ(event.getRDates().size(), 2U);
  EXPECT_TRUE(event.getRDates()[1].start.isDateOnly()) << event.toText();
}

TEST(RecurrenceRule, RefusesWhatContradictsItself) {
  struct Case {
    const char* why;
    std::function<void(std::string&)> damage;
    HRESULT expected;
  };
  const auto put = [](std::size_t at, std::string_view bytes) {
    return [=, text = std::string(bytes)](std::string& blob) { blob.replace(at, text.size(), text); };
  };
  using namespace std::string_view_literals;
  // A daily pattern has its end at 22, its count of deleted days at 34.
  const Case kCases[] = {
      {"whole", [](std::string&) {}, S_OK},
      {"hourly", put(4, "\x09\x20"sv), E_INVALIDARG},
      {"a type of another calendar", put(6, "\x0A\x00"sv), E_INVALIDARG},
      {"every day in months", [](std::string& blob) { blob.replace(6, 2, "\x02\x00"sv).insert(22, "\x01\x00\x00\x00"sv); },
       E_INVALIDARG},
      {"made anew when it is done", put(18, "\x01\x00\x00\x00"sv), E_FAIL},
      {"the same, of no known frequency", put(4, "\x09\x20\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0"sv), E_FAIL},
      {"an end by nothing", put(22, "\x24\x20"sv), E_INVALIDARG},
      {"the other mark of no end", put(22, "\xFF\xFF\xFF\xFF"sv), S_OK},
      {"more deleted days than bytes", put(34, "\xFF\xFF\xFF\xFF"sv), STG_E_READFAULT},
      {"a modified day without its record", [](std::string& blob) { blob.replace(38, 4, "\x01\0\0\0\0\0\0\0"sv); },
       MAPI_E_CORRUPT_DATA},
      {"a start behind its day", put(58, "\xA0\x05"sv), MAPI_E_CORRUPT_DATA},
      {"the last minute of the day", put(58, "\x9F\x05"sv), S_OK},
      {"records without end", put(66, "\xFF\xFF"sv), STG_E_READFAULT},
      {"cut in the header", [](std::string& blob) { blob.resize(20); }, STG_E_READFAULT},
      {"empty", [](std::string& blob) { blob.clear(); }, STG_E_READFAULT},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    std::string blob = patternBytes(dailyAtNine());
    c.damage(blob);
    mail::VEvent event;
    event.createNew();
    event.addExDate(DateTime(1, 1, 2008));
    EXPECT_EQ(readInto(event, blob, "America/New_York"), c.expected);
    EXPECT_TRUE(event.getExDates().empty()) << "a rule of before is gone in any case";
  }
  const std::string whole = patternBytes(dailyAtNine());
  for (std::size_t length = 0; length < whole.size() - 8; ++length) {
    mail::VEvent event;
    EXPECT_EQ(readInto(event, whole.substr(0, length), "America/New_York"), STG_E_READFAULT) << length;
  }
}

TEST(RecurrenceRule, RefusesMoreModifiedThanDeletedDays) {
  RecurrencePattern pattern = dailyAtNine();
  pattern.modified = {minutesAt(2008, 10, 6)};
  pattern.exceptions = {{pattern.modified[0], pattern.modified[0] + 30, pattern.modified[0], std::nullopt}};
  mail::VEvent event;
  EXPECT_EQ(readInto(event, patternBytes(pattern), "America/New_York"), MAPI_E_CORRUPT_DATA);
}

TEST(RecurrenceRule, TakesAZoneOfTheWrongSizeAsUtc) {
  SeriesItem item;
  item.set(named::kTimeZoneStruct, std::string(47, '\1'));
  item.set(named::kAppointmentRecur, patternBytes(dailyAtNine()));
  mail::VEvent event;
  RecurrenceState::createState(item.state, event, zoneInfo("America/New_York"));
  EXPECT_EQ(event.getProperty("RRULE"), "FREQ=DAILY;UNTIL=20081102T090000Z");
}

TEST(RecurrenceRule, TakesTheMachinesZoneWhenThereIsNone) {
  const ScopedZone scope("Asia/Tokyo");
  SeriesItem item;
  item.set(named::kAppointmentRecur, patternBytes(dailyAtNine()));
  mail::VEvent event;
  RecurrenceState::createState(item.state, event, zoneInfo("America/New_York"));
  EXPECT_EQ(event.getProperty("RRULE"), "FREQ=DAILY;UNTIL=20081102T000000Z");
  EXPECT_EQ(readTimeZoneStruct(item.state).value().Bias, -540);
}

TEST(RecurrenceRule, OfATaskIsInWholeDays) {
  for (const char* machine : {"America/New_York", "Asia/Tokyo"}) {
    const ScopedZone scope(machine);
    struct Case {
      const char* rule;
      std::uint32_t count;
    };
    for (const Case& c : {Case{"FREQ=WEEKLY;X-UNTIL=20080322;COUNT=4;BYDAY=SA", 4},
                          Case{"FREQ=DAILY;UNTIL=20080405", 0xFFFFFF}, Case{"FREQ=MONTHLY;BYMONTHDAY=1", 10}}) {
      SCOPED_TRACE(c.rule);
      mail::VTodo task;
      readObject("DTSTART;VALUE=DATE:20080301\nEXDATE;VALUE=DATE:20080308\nRRULE:" + std::string(c.rule), task);
      SeriesItem item;
      RecurrenceState::ParseState(task.getStart(), task.getEnd(), item.state, task);
      const std::string bytes = item.blob(named::kTaskRecurrence);
      const RecurrenceBlob blob(bytes, false);
      EXPECT_EQ(blob.occurrenceCount, c.count);
      EXPECT_EQ(blob.startDate, minutesAt(2008, 3, 1));
      EXPECT_EQ(blob.deleted, std::vector<std::int64_t>{minutesAt(2008, 3, 8)});
      EXPECT_EQ(item.number(PR_ICON_INDEX), 0x501U);
      EXPECT_TRUE(item.get<bool>(item.tagOf(named::kTaskFRecurring)));
      EXPECT_FALSE(item.has(item.tagOf(named::kTimeZoneStruct)));

      mail::VTodo again;
      again.createNew("u");
      again.setStart(task.getStart());
      RecurrenceState::createState(item.state, again, zoneInfo("Asia/Tokyo"));
      EXPECT_EQ(again.getProperty("RRULE"), c.rule);
      RecurrenceState::ParseState(again.getStart(), {}, item.state, again);
      EXPECT_EQ(item.blob(named::kTaskRecurrence), bytes);
    }
  }
}

TEST(RecurrencePattern, HoldsThousandsOfExceptions) {
  RecurrencePattern pattern = dailyAtNine();
  pattern.end = RecurrencePattern::End::Never;
  pattern.endDate = 0x5AE980DF;
  for (std::uint32_t i = 0; i < 20'000; ++i) {
    const std::uint32_t day = pattern.startDate + i * 2880;
    pattern.deleted.push_back(day);
    pattern.modified.push_back(day + 1440);
    pattern.exceptions.push_back({day + 1440 + 480, day + 1440 + 530, day + 540, std::nullopt});
  }
  SeriesItem item;
  item.setZone("Australia/Sydney");
  item.set(named::kAppointmentRecur, patternBytes(pattern));
  pattern.count = 10;
  mail::VEvent event;
  event.createNew("u");
  RecurrenceState::createState(item.state, event, zoneInfo("UTC"));
  event.setStart(DateTime(30, 9, 2008, 23, 0, 0));
  event.setEnd(DateTime(1, 10, 2008, 0, 0, 0));
  EXPECT_EQ(hex(writeBlob(item, event)).size(), hex(patternBytes(pattern)).size());
  EXPECT_TRUE(item.blob() == patternBytes(pattern));
}

std::string seed(const std::string& name) {
  std::ifstream in(std::string(NALVO_TEST_DATA) + "/recurrence-blobs/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// What a rule has no place for comes back to the same series, but not to one that was edited.
TEST(RecurrencePattern, ComesBackWithAllOfItsBytes) {
  const ScopedZone scope("Europe/Prague");
  for (const char* name : {"moved_with_subject_and_place", "moved_and_deleted", "every_second_week_ten_times"}) {
    SCOPED_TRACE(name);
    const std::string bytes = seed(name);
    Item item(u"IPM.Appointment");
    const RecurrencePattern blob = readRecurrencePattern(item.stream(bytes).get(), ItemKind::Appointment);
    const auto store = [&](const NamedProperty& property, std::uint64_t local) {
      item.set(property, fileTimeOf(local * 60 * kTicksPerSecond));
    };
    item.set(named::kTimeZoneStruct, std::string(48, '\0'));
    item.set(named::kRecurring, true);
    item.set(named::kAppointmentRecur, bytes);
    store(named::kAppointmentStartWhole, blob.startDate + blob.startOffset);
    store(named::kAppointmentEndWhole, blob.startDate + blob.endOffset);
    std::string mail = Caller::contentOf(host::writeMail(item.message.get(), host::MailForm::Lossless, nullptr).mail.get());
    const auto patternOf = [&](const std::string& text) {
      Caller back(item.context);
      back.message = host::readMail(back.stream(text).get(), item.context, FILETIME{}, nullptr);
      return back.bytes(back.tagOf(named::kAppointmentRecur));
    };
    EXPECT_EQ(hex(patternOf(mail)), hex(bytes));
    const std::size_t rule = mail.find("RRULE:FREQ=");
    ASSERT_NE(rule, std::string::npos) << mail;
    mail.insert(mail.find_first_of("\r\n", rule),
                mail.find("INTERVAL=", rule) == std::string::npos ? ";INTERVAL=3" : ";COUNT=4");
    EXPECT_NE(hex(patternOf(mail)), hex(bytes));
  }
}

TEST(FaultSweep, Series) {
  mail::VEvent event;
  readObject("DTSTART:20080301T140000Z\nDTEND:20080301T150000Z\nRRULE:FREQ=DAILY;COUNT=10\nEXDATE:20080304T140000Z", event);
  expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                SeriesItem item(context);
                arm();
                return atBoundary([&] { writeBlob(item, event); });
              }),
              3, 10);
  const std::string blob = patternBytes(dailyAtNine());
  expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                SeriesItem item(context);
                item.set(named::kAppointmentRecur, blob);
                mail::VEvent made;
                arm();
                return atBoundary([&] { RecurrenceState::createState(item.state, made, zoneInfo("UTC")); });
              }),
              3, 10);
}

TEST(RecurrencePattern, OfOthersComesBackButForWhatIsRewritten) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  int seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "msg")) {
    const auto context = std::make_shared<host::HostContext>();
    ComPtr<host::MemoryMessage> message;
    SeriesItem item(context);
    try {
      message = host::readMsg(host::openFile(entry.path()).get(), context, nullptr);
    } catch (const HResultException&) {
      continue;  // damaged on purpose
    }
    const auto bytesOf = [&](const NamedProperty& property) {
      const auto* record = message->bag().find(MapiName(property).getPropertyTag(message.get()));
      return record == nullptr ? std::string() : host::bytesOf(*record);
    };
    const std::string bytes = bytesOf(named::kAppointmentRecur);
    if (bytes.empty()) {
      continue;
    }
    SCOPED_TRACE(entry.path().filename());
    ++seen;
    const RecurrenceBlob before(bytes, true);
    item.set(named::kAppointmentRecur, bytes);
    item.set(named::kTimeZoneStruct, bytesOf(named::kTimeZoneStruct));
    mail::VEvent event;
    event.createNew("u");
    RecurrenceState::createState(item.state, event, zoneInfo("UTC"));
    const auto time = [&](std::int64_t local) {
      const SYSTEMTIME wall = mail::DateTimeUtils::wallClockSystemTime(DateTime(60 * local + mail::calendar::kFirstSecond));
      const TIME_ZONE_INFORMATION zone = readTimeZoneStruct(item.state).value();
      return DateTime::fromSystemTime(mail::DateTimeUtils::localToGmt(wall, true, &zone));
    };
    RecurrenceState::ParseState(time(before.startDate + before.startOffset), time(before.startDate + before.endOffset),
                                item.state, event);
    const RecurrenceBlob after(item.blob(), true);
    EXPECT_EQ(hex(after.essence()), hex(before.essence()));
    EXPECT_EQ(after.occurrences(kMost), before.occurrences(kMost));
  }
  EXPECT_GE(seen, 5);
}

}  // namespace
}  // namespace nalvo::test
