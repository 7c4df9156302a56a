#include "convert/groupware/task_convert.h"

#include <algorithm>
#include <cmath>  // isnan
#include <cstring>

#include "convert/groupware/calendar_values.h"
#include "convert/groupware/object_alarm.h"
#include "convert/groupware/object_attendees.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "mail/windows_zone.h"
#include "platform/com/guid.h"

namespace nalvo {
namespace {

using mail::DateTime;

// The numbers of PidLidTaskStatus are those of the object.
int knownStatus(std::uint32_t status) {
  return status <= static_cast<std::uint32_t>(mail::VTodo::kCancelled) ? static_cast<int>(status) : mail::VTodo::kWaiting;
}

// Whole percents, cut. Fractions such as 0.29 are a little less than what they stand for.
int percentOf(double share) {
  constexpr double kTiny = 1e-9;
  return std::isnan(share) ? 0 : static_cast<int>(std::clamp(share * 100.0 + kTiny, 0.0, 100.0));
}

// Whether a time may be midnight in some zone.
bool isQuarter(const SYSTEMTIME& time) { return time.wMinute % 15 == 0 && time.wSecond == 0 && time.wMilliseconds == 0; }

// The day in the machine's zone, or in the one where it is midnight; null for one at either end of the calendar, which
// stands for no date.
DateTime localDay(const SYSTEMTIME& utc) {
  constexpr int kFirstYear = 1601;
  constexpr int kLastYear = 9999;
  constexpr mail::Duration kFarthestEast(std::int64_t{13} * 3600);
  if (utc.wYear <= kFirstYear || utc.wYear >= kLastYear) {
    return {};
  }
  const SYSTEMTIME local = mail::DateTimeUtils::gmtToLocal(utc, nullptr);
  const bool isMidnight = local.wHour == 0 && local.wMinute == 0 && local.wSecond == 0;
  if (isMidnight || !isQuarter(utc)) {
    return DateTime::fromSystemTime(local);
  }
  const DateTime day = (DateTime::fromSystemTime(utc) + kFarthestEast).makeDateOnly();
  return DateTime(day.seconds());
}

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::TaskConvert, toMapi::TaskConvert>::create, u"IPM.Task");

}  // namespace

std::string makeTaskGlobalId() {
  const GUID guid = newGuid();
  std::string bytes(sizeof guid, '\0');
  std::memcpy(bytes.data(), &guid, sizeof guid);
  return bytes;
}

namespace toMime {

std::span<const PropertyRow<TaskConvert>> TaskConvert::rows() {
  using Convert = TaskConvert;
  static constexpr auto kRows = withRichText<Convert>({
      {named::kTaskDueDate, ChangeOf::Body, &Convert::onDueDate},
      {named::kTaskStartDate, ChangeOf::Body, &Convert::onStartDate},
      {named::kTaskDateCompleted, ChangeOf::Body, &Convert::onDateCompleted},
      {named::kPrivate, ChangeOf::Body, &Convert::onPrivate},
      {named::kTaskVersion, ChangeOf::Body, &Convert::onVersion},
      {named::kKeywords, ChangeOf::Body, &Convert::onKeywords},
      {named::kTaskGlobalId, ChangeOf::Annotations, &Convert::onGlobalId},
      {PR_SUBJECT, ChangeOf::Body, &Convert::onSubject},
      {PR_IMPORTANCE, ChangeOf::Body, &Convert::onImportance},
      // The end of the pass deals with these, or what is made of them can be worked out.
      {named::kTaskStatus, ChangeOf::Body},
      {named::kPercentComplete, ChangeOf::Body},
      {named::kReminderSignalTime, ChangeOf::Body},
      {named::kReminderTime, ChangeOf::Body},
      {named::kReminderDelta, ChangeOf::Body, &Convert::onReminder},
      {named::kReminderSet, ChangeOf::Body},
      {named::kReminderOverride, ChangeOf::Body, &Convert::onReminder},
      {named::kReminderFileParameter, ChangeOf::Body, &Convert::onReminder},
      {named::kTaskFRecurring, ChangeOf::Body},
      {named::kTaskRecurrence, ChangeOf::Body},
      {named::kCommonStart, ChangeOf::Nothing},
      {named::kCommonEnd, ChangeOf::Nothing},
      {named::kTaskComplete, ChangeOf::Nothing},
      {PR_SENT_REPRESENTING_SEARCH_KEY, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENT_REPRESENTING_ENTRYID, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENT_REPRESENTING_NAME, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENT_REPRESENTING_ADDRTYPE, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENT_REPRESENTING_EMAIL_ADDRESS, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENDER_ENTRYID, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENDER_NAME, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENDER_SEARCH_KEY, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENDER_ADDRTYPE, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_SENDER_EMAIL_ADDRESS, ChangeOf::Nothing, &Convert::onOriginator},
      {PR_BODY, ChangeOf::Body},
      {PR_HTML, ChangeOf::Nothing},
      {PR_BODY_HTML, ChangeOf::Nothing},
      {PR_LAST_MODIFICATION_TIME, ChangeOf::Annotations, &Convert::storeAnnotation},
  });
  return kRows;
}

void TaskConvert::onDueDate(ULONG tag) { object().setDue(DateTime::fromSystemTime(getSysTime(tag))); }

void TaskConvert::onStartDate(ULONG tag) { object().setStart(DateTime::fromSystemTime(getSysTime(tag))); }

void TaskConvert::onDateCompleted(ULONG tag) {
  const DateTime completed = localDay(getSysTime(tag));
  if (!completed.isNull()) {
    object().setCompleted(completed, false);
  }
}

void TaskConvert::onVersion(ULONG tag) {
  object().setSequence(static_cast<int>(getULong(tag)));
  if (hasFlag(ToMimeFlags::EmbedAsNormal)) {
    storeAnnotation(tag);  // Who gets the text of a request counts one on.
  }
}

void TaskConvert::onGlobalId(ULONG tag) {
  const std::string id = getGroupwareId(tag);
  if (!id.empty()) {
    object().setUid(id);
  }
}

void TaskConvert::onSubject(ULONG tag) {
  if (!hasFlag(ToMimeFlags::EmbedAsNormal)) {
    setHeader(tag, mime::HeaderId::Subject);
  }
  storeSummary(tag);
}

void TaskConvert::onImportance(ULONG tag) { object().setPriority(priorityOfImportance(getULong(tag))); }

// Calendar text tells of a reminder that is on.
void TaskConvert::onReminder(ULONG tag) {
  if (!isTrue(tagOf(named::kReminderSet))) {
    storeAnnotation(tag);
  }
}

// Nobody sends a plain task. That of a request is from whoever sends the request.
void TaskConvert::onOriginator(ULONG tag) {
  if (!hasFlag(ToMimeFlags::EmbedAsNormal)) {
    storeAnnotation(tag);
  }
}

void TaskConvert::mapiToMimeEnd() {
  if (converts(Converted::Body)) {
    setProgress();
    createAttendees();
    ObjectAlarm::createAlarms(data(), object());
    const std::optional<TIME_ZONE_INFORMATION> zone = readTimeZoneStruct(data());
    RecurrenceState::createState(data(), object(), zone ? *zone : machineTimeZone());
    if (!hasFlag(ToMimeFlags::EmbedAsNormal) && !hasUid()) {
      createUid();
    }
  }
  CalendarBaseConvert::mapiToMimeEnd();
}

// Some statuses bring a percentage, which the item's own then replaces.
void TaskConvert::setProgress() {
  const ULONG statusTag = tagOf(named::kTaskStatus);
  const ULONG percentTag = tagOf(named::kPercentComplete);
  if (exists(statusTag)) {
    object().setStatus(knownStatus(getULong(statusTag)));
  }
  if (exists(percentTag)) {
    object().setPercentComplete(
        percentOf(MapiPropUtils::propDouble(data().getMapiMessage(), percentTag, data().getAllocator())));
  }
}

void TaskConvert::createAttendees() { ObjectAttendees::createAttendees(data(), object()); }

bool TaskConvert::hasUid() const {
  const ULONG tag = tagOf(named::kTaskGlobalId);
  return exists(tag) && !getBinary(tag).empty();
}

void TaskConvert::createUid() {
  const std::string id = makeTaskGlobalId();
  object().setUid(detail::groupwareIdText(id));
  MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kTaskGlobalId), id);
}

}  // namespace toMime

namespace toMapi {

void TaskConvert::convertMimeToMapi() {
  CalendarBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setUtf8IfNotEmpty(PR_SUBJECT, object().getSummary());
  setBodyText(object().getDescription());
  setDates();
  setPrivate(object());
  setProgress();
  setULong(PR_IMPORTANCE, importanceOfPriority(object().getPriority()));
  setCategories(object());
  parseAttendees();
  ObjectAlarm::parseAlarms(data(), object());
  const DateTime start = object().getStart();
  RecurrenceState::ParseState(start.isNull() ? object().getDue() : start, object().getEnd(), data(), object());
  setULong(PR_PRIORITY, mapiPriorityOfImportance(getULong(PR_IMPORTANCE)));
  setSensitivity();
  if (!hasFlag(ToMapiFlags::EmbedAsNormal)) {
    setULong(tagOf(named::kTaskVersion), static_cast<std::uint32_t>(object().getSequence()));
  }
  setDate(PR_LAST_MODIFICATION_TIME, object().getLastModified());
  if (const std::string uid = object().getUid(); !uid.empty()) {
    MapiPropUtils::setBinary(data().getMapiMessage(), tagOf(named::kTaskGlobalId), detail::groupwareIdBytes(uid));
  }
}

// All are whole days. The task's own dates are told without a zone, the common ones and that of completion as instants.
void TaskConvert::setDates() {
  const DateTime start = object().getStart();
  const DateTime due = object().getDue();
  setDate(tagOf(named::kCommonStart), instantOfDay(start));
  setDate(tagOf(named::kTaskStartDate), start);
  setDate(tagOf(named::kTaskDateCompleted), instantOfDay(object().getEnd()));
  setDate(tagOf(named::kTaskDueDate), due);
  setDate(tagOf(named::kCommonEnd), instantOfDay(due));
}

void TaskConvert::setProgress() {
  const int status = object().getStatus();
  MapiPropUtils::setDouble(data().getMapiMessage(), tagOf(named::kPercentComplete), object().getPercentComplete() / 100.0);
  setULong(tagOf(named::kTaskStatus), static_cast<std::uint32_t>(status));
  setBool(tagOf(named::kTaskComplete), status == mail::VTodo::kCompleted);
}

void TaskConvert::parseAttendees() { ObjectAttendees::parseAttendees(data(), object()); }

}  // namespace toMapi
}  // namespace nalvo
