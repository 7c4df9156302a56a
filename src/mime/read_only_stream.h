// Streams that the layer hands out: read-only, with a position of their own.
#pragma once

#include <functional>

#include "mime/source.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::mime {

// Writing answers STG_E_ACCESSDENIED.
class ReadOnlyStream : public IUnknownImpl<IStream> {
 public:
  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override;
  HRESULT Write(const void*, ULONG, ULONG* written) noexcept override;
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept override;
  HRESULT SetSize(std::uint64_t) noexcept override;
  HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept override;
  HRESULT Commit(DWORD) noexcept override;
  HRESULT Revert() noexcept override;
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override;
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override;
  HRESULT Stat(STATSTG* stat, DWORD) noexcept override;

 protected:
  void* queryOther(const IID& iid) noexcept override;

  virtual std::uint64_t size() = 0;
  virtual std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t bytes) = 0;

  std::uint64_t position_ = 0;
};

// A window of a source.
ComPtr<IStream> makeWindowStream(std::shared_ptr<Source> source, Span span);
// All of a source. Its size is asked for when somebody wants it.
ComPtr<IStream> makeWindowStream(std::shared_ptr<Source> source);
// What `fill` writes, which is called at the first use and may throw; a failed one is tried again at the next use. Beyond a
// small size the data lies in a temporary file.
ComPtr<IStream> makeLazyStream(std::function<void(IStream*)> fill);

// An empty stream to read and write, in memory first, then in a temporary file.
ComPtr<IStream> makeScratchStream();

// Writes all of `text`. Throws what the stream answers, STG_E_MEDIUMFULL when it takes less.
void writeAll(IStream* stream, std::string_view text);

}  // namespace nalvo::mime
