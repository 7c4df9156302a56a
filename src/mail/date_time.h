// An instant, and how it is to be read.
#pragma once

#include <compare>
#include <cstdint>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "mail/calendar.h"
#include "mail/duration.h"
#include "mail/time_zone.h"
#include "nalvo/com.h"

namespace nalvo::mail {

// A null date prints as nothing, stays null whatever is done with it, and has the fields of 1601. Seconds outside of 1601 to
// 29999 are taken as the nearer end. Nothing throws.
class DateTime {
 public:
  enum class Kind : std::uint8_t {
    Zoned = 1,     // in a named zone
    Fixed = 2,     // at an offset from UTC
    Floating = 3,  // in the machine's local time
  };

  DateTime() = default;                                                      // null, floating
  explicit DateTime(std::int64_t seconds);                                   // since 1970 UTC; read at offset 0
  DateTime(int day, int month, int year);                                    // that whole day, at offset 0
  DateTime(int day, int month, int year, int hour, int minute, int second);  // UTC
  // The wall clock at `offset`; floating when that is null.
  DateTime(int day, int month, int year, int hour, int minute, int second, Duration offset);

  static DateTime now();
  // Null for a negative time.
  static DateTime fromTimeT(std::time_t time);
  static DateTime fromSystemTime(const SYSTEMTIME& time);
  // In UTC, but the wall clock of a whole day. A null date leaves `out` as it is.
  void toSystemTime(SYSTEMTIME& out) const;

  bool isNull() const { return seconds_ == kNull; }
  // Since 1970 UTC; the lowest number when null.
  std::int64_t seconds() const { return seconds_; }
  bool isDateOnly() const { return dateOnly_; }
  Kind kind() const { return kind_; }
  // Null unless the kind is Zoned.
  const std::shared_ptr<const TimeZone>& zone() const { return zone_; }
  // Local time less UTC in whole minutes; null for a null date, and in a zone that doesn't know.
  Duration getOffset() const;
  calendar::Fields wallClock() const;

  // These compare the instants alone.
  friend bool operator==(const DateTime& a, const DateTime& b) { return a.seconds_ == b.seconds_; }
  friend std::strong_ordering operator<=>(const DateTime& a, const DateTime& b) { return a.seconds_ <=> b.seconds_; }

  // A null duration moves nothing. A whole day stays one when it is moved by whole days.
  friend DateTime operator+(DateTime date, Duration by);
  friend DateTime operator-(DateTime date, Duration by);
  // The same without regard to whole days.
  DateTime& operator+=(Duration by);
  DateTime& operator-=(Duration by);
  friend Duration operator-(const DateTime& a, const DateTime& b);

  // These keep the wall clock and change how it is read. A wall clock that a change of offset leaves out is taken as behind
  // it; one that it holds twice is the first of both, or the second east of Greenwich.
  void setZone(std::shared_ptr<const TimeZone> zone);  // does nothing for a null or invalid one
  void setFixedOffset(Duration offset);                // floating when null
  void setFloating();
  // The instant stays, and is read in `zone`. Does nothing for a null or invalid one.
  void moveToZone(std::shared_ptr<const TimeZone> zone);
  // From a zone to its present offset; the instant stays.
  void freezeOffset();

  // The day of the wall clock: as a whole day, which keeps a zone but no offset, and as its first second, read as before.
  DateTime makeDateOnly() const;
  DateTime midnight() const;

  // One field of the wall clock. `weekStart` counts for weeks and weekdays alone.
  int field(DateField index, int weekStart = 1) const;
  // Changes one; what lies outside its range counts into the fields around. A new month cuts the day to its length, a new
  // week keeps the weekday, a new weekday stays in the week. A whole day stays one unless the field is finer.
  void setField(DateField index, int value, int weekStart = 1);
  // How many units of a rank the field `outer` of this date holds: days of this month, weeks of this year. 0 where that
  // makes no sense.
  int count(DateField outer, int rank, int weekStart = 1) const;

  // Flags of toString.
  static constexpr unsigned kExtended = 1;      // with "-" and ":"
  static constexpr unsigned kMilliseconds = 2;  // ".000"
  static constexpr unsigned kOffset = 4;        // a numeric offset even when it is zero
  static constexpr unsigned kNoOffset = 8;      // no numeric offset
  static constexpr unsigned kWithTime = 16;     // a whole day as a date-time
  // For a date whose zone travels beside it.
  static constexpr unsigned kLocal = kOffset | kNoOffset;

  // As iCalendar writes it. Empty when null, and for years above 9999.
  std::string toString(unsigned flags = 0) const;
  // A date of ISO 8601, or the beginning of one, with or without "-" and ":". Without a "T" it is a whole day. With `zone`
  // its wall clock is read there; else at its numeric offset, or floating when it has none. Null when it begins with less
  // than four characters of year, and for the year 0.
  static DateTime parse(std::string_view text, std::shared_ptr<const TimeZone> zone = {});
  // The same at offset zero, whatever offset is given.
  static DateTime parseAsUtc(std::string_view text);

  // The offset of the machine's local time at `date`, or with `isUtc` false at the wall clock that its seconds tell. For
  // dates up to 1970-01-01 and from 3001 on, that of now. Null when the platform fails.
  static Duration localOffset(const DateTime& date, bool isUtc);

 private:
  static constexpr std::int64_t kNull = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int32_t kUnknownOffset = 0x7FFFFFFF;

  static DateTime fromLocalWall(std::int64_t wall);
  std::int64_t offsetSeconds() const { return getOffset().seconds(); }
  std::int64_t offsetAt(std::int64_t instant) const;
  std::int64_t wallSeconds() const;
  void readAs(Kind kind, std::shared_ptr<const TimeZone> zone, std::int32_t offsetMinutes);
  void setWallSeconds(std::int64_t wall);
  void moveBy(std::int64_t seconds);

  std::int64_t seconds_ = kNull;
  std::shared_ptr<const TimeZone> zone_;
  std::int32_t offsetMinutes_ = kUnknownOffset;  // of a fixed offset; in a zone, the offset at `seconds_` when it is known
  Kind kind_ = Kind::Floating;
  bool dateOnly_ = false;
};

}  // namespace nalvo::mail
