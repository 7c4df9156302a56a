#include "streams/adaptive_stream_data.h"

#include "streams/memory_stream_data.h"
#include "streams/temp_file_stream_data.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\AdaptiveStreamData"};

}  // namespace

AdaptiveStreamData::AdaptiveStreamData(const CLock* lock)
    : StreamDataBase(lock), listener_(makeCom<StreamCallbacksImpl<AdaptiveStreamData>>(this)) {}

AdaptiveStreamData::~AdaptiveStreamData() {
  if (data_) {
    data_->unregisterCallback(cookie_);
  }
  listener_->leave();
}

HRESULT AdaptiveStreamData::create(DWORD flags, const CLock* lock, IStreamData** out) noexcept {
  return createStore<AdaptiveStreamData>(flags, lock, out);
}

HRESULT AdaptiveStreamData::read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    prepare();
    return data_->read(buffer, count, offset, done);
  });
}

HRESULT AdaptiveStreamData::write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    if (done != nullptr) {
      *done = 0;
    }
    const std::optional<std::uint64_t> end = rangeEnd(offset, count);
    if (!end) {
      return STG_E_MEDIUMFULL;
    }
    prepareFor(*end);
    return data_->write(buffer, count, offset, done);
  });
}

HRESULT AdaptiveStreamData::setSize(std::uint64_t size) noexcept {
  return locked([&] {
    if (!rangeEnd(size, 0)) {
      return STG_E_MEDIUMFULL;
    }
    if (state_ == State::File && size < threshold_ / 2) {
      // What lies behind the new end is left behind, so the cut must not be refused afterwards.
      if (isReadOnly()) {
        return STG_E_ACCESSDENIED;
      }
      createData(State::Memory, size);
    } else {
      prepareFor(size);
    }
    return data_->setSize(size);
  });
}

HRESULT AdaptiveStreamData::commit(DWORD flags) noexcept {
  return locked([&] {
    prepare();
    return data_->commit(flags);
  });
}

HRESULT AdaptiveStreamData::revert() noexcept {
  return locked([&] {
    prepare();
    return data_->revert();
  });
}

HRESULT AdaptiveStreamData::lockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept {
  return locked([&] {
    const std::optional<std::uint64_t> end = rangeEnd(offset, length);
    if (!end) {
      return STG_E_MEDIUMFULL;
    }
    prepareFor(*end);
    return data_->lockRegion(offset, length, type);
  });
}

HRESULT AdaptiveStreamData::unlockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept {
  return locked([&] {
    prepare();
    return data_->unlockRegion(offset, length, type);
  });
}

HRESULT AdaptiveStreamData::stat(STATSTG* out, DWORD flag) noexcept {
  return locked([&] {
    prepare();
    return data_->stat(out, flag);
  });
}

HRESULT AdaptiveStreamData::getSize(std::uint64_t* size) noexcept {
  return locked([&] {
    prepare();
    return data_->getSize(size);
  });
}

HRESULT AdaptiveStreamData::setFlags(DWORD flags, DWORD* oldFlags) noexcept {
  return locked([&] {
    const HRESULT hr = StreamDataBase::setFlags(flags, oldFlags);
    return succeeded(hr) && data_ ? data_->setFlags(flags, nullptr) : hr;
  });
}

HRESULT AdaptiveStreamData::onCommit(IStreamData* /*store*/) noexcept {
  return locked([&] { callbacks_.notifyCommit(this); });
}

HRESULT AdaptiveStreamData::onSizeChanged(IStreamData* /*store*/, std::uint64_t size) noexcept {
  return locked([&] { callbacks_.notifySizeChanged(this, size); });
}

AdaptiveStreamData::State AdaptiveStreamData::state() const {
  const Guard guard(*this);
  return state_;
}

void AdaptiveStreamData::prepareFor(std::uint64_t end) {
  const State wanted = end < threshold_ ? State::Memory : State::File;
  if (state_ == State::None) {
    createData(wanted, 0);
  } else if (state_ == State::Memory && wanted == State::File) {
    createData(State::File, UINT64_MAX);
  }
}

void AdaptiveStreamData::prepare() {
  if (state_ == State::None) {
    createData(State::Memory, 0);
  }
}

void AdaptiveStreamData::createData(State target, std::uint64_t kept) {
  const char* function = "AdaptiveStreamData::createData";
  const auto create = target == State::Memory ? &MemoryStreamData::create : &TempFileStreamData::create;
  ComPtr<IStreamData> data;
  checkHResult(create(0, this, data.put()), kSource.at(function));
  if (data_) {
    checkHResult(doCopyTo(data_.get(), data.get(), kept), kSource.at(function));
  }
  DWORD cookie = 0;
  checkHResult(data->registerCallback(listener_.get(), &cookie), kSource.at(function));
  checkHResult(data->setFlags(flags_, nullptr), kSource.at(function));
  std::swap(data_, data);
  std::swap(cookie_, cookie);
  state_ = target;
  // The old store may live on in other hands; it has nothing to tell here any more.
  if (data) {
    data->unregisterCallback(cookie);
  }
}

}  // namespace nalvo
