// The clock. Nothing else asks what time it is, so that a test can set it.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

// The present instant, UTC.
FILETIME currentFileTime() noexcept;

// Makes currentFileTime answer `instant` while the object lives. For tests, one at a time.
class ScopedClock {
 public:
  explicit ScopedClock(FILETIME instant);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;
};

}  // namespace nalvo
