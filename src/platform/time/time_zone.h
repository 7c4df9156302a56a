// The machine's time zone in the form that MAPI records use.
#pragma once

#include <array>

#include "nalvo/com.h"

namespace nalvo {

// Local time is UTC minus bias. A change date has wYear 0 and names a weekday of a month: wDay 1 to 4 the first to fourth,
// 5 the last; both wMonth are 0 in a zone without daylight saving. Dates are local wall time ahead of the change.
struct TIME_ZONE_INFORMATION {
  std::int32_t Bias;  // minutes
  std::array<char16_t, 32> StandardName;
  SYSTEMTIME StandardDate;
  std::int32_t StandardBias;  // minutes, added to Bias
  std::array<char16_t, 32> DaylightName;
  SYSTEMTIME DaylightDate;
  std::int32_t DaylightBias;  // minutes, added to Bias
};
static_assert(sizeof(TIME_ZONE_INFORMATION) == 172 && offsetof(TIME_ZONE_INFORMATION, StandardDate) == 68 &&
              offsetof(TIME_ZONE_INFORMATION, DaylightBias) == 168);

// The zone that TZ names, or else the system, worked out from its two changes in the present year; the larger offset is
// daylight time. A year with one change or more than two counts as one without daylight saving, with the offset of its end.
TIME_ZONE_INFORMATION machineTimeZone();

}  // namespace nalvo
