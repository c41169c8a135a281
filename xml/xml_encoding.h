// SPDX-License-Identifier: MIT
// The encoding readers of the XML parser: they walk a buffer by characters
// and class each into a token number, the only thing the parse loop looks at
// besides the characters it copies. UTF-16LE is chosen by an FF FE mark,
// UTF-8 otherwise; malformed sequences read as U+FFFD.
#pragma once

#include <array>
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

constexpr std::array<signed char, 128> MakeAsciiTokens() {
  std::array<signed char, 128> t{};
  for (int c = 0; c < 128; ++c) {
    int tok = kTokOther;
    if (c < 0x20 || c == 0x7F) tok = kTokInvalid;
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':') tok = kTokNameStart;
    if (c >= '0' && c <= '9') tok = kTokDigit;
    t[static_cast<size_t>(c)] = static_cast<signed char>(tok);
  }
  t[' '] = t['\t'] = kTokSpace;
  t['\r'] = kTokCR;
  t['\n'] = kTokLF;
  t['!'] = kTokBang;
  t['-'] = kTokMinus;
  t['.'] = kTokDot;
  t['>'] = kTokGreater;
  t['&'] = kTokAmp;
  t['/'] = kTokSlash;
  t[';'] = kTokSemicolon;
  t['<'] = kTokLess;
  t['?'] = kTokQuestion;
  return t;
}

inline constexpr std::array<signed char, 128> kAsciiTokens = MakeAsciiTokens();

inline int TokenOf(char32_t c) { return c < 128 ? static_cast<int>(kAsciiTokens[c]) : static_cast<int>(kTokNameStart); }

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
