// Calendar text and rules: lines read and written, dates of common rules, and growth with lines, lengths and counts.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#ifdef NALVO_HAVE_ICAL
#include <libical/ical.h>
#endif

#include "mail/content_sources.h"
#include "mail/n_time_zone.h"
#include "mail/rrule.h"
#include "mail/v_component.h"
#include "tests/mail/zones.h"

namespace {

using namespace nalvo::mail;
using Clock = std::chrono::steady_clock;

constexpr double kSecondsEach = 0.3;

// Seconds for one call, measured over many.
double timeOf(const std::function<void()>& body) {
  body();
  const auto start = Clock::now();
  double seconds = 0;
  int calls = 0;
  do {
    body();
    ++calls;
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  } while (seconds < kSecondsEach);
  return seconds / calls;
}

double peakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

std::string calendarOf(int events, const std::string& description) {
  std::string text = "BEGIN:VCALENDAR\r\n";
  for (int i = 0; i < events; ++i) {
    text += "BEGIN:VEVENT\r\nUID:" + std::to_string(i) +
            "@example.com\r\nDTSTART;TZID=America/New_York:20070101T120000\r\nSUMMARY:Lunch again\r\n"
            "ATTENDEE;CN=\"Smith, Jane\";ROLE=REQ-PARTICIPANT:mailto:jane@example.com\r\nDESCRIPTION:";
    foldValue(description, text, false);
    text += "\r\nEND:VEVENT\r\n";
  }
  return text + "END:VCALENDAR\r\n";
}

// All lines of a text, written again. Returns how many there were.
std::size_t rewrite(const std::string& text, std::string& out) {
  out.clear();
  std::istringstream in(text);
  vcIStreamLex lexer(in, "");
  std::string name, value;
  std::vector<std::string> values;
  std::size_t lines = 0;
  while (!lexer.atEnd() && lexer.readName(name)) {
    ++lines;
    quoteToken(name, out);
    while (lexer.readParamName(name)) {
      lexer.readParamValues(values);
      out.append(";").append(name).append("=");
      quoteToken(values.empty() ? "" : values[0], out);
    }
    if (lexer.readValue(value, false, false)) {
      out.push_back(':');
      foldValue(value, out, false);
    }
    out.append("\r\n");
  }
  return lines;
}

void linesRow(const char* name, const std::string& text, std::size_t lines) {
  std::string out;
  if (rewrite(text, out) != lines || out != text) {
    std::fprintf(stderr, "%s: the text did not come back\n", name);
    std::exit(1);
  }
  const double seconds = timeOf([&] { rewrite(text, out); });
  std::printf("  %-34s %10.2f ms %10.0f lines/s %8.1f MB/s  peak %6.1f MB\n", name, seconds * 1e3,
              static_cast<double>(lines) / seconds, static_cast<double>(text.size()) / seconds / 1e6, peakMegabytes());
}

void ruleRow(const std::string& text, const DateTime& start, int dates) {
  const RRule rule(text);
  const double seconds = timeOf([&] {
    int count = 0;
    for (RRuleIterator i = rule.iterate(start, false); !i.hasEnded() && count < dates; i.advance()) {
      ++count;
    }
    if (count != dates) {
      std::fprintf(stderr, "%s: %d dates for %d\n", text.c_str(), count, dates);
      std::exit(1);
    }
  });
  std::printf("  %-50s %8d dates %12.0f /s\n", text.c_str(), dates, dates / seconds);
}

// Texts as trees, read and printed.
void treeRow(const char* name, const std::string& text) {
  const auto rewritten = [&text] {
    std::istringstream in(text);
    vcIStreamLex lexer(in, "");
    Component component;
    std::string out;
    while (component.read(lexer, "")) {
      component.print(out);
    }
    return out;
  };
  if (rewritten() != text) {
    std::fprintf(stderr, "%s: the text did not come back\n", name);
    std::exit(1);
  }
  std::printf("  %-34s %10.2f ms  peak %6.1f MB\n", name, timeOf(rewritten) * 1e3, peakMegabytes());
}

#ifdef NALVO_HAVE_ICAL
void otherLibraryRow(const char* name, const std::string& text) {
  const double seconds = timeOf([&text] {
    icalcomponent* component = icalparser_parse_string(text.c_str());
    icalmemory_free_buffer(icalcomponent_as_ical_string_r(component));
    icalcomponent_free(component);
  });
  std::printf("  %-34s %10.2f ms  peak %6.1f MB\n", name, seconds * 1e3, peakMegabytes());
}
#endif

// Years within the cache, and more of them than it holds.
void offsetRow(const char* name, int years) {
  const auto zone = NTimeZone::byId("America/New_York");
  constexpr int kLookUps = 10000;
  const double seconds = timeOf([&] {
    for (int i = 0; i < kLookUps; ++i) {
      if (zone->getOffsetAt((i % years) * std::int64_t{31556952} - 9'000'000'000).isNull()) {
        std::exit(1);
      }
    }
  });
  std::printf("  %-34s %12.0f /s\n", name, kLookUps / seconds);
}

}  // namespace

int main() {
  const std::string plain(300, 'x');
  std::printf("Lines read and written\n");
  linesRow("10,000 events", calendarOf(10000, plain), 70002);
  for (const int times : {1, 10, 100}) {
    linesRow(("events, " + std::to_string(times) + "x").c_str(), calendarOf(100 * times, plain),
             700 * static_cast<std::size_t>(times) + 2);
  }
  for (const std::size_t times : {1U, 10U, 100U}) {
    linesRow(("one long value, " + std::to_string(times) + "x").c_str(), calendarOf(1, std::string(10000 * times, 'x')), 9);
  }

  std::printf("Objects read and printed\n");
  const std::string events = calendarOf(10000, plain);
  treeRow("10,000 events", events);
  std::string cards;
  for (int i = 0; i < 10000; ++i) {
    cards += "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Smith;Jane\r\nTEL;TYPE=HOME:" + std::to_string(i) + "\r\nEND:VCARD\r\n";
  }
  treeRow("10,000 cards", cards);
#ifdef NALVO_HAVE_ICAL
  otherLibraryRow("10,000 events with libical", events);
#endif

  std::printf("Offsets of a zone\n");
  offsetRow("cached", 50);
  offsetRow("not cached", 700);

  std::printf("Dates of rules, in a zone with daylight saving\n");
  DateTime start(1, 1, 2007, 9, 0, 0);
  start.setZone(nalvo::mail::testing::SystemZone::make("America/New_York", 2007, 2030));
  for (const char* rule :
       {"FREQ=DAILY", "FREQ=WEEKLY", "FREQ=WEEKLY;BYDAY=MO,WE,FR", "FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,TH", "FREQ=MONTHLY",
        "FREQ=MONTHLY;BYDAY=2TU", "FREQ=MONTHLY;BYMONTHDAY=-1", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1",
        "FREQ=YEARLY", "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU"}) {
    ruleRow(rule, start, 500);
  }
  for (const int count : {100, 1000, 10000}) {
    ruleRow("FREQ=WEEKLY;BYDAY=MO,FR;COUNT=" + std::to_string(count), start, count);
  }
}
