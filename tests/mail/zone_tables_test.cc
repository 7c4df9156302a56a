// The zone tables: that they are whole and sound, and agree with the system's zones over 2007.
#include "mail/zone_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "mail/date_time.h"
#include "mail/rrule.h"
#include "platform/text/text.h"
#include "tests/mail/zones.h"

namespace nalvo::mail {
namespace {

using testing::SystemZone;

// Seconds; fails the test for a text that is neither a number nor an abbreviation.
std::int64_t offsetOf(std::string_view text) {
  for (const ZoneAbbreviation& row : zoneAbbreviations()) {
    if (equalsIgnoreCase(row.name, text)) {
      return Duration::parse(row.offset).seconds();
    }
  }
  EXPECT_TRUE(text.size() == 5 || text.size() == 7) << text;
  const std::string digits = std::string(text.substr(1)) + (text.size() == 5 ? "00" : "");
  const std::int64_t number = std::stoll(digits);
  const std::int64_t seconds = number / 10000 * 3600 + number / 100 % 100 * 60 + number % 100;
  return text[0] == '-' ? -seconds : seconds;
}

// The wall clock of the change in `year`, as an instant in UTC.
std::int64_t changeOf(std::string_view start, std::string_view ruleText, int year) {
  const RRule rule(ruleText);
  DateTime date = DateTime::parseAsUtc(start);
  if (date.field(kYear) > year) {
    date.setField(kYear, year - 1);
  }
  RRuleIterator dates = rule.iterate(date, false);
  while (dates.current().field(kYear) < year) {
    dates.advance();
  }
  return dates.current().seconds();
}

std::span<const ZoneRecord> tables(int index) { return index == 0 ? zonesByDisplayName() : zonesByTzName(); }

TEST(ZoneTables, AreWhole) {
  EXPECT_EQ(zoneAbbreviations().size(), 170U);
  EXPECT_EQ(preferredZoneNames().size(), 78U);
  EXPECT_EQ(preferredZoneNames()[52], "");
  EXPECT_EQ(zonesByDisplayName().size(), 86U);
  EXPECT_EQ(zonesByTzName().size(), 559U);
  const auto hasDaylight = [](const ZoneRecord& row) { return !row.daylightOffset.empty(); };
  EXPECT_EQ(std::count_if(zonesByTzName().begin(), zonesByTzName().end(), hasDaylight), 258);

  // The order is that of the names in the database's files, so that a search finds the same row of equal ones.
  EXPECT_EQ(zonesByTzName().front().name, "Africa/Abidjan");
  EXPECT_EQ(zonesByTzName()[423].name, "WET");
  EXPECT_EQ(zonesByTzName().back().name, "Mideast/Riyadh89");
  EXPECT_TRUE(std::is_sorted(zonesByTzName().begin(), zonesByTzName().begin() + 424,
                             [](const ZoneRecord& a, const ZoneRecord& b) { return a.name < b.name; }));

  std::set<std::string_view> forms;
  for (const ZoneRecord& row : zonesByTzName()) {
    forms.insert({row.standardRule, row.daylightRule});
  }
  forms.erase("");
  EXPECT_EQ(forms.size(), 33U);
}

TEST(ZoneTables, RowsAreSound) {
  for (const ZoneAbbreviation& row : zoneAbbreviations()) {
    EXPECT_TRUE(row.offset[0] == '+' || row.offset[0] == '-') << row.name;
    EXPECT_FALSE(Duration::parse(row.offset).isNull()) << row.name;
  }
  for (int table = 0; table < 2; ++table) {
    std::set<std::string_view> names;
    for (const ZoneRecord& row : tables(table)) {
      SCOPED_TRACE(row.name);
      EXPECT_TRUE(names.insert(row.name).second);
      for (const int id : row.ids) {
        EXPECT_TRUE(id == -1 || !preferredZoneNames()[static_cast<std::size_t>(id)].empty());
      }
      const bool daylight = !row.daylightOffset.empty();
      EXPECT_EQ(
          !row.standardStart.empty() && !row.daylightStart.empty() && !row.standardRule.empty() && !row.daylightRule.empty(),
          daylight);
      const std::int64_t standard = offsetOf(row.standardOffset);
      if (!daylight) {
        continue;
      }
      const std::int64_t saving = offsetOf(row.daylightOffset) - standard;
      EXPECT_TRUE(saving == 3600 || saving == 1800) << saving;
      // Each start is a date of its own rule, by the day that it is written for.
      for (const auto& [start, text] :
           {std::pair(row.standardStart, row.standardRule), std::pair(row.daylightStart, row.daylightRule)}) {
        const RRule rule(text);
        const DateTime day = DateTime::parseAsUtc(start.substr(0, 8));
        EXPECT_EQ(rule.toString(), text);
        EXPECT_EQ(rule.iterate(day, false).current(), day) << start << ' ' << text;
      }
    }
  }
}

struct Difference {
  const char* why;
  std::vector<const char*> names;
};
const Difference kKnown[] = {
    {"the name is gone today",
     {"Asia/Riyadh87", "Asia/Riyadh88", "Asia/Riyadh89", "Canada/East-Saskatchewan", "Mideast/Riyadh87", "Mideast/Riyadh88",
      "Mideast/Riyadh89", "US/Pacific-New"}},
    {"the first daylight saving began on 30 December 2007 and is taken for a rule",
     {"America/Argentina/Buenos_Aires", "America/Argentina/Catamarca", "America/Argentina/ComodRivadavia",
      "America/Argentina/Cordoba", "America/Argentina/Jujuy", "America/Argentina/La_Rioja", "America/Argentina/Mendoza",
      "America/Argentina/Rio_Gallegos", "America/Argentina/San_Juan", "America/Argentina/Tucuman",
      "America/Argentina/Ushuaia", "America/Buenos_Aires", "America/Catamarca", "America/Cordoba", "America/Jujuy",
      "America/Mendoza", "America/Rosario"}},
    {"daylight saving ended in 2006 and is taken for a rule",
     {"America/Guatemala", "America/Managua", "America/Port-au-Prince", "America/Tegucigalpa", "Asia/Hovd",
      "Asia/Ulaanbaatar", "Asia/Ulan_Bator"}},
    {"the rule is that of 2008",
     {"America/Campo_Grande", "America/Cuiaba", "America/Sao_Paulo", "Brazil/East", "Antarctica/McMurdo",
      "Antarctica/South_Pole", "NZ", "NZ-CHAT", "Pacific/Auckland", "Pacific/Chatham"}},
    {"the zone moved in 2007",
     {"America/Caracas", "America/Indiana/Petersburg", "America/Indiana/Vincennes", "America/Indiana/Winamac",
      "America/Resolute"}},
    {"the evening before the last Sunday is not always the last Saturday", {"America/Godthab"}},
    {"its history was corrected since",
     {"Antarctica/Vostok", "Asia/Amman", "Asia/Choibalsan", "Asia/Kashgar", "Asia/Urumqi", "Europe/Chisinau",
      "Europe/Tiraspol", "Pacific/Fakaofo"}},
};

// What a row says for every half hour of 2007, against the system's own data.
TEST(ZoneTables, AgreeWithTheSystemOver2007) {
  std::map<std::string, int> different;
  int compared = 0;
  for (const ZoneRecord& row : zonesByTzName()) {
    const std::string name(row.name);
    if (!std::filesystem::exists("/usr/share/zoneinfo/" + name)) {
      different[name] = -1;
      continue;
    }
    ++compared;
    const SystemZone system(name, 2007, 2007);
    const std::int64_t standard = offsetOf(row.standardOffset);
    std::int64_t toDaylight = 0;
    std::int64_t toStandard = 0;
    std::int64_t daylight = standard;
    if (!row.daylightOffset.empty()) {
      daylight = offsetOf(row.daylightOffset);
      toDaylight = changeOf(row.daylightStart, row.daylightRule, 2007) - standard;
      toStandard = changeOf(row.standardStart, row.standardRule, 2007) - daylight;
    }
    const std::int64_t begin = calendar::timegm({2007, 1, 1, 0, 0, 0, 0, 0});
    int halfHours = 0;
    for (std::int64_t at = begin; at < begin + 365 * 86400; at += 1800) {
      const bool inside =
          toDaylight < toStandard ? at >= toDaylight && at < toStandard : at >= toDaylight || at < toStandard;
      const std::int64_t offset = inside && toDaylight != toStandard ? daylight : standard;
      halfHours += offset / 60 * 60 != system.getOffsetAt(at).seconds() ? 1 : 0;
    }
    if (halfHours != 0) {
      different[name] = halfHours;
    }
  }
  for (const Difference& known : kKnown) {
    for (const char* name : known.names) {
      EXPECT_EQ(different.erase(name), 1U) << name << " agrees, though " << known.why;
    }
  }
  for (const auto& [name, halfHours] : different) {
    ADD_FAILURE() << name << " differs for " << halfHours << " half hours";
  }
  EXPECT_EQ(compared, 551);
}

}  // namespace
}  // namespace nalvo::mail
