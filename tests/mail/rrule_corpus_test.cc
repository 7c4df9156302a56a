// The dates of recurring events against what another program lists for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "mail/content_sources.h"
#include "mail/rrule.h"
#include "tests/mail/zones.h"

namespace nalvo::mail {
namespace {

using testing::ScopedZone;
using testing::SystemZone;
using Zone = std::shared_ptr<const TimeZone>;

Zone zoneNamed(const std::string& name) {
  static std::map<std::string, Zone> zones;
  if (name.empty() || name == "GMT" || name == "UTC") {
    return nullptr;
  }
  // A calendar's own name for the zone of its rules.
  const std::string system = name == "US-Eastern" ? "America/New_York" : name;
  Zone& zone = zones[system];
  if (!zone) {
    zone = SystemZone::make(system.c_str(), 1996, 2060);
  }
  return zone;
}

struct Event {
  DateTime start;
  std::vector<std::string> rules, excludedRules;
  std::vector<DateTime> excluded;
};

Event readEvent(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  vcIStreamLex lexer(in, "");
  Event event;
  bool inEvent = false;
  std::string name, param, value;
  while (!lexer.atEnd() && lexer.readName(name)) {
    std::string zone;
    std::vector<std::string> values;
    while (lexer.readParamName(param)) {
      lexer.readParamValues(values);
      zone = param == "TZID" && !values.empty() ? values[0] : zone;
    }
    if (!lexer.readTrimmedValue(value, false, false)) {
      continue;
    }
    inEvent = inEvent || (name == "BEGIN" && (value == "VEVENT" || value == "VTODO"));
    if (!inEvent) {
      continue;
    }
    const auto date = [&] {
      return value.find('T') == std::string::npos ? DateTime::parseAsUtc(value) : DateTime::parse(value, zoneNamed(zone));
    };
    if (name == "DTSTART") {
      event.start = date();
    } else if (name == "RRULE") {
      event.rules.push_back(value);
    } else if (name == "EXRULE") {
      event.excludedRules.push_back(value);
    } else if (name == "EXDATE") {
      event.excluded.push_back(date());
    }
  }
  return event;
}

// The wall clock at the place that the other program tells, as it writes it.
std::string listed(const DateTime& date, const Zone& place) {
  DateTime there = date;
  if (place && date.kind() == DateTime::Kind::Fixed && !date.isDateOnly()) {
    there += place->getOffsetAt(date.seconds());
  }
  return there.toString(DateTime::kLocal | DateTime::kExtended | DateTime::kWithTime);
}

bool isExcluded(const Event& event, const DateTime& date) {
  return std::any_of(event.excluded.begin(), event.excluded.end(), [&](const DateTime& excluded) {
    return excluded == date || (excluded.isDateOnly() && excluded.makeDateOnly() == date.makeDateOnly());
  });
}

std::vector<std::string> datesOf(const Event& event, const Zone& place, std::size_t most) {
  std::vector<DateTime> excluded;
  for (const std::string& text : event.excludedRules) {
    const RRule rule(text);
    for (RRuleIterator i = rule.iterate(event.start, false); !i.hasEnded() && excluded.size() < 1000; i.advance()) {
      excluded.push_back(i.current());
    }
  }
  std::vector<std::string> dates;
  const RRule rule(event.rules.at(0));
  for (RRuleIterator i = rule.iterate(event.start, false); !i.hasEnded() && dates.size() < most; i.advance()) {
    if (!isExcluded(event, i.current()) && std::find(excluded.begin(), excluded.end(), i.current()) == excluded.end()) {
      dates.push_back(listed(i.current(), place));
    }
  }
  return dates;
}

// The first dates of every listing agree; a start that its rule doesn't give is listed by the other program and not here.
TEST(RRuleCorpus, DatesAreThoseOfTheListings) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  const ScopedZone machine("Asia/Kolkata");
  constexpr std::string_view kEnding = ".expect.next.ref";
  int compared = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "ics")) {
    const std::string path = entry.path().string();
    if (!path.ends_with(kEnding)) {
      continue;
    }
    std::vector<std::string> wanted;
    std::ifstream in(entry.path());
    std::string place;
    for (std::string line; std::getline(in, line);) {
      wanted.push_back(line.substr(0, line.find(' ')));
      place = line.substr(line.find(' ') + 1);
      place = place.substr(place.find(' ') + 1);
    }
    const Event event = readEvent(path.substr(0, path.size() - kEnding.size()));
    const Zone zone = place.starts_with("UTC-") || place == "GMT" ? nullptr : zoneNamed(place);
    std::vector<std::string> dates = datesOf(event, zone, 501);
    const std::string start = listed(event.start, zone);
    if (!wanted.empty() && wanted.front() == start && (dates.empty() || dates.front() != start)) {
      wanted.erase(wanted.begin());
    }
    ++compared;
    // Listings stop at 500.
    if (wanted.size() >= 499 && dates.size() > wanted.size()) {
      dates.resize(wanted.size());
    }
    EXPECT_EQ(dates, wanted) << entry.path().filename() << ' ' << event.rules[0];
  }
  EXPECT_EQ(compared, 85);
}

// Whatever people wrote as rules comes to an end or goes on, soon.
TEST(RRuleCorpus, EveryRuleReadsPrintsAndExpands) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  const ScopedZone machine("America/New_York");
  int rules = 0;
  int valid = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "ics")) {
    std::ifstream in(entry.path(), std::ios::binary);
    vcIStreamLex lexer(in, "");
    std::string name, value;
    DateTime start(1, 1, 2007, 9, 0, 0);
    while (!lexer.atEnd() && lexer.readName(name)) {
      std::string param;
      std::vector<std::string> values;
      while (lexer.readParamName(param)) {
        lexer.readParamValues(values);
      }
      if (!lexer.readTrimmedValue(value, false, false)) {
        continue;
      }
      if (name == "DTSTART" && !DateTime::parse(value).isNull()) {
        start = DateTime::parse(value);
      }
      if (name != "RRULE" && name != "EXRULE") {
        continue;
      }
      ++rules;
      const RRule rule(value);
      valid += rule.valid ? 1 : 0;
      ASSERT_EQ(RRule(rule.toString()).toString(), rule.toString()) << value;
      DateTime last;
      int dates = 0;
      for (RRuleIterator i = rule.iterate(start, false); !i.hasEnded() && dates < 200; i.advance(), ++dates) {
        ASSERT_LT(last, i.current()) << value;
        last = i.current();
      }
      ASSERT_TRUE(rule.count < 0 || dates <= rule.count) << value;
    }
  }
  EXPECT_GT(rules, 600);
  EXPECT_GT(valid * 100, rules * 95);
}

}  // namespace
}  // namespace nalvo::mail
