#include "convert/groupware/calendar_convert.h"

#include "convert/groupware/calendar_values.h"
#include "convert/groupware/object_alarm.h"
#include "convert/groupware/object_attendees.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "mail/windows_zone.h"

namespace nalvo {
namespace {

using mail::DateTime;
using mail::Duration;
namespace DateTimeUtils = mail::DateTimeUtils;

constexpr int kFirstYear = 1601;
constexpr int kLastYear = 9999;

bool isMidnight(const SYSTEMTIME& time) { return time.wHour == 0 && time.wMinute == 0 && time.wSecond == 0; }

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::CalendarConvert, toMapi::CalendarConvert>::create, u"IPM.Appointment");

}  // namespace

namespace toMime {

std::span<const PropertyRow<CalendarConvert>> CalendarConvert::rows() {
  using Convert = CalendarConvert;
  static constexpr auto kRows = withRichText<Convert>({
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
      {PR_TRANSPORT_MESSAGE_HEADERS, ChangeOf::Annotations, &Convert::onHeaders},
      // The end of the pass deals with these, or what is made of them can be worked out.
      {named::kAppointmentDuration, ChangeOf::Annotations},
      {named::kAppointmentStartWhole, ChangeOf::Body},
      {named::kAppointmentEndWhole, ChangeOf::Body},
      {kExceptionReplaceTime, ChangeOf::Body},
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
      {PR_LAST_MODIFICATION_TIME, ChangeOf::Annotations},
  });
  return kRows;
}

void CalendarConvert::mapiToMimeStart() {
  CalendarBaseConvert::mapiToMimeStart();
  setTransportMessageHeaders();
}

void CalendarConvert::onLocation(ULONG tag) {
  object().setLocation(getUtf8(tag));
  keepIfEmpty(tag, object().getLocation());
}

void CalendarConvert::onBusyStatus(ULONG tag) { object().setBusyStatus(statusOfBusy(getULong(tag))); }

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
  storeSummary(tag);
}

void CalendarConvert::onImportance(ULONG tag) { object().setPriority(priorityOfImportance(getULong(tag))); }

// The headers of a mail are loaded; any others would not be known for those of one.
void CalendarConvert::onHeaders(ULONG tag) {
  if (!isSentMail(data().getMimeMessage())) {
    storeAnnotation(tag);
  }
}

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
  const ULONG startTag = tagOf(named::kAppointmentStartWhole);
  const ULONG endTag = tagOf(named::kAppointmentEndWhole);
  const ULONG instanceTag = tagOf(kExceptionReplaceTime);
  if (exists(startTag)) {
    object().setStart(dateOf(startTag, zone));
  }
  if (exists(endTag)) {
    object().setEnd(dateOf(endTag, zone));
  }
  if (exists(instanceTag)) {
    object().setDate(kInstance, dateOf(instanceTag, zone));
  }
  object().setAllDay(isTrue(tagOf(named::kAppointmentSubType)));
}

DateTime CalendarConvert::dateOf(ULONG tag, const TIME_ZONE_INFORMATION& zone) const {
  const SYSTEMTIME time = getSysTime(tag);
  if (isTrue(tagOf(named::kAppointmentSubType))) {
    return dayOf(time, zone);
  }
  DateTime date = DateTime::fromSystemTime(time);
  date.moveToZone(itemZone(zone));
  return date;
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
}  // namespace nalvo
