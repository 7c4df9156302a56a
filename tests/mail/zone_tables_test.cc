// The zone tables: that they are whole and sound, and agree with the system's zones over 2007.
#include "mail/zone_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mail/n_time_zone.h"
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

// Rows by display name without a place of their own, which name one nearby.
constexpr std::string_view kWithoutPlace[] = {
    "Buenos Aires, Georgetown",
    "Central America, Galapagos",
    "Chatham Is.",
    "Easter Island",
    "Gambier Is.",
    "Kamchatka",
    "Kiritimati",
    "Kosrae, Pohnpei",
    "Marquesas Is.",
    "Solomon Is., New Caledonia",
};

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

// What a zone says for every half hour of 2007, against the system's own data.
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
    const auto zone = NTimeZone::byId(name);
    const std::int64_t begin = calendar::timegm({2007, 1, 1, 0, 0, 0, 0, 0});
    int halfHours = 0;
    for (std::int64_t at = begin; at < begin + 365 * 86400; at += 1800) {
      halfHours += zone->getOffsetAt(at) != system.getOffsetAt(at) ? 1 : 0;
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

// Each row by its display name says the same as the first place that it stands for, in all years.
TEST(ZoneTables, RowsByDisplayNameAgreeWithTheirPlaces) {
  std::map<std::string_view, std::string_view> different;
  for (const ZoneRecord& row : zonesByDisplayName()) {
    const std::string_view place = preferredZoneNames()[static_cast<std::size_t>(row.ids[0])];
    const auto zone = NTimeZone::byId(row.name);
    const auto other = NTimeZone::byId(place);
    ASSERT_TRUE(zone && other) << row.name << ' ' << place;
    for (std::int64_t at = 0; at < 50 * 365 * calendar::kDay; at += 6 * 3600) {
      if (zone->getOffsetAt(at) != other->getOffsetAt(at)) {
        different[row.name] = place;
        break;
      }
    }
  }
  for (const std::string_view name : kWithoutPlace) {
    EXPECT_EQ(different.erase(name), 1U) << name;
  }
  for (const auto& [name, place] : different) {
    ADD_FAILURE() << name << " differs from " << place;
  }
}

// The instant of a change in `year`, counted out on the calendar. No value for a rule of another form.
std::optional<std::int64_t> changeOf(const Observance& observance, int year) {
  const std::vector<int>& months = observance.rrule.by[kMonth];
  const std::vector<int>& weekdays = observance.rrule.by[kWeekday];
  if (months.size() != 1 || weekdays.size() != 1 || !observance.rrule.by[kMonthDay].empty()) {
    return std::nullopt;
  }
  const int ordinal = ordinalOf(weekdays[0]);
  int day = ordinal > 0 ? 1 : calendar::daysOfMonth(year, months[0]);
  while (calendar::weekdayOf(year, months[0], day) != weekdayOfEntry(weekdays[0])) {
    day += ordinal > 0 ? 1 : -1;
  }
  day += 7 * (ordinal > 0 ? ordinal - 1 : ordinal + 1);
  return calendar::timegm({year, months[0], day, 0, 0, 0, 0, 0}) + observance.dtstart.seconds() % calendar::kDay -
         observance.offsetFrom.seconds();
}

TEST(ZoneTables, ChangesFallOnTheDaysOfTheCalendar) {
  int compared = 0;
  for (int table = 0; table < 2; ++table) {
    for (const ZoneRecord& row : tables(table)) {
      SCOPED_TRACE(row.name);
      const auto zone = NTimeZone::byId(row.name);
      for (const Observance& observance : zone->observances()) {
        for (int year = 1972; year < 2038; ++year) {
          const std::optional<std::int64_t> change = changeOf(observance, year);
          if (change) {
            ++compared;
            EXPECT_EQ(zone->getOffsetAt(*change - 1), observance.offsetFrom) << year;
            EXPECT_EQ(zone->getOffsetAt(*change), observance.offsetTo) << year;
          }
        }
      }
    }
  }
  EXPECT_GT(compared, 30000);
}

}  // namespace
}  // namespace nalvo::mail
