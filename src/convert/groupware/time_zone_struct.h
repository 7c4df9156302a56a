// PidLidTimeZoneStruct: the zone of an item in 48 bytes, one yearly pair of rule dates.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "frame/conversion_state.h"
#include "mail/n_time_zone.h"
#include "platform/time/time_zone.h"

namespace nalvo {

// No value when the message has none, or one that is not 48 bytes or whose rule dates can't be applied. Names are empty.
std::optional<TIME_ZONE_INFORMATION> readTimeZoneStruct(ConvertorDataMessage& data);
void writeTimeZoneStruct(ConvertorDataMessage& data, const TIME_ZONE_INFORMATION& zone);

// The zone in which the times of an item are told: a known one, else one made out of `info`. Never null.
std::shared_ptr<const mail::NTimeZone> itemZone(const TIME_ZONE_INFORMATION& info);

namespace detail {

// The same over bytes.
std::optional<TIME_ZONE_INFORMATION> parseTimeZoneStruct(std::string_view bytes);
std::string timeZoneStructBytes(const TIME_ZONE_INFORMATION& zone);

}  // namespace detail
}  // namespace nalvo
