// New GUIDs. Nothing else makes a fresh id, so that a caller can make every one follow from what it wants.
#pragma once

#include <functional>
#include <span>

#include "nalvo/com.h"

namespace nalvo {

// A random GUID of version 4; all zero if the system has no randomness to give.
GUID newGuid() noexcept;

// Makes newGuid answer from `source`, which must not throw, on this thread while the object lives; one at a time.
class ScopedGuidSource {
 public:
  explicit ScopedGuidSource(std::function<GUID()> source);
  ~ScopedGuidSource();
  ScopedGuidSource(const ScopedGuidSource&) = delete;
  ScopedGuidSource& operator=(const ScopedGuidSource&) = delete;
};

}  // namespace nalvo
