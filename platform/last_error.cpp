// SPDX-License-Identifier: MIT
// The per-thread last error and the errno to Win32 error mapping.
#include <cerrno>

#include "platform/detail/handle.h"
#include "platform/file.h"

namespace vane::platform::detail {
namespace {

thread_local DWORD t_lastError = 0;

struct ErrnoRow {
  int err;
  DWORD win32;
};

constexpr ErrnoRow kErrnoRows[] = {
    {0, ERROR_SUCCESS},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EROFS, ERROR_WRITE_PROTECT},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {EAGAIN, ERROR_LOCK_VIOLATION},
    {EEXIST, ERROR_FILE_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {EPIPE, ERROR_BROKEN_PIPE},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EFAULT, ERROR_NOACCESS},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {ETIMEDOUT, ERROR_TIMEOUT},
    {EINTR, ERROR_OPERATION_ABORTED},
    {EIO, ERROR_IO_DEVICE},
    {ENXIO, ERROR_FILE_NOT_FOUND},
    {ENODEV, ERROR_FILE_NOT_FOUND},
    {EOVERFLOW, ERROR_ARITHMETIC_OVERFLOW},
    {ESPIPE, ERROR_SEEK_ON_DEVICE},
};

}  // namespace

void SetLastErrorFromErrno(int err) { t_lastError = ZoErrnoToWin32(err); }

}  // namespace vane::platform::detail

using namespace vane::platform::detail;

DWORD GetLastError(void) { return t_lastError; }
void SetLastError(DWORD error) { t_lastError = error; }

DWORD ZoErrnoToWin32(int err) {
  for (const ErrnoRow& row : kErrnoRows) {
    if (row.err == err) return row.win32;
  }
  return ERROR_GEN_FAILURE;
}
