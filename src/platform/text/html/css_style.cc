#include "platform/text/html/css_style.h"

#include <algorithm>
#include <charconv>  // from_chars

#include "platform/text/text.h"

namespace nalvo::html {
namespace {

constexpr std::string_view kCssBlanks = " \t\r\n\f";
constexpr double kScreenWidth = 1280;
constexpr double kScreenHeight = 720;
// Media rules in media rules.
constexpr int kDeepest = 16;
// A selector of more parts than that is one that nobody wrote.
constexpr std::size_t kMostCompounds = 32;

constexpr bool isNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

std::string withoutComments(std::string_view css) {
  std::string clean;
  while (!css.empty()) {
    const std::size_t start = std::min(css.find("/*"), css.size());
    clean.append(css.substr(0, start));
    const std::size_t end = css.find("*/", std::min(start + 2, css.size()));
    css.remove_prefix(end == css.npos ? css.size() : end + 2);
    clean.push_back(' ');
  }
  return clean;
}

// Up to the brace that ends the block at whose content `css` begins; `css` goes on behind it.
std::string_view takeBlock(std::string_view& css) {
  int depth = 1;
  std::size_t i = 0;
  for (; i < css.size(); ++i) {
    depth += css[i] == '{' ? 1 : css[i] == '}' ? -1 : 0;
    if (depth == 0) {
      break;
    }
  }
  const std::string_view content = css.substr(0, i);
  css.remove_prefix(std::min(i + 1, css.size()));
  return content;
}

// "(max-width: 600px)" without its brackets.
bool featureHolds(std::string_view feature) {
  const std::size_t colon = std::min(feature.find(':'), feature.size());
  const std::string name = toLowerAscii(trim(feature.substr(0, colon)));
  const std::string value = toLowerAscii(trim(feature.substr(std::min(colon + 1, feature.size()))));
  double number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error == std::errc() &&
      std::string_view(end, static_cast<std::size_t>(value.data() + value.size() - end)).starts_with("em")) {
    number *= 16;
  }
  const bool width = name.ends_with("width");
  const double size = width ? kScreenWidth : kScreenHeight;
  if (name == "orientation") {
    return value == "landscape";
  }
  if (name == "prefers-color-scheme") {
    return value == "light";
  }
  if ((!width && !name.ends_with("height")) || error != std::errc()) {
    return false;
  }
  return name.starts_with("max-") ? size <= number : name.starts_with("min-") && size >= number;
}

// One of a list of media queries; both its parts in small letters.
bool queryHolds(std::string_view query) {
  query = trim(query);
  bool inverted = false;
  if (query.starts_with("not ")) {
    inverted = true;
    query = trimLeft(query.substr(4));
  } else if (query.starts_with("only ")) {
    query = trimLeft(query.substr(5));
  }
  bool holds = true;
  while (!query.empty()) {
    if (query.front() == '(') {
      const std::size_t end = std::min(query.find(')'), query.size());
      holds = holds && featureHolds(query.substr(1, end - 1));
      query.remove_prefix(std::min(end + 1, query.size()));
    } else {
      const std::size_t end = std::min(query.find_first_of(" ("), query.size());
      const std::string_view word = query.substr(0, end);
      holds = holds && (word == "and" || word == "all" || word == "screen" || word.empty());
      query.remove_prefix(end);
    }
    query = trimLeft(query);
  }
  return holds != inverted;
}

bool mediaHold(std::string_view list) {
  const std::string queries = toLowerAscii(list);
  std::string_view rest = trim(queries);
  if (rest.empty()) {
    return true;
  }
  while (!rest.empty()) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    if (queryHolds(rest.substr(0, comma))) {
      return true;
    }
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return false;
}

// Mail asks this way whether it is shown by some maker's program; a plain property is one that any browser knows.
bool isSupported(std::string_view condition) {
  const std::string text = toLowerAscii(condition);
  return text.find("not") == text.npos && text.find("(-") == text.npos;
}

// The first of `what` in `text` that stands in no brackets; the size of `text` without one.
std::size_t findOutsideBrackets(std::string_view text, std::string_view what) {
  int brackets = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    brackets += c == '[' || c == '(' ? 1 : c == ']' || c == ')' ? -1 : 0;
    if (brackets <= 0 && what.find(c) != what.npos) {
      return i;
    }
  }
  return text.size();
}

std::string_view takeName(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isNameChar);
  const std::string_view name = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(name.size());
  return name;
}

bool same(std::string_view a, std::string_view b, bool quirks) { return quirks ? equalsIgnoreCase(a, b) : a == b; }

// Calls `body` with each word of a list parted by blanks, until it answers true.
template <typename Body>
bool anyWord(std::string_view list, Body body) {
  while (true) {
    list = trimLeft(list, kCssBlanks);
    if (list.empty()) {
      return false;
    }
    const std::size_t end = std::min(list.find_first_of(kCssBlanks), list.size());
    if (body(list.substr(0, end))) {
      return true;
    }
    list.remove_prefix(end);
  }
}

}  // namespace

void StyleSheet::add(std::string_view css, std::string_view media) {
  if (mediaHold(media)) {
    addRules(withoutComments(css), 0);
  }
}

void StyleSheet::addRules(std::string_view css, int depth) {
  while (true) {
    css = trimLeft(css, kCssBlanks);
    for (const std::string_view mark : {"<!--", "-->"}) {
      if (css.starts_with(mark)) {
        css = trimLeft(css.substr(mark.size()));
      }
    }
    if (css.empty()) {
      return;
    }
    const std::size_t brace = std::min(css.find('{'), css.size());
    const std::string_view prelude = css.substr(0, brace);
    if (prelude.front() == '@') {
      const std::size_t semicolon = prelude.find(';');
      if (semicolon != prelude.npos) {
        css.remove_prefix(semicolon + 1);
        continue;
      }
      css.remove_prefix(std::min(brace + 1, css.size()));
      const std::string_view content = takeBlock(css);
      const bool holds = (startsWithIgnoreCase(prelude, "@media") && mediaHold(prelude.substr(6))) ||
                         (startsWithIgnoreCase(prelude, "@supports") && isSupported(prelude.substr(9)));
      if (holds && depth < kDeepest) {
        addRules(content, depth + 1);
      }
      continue;
    }
    css.remove_prefix(std::min(brace + 1, css.size()));
    addRule(prelude, takeBlock(css));
  }
}

void StyleSheet::addRule(std::string_view selectors, std::string_view block) {
  const DeclarationBlock declarations = parseDeclarations(block);
  if (!declarations.normal.says() && !declarations.important.says()) {
    return;
  }
  const auto blockIndex = static_cast<std::uint32_t>(blocks_.size());
  std::vector<Rule> parsed;
  for (bool more = true; more;) {
    const std::size_t comma = findOutsideBrackets(selectors, ",");
    more = comma < selectors.size();
    Rule rule;
    rule.block = blockIndex;
    // One that can't be read takes the others with it.
    if (!parseSelector(trim(selectors.substr(0, comma), kCssBlanks), rule)) {
      return;
    }
    if (std::none_of(rule.compounds.begin(), rule.compounds.end(), [](const Compound& part) { return part.never; })) {
      parsed.push_back(std::move(rule));
    }
    selectors.remove_prefix(std::min(comma + 1, selectors.size()));
  }
  if (!parsed.empty()) {
    blocks_.push_back(declarations);
  }
  for (Rule& rule : parsed) {
    const Compound& last = rule.compounds.front();
    const std::string key = !last.id.empty()        ? "#" + toLowerAscii(last.id)
                            : !last.classes.empty() ? "." + toLowerAscii(last.classes.front())
                            : !last.type.empty()    ? last.type
                                                    : "*";
    byKey_[key].push_back(static_cast<std::uint32_t>(rules_.size()));
    rules_.push_back(std::move(rule));
  }
}

bool StyleSheet::parseSelector(std::string_view text, Rule& rule) {
  Combinator combinator = Combinator::Descendant;
  while (!text.empty()) {
    const std::size_t end = findOutsideBrackets(text, " \t\r\n\f>+~");
    Compound compound;
    compound.toLeft = combinator;
    if (end == 0 || rule.compounds.size() == kMostCompounds ||
        !parseCompound(text.substr(0, end), compound, rule.specificity)) {
      return false;
    }
    rule.compounds.push_back(std::move(compound));
    text = trimLeft(text.substr(end), kCssBlanks);
    combinator = Combinator::Descendant;
    if (!text.empty() && std::string_view(">+~").find(text.front()) != std::string_view::npos) {
      combinator = text.front() == '>' ? Combinator::Child : text.front() == '+' ? Combinator::Next : Combinator::Following;
      text = trimLeft(text.substr(1), kCssBlanks);
      if (text.empty()) {
        return false;
      }
    }
  }
  std::reverse(rule.compounds.begin(), rule.compounds.end());
  return !rule.compounds.empty();
}

bool StyleSheet::parseCompound(std::string_view text, Compound& compound, std::uint32_t& specificity) {
  if (text.front() == '*') {
    text.remove_prefix(1);
  } else if (isNameChar(text.front())) {
    compound.type = toLowerAscii(takeName(text));
    specificity += 1;
  }
  while (!text.empty()) {
    const char kind = text.front();
    text.remove_prefix(1);
    if (kind == '#') {
      compound.id = std::string(takeName(text));
      specificity += 1U << 20;
      if (compound.id.empty()) {
        return false;
      }
    } else if (kind == '.') {
      compound.classes.emplace_back(takeName(text));
      specificity += 1U << 10;
      if (compound.classes.back().empty()) {
        return false;
      }
    } else if (kind == '[') {
      const std::size_t end = text.find(']');
      if (end == text.npos) {
        return false;
      }
      std::string_view test = trim(text.substr(0, end));
      text.remove_prefix(end + 1);
      AttributeTest attribute;
      attribute.name = toLowerAscii(takeName(test));
      test = trimLeft(test);
      if (!test.empty()) {
        attribute.kind = test.front();
        const std::size_t sign = test.find('=');
        if (sign == test.npos) {
          return false;
        }
        attribute.value = std::string(trim(trim(test.substr(sign + 1)), "\"'"));
      }
      specificity += 1U << 10;
      compound.attributes.push_back(std::move(attribute));
    } else if (kind == ':') {
      compound.never = true;
      text = trimLeft(text, ":");
      if (takeName(text).empty()) {
        return false;
      }
      if (text.starts_with('(')) {
        text.remove_prefix(std::min(findOutsideBrackets(text.substr(1), ")"), text.size() - 1) + 1);
      }
      text = trimLeft(text, ")");
    } else {
      return false;
    }
  }
  return true;
}

Declarations StyleSheet::match(const Tree& tree, std::uint32_t element) const {
  const Node& node = tree.nodes()[element];
  std::vector<const Rule*> found;
  if (!rules_.empty()) {
    collect("*", tree, element, found);
    collect(std::string(node.text), tree, element, found);
    if (const std::string_view id = tree.attribute(node, "id"); !id.empty()) {
      collect("#" + toLowerAscii(id), tree, element, found);
    }
    anyWord(tree.attribute(node, "class"), [&](std::string_view name) {
      collect("." + toLowerAscii(name), tree, element, found);
      return false;
    });
  }
  std::sort(found.begin(), found.end(), [](const Rule* a, const Rule* b) {
    return a->specificity != b->specificity ? a->specificity < b->specificity : a < b;
  });
  Declarations result;
  for (const Rule* rule : found) {
    result.override(blocks_[rule->block].normal);
  }
  const std::string_view attribute = tree.attribute(node, "style");
  const DeclarationBlock own =
      parseDeclarations(attribute.find("/*") == attribute.npos ? attribute : withoutComments(attribute));
  result.override(own.normal);
  for (const Rule* rule : found) {
    result.override(blocks_[rule->block].important);
  }
  result.override(own.important);
  return result;
}

void StyleSheet::collect(const std::string& key, const Tree& tree, std::uint32_t element,
                         std::vector<const Rule*>& found) const {
  const auto rules = byKey_.find(key);
  if (rules == byKey_.end()) {
    return;
  }
  for (const std::uint32_t index : rules->second) {
    if (matches(rules_[index], 0, tree, element)) {
      found.push_back(&rules_[index]);
    }
  }
}

// Whether the compounds from `compound` outwards fit `element` and those that stand around it. The depth of the recursion is
// the number of compounds.
bool StyleSheet::matches(const Rule& rule, std::size_t compound, const Tree& tree, std::uint32_t element) const {
  const std::size_t cost = 1 + tree.attribute(tree.nodes()[element], "class").size() / 16;
  if (workLeft_ < cost) {
    workLeft_ = 0;
    return false;
  }
  workLeft_ -= cost;
  const Compound& here = rule.compounds[compound];
  if (!matches(here, tree, element)) {
    return false;
  }
  if (compound + 1 == rule.compounds.size()) {
    return true;
  }
  const bool siblings = here.toLeft == Combinator::Next || here.toLeft == Combinator::Following;
  const bool onlyNearest = here.toLeft == Combinator::Next || here.toLeft == Combinator::Child;
  for (std::uint32_t other = element;;) {
    other = siblings ? tree.nodes()[other].previousElement : tree.nodes()[other].parent;
    if (other == kNoNode) {
      return false;
    }
    if (matches(rule, compound + 1, tree, other)) {
      return true;
    }
    if (onlyNearest) {
      return false;
    }
  }
}

bool StyleSheet::matches(const Compound& compound, const Tree& tree, std::uint32_t element) {
  const Node& node = tree.nodes()[element];
  const bool quirks = tree.quirks();
  if ((!compound.type.empty() && compound.type != node.text) ||
      (!compound.id.empty() && !same(tree.attribute(node, "id"), compound.id, quirks))) {
    return false;
  }
  for (const std::string& name : compound.classes) {
    if (!anyWord(tree.attribute(node, "class"), [&](std::string_view word) { return same(word, name, quirks); })) {
      return false;
    }
  }
  return std::all_of(compound.attributes.begin(), compound.attributes.end(), [&](const AttributeTest& test) {
    const std::string_view value = tree.attribute(node, test.name);
    if (value.data() == nullptr) {
      return false;
    }
    switch (test.kind) {
      case 0:
        return true;
      case '=':
        return value == test.value;
      case '~':
        return anyWord(value, [&](std::string_view word) { return word == test.value; });
      case '|':
        return value == test.value || value.starts_with(test.value + "-");
      case '^':
        return !test.value.empty() && value.starts_with(test.value);
      case '$':
        return !test.value.empty() && value.ends_with(test.value);
      case '*':
        return !test.value.empty() && value.find(test.value) != value.npos;
      default:
        return false;
    }
  });
}

}  // namespace nalvo::html
