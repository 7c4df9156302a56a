#include "convert/groupware/time_zone_struct.h"

#include <cstring>
#include <string>
#include <string_view>

#include "mail/windows_zone.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo {
namespace detail {
namespace {

struct [[gnu::packed]] ZoneBytes {
  std::int32_t bias;  // minutes, as the two below
  std::int32_t standardBias;
  std::int32_t daylightBias;
  std::uint16_t standardYear;
  SYSTEMTIME standardDate;
  std::uint16_t daylightYear;
  SYSTEMTIME daylightDate;
};
static_assert(sizeof(ZoneBytes) == 48);

}  // namespace

std::optional<TIME_ZONE_INFORMATION> parseTimeZoneStruct(std::string_view bytes) {
  ZoneBytes stored{};
  if (bytes.size() != sizeof(stored)) {
    return std::nullopt;
  }
  std::memcpy(&stored, bytes.data(), sizeof(stored));
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = stored.bias;
  zone.StandardBias = stored.standardBias;
  zone.DaylightBias = stored.daylightBias;
  zone.StandardDate = stored.standardDate;
  zone.DaylightDate = stored.daylightDate;
  return mail::DateTimeUtils::isUsable(zone) ? std::optional(zone) : std::nullopt;
}

std::string timeZoneStructBytes(const TIME_ZONE_INFORMATION& zone) {
  const ZoneBytes stored{zone.Bias, zone.StandardBias, zone.DaylightBias, 0, zone.StandardDate, 0, zone.DaylightDate};
  return std::string(reinterpret_cast<const char*>(&stored), sizeof(stored));
}

}  // namespace detail

std::optional<TIME_ZONE_INFORMATION> readTimeZoneStruct(ConvertorDataMessage& data) {
  IConvertMessage* message = data.getMapiMessage();
  const ULONG tag = data.tagOf(named::kTimeZoneStruct, message);
  if (!MapiPropUtils::propertyExists(message, tag)) {
    return std::nullopt;
  }
  return detail::parseTimeZoneStruct(MapiPropUtils::propBinary(message, tag, data.getAllocator()));
}

void writeTimeZoneStruct(ConvertorDataMessage& data, const TIME_ZONE_INFORMATION& zone) {
  IConvertMessage* message = data.getMapiMessage();
  MapiPropUtils::setBinary(message, data.tagOf(named::kTimeZoneStruct, message), detail::timeZoneStructBytes(zone));
}

std::shared_ptr<const mail::NTimeZone> itemZone(const TIME_ZONE_INFORMATION& info) {
  const mail::DateTimeUtils::ZoneMatch match = mail::DateTimeUtils::zoneFromTimeZoneInformation(&info);
  if (match.matched) {
    return match.zone;
  }
  std::shared_ptr<const mail::NTimeZone> made = mail::DateTimeUtils::makeZone(info);
  return made != nullptr ? made : match.zone;
}

}  // namespace nalvo
