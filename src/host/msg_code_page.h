// The code page of the narrow texts of a message.
#pragma once

#include "host/property_bag.h"

namespace nalvo::host::msg {

// What the message names itself: its code page, else the ANSI code page of its language, else that of its Internet form;
// without any of them, or with one that is unknown or no narrow page, `fallback`.
CodePage codePageOf(const PropertyBag& message, CodePage fallback);

}  // namespace nalvo::host::msg
