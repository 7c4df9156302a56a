// The base of streams that are read, or written, once from front to back.
#pragma once

#include "platform/com/unknown_impl.h"

namespace nalvo {

// Answers E_NOTIMPL to all that needs a place in the stream. A derived class overrides Read, or Write and Commit.
class OneWayStream : public IUnknownImpl<IStream> {
 public:
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
  void* queryOther(const IID& iid) noexcept override;
};

// Writes all of it; STG_E_MEDIUMFULL for a stream that takes nothing more.
HRESULT writeWhole(IStream* destination, const char* bytes, std::size_t count) noexcept;

}  // namespace nalvo
