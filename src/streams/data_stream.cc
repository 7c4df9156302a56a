#include "streams/data_stream.h"

#include <algorithm>
#include <memory>

#include "streams/external_connection.h"
#include "streams/stream_marshaler.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\StreamImpl"};

// In the count while the stream is being destroyed: a listener that takes and drops a reference doesn't end it twice, and
// the watcher of client processes sees that it comes too late.
constexpr ULONG kDying = 0x80000000;

// base + move; no value below 0 or beyond 2^64 - 1.
std::optional<std::uint64_t> moved(std::uint64_t base, std::int64_t move) {
  const auto distance = static_cast<std::uint64_t>(move);
  if (move < 0) {
    const std::uint64_t back = 0 - distance;
    return back <= base ? std::optional(base - back) : std::nullopt;
  }
  return distance <= UINT64_MAX - base ? std::optional(base + distance) : std::nullopt;
}

}  // namespace

DataStream::DataStream(DWORD mode, IStreamData* store, std::uint64_t position, const CLock* lock)
    : CLock(lock != nullptr ? *lock : CLock()), data_(ComPtr<IStreamData>::retain(store)), position_(position), mode_(mode) {
  const char* function = "DataStream::DataStream";
  if (store == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  listener_ = makeCom<StreamCallbacksImpl<DataStream>>(this);
  checkHResult(data_->registerCallback(listener_.get(), &cookie_), kSource.at(function));
}

DataStream::~DataStream() {
  data_->unregisterCallback(cookie_);
  listener_->leave();
  externalConnection_.reset();
  marshaler_.reset();
}

HRESULT DataStream::create(CreateStore createStore, IStream** out) noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      throwHResult(E_POINTER, kSource.at("DataStream::create"));
    }
    *out = nullptr;
    const CLock lock;
    ComPtr<IStreamData> store;
    checkHResult(createStore(0, &lock, store.put()), kSource.at("DataStream::create"));
    ComPtr<DataStream> stream = makeCom<DataStream>(kCommitOnRelease, store.get(), 0U, &lock);
    stream->setAggregated();
    *out = stream.detach();
  });
}

HRESULT DataStream::wrap(IStreamData* store, IStream** out, DWORD mode, std::uint64_t position, const CLock* lock) noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      throwHResult(E_POINTER, kSource.at("DataStream::wrap"));
    }
    *out = nullptr;
    *out = makeCom<DataStream>(mode, store, position, lock).detach();
  });
}

void DataStream::setAggregated() {
  const Guard guard(*this);
  if (!marshaler_) {
    checkHResult(StreamMarshaler::create(this, marshaler_.put()), kSource.at("DataStream::setAggregated"));
  }
  if (!externalConnection_) {
    checkHResult(CExternalConnection::create(this, externalConnection_.put()), kSource.at("DataStream::setAggregated"));
  }
}

HRESULT DataStream::QueryInterface(const IID& iid, void** out) noexcept {
  if (iid == IMarshal::kIid && marshaler_) {
    return marshaler_->QueryInterface(iid, out);
  }
  if (iid == IExternalConnection::kIid && externalConnection_) {
    return externalConnection_->QueryInterface(iid, out);
  }
  const Guard guard(*this);
  if (out == nullptr) {
    return E_POINTER;
  }
  if (iid == IUnknown::kIid || iid == ISequentialStream::kIid || iid == IStream::kIid) {
    *out = static_cast<IStream*>(this);
  } else if (iid == IStreamManager::kIid) {
    *out = static_cast<IStreamManager*>(this);
  } else {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG DataStream::AddRef() noexcept { return (count_.fetch_add(1, std::memory_order_relaxed) + 1) & ~kDying; }

ULONG DataStream::Release() noexcept {
  const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left != 0) {
    return left & ~kDying;
  }
  count_.store(kDying | 1, std::memory_order_release);
  if ((mode_ & kCommitOnRelease) != 0) {
    Commit(0);
  }
  delete this;
  return 0;
}

bool DataStream::addRefIfAlive() noexcept {
  ULONG count = count_.load(std::memory_order_relaxed);
  while (count != 0 && (count & kDying) == 0) {
    if (count_.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) {
      return true;
    }
  }
  return false;
}

HRESULT DataStream::Read(void* buffer, ULONG bytes, ULONG* read) noexcept {
  return atBoundary([&] {
    const Guard guard(*this);
    ULONG done = 0;
    const HRESULT hr = data_->read(buffer, bytes, position_, &done);
    if (succeeded(hr)) {
      position_ += done;
    }
    if (read != nullptr) {
      *read = done;
    }
    return hr;
  });
}

HRESULT DataStream::Write(const void* buffer, ULONG bytes, ULONG* written) noexcept {
  return atBoundary([&] {
    const Guard guard(*this);
    ULONG done = 0;
    const HRESULT hr = data_->write(buffer, bytes, position_, &done);
    if (succeeded(hr)) {
      position_ += done;
    }
    if (written != nullptr) {
      *written = done;
    }
    return hr;
  });
}

HRESULT DataStream::Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept {
  return atBoundary([&] {
    const Guard guard(*this);
    const char* function = "DataStream::Seek";
    std::optional<std::uint64_t> target;
    if (origin == STREAM_SEEK_SET) {
      target = static_cast<std::uint64_t>(move);
    } else if (origin == STREAM_SEEK_CUR) {
      target = moved(position_, move);
    } else if (origin == STREAM_SEEK_END) {
      std::uint64_t size = 0;
      checkHResult(data_->getSize(&size), kSource.at(function));
      target = moved(size, move);
    }
    if (!target) {
      throwHResult(STG_E_INVALIDFUNCTION, kSource.at(function));
    }
    position_ = *target;
    if (newPosition != nullptr) {
      *newPosition = position_;
    }
  });
}

HRESULT DataStream::SetSize(std::uint64_t size) noexcept { return data_->setSize(size); }

HRESULT DataStream::Commit(DWORD flags) noexcept { return data_->commit(flags); }

HRESULT DataStream::Revert() noexcept { return data_->revert(); }

HRESULT DataStream::LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return data_->lockRegion(offset, bytes, type);
}

HRESULT DataStream::UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return data_->unlockRegion(offset, bytes, type);
}

HRESULT DataStream::Stat(STATSTG* stat, DWORD flag) noexcept { return data_->stat(stat, flag); }

bool DataStream::sharesStoreWith(IStream* other) noexcept {
  ComPtr<IStreamManager> manager;
  ComPtr<IStreamData> store;
  return succeeded(other->QueryInterface(IStreamManager::kIid, manager.putVoid())) &&
         succeeded(manager->getData(store.put())) && store == data_;
}

HRESULT DataStream::CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept {
  return atBoundary([&] {
    const char* function = "DataStream::CopyTo";
    if (destination == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    std::uint64_t ignored = 0;
    std::uint64_t& allRead = read != nullptr ? *read : ignored;
    std::uint64_t& allWritten = written != nullptr ? *written : ignored;
    allRead = 0;
    allWritten = 0;
    if (sharesStoreWith(destination)) {
      // The copy would feed itself without end.
      const Guard guard(*this);
      std::uint64_t size = 0;
      checkHResult(data_->getSize(&size), kSource.at(function));
      bytes = std::min(bytes, size - std::min(size, position_));
    }
    const auto block = std::make_unique_for_overwrite<char[]>(kCopyBlock);
    while (bytes != 0) {
      ULONG count = 0;
      checkHResult(Read(block.get(), static_cast<ULONG>(std::min<std::uint64_t>(bytes, kCopyBlock)), &count),
                   kSource.at(function));
      if (count == 0) {
        break;
      }
      bytes -= count;
      allRead += count;
      for (ULONG at = 0; at < count;) {
        ULONG done = 0;
        const HRESULT hr = destination->Write(block.get() + at, count - at, &done);
        done = std::min(done, count - at);
        at += done;
        allWritten += done;
        checkHResult(hr, kSource.at(function));
        if (done == 0) {
          throwHResult(STG_E_MEDIUMFULL, kSource.at(function));
        }
      }
    }
    return S_OK;
  });
}

HRESULT DataStream::Clone(IStream** out) noexcept {
  return atBoundary([&] {
    const Guard guard(*this);
    return wrap(data_.get(), out, mode_, position_, this);
  });
}

HRESULT DataStream::getData(IStreamData** out) noexcept {
  return out == nullptr ? E_POINTER : data_->QueryInterface(IStreamData::kIid, reinterpret_cast<void**>(out));
}

}  // namespace nalvo
