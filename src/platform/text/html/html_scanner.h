// The tags of an HTML text one after the other, without a tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nalvo::html {

// Steps over comments, declarations, and the content of elements that have no markup in them. Linear, in constant memory.
class Scanner {
 public:
  enum class Kind : std::uint8_t { End, Text, StartTag, EndTag };

  explicit Scanner(std::string_view html) : rest_(html) {}

  // Goes to the next piece.
  Kind next();

  std::string_view text() const { return text_; }
  // In small letters, at most 32 of them.
  const std::string& name() const { return name_; }
  std::size_t attributes() const { return attributes_; }

 private:
  Kind takeTag(bool isEnd);
  void takeUpTo(std::string_view mark);
  Kind takeText(std::size_t size);
  std::size_t findRawEnd() const;

  std::string_view rest_;
  std::string_view text_;
  std::string name_;
  std::string rawName_;  // of the element whose content is text until its end tag
  std::size_t attributes_ = 0;
};

}  // namespace nalvo::html
