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
// Null module means the executable. Null with ERROR_PROC_NOT_FOUND when the
// symbol is absent. FreeLibrary balances one LoadLibrary: the same file
// loaded twice gives the same handle, unloaded at the last FreeLibrary.
VANE_EXPORT FARPROC GetProcAddress(HMODULE module, LPCSTR name);
// Null module means the executable. Returns the characters written without
// the terminator; when the name does not fit it is truncated to capacity - 1
// characters and terminated, and the call returns capacity with
// ERROR_INSUFFICIENT_BUFFER (as the platform does). 0 on failure.
VANE_EXPORT DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD capacity);
// The module that holds an address (for the kernel to find its own folder).
// The handle is not counted: FreeLibrary on it does nothing.
VANE_EXPORT HMODULE ZoModuleFromAddress(const void* address);
// The handle of the kernel library itself.
VANE_EXPORT HMODULE ZoKernelModuleHandle(void);
// The loader's text for the calling thread's last failed load ("" if none).
VANE_EXPORT const char* ZoGetLastModuleError(void);
VANE_END_EXTERN_C
