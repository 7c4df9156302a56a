// A store in a temporary file.
#pragma once

#include "platform/process/unique_fd.h"
#include "streams/stream_data_base.h"

namespace nalvo {

// Listeners hear of commits only, never of sizes. A failure of the system is the HRESULT of its error; a write that fails
// keeps what was written so far.
class TempFileStreamData final : public StreamDataBase {
 public:
  // Makes the file. `lock` is shared; null makes one of its own. The store has one reference, for the caller.
  static HRESULT create(DWORD flags, const CLock* lock, IStreamData** out) noexcept;

  HRESULT read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept override;
  HRESULT write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept override;
  HRESULT setSize(std::uint64_t size) noexcept override;
  HRESULT commit(DWORD flags) noexcept override;
  HRESULT revert() noexcept override;
  HRESULT lockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept override;
  HRESULT unlockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept override;
  HRESULT stat(STATSTG* out, DWORD flag) noexcept override;
  HRESULT getSize(std::uint64_t* size) noexcept override;

  explicit TempFileStreamData(const CLock* lock);

 private:
  bool modified_ = false;
  UniqueFd file_;
};

}  // namespace nalvo
