#include "host/task_rules.h"

#include <cmath>  // abs, floor

#include "host/calendar_rules.h"

namespace nalvo::host::tasks {
namespace {

// Of whichever zone the time is midnight.
std::int64_t dayOf(std::int64_t seconds) {
  constexpr std::int64_t kFarthestEast = 13 * 3600;
  constexpr std::int64_t kDay = 24 * 3600;
  return (seconds + kFarthestEast) / kDay;
}

std::optional<double> shareOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_number() ? std::optional(value.get<double>()) : std::nullopt;
}

}  // namespace

bool isTask(const Case& c) { return sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.Task\""); }

bool isSameDay(const Case& c) {
  const auto before = secondsOf(c.difference.before);
  const auto after = secondsOf(c.difference.after);
  return isTask(c) && before && after && dayOf(*before) == dayOf(*after);
}

bool isSameSeries(const Case& c) {
  return isTask(c) && calendar::meansTheSame(c.difference.before, c.difference.after, SeriesKind::Task);
}

bool repeats(const Case& c) { return isTask(c) && c.is("PidLidTaskFRecurring") == "true"; }

bool isTimeOfReminder(const Case& c) {
  return isTask(c) && (c.difference.before.empty() || c.difference.after == c.is("PidLidReminderSignalTime"));
}

bool isSamePercentage(const Case& c) {
  constexpr double kTiny = 1e-9;
  const auto before = shareOf(c.difference.before);
  const auto after = shareOf(c.difference.after);
  return isTask(c) && before && after && std::abs(std::floor(*before * 100 + kTiny) - *after * 100) < 0.5;
}

}  // namespace nalvo::host::tasks
