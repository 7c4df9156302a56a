#include "streams/stream_wire.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>  // memcpy

namespace nalvo::wire {
namespace {

struct Address {
  sockaddr_un name{};
  socklen_t size = 0;
};

// A name that starts with a NUL belongs to no file.
Address addressOf(const GUID& token) {
  constexpr char kPrefix[] = "nalvo-stream-";
  constexpr char kDigits[] = "0123456789abcdef";
  Address address;
  address.name.sun_family = AF_UNIX;
  char* at = address.name.sun_path + 1;
  std::memcpy(at, kPrefix, sizeof kPrefix - 1);
  at += sizeof kPrefix - 1;
  unsigned char bytes[sizeof token];
  std::memcpy(bytes, &token, sizeof token);
  for (const unsigned char byte : bytes) {
    *at++ = kDigits[byte >> 4];
    *at++ = kDigits[byte & 15];
  }
  address.size = static_cast<socklen_t>(at - reinterpret_cast<char*>(&address.name));
  return address;
}

UniqueFd newSocket() { return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

// Waits until the socket is ready for `events`; false once `stop` is signalled.
bool waitFor(const UniqueFd& socket, short events, const Event* stop) {
  pollfd entries[] = {{socket.get(), events, 0}, {stop != nullptr ? stop->fd() : -1, POLLIN, 0}};
  while (::poll(entries, 2, -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  return entries[1].revents == 0;
}

}  // namespace

UniqueFd listenFor(const GUID& token) {
  const Address address = addressOf(token);
  UniqueFd socket = newSocket();
  if (!socket || ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address.name), address.size) != 0 ||
      ::listen(socket.get(), 4) != 0) {
    return {};
  }
  return socket;
}

UniqueFd connectTo(const GUID& token) {
  const Address address = addressOf(token);
  UniqueFd socket = newSocket();
  if (!socket || ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address.name), address.size) != 0) {
    return {};
  }
  return socket;
}

std::optional<DWORD> peerOf(const UniqueFd& socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != ::geteuid()) {
    return std::nullopt;
  }
  return static_cast<DWORD>(peer.pid);
}

bool sendAll(const UniqueFd& socket, const void* block, std::size_t bytes, const Event* stop) {
  const char* at = static_cast<const char*>(block);
  while (bytes > 0) {
    if (!waitFor(socket, POLLOUT, stop)) {
      return false;
    }
    const ssize_t sent = ::send(socket.get(), at, bytes, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno != EINTR && errno != EAGAIN) {
      return false;
    }
    if (sent > 0) {
      at += sent;
      bytes -= static_cast<std::size_t>(sent);
    }
  }
  return true;
}

bool receiveAll(const UniqueFd& socket, void* block, std::size_t bytes, const Event* stop) {
  char* at = static_cast<char*>(block);
  while (bytes > 0) {
    if (!waitFor(socket, POLLIN, stop)) {
      return false;
    }
    const ssize_t got = ::recv(socket.get(), at, bytes, MSG_DONTWAIT);
    if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) {
      return false;
    }
    if (got > 0) {
      at += got;
      bytes -= static_cast<std::size_t>(got);
    }
  }
  return true;
}

}  // namespace nalvo::wire
