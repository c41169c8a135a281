// SPDX-License-Identifier: MIT
// File mapping over mmap; a mapping of no file is shared memory from
// memfd_create, so its descriptor can travel to another process.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;
inline constexpr DWORD PAGE_WRITECOPY = 0x08;
inline constexpr DWORD FILE_MAP_COPY = 0x0001;
inline constexpr DWORD FILE_MAP_WRITE = 0x0002;
inline constexpr DWORD FILE_MAP_READ = 0x0004;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0x000F001F;

struct SECURITY_ATTRIBUTES;

VANE_BEGIN_EXTERN_C
// file INVALID_HANDLE_VALUE makes anonymous shared memory of the given size
// (0 is refused with ERROR_INVALID_PARAMETER). Over a file, size 0 means the
// file's size (an empty file gives ERROR_FILE_INVALID) and a larger size
// grows a writable file. A name already in use in this process gives the
// same memory with last error ERROR_ALREADY_EXISTS. The mapping holds its
// own descriptor: the file handle may be closed at once.
VANE_EXPORT HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protect, DWORD sizeHigh,
                                      DWORD sizeLow, LPCWSTR name);
// Any offset is accepted (the view is mapped from the page below it); bytes 0
// maps to the end. A view past the end of the mapping, or a write view of a
// read-only mapping, fails with ERROR_ACCESS_DENIED. A view stays valid after
// the mapping handle is closed. UnmapViewOfFile takes the address
// MapViewOfFile returned (else ERROR_INVALID_ADDRESS).
VANE_EXPORT LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
VANE_EXPORT BOOL UnmapViewOfFile(LPCVOID view);
VANE_EXPORT BOOL FlushViewOfFile(LPCVOID view, SIZE_T bytes);
// The descriptor behind a mapping handle (for passing it to another process).
VANE_EXPORT int ZoMappingToFd(HANDLE mapping);
// A mapping over a descriptor received from another process (the handle
// takes ownership); its size is the descriptor's file size.
VANE_EXPORT HANDLE ZoMappingFromFd(int fd, DWORD protect);
VANE_END_EXTERN_C
