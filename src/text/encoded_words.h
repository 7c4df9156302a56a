// Encoded words ("=?charset?Q?text?=") inside of calendar and card values.
#pragma once

#include <string>
#include <string_view>

#include "text/charset_names.h"

namespace nalvo::utils {

// `in` with its encoded words decoded, as valid UTF-8 without NUL bytes. White space between two words goes; a character cut
// across words of one charset is joined. What stands outside of words is in `charset`; UTF-8 there holds strays of
// Windows-1252 as well. Linear in the input, whatever it holds.
std::string decodeMimeWords(std::string_view in, std::string_view charset = kUtf8Charset);

// One word, in UTF-8. `charset` may end in a language tag ("*cs") and is repaired. An encoding other than "B" and "Q" leaves
// the text as it is; a "_" is a blank in all of them.
std::string decodeMimeWord(std::string_view text, std::string_view charset, char encoding);

}  // namespace nalvo::utils
