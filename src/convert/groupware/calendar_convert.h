// Appointments. Meeting messages are made of the same.
#pragma once

#include <optional>

#include "convert/groupware/groupware_convert.h"
#include "mail/v_event.h"
#include "platform/time/time_zone.h"

namespace nalvo {

namespace toMime {

class CalendarConvert : public CalendarBaseConvert<CalendarConvert, mail::VEvent> {
 public:
  static constexpr GroupwareBody kBody = kEventBody;

  explicit CalendarConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  static std::span<const PropertyRow<CalendarConvert>> rows();

  void mapiToMimeStart();
  void mapiToMimeEnd();

 protected:
  void createAttendees() override;

 private:
  void onLocation(ULONG tag);
  void onBusyStatus(ULONG tag);
  void onGlobalObjectId(ULONG tag);
  void onSequence(ULONG tag);
  void onCriticalChange(ULONG tag);
  void onColor(ULONG tag);
  void onSubject(ULONG tag);
  void onImportance(ULONG tag);
  void onHeaders(ULONG tag);

  void keepOtherSender();
  // The zone in which the times go out.
  TIME_ZONE_INFORMATION pickZone() const;
  void setTimes(const TIME_ZONE_INFORMATION& zone);
  mail::DateTime dateOf(ULONG tag, const TIME_ZONE_INFORMATION& zone) const;
  // The day that begins at `midnight`.
  mail::DateTime dayOf(const SYSTEMTIME& midnight, const TIME_ZONE_INFORMATION& zone) const;
  // Gives the text and the message itself an id.
  void createUid();
};

}  // namespace toMime

namespace toMapi {

class CalendarConvert : public CalendarBaseConvert<CalendarConvert, mail::VEvent> {
 public:
  static constexpr GroupwareBody kBody = kEventBody;
  static constexpr bool kSupportsNoBody = false;

  explicit CalendarConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  void convertMimeToMapi();

 protected:
  void parseAttendees() override;
  // True when nobody but the owner of its folder may see what the item is about.
  bool isHidden() const { return isHidden_; }

 private:
  void setTimes(bool allDay);
  void setDuration(const mail::DateTime& start, const mail::DateTime& end, bool allDay);
  void setIds();
  void setInstance();
  void setZone();
  void setRecurrence();
  bool isFolderOfOthers() const;
  void setContent();

  bool isHidden_ = false;
};

}  // namespace toMapi
}  // namespace nalvo
