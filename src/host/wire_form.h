// A mail as it goes out to others.
#pragma once

#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// The mail without the X-MAPI rows of its parts and of the mails attached to it, down to a depth of 100; all else stays byte
// for byte. Answers `mail` itself when there are none. Throws the stream's code.
ComPtr<IStream> withoutXMapi(const ComPtr<IStream>& mail);

}  // namespace nalvo::host
