// A file as a stream for reading.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// At offset 0; clones share the open file. Throws the HRESULT of the system's error. A folder is ERROR_ACCESS_DENIED. What
// is no regular file (a pipe) is read to its end into a stream of the library first.
ComPtr<IStream> openFile(const std::filesystem::path& path);
// Standard input, read to its end.
ComPtr<IStream> readStandardInput();
// A copy of the text, at offset 0.
ComPtr<IStream> textStream(std::string_view text);

}  // namespace nalvo::host
