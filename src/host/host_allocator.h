// The allocator that the reference caller hands in.
#pragma once

#include "host/host_context.h"
#include "nalvo/interfaces.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::host {

// Its three functions know no object, so they count in the context of the thread that calls them: see ScopedContext. A block
// remembers its context and gives the count back there, wherever it is freed.
class HostAllocator final : public IUnknownImpl<IMapiAllocator>, private Counted {
 public:
  explicit HostAllocator(HostContextPtr context) : Counted(std::move(context)) {}

  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getAllocators(AllocateBuffer* allocateBuffer, AllocateMore* allocateMore,
                        FreeBuffer* freeBuffer) noexcept override;

  static HRESULT allocate(ULONG bytes, void** out);
  static HRESULT allocateMore(ULONG bytes, void* parent, void** out);
  static ULONG free(void* block);
};

// The context of this thread's allocations while the object lives. Without one, allocations are not counted.
class ScopedContext {
 public:
  explicit ScopedContext(HostContext* context);
  ~ScopedContext();
  ScopedContext(const ScopedContext&) = delete;
  ScopedContext& operator=(const ScopedContext&) = delete;

 private:
  HostContext* former_;
};

}  // namespace nalvo::host
