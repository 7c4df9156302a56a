#include "mime/source.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "diagnostics/hresult_exception.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\Source"};

std::uint64_t seek(IStream* stream, std::uint64_t offset, DWORD origin) {
  if (offset > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    throwHResult(STG_E_INVALIDFUNCTION, kSource.at("Source::seek"));
  }
  std::uint64_t position = 0;
  checkHResult(stream->Seek(static_cast<std::int64_t>(offset), origin, &position), kSource.at("Source::seek"));
  return position;
}

// Runs `body` with the position that the stream has, and puts it back behind it: who shares the stream must find it where it
// was. When the body fails, its failure is told and not that of putting back.
template <typename Body>
auto keepingPosition(IStream* stream, Body&& body) {
  const std::uint64_t position = seek(stream, 0, STREAM_SEEK_CUR);
  const auto putBack = [&] { return stream->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr); };
  try {
    auto result = body(position);
    checkHResult(putBack(), kSource.at("Source::keepingPosition"));
    return result;
  } catch (const HResultException&) {
    (void)putBack();
    throw;
  }
}

}  // namespace

std::shared_ptr<Source> Source::fromPosition(IStream* stream) {
  return keepingPosition(stream, [stream](std::uint64_t position) {
    const std::uint64_t end = seek(stream, 0, STREAM_SEEK_END);
    const std::uint64_t base = position < end ? position : 0;
    return std::shared_ptr<Source>(new Source(stream, base, end - base, true));
  });
}

std::shared_ptr<Source> Source::whole(IStream* stream) { return std::shared_ptr<Source>(new Source(stream, 0, 0, false)); }

std::uint64_t Source::size() {
  if (!sized_) {
    size_ = keepingPosition(stream_.get(), [this](std::uint64_t) { return seek(stream_.get(), 0, STREAM_SEEK_END); });
    sized_ = true;
  }
  return size_;
}

std::string_view Source::fullView(std::uint64_t offset) {
  const std::uint64_t left = offset < size() ? size() - offset : 0;
  const std::string_view now = view(offset);
  if (now.size() >= std::min<std::uint64_t>(left, kWindow)) {
    return now;
  }
  return fill(offset) ? std::string_view{window_.get(), windowBytes_} : std::string_view{};
}

bool Source::fill(std::uint64_t offset, std::size_t most) {
  const std::uint64_t all = size();
  if (offset >= all) {
    return false;
  }
  if (windowCapacity_ == 0) {
    windowCapacity_ = static_cast<std::size_t>(std::min<std::uint64_t>(all, kWindow));
    window_ = std::make_unique_for_overwrite<char[]>(windowCapacity_);
  }
  const std::uint64_t want = std::min<std::uint64_t>(all - offset, std::min(windowCapacity_, most));
  windowOffset_ = offset;
  windowBytes_ = 0;
  windowBytes_ = readStream(offset, window_.get(), static_cast<std::size_t>(want));
  return windowBytes_ != 0;
}

std::size_t Source::readStream(std::uint64_t offset, char* buffer, std::size_t bytes) {
  return keepingPosition(stream_.get(), [&](std::uint64_t) {
    seek(stream_.get(), base_ + offset, STREAM_SEEK_SET);
    std::size_t done = 0;
    while (done < bytes) {
      const ULONG want = static_cast<ULONG>(std::min<std::size_t>(bytes - done, 1U << 30));
      ULONG got = 0;
      checkHResult(stream_->Read(buffer + done, want, &got), kSource.at("Source::readStream"));
      if (got == 0) {
        break;
      }
      done += std::min(got, want);
    }
    return done;
  });
}

std::size_t Source::read(std::uint64_t offset, char* buffer, std::size_t bytes) {
  const std::uint64_t all = size();
  if (offset >= all) {
    return 0;
  }
  bytes = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, all - offset));
  std::size_t done = 0;
  while (done < bytes) {
    const bool atHand = offset >= windowOffset_ && offset - windowOffset_ < windowBytes_;
    if (!atHand && bytes - done >= kWindow / 4) {
      return done + readStream(offset, buffer + done, bytes - done);
    }
    const std::string_view piece = view(offset).substr(0, bytes - done);
    if (piece.empty()) {
      break;
    }
    std::memcpy(buffer + done, piece.data(), piece.size());
    done += piece.size();
    offset += piece.size();
  }
  return done;
}

void Source::release() {
  window_.reset();
  windowCapacity_ = 0;
  windowBytes_ = 0;
}

std::string Source::text(Span span) {
  std::string result;
  const bool isAtHand = span.offset >= windowOffset_ && span.offset - windowOffset_ < windowBytes_;
  if (!isAtHand && span.length <= kSmallWindow && size() > kWindow) {
    fill(span.offset, kSmallWindow);
  }
  pump(span, [&](std::string_view piece) { result += piece; });
  return result;
}

}  // namespace nalvo::mime
