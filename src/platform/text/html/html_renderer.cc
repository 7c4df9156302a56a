#include "platform/text/html/html_renderer.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/text/html/css_style.h"
#include "platform/text/html/line_builder.h"
#include "platform/text/text.h"

namespace nalvo::html {
namespace {

using Content = TagRow::Content;

constexpr std::string_view kHtmlBlanks = " \t\n\r\f";

// What an element hands to what is in it.
struct Inherited {
  WhiteSpace whiteSpace = WhiteSpace::Normal;
  TextTransform transform = TextTransform::None;
  bool visible = true;
};

bool isBlank(std::string_view text) { return text.find_first_not_of(kHtmlBlanks) == text.npos; }

// A block as its surroundings see it.
bool isBlockOutside(Display display) {
  return display == Display::Block || display == Display::Flex || display == Display::Table ||
         display == Display::TableCaption;
}

bool isInnerLine(Display display) {
  return display == Display::InlineBlock || display == Display::InlineFlex || display == Display::InlineTable;
}

bool holdsNoText(Display display) {
  return display == Display::Table || display == Display::InlineTable || display == Display::TableRow ||
         display == Display::TableGroup;
}

// What a display becomes for an element that floats, is placed, or lies in a flexible box.
Display blockified(Display display) {
  switch (display) {
    case Display::Inline:
    case Display::InlineBlock:
    case Display::TableRow:
    case Display::TableCell:
    case Display::TableCaption:
    case Display::TableGroup:
    case Display::TableColumn:
      return Display::Block;
    case Display::InlineFlex:
      return Display::Flex;
    case Display::InlineTable:
      return Display::Table;
    default:
      return display;
  }
}

std::string transformed(std::string_view text, TextTransform transform) {
  const std::u16string from = utf8ToWide(text);
  if (transform == TextTransform::Capitalize) {
    std::u16string words = from;
    bool inWord = false;
    for (char16_t& unit : words) {
      const bool letter = u_isalnum(unit) != 0 || u_getIntPropertyValue(unit, UCHAR_GENERAL_CATEGORY) == U_NON_SPACING_MARK;
      const bool joins = inWord && (unit == u'\'' || unit == u'\u2019');
      if (letter && !inWord) {
        unit = static_cast<char16_t>(u_totitle(unit));
      }
      inWord = letter || joins;
    }
    return wideToUtf8(words);
  }
  // No letter becomes more than three.
  std::u16string to(3 * from.size(), u'\0');
  UErrorCode error = U_ZERO_ERROR;
  const auto convert = transform == TextTransform::Uppercase ? &u_strToUpper : &u_strToLower;
  const std::int32_t size = convert(to.data(), static_cast<std::int32_t>(to.size()), from.data(),
                                    static_cast<std::int32_t>(from.size()), "", &error);
  return U_SUCCESS(error) ? wideToUtf8(std::u16string_view(to).substr(0, static_cast<std::size_t>(size)))
                          : std::string(text);
}

class Renderer {
 public:
  explicit Renderer(const Tree& tree) : tree_(tree) {
    for (const Node& node : tree_.nodes()) {
      if (!node.isText() && node.text == "style" && node.firstChild != kNoNode) {
        sheet_.add(tree_.nodes()[node.firstChild].text, tree_.attribute(node, "media"));
      }
    }
  }

  std::string render();

 private:
  // An element that is being gone through.
  struct Frame {
    std::uint32_t next = kNoNode;  // of its children
    Display display = Display::Block;
    Inherited inherited;
    int breaks = 0;          // required around it
    bool closed = false;     // shows its summary only
    bool isDrawing = false;  // shows the text of its text elements only
    bool hasRow = false;     // of a table, so far
    bool tabWaits = false;   // of a row, for what comes behind a cell
  };

  void enter(std::uint32_t element);
  void leave();
  void addText(const Node& node);
  void addOptions(std::uint32_t element);
  Display displayOf(const Node& node, const Declarations& style) const;
  bool floatsByAttribute(const Node& node) const;
  Frame& nearest(Display display);

  const Tree& tree_;
  StyleSheet sheet_;
  LineBuilder lines_;
  std::vector<Frame> frames_;
};

std::string Renderer::render() {
  if (tree_.body() == kNoNode) {
    return {};
  }
  // Styles of the html element reach the text through inheritance.
  frames_.emplace_back();
  enter(0);
  if (frames_.size() == 1) {
    return {};
  }
  frames_.back().next = kNoNode;
  enter(tree_.body());
  while (frames_.size() > 1) {
    Frame& frame = frames_.back();
    if (frame.next == kNoNode) {
      leave();
      continue;
    }
    const std::uint32_t index = frame.next;
    const Node& node = tree_.nodes()[index];
    frame.next = node.nextSibling;
    if ((frame.closed && (node.isText() || node.text != "summary")) || (frame.isDrawing && node.isText())) {
      continue;
    }
    if (node.isText()) {
      addText(node);
    } else {
      enter(index);
    }
  }
  return lines_.take();
}

void Renderer::enter(std::uint32_t element) {
  const Node& node = tree_.nodes()[element];
  const Declarations style = sheet_.match(tree_, element);
  Frame frame;
  frame.next = node.firstChild;
  frame.display = displayOf(node, style);
  frame.inherited = frames_.back().inherited;
  if (frame.display == Display::None || frame.display == Display::TableColumn || node.tag->content == Content::Nothing) {
    return;
  }
  if (style.whiteSpace != WhiteSpace::Unset) {
    frame.inherited.whiteSpace = style.whiteSpace;
  } else if (node.tag->preserves) {
    frame.inherited.whiteSpace = WhiteSpace::Pre;
  } else if (node.text == "nobr" || (node.text == "table" && tree_.quirks()) || tree_.hasAttribute(node, "nowrap")) {
    frame.inherited.whiteSpace = WhiteSpace::Normal;
  }
  if (style.transform != TextTransform::Unset) {
    frame.inherited.transform = style.transform;
  }
  if (style.visibility != Visibility::Unset) {
    frame.inherited.visible = style.visibility == Visibility::Visible;
  }
  frame.isDrawing = (frames_.back().isDrawing || node.text == "svg") && node.text != "text" && node.text != "foreignobject";
  frame.closed = node.text == "details" && !tree_.hasAttribute(node, "open");
  if (node.tag->content == Content::LineBreak) {
    lines_.addMark('\n');
    return;
  }
  const bool isCell = frame.display == Display::TableCell;
  if (frames_.back().display == Display::TableRow || isCell) {
    if (std::exchange(nearest(Display::TableRow).tabWaits, false)) {
      lines_.addMark('\t');
    }
  }
  if (isBlockOutside(frame.display) || node.tag->content == Content::Paragraph) {
    frame.breaks = node.tag->content == Content::Paragraph ? 2 : 1;
    lines_.requireBreaks(frame.breaks);
  } else if (frame.display == Display::TableRow) {
    if (std::exchange(nearest(Display::Table).hasRow, true)) {
      lines_.addMark('\n');
    }
  } else if (isInnerLine(frame.display)) {
    lines_.startInner();
  }
  if (node.tag->content == Content::Options) {
    addOptions(element);
    frame.next = kNoNode;
  } else if (node.tag->content == Content::Replaced) {
    if (frame.display == Display::Inline) {
      lines_.addObject();
    }
    frame.next = kNoNode;
  }
  frames_.push_back(frame);
}

void Renderer::leave() {
  const Frame frame = frames_.back();
  frames_.pop_back();
  if (frame.breaks != 0) {
    lines_.requireBreaks(frame.breaks);
  } else if (isInnerLine(frame.display)) {
    lines_.endInner();
  } else if (frame.display == Display::TableCell) {
    nearest(Display::TableRow).tabWaits = true;
  }
}

void Renderer::addText(const Node& node) {
  const Frame& frame = frames_.back();
  if (holdsNoText(frame.display) && isBlank(node.text)) {
    return;
  }
  if (!frame.inherited.visible) {
    if (!isBlank(node.text)) {
      lines_.addObject();
    }
    return;
  }
  std::string other;
  std::string_view text = node.text;
  if (frame.inherited.transform != TextTransform::None) {
    other = transformed(text, frame.inherited.transform);
    text = other;
  }
  if (frame.inherited.whiteSpace == WhiteSpace::Pre) {
    lines_.addPreserved(text);
  } else {
    lines_.addCollapsing(text, frame.inherited.whiteSpace == WhiteSpace::PreLine);
  }
}

void Renderer::addOptions(std::uint32_t element) {
  const std::vector<Node>& nodes = tree_.nodes();
  for (std::uint32_t at = nodes[element].firstChild; at != kNoNode;) {
    const Node& node = nodes[at];
    if (node.text == "option" && !node.isText()) {
      lines_.requireBreaks(1);
      for (std::uint32_t text = node.firstChild; text != kNoNode; text = nodes[text].nextSibling) {
        if (nodes[text].isText()) {
          lines_.addCollapsing(nodes[text].text, false);
        }
      }
      lines_.requireBreaks(1);
    }
    if (node.text == "optgroup" && !node.isText() && node.firstChild != kNoNode) {
      at = node.firstChild;
    } else {
      at = node.nextSibling != kNoNode || node.parent == element ? node.nextSibling : nodes[node.parent].nextSibling;
    }
  }
}

Display Renderer::displayOf(const Node& node, const Declarations& style) const {
  Display display = frames_.back().isDrawing && node.text == "text" ? Display::Block : node.tag->display;
  if (style.display != Display::Unset) {
    display = style.display;
  } else if (tree_.hasAttribute(node, "hidden") || (node.text == "dialog" && !tree_.hasAttribute(node, "open")) ||
             (node.text == "input" && equalsIgnoreCase(tree_.attribute(node, "type"), "hidden"))) {
    display = Display::None;
  }
  const Flow flow = style.flow != Flow::Unset ? style.flow : floatsByAttribute(node) ? Flow::Out : Flow::InLine;
  const Display outside = frames_.back().display;
  if (flow == Flow::Out || style.position == Flow::Out || outside == Display::Flex || outside == Display::InlineFlex) {
    display = blockified(display);
  }
  return display;
}

bool Renderer::floatsByAttribute(const Node& node) const {
  if (node.text != "img" && node.text != "iframe" && node.text != "object" && node.text != "table") {
    return false;
  }
  const std::string_view align = tree_.attribute(node, "align");
  return equalsIgnoreCase(align, "left") || equalsIgnoreCase(align, "right");
}

// The innermost table or row; where there is none, a browser thinks one up around what stands in the same element.
Renderer::Frame& Renderer::nearest(Display display) {
  for (std::size_t i = frames_.size(); i-- > 0;) {
    const Display here = frames_[i].display;
    if (here == display || (display == Display::Table && here == Display::InlineTable)) {
      return frames_[i];
    }
    if (here != Display::Contents && here != Display::TableGroup) {
      break;
    }
  }
  return frames_.back();
}

}  // namespace

std::string renderText(const Tree& tree) { return Renderer(tree).render(); }

}  // namespace nalvo::html
