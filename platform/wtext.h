// SPDX-License-Identifier: MIT
// UTF-16 text on char16_t: length, copy, compare, BSTR, and conversions
// between UTF-16 and UTF-8, Windows-1252 and ISO-8859-1. File names become
// UTF-8 only at the OS boundary.
#pragma once

#include <string>
#include <string_view>

#include "platform/export.h"
#include "platform/types.h"

// Code pages the conversion functions know.
inline constexpr UINT CP_ACP = 0;       // the system ANSI code page (1252 unless set)
inline constexpr UINT CP_1252 = 1252;   // Windows-1252
inline constexpr UINT CP_LATIN1 = 28591;  // ISO-8859-1
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr UINT CP_THREAD_ACP = 3;  // same as CP_ACP: there is one ANSI code page per process

// Conversion flags. MB_ERR_INVALID_CHARS / WC_ERR_INVALID_CHARS make invalid
// UTF-8 or unpaired surrogates fail with ERROR_NO_UNICODE_TRANSLATION instead
// of becoming U+FFFD. The others are accepted and have no effect.
inline constexpr DWORD MB_PRECOMPOSED = 0x01;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
inline constexpr DWORD WC_COMPOSITECHECK = 0x200;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

VANE_BEGIN_EXTERN_C
// wcs-style helpers on UTF-16 text. Null pointers count as empty text.
VANE_EXPORT size_t ZoWcsLen(const WCHAR* s);
VANE_EXPORT int ZoWcsCmp(const WCHAR* a, const WCHAR* b);
// Case-insensitive over ASCII and Latin-1 letters (as the platform's
// ordinal-ignore-case compare does for these ranges).
VANE_EXPORT int ZoWcsICmp(const WCHAR* a, const WCHAR* b);
VANE_EXPORT int ZoWcsNICmp(const WCHAR* a, const WCHAR* b, size_t n);
// Copies at most capacity-1 characters and always terminates (when
// capacity > 0). Returns the characters copied.
VANE_EXPORT size_t ZoWcsCopy(WCHAR* dst, size_t capacity, const WCHAR* src);

// BSTR: a UTF-16 block preceded by its byte length (a 32-bit word) and
// followed by a terminator. SysStringLen is in characters.
VANE_EXPORT BSTR SysAllocString(const OLECHAR* s);
VANE_EXPORT BSTR SysAllocStringLen(const OLECHAR* s, UINT length);
// A BSTR holding raw bytes (byte length may be odd); s may be null.
VANE_EXPORT BSTR SysAllocStringByteLen(const char* s, UINT bytes);
VANE_EXPORT void SysFreeString(BSTR s);
VANE_EXPORT UINT SysStringLen(BSTR s);
VANE_EXPORT UINT SysStringByteLen(BSTR s);
VANE_EXPORT BOOL SysReAllocString(BSTR* s, const OLECHAR* text);

// The platform's conversions. Counts are in units of the target; -1 for a
// source length means "up to and including the terminator". A zero capacity
// returns the size needed. Returns 0 on failure (GetLastError tells why).
// Code pages: CP_ACP, 1252, 28591, 65001.
VANE_EXPORT int MultiByteToWideChar(UINT codePage, DWORD flags, const char* src, int srcLength, WCHAR* dst,
                                    int dstCapacity);
VANE_EXPORT int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* src, int srcLength, char* dst,
                                    int dstCapacity, const char* defaultChar, BOOL* usedDefault);
// The code page behind CP_ACP; tests may set 28591 or 65001.
VANE_EXPORT UINT GetACP(void);
VANE_EXPORT void ZoSetACP(UINT codePage);
VANE_END_EXTERN_C

namespace vane::platform {

// Convenience forms for C++ code. Unpaired surrogates and invalid UTF-8
// become U+FFFD; characters a code page lacks become '?'.
VANE_EXPORT std::string ToUtf8(std::u16string_view text);
VANE_EXPORT std::u16string FromUtf8(std::string_view text);
VANE_EXPORT std::string ToCodePage(std::u16string_view text, UINT codePage);
VANE_EXPORT std::u16string FromCodePage(std::string_view text, UINT codePage);
inline std::string ToUtf8(const WCHAR* s) { return ToUtf8(std::u16string_view(s ? s : u"")); }

// Owns one BSTR.
class BStr {
 public:
  BStr() = default;
  explicit BStr(const WCHAR* s) : m_s(SysAllocString(s)) {}
  explicit BStr(std::u16string_view s) : m_s(SysAllocStringLen(s.data(), UINT(s.size()))) {}
  BStr(const BStr&) = delete;
  BStr& operator=(const BStr&) = delete;
  BStr(BStr&& o) noexcept : m_s(o.m_s) { o.m_s = nullptr; }
  BStr& operator=(BStr&& o) noexcept {
    if (this != &o) {
      SysFreeString(m_s);
      m_s = o.m_s;
      o.m_s = nullptr;
    }
    return *this;
  }
  ~BStr() { SysFreeString(m_s); }
  BSTR Get() const { return m_s; }
  BSTR* Out() {
    SysFreeString(m_s);
    m_s = nullptr;
    return &m_s;
  }
  BSTR Detach() {
    BSTR s = m_s;
    m_s = nullptr;
    return s;
  }
  std::u16string_view View() const { return m_s ? std::u16string_view(m_s, SysStringLen(m_s)) : std::u16string_view(); }

 private:
  BSTR m_s = nullptr;
};

}  // namespace vane::platform
