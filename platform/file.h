// SPDX-License-Identifier: MIT
// File handles over POSIX descriptors with the Win32 calls' semantics.
// errno is mapped to Win32 error numbers kept per thread for GetLastError.
// Names are UTF-16 and become UTF-8 at the OS call.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

// Win32 error numbers used by the stand-ins.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_SEEK_ON_DEVICE = 132;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_NOT_LOCKED = 158;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_INVALID_ADDRESS = 487;
inline constexpr DWORD ERROR_FILE_INVALID = 1006;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr DWORD ERROR_OPERATION_ABORTED = 995;
inline constexpr DWORD ERROR_IO_PENDING = 997;
inline constexpr DWORD ERROR_NOACCESS = 998;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_TIMEOUT = 1460;
inline constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

// Access, share, disposition and attribute words of CreateFile.
inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD GENERIC_ALL = 0x10000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
inline constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;
inline constexpr DWORD FILE_FLAG_NO_BUFFERING = 0x20000000;
inline constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

// SetFilePointer origins.
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;

// MoveFileEx flags.
inline constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1;
inline constexpr DWORD MOVEFILE_COPY_ALLOWED = 2;

// Accepted and ignored: POSIX descriptors carry no security descriptor, and
// inheritance is decided by close-on-exec (always set).
struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};

// On a file handle an OVERLAPPED gives the position of one read or write
// (pread/pwrite); the call completes synchronously, moves the file pointer
// past the bytes moved, and sets hEvent if given, as the platform does for
// synchronous handles.
struct OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  DWORD Offset;
  DWORD OffsetHigh;
  HANDLE hEvent;
};

// Information level of GetFileAttributesExW.
inline constexpr int GetFileExInfoStandard = 0;

struct WIN32_FILE_ATTRIBUTE_DATA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
};

VANE_BEGIN_EXTERN_C
VANE_EXPORT DWORD GetLastError(void);
VANE_EXPORT void SetLastError(DWORD error);
// Maps an errno value to the Win32 error number.
VANE_EXPORT DWORD ZoErrnoToWin32(int err);

// Returns INVALID_HANDLE_VALUE on failure. Share modes are accepted and not
// enforced (POSIX has no mandatory sharing). CREATE_ALWAYS and OPEN_ALWAYS
// leave ERROR_ALREADY_EXISTS as last error when the file was there, 0 when
// created. A directory is refused with ERROR_ACCESS_DENIED; a missing folder
// on the way gives ERROR_PATH_NOT_FOUND, a missing file ERROR_FILE_NOT_FOUND.
// FILE_FLAG_DELETE_ON_CLOSE removes the file when the handle is closed.
VANE_EXPORT HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                               DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
VANE_EXPORT HANDLE CreateFileA(LPCSTR utf8Name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                               DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
// Closes file, mapping, event, mutex and module handles alike.
VANE_EXPORT BOOL CloseHandle(HANDLE handle);
// ReadFile reads until toRead bytes or the end: fewer bytes only at the end
// of the file, and a read at the end succeeds with 0 bytes (with an
// OVERLAPPED it fails with ERROR_HANDLE_EOF instead, as the platform's does).
VANE_EXPORT BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD toRead, DWORD* read, OVERLAPPED* overlapped);
// WriteFile writes everything or fails (ERROR_DISK_FULL, ...) with the bytes
// that did reach the file in *written.
VANE_EXPORT BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD toWrite, DWORD* written, OVERLAPPED* overlapped);
// Returns the new low 32 bits (and the high part through highPart), or
// INVALID_SET_FILE_POINTER with the last error set. Without highPart the
// distance is a signed 32-bit value and the new position must fit in 32
// bits; with it the distance is the 64-bit value highPart:distance. A move
// before the start fails with ERROR_NEGATIVE_SEEK and leaves the pointer.
// When the new low part happens to be 0xFFFFFFFF the last error is 0.
VANE_EXPORT DWORD SetFilePointer(HANDLE file, LONG distance, LONG* highPart, DWORD method);
VANE_EXPORT BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPosition, DWORD method);
VANE_EXPORT DWORD GetFileSize(HANDLE file, DWORD* highPart);
VANE_EXPORT BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
VANE_EXPORT BOOL SetEndOfFile(HANDLE file);
VANE_EXPORT BOOL FlushFileBuffers(HANDLE file);
VANE_EXPORT BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write);
VANE_EXPORT BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write);
// A read-only file (see SetFileAttributesW) is not deleted: ERROR_ACCESS_DENIED.
VANE_EXPORT BOOL DeleteFileW(LPCWSTR name);
// Without MOVEFILE_REPLACE_EXISTING an existing target fails with
// ERROR_ALREADY_EXISTS; across file systems MOVEFILE_COPY_ALLOWED copies.
VANE_EXPORT BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);
// Copies data, mode and last write time. The copy is written beside the
// target and renamed over it, so an existing target stays intact until the
// copy is complete; copying a file onto itself fails (ERROR_SHARING_VIOLATION).
VANE_EXPORT BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists);
VANE_EXPORT DWORD GetFileAttributesW(LPCWSTR name);
VANE_EXPORT BOOL GetFileAttributesExW(LPCWSTR name, int infoLevel, LPVOID info);
// Only FILE_ATTRIBUTE_READONLY has an effect (it clears the write bits).
VANE_EXPORT BOOL SetFileAttributesW(LPCWSTR name, DWORD attributes);
VANE_EXPORT BOOL CreateDirectoryW(LPCWSTR name, SECURITY_ATTRIBUTES* security);
VANE_EXPORT BOOL RemoveDirectoryW(LPCWSTR name);
VANE_EXPORT DWORD GetCurrentDirectoryW(DWORD capacity, LPWSTR buffer);
VANE_EXPORT BOOL SetCurrentDirectoryW(LPCWSTR path);
// Full path of a name relative to the current directory; returns the length
// without terminator, or the size needed (with terminator) when too small.
VANE_EXPORT DWORD GetFullPathNameW(LPCWSTR name, DWORD capacity, LPWSTR buffer, LPWSTR* filePart);
// The descriptor behind a file handle, -1 for anything else.
VANE_EXPORT int ZoHandleToFd(HANDLE file);
// Wraps a descriptor (the handle takes ownership).
VANE_EXPORT HANDLE ZoFdToHandle(int fd);
VANE_EXPORT BOOL FileTimeFromUnix(LONGLONG seconds, LONG nanoseconds, FILETIME* out);
VANE_END_EXTERN_C
