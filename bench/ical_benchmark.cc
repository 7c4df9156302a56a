// Calendar text and rules: lines read and written, dates of common rules, and growth with lines, lengths, properties,
// exceptions and counts.
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

#include "bench/timing.h"
#include "mail/content_sources.h"
#include "mail/n_time_zone.h"
#include "mail/rrule.h"
#include "mail/v_card.h"
#include "mail/v_component.h"
#include "mail/v_event.h"
#include "tests/mail/zones.h"

namespace {

using namespace nalvo::mail;
using namespace nalvo::bench;

constexpr double kSecondsEach = 0.3;
double timeOf(const std::function<void()>& work) { return secondsOfEach(kSecondsEach, work); }

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

// Texts as trees, read and printed: as strings, or to a stream.
void treeRow(const char* name, const std::string& text, bool asString) {
  const auto rewrite = [&] {
    std::string_view rest = text, expected = text;
    NStream in([&rest](char* buffer, std::size_t room) {
      const std::size_t count = rest.copy(buffer, room);
      rest.remove_prefix(count);
      return count;
    });
    vcNStreamLex lexer(in, "");
    const auto compare = [&](std::string_view piece) {
      const bool same = expected.starts_with(piece);
      expected.remove_prefix(same ? piece.size() : 0);
      return same;
    };
    Component component;
    while (component.read(lexer, "")) {
      if (asString) {
        compare(component.toText());
      } else {
        component.print(compare);
      }
    }
    if (!expected.empty()) {
      std::fprintf(stderr, "%s: the text did not come back\n", name);
      std::exit(1);
    }
  };
  const double megabytes = megabytesOf(rewrite);
  std::printf("  %-34s %10.2f ms  %6.1f MB more\n", name, timeOf(rewrite) * 1e3, megabytes);
}

// One event, read and printed, with the dates of its exceptions.
void eventRow(const char* name, const std::string& text, std::size_t exceptions) {
  const double seconds = timeOf([&] {
    std::istringstream in(text);
    VEvent event;
    if (!event.read(in) || event.getAllExDates().size() != exceptions || event.getOccurrences().size() != exceptions / 2 ||
        event.toText().size() < text.size()) {
      std::fprintf(stderr, "%s: the event did not come back\n", name);
      std::exit(1);
    }
  });
  std::printf("  %-34s %10.2f ms\n", name, seconds * 1e3);
}

std::string eventWithProperties(int count) {
  std::string text = "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:a\r\nDTSTART:20070101T120000Z\r\n";
  for (int i = 0; i < count; ++i) {
    text += "X-NAME-" + std::to_string(i) + ":a value\r\n";
  }
  return text + "END:VEVENT\r\nEND:VCALENDAR\r\n";
}

// Half of them excluded dates, the others events that moved.
std::string eventWithExceptions(int count) {
  std::string text = "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:a\r\nDTSTART:20070101T120000Z\r\nRRULE:FREQ=DAILY\r\n";
  std::string moved;
  DateTime date(1, 1, 2007, 12, 0, 0);
  date.setFixedOffset(Duration(0));
  for (int i = 0; i < count / 2; ++i) {
    date = date + Duration(86400);
    text += "EXDATE:" + date.toString() + "\r\n";
    date = date + Duration(86400);
    moved += "BEGIN:VEVENT\r\nUID:a\r\nDTSTART:" + (date + Duration(3600)).toString() +
             "\r\nRECURRENCE-ID:" + date.toString() + "\r\nEND:VEVENT\r\n";
  }
  return text + "END:VEVENT\r\n" + moved + "END:VCALENDAR\r\n";
}

// A card made by its accessors, printed, read and asked.
void cardRow(int cards) {
  const double seconds = timeOf([cards] {
    for (int i = 0; i < cards; ++i) {
      VCard card;
      card.createNew();
      card.setFamilyName("Smith");
      card.setGivenName("Jane " + std::to_string(i));
      card.setTel({TelKind::Home, std::to_string(i), false});
      card.setEmail({"jane@example.com", "Jane", Email::Kind::Work, true}, 0);
      card.setNote("A note of some words");
      std::istringstream in(card.toText());
      VCard again;
      if (!again.read(in) || again.getTel(TelKind::Home).number != std::to_string(i)) {
        std::exit(1);
      }
    }
  });
  std::printf("  %-34s %10.2f ms %10.0f cards/s\n", (std::to_string(cards) + " cards made, printed and read").c_str(),
              seconds * 1e3, cards / seconds);
}

#ifdef NALVO_HAVE_ICAL
// Dates of a rule as instants in the zone, as the rows of our own rules give them.
void otherRuleRow(const std::string& text, int dates) {
  const icalrecurrencetype rule = icalrecurrencetype_from_string(text.c_str());
  const icaltimezone* zone = icaltimezone_get_builtin_timezone("America/New_York");
  const icaltimetype start = icaltime_from_string("20070101T090000");
  const double seconds = timeOf([&] {
    icalrecur_iterator* iterator = icalrecur_iterator_new(rule, start);
    int count = 0;
    for (icaltimetype date = icalrecur_iterator_next(iterator); !icaltime_is_null_time(date) && count < dates;
         date = icalrecur_iterator_next(iterator)) {
      count += icaltime_as_timet_with_zone(date, zone) != 0 ? 1 : 0;
    }
    icalrecur_iterator_free(iterator);
    if (count != dates) {
      std::fprintf(stderr, "%s: %d dates for %d with libical\n", text.c_str(), count, dates);
      std::exit(1);
    }
  });
  std::printf("  %-50s %8d dates %12.0f /s\n", "  with libical", dates, dates / seconds);
}

void otherLibraryRow(const char* name, const std::string& text) {
  const auto rewritten = [&text] {
    icalcomponent* component = icalparser_parse_string(text.c_str());
    icalmemory_free_buffer(icalcomponent_as_ical_string_r(component));
    icalcomponent_free(component);
  };
  const double megabytes = megabytesOf(rewritten);
  std::printf("  %-34s %10.2f ms  %6.1f MB more\n", name, timeOf(rewritten) * 1e3, megabytes);
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
  treeRow("10,000 events", events, true);
  treeRow("10,000 events, to a stream", events, false);
  std::string cards;
  for (int i = 0; i < 10000; ++i) {
    cards += "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Smith;Jane\r\nTEL;TYPE=HOME:" + std::to_string(i) + "\r\nEND:VCARD\r\n";
  }
  treeRow("10,000 cards", cards, true);
#ifdef NALVO_HAVE_ICAL
  otherLibraryRow("10,000 events with libical", events);
  otherLibraryRow("10,000 cards with libical", cards);
#endif
  for (const int count : {100, 1000, 10000}) {
    cardRow(count);
  }
  for (const int count : {100, 1000, 10000}) {
    eventRow((std::to_string(count) + " properties").c_str(), eventWithProperties(count), 0);
  }
  for (const int count : {100, 1000, 10000}) {
    eventRow((std::to_string(count) + " exceptions").c_str(), eventWithExceptions(count), static_cast<std::size_t>(count));
  }

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
#ifdef NALVO_HAVE_ICAL
    otherRuleRow(rule, 500);
#endif
  }
  for (const int count : {100, 1000, 10000}) {
    ruleRow("FREQ=WEEKLY;BYDAY=MO,FR;COUNT=" + std::to_string(count), start, count);
  }
}
