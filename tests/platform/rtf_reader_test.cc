#include "platform/text/rtf/rtf_reader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/text/rtf/html_encoder.h"
#include "platform/text/rtf/rtf_writer.h"
#include "platform/text/text.h"
#include "tests/support/cpu_time.h"

namespace nalvo {
namespace {

using Rendering = RtfReader::Rendering;

std::u16string read(std::string_view rtf, Rendering rendering = Rendering::Text, std::size_t piece = SIZE_MAX) {
  RtfReader reader(rendering);
  std::u16string text;
  for (std::size_t at = 0; at < rtf.size(); at += std::min(piece, rtf.size() - at)) {
    reader.update(rtf.substr(at, piece), text);
  }
  reader.finish(text);
  return text;
}

std::string write(std::u16string_view text, std::vector<std::uint32_t> blanks = {}, std::size_t piece = SIZE_MAX) {
  RtfWriter writer(std::move(blanks));
  std::string rtf = writer.head();
  for (std::size_t at = 0; at < text.size(); at += std::min(piece, text.size() - at)) {
    writer.update(text.substr(at, piece), rtf);
  }
  writer.finish(rtf);
  return rtf;
}

struct Case {
  std::string_view why;
  std::string_view rtf;
  std::u16string_view text;
};

constexpr std::string_view kFonts =
    "{\\fonttbl{\\f0\\fcharset0 Arial;}{\\f1\\fcharset204 Arial;}{\\f2\\fcharset2 Symbol;}{\\f3\\fcharset128 Mincho;}"
    "{\\f4\\fcharset134 Song;}{\\f5 Plain;}}";

void expectTexts(const Case* cases, std::size_t count, Rendering rendering) {
  for (std::size_t i = 0; i < count; ++i) {
    SCOPED_TRACE(cases[i].why);
    std::string rtf(cases[i].rtf);
    if (const std::size_t at = rtf.find("FONTS"); at != std::string::npos) {
      rtf.replace(at, 5, kFonts);
    }
    const std::u16string text = read(rtf, rendering);
    EXPECT_EQ(wideToUtf8(text), wideToUtf8(cases[i].text));
    // Tokens and characters may be cut anywhere.
    EXPECT_TRUE(read(rtf, rendering, 1) == text);
    EXPECT_TRUE(read(rtf, rendering, 7) == text);
  }
}

TEST(RtfReader, GivesTheTextThatAReaderSees) {
  static constexpr Case kCases[] = {
      {"the last paragraph mark is no line end", R"({\rtf1 a\par b\par})", u"a\r\nb"},
      {"but an empty last paragraph is one", R"({\rtf1 a\par\par})", u"a\r\n"},
      {"a line break at the end stays", R"({\rtf1 a\line})", u"a\r\n"},
      {"a backslash at the end of a line is \\par", "{\\rtf1 a\\\nb}", u"a\r\nb"},
      {"line ends mean nothing", "{\\rtf1 a\r\nb}", u"ab"},
      {"destinations without text",
       R"({\rtf1{\info{\title t}}{\*\generator g;}{\colortbl;\red1;}{\stylesheet{\s1 n;}}{\pict 0a0b}{\*\x{y}z}a})", u"a"},
      {"data between braces", "{\\rtf1 a{\\pict\\bin5 }}{}}}b}", u"ab"},
      {"a field shows its result", R"({\rtf1{\field{\*\fldinst HYPERLINK "u"}{\fldrslt{link}}}})", u"link"},
      {"hidden and deleted text", R"({\rtf1 a{\v b}{\deleted c}\v d\v0 e\v f\plain g})", u"aeg"},
      {"a table", R"({\rtf1\trowd a\cell b\cell\row c\cell d\cell\row e})", u"a\tb\r\nc\td\r\ne"},
      {"a table ends the text", R"({\rtf1 a\cell\row})", u"a"},
      {"special characters", R"({\rtf1 \lquote a\rquote\~\emdash\bullet\_\-\tab\{\}\\})", u"‘a’\u00A0—•\u2011\u00AD\t{}\\"},
      {"both halves of the same text", R"({\rtf1{\upr{a}{\*\ud{\u1040 ?}}}b})", u"\u0410b"},
      {"text of a drawing", R"({\rtf1{\shp{\*\shpinst{\sp{\sn n}{\sv v}}{\shptxt a}}{\shprslt a}}})", u"a"},
      {"behind the last brace", "{\\rtf1 a}b{c}", u"a"},
      {"no end", R"({\rtf1 {\b a)", u"a"},
      {"a word is cut", R"({\rtf1 a\par b\ta)", u"a\r\nb"},
      {"no RTF", "a { b } c", u"a  b  c"},
      {"too many closing braces", "}}a", u"a"},
      {"a hyphen that is no sign", R"({\rtf1 \par-a\b -b})", u"\r\n-a-b"},
      {"digits that are none", R"({\rtf1 a\'zzb\'4})", u"azzb"},
      {"not for readers of RTF", R"({\rtf1\fromhtml1{\*\htmltag <b>}\htmlrtf{\b\htmlrtf0 a\htmlrtf}\htmlrtf0})", u"a"},
  };
  expectTexts(kCases, std::size(kCases), Rendering::Text);
}

TEST(RtfReader, BytesAreInTheCodePageOfTheirFont) {
  static constexpr Case kCases[] = {
      {"the page of the text", R"({\rtf1\ansicpg1251 \'e4})", u"д"},
      {"without any", R"({\rtf1 \'e4\'80})", u"ä€"},
      {"an impossible page", R"({\rtf1\ansicpg1200 \'e4})", u"ä"},
      {"Macintosh", R"({\rtf1\mac \'8a})", u"ä"},
      {"font by font", R"({\rtf1\ansicpg1250 FONTS\f0 \'e6\f1 \'e4{\f5 \'e6}\'e4\plain\'e6})", u"æдćдæ"},
      {"the default font", R"({\rtf1\deff1 FONTS\'e4})", u"д"},
      {"a character of two bytes, one as it is", R"({\rtf1 FONTS\f3\'83A\'83\b\'42})", u"アィ"},
      {"half a character", R"({\rtf1 FONTS\f4\'b0\f0 a})", u"\uFFFDa"},
      {"UTF-8 bytes", "{\\rtf1\\ansicpg65001 \\'c3\\'a4\xC3\xA4}", u"ää"},
      {"UTF-8 in name alone", R"({\rtf1\ansicpg65001 \'a0\par x})", u"\u00A0\r\nx"},
      {"a page of a font that does not exist", R"({\rtf1\ansicpg1251{\fonttbl{\f0\cpg6 A;}{\f1\cpg1200 B;}}\f0\'e4\f1\'e4})",
       u"дд"},
      {"a symbol", R"({\rtf1 FONTS\f2\'b7\u-3913 ?})", u"··"},
      {"a font table without groups", R"({\rtf1{\fonttbl\f0\fcharset0 A;\f1\fcharset204 B;}\f1\'e4})", u"д"},
  };
  expectTexts(kCases, std::size(kCases), Rendering::Text);
}

TEST(RtfReader, UnicodeSkipsWhatStandsForIt) {
  static constexpr Case kCases[] = {
      {"a byte", R"({\rtf1 \u1076\'e4\u1076 ?x})", u"ддx"},
      {"a negative number", R"({\rtf1 \u-257?x})", u"\uFEFFx"},
      {"a pair in two", R"({\rtf1 \u-10179?\u-8704?})", u"\U0001F600"},
      {"a pair in one", R"({\rtf1 \u128512?})", u"\U0001F600"},
      {"none", R"({\rtf1\uc0 \u1076 ?{\uc2\u1076 ab}\u1076 ?})", u"д?дд?"},
      {"several bytes", R"({\rtf1\uc2 \u1076\'a1\'a2x})", u"дx"},
      {"nothing, but the end of the group", R"({\rtf1{\u1076}x})", u"дx"},
      {"nothing, but a word", R"({\rtf1\u1076\par x\u8212\emdash y})", u"д\r\nx—y"},
      {"beyond all", R"({\rtf1 \u99999999?x})", u"x"},
  };
  expectTexts(kCases, std::size(kCases), Rendering::Text);
}

TEST(RtfReader, HtmlComesBackAsItWas) {
  static constexpr Case kCases[] = {
      {"tags, text, and what is for RTF alone",
       R"({\rtf1\ansi\fromhtml1 {\*\htmltag64 <p a="\{b\}">}\htmlrtf{\b\htmlrtf0 x{\*\htmltag4 \par}\htmlrtf\par}\htmlrtf0 {\*\htmltag72 </p>}})",
       u"<p a=\"{b}\">x\r\n</p>"},
      {"characters in text and in tags", R"({\rtf1\fromhtml1 \lquote\~\bullet\tab\line{\*\htmltag \lquote\tab\'e4}})",
       u"&lsquo;&nbsp;&bull;\t\r\n‘\tä"},
      {"not rewritten for MIME", R"({\rtf1\fromhtml1{\*\mhtmltag <a>}{\*\htmltag <b>}{\pntext x\tab}})", u"<b>"},
      {"fonts count where text does not", R"({\rtf1\fromhtml1 FONTS\htmlrtf{\f1\htmlrtf0 \'e4\htmlrtf}\htmlrtf0\'e4})",
       u"дä"},
      {"hidden text is text", R"({\rtf1\fromhtml1 {\v a}\par})", u"a\r\n"},
  };
  expectTexts(kCases, std::size(kCases), Rendering::EncapsulatedHtml);
  EXPECT_EQ(read(R"({\rtf1\fromtext a\htmlrtf b\htmlrtf0\par c\par})", Rendering::EncapsulatedText), u"a\r\nc");
}

TEST(RtfReader, HeadTellsTheNativeBody) {
  struct Head {
    std::string_view rtf;
    RtfNativeBody kind;
  };
  static constexpr Head kHeads[] = {
      {R"({\rtf1\ansi\ansicpg1252\fromhtml1 \deff0)", RtfNativeBody::Html},
      {R"({\rtf1\ansi\fromtext \deff0)", RtfNativeBody::PlainText},
      {R"({\rtf1\ansi\deff0)", RtfNativeBody::Rtf},
      {R"({\rtf1\fromhtml0)", RtfNativeBody::Rtf},
      {R"({\rtf1\ansi text\fromhtml1 )", RtfNativeBody::Rtf},
      {R"({\rtf1\a\b\c\d\e\f\g\h\fromhtml1 )", RtfNativeBody::Rtf},
      {R"({\rtf1\a\b\c\d\e\f\g\fromhtml1 )", RtfNativeBody::Html},
      {"", RtfNativeBody::Rtf},
  };
  for (const Head& head : kHeads) {
    EXPECT_EQ(rtfNativeBody(head.rtf), head.kind) << head.rtf;
  }
}

TEST(RtfWriter, TextComesBackUnitForUnit) {
  std::u16string all;
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    if (unit != u'\r' && unit != u'\n') {
      all.push_back(static_cast<char16_t>(unit));
    }
  }
  for (const std::u16string& text : {all, std::u16string(), std::u16string(u"a"), std::u16string(u"a\r\n"),
                                     std::u16string(u"\r\n\r\n"), std::u16string(u" {\\par}\t\U0001F600 \r\n x \v\f")}) {
    const std::string rtf = write(text);
    EXPECT_TRUE(isAscii(rtf));
    EXPECT_EQ(write(text, {}, 1), rtf);
    EXPECT_TRUE(read(rtf) == text);
    EXPECT_TRUE(read(rtf, Rendering::EncapsulatedText) == text);
  }
  EXPECT_EQ(read(write(u"a\rb\nc\r\n\r")), u"a\r\nb\r\nc\r\n\r\n");
}

TEST(RtfWriter, BlanksGoInFrontOfTheirPlaces) {
  EXPECT_EQ(read(write(u"abcdefgh", {3, 4})), u"abc d efgh");
  EXPECT_EQ(read(write(u"a\r\nb", {2, 2, 99})), u"a\r\n  b ");
  EXPECT_EQ(read(write(u"", {0})), u" ");
}

TEST(HtmlEncoder, WritesReferencesForWhatThePageLacks) {
  const auto encode = [](CodePage page, std::u16string_view html, std::size_t piece) {
    HtmlEncoder encoder(page);
    std::string bytes;
    for (std::size_t at = 0; at < html.size(); at += piece) {
      encoder.update(html.substr(at, piece), bytes);
    }
    encoder.finish(bytes);
    return bytes;
  };
  const std::u16string html = u"<p>ä\u0434\U0001F600</p>\xD83D" + std::u16string(300, u'x') + u"\U0001F600";
  for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, std::size_t{1000}}) {
    EXPECT_EQ(encode(1252, html, piece), "<p>\xE4&#1076;&#128512;</p>&#65533;" + std::string(300, 'x') + "&#128512;");
    EXPECT_EQ(encode(65001, u"\u0434\U0001F600", piece), "\xD0\xB4\xF0\x9F\x98\x80");
    EXPECT_EQ(encode(50220, u"a\u65E5b", piece).substr(0, 4), "a\x1B$B");
  }
}

// Ten times the braces, words, fonts and fallbacks may cost some ten times the time; the square would be a hundred.
TEST(RtfReader, HostileTextsCostLinearTime) {
  static constexpr std::string_view kPatterns[] = {"{",
                                                   "{\\f1 ",
                                                   "\\u1?",
                                                   "\\'e4\\f1 \\'e4\\f2 ",
                                                   "{\\*\\htmltag ",
                                                   "\\uc32767\\u1 ",
                                                   "{\\fonttbl{\\f1 ",
                                                   "\\cell\\row\\par ",
                                                   "\xE4\\b "};
  for (const std::string_view pattern : kPatterns) {
    SCOPED_TRACE(pattern);
    const auto secondsFor = [&](std::size_t repeats) {
      std::string rtf = "{\\rtf1\\fromhtml1";
      rtf += kFonts;
      for (std::size_t i = 0; i < repeats; ++i) {
        rtf += pattern;
      }
      const double start = test::cpuSeconds();
      read(rtf);
      read(rtf, Rendering::EncapsulatedHtml, 4096);
      return test::cpuSeconds() - start;
    };
    const double small = std::min(secondsFor(20000), secondsFor(20000));
    EXPECT_LT(secondsFor(200000), 40 * small + 0.05);
  }
}

}  // namespace
}  // namespace nalvo
