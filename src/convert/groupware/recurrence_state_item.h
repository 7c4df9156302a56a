// An item that repeats, as both ways of its series see it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "convert/groupware/recurrence_pattern.h"
#include "frame/conversion_state.h"
#include "mail/calendar.h"
#include "mail/date_time.h"
#include "mail/n_time_zone.h"
#include "platform/com/com_ptr.h"
#include "platform/time/time_zone.h"

namespace nalvo::RecurrenceState::detail {

using Minutes = std::uint32_t;  // since 1601 by the wall clock of the item

constexpr std::int64_t secondsOf(Minutes minutes) { return mail::calendar::kFirstSecond + std::int64_t{minutes} * 60; }
// The nearer end for what 32 bits don't hold.
constexpr Minutes minutesOf(std::int64_t seconds) {
  constexpr std::int64_t kMost = std::numeric_limits<Minutes>::max();
  return static_cast<Minutes>(std::clamp<std::int64_t>((seconds - mail::calendar::kFirstSecond) / 60, 0, kMost));
}
constexpr Minutes dayOf(Minutes minutes) { return minutes / kMinutesOfDay * kMinutesOfDay; }

// The clock of an item.
class ItemClock {
 public:
  explicit ItemClock(const TIME_ZONE_INFORMATION& info);

  mail::DateTime utc(Minutes local) const;
  // The same read in the item's zone.
  mail::DateTime instant(Minutes local) const;
  // A whole day is its midnight.
  Minutes local(const mail::DateTime& date) const;

 private:
  std::int32_t biasAt(std::int64_t seconds, bool isUtc) const;

  TIME_ZONE_INFORMATION info_;
  std::shared_ptr<const mail::NTimeZone> zone_;
};

// What a kind of item keeps its series in.
struct SeriesTags {
  SeriesTags(ConvertorDataMessage& data, ItemKind kind);

  IConvertMessage* message;
  ULONG pattern;
  ULONG recurring;
  ULONG type;  // 0 for none
};

ComPtr<IStream> openPattern(const SeriesTags& tags, ULONG create, const char* where);
// PidLidAppointmentSubType.
bool isAllDayItem(ConvertorDataMessage& data);
// That of the message, or of the machine, which the message then gets. A structure that has not the right form stands for
// UTC.
TIME_ZONE_INFORMATION appointmentZone(ConvertorDataMessage& data);

}  // namespace nalvo::RecurrenceState::detail
