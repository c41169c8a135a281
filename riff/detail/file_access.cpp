// SPDX-License-Identifier: MIT
#include "riff/detail/file_access.h"

#include <limits>

#include "platform/file.h"

namespace vane::riff {

namespace {
thread_local std::uint64_t* t_readCounter = nullptr;
}

void SetReadCounterForThread(std::uint64_t* counter) { t_readCounter = counter; }

bool FileRead(HANDLE file, void* buffer, DWORD n, DWORD* got) {
  DWORD done = 0;
  const BOOL ok = ReadFile(file, buffer, n, &done, nullptr);
  if (t_readCounter) *t_readCounter += done;
  if (got) *got = done;
  return ok != FALSE;
}

bool FileReadExact(HANDLE file, void* buffer, DWORD n) {
  DWORD got = 0;
  return FileRead(file, buffer, n, &got) && got == n;
}

bool FileWrite(HANDLE file, const void* buffer, DWORD n, DWORD* put) {
  DWORD done = 0;
  const BOOL ok = WriteFile(file, buffer, n, &done, nullptr);
  if (put) *put = done;
  return ok != FALSE;
}

bool FileWriteExact(HANDLE file, const void* buffer, DWORD n) {
  DWORD put = 0;
  return FileWrite(file, buffer, n, &put) && put == n;
}

bool FileSeek(HANDLE file, std::int64_t distance, DWORD method, std::int64_t* position) {
  LARGE_INTEGER d;
  d.QuadPart = distance;
  LARGE_INTEGER now;
  now.QuadPart = 0;
  if (!SetFilePointerEx(file, d, &now, method)) return false;
  if (position) *position = now.QuadPart;
  return true;
}

bool FileTell(HANDLE file, std::int64_t* position) { return FileSeek(file, 0, FILE_CURRENT, position); }

bool FileSkip(HANDLE file, std::uint64_t distance) {
  std::int64_t here = 0;
  if (!FileTell(file, &here)) return false;
  if (distance > std::uint64_t(std::numeric_limits<std::int64_t>::max() - here)) return false;
  return FileSeek(file, here + std::int64_t(distance), FILE_BEGIN);
}

bool FileSize(HANDLE file, std::int64_t* size) {
  LARGE_INTEGER s;
  s.QuadPart = 0;
  if (!GetFileSizeEx(file, &s)) return false;
  *size = s.QuadPart;
  return true;
}

bool FileTruncate(HANDLE file) { return SetEndOfFile(file) != FALSE; }

}  // namespace vane::riff
