// Watches the processes that hold the library's streams.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "diagnostics/thread.h"
#include "platform/com/com_ptr.h"
#include "platform/process/process_handle.h"

namespace nalvo {

// One connection of an object to other processes.
class IClientManip : public IUnknown {
 public:
  static constexpr IID kIid{0x8EBDB69A, 0x8ADE, 0x446B, {0xBF, 0x22, 0x68, 0x1A, 0xA0, 0x88, 0x91, 0xD3}};

  // Has the process watched.
  virtual HRESULT addClient(DWORD processId) noexcept = 0;
  // The last client process is gone: leave the watcher, forget all connections, disconnect the object.
  virtual HRESULT clientDied() noexcept = 0;
  // AddRef, unless the last reference of the object is gone. The watcher's lock is held, under which the destructor of the
  // object takes itself off, so the object is still there.
  virtual bool addRefIfAlive() noexcept = 0;

 protected:
  ~IClientManip() = default;
};

namespace detail {

// Disconnects all connections when the last of the processes that it watches has ended. Safe from any thread.
class ClientWatcher final : public Thread, public CLock {
 public:
  // The one of the process, made at first use.
  static ClientWatcher& instance();

  // S_FALSE if the process is watched already; the HRESULT of ERROR_INVALID_PARAMETER if there is no such process.
  HRESULT addClient(DWORD processId) noexcept;
  // `connection` is not counted. S_FALSE if it is there already (add) or is not there (remove); E_INVALIDARG for null.
  HRESULT addConnection(IClientManip* connection) noexcept;
  HRESULT removeConnection(IClientManip* connection) noexcept;

  // How many processes and connections there are.
  std::size_t clientCount() const;
  std::size_t connectionCount() const;

  ClientWatcher();
  ~ClientWatcher() override;

 private:
  using Handle = std::shared_ptr<const ProcessHandle>;

  void execute() override;
  // Waits until a process ends or the set changes; false when the thread is to end.
  bool watch();
  // Each with a reference; the lock is held.
  std::vector<ComPtr<IClientManip>> livingConnections();

  std::map<DWORD, Handle> processes_;
  std::set<IClientManip*> connections_;
  // Wakes the thread when `processes_` changed.
  Event changeEvent_;
};

}  // namespace detail
}  // namespace nalvo
