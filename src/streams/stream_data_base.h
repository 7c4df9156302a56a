// What the three stores have in common.
#pragma once

#include <optional>

#include "diagnostics/boundary.h"
#include "platform/com/lock.h"
#include "platform/com/unknown_impl.h"
#include "streams/stream_callbacks.h"

namespace nalvo {

// The lock, the flags word, the listeners, and the operations that need no more than these.
class StreamDataBase : public IUnknownImpl<IStreamData>, public CLock {
 public:
  HRESULT registerCallback(IStreamDataCallbacks* callbacks, DWORD* cookie) noexcept override;
  HRESULT unregisterCallback(DWORD cookie) noexcept override;
  HRESULT copyTo(IStreamData* destination) noexcept override;
  HRESULT setFlags(DWORD flags, DWORD* oldFlags) noexcept override;
  HRESULT getFlags(DWORD* flags) noexcept override;
  HRESULT suspendCallbacks() noexcept override;
  HRESULT resumeCallbacks() noexcept override;

 protected:
  explicit StreamDataBase(const CLock* lock) : CLock(lock != nullptr ? *lock : CLock()) {}

  // Runs the body of an operation under the lock.
  template <typename Body>
  HRESULT locked(Body&& body) noexcept {
    return atBoundary([&] {
      const Guard guard(*this);
      return body();
    });
  }

  // The body of `create` of a store class.
  template <typename Store>
  static HRESULT createStore(DWORD flags, const CLock* lock, IStreamData** out) noexcept {
    return atBoundary([&] {
      if (out == nullptr) {
        return E_POINTER;
      }
      *out = nullptr;
      ComPtr<Store> store = makeCom<Store>(lock);
      const HRESULT hr = store->setFlags(flags, nullptr);
      if (succeeded(hr)) {
        *out = store.detach();
      }
      return hr;
    });
  }

  bool isReadOnly() const { return (flags_ & kStreamReadOnly) != 0; }
  bool commitsAlways() const { return (flags_ & kStreamAutoCommit) != 0; }

  StreamDataCallbackManager callbacks_;
  DWORD flags_ = 0;
};

// offset + count; no value for an end beyond 2^63 - 1.
std::optional<std::uint64_t> rangeEnd(std::uint64_t offset, std::uint64_t count);

// Fills `out` as all stores do: type 2, mode 0x12, no name. STG_E_INVALIDPOINTER and STG_E_INVALIDFLAG for bad arguments.
HRESULT fillStat(STATSTG* out, DWORD flag);

}  // namespace nalvo
