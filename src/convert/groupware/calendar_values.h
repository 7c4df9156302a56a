// Values that appointments, meetings and tasks have in common.
#pragma once

#include <string>
#include <string_view>

#include "mail/date_time.h"
#include "mail/v_event.h"
#include "mime/mime.h"
#include "platform/mapi/tags.h"
#include "properties/map_name.h"
#include "properties/property_sets.h"

namespace nalvo {

inline constexpr ULONG PR_START_DATE = propTag(PT_SYSTIME, 0x0060);
inline constexpr ULONG PR_END_DATE = propTag(PT_SYSTIME, 0x0061);

// Who sends an item, and for whom.
inline constexpr ULONG kOriginatorTags[] = {
    PR_SENDER_ADDRTYPE,
    PR_SENDER_EMAIL_ADDRESS,
    PR_SENDER_ENTRYID,
    PR_SENDER_NAME,
    PR_SENDER_SEARCH_KEY,
    PR_SENT_REPRESENTING_ADDRTYPE,
    PR_SENT_REPRESENTING_NAME,
    PR_SENT_REPRESENTING_EMAIL_ADDRESS,
    PR_SENT_REPRESENTING_ENTRYID,
    PR_SENT_REPRESENTING_SEARCH_KEY,
};

// PR_IMPORTANCE and PRIORITY.
int priorityOfImportance(std::uint32_t importance);
std::uint32_t importanceOfPriority(int priority);
// PR_PRIORITY of an item whose PR_IMPORTANCE this is.
std::uint32_t mapiPriorityOfImportance(std::uint32_t importance);

// The instance that an item is about, if it is about one of a series alone.
inline constexpr const char* kInstance = "RECURRENCE-ID";
inline constexpr NamedProperty kExceptionReplaceTime{PSETID_Appointment, PT_SYSTIME, nullptr, 0x8228};

// PidLidBusyStatus; what is not known is busy.
mail::BusyStatus statusOfBusy(std::uint32_t busy);
std::uint32_t busyOfStatus(mail::BusyStatus status);

// A new PidLidGlobalObjectId, which is its clean twin as well. `searchKey` may be empty.
std::string makeGlobalObjectId(std::string_view searchKey);
// PidLidCleanGlobalObjectId: the id of the series to which the instance with this id belongs.
std::string cleanGlobalObjectId(std::string_view globalId);

// The instant at which a whole day begins in the machine's zone; any other date stays. Null for a day at either end of the
// calendar, whose midnight may have no name.
mail::DateTime instantOfDay(const mail::DateTime& date);

// What somebody sent has a date, which an item that lies on a server has not.
bool isSentMail(mime::IMimeMessage* message);

}  // namespace nalvo
