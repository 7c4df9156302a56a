// Working through many inputs, on several threads, with their output in order.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tool/inputs.h"

namespace nalvo::tool {

inline constexpr int kAllDone = 0;
inline constexpr int kSomeFailed = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kInterrupted = 130;

// What working on one input gave.
struct Outcome {
  std::string output = {};                 // for standard output
  std::vector<std::string> warnings = {};  // lines without the file's name, for standard error
  std::string error = {};                  // such a line; empty when all went well
  // For a report.
  bool skipped = false;               // its output was there already
  std::string messageClass = {};      // UTF-8
  std::filesystem::path target = {};  // the file that was made
  std::size_t explained = 0;          // differences that a rule tells
  std::size_t unexplained = 0;
};

// What `work` gives; an exception of it is an error.
Outcome attempt(const std::function<Outcome()>& work);

struct RunOptions {
  unsigned threads = 1;
  const char* verb = "done";     // what became of those that went well, in the summary; null for no summary
  std::filesystem::path report;  // a JSON file with a row for each input; empty for none
};

// Calls `work` for each input, with its place in the list. Output goes out in the order of the inputs, errors to standard
// error as "nalvo: FILE: what went wrong", warnings ahead of them. An exception of `work` is such an error.
//
// A run of several inputs ends with a line that sums it up. An interrupt (SIGINT, SIGTERM) lets those at work end and starts
// no other; the next one kills.
//
// Returns kAllDone, kSomeFailed or kInterrupted. Throws std::system_error for a report that can't be written.
int runAll(const std::vector<Input>& inputs, const RunOptions& options,
           const std::function<Outcome(const Input&, std::size_t)>& work);

}  // namespace nalvo::tool
