// Names of time zones that other systems use.
#pragma once

#include <string>
#include <string_view>

namespace nalvo {

// The name in the tz database of what Windows calls "W. Europe Standard Time"; empty for none of its names. In UTF-8.
std::string tzNameOfWindowsZone(std::string_view name);

}  // namespace nalvo
