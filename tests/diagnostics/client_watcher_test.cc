#include "diagnostics/client_watcher.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "platform/com/unknown_impl.h"

namespace nalvo::detail {
namespace {

// A process that does nothing until it is killed.
class Child {
 public:
  Child() : id_(::fork()) {
    if (id_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      while (true) {
        ::pause();
      }
    }
  }
  ~Child() { kill(); }

  void kill() {
    if (id_ > 0) {
      ::kill(id_, SIGKILL);
      ::waitpid(id_, nullptr, 0);
      id_ = -1;
    }
  }
  DWORD id() const { return static_cast<DWORD>(id_); }

 private:
  pid_t id_;
};

struct Connection final : IUnknownImpl<IClientManip> {
  explicit Connection(ClientWatcher& where) : watcher(where) {}

  HRESULT addClient(DWORD) noexcept override { return S_OK; }
  HRESULT clientDied() noexcept override {
    // Takes the watcher's lock: a call under that lock from another thread would hang here.
    watcher.removeConnection(this);
    died.set();
    return S_OK;
  }
  bool addRefIfAlive() noexcept override {
    if (alive) {
      AddRef();
    }
    return alive;
  }

  ClientWatcher& watcher;
  Event died;
  std::atomic<bool> alive = true;
};

TEST(ClientWatcher, OnlyTheLastDeathDisconnects) {
  Child first;
  Child second;
  ClientWatcher watcher;
  const auto connection = makeCom<Connection>(watcher);
  const auto removed = makeCom<Connection>(watcher);
  const auto dying = makeCom<Connection>(watcher);
  dying->alive = false;
  EXPECT_EQ(watcher.addConnection(connection.get()), S_OK);
  EXPECT_EQ(watcher.addConnection(connection.get()), S_FALSE);
  EXPECT_EQ(watcher.addConnection(removed.get()), S_OK);
  EXPECT_EQ(watcher.addConnection(dying.get()), S_OK);
  EXPECT_EQ(watcher.removeConnection(removed.get()), S_OK);
  EXPECT_EQ(watcher.removeConnection(removed.get()), S_FALSE);
  EXPECT_EQ(watcher.addConnection(nullptr), E_INVALIDARG);
  EXPECT_EQ(watcher.removeConnection(nullptr), E_INVALIDARG);

  EXPECT_EQ(watcher.addClient(first.id()), S_OK);
  EXPECT_EQ(watcher.addClient(second.id()), S_OK);
  EXPECT_EQ(watcher.addClient(second.id()), S_FALSE);
  EXPECT_EQ(watcher.clientCount(), 2U);

  first.kill();
  while (watcher.clientCount() == 2) {
    ::usleep(1000);
  }
  EXPECT_FALSE(connection->died.isSet());
  EXPECT_EQ(watcher.connectionCount(), 2U);

  second.kill();
  connection->died.wait();
  EXPECT_EQ(watcher.clientCount(), 0U);
  EXPECT_FALSE(removed->died.isSet());
  EXPECT_FALSE(dying->died.isSet());
}

TEST(ClientWatcher, RefusesAProcessThatIsGone) {
  Child child;
  const DWORD id = child.id();
  child.kill();
  ClientWatcher watcher;
  EXPECT_EQ(static_cast<std::uint32_t>(watcher.addClient(id)), 0x80070057U);
  EXPECT_EQ(watcher.clientCount(), 0U);
  EXPECT_TRUE(watcher.isSuspended()) << "nothing to watch";
}

}  // namespace
}  // namespace nalvo::detail
