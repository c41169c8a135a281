// SPDX-License-Identifier: MIT
#include "audiopeak/peak_minmax.h"

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "audiopeak/detail/minmax_types.h"

using vane::audiopeak::Layout;
using namespace vane::audiopeak;

namespace {

// Source samples as the loops compare them: re-centred unsigned bytes are
// compared raw (the order is the same), 24-bit packed values are widened.
template <typename T>
struct Plain {
  using Value = T;
  static constexpr size_t kBytes = sizeof(T);
  static Value Load(const BYTE* p) { T v; std::memcpy(&v, p, sizeof v); return v; }
};
struct Packed24 {
  using Value = std::int32_t;
  static constexpr size_t kBytes = 3;
  static Value Load(const BYTE* p) {
    return std::int32_t(std::uint32_t(p[0]) << 8 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 24) >> 8;
  }
};

template <typename V>
inline V Min(V a, V b) { return b < a ? b : a; }
template <typename V>
inline V Max(V a, V b) { return a < b ? b : a; }

// The samples left after the whole rounds go into the first lanes; then the
// 16 lanes fold into their channels. channels divides 16, so it is a power of
// two: a lane's channel is a mask away.
template <typename T>
void FoldLanes(const T* rest, size_t count, WORD channels, T* lmn, T* lmx, T* mn, T* mx) {
  for (size_t l = 0; l < count; ++l) {
    lmn[l] = Min(lmn[l], rest[l]);
    lmx[l] = Max(lmx[l], rest[l]);
  }
  const size_t mask = size_t(channels) - 1;
  for (size_t l = 0; l < 16; ++l) {
    mn[l & mask] = Min(mn[l & mask], lmn[l]);
    mx[l & mask] = Max(mx[l & mask], lmx[l]);
  }
}

// Interleaved samples folded into 16 lanes; with 1, 2, 4, 8 or 16 channels
// lane l always carries channel l % channels, and the fixed-width inner loop
// is one the compiler turns into vector min/max.
template <typename T>
void ScanLanes(const T* s, size_t samples, WORD channels, T* mn, T* mx) {
  constexpr size_t kLanes = 16;
  T lmn[kLanes], lmx[kLanes];
  for (size_t l = 0; l < kLanes; ++l) { lmn[l] = mn[0]; lmx[l] = mx[0]; }
  size_t i = 0;
  for (; i + kLanes <= samples; i += kLanes)
    for (size_t l = 0; l < kLanes; ++l) {
      lmn[l] = Min(lmn[l], s[i + l]);
      lmx[l] = Max(lmx[l], s[i + l]);
    }
  FoldLanes(s + i, samples - i, channels, lmn, lmx, mn, mx);
}

// 16-bit samples, the common case, with SSE2 min/max of eight lanes at a
// time: the same extremes as the plain lanes, found four times faster.
template <>
void ScanLanes<std::int16_t>(const std::int16_t* s, size_t samples, WORD channels, std::int16_t* mn,
                             std::int16_t* mx) {
  constexpr size_t kLanes = 16;
  __m128i mn0 = _mm_set1_epi16(mn[0]), mn1 = mn0, mx0 = _mm_set1_epi16(mx[0]), mx1 = mx0;
  size_t i = 0;
  for (; i + kLanes <= samples; i += kLanes) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 8));
    mn0 = _mm_min_epi16(mn0, a);
    mx0 = _mm_max_epi16(mx0, a);
    mn1 = _mm_min_epi16(mn1, b);
    mx1 = _mm_max_epi16(mx1, b);
  }
  alignas(16) std::int16_t lmn[kLanes], lmx[kLanes];
  _mm_store_si128(reinterpret_cast<__m128i*>(lmn), mn0);
  _mm_store_si128(reinterpret_cast<__m128i*>(lmn + 8), mn1);
  _mm_store_si128(reinterpret_cast<__m128i*>(lmx), mx0);
  _mm_store_si128(reinterpret_cast<__m128i*>(lmx + 8), mx1);
  FoldLanes(s + i, samples - i, channels, lmn, lmx, mn, mx);
}

template <typename Src>
void ScanFrames(const BYTE* src, LONG frames, WORD channels, typename Src::Value* mn, typename Src::Value* mx) {
  for (LONG f = 0; f < frames; ++f)
    for (WORD c = 0; c < channels; ++c, src += Src::kBytes) {
      const typename Src::Value v = Src::Load(src);
      mn[c] = Min(mn[c], v);
      mx[c] = Max(mx[c], v);
    }
}

template <typename Src, Layout kSrc, Layout kPeak>
void MinMaxRoutine(const void* src, LONG frames, WORD channels, void* minmax) {
  using V = typename Src::Value;
  if (frames <= 0 || channels == 0 || !src || !minmax) return;
  // Empty per-channel accumulators in the source type.
  BYTE empty[16];
  WriteEmpty(kSrc == Layout::kS24 ? Layout::kS32 : kSrc, empty);
  V init[2];
  if constexpr (kSrc == Layout::kS24) {
    init[0] = 0x7FFFFF;
    init[1] = -0x800000;
  } else {
    std::memcpy(&init[0], empty, sizeof(V));
    std::memcpy(&init[1], empty + sizeof(V), sizeof(V));
  }
  V small[16 * 2];
  std::vector<V> large;
  V* mn = small;
  if (channels > 16) {
    large.resize(size_t(channels) * 2);
    mn = large.data();
  }
  V* mx = mn + channels;
  for (WORD c = 0; c < channels; ++c) { mn[c] = init[0]; mx[c] = init[1]; }
  const BYTE* bytes = static_cast<const BYTE*>(src);
  if constexpr (kSrc != Layout::kS24) {
    if (16 % channels == 0 && reinterpret_cast<std::uintptr_t>(bytes) % alignof(V) == 0) {
      ScanLanes(reinterpret_cast<const V*>(bytes), size_t(frames) * channels, channels, mn, mx);
    } else {
      ScanFrames<Src>(bytes, frames, channels, mn, mx);
    }
  } else {
    ScanFrames<Src>(bytes, frames, channels, mn, mx);
  }
  // Convert each channel's extremes to the peak type and merge.
  constexpr unsigned kOut = kPeak == Layout::kS16 ? 2 : kPeak == Layout::kS8 ? 1 : 4;
  constexpr Layout kRead = kSrc == Layout::kS24 ? Layout::kS32 : kSrc;
  BYTE* out = static_cast<BYTE*>(minmax);
  for (WORD c = 0; c < channels; ++c, out += 2 * kOut) {
    BYTE raw[8], lo[4], hi[4];
    std::memcpy(raw, &mn[c], sizeof(V));
    if constexpr (kSrc == Layout::kS24) {
      // Widened 24-bit values convert as 24-bit ones.
      WriteInt(Layout::kS24, raw, mn[c]);
      ConvertValue(Layout::kS24, raw, kPeak, lo);
      WriteInt(Layout::kS24, raw, mx[c]);
      ConvertValue(Layout::kS24, raw, kPeak, hi);
    } else {
      ConvertValue(kRead, raw, kPeak, lo);
      std::memcpy(raw, &mx[c], sizeof(V));
      ConvertValue(kRead, raw, kPeak, hi);
    }
    if (Less(kPeak, lo, out)) std::memcpy(out, lo, kOut);
    if (Less(kPeak, out + kOut, hi)) std::memcpy(out + kOut, hi, kOut);
  }
}

template <Layout kPeak>
ZOAUDIOPEAK_MINMAXFUNC ForSource(int sampleType) {
  switch (sampleType) {
    case 16: return &MinMaxRoutine<Plain<std::uint8_t>, Layout::kU8, kPeak>;
    case 49: return &MinMaxRoutine<Plain<std::int8_t>, Layout::kS8, kPeak>;
    case 17: return &MinMaxRoutine<Plain<std::int16_t>, Layout::kS16, kPeak>;
    case 18: return &MinMaxRoutine<Packed24, Layout::kS24, kPeak>;
    case 19: return &MinMaxRoutine<Plain<std::int32_t>, Layout::kS32, kPeak>;
    case 32: return &MinMaxRoutine<Plain<float>, Layout::kF32, kPeak>;
    case 33: return &MinMaxRoutine<Plain<double>, Layout::kF64, kPeak>;
    default: return nullptr;
  }
}

}  // namespace

ZOAUDIOPEAK_MINMAXFUNC ZoAudioPeak_GetMinMaxFunction(int peakType, int sampleType) {
  switch (peakType) {
    case 0: case 17: return ForSource<Layout::kS16>(sampleType);
    case 49: return ForSource<Layout::kS8>(sampleType);
    case 32: return ForSource<Layout::kF32>(sampleType);
    default: return nullptr;
  }
}

HRESULT ZoAudioPeak_CalcMinMax(int sampleType, int peakType, const void* src, LONG frames, WORD channels,
                               void* minmax) {
  const ZOAUDIOPEAK_MINMAXFUNC fn = ZoAudioPeak_GetMinMaxFunction(peakType, sampleType);
  if (!fn) return S_FALSE;
  if (frames > 0 && (!src || !minmax)) return E_POINTER;
  fn(src, frames, channels, minmax);
  return S_OK;
}

UINT ZoAudioPeak_MinMaxElementSize(int type) { return 2 * ValueBytes(LayoutOf(type)); }

HRESULT ZoAudioPeak_InitMinMaxArray(int type, WORD channels, void* minmax) {
  const Layout l = LayoutOf(type);
  if (l == Layout::kNone) return E_INVALIDARG;
  if (channels && !minmax) return E_POINTER;
  BYTE* p = static_cast<BYTE*>(minmax);
  for (WORD c = 0; c < channels; ++c, p += 2 * ValueBytes(l)) WriteEmpty(l, p);
  return S_OK;
}

HRESULT ZoAudioPeak_PrimeMinMaxArray(int type, WORD channels, void* minmax, int otherType, const void* source) {
  const Layout to = LayoutOf(type), from = LayoutOf(otherType);
  if (to == Layout::kNone || from == Layout::kNone) return E_INVALIDARG;
  if (channels && (!minmax || !source)) return E_POINTER;
  const unsigned tn = ValueBytes(to), fn = ValueBytes(from);
  BYTE* d = static_cast<BYTE*>(minmax);
  const BYTE* s = static_cast<const BYTE*>(source);
  for (WORD c = 0; c < channels; ++c, d += 2 * tn, s += 2 * fn) {
    if (Less(from, s + fn, s)) {
      WriteEmpty(to, d);
      continue;
    }
    ConvertValue(from, s, to, d);
    ConvertValue(from, s + fn, to, d + tn);
  }
  return S_OK;
}

HRESULT ZoAudioPeak_MergeMinMaxArray(int type, WORD channels, void* minmax, const void* other) {
  const Layout l = LayoutOf(type);
  if (l == Layout::kNone) return E_INVALIDARG;
  if (channels && (!minmax || !other)) return E_POINTER;
  const unsigned n = ValueBytes(l);
  BYTE* d = static_cast<BYTE*>(minmax);
  const BYTE* s = static_cast<const BYTE*>(other);
  for (WORD c = 0; c < channels; ++c, d += 2 * n, s += 2 * n) {
    if (Less(l, s, d)) std::memcpy(d, s, n);
    if (Less(l, d + n, s + n)) std::memcpy(d + n, s + n, n);
  }
  return S_OK;
}
