#include "diagnostics/crash.h"

#include <cstdlib>  // abort

#include "diagnostics/thread.h"

namespace nalvo {
namespace {

class Crasher final : public Thread {
 public:
  Crasher() : Thread("Crasher") {}

 private:
  void execute() override { std::abort(); }
};

}  // namespace

void crashUnless(bool condition) noexcept {
  if (condition) {
    return;
  }
  Crasher crasher;
  if (crasher.start()) {
    crasher.wait();
  }
  // Without a thread to crash on.
  std::abort();
}

}  // namespace nalvo
