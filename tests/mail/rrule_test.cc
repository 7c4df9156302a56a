// Recurrence rules: text in both grammars, the dates that they give, and what hostile ones may cost.
#include "mail/rrule.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/mail/zones.h"
#include "tests/support/cpu_time.h"

namespace nalvo::mail {
namespace {

using testing::ScopedZone;
using testing::SystemZone;

TEST(RRule, PrintsWhatItRead) {
  struct Case {
    std::string_view why, text, printed;
  };
  static constexpr Case kCases[] = {
      {"the order of keys is fixed", "FREQ=WEEKLY;BYDAY=MO,WE;COUNT=4", "FREQ=WEEKLY;COUNT=4;BYDAY=MO,WE"},
      {"all lists",
       "BYSETPOS=-1;BYSECOND=0;BYMINUTE=1;BYHOUR=2;BYDAY=2TU,-1SU,FR;BYMONTHDAY=3,-3;BYYEARDAY=100;BYWEEKNO=20;BYMONTH=1;"
       "FREQ=YEARLY",
       "FREQ=YEARLY;BYMONTH=1;BYWEEKNO=20;BYYEARDAY=100;BYMONTHDAY=3,-3;BYDAY=2TU,-1SU,FR;BYHOUR=2;BYMINUTE=1;BYSECOND=0;"
       "BYSETPOS=-1"},
      {"no count beside an end", "FREQ=DAILY;COUNT=3;UNTIL=20071224T000000Z", "FREQ=DAILY;UNTIL=20071224T000000Z"},
      {"a local end is taken as UTC", "FREQ=DAILY;UNTIL=20071224T000000", "FREQ=DAILY;UNTIL=20071224T000000Z"},
      {"an end without time", "FREQ=DAILY;UNTIL=20071224", "FREQ=DAILY;UNTIL=20071224"},
      {"an end that no text holds", "FREQ=DAILY;COUNT=3;UNTIL=99999999", "FREQ=DAILY;COUNT=3"},
      {"X-UNTIL first", "FREQ=DAILY;UNTIL=20071224;X-UNTIL=20080101", "FREQ=DAILY;X-UNTIL=20080101;UNTIL=20071224"},
      {"case and blanks", "freq=Daily; interval = 2 ;byday=mo, TU", "FREQ=DAILY;INTERVAL=2;BYDAY=MO,TU"},
      {"week start", "FREQ=WEEKLY;WKST=SU", "FREQ=WEEKLY;WKST=SU"},
      {"Monday is the default", "FREQ=WEEKLY;WKST=MO", "FREQ=WEEKLY"},
      {"an unknown week start is Monday", "FREQ=WEEKLY;WKST=XX", "FREQ=WEEKLY"},
      {"interval 1", "FREQ=WEEKLY;INTERVAL=1", "FREQ=WEEKLY"},
      {"no interval", "FREQ=DAILY;INTERVAL=0", "FREQ=DAILY"},
      {"plus signs and blanks in ordinals", "FREQ=MONTHLY;BYDAY=+1 MO,-2 FR", "FREQ=MONTHLY;BYDAY=1MO,-2FR"},
      {"each value once", "FREQ=MONTHLY;BYDAY=MO,MO,1MO;BYMONTHDAY=1,1", "FREQ=MONTHLY;BYMONTHDAY=1;BYDAY=MO,1MO"},
      {"what can't match", "FREQ=YEARLY;BYMONTH=0,13,5;BYHOUR=99,98", "FREQ=YEARLY;BYMONTH=5;BYHOUR=99"},
      {"what can't match, in a key of its own", "FREQ=YEARLY;BYMONTH=13;BYMONTH=5", "FREQ=YEARLY;BYMONTH=5"},
      {"bad and empty items", "FREQ=WEEKLY;BYDAY=MO,XX,TU,", "FREQ=WEEKLY;BYDAY=MO,TU"},
      {"positions in lists of bad items", "FREQ=WEEKLY;BYDAY=XX;BYSETPOS=1", "FREQ=WEEKLY"},
      {"unknown keys", "FREQ=DAILY;X-A=1;B;=;SKIP=OMIT", "FREQ=DAILY"},
      {"numbers too big", "FREQ=DAILY;COUNT=99999999999", "FREQ=DAILY;COUNT=2147483647"},
      {"unknown frequency", "FREQ=FOO;COUNT=3", ""},
      {"no frequency", "COUNT=3;BYDAY=MO", ""},
      {"positions of nothing", "FREQ=DAILY;BYSETPOS=1", ""},
      {"nothing", "", ""},
      {"vCalendar: weekly", "W1 MO TH #10", "FREQ=WEEKLY;COUNT=10;BYDAY=MO,TH"},
      {"vCalendar: the second Tuesday", "MP1 2+ TU", "FREQ=MONTHLY;BYDAY=2TU"},
      {"vCalendar: ordinals stay in force", "MP2 1+ 2- MO FR #0", "FREQ=MONTHLY;INTERVAL=2;BYDAY=-2MO,-2FR"},
      {"vCalendar: the last day", "MD1 LD 3- 20", "FREQ=MONTHLY;BYMONTHDAY=-1,-3,20"},
      {"vCalendar: months", "YM1 6 7 #0", "FREQ=YEARLY;BYMONTH=6,7"},
      {"vCalendar: days of the year", "YD3 1 100 200 #4", "FREQ=YEARLY;COUNT=4;INTERVAL=3;BYYEARDAY=1,100,200"},
      {"vCalendar: an end", "D2 19971224T000000Z", "FREQ=DAILY;UNTIL=19971224T000000Z;INTERVAL=2"},
      {"vCalendar: an end without time", "MD3 20 20060630", "FREQ=MONTHLY;UNTIL=20060630;INTERVAL=3;BYMONTHDAY=20"},
      {"vCalendar: nothing counts behind the count", "W1 MO #2 TU", "FREQ=WEEKLY;COUNT=2;BYDAY=MO"},
      {"vCalendar: minutes", "M5 #3", "FREQ=MINUTELY;COUNT=3;INTERVAL=5"},
      {"vCalendar: times and endless items", "D1 0900 aaaaaaaaaaaaaaaaaaaaaaaa #5", "FREQ=DAILY;COUNT=5"},
      {"vCalendar: no interval", "W MO", ""},
      {"vCalendar: unknown word", "XX1 MO", ""},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const RRule rule(c.text);
    EXPECT_EQ(rule.toString(), c.printed);
    EXPECT_EQ(rule.valid, !c.printed.empty());
    EXPECT_EQ(RRule(rule.toString()).toString(), c.printed) << "a second time";
  }
}

// Up to `most` dates, as "20070101T000000" with blanks between.
std::string datesOf(const RRule& rule, const DateTime& start, bool includeStart, int most) {
  std::string out;
  for (RRuleIterator dates = rule.iterate(start, includeStart); !dates.hasEnded() && most > 0; dates.advance(), --most) {
    out.append(out.empty() ? "" : " ").append(dates.current().toString(DateTime::kLocal));
  }
  return out;
}

struct Expansion {
  std::string_view why, rule;
  const char* start;
  std::string_view dates;
  int most = 4;
  bool includeStart = false;
};

TEST(RRuleIterator, GivesTheDatesOfTheRule) {
  static constexpr Expansion kCases[] = {
      {"last Sunday of a month", "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU", "20070101T0230", "20070325T023000 20080330T023000", 2},
      {"second Tuesday", "FREQ=MONTHLY;BYDAY=2TU", "20070101", "20070109 20070213 20070313", 3},
      {"limited to Mondays", "FREQ=DAILY;BYDAY=MO", "20070102", "20070108 20070115", 2},
      {"months without a 31st are skipped", "FREQ=MONTHLY;COUNT=4", "20070131", "20070131 20070331 20070531 20070731", 9},
      {"days of the month expand the year", "FREQ=YEARLY;BYMONTHDAY=1", "20071015", "20071101 20071201 20080101", 3},
      {"29 February", "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29", "20960229", "20960229 21040229", 2},
      {"weeks at the end of the year", "FREQ=WEEKLY;BYDAY=MO,WE,FR", "20081226",
       "20081226 20081229 20081231 20090102 20090105", 5},
      {"every second week over New Year", "FREQ=WEEKLY;INTERVAL=2", "20081217", "20081217 20081231 20090114 20090128"},
      {"week start matters", "FREQ=WEEKLY;INTERVAL=2;COUNT=4;BYDAY=TU,SU;WKST=MO", "19970805",
       "19970805 19970810 19970819 19970824"},
      {"and on Sunday", "FREQ=WEEKLY;INTERVAL=2;COUNT=4;BYDAY=TU,SU;WKST=SU", "19970805",
       "19970805 19970817 19970819 19970831"},
      {"first Friday of the year", "FREQ=YEARLY;BYDAY=1FR", "20100101", "20100101 20110107 20120106", 3},
      {"last Wednesday of the year", "FREQ=YEARLY;BYDAY=-1WE", "20080101", "20081231 20091230", 2},
      {"twentieth Monday", "FREQ=YEARLY;BYDAY=20MO", "19970519", "19970519 19980518 19990517", 3},
      {"Monday of week 20", "FREQ=YEARLY;BYWEEKNO=20;BYDAY=MO", "19970512", "19970512 19980511 19990517", 3},
      {"last day of the year", "FREQ=YEARLY;BYYEARDAY=-1,366", "20070101", "20071231 20081231 20091231", 3},
      {"a day given twice is one", "FREQ=MONTHLY;BYMONTHDAY=31,-1;COUNT=3", "20070101", "20070131 20070228 20070331", 9},
      {"Friday the 13th", "FREQ=MONTHLY;BYDAY=FR;BYMONTHDAY=13", "19970902", "19980213 19980313 19981113 19990813"},
      {"last work day", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1", "20070601", "20070629 20070731 20070831", 3},
      {"fifth Friday only where there is one", "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=5", "20070101",
       "20070330 20070629 20070831 20071130"},
      {"positions from both ends", "FREQ=MONTHLY;BYDAY=MO,TU;BYSETPOS=1,-1,99", "20070101",
       "20070101 20070130 20070205 20070227"},
      {"hours and minutes", "FREQ=DAILY;BYHOUR=9,17;BYMINUTE=0,30", "20070101T120000",
       "20070101T170000 20070101T173000 20070102T090000 20070102T093000"},
      {"minutes of each hour", "FREQ=DAILY;BYMINUTE=15", "20070101T223000",
       "20070101T231500 20070102T001500 20070102T011500", 3},
      {"hours limit minutes", "FREQ=MINUTELY;INTERVAL=30;BYHOUR=9", "20070101T090000",
       "20070101T090000 20070101T093000 20070102T090000", 3},
      {"hours of each day of the week", "FREQ=WEEKLY;BYHOUR=9", "20070104T090000", "20070104T090000 20070105T090000", 2},
      {"seconds", "FREQ=SECONDLY;INTERVAL=40", "20070101T000000", "20070101T000000 20070101T000040 20070101T000120", 3},
      {"an end is the last", "FREQ=DAILY;UNTIL=20070103T120000Z", "20070101T120000",
       "20070101T120000 20070102T120000 20070103T120000", 9},
      {"an end without time ends the day before", "FREQ=DAILY;UNTIL=20070103", "20070101T120000",
       "20070101T120000 20070102T120000", 9},
      {"the end of whole days", "FREQ=DAILY;UNTIL=20070103", "20070101", "20070101 20070102 20070103", 9},
      {"the start counts only when it is meant to", "FREQ=MONTHLY;COUNT=3;BYMONTHDAY=10,11,12", "20070101",
       "20070110 20070111 20070112", 9},
      {"and is then one of the count", "FREQ=MONTHLY;COUNT=3;BYMONTHDAY=10,11,12", "20070101", "20070101 20070110 20070111",
       9, true},
      {"a start that the rule gives counts once", "FREQ=DAILY;COUNT=2", "20070101", "20070101 20070102", 9, true},
      {"no dates but the start", "FREQ=DAILY;UNTIL=20060101", "20070101", "20070101", 9, true},
      {"a count of none", "FREQ=DAILY;COUNT=0", "20070101", "", 9, true},
      {"limited before it expands", "FREQ=WEEKLY;BYMONTH=5;BYDAY=SU", "20070426", "20070506 20070513", 2},
  };
  for (const Expansion& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(datesOf(RRule(c.rule), DateTime::parseAsUtc(c.start), c.includeStart, c.most), c.dates);
  }
}

TEST(RRuleIterator, EndsAtOnceWhereItCannotGo) {
  for (const std::string_view rule :
       {"FREQ=DAILY;INTERVAL=0", "FREQ=DAILY;INTERVAL=1025", "FREQ=DAILY;INTERVAL=-1", "FREQ=FOO", "FREQ=DAILY;BYSECOND=5",
        "FREQ=YEARLY;BYMINUTE=5", "FREQ=WEEKLY;BYMINUTE=5", "FREQ=MONTHLY;BYMONTHDAY=30;BYMONTH=2",
        "FREQ=DAILY;BYHOUR=99"}) {
    EXPECT_EQ(datesOf(RRule(rule), DateTime(1, 1, 2007), false, 9), "") << rule;
    EXPECT_EQ(datesOf(RRule(rule), DateTime(1, 1, 2007), true, 9), "20070101") << rule;
  }
  EXPECT_EQ(datesOf(RRule("FREQ=DAILY;INTERVAL=1024"), DateTime(1, 1, 2007), false, 2), "20070101 20091021");
  EXPECT_TRUE(RRuleIterator().current().isNull());
}

TEST(RRuleIterator, StopsAtTheEndOfTheCalendar) {
  for (const std::string_view text :
       {"FREQ=DAILY", "FREQ=YEARLY;INTERVAL=1000", "FREQ=MONTHLY", "FREQ=WEEKLY;BYDAY=MO,FR"}) {
    const RRule rule(text);
    int dates = 0;
    for (RRuleIterator i = rule.iterate(DateTime(28, 12, 29999), false); !i.hasEnded() && dates < 10; i.advance()) {
      ++dates;
    }
    EXPECT_LT(dates, 10) << text;
  }
}

TEST(RRuleIterator, StepsAndCompares) {
  const RRule rule("FREQ=MONTHLY;BYMONTHDAY=1,15;COUNT=3");
  RRuleIterator dates = rule.iterate(DateTime(1, 1, 2007), false);
  const RRuleIterator first = dates.next();
  EXPECT_EQ(first.current().toString(), "20070101");
  EXPECT_EQ(dates.current().toString(), "20070115");
  EXPECT_FALSE(first == dates);
  EXPECT_TRUE(rule.iterate(DateTime(1, 1, 2007), false) == first);
  dates.advance();
  dates.advance();
  EXPECT_TRUE(dates == RRuleIterator());
  EXPECT_TRUE(dates.current().isNull());
  dates.advance();
  EXPECT_TRUE(dates.hasEnded());
}

// What a change of local time leaves out moves, and the time of day is back in the next period.
TEST(RRuleIterator, CrossesGapsInLocalTime) {
  const auto newYork = SystemZone::make("America/New_York", 2007, 2014);
  const auto prague = SystemZone::make("Europe/Prague", 2007, 2007);
  struct Case {
    std::string_view why, rule;
    const char* start;
    std::shared_ptr<const TimeZone> zone;
    std::string_view dates;
  };
  const Case cases[] = {
      {"daily", "FREQ=DAILY", "20070310T023000", newYork, "20070310T023000 20070311T033000 20070312T023000 20070313T023000"},
      {"hourly", "FREQ=HOURLY", "20070311T013000", newYork,
       "20070311T013000 20070311T033000 20070311T043000 20070311T053000"},
      {"weekly, east", "FREQ=WEEKLY", "20070318T023000", prague,
       "20070318T023000 20070325T033000 20070401T023000 20070408T023000"},
      {"a day found on the way over a gap", "FREQ=MONTHLY;BYDAY=2SA", "20120211T023000", newYork,
       "20120211T023000 20120310T023000 20120414T023000 20120512T023000"},
      {"a date of a list in the gap", "FREQ=YEARLY;BYMONTH=3;BYDAY=2SU", "20110313T013000", newYork,
       "20110313T013000 20120311T013000 20130310T013000 20140309T013000"},
      {"and back in the next year", "FREQ=YEARLY;BYMONTH=3;BYDAY=2SU,2MO", "20100308T023000", newYork,
       "20100308T023000 20100314T033000 20110313T033000 20110314T023000"},
      {"the last date in the gap", "FREQ=MONTHLY;BYDAY=2SU", "20100214T023000", newYork,
       "20100214T023000 20100314T033000 20100411T023000 20100509T023000"},
      {"autumn", "FREQ=DAILY", "20071103T013000", newYork,
       "20071103T013000 20071104T013000 20071105T013000 20071106T013000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(datesOf(RRule(c.rule), DateTime::parse(c.start, c.zone), false, 4), c.dates);
  }
  const ScopedZone machine("America/New_York");
  EXPECT_EQ(datesOf(RRule("FREQ=DAILY"), DateTime::parse("20070310T023000"), false, 3),
            "20070310T023000 20070311T033000 20070312T023000")
      << "floating";
}

std::string numbers(int from, int to) {
  std::string list;
  for (int i = from; i <= to; ++i) {
    list += (list.empty() ? "" : ",") + std::to_string(i);
  }
  return list;
}

// Rules that never match, or whose lists multiply: the answer comes soon, and in little memory.
TEST(RRuleIterator, CostIsBounded) {
  std::string longList;
  for (int i = 0; i < 100000; ++i) {
    longList += std::to_string(i % 5) + "MO,";
  }
  const std::string times = ";BYHOUR=" + numbers(0, 23) + ";BYMINUTE=" + numbers(0, 59) + ";BYSECOND=" + numbers(0, 59);
  const std::string days = ";BYMONTH=" + numbers(1, 12) + ";BYMONTHDAY=" + numbers(-31, 31);
  const std::string rules[] = {
      "FREQ=SECONDLY;BYYEARDAY=366",
      "FREQ=SECONDLY;BYMONTH=12;BYWEEKNO=" + numbers(-53, 53),
      "FREQ=MINUTELY;BYYEARDAY=" + numbers(2, 366) + ";BYMONTHDAY=1;BYMONTH=1",
      "FREQ=DAILY" + times + ";BYSETPOS=366,-366;BYMONTH=13",
      "FREQ=YEARLY" + days + times + ";BYSETPOS=366",
      "FREQ=DAILY;BYHOUR=" + numbers(0, 23) + ";BYMINUTE=" + numbers(0, 59) + ";BYSETPOS=300,400;COUNT=100",
      "FREQ=YEARLY;BYDAY=" + longList,
      "FREQ=MONTHLY;BYDAY=FR;BYSETPOS=6",
      "FREQ=WEEKLY;BYDAY=MO;BYSETPOS=2",
      "FREQ=YEARLY;BYWEEKNO=53;BYDAY=MO;BYMONTH=6",
  };
  for (const std::string& text : rules) {
    SCOPED_TRACE(text.substr(0, 60));
    const RRule rule(text);
    ASSERT_TRUE(rule.valid);
    EXPECT_LT(rule.by[kWeekday].size(), 6U);
    const double start = test::cpuSeconds();
    RRuleIterator dates = rule.iterate(DateTime(1, 1, 2007, 0, 0, 0), false);
    for (int i = 0; i < 3; ++i) {
      dates.advance();
    }
    EXPECT_LT(test::cpuSeconds() - start, 5.0);
  }
}

}  // namespace
}  // namespace nalvo::mail
