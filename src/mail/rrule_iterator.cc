// The dates of a rule, period by period: the lists of the rule, from the coarse to the fine, each keep some of the dates
// that there are so far (they limit), or make more of each (they expand).
#include <algorithm>
#include <utility>

#include "mail/rrule.h"

namespace nalvo::mail {
namespace {

// Rules step through years of seconds, and lists multiply each other: what one step may cost.
constexpr int kMostPasses = 1'000'000;
constexpr int kMostWork = 4'000'000;              // dates looked at and made, over all passes
constexpr std::size_t kMostCandidates = 100'000;  // of one period
constexpr int kMostYears = 8;                     // without a date
constexpr int kMostInterval = 1024;

constexpr int kLimits = -1;

// By Frequency: the field that a rule steps.
constexpr DateField kSteps[] = {kYear, kMonth, kWeek, kMonthDay, kHour, kMinute, kSecond};

DateField fieldAt(int index) { return static_cast<DateField>(index); }

// One period of a rule.
class Period {
 public:
  Period(const RRule& rule, int& work) : rule_(rule), work_(work) {}

  // The field's value, so that values may be added over New Year: in January week 52 or 53 is 0, in December week 1 is 53.
  int stepValue(DateField field, const DateTime& date) const {
    const int value = date.field(field, rule_.weekStart);
    if (field != kWeek) {
      return value;
    }
    const int month = date.field(kMonth);
    if (month == 1 && value > 50) {
      return 0;
    }
    return month == 12 && value < 2 ? (date - Duration(7 * calendar::kDay)).field(kWeek, rule_.weekStart) + 1 : value;
  }

  enum class Outcome { Done, GoesTooFar };

  // Runs `dates`, at first one, through all lists.
  Outcome run(std::vector<DateTime>& dates) {
    for (int level = kMonth; level <= kSecond; ++level) {
      const std::vector<int>& list = rule_.by[static_cast<std::size_t>(level)];
      if (list.empty()) {
        continue;
      }
      const std::vector<DateTime> candidates = std::exchange(dates, {});
      const int anchor = findAnchor(level);
      if (anchor == kLimits) {
        limit(fieldAt(level), list, candidates, dates);
      } else if (parentOf(fieldAt(level), 2) > anchor || !expand(fieldAt(level), list, fieldAt(anchor), candidates, dates)) {
        return Outcome::GoesTooFar;
      }
      if (dates.empty()) {
        break;
      }
    }
    return Outcome::Done;
  }

 private:
  // The field within which a list expands: that of the next coarser list, or of the frequency. kLimits when the list
  // doesn't expand.
  int findAnchor(int level) const {
    const int parentRank = rankOf(parentOf(fieldAt(level)));
    if (rule_.freq > parentRank) {
      return kLimits;
    }
    int i = level - 1;
    while (i > 0 && rule_.by[static_cast<std::size_t>(i)].empty() && rule_.freq < rankOf(fieldAt(i))) {
      --i;
    }
    return rankOf(fieldAt(i)) <= parentRank ? i : kLimits;
  }

  int countIn(DateField level, const DateTime& date) const {
    return date.count(parentOf(level), rankOf(level), rule_.weekStart);
  }

  int positive(int entry, DateField level, const DateTime& date) const {
    return entry < 0 ? entry + countIn(level, date) + 1 : entry;
  }

  // Whether the date's month is also that of the same date in another week.
  bool sharesMonth(const DateTime& date, int entry) {
    --work_;
    DateTime inWeek = date;
    inWeek.setField(kWeek, positive(entry, kWeek, date), rule_.weekStart);
    return inWeek.field(kMonth) == date.field(kMonth);
  }

  bool matches(DateField level, const std::vector<int>& list, const DateTime& date) {
    if (level == kWeek && (rule_.freq == kMonthly || !rule_.by[kMonth].empty())) {
      return std::any_of(list.begin(), list.end(), [&](int entry) { return sharesMonth(date, entry); });
    }
    const int value = date.field(level, rule_.weekStart);
    const int below = level == kWeekday ? 0 : countIn(level, date) + 1;
    return std::any_of(list.begin(), list.end(), [&](int entry) {
      return value == (level == kWeekday ? weekdayOfEntry(entry) : entry < 0 ? entry + below : entry);
    });
  }

  void limit(DateField level, const std::vector<int>& list, const std::vector<DateTime>& candidates,
             std::vector<DateTime>& out) {
    work_ -= static_cast<int>(candidates.size());
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(out),
                 [&](const DateTime& date) { return matches(level, list, date); });
  }

  // False when that makes too many.
  bool expand(DateField level, const std::vector<int>& list, DateField anchor, const std::vector<DateTime>& candidates,
              std::vector<DateTime>& out) {
    for (const DateTime& date : candidates) {
      for (const int entry : list) {
        if (level == kWeekday) {
          addWeekdays(date, entry, anchor, out);
        } else if (parentOf(level) <= anchor) {
          addValue(date, entry, level, out);
        } else {
          addInEach(date, entry, level, anchor, out);
        }
        if (work_ < 0 || out.size() > kMostCandidates) {
          return false;
        }
      }
    }
    return true;
  }

  void addValue(DateTime date, int entry, DateField level, std::vector<DateTime>& out) {
    --work_;
    const int value = positive(entry, level, date);
    if (value >= (level >= kHour ? 0 : 1) && value <= countIn(level, date)) {
      date.setField(level, value, rule_.weekStart);
      out.push_back(std::move(date));
    }
  }

  // In each month of the year, day of the month or week, hour of the day.
  void addInEach(const DateTime& date, int entry, DateField level, DateField anchor, std::vector<DateTime>& out) {
    const DateField part = childOf(anchor);
    const int first = part >= kHour ? 0 : 1;
    const int count = date.count(anchor, rankOf(part), rule_.weekStart);
    for (int value = first; value < first + count; ++value) {
      DateTime inPart = date;
      inPart.setField(part, value, rule_.weekStart);
      addValue(std::move(inPart), entry, level, out);
    }
  }

  void addWeekdays(const DateTime& date, int entry, DateField anchor, std::vector<DateTime>& out) {
    const std::size_t before = out.size();
    const auto add = [&](DateTime day) {
      --work_;
      day.setField(kWeekday, weekdayOfEntry(entry), rule_.weekStart);
      if (day.field(anchor, rule_.weekStart) == date.field(anchor, rule_.weekStart)) {
        out.push_back(std::move(day));
      }
    };
    if (anchor == kWeek) {
      add(date);
    } else {
      const auto [first, last] = weeksOf(date, anchor);
      for (int week = first; week <= last; ++week) {
        DateTime inWeek = date;
        inWeek.setField(kWeek, week, rule_.weekStart);
        add(std::move(inWeek));
      }
    }
    pickOrdinal(ordinalOf(entry), before, out);
  }

  // The weeks that a month or a year reaches into.
  std::pair<int, int> weeksOf(DateTime date, DateField anchor) const {
    if (anchor == kYear) {
      return {0, date.count(kYear, rankOf(kWeek), rule_.weekStart) + 1};
    }
    date.setField(kMonthDay, 1);
    const int first = stepValue(kWeek, date);
    date.setField(kMonthDay, date.count(kMonth, rankOf(kMonthDay)));
    return {first, stepValue(kWeek, date)};
  }

  // Of the dates from `begin` on, the one with that ordinal, if there is one; 0 keeps all.
  static void pickOrdinal(int ordinal, std::size_t begin, std::vector<DateTime>& dates) {
    if (ordinal == 0) {
      return;
    }
    const auto count = static_cast<int>(dates.size() - begin);
    const int place = ordinal < 0 ? count + ordinal : ordinal - 1;
    if (place < 0 || place >= count) {
      dates.resize(begin);
      return;
    }
    dates[begin] = dates[begin + static_cast<std::size_t>(place)];
    dates.resize(begin + 1);
  }

  const RRule& rule_;
  int& work_;
};

// Ascending, equal instants once.
void sortDates(std::vector<DateTime>& dates) {
  std::sort(dates.begin(), dates.end());
  dates.erase(std::unique(dates.begin(), dates.end()), dates.end());
}

// Keeps the dates at the places listed; all when there is no list.
void applySetPos(const std::vector<int>& places, std::vector<DateTime>& dates) {
  if (places.empty()) {
    return;
  }
  const auto count = static_cast<int>(dates.size());
  std::vector<DateTime> kept;
  std::vector<int> wanted;
  for (const int place : places) {
    wanted.push_back(place < 0 ? place + count : place - 1);
  }
  std::sort(wanted.begin(), wanted.end());
  wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
  for (const int place : wanted) {
    if (place >= 0 && place < count) {
      kept.push_back(dates[static_cast<std::size_t>(place)]);
    }
  }
  dates = std::move(kept);
}

// The wall clock of a date as a date in UTC.
DateTime wallOf(DateTime date) {
  date.setFixedOffset(Duration(0));
  return date;
}

// The date with that wall clock, read as `like` is.
DateTime fromWall(DateTime wall, const DateTime& like) {
  switch (like.kind()) {
    case DateTime::Kind::Zoned:
      wall.setZone(like.zone());
      break;
    case DateTime::Kind::Fixed:
      wall.setFixedOffset(like.getOffset());
      break;
    case DateTime::Kind::Floating:
      wall.setFloating();
      break;
  }
  return wall;
}

bool hasNoLists(const RRule& rule) {
  return rule.bySetPos.empty() && std::all_of(rule.by.begin(), rule.by.end(), [](const auto& list) { return list.empty(); });
}

}  // namespace

RRuleIterator::RRuleIterator(const RRule& rule, const DateTime& start, bool includeStart)
    : rule_(&rule), batch_{start}, produced_(-1) {
  if (rule.freq == kMonthly && hasNoLists(rule)) {
    anchorDay_ = start.field(kMonthDay);
  }
  advance();
  if (includeStart && (batch_.empty() || batch_.front() != start)) {
    includeDate(start);
  }
  if (batch_.empty()) {
    end();
  }
}

void RRuleIterator::includeDate(const DateTime& start) {
  produced_ = batch_.empty() ? 1 : produced_ + 1;
  batch_.insert(batch_.begin(), start);
  while (rule_->count >= 0 && produced_ > rule_->count && !batch_.empty()) {
    batch_.pop_back();
    --produced_;
  }
}

const DateTime& RRuleIterator::current() const {
  static const DateTime kNone;
  return index_ < batch_.size() ? batch_[index_] : kNone;
}

void RRuleIterator::end() {
  batch_.clear();
  index_ = 0;
  produced_ = 1;
}

void RRuleIterator::advance() {
  if (rule_ == nullptr) {
    return;
  }
  const bool canStep = rule_->valid && rule_->freq >= kYearly && rule_->freq <= kSecondly;
  if (!canStep || hasEnded() || rule_->interval < 1 || rule_->interval > kMostInterval) {
    end();
    return;
  }
  if (++index_ >= batch_.size()) {
    fillBatch();
  }
}

RRuleIterator RRuleIterator::next() {
  RRuleIterator before = *this;
  advance();
  return before;
}

// Looks for the next period, from that of the last date on, that has any dates.
//
// All goes by wall clocks, and only what comes out is read in the zone: on the way to its day a date may pass through a gap
// in local time, which must not move it. One that does fall into a gap moves, and the next period goes on from where it
// would have been.
void RRuleIterator::fillBatch() {
  const int weekStart = rule_->weekStart;
  const DateField base = kSteps[rule_->freq];
  const bool keepsWeekday = !rule_->by[kWeek].empty() && rule_->freq < kWeekly;
  const DateTime last = batch_.back();
  const DateTime lastWall = wallOf(last);
  DateTime seed = lastWall;
  seed += Duration(gapCorrection_);
  const int lastYear = seed.field(kYear) + kMostYears;
  batch_.clear();
  index_ = 0;

  int work = kMostWork;
  Period period(*rule_, work);
  std::vector<std::pair<DateTime, std::int64_t>> gaps;  // dates that were moved, and how to get back
  const auto toZone = [&](const DateTime& wall) {
    if (wall == lastWall) {
      return last;
    }
    const DateTime date = fromWall(wall, last);
    if (const std::int64_t back = (wall - wallOf(date)).seconds(); back < 0) {
      gaps.emplace_back(date, back);
    }
    return date;
  };

  for (int pass = 0; batch_.empty() && seed.field(kYear) <= lastYear; ++pass) {
    if (pass == kMostPasses) {
      return end();
    }
    const bool first = produced_ == -1;
    DateTime next = seed;
    if (!first) {
      next.setField(base, period.stepValue(base, seed) + rule_->interval, weekStart);
    }
    if (keepsWeekday) {
      next.setField(kWeekday, seed.field(kWeekday), weekStart);
    }
    DateTime candidate = next;
    bool hasAnchorDay = true;
    if (anchorDay_ != 0 && candidate.field(kMonthDay) != anchorDay_) {
      hasAnchorDay = candidate.count(kMonth, rankOf(kMonthDay)) >= anchorDay_;
      candidate.setField(kMonthDay, anchorDay_);
    }
    if (hasAnchorDay) {
      batch_.push_back(std::move(candidate));
      if (period.run(batch_) == Period::Outcome::GoesTooFar || work < 0) {
        return end();
      }
      std::transform(batch_.begin(), batch_.end(), batch_.begin(), toZone);
      sortDates(batch_);
      applySetPos(rule_->bySetPos, batch_);
      const auto isPast = [&](const DateTime& date) { return first ? date < last : date <= last; };
      batch_.erase(std::remove_if(batch_.begin(), batch_.end(), isPast), batch_.end());
    }
    if (batch_.empty() && first) {
      produced_ = 0;
    } else if (batch_.empty()) {
      if (next <= seed) {
        return end();  // of the calendar
      }
      seed = next;
    }
  }
  produced_ = std::max<std::int64_t>(produced_, 0);
  cutTail();
  const auto gap = std::find_if(gaps.begin(), gaps.end(),
                                [&](const auto& moved) { return !batch_.empty() && moved.first == batch_.back(); });
  gapCorrection_ = gap != gaps.end() ? gap->second : 0;
}

// Drops what lies behind UNTIL or COUNT.
void RRuleIterator::cutTail() {
  std::size_t keep = 0;
  while (keep < batch_.size() && (rule_->until.isNull() || batch_[keep] <= rule_->until) &&
         (rule_->count < 0 || produced_ + static_cast<std::int64_t>(keep) < rule_->count)) {
    ++keep;
  }
  batch_.resize(keep);
  produced_ += static_cast<std::int64_t>(keep);
}

bool operator==(const RRuleIterator& a, const RRuleIterator& b) {
  if (a.hasEnded() || b.hasEnded()) {
    return a.hasEnded() && b.hasEnded();
  }
  return a.produced_ == b.produced_ && a.index_ == b.index_ && a.current() == b.current();
}

}  // namespace nalvo::mail
