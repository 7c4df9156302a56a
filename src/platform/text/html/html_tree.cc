#include "platform/text/html/html_tree.h"

#include <gumbo.h>

#include <deque>

#include "platform/text/html/html_tags.h"
#include "platform/text/text.h"

namespace nalvo::html {

namespace {

struct DestroyOutput {
  void operator()(GumboOutput* output) const { gumbo_destroy_output(&kGumboDefaultOptions, output); }
};

}  // namespace

struct Tree::Parsed {
  std::unique_ptr<GumboOutput, DestroyOutput> output;
  std::deque<std::string> names;  // of elements that the parser does not know
};

namespace {

std::string_view nameOf(const GumboElement& element, std::deque<std::string>& names) {
  if (element.tag != GUMBO_TAG_UNKNOWN) {
    return gumbo_normalized_tagname(element.tag);
  }
  GumboStringPiece original = element.original_tag;
  gumbo_tag_from_original_text(&original);
  return names.emplace_back(toLowerAscii(std::string_view(original.data, original.length)));
}

const GumboVector& childrenOf(const GumboNode& node) { return node.v.element.children; }

bool isElement(const GumboNode& node) { return node.type == GUMBO_NODE_ELEMENT || node.type == GUMBO_NODE_TEMPLATE; }

bool isText(const GumboNode& node) {
  return node.type == GUMBO_NODE_TEXT || node.type == GUMBO_NODE_WHITESPACE || node.type == GUMBO_NODE_CDATA;
}

}  // namespace

Tree::Tree(std::string utf8) : source_(std::move(utf8)), parsed_(std::make_unique<Parsed>()) {
  GumboOptions options = kGumboDefaultOptions;
  options.max_errors = 0;
  parsed_->output.reset(gumbo_parse_with_options(&options, source_.data(), source_.size()));
  quirks_ = parsed_->output->document->v.document.doc_type_quirks_mode == GUMBO_DOCTYPE_QUIRKS;
  flatten();
}

Tree::~Tree() = default;

void Tree::flatten() {
  // Children of one element wait in a row, the first on top.
  std::vector<const GumboNode*> waiting{parsed_->output->root};
  std::vector<std::uint32_t> parents{kNoNode};
  // The last child of each open element so far.
  struct Last {
    std::uint32_t child = kNoNode;
    std::uint32_t element = kNoNode;
  };
  std::vector<Last> last;
  while (!waiting.empty()) {
    const GumboNode& from = *waiting.back();
    const std::uint32_t parent = parents.back();
    waiting.pop_back();
    parents.pop_back();
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    Node node;
    node.parent = parent;
    if (isElement(from)) {
      node.text = nameOf(from.v.element, parsed_->names);
      node.tag = &tagRow(node.text);
      node.firstAttribute = static_cast<std::uint32_t>(attributes_.size());
      node.attributes = from.v.element.attributes.length;
      for (unsigned i = 0; i < from.v.element.attributes.length; ++i) {
        const auto& attribute = *static_cast<const GumboAttribute*>(from.v.element.attributes.data[i]);
        attributes_.push_back({attribute.name, attribute.value});
      }
      if (body_ == kNoNode && parent == 0 && node.text == "body") {
        body_ = index;
      }
      const GumboVector& children = childrenOf(from);
      for (unsigned i = children.length; i-- > 0;) {
        const auto* child = static_cast<const GumboNode*>(children.data[i]);
        if (isElement(*child) || isText(*child)) {
          waiting.push_back(child);
          parents.push_back(index);
        }
      }
    } else {
      node.text = from.v.text.text;
    }
    if (parent != kNoNode) {
      Last& siblings = last[parent];
      (siblings.child == kNoNode ? nodes_[parent].firstChild : nodes_[siblings.child].nextSibling) = index;
      siblings.child = index;
      node.previousElement = siblings.element;
      if (!node.isText()) {
        siblings.element = index;
      }
    }
    nodes_.push_back(node);
    last.emplace_back();
  }
}

std::string_view Tree::attribute(const Node& node, std::string_view name) const {
  for (std::uint32_t i = node.firstAttribute; i < node.firstAttribute + node.attributes; ++i) {
    if (attributes_[i].name == name) {
      return attributes_[i].value;
    }
  }
  return {};
}

}  // namespace nalvo::html
