// The text that a browser shows of a tree.
#pragma once

#include <string>

#include "platform/text/html/html_tree.h"

namespace nalvo::html {

// What innerText of the body gives, as UTF-8 with LF: as if nothing could be loaded and no script ran. Empty without a body.
std::string renderText(const Tree& tree);

}  // namespace nalvo::html
