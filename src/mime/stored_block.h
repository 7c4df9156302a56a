// Header rows that come from a text of their own.
#pragma once

#include "mime/body.h"

namespace nalvo::mime {

// Replaces all rows by the text up to the first empty line. Empty lines and NUL ahead are passed over, line ends become CR
// LF; a line that is neither row nor fold is kept under an empty name.
void loadRows(Body& body, Source& source);

// The body is the root of a message: what the rows say about a content speaks for one that is not there.
void takeAsStored(Body& root);

// Whether the stored type of `root` speaks of `content`, which is the root's own or that of its one attachment: then the
// stored row and those beside it hold again. Types equal, or readers take both for the same: a text of an odd type is plain,
// and a multipart of an unknown kind is a list of parts.
bool holdsStoredType(const Body& root, const Body& content);
inline bool holdsStoredType(const Body& root) { return holdsStoredType(root, root); }

}  // namespace nalvo::mime
