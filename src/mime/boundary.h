// Fresh boundaries and content ids.
#pragma once

#include <string>

namespace nalvo::mime {

// "=_" and 128 random bits: no line of Base64 or quoted-printable can hold it.
std::string makeBoundary();
// "<unique@name>".
std::string makeContentId();

}  // namespace nalvo::mime
