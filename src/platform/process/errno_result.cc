#include "platform/process/errno_result.h"

#include <cerrno>

namespace nalvo {
namespace {

struct Row {
  int error;
  std::uint32_t win32;
};

constexpr Row kRows[] = {
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EIO, ERROR_IO_DEVICE},
    {ENOENT, ERROR_PATH_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ESRCH, ERROR_INVALID_PARAMETER},  // no such process
    {EROFS, ERROR_WRITE_PROTECT},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
};

}  // namespace

HRESULT hresultFromErrno(int error) noexcept {
  for (const Row& row : kRows) {
    if (row.error == error) {
      return hresultFromWin32(row.win32);
    }
  }
  return hresultFromWin32(ERROR_GEN_FAILURE);
}

}  // namespace nalvo
