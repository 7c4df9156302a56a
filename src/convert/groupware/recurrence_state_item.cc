#include "convert/groupware/recurrence_state_item.h"

#include "convert/groupware/time_zone_struct.h"
#include "diagnostics/hresult_exception.h"
#include "mail/windows_zone.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo::RecurrenceState::detail {
namespace {

constexpr SourceFile kSource{".\\RecurrenceState"};

}  // namespace

ItemClock::ItemClock(const TIME_ZONE_INFORMATION& info) : info_(info), zone_(itemZone(info)) {}

std::int32_t ItemClock::biasAt(std::int64_t seconds, bool isUtc) const {
  SYSTEMTIME time{};
  mail::DateTime(seconds).toSystemTime(time);
  return mail::DateTimeUtils::timeZoneBias(&info_, time, true, isUtc);
}

mail::DateTime ItemClock::utc(Minutes local) const {
  const std::int64_t seconds = secondsOf(local);
  return mail::DateTime(seconds + 60 * std::int64_t{biasAt(seconds, false)});
}

mail::DateTime ItemClock::instant(Minutes local) const {
  mail::DateTime date = utc(local);
  date.moveToZone(zone_);
  return date;
}

Minutes ItemClock::local(const mail::DateTime& date) const {
  if (date.isDateOnly()) {
    return minutesOf(mail::calendar::timegm(date.wallClock()));
  }
  const std::int64_t seconds = secondsOf(minutesOf(date.seconds()));
  return minutesOf(seconds - 60 * std::int64_t{biasAt(seconds, true)});
}

SeriesTags::SeriesTags(ConvertorDataMessage& data, ItemKind kind) : message(data.getMapiMessage()) {
  const bool isTask = kind == ItemKind::Task;
  pattern = data.tagOf(isTask ? named::kTaskRecurrence : named::kAppointmentRecur, message);
  recurring = data.tagOf(isTask ? named::kTaskFRecurring : named::kRecurring, message);
  type = isTask ? 0 : data.tagOf(named::kRecurrenceType, message);
}

ComPtr<IStream> openPattern(const SeriesTags& tags, ULONG create, const char* where) {
  ComPtr<IStream> stream;
  checkHResult(tags.message->openProp(tags.pattern, create, IStream::kIid, stream.putUnknown()), kSource.at(where));
  if (!stream) {
    throwHResult(E_POINTER, kSource.at(where));
  }
  return stream;
}

bool isAllDayItem(ConvertorDataMessage& data) {
  IConvertMessage* message = data.getMapiMessage();
  const ULONG tag = data.tagOf(named::kAppointmentSubType, message);
  return MapiPropUtils::propertyExists(message, tag) && MapiPropUtils::propBool(message, tag, data.getAllocator());
}

TIME_ZONE_INFORMATION appointmentZone(ConvertorDataMessage& data) {
  IConvertMessage* message = data.getMapiMessage();
  if (MapiPropUtils::propertyExists(message, data.tagOf(named::kTimeZoneStruct, message))) {
    return readTimeZoneStruct(data).value_or(TIME_ZONE_INFORMATION{});
  }
  const TIME_ZONE_INFORMATION machine = machineTimeZone();
  writeTimeZoneStruct(data, machine);
  return machine;
}

}  // namespace nalvo::RecurrenceState::detail
