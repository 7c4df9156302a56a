// Between the zones of MAPI items, which are one yearly pair of rule dates, and those of calendar text.
//
// A rule date is a SYSTEMTIME without a year: wDay 1 to 4 is the first to fourth wDayOfWeek of wMonth, 5 the last; wMonth 0
// means that there is no daylight saving. A null `info` stands for the machine's zone. Structures hold no names.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "mail/date_time.h"
#include "mail/n_time_zone.h"
#include "nalvo/com.h"
#include "platform/time/time_zone.h"

namespace nalvo::mail::DateTimeUtils {

// A time outside of 1601 to 30827, or with fields that no date has, throws E_INVALIDARG.
SYSTEMTIME fileTimeToSystemTime(FILETIME time);
FILETIME systemTimeToFileTime(const SYSTEMTIME& time);

// Whether `rule` can be a rule date: month 1 to 12, day 1 to 31, weekday and time of day in their range.
bool isRuleDate(const SYSTEMTIME& rule);
// Whether `info` can be applied: both rule dates are, or one has no month.
bool isUsable(const TIME_ZONE_INFORMATION& info);

// The day of a rule date in `year`, at its time of day. E_FAIL when it is no rule date, or for a year above 9999.
SYSTEMTIME getDaylightDate(int year, const SYSTEMTIME& rule);

// UTC less local time at `date`, in minutes. With `useDate` false the present year and the present local time count in place
// of `date`. `isUtc` tells how `date` is read; a wall clock that is the moment of a change belongs to the time before it.
//
// Throws   E_INVALIDARG for a `date` that doesn't exist; E_FAIL as getDaylightDate.
std::int32_t timeZoneBias(const TIME_ZONE_INFORMATION* info, const SYSTEMTIME& date, bool useDate, bool isUtc);
// To whole seconds. They throw as timeZoneBias, and E_FAIL for a result outside of 1601 to 9999.
SYSTEMTIME gmtToLocal(const SYSTEMTIME& date, const TIME_ZONE_INFORMATION* info);
SYSTEMTIME localToGmt(const SYSTEMTIME& date, bool useDate, const TIME_ZONE_INFORMATION* info);

// No value unless the rule is yearly with one month, and one weekday with an ordinal of 1 to 4 or -1, or else one day.
std::optional<SYSTEMTIME> ruleToSystemTime(const RRule& rule);
// By the first observance of each kind. No value for a zone that isn't valid.
std::optional<TIME_ZONE_INFORMATION> zoneToTimeZoneInformation(const NTimeZone& zone);
// By the observances that are in force at `instant`.
std::optional<TIME_ZONE_INFORMATION> zoneToTimeZoneInformation(const NTimeZone& zone, const DateTime& instant);

struct ZoneMatch {
  std::shared_ptr<const NTimeZone> zone;  // never null; may be not valid
  bool matched = false;
};
// The known zone that says the same. NTimeZone::server(), not matched, when there is none.
ZoneMatch zoneFromTimeZoneInformation(const TIME_ZONE_INFORMATION* info);
// The same of the machine's present setting.
ZoneMatch localZone();
// A zone that is made out of `info`, under an id of its numbers, for one that matches no known zone. Null when `info` isn't
// usable.
std::shared_ptr<const NTimeZone> makeZone(const TIME_ZONE_INFORMATION& info);

// The instant stays; it is read in the zone that matches `info`.
DateTime dateTimeFromSystemTime(const SYSTEMTIME& utc, const TIME_ZONE_INFORMATION* info);

struct ZoneDescription {
  TIME_ZONE_INFORMATION info;
  std::u16string name;  // "(UTC -05:00) America/New_York"; nothing behind the offset where no zone is known
};
// The zone in which `date` is read; the machine's for a whole day and for null.
ZoneDescription describeZone(const DateTime& date);

// All fields of the epoch for a null date.
SYSTEMTIME wallClockSystemTime(const DateTime& date);
// From `b` to `a`, towards zero.
std::int64_t minutesBetween(const SYSTEMTIME& a, const SYSTEMTIME& b);

}  // namespace nalvo::mail::DateTimeUtils
