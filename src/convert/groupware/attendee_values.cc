#include "convert/groupware/attendee_values.h"

#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"

namespace nalvo::ObjectAttendees::detail {
namespace {

using PartStat = mail::Attendee::PartStat;

struct StatusRow {
  std::uint32_t trackStatus;
  PartStat partStat;
};
constexpr StatusRow kStatuses[] = {{2, PartStat::Tentative}, {3, PartStat::Accepted}, {4, PartStat::Declined}};

}  // namespace

PartStat partStatOf(std::uint32_t trackStatus) {
  for (const StatusRow& row : kStatuses) {
    if (row.trackStatus == trackStatus) {
      return row.partStat;
    }
  }
  return PartStat::NeedsAction;
}

std::uint32_t trackStatusOf(PartStat partStat) {
  for (const StatusRow& row : kStatuses) {
    if (row.partStat == partStat) {
      return row.trackStatus;
    }
  }
  return 0;
}

std::u16string textOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  return MapiPropUtils::propertyExists(object, tag) ? MapiPropUtils::propUnicodeT(object, tag, allocator) : std::u16string();
}

std::uint32_t numberOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator, std::uint32_t missing) {
  return MapiPropUtils::propertyExists(object, tag) ? MapiPropUtils::propULong(object, tag, allocator) : missing;
}

std::u16string smtpAddressOf(IConvertObject* object, ULONG addressTag, ULONG typeTag, IMapiAllocator* allocator) {
  const ULONG narrow = changePropType(addressTag, PT_STRING8);
  if (!MapiPropUtils::propertyExists(object, narrow)) {
    return {};
  }
  const std::u16string type = textOf(object, typeTag, allocator);
  std::u16string address = widenAddress(MapiPropUtils::propAnsi(object, narrow, allocator));
  // Without a type, a path of another system is known by how it begins.
  const bool isOther = type.empty() ? address.starts_with(u'/') && address.find(u'@') == std::u16string::npos
                                    : !equalsIgnoreCase(type, u"SMTP");
  return isOther ? std::u16string() : address;
}

}  // namespace nalvo::ObjectAttendees::detail
