// Rules about tasks.
#include <cmath>  // abs, floor

#include "host/rule_rows.h"

namespace nalvo::host {
namespace {

// Of whichever zone the time is midnight.
std::int64_t dayOf(std::int64_t seconds) {
  constexpr std::int64_t kFarthestEast = std::int64_t{13} * 3600;
  constexpr std::int64_t kDay = std::int64_t{24} * 3600;
  return (seconds + kFarthestEast) / kDay;
}

std::optional<double> shareOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  return value.is_number() ? std::optional(value.get<double>()) : std::nullopt;
}

bool isTask(const Case& c) { return sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.Task\""); }

// Both times are midnight of one day, each somewhere.
bool isSameDay(const Case& c) {
  const auto before = secondsOf(c.difference.before);
  const auto after = secondsOf(c.difference.after);
  return isTask(c) && before && after && dayOf(*before) == dayOf(*after);
}

bool isSameSeries(const Case& c) { return isTask(c) && hasSameDates(c, SeriesKind::Task); }

bool repeats(const Case& c) { return isTask(c) && c.is("PidLidTaskFRecurring") == "true"; }

// A reminder that did not say when it rings, or rings again at another time than at first.
bool isTimeOfReminder(const Case& c) {
  return isTask(c) && (c.difference.before.empty() || c.difference.after == c.is("PidLidReminderSignalTime"));
}

// The same share in whole percents.
bool isSamePercentage(const Case& c) {
  constexpr double kTiny = 1e-9;
  const auto before = shareOf(c.difference.before);
  const auto after = shareOf(c.difference.after);
  return isTask(c) && before && after && std::abs(std::floor(*before * 100 + kTiny) - *after * 100) < 0.5;
}

constexpr RuleRow kRules[] = {
    {Place::Message, Kind::Changed, "PidLidCommonStart", isSameDay, kEventDay},
    {Place::Message, Kind::Changed, "PidLidCommonEnd", isSameDay, kEventDay},
    {Place::Message, Kind::Changed, "PidLidTaskDateCompleted", isSameDay, kEventDay},
    {Place::Message, Kind::Added, "PidLidCommonStart", isTask, kEventTimes},
    {Place::Message, Kind::Added, "PidLidCommonEnd", isTask, kEventTimes},
    {Place::Message, Kind::Changed, "PidLidTaskRecurrence", isSameSeries, kSameSeries},
    {Place::Message, Kind::Made, "PR_ICON_INDEX", repeats, "a task that repeats has its icon"},
    {Place::Message, Kind::Added, "PidLidReminderSignalTime", isTask, kReminder},
    {Place::Message, Kind::Made, "PidLidReminderTime", isTimeOfReminder, kReminder},
    {Place::Message, Kind::Added, "PidLidReminderDelta", isTask, kReminder},
    {Place::Message, Kind::Changed, "PidLidPercentComplete", isSamePercentage, "a task is done by whole percents"},
};

}  // namespace

std::span<const RuleRow> taskRules() { return kRules; }

}  // namespace nalvo::host
