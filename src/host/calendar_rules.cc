// Rules about appointments and meetings.
#include <algorithm>
#include <iterator>
#include <vector>

#include "host/number_reader.h"
#include "host/rule_rows.h"

namespace nalvo::host {
namespace {

bool isWholeDay(const Case& c) { return c.is("PidLidAppointmentSubType") == "true"; }
bool isSeries(const Case& c) { return c.is("PidLidRecurring") == "true"; }

// The numbers of a zone that tell its clock; those of a daylight time that never begins don't.
std::vector<std::uint32_t> clockOf(std::string_view bytes) {
  constexpr std::size_t kSize = 48;
  if (bytes.size() != kSize) {
    return {};
  }
  NumberReader reader(bytes);
  const std::uint32_t bias = reader.dword();
  const std::uint32_t standard = reader.dword();
  const std::uint32_t daylight = reader.dword();
  std::vector<std::uint32_t> clock = {bias + standard};
  std::vector<std::uint32_t> dates;
  for (std::size_t i = 12; i < kSize; i += 2) {
    dates.push_back(reader.word());
  }
  if (std::any_of(dates.begin(), dates.end(), [](std::uint32_t number) { return number != 0; })) {
    clock.push_back(bias + daylight);
    clock.insert(clock.end(), dates.begin(), dates.end());
  }
  return clock;
}

struct TimeRow {
  std::string_view what;
  std::string_view source;
};
constexpr std::string_view kStart = "PidLidAppointmentStartWhole";
constexpr std::string_view kEnd = "PidLidAppointmentEndWhole";
constexpr TimeRow kTimes[] = {
    {"PidLidClipStart", kStart}, {"PidLidClipEnd", kEnd}, {"PidLidCommonStart", kStart},  {"PidLidCommonEnd", kEnd},
    {"PR_START_DATE", kStart},   {"PR_END_DATE", kEnd},   {"PidLidReminderTime", kStart},
};

// What a meeting message is given, and for which class; the value null is any.
struct MeetingRow {
  std::string_view what;
  std::string_view messageClass;
  const char* value;
};
constexpr std::string_view kRequest = "IPM.Schedule.Meeting.Request";
constexpr std::string_view kResponse = "IPM.Schedule.Meeting.Resp";
constexpr MeetingRow kMeetingValues[] = {
    {"PidLidSideEffects", kMeetingClass, "7265"},   {"PidLidSendMeetingAsIcal", kMeetingClass, "true"},
    {"PR_REPLY_REQUESTED", kRequest, "true"},       {"PR_RESPONSE_REQUESTED", kRequest, "true"},
    {"PidLidAppointmentStateFlags", kRequest, "3"}, {"PidLidResponseStatus", kRequest, "5"},
    {"PidLidChangeHighlight", kRequest, "3"},       {"PidLidWhere", kResponse, nullptr},
};

// A whole day begins with the day of the machine.
bool isSameDayElsewhere(const Case& c) { return isEvent(c) && isWholeDay(c) && isWithinHalfDay(c); }

// A time that is now that of the start or the end of the item, or that moved with a whole day.
bool isTimeOfEvent(const Case& c) {
  const auto* row =
      std::find_if(std::begin(kTimes), std::end(kTimes), [&](const TimeRow& r) { return r.what == c.difference.what; });
  const bool isOfSeries = isSeries(c) && c.difference.before.empty() && c.difference.what.starts_with("PidLidClip");
  return row != std::end(kTimes) && isEvent(c) &&
         (c.difference.after == c.is(row->source) || isSameDayElsewhere(c) || isOfSeries);
}

// A value of a series of which there is none.
bool isOfNoSeries(const Case& c) { return isEvent(c) && !isSeries(c); }

bool isSameSeries(const Case& c) { return isEvent(c) && hasSameDates(c, SeriesKind::Appointment); }

// Both zones have the same clock, or the item needs none: it has one time, or is of whole days.
bool isSameClock(const Case& c) {
  const std::vector<std::uint32_t> before = clockOf(binaryOf(c.difference.before));
  return isEvent(c) &&
         (!isSeries(c) || isWholeDay(c) || (!before.empty() && before == clockOf(binaryOf(c.difference.after))));
}

// The reminder is off, or the message did not say when it rings.
bool isUntoldReminder(const Case& c) {
  return isEvent(c) && (c.is("PidLidReminderSet") != "true" || c.difference.before.empty());
}

// The value stands for nothing: false, 0.
bool saysNothing(const Case& c) { return isEvent(c) && (c.difference.after == "false" || c.difference.after == "0"); }

// What every meeting message of its kind says.
bool isOfMeeting(const Case& c) {
  const std::string messageClass = textOf(c.is("PR_MESSAGE_CLASS"));
  const bool isReceiver =
      c.difference.what.starts_with("PR_RECEIVED_BY_") && startsWithIgnoreCase(messageClass, kMeetingClass);
  return isReceiver || std::any_of(std::begin(kMeetingValues), std::end(kMeetingValues), [&](const MeetingRow& row) {
           return row.what == c.difference.what && startsWithIgnoreCase(messageClass, row.messageClass) &&
                  c.difference.after == (row.value == nullptr ? c.is("PidLidLocation") : row.value);
         });
}

// --- The list

constexpr std::string_view kSeries = "a value of a series goes with it";
constexpr std::string_view kZone = "an item has its zone as the tables name it, or that of the machine";
constexpr std::string_view kMeeting = "a meeting message says what it asks for";

constexpr RuleRow kRules[] = {
    {Place::Message, Kind::Changed, "PidLidAppointmentStartWhole", isSameDayElsewhere, kEventDay},
    {Place::Message, Kind::Changed, "PidLidAppointmentEndWhole", isSameDayElsewhere, kEventDay},
    {Place::Message, Kind::Made, "*", isTimeOfEvent, kEventTimes},
    {Place::Message, Kind::Made, "PidLidAppointmentDuration", isEvent, kEventTimes},
    {Place::Message, Kind::Added, "PidLidAttendeeCriticalChange", isEvent, "a calendar says when it was made"},
    {Place::Message, Kind::Any, "PidLidRecurrenceType", isOfNoSeries, kSeries},
    {Place::Message, Kind::Lost, "PidLidRecurrencePattern", isEvent, "the words for a series are those of its reader"},
    {Place::Message, Kind::Changed, "PidLidAppointmentRecur", isSameSeries, kSameSeries},
    {Place::Message, Kind::Made, "PidLidTimeZoneStruct", isSameClock, kZone},
    {Place::Message, Kind::Made, "PidLidTimeZoneDescription", isEvent, kZone},
    {Place::Message, Kind::Made, "PidLidReminderSignalTime", isUntoldReminder, kReminder},
    {Place::Message, Kind::Any, "PidLidReminderTime", isUntoldReminder, kReminder},
    {Place::Message, Kind::Added, "PidLidReminderPlaySound", saysNothing, kReminder},
    {Place::Message, Kind::Added, "PidLidReminderDelta", saysNothing, kReminder},
    {Place::Message, Kind::Added, "PidLidReminderSet", saysNothing, kReminder},
    {Place::Message, Kind::Added, "PR_RTF_COMPRESSED", isEvent, "the text of an item is rich text as well"},
    {Place::Message, Kind::Added, "PidLidAppointmentColor", saysNothing, "an item has a colour, if only none"},
    {Place::Message, Kind::Added, "PidLidAppointmentSequence", saysNothing, "an item has a number of its version"},
    {Place::Message, Kind::Added, "PR_TRANSPORT_MESSAGE_HEADERS", isEvent, "a mail keeps its headers as they are"},
    {Place::Message, Kind::Made, "*", isOfMeeting, kMeeting},
    {Place::Recipient, Kind::Added, "PR_RESPONSIBILITY", nullptr, "who is asked to a meeting is told or not"},
};

}  // namespace

std::span<const RuleRow> calendarRules() { return kRules; }

}  // namespace nalvo::host
