#include "host/structure_words.h"

#include <gtest/gtest.h>

namespace nalvo::test {
namespace {

// Bytes of a text in hexadecimal; blanks part it.
std::string bytes(std::string_view hex) {
  std::string result;
  std::string digits;
  for (const char c : hex) {
    if (c != ' ') {
      digits += c;
    }
    if (digits.size() == 2) {
      result += static_cast<char>(std::stoi(digits, nullptr, 16));
      digits.clear();
    }
  }
  return result;
}

TEST(StructureWords, TellHowAnItemRepeats) {
  struct Case {
    const char* words;
    const char* rule;  // from the frequency to the pattern's own fields
    const char* end;   // type, count, first day of the week, deleted, modified, start, end
  };
  const char* kNever = "23200000 0A000000 00000000 00000000 00000000 00000000 DF80E95A";
  const Case kCases[] = {
      {"every day, without end", "0A20 0000 0000 00000000 A0050000 00000000", kNever},
      {"every 3 days after it is done, without end", "0A20 0000 0000 00000000 E0100000 01000000", kNever},
      {"every 2 weeks on Monday and Thursday, 10 times, 1 moved, 2 deleted",
       "0B20 0100 0000 00000000 02000000 00000000 12000000",
       "22200000 0A000000 01000000 03000000 A0050000 400B0000 E0100000 01000000 A0050000 00000000 E0100000"},
      {"every week on Monday, Tuesday, Wednesday, Thursday, Friday, Saturday and Sunday, without end",
       "0B20 0100 0000 00000000 01000000 00000000 7F000000", kNever},
      {"every month on day 15, until 2008-03-05", "0C20 0200 0000 00000000 01000000 00000000 0F000000",
       "21200000 0A000000 00000000 00000000 00000000 20B5C30C 20B5C30C"},
      {"every 2 months on the last day of work, once", "0C20 0300 0000 00000000 02000000 00000000 3E000000 05000000",
       "22200000 01000000 00000000 00000000 00000000 00000000 00000000"},
      {"every year on 1 March, without end", "0D20 0200 0000 E04B0100 0C000000 00000000 01000000", kNever},
      {"every 2 years on the fourth Thursday of November, without end",
       "0D20 0300 0000 C0AE0600 18000000 00000000 10000000 04000000", kNever},
      {"unreadable", "0D20 0900 0000 C0AE0600 18000000 00000000", kNever},
      {"unreadable", "0A20 0000 0000 00000000 A0050000 00000000",
       "23200000 0A000000 00000000 FFFFFFFF 00000000 00000000 DF80E95A"},
  };
  for (const Case& c : kCases) {
    const std::string blob = bytes("04300430") + bytes(c.rule) + bytes(c.end);
    EXPECT_EQ(host::recurrenceWords(blob), c.words);
    for (std::size_t length = 0; length < blob.size(); ++length) {
      EXPECT_EQ(host::recurrenceWords(blob.substr(0, length)), "unreadable") << c.words << length;
    }
  }
}

TEST(StructureWords, TellOffsetsAndChangesOfAZone) {
  EXPECT_EQ(
      host::zoneWords(bytes("2C010000 00000000 C4FFFFFF"
                            "0000 0000 0B00 0000 0100 0200 0000 0000 0000"
                            "0000 0000 0300 0000 0200 0200 0000 0000 0000")),
      "UTC-05:00, daylight saving UTC-04:00 from the second Sunday of March at 02:00 to the first Sunday of November at "
      "02:00");
  EXPECT_EQ(host::zoneWords(bytes("B6FEFFFF") + std::string(44, '\0')), "UTC+05:30, no daylight saving");
  EXPECT_EQ(host::zoneWords(std::string(47, '\0')), "unreadable");
  EXPECT_EQ(host::zoneWords(std::string(48, '\xFF')).substr(0, 9), "UTC+00:02");
}

}  // namespace
}  // namespace nalvo::test
