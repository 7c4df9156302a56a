#include "platform/time/time_zone.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/support/cpu_time.h"

namespace nalvo {
namespace {

// The machine's zone is another one while the object lives.
class ScopedZone {
 public:
  explicit ScopedZone(const char* name) {
    if (const char* present = std::getenv("TZ")) {
      former_ = present;
    }
    setenv("TZ", name, 1);
    tzset();
  }
  ~ScopedZone() {
    former_.empty() ? unsetenv("TZ") : setenv("TZ", former_.c_str(), 1);
    tzset();
  }

 private:
  std::string former_;
};

std::int64_t secondsOf(int year, unsigned month, unsigned day) {
  const std::chrono::sys_days date = std::chrono::year{year} / static_cast<int>(month) / static_cast<int>(day);
  return date.time_since_epoch().count() * 86400;
}

// Seconds of wall time since 1970 at which a rule changes in a year.
std::int64_t changeOf(const SYSTEMTIME& rule, int year) {
  const std::chrono::year_month month = std::chrono::year{year} / static_cast<int>(rule.wMonth);
  const std::chrono::weekday weekday{rule.wDayOfWeek};
  const std::chrono::sys_days day = rule.wDay == 5 ? std::chrono::sys_days{month / weekday[std::chrono::last]}
                                                   : std::chrono::sys_days{month / weekday[rule.wDay]};
  return day.time_since_epoch().count() * 86400 + rule.wHour * 3600 + rule.wMinute * 60 + rule.wSecond;
}

// The offset that the record tells for an instant, in minutes east.
std::int32_t offsetAt(const TIME_ZONE_INFORMATION& zone, std::int64_t instant, int year) {
  if (zone.StandardDate.wMonth == 0) {
    return -zone.Bias;
  }
  const std::int64_t toDaylight = changeOf(zone.DaylightDate, year) + zone.Bias * 60;
  const std::int64_t toStandard = changeOf(zone.StandardDate, year) + (zone.Bias + zone.DaylightBias) * 60;
  const bool daylight = toDaylight < toStandard ? instant >= toDaylight && instant < toStandard
                                                : instant >= toDaylight || instant < toStandard;
  return -(zone.Bias + (daylight ? zone.DaylightBias : zone.StandardBias));
}

// The system's own zone table says the same for every sixth hour of the year.
TEST(MachineTimeZone, AgreesWithTheSystem) {
  const char* zones[] = {"Europe/Berlin",    "America/New_York",
                         "Asia/Kolkata",     "Australia/Lord_Howe",
                         "Pacific/Auckland", "America/St_Johns",
                         "Europe/Dublin",    "Asia/Beirut",
                         "America/Santiago", "Pacific/Chatham",
                         "Asia/Jerusalem",   "UTC",
                         "EST5EDT",          "NZST-12NZDT,M9.5.0,M4.1.0/3"};
  for (const int year : {2019, 2024}) {
    const ScopedClock clock(*fileTimeOfUnix(secondsOf(year, 7, 1)));
    for (const char* name : zones) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(year));
      const ScopedZone scope(name);
      const TIME_ZONE_INFORMATION zone = machineTimeZone();
      for (std::int64_t instant = secondsOf(year, 1, 1) + 86400; instant < secondsOf(year, 12, 31); instant += 6 * 3600) {
        const auto at = static_cast<time_t>(instant);
        tm local{};
        localtime_r(&at, &local);
        ASSERT_EQ(offsetAt(zone, instant, year), local.tm_gmtoff / 60) << instant;
      }
    }
  }
}

// Every zone of the system's list, at every sixth hour of the year.
TEST(MachineTimeZone, AgreesWithTheSystemInAllZones) {
  const std::set<std::string> moved = {"America/Scoresbysund", "Asia/Almaty", "Asia/Qostanay"};  // to other offsets in 2024
  std::set<std::string> different;
  const ScopedClock clock(*fileTimeOfUnix(secondsOf(2024, 7, 1)));
  std::ifstream list("/usr/share/zoneinfo/tzdata.zi");
  ASSERT_TRUE(list);
  std::set<std::string> names;
  for (std::string line; std::getline(list, line);) {
    std::istringstream words(line);
    std::string kind, name, target;
    words >> kind >> name >> target;
    if (kind == "Z" || kind == "L") {
      names.insert(kind == "Z" ? name : target);
    }
  }
  for (const std::string& name : names) {
    const ScopedZone scope(name.c_str());
    const TIME_ZONE_INFORMATION zone = machineTimeZone();
    for (std::int64_t instant = secondsOf(2024, 1, 1); instant < secondsOf(2025, 1, 1); instant += 6 * 3600) {
      const auto at = static_cast<time_t>(instant);
      tm local{};
      localtime_r(&at, &local);
      if (offsetAt(zone, instant, 2024) != local.tm_gmtoff / 60) {
        different.insert(name);
      }
    }
  }
  EXPECT_GT(names.size(), 500U);
  EXPECT_EQ(different, moved);
}

TEST(MachineTimeZone, IsQuickToAsk) {
  const double before = test::cpuSeconds();
  for (int i = 0; i < 10'000; ++i) {
    machineTimeZone();
  }
  EXPECT_LT(test::cpuSeconds() - before, 1.0);
}

TEST(MachineTimeZone, TellsRulesAndNames) {
  const ScopedClock clock(*fileTimeOfUnix(secondsOf(2020, 2, 1)));
  const ScopedZone scope("Europe/Berlin");
  const TIME_ZONE_INFORMATION zone = machineTimeZone();
  EXPECT_EQ(zone.Bias, -60);
  EXPECT_EQ(zone.DaylightBias, -60);
  EXPECT_EQ(zone.DaylightDate, (SYSTEMTIME{0, 3, 0, 5, 2, 0, 0, 0}));
  EXPECT_EQ(zone.StandardDate, (SYSTEMTIME{0, 10, 0, 5, 3, 0, 0, 0}));
  EXPECT_EQ(std::u16string(zone.StandardName.data()), u"CET");
  EXPECT_EQ(std::u16string(zone.DaylightName.data()), u"CEST");
}

}  // namespace
}  // namespace nalvo
