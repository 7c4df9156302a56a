#include "convert/groupware/calendar_values.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "mail/calendar.h"
#include "mail/windows_zone.h"
#include "platform/com/guid.h"

namespace nalvo {
namespace {

struct ImportanceRow {
  std::uint32_t importance;
  int priority;
  std::int32_t mapiPriority;
};

// The first row answers for what is not known.
constexpr ImportanceRow kImportances[] = {{1, 5, 0}, {0, 9, -1}, {2, 1, 1}};

const ImportanceRow& rowOf(std::uint32_t importance) {
  for (const ImportanceRow& row : kImportances) {
    if (row.importance == importance) {
      return row;
    }
  }
  return kImportances[0];
}

struct BusyRow {
  std::uint32_t busy;  // PidLidBusyStatus
  mail::BusyStatus status;
};
// The first row answers for what is not known.
constexpr BusyRow kBusyStatuses[] = {{2, mail::BusyStatus::Busy},
                                     {3, mail::BusyStatus::OutOfOffice},
                                     {1, mail::BusyStatus::Tentative},
                                     {0, mail::BusyStatus::Free}};

// How an id begins that was made for a calendar item.
constexpr char kArrayId[] = "\x04\x00\x00\x00\x82\x00\xE0\x00\x74\xC5\xB7\x10\x1A\x82\xE0\x08";
constexpr std::size_t kArrayIdSize = sizeof kArrayId - 1;
// The date of the instance, behind the array id; zero in the id of a series.
constexpr std::size_t kInstanceDateSize = 4;
constexpr std::size_t kLeastIdSize = 40;

}  // namespace

int priorityOfImportance(std::uint32_t importance) { return rowOf(importance).priority; }

std::uint32_t importanceOfPriority(int priority) { return priority == 1 ? 2 : priority > 5 ? 0 : 1; }

std::uint32_t mapiPriorityOfImportance(std::uint32_t importance) {
  return static_cast<std::uint32_t>(rowOf(importance).mapiPriority);
}

mail::BusyStatus statusOfBusy(std::uint32_t busy) {
  const auto* row =
      std::find_if(std::begin(kBusyStatuses), std::end(kBusyStatuses), [&](const BusyRow& r) { return r.busy == busy; });
  return row == std::end(kBusyStatuses) ? kBusyStatuses[0].status : row->status;
}

std::uint32_t busyOfStatus(mail::BusyStatus status) {
  const auto* row =
      std::find_if(std::begin(kBusyStatuses), std::end(kBusyStatuses), [&](const BusyRow& r) { return r.status == status; });
  return row == std::end(kBusyStatuses) ? kBusyStatuses[0].busy : row->busy;
}

std::string makeGlobalObjectId(std::string_view searchKey) {
  const GUID guid = newGuid();
  char guidBytes[sizeof guid];
  std::memcpy(guidBytes, &guid, sizeof guid);
  std::string id(kArrayId, kArrayIdSize);
  id.append(kInstanceDateSize, '\0').append(guidBytes, sizeof guidBytes);
  for (unsigned shift = 0; shift < 32; shift += 8) {
    id.push_back(static_cast<char>(searchKey.size() >> shift & 0xFF));
  }
  return id.append(searchKey);
}

std::string cleanGlobalObjectId(std::string_view globalId) {
  std::string clean(globalId);
  if (clean.size() >= kLeastIdSize && clean.starts_with(std::string_view(kArrayId, kArrayIdSize))) {
    clean.replace(kArrayIdSize, kInstanceDateSize, kInstanceDateSize, '\0');
  }
  return clean;
}

mail::DateTime instantOfDay(const mail::DateTime& date) {
  constexpr std::int64_t kLastYear = 9999;
  if (date.isNull() || !date.isDateOnly()) {
    return date;
  }
  const mail::calendar::Fields day = date.wallClock();
  if (mail::calendar::timegm({day.year, day.month, day.day, 0, 0, 0, 0, 0}) <= mail::calendar::kFirstSecond ||
      day.year > kLastYear) {
    return {};
  }
  const SYSTEMTIME midnight = mail::DateTimeUtils::wallClockSystemTime(date);
  return mail::DateTime::fromSystemTime(mail::DateTimeUtils::localToGmt(midnight, true, nullptr));
}

bool isSentMail(mime::IMimeMessage* message) {
  ScopedPropVariant date(VT_LPSTR);
  return succeeded(message->GetProp(mime::HeaderId::Date, 0, &date)) && date.pszVal != nullptr && *date.pszVal != '\0';
}

}  // namespace nalvo
