// The part of style sheets that decides what text a browser shows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/text/html/html_tags.h"
#include "platform/text/html/html_tree.h"

namespace nalvo::html {

enum class WhiteSpace : std::uint8_t { Unset, Normal, Pre, PreLine };
enum class Visibility : std::uint8_t { Unset, Visible, Hidden };
enum class TextTransform : std::uint8_t { Unset, None, Uppercase, Lowercase, Capitalize };
// Out of the line: what floats or is placed is a block, whatever its display.
enum class Flow : std::uint8_t { Unset, InLine, Out };

// What a declaration block says; "Unset" where it is silent.
struct Declarations {
  Display display = Display::Unset;
  WhiteSpace whiteSpace = WhiteSpace::Unset;
  Visibility visibility = Visibility::Unset;
  TextTransform transform = TextTransform::Unset;
  Flow flow = Flow::Unset;  // float
  Flow position = Flow::Unset;

  // Takes over what `other` says.
  void override(const Declarations& other);
  bool says() const;
};

struct DeclarationBlock {
  Declarations normal;
  Declarations important;
};

DeclarationBlock parseDeclarations(std::string_view css);

// The rules of a text's style sheets, for a screen of 1280 by 720 pixels. Selectors with types, classes, ids, attributes and
// the four combinators are understood; one with a pseudo-class matches nothing. Sheets elsewhere are not asked for.
class StyleSheet {
 public:
  // Adds the rules of a style element; `media` is its attribute.
  void add(std::string_view css, std::string_view media);

  // What the rules and the style attribute say of an element. Matching that costs too much, as none of real mail does, ends
  // for the rest of the text.
  Declarations match(const Tree& tree, std::uint32_t element) const;

 private:
  enum class Combinator : std::uint8_t { Descendant, Child, Next, Following };

  struct AttributeTest {
    std::string name;
    char kind = 0;  // of the sign before "=", 0 for mere presence, '=' for equality
    std::string value;
  };
  struct Compound {
    std::string type;  // empty for any
    std::string id;
    std::vector<std::string> classes;
    std::vector<AttributeTest> attributes;
    bool never = false;  // asks for a state or place that is not looked at
    Combinator toLeft = Combinator::Descendant;
  };
  struct Rule {
    std::vector<Compound> compounds;  // from the element outwards
    std::uint32_t specificity = 0;
    std::uint32_t block = 0;
  };

  void addRules(std::string_view css, int depth);
  void addRule(std::string_view selectors, std::string_view block);
  static bool parseSelector(std::string_view text, Rule& rule);
  static bool parseCompound(std::string_view text, Compound& compound, std::uint32_t& specificity);
  bool matches(const Rule& rule, std::size_t compound, const Tree& tree, std::uint32_t element) const;
  static bool matches(const Compound& compound, const Tree& tree, std::uint32_t element);
  void collect(const std::string& key, const Tree& tree, std::uint32_t element, std::vector<const Rule*>& found) const;

  std::vector<Rule> rules_;  // in their order
  std::vector<DeclarationBlock> blocks_;
  // The rules by what their last compound asks for: "#id", ".class", "type" or "*"; in small letters.
  std::unordered_map<std::string, std::vector<std::uint32_t>> byKey_;
  mutable std::size_t workLeft_ = 20'000'000;
};

}  // namespace nalvo::html
