#include "diagnostics/client_watcher.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "diagnostics/boundary.h"

namespace nalvo::detail {

ClientWatcher& ClientWatcher::instance() {
  static ClientWatcher watcher;
  return watcher;
}

ClientWatcher::ClientWatcher() : Thread("ClientWatcher") {}

ClientWatcher::~ClientWatcher() { stopAndWait(); }

HRESULT ClientWatcher::addClient(DWORD processId) noexcept {
  return atBoundary([&] {
    {
      const Guard guard(*this);
      const auto known = processes_.find(processId);
      // An id whose process has ended may stand for a new one.
      if (known != processes_.end() && !known->second->hasEnded()) {
        return S_FALSE;
      }
      const auto handle = std::make_shared<ProcessHandle>();
      const HRESULT hr = ProcessHandle::open(static_cast<pid_t>(processId), *handle);
      if (failed(hr)) {
        return hr;
      }
      processes_.insert_or_assign(processId, handle);
      start();
    }
    changeEvent_.set();
    return S_OK;
  });
}

HRESULT ClientWatcher::addConnection(IClientManip* connection) noexcept {
  return atBoundary([&] {
    if (connection == nullptr) {
      return E_INVALIDARG;
    }
    const Guard guard(*this);
    return connections_.insert(connection).second ? S_OK : S_FALSE;
  });
}

HRESULT ClientWatcher::removeConnection(IClientManip* connection) noexcept {
  return atBoundary([&] {
    if (connection == nullptr) {
      return E_INVALIDARG;
    }
    const Guard guard(*this);
    return connections_.erase(connection) != 0 ? S_OK : S_FALSE;
  });
}

std::size_t ClientWatcher::clientCount() const {
  const Guard guard(*this);
  return processes_.size();
}

std::size_t ClientWatcher::connectionCount() const {
  const Guard guard(*this);
  return connections_.size();
}

void ClientWatcher::execute() {
  // Out of memory ends the watch, not the process.
  (void)atBoundary([&] {
    while (watch()) {
    }
  });
}

bool ClientWatcher::watch() {
  std::vector<std::pair<DWORD, Handle>> watched;
  {
    const Guard guard(*this);
    watched.assign(processes_.begin(), processes_.end());
  }
  std::vector<pollfd> entries = {{stopEvent().fd(), POLLIN, 0}, {changeEvent_.fd(), POLLIN, 0}};
  for (const auto& [id, handle] : watched) {
    entries.push_back({handle->fd(), POLLIN, 0});
  }
  while (::poll(entries.data(), entries.size(), -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  if (entries[0].revents != 0) {
    return false;
  }
  if (entries[1].revents != 0) {
    changeEvent_.reset();
    return true;
  }
  std::vector<ComPtr<IClientManip>> cut;
  {
    const Guard guard(*this);
    bool last = false;
    for (std::size_t i = 0; i < watched.size(); ++i) {
      const auto entry = processes_.find(watched[i].first);
      // The id may have been given to a new process meanwhile.
      if (entries[i + 2].revents != 0 && entry != processes_.end() && entry->second == watched[i].second) {
        processes_.erase(entry);
        last = processes_.empty();
      }
    }
    if (last) {
      cut = livingConnections();
    }
  }
  for (const ComPtr<IClientManip>& connection : cut) {
    connection->clientDied();
  }
  return true;
}

std::vector<ComPtr<IClientManip>> ClientWatcher::livingConnections() {
  std::vector<ComPtr<IClientManip>> living;
  living.reserve(connections_.size());
  for (IClientManip* connection : connections_) {
    if (connection->addRefIfAlive()) {
      living.push_back(ComPtr<IClientManip>::attach(connection));
    }
  }
  return living;
}

}  // namespace nalvo::detail
