// The base of every thread that the library starts.
#pragma once

#include <sys/types.h>  // pid_t

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/lock.h"
#include "platform/process/event.h"

namespace nalvo {

// A thread is made suspended; `start` lets it run, once. The destructor of a derived class calls stopAndWait first; an
// object with `deleteOnFinish` is destroyed by its own thread. No exception leaves `execute`.
class Thread {
 public:
  explicit Thread(std::string name);
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  // Asks the thread to end, or takes that back. Has no effect on a thread that was not started.
  virtual void stop(bool value);

  // True if this call started the thread.
  bool start();
  void stopAndWait();
  // Returns when the thread has finished; at once when it never ran. Never to be called on the thread itself.
  void wait();

  std::uint32_t exitCode() const;
  void setExitCode(std::uint32_t value);
  bool isSuspended() const;
  bool deletesOnFinish() const;
  void setDeleteOnFinish(bool value);
  bool isFinished() const;
  const std::string& name() const { return name_; }
  // Above 0 for more, below for less; taken into account by `start` as far as the system lets the process.
  void setPriority(int value) { priority_ = value; }
  // Signalled when `execute` has returned. The event may outlive the thread.
  void addFinishEvent(std::shared_ptr<Event> event);

 protected:
  virtual void execute() = 0;

  // Signalled while a stop is asked for; `execute` waits on it.
  const Event& stopEvent() const { return stopEvent_; }

 private:
  static void run(Thread* self, std::shared_ptr<Event> done) noexcept;
  void waitFor(bool stopping);
  bool isCurrent() const;
  // False in a process that was forked off, which has the object but not the thread.
  bool isInThisProcess() const;

  CLock lock_;
  bool stopRequested_ = false;
  bool deleteOnFinish_ = false;
  bool suspended_ = true;
  bool started_ = false;
  std::uint32_t exitCode_ = 0;
  std::vector<std::shared_ptr<Event>> finishEvents_;
  std::thread handle_;
  pid_t process_ = 0;
  int priority_ = 0;
  Event stopEvent_;
  std::string name_;
  bool finished_ = false;
  // Signalled at the very end. Shared, because the object may be gone when a waiter wakes.
  std::shared_ptr<Event> done_;
};

}  // namespace nalvo
