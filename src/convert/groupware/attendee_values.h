// Values of people, as recipients, senders and attendees have them.
#pragma once

#include <cstdint>
#include <string>

#include "mail/attendee.h"
#include "properties/mapi_prop_utils.h"

namespace nalvo::ObjectAttendees::detail {

// PR_RECIPIENT_TRACKSTATUS; what has no number or no word has not been answered.
mail::Attendee::PartStat partStatOf(std::uint32_t trackStatus);
std::uint32_t trackStatusOf(mail::Attendee::PartStat partStat);

// A text that is missing is empty.
std::u16string textOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator);
std::uint32_t numberOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator, std::uint32_t missing);
// The address of a person if it is one of SMTP.
std::u16string smtpAddressOf(IConvertObject* object, ULONG addressTag, ULONG typeTag, IMapiAllocator* allocator);

}  // namespace nalvo::ObjectAttendees::detail
