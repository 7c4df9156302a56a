// From an object to the pattern of its message.
#include <algorithm>
#include <limits>
#include <map>
#include <numeric>  // iota
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "convert/groupware/recurrence_pattern_rule.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/recurrence_state_item.h"
#include "diagnostics/hresult_exception.h"
#include "platform/mapi/tags.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo::RecurrenceState {
namespace {

using namespace detail;
using mail::DateTime;
using mail::RecurrenceDate;
using Pattern = RecurrencePattern;

constexpr SourceFile kSource{".\\RecurrenceState"};

constexpr Minutes kNoEnd = 0x5AE980DF;  // 4500-12-31 23:59
constexpr SYSTEMTIME kNoClipEnd{4500, 8, 0, 31, 23, 59, 0, 0};
constexpr std::uint32_t kUsualCount = 10;  // of a series that isn't counted
constexpr std::uint32_t kTaskCount = 0xFFFFFF;
constexpr std::uint32_t kRecurringTaskIcon = 0x501;
constexpr std::size_t kMostExceptions = std::numeric_limits<std::uint16_t>::max();

SYSTEMTIME systemTimeOf(const DateTime& date) {
  SYSTEMTIME time{};
  date.toSystemTime(time);
  return time;
}

// Takes away what says that an item repeats, unless the series was kept.
class SeriesGuard {
 public:
  explicit SeriesGuard(const SeriesTags& tags) : tags_(tags) {}
  SeriesGuard(const SeriesGuard&) = delete;
  SeriesGuard& operator=(const SeriesGuard&) = delete;
  ~SeriesGuard() {
    if (kept_) {
      return;
    }
    if (stream_) {
      stream_->Revert();
      stream_.reset();
    }
    tags_.message->deleteProp(tags_.pattern);
    if (tags_.type != 0) {
      tags_.message->deleteProp(tags_.type);
    }
    SPropValue value{};
    value.ulPropTag = tags_.recurring;
    value.Value.b = 0;
    tags_.message->setProp(&value);
  }

  IStream* open() {
    stream_ = openPattern(tags_, 1, "RecurrenceState::ParseState");
    return stream_.get();
  }
  void keep() { kept_ = true; }

 private:
  const SeriesTags& tags_;
  ComPtr<IStream> stream_;
  bool kept_ = false;
};

struct Series {
  const mail::VCalendar& object;
  ItemKind kind;
  const ItemClock& clock;
  bool allDay;
  DateTime start;
  DateTime end;
};

// The rule that a pattern stands for. A rule passes over months that lack the day, a pattern takes their last one.
mail::RRule steppingRule(const Pattern& pattern) {
  constexpr std::uint32_t kInEachMonth = 28;
  mail::RRule rule = ruleOfPattern(pattern);
  if (pattern.type == Pattern::Type::Month && pattern.monthDay > kInEachMonth) {
    std::vector<int>& days = rule.by[mail::kMonthDay];
    days.resize(pattern.monthDay - kInEachMonth + 1);
    std::iota(days.begin(), days.end(), static_cast<int>(kInEachMonth));
    rule.bySetPos = {-1};
  }
  return rule;
}

// What the pattern means counts, which may be less than the rule said. It steps by the wall clock, so that its weekdays are
// those of the item.
Minutes lastOfCounted(const Pattern& pattern, Minutes start) {
  const mail::RRule rule = steppingRule(pattern);
  const DateTime last(secondsOf(kNoEnd));
  DateTime date(secondsOf(start));
  mail::RRuleIterator dates = rule.iterate(date, true);
  for (std::uint32_t left = pattern.count; left > 0 && !dates.hasEnded() && dates.current() <= last; --left) {
    date = dates.current();
    dates.advance();
  }
  return minutesOf(date.seconds());
}

// The last day on which an occurrence may begin: a pattern ends with a day, a rule may end at any time of it.
Minutes lastDay(const DateTime& until, const Series& series) {
  const Minutes local = series.clock.local(until);
  if (series.allDay) {
    // Some tell a day by its last second in UTC, others by its midnight here.
    return dayOf(local % kMinutesOfDay == 0 ? local : minutesOf(until.seconds()));
  }
  const Minutes start = series.clock.local(series.start);
  const bool isBeforeStart = !until.isDateOnly() && local % kMinutesOfDay < start % kMinutesOfDay;
  return isBeforeStart && dayOf(local) > dayOf(start) ? dayOf(local) - kMinutesOfDay : dayOf(local);
}

void describeEnd(const mail::RRule& rule, const Series& series, Pattern& pattern) {
  const bool isTask = series.kind == ItemKind::Task;
  pattern.count = kUsualCount;
  if (rule.count >= 1) {
    pattern.end = Pattern::End::AfterCount;
    pattern.count = static_cast<std::uint32_t>(rule.count);
    pattern.endDate = dayOf(isTask && !rule.xUntil.isNull() ? series.clock.local(rule.xUntil)
                                                            : lastOfCounted(pattern, series.clock.local(series.start)));
  } else if (rule.until.isNull()) {
    pattern.end = Pattern::End::Never;
    pattern.endDate = kNoEnd;
  } else {
    pattern.end = Pattern::End::OnDate;
    pattern.count = isTask ? kTaskCount : kUsualCount;
    pattern.endDate = lastDay(rule.until, series);
  }
}

// A series of whole days leaves out the day that a date in a zone has there.
Minutes excludedAt(const DateTime& excluded, const Series& series) {
  return series.allDay && excluded.zone() ? minutesOf(mail::calendar::timegm(excluded.wallClock()))
                                          : series.clock.local(excluded);
}

Pattern::Exception describeException(const RecurrenceDate& date, const DateTime& excluded, const Series& series,
                                     Minutes startOffset) {
  Pattern::Exception exception;
  exception.start = series.clock.local(date.start);
  exception.end = series.clock.local(date.end);
  // A whole day that is excluded of a series with times stands for the occurrence on it.
  exception.original = excludedAt(excluded, series) + (excluded.isDateOnly() && !series.allDay ? startOffset : 0);
  if (date.start.isDateOnly() != series.allDay) {
    exception.allDay = date.start.isDateOnly();
  }
  return exception;
}

// Each day once, in rising order; moved dates by their new start. A task keeps no moved dates, only that they are gone.
void describeExceptions(const Series& series, Pattern& pattern) {
  std::unordered_map<int, RecurrenceDate> moved;
  if (series.kind == ItemKind::Appointment) {
    for (RecurrenceDate& date : series.object.getOccurrences()) {
      if (!date.start.isNull() && !date.end.isNull()) {
        const int position = date.movedFrom;
        moved.try_emplace(position, std::move(date));
      }
    }
  }
  std::map<Minutes, std::optional<Pattern::Exception>> days;
  const std::vector<DateTime> excluded = series.object.getAllExDates();
  for (std::size_t i = 0; i < excluded.size(); ++i) {
    if (excluded[i].isNull()) {
      continue;
    }
    std::optional<Pattern::Exception>& exception = days[dayOf(excludedAt(excluded[i], series))];
    const auto found = moved.find(static_cast<int>(i));
    if (found != moved.end() && !exception) {
      exception = describeException(found->second, excluded[i], series, pattern.startOffset);
    }
  }
  for (const auto& [day, exception] : days) {
    pattern.deleted.push_back(day);
    if (exception && pattern.exceptions.size() < kMostExceptions) {
      pattern.exceptions.push_back(*exception);
    }
  }
  std::stable_sort(pattern.exceptions.begin(), pattern.exceptions.end(),
                   [](const Pattern::Exception& a, const Pattern::Exception& b) { return a.start < b.start; });
  for (const Pattern::Exception& exception : pattern.exceptions) {
    pattern.modified.push_back(dayOf(exception.start));
  }
}

// No value when the item does not repeat.
std::optional<Pattern> describeSeries(const Series& series) {
  const std::vector<mail::RRule> rules = series.object.getRRules();
  Pattern pattern;
  const Minutes start = series.clock.local(series.start);
  if (rules.empty() || !describeRule(rules.front(), DateTime(secondsOf(start)), pattern)) {
    return std::nullopt;
  }
  pattern.startDate = dayOf(start);
  if (series.kind == ItemKind::Appointment) {
    pattern.startOffset = start - pattern.startDate;
    pattern.endOffset = pattern.startOffset + (series.clock.local(series.end) - start);
  }
  describeEnd(rules.front(), series, pattern);
  describeExceptions(series, pattern);
  return pattern;
}

void setClip(const Pattern& pattern, const ItemClock& clock, ConvertorDataMessage& data) {
  IConvertMessage* message = data.getMapiMessage();
  const auto set = [&](const NamedProperty& property, const SYSTEMTIME& time) {
    MapiPropUtils::setSysTime(message, data.tagOf(property, message), time);
  };
  set(named::kClipStart, systemTimeOf(clock.utc(pattern.startDate)));
  set(named::kClipEnd, pattern.end == Pattern::End::Never ? kNoClipEnd : systemTimeOf(clock.utc(pattern.endDate)));
}

void writeSeries(const Pattern& pattern, ItemKind kind, const SeriesTags& tags, SeriesGuard& guard) {
  IStream* stream = guard.open();
  writeRecurrencePattern(pattern, kind, stream);
  checkHResult(stream->Commit(0), kSource.at("RecurrenceState::ParseState"));
  if (tags.type != 0) {
    constexpr std::uint32_t kBeforeDaily = 9;  // 1 daily to 4 yearly
    MapiPropUtils::setULong(tags.message, tags.type, static_cast<std::uint32_t>(pattern.frequency) - kBeforeDaily);
  }
  MapiPropUtils::setBool(tags.message, tags.recurring, true);
  if (kind == ItemKind::Task) {
    MapiPropUtils::setULong(tags.message, PR_ICON_INDEX, kRecurringTaskIcon);
  }
}

void removeSeries(const SeriesTags& tags) {
  if (tags.type != 0) {
    MapiPropUtils::deletePropIfExist(tags.message, tags.type);
  }
  MapiPropUtils::setBool(tags.message, tags.recurring, false);
}

void parse(const DateTime& start, const DateTime& end, ConvertorDataMessage& data, const mail::VCalendar& object,
           ItemKind kind) {
  const SeriesTags tags(data, kind);
  SeriesGuard guard(tags);
  MapiPropUtils::deletePropIfExist(tags.message, tags.pattern);
  const bool isAppointment = kind == ItemKind::Appointment;
  std::optional<Pattern> pattern;
  if (!start.isNull() && !(isAppointment && end.isNull()) && !object.getRRules().empty()) {
    const ItemClock clock(isAppointment ? appointmentZone(data) : machineTimeZone());
    pattern = describeSeries({object, kind, clock, isAllDayItem(data), start, end});
    if (pattern && isAppointment) {
      setClip(*pattern, clock, data);
    }
  }
  if (pattern) {
    writeSeries(*pattern, kind, tags, guard);
  } else {
    removeSeries(tags);
  }
  guard.keep();
}

}  // namespace

void ParseState(const DateTime& start, const DateTime& end, ConvertorDataMessage& data, const mail::VEvent& object) {
  parse(start, end, data, object, ItemKind::Appointment);
}

void ParseState(const DateTime& start, const DateTime& end, ConvertorDataMessage& data, const mail::VTodo& object) {
  parse(start, end, data, object, ItemKind::Task);
}

}  // namespace nalvo::RecurrenceState
