#include "platform/text/text.h"

#include <gtest/gtest.h>

#include <string>

using namespace nalvo;

namespace {

std::string everyByte() {
  std::string bytes;
  for (int i = 0; i < 256; ++i) {
    bytes.push_back(static_cast<char>(i));
  }
  return bytes;
}

TEST(AnsiText, EveryByteSurvivesUtf8) {
  const std::string bytes = everyByte();
  const std::u16string wide = ansiToWide(bytes);
  EXPECT_EQ(wide[0x80], u'\u20AC');
  EXPECT_EQ(wide[0x81], u'\u0081');
  EXPECT_EQ(wideToAnsi(utf8ToWide(wideToUtf8(wide))), bytes);
}

TEST(AnsiText, AnythingElseIsOneQuestionMark) {
  EXPECT_EQ(wideToAnsi(u"a\u0100b"), "a?b");
  EXPECT_EQ(wideToAnsi(u"a\U0001F600b"), "a?b");
  EXPECT_EQ(wideToAnsi(std::u16string{u'a', u'\xD83D'}), "a?");
}

TEST(AnsiText, UpperCaseStaysInThePage) {
  struct Case {
    std::string_view why, text, upper;
  };
  static constexpr Case kCases[] = {
      {"ASCII", "smtp:a@b.c", "SMTP:A@B.C"},
      {"Latin letters", "\xE0\xE9\xF6\xFE", "\xC0\xC9\xD6\xDE"},
      {"letters of the Windows rows", "\x9A\x9C\x9E\xFF", "\x8A\x8C\x8E\x9F"},
      {"no capital in the page", "\xDF\xB5\x83\xF7\xD7", "\xDF\xB5\x83\xF7\xD7"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(ansiToUpper(c.text), c.upper) << c.why;
  }
}

TEST(Utf8, BadSequencesBecomeOneReplacementForEachPiece) {
  struct Case {
    std::string_view why, bytes;
    std::u16string_view wide;
  };
  static constexpr Case kCases[] = {
      {"one of each length", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"a\u00E9\u20AC\U0001F600"},
      {"the ends of the ranges", "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", u"\uD7FF\uE000\U0010FFFF"},
      {"a lone continuation", "\x80z", u"\uFFFDz"},
      {"an overlong slash", "\xC0\xAF", u"\uFFFD\uFFFD"},
      {"an encoded surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"above the last character", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"a sequence cut short", "\xE2\x82z", u"\uFFFDz"},
      {"cut short at the end", "z\xF0\x9F\x98", u"z\uFFFD"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(utf8ToWide(c.bytes), c.wide);
    const bool good = c.wide.find(u'\uFFFD') == std::u16string_view::npos;
    EXPECT_EQ(isValidUtf8(c.bytes), good);
    EXPECT_EQ(utf8ToWideStrict(c.bytes).has_value(), good);
    // The test for eight bytes at once must not hide a bad byte behind them.
    EXPECT_EQ(isValidUtf8("0123456789" + std::string(c.bytes)), good);
  }
}

TEST(Utf8, LoneSurrogatesBecomeReplacements) {
  EXPECT_EQ(wideToUtf8(std::u16string{u'\xD83D', u'x', u'\xDE00'}), "\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(AsciiText, CaseAndBlanksKnowNothingBeyondAscii) {
  EXPECT_TRUE(equalsIgnoreCase("Content-TYPE", "content-type"));
  EXPECT_FALSE(equalsIgnoreCase("\xC4", "\xE4"));
  EXPECT_FALSE(equalsIgnoreCase(std::u16string_view(u"\u00C4"), std::u16string_view(u"\u00E4")));
  EXPECT_FALSE(equalsIgnoreCase("a", "ab"));
  EXPECT_TRUE(startsWithIgnoreCase("PAR:x", "par:"));
  EXPECT_FALSE(startsWithIgnoreCase("pa", "par:"));
  EXPECT_EQ(trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(trim("  "), "");
  EXPECT_EQ(trim(std::u16string_view(u" \u00A0 ")), u"\u00A0");
}

}  // namespace
