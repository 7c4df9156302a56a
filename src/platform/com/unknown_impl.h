// The counted base of objects that offer interfaces.
#pragma once

#include <atomic>
#include <new>

#include "platform/com/com_ptr.h"

namespace nalvo {

// Implements IUnknown for an object that offers `First` and `More`, with an atomic count that starts at 1. A base interface
// of an offered one (ISequentialStream of IStream) is offered by an override of queryOther.
template <typename First, typename... More>
class IUnknownImpl : public First, public More... {
 public:
  IUnknownImpl() = default;
  IUnknownImpl(const IUnknownImpl&) = delete;
  IUnknownImpl& operator=(const IUnknownImpl&) = delete;

  HRESULT QueryInterface(const IID& iid, void** out) noexcept override {
    if (out == nullptr) {
      return E_POINTER;
    }
    *out = find(iid);
    if (*out == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }

  ULONG AddRef() noexcept override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }

  ULONG Release() noexcept override {
    const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  virtual ~IUnknownImpl() = default;

  // A pointer to the interface `iid`, without a reference, or null.
  virtual void* queryOther(const IID&) noexcept { return nullptr; }

 private:
  void* find(const IID& iid) noexcept {
    if (iid == IUnknown::kIid || iid == First::kIid) {
      return static_cast<First*>(this);
    }
    void* found = nullptr;
    ((found == nullptr && iid == More::kIid ? void(found = static_cast<More*>(this)) : void()), ...);
    return found != nullptr ? found : queryOther(iid);
  }

  std::atomic<ULONG> count_{1};
};

// A new object in a counted pointer. Throws what the constructor throws.
template <typename T, typename... Args>
ComPtr<T> makeCom(Args&&... args) {
  return ComPtr<T>::attach(new T(std::forward<Args>(args)...));
}

}  // namespace nalvo
