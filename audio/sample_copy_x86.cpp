// SPDX-License-Identifier: MIT
// Vector variants of the busiest copy routines, for SSE2 (every x86-64) and
// AVX2 (per-function target, so the library still runs without it).
//
// Each variant computes exactly what the plain rule computes, eight samples
// at a time:
// - single-float sources are scaled in single precision: x * gain is what
//   the rule forms anyway, and multiplying by the power-of-two full scale is
//   exact (an overflow to infinity clips just as the large double would);
//   the clip bounds of 16 and 24 bits are exact in single precision too;
// - the conversion instructions round to nearest-even under the control word
//   that the routine forces, which is what the 1.5 * 2^52 add does for
//   in-range values;
// - NaN is the one value where the two differ (the add keeps the NaN's low
//   bits, the instruction gives 0x80000000): a block holding a NaN after
//   scaling is redone by the plain rule before anything is stored.
// A NaN gain, tails and NaN blocks use the plain rule; loads and stores never leave the
// caller's buffers, and the block order keeps in-place work safe.
#include <immintrin.h>

#include "audio/detail/copy_variants.h"
#include "audio/detail/sample_traits.h"

namespace vane::audio::detail {
namespace {

constexpr long kBlock = 8;

// Samples per block of a kernel: kBlockSize when it declares one, else 8.
template <typename K>
constexpr long BlockOf() {
  if constexpr (requires { K::kBlockSize; }) return K::kBlockSize;
  else return kBlock;
}

using T16 = Traits<ZOSAMPLE_PCM16>;
using T24 = Traits<ZOSAMPLE_PCM24>;
using TF = Traits<ZOSAMPLE_FLOAT32>;
using TD = Traits<ZOSAMPLE_FLOAT64>;

// --- SSE2 building blocks ------------------------------------------------------

template <bool kUnit>
inline bool Sse2FromF32(const BYTE* s, float gain, float scale, __m128i& i0, __m128i& i1) {
  __m128 a = _mm_loadu_ps(reinterpret_cast<const float*>(s));
  __m128 b = _mm_loadu_ps(reinterpret_cast<const float*>(s) + 4);
  if constexpr (!kUnit) {
    const __m128 g = _mm_set1_ps(gain);
    a = _mm_mul_ps(a, g);
    b = _mm_mul_ps(b, g);
  }
  const __m128 f = _mm_set1_ps(scale);
  a = _mm_mul_ps(a, f);
  b = _mm_mul_ps(b, f);
  if (_mm_movemask_ps(_mm_or_ps(_mm_cmpunord_ps(a, a), _mm_cmpunord_ps(b, b)))) return false;
  const __m128 lo = _mm_set1_ps(-scale), hi = _mm_set1_ps(scale - 1.0f);
  i0 = _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(a, lo), hi));
  i1 = _mm_cvtps_epi32(_mm_min_ps(_mm_max_ps(b, lo), hi));
  return true;
}

template <bool kUnit>
inline bool Sse2FromF64(const BYTE* s, float gain, double scale, __m128i& i0, __m128i& i1) {
  const double* p = reinterpret_cast<const double*>(s);
  __m128d v[4] = {_mm_loadu_pd(p), _mm_loadu_pd(p + 2), _mm_loadu_pd(p + 4), _mm_loadu_pd(p + 6)};
  const __m128d g = _mm_set1_pd(static_cast<double>(gain)), f = _mm_set1_pd(scale);
  __m128d nan = _mm_setzero_pd();
  for (__m128d& x : v) {
    if constexpr (!kUnit) x = _mm_mul_pd(x, g);
    x = _mm_mul_pd(x, f);
    nan = _mm_or_pd(nan, _mm_cmpunord_pd(x, x));
  }
  if (_mm_movemask_pd(nan)) return false;
  const __m128d lo = _mm_set1_pd(-scale), hi = _mm_set1_pd(scale - 1.0);
  __m128i c[4];
  for (int k = 0; k < 4; ++k) c[k] = _mm_cvtpd_epi32(_mm_min_pd(_mm_max_pd(v[k], lo), hi));
  i0 = _mm_unpacklo_epi64(c[0], c[1]);
  i1 = _mm_unpacklo_epi64(c[2], c[3]);
  return true;
}

inline void Sse2StoreS16(BYTE* d, __m128i i0, __m128i i1) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packs_epi32(i0, i1));
}

inline void Sse2StoreS24(BYTE* d, __m128i i0, __m128i i1) {
  alignas(16) int32_t v[8];
  _mm_store_si128(reinterpret_cast<__m128i*>(v), i0);
  _mm_store_si128(reinterpret_cast<__m128i*>(v + 4), i1);
  for (int k = 0; k < 8; ++k) T24::Store(d + 3 * k, v[k]);
}

inline void Sse2LoadS16(const BYTE* s, __m128i& i0, __m128i& i1) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  i0 = _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
  i1 = _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
}

// --- SSE2 kernels: Block<kUnit>(dst, src, gain) converts eight samples and
// returns false, having stored nothing, when the plain rule must do them.

// Float or double to 16- or packed 24-bit: scale by the word's full scale,
// then the clipping, rounding conversion of the source width.
template <typename SrcT, int kDstBits>
struct Sse2FloatToInt {
  using D = std::conditional_t<kDstBits == 16, T16, T24>;
  using S = SrcT;
  template <bool U>
  static bool Block(BYTE* d, const BYTE* s, float g) {
    __m128i a, b;
    bool ok;
    if constexpr (S::kBytes == 4) ok = Sse2FromF32<U>(s, g, static_cast<float>(D::kScale), a, b);
    else ok = Sse2FromF64<U>(s, g, D::kScale, a, b);
    if (!ok) return false;
    if constexpr (kDstBits == 16) Sse2StoreS16(d, a, b);
    else Sse2StoreS24(d, a, b);
    return true;
  }
};

template <typename SrcT>
struct Sse2IntToF32 {
  using D = TF;
  using S = SrcT;
  template <bool U>
  static bool Block(BYTE* d, const BYTE* s, float g) {
    __m128i a, b;
    if constexpr (S::kBytes == 2) {
      Sse2LoadS16(s, a, b);
    } else {
      alignas(16) int32_t v[8];
      for (int k = 0; k < 8; ++k) v[k] = S::Load(s + S::kBytes * k);
      a = _mm_load_si128(reinterpret_cast<const __m128i*>(v));
      b = _mm_load_si128(reinterpret_cast<const __m128i*>(v + 4));
    }
    const __m128 k = _mm_set1_ps(U ? static_cast<float>(S::kInv) : g * static_cast<float>(S::kInv));
    float* out = reinterpret_cast<float*>(d);
    _mm_storeu_ps(out, _mm_mul_ps(_mm_cvtepi32_ps(a), k));
    _mm_storeu_ps(out + 4, _mm_mul_ps(_mm_cvtepi32_ps(b), k));
    return true;
  }
};
struct Sse2S16ToF64 {
  using D = TD;
  using S = T16;
  template <bool U>
  static bool Block(BYTE* d, const BYTE* s, float g) {
    __m128i a, b;
    Sse2LoadS16(s, a, b);
    const __m128d k = _mm_set1_pd(U ? S::kInv : static_cast<double>(g) * S::kInv);
    double* out = reinterpret_cast<double*>(d);
    _mm_storeu_pd(out, _mm_mul_pd(_mm_cvtepi32_pd(a), k));
    _mm_storeu_pd(out + 2, _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(a, 8)), k));
    _mm_storeu_pd(out + 4, _mm_mul_pd(_mm_cvtepi32_pd(b), k));
    _mm_storeu_pd(out + 6, _mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(b, 8)), k));
    return true;
  }
};
struct Sse2F32ToF64 {
  using D = TD;
  using S = TF;
  template <bool U>
  static bool Block(BYTE* d, const BYTE* s, float g) {
    __m128 a = _mm_loadu_ps(reinterpret_cast<const float*>(s));
    __m128 b = _mm_loadu_ps(reinterpret_cast<const float*>(s) + 4);
    if constexpr (!U) {
      a = _mm_mul_ps(a, _mm_set1_ps(g));
      b = _mm_mul_ps(b, _mm_set1_ps(g));
    }
    double* out = reinterpret_cast<double*>(d);
    _mm_storeu_pd(out, _mm_cvtps_pd(a));
    _mm_storeu_pd(out + 2, _mm_cvtps_pd(_mm_movehl_ps(a, a)));
    _mm_storeu_pd(out + 4, _mm_cvtps_pd(b));
    _mm_storeu_pd(out + 6, _mm_cvtps_pd(_mm_movehl_ps(b, b)));
    return true;
  }
};
struct Sse2F64ToF32 {
  using D = TF;
  using S = TD;
  template <bool U>
  static bool Block(BYTE* d, const BYTE* s, float g) {
    const double* p = reinterpret_cast<const double*>(s);
    __m128d v[4] = {_mm_loadu_pd(p), _mm_loadu_pd(p + 2), _mm_loadu_pd(p + 4), _mm_loadu_pd(p + 6)};
    if constexpr (!U)
      for (__m128d& x : v) x = _mm_mul_pd(x, _mm_set1_pd(static_cast<double>(g)));
    float* out = reinterpret_cast<float*>(d);
    _mm_storeu_ps(out, _mm_movelh_ps(_mm_cvtpd_ps(v[0]), _mm_cvtpd_ps(v[1])));
    _mm_storeu_ps(out + 4, _mm_movelh_ps(_mm_cvtpd_ps(v[2]), _mm_cvtpd_ps(v[3])));
    return true;
  }
};

// --- AVX2 kernels ----------------------------------------------------------------

#define VANE_AVX2 __attribute__((target("avx2")))

template <bool kUnit>
VANE_AVX2 inline bool Avx2FromF32(const BYTE* s, float gain, float scale, __m256i& out) {
  __m256 a = _mm256_loadu_ps(reinterpret_cast<const float*>(s));
  if constexpr (!kUnit) a = _mm256_mul_ps(a, _mm256_set1_ps(gain));
  a = _mm256_mul_ps(a, _mm256_set1_ps(scale));
  if (_mm256_movemask_ps(_mm256_cmp_ps(a, a, _CMP_UNORD_Q))) return false;
  a = _mm256_min_ps(_mm256_max_ps(a, _mm256_set1_ps(-scale)), _mm256_set1_ps(scale - 1.0f));
  out = _mm256_cvtps_epi32(a);
  return true;
}

template <bool kUnit>
VANE_AVX2 inline bool Avx2FromF64(const BYTE* s, float gain, double scale, __m256i& out) {
  const double* p = reinterpret_cast<const double*>(s);
  __m256d a = _mm256_loadu_pd(p), b = _mm256_loadu_pd(p + 4);
  if constexpr (!kUnit) {
    const __m256d g = _mm256_set1_pd(static_cast<double>(gain));
    a = _mm256_mul_pd(a, g);
    b = _mm256_mul_pd(b, g);
  }
  const __m256d f = _mm256_set1_pd(scale);
  a = _mm256_mul_pd(a, f);
  b = _mm256_mul_pd(b, f);
  if (_mm256_movemask_pd(_mm256_or_pd(_mm256_cmp_pd(a, a, _CMP_UNORD_Q), _mm256_cmp_pd(b, b, _CMP_UNORD_Q))))
    return false;
  const __m256d lo = _mm256_set1_pd(-scale), hi = _mm256_set1_pd(scale - 1.0);
  const __m128i ia = _mm256_cvtpd_epi32(_mm256_min_pd(_mm256_max_pd(a, lo), hi));
  const __m128i ib = _mm256_cvtpd_epi32(_mm256_min_pd(_mm256_max_pd(b, lo), hi));
  out = _mm256_inserti128_si256(_mm256_castsi128_si256(ia), ib, 1);
  return true;
}

VANE_AVX2 inline void Avx2StoreS16(BYTE* d, __m256i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                   _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// Twelve bytes of one 128-bit lane already packed in its low bytes.
VANE_AVX2 inline void Store12(BYTE* d, __m128i v) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(d), v);
  const int32_t w = _mm_cvtsi128_si32(_mm_srli_si128(v, 8));
  std::memcpy(d + 8, &w, 4);
}

VANE_AVX2 inline void Avx2StoreS24(BYTE* d, __m256i v) {
  const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                        0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const __m256i p = _mm256_shuffle_epi8(v, pack);
  Store12(d, _mm256_castsi256_si128(p));
  Store12(d + 12, _mm256_extracti128_si256(p, 1));
}

// Eight packed 24-bit samples (24 bytes, read exactly) as sign-extended int32.
VANE_AVX2 inline __m256i Avx2LoadS24(const BYTE* s) {
  const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 8));
  const __m256i v = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
  // Each sample into the top three bytes of its word, then an arithmetic
  // shift brings the sign down.
  const __m256i spread = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11,  //
                                          -1, 4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15);
  return _mm256_srai_epi32(_mm256_shuffle_epi8(v, spread), 8);
}

VANE_AVX2 inline __m256i Avx2LoadS16(const BYTE* s) {
  return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
}

// Sixteen single floats times the gain (unless unit) and the full scale.
// False when any is NaN: the plain rule decides those.
template <bool kUnit>
VANE_AVX2 inline bool Avx2ScaledF32x16(const BYTE* s, float g, float scale, __m256& a, __m256& b) {
  a = _mm256_loadu_ps(reinterpret_cast<const float*>(s));
  b = _mm256_loadu_ps(reinterpret_cast<const float*>(s) + 8);
  if constexpr (!kUnit) {
    const __m256 gv = _mm256_set1_ps(g);
    a = _mm256_mul_ps(a, gv);
    b = _mm256_mul_ps(b, gv);
  }
  const __m256 f = _mm256_set1_ps(scale);
  a = _mm256_mul_ps(a, f);
  b = _mm256_mul_ps(b, f);
  return !_mm256_movemask_ps(_mm256_or_ps(_mm256_cmp_ps(a, a, _CMP_UNORD_Q), _mm256_cmp_ps(b, b, _CMP_UNORD_Q)));
}

// Single float to 16-bit, sixteen samples a block. Only the top needs an
// explicit clip: below -32768 the conversion gives a smaller integer or the
// 0x80000000 of an overflow, and the saturating pack makes either -32768.
// The top clip keeps +2^31 and above from turning into that same pattern.
struct Avx2F32ToS16 {
  using D = T16;
  using S = TF;
  static constexpr long kBlockSize = 16;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    __m256 a, b;
    if (!Avx2ScaledF32x16<U>(s, g, 32768.0f, a, b)) return false;
    const __m256 hi = _mm256_set1_ps(32767.0f);
    const __m256i ia = _mm256_cvtps_epi32(_mm256_min_ps(a, hi));
    const __m256i ib = _mm256_cvtps_epi32(_mm256_min_ps(b, hi));
    // The pack works within lanes; the permute puts the quarters in order.
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(ia, ib), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), packed);
    return true;
  }
};

// Single float to packed 24-bit, sixteen samples (48 bytes) a block. Each
// vector of eight is packed to 24 contiguous bytes; the first is stored as
// 32 bytes whose last 8 the second vector's stores then overwrite, so that
// nothing is written beyond the block.
struct Avx2F32ToS24 {
  using D = T24;
  using S = TF;
  static constexpr long kBlockSize = 16;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    __m256 a, b;
    if (!Avx2ScaledF32x16<U>(s, g, 8388608.0f, a, b)) return false;
    const __m256 lo = _mm256_set1_ps(-8388608.0f), hi = _mm256_set1_ps(8388607.0f);
    const __m256i ia = _mm256_cvtps_epi32(_mm256_min_ps(_mm256_max_ps(a, lo), hi));
    const __m256i ib = _mm256_cvtps_epi32(_mm256_min_ps(_mm256_max_ps(b, lo), hi));
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                          0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    const __m256i pa = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(ia, pack), join);
    const __m256i pb = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(ib, pack), join);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), pa);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 24), _mm256_castsi256_si128(pb));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 40), _mm256_extracti128_si256(pb, 1));
    return true;
  }
};

template <typename SrcT, int kDstBits>
struct Avx2FloatToInt {
  using D = std::conditional_t<kDstBits == 16, T16, T24>;
  using S = SrcT;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    __m256i v;
    bool ok;
    if constexpr (S::kBytes == 4) ok = Avx2FromF32<U>(s, g, static_cast<float>(D::kScale), v);
    else ok = Avx2FromF64<U>(s, g, D::kScale, v);
    if (!ok) return false;
    if constexpr (kDstBits == 16) Avx2StoreS16(d, v);
    else Avx2StoreS24(d, v);
    return true;
  }
};

template <typename SrcT>
struct Avx2IntToF32 {
  using D = TF;
  using S = SrcT;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    __m256i v;
    if constexpr (S::kBytes == 2) v = Avx2LoadS16(s);
    else v = Avx2LoadS24(s);
    const __m256 k = _mm256_set1_ps(U ? static_cast<float>(S::kInv) : g * static_cast<float>(S::kInv));
    _mm256_storeu_ps(reinterpret_cast<float*>(d), _mm256_mul_ps(_mm256_cvtepi32_ps(v), k));
    return true;
  }
};

struct Avx2S16ToF64 {
  using D = TD;
  using S = T16;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    const __m256i v = Avx2LoadS16(s);
    const __m256d k = _mm256_set1_pd(U ? S::kInv : static_cast<double>(g) * S::kInv);
    double* out = reinterpret_cast<double*>(d);
    _mm256_storeu_pd(out, _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(v)), k));
    _mm256_storeu_pd(out + 4, _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)), k));
    return true;
  }
};

struct Avx2F32ToF64 {
  using D = TD;
  using S = TF;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    __m256 a = _mm256_loadu_ps(reinterpret_cast<const float*>(s));
    if constexpr (!U) a = _mm256_mul_ps(a, _mm256_set1_ps(g));
    double* out = reinterpret_cast<double*>(d);
    _mm256_storeu_pd(out, _mm256_cvtps_pd(_mm256_castps256_ps128(a)));
    _mm256_storeu_pd(out + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(a, 1)));
    return true;
  }
};

struct Avx2F64ToF32 {
  using D = TF;
  using S = TD;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float g) {
    const double* p = reinterpret_cast<const double*>(s);
    __m256d a = _mm256_loadu_pd(p), b = _mm256_loadu_pd(p + 4);
    if constexpr (!U) {
      const __m256d gd = _mm256_set1_pd(static_cast<double>(g));
      a = _mm256_mul_pd(a, gd);
      b = _mm256_mul_pd(b, gd);
    }
    float* out = reinterpret_cast<float*>(d);
    _mm_storeu_ps(out, _mm256_cvtpd_ps(a));
    _mm_storeu_ps(out + 4, _mm256_cvtpd_ps(b));
    return true;
  }
};

// 16-bit to packed 24-bit at unit gain: each sample becomes 0x00, lo, hi.
struct Avx2S16ToS24 {
  using D = T24;
  using S = T16;
  template <bool U>
  VANE_AVX2 static bool Block(BYTE* d, const BYTE* s, float) {
    if constexpr (!U) {
      return false;  // the gain path is the double-precision rule
    } else {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
      const __m128i m0 = _mm_setr_epi8(-1, 0, 1, -1, 2, 3, -1, 4, 5, -1, 6, 7, -1, 8, 9, -1);
      const __m128i m1 = _mm_setr_epi8(10, 11, -1, 12, 13, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_shuffle_epi8(v, m0));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm_shuffle_epi8(v, m1));
      return true;
    }
  }
};

// --- block runners -------------------------------------------------------------

// Wider destinations run from the top down (the tail first), the others
// upward, as the plain rule does. A kernel that refuses a block leaves it to
// the plain rule.
#define VANE_DEFINE_RUNNER(Name, Attr)                                                                   \
  template <typename K, bool U>                                                                          \
  Attr __attribute__((noinline)) void Name##Blocks(BYTE* dst, const BYTE* src, long n, float gain) {              \
    using D = typename K::D;                                                                             \
    using S = typename K::S;                                                                             \
    constexpr long kB = BlockOf<K>();                                                                    \
    const long full = n / kB * kB;                                                                       \
    /* Downward only when the buffers overlap: upward streams prefetch best. */                          \
    const bool apart = dst + n * D::kBytes <= src || src + n * S::kBytes <= dst;                         \
    if (D::kBytes > S::kBytes && !apart) {                                                               \
      ConvertRange<D, S, U>(dst, src, full, n, gain);                                                    \
      for (long i = full - kB; i >= 0; i -= kB)                                                          \
        if (!K::template Block<U>(dst + i * D::kBytes, src + i * S::kBytes, gain))                       \
          ConvertRange<D, S, U>(dst, src, i, i + kB, gain);                                              \
    } else {                                                                                             \
      for (long i = 0; i < full; i += kB)                                                                \
        if (!K::template Block<U>(dst + i * D::kBytes, src + i * S::kBytes, gain))                       \
          ConvertRange<D, S, U>(dst, src, i, i + kB, gain);                                              \
      ConvertRange<D, S, U>(dst, src, full, n, gain);                                                    \
    }                                                                                                    \
  }                                                                                                      \
  template <typename K>                                                                                  \
  void Name##Routine(void* dst, const void* src, LONG samples, float gain) {                             \
    if (samples <= 0) return;                                                                            \
    RoundNearestScope scope;                                                                             \
    BYTE* d = static_cast<BYTE*>(dst);                                                                   \
    const BYTE* s = static_cast<const BYTE*>(src);                                                       \
    if (gain == 1.0f) Name##Blocks<K, true>(d, s, samples, gain);                                        \
    else if (gain != gain) ConvertRange<typename K::D, typename K::S, false>(d, s, 0, samples, gain);     \
    else Name##Blocks<K, false>(d, s, samples, gain);                                                    \
  }

VANE_DEFINE_RUNNER(Sse2, )
VANE_DEFINE_RUNNER(Avx2, VANE_AVX2)

int Index(ZOSAMPLETYPE t) { return TableIndex(t); }

}  // namespace

ZOAUDIO_COPYFUNC Sse2Routine(int di, int si) {
  struct Row {
    ZOSAMPLETYPE dst, src;
    ZOAUDIO_COPYFUNC fn;
  };
  static const Row kRows[] = {
      {ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT32, &Sse2Routine<Sse2FloatToInt<TF, 16>>},
      {ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT64, &Sse2Routine<Sse2FloatToInt<TD, 16>>},
      {ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT32, &Sse2Routine<Sse2FloatToInt<TF, 24>>},
      {ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT64, &Sse2Routine<Sse2FloatToInt<TD, 24>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM16, &Sse2Routine<Sse2IntToF32<T16>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM24, &Sse2Routine<Sse2IntToF32<T24>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_FLOAT64, &Sse2Routine<Sse2F64ToF32>},
      {ZOSAMPLE_FLOAT64, ZOSAMPLE_PCM16, &Sse2Routine<Sse2S16ToF64>},
      {ZOSAMPLE_FLOAT64, ZOSAMPLE_FLOAT32, &Sse2Routine<Sse2F32ToF64>},
  };
  for (const Row& r : kRows)
    if (Index(r.dst) == di && Index(r.src) == si) return r.fn;
  return nullptr;
}

ZOAUDIO_COPYFUNC Avx2Routine(int di, int si) {
  struct Row {
    ZOSAMPLETYPE dst, src;
    ZOAUDIO_COPYFUNC fn;
  };
  static const Row kRows[] = {
      {ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT32, &Avx2Routine<Avx2F32ToS16>},
      {ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT64, &Avx2Routine<Avx2FloatToInt<TD, 16>>},
      {ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT32, &Avx2Routine<Avx2F32ToS24>},
      {ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT64, &Avx2Routine<Avx2FloatToInt<TD, 24>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM16, &Avx2Routine<Avx2IntToF32<T16>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM24, &Avx2Routine<Avx2IntToF32<T24>>},
      {ZOSAMPLE_FLOAT32, ZOSAMPLE_FLOAT64, &Avx2Routine<Avx2F64ToF32>},
      {ZOSAMPLE_FLOAT64, ZOSAMPLE_PCM16, &Avx2Routine<Avx2S16ToF64>},
      {ZOSAMPLE_FLOAT64, ZOSAMPLE_FLOAT32, &Avx2Routine<Avx2F32ToF64>},
      {ZOSAMPLE_PCM24, ZOSAMPLE_PCM16, &Avx2Routine<Avx2S16ToS24>},
  };
  for (const Row& r : kRows)
    if (Index(r.dst) == di && Index(r.src) == si) return r.fn;
  return nullptr;
}

}  // namespace vane::audio::detail
