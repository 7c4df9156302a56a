// Calendar texts: one event, task or journal entry with its exceptions and its time zones.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mail/attendee.h"
#include "mail/date_time.h"
#include "mail/duration.h"
#include "mail/n_time_zone.h"
#include "mail/recurrence_date.h"
#include "mail/rrule.h"
#include "mail/v_alarm.h"
#include "mail/v_base.h"

namespace nalvo::mail {

enum class Method : std::uint8_t { Publish, Request, Reply, Add, Cancel, Refresh, Counter, DeclineCounter };

// The operations work on the main component: the first of the object's type without a RECURRENCE-ID, or the first at all.
// Exceptions are components of the same type and UID with one. Zones live outside of the tree: they are taken out of it when
// reading and printed ahead of the other components, those with the highest id first.
//
// An object that could not be read is a new one.
class VCalendar : public VBase {
 public:
  const Component& current() const override;
  void dump(std::ostream& log) const override;

  // A new object with a UID of its own or the given one, made now.
  void createNew();
  void createNew(std::string_view uid);

  const Zones& zones() const { return zones_; }
  // A zone whose id is known already isn't taken, unless the known one isn't valid, nor is none. The setters of dates do
  // this.
  void registerZone(const std::shared_ptr<const TimeZone>& zone);

  // A null date removes its text. `getDate` gives null for what can't be read.
  DateTime getDate(std::string_view name) const { return getDate(current(), name); }
  void setDate(std::string_view name, const DateTime& date);

  virtual DateTime getStart() const { return getDate("DTSTART"); }
  virtual void setStart(const DateTime& date) { setDate("DTSTART", date); }
  // Zero when the type knows none.
  virtual Duration getDuration() const { return Duration(0); }
  // The text of DURATION; null when there is none.
  Duration getDurationProperty() const { return Duration::parse(getProperty("DURATION")); }
  // Whether the object touches the stretch from `from` to `to`, its repetitions not counting.
  virtual bool occursIn(const DateTime& from, const DateTime& to) const = 0;
  // What an alarm counts from that is related to the start, and to the end. Null when there is none.
  virtual DateTime getAlarmBase() const { return getStart(); }
  virtual DateTime getAlarmEnd() const { return {}; }

  std::string getSummary() const { return getProperty("SUMMARY"); }
  void setSummary(std::string_view text) { setProperty("SUMMARY", text); }
  std::string getDescription() const { return getProperty("DESCRIPTION"); }
  // What came with the former one goes.
  void setDescription(std::string text);
  std::string getDescriptionAltRep() const;
  std::string getLocation() const { return getProperty("LOCATION"); }
  void setLocation(std::string_view text) { setProperty("LOCATION", text); }
  std::string getUid() const { return getProperty("UID"); }
  void setUid(std::string_view uid) { setProperty("UID", uid); }
  // 0 to 9, 1 the highest; 5 when it isn't told. The setter takes what is outside as the nearer end.
  int getPriority() const;
  void setPriority(int priority);
  int getSequence() const;
  void setSequence(int sequence) { setProperty("SEQUENCE", std::to_string(sequence)); }
  // Of the alarm that is or was: from the start to it, and when it is next.
  Duration getAlarmTrigger() const { return Duration::parse(getProperty("X-ALARM-TRIGGER")); }
  void setAlarmTrigger(Duration trigger) { setProperty("X-ALARM-TRIGGER", trigger.toString()); }
  DateTime getNextAlarm() const { return getDate("X-NEXT-ALARM"); }
  void setNextAlarm(const DateTime& date) { setDate("X-NEXT-ALARM", date); }
  DateTime getCreated() const { return getDate("CREATED"); }
  DateTime getLastModified() const { return getDate("LAST-MODIFIED"); }
  DateTime getStamp() const { return getDate("DTSTAMP"); }
  void setStamp(const DateTime& date) { setDate("DTSTAMP", date); }

  // Of the whole text.
  Method getMethod() const;
  void setMethod(Method method);
  std::string getVersion() const;
  std::string getServerVersion() const;

  std::vector<Attendee> getAttendees() const;
  void addAttendee(const Attendee& attendee);
  void removeAttendees() { currentForWrite().removeProperty("ATTENDEE"); }
  // Empty when there is none.
  Attendee getOrganizer() const;
  void setOrganizer(const Attendee& organizer);

  std::vector<RRule> getRRules() const;
  void addRRule(const RRule& rule) { currentForWrite().addValueText("RRULE", rule.toString()); }
  void removeRRules() { currentForWrite().removeProperty("RRULE"); }

  std::vector<DateTime> getExDates() const;
  // These, and behind them the dates of the exceptions.
  std::vector<DateTime> getAllExDates() const;
  void addExDate(const DateTime& date);
  void removeExDates() { currentForWrite().removeProperty("EXDATE"); }

  // `movedFrom` counts in getExDates().
  std::vector<RecurrenceDate> getRDates() const;
  // These, and behind them the exceptions; `movedFrom` counts in getAllExDates(). An exception without an end lasts as long
  // as its DURATION or the object itself.
  std::vector<RecurrenceDate> getOccurrences() const;
  // When it occurs first, `count` times by instant: the dates of the rules, or the start without one, but for those that are
  // excluded, and the extra and moved ones.
  std::vector<DateTime> getFirstDates(std::size_t count) const;
  // Looks up all excluded dates: many dates are better added at once.
  void addRDate(const RecurrenceDate& date) { addRDates({&date, 1}); }
  void addRDates(std::span<const RecurrenceDate> dates);
  void removeRDates() { currentForWrite().removeProperty("RDATE"); }

  std::vector<VAlarm> getAlarms() const;
  void addAlarm(const VAlarm& alarm);
  void removeAlarms() { currentForWrite().eraseComponents("VALARM"); }

 protected:
  bool readFrom(HeaderLex& lexer) override;
  void printTo(const Sink& sink) const override;

  // The date as a whole day: midnight of its own clock is that day, any other time the day in UTC.
  DateTime getDayDate(std::string_view name) const;
  DateTime getDate(const Component& component, std::string_view name) const;
  // The number of a property between two limits; `missing` when it has no text.
  int getLimited(std::string_view name, int least, int most, int missing) const;
  void setLimited(std::string_view name, int number, int least, int most);

 private:
  bool selectMain();
  bool isException(const Component& component) const;

  Zones zones_;
  std::size_t main_ = static_cast<std::size_t>(-1);  // the main component among the children of the root
};

// The day of the instant in UTC; a whole day stays the day that it is.
DateTime dayInUtc(const DateTime& date);

}  // namespace nalvo::mail
