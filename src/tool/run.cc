#include "tool/run.h"

#include <algorithm>
#include <atomic>
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

// Holds outcomes back until those ahead of them are out.
class Printer {
 public:
  explicit Printer(const std::vector<Input>& inputs) : inputs_(inputs) {}

  void add(std::size_t index, Outcome outcome) {
    const std::scoped_lock lock(mutex_);
    waiting_.emplace(index, std::move(outcome));
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
      print(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      ++next_;
    }
  }

  bool failed() const { return failed_; }

 private:
  void print(const Outcome& outcome) {
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
