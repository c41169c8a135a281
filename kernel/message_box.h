// SPDX-License-Identifier: MIT
// Message boxes go to a handler the host sets; without one the text is
// written to standard error and the box counts as answered with OK.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

inline constexpr UINT MB_OK = 0x00000000;
inline constexpr UINT MB_ICONERROR = 0x00000010;
inline constexpr UINT MB_ICONWARNING = 0x00000030;
inline constexpr UINT MB_ICONINFORMATION = 0x00000040;
inline constexpr int IDOK = 1;

VANE_BEGIN_EXTERN_C
// Returns the button pressed (IDOK, ...).
typedef int (*ZoMessageBoxHandler)(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style, void* context);
// A null handler restores the standard-error default.
VANE_EXPORT void ZoKernel_SetMessageBoxHandler(ZoMessageBoxHandler handler, void* context);
VANE_EXPORT int ZoKernel_MessageBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style);
VANE_END_EXTERN_C
