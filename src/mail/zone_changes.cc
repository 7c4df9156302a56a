#include "mail/zone_changes.h"

#include <algorithm>
#include <utility>

#include "mail/calendar.h"

namespace nalvo::mail {
namespace {

// What a VTIMEZONE may cost. Real ones with the whole history of their place stay below.
constexpr std::size_t kMostSeries = 128;
constexpr std::size_t kMostDates = 64;      // of a rule that isn't simply yearly
constexpr std::size_t kMostRDates = 1000;   // of one observance
constexpr std::size_t kMostPerPeriod = 64;  // combinations of a rule's lists
constexpr int kMostStepsPerYear = 400;

std::int64_t yearOf(std::int64_t instant) { return calendar::gmtime(instant).year; }

// Whether the changes of a zone may come by it. Others count as none.
bool isAcceptable(const RRule& rule) {
  std::size_t combinations = std::max<std::size_t>(rule.bySetPos.size(), 1);
  for (const std::vector<int>& list : rule.by) {
    combinations *= std::max<std::size_t>(list.size(), 1);
    if (combinations > kMostPerPeriod) {
      return false;
    }
  }
  return rule.valid && (rule.freq == kYearly || rule.freq == kMonthly);
}

// Its dates in one year can be found without those of the years before.
bool isSimplyYearly(const RRule& rule) { return rule.freq == kYearly && rule.interval == 1 && rule.count < 0; }

DateTime readAt(const DateTime& wallClock, Duration offset) {
  DateTime date(wallClock.seconds());
  date.setFixedOffset(offset);
  return date;
}

}  // namespace

Duration YearOffsets::at(std::int64_t instant) const {
  const auto next = std::upper_bound(changes.begin(), changes.end(), instant,
                                     [](std::int64_t value, const Change& change) { return value < change.instant; });
  return next == changes.begin() ? before : std::prev(next)->offset;
}

ZoneChanges::Series::Series(const Observance& observance)
    : start(readAt(observance.dtstart, observance.offsetFrom)),
      startYear(observance.dtstart.field(kYear)),
      kind(observance.kind),
      from(observance.offsetFrom),
      to(observance.offsetTo) {
  if (isAcceptable(observance.rrule)) {
    if (isSimplyYearly(observance.rrule)) {
      rule = observance.rrule;
      return;
    }
    RRuleIterator next = observance.rrule.iterate(start, true);
    for (; !next.hasEnded() && dates.size() < kMostDates; next.advance()) {
      dates.push_back(next.current().seconds());
    }
  }
  const std::int64_t offset = from.seconds();
  if (dates.empty()) {
    dates.push_back(observance.dtstart.seconds() - offset);
  }
  for (const DateTime& rdate : std::span(observance.rdates).first(std::min(observance.rdates.size(), kMostRDates))) {
    dates.push_back(rdate.seconds() - offset);
  }
  std::sort(dates.begin(), dates.end());
}

std::optional<std::int64_t> ZoneChanges::Series::ruleDateIn(std::int64_t year) const {
  // From the year before, so that what comes out is a date of the rule even in the year of the start.
  DateTime begin = start;
  begin.setField(kYear, static_cast<int>(year - 1));
  RRuleIterator next = rule.iterate(begin, false);
  for (int step = 0; step < kMostStepsPerYear && !next.hasEnded(); ++step, next.advance()) {
    const int found = next.current().field(kYear);
    if (found >= year) {
      return found == year ? std::optional(next.current().seconds()) : std::nullopt;
    }
  }
  return std::nullopt;
}

// Those in `year`, the last one before it, and the first one behind it if there are no others.
void ZoneChanges::Series::appendOnsets(std::int64_t year, std::vector<Onset>& out) const {
  if (rule.valid) {
    const bool hasUntil = !rule.until.isNull();
    const std::int64_t last = hasUntil ? std::min<std::int64_t>(year, rule.until.field(kYear)) : year;
    const std::size_t before = out.size();
    for (const std::int64_t each : {last - 1, last}) {
      if (reachesBack || each >= startYear) {
        if (const std::optional<std::int64_t> date = ruleDateIn(each)) {
          out.push_back({*date, from, to});
        }
      }
    }
    if (out.size() == before) {
      out.push_back({start.seconds(), from, to});
    }
    return;
  }
  auto first = std::find_if(dates.begin(), dates.end(), [&](std::int64_t date) { return yearOf(date) >= year; });
  if (first != dates.begin()) {
    out.push_back({*std::prev(first), from, to});
  } else if (yearOf(*first) > year) {
    out.push_back({*first, from, to});
  }
  for (; first != dates.end() && yearOf(*first) == year; ++first) {
    out.push_back({*first, from, to});
  }
}

ZoneChanges::ZoneChanges(std::span<const Observance> observances) {
  for (const Observance& observance : observances.first(std::min(observances.size(), kMostSeries))) {
    series_.emplace_back(observance);
  }
  for (Series& series : series_) {
    for (const Series& other : series_) {
      const bool isEarlier = other.start < series.start || (other.start == series.start && &other < &series);
      if (other.kind == series.kind && isEarlier) {
        series.reachesBack = false;
      }
    }
  }
}

YearOffsets ZoneChanges::ofYear(std::int64_t year) const {
  if (series_.size() == 1) {
    return {series_.front().to, {}};
  }
  std::vector<Onset> onsets;
  for (const Series& series : series_) {
    if (series.startYear <= year || series.reachesBack) {
      series.appendOnsets(year, onsets);
    }
  }
  if (onsets.empty()) {
    return {};
  }
  std::stable_sort(onsets.begin(), onsets.end(), [](const Onset& a, const Onset& b) { return a.instant < b.instant; });
  YearOffsets offsets{onsets.front().from, {}};
  for (const Onset& onset : onsets) {
    if (offsets.changes.empty() || offsets.changes.back().instant != onset.instant) {
      offsets.changes.push_back({onset.instant, onset.to});
    }
  }
  return offsets;
}

ZoneOffsetCache& ZoneOffsetCache::ofProcess() {
  static ZoneOffsetCache cache;
  return cache;
}

std::optional<Duration> ZoneOffsetCache::find(const ZoneKey& zone, std::int64_t year, std::int64_t instant) const {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find({zone, year});
  return found == entries_.end() ? std::nullopt : std::optional(found->second.at(instant));
}

void ZoneOffsetCache::store(const ZoneKey& zone, std::int64_t year, YearOffsets offsets) {
  const std::lock_guard lock(mutex_);
  if (!entries_.try_emplace({zone, year}, std::move(offsets)).second) {
    return;
  }
  byAge_.push_back({zone, year});
  if (byAge_.size() > capacity_) {
    entries_.erase(byAge_.front());
    byAge_.pop_front();
  }
}

}  // namespace nalvo::mail
