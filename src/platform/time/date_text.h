// A point in time as a person reads it.
#pragma once

#include <optional>
#include <string>

#include "nalvo/com.h"

namespace nalvo {

// Date and time in the machine's zone and in the form of `locale`, a name of the C library; "" is what the environment says.
// No value for a time that the calendar of the C library does not hold.
std::optional<std::u16string> localDateText(const SYSTEMTIME& utc, const char* locale = "");

}  // namespace nalvo
