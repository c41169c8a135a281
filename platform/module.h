// SPDX-License-Identifier: MIT
// Module loading by dlopen. A module handle knows its own file name, so
// GetModuleFileNameW answers for plug-ins as for the kernel.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

using FARPROC = void (*)();

inline constexpr DWORD LOAD_WITH_ALTERED_SEARCH_PATH = 0x00000008;

VANE_BEGIN_EXTERN_C
// A name without a folder is searched as dlopen searches; a name without an
// extension gets ".so". Null on failure with ERROR_MOD_NOT_FOUND (or
// ERROR_BAD_EXE_FORMAT when the file exists but is no loadable module);
// dlerror's text is kept for ZoGetLastModuleError.
VANE_EXPORT HMODULE LoadLibraryW(LPCWSTR name);
VANE_EXPORT HMODULE LoadLibraryExW(LPCWSTR name, HANDLE reserved, DWORD flags);
VANE_EXPORT BOOL FreeLibrary(HMODULE module);
VANE_EXPORT FARPROC GetProcAddress(HMODULE module, LPCSTR name);
// Null module means the executable. Returns characters written (truncated to
// capacity - 1 and terminated), 0 on failure.
VANE_EXPORT DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD capacity);
// The module that holds an address (for the kernel to find its own folder).
VANE_EXPORT HMODULE ZoModuleFromAddress(const void* address);
// The handle of the kernel library itself.
VANE_EXPORT HMODULE ZoKernelModuleHandle(void);
VANE_EXPORT const char* ZoGetLastModuleError(void);
VANE_END_EXTERN_C
