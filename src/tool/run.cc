#include "tool/run.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

#include "diagnostics/hresult_exception.h"

namespace nalvo::tool {
namespace {

// The code of a failure, and what its thrower says of it: "0x8004011b MAPI_E_CORRUPT_DATA: no compound file".
std::string textOf(const HResultException& failure) {
  const std::string_view what = failure.what();
  const std::size_t line = what.find('\n');
  std::string text(line == std::string_view::npos ? what : what.substr(line + 1));
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

Outcome attempt(const Input& input, const std::function<Outcome(const Input&)>& work) {
  try {
    return work(input);
  } catch (const HResultException& failure) {
    return {{}, {}, textOf(failure)};
  } catch (const std::exception& failure) {
    return {{}, {}, failure.what()};
  }
}

// A line on the terminal that tells how far a run is: "[#####.....] 120/240  60/s  2 s left". Nothing on a run of one input,
// and nothing where standard error is no terminal.
class Progress {
 public:
  explicit Progress(std::size_t total)
      : total_(total), shown_(total > 1 && isatty(STDERR_FILENO) != 0), start_(Clock::now()), last_(start_) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Called with the number of inputs that are done.
  void show(std::size_t done) {
    const Clock::time_point now = Clock::now();
    if (!shown_ || now - last_ < kEvery) {
      return;
    }
    last_ = now;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const double rate = static_cast<double>(done) / seconds;
    const double left = static_cast<double>(total_ - done) / std::max(rate, 1e-3);
    const std::string bar(done * kWidth / total_, '#');
    std::fprintf(stderr, "\r[%s%s] %zu/%zu  %.0f/s  %.0f s left\033[K", bar.c_str(),
                 std::string(kWidth - bar.size(), '.').c_str(), done, total_, rate, left);
    visible_ = true;
  }
  // Makes way for other lines.
  void clear() {
    if (visible_) {
      std::fputs("\r\033[K", stderr);
      visible_ = false;
    }
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kEvery{100};
  static constexpr std::size_t kWidth = 30;

  std::size_t total_;
  bool shown_;
  bool visible_ = false;
  Clock::time_point start_;
  Clock::time_point last_;
};

// Holds outcomes back until those ahead of them are out.
class Printer {
 public:
  explicit Printer(const std::vector<Input>& inputs) : inputs_(inputs), progress_(inputs.size()) {}

  void add(std::size_t index, Outcome outcome) {
    const std::scoped_lock lock(mutex_);
    waiting_.emplace(index, std::move(outcome));
    ++done_;
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
      print(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      ++next_;
    }
    progress_.show(done_);
  }

  bool failed() const { return failed_; }

 private:
  void print(const Outcome& outcome) {
    if (!outcome.output.empty() || !outcome.warnings.empty() || !outcome.error.empty()) {
      progress_.clear();
    }
    std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout);
    if (!outcome.warnings.empty() || !outcome.error.empty()) {
      std::fflush(stdout);
    }
    for (const std::string& warning : outcome.warnings) {
      tell("warning: " + warning);
    }
    if (!outcome.error.empty()) {
      failed_ = true;
      tell(outcome.error);
    }
  }

  void tell(const std::string& line) const {
    std::fprintf(stderr, "nalvo: %s: %s\n", inputs_[next_].name.c_str(), line.c_str());
  }

  const std::vector<Input>& inputs_;
  std::mutex mutex_;
  std::map<std::size_t, Outcome> waiting_;
  std::size_t next_ = 0;
  std::size_t done_ = 0;
  Progress progress_;
  bool failed_ = false;
};

}  // namespace

int runAll(const std::vector<Input>& inputs, unsigned threads, const std::function<Outcome(const Input&)>& work) {
  Printer printer(inputs);
  std::atomic<std::size_t> next{0};
  const auto loop = [&] {
    for (std::size_t i = next++; i < inputs.size(); i = next++) {
      printer.add(i, attempt(inputs[i], work));
    }
  };
  std::vector<std::jthread> workers;
  for (unsigned i = 1; i < threads && i < inputs.size(); ++i) {
    workers.emplace_back(loop);
  }
  loop();
  workers.clear();
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::fprintf(stderr, "nalvo: standard output: can't be written\n");
    return kSomeFailed;
  }
  return printer.failed() ? kSomeFailed : kAllDone;
}

}  // namespace nalvo::tool
