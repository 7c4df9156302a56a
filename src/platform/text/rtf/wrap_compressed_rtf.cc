#include "platform/text/rtf/wrap_compressed_rtf.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/text/rtf/compressed_rtf.h"
#include "platform/text/rtf/html_encoder.h"
#include "platform/text/rtf/one_way_stream.h"
#include "platform/text/rtf/rtf_reader.h"

namespace nalvo {
namespace {

constexpr ULONG kPiece = 0x2000;

// The strings that grow here are the one thing that can throw.
template <typename Body>
HRESULT guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

// What RTF becomes on its way to the reader of the stream.
class BodyFilter {
 public:
  virtual ~BodyFilter() = default;
  virtual void update(std::string_view rtf, std::string& out) = 0;
  virtual void finish(std::string&) {}
};

class RtfFilter final : public BodyFilter {
 public:
  void update(std::string_view rtf, std::string& out) override { out.append(rtf); }
};

class HtmlFilter final : public BodyFilter {
 public:
  explicit HtmlFilter(CodePage page) : encoder_(page) {}

  void update(std::string_view rtf, std::string& out) override {
    reader_.update(rtf, text_);
    encodeText(out);
  }
  void finish(std::string& out) override {
    reader_.finish(text_);
    encodeText(out);
    encoder_.finish(out);
  }

 private:
  void encodeText(std::string& out) {
    encoder_.update(text_, out);
    text_.clear();
  }

  RtfReader reader_{RtfReader::Rendering::EncapsulatedHtml};
  HtmlEncoder encoder_;
  std::u16string text_;
};

class TextFilter final : public BodyFilter {
 public:
  explicit TextFilter(CodePage page) : converter_(TextConverter::open(kUtf16, page)) {
    if (!converter_) {
      converter_ = TextConverter::open(kUtf16, kAnsiCodePage);
    }
  }

  void update(std::string_view rtf, std::string& out) override {
    reader_.update(rtf, text_);
    encodeText(out);
  }
  void finish(std::string& out) override {
    reader_.finish(text_);
    encodeText(out);
    converter_->finish(out);
  }

 private:
  void encodeText(std::string& out) {
    converter_->convert({reinterpret_cast<const char*>(text_.data()), 2 * text_.size()}, out);
    text_.clear();
  }

  RtfReader reader_{RtfReader::Rendering::EncapsulatedText};
  std::unique_ptr<TextConverter> converter_;
  std::u16string text_;
};

class UnwrapStream final : public OneWayStream {
 public:
  explicit UnwrapStream(IStream* compressed) : compressed_(ComPtr<IStream>::retain(compressed)) {}

  // Looks at the beginning of the text, and makes what comes out its native body.
  HRESULT open(const RTF_WCSINFO& info, ULONG* kind) {
    *kind = MAPI_NATIVE_BODY_TYPE_RTF;
    std::string rtf;
    while (rtf.size() < kRtfHead && !sourceEnded_) {
      if (const HRESULT hr = decodePiece(rtf); failed(hr)) {
        return hr;
      }
    }
    if ((info.ulFlags & MAPI_NATIVE_BODY) != 0) {
      *kind = static_cast<ULONG>(rtfNativeBody(rtf));
    }
    if (*kind == MAPI_NATIVE_BODY_TYPE_HTML) {
      filter_ = std::make_unique<HtmlFilter>(info.ulOutCodePage);
    } else if (*kind == MAPI_NATIVE_BODY_TYPE_PLAINTEXT) {
      filter_ = std::make_unique<TextFilter>(info.ulOutCodePage);
    } else {
      filter_ = std::make_unique<RtfFilter>();
    }
    filter_->update(rtf, ready_);
    return finishAtEnd();
  }

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    ULONG done = 0;
    const HRESULT hr = buffer == nullptr ? STG_E_INVALIDPOINTER : guarded([&] { return fill(buffer, bytes, done); });
    if (read != nullptr) {
      *read = done;
    }
    return hr;
  }

 private:
  // A failure shows when all that came before it has been read.
  HRESULT fill(void* buffer, ULONG bytes, ULONG& done) {
    while (done < bytes) {
      if (readyAt_ == ready_.size()) {
        ready_.clear();
        readyAt_ = 0;
        if (sourceEnded_) {
          break;
        }
        if (const HRESULT hr = refill(); failed(hr)) {
          failure_ = hr;
          sourceEnded_ = true;
        }
        continue;
      }
      const auto taken = static_cast<ULONG>(std::min<std::size_t>(bytes - done, ready_.size() - readyAt_));
      std::memcpy(static_cast<char*>(buffer) + done, ready_.data() + readyAt_, taken);
      readyAt_ += taken;
      done += taken;
    }
    return done != 0 ? S_OK : failure_;
  }

  HRESULT refill() {
    std::string rtf;
    if (const HRESULT hr = decodePiece(rtf); failed(hr)) {
      return hr;
    }
    filter_->update(rtf, ready_);
    return finishAtEnd();
  }

  HRESULT finishAtEnd() {
    if (sourceEnded_ && !std::exchange(finished_, true)) {
      filter_->finish(ready_);
      failure_ = decoder_.intact() ? S_OK : MAPI_E_CORRUPT_DATA;
    }
    return S_OK;
  }

  HRESULT decodePiece(std::string& rtf) {
    char piece[kPiece];
    ULONG read = 0;
    const HRESULT hr = compressed_->Read(piece, sizeof(piece), &read);
    if (failed(hr)) {
      return hr;
    }
    sourceEnded_ = read == 0;
    decoder_.update({piece, std::min(read, kPiece)}, rtf);
    return S_OK;
  }

  ComPtr<IStream> compressed_;
  CompressedRtfDecoder decoder_;
  std::unique_ptr<BodyFilter> filter_;
  bool sourceEnded_ = false;
  bool finished_ = false;
  HRESULT failure_ = S_OK;
  std::string ready_;
  std::size_t readyAt_ = 0;
};

class WrapStream final : public OneWayStream {
 public:
  WrapStream(IStream* compressed, ULONG flags)
      : compressed_(ComPtr<IStream>::retain(compressed)),
        encoder_((flags & STORE_UNCOMPRESSED_RTF) != 0 ? CompressedRtfEncoder::Form::Plain
                                                       : CompressedRtfEncoder::Form::Compressed) {}

  // Leaves room for the header.
  HRESULT open() {
    const char room[kCompressedRtfHeader] = {};
    const HRESULT hr = compressed_->Seek(0, STREAM_SEEK_CUR, &start_);
    return failed(hr) ? hr : writeWhole(compressed_.get(), room, sizeof(room));
  }

  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override {
    const HRESULT hr = guarded([&]() -> HRESULT {
      if (committed_) {
        return STG_E_ACCESSDENIED;
      }
      if (buffer == nullptr) {
        return STG_E_INVALIDPOINTER;
      }
      std::string content;
      encoder_.update({static_cast<const char*>(buffer), bytes}, content);
      return writeWhole(compressed_.get(), content.data(), content.size());
    });
    if (written != nullptr) {
      *written = failed(hr) ? 0 : bytes;
    }
    return hr;
  }

  HRESULT Commit(DWORD) noexcept override {
    if (std::exchange(committed_, true)) {
      return S_OK;
    }
    return guarded([&]() -> HRESULT {
      std::string content;
      encoder_.finish(content);
      if (!encoder_.fits()) {
        return MAPI_E_TOO_BIG;
      }
      const auto header = encoder_.header();
      std::uint64_t end = 0;
      HRESULT hr = writeWhole(compressed_.get(), content.data(), content.size());
      hr = failed(hr) ? hr : compressed_->Seek(0, STREAM_SEEK_CUR, &end);
      hr = failed(hr) ? hr : compressed_->SetSize(end);
      hr = failed(hr) ? hr : compressed_->Seek(static_cast<std::int64_t>(start_), STREAM_SEEK_SET, nullptr);
      hr = failed(hr) ? hr : writeWhole(compressed_.get(), header.data(), header.size());
      return failed(hr) ? hr : compressed_->Seek(static_cast<std::int64_t>(end), STREAM_SEEK_SET, nullptr);
    });
  }

 private:
  ComPtr<IStream> compressed_;
  CompressedRtfEncoder encoder_;
  std::uint64_t start_ = 0;
  bool committed_ = false;
};

}  // namespace

HRESULT WrapCompressedRTFStreamEx(IStream* compressed, const RTF_WCSINFO* info, IStream** wrapped,
                                  RTF_WCSRETINFO* result) noexcept {
  if (wrapped != nullptr) {
    *wrapped = nullptr;
  }
  if (compressed == nullptr || info == nullptr || wrapped == nullptr || result == nullptr || info->size != sizeof(*info) ||
      result->size != sizeof(*result)) {
    return E_INVALIDARG;
  }
  result->ulStreamFlags = MAPI_NATIVE_BODY_TYPE_RTF;
  return guarded([&]() -> HRESULT {
    HRESULT hr;
    if ((info->ulFlags & MAPI_MODIFY) != 0) {
      const auto stream = makeCom<WrapStream>(compressed, info->ulFlags);
      hr = stream->open();
      *wrapped = failed(hr) ? nullptr : ComPtr<IStream>(stream.as<IStream>()).detach();
    } else {
      const auto stream = makeCom<UnwrapStream>(compressed);
      hr = stream->open(*info, &result->ulStreamFlags);
      *wrapped = failed(hr) ? nullptr : ComPtr<IStream>(stream.as<IStream>()).detach();
    }
    return hr;
  });
}

}  // namespace nalvo
