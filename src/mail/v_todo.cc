#include "mail/v_todo.h"

#include <array>

#include "mail/v_text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kPercent = "PERCENT-COMPLETE";

// By the numbers of the status; the empty one isn't written.
constexpr std::array<std::string_view, 5> kStatuses = {"", "IN-PROCESS", "COMPLETED", "NEEDS-ACTION", "CANCELLED"};

}  // namespace

DateTime VTodo::getDue() const {
  const DateTime due = getDayDate("DUE");
  return due.isNull() ? getDayDate("DTDUE") : due;
}

void VTodo::setDue(const DateTime& date) {
  for (const char* name : {"DUE", "DTDUE"}) {
    setDate(name, dayInUtc(date));
  }
}

DateTime VTodo::getEnd() const {
  const DateTime end = getDayDate("DTEND");
  return end.isNull() ? getCompletedDate() : end;
}

Duration VTodo::getDuration() const {
  const DateTime due = getDue();
  if (due.isNull()) {
    return getDurationProperty();
  }
  const DateTime start = getStart();
  return start.isNull() ? Duration(0) : due - start;
}

bool VTodo::occursIn(const DateTime& from, const DateTime& to) const {
  const DateTime start = getStart();
  if (start.isNull()) {
    const DateTime due = getDue();
    return due.isNull() || (from < due && to >= due);
  }
  DateTime end = getEnd();
  if (const Duration duration = getDurationProperty(); end.isNull() && !duration.isNull()) {
    end = start + duration;
  }
  return from <= (end.isNull() ? start : end) && to > start;
}

DateTime VTodo::getAlarmBase() const {
  const DateTime due = getDue();
  return due.isNull() ? getStart() : due;
}

DateTime VTodo::getCompletedDate() const {
  const DateTime completed(getDate("COMPLETED").seconds());
  if (completed.isNull()) {
    return {};
  }
  // A local midnight stands for its day. Any other time is taken for the midnight of somebody else: eleven hours on it is
  // that day in UTC, for all zones up to there in the east.
  constexpr Duration kElevenHours(11 * 3600);
  const Duration offset = DateTime::localOffset(completed, true);
  const bool isMidnight = (completed + offset).field(kHour) == 0;
  return (completed + (isMidnight ? offset : kElevenHours)).makeDateOnly();
}

void VTodo::setCompleted(const DateTime& date, bool atNoon) {
  const DateTime instant(date.seconds());
  setDate("COMPLETED", instant);
  setDate("DTEND", (instant + Duration(atNoon ? calendar::kDay / 2 : 0)).makeDateOnly());
}

int VTodo::getPercentComplete() const { return getLimited(kPercent, 0, 100, 0); }

void VTodo::setPercentComplete(int percent) { setLimited(kPercent, percent, 0, 100); }

int VTodo::getStatus() const {
  const int status = indexOf(kStatuses, getProperty("STATUS"));
  return status < 0 ? kNotStarted : status;
}

void VTodo::setStatus(int status) {
  if (status == kNotStarted || status == kCompleted) {
    setPercentComplete(status == kCompleted ? 100 : 0);
  }
  if (status == kNotStarted) {
    currentForWrite().removeProperty("STATUS");
  } else {
    const bool known = status > 0 && static_cast<std::size_t>(status) < kStatuses.size();
    setProperty("STATUS", kStatuses[static_cast<std::size_t>(known ? status : kWaiting)]);
  }
}

}  // namespace nalvo::mail
