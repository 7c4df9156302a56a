// Time zones by name, with the rules that were in force at the end of 2007. Searches take the first of equal rows, so the
// order of each table counts.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace nalvo::mail {

struct ZoneAbbreviation {
  std::string_view name;    // compares as a whole and without case: "ChST"
  std::string_view offset;  // a Duration with a sign: "+PT05H30M"
  bool isDaylight;
};

// A zone without daylight saving has its standard offset alone; the other texts are empty.
struct ZoneRecord {
  std::string_view name;
  std::string_view standardOffset;  // "+0100", "+030704", or an abbreviation: "AKST"
  std::string_view daylightOffset;
  // Where an observance begins, by the wall clock ahead of the change. The hour may be negative and then counts back from
  // midnight: "19961026T-10000".
  std::string_view standardStart;
  std::string_view daylightStart;
  // Yearly rules without an end.
  std::string_view standardRule;
  std::string_view daylightRule;
  // Places in preferredZoneNames(); -1 behind the last.
  std::array<std::int8_t, 4> ids;
};

std::span<const ZoneAbbreviation> zoneAbbreviations();
// By names in the manner of Windows: "Eastern Time (US & Canada)".
std::span<const ZoneRecord> zonesByDisplayName();
// By names of the tz database: "America/New_York".
std::span<const ZoneRecord> zonesByTzName();
std::span<const std::string_view> preferredZoneNames();

}  // namespace nalvo::mail
