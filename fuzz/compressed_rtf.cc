// Compressed RTF: pieces never change the result, the output is bounded by the input, and what is encoded comes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/text/rtf/compressed_rtf.h"

namespace {

using namespace nalvo;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::string decode(std::string_view bytes, std::size_t piece, bool& intact) {
  CompressedRtfDecoder decoder;
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    decoder.update(bytes.substr(at, piece), text);
  }
  intact = decoder.intact();
  return text;
}

std::string encode(std::string_view text, std::size_t piece, CompressedRtfEncoder::Form form) {
  CompressedRtfEncoder encoder(form);
  std::string content;
  for (std::size_t at = 0; at < text.size(); at += piece) {
    encoder.update(text.substr(at, piece), content);
  }
  encoder.finish(content);
  const auto header = encoder.header();
  return std::string(header.data(), header.size()) + content;
}

}  // namespace

// The last byte: size of a piece.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t piece = 1 + data[size - 1];
  const std::string_view in(reinterpret_cast<const char*>(data), size - 1);
  bool intact = false;
  bool intactAtOnce = false;
  const std::string text = decode(in, piece, intact);
  require(text == decode(in, in.size() + 1, intactAtOnce) && intact == intactAtOnce);
  require(text.size() <= 9 * in.size() + 17);
  for (const auto form : {CompressedRtfEncoder::Form::Compressed, CompressedRtfEncoder::Form::Plain}) {
    const std::string compressed = encode(in, piece, form);
    require(compressed == encode(in, in.size() + 1, form));
    require(decode(compressed, piece, intact) == in && intact);
  }
  return 0;
}
