// What the tests of this folder share.
#pragma once

#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "nalvo/interfaces.h"
#include "platform/com/unknown_impl.h"
#include "properties/mapi_alloc.h"

namespace nalvo::test {

// The code of the failure that `body` ends with, S_OK if it ends well.
inline HRESULT codeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
  return S_OK;
}

// An allocator whose blocks are counted and whose n-th allocation may fail.
class TestAllocator final : public IUnknownImpl<IMapiAllocator> {
 public:
  // Blocks that nobody freed.
  static std::size_t open() { return blocks().size(); }
  // -1: all succeed.
  static int& left() {
    static int count = -1;
    return count;
  }

  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getAllocators(AllocateBuffer* buffer, AllocateMore* more, FreeBuffer* free) noexcept override {
    if (buffer != nullptr) *buffer = allocate;
    if (more != nullptr) *more = allocateMore;
    if (free != nullptr) *free = freeBuffer;
    return S_OK;
  }

 private:
  static std::map<void*, std::vector<void*>>& blocks() {
    static std::map<void*, std::vector<void*>> all;
    return all;
  }
  static HRESULT raw(ULONG bytes, void** out) {
    if (left() == 0) {
      return E_OUTOFMEMORY;
    }
    --left();
    *out = std::malloc(bytes == 0 ? 1 : bytes);
    std::memset(*out, 0xAA, bytes);
    return S_OK;
  }
  static HRESULT allocate(ULONG bytes, void** out) {
    const HRESULT hr = raw(bytes, out);
    if (succeeded(hr)) {
      blocks()[*out];
    }
    return hr;
  }
  static HRESULT allocateMore(ULONG bytes, void* parent, void** out) {
    const HRESULT hr = raw(bytes, out);
    if (succeeded(hr)) {
      blocks()[parent].push_back(*out);
    }
    return hr;
  }
  static ULONG freeBuffer(void* block) {
    if (block != nullptr) {
      for (void* child : blocks()[block]) {
        std::free(child);
      }
      blocks().erase(block);
      std::free(block);
    }
    return 0;
  }
};

}  // namespace nalvo::test
