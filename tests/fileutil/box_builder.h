// SPDX-License-Identifier: MIT
// Builders for hand-made box files in the tests.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace vane::test::mp4 {

using Bytes = std::vector<std::uint8_t>;

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

inline Bytes U32(std::uint32_t v) { return {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8), std::uint8_t(v)}; }
inline Bytes U16(std::uint16_t v) { return {std::uint8_t(v >> 8), std::uint8_t(v)}; }
inline Bytes U64(std::uint64_t v) { return Cat({U32(std::uint32_t(v >> 32)), U32(std::uint32_t(v))}); }
inline Bytes Code(const char* c) { return Bytes(c, c + 4); }
inline Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }
inline Bytes Zeros(std::size_t n) { return Bytes(n, 0); }

// A box with an 8-byte header whose size field is right.
inline Bytes MakeBox(const char* code, const Bytes& body) { return Cat({U32(std::uint32_t(8 + body.size())), Code(code), body}); }
// A box whose size field says what the caller wants.
inline Bytes BoxSized(std::uint32_t size, const char* code, const Bytes& body) { return Cat({U32(size), Code(code), body}); }
inline Bytes MakeFullBox(const char* code, std::uint32_t versionFlags, const Bytes& body) {
  return MakeBox(code, Cat({U32(versionFlags), body}));
}

// Reads a byte vector through a seekable string stream.
inline std::istringstream Stream(const Bytes& b) { return std::istringstream(std::string(b.begin(), b.end())); }

}  // namespace vane::test::mp4
