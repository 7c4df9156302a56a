// Mail files as messages in memory, through the library's exports.
#pragma once

#include <optional>

#include "host/caller_objects.h"
#include "host/memory_objects.h"

namespace nalvo::host {

// Reads a mail into a new message. What X-MAPI brings is taken when that header is there; otherwise the mail counts as
// read and as arrived when its first Received row says, else its Date, else at `fallback` (UTC).
// Throws the export's code; `log` (may be null) has the text.
ComPtr<MemoryMessage> readMail(IStream* mail, const HostContextPtr& context, FILETIME fallback, ILog* log);

// Writes a message as one mail that holds all of it, into a new stream at offset 0. Throws likewise.
ComPtr<IStream> writeMail(MemoryMessage* message, ILog* log);

}  // namespace nalvo::host
