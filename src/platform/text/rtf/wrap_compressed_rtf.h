// The codec that a message store keeps for PR_RTF_COMPRESSED.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

inline constexpr ULONG MAPI_MODIFY = 0x1;
inline constexpr ULONG STORE_UNCOMPRESSED_RTF = 0x8000;
inline constexpr ULONG MAPI_NATIVE_BODY = 0x10000;

inline constexpr ULONG MAPI_NATIVE_BODY_TYPE_RTF = 1;
inline constexpr ULONG MAPI_NATIVE_BODY_TYPE_HTML = 2;
inline constexpr ULONG MAPI_NATIVE_BODY_TYPE_PLAINTEXT = 4;

struct RTF_WCSINFO {
  ULONG size;
  ULONG ulFlags;
  ULONG ulInCodePage;
  ULONG ulOutCodePage;
};
static_assert(sizeof(RTF_WCSINFO) == 16);

struct RTF_WCSRETINFO {
  ULONG size;
  ULONG ulStreamFlags;  // MAPI_NATIVE_BODY_TYPE_...: what the wrapped stream gives
};
static_assert(sizeof(RTF_WCSRETINFO) == 8);

// Wraps a stream of compressed RTF. `wrapped` goes one way only, from front to back, and holds `compressed`.
//
// Flags 0                 reading gives the RTF text, kind 1
// MAPI_NATIVE_BODY        reading gives what the RTF was made from: for kind 2 its HTML and for kind 4 its text, both in
//                         `ulOutCodePage` (0 or unknown: Windows-1252), else the RTF. What the page lacks becomes a
//                         reference in HTML, "?" in text
// MAPI_MODIFY             writing replaces the content behind `compressed`'s position; it is whole when Commit is called,
//                         after which nothing more can be written. With STORE_UNCOMPRESSED_RTF the text is kept as it is
//
// Answers E_INVALIDARG for a null pointer or a size that is not the structure's; a failure of `compressed`; reading,
// MAPI_E_CORRUPT_DATA for what is no compressed RTF and, at the end, for a check sum that does not fit; Commit,
// MAPI_E_TOO_BIG from 4 GiB on.
HRESULT WrapCompressedRTFStreamEx(IStream* compressed, const RTF_WCSINFO* info, IStream** wrapped,
                                  RTF_WCSRETINFO* result) noexcept;

}  // namespace nalvo
