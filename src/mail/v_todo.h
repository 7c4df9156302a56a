// Tasks.
#pragma once

#include "mail/v_calendar.h"

namespace nalvo::mail {

class VTodo : public VCalendar {
 public:
  // The numbers of getStatus().
  static constexpr int kNotStarted = 0;
  static constexpr int kInProcess = 1;
  static constexpr int kCompleted = 2;
  static constexpr int kWaiting = 3;
  static constexpr int kCancelled = 4;

  const char* getType() const override { return "VTODO"; }

  // All dates of a task are whole days; the setters take the day of an instant in UTC.
  DateTime getStart() const override { return getDayDate("DTSTART"); }
  void setStart(const DateTime& date) override { setDate("DTSTART", dayInUtc(date)); }
  DateTime getDue() const;
  void setDue(const DateTime& date);
  // The end, else the day of completion.
  DateTime getEnd() const;
  // From the start to the day on which it is due; zero without a start. That of getDurationProperty() when none is due.
  Duration getDuration() const override;
  bool occursIn(const DateTime& from, const DateTime& to) const override;
  // The day on which it is due, else the start.
  DateTime getAlarmBase() const override;
  DateTime getAlarmEnd() const override { return getDue(); }

  // The day of completion by the machine's clock.
  DateTime getCompletedDate() const;
  // Sets the end as well, to the day of the instant in UTC or, `atNoon`, of twelve hours later, which for a local midnight
  // is its day.
  void setCompleted(const DateTime& date, bool atNoon);

  // 0 to 100.
  int getPercentComplete() const;
  void setPercentComplete(int percent);
  int getStatus() const;
  // Not started is 0 percent, completed 100. A number that isn't known is kWaiting.
  void setStatus(int status);
};

}  // namespace nalvo::mail
