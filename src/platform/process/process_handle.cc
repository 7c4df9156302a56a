#include "platform/process/process_handle.h"

#include <poll.h>
#include <sys/syscall.h>

#include <cerrno>

#include "platform/process/errno_result.h"

namespace nalvo {

HRESULT ProcessHandle::open(pid_t id, ProcessHandle& out) noexcept {
  // The descriptor is close-on-exec.
  out.fd_ = UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, id, 0U)));
  return out.fd_ ? S_OK : hresultFromErrno(errno);
}

bool ProcessHandle::hasEnded() const noexcept {
  pollfd entry{fd_.get(), POLLIN, 0};
  return ::poll(&entry, 1, 0) > 0;
}

}  // namespace nalvo
