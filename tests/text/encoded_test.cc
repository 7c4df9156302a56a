// Encoded words, quoted-printable and Base64 of strings.
#include <gtest/gtest.h>

#include <string>

#include "platform/text/text.h"
#include "tests/support/cpu_time.h"
#include "text/encoded_strings.h"
#include "text/encoded_words.h"

namespace nalvo::utils {
namespace {

using namespace std::string_literals;

TEST(EncodedWords, AreDecoded) {
  struct Case {
    std::string_view why, in, out;
    std::string_view charset = "utf-8";
  };
  static constexpr Case kCases[] = {
      {"underscore", "=?utf-8?Q?a_b?=", "a b"},
      {"underscore in Base64 too", "=?utf-8?B?YWJj_?=", "abc"},
      {"blank between words", "=?utf-8?B?YWI=?= \r\n\t=?utf-8?B?Yw==?=", "abc"},
      {"text between words", "x =?utf-8?Q?a?= y =?utf-8?Q?b?= z", "x a y b z"},
      {"blank that parts no words", "=?utf-8?Q?a?= =?bad", "a =?bad"},
      {"language tag", "=?iso-8859-2*cs?Q?=E1?=", "\u00E1"},
      {"the text begins with =", "=?u?Q?=E1?=", "\u00E1"},
      {"no end", "=?bad", "=?bad"},
      {"no end behind the text", "=?utf-8?Q?abc", "=?utf-8?Q?abc"},
      {"two starts", "=?=?utf-8?Q?a?=", "=?a"},
      {"long encoding", "=?utf-8?QB?a?= b", "=?utf-8?QB?a?= b"},
      {"unknown letter leaves the text", "=?utf-8?x?a=41_?=", "a=41 "},
      {"unknown charset", "=?x-none?Q?=E9?=", "\u00E9"},
      {"a character across words", "=?utf-8?B?w6Q=?= =?utf-8?B?w7bD?= =?UTF-8?Q?=BC?=", "\u00E4\u00F6\u00FC"},
      {"words of two charsets", "=?utf-8?Q?=C3=A4?= =?iso-8859-1?Q?=E4?=", "\u00E4\u00E4"},
      {"valid UTF-8 stays, strays are Windows-1252", "P\u0159\u00ED\u0161t\u00ED =? kolo \xE9",
       "P\u0159\u00ED\u0161t\u00ED =? kolo \u00E9"},
      {"a character in front of a question mark", "=?\u00E9? x", "=?\u00E9? x"},
      {"another charset outside", "\xF8 =?utf-8?Q?=C3=A4?= \xF8", "\u0159 \u00E4 \u0159", "iso-8859-2"},
      {"NUL goes", "=?utf-8?B?YQBi?=", "ab"},
      {"incomplete Base64 group is dropped", "[=?utf-8?B?YWI?=]", "[]"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(decodeMimeWords(c.in, c.charset), c.out);
  }
  EXPECT_EQ(decodeMimeWord("=C4=8D_", "utf-8*cs", 'q'), "\u010D ");
}

// Every candidate looks for an end that isn't there.
TEST(EncodedWords, CostStaysLinear) {
  std::string text;
  for (int i = 0; i < 200000; ++i) {
    text += "=?x?Q?y ";
  }
  const double start = test::cpuSeconds();
  EXPECT_EQ(decodeMimeWords(text), text);
  EXPECT_LT(test::cpuSeconds() - start, 5.0);
}

TEST(QuotedPrintableString, IsDecoded) {
  struct Case {
    std::string_view in, out;
  };
  static constexpr Case kCases[] = {
      {"a=\r\nb", "ab"}, {"a=  \r\nb", "ab"},  {"a=\nb", "ab"},  {"a=  b", "a=  b"}, {"=4", "=4"}, {"=", "="},
      {"a= \t", "a="},   {"=c3=A9", "\u00E9"}, {"=\rb", "=\rb"}, {"==41", "=A"},     {"", ""},     {"a\r\nb", "a\r\nb"},
  };
  for (const Case& c : kCases) {
    std::string out = "before";
    EXPECT_TRUE(decodeQuotedPrintable(c.in, out));
    EXPECT_EQ(out, c.out) << c.in;
  }
  std::string text = "a=41\0b"s;
  EXPECT_TRUE(decodeQuotedPrintable(text, text)) << "in place";
  EXPECT_EQ(text, "aA") << "a NUL ends it";
}

TEST(Base64String, IsDecoded) {
  struct Case {
    std::string_view in, out;
    bool clean;
  };
  static constexpr Case kCases[] = {
      {"YWJj", "abc", true},     {"YW\r\nJ j\t", "abc", true},
      {"YWI=", "ab", true},      {"YQ==", "a", true},
      {"YWJjYW", "abc", true},   {"Y-WJj", "abc", false},
      {"YQ==YWI=", "aab", true}, {"====", "", true},
      {"\xD9WJj", "abc", true},  {"", "", true},
  };
  for (const Case& c : kCases) {
    std::string out = "before";
    EXPECT_EQ(decodeBase64(c.in, out), c.clean) << c.in;
    EXPECT_EQ(out, c.out) << c.in;
  }
}

TEST(Trim, TakesTheCharactersGiven) {
  EXPECT_EQ(trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(trim("xxaxbx", "x"), "axb");
  EXPECT_EQ(trim(" \r\n"), "");
}

}  // namespace
}  // namespace nalvo::utils
