// Zones as pairs of yearly rule dates, and the dates that they move.
#include "mail/windows_zone.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"

namespace nalvo::mail {
namespace {

using namespace DateTimeUtils;
using testing::kTestZones;
using testing::ScopedZone;

SYSTEMTIME rule(int month, int day, int weekday, int hour, int minute = 0) {
  const auto word = [](int number) { return static_cast<std::uint16_t>(number); };
  return {0, word(month), word(weekday), word(day), word(hour), word(minute), 0, 0};
}

TIME_ZONE_INFORMATION zoneOf(int bias, SYSTEMTIME standard = {}, SYSTEMTIME daylight = {}, int daylightBias = -60) {
  TIME_ZONE_INFORMATION info{};
  info.Bias = bias;
  info.StandardDate = standard;
  info.DaylightDate = daylight;
  info.DaylightBias = daylightBias;
  return info;
}

const TIME_ZONE_INFORMATION kEastern = zoneOf(300, rule(11, 1, 0, 2), rule(3, 2, 0, 2));
const TIME_ZONE_INFORMATION kSydney = zoneOf(-600, rule(4, 1, 0, 3), rule(10, 1, 0, 2));

SYSTEMTIME date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  SYSTEMTIME result{};
  DateTime(day, month, year, hour, minute, second).toSystemTime(result);
  return result;
}

std::string text(const SYSTEMTIME& time) {
  return DateTime::fromSystemTime(time).toString(DateTime::kNoOffset | DateTime::kOffset);
}

template <typename Body>
HRESULT failureOf(Body body) {
  try {
    body();
  } catch (const HResultException& error) {
    return error.getHResult();
  }
  return S_OK;
}

bool sameBytes(const TIME_ZONE_INFORMATION& a, const TIME_ZONE_INFORMATION& b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}

TEST(WindowsZone, RuleDatesOfAYear) {
  struct Case {
    int year;
    SYSTEMTIME rule;
    std::string_view date;
  };
  const Case cases[] = {
      {2007, rule(3, 2, 0, 2), "20070311T020000"}, {2007, rule(3, 5, 0, 2), "20070325T020000"},
      {2007, rule(2, 5, 3, 0), "20070228T000000"}, {2007, rule(12, 5, 1, 23, 59), "20071231T235900"},
      {2008, rule(2, 5, 5, 1), "20080229T010000"}, {2007, rule(9, 1, 6, 0), "20070901T000000"},
      {2007, rule(3, 6, 0, 0), "20070408T000000"},  // a sixth one is looked for behind the month
  };
  for (const Case& c : cases) {
    EXPECT_EQ(text(getDaylightDate(c.year, c.rule)), c.date);
  }
}

TEST(WindowsZone, BrokenRuleDatesFail) {
  for (const SYSTEMTIME& broken : {rule(0, 1, 0, 2), rule(13, 1, 0, 2), rule(3, 0, 0, 2), rule(3, 32, 0, 2),
                                   rule(3, 1, 7, 2), rule(3, 1, 0, 24), rule(3, 1, 0, 2, 60)}) {
    EXPECT_FALSE(isRuleDate(broken));
    EXPECT_EQ(failureOf([&] { getDaylightDate(2007, broken); }), E_FAIL);
    if (broken.wMonth != 0) {
      EXPECT_FALSE(isUsable(zoneOf(60, broken, rule(3, 1, 0, 2))));
      EXPECT_EQ(makeZone(zoneOf(60, broken, rule(3, 1, 0, 2))), nullptr);
    }
  }
  EXPECT_EQ(failureOf([] { getDaylightDate(10000, rule(3, 1, 0, 2)); }), E_FAIL);
  EXPECT_EQ(failureOf([] { getDaylightDate(9999, rule(12, 31, 0, 2)); }), E_FAIL);
  EXPECT_TRUE(isUsable(zoneOf(60)));
}

TEST(WindowsZone, BiasOfADate) {
  struct Case {
    const char* why;
    const TIME_ZONE_INFORMATION& zone;
    SYSTEMTIME date;
    bool isUtc;
    int bias;
  };
  const TIME_ZONE_INFORMATION noDates = [] {
    TIME_ZONE_INFORMATION info = zoneOf(300);
    info.StandardBias = 5;
    return info;
  }();
  const Case cases[] = {
      {"without rules the bias alone counts", noDates, date(2007, 7, 1), false, 300},
      {"UTC ahead of daylight time", kEastern, date(2007, 3, 11, 6, 59), true, 300},
      {"UTC behind the change", kEastern, date(2007, 3, 11, 7, 1), true, 240},
      {"UTC ahead of standard time", kEastern, date(2007, 11, 4, 5, 59), true, 240},
      {"UTC in standard time", kEastern, date(2007, 11, 4, 6, 1), true, 300},
      {"the moment of daylight time is standard time", kEastern, date(2007, 3, 11, 2), false, 300},
      {"the moment of standard time is daylight time", kEastern, date(2007, 11, 4, 2), false, 240},
      {"the south in January", kSydney, date(2009, 1, 15), false, -660},
      {"the south in July", kSydney, date(2009, 7, 15), false, -600},
      {"the south in December", kSydney, date(2009, 12, 15), false, -660},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(timeZoneBias(&c.zone, c.date, true, c.isUtc), c.bias) << c.why;
  }
}

TEST(WindowsZone, MovesDates) {
  EXPECT_EQ(text(gmtToLocal(date(2007, 7, 1, 2), &kEastern)), "20070630T220000");
  EXPECT_EQ(text(localToGmt(date(2007, 12, 31, 22), true, &kEastern)), "20080101T030000");
  for (const SYSTEMTIME& broken :
       {SYSTEMTIME{2007, 2, 0, 30, 0, 0, 0, 0}, SYSTEMTIME{2007, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{}}) {
    EXPECT_EQ(failureOf([&] { gmtToLocal(broken, &kEastern); }), E_INVALIDARG);
    EXPECT_EQ(failureOf([&] { localToGmt(broken, false, &kEastern); }), E_INVALIDARG);
  }
  const SYSTEMTIME last = date(9999, 12, 31, 23);
  EXPECT_EQ(failureOf([&] { localToGmt(last, true, &kEastern); }), E_FAIL);
  for (const auto& [bias, year] : {std::pair(INT32_MAX, 2007), std::pair(INT32_MIN, 8000)}) {
    const TIME_ZONE_INFORMATION absurd = zoneOf(bias, rule(11, 1, 0, 2), rule(3, 2, 0, 2), bias);
    EXPECT_EQ(failureOf([&, &year = year] { gmtToLocal(date(year, 7, 1), &absurd); }), E_FAIL);
  }
}

// What the structure of the machine says of each half hour of its present year, against the system.
TEST(WindowsZone, TheMachinesZoneAgreesWithTheSystem) {
  for (const char* name : kTestZones) {
    SCOPED_TRACE(name);
    const ScopedZone machine(name);
    const ScopedClock clock(*fileTimeOfUnix(calendar::timegm({2024, 5, 5, 0, 0, 0, 0, 0})));
    const TIME_ZONE_INFORMATION info = machineTimeZone();
    const std::int64_t begin = calendar::timegm({2024, 1, 1, 0, 0, 0, 0, 0});
    int wrong = 0;
    for (std::int64_t at = begin; at < begin + 366 * calendar::kDay; at += 1800) {
      const DateTime instant(at + 1);  // at a change itself the structure says the time before it
      SYSTEMTIME utc{};
      instant.toSystemTime(utc);
      wrong += timeZoneBias(&info, utc, true, true) * -60 != DateTime::localOffset(instant, true).seconds() ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(text(gmtToLocal(date(2024, 7, 1), nullptr)), text(gmtToLocal(date(2024, 7, 1), &info)));
  }
}

TEST(WindowsZone, WithoutUseOfTheDateTodayCounts) {
  const ScopedZone machine("America/New_York");
  const ScopedClock clock(*fileTimeOfUnix(calendar::timegm({2024, 7, 5, 0, 0, 0, 0, 0})));
  EXPECT_EQ(text(localToGmt(date(2007, 1, 1, 12), false, &kEastern)), "20070101T160000");
  EXPECT_EQ(text(localToGmt(date(2007, 1, 1, 12), true, &kEastern)), "20070101T170000");
}

TEST(WindowsZone, RulesAsRuleDates) {
  struct Case {
    std::string_view rule;
    int month, day, weekday;  // month 0: none
  };
  static constexpr Case kCases[] = {
      {"FREQ=YEARLY;BYMONTH=3;BYDAY=2SU", 3, 2, 0},
      {"FREQ=YEARLY;BYMONTH=10;BYDAY=-1SA", 10, 5, 6},
      {"FREQ=YEARLY;BYMONTH=4;BYMONTHDAY=30", 4, 30, 0},
      {"FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=15,16,17,18,19,20,21;BYDAY=1SU", 2, 3, 0},
      {"FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=8,9,10,11,12,13,14;BYDAY=SU", 3, 2, 0},
      {"FREQ=YEARLY;BYMONTH=10;BYMONTHDAY=25,26,27,28,29,30,31;BYDAY=SU", 10, 5, 0},
      {"FREQ=YEARLY;BYMONTH=10;BYMONTHDAY=23,24,25,26,27,28,29;BYDAY=SU", 10, 4, 0},
      {"FREQ=YEARLY;BYMONTH=10;BYMONTHDAY=23,24,25,26,27,28;BYDAY=SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3;BYDAY=5SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3;BYDAY=SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3;BYDAY=-2SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3,4;BYDAY=2SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3;BYDAY=2SU,2MO", 0, 0, 0},
      {"FREQ=MONTHLY;BYMONTH=3;BYDAY=2SU", 0, 0, 0},
      {"FREQ=YEARLY;BYDAY=2SU", 0, 0, 0},
      {"FREQ=YEARLY;BYMONTH=3", 0, 0, 0},
      {"", 0, 0, 0},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.rule);
    const RRule parsed(c.rule);
    const std::optional<SYSTEMTIME> found = ruleToSystemTime(parsed);
    ASSERT_EQ(found.has_value(), c.month != 0);
    if (found) {
      EXPECT_EQ(found->wMonth, c.month);
      EXPECT_EQ(found->wDay, c.day);
      EXPECT_EQ(found->wDayOfWeek, c.weekday);
    }
  }
}

TEST(WindowsZone, StructuresOfZones) {
  EXPECT_TRUE(sameBytes(*zoneToTimeZoneInformation(*NTimeZone::byId("America/New_York")), kEastern));
  EXPECT_TRUE(sameBytes(*zoneToTimeZoneInformation(*NTimeZone::byId("Asia/Tokyo")), zoneOf(-540, {}, {}, 0)));
  EXPECT_TRUE(sameBytes(*zoneToTimeZoneInformation(*NTimeZone::byId("Greenland")),
                        zoneOf(180, rule(10, 5, 0, 2), rule(4, 1, 0, 2))));
  EXPECT_FALSE(zoneToTimeZoneInformation(NTimeZone()).has_value());
  // Rules that are no rule dates leave the zone without daylight saving.
  EXPECT_EQ(zoneToTimeZoneInformation(*NTimeZone::byId("Asia/Jerusalem"))->StandardDate.wMonth, 0);
}

TEST(WindowsZone, KnownZonesAreFoundAgain) {
  int found = 0;
  for (const auto& zone : NTimeZone::getSummaries()) {
    SCOPED_TRACE(zone->id());
    const TIME_ZONE_INFORMATION info = *zoneToTimeZoneInformation(*zone);
    const ZoneMatch match = zoneFromTimeZoneInformation(&info);
    const bool hasDates = info.StandardDate.wMonth != 0;
    if (!match.matched) {
      // Daylight saving that the structure can't hold.
      EXPECT_FALSE(hasDates);
      continue;
    }
    ++found;
    if (zone->observances().size() == 1 || hasDates) {
      EXPECT_TRUE(sameBytes(*zoneToTimeZoneInformation(*match.zone), info));
    }
  }
  EXPECT_GT(found, 75);
  const TIME_ZONE_INFORMATION greenland = zoneOf(180, rule(10, 5, 0, 2), rule(4, 1, 0, 2));
  EXPECT_EQ(zoneFromTimeZoneInformation(&greenland).zone->id(), "Greenland");
  TIME_ZONE_INFORMATION named = kEastern;
  named.StandardName[0] = u'E';
  EXPECT_EQ(zoneFromTimeZoneInformation(&named).zone->id(), "Eastern Time (US & Canada)");

  const TIME_ZONE_INFORMATION unknown = zoneOf(301, rule(11, 1, 0, 2), rule(3, 2, 0, 2));
  for (const TIME_ZONE_INFORMATION* info : {&unknown, static_cast<const TIME_ZONE_INFORMATION*>(nullptr)}) {
    EXPECT_FALSE(zoneFromTimeZoneInformation(info).matched);
    EXPECT_EQ(zoneFromTimeZoneInformation(info).zone, NTimeZone::server());
  }
}

// Structures that match no row say in the zone that is made of them what they say themselves.
TEST(WindowsZone, MadeZonesSayWhatTheirStructureSays) {
  const TIME_ZONE_INFORMATION structures[] = {kSydney, zoneOf(210, rule(11, 1, 0, 0, 1), rule(3, 2, 0, 0, 1)),
                                              zoneOf(-345, {}, {}, 0), zoneOf(180, rule(2, 3, 6, 23), rule(10, 5, 6, 23)),
                                              zoneOf(-120, rule(9, 30, 0, 2), rule(4, 16, 0, 2))};
  for (const TIME_ZONE_INFORMATION& info : structures) {
    const auto zone = makeZone(info);
    ASSERT_TRUE(zone);
    SCOPED_TRACE(zone->id());
    EXPECT_TRUE(sameBytes(*zoneToTimeZoneInformation(*zone), info));
    if (info.StandardDate.wDay > 5) {
      continue;
    }
    for (std::int64_t at = calendar::timegm({2009, 1, 1, 0, 0, 0, 0, 0}) + 1; at < 1'300'000'000; at += 1800) {
      SYSTEMTIME utc{};
      DateTime(at).toSystemTime(utc);
      ASSERT_EQ(zone->getOffsetAt(at).seconds(), -60 * timeZoneBias(&info, utc, true, true)) << text(utc);
    }
  }
  EXPECT_EQ(makeZone(kSydney)->id(), "Offset+1000+1100.M4.1.0.0300.M10.1.0.0200");
  EXPECT_EQ(makeZone(zoneOf(-345))->id(), "Offset+0545");
}

std::string nameOf(const DateTime& when) { return wideToUtf8(describeZone(when).name); }

TEST(WindowsZone, DescribesTheZoneOfADate) {
  const ScopedZone machine("Europe/Prague");
  DateTime inZone(1, 7, 2007, 12, 0, 0);
  inZone.setZone(NTimeZone::byId("America/New_York"));
  EXPECT_TRUE(sameBytes(describeZone(inZone).info, kEastern));
  EXPECT_EQ(nameOf(inZone), "(UTC -05:00) America/New_York");

  const DateTime fixed(1, 7, 2007, 12, 0, 0, Duration(-(3 * 60 + 30) * 60));
  EXPECT_TRUE(sameBytes(describeZone(fixed).info, zoneOf(210, {}, {}, 0)));
  EXPECT_EQ(nameOf(fixed), "(UTC -03:30) ");
  EXPECT_EQ(nameOf(DateTime(1, 7, 2007, 12, 0, 0, Duration(25 * 3600))), "(UTC +00:00) ");

  for (const DateTime& other :
       {DateTime(), DateTime(1, 7, 2007), DateTime::parse("20070701T120000"), inZone.makeDateOnly()}) {
    EXPECT_TRUE(sameBytes(describeZone(other).info, machineTimeZone()));
    EXPECT_EQ(nameOf(other).substr(0, 30), "(UTC +01:00) Amsterdam, Belgra");
  }
}

Observance observanceOf(Observance::Kind kind, std::string_view start, int from, int to, std::string_view ruleText) {
  Observance result;
  result.kind = kind;
  result.dtstart = DateTime::parseAsUtc(start);
  result.offsetFrom = Duration(from * 3600);
  result.offsetTo = Duration(to * 3600);
  result.rrule = RRule(ruleText);
  return result;
}

TEST(WindowsZone, DescribesHistoriesByWhatIsInForce) {
  using enum Observance::Kind;
  const auto zone = std::make_shared<const NTimeZone>(
      "History",
      std::vector{
          observanceOf(Standard, "19671029T020000", -4, -5, "FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=20061029T060000Z"),
          observanceOf(Daylight, "19870405T020000", -5, -4, "FREQ=YEARLY;BYMONTH=4;BYDAY=1SU;UNTIL=20060402T070000Z"),
          observanceOf(Daylight, "20070311T020000", -5, -4, "FREQ=YEARLY;BYMONTH=3;BYDAY=2SU"),
          observanceOf(Standard, "20071104T020000", -4, -5, "FREQ=YEARLY;BYMONTH=11;BYDAY=1SU"),
      });
  const auto structureIn = [&](int year) {
    DateTime when(1, 12, year, 12, 0, 0);
    when.setZone(zone);
    return describeZone(when).info;
  };
  EXPECT_TRUE(sameBytes(structureIn(2000), zoneOf(300, rule(10, 5, 0, 2), rule(4, 1, 0, 2))));
  EXPECT_TRUE(sameBytes(structureIn(2010), kEastern));
  EXPECT_TRUE(sameBytes(structureIn(1960), structureIn(2000)));

  const auto ended = std::make_shared<const NTimeZone>(
      "Ended",
      std::vector{
          observanceOf(Daylight, "19930328T020000", 3, 4, "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU;UNTIL=20100327T230000Z"),
          observanceOf(Standard, "19961027T030000", 4, 3, "FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU;UNTIL=20101030T230000Z"),
          observanceOf(Standard, "20110327T020000", 3, 4, "")});
  DateTime when(1, 7, 2015, 12, 0, 0);
  when.setZone(ended);
  EXPECT_TRUE(sameBytes(describeZone(when).info, zoneOf(-240, {}, {}, 0)));
}

TEST(WindowsZone, MovesADateIntoTheZoneOfAStructure) {
  const DateTime moved = dateTimeFromSystemTime(date(2007, 11, 4, 6, 30), &kEastern);
  EXPECT_EQ(moved.toString(DateTime::kOffset), "20071104T013000-0500");
  EXPECT_EQ(moved.zone()->id(), "Eastern Time (US & Canada)");
  EXPECT_EQ(text(wallClockSystemTime(moved)), "20071104T013000");
}

TEST(WindowsZone, CountsMinutesTowardsZero) {
  EXPECT_EQ(minutesBetween(date(2007, 1, 2), date(2007, 1, 1, 0, 0, 1)), 1439);
  EXPECT_EQ(minutesBetween(date(2007, 1, 1, 0, 0, 1), date(2007, 1, 2)), -1439);
  EXPECT_EQ(minutesBetween(date(1700, 1, 1), date(1700, 1, 1, 0, 1)), -1);
}

TEST(WindowsZone, TimesOutOfRangeFail) {
  EXPECT_EQ(failureOf([] { DateTimeUtils::fileTimeToSystemTime(fileTimeOf(UINT64_MAX)); }), E_INVALIDARG);
  EXPECT_EQ(failureOf([] { DateTimeUtils::systemTimeToFileTime(SYSTEMTIME{2007, 2, 0, 30, 0, 0, 0, 0}); }), E_INVALIDARG);
  EXPECT_EQ(text(DateTimeUtils::fileTimeToSystemTime(DateTimeUtils::systemTimeToFileTime(date(2007, 7, 1)))),
            "20070701T000000");
}

// The cache of the machine's zone follows the machine.
TEST(WindowsZone, LocalZoneFollowsTheMachine) {
  {
    const ScopedZone machine("Asia/Tokyo");
    EXPECT_EQ(localZone().zone->getOffsetAt(0).seconds(), 9 * 3600);
    EXPECT_TRUE(localZone().matched);
  }
  const ScopedZone machine("Asia/Kathmandu");
  EXPECT_EQ(localZone().zone->id(), "Kathmandu");
}

}  // namespace
}  // namespace nalvo::mail
