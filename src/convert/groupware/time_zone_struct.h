// PidLidTimeZoneStruct: the zone of an item's series in 48 bytes, one yearly pair of rule dates.
#pragma once

#include <optional>

#include "frame/conversion_state.h"
#include "platform/time/time_zone.h"

namespace nalvo {

// No value when the message has none, or one that is not 48 bytes or whose rule dates can't be applied. Names are empty.
std::optional<TIME_ZONE_INFORMATION> readTimeZoneStruct(ConvertorDataMessage& data);
void writeTimeZoneStruct(ConvertorDataMessage& data, const TIME_ZONE_INFORMATION& zone);

}  // namespace nalvo
