// HTML to text, by the parser and by the tag stripper.
#include <cstdint>
#include <string_view>

#include "platform/text/html/html_charset.h"
#include "platform/text/html/html_stripper.h"
#include "platform/text/html/html_text.h"

// The last byte: the code page that the caller gives.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  constexpr nalvo::CodePage kPages[] = {0, 1252, 65001, 932};
  const nalvo::CodePage page = kPages[data[size - 1] & 3];
  const std::string_view in(reinterpret_cast<const char*>(data), size - 1);
  nalvo::htmlToText(in, page);
  nalvo::html::stripTags(nalvo::html::toUtf8(in, page));
  return 0;
}
