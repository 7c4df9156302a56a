#include "streams/stream_server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <vector>

#include "diagnostics/boundary.h"
#include "platform/com/guid.h"
#include "platform/process/errno_result.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\StreamServer"};

struct Exports {
  std::mutex lock;
  std::vector<std::shared_ptr<StreamExport>> all;
};

// Never destroyed: a server thread may outlive the other statics.
Exports& exports() {
  static auto* const list = new Exports;
  return *list;
}

}  // namespace

// Ends, and destroys itself, when the proxy has gone or the export was closed.
class StreamServer final : public Thread {
 public:
  explicit StreamServer(std::shared_ptr<StreamExport> served) : Thread("StreamServer"), export_(std::move(served)) {
    setDeleteOnFinish(true);
  }

 private:
  void execute() override {
    // A failure ends the service as the death of the proxy does.
    (void)atBoundary([&] {
      const UniqueFd client = waitForProxy();
      if (client) {
        buffer_.resize(wire::kMaxBytes);
        while (serve(client)) {
        }
      }
    });
    if (letGo_) {
      export_->connection_->ReleaseConnection(EXTCONN_STRONG, 0, 1);
    }
    export_->forget();
  }

  UniqueFd waitForProxy() {
    while (true) {
      pollfd entries[] = {{export_->stop_.fd(), POLLIN, 0}, {export_->listener_.get(), POLLIN, 0}};
      if (::poll(entries, 2, -1) < 0 && errno != EINTR) {
        return {};
      }
      if (entries[0].revents != 0) {
        return {};
      }
      UniqueFd client(::accept4(export_->listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      const std::optional<DWORD> peer = client ? wire::peerOf(client) : std::nullopt;
      if (peer) {
        if (!export_->takeFromWaiting()) {
          return {};
        }
        letGo_ = failed(export_->connection_->addClient(*peer));
        return letGo_ ? UniqueFd() : std::move(client);
      }
    }
  }

  bool serve(const UniqueFd& client) {
    wire::Request request{};
    const Event* stop = &export_->stop_;
    if (!wire::receiveAll(client, &request, sizeof request, stop)) {
      return false;
    }
    const bool carriesBytes = request.operation == wire::Operation::Read || request.operation == wire::Operation::Write;
    if (carriesBytes && request.word > wire::kMaxBytes) {
      return false;
    }
    if (request.operation == wire::Operation::Write && !wire::receiveAll(client, buffer_.data(), request.word, stop)) {
      return false;
    }
    if (request.operation == wire::Operation::LetGo) {
      letGo_ = true;
      return false;
    }
    const wire::Answer answer = answerTo(request);
    return wire::sendAll(client, &answer, sizeof answer, stop) && wire::sendAll(client, buffer_.data(), answer.bytes, stop);
  }

  // The bytes that go with the answer stand in the buffer.
  wire::Answer answerTo(const wire::Request& request) {
    IStream& stream = *export_->stream_;
    CExternalConnection& connection = *export_->connection_;
    wire::Answer answer{S_OK, 0, 0};
    ULONG done = 0;
    switch (request.operation) {
      case wire::Operation::Read:
        answer.result = stream.Read(buffer_.data(), request.word, &done);
        answer.bytes = done;
        break;
      case wire::Operation::Write:
        answer.result = stream.Write(buffer_.data(), request.word, &done);
        answer.value = done;
        break;
      case wire::Operation::Seek:
        answer.result = stream.Seek(static_cast<std::int64_t>(request.first), request.word, &answer.value);
        break;
      case wire::Operation::SetSize:
        answer.result = stream.SetSize(request.first);
        break;
      case wire::Operation::Commit:
        answer.result = stream.Commit(request.word);
        break;
      case wire::Operation::Revert:
        answer.result = stream.Revert();
        break;
      case wire::Operation::LockRegion:
        answer.result = stream.LockRegion(request.first, request.second, request.word);
        break;
      case wire::Operation::UnlockRegion:
        answer.result = stream.UnlockRegion(request.first, request.second, request.word);
        break;
      case wire::Operation::Stat: {
        STATSTG stat{};
        answer.result = stream.Stat(&stat, request.word);
        taskFree(std::exchange(stat.pwcsName, nullptr));
        std::copy_n(reinterpret_cast<const char*>(&stat), sizeof stat, buffer_.data());
        answer.bytes = sizeof stat;
        break;
      }
      case wire::Operation::Clone: {
        const GUID token = newGuid();
        ComPtr<IStream> clone;
        answer.result = stream.Clone(clone.put());
        if (succeeded(answer.result)) {
          answer.result = atBoundary([&] { StreamExport::open(clone.get(), &connection, token); });
        }
        std::copy_n(reinterpret_cast<const char*>(&token), sizeof token, buffer_.data());
        answer.bytes = sizeof token;
        break;
      }
      case wire::Operation::AddConnection:
        answer.value = connection.AddConnection(request.word, 0);
        break;
      case wire::Operation::ReleaseConnection:
        answer.value = connection.ReleaseConnection(request.word, 0, request.first != 0 ? 1 : 0);
        break;
      default:
        answer.result = E_NOTIMPL;
    }
    return answer;
  }

  const std::shared_ptr<StreamExport> export_;
  std::vector<char> buffer_;
  bool letGo_ = false;
};

void StreamExport::open(IStream* stream, CExternalConnection* connection, const GUID& token) {
  const SourceLocation here = kSource.at("StreamExport::open");
  auto opened = std::make_shared<StreamExport>();
  opened->token_ = token;
  opened->stream_ = ComPtr<IStream>::retain(stream);
  opened->connection_ = ComPtr<CExternalConnection>::retain(connection);
  opened->listener_ = wire::listenFor(token);
  if (!opened->listener_) {
    throwHResult(hresultFromErrno(errno), here);
  }
  auto server = std::make_unique<StreamServer>(opened);
  {
    const std::lock_guard guard(exports().lock);
    exports().all.push_back(opened);
  }
  connection->AddConnection(EXTCONN_STRONG, 0);
  if (!server->start()) {
    connection->ReleaseConnection(EXTCONN_STRONG, 0, 1);
    opened->forget();
    throwHResult(E_OUTOFMEMORY, here);
  }
  // It destroys itself.
  (void)server.release();
}

ComPtr<IStream> StreamExport::claim(const GUID& token) {
  std::shared_ptr<StreamExport> claimed;
  ComPtr<IStream> stream;
  ComPtr<CExternalConnection> connection;
  {
    const std::lock_guard guard(exports().lock);
    const auto found =
        std::ranges::find_if(exports().all, [&](const auto& entry) { return entry->waiting_ && entry->token_ == token; });
    if (found == exports().all.end()) {
      return nullptr;
    }
    claimed = *found;
    claimed->waiting_ = false;
    stream = claimed->stream_;
    connection = claimed->connection_;
  }
  claimed->stop_.set();
  connection->ReleaseConnection(EXTCONN_STRONG, 0, 1);
  return stream;
}

void StreamExport::closeAll(const CExternalConnection* connection) {
  const std::lock_guard guard(exports().lock);
  for (const std::shared_ptr<StreamExport>& entry : exports().all) {
    if (entry->connection_.get() == connection) {
      entry->waiting_ = false;
      entry->stop_.set();
    }
  }
}

bool StreamExport::takeFromWaiting() {
  const std::lock_guard guard(exports().lock);
  return std::exchange(waiting_, false);
}

void StreamExport::forget() noexcept {
  {
    const std::lock_guard guard(exports().lock);
    std::erase_if(exports().all, [&](const auto& entry) { return entry.get() == this; });
  }
  connection_.reset();
  stream_.reset();
}

}  // namespace nalvo
