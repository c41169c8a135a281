// SPDX-License-Identifier: MIT
#include "xml/xml_encoding.h"

namespace vane::xml {

ULONGLONG ZoXMLEncodingUtf8::Start() const {
  return (m_size >= 3 && m_data[0] == 0xEF && m_data[1] == 0xBB && m_data[2] == 0xBF) ? 3 : 0;
}

// Decodes one sequence of two to four bytes; anything malformed (a stray
// continuation byte, an overlong form, a surrogate, a value past U+10FFFF, a
// sequence cut by the end) reads as U+FFFD and consumes one byte.
int ZoXMLEncodingUtf8::NextMultiByte(ULONGLONG& pos, char32_t& cp) const {
  const BYTE b = m_data[pos];
  int extra = 0;
  char32_t value = 0;
  char32_t minimum = 0;
  if ((b & 0xE0) == 0xC0) {
    extra = 1;
    value = b & 0x1F;
    minimum = 0x80;
  } else if ((b & 0xF0) == 0xE0) {
    extra = 2;
    value = b & 0x0F;
    minimum = 0x800;
  } else if ((b & 0xF8) == 0xF0) {
    extra = 3;
    value = b & 0x07;
    minimum = 0x10000;
  }
  bool ok = extra > 0 && m_size - pos > static_cast<ULONGLONG>(extra);
  for (int i = 1; ok && i <= extra; ++i) {
    const BYTE c = m_data[pos + static_cast<ULONGLONG>(i)];
    if ((c & 0xC0) != 0x80) ok = false;
    else value = (value << 6) | (c & 0x3F);
  }
  if (ok && (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))) ok = false;
  if (!ok) {
    ++pos;
    cp = 0xFFFD;
    return kTokNameStart;
  }
  pos += static_cast<ULONGLONG>(extra) + 1;
  cp = value;
  return kTokNameStart;
}

int ZoXMLEncodingUtf16::Next(ULONGLONG& pos, char32_t& cp) const {
  if (pos + 1 >= m_size) return kTokEnd;
  const char32_t unit = static_cast<char32_t>(m_data[pos] | (m_data[pos + 1] << 8));
  pos += 2;
  if (unit < 0xD800 || unit > 0xDFFF) {
    cp = unit;
    return TokenOf(unit);
  }
  if (unit <= 0xDBFF && pos + 1 < m_size) {
    const char32_t low = static_cast<char32_t>(m_data[pos] | (m_data[pos + 1] << 8));
    if (low >= 0xDC00 && low <= 0xDFFF) {
      pos += 2;
      cp = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
      return kTokNameStart;
    }
  }
  cp = 0xFFFD;
  return kTokNameStart;
}

}  // namespace vane::xml
