// Plain text to rich text and back.
#pragma once

#include <cstdint>
#include <vector>

#include "nalvo/com.h"

namespace nalvo::RichTextConvertor {

// Reads UTF-16 text and writes RTF that marks itself as made from plain text. `formatting` names places in the text, counted
// in characters of UTF-16 with a line end as one: the entry with index i puts a blank at the place formatting[i] - i, the
// last entry first, so that each of a rising list gets one.
//
// Both directions go on from where the streams stand and leave them behind what they read and wrote. Throws E_INVALIDARG for
// a null stream and the code of a stream call that failed; `output` then holds what was written so far.
void unicodeToRtf(IStream* input, const std::vector<std::int32_t>& formatting, IStream* output);

// Reads RTF and writes its text as UTF-16 with CR LF, without a byte order mark. Broken RTF gives the text so far.
void rtfToUnicode(IStream* input, IStream* output);

}  // namespace nalvo::RichTextConvertor
