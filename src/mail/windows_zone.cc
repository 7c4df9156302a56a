#include "mail/windows_zone.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "diagnostics/hresult_exception.h"
#include "mail/calendar.h"
#include "platform/text/localization.h"
#include "platform/text/text.h"
#include "platform/time/file_time.h"

namespace nalvo::mail::DateTimeUtils {
namespace {

constexpr SourceFile kSource{".\\DateTimeUtils"};

constexpr std::int64_t kSecondsPerMinute = 60;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 9999;

bool isDate(const SYSTEMTIME& date) {
  return date.wYear >= kFirstYear && date.wYear <= kLastYear && date.wMonth >= 1 && date.wMonth <= 12 && date.wDay >= 1 &&
         date.wDay <= calendar::daysOfMonth(date.wYear, date.wMonth) && date.wHour <= 23 && date.wMinute <= 59 &&
         date.wSecond <= 59;
}

// Since 1970.
std::int64_t secondsOf(const SYSTEMTIME& date) {
  return calendar::timegm({date.wYear, date.wMonth, date.wDay, date.wHour, date.wMinute, date.wSecond, 0, 0});
}

SYSTEMTIME systemTimeOf(std::int64_t seconds, const SourceLocation& location) {
  const bool isInRange = seconds >= calendar::kFirstSecond && seconds < calendar::kLastSecond;
  SYSTEMTIME date{};
  DateTime(seconds).toSystemTime(date);
  if (!isInRange || date.wYear > kLastYear) {
    throwHResult(E_FAIL, location);
  }
  return date;
}

TIME_ZONE_INFORMATION givenOrMachine(const TIME_ZONE_INFORMATION* info) {
  return info != nullptr ? *info : machineTimeZone();
}

std::int64_t localNow() {
  const DateTime now = DateTime::now();
  return now.seconds() + DateTime::localOffset(now, true).seconds();
}

bool isBefore(const SYSTEMTIME& a, const SYSTEMTIME& b) { return secondsOf(a) < secondsOf(b); }

bool sameBytes(const void* a, const void* b, std::size_t size) { return std::memcmp(a, b, size) == 0; }

bool areSame(const SYSTEMTIME& a, const SYSTEMTIME& b) { return sameBytes(&a, &b, sizeof(a)); }

constexpr SYSTEMTIME ruleDate(std::uint16_t month, std::uint16_t week, std::uint16_t weekday, std::uint16_t hour) {
  return {0, month, weekday, week, hour, 0, 0, 0};
}

// Its changes are on Saturdays, which the structure in use for it does not say.
constexpr char kGreenland[] = "Greenland";
TIME_ZONE_INFORMATION greenland() {
  TIME_ZONE_INFORMATION info{};
  info.Bias = 180;
  info.DaylightBias = -60;
  info.StandardDate = ruleDate(10, 5, 0, 2);
  info.DaylightDate = ruleDate(4, 1, 0, 2);
  return info;
}

// Some tell the second Sunday as the one among the 8th to the 14th, and the last one likewise. Of other seven days the
// middle one counts.
std::optional<int> ordinalIn(const std::vector<int>& days, int month) {
  constexpr int kWeekDays = 7;
  if (days.size() != kWeekDays || days.front() < 1 || days.back() != days.front() + kWeekDays - 1 ||
      !std::is_sorted(days.begin(), days.end())) {
    return std::nullopt;
  }
  const int last = month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
  return days.back() == last ? -1 : (days.front() + kWeekDays / 2 - 1) / kWeekDays + 1;
}

std::optional<SYSTEMTIME> ruleDateOf(const Observance& observance) {
  std::optional<SYSTEMTIME> date = ruleToSystemTime(observance.rrule);
  if (date) {
    date->wHour = static_cast<std::uint16_t>(observance.dtstart.field(kHour));
    date->wMinute = static_cast<std::uint16_t>(observance.dtstart.field(kMinute));
  }
  return date;
}

const Observance* firstOf(const NTimeZone& zone, Observance::Kind kind) {
  const std::span<const Observance> all = zone.observances();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Observance& each) { return each.kind == kind; });
  return found == all.end() ? nullptr : &*found;
}

// The last of the kind to begin up to `instant`, else the first in order.
const Observance* inForce(const NTimeZone& zone, Observance::Kind kind, const DateTime& instant) {
  const auto beginOf = [](const Observance& observance) {
    return observance.dtstart.seconds() - observance.offsetFrom.seconds();
  };
  const Observance* best = nullptr;
  for (const Observance& observance : zone.observances()) {
    if (observance.kind == kind && beginOf(observance) <= instant.seconds() &&
        (best == nullptr || beginOf(observance) > beginOf(*best))) {
      best = &observance;
    }
  }
  return best != nullptr ? best : firstOf(zone, kind);
}

bool hasEnded(const Observance& observance, const DateTime& instant) {
  return observance.rrule.valid && !observance.rrule.until.isNull() && observance.rrule.until < instant;
}

std::int32_t minutesOf(Duration offset) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(offset.seconds() / kSecondsPerMinute, -1'000'000, 1'000'000));
}

// `daylight` may be null.
TIME_ZONE_INFORMATION structureOf(const Observance& standard, const Observance* daylight) {
  TIME_ZONE_INFORMATION info{};
  info.Bias = -minutesOf(standard.offsetTo);
  if (daylight == nullptr) {
    return info;
  }
  info.DaylightBias = minutesOf(standard.offsetTo) - minutesOf(daylight->offsetTo);
  const std::optional<SYSTEMTIME> standardDate = ruleDateOf(standard);
  const std::optional<SYSTEMTIME> daylightDate = ruleDateOf(*daylight);
  if (standardDate && daylightDate) {
    info.StandardDate = *standardDate;
    info.DaylightDate = *daylightDate;
  }
  return info;
}

bool matchesSummary(const NTimeZone& zone, const TIME_ZONE_INFORMATION& info) {
  const Observance* standard = firstOf(zone, Observance::Kind::Standard);
  const Observance* daylight = firstOf(zone, Observance::Kind::Daylight);
  const auto hasBias = [&](const Observance& observance, std::int32_t bias) {
    return observance.offsetTo.seconds() == -kSecondsPerMinute * (std::int64_t{info.Bias} + bias);
  };
  const auto hasDate = [](const Observance& observance, const SYSTEMTIME& date) {
    const std::optional<SYSTEMTIME> own = ruleDateOf(observance);
    return own && areSame(*own, date);
  };
  if (standard == nullptr || !hasBias(*standard, info.StandardBias)) {
    return false;
  }
  if (daylight == nullptr || info.StandardDate.wMonth == 0) {
    return daylight == nullptr && info.StandardDate.wMonth == 0;
  }
  return hasBias(*daylight, info.DaylightBias) && hasDate(*standard, info.StandardDate) &&
         hasDate(*daylight, info.DaylightDate);
}

void appendTwoDigits(std::int64_t number, std::u16string& out) {
  out.push_back(static_cast<char16_t>(u'0' + number / 10 % 10));
  out.push_back(static_cast<char16_t>(u'0' + number % 10));
}

std::u16string displayText(std::int32_t bias, std::string_view id) {
  constexpr unsigned kUtc = 214;
  std::int64_t minutes = -std::int64_t{bias};
  if (std::abs(minutes) > 1440) {
    minutes = 0;
  }
  std::u16string text = u"(";
  text.append(Localization::getString(kUtc)).append(minutes < 0 ? u" -" : u" +");
  appendTwoDigits(std::abs(minutes) / 60, text);
  text.push_back(u':');
  appendTwoDigits(std::abs(minutes) % 60, text);
  return text.append(u") ").append(utf8ToWide(id));
}

// An observance that begins with the rule date of 1970; no value when there is no such day.
std::optional<Observance> observanceOf(Observance::Kind kind, const SYSTEMTIME& rule, Duration from, Duration to) {
  static constexpr std::string_view kWeekdays[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};
  std::string text = "FREQ=YEARLY;BYMONTH=" + std::to_string(rule.wMonth);
  SYSTEMTIME first = rule;
  first.wYear = 1970;
  if (rule.wDay <= 5) {
    text.append(";BYDAY=").append(rule.wDay == 5 ? "-1" : std::to_string(rule.wDay)).append(kWeekdays[rule.wDayOfWeek]);
    first = getDaylightDate(first.wYear, rule);
  } else if (isDate(first)) {
    text.append(";BYMONTHDAY=").append(std::to_string(rule.wDay));
  } else {
    return std::nullopt;
  }
  Observance observance;
  observance.kind = kind;
  observance.dtstart = DateTime(secondsOf(first));
  observance.offsetFrom = from;
  observance.offsetTo = to;
  observance.rrule = RRule(text);
  return observance;
}

// ".M3.2.0.0200": month, week, weekday, time of day.
std::string ruleDateId(const SYSTEMTIME& rule) {
  const auto twoDigits = [](int number) { return std::string(number < 10 ? "0" : "") + std::to_string(number); };
  return ".M" + std::to_string(rule.wMonth) + "." + std::to_string(rule.wDay) + "." + std::to_string(rule.wDayOfWeek) + "." +
         twoDigits(rule.wHour) + twoDigits(rule.wMinute) + (rule.wSecond != 0 ? twoDigits(rule.wSecond) : "");
}

}  // namespace

SYSTEMTIME fileTimeToSystemTime(FILETIME time) {
  const std::optional<SYSTEMTIME> result = nalvo::fileTimeToSystemTime(time);
  if (!result) {
    throwHResult(E_INVALIDARG, kSource.at("DateTimeUtils::fileTimeToSystemTime"));
  }
  return *result;
}

FILETIME systemTimeToFileTime(const SYSTEMTIME& time) {
  const std::optional<FILETIME> result = nalvo::systemTimeToFileTime(time);
  if (!result) {
    throwHResult(E_INVALIDARG, kSource.at("DateTimeUtils::systemTimeToFileTime"));
  }
  return *result;
}

bool isRuleDate(const SYSTEMTIME& rule) {
  return rule.wMonth >= 1 && rule.wMonth <= 12 && rule.wDay >= 1 && rule.wDay <= 31 && rule.wDayOfWeek <= 6 &&
         rule.wHour <= 23 && rule.wMinute <= 59 && rule.wSecond <= 59;
}

bool isUsable(const TIME_ZONE_INFORMATION& info) {
  const bool hasDates = info.StandardDate.wMonth != 0 && info.DaylightDate.wMonth != 0;
  return !hasDates || (isRuleDate(info.StandardDate) && isRuleDate(info.DaylightDate));
}

SYSTEMTIME getDaylightDate(int year, const SYSTEMTIME& rule) {
  const SourceLocation location = kSource.at("DateTimeUtils::getDaylightDate");
  if (year < kFirstYear || year > kLastYear || !isRuleDate(rule)) {
    throwHResult(E_FAIL, location);
  }
  const auto weekdayOf = [&](int day) { return calendar::weekdayOf(year, rule.wMonth, day) % 7; };
  std::int64_t day = 1;
  if (rule.wDay == 5) {
    const int last = calendar::daysOfMonth(year, rule.wMonth);
    day = last - (weekdayOf(last) - rule.wDayOfWeek + 7) % 7;
  } else {
    day = 1 + (rule.wDayOfWeek - weekdayOf(1) + 7) % 7 + (rule.wDay - 1) * 7;
  }
  return systemTimeOf(calendar::timegm({year, rule.wMonth, day, rule.wHour, rule.wMinute, rule.wSecond, 0, 0}), location);
}

std::int32_t timeZoneBias(const TIME_ZONE_INFORMATION* given, const SYSTEMTIME& date, bool useDate, bool isUtc) {
  if (!isDate(date)) {
    throwHResult(E_INVALIDARG, kSource.at("DateTimeUtils::timeZoneBias"));
  }
  const TIME_ZONE_INFORMATION info = givenOrMachine(given);
  if (info.StandardDate.wMonth == 0 || info.DaylightDate.wMonth == 0) {
    return info.Bias;
  }
  const std::int64_t day = useDate ? secondsOf(date) : localNow();
  const int year = static_cast<int>(calendar::gmtime(day).year);
  const SYSTEMTIME dst = getDaylightDate(year, info.DaylightDate);
  const SYSTEMTIME std = getDaylightDate(year, info.StandardDate);
  const std::int64_t standardBias = std::int64_t{info.Bias} + info.StandardBias;
  const std::int64_t daylightBias = std::int64_t{info.Bias} + info.DaylightBias;
  // A rule date is a wall clock of the time that holds ahead of it.
  const bool isBehindDst = secondsOf(dst) < day - (isUtc ? standardBias * kSecondsPerMinute : 0);
  const bool isUpToStd = secondsOf(std) >= day - (isUtc ? daylightBias * kSecondsPerMinute : 0);
  const bool isDaylight = isBefore(dst, std) ? isBehindDst && isUpToStd : isBehindDst || isUpToStd;
  const std::int64_t bias = isDaylight ? daylightBias : standardBias;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(bias, INT32_MIN, INT32_MAX));
}

SYSTEMTIME gmtToLocal(const SYSTEMTIME& date, const TIME_ZONE_INFORMATION* info) {
  const std::int64_t bias = timeZoneBias(info, date, true, true);
  return systemTimeOf(secondsOf(date) - bias * kSecondsPerMinute, kSource.at("DateTimeUtils::gmtToLocal"));
}

SYSTEMTIME localToGmt(const SYSTEMTIME& date, bool useDate, const TIME_ZONE_INFORMATION* info) {
  const std::int64_t bias = timeZoneBias(info, date, useDate, false);
  return systemTimeOf(secondsOf(date) + bias * kSecondsPerMinute, kSource.at("DateTimeUtils::localToGmt"));
}

std::optional<SYSTEMTIME> ruleToSystemTime(const RRule& rule) {
  const std::vector<int>& months = rule.by[kMonth];
  const std::vector<int>& weekdays = rule.by[kWeekday];
  const std::vector<int>& days = rule.by[kMonthDay];
  if (!rule.valid || rule.freq != kYearly || months.size() != 1 || months[0] < 1 || months[0] > 12) {
    return std::nullopt;
  }
  SYSTEMTIME date{};
  date.wMonth = static_cast<std::uint16_t>(months[0]);
  if (weekdays.size() == 1) {
    const int ordinal = ordinalIn(days, months[0]).value_or(ordinalOf(weekdays[0]));
    if (ordinal != -1 && (ordinal < 1 || ordinal > 4)) {
      return std::nullopt;
    }
    date.wDayOfWeek = static_cast<std::uint16_t>(weekdayOfEntry(weekdays[0]) % 7);
    date.wDay = static_cast<std::uint16_t>(ordinal == -1 ? 5 : ordinal);
    return date;
  }
  if (!weekdays.empty() || days.size() != 1 || days[0] < 1 || days[0] > 31) {
    return std::nullopt;
  }
  date.wDay = static_cast<std::uint16_t>(days[0]);
  return date;
}

std::optional<TIME_ZONE_INFORMATION> zoneToTimeZoneInformation(const NTimeZone& zone) {
  if (zone.id() == kGreenland) {
    return greenland();
  }
  if (!zone.isValid()) {
    return std::nullopt;
  }
  const Observance* standard = firstOf(zone, Observance::Kind::Standard);
  return structureOf(standard != nullptr ? *standard : zone.observances().back(), firstOf(zone, Observance::Kind::Daylight));
}

std::optional<TIME_ZONE_INFORMATION> zoneToTimeZoneInformation(const NTimeZone& zone, const DateTime& instant) {
  if (zone.id() == kGreenland || !zone.isValid()) {
    return zoneToTimeZoneInformation(zone);
  }
  const Observance* standard = inForce(zone, Observance::Kind::Standard, instant);
  const Observance* daylight = inForce(zone, Observance::Kind::Daylight, instant);
  if (daylight != nullptr && hasEnded(*daylight, instant)) {
    daylight = nullptr;
  }
  return structureOf(standard != nullptr ? *standard : zone.observances().back(), daylight);
}

ZoneMatch zoneFromTimeZoneInformation(const TIME_ZONE_INFORMATION* info) {
  const std::shared_ptr<const NTimeZone> server = NTimeZone::server();
  if (info == nullptr) {
    return {server, false};
  }
  const std::optional<TIME_ZONE_INFORMATION> ofServer = zoneToTimeZoneInformation(*server);
  if (ofServer && sameBytes(&*ofServer, info, sizeof(*info))) {
    return {server, true};
  }
  const TIME_ZONE_INFORMATION fixed = greenland();
  if (info->Bias == fixed.Bias && info->DaylightBias == fixed.DaylightBias && info->StandardBias == 0 &&
      areSame(info->StandardDate, fixed.StandardDate) && areSame(info->DaylightDate, fixed.DaylightDate)) {
    return {NTimeZone::byName(kGreenland), true};
  }
  for (const std::shared_ptr<const NTimeZone>& zone : NTimeZone::getSummaries()) {
    if (matchesSummary(*zone, *info)) {
      return {zone, true};
    }
  }
  return {server, false};
}

ZoneMatch localZone() {
  static std::mutex mutex;
  static TIME_ZONE_INFORMATION lastInfo;
  static ZoneMatch last;

  const TIME_ZONE_INFORMATION info = machineTimeZone();
  const std::lock_guard lock(mutex);
  if (!last.zone || !sameBytes(&lastInfo, &info, sizeof(info))) {
    lastInfo = info;
    last = zoneFromTimeZoneInformation(&info);
  }
  return last;
}

std::shared_ptr<const NTimeZone> makeZone(const TIME_ZONE_INFORMATION& info) {
  using enum Observance::Kind;
  if (!isUsable(info)) {
    return nullptr;
  }
  const auto offsetOf = [&](std::int32_t bias) { return Duration(-kSecondsPerMinute * (std::int64_t{info.Bias} + bias)); };
  const auto always = [](Duration offset) {
    Observance observance;
    observance.dtstart = DateTime(1);
    observance.offsetFrom = offset;
    observance.offsetTo = offset;
    return observance;
  };
  if (info.StandardDate.wMonth == 0 || info.DaylightDate.wMonth == 0) {
    const Duration offset = offsetOf(0);
    return std::make_shared<const NTimeZone>("Offset" + offsetText(offset), std::vector{always(offset)});
  }
  const Duration standard = offsetOf(info.StandardBias);
  const Duration daylight = offsetOf(info.DaylightBias);
  std::string id = "Offset" + offsetText(standard) + offsetText(daylight);
  std::optional<Observance> toStandard = observanceOf(Standard, info.StandardDate, daylight, standard);
  std::optional<Observance> toDaylight = observanceOf(Daylight, info.DaylightDate, standard, daylight);
  if (!toStandard || !toDaylight) {
    return std::make_shared<const NTimeZone>("Offset" + offsetText(standard), std::vector{always(standard)});
  }
  return std::make_shared<const NTimeZone>(id + ruleDateId(info.StandardDate) + ruleDateId(info.DaylightDate),
                                           std::vector{*std::move(toStandard), *std::move(toDaylight)});
}

DateTime dateTimeFromSystemTime(const SYSTEMTIME& utc, const TIME_ZONE_INFORMATION* info) {
  DateTime date = DateTime::fromSystemTime(utc);
  date.moveToZone(zoneFromTimeZoneInformation(info).zone);
  return date;
}

ZoneDescription describeZone(const DateTime& date) {
  if (!date.isNull() && !date.isDateOnly()) {
    if (date.kind() == DateTime::Kind::Fixed) {
      TIME_ZONE_INFORMATION info{};
      info.Bias = -minutesOf(date.getOffset());
      return {info, displayText(info.Bias, {})};
    }
    if (const auto* zone = dynamic_cast<const NTimeZone*>(date.zone().get())) {
      if (const std::optional<TIME_ZONE_INFORMATION> info = zoneToTimeZoneInformation(*zone, date)) {
        return {*info, displayText(info->Bias, zone->id())};
      }
    }
  }
  const TIME_ZONE_INFORMATION info = machineTimeZone();
  return {info, displayText(info.Bias, localZone().zone->id())};
}

SYSTEMTIME wallClockSystemTime(const DateTime& date) {
  SYSTEMTIME result{};
  DateTime(date.isNull() ? 0 : calendar::timegm(date.wallClock())).toSystemTime(result);
  return result;
}

std::int64_t minutesBetween(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return (secondsOf(a) - secondsOf(b)) / kSecondsPerMinute;
}

}  // namespace nalvo::mail::DateTimeUtils
