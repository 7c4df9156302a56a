#include "mail/date_time.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "mail/saturating.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"

namespace nalvo::mail {
namespace {

std::int64_t inRange(std::int64_t seconds) { return std::clamp(seconds, calendar::kFirstSecond, calendar::kLastSecond); }

calendar::Fields fieldsOf(int day, int month, int year, int hour = 0, int minute = 0, int second = 0) {
  return {year, month, day, hour, minute, second, 0, 0};
}

// Platforms know no more than this of their local time.
bool isLocalTimeKnown(std::int64_t seconds) { return seconds >= 86401 && seconds <= 32535216000; }

// The instant at which the machine's wall clock shows `wall`; no value when the platform fails. A wall clock that is left
// out is taken as behind the change, of one that comes twice the first.
std::optional<std::int64_t> instantOfWall(std::int64_t wall) {
  const calendar::Fields fields = calendar::gmtime(wall);
  std::tm local{};
  local.tm_year = static_cast<int>(fields.year - 1900);
  local.tm_mon = static_cast<int>(fields.month - 1);
  local.tm_mday = static_cast<int>(fields.day);
  local.tm_hour = static_cast<int>(fields.hour);
  local.tm_min = static_cast<int>(fields.minute);
  local.tm_sec = static_cast<int>(fields.second);
  local.tm_isdst = -1;
  local.tm_wday = -1;  // stays so on failure, when -1 is also an instant
  const std::time_t instant = std::mktime(&local);
  return local.tm_wday != -1 ? std::optional(std::int64_t{instant}) : std::nullopt;
}

// In seconds, cut to whole minutes.
Duration localOffsetAt(std::int64_t seconds, bool isUtc) {
  if (!isLocalTimeKnown(seconds)) {
    seconds = unixSecondsOf(currentFileTime());
  }
  const std::optional<std::int64_t> instant = isUtc ? seconds : instantOfWall(seconds);
  const std::time_t time = instant.value_or(0);
  std::tm local{};
  if (!instant || localtime_r(&time, &local) == nullptr) {
    return {};
  }
  return Duration(local.tm_gmtoff / 60 * 60);
}

}  // namespace

DateTime::DateTime(std::int64_t seconds)
    : seconds_(seconds == kNull ? kNull : inRange(seconds)), offsetMinutes_(0), kind_(Kind::Fixed) {}

DateTime::DateTime(int day, int month, int year) : DateTime(calendar::timegm(fieldsOf(day, month, year))) {
  dateOnly_ = true;
}

DateTime::DateTime(int day, int month, int year, int hour, int minute, int second)
    : DateTime(calendar::timegm(fieldsOf(day, month, year, hour, minute, second))) {}

DateTime::DateTime(int day, int month, int year, int hour, int minute, int second, Duration offset)
    : DateTime(day, month, year, hour, minute, second) {
  setFixedOffset(offset);
}

DateTime DateTime::now() { return DateTime(unixSecondsOf(currentFileTime())); }

DateTime DateTime::fromTimeT(std::time_t time) { return time < 0 ? DateTime() : DateTime(std::int64_t{time}); }

DateTime DateTime::fromSystemTime(const SYSTEMTIME& time) {
  return {time.wDay, time.wMonth, time.wYear, time.wHour, time.wMinute, time.wSecond};
}

void DateTime::toSystemTime(SYSTEMTIME& out) const {
  if (isNull()) {
    return;
  }
  const calendar::Fields fields = calendar::gmtime(dateOnly_ ? wallSeconds() : seconds_);
  const auto word = [](std::int64_t number) { return static_cast<std::uint16_t>(number); };
  out = {word(fields.year), word(fields.month),  word(fields.weekday % 7), word(fields.day),
         word(fields.hour), word(fields.minute), word(fields.second),      0};
}

Duration DateTime::localOffset(const DateTime& date, bool isUtc) { return localOffsetAt(date.seconds_, isUtc); }

Duration DateTime::getOffset() const {
  if (isNull()) {
    return {};
  }
  if (kind_ != Kind::Floating && offsetMinutes_ != kUnknownOffset) {
    return Duration(std::int64_t{offsetMinutes_} * 60);
  }
  if (kind_ == Kind::Floating) {
    return localOffsetAt(seconds_, true);
  }
  const Duration offset = zone_->getOffsetAt(seconds_);
  // Kept offsets have whole minutes, and the first answer must be the same as the next.
  return offset.isNull() ? offset : Duration(offset.seconds() / 60 * 60);
}

// Read in the same way as this date, kept offsets apart.
std::int64_t DateTime::offsetAt(std::int64_t instant) const {
  switch (kind_) {
    case Kind::Zoned:
      return zone_->getOffsetAt(instant).seconds() / 60 * 60;
    case Kind::Fixed:
      return std::int64_t{offsetMinutes_} * 60;
    case Kind::Floating:
      break;
  }
  return localOffsetAt(instant, true).seconds();
}

std::int64_t DateTime::wallSeconds() const { return isNull() ? seconds_ : seconds_ + offsetSeconds(); }

calendar::Fields DateTime::wallClock() const { return calendar::gmtime(wallSeconds()); }

void DateTime::readAs(Kind kind, std::shared_ptr<const TimeZone> zone, std::int32_t offsetMinutes) {
  kind_ = kind;
  zone_ = std::move(zone);
  offsetMinutes_ = offsetMinutes;
}

// Finds the instant at which the wall clock shows `wall`. The first estimate takes the offset that holds at the same number
// as an instant, which is wrong for some hours around a change.
void DateTime::setWallSeconds(std::int64_t wall) {
  wall = inRange(wall);
  if (kind_ == Kind::Fixed) {
    seconds_ = inRange(wall - offsetAt(wall));
    return;
  }
  const std::int64_t first = offsetAt(wall);
  std::int64_t instant = wall - first;
  std::int64_t offset = offsetAt(instant);
  if (offset != first) {
    const std::int64_t other = wall - offset;
    const std::int64_t otherOffset = offsetAt(other);
    // Behind a gap west of Greenwich the first estimate lies ahead of the change, and the other one fits.
    if (offset < first || (first >= 0 && offset >= 0) || otherOffset == offset) {
      instant = other;
      offset = otherOffset;
    }
  }
  seconds_ = inRange(instant);
  if (kind_ == Kind::Zoned) {
    offsetMinutes_ = seconds_ == instant ? static_cast<std::int32_t>(offset / 60) : kUnknownOffset;
  }
}

void DateTime::moveBy(std::int64_t seconds) {
  if (isNull()) {
    return;
  }
  seconds_ = inRange(saturating::add(seconds_, seconds));
  if (kind_ == Kind::Zoned) {
    offsetMinutes_ = kUnknownOffset;
  }
}

DateTime& DateTime::operator+=(Duration by) {
  moveBy(by.seconds());
  return *this;
}

DateTime& DateTime::operator-=(Duration by) {
  moveBy(saturating::negate(by.seconds()));
  return *this;
}

DateTime operator+(DateTime date, Duration by) {
  date += by;
  date.dateOnly_ = date.dateOnly_ && by.seconds() % calendar::kDay == 0;
  return date;
}

DateTime operator-(DateTime date, Duration by) { return std::move(date) + Duration(saturating::negate(by.seconds())); }

Duration operator-(const DateTime& a, const DateTime& b) { return Duration(a.seconds_) - Duration(b.seconds_); }

void DateTime::setZone(std::shared_ptr<const TimeZone> zone) {
  if (isNull() || !zone || !zone->isValid()) {
    return;
  }
  const std::int64_t wall = wallSeconds();
  readAs(Kind::Zoned, std::move(zone), kUnknownOffset);
  setWallSeconds(wall);
}

void DateTime::setFixedOffset(Duration offset) {
  if (offset.isNull()) {
    setFloating();
    return;
  }
  const std::int64_t wall = wallSeconds();
  constexpr std::int64_t kMostMinutes = 100 * 60;  // more than two digits of hours can't be written
  readAs(Kind::Fixed, {}, static_cast<std::int32_t>(std::clamp(offset.seconds() / 60, -kMostMinutes + 1, kMostMinutes - 1)));
  if (!isNull()) {
    setWallSeconds(wall);
  }
}

DateTime DateTime::fromLocalWall(std::int64_t wall) {
  const std::optional<std::int64_t> instant = isLocalTimeKnown(wall) ? instantOfWall(wall) : std::nullopt;
  DateTime date(instant.value_or(wall));
  date.readAs(Kind::Floating, {}, kUnknownOffset);
  if (!instant) {
    date.setWallSeconds(wall);
  }
  return date;
}

void DateTime::setFloating() {
  const std::int64_t wall = wallSeconds();
  readAs(Kind::Floating, {}, kUnknownOffset);
  if (!isNull()) {
    setWallSeconds(wall);
  }
}

void DateTime::moveToZone(std::shared_ptr<const TimeZone> zone) {
  if (!isNull() && zone && zone->isValid()) {
    readAs(Kind::Zoned, std::move(zone), kUnknownOffset);
  }
}

void DateTime::freezeOffset() {
  if (zone_) {
    const auto minutes = static_cast<std::int32_t>(offsetSeconds() / 60);
    readAs(Kind::Fixed, {}, minutes);
  }
}

DateTime DateTime::makeDateOnly() const {
  if (isNull() || dateOnly_) {
    return *this;
  }
  const calendar::Fields wall = wallClock();
  DateTime day(calendar::timegm({wall.year, wall.month, wall.day, 0, 0, 0, 0, 0}));
  day.setZone(zone_);
  day.dateOnly_ = true;
  return day;
}

DateTime DateTime::midnight() const {
  if (isNull() || dateOnly_) {
    return *this;
  }
  const calendar::Fields wall = wallClock();
  DateTime start = *this;
  start.setWallSeconds(calendar::timegm({wall.year, wall.month, wall.day, 0, 0, 0, 0, 0}));
  return start;
}

int DateTime::field(DateField index, int weekStart) const {
  const calendar::Fields fields = wallClock();
  switch (index) {
    case kYear:
      return static_cast<int>(fields.year);
    case kMonth:
      return static_cast<int>(fields.month);
    case kWeek:
      return calendar::weekOf(fields, weekStart);
    case kYearDay:
      return fields.yearDay;
    case kMonthDay:
      return static_cast<int>(fields.day);
    case kWeekday:
      return fields.weekday;
    case kHour:
      return static_cast<int>(fields.hour);
    case kMinute:
      return static_cast<int>(fields.minute);
    case kSecond:
      break;
  }
  return static_cast<int>(fields.second);
}

void DateTime::setField(DateField index, int value, int weekStart) {
  if (isNull()) {
    return;
  }
  calendar::Fields fields = wallClock();
  dateOnly_ = dateOnly_ && index <= kWeekday;
  switch (index) {
    case kYear:
      fields.year = value;
      break;
    case kMonth:
      fields.month = value;
      fields.day = std::min<std::int64_t>(fields.day, calendar::daysOfMonth(fields.year, fields.month));
      break;
    case kWeek: {
      const int first = calendar::daysInto(calendar::weekdayOf(fields.year, 1, 1), weekStart);
      fields.month = 1;
      fields.day = calendar::daysInto(fields.weekday, weekStart) + 7 * std::int64_t{value} - first + (first < 4 ? -6 : 1);
      break;
    }
    case kYearDay:
      fields.month = 1;
      fields.day = value;
      break;
    case kMonthDay:
      fields.day = value;
      break;
    case kWeekday:
      fields.day += calendar::daysInto(value, weekStart) - calendar::daysInto(fields.weekday, weekStart);
      break;
    case kHour:
      fields.hour = value;
      break;
    case kMinute:
      fields.minute = value;
      break;
    case kSecond:
      fields.second = value;
      break;
  }
  setWallSeconds(calendar::timegm(fields));
}

int DateTime::count(DateField outer, int rank, int weekStart) const {
  constexpr int kRanks = 7;
  if (rank < rankOf(outer) || rank >= kRanks) {
    return 0;
  }
  const calendar::Fields fields = wallClock();
  const auto withTimes = [rank](int days) {
    constexpr int kPerDay[kRanks] = {0, 0, 0, 1, 24, 1440, 86400};
    return days * kPerDay[rank];
  };
  switch (outer) {
    case kYear:
      if (rank < 2) {
        return rank == 0 ? 1 : 12;
      }
      if (rank == 2) {
        // The last days of December may belong to week 1 of the next year.
        const auto weekOfDecember = [&](int day) {
          return calendar::weekOf(calendar::gmtime(calendar::timegm({fields.year, 12, day, 0, 0, 0, 0, 0})), weekStart);
        };
        const int last = weekOfDecember(31);
        return last > 1 ? last : weekOfDecember(24);
      }
      return withTimes(calendar::daysOfYear(fields.year));
    case kMonth: {
      const int days = calendar::daysOfMonth(fields.year, fields.month);
      return rank == 1 ? 1 : rank == 2 ? days / 7 : withTimes(days);
    }
    case kWeek:
      return rank == 2 ? 1 : withTimes(7);
    case kYearDay:
    case kMonthDay:
    case kWeekday:
      return withTimes(1);
    case kHour:
      return rank == 4 ? 1 : rank == 5 ? 60 : 3600;
    case kMinute:
      return rank == 5 ? 1 : 60;
    case kSecond:
      break;
  }
  return 1;
}

}  // namespace nalvo::mail
