// Counts the connections that other processes hold to a stream.
#pragma once

#include "diagnostics/client_watcher.h"
#include "platform/com/lock.h"
#include "streams/aggregated_impl.h"
#include "streams/marshal.h"

namespace nalvo {

class DataStream;

// Lives inside the stream. While it has connections it stands with the watcher of client processes.
class CExternalConnection final : public AggregatedImpl<IExternalConnection, IClientManip>, public CLock {
 public:
  // E_FAIL without a controlling stream. `out` is the object's own IUnknown.
  static HRESULT create(DataStream* controlling, IUnknown** out) noexcept;

  DWORD AddConnection(DWORD type, DWORD reserved) noexcept override;
  DWORD ReleaseConnection(DWORD type, DWORD reserved, BOOL lastReleaseCloses) noexcept override;
  HRESULT addClient(DWORD processId) noexcept override;
  HRESULT clientDied() noexcept override;
  bool addRefIfAlive() noexcept override;

 private:
  explicit CExternalConnection(DataStream* controlling);
  ~CExternalConnection() override;

  DataStream* stream_;
  DWORD connections_ = 0;
  bool registered_ = false;
};

}  // namespace nalvo
