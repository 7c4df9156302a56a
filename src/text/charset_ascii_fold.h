// Latin letters without their accents, for diagnostic dumps.
#pragma once

#include <string>
#include <string_view>

namespace nalvo::utils {

// Replaces `out` by `in`, which is in `charset`, in ASCII. False when a character has no ASCII form ("?" takes its place) or
// the charset isn't supported (`out` is then empty).
bool foldToAscii(std::string_view charset, std::string_view in, std::string& out);

}  // namespace nalvo::utils
