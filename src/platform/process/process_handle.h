// Watching another process.
#pragma once

#include <sys/types.h>

#include "platform/com/hresult.h"
#include "platform/process/unique_fd.h"

namespace nalvo {

// Stands for one process, also when its id is given to another one later.
class ProcessHandle {
 public:
  // The HRESULT of ERROR_INVALID_PARAMETER for an id that no process has.
  static HRESULT open(pid_t id, ProcessHandle& out) noexcept;

  // Whether the process has ended, though its parent may not have asked for its result yet.
  bool hasEnded() const noexcept;
  // Readable once the process has ended; for poll.
  int fd() const noexcept { return fd_.get(); }

 private:
  UniqueFd fd_;
};

}  // namespace nalvo
