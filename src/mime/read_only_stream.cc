#include "mime/read_only_stream.h"

#include <algorithm>
#include <array>
#include <limits>

#include "diagnostics/boundary.h"
#include "streams/data_stream.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\ReadOnlyStream"};

class WindowStream final : public ReadOnlyStream {
 public:
  WindowStream(std::shared_ptr<Source> source, Span span, bool isWhole)
      : source_(std::move(source)), span_(span), isWhole_(isWhole) {}

  HRESULT Clone(IStream** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] {
      auto* clone = new WindowStream(source_, span_, isWhole_);
      clone->position_ = position_;
      *out = clone;
    });
  }

 private:
  std::uint64_t size() override { return isWhole_ ? source_->size() : span_.length; }
  std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t bytes) override {
    return source_->read(span_.offset + offset, buffer, bytes);
  }

  std::shared_ptr<Source> source_;
  Span span_;
  bool isWhole_;
};

// The data of a lazy stream and its clones.
struct LazyData {
  std::function<void(IStream*)> fill;
  std::shared_ptr<Source> source;

  Source& filled() {
    if (source == nullptr) {
      const ComPtr<IStream> scratch = makeScratchStream();
      fill(scratch.get());
      source = Source::whole(scratch.get());
      fill = nullptr;
    }
    return *source;
  }
};

class LazyStream final : public ReadOnlyStream {
 public:
  explicit LazyStream(std::shared_ptr<LazyData> data) : data_(std::move(data)) {}

  HRESULT Clone(IStream** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] {
      auto* clone = new LazyStream(data_);
      clone->position_ = position_;
      *out = clone;
    });
  }

 private:
  std::uint64_t size() override { return data_->filled().size(); }
  std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t bytes) override {
    return data_->filled().read(offset, buffer, bytes);
  }

  std::shared_ptr<LazyData> data_;
};

}  // namespace

void* ReadOnlyStream::queryOther(const IID& iid) noexcept {
  return iid == ISequentialStream::kIid ? static_cast<ISequentialStream*>(this) : nullptr;
}

HRESULT ReadOnlyStream::Read(void* buffer, ULONG bytes, ULONG* read) noexcept {
  if (read != nullptr) {
    *read = 0;
  }
  if (buffer == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  return atBoundary([&] {
    const std::uint64_t all = size();
    const std::uint64_t left = position_ < all ? all - position_ : 0;
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, left));
    const std::size_t got = want == 0 ? 0 : readAt(position_, static_cast<char*>(buffer), want);
    position_ += got;
    if (read != nullptr) {
      *read = static_cast<ULONG>(got);
    }
  });
}

HRESULT ReadOnlyStream::Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept {
  return atBoundary([&]() -> HRESULT {
    std::uint64_t base = 0;
    switch (origin) {
      case STREAM_SEEK_SET:
        break;
      case STREAM_SEEK_CUR:
        base = position_;
        break;
      case STREAM_SEEK_END:
        base = size();
        break;
      default:
        return STG_E_INVALIDFUNCTION;
    }
    const std::uint64_t distance = move < 0 ? 0 - static_cast<std::uint64_t>(move) : static_cast<std::uint64_t>(move);
    if (move < 0 ? distance > base : distance > std::numeric_limits<std::uint64_t>::max() - base) {
      return STG_E_INVALIDFUNCTION;
    }
    position_ = move < 0 ? base - distance : base + distance;
    if (newPosition != nullptr) {
      *newPosition = position_;
    }
    return S_OK;
  });
}

HRESULT ReadOnlyStream::CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read,
                               std::uint64_t* written) noexcept {
  std::uint64_t readSoFar = 0;
  std::uint64_t writtenSoFar = 0;
  HRESULT hr = destination == nullptr ? STG_E_INVALIDPOINTER : S_OK;
  std::unique_ptr<char[]> buffer(destination == nullptr ? nullptr : new (std::nothrow) char[Source::kWindow]);
  if (succeeded(hr) && buffer == nullptr) {
    hr = E_OUTOFMEMORY;
  }
  while (succeeded(hr) && readSoFar < bytes) {
    const ULONG want = static_cast<ULONG>(std::min<std::uint64_t>(bytes - readSoFar, Source::kWindow));
    ULONG got = 0;
    hr = Read(buffer.get(), want, &got);
    if (failed(hr) || got == 0) {
      break;
    }
    readSoFar += got;
    ULONG put = 0;
    hr = destination->Write(buffer.get(), got, &put);
    writtenSoFar += put;
    if (succeeded(hr) && put < got) {
      hr = STG_E_MEDIUMFULL;
    }
  }
  if (read != nullptr) {
    *read = readSoFar;
  }
  if (written != nullptr) {
    *written = writtenSoFar;
  }
  return hr;
}

HRESULT ReadOnlyStream::Write(const void*, ULONG, ULONG* written) noexcept {
  if (written != nullptr) {
    *written = 0;
  }
  return STG_E_ACCESSDENIED;
}

HRESULT ReadOnlyStream::SetSize(std::uint64_t) noexcept { return STG_E_ACCESSDENIED; }
HRESULT ReadOnlyStream::Commit(DWORD) noexcept { return S_OK; }
HRESULT ReadOnlyStream::Revert() noexcept { return S_OK; }
HRESULT ReadOnlyStream::LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }
HRESULT ReadOnlyStream::UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }

HRESULT ReadOnlyStream::Stat(STATSTG* stat, DWORD) noexcept {
  if (stat == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  *stat = {};
  return atBoundary([&] {
    constexpr DWORD kTypeStream = 2;
    stat->type = kTypeStream;
    stat->cbSize = size();
  });
}

ComPtr<IStream> makeWindowStream(std::shared_ptr<Source> source, Span span) {
  return ComPtr<IStream>::attach(new WindowStream(std::move(source), span, false));
}

ComPtr<IStream> makeWindowStream(std::shared_ptr<Source> source) {
  return ComPtr<IStream>::attach(new WindowStream(std::move(source), {}, true));
}

ComPtr<IStream> makeLazyStream(std::function<void(IStream*)> fill) {
  return ComPtr<IStream>::attach(new LazyStream(std::make_shared<LazyData>(LazyData{std::move(fill), nullptr})));
}

ComPtr<IStream> makeScratchStream() {
  ComPtr<IStream> stream;
  checkHResult(DataStream::create<AdaptiveStreamData>(stream.put()), kSource.at("ReadOnlyStream::makeScratchStream"));
  return stream;
}

void writeAll(IStream* stream, std::string_view text) {
  while (!text.empty()) {
    const ULONG want = static_cast<ULONG>(std::min<std::size_t>(text.size(), 1U << 30));
    ULONG written = 0;
    checkHResult(stream->Write(text.data(), want, &written), kSource.at("ReadOnlyStream::writeAll"));
    if (written == 0) {
      throwHResult(STG_E_MEDIUMFULL, kSource.at("ReadOnlyStream::writeAll"));
    }
    text.remove_prefix(std::min(written, want));
  }
}

}  // namespace nalvo::mime
