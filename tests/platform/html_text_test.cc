#include "platform/text/html/html_text.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/text/html/html_limits.h"
#include "platform/text/text.h"
#include "tests/support/cpu_time.h"
#include "tests/text/rtf_files.h"

namespace nalvo {
namespace {

std::string textOf(std::string_view html, CodePage page = kUtf8) {
  std::string text = wideToUtf8(htmlToText(html, page));
  // Answers are written with LF.
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != text.npos;) {
    text.erase(at, 1);
  }
  return text;
}

struct Case {
  std::string_view why;
  std::string_view html;
  std::string_view text;
};

// The answers are those of Chromium's document.body.innerText.
TEST(HtmlText, IsWhatABrowserShows) {
  static constexpr Case kCases[] = {
      {"paragraphs leave a blank line", "<p>a</p><p>b</p>c", "a\n\nb\n\nc"},
      {"a break at the end of a block counts", "<div>a<br></div><div>b</div>", "a\n\nb"},
      {"a block that is empty but for a break", "<div>a</div><div><br></div><div>b</div>", "a\n\n\nb"},
      {"white space runs together across elements", "a <b> b </b> c", "a b c"},
      {"white space at breaks goes", "a<br> b <br>c", "a\nb\nc"},
      {"preformatted text", "<pre>a\n b\tc\n</pre>d", "a\n b\tc\n\nd"},
      {"a first line feed is none", "<pre>\n\nx</pre>", "\nx"},
      {"cells and rows", "<table><tr><td>a<td>b<tr><td>c</table>d", "a\tb\nc\nd"},
      {"caption and head", "<table><caption>t</caption><thead><tr><th>h<tbody><tr><td>x</table>", "t\nh\nx"},
      {"a cell that is no cell", "<table><tr><td></td><td style='display:block'>a</td><td></td></tr></table>", "\t\na"},
      {"hidden cells and rows",
       "<table><tr><td>a</td> <td style='display:none'>b</td><td>c</td></tr><tr "
       "style='display:none'><td>x</tr><tr><td>d</td></tr></table>",
       "a\tc\nd"},
      {"an image is something in the line", "a <img src=x alt=y> b <img src=z>", "a  b "},
      {"a line inside of the line", "a <span style='display:inline-block'> b </span> c", "a b c"},
      {"what floats is a block", "<span style='float:left'>a</span><span>b</span>", "a\nb"},
      {"in flexible boxes all are blocks", "<div style='display:flex'>a <span>b</span> <span>c</span></div>", "a\nb\nc"},
      {"lists have no bullets", "<ul><li>a<li>b<ul><li>c</ul></ul>", "a\nb\nc"},
      {"choices", "<select><option>a<option>b</select>c", "a\nb\nc"},
      {"what is typed in is no text", "<textarea>t</textarea><input value=v>x<button> b </button>y", "xby"},
      {"closed details", "<details><summary>s</summary>d<p>e</details><details open><summary>s</summary>d</details>",
       "s\ns\nd"},
      {"hidden, but for a part", "<span style='visibility:hidden'>a<b style='visibility:visible'>b</b></span>c", "bc"},
      {"capitals", "<p style='text-transform:uppercase'>straße</p><p style='text-transform:capitalize'>it's a o'neil-x</p>",
       "STRASSE\n\nIt's A O'neil-X"},
      {"line feeds alone", "<div style='white-space:pre-line'>a  b\n c </div>d", "a b\nc\nd"},
      {"no script, no style, no title", "<title>t</title><script>s</script><style>x</style><noscript>n</noscript>x", "nx"},
      {"the hidden attribute, and a style against it", "<div hidden>a</div><div hidden style='display:block'>b</div>", "b"},
      {"paragraphs that blocks close", "<p>a<div>b</div>c</p>d", "a\n\nb\nc\n\nd"},
      {"characters that are no white space", "a&nbsp; b&#8203;c&shy;d", "a\u00A0 b\u200Bc\u00ADd"},
      {"a paragraph in the line leaves its blank line", "<p style='display:inline'>a</p><p style='display:inline'>b</p>",
       "a\n\nb"},
      {"drawings", "a <svg><title>t</title><g><text>x <tspan>y</tspan></text>z</g></svg> b", "a \nx y\n b"},
      {"frames", "<frameset><frame src=x></frameset>", ""},
      {"nothing", "", ""},
      {"comments of Word", "<!--[if mso]>a<![endif]--><![if !mso]>b<![endif]>", "b"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(textOf(c.html), c.text);
  }
  EXPECT_EQ(htmlToText("a<br>b", 0), u"a\r\nb");
}

TEST(HtmlText, StyleSheetsDecideWhatShows) {
  static constexpr Case kCases[] = {
      {"classes and types", ".x{display:none} td.y,i.z{display:block}|<i class='w x'>n</i><i class=z>s</i>t", "s\nt"},
      {"no narrow screen",
       "@media (max-width:600px){b{display:none}} @media screen and (min-width:601px){i{display:none}}|<b>1</b><i>2</i>",
       "1"},
      {"no paper, no dark scheme",
       "@media print{b{display:none}} @media (prefers-color-scheme:dark){b{display:none}}|<b>1</b>", "1"},
      {"children", "div>b{display:none}|<div><b>1</b><i><b>2</b></i></div>", "2"},
      {"descendants", "div b{display:none}|<div><i><b>1</b></i></div><b>2</b>", "2"},
      {"siblings", "a+i{display:none} a~u{display:none}|<a>1</a><i>2</i><u>3</u><i>4</i>", "14"},
      {"attributes", "[x~=u]{display:none} [y^='a']{display:none}|<b x='t u'>1</b><b y=ab>2</b><b y>3</b>", "3"},
      {"the more specific rule, not the later", "#a{display:none} b{display:block}|<b id=a>1</b>2", "2"},
      {"important against a style attribute", "b{display:inline!important}|<b style='display:none'>1</b>", "1"},
      {"features of browsers",
       "@supports (display:grid){b{display:none}} @supports (-moz-x:y){i{display:none}}|<b>1</b><i>2</i>", "2"},
      {"a selector that can't be read takes its rule along", "b,{display:none} i,?{display:none}|<b>1</b><i>2</i>", "12"},
      {"comments in a style attribute", "|<b style='/*x*/display:none'>1</b>2", "2"},
      {"states match nothing", "b:hover{display:none} a:hover b{display:none}|<b>1</b>", "1"},
      {"broken rules are passed over",
       "}} b{color:red;display:none} @x; i{ {display:none} u{display:none}|<b>1</b><i>2</i><u>3</u>", "123"},
      {"comments, and marks of a comment", "<!-- /* } */ b{display:/**/none} -->|<b>1</b>2", "2"},
      {"case counts only in proper documents", ".A{display:none}|<b class=a>1</b>2", "2"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const std::size_t bar = c.html.find('|');
    const std::string html =
        "<style>" + std::string(c.html.substr(0, bar)) + "</style>" + std::string(c.html.substr(bar + 1));
    EXPECT_EQ(textOf(html), c.text);
  }
  EXPECT_EQ(textOf("<!doctype html><style>.A{display:none}</style><b class=a>1</b>2"), "12");
  EXPECT_EQ(textOf("<style media=print>b{display:none}</style><b>1</b>2"), "12");
}

TEST(HtmlText, BytesAreReadInTheirCharset) {
  struct Bytes {
    std::string_view why;
    std::string_view html;
    CodePage given;
    std::u16string_view text;
  };
  static constexpr Bytes kCases[] = {
      {"a mark counts most", "\xEF\xBB\xBF<meta charset=windows-1251>\xC3\xA4", 1250, u"ä"},
      {"a meta element counts more than the caller", "<meta charset='windows-1251'>\xE4", 1252, u"д"},
      {"in its old form", "<META http-equiv=Content-Type content=\"text/html; charset=koi8-r\">\xC4", 0, u"д"},
      {"not in a comment", "<!-- <meta charset=windows-1251> -->\xE4", 1252, u"ä"},
      {"a charset that nobody knows", "<meta charset=x-nobody>\xE4", 1251, u"д"},
      {"a wide one is impossible", "<meta charset=utf-16>\xC3\xA4", 0, u"ä"},
      {"Latin-1 means Windows", "<meta charset=iso-8859-1>\x80", 0, u"€"},
      {"the caller", "\xE4", 1253, u"\u03B4"},
      {"nobody, UTF-8", "\xC3\xA4", 0, u"ä"},
      {"nobody, no UTF-8", "\xE4", 0, u"ä"},
      {"UTF-16", std::string_view("\xFF\xFE<\0b\0>\0\x34\x04", 10), 1252, u"\u0434"},
  };
  for (const Bytes& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(wideToUtf8(htmlToText(c.html, c.given)), wideToUtf8(c.text));
  }
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) {
    all += text;
  }
  return all;
}

TEST(HtmlText, BeyondTheLimitsTheTagsGoAndTheTextStays) {
  using html::isWithinLimits;
  EXPECT_TRUE(isWithinLimits(repeated("<div>", html::kMostOpenElements)));
  EXPECT_FALSE(isWithinLimits(repeated("<div>", html::kMostOpenElements + 1)));
  EXPECT_TRUE(isWithinLimits("<a " + repeated("b ", html::kMostAttributes) + ">"));
  EXPECT_FALSE(isWithinLimits("<a " + repeated("b=' >' ", html::kMostAttributes + 1) + ">"));
  EXPECT_FALSE(isWithinLimits(repeated("<font size=1>", 500) + repeated("<p>", 100000)));
  // What real mail leaves open is closed by what follows.
  EXPECT_TRUE(
      isWithinLimits("<table>" + repeated("<tr><td><font>a<td><b><p>b", 5000) + "</table>" + repeated("<li>a", 5000)));
  EXPECT_TRUE(isWithinLimits(repeated("<p>a<br><option>b", 5000) + repeated("<dt>a<dd>b", 5000)));
  EXPECT_TRUE(isWithinLimits("<script>" + repeated("<div>", 1000) + "</script><!--" + repeated("<div>", 1000) + "-->"));

  EXPECT_EQ(textOf(repeated("<div>", 600) +
                   "a &amp; b&#228;&#x20AC;&nbsp;&nope;<p>c<br>d</p><style>x</style><script>'</p>'</script>"
                   "<table><tr><td>e</td><td>f</td></tr></table>"),
            "a & bä€\u00A0&nope;\n\nc\nd\n\ne\tf\t");
}

// Ten times the size may cost some ten times the time; the square would be a hundred.
TEST(HtmlText, HostileTextsCostLinearTime) {
  static constexpr std::string_view kPatterns[] = {"<div>",
                                                   "<b><p>",
                                                   "<font color=1>",
                                                   "</div>",
                                                   "<a b c d e f>",
                                                   "<table><tr><td>",
                                                   "<!--",
                                                   "<style>b i u{display:none}</style><b class='a b c'><i></b>",
                                                   "<!-- --",
                                                   "<svg><b>",
                                                   "&amp",
                                                   "<select><option>",
                                                   "<td style='a:b;c:d'>"};
  for (const std::string_view pattern : kPatterns) {
    SCOPED_TRACE(pattern);
    const auto secondsFor = [&](std::size_t times) {
      const std::string html = repeated(pattern, times);
      const double start = test::cpuSeconds();
      htmlToText(html, 0);
      return test::cpuSeconds() - start;
    };
    const double small = std::min(secondsFor(10000), secondsFor(10000));
    EXPECT_LT(secondsFor(100000), 40 * small + 0.1);
  }
}

TEST(HtmlText, SamplesGiveWhatChromiumGave) {
  std::size_t samples = 0;
  for (const auto& entry : std::filesystem::directory_iterator(NALVO_TEST_DATA "/html")) {
    if (entry.path().extension() == ".html") {
      SCOPED_TRACE(entry.path().filename().string());
      EXPECT_EQ(textOf(test::fileBytes(entry.path()), 0),
                test::fileBytes(std::filesystem::path(entry.path()).replace_extension(".txt")));
      ++samples;
    }
  }
  EXPECT_GE(samples, 3U);
}

}  // namespace
}  // namespace nalvo
