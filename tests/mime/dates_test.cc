#include "mime/dates.h"

#include <gtest/gtest.h>

#include "platform/time/file_time.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

TEST(InetDate, ReadsWhatSendersWrite) {
  static constexpr std::string_view kNine = "Tue, 01 Jan 2008 09:00:00 +0000";
  struct Case {
    std::string_view why, text, written;
  };
  static constexpr Case kCases[] = {
      {"by the book", "Tue, 1 Jan 2008 10:00:00 +0100", kNine},
      {"west", "Tue, 1 Jan 2008 03:30:00 -0530", kNine},
      {"no weekday", "1 Jan 2008 09:00:00 +0000", kNine},
      {"wrong weekday", "Fri, 1 Jan 2008 09:00:00 +0000", kNine},
      {"a weekday of another language", "Di, 1 Jan 2008 09:00:00 +0000", kNine},
      {"no seconds", "Tue, 1 Jan 2008 09:00 +0000", kNine},
      {"no zone", "Tue, 1 Jan 2008 09:00:00", kNine},
      {"no time", "1 Jan 2008", "Tue, 01 Jan 2008 00:00:00 +0000"},
      {"comments", "(a) Tue, 1 (b(c)) Jan 2008 (9:30) 04:00:00 -0500 (EST)", kNine},
      {"a zone by name", "Tue, 1 Jan 2008 04:00:00 EST", kNine},
      {"in lower case", "tue, 1 january 2008 18:00:00 jst", kNine},
      {"a military zone", "Tue, 1 Jan 2008 09:00:00 Z", kNine},
      {"a military zone of either sign", "Tue, 1 Jan 2008 09:00:00 A", kNine},
      {"an unknown zone", "Tue, 1 Jan 2008 09:00:00 XYZT", kNine},
      {"GMT with a number", "Tue, 1 Jan 2008 11:00:00 GMT+0200", kNine},
      {"a short number", "Tue, 1 Jan 2008 11:00:00 UTC+2", kNine},
      {"a colon in the zone", "Tue, 1 Jan 2008 11:00:00 +02:00", kNine},
      {"a zone beyond a day", "Tue, 1 Jan 2008 09:00:00 +9900", kNine},
      {"the C library's order", "Tue Jan  1 09:00:00 2008", kNine},
      {"that with a zone", "Tue Jan  1 04:00:00 EST 2008", kNine},
      {"dashes", "01-Jan-2008 09:00:00 +0000", kNine},
      {"dashes and two digits", "Tuesday, 01-Jan-08 09:00:00 GMT", kNine},
      {"another standard", "2008-01-01T09:00:00Z", kNine},
      {"another standard with a zone", "2008-01-01 10:00:00.123 +0100", kNine},
      {"half days", "Tue, 1 Jan 2008 09:00:00 AM", kNine},
      {"the half day after noon", "1 Jan 2008 12:30 PM", "Tue, 01 Jan 2008 12:30:00 +0000"},
      {"after midnight", "1 Jan 2008 12:30 AM", "Tue, 01 Jan 2008 00:30:00 +0000"},
      {"two digits of the last century", "1 Jan 93 09:00:00 GMT", "Fri, 01 Jan 1993 09:00:00 +0000"},
      {"three digits", "1 Jan 108 09:00:00 GMT", kNine},
      {"text behind", "Tue, 1 Jan 2008 09:00:00 +0000 by 10 mice at 11:11:11", kNine},
      {"quotes", "\"Tue, 1 Jan 2008 09:00:00 +0000\"", kNine},
      {"blanks around", "  Tue ,  1  Jan  2008  09 : 00 :00  +0000", kNine},
      {"a leap second", "Wed, 31 Dec 2008 23:59:60 +0000", "Thu, 01 Jan 2009 00:00:00 +0000"},
      {"the end of a day", "31 Dec 2007 24:00:00 +0000", "Tue, 01 Jan 2008 00:00:00 +0000"},
      {"a leap day", "29 Feb 2008 09:00:00 +0000", "Fri, 29 Feb 2008 09:00:00 +0000"},
      {"the first day of all", "Mon, 01 Jan 1601 00:00:00 +0000", "Mon, 01 Jan 1601 00:00:00 +0000"},
      {"nothing", "", ""},
      {"words", "yesterday at noon", ""},
      {"day 32 of an unknown month", "32 Foo 2008 09:00:00 +0000", ""},
      {"an unknown month", "1 Foo 2008 09:00:00 +0000", ""},
      {"no such day", "30 Feb 2008 09:00:00 +0000", ""},
      {"no leap year", "29 Feb 2007 09:00:00 +0000", ""},
      {"day 0", "0 Jan 2008 09:00:00 +0000", ""},
      {"no such hour", "1 Jan 2008 25:00:00 +0000", ""},
      {"no such minute", "1 Jan 2008 09:60:00 +0000", ""},
      {"no year", "1 Jan 09:00:00 +0000", ""},
      {"numbers alone", "1199178000", ""},
      {"before all time", "1 Jan 1600 09:00:00 +0000", ""},
      {"after all time", "1 Jan 99999 09:00:00 +0000", ""},
  };
  for (const Case& c : kCases) {
    const std::optional<FILETIME> time = parseInetDate(c.text);
    EXPECT_EQ(time ? formatInetDate(*time) : "", c.written) << c.why << ": " << c.text;
  }
}

TEST(InetDate, CutsFractionsAndRefusesWhatTheCalendarLacks) {
  const std::uint64_t nine = ticksOf(*parseInetDate("1 Jan 2008 09:00:00 +0000"));
  EXPECT_EQ(nine, 128'436'516'000'000'000U);
  EXPECT_EQ(formatInetDate(fileTimeOf(nine + 9'999'999)), "Tue, 01 Jan 2008 09:00:00 +0000");
  EXPECT_EQ(formatInetDate(fileTimeOf(UINT64_MAX)), "");
}

}  // namespace
