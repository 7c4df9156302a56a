// Tasks for tests: times as minutes, and lines of a mail.
#pragma once

#include <string>

#include "tests/support/item.h"

namespace nalvo::test {

constexpr FILETIME fileTime(std::uint64_t minutesSince1601) {
  return {static_cast<std::uint32_t>(minutesSince1601 * 600'000'000),
          static_cast<std::uint32_t>(minutesSince1601 * 600'000'000 >> 32)};
}
// Minutes since 1601.
inline constexpr std::uint64_t kMonday = 220'459'680;  // 2 March 2020
inline constexpr std::uint64_t kDay = 1440;

// The first line that begins so, as it stands in the mail.
inline std::string lineIn(const std::string& mail, const std::string& line) {
  const std::string lines = "\n" + mail;
  const std::size_t at = lines.find("\n" + line);
  return at == std::string::npos ? "<none>" : lines.substr(at + 1, lines.find_first_of("\r\n", at + 1) - at - 1);
}

}  // namespace nalvo::test
