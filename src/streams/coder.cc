#include "streams/coder.h"

#include <algorithm>
#include <memory>

#include "diagnostics/boundary.h"
#include "platform/com/com_ptr.h"
#include "streams/stream_utils.h"
#include "streams/transfer_codecs.h"

namespace nalvo::Coder {
namespace {

constexpr SourceFile kSource{".\\Coder"};

constexpr std::uint32_t kBufferSize = 0x40000;
// Codecs get pieces of this size, so that what they give stays small too.
constexpr std::uint32_t kPiece = 0x4000;
constexpr std::uint32_t kEncoderLimit = 0x20000000;
// The size that a source tells may be a lie.
constexpr std::uint64_t kReserveAtMost = 16 * 1024 * 1024;
// A source that gave nothing so many times in a row is not asked again.
constexpr int kFailuresBeforeGivingUp = 4096;

}  // namespace

namespace detail {

// Gives as many bytes as the source had at the start, whatever its reads answer.
class SourceStreamDataHolder {
 public:
  explicit SourceStreamDataHolder(IStream* stream) : stream_(ComPtr<IStream>::retain(stream)), size_(streamSize()) {}

  std::uint32_t size() const { return size_; }

  // The next bytes, at most kPiece; empty at the end. Valid until the next call.
  std::string_view next() {
    if (left_ == 0) {
      return {};
    }
    if (position_ == count_) {
      fill();
    }
    const std::uint32_t piece = std::min({kPiece, count_ - position_, left_});
    const std::string_view bytes(buffer_.get() + position_, piece);
    position_ += piece;
    left_ -= piece;
    return bytes;
  }

 private:
  std::uint32_t streamSize() {
    const char* function = "Coder::detail::SourceStreamDataHolder::streamSize";
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    checkHResult(stream_->Seek(0, STREAM_SEEK_CUR, &start), kSource.at(function));
    checkHResult(stream_->Seek(0, STREAM_SEEK_END, &end), kSource.at(function));
    checkHResult(stream_->Seek(static_cast<std::int64_t>(start), STREAM_SEEK_SET, nullptr), kSource.at(function));
    const std::uint64_t bytes = end - std::min(start, end);
    if (bytes > UINT32_MAX) {
      throwHResult(MAPI_E_TOO_BIG, kSource.at(function));
    }
    return static_cast<std::uint32_t>(bytes);
  }

  void fill() {
    if (!buffer_) {
      buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
    }
    position_ = 0;
    count_ = 0;
    if (failures_ < kFailuresBeforeGivingUp) {
      ULONG read = 0;
      const HRESULT hr = stream_->Read(buffer_.get(), kBufferSize, &read);
      count_ = failed(hr) ? 0 : std::min<std::uint32_t>(read, kBufferSize);
    }
    if (count_ > 0) {
      failures_ = 0;
      return;
    }
    // One zero byte for each read that gave nothing.
    count_ = ++failures_ < kFailuresBeforeGivingUp ? 1 : kBufferSize;
    std::fill_n(buffer_.get(), count_, '\0');
  }

  ComPtr<IStream> stream_;
  std::uint32_t size_;
  std::unique_ptr<char[]> buffer_;
  std::uint32_t count_ = 0;
  std::uint32_t position_ = 0;
  std::uint32_t left_ = size_;
  int failures_ = 0;
};

class DestStreamDataHolder {
 public:
  // `expected` bytes will come, more or less.
  DestStreamDataHolder(IStream* stream, std::uint64_t expected)
      : stream_(stream),
        capacity_(static_cast<std::uint32_t>(std::clamp<std::uint64_t>(expected, 1, kBufferSize))),
        buffer_(std::make_unique_for_overwrite<char[]>(capacity_)) {
    checkHResult(stream_->SetSize(expected), kSource.at("Coder::detail::DestStreamDataHolder::init"));
  }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto taken = static_cast<std::uint32_t>(std::min<std::size_t>(bytes.size(), capacity_ - used_));
      std::copy_n(bytes.data(), taken, buffer_.get() + used_);
      used_ += taken;
      bytes.remove_prefix(taken);
      if (used_ == capacity_) {
        writeStream(kSource.at("Coder::detail::DestStreamDataHolder::writeStream"));
      }
    }
  }

  void finish() {
    const SourceLocation here = kSource.at("Coder::detail::DestStreamDataHolder::finish");
    if (used_ > 0) {
      writeStream(here);
    }
    checkHResult(stream_->SetSize(written_), here);
  }

 private:
  void writeStream(const SourceLocation& where) {
    // A stream that takes less gets the rest in further calls.
    for (std::uint32_t at = 0; at < used_;) {
      ULONG done = 0;
      checkHResult(stream_->Write(buffer_.get() + at, used_ - at, &done), where);
      if (done == 0) {
        throwHResult(STG_E_MEDIUMFULL, where);
      }
      at += std::min(done, used_ - at);
    }
    written_ += used_;
    used_ = 0;
  }

  IStream* stream_;
  std::uint64_t written_ = 0;
  std::uint32_t capacity_;
  std::unique_ptr<char[]> buffer_;
  std::uint32_t used_ = 0;
};

}  // namespace detail

namespace {

template <typename Codec>
void runCodec(Codec codec, detail::SourceStreamDataHolder& source, IStream* destination, std::uint64_t expected) {
  detail::DestStreamDataHolder out(destination, expected);
  std::string piece;
  for (std::string_view in = source.next(); !in.empty(); in = source.next()) {
    piece.clear();
    codec.update(in, piece);
    out.write(piece);
  }
  piece.clear();
  codec.finish(piece);
  out.write(piece);
  out.finish();
}

void checkStreams(IStream* source, IStream* destination, const SourceLocation& where) {
  if (source == nullptr || destination == nullptr) {
    throwHResult(E_INVALIDARG, where);
  }
}

// Runs the work on the destination; empties it if that fails, rewinds it if not.
template <typename Work>
void onDestination(IStream* destination, Work work) {
  const auto held = ComPtr<IStream>::retain(destination);
  try {
    work();
  } catch (const std::exception&) {
    (void)held->SetSize(0);
    throw;
  }
  streamUtils::rewind(destination);
}

}  // namespace

void decodeQP(IStream* source, IStream* destination) {
  checkStreams(source, destination, kSource.at("Coder::decodeQP"));
  detail::SourceStreamDataHolder in(source);
  onDestination(destination, [&] { runCodec(QpDecoder(), in, destination, in.size()); });
}

void decodeBase64(IStream* source, IStream* destination) {
  checkStreams(source, destination, kSource.at("Coder::decodeBase64"));
  detail::SourceStreamDataHolder in(source);
  onDestination(destination, [&] { runCodec(Base64Decoder(), in, destination, in.size()); });
}

void encodeBase64(IStream* source, IStream* destination) {
  checkStreams(source, destination, kSource.at("Coder::encodeBase64"));
  detail::SourceStreamDataHolder in(source);
  onDestination(destination, [&] {
    if (in.size() >= kEncoderLimit) {
      throwHResult(E_FAIL, kSource.at("Coder::encodeBase64"));
    }
    const std::uint64_t expected = Base64Encoder::encodedSize(in.size(), Base64Lines::Of76);
    runCodec(Base64Encoder(Base64Lines::Of76), in, destination, expected);
  });
}

namespace {

// Runs the body of a memory form: its code, and no text on failure.
template <typename Body>
HRESULT intoText(std::string& text, Body body) noexcept {
  text.clear();
  const HRESULT hr = atBoundary(body);
  if (failed(hr)) {
    text.clear();
  }
  return hr;
}

template <typename Codec>
HRESULT runInMemory(Codec codec, const void* data, std::size_t size, std::string& text) noexcept {
  return intoText(text, [&] {
    if (data == nullptr && size > 0) {
      return E_INVALIDARG;
    }
    codec.update({static_cast<const char*>(data), size}, text);
    codec.finish(text);
    return S_OK;
  });
}

}  // namespace

HRESULT encodeBase64(IStream* source, std::string& text) noexcept {
  return intoText(text, [&] {
    if (source == nullptr) {
      return E_INVALIDARG;
    }
    detail::SourceStreamDataHolder in(source);
    if (in.size() >= kEncoderLimit) {
      return E_FAIL;
    }
    text.reserve(std::min(Base64Encoder::encodedSize(in.size(), Base64Lines::None), kReserveAtMost));
    Base64Encoder encoder(Base64Lines::None);
    for (std::string_view bytes = in.next(); !bytes.empty(); bytes = in.next()) {
      encoder.update(bytes, text);
    }
    encoder.finish(text);
    return S_OK;
  });
}

HRESULT encodeBase64(const void* data, std::size_t size, std::string& text) noexcept {
  return runInMemory(Base64Encoder(Base64Lines::None), data, size, text);
}

HRESULT decodeBase64(const void* data, std::size_t size, std::string& text) noexcept {
  return runInMemory(Base64Decoder(), data, size, text);
}

}  // namespace nalvo::Coder
