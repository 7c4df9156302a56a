// HTML to plain text.
#pragma once

#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo {

// The text that a browser shows of the body, UTF-16 with CR LF; empty for an HTML text without one. Nothing is loaded and no
// script runs. `given` is the code page that the bytes are said to be in; a byte order mark or a meta element of the text
// counts for more, 0 means that nobody knows. What is too big or too deep for the parser loses its tags and nothing else.
std::u16string htmlToText(std::string_view html, CodePage given);

}  // namespace nalvo
