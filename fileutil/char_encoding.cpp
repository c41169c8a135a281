// SPDX-License-Identifier: MIT
#include "fileutil/char_encoding.h"

#include "platform/wtext.h"

namespace fileutil {

namespace {

std::uint64_t Count16(const std::uint8_t* p, const std::uint8_t* end) {
  const std::uint8_t* q = p;
  while (end - q >= 2) {
    const bool zero = q[0] == 0 && q[1] == 0;
    q += 2;
    if (zero) break;
  }
  return std::uint64_t(q - p);
}

std::u16string Read16(const std::uint8_t* p, const std::uint8_t* end, bool bigEndian) {
  std::u16string s;
  for (; end - p >= 2; p += 2) {
    const char16_t c = bigEndian ? char16_t(p[0] << 8 | p[1]) : char16_t(p[1] << 8 | p[0]);
    if (c == 0) break;
    s.push_back(c);
  }
  return s;
}

void Write16(std::ostream& out, const std::u16string& text, bool bigEndian) {
  for (char16_t c : text) {
    const char hi = char(c >> 8), lo = char(c & 0xFF);
    if (bigEndian) out.put(hi).put(lo);
    else out.put(lo).put(hi);
  }
}

}  // namespace

std::string WideCharToMultiByte(UINT codePage, const std::u16string& text) {
  return vane::platform::ToCodePage(text, codePage);
}

std::u16string MultiByteToWideChar(UINT codePage, const char* bytes, std::size_t size) {
  return vane::platform::FromCodePage(std::string_view(bytes, size), codePage);
}

std::uint64_t Char_ISO_8859_1::size(const std::u16string& text) const {
  return WideCharToMultiByte(codePage(), text).size() + 1;
}

void Char_ISO_8859_1::write(std::ostream& out, const std::u16string& text) const {
  const std::string bytes = WideCharToMultiByte(codePage(), text);
  out.write(bytes.data(), std::streamsize(bytes.size()));
  out.put('\0');
}

std::u16string Char_ISO_8859_1::read(const std::uint8_t* begin, const std::uint8_t* end) {
  const std::uint8_t* p = begin;
  while (p < end && *p) ++p;
  return MultiByteToWideChar(codePage(), reinterpret_cast<const char*>(begin), std::size_t(p - begin));
}

std::uint64_t Char_ISO_8859_1::count(const std::uint8_t* begin, const std::uint8_t* end) const {
  const std::uint8_t* p = begin;
  while (p < end && *p) ++p;
  return std::uint64_t(p - begin) + (p < end ? 1 : 0);
}

std::uint64_t Char_UTF16_BOM::size(const std::u16string& text) const {
  if (m_mark != 0xFEFF && m_mark != 0xFFFE) return 4;
  return 2 + 2 * std::uint64_t(text.size()) + 2;
}

void Char_UTF16_BOM::write(std::ostream& out, const std::u16string& text) const {
  out.put(char(m_mark >> 8)).put(char(m_mark & 0xFF));
  if (m_mark == 0xFEFF) Write16(out, text, true);
  else if (m_mark == 0xFFFE) Write16(out, text, false);
  out.put('\0').put('\0');
}

std::u16string Char_UTF16_BOM::read(const std::uint8_t* begin, const std::uint8_t* end) {
  if (end - begin < 2) return {};
  m_mark = std::uint16_t(begin[0] << 8 | begin[1]);
  if (m_mark == 0xFFFE) return Read16(begin + 2, end, false);
  if (m_mark == 0xFEFF) return Read16(begin + 2, end, true);
  // No mark: big-endian text from the first byte.
  m_mark = 0xFEFF;
  return Read16(begin, end, true);
}

std::uint64_t Char_UTF16_BOM::count(const std::uint8_t* begin, const std::uint8_t* end) const {
  return Count16(begin, end);
}

void Char_UTF16_BigEndian::write(std::ostream& out, const std::u16string& text) const {
  Write16(out, text, true);
  out.put('\0').put('\0');
}

std::u16string Char_UTF16_BigEndian::read(const std::uint8_t* begin, const std::uint8_t* end) {
  return Read16(begin, end, true);
}

std::uint64_t Char_UTF16_BigEndian::count(const std::uint8_t* begin, const std::uint8_t* end) const {
  return Count16(begin, end);
}

}  // namespace fileutil
