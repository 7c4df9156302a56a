#include "mime/dates.h"

#include <algorithm>
#include <array>
#include <charconv>  // from_chars
#include <chrono>
#include <cstdio>

#include "platform/text/text.h"
#include "platform/time/file_time.h"

namespace nalvo::mime {
namespace {

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> kWeekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

struct Zone {
  std::string_view name;
  int offsetMinutes;
};

// Names that senders use; of several zones under one name the one that mail means. The letters of the military alphabet were
// used with either sign, so they say no more than UTC.
constexpr Zone kZones[] = {
    {"UT", 0},     {"UTC", 0},     {"GMT", 0},     {"Z", 0},      {"WET", 0},    {"WEST", 60},  {"BST", 60},
    {"CET", 60},   {"MET", 60},    {"MEZ", 60},    {"CEST", 120}, {"MEST", 120}, {"MESZ", 120}, {"EET", 120},
    {"EEST", 180}, {"MSK", 180},   {"MSD", 240},   {"IST", 330},  {"HKT", 480},  {"SGT", 480},  {"JST", 540},
    {"KST", 540},  {"AEST", 600},  {"AEDT", 660},  {"NZST", 720}, {"NZDT", 780}, {"AST", -240}, {"ADT", -180},
    {"EST", -300}, {"EDT", -240},  {"CST", -360},  {"CDT", -300}, {"MST", -420}, {"MDT", -360}, {"PST", -480},
    {"PDT", -420}, {"AKST", -540}, {"AKDT", -480}, {"HST", -600}, {"NST", -210}, {"NDT", -150},
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The place of a name in a table, by its first three letters; -1 if it is none.
template <std::size_t N>
int placeOf(std::string_view word, const std::array<std::string_view, N>& names) {
  for (std::size_t i = 0; i < N; ++i) {
    if (word.size() >= 3 && equalsIgnoreCase(word.substr(0, 3), names[i])) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

// What was found so far.
struct Fields {
  int day = -1;
  int month = -1;  // from 0
  int year = -1;
  int hour = -1;
  int minute = 0;
  int second = 0;
  std::optional<int> offsetMinutes;
};

// Takes a date apart from left to right. Each part is known by its shape, so their order hardly matters.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text.substr(0, kLongest)) {}

  std::optional<Fields> read() {
    while (at_ < text_.size() && !isComplete()) {
      if (!step()) {
        return std::nullopt;
      }
    }
    const bool whole = fields_.day >= 0 && fields_.month >= 0 && fields_.year >= 0;
    return whole ? std::optional(fields_) : std::nullopt;
  }

 private:
  static constexpr std::size_t kLongest = 256;  // a longer text is no date; its beginning may be

  bool isComplete() const { return fields_.year >= 0 && fields_.hour >= 0 && fields_.offsetMinutes; }
  char peek(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }

  bool step() {
    const char c = peek();
    if (c == '(') {
      skipComment();
      return true;
    }
    if (isDigit(c)) {
      return number();
    }
    if (isLetter(c)) {
      return word();
    }
    if ((c == '+' || c == '-') && isDigit(peek(1)) && fields_.hour >= 0 && fields_.month >= 0) {
      return offset();
    }
    ++at_;
    return true;
  }

  void skipComment() {
    std::size_t depth = 0;
    do {
      depth += peek() == '(' ? 1U : 0U;
      depth -= peek() == ')' ? 1U : 0U;
      ++at_;
    } while (depth > 0 && at_ < text_.size());
  }

  // Digits as a number of at most six places; -1 for more.
  int digits(std::size_t* count = nullptr) {
    const std::size_t begin = at_;
    while (isDigit(peek())) {
      ++at_;
    }
    if (count != nullptr) {
      *count = at_ - begin;
    }
    int value = -1;
    if (at_ - begin <= 6) {
      std::from_chars(text_.data() + begin, text_.data() + at_, value);
    }
    return value;
  }

  // Blanks around the colons of a time are an old form.
  void skipBlanksBefore(char wanted) {
    const std::size_t next = text_.find_first_not_of(" \t", at_);
    at_ = next != std::string_view::npos && text_[next] == wanted ? next : at_;
  }
  void skipBlanks() { at_ = std::min(text_.find_first_not_of(" \t", at_), text_.size()); }

  bool number() {
    std::size_t count = 0;
    const int value = digits(&count);
    skipBlanksBefore(':');
    if (peek() == ':' || (peek() == '.' && isDigit(peek(1)) && fields_.hour < 0 && fields_.year >= 0)) {
      return time(value);
    }
    // "2008-01-31" and "20080131T090000" are forms of another standard, which some senders use.
    if (count == 4 && (peek() == '-' || peek() == '/') && isDigit(peek(1)) && fields_.day < 0) {
      fields_.year = value;
      return isoDate(peek());
    }
    if (fields_.day < 0) {
      fields_.day = value;
      return value >= 1 && value <= 31;
    }
    if (fields_.month < 0) {
      return false;  // a number where a month is wanted
    }
    if (fields_.year < 0) {
      return year(value, count);
    }
    return true;  // text behind the date
  }

  bool year(int value, std::size_t count) {
    if (value < 0) {
      return false;
    }
    if (count <= 2) {
      value += value < 50 ? 2000 : 1900;
    } else if (count == 3) {
      value += 1900;
    }
    fields_.year = value;
    return true;
  }

  bool isoDate(char separator) {
    ++at_;
    fields_.month = digits() - 1;
    if (fields_.month < 0 || fields_.month > 11 || peek() != separator) {
      return false;
    }
    ++at_;
    fields_.day = digits();
    if (peek() == 'T' || peek() == 't') {
      ++at_;
    }
    return fields_.day >= 1 && fields_.day <= 31;
  }

  bool time(int hour) {
    if (fields_.hour >= 0) {
      digits();  // a second time is text behind the date
      ++at_;
      return true;
    }
    fields_.hour = hour;
    ++at_;
    skipBlanks();
    fields_.minute = digits();
    skipBlanksBefore(':');
    if (peek() == ':' || (peek() == '.' && isDigit(peek(1)))) {
      ++at_;
      skipBlanks();
      fields_.second = digits();
    }
    if (peek() == '.' && isDigit(peek(1))) {  // a fraction
      ++at_;
      digits();
    }
    // 24:00:00 ends a day, 60 is a leap second.
    const bool endOfDay = hour == 24 && fields_.minute == 0 && fields_.second == 0;
    return ((hour >= 0 && hour <= 23) || endOfDay) && fields_.minute >= 0 && fields_.minute <= 59 && fields_.second >= 0 &&
           fields_.second <= 60;
  }

  bool word() {
    const std::size_t begin = at_;
    while (isLetter(peek())) {
      ++at_;
    }
    const std::string_view word = text_.substr(begin, at_ - begin);
    if (fields_.hour >= 0) {
      if (halfDay(word) || zone(word)) {
        return true;
      }
    }
    const int month = placeOf(word, kMonths);
    if (fields_.month < 0 && month >= 0) {
      fields_.month = month;
      return true;
    }
    // A word in front of the day is a weekday in some language; one between day and month makes it no date.
    return placeOf(word, kWeekdays) >= 0 || fields_.day < 0 || fields_.month >= 0;
  }

  bool halfDay(std::string_view word) {
    const bool pm = equalsIgnoreCase(word, "PM");
    if (!pm && !equalsIgnoreCase(word, "AM")) {
      return false;
    }
    if (fields_.hour >= 1 && fields_.hour <= 12) {
      fields_.hour = fields_.hour % 12 + (pm ? 12 : 0);
    }
    return true;
  }

  bool zone(std::string_view word) {
    for (const Zone& zone : kZones) {
      if (equalsIgnoreCase(word, zone.name)) {
        // "GMT+0200" and "UTC+2": the number is what counts.
        const bool numberFollows = zone.offsetMinutes == 0 && (peek() == '+' || peek() == '-') && isDigit(peek(1));
        if (!numberFollows && !fields_.offsetMinutes) {
          fields_.offsetMinutes = zone.offsetMinutes;
        }
        return true;
      }
    }
    if (word.size() == 1 && !fields_.offsetMinutes) {
      fields_.offsetMinutes = 0;
      return true;
    }
    return false;
  }

  bool offset() {
    const int sign = peek() == '-' ? -1 : 1;
    ++at_;
    std::size_t count = 0;
    int value = digits(&count);
    int minutes = 0;
    if (peek() == ':' && isDigit(peek(1))) {
      ++at_;
      minutes = value * 60 + digits();
    } else if (count <= 2) {
      minutes = value * 60;
    } else {
      minutes = value / 100 * 60 + value % 100;
    }
    // An offset beyond a day is rubbish behind a good date.
    if (!fields_.offsetMinutes) {
      fields_.offsetMinutes = value < 0 || minutes >= 24 * 60 ? 0 : sign * minutes;
    }
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  Fields fields_;
};

}  // namespace

std::optional<FILETIME> parseInetDate(std::string_view text) {
  const std::optional<Fields> fields = DateReader(trim(text)).read();
  if (!fields) {
    return std::nullopt;
  }
  using namespace std::chrono;
  const year_month_day date{year{fields->year}, month{static_cast<unsigned>(fields->month + 1)},
                            day{static_cast<unsigned>(fields->day)}};
  if (fields->year > 30'827 || !date.ok()) {
    return std::nullopt;
  }
  const std::int64_t days = sys_days{date}.time_since_epoch().count();
  const std::int64_t minutes = std::max(fields->hour, 0) * 60 + fields->minute - fields->offsetMinutes.value_or(0);
  return fileTimeOfUnix(days * 86'400 + minutes * 60 + fields->second);
}

std::string formatInetDate(FILETIME time) {
  const std::optional<SYSTEMTIME> t = fileTimeToSystemTime(time);
  if (!t) {
    return {};
  }
  std::array<char, 48> text{};
  const int size = std::snprintf(text.data(), text.size(), "%s, %02u %s %04u %02u:%02u:%02u +0000",
                                 kWeekdays[t->wDayOfWeek].data(), unsigned{t->wDay}, kMonths[t->wMonth - 1U].data(),
                                 unsigned{t->wYear}, unsigned{t->wHour}, unsigned{t->wMinute}, unsigned{t->wSecond});
  return std::string(text.data(), static_cast<std::size_t>(size));
}

}  // namespace nalvo::mime
