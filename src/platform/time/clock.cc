#include "platform/time/clock.h"

#include <ctime>

#include "platform/time/file_time.h"

namespace nalvo {
namespace {

// 0: the system's clock.
thread_local std::uint64_t fixedTicks = 0;

}  // namespace

FILETIME currentFileTime() noexcept {
  if (fixedTicks != 0) {
    return fileTimeOf(fixedTicks);
  }
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return fileTimeOf(static_cast<std::uint64_t>(now.tv_sec * kTicksPerSecond + now.tv_nsec / 100 + kUnixEpochTicks));
}

ScopedClock::ScopedClock(FILETIME instant) { fixedTicks = ticksOf(instant); }
ScopedClock::~ScopedClock() { fixedTicks = 0; }

}  // namespace nalvo
