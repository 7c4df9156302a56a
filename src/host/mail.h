// Mail files as messages in memory, through the library's exports.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/caller_objects.h"
#include "host/memory_objects.h"

namespace nalvo::host {

// What a message becomes.
enum class MailForm {
  Lossless,  // one mail that holds all; what MIME can't hold travels in X-MAPI
  Exact,     // the same, and what even that would drop or alter; proven by reading it back
  Wire,      // as it would be sent
  Store,     // as on a server: a mail with annotations and flags beside it
};

// A mail and what lies beside it.
struct MailFile {
  ComPtr<IStream> mail;  // at offset 0
  // Of the form Store.
  std::optional<MemoryAnnotations::Entries> annotations = {};
  ComPtr<MemoryFlags> flags = {};
  // What a mailbox tells of the mail; counts where neither flags nor X-MAPI do.
  std::optional<std::set<ULONG>> mailboxFlags = {};
  // What its reader should know of a mail that was written: values that were passed over, one line each.
  std::vector<std::string> warnings = {};
};

// Reads a mail into a new message. What the mail carries beside it is put back where it comes from X-MAPI that is trusted or
// from annotations, and is never left in the message. Annotations and flags beside it are taken when they are there, else
// what X-MAPI brings when that header is there and `trustXMapi`. A mail without flags counts as read and as arrived when its
// first Received row says, else its Date, else at `fallback` (UTC). A report that can't be read as one is read as a note,
// and so is an item, whose text becomes an attachment; `warnings` (may be null) says so. Throws the export's code; what
// the library says of it is in `log`, or in the exception when that is null.
ComPtr<MemoryMessage> readMail(const MailFile& file, const HostContextPtr& context, FILETIME fallback, bool trustXMapi,
                               ILog* log, std::vector<std::string>* warnings = nullptr);
ComPtr<MemoryMessage> readMail(IStream* mail, const HostContextPtr& context, FILETIME fallback, ILog* log,
                               std::vector<std::string>* warnings = nullptr);

// All forms but Wire carry what a mail would drop or alter; see carried.h. Throws likewise, and for the form Exact
// MAPI_E_NO_SUPPORT, with a text that tells what, when something does not come back bit by bit.
// An item that lacks what its kind needs is written as a mail, with a warning, by all other forms than Exact.
MailFile writeMail(MemoryMessage* message, MailForm form, ILog* log);

// The files beside a mail: [{"name", "value"}], and the flags as an object. Reading throws nlohmann::json::exception for
// what is no such text.
std::string annotationsToJson(const MemoryAnnotations::Entries& entries);
MemoryAnnotations::Entries annotationsFromJson(const std::string& text);
std::string flagsToJson(const MemoryFlags& flags);
ComPtr<MemoryFlags> flagsFromJson(const std::string& text, const HostContextPtr& context);

}  // namespace nalvo::host
