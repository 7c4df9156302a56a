#include "streams/stream_callbacks.h"

namespace nalvo {

HRESULT StreamDataCallbackManager::registerCallback(IStreamDataCallbacks* callbacks, DWORD* cookie) {
  if (cookie == nullptr) {
    return E_POINTER;
  }
  if (callbacks == nullptr) {
    return E_INVALIDARG;
  }
  callbacks_.emplace(nextCookie_, ComPtr<IStreamDataCallbacks>::retain(callbacks));
  *cookie = nextCookie_++;
  return S_OK;
}

HRESULT StreamDataCallbackManager::unregisterCallback(DWORD cookie) {
  return callbacks_.erase(cookie) != 0 ? S_OK : E_INVALIDARG;
}

template <typename Call>
void StreamDataCallbackManager::notify(Call call) {
  if (suspended_ != 0) {
    return;
  }
  // A listener may take itself and others off: no iterator is kept over a call, and each is held while it is called.
  const DWORD end = nextCookie_;
  for (auto at = callbacks_.begin(); at != callbacks_.end() && at->first < end;) {
    const DWORD cookie = at->first;
    const ComPtr<IStreamDataCallbacks> listener = at->second;
    call(*listener);
    at = callbacks_.upper_bound(cookie);
  }
}

void StreamDataCallbackManager::notifyCommit(IStreamData* store) {
  notify([&](IStreamDataCallbacks& listener) { listener.onCommit(store); });
}

void StreamDataCallbackManager::notifySizeChanged(IStreamData* store, std::uint64_t size) {
  notify([&](IStreamDataCallbacks& listener) { listener.onSizeChanged(store, size); });
}

}  // namespace nalvo
