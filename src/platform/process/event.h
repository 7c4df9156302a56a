// Events that a thread can wait for alone or together with other descriptors.
#pragma once

#include <atomic>

#include "platform/process/unique_fd.h"

namespace nalvo {

// A manual-reset event, not signalled at first. Safe from any thread.
class Event {
 public:
  // Throws std::system_error when no descriptor is left.
  Event();

  void set() noexcept;
  void reset() noexcept;
  bool isSet() const noexcept;
  // Returns once the event is signalled; at once if it is.
  void wait() const noexcept;
  // Readable while the event is signalled; for poll.
  int fd() const noexcept { return fd_.get(); }

 private:
  UniqueFd fd_;
  // Carries what was written before `set` over to who has waited; the descriptor alone does so only for the kernel.
  std::atomic<bool> order_{false};
};

}  // namespace nalvo
