// Any bytes decode; any text that goes out as a header comes back the same, in every kind of charset and fold.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mime/header_text.h"
#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

constexpr CodePage kPages[] = {65001, 1252,  28591, 932,  50220, 936,   950, 949,
                               50225, 54936, 1255,  1258, 20127, 65000, 951, 52936};
constexpr std::size_t kLimits[] = {76, 20, 40, 78, 998};

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void expectLinesFit(std::string_view folded, std::size_t startColumn) {
  std::size_t column = startColumn;
  for (const char c : folded) {
    column = c == '\n' ? 0 : column + 1;
    expect(column <= kLineLimit + 1);  // with the CR
    expect(c != '\0');
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const Charset* charset = findCodePage(kPages[data[0] % std::size(kPages)]);
  const HeaderFold fold{data[1] % 90U, kLimits[data[1] % std::size(kLimits)], "\r\n"};
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);

  const std::u16string decoded = decodeHeaderText(bytes, charset);
  for (const std::u16string& text : {decoded, utf8ToWide(bytes)}) {
    const std::u16string wellFormed = utf8ToWide(wideToUtf8(text));
    for (const HeaderContext context : {HeaderContext::Text, HeaderContext::Phrase}) {
      const std::string written = encodeHeaderText(text, charset, fold, context);
      expect(isAscii(written));
      expectLinesFit(written, fold.startColumn);
      expect(decodeHeaderText(unfold(written), charset) == wellFormed);
    }
  }
  const std::string folded = foldHeader(bytes, fold);
  expectLinesFit(folded, fold.startColumn);
  expect(foldHeader(unfold(folded), fold) == folded);
  return 0;
}
