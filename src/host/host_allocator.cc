#include "host/host_allocator.h"

#include <cstdlib>
#include <new>

namespace nalvo::host {
namespace {

thread_local HostContext* currentContext = nullptr;

// Stands ahead of every block. The blocks that hang on a parent form a chain.
struct alignas(std::max_align_t) Header {
  HostContext* context;
  Header* next;
};

Header* headerOf(void* block) { return static_cast<Header*>(block) - 1; }

HRESULT makeBlock(ULONG bytes, const char* name, void** out) {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  if (currentContext != nullptr) {
    if (const HRESULT hr = currentContext->plan.onCall(name); failed(hr)) {
      return hr;
    }
  }
  void* memory = std::malloc(sizeof(Header) + bytes);
  if (memory == nullptr) {
    return E_OUTOFMEMORY;
  }
  auto* header = new (memory) Header{currentContext, nullptr};
  *out = header + 1;
  return S_OK;
}

}  // namespace

HRESULT HostAllocator::getAllocators(AllocateBuffer* allocateBuffer, AllocateMore* allocateMoreOut,
                                     FreeBuffer* freeBuffer) noexcept {
  if (const HRESULT hr = called("IMapiAllocator::getAllocators"); failed(hr)) {
    return hr;
  }
  if (allocateBuffer != nullptr) {
    *allocateBuffer = &HostAllocator::allocate;
  }
  if (allocateMoreOut != nullptr) {
    *allocateMoreOut = &HostAllocator::allocateMore;
  }
  if (freeBuffer != nullptr) {
    *freeBuffer = &HostAllocator::free;
  }
  return S_OK;
}

HRESULT HostAllocator::allocate(ULONG bytes, void** out) {
  const HRESULT hr = makeBlock(bytes, "allocateBuffer", out);
  if (succeeded(hr) && currentContext != nullptr) {
    ++currentContext->openBuffers;
  }
  return hr;
}

HRESULT HostAllocator::allocateMore(ULONG bytes, void* parent, void** out) {
  if (parent == nullptr) {
    return E_INVALIDARG;
  }
  const HRESULT hr = makeBlock(bytes, "allocateMore", out);
  if (succeeded(hr)) {
    Header* child = headerOf(*out);
    child->next = headerOf(parent)->next;
    headerOf(parent)->next = child;
  }
  return hr;
}

ULONG HostAllocator::free(void* block) {
  if (block == nullptr) {
    return 0;
  }
  Header* header = headerOf(block);
  if (header->context != nullptr) {
    --header->context->openBuffers;
  }
  while (header != nullptr) {
    Header* next = header->next;
    std::free(header);
    header = next;
  }
  return 0;
}

ScopedContext::ScopedContext(HostContext* context) : former_(currentContext) { currentContext = context; }
ScopedContext::~ScopedContext() { currentContext = former_; }

}  // namespace nalvo::host
