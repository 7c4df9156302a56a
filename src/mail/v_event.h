// Events of a calendar.
#pragma once

#include <cstdint>

#include "mail/v_calendar.h"

namespace nalvo::mail {

enum class BusyStatus : std::uint8_t { Busy, OutOfOffice, Tentative, Free };

class VEvent : public VCalendar {
 public:
  const char* getType() const override { return "VEVENT"; }

  // Whole days when isAllDayProperty().
  DateTime getStart() const override { return getEdge("DTSTART"); }
  DateTime getEnd() const { return getEdge("DTEND"); }
  void setEnd(const DateTime& date) { setDate("DTEND", date); }
  // The end, or the day after the start of an all-day event without one. Null when neither is told.
  DateTime getEffectiveEnd() const;
  // Up to the effective end, else that of getDurationProperty().
  Duration getDuration() const override;
  bool occursIn(const DateTime& from, const DateTime& to) const override;
  // The effective end, else the start with the duration.
  DateTime getAlarmEnd() const override;

  // What the event says of itself; without that, whether both its dates are whole days.
  bool isAllDay() const;
  bool isAllDayProperty() const;
  // Makes the dates whole days, or gives whole days the first of zones().
  void setAllDay(bool allDay);

  BusyStatus getBusyStatus() const;
  void setBusyStatus(BusyStatus status);
  // A colour by its number; 0 is none.
  int getLabel() const;
  void setLabel(int label) { setProperty("X-LABEL", std::to_string(label)); }

 private:
  DateTime getEdge(std::string_view name) const { return isAllDayProperty() ? getDayDate(name) : getDate(name); }
};

}  // namespace nalvo::mail
