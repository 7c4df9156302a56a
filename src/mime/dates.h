// Dates in headers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nalvo/com.h"

namespace nalvo::mime {

// Reads a date in the form of Internet mail, its obsolete and the usual broken forms: two-digit years, named zones,
// comments, weekday missing or wrong, seconds missing, "Tue Jan  1 09:00:00 2008", "01-Jan-2008", "2008-01-01T09:00:00Z",
// text behind. No zone: UTC. No value for what is no date or lies outside of what FILETIME holds.
std::optional<FILETIME> parseInetDate(std::string_view text);

// "Tue, 01 Jan 2008 09:00:00 +0000", in UTC; a fraction of a second is cut off. A time that is beyond the calendar (top bit
// set) gives an empty text.
std::string formatInetDate(FILETIME time);

}  // namespace nalvo::mime
