#include "tool/safe_html.h"

#include <algorithm>
#include <iterator>

#include "platform/text/html/html_charset.h"
#include "platform/text/html/html_limits.h"
#include "platform/text/html/html_tree.h"
#include "platform/text/text.h"

namespace nalvo::tool {
namespace {

// In order, for the search.
constexpr std::string_view kElements[] = {
    "a",       "abbr",    "address", "article", "aside",      "b",      "bdi",      "bdo",    "big",   "blockquote",
    "br",      "caption", "center",  "cite",    "code",       "col",    "colgroup", "dd",     "del",   "dfn",
    "div",     "dl",      "dt",      "em",      "figcaption", "figure", "font",     "footer", "h1",    "h2",
    "h3",      "h4",      "h5",      "h6",      "header",     "hr",     "i",        "img",    "ins",   "kbd",
    "li",      "main",    "mark",    "nav",     "ol",         "p",      "pre",      "q",      "s",     "samp",
    "section", "small",   "span",    "strike",  "strong",     "sub",    "sup",      "table",  "tbody", "td",
    "tfoot",   "th",      "thead",   "tr",      "tt",         "u",      "ul",       "var",    "wbr"};
// With all that is inside.
constexpr std::string_view kDropped[] = {
    "applet", "audio",  "base",   "button", "canvas",  "embed",    "frame",    "frameset", "head",   "iframe",
    "input",  "link",   "math",   "meta",   "noembed", "noframes", "noscript", "object",   "option", "param",
    "script", "select", "source", "style",  "svg",     "template", "textarea", "title",    "video"};
constexpr std::string_view kAttributes[] = {"align",   "alt",     "bgcolor", "border", "cellpadding", "cellspacing",
                                            "color",   "colspan", "dir",     "face",   "height",      "lang",
                                            "rowspan", "size",    "start",   "title",  "valign",      "width"};
constexpr std::string_view kEmpty[] = {"br", "col", "hr", "img", "wbr"};
constexpr std::string_view kLinks[] = {"http://", "https://", "mailto:", "tel:"};
constexpr std::string_view kPictureTypes[] = {"data:image/png;", "data:image/jpeg;", "data:image/gif;", "data:image/webp;",
                                              "data:image/bmp;"};

template <std::size_t N>
bool isIn(const std::string_view (&list)[N], std::string_view name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

template <std::size_t N>
bool startsWithOne(const std::string_view (&list)[N], std::string_view text) {
  const std::string lower = toLowerAscii(text.substr(0, 32));
  return std::any_of(std::begin(list), std::end(list), [&](std::string_view start) { return lower.starts_with(start); });
}

// Only declarations without functions other than colours, escapes or anything that takes text out of its place.
std::string safeStyle(std::string_view style) {
  std::string safe;
  while (!style.empty()) {
    const std::size_t end = std::min(style.find(';'), style.size());
    const std::string declaration = toLowerAscii(trim(style.substr(0, end)));
    style.remove_prefix(std::min(end + 1, style.size()));
    const std::size_t colon = declaration.find(':');
    if (colon == std::string::npos) {
      continue;
    }
    const std::string_view name = trim(std::string_view(declaration).substr(0, colon));
    const std::string_view value = trim(std::string_view(declaration).substr(colon + 1));
    const std::size_t bracket = value.find('(');
    const bool isColour = bracket != std::string_view::npos && (value.starts_with("rgb(") || value.starts_with("rgba(")) &&
                          value.find('(', bracket + 1) == std::string_view::npos;
    const bool isPlain = bracket == std::string_view::npos && value.find_first_of("\\<>{}@") == std::string_view::npos;
    const bool isName = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string_view::npos;
    if (isName && (isPlain || isColour) && name != "position" && name != "behavior" && name != "-moz-binding") {
      safe += declaration + ";";
    }
  }
  return safe;
}

class Writer {
 public:
  Writer(const html::Tree& tree, const PictureSource& pictures) : tree_(tree), pictures_(pictures) {}

  // Without recursion: the depth is the sender's choice.
  std::string write(std::uint32_t top) {
    const std::vector<html::Node>& nodes = tree_.nodes();
    std::uint32_t at = nodes[top].firstChild;
    while (at != html::kNoNode && at != top) {
      if (open(nodes[at]) && nodes[at].firstChild != html::kNoNode) {
        at = nodes[at].firstChild;
        continue;
      }
      close(nodes[at]);
      while (nodes[at].nextSibling == html::kNoNode && nodes[at].parent != top) {
        at = nodes[at].parent;
        close(nodes[at]);
      }
      at = nodes[at].nextSibling;
    }
    return std::move(out_);
  }

 private:
  // True when what is inside counts too.
  bool open(const html::Node& node) {
    if (node.isText()) {
      out_ += escapeHtml(node.text);
      return false;
    }
    if (isIn(kDropped, node.text)) {
      return false;
    }
    if (node.text == "img") {
      picture(node);
    } else if (isIn(kElements, node.text)) {
      out_ += "<" + std::string(node.text) + attributes(node) + ">";
    }
    return true;
  }

  void close(const html::Node& node) {
    if (!node.isText() && isIn(kElements, node.text) && !isIn(kEmpty, node.text)) {
      out_ += "</" + std::string(node.text) + ">";
    }
  }

  std::string attributes(const html::Node& node) const {
    std::string list;
    const auto add = [&list](std::string_view name, std::string_view value) {
      list += " " + std::string(name) + "=\"" + escapeHtml(value) + "\"";
    };
    for (const std::string_view name : kAttributes) {
      if (tree_.hasAttribute(node, name)) {
        add(name, tree_.attribute(node, name));
      }
    }
    if (const std::string style = safeStyle(tree_.attribute(node, "style")); !style.empty()) {
      add("style", style);
    }
    if (const std::string_view link = trim(tree_.attribute(node, "href")); node.text == "a" && startsWithOne(kLinks, link)) {
      add("href", link);
      list += " target=\"_blank\" rel=\"noopener noreferrer\"";
    }
    return list;
  }

  void picture(const html::Node& node) {
    const std::string_view source = trim(tree_.attribute(node, "src"));
    std::string data;
    if (equalsIgnoreCase(source.substr(0, 4), "cid:")) {
      data = pictures_(source.substr(4));
    } else if (startsWithOne(kPictureTypes, source)) {
      data = source;
    }
    if (!data.empty()) {
      out_ += "<img" + attributes(node) + " src=\"" + escapeHtml(data) + "\">";
      return;
    }
    const std::string_view alternative = trim(tree_.attribute(node, "alt"));
    out_ += "<span title=\"picture that is not shown\">" +
            (alternative.empty() ? std::string() : "[" + escapeHtml(alternative) + "]") + "</span>";
  }

  const html::Tree& tree_;
  const PictureSource& pictures_;
  std::string out_;
};

}  // namespace

std::string escapeHtml(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\0':
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string safeHtml(const std::string& html, const PictureSource& pictures) {
  if (!html::isWithinLimits(html)) {
    return {};
  }
  const html::Tree tree(html);
  return tree.body() == html::kNoNode ? std::string() : Writer(tree, pictures).write(tree.body());
}

}  // namespace nalvo::tool
