// The stream that a process sees of a stream in another one.
#pragma once

#include <mutex>

#include "platform/com/unknown_impl.h"
#include "streams/marshal.h"
#include "streams/stream_wire.h"

namespace nalvo {

// Calls go over one at a time. Once the other end is gone, every call fails with RPC_E_DISCONNECTED, and the two counting
// operations answer 0.
class StreamProxy final : public IUnknownImpl<IStream, IExternalConnection> {
 public:
  explicit StreamProxy(UniqueFd socket) : socket_(std::move(socket)) {}

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

  DWORD AddConnection(DWORD type, DWORD reserved) noexcept override;
  DWORD ReleaseConnection(DWORD type, DWORD reserved, BOOL lastReleaseCloses) noexcept override;

 protected:
  ~StreamProxy() override;
  void* queryOther(const IID& iid) noexcept override;

 private:
  // Sends a request, with the bytes of a Write; the bytes of the answer go to `in`, at most `room`.
  wire::Answer call(const wire::Request& request, const void* out, void* in, std::size_t room) noexcept;
  wire::Answer call(const wire::Request& request) noexcept { return call(request, nullptr, nullptr, 0); }

  std::mutex lock_;
  UniqueFd socket_;  // not open once the other end is gone
};

}  // namespace nalvo
