#include "platform/time/time_zone.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>  // getenv
#include <ctime>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/time/clock.h"
#include "platform/time/file_time.h"

namespace nalvo {
namespace {

using std::chrono::sys_days;
using std::chrono::year;

constexpr std::int64_t kDay = 86'400;

struct Change {
  std::int64_t instant;  // seconds since 1970, the first second of the new offset
  tm before;             // wall time at that instant as the old offset tells it
  std::int64_t offsetAfter;
};

tm localTime(std::int64_t seconds) {
  tm result{};
  const auto instant = static_cast<time_t>(seconds);
  localtime_r(&instant, &result);
  return result;
}

std::int64_t startOfYear(int number) { return sys_days{year{number} / 1 / 1}.time_since_epoch().count() * kDay; }

// The changes of offset within a year of UTC, in order. Two changes within one day would be missed; no zone has them.
std::vector<Change> changesOf(int number) {
  std::vector<Change> changes;
  const std::int64_t end = startOfYear(number + 1);
  for (std::int64_t low = startOfYear(number); low < end; low += kDay) {
    const tm before = localTime(low);
    if (before.tm_gmtoff == localTime(low + kDay).tm_gmtoff) {
      continue;
    }
    std::int64_t left = low;
    std::int64_t right = low + kDay;
    while (right - left > 1) {
      const std::int64_t middle = left + (right - left) / 2;
      (localTime(middle).tm_gmtoff == before.tm_gmtoff ? left : right) = middle;
    }
    tm wall = localTime(left);
    const auto next = static_cast<time_t>(right + before.tm_gmtoff);
    gmtime_r(&next, &wall);
    changes.push_back({right, wall, localTime(right).tm_gmtoff});
  }
  return changes;
}

int daysInMonth(const tm& date) {
  const std::chrono::year_month_day_last last{
      year{date.tm_year + 1900} / std::chrono::month{static_cast<unsigned>(date.tm_mon + 1)} / std::chrono::last};
  return static_cast<int>(static_cast<unsigned>(last.day()));
}

bool isNthWeekday(const tm& date, int month, int weekday, int nth) {
  if (date.tm_mon != month || date.tm_wday != weekday) {
    return false;
  }
  return nth == 5 ? date.tm_mday + 7 > daysInMonth(date) : (date.tm_mday - 1) / 7 + 1 == nth;
}

// The 22nd to 28th of a month may be its fourth such weekday or its last one; the years that follow tell.
int weekOf(const std::vector<std::vector<Change>>& years, std::size_t index) {
  const tm& date = years[0][index].before;
  const int nth = (date.tm_mday - 1) / 7 + 1;
  if (nth != 4 || date.tm_mday + 7 <= daysInMonth(date)) {
    return nth;
  }
  const auto fits = [&](int candidate) {
    return std::count_if(years.begin(), years.end(), [&](const std::vector<Change>& changes) {
      return index < changes.size() && isNthWeekday(changes[index].before, date.tm_mon, date.tm_wday, candidate);
    });
  };
  return fits(4) > fits(5) ? 4 : 5;
}

SYSTEMTIME ruleOf(const std::vector<std::vector<Change>>& years, std::size_t index) {
  const tm& wall = years[0][index].before;
  SYSTEMTIME rule{};
  rule.wMonth = static_cast<std::uint16_t>(wall.tm_mon + 1);
  rule.wDayOfWeek = static_cast<std::uint16_t>(wall.tm_wday);
  rule.wDay = static_cast<std::uint16_t>(weekOf(years, index));
  rule.wHour = static_cast<std::uint16_t>(wall.tm_hour);
  rule.wMinute = static_cast<std::uint16_t>(wall.tm_min);
  rule.wSecond = static_cast<std::uint16_t>(wall.tm_sec);
  return rule;
}

void setName(std::array<char16_t, 32>& name, const char* abbreviation) {
  const std::string_view text = abbreviation;
  const std::size_t length = std::min(text.size(), name.size() - 1);
  std::copy_n(text.begin(), length, name.begin());
}

std::int32_t minutesOf(std::int64_t seconds) { return static_cast<std::int32_t>(seconds / 60); }

// The zone as the changes of the year `present` tell it.
TIME_ZONE_INFORMATION timeZoneOf(int present) {
  std::vector<std::vector<Change>> years;
  for (int number = present; number < present + 6; ++number) {
    years.push_back(changesOf(number));
  }
  TIME_ZONE_INFORMATION zone{};
  const std::vector<Change>& changes = years[0];
  if (changes.size() != 2 || changes[0].offsetAfter == changes[1].offsetAfter) {
    const tm end = localTime(startOfYear(present + 1) - 1);
    zone.Bias = -minutesOf(end.tm_gmtoff);
    setName(zone.StandardName, end.tm_zone);
    setName(zone.DaylightName, end.tm_zone);
    return zone;
  }
  const std::size_t toDaylight = changes[0].offsetAfter > changes[1].offsetAfter ? 0 : 1;
  const std::size_t toStandard = 1 - toDaylight;
  zone.Bias = -minutesOf(changes[toStandard].offsetAfter);
  zone.DaylightBias = -minutesOf(changes[toDaylight].offsetAfter - changes[toStandard].offsetAfter);
  zone.StandardDate = ruleOf(years, toStandard);
  zone.DaylightDate = ruleOf(years, toDaylight);
  setName(zone.StandardName, localTime(changes[toStandard].instant).tm_zone);
  setName(zone.DaylightName, localTime(changes[toDaylight].instant).tm_zone);
  return zone;
}

// What local time follows: TZ, else the system's file.
std::string settingOfMachine() {
  if (const char* name = std::getenv("TZ")) {
    return std::string("=") + name;
  }
  struct stat file {};
  if (::stat("/etc/localtime", &file) != 0) {
    return {};
  }
  return std::to_string(file.st_dev) + ' ' + std::to_string(file.st_ino) + ' ' + std::to_string(file.st_mtim.tv_sec) + ' ' +
         std::to_string(file.st_mtim.tv_nsec);
}

}  // namespace

TIME_ZONE_INFORMATION machineTimeZone() {
  struct Answer {
    std::string setting;
    int year = 0;
    TIME_ZONE_INFORMATION zone{};
  };
  // Thousands of local times are looked at to find the changes, so an answer is kept as long as it holds.
  thread_local Answer last;

  tzset();
  const int present = localTime(unixSecondsOf(currentFileTime())).tm_year + 1900;
  std::string setting = settingOfMachine();
  if (last.year != present || last.setting != setting) {
    last = {std::move(setting), present, timeZoneOf(present)};
  }
  return last.zone;
}

}  // namespace nalvo
