#include "platform/text/html/html_scanner.h"

#include <algorithm>

#include "platform/text/text.h"

namespace nalvo::html {
namespace {

constexpr std::size_t kLongestName = 32;

constexpr std::string_view kRawElements[] = {"iframe", "noembed",  "noframes", "plaintext", "script",
                                             "style",  "textarea", "title",    "xmp"};

constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

}  // namespace

Scanner::Kind Scanner::next() {
  while (!rest_.empty()) {
    if (!rawName_.empty()) {
      const std::size_t end = findRawEnd();
      rawName_.clear();
      if (end != 0) {
        return takeText(end);
      }
    }
    if (rest_.front() != '<') {
      return takeText(std::min(rest_.find('<'), rest_.size()));
    }
    const char second = rest_.size() > 1 ? rest_[1] : ' ';
    if (isLetter(second)) {
      rest_.remove_prefix(1);
      return takeTag(false);
    }
    if (second == '/' && rest_.size() > 2 && isLetter(rest_[2])) {
      rest_.remove_prefix(2);
      return takeTag(true);
    }
    if (rest_.starts_with("<!--")) {
      rest_.remove_prefix(rest_.starts_with("<!-->") ? 2 : 4);
      takeUpTo("-->");
    } else if (second == '!' || second == '/' || second == '?') {
      takeUpTo(">");
    } else {
      return takeText(1);
    }
  }
  return Kind::End;
}

Scanner::Kind Scanner::takeText(std::size_t size) {
  text_ = rest_.substr(0, size);
  rest_.remove_prefix(text_.size());
  return Kind::Text;
}

void Scanner::takeUpTo(std::string_view mark) {
  const std::size_t at = rest_.find(mark);
  rest_.remove_prefix(at == rest_.npos ? rest_.size() : at + mark.size());
}

// Where the end tag of the raw element begins.
std::size_t Scanner::findRawEnd() const {
  for (std::size_t at = rest_.find("</"); at != rest_.npos; at = rest_.find("</", at + 2)) {
    const std::string_view name = rest_.substr(at + 2, rawName_.size() + 1);
    if (startsWithIgnoreCase(name, rawName_) && (name.size() == rawName_.size() || !isLetter(name.back()))) {
      return rawName_ == "plaintext" ? rest_.size() : at;
    }
  }
  return rest_.size();
}

Scanner::Kind Scanner::takeTag(bool isEnd) {
  std::size_t i = 0;
  const auto at = [this](std::size_t place) { return place < rest_.size() ? rest_[place] : '>'; };
  while (!isBlank(at(i)) && at(i) != '/' && at(i) != '>') {
    ++i;
  }
  name_ = toLowerAscii(rest_.substr(0, std::min(i, kLongestName)));
  attributes_ = 0;
  while (at(i) != '>') {
    if (isBlank(at(i)) || at(i) == '/') {
      ++i;
      continue;
    }
    ++attributes_;
    // A name, which may begin with "=".
    ++i;
    while (!isBlank(at(i)) && at(i) != '/' && at(i) != '>' && at(i) != '=') {
      ++i;
    }
    std::size_t value = i;
    while (isBlank(at(value))) {
      ++value;
    }
    if (at(value) != '=') {
      continue;
    }
    i = value + 1;
    while (isBlank(at(i))) {
      ++i;
    }
    if (at(i) == '"' || at(i) == '\'') {
      const std::size_t end = rest_.find(at(i), i + 1);
      i = end == rest_.npos ? rest_.size() : end + 1;
    } else {
      while (!isBlank(at(i)) && at(i) != '>') {
        ++i;
      }
    }
  }
  rest_.remove_prefix(std::min(i + 1, rest_.size()));
  if (!isEnd && std::find(std::begin(kRawElements), std::end(kRawElements), name_) != std::end(kRawElements)) {
    rawName_ = name_;
  }
  return isEnd ? Kind::EndTag : Kind::StartTag;
}

}  // namespace nalvo::html
