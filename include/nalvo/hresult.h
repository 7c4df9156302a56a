// HRESULT codes by their published names.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

constexpr HRESULT makeHResult(std::uint32_t code) { return static_cast<HRESULT>(code); }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = makeHResult(0x8000FFFF);
inline constexpr HRESULT E_NOTIMPL = makeHResult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = makeHResult(0x80004002);
inline constexpr HRESULT E_POINTER = makeHResult(0x80004003);
inline constexpr HRESULT E_FAIL = makeHResult(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = makeHResult(0x80070005);
inline constexpr HRESULT E_HANDLE = makeHResult(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = makeHResult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = makeHResult(0x80070057);

inline constexpr HRESULT STG_E_INVALIDFUNCTION = makeHResult(0x80030001);
inline constexpr HRESULT STG_E_ACCESSDENIED = makeHResult(0x80030005);
inline constexpr HRESULT STG_E_INVALIDPOINTER = makeHResult(0x80030009);
inline constexpr HRESULT STG_E_WRITEFAULT = makeHResult(0x8003001D);
inline constexpr HRESULT STG_E_READFAULT = makeHResult(0x8003001E);
inline constexpr HRESULT STG_E_MEDIUMFULL = makeHResult(0x80030070);
inline constexpr HRESULT STG_E_INVALIDFLAG = makeHResult(0x800300FF);

inline constexpr HRESULT MAPI_E_NO_SUPPORT = makeHResult(0x80040102);
inline constexpr HRESULT MAPI_E_BAD_CHARWIDTH = makeHResult(0x80040103);
inline constexpr HRESULT MAPI_E_INVALID_ENTRYID = makeHResult(0x80040107);
inline constexpr HRESULT MAPI_E_NOT_FOUND = makeHResult(0x8004010F);
inline constexpr HRESULT MAPI_E_TOO_COMPLEX = makeHResult(0x80040117);
inline constexpr HRESULT MAPI_E_COMPUTED = makeHResult(0x8004011A);
inline constexpr HRESULT MAPI_E_CORRUPT_DATA = makeHResult(0x8004011B);
inline constexpr HRESULT MAPI_E_UNEXPECTED_TYPE = makeHResult(0x80040304);
inline constexpr HRESULT MAPI_E_TOO_BIG = makeHResult(0x80040305);
inline constexpr HRESULT MAPI_W_ERRORS_RETURNED = makeHResult(0x00040380);

inline constexpr HRESULT MIME_E_NOT_FOUND = makeHResult(0x800CCE05);
// A row that is there but holds no readable date.
inline constexpr HRESULT MIME_E_BAD_DATE = makeHResult(0x800CCE2D);

constexpr bool succeeded(HRESULT hr) { return hr >= 0; }
constexpr bool failed(HRESULT hr) { return hr < 0; }

// The HRESULT of a Win32 code: facility 7 for a positive code, a value that already is an HRESULT as it stands.
constexpr HRESULT hresultFromWin32(std::uint32_t code) {
  return static_cast<HRESULT>(code) <= 0 ? static_cast<HRESULT>(code) : makeHResult((code & 0xFFFFU) | 0x80070000U);
}

}  // namespace nalvo
