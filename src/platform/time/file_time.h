// FILETIME, SYSTEMTIME and variant time, and the ways between them.
#pragma once

#include <optional>

#include "nalvo/com.h"

namespace nalvo {

inline constexpr std::int64_t kTicksPerSecond = 10'000'000;
// 1970-01-01 00:00 UTC as ticks.
inline constexpr std::int64_t kUnixEpochTicks = 116'444'736'000'000'000;

constexpr std::uint64_t ticksOf(FILETIME time) { return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime; }
constexpr FILETIME fileTimeOf(std::uint64_t ticks) {
  return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
}

// Seconds since 1970, towards the past for a fraction.
std::int64_t unixSecondsOf(FILETIME time);
// No value for a second that lies outside of what FILETIME holds (1601 to 30828).
std::optional<FILETIME> fileTimeOfUnix(std::int64_t seconds);

// No value for a time with its top bit set (year 30828 and later).
std::optional<SYSTEMTIME> fileTimeToSystemTime(FILETIME time);
// No value for a field outside its range or a day that its month doesn't have. wDayOfWeek is not looked at.
std::optional<FILETIME> systemTimeToFileTime(const SYSTEMTIME& time);

// Variant time: days since 1899-12-30 with the time of day as a fraction, also counted away from zero in negative days.
// No value outside the years 100 to 9999. Whole seconds, rounded.
std::optional<SYSTEMTIME> variantTimeToSystemTime(double days);
std::optional<double> systemTimeToVariantTime(const SYSTEMTIME& time);

}  // namespace nalvo
