// SPDX-License-Identifier: MIT
// GUID with the Windows memory layout and its text form
// {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
#pragma once

#include <cstring>
#include <string>

#include "platform/export.h"
#include "platform/types.h"

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
static_assert(sizeof(GUID) == 16);
static_assert(offsetof(GUID, Data2) == 4 && offsetof(GUID, Data3) == 6 && offsetof(GUID, Data4) == 8);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const GUID&;
using REFCLSID = const GUID&;

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }
inline bool IsEqualGUID(const GUID& a, const GUID& b) { return a == b; }
inline bool IsEqualIID(const GUID& a, const GUID& b) { return a == b; }
inline bool IsEqualCLSID(const GUID& a, const GUID& b) { return a == b; }

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

namespace vane::platform {

// Total order for use as a map key (memory order, as memcmp).
struct GuidLess {
  bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};

// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"; the braces are optional,
// hex digits of either case. Returns false (and leaves *out alone) on any
// other shape.
VANE_EXPORT bool GuidFromString(const char* text, GUID* out);
VANE_EXPORT bool GuidFromString(const char16_t* text, GUID* out);
// Upper-case text with braces, 38 characters.
VANE_EXPORT std::string GuidToString(const GUID& g);
VANE_EXPORT std::u16string GuidToU16String(const GUID& g);

}  // namespace vane::platform

VANE_BEGIN_EXTERN_C
// COM's text helpers. StringFromGUID2 writes 39 characters with the
// terminator and returns that count, or 0 when the buffer is too small.
VANE_EXPORT int StringFromGUID2(REFGUID guid, WCHAR* text, int capacity);
// Returns S_OK, or CO_E_CLASSSTRING (0x800401F3) for text that is no GUID.
VANE_EXPORT HRESULT CLSIDFromString(LPCOLESTR text, CLSID* out);
VANE_EXPORT HRESULT IIDFromString(LPCOLESTR text, IID* out);
VANE_END_EXTERN_C

// Compile-time GUID literal: VANE_GUID(0xD4FF4749, 0x8ACE, 0x457E, 0xA8, 0x78, ...)
#define VANE_GUID(l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
  GUID { l, w1, w2, { b1, b2, b3, b4, b5, b6, b7, b8 } }
