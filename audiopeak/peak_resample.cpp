// SPDX-License-Identifier: MIT
// Re-sampling a series of (min, max) records to a coarser step.
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "audiopeak/detail/minmax_types.h"
#include "audiopeak/peak_minmax.h"

using namespace vane::audiopeak;

namespace {

template <typename T>
void ResampleRoutine(const void* src, LONGLONG srcRecords, LONGLONG srcStep, void* dst, LONGLONG dstRecords,
                     LONGLONG dstStep, WORD channels) {
  if (!src || !dst || channels == 0 || srcStep < 1 || dstStep < srcStep) return;
  const T* s = static_cast<const T*>(src);
  T* d = static_cast<T*>(dst);
  const size_t record = size_t(channels) * 2;
  for (LONGLONG i = 0; i < dstRecords; ++i) {
    T* out = d + size_t(i) * record;
    // Source records overlapping frames [i * dstStep, (i + 1) * dstStep).
    const LONGLONG first = i * dstStep / srcStep;
    LONGLONG end = ((i + 1) * dstStep + srcStep - 1) / srcStep;
    if (end > srcRecords) end = srcRecords;
    bool any = false;
    for (LONGLONG j = first; j < end; ++j) {
      const T* in = s + size_t(j) * record;
      for (size_t c = 0; c < record; c += 2) {
        if (!any || in[c] < out[c]) out[c] = in[c];
        if (!any || out[c + 1] < in[c + 1]) out[c + 1] = in[c + 1];
      }
      any = true;
    }
    if (!any) ZoAudioPeak_InitMinMaxArray(sizeof(T) == 1 ? 49 : sizeof(T) == 2 ? 17 : std::is_same_v<T, float> ? 32 : 19,
                                          channels, out);
  }
}

}  // namespace

ZOAUDIOPEAK_RESAMPLEFUNC ZoAudioPeak_GetPeakResampleFunction(int peakType, BOOL upward) {
  if (upward) return nullptr;
  switch (peakType) {
    case 0: case 17: return &ResampleRoutine<std::int16_t>;
    case 19: return &ResampleRoutine<std::int32_t>;
    case 32: return &ResampleRoutine<float>;
    case 49: return &ResampleRoutine<std::int8_t>;
    default: return nullptr;
  }
}

HRESULT ZoAudioPeak_Resample(int peakType, const void* src, LONGLONG srcRecords, LONGLONG srcStep, void* dst,
                             LONGLONG dstRecords, LONGLONG dstStep, WORD channels) {
  if (srcStep < 1 || dstStep < 1 || srcRecords < 0 || dstRecords < 0) return E_INVALIDARG;
  const ZOAUDIOPEAK_RESAMPLEFUNC fn = ZoAudioPeak_GetPeakResampleFunction(peakType, dstStep < srcStep);
  if (!fn) return E_UNEXPECTED;
  if ((srcRecords && !src) || (dstRecords && !dst)) return E_POINTER;
  fn(src, srcRecords, srcStep, dst, dstRecords, dstStep, channels);
  return S_OK;
}
