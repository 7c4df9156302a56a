// The end of a marshalled stream that stays in the stream's own process.
#pragma once

#include <memory>

#include "diagnostics/thread.h"
#include "streams/external_connection.h"
#include "streams/stream_wire.h"

namespace nalvo {

// A stream that waits for its one proxy, or serves it, on a thread of its own. It holds the stream until it is closed or
// the proxy has gone, and a strong connection until the proxy lets go. A proxy that dies without that leaves its connection
// to the watcher of client processes.
class StreamExport {
 public:
  // `connection` counts for `stream`, or for the stream that it is a clone of. Throws when the system has no means left.
  static void open(IStream* stream, CExternalConnection* connection, const GUID& token);
  // The stream that waits under a token in this process; that ends the wait. Null if none does.
  static ComPtr<IStream> claim(const GUID& token);
  // Cuts all that are counted by `connection`, and lets go of their streams. The count is left to the caller.
  static void closeAll(const CExternalConnection* connection);

 private:
  friend class StreamServer;

  // What wakes up first takes it: a proxy, a claim, or the end.
  bool takeFromWaiting();
  void forget() noexcept;

  GUID token_{};
  UniqueFd listener_;
  ComPtr<IStream> stream_;
  ComPtr<CExternalConnection> connection_;
  Event stop_;
  bool waiting_ = true;  // under the lock of the list of all exports
};

}  // namespace nalvo
