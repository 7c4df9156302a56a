// Memory that changes hands with the caller's objects.
#pragma once

#include <utility>

#include "nalvo/interfaces.h"

namespace nalvo {

// The caller's three allocation functions.
struct MapiAlloc {
  AllocateBuffer allocateBuffer = nullptr;
  AllocateMore allocateMore = nullptr;
  FreeBuffer freeBuffer = nullptr;

  // Throws E_INVALIDARG for a null allocator or one that leaves a function out, and the allocator's own code.
  static MapiAlloc getAlloc(IMapiAllocator* allocator);
};

// Frees a block of the caller's memory at the end of the scope.
template <typename T>
class MapiBuffer {
 public:
  MapiBuffer() = default;
  MapiBuffer(T* block, FreeBuffer freeBuffer) : block_(block), freeBuffer_(freeBuffer) {}
  // An empty holder for an out-parameter: see put.
  explicit MapiBuffer(FreeBuffer freeBuffer) : freeBuffer_(freeBuffer) {}
  MapiBuffer(MapiBuffer&& other) noexcept : block_(std::exchange(other.block_, nullptr)), freeBuffer_(other.freeBuffer_) {}
  MapiBuffer& operator=(MapiBuffer&& other) noexcept {
    std::swap(block_, other.block_);
    std::swap(freeBuffer_, other.freeBuffer_);
    return *this;
  }
  ~MapiBuffer() { reset(); }

  void reset() noexcept {
    if (T* old = std::exchange(block_, nullptr)) {
      freeBuffer_(old);
    }
  }
  T** put() noexcept {
    reset();
    return &block_;
  }
  T* get() const noexcept { return block_; }
  T* operator->() const noexcept { return block_; }
  explicit operator bool() const noexcept { return block_ != nullptr; }
  // Gives the block away.
  [[nodiscard]] T* detach() noexcept { return std::exchange(block_, nullptr); }

 private:
  T* block_ = nullptr;
  FreeBuffer freeBuffer_ = nullptr;
};

namespace detail {

// A block of zeroes, which dies with `parent` if there is one. Throws E_INVALIDARG for a null `out` or a record that lacks a
// function, and the allocator's code.
void rawAlloc(const MapiAlloc& alloc, ULONG bytes, void* parent, void** out);

}  // namespace detail

namespace InternalMapiAlloc {

// A record and `bytes` zero bytes in one holding. Throws what rawAlloc throws and leaves nothing behind.
MapiBuffer<SBinary> allocSBinary(const MapiAlloc& alloc, ULONG bytes);

}  // namespace InternalMapiAlloc
}  // namespace nalvo
