// HTML out of RTF, and its bytes: pieces never change the result, and no character is lost in any page.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/text/rtf/html_encoder.h"
#include "platform/text/rtf/rtf_reader.h"

namespace {

using namespace nalvo;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::string htmlOf(std::string_view rtf, std::size_t piece, CodePage page) {
  RtfReader reader(RtfReader::Rendering::EncapsulatedHtml);
  HtmlEncoder encoder(page);
  std::string bytes;
  std::u16string html;
  for (std::size_t at = 0; at < rtf.size(); at += piece) {
    html.clear();
    reader.update(rtf.substr(at, piece), html);
    encoder.update(html, bytes);
  }
  html.clear();
  reader.finish(html);
  encoder.update(html, bytes);
  encoder.finish(bytes);
  return bytes;
}

}  // namespace

// The last byte: page in the low 2 bits, size of a piece in the others.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  constexpr CodePage kPages[] = {1252, 65001, 932, 20127};
  const CodePage page = kPages[data[size - 1] & 3];
  const std::size_t piece = 1 + (data[size - 1] >> 2);
  const std::string_view in(reinterpret_cast<const char*>(data), size - 1);
  (void)rtfNativeBody(in);
  require(htmlOf(in, piece, page) == htmlOf(in, in.size() + 1, page));
  return 0;
}
