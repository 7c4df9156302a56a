// The clock. Nothing else asks what time it is, so that it can be set.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

// The present instant, UTC.
FILETIME currentFileTime() noexcept;

// Makes currentFileTime answer `instant` on this thread while the object lives; one at a time.
class ScopedClock {
 public:
  explicit ScopedClock(FILETIME instant);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;
};

}  // namespace nalvo
