// SPDX-License-Identifier: MIT
// Value access for the min/max array layouts: reading and writing one value
// of a layout as a wide integer or a double, and the empty element of each.
#pragma once

#include <cfloat>
#include <cstdint>
#include <cstring>

#include "platform/types.h"

namespace vane::audiopeak {

// How the values of a layout are kept in memory.
enum class Layout { kNone, kU8, kS8, kS16, kS24, kS32, kF32, kF64 };

inline Layout LayoutOf(int type) {
  switch (type) {
    case 16: return Layout::kU8;
    case 49: return Layout::kS8;
    case 0: case 17: case 64: case 128: return Layout::kS16;
    case 18: case 65: case 129: return Layout::kS24;
    case 19: case 48: case 66: return Layout::kS32;
    case 32: return Layout::kF32;
    case 33: return Layout::kF64;
    default: return Layout::kNone;
  }
}

inline unsigned ValueBytes(Layout l) {
  switch (l) {
    case Layout::kU8: case Layout::kS8: return 1;
    case Layout::kS16: return 2;
    case Layout::kS24: return 3;
    case Layout::kS32: case Layout::kF32: return 4;
    case Layout::kF64: return 8;
    default: return 0;
  }
}

inline bool IsFloat(Layout l) { return l == Layout::kF32 || l == Layout::kF64; }

// Significant bits of an integer layout (the unsigned 8-bit one counts as
// signed after re-centring).
inline int IntBits(Layout l) {
  switch (l) {
    case Layout::kU8: case Layout::kS8: return 8;
    case Layout::kS16: return 16;
    case Layout::kS24: return 24;
    default: return 32;
  }
}

// A value of an integer layout, re-centred to signed.
inline std::int64_t ReadInt(Layout l, const BYTE* p) {
  switch (l) {
    case Layout::kU8: return std::int64_t(*p) - 128;
    case Layout::kS8: return std::int64_t(static_cast<signed char>(*p));
    case Layout::kS16: { std::int16_t v; std::memcpy(&v, p, 2); return v; }
    case Layout::kS24: {
      const std::int32_t v = std::int32_t(std::uint32_t(p[0]) << 8 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 24);
      return v >> 8;
    }
    default: { std::int32_t v; std::memcpy(&v, p, 4); return v; }
  }
}

inline double ReadFloat(Layout l, const BYTE* p) {
  if (l == Layout::kF32) { float v; std::memcpy(&v, p, 4); return v; }
  double v; std::memcpy(&v, p, 8); return v;
}

inline void WriteInt(Layout l, BYTE* p, std::int64_t v) {
  switch (l) {
    case Layout::kU8: *p = BYTE(v + 128); break;
    case Layout::kS8: *p = BYTE(static_cast<signed char>(v)); break;
    case Layout::kS16: { const std::int16_t w = std::int16_t(v); std::memcpy(p, &w, 2); break; }
    case Layout::kS24: p[0] = BYTE(v); p[1] = BYTE(v >> 8); p[2] = BYTE(v >> 16); break;
    default: { const std::int32_t w = std::int32_t(v); std::memcpy(p, &w, 4); break; }
  }
}

inline void WriteFloat(Layout l, BYTE* p, double v) {
  if (l == Layout::kF32) {
    const float f = v > FLT_MAX ? FLT_MAX : v < -FLT_MAX ? -FLT_MAX : float(v);
    std::memcpy(p, &f, 4);
  } else {
    std::memcpy(p, &v, 8);
  }
}

// A value of one layout in another: integers keep their high bits, floats
// are scaled to full scale, truncated toward zero and clamped.
inline void ConvertValue(Layout from, const BYTE* src, Layout to, BYTE* dst) {
  if (IsFloat(to)) {
    const double v = IsFloat(from) ? ReadFloat(from, src)
                                   : double(ReadInt(from, src)) / double(std::int64_t(1) << (IntBits(from) - 1));
    WriteFloat(to, dst, v);
    return;
  }
  const int bits = IntBits(to);
  std::int64_t v;
  if (IsFloat(from)) {
    const double scaled = ReadFloat(from, src) * double(std::int64_t(1) << (bits - 1));
    const double lo = -double(std::int64_t(1) << (bits - 1)), hi = double((std::int64_t(1) << (bits - 1)) - 1);
    v = scaled != scaled ? 0 : scaled <= lo ? std::int64_t(lo) : scaled >= hi ? std::int64_t(hi) : std::int64_t(scaled);
  } else {
    const int fromBits = IntBits(from);
    const std::int64_t x = ReadInt(from, src);
    v = fromBits >= bits ? x >> (fromBits - bits) : x * (std::int64_t(1) << (bits - fromBits));
  }
  WriteInt(to, dst, v);
}

// The empty (min, max) of a layout.
inline void WriteEmpty(Layout l, BYTE* element) {
  const unsigned n = ValueBytes(l);
  if (IsFloat(l)) {
    WriteFloat(l, element, l == Layout::kF32 ? FLT_MAX : DBL_MAX);
    WriteFloat(l, element + n, l == Layout::kF32 ? -FLT_MAX : -DBL_MAX);
    return;
  }
  const int bits = IntBits(l);
  WriteInt(l, element, (std::int64_t(1) << (bits - 1)) - 1);
  WriteInt(l, element + n, -(std::int64_t(1) << (bits - 1)));
}

// min <= max in the layout's own order.
inline bool Less(Layout l, const BYTE* a, const BYTE* b) {
  return IsFloat(l) ? ReadFloat(l, a) < ReadFloat(l, b) : ReadInt(l, a) < ReadInt(l, b);
}

}  // namespace vane::audiopeak
