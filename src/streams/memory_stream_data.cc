#include "streams/memory_stream_data.h"

#include <algorithm>
#include <cstring>  // memcpy, memset

#include "platform/time/clock.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MemoryStreamData"};

constexpr std::uint64_t kDoubleUpTo = 2'500'000;
constexpr std::uint64_t kGrowthBeyond = 5'000'000;
constexpr std::uint64_t kSmallGrowth = 1024;

// The capacity after a write of `count` bytes behind which `capacity` does not suffice.
constexpr std::uint64_t grownCapacity(std::uint64_t capacity, ULONG count) {
  const std::uint64_t n = capacity + count + 1;
  if (n > kDoubleUpTo) {
    return n + kGrowthBeyond;
  }
  return n < kSmallGrowth ? n + kSmallGrowth : 2 * n;
}

}  // namespace

MemoryStreamData::MemoryStreamData(const CLock* lock)
    : StreamDataBase(lock), lastWrite_(currentFileTime()), lastAccess_(lastWrite_), creation_(lastWrite_) {}

HRESULT MemoryStreamData::create(DWORD flags, const CLock* lock, IStreamData** out) noexcept {
  return createStore<MemoryStreamData>(flags, lock, out);
}

HRESULT MemoryStreamData::read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    if (done != nullptr) {
      *done = 0;
    }
    if (buffer == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    if (offset < size_) {
      const auto copied = static_cast<ULONG>(std::min<std::uint64_t>(count, size_ - offset));
      std::memcpy(buffer, block_.get() + offset, copied);
      if (done != nullptr) {
        *done = copied;
      }
    }
    lastAccess_ = currentFileTime();
    return S_OK;
  });
}

HRESULT MemoryStreamData::write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    if (done != nullptr) {
      *done = 0;
    }
    if (buffer == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    if (isReadOnly()) {
      return STG_E_ACCESSDENIED;
    }
    const std::optional<std::uint64_t> end = rangeEnd(offset, count);
    if (!end) {
      return STG_E_MEDIUMFULL;
    }
    if (*end > capacity_) {
      allocate(std::max(grownCapacity(capacity_, count), *end));
    }
    clearUpTo(offset);
    if (count != 0) {
      std::memcpy(block_.get() + offset, buffer, count);
    }
    modified_ = true;
    if (done != nullptr) {
      *done = count;
    }
    if (*end > size_) {
      size_ = *end;
      callbacks_.notifySizeChanged(this, size_);
    }
    touchWritten();
    return commitsAlways() ? commit(0) : S_OK;
  });
}

HRESULT MemoryStreamData::setSize(std::uint64_t size) noexcept {
  return locked([&] {
    if (isReadOnly()) {
      return STG_E_ACCESSDENIED;
    }
    if (size > capacity_) {
      allocate(size);
    }
    clearUpTo(size);
    size_ = size;
    callbacks_.notifySizeChanged(this, size_);
    modified_ = true;
    touchWritten();
    return commitsAlways() ? commit(0) : S_OK;
  });
}

HRESULT MemoryStreamData::commit(DWORD /*flags*/) noexcept {
  return locked([&] {
    // Cleared first: a listener may commit.
    if (modified_ && !isReadOnly()) {
      modified_ = false;
      callbacks_.notifyCommit(this);
    }
    lastAccess_ = currentFileTime();
  });
}

HRESULT MemoryStreamData::revert() noexcept {
  return locked([&] { lastAccess_ = currentFileTime(); });
}

HRESULT MemoryStreamData::lockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }

HRESULT MemoryStreamData::unlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }

HRESULT MemoryStreamData::stat(STATSTG* out, DWORD flag) noexcept {
  return locked([&] {
    const HRESULT hr = fillStat(out, flag);
    if (succeeded(hr)) {
      out->cbSize = size_;
      out->mtime = lastWrite_;
      out->atime = lastAccess_;
      out->ctime = creation_;
    }
    return hr;
  });
}

HRESULT MemoryStreamData::getSize(std::uint64_t* size) noexcept {
  return locked([&] {
    if (size == nullptr) {
      return E_POINTER;
    }
    *size = size_;
    return S_OK;
  });
}

void MemoryStreamData::allocate(std::uint64_t capacity) {
  const SourceLocation here = kSource.at("MemoryStreamData::allocate");
  if (capacity > UINT32_MAX) {
    throwHResult(STG_E_MEDIUMFULL, here);
  }
  auto* block = static_cast<char*>(std::realloc(block_.get(), capacity));
  if (block == nullptr) {
    throwHResult(STG_E_MEDIUMFULL, here);
  }
  (void)block_.release();
  block_.reset(block);
  capacity_ = capacity;
}

void MemoryStreamData::clearUpTo(std::uint64_t end) {
  if (end > size_) {
    std::memset(block_.get() + size_, 0, end - size_);
  }
}

void MemoryStreamData::touchWritten() { lastWrite_ = lastAccess_ = currentFileTime(); }

}  // namespace nalvo
