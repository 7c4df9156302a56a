// SHA-256 of bytes and streams.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "nalvo/com.h"

namespace nalvo::host {

// In lower-case hexadecimal.
std::string sha256(std::string_view bytes);

struct StreamDigest {
  std::uint64_t size;
  std::string sha256;
};

// Of a whole stream, read through a clone, so that its position stays. Throws the stream's code.
StreamDigest digestOf(IStream* stream);

}  // namespace nalvo::host
