// The listeners of a store, and a listener for an owner.
#pragma once

#include <map>

#include "platform/com/unknown_impl.h"
#include "streams/stream_data.h"

namespace nalvo {

// Embedded in each store, which calls it under its lock.
class StreamDataCallbackManager {
 public:
  virtual ~StreamDataCallbackManager() = default;

  HRESULT registerCallback(IStreamDataCallbacks* callbacks, DWORD* cookie);
  HRESULT unregisterCallback(DWORD cookie);
  void suspend() { ++suspended_; }
  void resume() { suspended_ -= suspended_ > 0 ? 1 : 0; }

  // In the order of the cookies, to those that were there at the start and still are.
  void notifyCommit(IStreamData* store);
  void notifySizeChanged(IStreamData* store, std::uint64_t size);

 private:
  template <typename Call>
  void notify(Call call);

  DWORD nextCookie_ = 1;
  std::map<DWORD, ComPtr<IStreamDataCallbacks>> callbacks_;
  DWORD suspended_ = 0;
};

// Hands both notifications to its owner until `leave`, which the owner calls when it dies, after it took the listener off.
template <typename T>
class StreamCallbacksImpl final : public IUnknownImpl<IStreamDataCallbacks> {
 public:
  explicit StreamCallbacksImpl(T* owner) : owner_(owner) {}

  void leave() noexcept { owner_ = nullptr; }

  HRESULT onCommit(IStreamData* store) noexcept override { return owner_ != nullptr ? owner_->onCommit(store) : S_OK; }
  HRESULT onSizeChanged(IStreamData* store, std::uint64_t size) noexcept override {
    return owner_ != nullptr ? owner_->onSizeChanged(store, size) : S_OK;
  }

 private:
  T* owner_;
};

}  // namespace nalvo
