// Temporary files without a name.
#pragma once

#include "platform/process/unique_fd.h"

namespace nalvo {

// An empty file in $TMPDIR, or in /tmp, open to read and write. It has no name any more, so that it goes with its last
// descriptor whatever happens to the process; others can't open it, and a started program doesn't inherit it.
// Not open on failure; errno tells why.
UniqueFd openTempFile();

}  // namespace nalvo
