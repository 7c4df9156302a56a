// HTML to plain text.
#pragma once

#include "nalvo/com.h"

namespace nalvo::htmlToPlain {

// Reads HTML from where `html` stands and writes the text that a browser shows of its body to `plain`: UTF-16 with CR LF, up
// to a NUL if there is one, without a byte order mark or terminator. HTML without a body, or without text, writes nothing.
// `codePage` is the one that the message says its HTML is in, PR_INTERNET_CPID; 0 when it does not say. A byte order mark or
// a meta element of the HTML counts for more.
//
// The work runs on a thread of its own, for which the caller waits. Throws E_INVALIDARG for a null stream and the code of
// what failed, at "htmlToPlain::convert".
void convert(IStream* html, IStream* plain, std::uint32_t codePage = 0);

}  // namespace nalvo::htmlToPlain
