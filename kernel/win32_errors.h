// SPDX-License-Identifier: MIT
// Texts of the Win32 error numbers this platform produces (from errno, and
// the internet transfer's numbers), and their translation to statuses.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// The English text of a Win32 error number, or null.
VANE_EXPORT const WCHAR* ZoWin32_FindText(DWORD code);
VANE_END_EXTERN_C

namespace vane::kernel {

struct Win32Row {
  DWORD code;
  HRESULT status;  // the library's status for it, or HRESULT_FROM_WIN32(code)
  const WCHAR* text;
};

// Every row, in ascending code order.
const Win32Row* Win32Rows(size_t* count);

}  // namespace vane::kernel
