#include "platform/time/zone_names.h"

#include <unicode/ucal.h>

#include <algorithm>
#include <array>

#include "platform/text/text.h"

namespace nalvo {

std::string tzNameOfWindowsZone(std::string_view name) {
  constexpr std::size_t kLongest = 128;
  if (name.empty() || name.size() > kLongest || !isAscii(name)) {
    return {};
  }
  const std::u16string wide(name.begin(), name.end());
  std::array<char16_t, kLongest> found{};
  UErrorCode error = U_ZERO_ERROR;
  const std::int32_t length = ucal_getTimeZoneIDForWindowsID(wide.data(), static_cast<std::int32_t>(wide.size()), nullptr,
                                                             found.data(), static_cast<std::int32_t>(found.size()), &error);
  return U_SUCCESS(error) != 0 ? std::string(found.begin(), found.begin() + length) : std::string();
}

}  // namespace nalvo
