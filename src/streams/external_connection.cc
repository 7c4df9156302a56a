#include "streams/external_connection.h"

#include "diagnostics/boundary.h"
#include "streams/data_stream.h"

namespace nalvo {

using detail::ClientWatcher;

CExternalConnection::CExternalConnection(DataStream* controlling)
    : AggregatedImpl(static_cast<IStream*>(controlling)), stream_(controlling) {}

CExternalConnection::~CExternalConnection() {
  if (registered_) {
    ClientWatcher::instance().removeConnection(this);
  }
}

HRESULT CExternalConnection::create(DataStream* controlling, IUnknown** out) noexcept {
  return atBoundary([&] {
    if (controlling == nullptr) {
      return E_FAIL;
    }
    *out = (new CExternalConnection(controlling))->nondelegating();
    return S_OK;
  });
}

DWORD CExternalConnection::AddConnection(DWORD type, DWORD /*reserved*/) noexcept {
  if ((type & EXTCONN_STRONG) == 0) {
    return 0;
  }
  const Guard guard(*this);
  if (connections_ == 0) {
    registered_ = succeeded(atBoundary([&] { return ClientWatcher::instance().addConnection(this); }));
  }
  return ++connections_;
}

DWORD CExternalConnection::ReleaseConnection(DWORD type, DWORD /*reserved*/, BOOL lastReleaseCloses) noexcept {
  if ((type & EXTCONN_STRONG) == 0) {
    return 0;
  }
  DWORD left = 0;
  {
    const Guard guard(*this);
    connections_ -= connections_ > 0 ? 1 : 0;
    left = connections_;
  }
  if (left == 0 && lastReleaseCloses != 0) {
    clientDied();
  }
  return left;
}

HRESULT CExternalConnection::addClient(DWORD processId) noexcept {
  return atBoundary([&] { return ClientWatcher::instance().addClient(processId); });
}

HRESULT CExternalConnection::clientDied() noexcept {
  bool registered = false;
  {
    const Guard guard(*this);
    registered = registered_;
    connections_ = 0;
  }
  if (registered) {
    ClientWatcher::instance().removeConnection(this);
  }
  return disconnectObject(controlling());
}

bool CExternalConnection::addRefIfAlive() noexcept { return stream_->addRefIfAlive(); }

}  // namespace nalvo
