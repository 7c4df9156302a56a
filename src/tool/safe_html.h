// HTML from strangers, for a page that people open.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace nalvo::tool {

// A "data:" URL for the content id of a picture (without angle brackets), or empty.
using PictureSource = std::function<std::string(std::string_view contentId)>;

// The body of an HTML text (UTF-8) without anything that runs, loads, submits or hides behind the page: elements,
// attributes and styles that are not known to be harmless are dropped, and what stood inside scripts, frames and forms'
// fields with them. Links to the web and to mail stay. Pictures come from `pictures` or from the text itself; in the place
// of others stands their alternative text. Empty for a text that is too large or too deep to be parsed.
std::string safeHtml(const std::string& html, const PictureSource& pictures);

// Text as HTML.
std::string escapeHtml(std::string_view text);

}  // namespace nalvo::tool
