#include "platform/text/text_converter.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/text/localization.h"
#include "platform/text/text.h"

using namespace nalvo;

namespace {

struct Converted {
  std::string text;
  std::size_t unmappable;
};

Converted convert(std::string_view in, CodePage from, CodePage to, std::size_t piece,
                  TextConverter::Policy policy = TextConverter::Policy::Substitute) {
  const auto converter = TextConverter::open(from, to, policy);
  Converted result{};
  for (; !in.empty(); in.remove_prefix(std::min(piece, in.size()))) {
    converter->convert(in.substr(0, piece), result.text);
  }
  converter->finish(result.text);
  result.unmappable = converter->unmappable();
  return result;
}

TEST(CodePages, NamesAndAliasesFindTheirPage) {
  struct Case {
    std::string_view name;
    CodePage page;
  };
  static constexpr Case kCases[] = {
      {"utf-8", 65001},          {"UTF8", 65001},         {"\"utf-8\"", 65001},
      {" iso-8859-1 ", 28591},   {"latin1", 28591},       {"ISO_8859-5:1988", 28595},
      {"iso8859-15", 28605},     {"iso-8859-8-i", 38598}, {"us-ascii", 20127},
      {"ansi_x3.4-1968", 20127}, {"cp1252", 1252},        {"windows-1251", 1251},
      {"x-cp1250", 1250},        {"cp-850", 850},         {"IBM437", 437},
      {"x-sjis", 932},           {"gb2312", 936},         {"x-gbk", 936},
      {"ks_c_5601-1987", 949},   {"euc-kr", 51949},       {"big5-hkscs", 951},
      {"ISO-2022-JP", 50220},    {"csISO2022JP", 50221},  {"iso-2022-kr", 50225},
      {"hz-gb-2312", 52936},     {"gb18030", 54936},      {"unicode-1-1-utf-7", 65000},
      {"tis-620", 28601},        {"koi8-r", 20866},       {"koi8-u", 21866},
      {"x-mac-cyrillic", 10007}, {"macintosh", 10000},    {"utf-16", 1200},
      {"utf-16be", 1201},        {"euc-jp", 51932},
  };
  for (const Case& c : kCases) {
    const Charset* charset = findCharset(c.name);
    ASSERT_NE(charset, nullptr) << c.name;
    EXPECT_EQ(charset->codePage, c.page) << c.name;
  }
  for (const std::string_view name : {"", "x-unknown", "iso-8859-17", "cp99999", "windows-", "\"\""}) {
    EXPECT_EQ(findCharset(name), nullptr) << name;
  }
  EXPECT_EQ(findCharset(std::string(1000, 'a')), nullptr);
  EXPECT_EQ(findCodePage(28591)->windowsCodePage, 1252U);
}

TEST(CodePages, EveryRowConvertsAndIsFoundByItsName) {
  std::size_t rows = 0;
  for (CodePage page = 1; page < 66'000; ++page) {
    const Charset* charset = findCodePage(page);
    if (charset == nullptr) {
      continue;
    }
    ++rows;
    SCOPED_TRACE(page);
    ASSERT_NE(TextConverter::open(page, kUtf16), nullptr);
    ASSERT_NE(TextConverter::open(kUtf16, page), nullptr);
    ASSERT_NE(findCharset(charset->name), nullptr);
    EXPECT_EQ(findCharset(charset->name)->name, charset->name);
    EXPECT_EQ(decodeText(encodeText(u"Az 09", page), page), u"Az 09");
  }
  EXPECT_GT(rows, 100U);
  EXPECT_EQ(TextConverter::open(12345, kUtf8), nullptr);
}

// Texts as published tables give them, in both directions.
TEST(TextConverter, KnowsTheCharsetsOfMail) {
  struct Case {
    std::string_view why;
    CodePage page;
    std::string_view bytes;
    std::u16string_view text;
  };
  static constexpr Case kCases[] = {
      {"holes of Windows-1252", 1252, "\x80\x81\x9D", u"\u20AC\u0081\u009D"},
      {"Latin-1 has controls there", 28591, "\x80\xE9", u"\u0080\u00E9"},
      {"Latin-9 has the euro", 28605, "\xA4", u"\u20AC"},
      {"Cyrillic", 1251, "\xCF\xF0\xE8\xE2\xE5\xF2", u"\u041F\u0440\u0438\u0432\u0435\u0442"},
      {"KOI8-R", 20866, "\xF0\xD2\xC9\xD7\xC5\xD4", u"\u041F\u0440\u0438\u0432\u0435\u0442"},
      {"Hebrew", 38598, "\xF9\xEC\xE5\xED", u"\u05E9\u05DC\u05D5\u05DD"},
      {"Japanese with a vendor's row", 932, "\x93\xFA\x96\x7B\x87\x40\xB1", u"\u65E5\u672C\u2460\uFF71"},
      {"the wave dash of the vendor", 932, "\x81\x60", u"\uFF5E"},
      {"the same in EUC", 51932, "\xC6\xFC\xCB\xDC\xAD\xA1", u"\u65E5\u672C\u2460"},
      {"ISO-2022-JP", 50220, "\x1B$BF|K\\\x1B(Bx", u"\u65E5\u672Cx"},
      {"the unified Hangul code", 949, "\x8C\x63\xC7\xD1", u"\uB620\uD55C"},
      {"GBK under the name gb2312", 936, "\x98\xB7\xD6\xD0", u"\u6A02\u4E2D"},
      {"HZ", 52936, "~{VPND~}", u"\u4E2D\u6587"},
      {"Big5", 950, "\xA4\xA4\xA4\xE5", u"\u4E2D\u6587"},
      {"GB 18030 beyond the BMP", 54936, "\x94\x39\xFC\x36", u"\U0001F600"},
      {"UTF-16 big endian", 1201, std::string_view("\0A\xD8\x3D\xDE\0", 6), u"A\U0001F600"},
  };
  for (const Case& c : kCases) {
    for (const std::size_t piece : {1U, 2U, 3U, 4096U}) {
      SCOPED_TRACE(std::string(c.why) + ", pieces of " + std::to_string(piece));
      const Converted read = convert(c.bytes, c.page, kUtf8, piece);
      EXPECT_EQ(utf8ToWide(read.text), c.text);
      EXPECT_EQ(read.unmappable, 0U);
      const Converted written = convert(wideToUtf8(c.text), kUtf8, c.page, piece);
      EXPECT_EQ(decodeText(written.text, c.page), c.text);
      EXPECT_EQ(written.unmappable, 0U);
    }
    if (c.page != 52936) {  // HZ may end in either of two ways
      EXPECT_EQ(encodeText(c.text, c.page), c.bytes) << c.why;
    }
  }
}

TEST(TextConverter, BadCharactersAreSubstitutedAndCountedOnce) {
  struct Case {
    std::string_view why;
    CodePage from, to;
    std::string_view in, out;
    std::size_t count;
    std::string_view skipped;
  };
  static constexpr Case kCases[] = {
      {"a bad byte to Unicode", kUtf8, kUtf8,
       "a\xFF"
       "b",
       "a\xEF\xBF\xBD"
       "b",
       1, "ab"},
      {"a bad byte to a page", kUtf8, 1252,
       "a\xFF"
       "b",
       "a?b", 1, "ab"},
      {"a pair is one character", kUtf8, 1252,
       "a\xF0\x9F\x98\x80"
       "b",
       "a?b", 1, "ab"},
      {"the same through iconv", kUtf8, 932,
       "a\xF0\x9F\x98\x80"
       "b",
       "a?b", 1, "ab"},
      {"a tag character is not lost in silence", kUtf8, 932,
       "a\xF3\xA0\x81\xA7"
       "b",
       "a?b", 1, "ab"},
      {"cut short at the end", kUtf8, 932, "a\xE2\x82", "a?", 1, "a"},
      {"half a unit", kUtf16, kUtf8, std::string_view("a\0b", 3), "a\xEF\xBF\xBD", 1, "a"},
      {"a lone surrogate", kUtf16, 932,
       std::string_view("\x3D\xD8"
                        "a\0",
                        4),
       "?a", 1, "a"},
      {"8-bit ASCII", kUsAscii, kUtf8, "a\xE9", "a\xEF\xBF\xBD", 1, "a"},
      {"a bad trail byte", 932, kUtf8, "\x93\x20x", "\xEF\xBF\xBD x", 1, " x"},
      {"between Japanese characters", kUtf8, 50220, "\xE6\x97\xA5\xF0\x9F\x98\x80\xE6\x9C\xAC",
       "\x1B$BF|\x1B(B?\x1B$BK\\\x1B(B", 1, "\x1B$BF|K\\\x1B(B"},
  };
  for (const Case& c : kCases) {
    for (const std::size_t piece : {1U, 2U, 4096U}) {
      SCOPED_TRACE(std::string(c.why) + ", pieces of " + std::to_string(piece));
      const Converted substituted = convert(c.in, c.from, c.to, piece);
      EXPECT_EQ(substituted.text, c.out);
      EXPECT_EQ(substituted.unmappable, c.count);
      const Converted skipped = convert(c.in, c.from, c.to, piece, TextConverter::Policy::Skip);
      EXPECT_EQ(skipped.text, c.skipped);
      EXPECT_EQ(skipped.unmappable, 0U);
    }
  }
}

// iconv's own way of leaving characters out stops after 8 KiB.
TEST(TextConverter, ManyBadCharactersInALongText) {
  std::string in;
  for (int i = 0; i < 20'000; ++i) {
    in += "\xE6\x97\xA5\xF0\x9F\x98\x80";
  }
  const Converted result = convert(in, kUtf8, 932, 4096);
  EXPECT_EQ(result.text.size(), 20'000U * 3);
  EXPECT_EQ(result.unmappable, 20'000U);
}

TEST(TextConverter, StartsAnewAfterTheEnd) {
  const auto converter = TextConverter::open(50220, kUtf8);
  std::string out;
  converter->convert("\x1B$BF|", out);
  converter->finish(out);
  converter->convert("F|", out);
  converter->finish(out);
  EXPECT_EQ(out,
            "\xE6\x97\xA5"
            "F|");
}

TEST(TextConverter, TwoEscapesWithNothingBetweenAreNoError) {
  std::size_t bad = 1;
  EXPECT_EQ(decodeText("\x1B$BF|\x1B(B\x1B$BK\\\x1B(B", 50220, &bad), u"\u65E5\u672C");
  EXPECT_EQ(bad, 0U);
}

TEST(TextConverter, ThreadsConvertSideBySideAndObjectsOutliveTheirThread) {
  std::unique_ptr<TextConverter> kept;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&kept, i] {
      for (int round = 0; round < 200; ++round) {
        const CodePage page = round % 2 == 0 ? 932 : 1251;
        EXPECT_EQ(decodeText(encodeText(u"\u0416", page), page), u"\u0416");
      }
      if (i == 0) {
        kept = TextConverter::open(932, kUtf8);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string out;
  kept->convert("\x93\xFA", out);
  EXPECT_EQ(out, "\xE6\x97\xA5");
}

TEST(ByteOrderMark, TheLongerMarkWins) {
  using namespace std::string_view_literals;
  EXPECT_EQ(byteOrderMarkOf("\xFF\xFE\0\0a"sv).codePage, kUtf32);
  EXPECT_EQ(byteOrderMarkOf("\xFF\xFE"
                            "a\0"sv)
                .codePage,
            kUtf16);
  EXPECT_EQ(byteOrderMarkOf("\xEF\xBB\xBF"
                            "a"sv)
                .bytes,
            3U);
  EXPECT_EQ(byteOrderMarkOf("abc"sv).bytes, 0U);
}

TEST(Localization, NumbersWithoutTextAreEmpty) {
  EXPECT_EQ(Localization::getString(214), u"UTC");
  EXPECT_EQ(Localization::getString(224), u" on ");
  EXPECT_EQ(Localization::getString(219), u"");
  EXPECT_EQ(Localization::getString(0), u"");
}

}  // namespace
