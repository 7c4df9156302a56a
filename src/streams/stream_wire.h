// How the proxy of a stream talks to the stream's own process: one request and one answer at a time over a Unix socket.
#pragma once

#include <optional>
#include <string>

#include "nalvo/com.h"
#include "platform/process/event.h"
#include "platform/process/unique_fd.h"

namespace nalvo::wire {

enum class Operation : std::uint32_t {
  Read,
  Write,
  Seek,
  SetSize,
  Commit,
  Revert,
  LockRegion,
  UnlockRegion,
  Stat,
  Clone,
  AddConnection,
  ReleaseConnection,
  LetGo,  // the proxy's last reference is gone; no answer
};

// Both ends run on one machine: the structures go over as they are.
struct Request {
  Operation operation;
  std::uint32_t word;    // flags, type, origin, or a count of bytes; those of Write follow
  std::uint64_t first;   // offset, size or move
  std::uint64_t second;  // length
};

struct Answer {
  HRESULT result;
  std::uint32_t bytes;  // that follow
  std::uint64_t value;
};

// No request and no answer carries more bytes than this.
inline constexpr std::uint32_t kMaxBytes = 256 * 1024;

// The place where a marshalled stream waits for its proxy.
struct Packet {
  std::uint32_t magic;
  std::uint32_t process;
  GUID token;
};
inline constexpr std::uint32_t kMagic = 0x53564C4E;  // "NLVS"

// Both in the abstract name space, not open on failure (errno tells why). Only processes of the same user are served.
UniqueFd listenFor(const GUID& token);
UniqueFd connectTo(const GUID& token);
// The process at the other end; no value if it belongs to another user.
std::optional<DWORD> peerOf(const UniqueFd& socket);

// The whole block, or false: the other end is gone, or `stop`, which may be null, is signalled.
bool sendAll(const UniqueFd& socket, const void* block, std::size_t bytes, const Event* stop);
bool receiveAll(const UniqueFd& socket, void* block, std::size_t bytes, const Event* stop);

}  // namespace nalvo::wire
