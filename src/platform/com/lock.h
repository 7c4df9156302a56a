// A recursive mutex with shared ownership.
#pragma once

#include <memory>
#include <mutex>

namespace nalvo {

// Copying shares the mutex, so that a stream, its clones and its store stand under one.
class CLock {
 public:
  CLock() : mutex_(std::make_shared<std::recursive_mutex>()) {}
  CLock(const CLock&) = default;
  CLock& operator=(const CLock&) = default;
  virtual ~CLock() = default;

  // Holds the mutex until the end of the scope, and keeps it alive that long.
  class Guard {
   public:
    explicit Guard(const CLock& lock) : mutex_(lock.mutex_), held_(*mutex_) {}

   private:
    std::shared_ptr<std::recursive_mutex> mutex_;
    std::unique_lock<std::recursive_mutex> held_;
  };

 private:
  std::shared_ptr<std::recursive_mutex> mutex_;
};

}  // namespace nalvo
