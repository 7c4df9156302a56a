#include <algorithm>
#include <iterator>

#include "platform/text/html/css_style.h"
#include "platform/text/text.h"

namespace nalvo::html {
namespace {

// One value of one property. Values that are not listed leave the property as it is.
struct ValueRow {
  std::string_view property;
  std::string_view value;
  Declarations says;
};

constexpr Declarations display(Display value) { return {.display = value}; }
constexpr Declarations whiteSpace(WhiteSpace value) { return {.whiteSpace = value}; }
constexpr Declarations visibility(Visibility value) { return {.visibility = value}; }
constexpr Declarations transform(TextTransform value) { return {.transform = value}; }
constexpr Declarations floating(Flow value) { return {.flow = value}; }
constexpr Declarations position(Flow value) { return {.position = value}; }

constexpr ValueRow kValues[] = {
    {"display", "none", display(Display::None)},
    {"display", "block", display(Display::Block)},
    {"display", "inline", display(Display::Inline)},
    {"display", "initial", display(Display::Inline)},
    {"display", "unset", display(Display::Inline)},
    {"display", "inline-block", display(Display::InlineBlock)},
    {"display", "contents", display(Display::Contents)},
    {"display", "list-item", display(Display::Block)},
    {"display", "flow-root", display(Display::Block)},
    {"display", "flex", display(Display::Flex)},
    {"display", "-webkit-flex", display(Display::Flex)},
    {"display", "-webkit-box", display(Display::Flex)},
    {"display", "grid", display(Display::Flex)},
    {"display", "inline-flex", display(Display::InlineFlex)},
    {"display", "inline-grid", display(Display::InlineFlex)},
    {"display", "table", display(Display::Table)},
    {"display", "inline-table", display(Display::InlineTable)},
    {"display", "table-row", display(Display::TableRow)},
    {"display", "table-cell", display(Display::TableCell)},
    {"display", "table-caption", display(Display::TableCaption)},
    {"display", "table-row-group", display(Display::TableGroup)},
    {"display", "table-header-group", display(Display::TableGroup)},
    {"display", "table-footer-group", display(Display::TableGroup)},
    {"display", "table-column", display(Display::TableColumn)},
    {"display", "table-column-group", display(Display::TableColumn)},
    {"white-space", "normal", whiteSpace(WhiteSpace::Normal)},
    {"white-space", "initial", whiteSpace(WhiteSpace::Normal)},
    {"white-space", "nowrap", whiteSpace(WhiteSpace::Normal)},
    {"white-space", "pre", whiteSpace(WhiteSpace::Pre)},
    {"white-space", "pre-wrap", whiteSpace(WhiteSpace::Pre)},
    {"white-space", "break-spaces", whiteSpace(WhiteSpace::Pre)},
    {"white-space", "pre-line", whiteSpace(WhiteSpace::PreLine)},
    {"visibility", "visible", visibility(Visibility::Visible)},
    {"visibility", "hidden", visibility(Visibility::Hidden)},
    {"visibility", "collapse", visibility(Visibility::Hidden)},
    {"text-transform", "none", transform(TextTransform::None)},
    {"text-transform", "uppercase", transform(TextTransform::Uppercase)},
    {"text-transform", "lowercase", transform(TextTransform::Lowercase)},
    {"text-transform", "capitalize", transform(TextTransform::Capitalize)},
    {"float", "left", floating(Flow::Out)},
    {"float", "right", floating(Flow::Out)},
    {"float", "none", floating(Flow::InLine)},
    {"position", "absolute", position(Flow::Out)},
    {"position", "fixed", position(Flow::Out)},
    {"position", "static", position(Flow::InLine)},
    {"position", "relative", position(Flow::InLine)},
    {"position", "sticky", position(Flow::InLine)},
};

constexpr std::string_view kImportant = "important";

template <typename Value>
void take(Value& value, Value other) {
  value = other != Value::Unset ? other : value;
}

// Up to the next `end` that stands in no string, bracket or comment; `css` goes on behind it.
std::string_view takeUpTo(std::string_view& css, char end) {
  int brackets = 0;
  char quote = 0;
  std::size_t i = 0;
  for (; i < css.size(); ++i) {
    const char c = css[i];
    if (quote != 0) {
      i += c == '\\' ? 1 : 0;
      quote = c == quote ? '\0' : quote;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '(') {
      ++brackets;
    } else if (c == ')') {
      --brackets;
    } else if (c == end && brackets <= 0) {
      break;
    }
  }
  const std::string_view taken = css.substr(0, std::min(i, css.size()));
  css.remove_prefix(std::min(i + 1, css.size()));
  return taken;
}

}  // namespace

void Declarations::override(const Declarations& other) {
  take(display, other.display);
  take(whiteSpace, other.whiteSpace);
  take(visibility, other.visibility);
  take(transform, other.transform);
  take(flow, other.flow);
  take(position, other.position);
}

bool Declarations::says() const {
  return display != Display::Unset || whiteSpace != WhiteSpace::Unset || visibility != Visibility::Unset ||
         transform != TextTransform::Unset || flow != Flow::Unset || position != Flow::Unset;
}

DeclarationBlock parseDeclarations(std::string_view css) {
  DeclarationBlock block;
  while (!css.empty()) {
    const std::string_view declaration = takeUpTo(css, ';');
    const std::size_t colon = declaration.find(':');
    if (colon == declaration.npos) {
      continue;
    }
    const std::string property = toLowerAscii(trim(declaration.substr(0, colon)));
    std::string value = toLowerAscii(trim(declaration.substr(colon + 1)));
    bool important = false;
    if (const std::size_t mark = value.rfind('!');
        mark != value.npos && trim(std::string_view(value).substr(mark + 1)) == kImportant) {
      important = true;
      value = std::string(trimRight(std::string_view(value).substr(0, mark)));
    }
    const auto row = std::find_if(std::begin(kValues), std::end(kValues),
                                  [&](const ValueRow& r) { return r.property == property && r.value == value; });
    if (row != std::end(kValues)) {
      (important ? block.important : block.normal).override(row->says);
    }
  }
  return block;
}

}  // namespace nalvo::html
