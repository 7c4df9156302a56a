// What the elements of HTML do to the text around them; for the files of this folder.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace nalvo::html {

// The computed display, as far as the text depends on it. 0 is left to "not set" in style sheets.
enum class Display : std::uint8_t {
  Unset,
  None,
  Contents,
  Inline,
  Block,        // also list items, the outside of flow roots
  Flex,         // block outside, its children become blocks; grids too
  InlineBlock,  // one piece of a line, with lines of its own
  InlineFlex,
  Table,
  InlineTable,
  TableRow,
  TableCell,
  TableCaption,
  TableGroup,  // thead, tbody, tfoot
  TableColumn,
};

struct TagRow {
  enum class Content : std::uint8_t {
    Children,
    Paragraph,  // a blank line around it
    LineBreak,
    Replaced,  // no text inside
    Options,   // the texts of its options, a line each
    Nothing,   // neither text nor a place in the line
  };

  std::string_view name;
  Display display = Display::Inline;
  Content content = Content::Children;
  bool preserves = false;   // white space, unless a style says otherwise
  bool hasEnd = true;       // false for elements that never have content
  bool formatting = false;  // opened anew in the next block when it is left open
};

// By the name.
inline constexpr TagRow kTags[] = {
    {"a", Display::Inline, TagRow::Content::Children, false, true, true},
    {"address", Display::Block},
    {"area", Display::None, TagRow::Content::Nothing, false, false},
    {"article", Display::Block},
    {"aside", Display::Block},
    {"audio", Display::None},
    {"b", Display::Inline, TagRow::Content::Children, false, true, true},
    {"base", Display::None, TagRow::Content::Nothing, false, false},
    {"basefont", Display::None, TagRow::Content::Nothing, false, false},
    {"bgsound", Display::None, TagRow::Content::Nothing, false, false},
    {"big", Display::Inline, TagRow::Content::Children, false, true, true},
    {"blockquote", Display::Block},
    {"body", Display::Block},
    {"br", Display::Inline, TagRow::Content::LineBreak, false, false},
    {"button", Display::InlineBlock},
    {"caption", Display::TableCaption},
    {"center", Display::Block},
    {"code", Display::Inline, TagRow::Content::Children, false, true, true},
    {"col", Display::TableColumn, TagRow::Content::Nothing, false, false},
    {"colgroup", Display::TableColumn},
    {"datalist", Display::None},
    {"dd", Display::Block},
    {"details", Display::Block},
    {"dialog", Display::Block},
    {"dir", Display::Block},
    {"div", Display::Block},
    {"dl", Display::Block},
    {"dt", Display::Block},
    {"em", Display::Inline, TagRow::Content::Children, false, true, true},
    {"embed", Display::Inline, TagRow::Content::Replaced, false, false},
    {"fieldset", Display::Block},
    {"figcaption", Display::Block},
    {"figure", Display::Block},
    {"font", Display::Inline, TagRow::Content::Children, false, true, true},
    {"footer", Display::Block},
    {"form", Display::Block},
    {"frame", Display::None, TagRow::Content::Nothing, false, false},
    {"frameset", Display::Block},
    {"h1", Display::Block},
    {"h2", Display::Block},
    {"h3", Display::Block},
    {"h4", Display::Block},
    {"h5", Display::Block},
    {"h6", Display::Block},
    {"head", Display::None},
    {"header", Display::Block},
    {"hgroup", Display::Block},
    {"hr", Display::Block, TagRow::Content::Replaced, false, false},
    {"html", Display::Block},
    {"i", Display::Inline, TagRow::Content::Children, false, true, true},
    {"iframe", Display::Inline, TagRow::Content::Replaced},
    {"image", Display::Inline, TagRow::Content::Replaced, false, false},
    {"img", Display::Inline, TagRow::Content::Replaced, false, false},
    {"input", Display::InlineBlock, TagRow::Content::Replaced, false, false},
    {"keygen", Display::InlineBlock, TagRow::Content::Replaced, false, false},
    {"legend", Display::Block},
    {"li", Display::Block},
    {"link", Display::None, TagRow::Content::Nothing, false, false},
    {"listing", Display::Block, TagRow::Content::Children, true},
    {"main", Display::Block},
    {"marquee", Display::InlineBlock},
    {"menu", Display::Block},
    {"meta", Display::None, TagRow::Content::Nothing, false, false},
    {"meter", Display::InlineBlock, TagRow::Content::Replaced},
    {"nav", Display::Block},
    {"nobr", Display::Inline, TagRow::Content::Children, false, true, true},
    {"noembed", Display::None},
    {"noframes", Display::None},
    {"ol", Display::Block},
    {"optgroup", Display::Block},
    {"option", Display::Block},
    {"p", Display::Block, TagRow::Content::Paragraph},
    {"param", Display::None, TagRow::Content::Nothing, false, false},
    {"plaintext", Display::Block, TagRow::Content::Children, true},
    {"pre", Display::Block, TagRow::Content::Children, true},
    {"progress", Display::InlineBlock, TagRow::Content::Replaced},
    {"rp", Display::None},
    {"s", Display::Inline, TagRow::Content::Children, false, true, true},
    {"script", Display::None},
    {"search", Display::Block},
    {"section", Display::Block},
    {"select", Display::InlineBlock, TagRow::Content::Options},
    {"small", Display::Inline, TagRow::Content::Children, false, true, true},
    {"source", Display::None, TagRow::Content::Nothing, false, false},
    {"strike", Display::Inline, TagRow::Content::Children, false, true, true},
    {"strong", Display::Inline, TagRow::Content::Children, false, true, true},
    {"style", Display::None},
    {"summary", Display::Block},
    {"svg", Display::InlineBlock},
    {"table", Display::Table},
    {"tbody", Display::TableGroup},
    {"td", Display::TableCell},
    {"template", Display::None},
    {"textarea", Display::InlineBlock, TagRow::Content::Replaced, true},
    {"tfoot", Display::TableGroup},
    {"th", Display::TableCell},
    {"thead", Display::TableGroup},
    {"title", Display::None},
    {"tr", Display::TableRow},
    {"track", Display::None, TagRow::Content::Nothing, false, false},
    {"tt", Display::Inline, TagRow::Content::Children, false, true, true},
    {"u", Display::Inline, TagRow::Content::Children, false, true, true},
    {"ul", Display::Block},
    {"video", Display::Inline, TagRow::Content::Replaced},
    {"wbr", Display::Inline, TagRow::Content::Nothing, false, false},
    {"xmp", Display::Block, TagRow::Content::Children, true},
};
static_assert(std::is_sorted(std::begin(kTags), std::end(kTags),
                             [](const TagRow& a, const TagRow& b) { return a.name < b.name; }));

// Elements that nobody knows are inline.
inline constexpr TagRow kUnknownTag{""};

// `name` in small letters.
inline const TagRow& tagRow(std::string_view name) {
  const auto row = std::lower_bound(std::begin(kTags), std::end(kTags), name,
                                    [](const TagRow& a, std::string_view b) { return a.name < b; });
  return row != std::end(kTags) && row->name == name ? *row : kUnknownTag;
}

}  // namespace nalvo::html
