// Dates, durations and the calendar arithmetic below them, against the standard library's.
#include "mail/date_time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>

#include "mail/duration.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"

namespace nalvo::mail {
namespace {

using testing::kTestZones;
using testing::ScopedZone;
using testing::SystemZone;
namespace chrono = std::chrono;

TEST(CalendarArithmetic, AgreesWithTheStandardLibraryFor800Years) {
  for (chrono::sys_days day = chrono::year{1601} / 1 / 1; day < chrono::sys_days{chrono::year{2401} / 1 / 1}; ++day) {
    const std::int64_t seconds = day.time_since_epoch().count() * 86400;
    const chrono::year_month_day date{day};
    const chrono::sys_days newYear{date.year() / 1 / 1};
    const calendar::Fields fields = calendar::gmtime(seconds + 86399);
    ASSERT_EQ(fields.year, int{date.year()}) << seconds;
    ASSERT_EQ(fields.month, unsigned{date.month()}) << seconds;
    ASSERT_EQ(fields.day, unsigned{date.day()}) << seconds;
    ASSERT_EQ(fields.weekday, static_cast<int>(chrono::weekday{day}.iso_encoding())) << seconds;
    ASSERT_EQ(fields.yearDay, (day - newYear).count() + 1) << seconds;
    ASSERT_EQ(fields.hour * 10000 + fields.minute * 100 + fields.second, 235959) << seconds;
    ASSERT_EQ(calendar::timegm(fields), seconds + 86399);
    // As in ISO 8601, the week is that of the year in which its fourth day lies, whatever day begins it.
    for (int weekStart = 1; weekStart <= 7; ++weekStart) {
      const chrono::sys_days fourth = day + chrono::days{3 - calendar::daysInto(fields.weekday, weekStart)};
      const chrono::sys_days itsYear{chrono::year_month_day{fourth}.year() / 1 / 1};
      ASSERT_EQ(calendar::weekOf(fields, weekStart), (fourth - itsYear).count() / 7 + 1) << seconds << ' ' << weekStart;
    }
  }
}

TEST(CalendarArithmetic, TakesFieldsOutOfRangeAndClampsSeconds) {
  const auto text = [](calendar::Fields fields) { return DateTime(calendar::timegm(fields)).toString(); };
  EXPECT_EQ(text({2007, 13, 1, 0, 0, 0, 0, 0}), "20080101T000000Z");
  EXPECT_EQ(text({2008, 3, 0, -2, 0, 0, 0, 0}), "20080228T220000Z");
  EXPECT_EQ(text({2007, -11, 1, 0, 0, 86400, 0, 0}), "20060102T000000Z");
  EXPECT_EQ(calendar::timegm({1500, 1, 1, 0, 0, 0, 0, 0}), calendar::kFirstSecond);
  EXPECT_EQ(calendar::timegm({std::int64_t{1} << 31, 1, 1, 0, 0, 0, 0, 0}), calendar::kLastSecond);
  EXPECT_EQ(calendar::gmtime(std::numeric_limits<std::int64_t>::max()).year, 30000);
  EXPECT_EQ(DateTime(1, 1, 2007) + Duration(std::numeric_limits<std::int64_t>::max()), DateTime(calendar::kLastSecond));
}

TEST(DateField, KnowsItsNeighbours) {
  struct Case {
    DateField field;
    int rank;
    DateField parent, grandparent, child;
  };
  static constexpr Case kCases[] = {{kYear, 0, kYear, kYear, kMonth},       {kMonth, 1, kYear, kYear, kMonthDay},
                                    {kWeek, 2, kYear, kYear, kWeekday},     {kYearDay, 3, kYear, kYear, kHour},
                                    {kMonthDay, 3, kMonth, kYear, kHour},   {kWeekday, 3, kWeek, kYear, kHour},
                                    {kHour, 4, kMonthDay, kMonth, kMinute}, {kMinute, 5, kHour, kMonthDay, kSecond},
                                    {kSecond, 6, kMinute, kHour, kSecond}};
  for (const Case& c : kCases) {
    EXPECT_EQ(rankOf(c.field), c.rank);
    EXPECT_EQ(parentOf(c.field), c.parent);
    EXPECT_EQ(parentOf(c.field, 2), c.grandparent);
    EXPECT_EQ(childOf(c.field), c.child);
    EXPECT_EQ(parentOf(c.field, -1), c.child);
  }
}

TEST(DateTime, PrintsWhatItRead) {
  struct Case {
    std::string_view why, text, printed;
    unsigned flags = 0;
  };
  static constexpr Case kCases[] = {
      {"whole day", "20070101", "20070101"},
      {"extended", "2007-01-02", "20070102"},
      {"extended with time", "2007-01-02T03:04:05Z", "20070102T030405Z"},
      {"year alone", "2007", "20070101"},
      {"year and month", "200703", "20070301"},
      {"UTC", "20070101T120000Z", "20070101T120000Z"},
      {"offset", "20070101T120000+0100", "20070101T120000+0100"},
      {"negative offset", "20070101T120000 -03:30", "20070101T120000-0330"},
      {"floating", "20070101T1200", "20070101T120000"},
      {"a time behind a month", "200702T120000Z", "20070201T120000Z"},
      {"offset behind hours", "20070101T12+0100", "20070101T120000+0100"},
      {"hour ahead of the day", "19961026T-20000Z", "19961025T220000Z"},
      {"a day that isn't", "20070230T000000Z", "20070302T000000Z"},
      {"before the calendar", "00010101T000000Z", "16010101T000000Z"},
      {"year zero", "00000000T000000Z", ""},
      {"too short", "200", ""},
      {"no year", "abcd0101", ""},
      {"nothing", "", ""},
      {"whole day with time", "20070101", "20070101T000000", DateTime::kWithTime},
      {"extended form", "20070102T030405+0530", "2007-01-02T03:04:05+05:30", DateTime::kExtended},
      {"milliseconds", "20070102T030405Z", "20070102T030405.000Z", DateTime::kMilliseconds},
      {"offset of zero", "20070102T030405Z", "20070102T030405+0000", DateTime::kOffset},
      {"no offset", "20070102T030405+0530", "20070102T030405", DateTime::kNoOffset},
      {"UTC without offset", "20070102T030405Z", "20070102T030405Z", DateTime::kNoOffset},
      {"for a zone beside it", "20070102T030405Z", "20070102T030405", DateTime::kLocal},
  };
  const ScopedZone zone("America/New_York");
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(DateTime::parse(c.text).toString(c.flags), c.printed);
  }
  EXPECT_EQ(DateTime::parse("20070101T120000+0100").seconds(), DateTime(1, 1, 2007, 11, 0, 0).seconds());
  EXPECT_EQ(DateTime::parseAsUtc("20070101T120000+0100").toString(), "20070101T120000Z");
  EXPECT_EQ(DateTime(1, 1, 10000).toString(), "");
  EXPECT_EQ(DateTime(31, 12, 9999).toString(), "99991231");
}

TEST(DateTime, FieldsAreSetAndCounted) {
  const auto with = [](const char* text, DateField field, int value, int weekStart = 1) {
    DateTime date = DateTime::parseAsUtc(text);
    date.setField(field, value, weekStart);
    return date.toString();
  };
  EXPECT_EQ(with("20070131", kMonth, 2), "20070228");
  EXPECT_EQ(with("20071231", kMonth, 14), "20080229") << "cut to the month that it comes to";
  EXPECT_EQ(with("20080229", kYear, 2009), "20090301") << "the year does not cut the day";
  EXPECT_EQ(with("20070704", kWeek, 1), "20070103");
  EXPECT_EQ(with("20070704", kWeek, 0), "20061227");
  EXPECT_EQ(with("20100704", kWeek, 1, 7), "20100103");
  EXPECT_EQ(with("20070101", kYearDay, 365), "20071231");
  EXPECT_EQ(with("20070704", kWeekday, 7), "20070708");
  EXPECT_EQ(with("20070704", kWeekday, 7, 7), "20070701");
  EXPECT_EQ(with("20070704", kHour, 25), "20070705T010000Z") << "no whole day any more";

  struct Case {
    const char* date;
    DateField outer;
    int rank, count;
    int weekStart = 1;
  };
  static constexpr Case kCases[] = {
      {"20070704", kYear, 0, 1},     {"20070704", kYear, 1, 12},       {"20070704", kYear, 2, 52},
      {"20080704", kYear, 2, 52},    {"20090704", kYear, 2, 53},       {"20080704", kYear, 3, 366},
      {"20070704", kYear, 4, 8760},  {"20080204", kMonth, 3, 29},      {"20080204", kMonth, 2, 4},
      {"20070704", kWeek, 4, 168},   {"20070704", kWeekday, 6, 86400}, {"20070704", kHour, 5, 60},
      {"20070704", kHour, 6, 3600},  {"20070704", kMinute, 6, 60},     {"20070704", kSecond, 6, 1},
      {"20070704", kMonth, 0, 0},    {"20070704", kMinute, 4, 0},      {"20070704", kYear, 7, 0},
      {"20000704", kYear, 2, 52, 7},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(DateTime::parseAsUtc(c.date).count(c.outer, c.rank, c.weekStart), c.count)
        << c.date << ' ' << int{c.outer} << ' ' << c.rank;
  }
}

TEST(DateTime, MovesByDurations) {
  const DateTime day(1, 1, 2007);
  EXPECT_EQ((day + Duration(48 * 3600)).toString(), "20070103");
  EXPECT_EQ((day + Duration(36 * 3600)).toString(), "20070102T120000Z");
  EXPECT_EQ((day - Duration(86400)).toString(), "20061231");
  EXPECT_EQ((day + Duration()).toString(), "20070101");
  DateTime inPlace = day;
  inPlace += Duration(36 * 3600);
  EXPECT_EQ(inPlace.toString(), "20070102") << "still a whole day";
  EXPECT_EQ((inPlace - day).seconds(), 36 * 3600);
  EXPECT_TRUE((DateTime() + Duration(1)).isNull());
  EXPECT_TRUE((DateTime() - day).isNull());
  EXPECT_LT(DateTime(), day);
}

TEST(DateTime, NullStaysNull) {
  DateTime null;
  null.setField(kYear, 2007);
  null.setZone(SystemZone::make("Europe/Prague", 2007, 2007));
  null.setFixedOffset(Duration(3600));
  EXPECT_TRUE(null.isNull() && null.getOffset().isNull() && null.midnight().isNull() && null.makeDateOnly().isNull());
  SYSTEMTIME time{
      .wYear = 1, .wMonth = 2, .wDayOfWeek = 3, .wDay = 4, .wHour = 5, .wMinute = 6, .wSecond = 7, .wMilliseconds = 8};
  const SYSTEMTIME before = time;
  null.toSystemTime(time);
  EXPECT_EQ(time, before);
  EXPECT_TRUE(DateTime::fromTimeT(-1).isNull());
}

TEST(DateTime, SystemTimesAreUtcButForWholeDays) {
  const auto day = std::uint16_t{3};
  SYSTEMTIME time{};
  DateTime::parse("20070101T233000-0100").toSystemTime(time);
  EXPECT_EQ(time, (SYSTEMTIME{2007, 1, 2, 2, 0, 30, 0, 0}));
  EXPECT_EQ(DateTime::fromSystemTime(time).toString(), "20070102T003000Z");
  DateTime(day, 1, 2007, 0, 0, 0, Duration(3600)).makeDateOnly().toSystemTime(time);
  EXPECT_EQ(time, (SYSTEMTIME{2007, 1, 3, day, 0, 0, 0, 0}));
}

// All wall clocks of a year, by half hours: each is kept, but those that a change leaves out.
TEST(DateTime, KeepsTheWallClockInEveryZone) {
  for (const char* name : kTestZones) {
    SCOPED_TRACE(name);
    const auto zone = SystemZone::make(name, 2008, 2008);
    const ScopedZone machine(name);
    int gaps = 0;
    for (std::int64_t wall = calendar::timegm({2008, 1, 1, 0, 0, 0, 0, 0});
         wall < calendar::timegm({2009, 1, 1, 0, 0, 0, 0, 0}); wall += 1800) {
      DateTime zoned(wall);
      zoned.setZone(zone);
      DateTime floating(wall);
      floating.setFloating();
      const DateTime parsed = DateTime::parse(DateTime(wall).toString(DateTime::kLocal));
      const calendar::Fields fields = calendar::gmtime(wall);
      std::tm local{};
      local.tm_year = static_cast<int>(fields.year - 1900);
      local.tm_mon = static_cast<int>(fields.month - 1);
      local.tm_mday = static_cast<int>(fields.day);
      local.tm_hour = static_cast<int>(fields.hour);
      local.tm_min = static_cast<int>(fields.minute);
      local.tm_isdst = -1;
      const std::time_t instant = std::mktime(&local);
      ASSERT_EQ(parsed.seconds(), instant) << wall;
      if (local.tm_hour != fields.hour || local.tm_min != fields.minute) {
        ++gaps;
        ASSERT_EQ(zoned.seconds(), instant) << "behind the gap " << wall;
        continue;
      }
      ASSERT_EQ(calendar::timegm(zoned.wallClock()), wall);
      ASSERT_EQ(calendar::timegm(floating.wallClock()), wall);
      ASSERT_EQ(zoned.getOffset(), Duration(zone->getOffsetAt(zoned.seconds()).seconds())) << wall;
      if (zoned.seconds() != instant) {  // the second of two, of which the platform takes the first
        ASSERT_EQ(zoned.seconds(), instant + 3600) << wall;
        ASSERT_GE(zoned.getOffset().seconds(), 0) << wall;
      }
    }
    EXPECT_EQ(gaps, std::string_view(name) == "Asia/Kolkata" ? 0 : 2);
  }
}

TEST(DateTime, LocalOffsetIsThatOfThePlatform) {
  for (const char* name : kTestZones) {
    const ScopedZone machine(name);
    for (std::int64_t at = 86402; at < 4102444800; at += 3 * 86400 + 5 * 3600) {
      const std::time_t time = at;
      std::tm local{};
      localtime_r(&time, &local);
      ASSERT_EQ(DateTime::localOffset(DateTime(at), true).seconds(), local.tm_gmtoff) << name << ' ' << at;
    }
    // What the platform can't know has the offset of now.
    const ScopedClock clock(*fileTimeOfUnix(calendar::timegm({2007, 7, 1, 0, 0, 0, 0, 0})));
    const Duration now = DateTime::localOffset(DateTime::now(), true);
    EXPECT_EQ(DateTime::localOffset(DateTime(86400), true), now) << name;
    EXPECT_EQ(DateTime::localOffset(DateTime(32535216001), true), now) << name;
    EXPECT_EQ(DateTime::localOffset(DateTime(), false), now) << name;
    for (const char* day : {"19691231", "19700101", "19700102", "19700103", "30001231", "30010101", "30010102"}) {
      EXPECT_EQ(DateTime::parse(day).toString(), day) << name;
    }
  }
}

TEST(DateTime, ChangesHowItIsRead) {
  const auto prague = SystemZone::make("Europe/Prague", 2007, 2007);
  DateTime date = DateTime::parse("20070701T233000", prague);
  EXPECT_EQ(date.kind(), DateTime::Kind::Zoned);
  EXPECT_EQ(date.toString(DateTime::kOffset), "20070701T233000+0200");
  EXPECT_EQ(date.midnight().toString(DateTime::kOffset), "20070701T000000+0200");
  EXPECT_EQ(date.makeDateOnly().toString(), "20070701");
  EXPECT_EQ(date.makeDateOnly().zone(), prague);
  EXPECT_EQ((date + Duration(180 * 86400LL)).toString(), "20071228T223000+0100") << "the kept offset is forgotten";

  DateTime frozen = date;
  frozen.freezeOffset();
  EXPECT_EQ(frozen, date);
  EXPECT_EQ(frozen.kind(), DateTime::Kind::Fixed);
  frozen.setField(kMonth, 12);
  EXPECT_EQ(frozen.toString(), "20071201T233000+0200");

  date.setFixedOffset(Duration(-5 * 3600));
  EXPECT_EQ(date.toString(), "20070701T233000-0500") << "the wall clock stays";
  EXPECT_EQ(date.midnight().toString(), "20070701T000000-0500");
  EXPECT_EQ(DateTime::parse("20070101T120000+0100", prague).toString(), "20070101T120000+0100");

  const auto nowhere = std::make_shared<SystemZone>("UTC", 2007, 2000);
  ASSERT_FALSE(nowhere->isValid());
  EXPECT_EQ(DateTime::parse("20070101T120000", nowhere).toString(DateTime::kNoOffset), "20070101T120000Z");
}

TEST(Duration, PrintsWhatItRead) {
  struct Case {
    std::string_view text;
    std::int64_t seconds;
    std::string_view printed;
  };
  static constexpr Case kCases[] = {
      {"-PT15M", -900, "-PT15M"},
      {"P1W", 604800, "P7D"},
      {"PT1H", 3600, "PT01H00M"},
      {"+P1DT12H", 129600, "P1DT12H00M"},
      {"-P1D", -86400, "-P1D"},
      {"P", 0, "PT00S"},
      {"P1DT5S", 86405, "P1DT05S"},
      {"PT90M", 5400, "PT01H30M"},
      {"P3X5M", 300, "PT05M"},
      {"P1D2", 86400, "P1D"},
      {"-P99999999999999999999W", -9223372036854775807, "-P106751991167300DT15H30M07S"},
      {"P9223372036854775807S9223372036854775807S", 9223372036854775807, "P106751991167300DT15H30M07S"},
  };
  for (const Case& c : kCases) {
    const Duration duration = Duration::parse(c.text);
    EXPECT_EQ(duration.seconds(), c.seconds) << c.text;
    EXPECT_EQ(duration.toString(), c.printed) << c.text;
    EXPECT_EQ(Duration::parse(duration.toString()), duration) << c.text;
  }
  for (const char* text : {"", "15M", "-", "1P", "+-P1D"}) {
    EXPECT_TRUE(Duration::parse(text).isNull()) << text;
  }
  EXPECT_EQ(Duration().toString(), "");
  EXPECT_EQ(Duration(1, 2, 3, 4, true).seconds(), -93784);
  EXPECT_TRUE((Duration(1) - Duration()).isNull());
}

}  // namespace
}  // namespace nalvo::mail
