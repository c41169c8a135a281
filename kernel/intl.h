// SPDX-License-Identifier: MIT
// The international record: one process-wide block of the number, list and
// time punctuation the formatter uses for its locale ("$") forms. It is
// filled from the process locale (LC_ALL / LANG, as the C library reads them)
// at kernel start, or set explicitly by a host or a test. The kernel's SMPTE
// and music-time tokens are registered whenever it is loaded.
//
// Thread rule: readers take no lock; the record is replaced only when the
// language changes (callers serialise that themselves).
#pragma once

#include <cstddef>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

struct tZOINTERNATIONALS {
  DWORD cbSize;               // 796
  DWORD lcid;                 // index 0
  DWORD country;              // index 1
  WCHAR countryName[64];      // index 2, localised
  WCHAR countryNameEn[64];    // index 3
  DWORD codePage;             // index 4
  WCHAR decimal[8];           // index 24
  WCHAR thousand[8];          // grouping separator
  WCHAR grouping[16];         // "3;0" form: group sizes, a final 0 repeats the last
  WCHAR list[8];              // index 40
  WCHAR time[8];              // index 60
  WCHAR smpteWhole[4];        // index 100, ":"
  WCHAR smpteNonDrop[4];      // index 101, "."
  WCHAR smpteDrop[4];         // index 102, ","
  WCHAR music1[4];            // index 120, "."
  WCHAR music2[4];            // index 121, "."
  DWORD negativeOrder;        // 1: "-1.1"
  DWORD leadingZero;          // 1: "0.5", 0: ".5"
  BYTE reserved[380];
};
static_assert(offsetof(tZOINTERNATIONALS, countryName) == 12);
static_assert(offsetof(tZOINTERNATIONALS, codePage) == 268);
static_assert(offsetof(tZOINTERNATIONALS, decimal) == 272);
static_assert(offsetof(tZOINTERNATIONALS, smpteWhole) == 368);
static_assert(sizeof(tZOINTERNATIONALS) == 796);

VANE_BEGIN_EXTERN_C
// Null destination: (re)load the record from the process locale and register
// the kernel's tokens. Otherwise copy out min(size, 796) bytes. Returns 0.
VANE_EXPORT HRESULT ZoLang_GetInternationals(void* out, DWORD size);
// Loads the record from a named C-library locale ("de_DE.UTF-8"; null or ""
// for the process environment). 0x80070057 if that locale is not installed.
VANE_EXPORT HRESULT ZoLang_LoadInternationals(const char* localeName);
// Replaces the record with the caller's (cbSize must be 796) and registers
// the kernel's tokens.
VANE_EXPORT HRESULT ZoLang_SetInternationals(const tZOINTERNATIONALS* record);
// One item of the record: the number for indexes 0, 1 and 4, otherwise the
// text (copied to out, which may be null) and its length; -1 for an unknown
// index. The N form copies at most capacity-1 characters and terminates.
VANE_EXPORT int ZoGetInat(int index, WCHAR* out);
VANE_EXPORT int ZoGetInatN(int index, WCHAR* out, size_t capacity);
VANE_END_EXTERN_C

namespace vane::kernel {
// The live record, loaded on first use.
const tZOINTERNATIONALS& Internationals();
}  // namespace vane::kernel
