// Working through many inputs, on several threads, with their output in order.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tool/inputs.h"

namespace nalvo::tool {

inline constexpr int kAllDone = 0;
inline constexpr int kSomeFailed = 1;
inline constexpr int kWrongUsage = 2;

// What working on one input gave.
struct Outcome {
  std::string output;                 // for standard output
  std::vector<std::string> warnings;  // lines without the file's name, for standard error
  std::string error;                  // such a line; empty when all went well
};

// Calls `work` for each input on `threads` threads. Output goes out in the order of the inputs, errors to standard error as
// "nalvo: FILE: what went wrong", warnings ahead of them. An exception of `work` is such an error. Returns kAllDone or
// kSomeFailed.
int runAll(const std::vector<Input>& inputs, unsigned threads, const std::function<Outcome(const Input&)>& work);

}  // namespace nalvo::tool
