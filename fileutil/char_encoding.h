// SPDX-License-Identifier: MIT
// CharEncoding: how a text field of a box is stored. Each strategy measures,
// writes and reads one text with its terminator. Stateless except the byte
// order mark of Char_UTF16_BOM; one thread at a time.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "platform/export.h"
#include "platform/types.h"

namespace fileutil {

// The platform's conversions in this namespace's terms: whole texts.
std::string WideCharToMultiByte(UINT codePage, const std::u16string& text);
std::u16string MultiByteToWideChar(UINT codePage, const char* bytes, std::size_t size);

class VANE_EXPORT CharEncoding {
 public:
  virtual ~CharEncoding() = default;
  // Encoded size of the text with its terminator.
  virtual std::uint64_t size(const std::u16string& text) const = 0;
  virtual void write(std::ostream& out, const std::u16string& text) const = 0;
  // Reads a text from [begin, end), up to its terminator or the end.
  virtual std::u16string read(const std::uint8_t* begin, const std::uint8_t* end) = 0;
  // Bytes the stored text at begin occupies, terminator included when there.
  virtual std::uint64_t count(const std::uint8_t* begin, const std::uint8_t* end) const = 0;
};

class VANE_EXPORT Char_ISO_8859_1 : public CharEncoding {
 public:
  std::uint64_t size(const std::u16string& text) const override;
  void write(std::ostream& out, const std::u16string& text) const override;
  std::u16string read(const std::uint8_t* begin, const std::uint8_t* end) override;
  std::uint64_t count(const std::uint8_t* begin, const std::uint8_t* end) const override;

 protected:
  virtual UINT codePage() const { return 28591; }
};

class VANE_EXPORT Char_UTF8 : public Char_ISO_8859_1 {
 protected:
  UINT codePage() const override { return 65001; }
};

// Byte order mark, then UTF-16 in the order the mark says; two zero bytes end
// it. The mark is written high byte first as stored: 0xFEFF gives big-endian
// text, 0xFFFE little-endian; any other mark writes only the terminator (and
// the size is then 4).
class VANE_EXPORT Char_UTF16_BOM : public CharEncoding {
 public:
  explicit Char_UTF16_BOM(std::uint16_t mark = 0xFEFF) : m_mark(mark) {}
  std::uint64_t size(const std::u16string& text) const override;
  void write(std::ostream& out, const std::u16string& text) const override;
  std::u16string read(const std::uint8_t* begin, const std::uint8_t* end) override;
  std::uint64_t count(const std::uint8_t* begin, const std::uint8_t* end) const override;
  std::uint16_t mark() const { return m_mark; }

 private:
  std::uint16_t m_mark;
};

class VANE_EXPORT Char_UTF16_BigEndian : public CharEncoding {
 public:
  std::uint64_t size(const std::u16string& text) const override { return 2 * std::uint64_t(text.size()) + 2; }
  void write(std::ostream& out, const std::u16string& text) const override;
  std::u16string read(const std::uint8_t* begin, const std::uint8_t* end) override;
  std::uint64_t count(const std::uint8_t* begin, const std::uint8_t* end) const override;
};

}  // namespace fileutil
