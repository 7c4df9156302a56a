// RTF to text: pieces never change the result, and a text that is written as RTF comes back unit for unit.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/text/rtf/rtf_reader.h"
#include "platform/text/rtf/rtf_writer.h"

namespace {

using namespace nalvo;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::u16string read(std::string_view rtf, RtfReader::Rendering rendering, std::size_t piece) {
  RtfReader reader(rendering);
  std::u16string text;
  for (std::size_t at = 0; at < rtf.size(); at += piece) {
    reader.update(rtf.substr(at, piece), text);
  }
  reader.finish(text);
  return text;
}

// CR, LF and CR LF made CR LF.
std::u16string withLineEnds(std::u16string_view text) {
  std::u16string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' || text[i] == u'\n') {
      const bool pair = text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n';
      i += pair ? 1U : 0U;
      result += u"\r\n";
    } else {
      result.push_back(text[i]);
    }
  }
  return result;
}

std::string write(std::u16string_view text, std::size_t piece) {
  RtfWriter writer;
  std::string rtf = writer.head();
  for (std::size_t at = 0; at < text.size(); at += piece) {
    writer.update(text.substr(at, piece), rtf);
  }
  writer.finish(rtf);
  return rtf;
}

}  // namespace

// The last byte: size of a piece.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t piece = 1 + data[size - 1];
  const std::string_view in(reinterpret_cast<const char*>(data), size - 1);
  for (const auto rendering : {RtfReader::Rendering::Text, RtfReader::Rendering::EncapsulatedText}) {
    require(read(in, rendering, piece) == read(in, rendering, in.size() + 1));
  }
  std::u16string text(in.size() / 2, u'\0');
  std::memcpy(text.data(), in.data(), 2 * text.size());
  const std::string rtf = write(text, piece);
  require(rtf == write(text, text.size() + 1));
  require(read(rtf, RtfReader::Rendering::Text, piece) == withLineEnds(text));
  return 0;
}
