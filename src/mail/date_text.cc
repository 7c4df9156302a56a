// The text of dates.
#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>

#include "mail/date_time.h"

namespace nalvo::mail {
namespace {

void appendNumber(std::int64_t number, int digits, std::string& out) {
  for (std::int64_t place = digits == 4 ? 1000 : 10; place > 0; place /= 10) {
    out.push_back(static_cast<char>('0' + number / place % 10));
  }
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// What a date's text says. Fields that it lacks have their lowest value.
struct DateText {
  calendar::Fields fields;
  bool hasTime = false;
  std::optional<int> offsetMinutes;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  std::optional<DateText> read() {
    DateText date;
    if (rest_.size() < 4 || !isDigit(rest_[0])) {
      return {};
    }
    date.fields.year = take(4);
    if (date.fields.year == 0) {
      return {};
    }
    skip('-');
    readPart(date.fields.month);
    skip('-');
    readPart(date.fields.day);
    if (skip('T')) {
      date.hasTime = true;
      // The start of an observance may lie on the evening before: "T-20000".
      if (rest_.size() >= 2) {
        date.fields.hour = take(2);
      }
      skip(':');
      readPart(date.fields.minute);
      skip(':');
      readPart(date.fields.second);
    }
    rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    readOffset(date.offsetMinutes);
    return date;
  }

 private:
  bool skip(char c) {
    const bool there = rest_.starts_with(c);
    rest_.remove_prefix(there ? 1 : 0);
    return there;
  }

  // The number at the start of the next `count` characters, of which all are taken.
  int take(std::size_t count) {
    const std::string text(rest_.substr(0, count));
    rest_.remove_prefix(text.size());
    return std::atoi(text.c_str());
  }

  void readPart(std::int64_t& field) {
    if (rest_.size() >= 2 && isDigit(rest_[0])) {
      field = take(2);
    }
  }

  void readOffset(std::optional<int>& minutes) {
    if (skip('Z')) {
      minutes = 0;
      return;
    }
    const bool negative = rest_.starts_with('-');
    if (!skip('-') && !skip('+')) {
      return;
    }
    int sum = std::abs(take(2)) * 60;
    skip(':');
    if (rest_.size() >= 2) {
      sum += std::abs(take(2));
    }
    minutes = negative ? -sum : sum;
  }

  std::string_view rest_;
};

}  // namespace

std::string DateTime::toString(unsigned flags) const {
  if (isNull()) {
    return {};
  }
  const calendar::Fields fields = wallClock();
  if (fields.year > 9999) {
    return {};
  }
  const bool extended = (flags & kExtended) != 0;
  std::string text;
  const auto part = [&](std::int64_t number, int digits, char separator) {
    if (separator != 0 && extended) {
      text.push_back(separator);
    }
    appendNumber(number, digits, text);
  };
  part(fields.year, 4, 0);
  part(fields.month, 2, '-');
  part(fields.day, 2, '-');
  if (dateOnly_ && (flags & kWithTime) == 0) {
    return text;
  }
  text.push_back('T');
  part(fields.hour, 2, 0);
  part(fields.minute, 2, ':');
  part(fields.second, 2, ':');
  if (kind_ == Kind::Floating) {
    return text;
  }
  if ((flags & kMilliseconds) != 0) {
    text.append(".000");
  }
  const std::int64_t offset = offsetSeconds();
  if (offset == 0 && (flags & kOffset) == 0) {
    text.push_back('Z');
  } else if ((flags & kNoOffset) == 0) {
    const std::int64_t minutes = std::abs(offset) / 60;
    text.push_back(offset < 0 ? '-' : '+');
    part(minutes / 60, 2, 0);
    part(minutes % 60, 2, ':');
  }
  return text;
}

DateTime DateTime::parse(std::string_view text, std::shared_ptr<const TimeZone> zone) {
  const std::optional<DateText> read = Reader(text).read();
  if (!read) {
    return {};
  }
  const std::int64_t wall = calendar::timegm(read->fields);
  DateTime date = read->offsetMinutes || zone ? DateTime(wall) : fromLocalWall(wall);
  date.dateOnly_ = !read->hasTime;
  if (read->offsetMinutes) {
    date.setFixedOffset(Duration(std::int64_t{*read->offsetMinutes} * 60));
  }
  date.setZone(std::move(zone));
  return date;
}

DateTime DateTime::parseAsUtc(std::string_view text) {
  const std::optional<DateText> read = Reader(text).read();
  if (!read) {
    return {};
  }
  DateTime date(calendar::timegm(read->fields));
  date.dateOnly_ = !read->hasTime;
  return date;
}

}  // namespace nalvo::mail
