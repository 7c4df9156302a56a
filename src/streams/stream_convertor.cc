#include "streams/stream_convertor.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text_converter.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\StreamConvertor"};

constexpr ULONG kPiece = 0x10000;

}  // namespace

std::shared_ptr<StreamConvertor> StreamConvertor::instance() {
  static std::mutex lock;
  static std::weak_ptr<StreamConvertor> shared;
  const std::lock_guard guard(lock);
  std::shared_ptr<StreamConvertor> convertor = shared.lock();
  if (!convertor) {
    convertor.reset(new StreamConvertor);
    shared = convertor;
  }
  return convertor;
}

void StreamConvertor::streamToStream(std::uint32_t fromCodePage, std::uint32_t toCodePage, IStream* source,
                                     IStream* destination) const {
  const char* function = "StreamConvertor::streamToStream";
  if (source == nullptr || destination == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  // The converter goes through UTF-16 by itself, piece by piece, so no stream stands between.
  const auto converter = TextConverter::open(fromCodePage, toCodePage);
  if (!converter) {
    throwHResult(E_FAIL, kSource.at(function));
  }
  std::vector<char> piece(kPiece);
  std::string converted;
  for (ULONG read = 1; read != 0;) {
    read = 0;
    checkHResult(source->Read(piece.data(), kPiece, &read), kSource.at(function));
    converted.clear();
    if (read == 0) {
      converter->finish(converted);
    } else {
      converter->convert({piece.data(), std::min(read, kPiece)}, converted);
    }
    streamUtils::detail::writeStr(destination, converted);
  }
}

}  // namespace nalvo
