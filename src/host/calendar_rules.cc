#include "host/calendar_rules.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <vector>

#include "platform/time/file_time.h"
#include "streams/coder.h"

namespace nalvo::host {

std::optional<std::int64_t> secondsOf(std::string_view json) {
  constexpr std::uint64_t kTicksPerSecond = 10'000'000;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (std::sscanf(textOf(json).c_str(), "%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute, &second) != 6) {
    return std::nullopt;
  }
  const auto word = [](int value) { return static_cast<std::uint16_t>(value); };
  const auto time = systemTimeToFileTime({word(year), word(month), 0, word(day), word(hour), word(minute), word(second), 0});
  return time ? std::optional(static_cast<std::int64_t>(ticksOf(*time) / kTicksPerSecond)) : std::nullopt;
}

bool isWithinHalfDay(const Case& c) {
  constexpr std::int64_t kHalfDay = 12 * 3600;
  const auto before = secondsOf(c.difference.before);
  const auto after = secondsOf(c.difference.after);
  return before && after && *after - *before >= -kHalfDay && *after - *before <= kHalfDay;
}

namespace calendar {
namespace {

bool startsWith(std::string_view text, std::string_view start) {
  return equalsIgnoreCase(text.substr(0, start.size()), start);
}

bool isWholeDay(const Case& c) { return c.is("PidLidAppointmentSubType") == "true"; }
bool isSeries(const Case& c) { return c.is("PidLidRecurring") == "true"; }

std::string bytesOf(std::string_view json) {
  const auto value = nlohmann::json::parse(json, nullptr, false);
  const std::string encoded = value.is_object() ? value.value("base64", std::string()) : std::string();
  std::string bytes;
  return succeeded(Coder::decodeBase64(encoded.data(), encoded.size(), bytes)) ? bytes : std::string();
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  // 0 behind the end.
  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    whole_ = whole_ && rest_.size() >= size;
    for (std::size_t i = whole_ ? size : 0; i > 0; --i) {
      value = value << 8 | static_cast<unsigned char>(rest_[i - 1]);
    }
    rest_.remove_prefix(whole_ ? size : rest_.size());
    return value;
  }
  bool whole() const { return whole_; }

 private:
  std::string_view rest_;
  bool whole_ = true;
};

// The numbers of a zone that tell its clock; those of a daylight time that never begins don't.
std::vector<std::uint32_t> clockOf(std::string_view bytes) {
  constexpr std::size_t kSize = 48;
  Reader reader(bytes.size() == kSize ? bytes : std::string_view());
  const std::uint32_t bias = reader.number(4);
  const std::uint32_t standard = reader.number(4);
  const std::uint32_t daylight = reader.number(4);
  std::vector<std::uint32_t> clock = {bias + standard};
  std::vector<std::uint32_t> dates;
  for (std::size_t i = 12; i < kSize; i += 2) {
    dates.push_back(reader.number(2));
  }
  if (std::any_of(dates.begin(), dates.end(), [](std::uint32_t number) { return number != 0; })) {
    clock.push_back(bias + daylight);
    clock.insert(clock.end(), dates.begin(), dates.end());
  }
  return reader.whole() ? clock : std::vector<std::uint32_t>();
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
constexpr std::string_view kMeeting = "IPM.Schedule.Meeting.";
constexpr std::string_view kRequest = "IPM.Schedule.Meeting.Request";
constexpr std::string_view kResponse = "IPM.Schedule.Meeting.Resp";
constexpr MeetingRow kMeetingValues[] = {
    {"PidLidSideEffects", kMeeting, "7265"},        {"PidLidSendMeetingAsIcal", kMeeting, "true"},
    {"PR_REPLY_REQUESTED", kRequest, "true"},       {"PR_RESPONSE_REQUESTED", kRequest, "true"},
    {"PidLidAppointmentStateFlags", kRequest, "3"}, {"PidLidResponseStatus", kRequest, "5"},
    {"PidLidChangeHighlight", kRequest, "3"},       {"PidLidWhere", kResponse, nullptr},
};

}  // namespace

bool isEvent(const Case& c) {
  const std::string messageClass = textOf(c.is("PR_MESSAGE_CLASS"));
  return startsWith(messageClass, "IPM.Appointment") || startsWith(messageClass, kMeeting);
}

bool isSameDayElsewhere(const Case& c) { return isEvent(c) && isWholeDay(c) && isWithinHalfDay(c); }

bool isTimeOfEvent(const Case& c) {
  const auto* row =
      std::find_if(std::begin(kTimes), std::end(kTimes), [&](const TimeRow& r) { return r.what == c.difference.what; });
  const bool isOfSeries = isSeries(c) && c.difference.before.empty() && c.difference.what.starts_with("PidLidClip");
  return row != std::end(kTimes) && isEvent(c) &&
         (c.difference.after == c.is(row->source) || isSameDayElsewhere(c) || isOfSeries);
}

bool isOfNoSeries(const Case& c) { return isEvent(c) && !isSeries(c); }

bool meansTheSame(std::string_view before, std::string_view after, SeriesKind kind) {
  const std::vector<std::uint32_t> meaning = seriesMeaning(bytesOf(before), kind);
  return !meaning.empty() && meaning == seriesMeaning(bytesOf(after), kind);
}

bool isSameSeries(const Case& c) {
  return isEvent(c) && meansTheSame(c.difference.before, c.difference.after, SeriesKind::Appointment);
}

bool isSameClock(const Case& c) {
  const std::vector<std::uint32_t> before = clockOf(bytesOf(c.difference.before));
  return isEvent(c) &&
         (!isSeries(c) || isWholeDay(c) || (!before.empty() && before == clockOf(bytesOf(c.difference.after))));
}

bool isUntoldReminder(const Case& c) {
  return isEvent(c) && (c.is("PidLidReminderSet") != "true" || c.difference.before.empty());
}

bool saysNothing(const Case& c) { return isEvent(c) && (c.difference.after == "false" || c.difference.after == "0"); }

bool isOfMeeting(const Case& c) {
  const std::string messageClass = textOf(c.is("PR_MESSAGE_CLASS"));
  const bool isReceiver = c.difference.what.starts_with("PR_RECEIVED_BY_") && startsWith(messageClass, kMeeting);
  return isReceiver || std::any_of(std::begin(kMeetingValues), std::end(kMeetingValues), [&](const MeetingRow& row) {
           return row.what == c.difference.what && startsWith(messageClass, row.messageClass) &&
                  c.difference.after == (row.value == nullptr ? c.is("PidLidLocation") : row.value);
         });
}

bool isItem(const Case& c) { return !c.was(kItemFact).empty() && !c.is(kItemFact).empty(); }

bool isItemBody(const Case& c) {
  constexpr std::string_view kBodies[] = {"body text/calendar", "body text/vcard", "body text/x-vcard",
                                          "body text/x-vcard-dl", "body text/x-stickynote"};
  return std::find(std::begin(kBodies), std::end(kBodies), c.difference.what) != std::end(kBodies);
}

bool isBodyOfItem(const Case& c) { return isItem(c) && isItemBody(c); }

bool becomesItem(const Case& c) {
  const std::string& before = c.difference.before;
  const bool wasItem = before.find("text/calendar") != std::string::npos || before.find("vcard") != std::string::npos ||
                       before.find("text/x-stickynote") != std::string::npos;
  return wasItem && c.difference.after.find("message/rfc822") != std::string::npos;
}

}  // namespace calendar
}  // namespace nalvo::host
