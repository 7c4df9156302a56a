// The characters of an HTML text.
#pragma once

#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo::html {

// The code page that the bytes are in: of a byte order mark, else of a meta element near the beginning, else `given` when it
// is not 0 and known, else UTF-8 for bytes that are valid UTF-8, else Windows-1252. Labels mean what browsers take them for.
CodePage codePageOf(std::string_view bytes, CodePage given);

// Without the byte order mark.
std::string toUtf8(std::string_view bytes, CodePage given);

}  // namespace nalvo::html
