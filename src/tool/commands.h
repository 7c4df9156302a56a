// The verbs of the command line.
#pragma once

#include <cstddef>
#include <optional>

#include "host/mail.h"
#include "tool/run.h"

namespace nalvo::tool {

struct ShowOptions {
  bool json = false;
  bool full = false;     // long values whole
  bool page = false;     // an HTML page instead
  bool colours = false;  // for a terminal
};

// A message file, or what a mail would become, with all properties.
Outcome show(const Input& input, const ShowOptions& options);

// There and back: what does not come back the same is named, and is an error unless a rule tells it.
Outcome check(const Input& input, bool json);

// What becomes of a message that is a calendar item, a card or a sticky note.
enum class ObjectFile {
  None,
  Beside,  // its text in a file of its own, beside the mail
  Only,    // in place of the mail; a message that is none of them is a mail
};

struct ConvertOptions {
  host::MailForm form = host::MailForm::Lossless;
  bool force = false;      // over a file that is there
  bool resume = false;     // a file that is there is done
  bool trustXMapi = true;  // take what X-MAPI brings
  ObjectFile object = ObjectFile::None;
  bool reproducible = false;  // nothing in an output comes from chance or from the clock
};

// A message file as a mail, in the form Store with NAME.annotations.json and NAME.flags.json beside it. The target "-" is
// standard output; the folders of another one are made.
Outcome toMime(const Input& input, const std::filesystem::path& target, const ConvertOptions& options);
// A mail as a message file.
Outcome toMapi(const Input& input, const std::filesystem::path& target, const ConvertOptions& options);

struct ObjectOptions {
  std::optional<std::size_t> occurrences;  // that many dates in place of the text
};

// The calendars, cards and notes of a text, as the library writes them.
Outcome object(const Input& input, const ObjectOptions& options);

}  // namespace nalvo::tool
