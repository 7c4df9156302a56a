// HTML as bytes of a code page.
#pragma once

#include <string>
#include <string_view>

#include "platform/text/text_converter.h"

namespace nalvo {

// Encodes HTML that comes in pieces. A character that the page lacks becomes a numeric reference, so none is lost where a
// reference is understood.
class HtmlEncoder {
 public:
  // A page that the table lacks counts as Windows-1252.
  explicit HtmlEncoder(CodePage page);

  void update(std::u16string_view html, std::string& out);
  void finish(std::string& out);

 private:
  void encodeEach(std::u16string_view html, std::string& out);

  std::unique_ptr<TextConverter> converter_;
  // For trying out whether a text fits.
  std::unique_ptr<TextConverter> trial_;
  std::u16string carried_;  // the first half of a pair
};

}  // namespace nalvo
