#include "mime/header_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

TEST(HeaderText, ReadsWhatSendersWrite) {
  struct Case {
    std::string_view why, raw;
    std::u16string_view text;
    std::string_view charset = {};
  };
  static constexpr Case kCases[] = {
      {"plain", "Re: lunch", u"Re: lunch"},
      {"Q", "=?iso-8859-1?q?Andr=E9_?= Pirard", u"Andr\u00E9  Pirard"},
      {"B", "=?utf-8?B?w6TDtsO8?=", u"\u00E4\u00F6\u00FC"},
      {"blanks between words go, others stay", "a =?utf-8?Q?b?= \t =?utf-8?Q?c?=  d", u"a bc  d"},
      {"words without blanks", "x=?utf-8?Q?a?==?utf-8?Q?b?=y", u"xaby"},
      {"a character cut across words", "=?utf-8?B?w6Q=?= =?utf-8?B?w7bD?= =?utf-8?B?vA==?=", u"\u00E4\u00F6\u00FC"},
      {"cut across Q and B", "=?utf-8?Q?=C3?= =?utf-8?B?pA==?=", u"\u00E4"},
      {"shift state across words", "=?iso-2022-jp?B?GyRCRnw=?= =?iso-2022-jp?B?S1wbKEI=?=", u"\u65E5\u672C"},
      {"shift state ends in each word", "=?iso-2022-jp?B?GyRCRnwbKEI=?= =?iso-2022-jp?B?GyRCS1wbKEI=?=", u"\u65E5\u672C"},
      {"Base64 cut within a group", "=?utf-8?B?YWJjZ?= =?utf-8?B?GVm?=", u"abcdef"},
      {"no padding", "=?utf-8?B?YWI?= =?utf-8?B?Yw?=", u"abc"},
      {"padding in the middle", "=?utf-8?B?YQ==Yg==?=", u"ab"},
      {"junk in Base64", "=?utf-8?B?YW-J*j?=", u"abc"},
      {"language", "=?us-ascii*en?Q?hi?=", u"hi"},
      {"lower-case letter and codes", "=?UTF-8?q?=c3=a4?=", u"\u00E4"},
      {"blanks in Q", "=?utf-8?Q?a b?=", u"a b"},
      {"a bare question mark", "=?utf-8?Q?why?=20not?=20me?=", u"why? not? me"},
      {"a question mark ends the text",
       "=?utf-8?Q?what?"
       "?=",
       u"what?"},
      {"an empty word",
       "a=?utf-8?Q?"
       "?=b",
       u"ab"},
      {"no end", "=?utf-8?Q?abc", u"=?utf-8?Q?abc"},
      {"no encoding of that name", "=?utf-8?X?abc?=", u"=?utf-8?X?abc?="},
      {"unknown charset, valid UTF-8", "=?x-none?Q?=C3=A4?=", u"\u00E4"},
      {"unknown charset, other bytes", "=?x-none?Q?=E4?=", u"\u00E4"},
      {"us-ascii that is none", "=?us-ascii?Q?=C3=A4?=", u"\u00E4"},
      {"Windows quotes under Latin-1", "=?iso-8859-1?Q?=93a=94?=", u"\u201Ca\u201D"},
      {"raw UTF-8", "\xC3\xA4", u"\u00E4"},
      {"raw UTF-8 whatever the charset", "\xC3\xA4", u"\u00E4", "iso-8859-1"},
      {"raw in the message's charset", "\xCF\xF0", u"\u041F\u0440", "windows-1251"},
      {"raw that its charset can't read", "\x93\x20", u"\u201C ", "shift_jis"},
      {"raw without a charset", "\xE4\x80", u"\u00E4\u20AC"},
      {"raw beside words is judged as a whole", "\xC3\xA4 =?utf-8?Q?b?= \xE4", u"\u00C3\u00A4 b \u00E4"},
      {"raw escapes", "\x1B$BF|\x1B(B", u"\u65E5", "iso-2022-jp"},
      {"bytes cut short", "=?utf-8?Q?a=C3?=", u"a\uFFFD"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(wideToUtf8(decodeHeaderText(c.raw, findCharset(c.charset))), wideToUtf8(c.text)) << c.why;
  }
}

TEST(HeaderText, UnfoldTakesLineEndsAndKeepsBlanks) {
  EXPECT_EQ(unfold("  a\r\n  b\n\tc \r\n"), "a  b\tc");
  EXPECT_EQ(unfold("a\rb"), "a\rb");
  EXPECT_EQ(unfold("\r\n "), "");
}

TEST(HeaderText, WritesByTheBook) {
  struct Case {
    std::string_view why;
    std::u16string_view text;
    std::string_view charset;
    std::string_view raw;
  };
  static constexpr Case kCases[] = {
      {"plain", u"Re: lunch  at 1", "utf-8", "Re: lunch  at 1"},
      {"only what needs it", u"Caf\u00E9 at one", "iso-8859-1", "=?iso-8859-1?Q?Caf=E9?= at one"},
      {"neighbours share a word", u"\u00E9t\u00E9 \u00E9", "iso-8859-1", "=?iso-8859-1?B?6XTpIOk=?="},
      {"UTF-8 when the charset lacks it", u"\u20AC", "iso-8859-1", "=?utf-8?B?4oKs?="},
      {"no charset", u"\u00E9", "", "=?utf-8?B?w6k=?="},
      {"blanks around", u" a ", "utf-8", "=?utf-8?Q?_a_?="},
      {"a line break", u"a\r\nX: b", "utf-8", "=?utf-8?B?YQ0KWDo=?= b"},
      {"looks encoded", u"=?utf-8?Q?a?=", "utf-8", "=?utf-8?B?PT91dGYtOD9RP2E/PQ==?="},
      {"Japanese", u"\u65E5\u672C", "iso-2022-jp", "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?="},
      {"empty", u"", "utf-8", ""},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(encodeHeaderText(c.text, findCharset(c.charset), {9}), c.raw) << c.why;
  }
}

TEST(HeaderText, LinesAndWordsKeepTheirLimits) {
  std::u16string text;
  for (int i = 0; i < 300; ++i) {
    text += i % 7 == 0 ? u" plain " : u"\U0001F600\u00E4";
  }
  for (const std::string_view charset : {"utf-8", "gb18030", "iso-8859-1"}) {
    const std::string raw = encodeHeaderText(text, findCharset(charset), {9});
    std::size_t column = 9;
    for (std::size_t at = 0; at < raw.size();) {
      const std::size_t end = std::min(raw.find("\r\n", at), raw.size());
      EXPECT_LE(column + end - at, 76U);
      EXPECT_TRUE(at == 0 || raw[at] == ' ');
      column = 0;
      at = end + 2;
    }
    // Each word alone holds whole characters.
    for (std::size_t at = raw.find("=?"); at != std::string::npos; at = raw.find(" =?", at + 1)) {
      const std::string word =
          raw.substr(at, raw.find("?= ", at) == std::string::npos ? std::string::npos : raw.find("?=", at + 10) + 2 - at);
      EXPECT_LE(trim(word).size(), 75U);
      EXPECT_EQ(decodeHeaderText(word, nullptr).find(u'\uFFFD'), std::u16string::npos) << word;
    }
    EXPECT_EQ(decodeHeaderText(unfold(raw), nullptr), text);
  }
}

TEST(HeaderText, AnyTextComesBack) {
  std::mt19937 random(7);
  static constexpr std::u16string_view kParts[] = {
      u"a",      u" ",      u"  ",           u"\t",         u"\r\n", u"=?", u"?=", u"=?utf-8?Q?x?=",
      u"\u00E9", u"\u20AC", u"\u65E5\u672C", u"\U0001F600", u"word", u"_",  u"?",  u"=20",
      u"\u0080", u"\uFF71"};
  for (int round = 0; round < 3000; ++round) {
    std::u16string text;
    for (std::size_t parts = random() % 12; parts > 0; --parts) {
      text += kParts[random() % std::size(kParts)];
    }
    for (const std::string_view charset : {"utf-8", "iso-8859-1", "shift_jis", "iso-2022-jp", "windows-1258", "utf-7"}) {
      for (const HeaderContext context : {HeaderContext::Text, HeaderContext::Phrase}) {
        const std::string raw = encodeHeaderText(text, findCharset(charset), {random() % 80, 76}, context);
        ASSERT_TRUE(isAscii(raw));
        ASSERT_EQ(wideToUtf8(decodeHeaderText(unfold(raw), nullptr)), wideToUtf8(text)) << charset << ": " << raw;
      }
    }
  }
}

TEST(FoldHeader, FoldsAtBlanksAndCutsOnlyWhatNoLineHolds) {
  const std::string longWord(1200, 'x');
  struct Case {
    std::string_view why;
    std::string text;
    HeaderFold fold;
    std::string folded;
  };
  const Case kCases[] = {
      {"fits", "a b", {9}, "a b"},
      {"at the limit", "aaaa bbbb", {0, 9}, "aaaa bbbb"},
      {"one above", "aaaa bbbb", {0, 8}, "aaaa\r\n bbbb"},
      {"blanks stay", "aaaa \t bbbb", {0, 8}, "aaaa\r\n \t bbbb"},
      {"a first word moves when that helps", "<abcdefgh>", {12, 20}, "\r\n <abcdefgh>"},
      {"and stays when it doesn't", "<abcdefghijklmnopqrst>", {12, 20}, "<abcdefghijklmnopqrst>"},
      {"no bare line ends", std::string("a\r\nX: b\0c", 9), {9}, "a  X: b c"},
      {"bare LF text", "aaaa bbbb", {0, 8, "\n"}, "aaaa\n bbbb"},
      {"nothing but blanks", " \t ", {9}, ""},
      {"too long for a line", longWord, {0}, longWord.substr(0, 998) + "\r\n " + longWord.substr(998)},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(foldHeader(c.text, c.fold), c.folded) << c.why;
  }
}

}  // namespace
