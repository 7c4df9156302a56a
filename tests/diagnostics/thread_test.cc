#include "diagnostics/thread.h"

#include <gtest/gtest.h>

#include <atomic>

#include "diagnostics/crash.h"

namespace nalvo {
namespace {

class Waiter final : public Thread {
 public:
  explicit Waiter(std::atomic<int>* destroyed = nullptr) : Thread("Waiter"), destroyed_(destroyed) {}
  ~Waiter() override {
    if (!deletesOnFinish()) {
      stopAndWait();
    }
    if (destroyed_ != nullptr) {
      ++*destroyed_;
    }
  }

  Event entered;

 private:
  void execute() override {
    entered.set();
    stopEvent().wait();
    setExitCode(7);
  }

  std::atomic<int>* destroyed_;
};

TEST(Thread, RunsOnceAndEndsWhenAsked) {
  Waiter thread;
  const auto finished = std::make_shared<Event>();
  thread.addFinishEvent(finished);
  EXPECT_TRUE(thread.isSuspended());
  EXPECT_TRUE(thread.start());
  EXPECT_FALSE(thread.start());
  EXPECT_FALSE(thread.isSuspended());
  thread.entered.wait();
  EXPECT_FALSE(thread.isFinished());
  thread.stopAndWait();
  EXPECT_TRUE(thread.isFinished());
  EXPECT_TRUE(finished->isSet());
  EXPECT_EQ(thread.exitCode(), 7U);
  EXPECT_FALSE(thread.start());
}

TEST(Thread, IgnoresAStopBeforeItsStart) {
  Waiter thread;
  thread.stop(true);
  EXPECT_TRUE(thread.start());
  thread.entered.wait();
  EXPECT_FALSE(thread.isFinished());
}

TEST(Thread, WaitingForOneThatNeverRanReturns) {
  Waiter thread;
  thread.wait();
  thread.stopAndWait();
  EXPECT_TRUE(thread.isSuspended());
}

TEST(Thread, DeletesItselfWhileOthersWait) {
  for (int i = 0; i < 50; ++i) {
    std::atomic<int> destroyed = 0;
    auto* thread = new Waiter(&destroyed);
    const auto finished = std::make_shared<Event>();
    thread->addFinishEvent(finished);
    thread->setDeleteOnFinish(true);
    ASSERT_TRUE(thread->start());
    thread->stopAndWait();
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(finished->isSet());
  }
}

class WaitsForItself final : public Thread {
 public:
  WaitsForItself() : Thread("Self") {}

 private:
  void execute() override { wait(); }
};

TEST(CrashUnless, EndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  crashUnless(true);
  EXPECT_EXIT(crashUnless(false), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(
      {
        WaitsForItself thread;
        thread.start();
        thread.wait();
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
}  // namespace nalvo
