// How long work takes, and how much memory the process has had at most.
#pragma once

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <functional>

namespace nalvo::bench {

inline double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Of the processor, so that other work on the machine doesn't count.
inline double processorSecondsOf(const std::function<void()>& work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Seconds for one call, measured over as many as `leastSeconds` takes, behind one that warms up.
inline double secondsOfEach(double leastSeconds, const std::function<void()>& work) {
  work();
  const auto start = std::chrono::steady_clock::now();
  double seconds = 0;
  int calls = 0;
  do {
    work();
    ++calls;
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  } while (seconds < leastSeconds);
  return seconds / calls;
}

inline double peakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

// The most that the work holds beyond what was there before it, measured in a child, so that each measure starts afresh;
// -1 if there is none.
inline double megabytesOf(const std::function<void()>& work) {
  int ends[2];
  if (pipe(ends) != 0) {
    return -1;
  }
  malloc_trim(0);  // what earlier work gave back would not count
  const pid_t child = fork();
  if (child == 0) {
    const double before = peakMegabytes();
    work();
    const double growth = peakMegabytes() - before;
    _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
  }
  close(ends[1]);  // else a child that died would be waited for
  double growth = -1;
  if (child > 0 && read(ends[0], &growth, sizeof growth) != sizeof growth) {
    growth = -1;
  }
  close(ends[0]);
  if (child > 0) {
    waitpid(child, nullptr, 0);
  }
  return growth;
}

}  // namespace nalvo::bench
