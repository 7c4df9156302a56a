#include "diagnostics/thread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <system_error>

#include "diagnostics/crash.h"

namespace nalvo {

Thread::Thread(std::string name) : name_(std::move(name)) {}

Thread::~Thread() {
  if (!isInThisProcess()) {
    if (handle_.joinable()) {
      handle_.detach();
    }
    return;
  }
  if (deletesOnFinish()) {
    crashUnless(isCurrent() || !handle_.joinable());
  }
  crashUnless(isFinished() || !handle_.joinable());
  if (isCurrent()) {
    handle_.detach();
  } else if (handle_.joinable()) {
    // Finished, but perhaps not yet out of `run`.
    handle_.join();
  }
}

bool Thread::start() {
  const CLock::Guard guard(lock_);
  if (started_) {
    return false;
  }
  try {
    done_ = std::make_shared<Event>();
    process_ = ::getpid();
    handle_ = std::thread(&Thread::run, this, done_);
  } catch (const std::system_error&) {
    return false;
  }
  started_ = true;
  suspended_ = false;
  return true;
}

void Thread::run(Thread* self, std::shared_ptr<Event> done) noexcept {
  bool deletes = false;
  {
    // `start` has stored the handle when the lock is free.
    const CLock::Guard guard(self->lock_);
    ::pthread_setname_np(::pthread_self(), self->name_.substr(0, 15).c_str());
    if (self->priority_ != 0) {
      (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), -self->priority_);
    }
  }
  self->execute();
  {
    const CLock::Guard guard(self->lock_);
    self->finished_ = true;
    deletes = self->deleteOnFinish_;
    for (const std::shared_ptr<Event>& event : self->finishEvents_) {
      event->set();
    }
  }
  if (deletes) {
    delete self;
  }
  done->set();
}

void Thread::stop(bool value) {
  const CLock::Guard guard(lock_);
  if (suspended_) {
    return;
  }
  stopRequested_ = value;
  if (value) {
    stopEvent_.set();
  } else {
    stopEvent_.reset();
  }
}

void Thread::stopAndWait() { waitFor(true); }

void Thread::wait() { waitFor(false); }

void Thread::waitFor(bool stopping) {
  std::shared_ptr<Event> done;
  bool current = false;
  {
    // An object that deletes itself can't do so before the lock is free; nothing of it is touched afterwards.
    const CLock::Guard guard(lock_);
    if (!started_ || !isInThisProcess()) {
      return;
    }
    done = done_;
    current = isCurrent();
    if (stopping) {
      stop(true);
    }
  }
  crashUnless(!current);
  done->wait();
}

bool Thread::isCurrent() const { return handle_.get_id() == std::this_thread::get_id(); }

bool Thread::isInThisProcess() const { return process_ == 0 || process_ == ::getpid(); }

std::uint32_t Thread::exitCode() const {
  const CLock::Guard guard(lock_);
  return exitCode_;
}

void Thread::setExitCode(std::uint32_t value) {
  const CLock::Guard guard(lock_);
  exitCode_ = value;
}

bool Thread::isSuspended() const {
  const CLock::Guard guard(lock_);
  return suspended_;
}

bool Thread::deletesOnFinish() const {
  const CLock::Guard guard(lock_);
  return deleteOnFinish_;
}

void Thread::setDeleteOnFinish(bool value) {
  const CLock::Guard guard(lock_);
  deleteOnFinish_ = value;
}

bool Thread::isFinished() const {
  const CLock::Guard guard(lock_);
  return finished_;
}

void Thread::addFinishEvent(std::shared_ptr<Event> event) {
  const CLock::Guard guard(lock_);
  finishEvents_.push_back(std::move(event));
}

}  // namespace nalvo
