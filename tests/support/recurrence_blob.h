// Reads recurrence patterns as their published layout tells, on its own, and says on which dates they fall.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nalvo::test {

// Minutes since 1601 by the wall clock of the item.
struct Occurrence {
  std::int64_t start;
  std::int64_t end;

  friend auto operator<=>(const Occurrence&, const Occurrence&) = default;
};

class RecurrenceBlob {
 public:
  // std::out_of_range for a blob that is cut off, std::invalid_argument for one that contradicts itself or goes on behind
  // its end.
  RecurrenceBlob(std::string_view bytes, bool isAppointment) : bytes_(bytes) {
    readPattern();
    if (isAppointment) {
      readAppointment();
    } else {
      skipBlock();
      skipBlock();
    }
    if (at_ != bytes_.size()) {
      throw std::invalid_argument("more behind the end");
    }
  }

  // The dates up to the end of the series, at most `most` before the deleted ones go.
  std::vector<Occurrence> occurrences(std::size_t most) const {
    std::vector<Occurrence> result;
    std::size_t given = 0;
    const std::int64_t limit = endType == kAfterCount ? occurrenceCount : std::int64_t{1} << 40;
    for (std::int64_t day = startDate; day <= endDate && given < most; day += kDay) {
      if (!falls(day)) {
        continue;
      }
      if (static_cast<std::int64_t>(++given) > limit) {
        throw std::invalid_argument("dates behind the last of the count");
      }
      if (!std::binary_search(deleted.begin(), deleted.end(), day)) {
        result.push_back({day + startOffset, day + endOffset});
      }
    }
    if (endType == kAfterCount && given < most && static_cast<std::int64_t>(given) != limit) {
      throw std::invalid_argument("the end date comes before the last of the count");
    }
    for (const Exception& exception : exceptions) {
      result.push_back({exception.start, exception.end});
    }
    std::sort(result.begin(), result.end());
    return result;
  }

  // The bytes without what a writer may choose or does not know: versions, the count of a series that isn't counted, how the
  // weeks of each week begin, texts and reminders of exceptions, extended blocks.
  const std::string& essence() const { return essence_; }

  static constexpr std::int64_t kDay = 1440;
  static constexpr std::uint32_t kUntil = 0x2021;
  static constexpr std::uint32_t kAfterCount = 0x2022;
  static constexpr std::uint32_t kNever = 0x2023;

  struct Exception {
    std::int64_t start, end, original;
    std::uint16_t flags;
    std::uint32_t allDay;
  };

  std::uint32_t frequency = 0, patternType = 0, firstDateTime = 0, period = 0, weekdays = 0, monthDay = 0, nth = 0;
  std::uint32_t endType = 0, occurrenceCount = 0, firstDayOfWeek = 0;
  std::vector<std::int64_t> deleted, modified;
  std::int64_t startDate = 0, endDate = 0, startOffset = 0, endOffset = 0;
  std::vector<Exception> exceptions;

 private:
  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes_.at(at_ + i))) << 8 * i;
    }
    at_ += size;
    return value;
  }
  std::uint32_t chosen(std::size_t size) {
    essence_.append(size, '?');
    return number(size);
  }
  std::uint32_t kept(std::size_t size) {
    const std::uint32_t value = number(size);
    essence_.append(bytes_.substr(at_ - size, size));
    return value;
  }
  void skip(std::size_t size) {
    if (size > bytes_.size() - at_) {
      throw std::out_of_range("cut off");
    }
    at_ += size;
  }
  void skipBlock() { skip(number(4)); }
  std::vector<std::int64_t> dates() {
    std::vector<std::int64_t> result(kept(4) & 0xFFFFF);
    for (std::int64_t& date : result) {
      date = kept(4);
    }
    if (!std::is_sorted(result.begin(), result.end())) {
      throw std::invalid_argument("dates do not rise");
    }
    return result;
  }

  void readPattern() {
    chosen(4);
    frequency = kept(2);
    patternType = kept(2);
    kept(2);
    const std::size_t first = essence_.size();
    firstDateTime = kept(4);
    period = kept(4);
    kept(4);
    const bool everyWeek = patternType == 1 && period == 1;
    if (everyWeek) {
      essence_.replace(first, 4, "????");
    }
    weekdays = patternType == 1 || patternType == 3 ? kept(4) : 0;
    monthDay = patternType == 2 ? kept(4) : 0;
    nth = patternType == 3 ? kept(4) : 0;
    endType = kept(4);
    occurrenceCount = endType == kAfterCount ? kept(4) : chosen(4);
    firstDayOfWeek = patternType == 1 && period > 1 ? kept(4) : chosen(4);
    deleted = dates();
    modified = dates();
    startDate = kept(4);
    endDate = kept(4);
  }

  void readAppointment() {
    chosen(4);
    const std::uint32_t writer = chosen(4);
    startOffset = kept(4);
    endOffset = kept(4);
    exceptions.resize(kept(2));
    for (Exception& exception : exceptions) {
      readException(exception);
    }
    skipBlock();
    for (const Exception& exception : exceptions) {
      skipExtended(exception, writer);
    }
    skipBlock();
  }

  void readException(Exception& exception) {
    exception.start = kept(4);
    exception.end = kept(4);
    exception.original = kept(4);
    exception.flags = static_cast<std::uint16_t>(number(2));
    essence_ += (exception.flags & 0x80) != 0 ? '1' : '0';
    for (std::uint16_t flag = 1; flag <= 0x100; flag = static_cast<std::uint16_t>(flag << 1)) {
      if ((exception.flags & flag) == 0) {
        continue;
      }
      if (flag == 0x01 || flag == 0x10) {  // subject, location: length with terminator, length, text
        number(2);
        skip(number(2));
      } else if (flag == 0x80) {
        exception.allDay = kept(4);
      } else {
        number(4);
      }
    }
  }

  void skipExtended(const Exception& exception, std::uint32_t writer) {
    if (writer >= 0x3009) {
      skipBlock();
    }
    skipBlock();
    if ((exception.flags & 0x11) != 0) {
      skip(12);
      for (const std::uint16_t text : {std::uint16_t{0x01}, std::uint16_t{0x10}}) {
        if ((exception.flags & text) != 0) {
          skip(std::size_t{2} * number(2));
        }
      }
      skipBlock();
    }
  }

  static std::chrono::sys_days dayAt(std::int64_t minutes) {
    constexpr std::chrono::sys_days kFirst = std::chrono::January / 1 / 1601;
    return kFirst + std::chrono::days(minutes / kDay);
  }
  static std::int64_t monthsOf(std::int64_t minutes) {
    const std::chrono::year_month_day date(dayAt(minutes));
    return 12 * std::int64_t{static_cast<int>(date.year())} + static_cast<unsigned>(date.month());
  }
  bool onWeekday(std::chrono::sys_days day) const { return (weekdays >> std::chrono::weekday(day).c_encoding() & 1) != 0; }

  bool falls(std::int64_t day) const {
    const std::chrono::sys_days date = dayAt(day);
    if (patternType == 0) {
      return (day - firstDateTime) % period == 0;
    }
    if (patternType == 1) {
      const std::int64_t into = (std::chrono::weekday(date).c_encoding() + 7 - firstDayOfWeek) % 7;
      return onWeekday(date) && (period == 1 || (day - into * kDay - firstDateTime) % (period * 7 * kDay) == 0);
    }
    if ((monthsOf(day) - monthsOf(firstDateTime)) % period != 0) {
      return false;
    }
    const std::chrono::year_month_day ymd(date);
    const auto last = static_cast<unsigned>((ymd.year() / ymd.month() / std::chrono::last).day());
    const auto dayOfMonth = static_cast<unsigned>(ymd.day());
    if (patternType == 2) {
      return dayOfMonth == std::min(monthDay, last);
    }
    std::vector<unsigned> matching;
    for (unsigned each = 1; each <= last; ++each) {
      if (onWeekday(ymd.year() / ymd.month() / std::chrono::day(each))) {
        matching.push_back(each);
      }
    }
    return !matching.empty() &&
           (nth >= 5 ? matching.back() : matching.at(std::min<std::size_t>(nth, matching.size()) - 1)) == dayOfMonth;
  }

  std::string_view bytes_;
  std::size_t at_ = 0;
  std::string essence_;
};

}  // namespace nalvo::test
