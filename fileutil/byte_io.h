// SPDX-License-Identifier: MIT
// Bounded big-endian byte views for box and descriptor bodies. ByteReader
// never reads past its end: each read first checks the bytes left and answers
// false (leaving the position) when they are too few. ByteWriter appends.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace fileutil {

class ByteReader {
 public:
  ByteReader() = default;
  ByteReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
#if __cplusplus >= 202002L
  explicit ByteReader(std::span<const std::uint8_t> bytes) : m_data(bytes.data()), m_size(bytes.size()) {}
#endif

  std::size_t left() const { return m_size - m_pos; }
  std::size_t pos() const { return m_pos; }
  const std::uint8_t* here() const { return m_data + m_pos; }

  bool u8(std::uint8_t& v) { return be(v, 1); }
  bool u16(std::uint16_t& v) { return be(v, 2); }
  bool u24(std::uint32_t& v) { return be(v, 3); }
  bool u32(std::uint32_t& v) { return be(v, 4); }
  bool u64(std::uint64_t& v) { return be(v, 8); }
  // Four bytes as they lie (little-endian load): FourCCs and "raw" fields.
  bool raw32(std::uint32_t& v) {
    if (left() < 4) return false;
    v = std::uint32_t(m_data[m_pos]) | std::uint32_t(m_data[m_pos + 1]) << 8 | std::uint32_t(m_data[m_pos + 2]) << 16 |
        std::uint32_t(m_data[m_pos + 3]) << 24;
    m_pos += 4;
    return true;
  }
  bool bytes(void* out, std::size_t n) {
    if (left() < n) return false;
    if (n) std::memcpy(out, m_data + m_pos, n);
    m_pos += n;
    return true;
  }
  // Everything that is left.
  std::vector<std::uint8_t> rest() {
    std::vector<std::uint8_t> v(m_data + m_pos, m_data + m_size);
    m_pos = m_size;
    return v;
  }
  bool skip(std::size_t n) {
    if (left() < n) return false;
    m_pos += n;
    return true;
  }
  // A sub-view of the next n bytes, consumed from this one.
  bool sub(std::size_t n, ByteReader& out) {
    if (left() < n) return false;
    out = ByteReader(m_data + m_pos, n);
    m_pos += n;
    return true;
  }

 private:
  template <typename T>
  bool be(T& v, int width) {
    if (left() < std::size_t(width)) return false;
    T r = 0;
    for (int i = 0; i < width; ++i) r = T(r << 8) | T(m_data[m_pos + i]);
    v = r;
    m_pos += width;
    return true;
  }

  const std::uint8_t* m_data = nullptr;
  std::size_t m_size = 0;
  std::size_t m_pos = 0;
};

class ByteWriter {
 public:
  ByteWriter& u8(std::uint8_t v) { return be(v, 1); }
  ByteWriter& u16(std::uint16_t v) { return be(v, 2); }
  ByteWriter& u24(std::uint32_t v) { return be(v, 3); }
  ByteWriter& u32(std::uint32_t v) { return be(v, 4); }
  ByteWriter& u64(std::uint64_t v) { return be(v, 8); }
  ByteWriter& raw32(std::uint32_t v) {
    for (int i = 0; i < 4; ++i) m_out.push_back(std::uint8_t(v >> (8 * i)));
    return *this;
  }
  ByteWriter& bytes(const void* p, std::size_t n) {
    const auto* b = static_cast<const std::uint8_t*>(p);
    m_out.insert(m_out.end(), b, b + n);
    return *this;
  }
  ByteWriter& bytes(const std::vector<std::uint8_t>& v) { return bytes(v.data(), v.size()); }
  ByteWriter& zeros(std::size_t n) {
    m_out.insert(m_out.end(), n, 0);
    return *this;
  }
  std::vector<std::uint8_t>& data() { return m_out; }
  std::size_t size() const { return m_out.size(); }

 private:
  ByteWriter& be(std::uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i) m_out.push_back(std::uint8_t(v >> (8 * i)));
    return *this;
  }
  std::vector<std::uint8_t> m_out;
};

}  // namespace fileutil
