// Conversion as a filter: records in, records out, for engines that run commands over the parts of a large store.
#pragma once

#include <functional>
#include <string>

#include "tool/inputs.h"
#include "tool/run.h"

namespace nalvo::tool {

// Reads records from standard input until its end and writes one for each to standard output, in order, on `threads`
// threads of which each holds one record at a time. `convert` gives the bytes of its input as `output`.
//
// Lines: {"id", "base64"} becomes {"id", "base64"} with "warnings" if there are any, or {"id", "error"}. The id is any JSON,
// and may be missing. A line that is no such record gives an error with "line", its number.
// Lengths: 4 bytes, the most significant first, and so many bytes; each becomes a byte, 0 for a conversion and 1 for an
// error in UTF-8, and such a block. A cut one at the end is told on standard error.
//
// Returns kAllDone, or kSomeFailed when a record was bad or standard output can't be written.
enum class PipeFraming { Lines, Lengths };
int pipeRecords(PipeFraming framing, unsigned threads, const std::function<Outcome(const Input&)>& convert);

}  // namespace nalvo::tool
