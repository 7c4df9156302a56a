// HRESULTs of the C library's error numbers.
#pragma once

#include "platform/com/hresult.h"

namespace nalvo {

inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
inline constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_DISK_FULL = 112;
inline constexpr std::uint32_t ERROR_IO_DEVICE = 1117;

// The HRESULT of the Win32 error that stands nearest to `error`, an errno value; ERROR_GEN_FAILURE for all that have none.
HRESULT hresultFromErrno(int error) noexcept;

}  // namespace nalvo
