// Runs that give the same bytes each time.
#pragma once

#include <memory>

#include "nalvo/com.h"
#include "tool/inputs.h"

namespace nalvo::tool {

// While it lives, this thread's new ids follow from what `file` (left at its position) holds, and the clock stands at
// momentOf(input). Throws the stream's code.
class Reproducible {
 public:
  Reproducible(const Input& input, IStream* file);
  ~Reproducible();
  Reproducible(const Reproducible&) = delete;
  Reproducible& operator=(const Reproducible&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// SOURCE_DATE_EPOCH (seconds since 1970) when it is set; else when the input was last changed; for standard input the
// beginning of 2000. UTC.
FILETIME momentOf(const Input& input);

}  // namespace nalvo::tool
