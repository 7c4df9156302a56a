// The counted pointer.
#pragma once

#include <cstddef>
#include <utility>

#include "platform/com/hresult.h"

namespace nalvo {

// Holds one reference of an interface. The verb tells what happens to the count: `attach` takes the caller's reference
// over, `retain` adds one.
template <typename T>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  ComPtr(const ComPtr& other) noexcept : pointer_(other.pointer_) {
    if (pointer_ != nullptr) {
      pointer_->AddRef();
    }
  }
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ~ComPtr() { reset(); }

  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }

  static ComPtr attach(T* pointer) noexcept {
    ComPtr result;
    result.pointer_ = pointer;
    return result;
  }

  static ComPtr retain(T* pointer) noexcept {
    if (pointer != nullptr) {
      pointer->AddRef();
    }
    return attach(pointer);
  }

  void reset() noexcept {
    if (T* old = std::exchange(pointer_, nullptr)) {
      old->Release();
    }
  }

  // Gives the reference away.
  [[nodiscard]] T* detach() noexcept { return std::exchange(pointer_, nullptr); }

  // For out-parameters: drops what is held and takes what the call stores.
  T** put() noexcept {
    reset();
    return &pointer_;
  }
  void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }
  // For out-parameters typed as IUnknown**, such as IConvertObject::openProp, that answer interface T.
  IUnknown** putUnknown() noexcept { return reinterpret_cast<IUnknown**>(put()); }

  T* get() const noexcept { return pointer_; }
  T* operator->() const noexcept { return pointer_; }
  T& operator*() const noexcept { return *pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  // Another interface of the same object; null if it is not offered.
  template <typename U>
  ComPtr<U> as() const noexcept {
    ComPtr<U> result;
    if (pointer_ != nullptr) {
      (void)pointer_->QueryInterface(U::kIid, result.putVoid());
    }
    return result;
  }

  friend bool operator==(const ComPtr& a, const ComPtr& b) noexcept { return a.pointer_ == b.pointer_; }

 private:
  T* pointer_ = nullptr;
};

}  // namespace nalvo
