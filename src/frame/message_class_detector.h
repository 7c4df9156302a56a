// The class of a message that comes from the server, told from its MIME tree.
#pragma once

#include <string>
#include <string_view>

#include "mime/mime.h"
#include "nalvo/com.h"

namespace nalvo {

namespace MessageClassDetector {

// The class of the first body, in pre-order, that shows a groupware or report type; "IPM.Note" if none does. Attached bodies
// say nothing, except the root when `rootCounts`. Throws E_INVALIDARG for null and the codes of the MIME objects.
std::u16string detect(IStream* stream, bool rootCounts);
std::u16string detect(mime::IMimeMessageTree* tree, bool rootCounts);
// True if this one body shows a class.
bool isKnownGroupware(mime::IMimeBody* body);

}  // namespace MessageClassDetector

// The content class of a message class; "urn:content-classes:document" for one that no row knows.
std::u16string_view contentClassFromMessageClass(std::u16string_view messageClass);

}  // namespace nalvo
