// SPDX-License-Identifier: MIT
// The sample engine's one conversion rule, per pair of sample types, shared
// by the copy table, the vector variants and the channel operations.
//
// Integer values are widened by a shift at unit gain; everything else goes
// through double precision: value * (1/F_src) * gain * F_dst, clipped to
// [-F_dst, F_dst - 1] and rounded half to even by adding 1.5 * 2^52 and
// taking the low bits. Float destinations are never clipped.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <xmmintrin.h>

#include "audio/zowaveformat.h"

namespace vane::audio::detail {

inline constexpr double kRoundMagic = 6755399441055744.0;  // 1.5 * 2^52

template <typename T>
inline T LoadRaw(const BYTE* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <typename T>
inline void StoreRaw(BYTE* p, T v) {
  std::memcpy(p, &v, sizeof v);
}

// Integer sample types: Load gives the signed value, Store takes the low
// bits of a value (the caller has clipped it).
template <int kBits, int kBytes_, bool kBigEndian, bool kUnsigned8 = false, bool kUnpacked_ = false>
struct IntSample {
  static constexpr bool kFloat = false;
  static constexpr int kBytes = kBytes_;
  static constexpr int kWidth = kBits;  // word length that the arithmetic uses
  static constexpr bool kUnpacked = kUnpacked_;
  static constexpr double kScale = kBits == 8 ? 128.0 : kBits == 16 ? 32768.0 : kBits == 24 ? 8388608.0 : 2147483648.0;
  static constexpr double kInv = kBits == 8 ? 0.0078125
                                 : kBits == 16 ? 3.0517578125e-05
                                 : kBits == 24 ? 1.1920928955078125e-07
                                               : 4.656612873077393e-10;
  static int32_t Load(const BYTE* p) {
    if constexpr (kBytes == 1) {
      return kUnsigned8 ? static_cast<int8_t>(p[0] ^ 0x80) : static_cast<int8_t>(p[0]);
    } else if constexpr (kBytes == 2) {
      uint16_t v = LoadRaw<uint16_t>(p);
      if constexpr (kBigEndian) v = __builtin_bswap16(v);
      return static_cast<int16_t>(v);
    } else if constexpr (kBytes == 3) {
      const uint32_t v = kBigEndian ? (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8)
                                    : (uint32_t(p[2]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[0]) << 8);
      return static_cast<int32_t>(v) >> 8;
    } else {
      uint32_t v = LoadRaw<uint32_t>(p);
      if constexpr (kBigEndian) v = __builtin_bswap32(v);
      return static_cast<int32_t>(v);
    }
  }
  static void Store(BYTE* p, int32_t value) {
    const uint32_t v = static_cast<uint32_t>(value);
    if constexpr (kBytes == 1) {
      p[0] = static_cast<BYTE>(kUnsigned8 ? (v ^ 0x80) : v);
    } else if constexpr (kBytes == 2) {
      uint16_t w = static_cast<uint16_t>(v);
      if constexpr (kBigEndian) w = __builtin_bswap16(w);
      StoreRaw(p, w);
    } else if constexpr (kBytes == 3) {
      if constexpr (kBigEndian) {
        p[0] = static_cast<BYTE>(v >> 16), p[1] = static_cast<BYTE>(v >> 8), p[2] = static_cast<BYTE>(v);
      } else {
        p[0] = static_cast<BYTE>(v), p[1] = static_cast<BYTE>(v >> 8), p[2] = static_cast<BYTE>(v >> 16);
      }
    } else if constexpr (kUnpacked_) {
      // The container always holds a sign-extended 24-bit value, whatever
      // bits a NaN left above them.
      StoreRaw(p, static_cast<uint32_t>(static_cast<int32_t>(v << 8) >> 8));
    } else {
      StoreRaw(p, kBigEndian ? __builtin_bswap32(v) : v);
    }
  }
};

template <typename T>
struct FloatSample {
  static constexpr bool kFloat = true;
  static constexpr int kBytes = sizeof(T);
  static constexpr int kWidth = sizeof(T) * 8;
  static constexpr bool kUnpacked = false;
  using Value = T;
  static T Load(const BYTE* p) { return LoadRaw<T>(p); }
  static void Store(BYTE* p, T v) { StoreRaw(p, v); }
};

template <ZOSAMPLETYPE T>
struct Traits;
template <> struct Traits<ZOSAMPLE_PCM8> : IntSample<8, 1, false, true> {};
template <> struct Traits<ZOSAMPLE_PCM16> : IntSample<16, 2, false> {};
template <> struct Traits<ZOSAMPLE_PCM24> : IntSample<24, 3, false> {};
template <> struct Traits<ZOSAMPLE_PCM32> : IntSample<32, 4, false> {};
template <> struct Traits<ZOSAMPLE_FLOAT32> : FloatSample<float> {};
template <> struct Traits<ZOSAMPLE_FLOAT64> : FloatSample<double> {};
template <> struct Traits<ZOSAMPLE_PCM24_UNPACKED> : IntSample<24, 4, false, false, true> {};
template <> struct Traits<ZOSAMPLE_PCM8_SIGNED> : IntSample<8, 1, false> {};
template <> struct Traits<ZOSAMPLE_PCM16_BE> : IntSample<16, 2, true> {};
template <> struct Traits<ZOSAMPLE_PCM24_BE> : IntSample<24, 3, true> {};
template <> struct Traits<ZOSAMPLE_PCM32_BE> : IntSample<32, 4, true> {};

// The eleven types of the copy table, in table order.
inline constexpr ZOSAMPLETYPE kTableTypes[11] = {
    ZOSAMPLE_PCM8,           ZOSAMPLE_PCM16,       ZOSAMPLE_PCM24,     ZOSAMPLE_PCM32,
    ZOSAMPLE_FLOAT32,        ZOSAMPLE_FLOAT64,     ZOSAMPLE_PCM24_UNPACKED, ZOSAMPLE_PCM8_SIGNED,
    ZOSAMPLE_PCM16_BE,       ZOSAMPLE_PCM24_BE,    ZOSAMPLE_PCM32_BE};

// Table index of a type, or -1.
inline int TableIndex(DWORD type) {
  for (int i = 0; i < 11; ++i)
    if (kTableTypes[i] == type) return i;
  return -1;
}

// Pairs without a routine: big-endian 16/24 destinations from the unpacked
// and big-endian 32-bit sources.
constexpr bool PairExists(ZOSAMPLETYPE dst, ZOSAMPLETYPE src) {
  return !((dst == ZOSAMPLE_PCM16_BE || dst == ZOSAMPLE_PCM24_BE) &&
           (src == ZOSAMPLE_PCM24_UNPACKED || src == ZOSAMPLE_PCM32_BE));
}

// Clip to [-F, F-1], then round half to even through the 1.5 * 2^52 add.
// NaN passes neither comparison and leaves the low bits of its own pattern.
template <typename D>
inline int32_t ClipRound(double d) {
  if (d < -D::kScale) d = -D::kScale;
  else if (d > D::kScale - 1.0) d = D::kScale - 1.0;
  d += kRoundMagic;
  return static_cast<int32_t>(static_cast<uint32_t>(std::bit_cast<uint64_t>(d)));
}

// x * gain in the source's precision. A NaN gain gives the gain's own NaN
// for every sample, NaN samples included, so that the result does not hang
// on which operand of a NaN * NaN product the processor keeps.
template <typename V>
inline V GainMul(V x, float gain) {
  return gain != gain ? static_cast<V>(gain) : x * static_cast<V>(gain);
}

// One sample of the rule. kUnit: gain is exactly 1.0.
template <typename D, typename S, bool kUnit>
inline void ConvertOne(BYTE* dp, const BYTE* sp, float gain) {
  if constexpr (!D::kFloat && !S::kFloat) {
    int32_t v = S::Load(sp);
    if constexpr (kUnit && D::kWidth >= S::kWidth) {
      // The unpacked container may hold more than 24 bits: clamp it.
      if constexpr (S::kUnpacked) v = std::clamp<int32_t>(v, -8388608, 8388607);
      D::Store(dp, static_cast<int32_t>(static_cast<uint32_t>(v) << (D::kWidth - S::kWidth)));
    } else {
      double d = static_cast<double>(v) * S::kInv;
      if constexpr (!kUnit) d = d * static_cast<double>(gain);
      D::Store(dp, ClipRound<D>(d * D::kScale));
    }
  } else if constexpr (!D::kFloat) {
    using SV = typename S::Value;
    SV x = S::Load(sp);
    if constexpr (!kUnit) x = GainMul(x, gain);
    D::Store(dp, ClipRound<D>(static_cast<double>(x) * D::kScale));
  } else if constexpr (!S::kFloat) {
    using DV = typename D::Value;
    const DV k = kUnit ? static_cast<DV>(S::kInv) : static_cast<DV>(gain) * static_cast<DV>(S::kInv);
    D::Store(dp, static_cast<DV>(S::Load(sp)) * k);
  } else {
    using SV = typename S::Value;
    using DV = typename D::Value;
    SV x = S::Load(sp);
    if constexpr (!kUnit) x = GainMul(x, gain);
    D::Store(dp, static_cast<DV>(x));
  }
}

// Runs the rule over [first, last) in the direction that is safe in place.
template <typename D, typename S, bool kUnit>
inline void ConvertRange(BYTE* dst, const BYTE* src, long first, long last, float gain) {
  if constexpr (D::kBytes > S::kBytes) {
    for (long i = last - 1; i >= first; --i) ConvertOne<D, S, kUnit>(dst + i * D::kBytes, src + i * S::kBytes, gain);
  } else {
    for (long i = first; i < last; ++i) ConvertOne<D, S, kUnit>(dst + i * D::kBytes, src + i * S::kBytes, gain);
  }
}

// Forces round-to-nearest for the life of the object when the caller had
// another rounding mode; restores the caller's control word afterwards.
class RoundNearestScope {
 public:
  RoundNearestScope() : m_saved(_mm_getcsr()) {
    if (m_saved & kRoundingBits) _mm_setcsr(m_saved & ~kRoundingBits);
  }
  ~RoundNearestScope() {
    if (m_saved & kRoundingBits) _mm_setcsr(m_saved);
  }
  RoundNearestScope(const RoundNearestScope&) = delete;
  RoundNearestScope& operator=(const RoundNearestScope&) = delete;

 private:
  static constexpr unsigned kRoundingBits = 0x6000;
  unsigned m_saved;
};

}  // namespace vane::audio::detail
