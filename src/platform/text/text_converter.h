// Conversion of text between code pages, piece by piece.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo {

// Converts a text that comes in pieces of any size; a character cut by the end of a piece waits for the next. UTF-16 is
// little-endian bytes. Depends on no locale. One object belongs to one thread at a time.
class TextConverter {
 public:
  // What happens to a character that can't be read or that the target lacks.
  enum class Policy {
    Substitute,  // "?" takes its place, U+FFFD when the target is Unicode; it is counted
    Skip,        // it is left out and not counted
  };

  // Null for a page that the table lacks.
  static std::unique_ptr<TextConverter> open(CodePage from, CodePage to, Policy policy = Policy::Substitute);

  virtual ~TextConverter() = default;
  TextConverter(const TextConverter&) = delete;
  TextConverter& operator=(const TextConverter&) = delete;

  // Appends what `in` gives to `out`.
  virtual void convert(std::string_view in, std::string& out) = 0;
  // Ends the text: a character cut short is bad, the target goes back to its first shift state. The converter then stands at
  // the start of a new text; the count stays.
  virtual void finish(std::string& out) = 0;
  // How many characters could not be read or written so far.
  virtual std::size_t unmappable() const = 0;

 protected:
  TextConverter() = default;
};

// A whole text at once. A page that the table lacks counts as Windows-1252. `unmappable` (may be null) takes the count.
std::u16string decodeText(std::string_view bytes, CodePage from, std::size_t* unmappable = nullptr);
std::string encodeText(std::u16string_view text, CodePage to, std::size_t* unmappable = nullptr);

}  // namespace nalvo
