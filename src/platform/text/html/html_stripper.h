// The text of HTML that is beyond what the parser takes.
#pragma once

#include <string>
#include <string_view>

namespace nalvo::html {

// Takes the tags away: blocks begin lines, paragraphs leave a blank line, cells are parted by tabs, white space runs
// together. UTF-8 with LF, as renderText gives. Linear, in memory of the size of the text.
std::string stripTags(std::string_view utf8);

}  // namespace nalvo::html
