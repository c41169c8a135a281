// SPDX-License-Identifier: MIT
// The encoding readers of the XML parser: they walk a buffer by characters
// and class each into a token number, the only thing the parse loop looks at
// besides the characters it copies. UTF-16LE is chosen by an FF FE mark,
// UTF-8 otherwise; malformed sequences read as U+FFFD.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace vane::xml {

// Token numbers. Character data starts with 6, 7, 8, 9, 16, 18 or 26; 21
// opens markup; 29 ends the data; the rest are stepped over between nodes.
enum Token : int {
  kTokInvalid = 0,    // control characters
  kTokSpace = 1,      // space, tab
  kTokCR = 2,
  kTokLF = 3,
  kTokBang = 4,       // '!'
  kTokDigit = 6,
  kTokMinus = 7,
  kTokDot = 8,
  kTokOther = 9,      // quotes, '=', brackets and every other symbol
  kTokGreater = 14,   // '>'
  kTokAmp = 16,       // '&'
  kTokSlash = 17,     // '/'
  kTokSemicolon = 18,
  kTokLess = 21,      // '<'
  kTokQuestion = 24,  // '?'
  kTokNameStart = 26, // letters, '_', ':' and characters above 0x7F
  kTokEnd = 29,
};

int TokenOf(char32_t c);

inline bool IsSpaceToken(int t) { return t >= kTokSpace && t <= kTokLF; }
inline bool IsNameToken(int t) { return t == kTokNameStart || t == kTokDigit || t == kTokMinus || t == kTokDot; }
inline bool StartsCharData(int t) {
  return t == kTokDigit || t == kTokMinus || t == kTokDot || t == kTokOther || t == kTokAmp || t == kTokSemicolon ||
         t == kTokNameStart;
}

class ZoXMLEncodingUtf {
 public:
  ZoXMLEncodingUtf(const BYTE* data, ULONGLONG size) : m_data(data), m_size(size) {}
  virtual ~ZoXMLEncodingUtf() = default;
  // The first position after a byte-order mark.
  virtual ULONGLONG Start() const = 0;
  // Reads the character at pos into cp, moves pos past it, returns its token
  // (kTokEnd at the end, pos unchanged).
  virtual int Next(ULONGLONG& pos, char32_t& cp) const = 0;
  ULONGLONG Size() const { return m_size; }

 protected:
  const BYTE* m_data;
  ULONGLONG m_size;
};

class ZoXMLEncodingUtf8 final : public ZoXMLEncodingUtf {
 public:
  using ZoXMLEncodingUtf::ZoXMLEncodingUtf;
  ULONGLONG Start() const override;
  int Next(ULONGLONG& pos, char32_t& cp) const override {
    if (pos >= m_size) return kTokEnd;
    const BYTE b = m_data[pos];
    if (b < 0x80) {
      ++pos;
      cp = b;
      return TokenOf(b);
    }
    return NextMultiByte(pos, cp);
  }

 private:
  int NextMultiByte(ULONGLONG& pos, char32_t& cp) const;
};

class ZoXMLEncodingUtf16 final : public ZoXMLEncodingUtf {
 public:
  using ZoXMLEncodingUtf::ZoXMLEncodingUtf;
  ULONGLONG Start() const override { return 2; }
  int Next(ULONGLONG& pos, char32_t& cp) const override;
};

}  // namespace vane::xml
