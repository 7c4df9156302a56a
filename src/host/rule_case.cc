#include "host/rule_case.h"

#include <cstdio>
#include <vector>

#include "platform/time/file_time.h"
#include "streams/coder.h"

namespace nalvo::host {

std::string binaryOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  const std::string encoded = value.is_object() ? value.value("base64", std::string()) : std::string();
  std::string bytes;
  return succeeded(Coder::decodeBase64(encoded.data(), encoded.size(), bytes)) ? bytes : std::string();
}

std::optional<std::int64_t> secondsOf(std::string_view json) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (std::sscanf(textOf(json).c_str(), "%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute, &second) != 6) {
    return std::nullopt;
  }
  const auto word = [](int value) { return static_cast<std::uint16_t>(value); };
  const auto time = systemTimeToFileTime({word(year), word(month), 0, word(day), word(hour), word(minute), word(second), 0});
  return time ? std::optional(static_cast<std::int64_t>(ticksOf(*time)) / kTicksPerSecond) : std::nullopt;
}

bool isWithinHalfDay(const Case& c) {
  constexpr std::int64_t kHalfDay = std::int64_t{12} * 3600;
  const auto before = secondsOf(c.difference.before);
  const auto after = secondsOf(c.difference.after);
  return before && after && *after - *before >= -kHalfDay && *after - *before <= kHalfDay;
}

bool hasSameDates(const Case& c, SeriesKind kind) {
  const std::vector<std::uint32_t> meaning = seriesMeaning(binaryOf(c.difference.before), kind);
  return !meaning.empty() && meaning == seriesMeaning(binaryOf(c.difference.after), kind);
}

bool isEvent(const Case& c) {
  const std::string messageClass = textOf(c.is("PR_MESSAGE_CLASS"));
  return startsWithIgnoreCase(messageClass, "IPM.Appointment") || startsWithIgnoreCase(messageClass, kMeetingClass);
}

}  // namespace nalvo::host
