// The base of an object that lives inside another one and shares its identity.
#pragma once

#include <atomic>

#include "platform/com/com_ptr.h"

namespace nalvo {

// Offers `Interfaces`, each of which hands IUnknown to the controlling object. Only `nondelegating()` answers for the
// object itself: it gives the interfaces, and the reference that it starts with keeps the object alive.
template <typename... Interfaces>
class AggregatedImpl : public Interfaces... {
 public:
  AggregatedImpl(const AggregatedImpl&) = delete;
  AggregatedImpl& operator=(const AggregatedImpl&) = delete;

  HRESULT QueryInterface(const IID& iid, void** out) noexcept override { return controlling_->QueryInterface(iid, out); }
  ULONG AddRef() noexcept override { return controlling_->AddRef(); }
  ULONG Release() noexcept override { return controlling_->Release(); }

  IUnknown* nondelegating() noexcept { return &own_; }

 protected:
  // `controlling` is not counted: it owns this object.
  explicit AggregatedImpl(IUnknown* controlling) : controlling_(controlling), own_(this) {}
  virtual ~AggregatedImpl() = default;

  IUnknown* controlling() const noexcept { return controlling_; }

 private:
  class NondelegatingUnknown final : public IUnknown {
   public:
    explicit NondelegatingUnknown(AggregatedImpl* object) : object_(object) {}

    HRESULT QueryInterface(const IID& iid, void** out) noexcept override {
      if (out == nullptr) {
        return E_INVALIDARG;
      }
      *out = nullptr;
      if (iid == IUnknown::kIid) {
        *out = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
      }
      ((*out == nullptr && iid == Interfaces::kIid ? void(*out = static_cast<Interfaces*>(object_)) : void()), ...);
      if (*out == nullptr) {
        return E_NOINTERFACE;
      }
      // The interface counts on the controlling object.
      object_->AddRef();
      return S_OK;
    }
    ULONG AddRef() noexcept override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() noexcept override {
      const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
      if (left == 0) {
        delete object_;
      }
      return left;
    }

   private:
    AggregatedImpl* object_;
    std::atomic<ULONG> count_{1};
  };

  IUnknown* controlling_;
  NondelegatingUnknown own_;
};

}  // namespace nalvo
