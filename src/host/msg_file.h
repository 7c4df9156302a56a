// Messages in .msg files.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/byte_sink.h"
#include "host/memory_objects.h"

namespace nalvo::host {

// True for a compound file, by its first bytes. The position comes back.
bool isMsg(IStream* file);

// Reads a message with all that it holds. Values above 4 KiB are read from the file when they are asked for, through clones
// of `file`, which must not change while the message lives. Named properties get identifiers of the message's own, shared by
// the messages within it.
//
// What can't be read is left out, and `warnings` gets one line for each such thing. MAPI_E_CORRUPT_DATA, with a text that
// tells what is wrong, for what is no compound file or holds no message; the stream's code when it fails.
ComPtr<MemoryMessage> readMsg(IStream* file, const HostContextPtr& context, std::vector<std::string>* warnings);

// Writes a message with all that it holds; what stands in the file is lost. Narrow texts that came from a file in the code
// page of their message are written byte for byte, all others as wide ones. Throws the code of a stream or of the system.
void writeMsg(MemoryMessage* message, const std::filesystem::path& file);
// The same into an empty sink, which the caller closes.
void writeMsg(MemoryMessage* message, ByteSink& sink);

}  // namespace nalvo::host
