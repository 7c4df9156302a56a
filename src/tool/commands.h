// The verbs of the command line.
#pragma once

#include <cstddef>
#include <optional>

#include "host/mail.h"
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

struct ConvertOptions {
  std::string output;  // a file, a folder, "-" for standard output; empty: beside the input
  host::MailForm form = host::MailForm::Lossless;
  bool force = false;       // over a file that is there
  bool trustXMapi = true;   // take what X-MAPI brings
  bool manyInputs = false;  // the output is a folder then
};

// A message file as a mail, in the form Store with NAME.annotations.json and NAME.flags.json beside it.
Outcome toMime(const Input& input, const ConvertOptions& options);
// A mail as a message file.
Outcome toMapi(const Input& input, const ConvertOptions& options);

struct ObjectOptions {
  std::optional<std::size_t> occurrences;  // that many dates in place of the text
};

// The calendars, cards and notes of a text, as the library writes them.
Outcome object(const Input& input, const ObjectOptions& options);

}  // namespace nalvo::tool
