// SPDX-License-Identifier: MIT
// UTF-16 helpers, BSTR, and the code-page conversions. Decoding never fails
// on bad input by default: invalid UTF-8 becomes one U+FFFD per maximal
// invalid subsequence (the Unicode recommendation the platform follows), an
// unpaired surrogate becomes U+FFFD, and a character a single-byte code page
// lacks becomes the default character.
#include "platform/wtext.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/file.h"

namespace vane::platform {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

// Windows-1252's 0x80-0x9F row. The five bytes the code page leaves
// undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to the C1 control of the same
// value, as the platform's table does, so every byte round-trips.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  //
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  //
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  //
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::atomic<UINT> g_acp{CP_1252};

bool IsHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

// The code page a request names, after resolving CP_ACP; 0 if unsupported.
UINT ResolveCodePage(UINT codePage) {
  if (codePage == CP_ACP || codePage == CP_THREAD_ACP) return g_acp.load(std::memory_order_relaxed);
  if (codePage == CP_1252 || codePage == CP_LATIN1 || codePage == CP_UTF8) return codePage;
  return 0;
}

void DecodeUtf8(std::string_view in, std::u16string& out, bool& invalid) {
  const auto* p = reinterpret_cast<const unsigned char*>(in.data());
  const size_t n = in.size();
  out.reserve(out.size() + n);
  size_t i = 0;
  while (i < n) {
    const unsigned char b = p[i];
    if (b < 0x80) {
      out.push_back(b);
      ++i;
      continue;
    }
    int need;
    char32_t cp;
    unsigned char lo = 0x80, hi = 0xBF;  // range of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
      need = 1;
      cp = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
      need = 2;
      cp = b & 0x0F;
      if (b == 0xE0) lo = 0xA0;  // no overlong forms
      if (b == 0xED) hi = 0x9F;  // no encoded surrogates
    } else if (b >= 0xF0 && b <= 0xF4) {
      need = 3;
      cp = b & 0x07;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
    } else {
      out.push_back(kReplacement);
      invalid = true;
      ++i;
      continue;
    }
    size_t j = i + 1;
    bool ok = true;
    for (int k = 0; k < need; ++k, ++j) {
      const unsigned char c = j < n ? p[j] : 0;
      const bool inRange = j < n && (k == 0 ? (c >= lo && c <= hi) : (c >= 0x80 && c <= 0xBF));
      if (!inRange) {
        ok = false;
        break;
      }
      cp = (cp << 6) | (c & 0x3F);
    }
    if (!ok) {
      // The bytes taken so far are one maximal invalid subsequence; the
      // offending byte starts afresh.
      out.push_back(kReplacement);
      invalid = true;
      i = j;
      continue;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(char16_t(0xD800 + (cp >> 10)));
      out.push_back(char16_t(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(char16_t(cp));
    }
    i = j;
  }
}

void EncodeUtf8(std::u16string_view in, std::string& out, bool& invalid) {
  out.reserve(out.size() + in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    char32_t cp = in[i];
    if (IsHighSurrogate(in[i]) && i + 1 < in.size() && IsLowSurrogate(in[i + 1])) {
      cp = 0x10000 + ((char32_t(in[i]) - 0xD800) << 10) + (char32_t(in[i + 1]) - 0xDC00);
      ++i;
    } else if (IsHighSurrogate(in[i]) || IsLowSurrogate(in[i])) {
      cp = kReplacement;
      invalid = true;
    }
    if (cp < 0x80) {
      out.push_back(char(cp));
    } else if (cp < 0x800) {
      out.push_back(char(0xC0 | (cp >> 6)));
      out.push_back(char(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(char(0xE0 | (cp >> 12)));
      out.push_back(char(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(char(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(char(0xF0 | (cp >> 18)));
      out.push_back(char(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(char(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(char(0x80 | (cp & 0x3F)));
    }
  }
}

void DecodeSingleByte(std::string_view in, UINT codePage, std::u16string& out) {
  out.reserve(out.size() + in.size());
  for (char ch : in) {
    const auto b = static_cast<unsigned char>(ch);
    out.push_back(codePage == CP_1252 && b >= 0x80 && b < 0xA0 ? kCp1252High[b - 0x80] : char16_t(b));
  }
}

// The byte for one code unit, or -1 when the code page lacks it.
int SingleByteFor(char16_t c, UINT codePage) {
  if (codePage == CP_LATIN1) return c <= 0xFF ? int(c) : -1;
  if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return int(c);
  for (int i = 0; i < 32; ++i) {
    if (kCp1252High[i] == c) return 0x80 + i;
  }
  return -1;
}

void EncodeSingleByte(std::u16string_view in, UINT codePage, char defaultChar, std::string& out, bool& usedDefault) {
  out.reserve(out.size() + in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    const int b = SingleByteFor(in[i], codePage);
    if (b >= 0) {
      out.push_back(char(b));
      continue;
    }
    // A surrogate pair is one character and gets one default character.
    if (IsHighSurrogate(in[i]) && i + 1 < in.size() && IsLowSurrogate(in[i + 1])) ++i;
    out.push_back(defaultChar);
    usedDefault = true;
  }
}

char16_t FoldCase(char16_t c) {
  if (c >= u'a' && c <= u'z') return char16_t(c - 0x20);
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return char16_t(c - 0x20);
  if (c == 0xFF) return 0x0178;
  return c;
}

// BSTR block: a 32-bit byte length, the text, then a 16-bit terminator.
constexpr size_t kBstrPrefix = sizeof(std::uint32_t);

BSTR AllocBstrBytes(const void* data, size_t bytes) {
  if (bytes > std::numeric_limits<std::uint32_t>::max() - 16) return nullptr;
  auto* block = static_cast<unsigned char*>(std::malloc(kBstrPrefix + bytes + sizeof(WCHAR) + 1));
  if (!block) return nullptr;
  const auto length = static_cast<std::uint32_t>(bytes);
  std::memcpy(block, &length, sizeof(length));
  unsigned char* text = block + kBstrPrefix;
  if (data) {
    std::memcpy(text, data, bytes);
  } else {
    std::memset(text, 0, bytes);
  }
  // Terminate even an odd byte count on a whole character.
  text[bytes] = 0;
  text[bytes + 1] = 0;
  text[bytes + 2] = 0;
  return reinterpret_cast<BSTR>(text);
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  bool invalid = false;
  EncodeUtf8(text, out, invalid);
  return out;
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string out;
  bool invalid = false;
  DecodeUtf8(text, out, invalid);
  return out;
}

std::string ToCodePage(std::u16string_view text, UINT codePage) {
  std::string out;
  const UINT cp = ResolveCodePage(codePage);
  if (cp == CP_UTF8) return ToUtf8(text);
  if (cp == 0) return out;
  bool usedDefault = false;
  EncodeSingleByte(text, cp, '?', out, usedDefault);
  return out;
}

std::u16string FromCodePage(std::string_view text, UINT codePage) {
  std::u16string out;
  const UINT cp = ResolveCodePage(codePage);
  if (cp == CP_UTF8) return FromUtf8(text);
  if (cp == 0) return out;
  DecodeSingleByte(text, cp, out);
  return out;
}

}  // namespace vane::platform

using namespace vane::platform;

size_t ZoWcsLen(const WCHAR* s) {
  if (!s) return 0;
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

int ZoWcsCmp(const WCHAR* a, const WCHAR* b) {
  if (!a) a = u"";
  if (!b) b = u"";
  for (;; ++a, ++b) {
    if (*a != *b) return *a < *b ? -1 : 1;
    if (!*a) return 0;
  }
}

int ZoWcsNICmp(const WCHAR* a, const WCHAR* b, size_t n) {
  if (!a) a = u"";
  if (!b) b = u"";
  for (size_t i = 0; i < n; ++i) {
    const char16_t x = FoldCase(a[i]), y = FoldCase(b[i]);
    if (x != y) return x < y ? -1 : 1;
    if (!x) return 0;
  }
  return 0;
}

int ZoWcsICmp(const WCHAR* a, const WCHAR* b) { return ZoWcsNICmp(a, b, std::numeric_limits<size_t>::max()); }

size_t ZoWcsCopy(WCHAR* dst, size_t capacity, const WCHAR* src) {
  if (!dst || capacity == 0) return 0;
  size_t n = 0;
  if (src) {
    while (n + 1 < capacity && src[n]) {
      dst[n] = src[n];
      ++n;
    }
  }
  dst[n] = 0;
  return n;
}

BSTR SysAllocString(const OLECHAR* s) {
  if (!s) return nullptr;
  return AllocBstrBytes(s, ZoWcsLen(s) * sizeof(WCHAR));
}

BSTR SysAllocStringLen(const OLECHAR* s, UINT length) {
  return AllocBstrBytes(s, size_t(length) * sizeof(WCHAR));
}

BSTR SysAllocStringByteLen(const char* s, UINT bytes) { return AllocBstrBytes(s, bytes); }

void SysFreeString(BSTR s) {
  if (s) std::free(reinterpret_cast<unsigned char*>(s) - kBstrPrefix);
}

UINT SysStringByteLen(BSTR s) {
  if (!s) return 0;
  std::uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<unsigned char*>(s) - kBstrPrefix, sizeof(bytes));
  return bytes;
}

UINT SysStringLen(BSTR s) { return SysStringByteLen(s) / sizeof(WCHAR); }

BOOL SysReAllocString(BSTR* s, const OLECHAR* text) {
  if (!s) return FALSE;
  // Allocate first: text may point into the old string.
  BSTR fresh = text ? SysAllocString(text) : nullptr;
  if (text && !fresh) return FALSE;
  SysFreeString(*s);
  *s = fresh;
  return TRUE;
}

UINT GetACP(void) { return g_acp.load(std::memory_order_relaxed); }

void ZoSetACP(UINT codePage) {
  if (codePage == CP_ACP) codePage = CP_1252;
  if (codePage == CP_1252 || codePage == CP_LATIN1 || codePage == CP_UTF8) g_acp.store(codePage);
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* src, int srcLength, WCHAR* dst, int dstCapacity) {
  const UINT cp = ResolveCodePage(codePage);
  if (cp == 0 || !src || srcLength == 0 || srcLength < -1 || dstCapacity < 0 || (!dst && dstCapacity > 0)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const size_t length = srcLength == -1 ? std::strlen(src) + 1 : size_t(srcLength);
  std::u16string out;
  bool invalid = false;
  if (cp == CP_UTF8) {
    DecodeUtf8(std::string_view(src, length), out, invalid);
  } else {
    DecodeSingleByte(std::string_view(src, length), cp, out);
  }
  if (invalid && (flags & MB_ERR_INVALID_CHARS)) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
  }
  if (out.size() > size_t(std::numeric_limits<int>::max())) {
    SetLastError(ERROR_ARITHMETIC_OVERFLOW);
    return 0;
  }
  if (dstCapacity == 0) return int(out.size());
  if (out.size() > size_t(dstCapacity)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::memcpy(dst, out.data(), out.size() * sizeof(WCHAR));
  return int(out.size());
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* src, int srcLength, char* dst, int dstCapacity,
                        const char* defaultChar, BOOL* usedDefault) {
  const UINT cp = ResolveCodePage(codePage);
  // UTF-8 has no default character: asking for one is an error.
  const bool badUtf8Args = cp == CP_UTF8 && (defaultChar || usedDefault);
  if (cp == 0 || badUtf8Args || !src || srcLength == 0 || srcLength < -1 || dstCapacity < 0 ||
      (!dst && dstCapacity > 0)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const size_t length = srcLength == -1 ? ZoWcsLen(src) + 1 : size_t(srcLength);
  std::string out;
  bool flagged = false;
  if (cp == CP_UTF8) {
    EncodeUtf8(std::u16string_view(src, length), out, flagged);
    if (flagged && (flags & WC_ERR_INVALID_CHARS)) {
      SetLastError(ERROR_NO_UNICODE_TRANSLATION);
      return 0;
    }
  } else {
    EncodeSingleByte(std::u16string_view(src, length), cp, defaultChar ? *defaultChar : '?', out, flagged);
  }
  if (out.size() > size_t(std::numeric_limits<int>::max())) {
    SetLastError(ERROR_ARITHMETIC_OVERFLOW);
    return 0;
  }
  if (dstCapacity > 0 && out.size() > size_t(dstCapacity)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (usedDefault) *usedDefault = flagged ? TRUE : FALSE;
  if (dstCapacity > 0) std::memcpy(dst, out.data(), out.size());
  return int(out.size());
}
