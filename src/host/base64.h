// Base64 of texts in memory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nalvo::host {

// Without line ends.
std::string encodeBase64(std::string_view bytes);
// No value for a character outside the alphabet; white space is none.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace nalvo::host
