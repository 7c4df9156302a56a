// The verbs of the command line.
#pragma once

#include "tool/run.h"

namespace nalvo::tool {

struct ShowOptions {
  bool json = false;
  bool full = false;  // long values whole
};

// The properties of a message file, or those that a mail would become.
Outcome show(const Input& input, const ShowOptions& options);

// There and back: what does not come back the same is named, and is an error unless a rule tells it.
Outcome check(const Input& input, bool json);

}  // namespace nalvo::tool
