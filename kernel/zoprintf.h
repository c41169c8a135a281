// SPDX-License-Identifier: MIT
// The kernel's one formatter of wide text. A "%" conversion gives plain,
// locale-free text (for files and logs); the same conversion behind "$" gives
// text punctuated and grouped by the international record. "$(name)" inserts
// a token of the process-wide table, "$(1234.5)" a grouped literal number.
// Extra conversions: "*" decimal separator, "," list separator, ":" time
// separator, "!:" "!." "!," SMPTE separators, "&:" "&." music separators, and
// "z" with ".N" for a fixed-point integer of N decimals.
//
// Thread rule: any thread; token lookups and changes share one lock.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "kernel/intl.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Unbounded: the caller gives room. Returns the length in characters.
VANE_EXPORT int ZoPrintF(WCHAR* out, const WCHAR* format, ...);
VANE_EXPORT int ZoVPrintF(WCHAR* out, const WCHAR* format, va_list args);
// Bounded: writes what fits and a terminator; 0x8004E03C when the text was
// cut. `written` (may be null) receives the characters written.
VANE_EXPORT HRESULT ZoCchPrintF(WCHAR* out, size_t capacity, const WCHAR* format, ...);
VANE_EXPORT HRESULT ZoNVPrintF(WCHAR* out, size_t capacity, size_t* written, const WCHAR* format, va_list args);
// Positional message text: "%1" ... "%99" take the string arguments in
// order, "%%" is "%", "%n" a line break. 0x8004E03C when cut, E_INVALIDARG
// for a reference beyond the arguments given.
VANE_EXPORT HRESULT ZoComposeStr(WCHAR* out, size_t capacity, const WCHAR* format, ...);
VANE_EXPORT HRESULT ZoComposeStrV(WCHAR* out, size_t capacity, const WCHAR* format, int count,
                                  const WCHAR* const* args);
// Tokens: names up to 260 characters, compared without case.
VANE_EXPORT BOOL ZoPrintF_AddToken(const WCHAR* name, const WCHAR* value);
VANE_EXPORT BOOL ZoPrintF_DeleteToken(const WCHAR* name);
VANE_END_EXTERN_C
