// Quoted-printable and Base64 of whole strings, as calendar and card values hold them, and trimming.
//
// Beside the codecs of streams: these keep line ends as they are, part soft line breaks from white space inside a line, and
// go by groups of four, as values of the library have always been read.
#pragma once

#include <string>
#include <string_view>

namespace nalvo::utils {

// Replaces `out`. A NUL byte ends the text. "=" and white space up to a line end are a soft break; an "=" that begins
// nothing stands for itself. Always true.
bool decodeQuotedPrintable(std::string_view in, std::string& out);

// Replaces `out`. A NUL byte ends the text; a group of less than four characters at the end is dropped. False when a byte
// stood between that is neither in the alphabet nor white space; it is left out.
bool decodeBase64(std::string_view in, std::string& out);

// Without the characters of `chars` at both ends; null stands for space, CR, LF and tab.
std::string trim(std::string_view in, const char* chars = nullptr);

}  // namespace nalvo::utils
