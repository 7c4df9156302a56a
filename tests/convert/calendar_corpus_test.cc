// Real calendars as mails, to MAPI and back: what an appointment has a place for comes back equal.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#ifdef NALVO_HAVE_ICAL
#include <libical/ical.h>
#endif

#include "convert/groupware/calendar_values.h"
#include "mail/v_event.h"
#include "tests/convert/calendar_items.h"
#include "tool/wrapped_objects.h"

namespace nalvo::test {
namespace {

using mail::Attendee;
using mail::DateTime;
using mail::RRule;
using mail::VAlarm;
using mail::VEvent;

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool readEvent(VEvent& event, const std::string& text) {
  std::istringstream in(text);
  return event.read(in, "utf-8");
}

std::string bodyOf(const std::string& mail) { return mail.substr(mail.find("\r\n\r\n") + 4); }

// "2024-05-06" or an instant in UTC.
std::string told(const DateTime& date) {
  if (date.isNull()) {
    return "none";
  }
  SYSTEMTIME time{};
  date.toSystemTime(time);
  char text[32];
  std::snprintf(text, sizeof text, date.isDateOnly() ? "%04d-%02d-%02d" : "%04d-%02d-%02d %02d:%02d:%02d", time.wYear,
                time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond);
  return text;
}

std::string joined(const std::set<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word + "\n";
  }
  return text;
}

// What nobody says is a day for whole days, and no time at all else.
DateTime endOf(const VEvent& event) {
  const DateTime start = event.getStart();
  const DateTime end = event.getEnd();
  const mail::Duration duration = event.getDurationProperty();
  if (!end.isNull() || start.isNull()) {
    return end;
  }
  return !duration.isNull() ? start + duration : start.isDateOnly() ? start + mail::Duration(mail::calendar::kDay) : start;
}

// The first dates of the series; empty without a rule.
std::string seriesOf(const VEvent& event) {
  constexpr int kMost = 40;
  std::string text;
  const std::vector<RRule> rules = event.getRRules();
  if (rules.empty() || event.getStart().isNull()) {
    return text;
  }
  mail::RRuleIterator dates = rules.front().iterate(event.getStart(), true);
  for (int i = 0; i < kMost && !dates.hasEnded(); ++i) {
    text += told(dates.next().current()) + "\n";
  }
  return text;
}

// The day in the zone of the series: no item knows more of a date that is not to be.
std::string dayOf(DateTime date, const VEvent& event) {
  if (event.getRRules().empty()) {
    return told(date);
  }
  if (!date.isDateOnly() && !event.isAllDay()) {
    date.moveToZone(event.getStart().zone());
    date = date.makeDateOnly();
  }
  return told(!event.isAllDay() ? date : date.zone() ? date.makeDateOnly() : mail::dayInUtc(date));
}

std::string excludedOf(const VEvent& event) {
  std::set<std::string> days;
  for (const DateTime& date : event.getAllExDates()) {
    if (!date.isNull()) {
      days.insert(dayOf(date, event));
    }
  }
  return joined(days);
}

std::string movedOf(const VEvent& event) {
  const std::vector<DateTime> excluded = event.getAllExDates();
  std::set<std::string> moved;
  for (const mail::RecurrenceDate& date : event.getOccurrences()) {
    if (date.movedFrom >= 0) {
      moved.insert(dayOf(excluded[static_cast<std::size_t>(date.movedFrom)], event) + " > " + told(date.start) + " - " +
                   told(date.end));
    }
  }
  return joined(moved);
}

// Who has a chair that isn't theirs has to come; other answers than yes, no and perhaps are none.
std::string attendeesOf(const VEvent& event) {
  const std::string organizer = toLowerAscii(event.getOrganizer().address);
  std::set<std::string> people;
  for (const Attendee& attendee : event.getAttendees()) {
    const bool isChair = attendee.role == Attendee::Role::Chair;
    if (!isChair || toLowerAscii(attendee.address) != organizer) {
      const int role = static_cast<int>(isChair ? Attendee::Role::Required : attendee.role);
      const int answer = attendee.partStat > Attendee::PartStat::Tentative ? 0 : static_cast<int>(attendee.partStat);
      people.insert(attendee.name + "|" + attendee.address + "|" + std::to_string(role) + "|" + std::to_string(answer));
    }
  }
  return joined(people);
}

// Whole minutes ahead of the start; none if the first alarm that rings or shows comes later.
std::string alarmOf(const VEvent& event) {
  for (const VAlarm& alarm : event.getAlarms()) {
    if (alarm.action == VAlarm::Action::Display || alarm.action == VAlarm::Action::Audio) {
      const DateTime start = event.isAllDay() ? instantOfDay(event.getStart()) : event.getStart();
      const DateTime end = event.isAllDay() ? instantOfDay(endOf(event)) : endOf(event);
      const std::int64_t ahead = alarm.triggerKind == VAlarm::TriggerKind::Time ? (start - alarm.triggerTime).seconds()
                                 : alarm.triggerKind == VAlarm::TriggerKind::End
                                     ? (start - end).seconds() - alarm.triggerOffset.seconds()
                                     : -alarm.triggerOffset.seconds();
      return std::to_string(std::max<std::int64_t>(ahead / 60, 0));
    }
  }
  return "none";
}

std::string categoriesOf(const VEvent& event) {
  const std::vector<std::string> categories = event.getCategories();
  return joined({categories.begin(), categories.end()});
}

struct Field {
  const char* name;
  std::string (*of)(const VEvent&);
};
constexpr Field kFields[] = {
    {"summary", [](const VEvent& event) { return event.getSummary(); }},
    {"instance", [](const VEvent& event) { return dayOf(event.getDate(kInstance), event); }},
    {"start", [](const VEvent& event) { return told(event.getStart()); }},
    {"end", [](const VEvent& event) { return told(endOf(event)); }},
    {"series", seriesOf},
    {"excluded", excludedOf},
    {"moved", movedOf},
    {"organizer", [](const VEvent& event) { return event.getOrganizer().address; }},
    {"attendees", attendeesOf},
    {"alarm", alarmOf},
    {"categories", categoriesOf},
    {"class",
     [](const VEvent& event) { return std::string(event.getClass() == mail::Privacy::Public ? "open" : "hidden"); }},
};

#ifdef NALVO_HAVE_ICAL
// What another program finds wrong with a calendar, line by line.
std::string errorsOf(const std::string& calendar) {
  icalcomponent* root = icalparser_parse_string(calendar.c_str());
  std::string errors = root == nullptr ? "it is none" : "";
  for (icalcomponent* component = root == nullptr ? nullptr : icalcomponent_get_first_component(root, ICAL_ANY_COMPONENT);
       component != nullptr; component = icalcomponent_get_next_component(root, ICAL_ANY_COMPONENT)) {
    for (icalproperty* error = icalcomponent_get_first_property(component, ICAL_XLICERROR_PROPERTY); error != nullptr;
         error = icalcomponent_get_next_property(component, ICAL_XLICERROR_PROPERTY)) {
      errors += std::string(icalproperty_get_xlicerror(error)) + "\n";
    }
  }
  icalcomponent_free(root);
  return errors;
}
#endif

// Whether a recurrence pattern has no place for all that the rule says.
bool hasOtherDates(const VEvent& event) {
  const std::vector<RRule> rules = event.getRRules();
  if (rules.empty()) {
    return false;
  }
  const RRule& rule = rules.front();
  const auto has = [&rule](mail::DateField field, std::size_t more = 0) { return rule.by[field].size() > more; };
  if (!rule.valid || rule.freq > mail::kDaily || has(mail::kYearDay) || has(mail::kWeek) || has(mail::kHour) ||
      has(mail::kMinute) || has(mail::kSecond) || has(mail::kMonth, rule.freq == mail::kYearly ? 1 : 0)) {
    return true;
  }
  if (rule.freq > mail::kMonthly) {
    return has(mail::kMonthDay);
  }
  if (!has(mail::kWeekday)) {
    const std::int64_t day = has(mail::kMonthDay) ? rule.by[mail::kMonthDay][0] : event.getStart().wallClock().day;
    return has(mail::kMonthDay, 1) || day < 1 || day > 28;
  }
  // The first to the fourth, or the last, of some weekdays of a month.
  std::set<int> ordinals;
  for (const int day : rule.by[mail::kWeekday]) {
    ordinals.insert(mail::ordinalOf(day));
  }
  const int place = rule.bySetPos.empty() ? *ordinals.begin() : rule.bySetPos[0];
  return has(mail::kMonthDay) || (rule.freq == mail::kYearly && !has(mail::kMonth)) || ordinals.size() > 1 ||
         rule.bySetPos.size() > 1 || place == 0 || place < -1 || place > 4 ||
         (rule.bySetPos.empty() && has(mail::kWeekday, 1));
}

// Differences that are no fault. Each is there.
struct Explanation {
  const char* file;  // with the number of the item
  const char* field;
  const char* why;
};
constexpr const char* kNoStart = "an alarm that counts from a start which can't be read";
constexpr const char* kZone = "a zone with other changes than one a year each way";
constexpr const char* kMixed = "a date beside a time";
constexpr Explanation kExplanations[] = {
    {"ccsserver__home1_calendar_2_b0d5785f275c064117ffd1fc20f4ed40 1", "reading", kNoStart},
    {"ccsserver__home1_calendar_2_b495c5dd5aa53392078eb43b1f906a80 1", "reading", kNoStart},
    {"ccstester__peruser-data_simple-change02_2 1", "reading", kNoStart},
    {"ccstester__recurrence-splitting_simple_4 1", "reading", kNoStart},
    {"hordeical__Horde_Icalendar_bug7423 1", "reading", kNoStart},
    {"icaljs__parser_component 1", "reading", kNoStart},
    {"tine__Calendar_Import_Joomla_jevents 1", "series", kZone},
    {"nodeical__bad_custom_ms_tz 3", "end", kMixed},
    {"nodeical__bad_custom_ms_tz2 3", "end", kMixed},
    {"nodeical__multi-event-basic 1", "end", kMixed},
    {"nodeical__multi-event-basic 9", "end", kMixed},
    {"ical4j__valid_zidestoreical4jbomb 1", "start", "dates that the event says are no whole days"},
    {"ical4j__valid_zidestoreical4jbomb 1", "end", "dates that the event says are no whole days"},
    {"icalendar__icalendar_calendars_invalid_duration 1", "end", "a duration that ends behind all calendars"},
    {"ccstester__CalDAV_errors_41 1", "organizer", "a control character in an address"},
    {"ical4j__ical4j_transform_yahoo2.txt 2", "organizer", "an address with mailto: of its own"},
    {"ical4j__ical4j_transform_yahoo2.txt 2", "attendees", "addresses with mailto: of their own"},
    {"tine__Calendar_Import_outlook_external_invitation 1", "attendees", "an attendee without name and address"},
};

const Explanation* explanationOf(const std::string& item, std::string_view field) {
  const auto* row = std::find_if(std::begin(kExplanations), std::end(kExplanations),
                                 [&](const Explanation& e) { return e.file == item && e.field == field; });
  return row == std::end(kExplanations) ? nullptr : row;
}

class CalendarCorpus : public ::testing::Test {
 protected:
  void expect(bool same, const std::string& item, const char* field, const std::string& before, const std::string& after) {
    const Explanation* explanation = same ? nullptr : explanationOf(item, field);
    if (explanation != nullptr) {
      used_.insert(explanation);
    } else {
      EXPECT_TRUE(same) << item << ", " << field << "\nbefore:\n" << before << "\nafter:\n" << after;
    }
  }

  void check(const std::string& item, const std::string& mail) {
    VEvent before, after;
    ASSERT_TRUE(readEvent(before, bodyOf(mail))) << item;
    Caller message;
    const HRESULT hr = message.toMapi(message.stream(mail).get());
    expect(hr == S_OK, item, "reading", {}, {});
    if (hr != S_OK) {
      EXPECT_EQ(hr, MAPI_E_CORRUPT_DATA) << item;
      return;
    }
    ++events_;
    const std::string calendar = calendarOf(message.write());
    EXPECT_TRUE(readEvent(after, calendar)) << item;
#ifdef NALVO_HAVE_ICAL
    expect(errorsOf(calendar).empty(), item, "another reader", errorsOf(calendar), calendar);
#endif
    for (const Field& field : kFields) {
      const std::string old = field.of(before), now = field.of(after);
      if (old != now && std::string_view(field.name) == "series" && hasOtherDates(before)) {
        ++otherDates_;
      } else {
        expect(old == now, item, field.name, old, now);
      }
    }
  }

  int events_ = 0;
  int otherDates_ = 0;
  std::set<const Explanation*> used_;
};

TEST_F(CalendarCorpus, ComesBackEqual) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  const mail::testing::ScopedZone scope("Europe/Prague");
#ifdef NALVO_HAVE_ICAL
  EXPECT_NE(errorsOf("BEGIN:VCALENDAR\nBEGIN:VEVENT\nDTSTART:May\nEND:VEVENT\nEND:VCALENDAR\n"), "");
#endif
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "ics")) {
    if (entry.path().extension() != ".ics") {
      continue;
    }
    Caller source;
    int number = 0;
    for (const std::string& mail : tool::wrapObjects(source.stream(contentOf(entry.path())).get())) {
      if (mail.find("component=vevent") != std::string::npos) {
        check(entry.path().stem().string() + " " + std::to_string(++number), mail);
      }
    }
  }
  EXPECT_GT(events_, 5000);
  EXPECT_LT(otherDates_, 130);
  EXPECT_EQ(used_.size(), std::size(kExplanations)) << "an explanation that nothing needs";
}

}  // namespace
}  // namespace nalvo::test
