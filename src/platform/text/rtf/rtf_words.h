// The control words that matter to the text; for the files of this folder.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace nalvo {

struct RtfWordRow {
  enum class Action : std::uint8_t {
    Rtf,
    Character,  // `value` is its code point, `html` how HTML writes it
    Tab,
    Paragraph,
    Line,
    Cell,
    Row,
    Unicode,
    Fallback,  // how many characters stand behind \u for readers that don't know it
    Font,
    DefaultFont,
    FontCharset,
    FontPage,
    Plain,  // back to the default font, not hidden
    Hidden,
    HtmlRtf,
    Page,       // `value` is the code page of the whole text
    GivenPage,  // the number is
    FontTable,
    HtmlTag,
    Upr,  // the same text twice, for readers without and with Unicode
    Ud,
    Body,  // a group whose text counts even when it is marked as unknown to old readers
    Skipped,
    SkippedInHtml,
  };

  std::string_view word;
  Action action;
  std::int32_t value = 0;
  std::u16string_view html = {};
};

// By the word.
inline constexpr RtfWordRow kRtfWords[] = {
    {"aftncn", RtfWordRow::Action::Skipped},
    {"aftnsep", RtfWordRow::Action::Skipped},
    {"aftnsepc", RtfWordRow::Action::Skipped},
    {"annotation", RtfWordRow::Action::Skipped},
    {"ansi", RtfWordRow::Action::Page, 1252},
    {"ansicpg", RtfWordRow::Action::GivenPage},
    {"atnauthor", RtfWordRow::Action::Skipped},
    {"atnid", RtfWordRow::Action::Skipped},
    {"bkmkend", RtfWordRow::Action::Skipped},
    {"bkmkstart", RtfWordRow::Action::Skipped},
    {"bullet", RtfWordRow::Action::Character, 0x2022, u"&bull;"},
    {"cell", RtfWordRow::Action::Cell},
    {"colorschememapping", RtfWordRow::Action::Skipped},
    {"colortbl", RtfWordRow::Action::Skipped},
    {"cpg", RtfWordRow::Action::FontPage},
    {"datafield", RtfWordRow::Action::Skipped},
    {"datastore", RtfWordRow::Action::Skipped},
    {"deff", RtfWordRow::Action::DefaultFont},
    {"deleted", RtfWordRow::Action::Hidden},
    {"emdash", RtfWordRow::Action::Character, 0x2014, u"&mdash;"},
    {"emspace", RtfWordRow::Action::Character, 0x2003, u"&emsp;"},
    {"endash", RtfWordRow::Action::Character, 0x2013, u"&ndash;"},
    {"enspace", RtfWordRow::Action::Character, 0x2002, u"&ensp;"},
    {"f", RtfWordRow::Action::Font},
    {"fcharset", RtfWordRow::Action::FontCharset},
    {"filetbl", RtfWordRow::Action::Skipped},
    {"fldinst", RtfWordRow::Action::Skipped},
    {"fonttbl", RtfWordRow::Action::FontTable},
    {"footer", RtfWordRow::Action::Skipped},
    {"footerf", RtfWordRow::Action::Skipped},
    {"footerl", RtfWordRow::Action::Skipped},
    {"footerr", RtfWordRow::Action::Skipped},
    {"footnote", RtfWordRow::Action::Body},
    {"formfield", RtfWordRow::Action::Skipped},
    {"ftncn", RtfWordRow::Action::Skipped},
    {"ftnsep", RtfWordRow::Action::Skipped},
    {"ftnsepc", RtfWordRow::Action::Skipped},
    {"generator", RtfWordRow::Action::Skipped},
    {"header", RtfWordRow::Action::Skipped},
    {"headerf", RtfWordRow::Action::Skipped},
    {"headerl", RtfWordRow::Action::Skipped},
    {"headerr", RtfWordRow::Action::Skipped},
    {"htmlrtf", RtfWordRow::Action::HtmlRtf},
    {"htmltag", RtfWordRow::Action::HtmlTag},
    {"info", RtfWordRow::Action::Skipped},
    {"latentstyles", RtfWordRow::Action::Skipped},
    {"ldblquote", RtfWordRow::Action::Character, 0x201C, u"&ldquo;"},
    {"line", RtfWordRow::Action::Line},
    {"listoverridetable", RtfWordRow::Action::Skipped},
    {"listtable", RtfWordRow::Action::Skipped},
    {"listtext", RtfWordRow::Action::SkippedInHtml},
    {"lquote", RtfWordRow::Action::Character, 0x2018, u"&lsquo;"},
    {"ltrmark", RtfWordRow::Action::Character, 0x200E, u"&lrm;"},
    {"mac", RtfWordRow::Action::Page, 10000},
    {"mhtmltag", RtfWordRow::Action::Skipped},
    {"nestcell", RtfWordRow::Action::Cell},
    {"nestrow", RtfWordRow::Action::Row},
    {"nesttableprops", RtfWordRow::Action::Body},
    {"nonesttables", RtfWordRow::Action::Skipped},
    {"nonshppict", RtfWordRow::Action::Skipped},
    {"objalias", RtfWordRow::Action::Skipped},
    {"objclass", RtfWordRow::Action::Skipped},
    {"objdata", RtfWordRow::Action::Skipped},
    {"objname", RtfWordRow::Action::Skipped},
    {"objsect", RtfWordRow::Action::Skipped},
    {"page", RtfWordRow::Action::Line},
    {"par", RtfWordRow::Action::Paragraph},
    {"pc", RtfWordRow::Action::Page, 437},
    {"pca", RtfWordRow::Action::Page, 850},
    {"pict", RtfWordRow::Action::Skipped},
    {"plain", RtfWordRow::Action::Plain},
    {"pn", RtfWordRow::Action::Skipped},
    {"pnseclvl", RtfWordRow::Action::Skipped},
    {"pntext", RtfWordRow::Action::SkippedInHtml},
    {"private", RtfWordRow::Action::Skipped},
    {"qmspace", RtfWordRow::Action::Character, 0x2005, u"&#8197;"},
    {"rdblquote", RtfWordRow::Action::Character, 0x201D, u"&rdquo;"},
    {"revtbl", RtfWordRow::Action::Skipped},
    {"row", RtfWordRow::Action::Row},
    {"rquote", RtfWordRow::Action::Character, 0x2019, u"&rsquo;"},
    {"rsidtbl", RtfWordRow::Action::Skipped},
    {"rtf", RtfWordRow::Action::Rtf},
    {"rtlmark", RtfWordRow::Action::Character, 0x200F, u"&rlm;"},
    {"rxe", RtfWordRow::Action::Skipped},
    {"sect", RtfWordRow::Action::Line},
    {"shpinst", RtfWordRow::Action::Body},
    {"shprslt", RtfWordRow::Action::Skipped},
    {"sp", RtfWordRow::Action::Skipped},
    {"stylesheet", RtfWordRow::Action::Skipped},
    {"tab", RtfWordRow::Action::Tab},
    {"tc", RtfWordRow::Action::Skipped},
    {"template", RtfWordRow::Action::Skipped},
    {"themedata", RtfWordRow::Action::Skipped},
    {"txe", RtfWordRow::Action::Skipped},
    {"u", RtfWordRow::Action::Unicode},
    {"uc", RtfWordRow::Action::Fallback},
    {"ud", RtfWordRow::Action::Ud},
    {"upr", RtfWordRow::Action::Upr},
    {"v", RtfWordRow::Action::Hidden},
    {"wgrffmtfilter", RtfWordRow::Action::Skipped},
    {"xe", RtfWordRow::Action::Skipped},
    {"xmlnstbl", RtfWordRow::Action::Skipped},
    {"zwj", RtfWordRow::Action::Character, 0x200D, u"&zwj;"},
    {"zwnj", RtfWordRow::Action::Character, 0x200C, u"&zwnj;"},
};
static_assert(std::is_sorted(std::begin(kRtfWords), std::end(kRtfWords),
                             [](const RtfWordRow& a, const RtfWordRow& b) { return a.word < b.word; }));

// The code page of a font's character set. The first row answers for a set that is not found.
struct RtfCharsetRow {
  std::int32_t charset;
  std::uint32_t codePage;
};
inline constexpr std::uint32_t kRtfDefaultPage = 0;  // the page of the whole text
inline constexpr std::uint32_t kRtfSymbolPage = 42;
inline constexpr RtfCharsetRow kRtfCharsets[] = {
    {1, kRtfDefaultPage}, {0, 1252},   {2, kRtfSymbolPage}, {77, 10000}, {78, 932},   {79, 949},   {80, 936},   {81, 950},
    {83, 10005},          {84, 10004}, {85, 10006},         {86, 10081}, {87, 10021}, {88, 10029}, {89, 10007}, {128, 932},
    {129, 949},           {130, 1361}, {134, 936},          {136, 950},  {161, 1253}, {162, 1254}, {163, 1258}, {177, 1255},
    {178, 1256},          {186, 1257}, {204, 1251},         {222, 874},  {238, 1250}, {254, 437},  {255, 850},
};

}  // namespace nalvo
