// The media type of a file by its name.
#pragma once

#include <string_view>

namespace nalvo {

// By the extension, without case; "application/octet-stream" for a name that tells none.
std::string_view mediaTypeOfName(std::u16string_view fileName);

}  // namespace nalvo
