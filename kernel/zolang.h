// SPDX-License-Identifier: MIT
// The language layer: localised text for the kernel and its hosts. A handle
// binds a base module, its language module (the ".lng" file beside it, see
// lang_module.h), the current LCID, a cache of loaded strings and a ring of
// temporary strings. Texts come from records of the language table (one
// slot a language), from string numbers of a module, or are plain pointers.
// Text lookups never fail outright: the worst result is English or empty.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

struct tagZOLANG;
typedef tagZOLANG* HZOLANG;

inline constexpr WORD ZOLANG_RECORD_MARKER = 0xFFFE;
inline constexpr WORD ZOLANG_COUNT = 18;
inline constexpr DWORD ZOLANG_TEMP_DEFAULT = 8192;
inline constexpr DWORD ZOLANG_TEMP_MINIMUM = 2048;
inline constexpr DWORD ZOLANG_TEMP_BLOCK_LIMIT = 1024;
// ZoLang_Open on a handle that is set already.
inline constexpr HRESULT ZOLANG_S_ALREADY_OPEN = 0x4E001;
inline constexpr HRESULT ZOERR_NO_CODEPAGE = MakeStatus(0x8004E1FD);

// One string of the language table: its address is its identity. A slot
// holds the text of a language, or a string number below 0x10000 that the
// language module resolves on first use. Slots are pointer-wide on this
// platform; the record keeps the marker first so that no text is taken for it.
struct ZOLANGSTRING {
  WORD marker;  // ZOLANG_RECORD_MARKER
  WORD count;   // ZOLANG_COUNT
  const WCHAR* text[ZOLANG_COUNT];
  DWORD zero;
};
static_assert(offsetof(ZOLANGSTRING, count) == 2);
static_assert(offsetof(ZOLANGSTRING, text) % alignof(const WCHAR*) == 0);
static_assert(sizeof(ZOLANGSTRING) % 4 == 0);

// A slot value that stands for a string number.
inline const WCHAR* ZoLangNumberSlot(UINT number) { return reinterpret_cast<const WCHAR*>(uintptr_t(number)); }

VANE_BEGIN_EXTERN_C

// True for the address of a table record: not null, above 0xFFFF, a multiple
// of 4, and its first 16 bits 0xFFFE.
VANE_EXPORT BOOL IsZOLANGSTRINGID(HZOLANG lang, const void* pointer);

// capacity 0 gives 8192 characters of temporary ring, below 2048 gives 2048.
VANE_EXPORT HRESULT ZoLang_Open(HZOLANG* handle, HMODULE module, DWORD lcid, DWORD tempCapacity);
VANE_EXPORT void ZoLang_Close(HZOLANG* handle);
// The kernel's own handle, opened on first use on the kernel's module.
VANE_EXPORT HZOLANG ZoLang_KernelHandle(void);
VANE_EXPORT DWORD ZoLang_GetLCID(HZOLANG lang);
// LCID 0 means 1033. Empties the string cache when the LCID changes; the
// kernel's handle follows.
VANE_EXPORT HRESULT ZoLang_UpdateKernelLCID(HZOLANG lang, DWORD lcid);
// The calling thread's locale becomes the handle's LCID (ZoLang_GetThreadLCID).
VANE_EXPORT HRESULT ZoLang_UpdateThreadLocale(HZOLANG lang);
VANE_EXPORT DWORD ZoLang_GetThreadLCID(void);
// Replaces the language module with the ".lng" file at path (null: none).
VANE_EXPORT HRESULT ZoLang_ChangeLangInst(HZOLANG lang, const WCHAR* lngPath);
// The language module if one is active, else the base module (an opaque
// handle; compare it, do not call into it).
VANE_EXPORT HMODULE ZoLang_InstFromLang(HZOLANG lang);
VANE_EXPORT HRESULT ZoLang_GetLangAbbrev(HZOLANG lang, WCHAR* out, DWORD capacity);
// "zh-CN", "de-DE", ... : 0 for a known language, 1 (and "") otherwise.
VANE_EXPORT HRESULT ZoLang_GetLangllCC(HZOLANG lang, WCHAR* out, DWORD capacity);
VANE_EXPORT BOOL ZoLang_UseRTL(HZOLANG lang);
VANE_EXPORT void ZoLang_EnableProcessMirroring(void);
VANE_EXPORT void ZoLang_DisableProcessMirroring(void);
VANE_EXPORT BOOL ZoLang_IsProcessMirrored(void);
VANE_EXPORT HRESULT ZoLang_LocalizeUserName(HZOLANG lang, const WCHAR* first, const WCHAR* last, WCHAR* out,
                                            DWORD capacity);
VANE_EXPORT BOOL ZoLang_IsNameOrderReversed(HZOLANG lang);
VANE_EXPORT BOOL ZoLang_IsLCIDEnglish(DWORD lcid);
VANE_EXPORT DWORD ZoLang_GetConditionedLCID(DWORD lcid);
// The table row (1 to 18) of an LCID once conditioned; 1 (English) when none.
VANE_EXPORT LONG ZoLang_IndexOfLCID(DWORD lcid);

// A slot of `count` characters in the ring; valid until the ring wraps.
VANE_EXPORT WCHAR* ZoGetTempStringBuffer(HZOLANG lang, DWORD count);
// Conversions through the ring; the "print" and multi-byte forms are UTF-8.
VANE_EXPORT const char* ZoGetPrintFromWideString(HZOLANG lang, const WCHAR* text);
VANE_EXPORT const WCHAR* ZoGetWideFromPrintString(HZOLANG lang, const char* text);
VANE_EXPORT const char* ZoGetMultiByteFromPrintString(HZOLANG lang, const char* text);
VANE_EXPORT const char* ZoGetPrintFromMultiByteString(HZOLANG lang, const char* text);
// True when the bytes hold a valid multi-byte sequence of the code page (UTF-8).
VANE_EXPORT BOOL ZoLang_DetectMultiByteCharacters(const char* bytes, DWORD size);
// 65001 for text that is valid UTF-8 with multi-byte sequences, 20127 for
// plain ASCII; ZOERR_NO_CODEPAGE otherwise.
VANE_EXPORT HRESULT ZoLang_DetectPossibleCodepage(const char* text, DWORD size, UINT* codepage);

VANE_EXPORT const WCHAR* ZoGetStringByNumber(HZOLANG lang, UINT number);
VANE_EXPORT const WCHAR* ZoGetStringByRecord(HZOLANG lang, ZOLANGSTRING* record);
VANE_EXPORT const WCHAR* ZoGetStringSmart(HZOLANG lang, const void* text);
// Copies the text into buffer; the length in characters (0 when none).
VANE_EXPORT LONG ZoLoadString(HZOLANG lang, UINT number, WCHAR* buffer, LONG capacity);
VANE_EXPORT LONG ZoLoadStringRecord(HZOLANG lang, ZOLANGSTRING* record, WCHAR* buffer, LONG capacity);
// The languages that hold the string block of `number`; the count.
VANE_EXPORT LONG ZoEnumResourceLanguages(HZOLANG lang, UINT number, WORD* languages, LONG capacity);

// "ULangID" under "Lang" of the application's metrics (user hive, else the
// machine's); ignoreVersion reads the key of version 0.
VANE_EXPORT DWORD ZoLang_LoadUserLCIDMetric(const WCHAR* app, DWORD version, DWORD fallback, BOOL ignoreVersion);
VANE_EXPORT HRESULT ZoLang_SaveUserLCIDMetric(const WCHAR* app, DWORD version, DWORD lcid, BOOL ignoreVersion);
VANE_EXPORT DWORD ZoLang_LoadUserLCIDMetricAppReg(const WCHAR* app, DWORD version, DWORD fallback,
                                                  const WCHAR* company);
VANE_EXPORT HRESULT ZoLang_SaveUserLCIDMetricAppReg(const WCHAR* app, DWORD version, DWORD lcid,
                                                    const WCHAR* company);
// The three-letter code kept for the help path, "ENU" by default.
VANE_EXPORT void ZoSetLangID(const char* code);
VANE_EXPORT const char* ZoGetLangID(void);

VANE_END_EXTERN_C

// C++ overloads of the lookups.
inline const WCHAR* ZoGetString(HZOLANG lang, UINT number) { return ZoGetStringByNumber(lang, number); }
inline const WCHAR* ZoGetString(HZOLANG lang, ZOLANGSTRING* record) { return ZoGetStringByRecord(lang, record); }
