#include "platform/text/rtf/html_encoder.h"

#include <utility>

#include "platform/text/text.h"
#include "platform/text/utf8.h"

namespace nalvo {
namespace {

// A piece with one bad character is encoded anew, character by character; small pieces keep that rare.
constexpr std::size_t kPiece = 256;

std::unique_ptr<TextConverter> openEncoder(CodePage page) {
  auto converter = TextConverter::open(kUtf16, page);
  return converter ? std::move(converter) : TextConverter::open(kUtf16, kAnsiCodePage);
}

std::string_view bytesOf(std::u16string_view text) { return {reinterpret_cast<const char*>(text.data()), 2 * text.size()}; }

bool fits(TextConverter& trial, std::u16string_view text) {
  std::string ignored;
  const std::size_t before = trial.unmappable();
  trial.convert(bytesOf(text), ignored);
  trial.finish(ignored);
  return trial.unmappable() == before;
}

}  // namespace

HtmlEncoder::HtmlEncoder(CodePage page) : converter_(openEncoder(page)), trial_(openEncoder(page)) {}

void HtmlEncoder::update(std::u16string_view html, std::string& out) {
  std::u16string joined = std::exchange(carried_, {});
  joined += html;
  if (!joined.empty() && isHighSurrogate(joined.back())) {
    carried_.assign(1, joined.back());
    joined.pop_back();
  }
  for (std::size_t at = 0; at < joined.size();) {
    std::u16string_view piece = std::u16string_view(joined).substr(at, kPiece);
    if (isHighSurrogate(piece.back()) && at + piece.size() < joined.size()) {
      piece = std::u16string_view(joined).substr(at, kPiece + 1);
    }
    at += piece.size();
    if (isAscii(piece) || fits(*trial_, piece)) {
      converter_->convert(bytesOf(piece), out);
    } else {
      encodeEach(piece, out);
    }
  }
}

void HtmlEncoder::finish(std::string& out) {
  encodeEach(std::exchange(carried_, {}), out);
  converter_->finish(out);
}

void HtmlEncoder::encodeEach(std::u16string_view html, std::string& out) {
  for (std::size_t at = 0; at < html.size();) {
    const bool pair = isHighSurrogate(html[at]) && at + 1 < html.size() && isLowSurrogate(html[at + 1]);
    const std::u16string_view character = html.substr(at, pair ? 2 : 1);
    at += character.size();
    if (isAscii(character) || fits(*trial_, character)) {
      converter_->convert(bytesOf(character), out);
    } else {
      const char32_t codePoint = pair ? joinSurrogates(character[0], character[1]) : char32_t{character[0]};
      const bool lone = !pair && (isHighSurrogate(character[0]) || isLowSurrogate(character[0]));
      const std::string number = std::to_string(static_cast<std::uint32_t>(lone ? 0xFFFD : codePoint));
      converter_->convert(bytesOf(u"&#" + std::u16string(number.begin(), number.end()) + u";"), out);
    }
  }
}

}  // namespace nalvo
