#include "host/structure_words.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <vector>

#include "host/number_reader.h"
#include "platform/time/file_time.h"
#include "properties/property_sets.h"

namespace nalvo::host {
namespace {

constexpr char kUnreadable[] = "unreadable";

constexpr std::string_view kWeekdays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::string_view kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                        "July",    "August",   "September", "October", "November", "December"};
constexpr std::string_view kOrdinals[] = {"first", "second", "third", "fourth", "last"};

// Sets of weekdays that have a name of their own.
struct DaySet {
  std::uint32_t days;
  std::string_view name;
};
constexpr DaySet kDaySets[] = {{0x7F, "day"}, {0x3E, "day of work"}, {0x41, "day of the weekend"}};

// "1, 2 and 3".
std::string enumerate(const std::vector<std::string_view>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    text.append(i == 0 ? "" : i + 1 == items.size() ? " and " : ", ").append(items[i]);
  }
  return text;
}

std::string every(std::uint32_t count, std::string_view unit) {
  const std::string name(unit);
  return count == 1 ? "every " + name : "every " + std::to_string(count) + " " + name + "s";
}

std::string weekdayList(std::uint32_t days) {
  std::vector<std::string_view> names;
  for (std::size_t i = 1; i <= std::size(kWeekdays); ++i) {  // A week is read from Monday on.
    if ((days >> i % 7 & 1) != 0) {
      names.push_back(kWeekdays[i % 7]);
    }
  }
  return names.empty() ? "no day" : enumerate(names);
}

// Minutes since 1601.
std::optional<SYSTEMTIME> dateOf(std::uint32_t minutes) {
  constexpr std::uint64_t kTicksPerMinute = 60 * kTicksPerSecond;
  return fileTimeToSystemTime(fileTimeOf(minutes * kTicksPerMinute));
}

std::string dateText(std::uint32_t minutes) {
  const std::optional<SYSTEMTIME> date = dateOf(minutes);
  char text[32] = "";
  if (date) {
    std::snprintf(text, sizeof text, "%04u-%02u-%02u", date->wYear, date->wMonth, date->wDay);
  }
  return text;
}

std::string_view ordinal(std::uint32_t nth) {
  return nth >= 1 && nth <= std::size(kOrdinals) ? kOrdinals[nth - 1] : "unknown";
}

std::string nthText(std::uint32_t days, std::uint32_t nth) {
  const auto* set = std::find_if(std::begin(kDaySets), std::end(kDaySets), [=](const DaySet& s) { return s.days == days; });
  return "the " + std::string(ordinal(nth)) + " " + (set == std::end(kDaySets) ? weekdayList(days) : std::string(set->name));
}

// The rule, read up to where its end is told.
std::string ruleWords(NumberReader& numbers) {
  constexpr std::uint32_t kYearly = 0x0D;
  constexpr std::uint32_t kMinutesOfDay = 1440;
  constexpr std::uint32_t kMonthsOfYear = 12;
  numbers.skip(4);
  const bool isYearly = (numbers.word() & 0xFF) == kYearly;
  const std::uint32_t type = numbers.word() & 0xFF;
  numbers.skip(2);
  const std::optional<SYSTEMTIME> first = dateOf(numbers.dword());
  const std::uint32_t period = numbers.dword();
  const std::string anew = numbers.dword() == 1 ? " after it is done" : "";
  const std::string month = isYearly && first ? std::string(kMonths[first->wMonth - 1]) : "";
  const std::string months =
      isYearly && period % kMonthsOfYear == 0 ? every(period / kMonthsOfYear, "year") : every(period, "month");
  switch (type) {
    case 0:
      return every(period / kMinutesOfDay, "day") + anew;
    case 1:
      return every(period, "week") + " on " + weekdayList(numbers.dword()) + anew;
    case 2: {
      const std::string day = std::to_string(numbers.dword());
      return months + " on " + (isYearly ? day + " " + month : "day " + day) + anew;
    }
    case 3: {
      const std::uint32_t days = numbers.dword();
      const std::uint32_t nth = numbers.dword();
      return months + " on " + nthText(days, nth) + (isYearly ? " of " + month : "") + anew;
    }
    default:
      return {};
  }
}

std::string endWords(std::uint32_t type, std::uint32_t count, std::uint32_t endDate) {
  switch (type) {
    case 0x2021:
      return "until " + dateText(endDate);
    case 0x2022:
      return count == 1 ? "once" : std::to_string(count) + " times";
    default:
      return "without end";
  }
}

std::string twoDigits(std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); }

// "UTC+05:30".
std::string offsetText(std::int64_t minutesWest) {
  const std::int64_t minutes = minutesWest < 0 ? -minutesWest : minutesWest;
  return (minutesWest > 0 ? "UTC-" : "UTC+") + twoDigits(minutes / 60) + ":" + twoDigits(minutes % 60);
}

struct RuleDate {
  std::uint32_t month, weekday, week, hour, minute;
};

RuleDate readRuleDate(NumberReader& numbers) {
  numbers.skip(4);  // the year twice, which no rule has
  RuleDate date{};
  date.month = numbers.word();
  date.weekday = numbers.word();
  date.week = numbers.word();
  date.hour = numbers.word();
  date.minute = numbers.word();
  numbers.skip(4);
  return date;
}

std::string changeText(const RuleDate& date) {
  const std::string_view weekday = date.weekday < std::size(kWeekdays) ? kWeekdays[date.weekday] : "unknown day";
  const std::string_view month = date.month <= std::size(kMonths) ? kMonths[date.month - 1] : "unknown month";
  return "the " + std::string(ordinal(date.week)) + " " + std::string(weekday) + " of " + std::string(month) + " at " +
         twoDigits(date.hour) + ":" + twoDigits(date.minute);
}

}  // namespace

std::string recurrenceWords(std::string_view bytes) {
  NumberReader numbers(bytes);
  const std::string rule = ruleWords(numbers);
  const std::uint32_t endType = numbers.dword();
  const std::uint32_t count = numbers.dword();
  numbers.skip(4);
  const std::uint32_t deleted = numbers.dword();
  numbers.skip(std::uint64_t{deleted} * 4);
  const std::uint32_t moved = numbers.dword();
  numbers.skip(std::uint64_t{moved} * 4 + 4);
  const std::uint32_t endDate = numbers.dword();
  if (rule.empty() || numbers.isCut() || moved > deleted) {
    return kUnreadable;
  }
  std::string words = rule + ", " + endWords(endType, count, endDate);
  if (moved > 0) {
    words += ", " + std::to_string(moved) + " moved";
  }
  if (deleted > moved) {
    words += ", " + std::to_string(deleted - moved) + " deleted";
  }
  return words;
}

std::string zoneWords(std::string_view bytes) {
  constexpr std::size_t kSize = 48;
  if (bytes.size() != kSize) {
    return kUnreadable;
  }
  NumberReader numbers(bytes);
  const auto bias = [&] { return std::int64_t{static_cast<std::int32_t>(numbers.dword())}; };
  const std::int64_t base = bias();
  const std::int64_t standard = base + bias();
  const std::int64_t daylight = base + bias();
  const RuleDate toStandard = readRuleDate(numbers);
  const RuleDate toDaylight = readRuleDate(numbers);
  if (toStandard.month == 0 || toDaylight.month == 0) {
    return offsetText(base) + ", no daylight saving";
  }
  return offsetText(standard) + ", daylight saving " + offsetText(daylight) + " from " + changeText(toDaylight) + " to " +
         changeText(toStandard);
}

std::string structureWords(const GUID& set, std::uint32_t id, std::string_view bytes) {
  struct Row {
    const GUID& set;
    std::uint32_t id;
    std::string (*words)(std::string_view);
  };
  static constexpr Row kRows[] = {
      {PSETID_Appointment, 0x8216, &recurrenceWords},
      {PSETID_Task, 0x8116, &recurrenceWords},
      {PSETID_Appointment, 0x8233, &zoneWords},
  };
  const auto* row =
      std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& each) { return each.set == set && each.id == id; });
  return row == std::end(kRows) ? std::string() : row->words(bytes);
}

}  // namespace nalvo::host
