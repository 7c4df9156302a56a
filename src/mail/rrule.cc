#include "mail/rrule.h"

#include <algorithm>
#include <charconv>  // from_chars
#include <cstdlib>   // abs
#include <limits>

#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kFrequencies[] = {"YEARLY", "MONTHLY", "WEEKLY", "DAILY", "HOURLY", "MINUTELY", "SECONDLY"};
constexpr std::string_view kWeekdays[] = {"MO", "TU", "WE", "TH", "FR", "SA", "SU"};

struct ListKey {
  std::string_view name;
  DateField field;
  int lowest, highest;  // values further out never match; the negative ones reach as far
};
// In the order of printing.
constexpr ListKey kLists[] = {
    {"BYMONTH", kMonth, 1, 12},       {"BYWEEKNO", kWeek, 1, 53},   {"BYYEARDAY", kYearDay, 1, 366},
    {"BYMONTHDAY", kMonthDay, 1, 31}, {"BYDAY", kWeekday, 0, 53},  // its ordinals
    {"BYHOUR", kHour, 0, 24},         {"BYMINUTE", kMinute, 0, 60}, {"BYSECOND", kSecond, 0, 60},
};
constexpr ListKey kSetPos = {"BYSETPOS", kYear, 1, 366};

// The number that a text begins with, 0 for none. Numbers too big stop at the end of their type.
int numberOf(std::string_view text) {
  text = trimLeft(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.starts_with('-')) {
    return 0;
  }
  if (error == std::errc::result_out_of_range) {
    value = std::numeric_limits<int>::max();
  }
  return negative ? -value : value;
}

// 1 to 7; 0 for a text that names no weekday.
int weekdayOf(std::string_view name) {
  for (int i = 0; i < 7; ++i) {
    if (equalsIgnoreCase(name, kWeekdays[i])) {
      return i + 1;
    }
  }
  return 0;
}

// Cuts `text` at any of `separators`; the pieces are trimmed.
template <typename Take>
void forEachPiece(std::string_view text, std::string_view separators, Take take) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(separators), text.size());
    take(trim(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

bool canMatch(const ListKey& key, int entry) {
  const int value = key.field == kWeekday ? ordinalOf(entry) : entry;
  return std::abs(value) >= key.lowest && std::abs(value) <= key.highest;
}

// Adds an entry that isn't there. One that never matches stays only when there is no other, so that the rule still gives
// nothing then.
void addEntry(std::vector<int>& list, const ListKey& key, int entry) {
  if (!canMatch(key, entry)) {
    if (list.empty()) {
      list.push_back(entry);
    }
    return;
  }
  if (list.size() == 1 && !canMatch(key, list.front())) {
    list.clear();
  }
  if (std::find(list.begin(), list.end(), entry) == list.end()) {
    list.push_back(entry);
  }
}

void addDay(std::vector<int>& list, const ListKey& key, int ordinal, int weekday) {
  constexpr int kMostWritten = 9999;
  addEntry(list, key, dayEntry(std::clamp(ordinal, -kMostWritten, kMostWritten), weekday));
}

DateTime dateOf(std::string_view text) { return DateTime::parseAsUtc(text); }

void parseList(std::string_view text, const ListKey& key, std::vector<int>& list) {
  forEachPiece(text, ",", [&](std::string_view item) {
    if (key.field != kWeekday) {
      addEntry(list, key, numberOf(item));
      return;
    }
    const bool hasOrdinal = !item.empty() && (item[0] == '+' || item[0] == '-' || (item[0] >= '0' && item[0] <= '9'));
    const auto name = std::find_if(item.begin(), item.end(), [](char c) { return static_cast<unsigned char>(c) >= 'A'; });
    if (const int weekday = weekdayOf(item.substr(static_cast<std::size_t>(name - item.begin())))) {
      addDay(list, key, hasOrdinal ? numberOf(item) : 0, weekday);
    }
  });
}

// The grammar of iCalendar: "KEY=value" between semicolons.
class Parser {
 public:
  explicit Parser(RRule& rule) : rule_(rule) {}

  void parse(std::string_view text) {
    bool stopped = false;
    forEachPiece(text, ";", [&](std::string_view token) {
      const std::size_t equals = token.find('=');
      if (!stopped && equals != std::string_view::npos) {
        stopped = !take(trim(token.substr(0, equals)), trim(token.substr(equals + 1)));
      }
    });
  }

  bool hadSetPos() const { return hadSetPos_; }
  bool hadList() const { return hadList_; }

 private:
  // False when the rest can't mean anything.
  bool take(std::string_view key, std::string_view value) {
    const auto is = [key](std::string_view name) { return equalsIgnoreCase(key, name); };
    if (is("FREQ")) {
      const auto found = std::find_if(std::begin(kFrequencies), std::end(kFrequencies),
                                      [value](std::string_view name) { return equalsIgnoreCase(value, name); });
      if (found == std::end(kFrequencies)) {
        return false;
      }
      rule_.freq = static_cast<Frequency>(found - std::begin(kFrequencies));
    } else if (is("UNTIL")) {
      rule_.until = dateOf(value);
    } else if (is("X-UNTIL")) {
      rule_.xUntil = dateOf(value);
    } else if (is("COUNT")) {
      rule_.count = numberOf(value);
    } else if (is("INTERVAL")) {
      rule_.interval = numberOf(value);
    } else if (is("WKST")) {
      const int weekday = weekdayOf(value);
      rule_.weekStart = weekday != 0 ? weekday : 1;
    } else if (is(kSetPos.name)) {
      hadSetPos_ = true;
      parseList(value, kSetPos, rule_.bySetPos);
    } else if (const auto list =
                   std::find_if(std::begin(kLists), std::end(kLists), [&](const ListKey& row) { return is(row.name); });
               list != std::end(kLists)) {
      hadList_ = true;
      parseList(value, *list, rule_.by[list->field]);
    }
    return true;
  }

  RRule& rule_;
  bool hadSetPos_ = false;
  bool hadList_ = false;
};

// The grammar of vCalendar 1.0.
class OldParser {
 public:
  explicit OldParser(RRule& rule) : rule_(rule) {}

  void parse(std::string_view text) {
    bool first = true;
    bool stopped = false;
    forEachPiece(text, " \t", [&](std::string_view item) {
      constexpr std::size_t kTooLong = 20;
      if (stopped || item.empty() || item.size() >= kTooLong) {
        return;
      }
      stopped = !(first ? takeWord(item) : takeItem(item));
      first = false;
    });
  }

 private:
  struct Word {
    std::string_view name;
    Frequency freq;
    DateField numbers;  // what plain numbers mean; kYear for nothing
    bool weekdays;
  };
  static constexpr Word kWords[] = {
      {"M", kMinutely, kYear, false},   {"D", kDaily, kYear, true},         {"W", kWeekly, kYear, true},
      {"MP", kMonthly, kYear, true},    {"MD", kMonthly, kMonthDay, false}, {"YM", kYearly, kMonth, false},
      {"YD", kYearly, kYearDay, false},
  };

  static const ListKey& listOf(DateField field) {
    return *std::find_if(std::begin(kLists), std::end(kLists), [field](const ListKey& row) { return row.field == field; });
  }

  // "MP1": the frequency and the interval.
  bool takeWord(std::string_view item) {
    const auto letters = std::find_if_not(item.begin(), item.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    const std::string_view name = item.substr(0, static_cast<std::size_t>(letters - item.begin()));
    const std::string_view number = item.substr(name.size());
    const auto word =
        std::find_if(std::begin(kWords), std::end(kWords), [name](const Word& row) { return row.name == name; });
    if (word == std::end(kWords) || number.find_first_of("0123456789") > 1) {
      return false;
    }
    word_ = *word;
    rule_.freq = word->freq;
    rule_.interval = numberOf(number);
    return true;
  }

  static bool isDate(std::string_view item) {
    return item.size() > 8 || (item.size() == 8 && item.find_first_not_of("0123456789") == std::string_view::npos);
  }

  void add(int number) {
    if (word_.numbers != kYear) {
      addEntry(rule_.by[word_.numbers], listOf(word_.numbers), number);
    }
  }

  // False behind the count, which is the last.
  bool takeItem(std::string_view item) {
    if (isDate(item)) {
      rule_.until = dateOf(item);
    } else if (item[0] == '#') {
      const int count = numberOf(item.substr(1));
      rule_.count = count != 0 ? count : -1;
      return false;
    } else if (const int number = numberOf(item); number != 0) {
      if (item.ends_with('+') || item.ends_with('-')) {
        ordinal_ = item.ends_with('-') ? -number : number;
        if (word_.numbers == kMonthDay) {
          add(ordinal_);
        }
      } else {
        add(number);
      }
    } else if (item == "LD" && word_.numbers == kMonthDay) {
      add(-1);
    } else if (const int weekday = weekdayOf(item); weekday != 0 && word_.weekdays) {
      addDay(rule_.by[kWeekday], listOf(kWeekday), ordinal_, weekday);
    }
    return true;
  }

  RRule& rule_;
  Word word_{};
  int ordinal_ = 0;
};

template <typename Write>
void appendList(std::string_view name, const std::vector<int>& list, std::string& out, Write write) {
  if (list.empty()) {
    return;
  }
  out.append(";").append(name);
  char separator = '=';
  for (const int entry : list) {
    out.push_back(separator);
    write(entry);
    separator = ',';
  }
}

bool isWeekday(int weekday) { return weekday >= 1 && weekday <= 7; }

}  // namespace

RRule::RRule(std::string_view text) {
  if (text.find_first_of("=;") == std::string_view::npos) {
    OldParser(*this).parse(text);
    valid = freq != kNoFrequency;
    return;
  }
  Parser parser(*this);
  parser.parse(text);
  valid = freq != kNoFrequency && (!parser.hadSetPos() || parser.hadList());
  if (std::all_of(by.begin(), by.end(), [](const auto& list) { return list.empty(); })) {
    bySetPos.clear();  // no item of the lists could be read, and positions alone can't be written
  }
}

std::string RRule::toString() const {
  if (!valid) {
    return {};
  }
  std::string text = "FREQ=";
  if (freq < kYearly || freq > kSecondly) {
    return text;
  }
  text.append(kFrequencies[freq]);
  // A date beyond the year 9999 has no text, and ends nothing that people see.
  const auto writeDate = [&text](const char* name, const DateTime& date) {
    const std::string when = date.isNull() ? std::string() : date.toString();
    text.append(when.empty() ? "" : name).append(when);
    return !when.empty();
  };
  writeDate(";X-UNTIL=", xUntil);
  if (!writeDate(";UNTIL=", until) && count >= 1) {
    text.append(";COUNT=").append(std::to_string(count));
  }
  if (interval > 1) {
    text.append(";INTERVAL=").append(std::to_string(interval));
  }
  const auto writeNumber = [&text](int entry) { text.append(std::to_string(entry)); };
  for (const ListKey& list : kLists) {
    if (list.field != kWeekday) {
      appendList(list.name, by[list.field], text, writeNumber);
      continue;
    }
    const auto& days = by[kWeekday];
    if (!std::all_of(days.begin(), days.end(), [](int entry) { return isWeekday(weekdayOfEntry(entry)); })) {
      return text;
    }
    appendList(list.name, days, text, [&](int entry) {
      if (ordinalOf(entry) != 0) {
        writeNumber(ordinalOf(entry));
      }
      text.append(kWeekdays[weekdayOfEntry(entry) - 1]);
    });
  }
  appendList(kSetPos.name, bySetPos, text, writeNumber);
  if (weekStart != 1 && isWeekday(weekStart)) {
    text.append(";WKST=").append(kWeekdays[weekStart - 1]);
  }
  return text;
}

RRuleIterator RRule::iterate(const DateTime& start, bool includeStart) const& { return {*this, start, includeStart}; }

}  // namespace nalvo::mail
