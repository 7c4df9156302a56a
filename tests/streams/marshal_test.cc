#include "streams/marshal.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "diagnostics/client_watcher.h"
#include "platform/process/unique_fd.h"
#include "tests/streams/fakes.h"

namespace nalvo {
namespace {

// A process that gets a packet, unmarshals it, and then does what single letters tell it, each with its answer: a HRESULT.
class Client {
 public:
  // Forked before the test starts threads of its own.
  Client() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      return;
    }
    parent_ = UniqueFd(ends[0]);
    child_ = UniqueFd(ends[1]);
    id_ = ::fork();
    if (id_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      parent_ = UniqueFd();
      serve();
      ::_exit(0);
    }
    child_ = UniqueFd();
  }
  ~Client() { kill(); }

  HRESULT unmarshal(IStream* packet) {
    streamUtils::rewind(packet);
    const std::string bytes = restOf(packet);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    (void)!::write(parent_.get(), &size, sizeof size);
    (void)!::write(parent_.get(), bytes.data(), bytes.size());
    return answer();
  }
  HRESULT order(char letter) {
    (void)!::write(parent_.get(), &letter, 1);
    return answer();
  }
  void kill() {
    if (id_ > 0) {
      ::kill(id_, SIGKILL);
      ::waitpid(id_, nullptr, 0);
      id_ = -1;
    }
  }

 private:
  HRESULT answer() {
    HRESULT hr = E_UNEXPECTED;
    return ::read(parent_.get(), &hr, sizeof hr) == sizeof hr ? hr : E_UNEXPECTED;
  }

  void serve() {
    std::uint32_t size = 0;
    if (::read(child_.get(), &size, sizeof size) != sizeof size) {
      return;
    }
    std::string bytes(size, '\0');
    (void)!::recv(child_.get(), bytes.data(), size, MSG_WAITALL);
    const auto packet = makeCom<FakeStream>(bytes);
    ComPtr<IStream> stream;
    HRESULT hr = unmarshalStream(packet.get(), stream.put());
    char letter = 0;
    do {
      if (letter != 0) {
        hr = obey(letter, stream);
      }
      (void)!::write(child_.get(), &hr, sizeof hr);
    } while (::read(child_.get(), &letter, 1) == 1);
  }

  HRESULT obey(char letter, ComPtr<IStream>& stream) {
    switch (letter) {
      case 'r':  // the content from offset 2 on
        stream->Seek(2, STREAM_SEEK_SET, nullptr);
        return restOf(stream.get()) == "23456789" ? S_OK : E_FAIL;
      case 'p': {  // a plain read
        char byte = 0;
        return stream->Read(&byte, 1, nullptr);
      }
      case 'w': {  // more than one transfer holds
        const std::string big(600'000, 'w');
        ULONG done = 0;
        const HRESULT hr = stream->Write(big.data(), 600'000, &done);
        std::uint64_t size = 0;
        stream->Seek(0, STREAM_SEEK_END, &size);
        return succeeded(hr) && done == 600'000 && size == sizeOf(stream.get()) ? S_OK : E_FAIL;
      }
      case 'c': {  // a clone, which has its own position
        ComPtr<IStream> clone;
        stream->Seek(5, STREAM_SEEK_SET, nullptr);
        const HRESULT hr = stream->Clone(clone.put());
        return succeeded(hr) && restOf(clone.get()) == "56789" && restOf(stream.get()) == "56789" ? hr : E_FAIL;
      }
      case 'o': {  // CopyTo
        const auto destination = makeCom<FakeStream>();
        stream->Seek(0, STREAM_SEEK_SET, nullptr);
        const HRESULT hr = stream->CopyTo(destination.get(), UINT64_MAX, nullptr, nullptr);
        return destination->data == "0123456789" ? hr : E_FAIL;
      }
      case '+':
        return static_cast<HRESULT>(stream.as<IExternalConnection>()->AddConnection(EXTCONN_STRONG, 0));
      case '-':
        return static_cast<HRESULT>(stream.as<IExternalConnection>()->ReleaseConnection(EXTCONN_STRONG, 0, 0));
      case 'l':  // let go
        stream.reset();
        return S_OK;
      case 'f':  // hand over to a process of its own, which goes on when this one is killed
        if (::fork() == 0) {
          return S_OK;
        }
        while (true) {
          ::pause();
        }
      default:
        return stream->SetSize(static_cast<std::uint64_t>(letter));
    }
  }

  UniqueFd parent_;
  UniqueFd child_;
  pid_t id_ = -1;
};

// Asks without changing it.
DWORD connectionsOf(const ComPtr<IStream>& stream) {
  const auto connection = stream.as<IExternalConnection>();
  connection->AddConnection(EXTCONN_STRONG, 0);
  return connection->ReleaseConnection(EXTCONN_STRONG, 0, 0);
}

ULONG referencesOf(const ComPtr<IStream>& stream) {
  stream->AddRef();
  return stream->Release();
}

// For what another thread does in its own time.
template <typename Condition>
bool comesTrue(Condition condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) {
      return true;
    }
    ::usleep(1000);
  }
  return false;
}

// The watcher is one for the process: a test begins when it has forgotten what came before.
class Marshal : public testing::Test {
 protected:
  void TearDown() override {
    const detail::ClientWatcher& watcher = detail::ClientWatcher::instance();
    EXPECT_TRUE(comesTrue([&] { return watcher.clientCount() == 0 && watcher.connectionCount() == 0; }));
  }
};
using ExternalConnection = Marshal;

ComPtr<IStream> packetOf(const ComPtr<IStream>& stream) {
  ComPtr<IStream> packet = streamUtils::createStream();
  EXPECT_EQ(marshalStream(packet.get(), stream.get()), S_OK);
  return packet;
}

TEST_F(Marshal, AnotherProcessUsesTheStream) {
  Client client;
  const ComPtr<IStream> stream = streamOf("0123456789");
  EXPECT_EQ(connectionsOf(stream), 0U);
  const ComPtr<IStream> packet = packetOf(stream);
  EXPECT_EQ(connectionsOf(stream), 1U);
  ASSERT_EQ(client.unmarshal(packet.get()), S_OK);
  EXPECT_EQ(client.order('r'), S_OK);
  EXPECT_EQ(client.order('c'), S_OK);
  EXPECT_EQ(client.order('o'), S_OK);
  EXPECT_EQ(client.order('w'), S_OK);
  EXPECT_EQ(sizeOf(stream.get()), 600'010U);
  EXPECT_TRUE(comesTrue([&] { return connectionsOf(stream) == 1; })) << "the packet's own goes in its own time";
  EXPECT_EQ(client.order('+'), 2);
  EXPECT_EQ(connectionsOf(stream), 2U) << "one count for both processes";
  EXPECT_EQ(client.order('-'), 1);
  EXPECT_EQ(client.order('l'), S_OK);
  EXPECT_TRUE(comesTrue([&] { return connectionsOf(stream) == 0; }));
  EXPECT_TRUE(comesTrue([&] { return referencesOf(stream) == 1; })) << "nothing else holds it any more";
}

TEST_F(Marshal, TheDeathOfTheLastClientDisconnects) {
  Client first;
  Client second;
  const ComPtr<IStream> stream = streamOf("0123456789");
  ASSERT_EQ(first.unmarshal(packetOf(stream).get()), S_OK);
  ASSERT_EQ(second.unmarshal(packetOf(stream).get()), S_OK);
  // Who has been answered is known.
  EXPECT_EQ(first.order('r'), S_OK);
  EXPECT_EQ(second.order('r'), S_OK);
  EXPECT_EQ(connectionsOf(stream), 2U);
  // The process that connected stays to be killed; what it forked off goes on with its proxy.
  ASSERT_EQ(second.order('f'), S_OK);
  const ComPtr<IStream> waiting = packetOf(stream);

  first.kill();
  detail::ClientWatcher& watcher = detail::ClientWatcher::instance();
  EXPECT_TRUE(comesTrue([&] { return watcher.clientCount() == 1; }));
  EXPECT_EQ(connectionsOf(stream), 3U) << "one of two";
  EXPECT_EQ(second.order('r'), S_OK);

  second.kill();
  EXPECT_TRUE(comesTrue([&] { return watcher.clientCount() == 0 && watcher.connectionCount() == 0; }));
  EXPECT_EQ(connectionsOf(stream), 0U);
  EXPECT_EQ(second.order('p'), RPC_E_DISCONNECTED);
  EXPECT_EQ(second.order('+'), 0);
  streamUtils::rewind(waiting.get());
  ComPtr<IStream> late;
  EXPECT_EQ(unmarshalStream(waiting.get(), late.put()), RPC_E_DISCONNECTED);
}

TEST_F(Marshal, GivesTheStreamItselfInItsOwnProcess) {
  ComPtr<IStream> stream = streamOf("abc");
  const ComPtr<IStream> packet = packetOf(stream);
  streamUtils::rewind(packet.get());
  ComPtr<IStream> same;
  ASSERT_EQ(unmarshalStream(packet.get(), same.put()), S_OK);
  EXPECT_EQ(same, stream);
  EXPECT_EQ(connectionsOf(stream), 0U);
  streamUtils::rewind(packet.get());
  EXPECT_EQ(unmarshalStream(packet.get(), same.put()), RPC_E_DISCONNECTED) << "used up";

  const ComPtr<IStream> unused = packetOf(stream);
  streamUtils::rewind(unused.get());
  EXPECT_EQ(stream.as<IMarshal>()->ReleaseMarshalData(unused.get()), S_OK);
  EXPECT_EQ(connectionsOf(stream), 0U);
}

TEST_F(Marshal, RefusesWhatIsNoPacket) {
  ComPtr<IStream> out;
  EXPECT_EQ(unmarshalStream(streamOf("short").get(), out.put()), RPC_E_INVALID_OBJREF);
  EXPECT_EQ(unmarshalStream(streamOf(std::string(24, 'x')).get(), out.put()), RPC_E_INVALID_OBJREF);
  EXPECT_EQ(unmarshalStream(nullptr, out.put()), E_INVALIDARG);
  EXPECT_EQ(marshalStream(nullptr, streamOf("abc").get()), E_INVALIDARG);
  EXPECT_EQ(marshalStream(out.get(), makeCom<FakeStream>().get()), E_NOINTERFACE);
  const ComPtr<IStream> stream = streamOf("abc");
  const auto full = makeCom<FakeStream>();
  full->failAt = 1;
  EXPECT_EQ(marshalStream(full.get(), stream.get()), STG_E_READFAULT);
  EXPECT_EQ(connectionsOf(stream), 0U);
}

TEST_F(ExternalConnection, CountsStrongConnections) {
  ComPtr<IStream> stream = streamOf("abc");
  auto connection = stream.as<IExternalConnection>();
  detail::ClientWatcher& watcher = detail::ClientWatcher::instance();
  EXPECT_EQ(connection->AddConnection(2, 0), 0U);
  EXPECT_EQ(watcher.connectionCount(), 0U);
  EXPECT_EQ(connection->AddConnection(EXTCONN_STRONG, 0), 1U);
  EXPECT_EQ(connection->AddConnection(3, 0), 2U);
  EXPECT_EQ(watcher.connectionCount(), 1U);
  EXPECT_EQ(connection->ReleaseConnection(2, 0, 1), 0U);
  EXPECT_EQ(connection->ReleaseConnection(EXTCONN_STRONG, 0, 1), 1U);
  EXPECT_EQ(connection->ReleaseConnection(EXTCONN_STRONG, 0, 0), 0U);
  EXPECT_EQ(connection->ReleaseConnection(EXTCONN_STRONG, 0, 0), 0U);
  EXPECT_EQ(watcher.connectionCount(), 1U) << "the last release did not close";
  EXPECT_EQ(connection->AddConnection(EXTCONN_STRONG, 0), 1U);
  EXPECT_EQ(connection->ReleaseConnection(EXTCONN_STRONG, 0, 1), 0U);
  EXPECT_EQ(watcher.connectionCount(), 0U);
  connection->AddConnection(EXTCONN_STRONG, 0);
  connection.reset();
  stream.reset();
  EXPECT_EQ(watcher.connectionCount(), 0U) << "a stream that dies leaves the watcher";
}

// A client process dies while streams are made and destroyed: the watcher must never touch one that is gone.
TEST_F(ExternalConnection, SurvivesADeathDuringDestruction) {
  for (int round = 0; round < 20; ++round) {
    Client client;
    const ComPtr<IStream> stream = streamOf("abc");
    ASSERT_EQ(client.unmarshal(packetOf(stream).get()), S_OK);
    client.kill();
    for (int i = 0; i < 50; ++i) {
      const ComPtr<IStream> other = streamOf("x");
      other.as<IExternalConnection>()->AddConnection(EXTCONN_STRONG, 0);
    }
    EXPECT_TRUE(comesTrue([] { return detail::ClientWatcher::instance().clientCount() == 0; }));
  }
}

}  // namespace
}  // namespace nalvo
