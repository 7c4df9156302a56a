// The transfer codecs: pieces never change the result, and what was encoded comes back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "streams/transfer_codecs.h"

namespace {

using namespace nalvo;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

template <typename Codec>
std::string run(Codec codec, std::string_view in, std::size_t piece) {
  std::string out;
  for (std::size_t at = 0; at < in.size(); at += piece) {
    codec.update(in.substr(at, piece), out);
  }
  codec.finish(out);
  return out;
}

template <typename Codec>
std::string checkPieces(const Codec& codec, std::string_view in, std::size_t piece) {
  std::string whole = run(codec, in, in.size() + 1);
  require(run(codec, in, piece) == whole);
  return whole;
}

}  // namespace

// The first byte: coder in the low 2 bits, size of a piece in the others.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t piece = 1 + (data[0] >> 2);
  const std::string_view in(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] & 3) {
    case 0:
      // A line end of one byte becomes two.
      require(checkPieces(QpDecoder(), in, piece).size() <= 2 * in.size());
      break;
    case 1:
      require(checkPieces(Base64Decoder(), in, piece).size() <= in.size() / 4 * 3 + 2);
      break;
    default: {
      const Base64Lines lines = (data[0] & 3) == 2 ? Base64Lines::None : Base64Lines::Of76;
      const std::string encoded = checkPieces(Base64Encoder(lines), in, piece);
      require(encoded.size() == Base64Encoder::encodedSize(in.size(), lines));
      require(run(Base64Decoder(), encoded, piece) == in);
    }
  }
  return 0;
}
