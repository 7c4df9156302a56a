// Any bytes are a calendar or none; it is written the same once it was written, and answers all questions.
#include "fuzz/object_text.h"
#include "mail/v_event.h"
#include "mail/v_journal.h"
#include "mail/v_todo.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"

namespace {

using namespace nalvo;
using fuzz::require;

// What is added stays, whatever stood there.
void askAndChange(mail::VCalendar& object) {
  const mail::DateTime from(1, 1, 2007), to(1, 1, 2008);
  object.occursIn(from, to);
  object.getDuration();
  object.getAlarmBase();
  object.getAlarmEnd();
  object.getCategories();
  std::ostringstream log;
  object.dump(log);
  for (const mail::RRule& rule : object.getRRules()) {
    mail::RRuleIterator date = rule.iterate(object.getStart(), true);
    for (int i = 0; i < 3 && !date.hasEnded(); ++i) {
      date.advance();
    }
  }
  const auto excluded = static_cast<int>(object.getAllExDates().size());
  for (const mail::RecurrenceDate& date : object.getOccurrences()) {
    require(date.movedFrom >= -1 && date.movedFrom < excluded);
  }
  const std::size_t dates = object.getRDates().size(), attendees = object.getAttendees().size(),
                    alarms = object.getAlarms().size();
  object.addRDate({object.getStart().isNull() ? from : object.getStart(), to, 0});
  object.addAttendee(object.getOrganizer());
  object.addAlarm(
      {mail::VAlarm::Action::Audio, object.getSummary(), mail::VAlarm::TriggerKind::Time, {}, object.getStart()});
  object.setStart(object.getStamp());
  require(object.getRDates().size() == dates + 1);
  require(object.getAttendees().size() == attendees + 1);
  require(object.getAlarms().size() == alarms + 1);
}

template <typename Object>
void tryAs(const std::uint8_t* data, std::size_t size, void (*more)(Object&)) {
  Object object;
  fuzz::readStable(object, data, size);
  more(object);
  askAndChange(object);
  const std::string text = object.toText();
  fuzz::readStable(object, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const mail::testing::ScopedZone machine("America/New_York");
  static const ScopedClock clock(*fileTimeOfUnix(1'199'188'800));
  tryAs<mail::VEvent>(data, size, [](mail::VEvent& event) {
    event.setEnd(event.getEffectiveEnd());
    event.setAllDay(!event.isAllDay());
    event.setBusyStatus(event.getBusyStatus());
  });
  tryAs<mail::VTodo>(data, size, [](mail::VTodo& todo) {
    todo.setDue(todo.getDue());
    todo.setCompleted(todo.getEnd(), true);
    todo.setStatus(todo.getStatus());
  });
  tryAs<mail::VJournal>(data, size, [](mail::VJournal& journal) { journal.getStatus(); });
  return 0;
}
