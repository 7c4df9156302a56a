// A span of time in whole seconds, of either sign.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace nalvo::mail {

// Arithmetic stops at the ends of 64 bits. A null duration is less than any other.
class Duration {
 public:
  constexpr Duration() = default;  // null
  constexpr explicit Duration(std::int64_t seconds) : seconds_(seconds) {}
  Duration(std::int64_t days, std::int64_t hours, std::int64_t minutes, std::int64_t seconds, bool negative);

  constexpr bool isNull() const { return seconds_ == kNull; }
  // 0 when null.
  constexpr std::int64_t seconds() const { return isNull() ? 0 : seconds_; }
  constexpr bool isNegative() const { return seconds() < 0; }

  // The parts of the absolute value; 0 when null.
  std::int64_t days() const { return absolute() / 86400; }
  std::int64_t hours() const { return absolute() / 3600 % 24; }
  std::int64_t minutes() const { return absolute() / 60 % 60; }
  std::int64_t secondsPart() const { return absolute() % 60; }

  // Null when either is.
  friend Duration operator-(Duration a, Duration b);
  friend constexpr auto operator<=>(const Duration&, const Duration&) = default;

  // As "-P1DT02H30M"; empty when null. Never in weeks.
  std::string toString() const;
  // Null for a text that doesn't begin with "P" behind its sign. Parts that aren't understood count nothing, so what begins
  // well is never an error.
  static Duration parse(std::string_view text);

 private:
  static constexpr std::int64_t kNull = std::numeric_limits<std::int64_t>::min();

  std::int64_t absolute() const { return seconds() < 0 ? -seconds() : seconds(); }

  std::int64_t seconds_ = kNull;
};

}  // namespace nalvo::mail
