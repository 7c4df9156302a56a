#include "platform/text/rtf/rtf_writer.h"

#include <utility>

#include "platform/text/windows1252.h"

namespace nalvo {

RtfWriter::RtfWriter(std::vector<std::uint32_t> blanks) : blanks_(std::move(blanks)) {}

std::string RtfWriter::head() const {
  return "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial;}}\r\n"
         "\\uc1\\pard\\plain\\f0\\fs20 ";
}

void RtfWriter::update(std::u16string_view text, std::string& out) {
  for (const char16_t unit : text) {
    const bool secondHalf = std::exchange(afterCarriageReturn_, unit == u'\r') && unit == u'\n';
    if (secondHalf) {
      continue;
    }
    putBlanks(out);
    ++place_;
    if (unit == u'\r' || unit == u'\n') {
      endParagraph(out);
    } else {
      put(unit, out);
    }
  }
}

void RtfWriter::finish(std::string& out) {
  for (; nextBlank_ < blanks_.size(); ++nextBlank_) {
    out.push_back(' ');
  }
  // An empty text has no paragraph to end.
  if (place_ != 0 || !blanks_.empty()) {
    endParagraph(out);
  }
  out += "}\r\n";
}

void RtfWriter::put(char16_t unit, std::string& out) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (unit == u'\\' || unit == u'{' || unit == u'}') {
    out.push_back('\\');
    out.push_back(static_cast<char>(unit));
  } else if (unit == u'\t') {
    out += "\\tab ";
  } else if (unit >= 0x20 && unit < 0x7F) {
    out.push_back(static_cast<char>(unit));
  } else if (const int byte = unitToAnsi(unit); byte >= 0x80) {
    out += "\\'";
    out.push_back(kDigits[static_cast<std::size_t>(byte >> 4)]);
    out.push_back(kDigits[static_cast<std::size_t>(byte & 0xF)]);
  } else {
    // The number has 16 bits and a sign.
    out += "\\u" + std::to_string(static_cast<std::int16_t>(unit)) + "?";
  }
}

void RtfWriter::endParagraph(std::string& out) { out += "\\par\r\n"; }

// The list may name a place twice; the text moves on by the blanks that went in before it.
void RtfWriter::putBlanks(std::string& out) {
  for (; nextBlank_ < blanks_.size() && blanks_[nextBlank_] <= place_; ++nextBlank_) {
    out.push_back(' ');
  }
}

}  // namespace nalvo
