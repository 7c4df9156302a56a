// A store in memory.
#pragma once

#include <memory>

#include "streams/stream_data_base.h"

namespace nalvo {

// At most 2^32 - 1 bytes; what does not fit, in this or in the machine's memory, is STG_E_MEDIUMFULL.
class MemoryStreamData final : public StreamDataBase {
 public:
  // `lock` is shared; null makes one of its own. The store has one reference, for the caller.
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

  explicit MemoryStreamData(const CLock* lock);

 private:
  struct Free {
    void operator()(char* block) const noexcept { std::free(block); }
  };

  // The only place that changes the capacity. Throws STG_E_MEDIUMFULL; block and capacity then stay.
  void allocate(std::uint64_t capacity);
  // Clears what lies between the old end and `end`; the capacity is there.
  void clearUpTo(std::uint64_t end);
  void touchWritten();

  bool modified_ = false;
  std::unique_ptr<char, Free> block_;
  std::uint64_t size_ = 0;
  std::uint64_t capacity_ = 0;
  FILETIME lastWrite_;
  FILETIME lastAccess_;
  FILETIME creation_;
};

}  // namespace nalvo
