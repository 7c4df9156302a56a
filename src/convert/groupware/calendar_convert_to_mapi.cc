// Calendar text to appointments.
#include <algorithm>

#include "convert/groupware/calendar_convert.h"
#include "convert/groupware/calendar_values.h"
#include "convert/groupware/object_alarm.h"
#include "convert/groupware/object_attendees.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "mail/windows_zone.h"
#include "platform/text/localization.h"

namespace nalvo {
namespace {

using mail::DateTime;
using mail::Duration;
namespace DateTimeUtils = mail::DateTimeUtils;

constexpr SourceFile kSource{".\\CalendarConvert"};

constexpr ULONG PR_PARENT_ENTRYID = propTag(PT_BINARY, 0x0E09);

constexpr std::uint32_t kSideEffects = 0x171;
constexpr std::uint32_t kNoStateFlags = 0;
constexpr std::uint32_t kNoAccess = 0;
// Of a folder whose private items are hidden.
constexpr ULONG kFolderOfOthers = 1;
constexpr unsigned kTextPrivateItem = 201;

constexpr int kFirstYear = 1601;

// Many calendars write a whole day as its date alone, without saying that it is one and when it ends.
bool isWholeDays(const mail::VEvent& event) {
  return event.isAllDay() || (event.getProperty("X-MICROSOFT-CDO-ALLDAYEVENT").empty() && event.getStart().isDateOnly() &&
                              event.getEnd().isNull());
}

// Null when neither the end nor how long it lasts is told.
DateTime endOf(const mail::VEvent& event, bool allDay) {
  const DateTime end = event.getEnd();
  const Duration duration = event.getDurationProperty();
  if (!end.isNull()) {
    return end;
  }
  if (!duration.isNull()) {
    return event.getStart() + duration;
  }
  if (allDay) {
    return event.getStart() + Duration(mail::calendar::kDay);
  }
  return event.getRRules().empty() ? end : event.getStart();  // A series needs a length, if only none.
}

// A date that no property holds is read as the nearest that one does.
bool isValid(const DateTime& date) {
  return !date.isNull() && date.seconds() > mail::calendar::kFirstSecond && date.wallClock().year >= kFirstYear;
}

}  // namespace

namespace toMapi {

void CalendarConvert::convertMimeToMapi() {
  CalendarBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  const bool allDay = isWholeDays(object());
  setBool(tagOf(named::kAppointmentSubType), allDay);
  setTimes(allDay);
  setULong(tagOf(named::kBusyStatus), busyOfStatus(object().getBusyStatus()));
  setULongIfMissing(tagOf(named::kSideEffects), kSideEffects);
  setIds();
  setInstance();
  setZone();
  setRecurrence();
  setULong(tagOf(named::kAppointmentSequence), static_cast<std::uint32_t>(object().getSequence()));
  setDate(tagOf(named::kAttendeeCriticalChange), object().getStamp());
  setPrivate(object());
  setULongIfMissing(tagOf(named::kAppointmentStateFlags), kNoStateFlags);
  isHidden_ = isFolderOfOthers() && isTrue(tagOf(named::kPrivate));
  if (isHidden_) {
    setUnicode(PR_SUBJECT, Localization::getString(kTextPrivateItem));
    setULong(PR_ACCESS, kNoAccess);
  } else {
    setContent();
  }
  propCopyIfExists(tagOf(named::kAppointmentStartWhole), tagOf(named::kCommonStart));
  propCopyIfExists(tagOf(named::kAppointmentEndWhole), tagOf(named::kCommonEnd));
  if (exists(PR_IMPORTANCE)) {
    setULong(PR_PRIORITY, mapiPriorityOfImportance(getULong(PR_IMPORTANCE)));
  }
  setSensitivity();
  setDate(PR_LAST_MODIFICATION_TIME, object().getLastModified());
  if (isSentMail(data().getMimeMessage())) {
    setTransportMessageHeader();
  }
}

void CalendarConvert::setContent() {
  setUtf8IfNotEmpty(PR_SUBJECT, object().getSummary());
  setUtf8IfNotEmpty(tagOf(named::kLocation), object().getLocation());
  setBodyText(object().getDescription());
  setULong(PR_IMPORTANCE, importanceOfPriority(object().getPriority()));
  setCategories(object());
  setULong(tagOf(named::kAppointmentColor), static_cast<std::uint32_t>(object().getLabel()));
  parseAttendees();
  ObjectAlarm::parseAlarms(data(), object());
}

void CalendarConvert::parseAttendees() { ObjectAttendees::parseAttendees(data(), object()); }

void CalendarConvert::setTimes(bool allDay) {
  const DateTime start = object().getStart();
  const DateTime end = start.isNull() ? object().getEnd() : endOf(object(), allDay);
  const auto store = [this, allDay](const DateTime& date, std::initializer_list<ULONG> tags) {
    const DateTime instant = allDay ? instantOfDay(date.makeDateOnly()) : date;
    if (isValid(instant)) {
      std::for_each(tags.begin(), tags.end(), [&](ULONG tag) { setDate(tag, instant); });
    }
  };
  store(start, {tagOf(named::kAppointmentStartWhole), tagOf(named::kClipStart), PR_START_DATE});
  store(end, {tagOf(named::kAppointmentEndWhole), tagOf(named::kClipEnd), PR_END_DATE});
  if (isValid(start) && isValid(end)) {
    setDuration(start, end, allDay);
  }
}

// As the clocks on the wall show it, whatever they do in between.
void CalendarConvert::setDuration(const DateTime& start, const DateTime& end, bool allDay) {
  const auto wall = [allDay](const DateTime& date) {
    return DateTimeUtils::wallClockSystemTime(allDay ? date.makeDateOnly() : date);
  };
  const std::int64_t minutes = DateTimeUtils::minutesBetween(wall(end), wall(start));
  setULong(tagOf(named::kAppointmentDuration), static_cast<std::uint32_t>(minutes));
}

void CalendarConvert::setIds() {
  const std::string id = detail::groupwareIdBytes(object().getUid());
  if (!id.empty()) {
    MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kGlobalObjectId), id);
    MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kCleanGlobalObjectId), cleanGlobalObjectId(id));
  }
}

// Which one of a series the text is about, if it is about one alone.
void CalendarConvert::setInstance() {
  const DateTime original = instantOfDay(object().getDate(kInstance));
  if (isValid(original)) {
    setDate(tagOf(kExceptionReplaceTime), original);
  }
}

void CalendarConvert::setZone() {
  const DateTime start = object().getStart();
  const DateTimeUtils::ZoneDescription zone = DateTimeUtils::describeZone(start.isNull() ? object().getEnd() : start);
  writeTimeZoneStruct(data(), zone.info);
  setUnicode(tagOf(named::kTimeZoneDescription), zone.name);
}

void CalendarConvert::setRecurrence() {
  const auto timeOf = [this](const NamedProperty& property) {
    const ULONG tag = tagOf(property);
    return exists(tag) ? DateTime::fromSystemTime(getSysTime(tag)) : DateTime();
  };
  RecurrenceState::ParseState(timeOf(named::kAppointmentStartWhole), timeOf(named::kAppointmentEndWhole), data(), object());
  const ULONG recurringTag = tagOf(named::kRecurring);
  if (!exists(recurringTag)) {
    setBool(recurringTag, false);
    MapiPropUtils::deletePropIfExist(data().getMapiMessage(), tagOf(named::kTimeZoneStruct));
  }
}

// The folder of somebody else, whose private items are nobody else's business. One that can't be told isn't.
bool CalendarConvert::isFolderOfOthers() const {
  IConvertMessage* message = data().getMapiMessage();
  ComPtr<IAddressBook> book;
  if (failed(message->getAddressBook(book.put())) || !book) {
    return false;
  }
  MapiBuffer<SPropValue> folder(MapiAlloc::getAlloc(data().getAllocator()).freeBuffer);
  if (failed(message->getProp(PR_PARENT_ENTRYID, folder.put())) || !folder || folder->ulPropTag != PR_PARENT_ENTRYID) {
    return false;
  }
  ULONG kind = 0;
  checkHResult(book->getFolderKind(folder->Value.bin.cb, folder->Value.bin.lpb, &kind),
               kSource.at("toMapi::CalendarConvert::isFolderOfOthers"));
  return kind == kFolderOfOthers;
}

}  // namespace toMapi
}  // namespace nalvo
