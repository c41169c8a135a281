// SPDX-License-Identifier: MIT
// The kernel's start and end, the version handshake with a client, and the
// host's notifications. Every other subsystem assumes ZoKernel_EarlyInitialize
// has run; the shared library's attach runs it for the kernel's own module.
//
// Thread rule: start, end and the host's notifications come from the host's
// main thread; the state they set is afterwards only read.
#pragma once

#include <string>

#include "platform/export.h"
#include "platform/types.h"

struct tZOLIST;

// ZoKernel_GetVersion: major 13, minor 0, build 373.
inline constexpr DWORD ZOKERNEL_VERSION = 0x0D000175;
// The interface level a client must be built against.
inline constexpr DWORD ZOKERNEL_INTERFACE_LEVEL = 3;
// Window messages ZoKernel_UserPrefChanges acts on.
inline constexpr UINT ZOKERNEL_WM_SYSCOLORCHANGE = 21;
inline constexpr UINT ZOKERNEL_WM_DISPLAYCHANGE = 126;

VANE_BEGIN_EXTERN_C
// Returns 1 on success, 0 when the string buffers or the kernel's strings
// could not be set up (the clock and the primitives are set up either way,
// and the kernel stays usable).
VANE_EXPORT BOOL ZoKernel_EarlyInitialize(HMODULE module, DWORD flags);
VANE_EXPORT BOOL ZoKernel_LateTerminate(HMODULE module, DWORD reserved);
VANE_EXPORT HMODULE ZoKernel_GetAppKernel(void);
// The full file name of the kernel's module; a failure is the last system
// error as a status.
VANE_EXPORT HRESULT ZoKernel_GetAppKernelPathName(LPWSTR buffer, DWORD capacity);
VANE_EXPORT void ZoKernel_SetSplash(HWND window);
// Messages 21 and 126 refresh the display caches (21 also reloads the colour
// table) and give 0; any other message is returned unchanged.
VANE_EXPORT LRESULT ZoKernel_UserPrefChanges(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
VANE_EXPORT DWORD ZoKernel_GetVersion(void);
// S_OK for a compatible client; otherwise shows a message box (unless quiet)
// and returns E_FAIL. clientName is in the system ANSI code page.
VANE_EXPORT HRESULT ZoKernel_CheckVersion(HWND owner, LPCSTR clientName, DWORD clientVersion, DWORD interfaceLevel,
                                          DWORD reserved, BOOL quiet);
VANE_END_EXTERN_C

namespace vane::kernel {

// The process error mode: the kernel ORs in 0x8001 (no critical-error and no
// open-file boxes) at start and again before loading a plug-in. Linux shows no
// such boxes; the word is kept for hosts and plug-ins that read it.
inline constexpr UINT kErrorModeQuiet = 0x8001;
UINT SetProcessErrorMode(UINT mode);
UINT ProcessErrorMode();

DWORD StartupFlags();
bool RunningUnderRunDll();
void SetRunningUnderRunDll(bool value);

// The string buffer list: a thread-safe heap tZOLIST (16 slots, growth 16)
// of owned strings handed out by the kernel's text functions, created at
// start and released, with every string, at termination. KeepStringBuffer
// copies text into the list and returns the copy, valid until then; null
// when the list does not exist or is out of memory. Any thread may keep.
const WCHAR* KeepStringBuffer(std::u16string_view text);
// The list itself, for inspection; null outside start..termination.
const tZOLIST* StringBufferList();

}  // namespace vane::kernel
