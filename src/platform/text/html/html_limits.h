// Whether an HTML text may go to the parser.
#pragma once

#include <cstddef>
#include <string_view>

namespace nalvo::html {

// The parser's cost grows with the square of the depth and of the attributes of one tag, and with the open formatting that
// it repeats in each block. Real mail stays far below all of these.
inline constexpr std::size_t kMostOpenElements = 512;
inline constexpr std::size_t kMostAttributes = 256;
inline constexpr std::size_t kMostBytes = std::size_t{32} * 1024 * 1024;
inline constexpr std::size_t kMostWork = std::size_t{4} * 1024 * 1024;

// One pass over the tags, which are counted much as a parser would open and close them.
bool isWithinLimits(std::string_view utf8);

}  // namespace nalvo::html
