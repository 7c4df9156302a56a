#include "platform/process/event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace nalvo {
namespace {

bool poll1(int fd, int milliseconds) noexcept {
  pollfd entry{fd, POLLIN, 0};
  int ready = 0;
  do {
    ready = ::poll(&entry, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

Event::Event() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!fd_) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

void Event::set() noexcept {
  order_.store(true, std::memory_order_release);
  const std::uint64_t one = 1;
  // Fails only when the counter is full: then the event is signalled already.
  (void)!::write(fd_.get(), &one, sizeof one);
}

void Event::reset() noexcept {
  std::uint64_t count = 0;
  // Fails only when the event is not signalled.
  (void)!::read(fd_.get(), &count, sizeof count);
}

bool Event::isSet() const noexcept {
  const bool ready = poll1(fd_.get(), 0);
  (void)order_.load(std::memory_order_acquire);
  return ready;
}

void Event::wait() const noexcept {
  poll1(fd_.get(), -1);
  (void)order_.load(std::memory_order_acquire);
}

}  // namespace nalvo
