#include "convert/groupware/calendar_convert.h"

#include <algorithm>
#include <iterator>

#include "convert/groupware/calendar_values.h"
#include "convert/groupware/object_alarm.h"
#include "convert/groupware/object_attendees.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "mail/windows_zone.h"
#include "platform/text/localization.h"

namespace nalvo {
namespace {

using mail::BusyStatus;
using mail::DateTime;
using mail::Duration;
namespace DateTimeUtils = mail::DateTimeUtils;

constexpr SourceFile kSource{".\\CalendarConvert"};

constexpr ULONG PR_START_DATE = propTag(PT_SYSTIME, 0x0060);
constexpr ULONG PR_END_DATE = propTag(PT_SYSTIME, 0x0061);
constexpr ULONG PR_PARENT_ENTRYID = propTag(PT_BINARY, 0x0E09);

struct BusyRow {
  std::uint32_t busy;  // PidLidBusyStatus
  BusyStatus status;
};
// The first row answers for what is not known.
constexpr BusyRow kBusyStatuses[] = {
    {2, BusyStatus::Busy}, {3, BusyStatus::OutOfOffice}, {1, BusyStatus::Tentative}, {0, BusyStatus::Free}};

template <typename Matches>
const BusyRow& findBusy(Matches matches) {
  const auto* row = std::find_if(std::begin(kBusyStatuses), std::end(kBusyStatuses), matches);
  return row == std::end(kBusyStatuses) ? kBusyStatuses[0] : *row;
}

constexpr ULONG kOriginatorTags[] = {
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

constexpr std::uint32_t kSideEffects = 0x171;
constexpr std::uint32_t kNoStateFlags = 0;
constexpr std::uint32_t kNoAccess = 0;
// Of a folder whose private items are hidden.
constexpr ULONG kFolderOfOthers = 1;
constexpr unsigned kTextPrivateItem = 201;

constexpr int kFirstYear = 1601;
constexpr int kLastYear = 9999;

bool isMidnight(const SYSTEMTIME& time) { return time.wHour == 0 && time.wMinute == 0 && time.wSecond == 0; }

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
  return allDay ? event.getStart() + Duration(mail::calendar::kDay) : end;
}

// A date that no property holds is read as the nearest that one does.
bool isValid(const DateTime& date) {
  return !date.isNull() && date.seconds() > mail::calendar::kFirstSecond && date.wallClock().year >= kFirstYear;
}

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::CalendarConvert, toMapi::CalendarConvert>::create, u"IPM.Appointment");

}  // namespace

namespace toMime {

struct CalendarRows {
  using Convert = CalendarConvert;
  static constexpr PropertyRow<Convert> kAll[] = {
      {named::kLocation, ChangeOf::Body, &Convert::onLocation},
      {named::kPrivate, ChangeOf::Body, &Convert::onPrivate},
      {named::kBusyStatus, ChangeOf::Body, &Convert::onBusyStatus},
      {named::kKeywords, ChangeOf::Body, &Convert::onKeywords},
      {named::kGlobalObjectId, ChangeOf::Body, &Convert::onGlobalObjectId},
      {named::kAppointmentSequence, ChangeOf::Body, &Convert::onSequence},
      {named::kAttendeeCriticalChange, ChangeOf::Body, &Convert::onCriticalChange},
      {named::kAppointmentColor, ChangeOf::Body, &Convert::onColor},
      {PR_SUBJECT, ChangeOf::Body, &Convert::onSubject},
      {PR_IMPORTANCE, ChangeOf::Body, &Convert::onImportance},
      // The end of the pass deals with these, or what is made of them can be worked out.
      {named::kAppointmentDuration, ChangeOf::Annotations},
      {named::kAppointmentStartWhole, ChangeOf::Body},
      {named::kAppointmentEndWhole, ChangeOf::Body},
      {named::kClipStart, ChangeOf::Body},
      {named::kClipEnd, ChangeOf::Body},
      {named::kCommonStart, ChangeOf::Nothing},
      {named::kCommonEnd, ChangeOf::Nothing},
      {named::kAppointmentSubType, ChangeOf::Body},
      {named::kTimeZoneStruct, ChangeOf::Body},
      {named::kTimeZoneDescription, ChangeOf::Annotations},
      {named::kNonSendableTo, ChangeOf::Body},
      {named::kNonSendableCc, ChangeOf::Body},
      {named::kNonSendableBcc, ChangeOf::Body},
      {named::kNonSendToTrackStatus, ChangeOf::Body},
      {named::kNonSendCcTrackStatus, ChangeOf::Body},
      {named::kNonSendBccTrackStatus, ChangeOf::Body},
      {named::kReminderDelta, ChangeOf::Body},
      {named::kReminderSet, ChangeOf::Body},
      {named::kReminderOverride, ChangeOf::Body},
      {named::kReminderFileParameter, ChangeOf::Body},
      {named::kReminderSignalTime, ChangeOf::Body},
      {named::kReminderTime, ChangeOf::Body},
      {named::kRecurring, ChangeOf::Body},
      {named::kAppointmentRecur, ChangeOf::Body},
      {named::kRecurrenceType, ChangeOf::Annotations},
      {named::kRecurrencePattern, ChangeOf::Annotations},
      {named::kCleanGlobalObjectId, ChangeOf::Annotations},
      {PR_SENT_REPRESENTING_SEARCH_KEY, ChangeOf::Nothing},
      {PR_SENT_REPRESENTING_ENTRYID, ChangeOf::Nothing},
      {PR_SENT_REPRESENTING_NAME, ChangeOf::Nothing},
      {PR_SENT_REPRESENTING_ADDRTYPE, ChangeOf::Nothing},
      {PR_SENT_REPRESENTING_EMAIL_ADDRESS, ChangeOf::Nothing},
      {PR_SENDER_ENTRYID, ChangeOf::Nothing},
      {PR_SENDER_SEARCH_KEY, ChangeOf::Nothing},
      {PR_SENDER_ADDRTYPE, ChangeOf::Nothing},
      {PR_SENDER_NAME, ChangeOf::Body},
      {PR_SENDER_EMAIL_ADDRESS, ChangeOf::Body},
      {PR_START_DATE, ChangeOf::Nothing},
      {PR_END_DATE, ChangeOf::Nothing},
      {PR_BODY, ChangeOf::Body},
      {PR_RTF_IN_SYNC, ChangeOf::Nothing},
      {PR_RTF_SYNC_BODY_CRC, ChangeOf::Nothing},
      {PR_RTF_SYNC_BODY_COUNT, ChangeOf::Nothing},
      {PR_RTF_SYNC_BODY_TAG, ChangeOf::Nothing},
      {PR_RTF_COMPRESSED, ChangeOf::Nothing},
      {PR_RTF_SYNC_PREFIX_COUNT, ChangeOf::Nothing},
      {PR_RTF_SYNC_TRAILING_COUNT, ChangeOf::Nothing},
      {PR_LAST_MODIFICATION_TIME, ChangeOf::Annotations},
  };
};

CalendarConvert::CalendarConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data), rows_(CalendarRows::kAll) {}

PartTags CalendarConvert::getPartTags(IConvertMessage* message) const {
  return PropertyRows<CalendarConvert>::extend(MessageConvert::getPartTags(message), CalendarRows::kAll, message);
}

void CalendarConvert::onProp(ULONG tag) {
  if (!rows_.apply(*this, tag, data())) {
    MessageConvert::onProp(tag);
  }
}

void CalendarConvert::onLocation(ULONG tag) {
  object().setLocation(getUtf8(tag));
  keepIfEmpty(tag, object().getLocation());
}

void CalendarConvert::onPrivate(ULONG tag) { storePrivate(tag, object()); }

void CalendarConvert::onBusyStatus(ULONG tag) {
  const std::uint32_t busy = getULong(tag);
  object().setBusyStatus(findBusy([busy](const BusyRow& row) { return row.busy == busy; }).status);
}

void CalendarConvert::onKeywords(ULONG /*tag*/) { makeCategories(object()); }

void CalendarConvert::onGlobalObjectId(ULONG tag) {
  const std::string id = getGroupwareId(tag);
  if (!id.empty()) {
    object().setUid(id);
  }
}

void CalendarConvert::onSequence(ULONG tag) { object().setSequence(static_cast<int>(getULong(tag))); }

void CalendarConvert::onCriticalChange(ULONG tag) { object().setStamp(DateTime::fromSystemTime(getSysTime(tag))); }

void CalendarConvert::onColor(ULONG tag) { object().setLabel(static_cast<int>(getULong(tag))); }

void CalendarConvert::onSubject(ULONG tag) {
  setHeader(tag, mime::HeaderId::Subject);
  object().setSummary(getUtf8(tag));
  keepIfEmpty(tag, object().getSummary());
}

// Calendar text knows no empty values.
void CalendarConvert::keepIfEmpty(ULONG tag, std::string_view text) {
  if (text.empty()) {
    storeAnnotation(tag);
  }
}

void CalendarConvert::onImportance(ULONG tag) { object().setPriority(priorityOfImportance(getULong(tag))); }

void CalendarConvert::mapiToMimeEnd() {
  createAttendees();
  keepOtherSender();
  if (converts(Converted::Body)) {
    const TIME_ZONE_INFORMATION zone = pickZone();
    ObjectAlarm::createAlarms(data(), object());
    setTimes(zone);
    RecurrenceState::createState(data(), object(), zone);
    const ULONG idTag = tagOf(named::kGlobalObjectId);
    if (!exists(idTag) || getBinary(idTag).empty()) {
      createUid();
    }
  }
  CalendarBaseConvert::mapiToMimeEnd();
}

void CalendarConvert::createAttendees() { ObjectAttendees::createAttendees(data(), object()); }

// One who has no address that mail knows is no organizer of calendar text.
void CalendarConvert::keepOtherSender() {
  if (!object().getOrganizer().address.empty()) {
    return;
  }
  for (const ULONG tag : kOriginatorTags) {
    if (exists(tag)) {
      storeAnnotation(tag);
    }
  }
}

TIME_ZONE_INFORMATION CalendarConvert::pickZone() const {
  const std::optional<TIME_ZONE_INFORMATION> own =
      isTrue(tagOf(named::kRecurring)) ? readTimeZoneStruct(data()) : std::nullopt;
  return own ? *own : machineTimeZone();
}

void CalendarConvert::setTimes(const TIME_ZONE_INFORMATION& zone) {
  const bool allDay = isTrue(tagOf(named::kAppointmentSubType));
  const std::shared_ptr<const mail::NTimeZone> known = itemZone(zone);
  const auto dateOf = [&](ULONG tag) {
    const SYSTEMTIME time = getSysTime(tag);
    if (allDay) {
      return dayOf(time, zone);
    }
    DateTime date = DateTime::fromSystemTime(time);
    date.moveToZone(known);
    return date;
  };
  const ULONG startTag = tagOf(named::kAppointmentStartWhole);
  const ULONG endTag = tagOf(named::kAppointmentEndWhole);
  if (exists(startTag)) {
    object().setStart(dateOf(startTag));
  }
  if (exists(endTag)) {
    object().setEnd(dateOf(endTag));
  }
  object().setAllDay(allDay);
}

DateTime CalendarConvert::dayOf(const SYSTEMTIME& midnight, const TIME_ZONE_INFORMATION& zone) const {
  if (midnight.wYear <= kFirstYear || midnight.wYear >= kLastYear) {
    return DateTime::fromSystemTime(midnight).makeDateOnly();  // A mark for no date, which has no zone.
  }
  SYSTEMTIME local = DateTimeUtils::gmtToLocal(midnight, &zone);
  if (!isMidnight(local)) {
    // Made in another zone, which the item may know.
    if (const std::optional<TIME_ZONE_INFORMATION> own = readTimeZoneStruct(data())) {
      const SYSTEMTIME there = DateTimeUtils::gmtToLocal(midnight, &*own);
      local = isMidnight(there) ? there : local;
    }
  }
  constexpr Duration kHalfDay(mail::calendar::kDay / 2);
  DateTime day = DateTime::fromSystemTime(local) + (isMidnight(local) ? Duration(0) : kHalfDay);
  return day.makeDateOnly();
}

void CalendarConvert::createUid() {
  const std::string id = makeGlobalObjectId(exists(PR_SEARCH_KEY) ? getBinary(PR_SEARCH_KEY) : std::string());
  object().setUid(detail::groupwareIdText(id));
  MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kGlobalObjectId), id);
  MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kCleanGlobalObjectId), cleanGlobalObjectId(id));
}

}  // namespace toMime

namespace toMapi {

void CalendarConvert::convertMimeToMapi() {
  CalendarBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  const bool allDay = isWholeDays(object());
  setBool(tagOf(named::kAppointmentSubType), allDay);
  setTimes(allDay);
  const BusyStatus status = object().getBusyStatus();
  setULong(tagOf(named::kBusyStatus), findBusy([status](const BusyRow& row) { return row.status == status; }).busy);
  setULongIfMissing(tagOf(named::kSideEffects), kSideEffects);
  setIds();
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
