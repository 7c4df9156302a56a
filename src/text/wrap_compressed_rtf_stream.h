// The compressed RTF codec behind a message's PR_RTF_COMPRESSED.
#pragma once

#include "nalvo/com.h"

namespace nalvo::WrapCompressedRtfStream {

// Whether there is a codec. Asked for once; the answer stays for the life of the process.
bool isAvailable();

namespace detail {

// Once per process, under a lock; for a failure, which is thrown, the next caller tries again.
void initMapi();

// Unwraps the compressed RTF of `source` into `destination`, which is rewound then; with MAPI_MODIFY in `flags`, compresses
// what lies behind `destination`'s position into `source`. `flags` are those of WrapCompressedRTFStreamEx, `codePage` is
// that of a native body.
//
// Returns the kind of what the unwrapped stream holds, MAPI_NATIVE_BODY_TYPE_...: RTF unless MAPI_NATIVE_BODY is set.
// Throws E_INVALIDARG for a null stream, E_FAIL without a codec, MAPI_E_CORRUPT_DATA for damaged data, and the code of a
// stream call that failed.
std::uint32_t WrapCompressedRtfStreamEx(std::uint32_t flags, std::uint32_t codePage, IStream* source, IStream* destination);

// The same on a thread with a session of its own, for a caller that has none. The caller waits.
std::uint32_t wrapCompressedRtfStreamInThread(std::uint32_t codePage, IStream* source, std::uint32_t flags,
                                              IStream* destination);

}  // namespace detail
}  // namespace nalvo::WrapCompressedRtfStream
