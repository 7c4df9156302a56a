// What a run of many inputs came to: sums, and a file with a row for each.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "tool/atomic_file.h"
#include "tool/run.h"

namespace nalvo::tool {

struct Totals {
  std::size_t good = 0;      // without a word
  std::size_t warnings = 0;  // went well, with warnings
  std::size_t skipped = 0;
  std::size_t failed = 0;
  std::size_t left = 0;  // not begun
  std::uint64_t bytes = 0;
  double seconds = 0;

  void add(const Input& input, const Outcome& outcome);
  std::size_t sum() const { return good + warnings + skipped + failed; }
  // "120 converted (3 with warnings), 2 failed, 5 skipped in 3.2 s, 12.3 MB/s"
  std::string sentence(const char* verb) const;
};

// A JSON file that grows row by row and appears when the run is over:
//   {"nalvo": VERSION, "inputs": [{"file", "class", "bytes", "outcome", ...}...], "totals": {...}}
// Throws std::system_error when it can't be written.
class Report {
 public:
  explicit Report(const std::filesystem::path& file) : file_(file) {}

  void add(const Input& input, const Outcome& outcome, double seconds);
  void finish(const Totals& totals);

 private:
  AtomicFile file_;
  bool first_ = true;
};

}  // namespace nalvo::tool
