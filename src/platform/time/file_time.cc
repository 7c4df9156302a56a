#include "platform/time/file_time.h"

#include <chrono>
#include <cmath>

namespace nalvo {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

constexpr std::int64_t kTicksPerDay = 86'400 * kTicksPerSecond;
constexpr std::int64_t kDaysTo1970 = kUnixEpochTicks / kTicksPerDay;
constexpr sys_days kVariantEpoch = std::chrono::year{1899} / 12 / 30;

std::optional<sys_days> dateOf(const SYSTEMTIME& time) {
  const std::chrono::year_month_day date{std::chrono::year{time.wYear}, std::chrono::month{time.wMonth},
                                         std::chrono::day{time.wDay}};
  if (!date.ok() || time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
    return std::nullopt;
  }
  return sys_days{date};
}

SYSTEMTIME systemTimeOf(sys_days day, std::int64_t millisecondsOfDay) {
  const std::chrono::year_month_day date{day};
  const std::chrono::weekday weekday{day};
  const std::int64_t seconds = millisecondsOfDay / 1000;
  return {static_cast<std::uint16_t>(int{date.year()}),     static_cast<std::uint16_t>(unsigned{date.month()}),
          static_cast<std::uint16_t>(weekday.c_encoding()), static_cast<std::uint16_t>(unsigned{date.day()}),
          static_cast<std::uint16_t>(seconds / 3600),       static_cast<std::uint16_t>(seconds / 60 % 60),
          static_cast<std::uint16_t>(seconds % 60),         static_cast<std::uint16_t>(millisecondsOfDay % 1000)};
}

}  // namespace

std::int64_t unixSecondsOf(FILETIME time) {
  const std::uint64_t seconds = ticksOf(time) / kTicksPerSecond;
  return static_cast<std::int64_t>(seconds) - kUnixEpochTicks / kTicksPerSecond;
}

std::optional<FILETIME> fileTimeOfUnix(std::int64_t seconds) {
  constexpr std::int64_t kEpochSeconds = kUnixEpochTicks / kTicksPerSecond;
  constexpr std::int64_t kLast = INT64_MAX / kTicksPerSecond - kEpochSeconds;
  if (seconds < -kEpochSeconds || seconds >= kLast) {
    return std::nullopt;
  }
  return fileTimeOf(static_cast<std::uint64_t>((seconds + kEpochSeconds) * kTicksPerSecond));
}

std::optional<SYSTEMTIME> fileTimeToSystemTime(FILETIME time) {
  const std::uint64_t ticks = ticksOf(time);
  if ((ticks >> 63) != 0) {
    return std::nullopt;
  }
  const auto signedTicks = static_cast<std::int64_t>(ticks);
  const sys_days day{days{signedTicks / kTicksPerDay - kDaysTo1970}};
  return systemTimeOf(day, signedTicks % kTicksPerDay / 10'000);
}

std::optional<FILETIME> systemTimeToFileTime(const SYSTEMTIME& time) {
  const std::optional<sys_days> day = dateOf(time);
  if (!day || time.wYear < 1601 || time.wYear > 30827) {
    return std::nullopt;
  }
  const std::int64_t sinceEpoch = day->time_since_epoch().count() + kDaysTo1970;
  const std::int64_t seconds = time.wHour * 3600 + time.wMinute * 60 + time.wSecond;
  return fileTimeOf(
      static_cast<std::uint64_t>(sinceEpoch * kTicksPerDay + seconds * kTicksPerSecond + time.wMilliseconds * 10'000));
}

std::optional<SYSTEMTIME> variantTimeToSystemTime(double value) {
  // The days from 0100-01-01 to 9999-12-31; a NaN fails both comparisons.
  if (!(value > -657'435.0 && value < 2'958'466.0)) {
    return std::nullopt;
  }
  const double whole = std::trunc(value);
  auto day = static_cast<std::int64_t>(whole);
  auto seconds = std::llround(std::fabs(value - whole) * 86'400.0);
  if (seconds == 86'400) {
    seconds = 0;
    ++day;
  }
  return systemTimeOf(kVariantEpoch + days{day}, seconds * 1000);
}

std::optional<double> systemTimeToVariantTime(const SYSTEMTIME& time) {
  const std::optional<sys_days> day = dateOf(time);
  if (!day || time.wYear < 100 || time.wYear > 9999) {
    return std::nullopt;
  }
  const auto whole = static_cast<double>((*day - kVariantEpoch).count());
  const double fraction = (time.wHour * 3600 + time.wMinute * 60 + time.wSecond) / 86'400.0;
  return whole < 0 ? whole - fraction : whole + fraction;
}

}  // namespace nalvo
