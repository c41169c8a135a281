// SPDX-License-Identifier: MIT
// ZoErrorHandler_*: status codes as text, the process-wide details record a
// failing layer adds to on the way up (tied to the thread that began it),
// message boxes through the host-settable handler, and crash dumps.
//
// Threads: the details record has a one-thread owner rule and no lock;
// tables are added at start-up.
#pragma once

#include <cstdarg>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"
#include "platform/wtext.h"

// One row of an added error table: a status and the string id of its text.
struct ZOERRORTABLEROW {
  HRESULT status;
  UINT stringId;
};

// Looks a string id up in the table's language context; null when absent.
typedef const WCHAR* (*ZOERRORSTRINGPROC)(void* languageContext, UINT stringId);

VANE_BEGIN_EXTERN_C
VANE_EXPORT HRESULT ZoErrorHandler_GetLastError(void);
VANE_EXPORT HRESULT ZoErrorHandler_DetailsInit(void);
// Appends text (printf-style: %d %i %u %x %X %c %s %p %%, with l, ll and I64
// lengths; %s takes wide text). The first call's thread owns the record; a
// call from another thread is refused with E_FAIL unless its status is the
// stored last error.
VANE_EXPORT HRESULT ZoErrorHandler_DetailsAddString(HRESULT status, const WCHAR* format, ...);
VANE_EXPORT HRESULT ZoErrorHandler_DetailsAddStringV(HRESULT status, const WCHAR* format, va_list args);
// The fields, and the text (null when empty); any output may be null.
VANE_EXPORT const WCHAR* ZoErrorHandler_DetailsInfo(HRESULT* error, DWORD* length, DWORD* thread);
VANE_EXPORT HRESULT ZoErrorHandler_DetailsSetHyperlink(const WCHAR* address, const WCHAR* label);
// The status text, then "\r\n<Details>\r\n", the details, "\r\n</Details>";
// a BSTR the caller frees with SysFreeString.
VANE_EXPORT BSTR ZoErrorHandler_ComposeErrorText(const WCHAR* context, HRESULT status, const WCHAR* details);
VANE_EXPORT HRESULT ZoErrorHandler_TranslateCommDlgError(DWORD code);
VANE_EXPORT HRESULT ZoErrorHandler_TranslateWin32Error(DWORD code);
// Adds a table of rows looked up in a language context; 1 when all 32 are taken.
VANE_EXPORT HRESULT ZoErrorHandler_AddErrorTable(const ZOERRORTABLEROW* rows, LONG count, void* languageContext,
                                                 ZOERRORSTRINGPROC lookup);
// The text of a status: the added tables in order, then the built-in table,
// then the Win32 rows for 0x8007xxxx statuses; null when none has it.
VANE_EXPORT const WCHAR* ZoErrorHandler_GetHresultString(HRESULT status);
// The text, or a generic one naming the code when no table has it.
VANE_EXPORT BSTR ZoErrorHandler_GetErrorMessage(HRESULT status);
VANE_EXPORT BSTR ZoErrorHandler_GetContextString(const WCHAR* context, HRESULT status);
// Shows the composed text through the message-box handler; status
// 0x8004E00C (cancelled) shows nothing and gives 1.
VANE_EXPORT int ZoErrorHandler_MsgBox(HWND owner, UINT flags, const WCHAR* context, HRESULT status,
                                      const WCHAR* details, LONG_PTR extra);
VANE_EXPORT int ZoErrorHandler_MsgBoxText(HWND owner, UINT flags, const WCHAR* text, LONG_PTR extra);
// Hex dumps into a text buffer (16 bytes or 8 words a line); the characters written.
VANE_EXPORT LONG ZoErrorHandler_DumpHex(char* out, LONG capacity, const void* data, LONG bytes);
VANE_EXPORT LONG ZoErrorHandler_DumpHexDWords(char* out, LONG capacity, const void* data, LONG words);
// A lookup for ZoErrorHandler_AddErrorTable whose context is an HZOLANG:
// the table's string ids are read through that language handle.
VANE_EXPORT const WCHAR* ZoLang_ErrorStringLookup(void* languageContext, UINT stringId);
VANE_END_EXTERN_C
