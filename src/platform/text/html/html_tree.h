// The tree of an HTML text, as browsers build it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo::html {

struct TagRow;

inline constexpr std::uint32_t kNoNode = UINT32_MAX;

// An element or a piece of text. Others are told by their index in the tree; views live as long as the tree.
struct Node {
  std::uint32_t parent = kNoNode;
  std::uint32_t firstChild = kNoNode;
  std::uint32_t nextSibling = kNoNode;
  std::uint32_t previousElement = kNoNode;  // the sibling before, text passed over
  std::uint32_t firstAttribute = 0;
  std::uint32_t attributes = 0;
  const TagRow* tag = nullptr;  // null for text
  std::string_view text;        // of an element, its name in small letters

  bool isText() const { return tag == nullptr; }
};

struct Attribute {
  std::string_view name;  // small letters
  std::string_view value;
};

class Tree {
 public:
  // Parses UTF-8. To be called for texts alone that isWithinLimits lets through: the parser's cost grows with the square of
  // depth, and it frees its tree by recursion.
  explicit Tree(std::string utf8);
  ~Tree();
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  // The first one is the html element; parents stand in front of their children.
  const std::vector<Node>& nodes() const { return nodes_; }
  // kNoNode for a text whose frames stand in its place.
  std::uint32_t body() const { return body_; }
  // A text without a proper document type: classes and ids are compared without case.
  bool quirks() const { return quirks_; }
  // The value of an attribute; its data is null if it is not there.
  std::string_view attribute(const Node& node, std::string_view name) const;
  bool hasAttribute(const Node& node, std::string_view name) const { return attribute(node, name).data() != nullptr; }

 private:
  struct Parsed;

  void flatten();

  std::string source_;
  std::unique_ptr<Parsed> parsed_;
  std::vector<Node> nodes_;
  std::vector<Attribute> attributes_;
  std::uint32_t body_ = kNoNode;
  bool quirks_ = false;
};

}  // namespace nalvo::html
