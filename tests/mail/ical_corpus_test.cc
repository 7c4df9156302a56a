// Calendars that others have written, as another library reads them before and after this one has written them anew.
#ifdef NALVO_HAVE_ICAL
#include <gtest/gtest.h>
#include <libical/ical.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "mail/content_sources.h"
#include "mail/n_time_zone.h"
#include "mail/v_component.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

struct Free {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
  void operator()(icaltimezone* zone) const { icaltimezone_free(zone, 1); }
};
using Ical = std::unique_ptr<icalcomponent, Free>;

struct Reason {
  const char* why;
  std::vector<std::string> files;
};

// Calendars of which the other library reads other values afterwards.
const Reason kChanged[] = {
    {"an escaped comma or semicolon is written without its backslash",
     {"hordeical__Horde_Icalendar_escapes1.ics", "hordeical__Horde_Icalendar_escapes2.ics",
      "hordeical__Horde_Icalendar_vcal20.ics", "hordeical__Icalendar_vTimezone_iscw.ics", "ical4j__valid_Earth32Seasons.ics",
      "icalendar__icalendar_calendars_issue_127_categories_with_commas.ics", "icaljs__parser_multivalue.ics",
      "icalnet__Calendars_Serialization_Categories1.ics", "icalnet__Calendars_Serialization_RequestStatus1.ics",
      "icalnetold__Calendars_Serialization_Categories1.ics", "nodeical__test_date_duration.ics",
      "nodeical__test_date_time_duration.ics", "tine__Tasks_Import_apple-reminder-daily-alarm.ics",
      "vobject__test_files_ruby_rrule.ics"}},
    {"text that is not UTF-8 becomes so",
     {"ccstester__CalDAV_nonascii_10.ics", "commcentral__calendar_importLatin1.ics", "libical__poc-05.ics",
      "libical__fuzzmerge4.ics", "syncengine__inbox_events_gcal_v1.ics", "syncengine__inbox_events_gcal_v2.ics",
      "syncengine__inbox_events_self_sent_v1.ics", "syncengine__inbox_events_self_sent_v2.ics"}},
    {"the text ends at a line that begins with no name",
     {"hordeical__Icalendar_vTimezone_exchange.ics", "icsparser__examples_ICal.ics",
      "tine__Calendar_Import_outlook_external_invitation.ics", "libical__fuzzmerge3.ics"}},
    {"quoted-printable text is decoded", {"ical4j__valid_php-flp.ics"}},
    {"a line without a colon, or with a name or parameter that is none",
     {"icalendar__icalendar_calendars_issue_168_input.ics",
      "icalendar__icalendar_calendars_issue_348_exception_parsing_value.ics", "nodeical__event-with-valarm.ics",
      "icalnet__Calendars_Serialization_Bug2033495.ics", "icaljs__parser_property_params.ics"}},
    {"an empty value is not written", {"ical4j__invalid_lastfm.ics"}},
};

// Calendars with zones that the other library takes for others.
const Reason kOtherOffsets[] = {
    {"observances without DTSTART, which begin at once", {"kcalcore__Compat-libicalV4_Todos.ics"}},
    {"a DTSTART a day ahead of its rule",
     {"hordeical__Icalendar_vTimezone_rfc2445.ics", "ical4j__valid_rfc5545-sec3.6.5.ics"}},
};

std::vector<std::filesystem::path> calendars() {
  std::vector<std::filesystem::path> files;
  if (const char* corpus = std::getenv("NALVO_CORPUS")) {
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "ics")) {
      if (entry.path().extension() == ".ics") {
        files.push_back(entry.path());
      }
    }
    EXPECT_GT(files.size(), 500U);
  }
  return files;
}

Component readCalendar(const std::string& text) {
  std::istringstream in(text);
  vcIStreamLex lexer(in, "");
  Component component;
  component.read(lexer, "VCALENDAR");
  return component;
}

// The first calendar of a text; null when there is none.
Ical firstCalendar(const std::string& text) {
  Ical all(icalparser_parse_string(text.c_str()));
  if (!all || icalcomponent_isa(all.get()) == ICAL_VCALENDAR_COMPONENT) {
    return all;
  }
  icalcomponent* first = icalcomponent_get_first_component(all.get(), ICAL_VCALENDAR_COMPONENT);
  return Ical(first != nullptr ? icalcomponent_new_clone(first) : nullptr);
}

// Each property with the path of its component, in any order.
using Properties = std::multiset<std::string>;
void collect(icalcomponent* component, const std::string& path, Properties& out) {
  for (icalproperty* each = icalcomponent_get_first_property(component, ICAL_ANY_PROPERTY); each != nullptr;
       each = icalcomponent_get_next_property(component, ICAL_ANY_PROPERTY)) {
    const char* name = icalproperty_get_property_name(each);
    const char* value = icalproperty_get_value_as_string(each);
    if (icalproperty_isa(each) != ICAL_XLICERROR_PROPERTY && name != nullptr && value != nullptr) {
      out.insert(path + name + ":" + value);
    }
  }
  for (icalcomponent* child = icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT); child != nullptr;
       child = icalcomponent_get_next_component(component, ICAL_ANY_COMPONENT)) {
    collect(child, path + std::to_string(icalcomponent_isa(child)) + "/", out);
  }
}

Properties propertiesOf(const Ical& calendar) {
  Properties properties;
  collect(calendar.get(), "", properties);
  return properties;
}

std::string difference(const Properties& a, const Properties& b) {
  std::vector<std::string> lines;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(lines));
  return lines.empty() ? "nothing" : lines.front();
}

// Every file with a reason must differ, every other one must not.
void expectOnly(std::span<const Reason> reasons, std::map<std::string, std::string> found) {
  for (const Reason& reason : reasons) {
    for (const std::string& file : reason.files) {
      EXPECT_EQ(found.erase(file), 1U) << file << " is the same, though it has " << reason.why;
    }
  }
  for (const auto& [file, what] : found) {
    ADD_FAILURE() << file << ": " << what;
  }
}

TEST(IcalCorpus, NothingIsLostInTheEyesOfAnother) {
  const std::vector<std::filesystem::path> files = calendars();
  std::map<std::string, std::string> changed;
  int compared = 0;
  for (const std::filesystem::path& file : files) {
    const std::string name = file.filename().string();
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const Ical before = firstCalendar(text);
    if (!before) {
      continue;
    }
    ++compared;
    const Ical after = firstCalendar(readCalendar(text).toText());
    const Properties given = propertiesOf(before);
    const Properties written = after ? propertiesOf(after) : Properties();
    if (given != written) {
      changed[name] = "lost " + difference(given, written) + ", new " + difference(written, given);
    } else if (after) {
      EXPECT_LE(icalcomponent_count_errors(after.get()), icalcomponent_count_errors(before.get())) << name;
    }
  }
  if (!files.empty()) {
    EXPECT_GT(compared, 650);
    expectOnly(kChanged, changed);
  }
}

// From a year after both kinds of observances have begun: what they say of the time before is taken differently.
std::int64_t beginOf(const NTimeZone& zone) {
  std::map<Observance::Kind, std::int64_t> first;
  for (const Observance& observance : zone.observances()) {
    const auto place = first.try_emplace(observance.kind, observance.dtstart.seconds()).first;
    place->second = std::min(place->second, observance.dtstart.seconds());
  }
  std::int64_t begin = calendar::timegm({1995, 1, 1, 0, 30, 0, 0, 0});
  for (const auto& [kind, start] : first) {
    begin = std::max(begin, start + 370 * calendar::kDay);
  }
  return begin;
}

// Of "the first Sunday" among given days the other library makes something else, and takes seconds to do so.
bool hasOrdinalAmongDays(const Observance& observance) {
  const std::vector<int>& weekdays = observance.rrule.by[kWeekday];
  return !observance.rrule.by[kMonthDay].empty() &&
         std::any_of(weekdays.begin(), weekdays.end(), [](int entry) { return ordinalOf(entry) != 0; });
}

TEST(IcalCorpus, ZonesHaveTheOffsetsThatAnotherFinds) {
  const std::vector<std::filesystem::path> files = calendars();
  std::map<std::string, std::string> different;
  std::set<std::string> seen;
  for (const std::filesystem::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    for (const Component& child : readCalendar({std::istreambuf_iterator<char>(in), {}}).children) {
      const NTimeZone zone(child);
      if (!zone.isValid() || std::any_of(zone.observances().begin(), zone.observances().end(), hasOrdinalAmongDays)) {
        continue;
      }
      const std::string text = zone.toComponent().toText();
      if (!seen.insert(text).second) {
        continue;
      }
      const std::unique_ptr<icaltimezone, Free> other(icaltimezone_new());
      Ical component(icalparser_parse_string(text.c_str()));
      ASSERT_TRUE(component && icaltimezone_set_component(other.get(), component.get()) == 1) << file;
      component.release();
      constexpr std::int64_t kStep = 84 * 3600;
      for (std::int64_t at = beginOf(zone); at < calendar::timegm({2020, 1, 1, 0, 0, 0, 0, 0}); at += kStep) {
        icaltimetype time = icaltime_from_timet_with_zone(at, 0, icaltimezone_get_utc_timezone());
        int isDaylight = 0;
        const int offset = icaltimezone_get_utc_offset_of_utc_time(other.get(), &time, &isDaylight);
        if (offset / 60 * 60 != zone.getOffsetAt(at).seconds()) {
          different[file.filename().string()] = zone.id() + " at " + DateTime(at).toString();
          break;
        }
      }
    }
  }
  if (!files.empty()) {
    EXPECT_GT(seen.size(), 100U);
    expectOnly(kOtherOffsets, different);
  }
}

}  // namespace
}  // namespace nalvo::mail
#endif
