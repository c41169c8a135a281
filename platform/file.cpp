// SPDX-License-Identifier: MIT
// File handles over POSIX descriptors. A handle is a File object in the
// handle table; the file position is the descriptor's, shared by all users
// of the handle as it is on the platform.
#include "platform/file.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/detail/handle.h"
#include "platform/sync.h"
#include "platform/wtext.h"

namespace vane::platform {
namespace {

using detail::HandleKind;

class File final : public detail::HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::File;
  File(int fd, bool canRead, bool canWrite) : HandleObject(kKind), m_fd(fd), m_read(canRead), m_write(canWrite) {
    struct stat st;
    m_stream = fstat(fd, &st) == 0 && !S_ISREG(st.st_mode) && !S_ISBLK(st.st_mode);
  }
  ~File() override {
    ::close(m_fd);
    if (!m_deleteOnClose.empty()) ::unlink(m_deleteOnClose.c_str());
  }
  const int m_fd;
  const bool m_read;
  const bool m_write;
  bool m_stream = false;  // pipe, socket or device: a read returns what is there
  std::string m_deleteOnClose;
};

// 100-ns ticks between 1601-01-01 and 1970-01-01.
constexpr LONGLONG kEpochDelta = 116444736000000000LL;
constexpr LONGLONG kTicksPerSecond = 10000000;

void Fail(DWORD error) { SetLastError(error); }

// A file name must be given and not empty: null fails with
// ERROR_INVALID_PARAMETER, an empty name with ERROR_PATH_NOT_FOUND.
template <class Char>
bool NameGiven(const Char* name) {
  if (!name) {
    Fail(ERROR_INVALID_PARAMETER);
    return false;
  }
  if (!*name) {
    Fail(ERROR_PATH_NOT_FOUND);
    return false;
  }
  return true;
}

bool NameToPath(LPCWSTR name, std::string* path) {
  if (!NameGiven(name)) return false;
  *path = ToUtf8(name);
  return true;
}

std::string ParentOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// errno as a Win32 error; a missing entry is told apart from a missing
// folder on the way to it, as the platform does.
void FailErrno(int err, const std::string& path = {}) {
  if (err == ENOENT && !path.empty()) {
    struct stat st;
    const bool folder = ::stat(ParentOf(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    Fail(folder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
    return;
  }
  detail::SetLastErrorFromErrno(err);
}

FILETIME ToFileTime(const struct timespec& ts) {
  FILETIME ft{0, 0};
  FileTimeFromUnix(ts.tv_sec, LONG(ts.tv_nsec), &ft);
  return ft;
}

// A FILETIME for futimens; null or zero means "leave as it is".
struct timespec FromFileTime(const FILETIME* ft) {
  if (!ft || (ft->dwLowDateTime == 0 && ft->dwHighDateTime == 0)) return {0, UTIME_OMIT};
  const LONGLONG ticks = LONGLONG((ULONGLONG(ft->dwHighDateTime) << 32) | ft->dwLowDateTime) - kEpochDelta;
  LONGLONG seconds = ticks / kTicksPerSecond;
  LONGLONG rest = ticks % kTicksPerSecond;
  if (rest < 0) {
    rest += kTicksPerSecond;
    --seconds;
  }
  return {time_t(seconds), long(rest * 100)};
}

// Creation time: the birth time where the file system keeps one.
FILETIME CreationTime(int dirfd, const char* path, int flags, const struct stat& st) {
  struct statx sx;
  if (statx(dirfd, path, flags, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME)) {
    return ToFileTime({time_t(sx.stx_btime.tv_sec), long(sx.stx_btime.tv_nsec)});
  }
  const bool changedFirst = st.st_ctim.tv_sec < st.st_mtim.tv_sec;
  return ToFileTime(changedFirst ? st.st_ctim : st.st_mtim);
}

DWORD AttributesOf(const std::string& path, const struct stat& st) {
  DWORD attributes = 0;
  if (S_ISDIR(st.st_mode)) {
    attributes |= FILE_ATTRIBUTE_DIRECTORY;
  } else if (!(st.st_mode & S_IWUSR)) {
    attributes |= FILE_ATTRIBUTE_READONLY;
  }
  const size_t slash = path.find_last_of('/');
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.size() > 1 && base[0] == '.' && base != "..") attributes |= FILE_ATTRIBUTE_HIDDEN;
  return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

HANDLE OpenFile(const std::string& path, DWORD access, DWORD disposition, DWORD flagsAndAttributes) {
  const bool canRead = access & (GENERIC_READ | GENERIC_ALL);
  const bool canWrite = access & (GENERIC_WRITE | GENERIC_ALL);
  int flags = O_CLOEXEC | (canRead && canWrite ? O_RDWR : canWrite ? O_WRONLY : O_RDONLY);
  switch (disposition) {
    case CREATE_NEW:
      flags |= O_CREAT | O_EXCL;
      break;
    case CREATE_ALWAYS:
      flags |= O_CREAT | O_TRUNC;
      break;
    case OPEN_EXISTING:
      break;
    case OPEN_ALWAYS:
      flags |= O_CREAT;
      break;
    case TRUNCATE_EXISTING:
      if (!canWrite) {
        Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
      }
      flags |= O_TRUNC;
      break;
    default:
      Fail(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
  }
  struct stat before;
  const bool existed = ::stat(path.c_str(), &before) == 0;
  if (existed && S_ISDIR(before.st_mode)) {
    Fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  const mode_t mode = (flagsAndAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  int fd;
  do {
    fd = ::open(path.c_str(), flags, mode);
  } while (fd < 0 && errno == EINTR);
  // A handle opened for neither reading nor writing only asks questions.
  if (fd < 0 && errno == EACCES && !canRead && !canWrite) fd = ::open(path.c_str(), O_PATH | O_CLOEXEC);
  if (fd < 0) {
    if (errno == EEXIST) {
      Fail(ERROR_FILE_EXISTS);
    } else {
      FailErrno(errno, path);
    }
    return INVALID_HANDLE_VALUE;
  }
  struct stat st;
  if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd);
    Fail(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  if (flagsAndAttributes & FILE_FLAG_SEQUENTIAL_SCAN) posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  if (flagsAndAttributes & FILE_FLAG_RANDOM_ACCESS) posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
  auto file = std::make_shared<File>(fd, canRead, canWrite);
  if (flagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE) {
    char full[PATH_MAX];
    file->m_deleteOnClose = realpath(path.c_str(), full) ? full : path;
  }
  HANDLE h = detail::RegisterHandle(std::move(file));
  const bool reports = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
  SetLastError(reports && existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return h;
}

// Moves the descriptor's position; origin is FILE_BEGIN/CURRENT/END.
bool Seek(const File& file, LONGLONG distance, DWORD method, LONGLONG* position) {
  LONGLONG base = 0;
  if (method == FILE_CURRENT) {
    base = ::lseek(file.m_fd, 0, SEEK_CUR);
  } else if (method == FILE_END) {
    struct stat st;
    base = fstat(file.m_fd, &st) == 0 ? st.st_size : -1;
  } else if (method != FILE_BEGIN) {
    Fail(ERROR_INVALID_PARAMETER);
    return false;
  }
  if (base < 0) {
    FailErrno(errno);
    return false;
  }
  LONGLONG target;
  if (__builtin_add_overflow(base, distance, &target)) {
    Fail(ERROR_INVALID_PARAMETER);
    return false;
  }
  if (target < 0) {
    Fail(ERROR_NEGATIVE_SEEK);
    return false;
  }
  if (::lseek(file.m_fd, target, SEEK_SET) < 0) {
    FailErrno(errno);
    return false;
  }
  *position = target;
  return true;
}

bool CopyData(int from, int to) {
  for (;;) {
    const ssize_t n = copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
    if (n == 0) return true;
    if (n > 0) continue;
    if (errno == EINTR) continue;
    if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return false;
    break;
  }
  // Plain copy where the kernel cannot copy between these two files.
  std::vector<char> buffer(1 << 16);
  for (;;) {
    ssize_t n = ::read(from, buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    for (ssize_t done = 0; done < n;) {
      const ssize_t w = ::write(to, buffer.data() + done, size_t(n - done));
      if (w < 0 && errno == EINTR) continue;
      if (w < 0) return false;
      done += w;
    }
  }
}

bool CopyPath(const std::string& from, const std::string& to, bool failIfExists) {
  const int src = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (src < 0) {
    FailErrno(errno, from);
    return false;
  }
  struct stat st;
  if (fstat(src, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(src);
    Fail(ERROR_ACCESS_DENIED);
    return false;
  }
  struct stat target;
  if (::stat(to.c_str(), &target) == 0) {
    DWORD error = ERROR_SUCCESS;
    if (failIfExists) {
      error = ERROR_FILE_EXISTS;
    } else if (target.st_dev == st.st_dev && target.st_ino == st.st_ino) {
      error = ERROR_SHARING_VIOLATION;
    } else if (S_ISDIR(target.st_mode) || !(target.st_mode & S_IWUSR)) {
      error = ERROR_ACCESS_DENIED;
    }
    if (error != ERROR_SUCCESS) {
      ::close(src);
      Fail(error);
      return false;
    }
  }
  std::string temp = to + ".~vaneXXXXXX";
  const int dst = mkostemp(temp.data(), O_CLOEXEC);
  if (dst < 0) {
    const int err = errno;
    ::close(src);
    FailErrno(err, to);
    return false;
  }
  bool ok = CopyData(src, dst);
  int err = errno;
  if (ok) {
    fchmod(dst, st.st_mode & 07777);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    futimens(dst, times);
  }
  ::close(src);
  if (::close(dst) != 0 && ok) {
    ok = false;
    err = errno;
  }
  if (ok) {
    const int rc = failIfExists ? renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE)
                                : ::rename(temp.c_str(), to.c_str());
    if (rc != 0) {
      ok = false;
      err = errno;
    }
  }
  if (!ok) {
    ::unlink(temp.c_str());
    if (err == EEXIST) {
      Fail(ERROR_FILE_EXISTS);
    } else {
      FailErrno(err, to);
    }
  }
  return ok;
}

// Lexical normalisation: "." and empty parts go, ".." removes its parent.
std::string Normalize(const std::string& path) {
  std::vector<std::string> parts;
  size_t at = 0;
  while (at <= path.size()) {
    size_t next = path.find('/', at);
    if (next == std::string::npos) next = path.size();
    const std::string part = path.substr(at, next - at);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    at = next + 1;
  }
  std::string out;
  for (const auto& part : parts) out += "/" + part;
  if (out.empty() || (path.size() > 1 && path.back() == '/')) out += "/";
  return out;
}

DWORD CopyOut(const std::u16string& text, DWORD capacity, LPWSTR buffer) {
  if (!buffer || text.size() >= capacity) return DWORD(text.size() + 1);
  std::memcpy(buffer, text.data(), text.size() * sizeof(WCHAR));
  buffer[text.size()] = 0;
  return DWORD(text.size());
}

std::string CurrentDirectory() {
  std::vector<char> buf(PATH_MAX);
  while (!getcwd(buf.data(), buf.size())) {
    if (errno != ERANGE) return {};
    buf.resize(buf.size() * 2);
  }
  return buf.data();
}

// The file behind a handle for a read or write of count bytes: a handle
// opened without that access fails with ERROR_ACCESS_DENIED, a null buffer
// with a count with ERROR_NOACCESS.
std::shared_ptr<File> FileForTransfer(HANDLE handle, bool write, const void* buffer, DWORD count) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return nullptr;
  if (!(write ? file->m_write : file->m_read)) {
    Fail(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  if (!buffer && count > 0) {
    Fail(ERROR_NOACCESS);
    return nullptr;
  }
  return file;
}

}  // namespace
}  // namespace vane::platform

using namespace vane::platform;

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flagsAndAttributes, HANDLE) {
  std::string path;
  if (!NameToPath(name, &path)) return INVALID_HANDLE_VALUE;
  return OpenFile(path, access, disposition, flagsAndAttributes);
}

HANDLE CreateFileA(LPCSTR utf8Name, DWORD access, DWORD, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD flagsAndAttributes, HANDLE) {
  if (!NameGiven(utf8Name)) return INVALID_HANDLE_VALUE;
  return OpenFile(utf8Name, access, disposition, flagsAndAttributes);
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD toRead, DWORD* read, OVERLAPPED* overlapped) {
  if (read) *read = 0;
  auto file = FileForTransfer(handle, false, buffer, toRead);
  if (!file) return FALSE;
  off_t offset = overlapped ? off_t((ULONGLONG(overlapped->OffsetHigh) << 32) | overlapped->Offset) : 0;
  auto* out = static_cast<char*>(buffer);
  DWORD done = 0;
  while (done < toRead) {
    const ssize_t n = overlapped ? ::pread(file->m_fd, out + done, toRead - done, offset + done)
                                 : ::read(file->m_fd, out + done, toRead - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      if (read) *read = done;
      FailErrno(errno);
      return FALSE;
    }
    if (n == 0) break;
    done += DWORD(n);
    if (file->m_stream) break;
  }
  if (read) *read = done;
  if (overlapped) {
    overlapped->InternalHigh = done;
    ::lseek(file->m_fd, offset + done, SEEK_SET);
    if (overlapped->hEvent) SetEvent(overlapped->hEvent);
    if (done == 0 && toRead > 0) {
      Fail(ERROR_HANDLE_EOF);
      return FALSE;
    }
  }
  return TRUE;
}

BOOL WriteFile(HANDLE handle, LPCVOID buffer, DWORD toWrite, DWORD* written, OVERLAPPED* overlapped) {
  if (written) *written = 0;
  auto file = FileForTransfer(handle, true, buffer, toWrite);
  if (!file) return FALSE;
  off_t offset = 0;
  if (overlapped) {
    // Offset and OffsetHigh both 0xFFFFFFFF: write at the end.
    if (overlapped->Offset == 0xFFFFFFFF && overlapped->OffsetHigh == 0xFFFFFFFF) {
      offset = ::lseek(file->m_fd, 0, SEEK_END);
    } else {
      offset = off_t((ULONGLONG(overlapped->OffsetHigh) << 32) | overlapped->Offset);
    }
  }
  const auto* in = static_cast<const char*>(buffer);
  DWORD done = 0;
  BOOL ok = TRUE;
  while (done < toWrite) {
    const ssize_t n = overlapped ? ::pwrite(file->m_fd, in + done, toWrite - done, offset + done)
                                 : ::write(file->m_fd, in + done, toWrite - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      FailErrno(n < 0 ? errno : ENOSPC);
      ok = FALSE;
      break;
    }
    done += DWORD(n);
  }
  if (written) *written = done;
  if (overlapped) {
    overlapped->InternalHigh = done;
    ::lseek(file->m_fd, offset + done, SEEK_SET);
    if (overlapped->hEvent) SetEvent(overlapped->hEvent);
  }
  return ok;
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* highPart, DWORD method) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return INVALID_SET_FILE_POINTER;
  const LONGLONG move =
      highPart ? LONGLONG((ULONGLONG(DWORD(*highPart)) << 32) | DWORD(distance)) : LONGLONG(distance);
  const LONGLONG start = ::lseek(file->m_fd, 0, SEEK_CUR);
  LONGLONG position = 0;
  if (!Seek(*file, move, method, &position)) return INVALID_SET_FILE_POINTER;
  if (!highPart && position > LONGLONG(0xFFFFFFFF)) {
    // Without a high part the new position must be a 32-bit value.
    ::lseek(file->m_fd, start, SEEK_SET);
    Fail(ERROR_INVALID_PARAMETER);
    return INVALID_SET_FILE_POINTER;
  }
  if (highPart) *highPart = LONG(position >> 32);
  const DWORD low = DWORD(position & 0xFFFFFFFF);
  if (low == INVALID_SET_FILE_POINTER) SetLastError(ERROR_SUCCESS);
  return low;
}

BOOL SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition, DWORD method) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  LONGLONG position = 0;
  if (!Seek(*file, distance.QuadPart, method, &position)) return FALSE;
  if (newPosition) newPosition->QuadPart = position;
  return TRUE;
}

DWORD GetFileSize(HANDLE handle, DWORD* highPart) {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(handle, &size)) return INVALID_FILE_SIZE;
  if (highPart) *highPart = DWORD(ULONGLONG(size.QuadPart) >> 32);
  const DWORD low = DWORD(size.QuadPart & 0xFFFFFFFF);
  if (low == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
  return low;
}

BOOL GetFileSizeEx(HANDLE handle, LARGE_INTEGER* size) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  if (!size) {
    Fail(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  struct stat st;
  if (fstat(file->m_fd, &st) != 0) {
    FailErrno(errno);
    return FALSE;
  }
  size->QuadPart = st.st_size;
  return TRUE;
}

BOOL SetEndOfFile(HANDLE handle) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  if (!file->m_write) {
    Fail(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  const off_t position = ::lseek(file->m_fd, 0, SEEK_CUR);
  if (position < 0 || ::ftruncate(file->m_fd, position) != 0) {
    FailErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL FlushFileBuffers(HANDLE handle) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  if (::fsync(file->m_fd) != 0 && errno != EINVAL) {
    FailErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL GetFileTime(HANDLE handle, FILETIME* creation, FILETIME* access, FILETIME* write) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  struct stat st;
  if (fstat(file->m_fd, &st) != 0) {
    FailErrno(errno);
    return FALSE;
  }
  if (creation) *creation = CreationTime(file->m_fd, "", AT_EMPTY_PATH, st);
  if (access) *access = ToFileTime(st.st_atim);
  if (write) *write = ToFileTime(st.st_mtim);
  return TRUE;
}

BOOL SetFileTime(HANDLE handle, const FILETIME*, const FILETIME* access, const FILETIME* write) {
  auto file = detail::Lookup<File>(handle);
  if (!file) return FALSE;
  // The creation time cannot be set on POSIX file systems; it is left alone.
  const struct timespec times[2] = {FromFileTime(access), FromFileTime(write)};
  if (::futimens(file->m_fd, times) != 0) {
    FailErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL DeleteFileW(LPCWSTR name) {
  std::string path;
  if (!NameToPath(name, &path)) return FALSE;
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) {
    FailErrno(errno, path);
    return FALSE;
  }
  if (S_ISDIR(st.st_mode) || (S_ISREG(st.st_mode) && !(st.st_mode & S_IWUSR))) {
    Fail(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  if (::unlink(path.c_str()) != 0) {
    FailErrno(errno, path);
    return FALSE;
  }
  return TRUE;
}

BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
  std::string source, target;
  if (!NameToPath(from, &source) || !NameToPath(to, &target)) return FALSE;
  struct stat st;
  if (::lstat(source.c_str(), &st) != 0) {
    FailErrno(errno, source);
    return FALSE;
  }
  const bool replace = flags & MOVEFILE_REPLACE_EXISTING;
  struct stat existing;
  if (::lstat(target.c_str(), &existing) == 0) {
    const bool same = existing.st_dev == st.st_dev && existing.st_ino == st.st_ino;
    if (!same && !replace) {
      Fail(ERROR_ALREADY_EXISTS);
      return FALSE;
    }
    if (!same && S_ISDIR(existing.st_mode)) {
      Fail(ERROR_ACCESS_DENIED);
      return FALSE;
    }
  }
  int rc = replace ? ::rename(source.c_str(), target.c_str())
                   : renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  if (rc != 0 && !replace && (errno == EINVAL || errno == ENOSYS)) {
    rc = ::rename(source.c_str(), target.c_str());  // file system without no-replace renames
  }
  if (rc == 0) return TRUE;
  if (errno == EEXIST) {
    Fail(ERROR_ALREADY_EXISTS);
    return FALSE;
  }
  if (errno == EXDEV && (flags & MOVEFILE_COPY_ALLOWED) && S_ISREG(st.st_mode)) {
    if (!CopyPath(source, target, !replace)) return FALSE;
    ::unlink(source.c_str());
    return TRUE;
  }
  FailErrno(errno, target);
  return FALSE;
}

BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
  std::string source, target;
  if (!NameToPath(from, &source) || !NameToPath(to, &target)) return FALSE;
  return CopyPath(source, target, failIfExists != FALSE) ? TRUE : FALSE;
}

DWORD GetFileAttributesW(LPCWSTR name) {
  std::string path;
  if (!NameToPath(name, &path)) return INVALID_FILE_ATTRIBUTES;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    FailErrno(errno, path);
    return INVALID_FILE_ATTRIBUTES;
  }
  return AttributesOf(path, st);
}

BOOL GetFileAttributesExW(LPCWSTR name, int infoLevel, LPVOID info) {
  if (infoLevel != GetFileExInfoStandard || !info) {
    Fail(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::string path;
  if (!NameToPath(name, &path)) return FALSE;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    FailErrno(errno, path);
    return FALSE;
  }
  auto* data = static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(info);
  data->dwFileAttributes = AttributesOf(path, st);
  data->ftCreationTime = CreationTime(AT_FDCWD, path.c_str(), 0, st);
  data->ftLastAccessTime = ToFileTime(st.st_atim);
  data->ftLastWriteTime = ToFileTime(st.st_mtim);
  const ULONGLONG size = S_ISDIR(st.st_mode) ? 0 : ULONGLONG(st.st_size);
  data->nFileSizeHigh = DWORD(size >> 32);
  data->nFileSizeLow = DWORD(size & 0xFFFFFFFF);
  return TRUE;
}

BOOL SetFileAttributesW(LPCWSTR name, DWORD attributes) {
  std::string path;
  if (!NameToPath(name, &path)) return FALSE;
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    FailErrno(errno, path);
    return FALSE;
  }
  if (S_ISDIR(st.st_mode)) return TRUE;
  const mode_t mode = (attributes & FILE_ATTRIBUTE_READONLY) ? (st.st_mode & ~mode_t(0222)) : (st.st_mode | S_IWUSR);
  if (::chmod(path.c_str(), mode & 07777) != 0) {
    FailErrno(errno, path);
    return FALSE;
  }
  return TRUE;
}

BOOL CreateDirectoryW(LPCWSTR name, SECURITY_ATTRIBUTES*) {
  std::string path;
  if (!NameToPath(name, &path)) return FALSE;
  if (::mkdir(path.c_str(), 0777) == 0) return TRUE;
  if (errno == EEXIST) {
    Fail(ERROR_ALREADY_EXISTS);
  } else if (errno == ENOENT) {
    Fail(ERROR_PATH_NOT_FOUND);
  } else {
    FailErrno(errno);
  }
  return FALSE;
}

BOOL RemoveDirectoryW(LPCWSTR name) {
  std::string path;
  if (!NameToPath(name, &path)) return FALSE;
  if (::rmdir(path.c_str()) == 0) return TRUE;
  if (errno == ENOTDIR) {
    Fail(ERROR_DIRECTORY);
  } else if (errno == ENOTEMPTY || errno == EEXIST) {
    Fail(ERROR_DIR_NOT_EMPTY);
  } else {
    FailErrno(errno, path);
  }
  return FALSE;
}

DWORD GetCurrentDirectoryW(DWORD capacity, LPWSTR buffer) {
  const std::string cwd = CurrentDirectory();
  if (cwd.empty()) {
    FailErrno(errno);
    return 0;
  }
  return CopyOut(FromUtf8(cwd), capacity, buffer);
}

BOOL SetCurrentDirectoryW(LPCWSTR path) {
  std::string dir;
  if (!NameToPath(path, &dir)) return FALSE;
  if (::chdir(dir.c_str()) == 0) return TRUE;
  if (errno == ENOTDIR) {
    Fail(ERROR_DIRECTORY);
  } else {
    FailErrno(errno, dir);
  }
  return FALSE;
}

DWORD GetFullPathNameW(LPCWSTR name, DWORD capacity, LPWSTR buffer, LPWSTR* filePart) {
  if (filePart) *filePart = nullptr;
  if (!name || !*name) {
    Fail(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::string path = ToUtf8(name);
  if (path[0] != '/') path = CurrentDirectory() + "/" + path;
  const std::u16string full = FromUtf8(Normalize(path));
  const DWORD result = CopyOut(full, capacity, buffer);
  if (result == full.size() && filePart && full.back() != u'/') {
    *filePart = buffer + full.find_last_of(u'/') + 1;
  }
  return result;
}

int ZoHandleToFd(HANDLE handle) {
  auto file = detail::Lookup<File>(handle);
  return file ? file->m_fd : -1;
}

HANDLE ZoFdToHandle(int fd) {
  const int flags = fd >= 0 ? fcntl(fd, F_GETFL) : -1;
  if (flags < 0) {
    Fail(ERROR_INVALID_HANDLE);
    return INVALID_HANDLE_VALUE;
  }
  const int mode = flags & O_ACCMODE;
  return detail::RegisterHandle(std::make_shared<File>(fd, mode != O_WRONLY, mode != O_RDONLY));
}

BOOL FileTimeFromUnix(LONGLONG seconds, LONG nanoseconds, FILETIME* out) {
  LONGLONG ticks;
  if (!out || __builtin_mul_overflow(seconds, kTicksPerSecond, &ticks) ||
      __builtin_add_overflow(ticks, kEpochDelta + nanoseconds / 100, &ticks) || ticks < 0) {
    Fail(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  out->dwLowDateTime = DWORD(ULONGLONG(ticks) & 0xFFFFFFFF);
  out->dwHighDateTime = DWORD(ULONGLONG(ticks) >> 32);
  return TRUE;
}
