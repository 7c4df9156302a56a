// Header rows that come from a text of their own.
#pragma once

#include "mime/body.h"

namespace nalvo::mime {

// Replaces all rows by the text up to the first empty line. Empty lines and NUL ahead are passed over, line ends become CR
// LF; a line that is neither row nor fold is kept under an empty name.
void loadRows(Body& body, Source& source);

// The body is the root of a message: what the rows say about a content speaks for one that is not there.
void takeAsStored(Body& root);

}  // namespace nalvo::mime
