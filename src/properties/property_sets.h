// The property sets of named properties.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

namespace detail {

// A set of the family XXXXXXXX-0000-0000-C000-000000000046.
constexpr GUID oleSet(std::uint32_t number) { return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; }

}  // namespace detail

inline constexpr GUID PSETID_Common = detail::oleSet(0x00062008);
inline constexpr GUID PSETID_Address = detail::oleSet(0x00062004);
inline constexpr GUID PSETID_Appointment = detail::oleSet(0x00062002);
inline constexpr GUID PSETID_Task = detail::oleSet(0x00062003);
inline constexpr GUID PSETID_Log = detail::oleSet(0x0006200A);
inline constexpr GUID PSETID_Note = detail::oleSet(0x0006200E);
inline constexpr GUID PSETID_Sharing = detail::oleSet(0x00062040);
inline constexpr GUID PSETID_Meeting{0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}};
inline constexpr GUID PS_PUBLIC_STRINGS = detail::oleSet(0x00020329);
inline constexpr GUID PS_INTERNET_HEADERS = detail::oleSet(0x00020386);
inline constexpr GUID PSETID_SyncEngine{0x4A7934F6, 0x8E3D, 0x4C5D, {0xB4, 0xCA, 0x71, 0xA3, 0x43, 0xDC, 0x85, 0x37}};
inline constexpr GUID PSETID_SyncState{0x69939CB1, 0x0122, 0x49C4, {0xB9, 0x80, 0x88, 0xF4, 0xBF, 0x4C, 0x25, 0xEB}};
inline constexpr GUID PSETID_Charset{0x4E3A7680, 0xB77A, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};
inline constexpr GUID PSETID_Scanner{0x41564737, 0x3200, 0x10A1, {0x98, 0x9B, 0x00, 0x00, 0xE8, 0x7B, 0x4F, 0xB1}};

}  // namespace nalvo
