#include "streams/stream_proxy.h"

#include <algorithm>
#include <memory>

#include "diagnostics/boundary.h"
#include "streams/stream_data.h"

namespace nalvo {

using wire::Operation;

namespace {

constexpr SourceFile kSource{".\\StreamProxy"};

}  // namespace

StreamProxy::~StreamProxy() {
  const wire::Request request{Operation::LetGo, 0, 0, 0};
  if (socket_) {
    (void)wire::sendAll(socket_, &request, sizeof request, nullptr);
  }
}

void* StreamProxy::queryOther(const IID& iid) noexcept {
  return iid == ISequentialStream::kIid ? static_cast<IStream*>(this) : nullptr;
}

wire::Answer StreamProxy::call(const wire::Request& request, const void* out, void* in, std::size_t room) noexcept {
  const std::lock_guard guard(lock_);
  const std::size_t outBytes = out != nullptr ? request.word : 0;
  wire::Answer answer{};
  if (socket_ && wire::sendAll(socket_, &request, sizeof request, nullptr) &&
      wire::sendAll(socket_, out, outBytes, nullptr) && wire::receiveAll(socket_, &answer, sizeof answer, nullptr) &&
      answer.bytes <= room && wire::receiveAll(socket_, in, answer.bytes, nullptr)) {
    return answer;
  }
  socket_ = UniqueFd();
  return {RPC_E_DISCONNECTED, 0, 0};
}

HRESULT StreamProxy::Read(void* buffer, ULONG bytes, ULONG* read) noexcept {
  if (read != nullptr) {
    *read = 0;
  }
  if (buffer == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  HRESULT hr = S_OK;
  for (ULONG total = 0; total < bytes;) {
    const ULONG part = std::min<ULONG>(bytes - total, wire::kMaxBytes);
    const wire::Answer answer = call({Operation::Read, part, 0, 0}, nullptr, static_cast<char*>(buffer) + total, part);
    hr = answer.result;
    total += answer.bytes;
    if (read != nullptr) {
      *read = total;
    }
    if (failed(hr) || answer.bytes < part) {
      break;
    }
  }
  return hr;
}

HRESULT StreamProxy::Write(const void* buffer, ULONG bytes, ULONG* written) noexcept {
  if (written != nullptr) {
    *written = 0;
  }
  if (buffer == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  HRESULT hr = S_OK;
  for (ULONG total = 0; total < bytes;) {
    const ULONG part = std::min<ULONG>(bytes - total, wire::kMaxBytes);
    const wire::Answer answer = call({Operation::Write, part, 0, 0}, static_cast<const char*>(buffer) + total, nullptr, 0);
    hr = answer.result;
    total += static_cast<ULONG>(std::min<std::uint64_t>(answer.value, part));
    if (written != nullptr) {
      *written = total;
    }
    if (failed(hr) || answer.value < part) {
      break;
    }
  }
  return hr;
}

HRESULT StreamProxy::Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept {
  const wire::Answer answer = call({Operation::Seek, origin, static_cast<std::uint64_t>(move), 0});
  if (succeeded(answer.result) && newPosition != nullptr) {
    *newPosition = answer.value;
  }
  return answer.result;
}

HRESULT StreamProxy::SetSize(std::uint64_t size) noexcept { return call({Operation::SetSize, 0, size, 0}).result; }

HRESULT StreamProxy::CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read,
                            std::uint64_t* written) noexcept {
  return atBoundary([&] {
    if (destination == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    std::uint64_t ignored = 0;
    std::uint64_t& allRead = read != nullptr ? *read : ignored;
    std::uint64_t& allWritten = written != nullptr ? *written : ignored;
    allRead = allWritten = 0;
    const SourceLocation here = kSource.at("StreamProxy::CopyTo");
    const auto block = std::make_unique_for_overwrite<char[]>(kCopyBlock);
    while (bytes != 0) {
      ULONG count = 0;
      checkHResult(Read(block.get(), static_cast<ULONG>(std::min<std::uint64_t>(bytes, kCopyBlock)), &count), here);
      if (count == 0) {
        break;
      }
      bytes -= count;
      allRead += count;
      for (ULONG at = 0; at < count;) {
        ULONG done = 0;
        const HRESULT hr = destination->Write(block.get() + at, count - at, &done);
        done = std::min(done, count - at);
        at += done;
        allWritten += done;
        checkHResult(done == 0 && succeeded(hr) ? STG_E_MEDIUMFULL : hr, here);
      }
    }
    return S_OK;
  });
}

HRESULT StreamProxy::Commit(DWORD flags) noexcept { return call({Operation::Commit, flags, 0, 0}).result; }

HRESULT StreamProxy::Revert() noexcept { return call({Operation::Revert, 0, 0, 0}).result; }

HRESULT StreamProxy::LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return call({Operation::LockRegion, type, offset, bytes}).result;
}

HRESULT StreamProxy::UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return call({Operation::UnlockRegion, type, offset, bytes}).result;
}

HRESULT StreamProxy::Stat(STATSTG* stat, DWORD flag) noexcept {
  if (stat == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  *stat = {};
  return call({Operation::Stat, flag, 0, 0}, nullptr, stat, sizeof *stat).result;
}

HRESULT StreamProxy::Clone(IStream** out) noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    *out = nullptr;
    GUID token{};
    const wire::Answer answer = call({Operation::Clone, 0, 0, 0}, nullptr, &token, sizeof token);
    if (failed(answer.result)) {
      return answer.result;
    }
    UniqueFd socket = wire::connectTo(token);
    if (!socket) {
      return RPC_E_DISCONNECTED;
    }
    *out = makeCom<StreamProxy>(std::move(socket)).detach();
    return S_OK;
  });
}

DWORD StreamProxy::AddConnection(DWORD type, DWORD /*reserved*/) noexcept {
  return static_cast<DWORD>(call({Operation::AddConnection, type, 0, 0}).value);
}

DWORD StreamProxy::ReleaseConnection(DWORD type, DWORD /*reserved*/, BOOL lastReleaseCloses) noexcept {
  const std::uint64_t closes = lastReleaseCloses != 0 ? 1 : 0;
  return static_cast<DWORD>(call({Operation::ReleaseConnection, type, closes, 0}).value);
}

}  // namespace nalvo
