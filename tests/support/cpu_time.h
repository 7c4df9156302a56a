// What work costs, whatever else the machine does meanwhile.
#pragma once

#include <ctime>

namespace nalvo::test {

// Seconds of processor time that this thread has used.
inline double cpuSeconds() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

}  // namespace nalvo::test
