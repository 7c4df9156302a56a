// What a rule's condition looks at.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "host/comparison.h"
#include "host/series.h"
#include "platform/text/text.h"

namespace nalvo::host {

// The difference, and all values of the thing that it is in.
struct Case {
  const Difference& difference;
  const Facts& old;
  const Facts& now;

  // A property as JSON, or a header; empty if there is none.
  static std::string_view valueIn(const Facts& facts, std::string_view name) {
    const auto found = facts.find(name);
    return found == facts.end() ? std::string_view() : std::string_view(found->second);
  }
  std::string_view was(std::string_view name) const { return valueIn(old, name); }
  std::string_view is(std::string_view name) const { return valueIn(now, name); }
};

inline std::string textOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_string() ? value.get<std::string>() : std::string();
}

inline std::optional<std::int64_t> numberOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_number_integer() ? std::optional(value.get<std::int64_t>()) : std::nullopt;
}

inline bool sameText(std::string_view a, std::string_view b) { return equalsIgnoreCase(textOf(a), textOf(b)); }

// The bytes of a binary value as JSON; empty if it does not hold them.
std::string binaryOf(std::string_view json);
// A time as JSON in seconds; no value for what is no time.
std::optional<std::int64_t> secondsOf(std::string_view json);
// A time that moved to the nearest midnight at most.
bool isWithinHalfDay(const Case& c);
// Two recurrence patterns that mean the same dates.
bool hasSameDates(const Case& c, SeriesKind kind);

inline constexpr std::string_view kMeetingClass = "IPM.Schedule.Meeting.";
// The message that has the difference is an appointment or a meeting message.
bool isEvent(const Case& c);

}  // namespace nalvo::host
