// The bodies of a mail, for who looks at all of them.
#pragma once

#include <vector>

#include "mime/mime.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// A mail that reads from `stream`, from its start. Throws the stream's code.
ComPtr<mime::IMimeMessage> loadMail(IStream* stream);

// All bodies from the root on, parents before their children; never by recursion, since the depth is the sender's choice.
std::vector<mime::HBODY> bodiesOf(mime::IMimeMessage* mail);

}  // namespace nalvo::host
