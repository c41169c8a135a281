// SPDX-License-Identifier: MIT
// File mapping over mmap; a mapping of no file is shared memory from
// memfd_create, so its descriptor can travel to another process.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;
inline constexpr DWORD FILE_MAP_WRITE = 0x0002;
inline constexpr DWORD FILE_MAP_READ = 0x0004;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0x000F001F;

struct SECURITY_ATTRIBUTES;

VANE_BEGIN_EXTERN_C
// file INVALID_HANDLE_VALUE makes anonymous shared memory of the given size.
VANE_EXPORT HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protect, DWORD sizeHigh,
                                      DWORD sizeLow, LPCWSTR name);
VANE_EXPORT LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
VANE_EXPORT BOOL UnmapViewOfFile(LPCVOID view);
VANE_EXPORT BOOL FlushViewOfFile(LPCVOID view, SIZE_T bytes);
// The descriptor behind a mapping handle (for passing it to another process).
VANE_EXPORT int ZoMappingToFd(HANDLE mapping);
VANE_END_EXTERN_C
