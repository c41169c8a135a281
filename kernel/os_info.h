// SPDX-License-Identifier: MIT
// Facts about the running system, cached for the process. On Linux the
// answers are the nearest honest ones:
// - the OS version record is that of the modern family (platform 2) at
//   version 10.0 without a service pack, so every modern-family level of
//   ZoOSVersionOK passes and the old-family levels (0 to 3) fail;
// - ZoIsWin95 is false; ZoIsOS64Bit is true for a 64-bit build;
// - ZoGetOS names the kernel from uname, e.g. "Linux 6.1.0-18-amd64 (64-bit)";
// - there is no display connection: displays count as 24 bits per pixel;
// - ZoVersion_GetString knows the version facts of this library's own file
//   and gives 0x8004E00A for any other file.
#pragma once

#include <string>

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
VANE_EXPORT BOOL ZoIsWin95(void);
VANE_EXPORT BOOL ZoIsHighColor(void);
VANE_EXPORT BOOL ZoIsAllMonitorsHighColor(void);
VANE_EXPORT BOOL ZoIsOS64Bit(void);
// Writes the system's name (truncated to capacity - 1 and terminated).
// Returns 1, or 0 for a null or empty buffer.
VANE_EXPORT BOOL ZoGetOS(LPWSTR text, DWORD capacity);
VANE_EXPORT BOOL ZoOSVersionOK(int level, int servicePack);
// A value of a file's version block: FileDescription, FileVersion,
// ProductName, ProductVersion, InternalName, OriginalFilename (names compared
// without case). 0x8004E00A for a miss, 0x8004E03C (text truncated) when
// the buffer is too small, E_POINTER for null arguments.
VANE_EXPORT HRESULT ZoVersion_GetString(LPCWSTR fileName, LPCWSTR valueName, LPWSTR text, DWORD capacity);
VANE_END_EXTERN_C

namespace vane::kernel {

inline constexpr DWORD kPlatformWin9x = 1;
inline constexpr DWORD kPlatformNt = 2;

struct OsVersionRecord {
  DWORD platformId;
  DWORD major;
  DWORD minor;
  WORD servicePackMajor;
};

OsVersionRecord RunningOsVersion();
// The level comparison of ZoOSVersionOK against any record.
bool OsVersionSatisfies(const OsVersionRecord& running, int level, int servicePack);
// Recomputes the display caches (the host's colour or display changes).
void RefreshDisplayCaches();
// The file that holds the kernel's code (UTF-8), empty if unknown.
std::string KernelFilePath();

}  // namespace vane::kernel
