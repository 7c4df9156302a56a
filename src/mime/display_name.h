// The name under which a body is shown.
#pragma once

#include "mime/body.h"

namespace nalvo::mime {

// File name, else name, else description, else one made up of "ATT", the number of the leaf and an ending by type; then its
// size, " (3 KB)". A message without a name: its subject, without a size.
std::u16string displayNameOf(Body& body);

}  // namespace nalvo::mime
