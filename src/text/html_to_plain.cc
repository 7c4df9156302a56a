#include "text/html_to_plain.h"

#include <algorithm>
#include <array>
#include <string>

#include "diagnostics/boundary.h"
#include "diagnostics/thread.h"
#include "platform/com/lock.h"
#include "platform/text/html/html_text.h"
#include "streams/stream_utils.h"

namespace nalvo::htmlToPlain {
namespace {

constexpr SourceFile kSource{".\\HtmlToPlain"};
constexpr ULONG kPiece = 0x10000;

std::string readAll(IStream* stream) {
  std::string bytes;
  std::array<char, kPiece> piece;
  for (ULONG read = 1; read != 0;) {
    read = 0;
    checkHResult(stream->Read(piece.data(), kPiece, &read), kSource.at("htmlToPlain::detail::HtmlLoader::load"));
    bytes.append(piece.data(), std::min(read, kPiece));
  }
  return bytes;
}

void convertInternal(IStream* html, IStream* plain, std::uint32_t codePage) {
  const std::u16string text = htmlToText(readAll(html), codePage);
  const std::u16string_view shown = std::u16string_view(text).substr(0, text.find(u'\0'));
  streamUtils::detail::writeStr(plain, shown);
}

class ConversionThread final : public Thread {
 public:
  ConversionThread(IStream* html, IStream* plain, std::uint32_t codePage)
      : Thread("ConversionThread"),
        html_(ComPtr<IStream>::retain(html)),
        plain_(ComPtr<IStream>::retain(plain)),
        codePage_(codePage) {}
  ~ConversionThread() override { stopAndWait(); }

  HRESULT result() const {
    const CLock::Guard guard(lock_);
    return result_;
  }

 protected:
  void execute() override {
    const HRESULT hr = atBoundary([this] { convertInternal(html_.get(), plain_.get(), codePage_); });
    const CLock::Guard guard(lock_);
    result_ = hr;
  }

 private:
  const ComPtr<IStream> html_;
  const ComPtr<IStream> plain_;
  const std::uint32_t codePage_;
  CLock lock_;
  HRESULT result_ = E_FAIL;  // of a thread that never ran
};

}  // namespace

void convert(IStream* html, IStream* plain, std::uint32_t codePage) {
  const SourceLocation here = kSource.at("htmlToPlain::convert");
  if (html == nullptr || plain == nullptr) {
    throwHResult(E_INVALIDARG, here);
  }
  ConversionThread thread(html, plain, codePage);
  thread.start();
  thread.wait();
  checkHResult(thread.result(), here);
}

}  // namespace nalvo::htmlToPlain
