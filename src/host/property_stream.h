// The stream of a property: the library's own stream with the caller's faults in front of it.
#pragma once

#include <functional>

#include "host/host_context.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::host {

class PropertyStream final : public IUnknownImpl<IStream>, private Counted {
 public:
  // `onCommit` (may be empty) is told of each Commit.
  PropertyStream(HostContextPtr context, ComPtr<IStream> inner, std::function<HRESULT()> onCommit)
      : Counted(std::move(context)), inner_(std::move(inner)), onCommit_(std::move(onCommit)) {}

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override;
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override;
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept override;
  HRESULT SetSize(std::uint64_t size) noexcept override;
  HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept override;
  HRESULT Commit(DWORD flags) noexcept override;
  HRESULT Revert() noexcept override;
  HRESULT LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept override;
  HRESULT UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept override;
  HRESULT Stat(STATSTG* stat, DWORD flag) noexcept override;
  HRESULT Clone(IStream** out) noexcept override;

 protected:
  void* queryOther(const IID& iid) noexcept override { return iid == ISequentialStream::kIid ? this : nullptr; }

 private:
  ComPtr<IStream> inner_;
  std::function<HRESULT()> onCommit_;
};

}  // namespace nalvo::host
