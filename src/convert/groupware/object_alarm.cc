#include "convert/groupware/object_alarm.h"

#include <algorithm>
#include <limits>

#include "convert/base_convert.h"
#include "convert/groupware/calendar_values.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo::ObjectAlarm {
namespace {

using mail::DateTime;
using mail::Duration;
using mail::VAlarm;

constexpr SourceFile kSource{".\\ObjectAlarm"};

constexpr std::int64_t kSecondsPerMinute = 60;

// A signal time that says that there is none.
constexpr SYSTEMTIME kNever{8907, 12, 0, 5, 17, 42, 0, 0};
// A distance that stands for the usual one, in minutes.
constexpr std::uint32_t kDefaultDeltaMark = 0x5AE980E1;
constexpr std::int32_t kDefaultDelta = 15;

constexpr const char* kDefaultDescription = "Alarm";

bool isNever(const SYSTEMTIME& time) {
  return time.wYear == kNever.wYear && time.wMonth == kNever.wMonth && time.wDay == kNever.wDay &&
         time.wHour == kNever.wHour && time.wMinute == kNever.wMinute;
}

[[noreturn]] void throwCorrupt() { throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("ObjectAlarm::parseAlarms")); }

// Whole minutes; a time behind the start is none.
std::uint32_t minutesAhead(std::int64_t seconds) {
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(seconds / kSecondsPerMinute, 0, std::numeric_limits<std::int32_t>::max()));
}

// A whole day begins at midnight of the machine's zone.
DateTime baseOf(const mail::VEvent& event) { return instantOfDay(event.getAlarmBase()); }
DateTime endOf(const mail::VEvent& event) { return instantOfDay(event.getAlarmEnd()); }
// Dates of a task are days everywhere.
DateTime baseOf(const mail::VTodo& task) { return task.getAlarmBase(); }
DateTime endOf(const mail::VTodo& task) { return task.getAlarmEnd(); }

struct Reminder {
  std::uint32_t delta;  // minutes
  DateTime signal;
  DateTime time;
};

template <typename Object>
Reminder reminderOf(const VAlarm& alarm, const Object& object) {
  const DateTime next = object.getNextAlarm();
  const auto signalOr = [&next](const DateTime& date) { return next.isNull() ? date : next; };
  if (alarm.triggerKind == VAlarm::TriggerKind::Time) {
    if (alarm.triggerTime.isNull()) {
      throwCorrupt();
    }
    // Others tell no distance, which follows from the start.
    const bool isTold = !object.getAlarmTrigger().isNull() || baseOf(object).isNull();
    const Duration ahead = isTold ? Duration(-object.getAlarmTrigger().seconds()) : baseOf(object) - alarm.triggerTime;
    return {minutesAhead(ahead.seconds()), signalOr(alarm.triggerTime), alarm.triggerTime};
  }
  // A task may have no date at all. When its reminder is next is known all the same.
  const DateTime base = baseOf(object).isNull() ? next : baseOf(object);
  if (base.isNull()) {
    throwCorrupt();
  }
  const Duration offset(alarm.triggerOffset.seconds());
  if (alarm.triggerKind == VAlarm::TriggerKind::Start) {
    return {minutesAhead(-offset.seconds()), signalOr(base + offset), base};
  }
  const DateTime end = endOf(object);
  if (end.isNull() || end == base) {
    throwCorrupt();
  }
  return {minutesAhead(((base - end) - offset).seconds()), signalOr(end + offset), base};
}

class Reminders : private BaseConvertCommons<kMessageLevel> {
 public:
  explicit Reminders(ConvertorDataMessage& data) : BaseConvertCommons(&data) {}

  void create(mail::VCalendar& object) const;
  template <typename Object>
  void parse(const Object& object) const;

 private:
  std::string getUtf8(ULONG tag) const { return wideToUtf8(getUnicode(tag)); }
  void setDate(const NamedProperty& property, const DateTime& date) const;
  void setReminderTime(const DateTime& time, const mail::VEvent& event) const;
  void setReminderTime(const DateTime& time, const mail::VTodo& task) const;
  void keepSwitchedOff(const mail::VEvent& event) const;
  void keepSwitchedOff(const mail::VTodo& task) const;
};

void Reminders::create(mail::VCalendar& object) const {
  object.removeAlarms();
  const ULONG signalTag = tagOf(named::kReminderSignalTime);
  const std::uint32_t mark = getULongOr(tagOf(named::kReminderDelta), 0);
  const std::int32_t delta = mark == kDefaultDeltaMark ? kDefaultDelta : static_cast<std::int32_t>(mark);
  const Duration trigger(-kSecondsPerMinute * delta);
  object.setAlarmTrigger(trigger);
  if (exists(signalTag)) {
    const SYSTEMTIME signal = getSysTime(signalTag);
    if (!isNever(signal)) {
      object.setNextAlarm(DateTime::fromSystemTime(signal));
    }
  }
  if (!isTrue(tagOf(named::kReminderSet))) {
    return;
  }
  VAlarm alarm;
  alarm.triggerOffset = trigger;
  if (isTrue(tagOf(named::kReminderOverride))) {
    const ULONG soundTag = tagOf(named::kReminderFileParameter);
    alarm.action = VAlarm::Action::Audio;
    alarm.description = exists(soundTag) ? getUtf8(soundTag) : std::string();
  } else {
    alarm.description = exists(PR_SUBJECT) ? getUtf8(PR_SUBJECT) : kDefaultDescription;
  }
  object.addAlarm(alarm);
}

template <typename Object>
void Reminders::parse(const Object& object) const {
  const std::vector<VAlarm> alarms = object.getAlarms();
  const auto alarm = std::find_if(alarms.begin(), alarms.end(), [](const VAlarm& each) {
    return each.action == VAlarm::Action::Audio || each.action == VAlarm::Action::Display;
  });
  setBool(tagOf(named::kReminderSet), alarm != alarms.end());
  if (alarm == alarms.end()) {
    keepSwitchedOff(object);
    return;
  }
  const Reminder reminder = reminderOf(*alarm, object);
  setDate(named::kReminderSignalTime, reminder.signal);
  setULong(tagOf(named::kReminderDelta), reminder.delta);
  setReminderTime(reminder.time, object);
  const bool hasSound = alarm->action == VAlarm::Action::Audio;
  setBool(tagOf(named::kReminderOverride), hasSound);
  if (hasSound && !alarm->description.empty()) {
    setUnicode(tagOf(named::kReminderFileParameter), utf8ToWide(alarm->description));
  }
}

void Reminders::setDate(const NamedProperty& property, const DateTime& date) const {
  SYSTEMTIME time{};
  date.toSystemTime(time);
  setSysTime(tagOf(property), time);
}

void Reminders::setReminderTime(const DateTime& time, const mail::VEvent& /*event*/) const {
  const ULONG startTag = tagOf(named::kAppointmentStartWhole);
  if (exists(startTag)) {
    propCopy(startTag, tagOf(named::kReminderTime));
  } else {
    setDate(named::kReminderTime, time);
  }
}

// A task is reminded of at a time of its own.
void Reminders::setReminderTime(const DateTime& time, const mail::VTodo& task) const {
  const DateTime next = task.getNextAlarm();
  setDate(named::kReminderTime, next.isNull() ? time : next);
}

void Reminders::keepSwitchedOff(const mail::VEvent& event) const {
  const std::int64_t ahead = std::max<std::int64_t>(-event.getAlarmTrigger().seconds(), 0);
  const DateTime next = event.getNextAlarm();
  setULong(tagOf(named::kReminderDelta), minutesAhead(ahead));
  if (!next.isNull()) {
    setDate(named::kReminderSignalTime, next);
    setDate(named::kReminderTime, next + Duration(ahead));
  }
}

void Reminders::keepSwitchedOff(const mail::VTodo& task) const {
  const DateTime next = task.getNextAlarm();
  if (!next.isNull()) {
    setDate(named::kReminderSignalTime, next);
    setDate(named::kReminderTime, next);
  }
}

}  // namespace

void createAlarms(ConvertorDataMessage& data, mail::VCalendar& object) { Reminders(data).create(object); }

void parseAlarms(ConvertorDataMessage& data, const mail::VEvent& object) { Reminders(data).parse(object); }

void parseAlarms(ConvertorDataMessage& data, const mail::VTodo& object) { Reminders(data).parse(object); }

}  // namespace nalvo::ObjectAlarm
