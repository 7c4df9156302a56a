// An array of objects that its receiver releases.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

// Releases the elements and the array at the end of the scope. Empty until a call has stored one through put.
class ScopedInterfaceArray {
 public:
  ScopedInterfaceArray() = default;
  ~ScopedInterfaceArray() { releaseInterfaceArray(array_); }
  ScopedInterfaceArray(const ScopedInterfaceArray&) = delete;
  ScopedInterfaceArray& operator=(const ScopedInterfaceArray&) = delete;

  InterfaceArray** put() { return &array_; }
  IUnknown** begin() const { return array_ == nullptr ? nullptr : array_->elements; }
  IUnknown** end() const { return array_ == nullptr ? nullptr : array_->elements + array_->count; }

 private:
  InterfaceArray* array_ = nullptr;
};

}  // namespace nalvo
