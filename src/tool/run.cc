#include "tool/run.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"
#include "tool/report.h"

namespace nalvo::tool {
namespace {

struct Sentence {
  HRESULT hr;
  const char* words;
};
constexpr Sentence kSentences[] = {
    {hresultFromWin32(2), "no such file or folder"},
    {hresultFromWin32(3), "no such file or folder"},
    {E_ACCESSDENIED, "it may not be read"},
    {STG_E_ACCESSDENIED, "it may not be read"},
    {E_OUTOFMEMORY, "there is not enough memory"},
    {STG_E_MEDIUMFULL, "the disk is full"},
    {STG_E_READFAULT, "it can't be read"},
    {STG_E_WRITEFAULT, "the output can't be written"},
    {MAPI_E_CORRUPT_DATA, "it is damaged"},
    {MAPI_E_TOO_BIG, "a value is too large"},
    {MAPI_E_TOO_COMPLEX, "messages stand too deep in one another"},
    {MAPI_E_NO_SUPPORT, "it can't be converted"},
    {MIME_E_NOT_FOUND, "a part that its kind needs is missing"},
    {MIME_E_BAD_DATE, "a date in it can't be read"},
    {E_UNEXPECTED, "it lacks what its kind needs"},
    {E_INVALIDARG, "it lacks what its kind needs"},
    {MAPI_E_NOT_FOUND, "it lacks what its kind needs"},
};

// What went wrong for people, then the thrower's words and the code for who helps them:
// "it is damaged: no compound file (0x8004011b MAPI_E_CORRUPT_DATA)".
std::string textOf(const HResultException& failure) {
  const HRESULT hr = failure.getHResult();
  const auto* row =
      std::find_if(std::begin(kSentences), std::end(kSentences), [hr](const Sentence& s) { return s.hr == hr; });
  const std::string code = hresultText(hr);
  std::string text = row == std::end(kSentences) ? "it failed" : row->words;
  const std::string_view what = failure.what();
  if (const std::size_t at = what.rfind(code + ": "); at != std::string_view::npos) {
    text.append(": ").append(trim(what.substr(at + code.size() + 2)));
  }
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text + " (" + code + ")";
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

struct Attempt {
  Outcome outcome;
  double seconds;
};

// Set by the first interrupt; the handler then gives the signal back to the system.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

class InterruptHandler {
 public:
  InterruptHandler() {
    interrupted = false;
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = true; };
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
      sigaction(kSignals[i], &action, &before_[i]);
    }
  }
  ~InterruptHandler() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
      sigaction(kSignals[i], &before_[i], nullptr);
    }
  }
  InterruptHandler(const InterruptHandler&) = delete;
  InterruptHandler& operator=(const InterruptHandler&) = delete;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM};

  struct sigaction before_[std::size(kSignals)]{};
};

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
    const double seconds = secondsSince(start_);
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
  Printer(const std::vector<Input>& inputs, const RunOptions& options) : inputs_(inputs), progress_(inputs.size()) {
    if (!options.report.empty()) {
      report_.emplace(options.report);
    }
  }

  void add(std::size_t index, Attempt attempt) {
    const std::scoped_lock lock(mutex_);
    waiting_.emplace(index, std::move(attempt));
    ++done_;
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
      print(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      ++next_;
    }
    progress_.show(done_);
  }

  const Totals& totals() const { return totals_; }

  // Behind the last one.
  void finish(bool stopped, const char* verb) {
    progress_.clear();
    totals_.left = inputs_.size() - done_;
    totals_.seconds = secondsSince(start_);
    if (report_) {
      report_->finish(totals_);
    }
    if (verb != nullptr && (inputs_.size() > 1 || stopped)) {
      std::fflush(stdout);
      std::fprintf(stderr, "nalvo: %s%s\n", stopped ? "interrupted: " : "", totals_.sentence(verb).c_str());
    }
  }

 private:
  void print(const Attempt& attempt) {
    const Outcome& outcome = attempt.outcome;
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
      tell(outcome.error);
    }
    totals_.add(inputs_[next_], outcome);
    if (report_) {
      report_->add(inputs_[next_], outcome, attempt.seconds);
    }
  }

  void tell(const std::string& line) const {
    std::fprintf(stderr, "nalvo: %s: %s\n", inputs_[next_].name.c_str(), line.c_str());
  }

  const std::vector<Input>& inputs_;
  std::mutex mutex_;
  std::map<std::size_t, Attempt> waiting_;
  std::size_t next_ = 0;
  std::size_t done_ = 0;
  Progress progress_;
  Totals totals_;
  std::optional<Report> report_;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

Outcome attempt(const std::function<Outcome()>& work) {
  Outcome outcome;
  try {
    outcome = work();
  } catch (const HResultException& failure) {
    outcome.error = textOf(failure);
  } catch (const std::exception& failure) {
    outcome.error = failure.what();
  }
  return outcome;
}

int runAll(const std::vector<Input>& inputs, const RunOptions& options,
           const std::function<Outcome(const Input&, std::size_t)>& work) {
  Printer printer(inputs, options);
  std::optional<InterruptHandler> handler;
  if (inputs.size() > 1) {
    handler.emplace();
  }
  std::atomic<std::size_t> next{0};
  const auto loop = [&] {
    while (!interrupted) {
      const std::size_t i = next++;
      if (i >= inputs.size()) {
        break;
      }
      const Clock::time_point start = Clock::now();
      Outcome outcome = attempt([&] { return work(inputs[i], i); });
      printer.add(i, {std::move(outcome), secondsSince(start)});
    }
  };
  {
    std::vector<std::jthread> workers;
    for (unsigned i = 1; i < options.threads && i < inputs.size(); ++i) {
      workers.emplace_back(loop);
    }
    loop();
  }
  const bool stopped = interrupted && printer.totals().sum() < inputs.size();
  printer.finish(stopped, options.verb);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::fprintf(stderr, "nalvo: standard output: can't be written\n");
    return kSomeFailed;
  }
  return stopped ? kInterrupted : printer.totals().failed != 0 ? kSomeFailed : kAllDone;
}

}  // namespace nalvo::tool
