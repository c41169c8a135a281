// SPDX-License-Identifier: MIT
// FourCC: a box code as one 32-bit value whose lowest byte is the first
// character as it stands in the file ("moov" is 0x766F6F6D). Box class
// templates take this value as their argument.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/export.h"

namespace fileutil {

// The code value of a four-character literal; "\xA9nam" gives 0x6D616EA9.
constexpr unsigned int fcc(const char (&s)[5]) {
  return unsigned(static_cast<unsigned char>(s[0])) | unsigned(static_cast<unsigned char>(s[1])) << 8 |
         unsigned(static_cast<unsigned char>(s[2])) << 16 | unsigned(static_cast<unsigned char>(s[3])) << 24;
}

class FourCC {
 public:
  constexpr FourCC() = default;
  constexpr FourCC(unsigned int value) : m_value(value) {}  // NOLINT: codes convert both ways
  constexpr explicit FourCC(const char (&text)[5]) : m_value(fcc(text)) {}
  // From a text of four characters; a shorter text is padded with blanks.
  explicit FourCC(std::string_view text) {
    for (int i = 0; i < 4; ++i) {
      const unsigned char c = i < int(text.size()) ? static_cast<unsigned char>(text[i]) : ' ';
      m_value |= unsigned(c) << (8 * i);
    }
  }
  constexpr FourCC(char a, char b, char c, char d)
      : m_value(unsigned(static_cast<unsigned char>(a)) | unsigned(static_cast<unsigned char>(b)) << 8 |
                unsigned(static_cast<unsigned char>(c)) << 16 | unsigned(static_cast<unsigned char>(d)) << 24) {}

  constexpr operator unsigned int() const { return m_value; }
  constexpr unsigned char byte(int i) const { return static_cast<unsigned char>(m_value >> (8 * i)); }

  // Letters, digits, 0xA9, blank and hyphen only.
  constexpr bool isValid() const {
    for (int i = 0; i < 4; ++i) {
      const auto c = static_cast<signed char>(byte(i));
      if (!(InRange(c, 'A', 'Z') || InRange(c, 'a', 'z') || InRange(c, '0', '9') || byte(i) == 0xA9 || c == ' ' ||
            c == '-'))
        return false;
    }
    return true;
  }
  // Upper-case letters and digits only, as ID3 frame codes are.
  constexpr bool isValidId3() const {
    for (int i = 0; i < 4; ++i) {
      const auto c = static_cast<signed char>(byte(i));
      if (!(InRange(c, 'A', 'Z') || InRange(c, '0', '9'))) return false;
    }
    return true;
  }
  static constexpr bool InRange(signed char c, signed char low, signed char high) { return c >= low && c <= high; }

  // The four bytes as they stand (Latin-1), for logs and tests.
  std::string raw() const { return std::string{char(byte(0)), char(byte(1)), char(byte(2)), char(byte(3))}; }
  // Readable UTF-8: Latin-1 bytes above 0x7F become their characters (0xA9 is
  // "©"), control bytes become "\xNN".
  VANE_EXPORT std::string text() const;

 private:
  unsigned int m_value = 0;
};

static_assert(fcc("moov") == 0x766F6F6D);
static_assert(sizeof(FourCC) == 4);

}  // namespace fileutil
