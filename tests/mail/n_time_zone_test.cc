// Zones as text, by name, and the offsets that they give.
#include "mail/n_time_zone.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mail/content_sources.h"
#include "mail/v_component.h"
#include "mail/zone_tables.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"

namespace nalvo::mail {
namespace {

using testing::ScopedZone;
using Zone = std::shared_ptr<const NTimeZone>;

std::int64_t utc(int year, int month, int day, int hour = 0, int minute = 0) {
  return calendar::timegm({year, month, day, hour, minute, 0, 0, 0});
}

// Lines parted by a blank.
Zone zoneOf(std::string text) {
  for (char& c : text) {
    c = c == ' ' ? '\n' : c;
  }
  std::istringstream in("BEGIN:VTIMEZONE\n" + text + "\nEND:VTIMEZONE\n");
  vcIStreamLex lexer(in, "");
  Component component;
  EXPECT_TRUE(component.read(lexer, ""));
  return std::make_shared<const NTimeZone>(component);
}

std::string observance(std::string_view kind, std::string_view start, std::string_view from, std::string_view to,
                       std::string_view more = {}) {
  std::string text = "BEGIN:";
  text.append(kind)
      .append(" DTSTART:")
      .append(start)
      .append(" TZOFFSETFROM:")
      .append(from)
      .append(" TZOFFSETTO:")
      .append(to);
  return text.append(more.empty() ? "" : " ").append(more).append(" END:").append(kind).append(" ");
}

std::string printed(const NTimeZone& zone) { return zone.toComponent().toText(); }

std::int64_t hoursAt(const Zone& zone, std::int64_t instant) { return zone->getOffsetAt(instant).seconds() / 3600; }

const std::string kNewYork =
    observance("STANDARD", "20071104T020000", "-0400", "-0500", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU") +
    observance("DAYLIGHT", "20070311T020000", "-0500", "-0400", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU");

TEST(NTimeZone, ReadsOffsetsByTheirLength) {
  struct Case {
    std::string_view text;
    std::int64_t seconds;
  };
  static constexpr Case kCases[] = {
      {"-0430", -16200},   {"0430", 16200}, {"+023000", 9000}, {"+0057", 3420},  {"-30704", -11224},
      {"-0500  ", -18000}, {"+1", 0},       {"", 0},           {"+01000000", 0}, {"abcd", 0},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(readOffset(c.text).seconds(), c.seconds) << c.text;
  }
  EXPECT_EQ(offsetText(Duration(-16200)), "-0430");
  EXPECT_EQ(offsetText(Duration(0)), "+0000");
  EXPECT_EQ(offsetText(Duration(11224)), "+030704");
}

TEST(NTimeZone, ReadsOffsetsOfTheTables) {
  struct Case {
    std::string_view text;
    std::int64_t seconds;
  };
  static constexpr Case kCases[] = {
      {"+0530", 19800},   {"+05:30", 19800},   {"-5", -18000},  {"530", 19800},
      {"+030704", 11224}, {"AKST", -9 * 3600}, {"chst", 36000}, {"12345678", 445567},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(parseOffsetText(c.text).seconds(), c.seconds) << c.text;
  }
  for (const std::string_view text : {"", "+", "-x", "+AKST", "AKSTX", "AK"}) {
    EXPECT_TRUE(parseOffsetText(text).isNull()) << text;
  }
}

TEST(NTimeZone, TableZonePrintsExactly) {
  EXPECT_EQ(printed(*NTimeZone::byId("America/New_York")),
            "BEGIN:VTIMEZONE\r\nTZID:America/New_York\r\n"
            "BEGIN:STANDARD\r\nDTSTART:20071104T020000\r\nTZOFFSETTO:-0500\r\nTZOFFSETFROM:-0400\r\n"
            "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU\r\nEND:STANDARD\r\n"
            "BEGIN:DAYLIGHT\r\nDTSTART:20070311T020000\r\nTZOFFSETTO:-0400\r\nTZOFFSETFROM:-0500\r\n"
            "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU\r\nEND:DAYLIGHT\r\nEND:VTIMEZONE\r\n");
  EXPECT_EQ(printed(*NTimeZone::byId("Africa/Abidjan")),
            "BEGIN:VTIMEZONE\r\nTZID:Africa/Abidjan\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000001\r\nTZOFFSETTO:+0000\r\n"
            "TZOFFSETFROM:+0000\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n");
}

// Whatever a zone is, what it prints reads as the same zone, and prints so again.
TEST(NTimeZone, PrintedZonesReadTheSame) {
  std::vector<Zone> zones = {
      zoneOf("TZID:a TZURL:http://a LAST-MOD:20070101T000000Z X-OWN;X-P=1:kept " + kNewYork),
      zoneOf("TZID:b " + observance("STANDARD", "20001029T020000", "-0400", "-0500",
                                    "RDATE:20011028T020000,20021027T020000 TZNAME:EST COMMENT:c X-OWN:kept")),
      zoneOf("TZID:c " + observance("standard", "20001029", "+0100", "+0000", "RDATE:20011028T010000")),
      // An empty value isn't written, so the one behind it is the first that is read again.
      zoneOf("TZID: TZID:d LAST-MOD: LAST-MOD:20070101T000000 " +
             observance("DAYLIGHT", "20070101T000000", "+0100", "+0200",
                        "TZOFFSETTO: RRULE: RRULE:FREQ=WEEKLY;BYDAY=MO;COUNT=10 TZNAME: TZNAME:x")),
  };
  EXPECT_NE(printed(*zones[0]).find("X-OWN;X-P=1:kept\r\n"), std::string::npos);
  EXPECT_NE(printed(*zones[1]).find("RDATE:20011028T020000,20021027T020000\r\n"), std::string::npos);
  EXPECT_NE(printed(*zones[1]).find("X-OWN:kept\r\n"), std::string::npos);
  for (const ZoneRecord& row : zonesByTzName()) {
    zones.push_back(NTimeZone::byId(row.name));
  }
  zones.insert(zones.end(), NTimeZone::getSummaries().begin(), NTimeZone::getSummaries().end());
  for (const Zone& zone : zones) {
    SCOPED_TRACE(zone->id());
    const std::string text = printed(*zone);
    std::istringstream in(text);
    vcIStreamLex lexer(in, "");
    Component component;
    ASSERT_TRUE(component.read(lexer, "VTIMEZONE"));
    const NTimeZone again(component);
    EXPECT_EQ(printed(again), text);
    EXPECT_EQ(again.id(), zone->id());
    EXPECT_EQ(again.checksum(), zone->checksum());
  }
}

TEST(NTimeZone, WithoutObservancesIsNoZone) {
  const Zone zone = zoneOf("TZID:Nowhere");
  EXPECT_EQ(zone->id(), "Nowhere");
  EXPECT_FALSE(zone->isValid());
  EXPECT_TRUE(zone->getOffsetAt(0).isNull());
  DateTime date(1, 7, 2007, 12, 0, 0);
  date.setZone(zone);
  EXPECT_EQ(date.toString(), "20070701T120000Z");
  EXPECT_FALSE(NTimeZone(Component("VEVENT")).isValid());
}

TEST(NTimeZone, GivesTheOffsetOfAnInstant) {
  struct Case {
    const char* why;
    std::string text;
    std::int64_t instant;
    int hours;
  };
  const std::string history = observance("STANDARD", "19671029T020000", "-0400", "-0500",
                                         "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=20061029T060000Z") +
                              observance("DAYLIGHT", "19870405T020000", "-0500", "-0400",
                                         "RRULE:FREQ=YEARLY;BYMONTH=4;BYDAY=1SU;UNTIL=20060402T070000Z") +
                              kNewYork;
  const std::string dates =
      observance("DAYLIGHT", "20100314T020000", "-0500", "-0400", "RDATE:20110313T020000,20120311T020000") +
      observance("STANDARD", "20101107T020000", "-0400", "-0500", "RDATE:20111106T020000");
  const std::string ended = observance("STANDARD", "19701025T030000", "+0200", "+0100",
                                       "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=19751026T010000Z") +
                            observance("DAYLIGHT", "19700329T020000", "+0100", "+0200",
                                       "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=19750330T010000Z");
  const std::string sydney =
      observance("STANDARD", "20080406T030000", "+1100", "+1000", "RRULE:FREQ=YEARLY;BYMONTH=4;BYDAY=1SU") +
      observance("DAYLIGHT", "20081005T020000", "+1000", "+1100", "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=1SU");
  const Case cases[] = {
      {"winter", kNewYork, utc(2007, 1, 1, 12), -5},
      {"summer", kNewYork, utc(2007, 7, 1, 12), -4},
      {"December", kNewYork, utc(2007, 12, 1, 12), -5},
      {"the second before a change", kNewYork, utc(2007, 3, 11, 7) - 1, -5},
      {"the second of a change", kNewYork, utc(2007, 3, 11, 7), -4},
      {"the second before the change back", kNewYork, utc(2007, 11, 4, 6) - 1, -4},
      {"the second of the change back", kNewYork, utc(2007, 11, 4, 6), -5},
      {"a year before the observances begin", kNewYork, utc(1980, 7, 1), -4},
      {"the order of observances counts nothing",
       observance("DAYLIGHT", "20070311T020000", "-0500", "-0400", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU") +
           observance("STANDARD", "20071104T020000", "-0400", "-0500", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU"),
       utc(2007, 7, 1), -4},
      {"a Z behind DTSTART counts nothing",
       observance("STANDARD", "20071104T020000Z", "-0400", "-0500", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU") +
           observance("DAYLIGHT", "20070311T020000Z", "-0500", "-0400", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU"),
       utc(2007, 3, 11, 7), -4},
      {"an observance alone", observance("STANDARD", "20071104T020000", "-0400", "-0500"), utc(1990, 7, 1), -5},
      {"the change of a day that is another one in UTC", sydney, utc(2009, 4, 4, 16) - 1, 11},
      {"the second of it", sydney, utc(2009, 4, 4, 16), 10},
      {"between the changes of the south", sydney, utc(2009, 7, 1), 10},
      {"ahead of them", sydney, utc(2009, 1, 1), 11},
      {"a history, its first rules", history, utc(2003, 10, 26, 5, 59), -4},
      {"a history, the rule of 2007 does not reach back", history, utc(2003, 10, 26, 6), -5},
      {"a history, April of 2006", history, utc(2006, 4, 2, 7), -4},
      {"a history, March of 2006", history, utc(2006, 3, 20), -5},
      {"a history, March of 2007", history, utc(2007, 3, 20), -4},
      {"a history, its years ahead of DAYLIGHT", history, utc(1970, 7, 1), -4},
      {"dates without a rule", dates, utc(2011, 7, 1), -4},
      {"the last of them holds on", dates, utc(2015, 1, 1), -4},
      {"ahead of the first", dates, utc(1999, 7, 1), -5},
      {"between two years of them", dates, utc(2011, 2, 1), -5},
      {"January ahead of the changes of a history", history, utc(1995, 1, 10), -5},
      {"the year 1 stands for always",
       observance("STANDARD", "00011028T030000", "+0200", "+0100", "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU") +
           observance("DAYLIGHT", "00010325T020000", "+0100", "+0200", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU"),
       utc(2007, 3, 25, 1), 2},
      {"rules that have ended leave their last offset", ended, utc(2020, 7, 1), 1},
      {"the last change of an ended rule", ended, utc(1975, 7, 1), 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(hoursAt(zoneOf("TZID:a " + c.text), c.instant), c.hours);
  }
}

TEST(NTimeZone, CutsOffsetsToMinutes) {
  const Zone zone = zoneOf("TZID:a " + observance("STANDARD", "18910101T000000", "+005728", "-005728"));
  EXPECT_EQ(zone->getOffsetAt(0).seconds(), -57 * 60);
}

TEST(NTimeZone, RulesThatCostTooMuchCountAsNone) {
  std::string list = "BYSECOND=0";
  for (int i = 1; i < 60; ++i) {
    list += "," + std::to_string(i);
  }
  for (const std::string& rule : {std::string("FREQ=SECONDLY;BYYEARDAY=366"), "FREQ=YEARLY;BYHOUR=1,2;" + list,
                                  std::string("FREQ=YEARLY;INTERVAL=7;COUNT=2000000000")}) {
    const Zone zone = zoneOf("TZID:a " + observance("STANDARD", "16010101T000000", "+0100", "+0200", "RRULE:" + rule) +
                             observance("DAYLIGHT", "16010101T000000", "+0200", "+0100", "RRULE:" + rule));
    for (int year = 1601; year < 2601; ++year) {
      EXPECT_FALSE(zone->getOffsetAt(utc(year, 7, 1)).isNull());
    }
  }
}

TEST(NTimeZone, ChecksumIsOfTheRulesInAnyOrder) {
  const Zone zone = zoneOf("TZID:one " + kNewYork);
  // MD5 of the six lines, sorted.
  EXPECT_EQ(zone->checksum(), "455f2a5f4f4d5accd942abdf3d60cad2");
  EXPECT_EQ(NTimeZone::byId("America/New_York")->checksum(), zone->checksum());
  EXPECT_NE(NTimeZone::byId("Europe/Prague")->checksum(), zone->checksum());
}

TEST(NTimeZone, BrokenZoneLeavesOthersAlone) {
  // The same starts, new offsets and rules, and other offsets ahead of the changes.
  const std::string broken =
      observance("STANDARD", "20351104T020000", "+0900", "-0500", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU") +
      observance("DAYLIGHT", "20350311T020000", "+0900", "-0400", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU");
  const std::string sound =
      observance("STANDARD", "20351104T020000", "-0400", "-0500", "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU") +
      observance("DAYLIGHT", "20350311T020000", "-0500", "-0400", "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU");
  const std::int64_t change = utc(2007, 3, 11, 7);
  EXPECT_EQ(hoursAt(zoneOf("TZID:a " + broken), change - 1), -4);
  EXPECT_EQ(hoursAt(zoneOf("TZID:a " + sound), change - 1), -5);
}

TEST(NTimeZone, IsFoundByName) {
  struct Case {
    std::string_view text, id;
  };
  static constexpr std::string_view kUtc = "(UTC) Universal Coordinated Time";
  static constexpr Case kCases[] = {
      {"(GMT-05:00) Eastern Time (US & Canada)", "Eastern Time (US & Canada)"},
      {"greenland", "Greenland"},
      {"Greenland (Pituffik)", "Greenland (Pituffik)"},
      {"/citadel.org/20070227_1/america/new_york", "America/New_York"},
      {"Mars", kUtc},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(NTimeZone::byName(c.text)->id(), c.id) << c.text;
  }
  EXPECT_EQ(NTimeZone::byName(""), NTimeZone::server());
  EXPECT_EQ(NTimeZone::byName("SERVER"), NTimeZone::server());
  EXPECT_EQ(NTimeZone::utc()->id(), kUtc);
  EXPECT_EQ(NTimeZone::byId("america/new_YORK")->id(), "America/New_York");
  EXPECT_EQ(NTimeZone::byId("Eastern Time (US & Canada)")->id(), "Eastern Time (US & Canada)");
  EXPECT_EQ(NTimeZone::byId("x America/New_York"), nullptr);
  EXPECT_EQ(NTimeZone::byId(""), nullptr);
  EXPECT_EQ(NTimeZone::byId("asia/kolkata"), NTimeZone::byId("Asia/Calcutta"));
  EXPECT_EQ(NTimeZone::byTzId("/a.org/x/America/Argentina/Ushuaia")->id(), "America/Argentina/Ushuaia");
  EXPECT_EQ(NTimeZone::byTzId("/Europe/Kyiv")->id(), "Europe/Kiev");
  EXPECT_EQ(NTimeZone::byTzId("W. Europe Standard Time")->id(), "Europe/Berlin");
  EXPECT_EQ(NTimeZone::byTzId("eastern standard time"), nullptr);  // names of Windows are told as they are
  EXPECT_EQ(NTimeZone::byTzId("(UTC-05:00) Eastern Time (US and Canada)")->id(), "Eastern Time (US & Canada)");
  EXPECT_EQ(NTimeZone::byTzId("(GMT+01.00) Rome/Berlin/Vienna")->getOffsetAt(1'183'248'000).seconds(), 7200);
  EXPECT_EQ(NTimeZone::byTzId("(UTC+02:00) Atlantis")->getOffsetAt(1'183'248'000).seconds(), 7200);
  EXPECT_EQ(NTimeZone::byTzId("(GMT -09:30)")->getOffsetAt(0).seconds(), -34200);
  EXPECT_EQ(NTimeZone::byTzId("utc+1")->id(), "utc+1");
  EXPECT_EQ(NTimeZone::byTzId("(UTC+15:00)"), nullptr);
  EXPECT_EQ(NTimeZone::byTzId("(GMT+01:00"), nullptr);
  for (const char* unknown : {"a.org/Europe/Prague", "/a.org/Mars", "/", "//", ""}) {
    EXPECT_EQ(NTimeZone::byTzId(unknown), nullptr) << unknown;
  }
}

// The machine in different places, in January and in July.
TEST(NTimeZone, ServerIsTheFirstZoneThatAgreesWithTheMachine) {
  struct Case {
    const char* machine;
    int year;
    std::string_view id;
  };
  static constexpr Case kCases[] = {
      {"America/New_York", 2026, "Eastern Time (US & Canada)"},
      {"America/Denver", 2026, "Chihuahua, La Paz, Mazatlan"},
      {"Europe/Prague", 2026, "Amsterdam, Belgrade, Berlin, Brussels, Budapest, Madrid, Paris, Prague, Stockholm"},
      {"Europe/Dublin", 2026, "Dublin, Edinburgh, Lisbon, London"},
      {"Asia/Kolkata", 2026, "Chennai, Kolkata, Mumbai, New Delhi"},
      {"Australia/Sydney", 2026, "Canberra, Melbourne, Sydney"},
      {"America/Sao_Paulo", 2007, "Brasilia"},
      {"America/Sao_Paulo", 2026, ""},
      {"UTC", 2026, "Greenland (Danmarkshavn)"},
  };
  for (const Case& c : kCases) {
    const ScopedZone machine(c.machine);
    std::string ids[2];
    for (int i = 0; i < 2; ++i) {
      const ScopedClock clock(*fileTimeOfUnix(utc(c.year, i == 0 ? 1 : 7, 15)));
      const Zone zone = NTimeZone::findServer();
      ids[i] = zone->id();
      if (zone->isValid()) {
        for (const int month : {2, 7}) {
          EXPECT_EQ(zone->getOffsetAt(utc(c.year, month, 1)), DateTime::localOffset(DateTime(utc(c.year, month, 1)), true));
        }
      }
    }
    EXPECT_EQ(ids[0], ids[1]) << c.machine;
    EXPECT_EQ(ids[0], c.id) << c.machine;
  }
}

TEST(ZoneOffsetCache, OldestEntryGoesFirst) {
  ZoneOffsetCache cache;
  const ZoneOffsetCache::ZoneKey zone{1, 2};
  for (int year = 1; year <= 512; ++year) {
    cache.store(zone, year, {Duration(year), {}});
  }
  EXPECT_EQ(cache.find(zone, 1, 0), Duration(1));
  cache.store({1, 3}, 7, {Duration(7), {}});
  EXPECT_FALSE(cache.find(zone, 1, 0).has_value());
  EXPECT_EQ(cache.find(zone, 2, 0), Duration(2));
  EXPECT_EQ(cache.find({1, 3}, 7, 0), Duration(7));
}

TEST(NTimeZone, IsReadByManyThreads) {
  const Zone zone = NTimeZone::byId("Europe/Prague");
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int& count : wrong) {
    threads.emplace_back([&count, zone] {
      for (int i = 0; i < 2000; ++i) {
        const int year = 1700 + i % 700;
        count += hoursAt(zone, utc(year, 7, 1)) != 2 ? 1 : 0;
        count += NTimeZone::byName("Greenland")->isValid() ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace nalvo::mail
