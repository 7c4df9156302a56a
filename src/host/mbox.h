// Mailboxes in one file: mails one behind the other, each behind a line "From ".
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// The mail behind its "From " line, without the empty line that ends it.
struct MboxMessage {
  std::uint64_t offset;
  std::uint64_t size;
};

// Whether the file begins with a line "From ". False for what can't be read.
bool isMbox(const std::filesystem::path& file);
// All mails, in one pass. Throws the HRESULT of the system's error.
std::vector<MboxMessage> scanMbox(const std::filesystem::path& file);
// One mail, at offset 0. A line of a text that begins with ">" and "From " loses one ">", which the mailbox gave it.
ComPtr<IStream> openMboxMessage(const std::filesystem::path& file, const MboxMessage& message);

}  // namespace nalvo::host
