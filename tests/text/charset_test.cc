// Charsets: names, conversion of strings and of streams, UTF-7-IMAP, folding to ASCII.
#include <gtest/gtest.h>

#include <string>

#include "text/charset_ascii_fold.h"
#include "text/charset_converter.h"
#include "text/charset_names.h"
#include "text/charset_stream.h"

namespace nalvo::utils {
namespace {

using namespace std::string_literals;

std::string convertTo(std::string_view from, std::string_view to, std::string_view in, bool acceptPartial = false) {
  std::string out;
  EXPECT_TRUE(convertCharset(from, in, to, out, acceptPartial)) << from << " to " << to;
  return out;
}

TEST(CharsetName, IsRepaired) {
  struct Case {
    std::string_view name, repaired;
  };
  static constexpr Case kCases[] = {
      {"KS_C_5601-1987", "cp949"}, {"ISO-8859-1", "cp1252"},       {"ksc5601", "cp949"},    {"us-ascii", "cp1252"},
      {"None", "cp1252"},          {"iso-8859-8-i", "iso-8859-8"}, {"GB2312", "gb18030"},   {"utf-8", "utf-8"},
      {"UTF-7M", "UTF-7M"},        {"Windows-9999", "cp9999"},     {"x-unknown", "cp1252"}, {"", "cp1252"},
      {"koi8-r", "koi8-r"},        {"cp9999", "cp1252"},
  };
  for (const Case& c : kCases) {
    std::string out;
    EXPECT_EQ(normalizeCharsetName(c.name, out), c.name != c.repaired) << c.name;
    EXPECT_EQ(out, c.repaired) << c.name;
  }
}

TEST(CharsetName, EveryOwnNameConvertsBothWays) {
  for (const std::string_view name : kCharsetNames) {
    EXPECT_TRUE(isCharsetSupported(name)) << name;
    EXPECT_EQ(convertTo(name, "utf-8", convertTo("utf-8", name, "Plain & text, 1+1-2")), "Plain & text, 1+1-2") << name;
  }
}

TEST(CharsetConverter, NeverLosesAValueToOneByte) {
  struct Case {
    std::string_view why, from;
    std::string in, out;
  };
  const Case cases[] = {
      {"Latin-1 in UTF-8", "utf-8", "caf\xE9 P\xC5\x99", "caf\u00E9 P\u0159"},
      {"cut UTF-8", "utf-8", "a\xE2\x82", "a\u00E2\u201A"},
      {"overlong and surrogate", "utf-8", "\xC0\xAF \xED\xA0\x80", "\u00C0\u00AF \u00ED\u00A0\u20AC"},
      {"a hole of the page", "cp1252", "a\x81z", "a\u0081z"},
      {"bad pair in Shift_JIS", "shift_jis", "\x93\xFA\x81\x20z", "\u65E5 z"},
      {"far behind the first 8 KiB", "iso-2022-jp", std::string(20000, 'a') + "\x1B$BF|\x1B(Bz",
       std::string(20000, 'a') + "\u65E5z"},
      {"a mark tells the order", "utf-16", "\xFE\xFF\0a\0b"s, "ab"},
      {"no mark", "ucs-2be", "\0a\xD8\x3D\xDE\0"s, "a\U0001F600"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::string out;
    EXPECT_TRUE(convertToCharset(c.from, "utf-8", c.in, out, true));
    EXPECT_EQ(out, c.out);
  }
}

TEST(CharsetConverter, TellsWhatItCannotDo) {
  std::string out = "before";
  EXPECT_FALSE(convertCharset("x-unknown", "a", "utf-8", out, true));
  EXPECT_TRUE(convertToCharset("x-unknown", "utf-8", "\xE9", out, true));
  EXPECT_EQ(out, "\u00E9");
  EXPECT_FALSE(convertToCharset("windows-9999", "utf-8", "a", out, true));

  EXPECT_FALSE(convertCharset("shift_jis", "z\x93", "utf-8", out, false)) << "ends inside a character";
  EXPECT_EQ(out, "z");
  EXPECT_TRUE(convertCharset("shift_jis", "z\x93", "utf-8", out, true));

  try {
    const CharsetConverter converter(std::string(300, 'x'), "utf-8", true, false);
    FAIL() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()).size(), 255U);
    EXPECT_EQ(std::string(error.what()).find("CharsetConverter: failed to initialize string conversion from \"xxx"), 0U);
  }
}

TEST(CharsetConverter, ServesManyTexts) {
  CharsetConverter converter("iso-2022-jp", "utf-8", false, true);
  std::string out;
  ASSERT_TRUE(converter.convert("\x1B$BF|", out)) << "left in the double-byte set";
  EXPECT_EQ(out, "\u65E5");
  ASSERT_TRUE(converter.convert("F|", out));
  EXPECT_EQ(out, "F|");
  ASSERT_TRUE(converter.convert("", out));
  EXPECT_EQ(out, "");
}

TEST(Utf7Imap, IsReadAndWritten) {
  struct Case {
    std::string_view imap, utf8;
  };
  static constexpr Case kCases[] = {
      {"", ""},
      {"&-", "&"},
      {"a&-b", "a&b"},
      {"&AOk-", "\u00E9"},
      {"&2D3eAA-", "\U0001F600"},
      {"&U,BTFw-&ZeVnLIqe-", "\u53F0\u5317\u65E5\u672C\u8A9E"},
      {"~peter/mail/&U,BTFw-/&ZeVnLIqe-", "~peter/mail/\u53F0\u5317/\u65E5\u672C\u8A9E"},
      {"&AOkA6QDp-x\ty", "\u00E9\u00E9\u00E9x\ty"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(convertTo("utf-7-imap", "utf-8", c.imap), c.utf8);
    if (c.imap.find("-&") == std::string_view::npos) {  // one run is never parted in two
      EXPECT_EQ(convertTo("utf-8", "utf-7m", c.utf8), c.imap);
    }
  }
}

TEST(Utf7Imap, MalformedTextGoesOnWhenAccepted) {
  struct Case {
    std::string_view why, in, out;
  };
  static constexpr Case kCases[] = {
      {"cut behind the ampersand", "x&AB", "x&AB"},
      {"no sextet at the start of a run", "&!abc", "&!abc"},
      {"bad third sextet", "&AB!c", "&!c"},
      {"cut in the second unit", "&AOkA", "\u00E9&"},
      {"cut at the third sextet", "&AOkAA", "\u00E9&"},
      {"no end of the run", "&AOk x", "\u00E9&x"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    CharsetConverter converter("utf-7-imap", "utf-8", false, true);
    std::string out;
    EXPECT_TRUE(converter.convert(c.in, out));
    EXPECT_EQ(out, c.out);
    EXPECT_EQ(converter.irreversible(), 1U);
    EXPECT_FALSE(convertToCharset("utf-7-imap", "utf-8", c.in, out, true)) << "something was lost";
    EXPECT_THROW(CharsetConverter("utf-7-imap", "utf-8", true, false).convert(c.in, out), Exception);
  }
}

TEST(StreamConverter, PiecesNeverChangeTheResult) {
  const std::string longText(3000, 'x');
  const std::pair<std::string_view, std::string> cases[] = {
      {"utf-8", "P\u0159\u00ED\u0161t\u00ED \U0001F600 caf\xE9 \xE2\x82 " + longText + "\u20AC\xE2"},
      {"utf-7-imap", "a&ZeVnLIqe-b&-" + longText + "&2D3eAA-"},
      {"iso-2022-jp", "\x1B$BF|K\\\x1B(B" + longText},
      {"cp1250", "\xE8\x9E" + longText},
  };
  for (const auto& [charset, text] : cases) {
    std::string whole;
    ASSERT_TRUE(convertToCharset(charset, "utf-8", text, whole, true));
    StreamConverter stream(charset);
    for (const std::size_t piece : {1U, 2U, 3U, 5U, 16U, 4096U}) {
      for (std::size_t at = 0; at < text.size(); at += piece) {
        stream << text.substr(at, piece) << std::flush;
      }
      EXPECT_EQ(stream.takeOutput(), whole) << charset << " by " << piece;
      stream << text;
      EXPECT_EQ(stream.takeOutput(), whole) << charset << " unflushed";
    }
  }
}

TEST(StreamConverter, FailsAsAsked) {
  EXPECT_THROW(StreamConverter("x-unknown"), Exception);
  StreamConverter quiet("x-unknown", false);
  EXPECT_TRUE(quiet.failed());
  quiet << "abc";
  EXPECT_EQ(quiet.takeOutput(), "");
  StreamConverter imap("utf-7-imap");
  EXPECT_THROW(imap << "a&!bcdefgh" << std::flush, Exception);
}

TEST(AsciiFold, TakesAccentsOff) {
  struct Case {
    std::string_view charset, in, out;
    bool whole;
  };
  static constexpr Case kCases[] = {
      {"utf-8", "\u0160koda \u00DF", "Skoda ss", true},
      {"utf-8", "10 \u20AC", "10 ?", false},
      {"utf-8", "a\U0001F600b", "a?b", false},
      {"iso-8859-2", "\xA9\xEC", "Se", true},
      {"x-unknown", "abc", "", false},
      {"x-unknown", "", "", true},
  };
  for (const Case& c : kCases) {
    std::string out = "before";
    EXPECT_EQ(foldToAscii(c.charset, c.in, out), c.whole) << c.in;
    EXPECT_EQ(out, c.out);
  }
}

}  // namespace
}  // namespace nalvo::utils
