// SPDX-License-Identifier: MIT
// Channel operations over interleaved buffers.
#include "audio/channel_ops.h"

#include <array>
#include <cstring>
#include <utility>

#include "audio/detail/sample_traits.h"
#include "platform/status.h"

using namespace vane::audio::detail;

namespace {

// --- strided copy table ------------------------------------------------------------

template <ZOSAMPLETYPE DT, ZOSAMPLETYPE ST>
void StridedCopy(void* dst, ULONG dstStride, ULONG dstChannel, const void* src, ULONG srcStride, ULONG srcChannel,
                 LONG frames) {
  using D = Traits<DT>;
  using S = Traits<ST>;
  if (frames <= 0) return;
  BYTE* d = static_cast<BYTE*>(dst) + static_cast<size_t>(dstChannel) * D::kBytes;
  const BYTE* s = static_cast<const BYTE*>(src) + static_cast<size_t>(srcChannel) * S::kBytes;
  if constexpr (DT == ST) {
    if (d == s && dstStride > srcStride) return;
  }
  const size_t ds = static_cast<size_t>(dstStride) * D::kBytes, ss = static_cast<size_t>(srcStride) * S::kBytes;
  RoundNearestScope scope;
  // A destination that advances faster than its source runs from the end so
  // that in-place spreading never overwrites what is still to be read.
  if (ds > ss || (ds == ss && D::kBytes > S::kBytes)) {
    for (LONG f = frames - 1; f >= 0; --f) ConvertOne<D, S, true>(d + f * ds, s + f * ss, 1.0f);
  } else {
    for (LONG f = 0; f < frames; ++f) ConvertOne<D, S, true>(d + f * ds, s + f * ss, 1.0f);
  }
}

template <int DI, int SI>
constexpr ZOAUDIO_COPYCHANNELSFUNC StridedEntry() {
  if constexpr (!PairExists(kTableTypes[DI], kTableTypes[SI])) return nullptr;
  else return &StridedCopy<kTableTypes[DI], kTableTypes[SI]>;
}
template <int DI, size_t... SI>
constexpr std::array<ZOAUDIO_COPYCHANNELSFUNC, 11> StridedRow(std::index_sequence<SI...>) {
  return {StridedEntry<DI, int(SI)>()...};
}
template <size_t... DI>
constexpr std::array<std::array<ZOAUDIO_COPYCHANNELSFUNC, 11>, 11> StridedTable(std::index_sequence<DI...>) {
  return {StridedRow<int(DI)>(std::make_index_sequence<11>())...};
}
constexpr auto kStridedTable = StridedTable(std::make_index_sequence<11>());

// Calls f with the traits of a table type; false for other types.
template <typename F>
bool WithTraits(ZOSAMPLETYPE type, F&& f) {
  switch (type) {
    case ZOSAMPLE_PCM8: f(Traits<ZOSAMPLE_PCM8>{}); return true;
    case ZOSAMPLE_PCM16: f(Traits<ZOSAMPLE_PCM16>{}); return true;
    case ZOSAMPLE_PCM24: f(Traits<ZOSAMPLE_PCM24>{}); return true;
    case ZOSAMPLE_PCM32: f(Traits<ZOSAMPLE_PCM32>{}); return true;
    case ZOSAMPLE_FLOAT32: f(Traits<ZOSAMPLE_FLOAT32>{}); return true;
    case ZOSAMPLE_FLOAT64: f(Traits<ZOSAMPLE_FLOAT64>{}); return true;
    case ZOSAMPLE_PCM24_UNPACKED: f(Traits<ZOSAMPLE_PCM24_UNPACKED>{}); return true;
    case ZOSAMPLE_PCM8_SIGNED: f(Traits<ZOSAMPLE_PCM8_SIGNED>{}); return true;
    case ZOSAMPLE_PCM16_BE: f(Traits<ZOSAMPLE_PCM16_BE>{}); return true;
    case ZOSAMPLE_PCM24_BE: f(Traits<ZOSAMPLE_PCM24_BE>{}); return true;
    case ZOSAMPLE_PCM32_BE: f(Traits<ZOSAMPLE_PCM32_BE>{}); return true;
    default: return false;
  }
}

// Sample width of a table type; the channel moves go by width, not meaning.
size_t WidthOf(ZOSAMPLETYPE type) { return TableIndex(type) >= 0 ? ZoAudio_BytesFromSampleType(type) : 0; }

// Types up to double float: the range of mono mixes and swaps.
bool IsBasicType(ZOSAMPLETYPE type) { return type >= ZOSAMPLE_PCM8 && type <= ZOSAMPLE_FLOAT64 && TableIndex(type) >= 0; }

HRESULT ChangeImpl(void* dst, WORD dstChannels, const void* src, const tWAVEFORMATEX* srcWfx, LONG frames,
                   bool average) {
  if (frames < 1) return S_OK;
  if (srcWfx == nullptr) return E_FAIL;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(srcWfx);
  const WORD srcChannels = srcWfx->nChannels;
  if (TableIndex(type) < 0 || srcChannels == 0 || dstChannels == 0) return E_FAIL;
  const size_t width = WidthOf(type);
  if (dstChannels == srcChannels) {
    if (dst != src) std::memmove(dst, src, width * srcChannels * static_cast<size_t>(frames));
    return S_OK;
  }
  const BYTE* s = static_cast<const BYTE*>(src);
  BYTE* d = static_cast<BYTE*>(dst);
  if (dstChannels == 1) {
    WithTraits(type, [&](auto t) {
      using T = decltype(t);
      RoundNearestScope scope;
      for (LONG f = 0; f < frames; ++f) {
        const BYTE* frame = s + static_cast<size_t>(f) * width * srcChannels;
        double sum = 0.0;
        for (WORD c = 0; c < srcChannels; ++c) {
          if constexpr (T::kFloat) sum += static_cast<double>(T::Load(frame + c * width));
          else sum += static_cast<double>(T::Load(frame + c * width)) * T::kInv;
        }
        if (average) sum /= srcChannels;
        if constexpr (T::kFloat) T::Store(d + f * width, static_cast<typename T::Value>(sum));
        else T::Store(d + f * width, ClipRound<T>(sum * T::kScale));
      }
    });
    return S_OK;
  }
  if (srcChannels != 1) return E_FAIL;
  // Spread from the last frame and channel down, so that dst may be src.
  for (LONG f = frames - 1; f >= 0; --f) {
    BYTE sample[8];
    std::memcpy(sample, s + static_cast<size_t>(f) * width, width);
    for (int c = dstChannels - 1; c >= 0; --c)
      std::memcpy(d + (static_cast<size_t>(f) * dstChannels + c) * width, sample, width);
  }
  return S_OK;
}

template <typename T>
void StoreMonoAll(BYTE* frame, size_t width, WORD channels, T value, void (*store)(BYTE*, T)) {
  for (WORD c = 0; c < channels; ++c) store(frame + c * width, value);
}

}  // namespace

ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(ZOSAMPLETYPE dstType, ZOSAMPLETYPE srcType) {
  const int di = TableIndex(dstType), si = TableIndex(srcType);
  return di < 0 || si < 0 ? nullptr : kStridedTable[di][si];
}
ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(const tWAVEFORMATEX* dst, const tWAVEFORMATEX* src) {
  return ZoAudio_GetCopyChannelsFunction(ZoAudio_GetSampleType(dst), ZoAudio_GetSampleType(src));
}
ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(const _zowaveformat* dst, const _zowaveformat* src) {
  if (dst == nullptr || src == nullptr) return nullptr;
  return ZoAudio_GetCopyChannelsFunction(dst->sampleType, src->sampleType);
}

HRESULT ZoAudio_CopyChannels(const tWAVEFORMATEX* dstWfx, void* dst, const WORD* dstChannels,
                             const tWAVEFORMATEX* srcWfx, const void* src, const WORD* srcChannels, WORD count,
                             LONG frames) {
  ZOAUDIO_COPYCHANNELSFUNC fn = ZoAudio_GetCopyChannelsFunction(dstWfx, srcWfx);
  if (fn == nullptr) return E_NOTIMPL;
  if (frames < 1) return S_OK;
  for (WORD i = 0; i < count; ++i)
    if (dstChannels[i] >= dstWfx->nChannels || srcChannels[i] >= srcWfx->nChannels) return E_INVALIDARG;
  for (WORD i = 0; i < count; ++i)
    fn(dst, dstWfx->nChannels, dstChannels[i], src, srcWfx->nChannels, srcChannels[i], frames);
  return S_OK;
}

HRESULT ZoAudio_ChannelChange(void* dst, WORD dstChannels, const void* src, const tWAVEFORMATEX* srcWfx, LONG frames) {
  return ChangeImpl(dst, dstChannels, src, srcWfx, frames, false);
}

HRESULT ZoAudio_ChannelChangeAvg(void* dst, WORD dstChannels, const void* src, const tWAVEFORMATEX* srcWfx,
                                 LONG frames) {
  return ChangeImpl(dst, dstChannels, src, srcWfx, frames, true);
}

HRESULT ZoAudio_MonoChannel(void* dst, const void* src, const tWAVEFORMATEX* wfx, LONG frames) {
  if (wfx == nullptr) return E_FAIL;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(wfx);
  if (!IsBasicType(type) || wfx->nChannels == 0) return E_FAIL;
  if (frames < 1) return S_OK;
  const WORD n = wfx->nChannels;
  const size_t width = WidthOf(type), frameBytes = width * n;
  if (n == 1) {
    if (dst != src) std::memmove(dst, src, frameBytes * static_cast<size_t>(frames));
    return S_OK;
  }
  const BYTE* s = static_cast<const BYTE*>(src);
  BYTE* d = static_cast<BYTE*>(dst);
  RoundNearestScope scope;
  for (LONG f = 0; f < frames; ++f) {
    const BYTE* in = s + static_cast<size_t>(f) * frameBytes;
    BYTE* out = d + static_cast<size_t>(f) * frameBytes;
    switch (type) {
      case ZOSAMPLE_PCM8: {
        // Unsigned sums keep the bias of the unsigned type.
        uint32_t sum = 0;
        for (WORD c = 0; c < n; ++c) sum += in[c];
        std::memset(out, static_cast<int>(sum / n), n);
        break;
      }
      case ZOSAMPLE_PCM16:
      case ZOSAMPLE_PCM32: {
        int64_t sum = 0;
        for (WORD c = 0; c < n; ++c)
          sum += type == ZOSAMPLE_PCM16 ? Traits<ZOSAMPLE_PCM16>::Load(in + c * width)
                                        : Traits<ZOSAMPLE_PCM32>::Load(in + c * width);
        const int32_t v = static_cast<int32_t>(sum / n);  // truncating division
        for (WORD c = 0; c < n; ++c) {
          if (type == ZOSAMPLE_PCM16) Traits<ZOSAMPLE_PCM16>::Store(out + c * width, v);
          else Traits<ZOSAMPLE_PCM32>::Store(out + c * width, v);
        }
        break;
      }
      case ZOSAMPLE_PCM24: {
        using T = Traits<ZOSAMPLE_PCM24>;
        double sum = 0.0;
        for (WORD c = 0; c < n; ++c) sum += T::Load(in + c * width) * 1.1920928955078125e-07;
        const int32_t v = ClipRound<T>(sum / n * T::kScale);
        StoreMonoAll<int32_t>(out, width, n, v, &T::Store);
        break;
      }
      case ZOSAMPLE_FLOAT32: {
        double sum = 0.0;
        for (WORD c = 0; c < n; ++c) sum += Traits<ZOSAMPLE_FLOAT32>::Load(in + c * width);
        StoreMonoAll<float>(out, width, n, static_cast<float>(sum / n), &Traits<ZOSAMPLE_FLOAT32>::Store);
        break;
      }
      case ZOSAMPLE_FLOAT64: {
        double sum = 0.0;
        for (WORD c = 0; c < n; ++c) sum += Traits<ZOSAMPLE_FLOAT64>::Load(in + c * width);
        StoreMonoAll<double>(out, width, n, sum / n, &Traits<ZOSAMPLE_FLOAT64>::Store);
        break;
      }
      default: return E_FAIL;
    }
  }
  return S_OK;
}

HRESULT ZoAudio_ExtractChannel(void* dst, WORD channel, const void* src, ZOSAMPLETYPE type, WORD channels,
                               LONG frames) {
  const size_t width = WidthOf(type);
  if (width == 0 || channel >= channels) return E_INVALIDARG;
  if (frames < 1) return S_OK;
  if (channels == 1) {
    std::memmove(dst, src, width * static_cast<size_t>(frames));
    return S_OK;
  }
  const BYTE* s = static_cast<const BYTE*>(src) + width * channel;
  BYTE* d = static_cast<BYTE*>(dst);
  for (LONG f = 0; f < frames; ++f) std::memmove(d + f * width, s + static_cast<size_t>(f) * width * channels, width);
  return S_OK;
}

HRESULT ZoAudio_ExtractChannel(void* dst, WORD channel, const void* src, const tWAVEFORMATEX* wfx, LONG frames) {
  if (wfx == nullptr) return E_INVALIDARG;
  return ZoAudio_ExtractChannel(dst, channel, src, ZoAudio_GetSampleType(wfx), wfx->nChannels, frames);
}

HRESULT ZoAudio_ExtractChannelPair(void* dst, WORD first, const void* src, const tWAVEFORMATEX* wfx, LONG frames) {
  if (wfx == nullptr) return E_INVALIDARG;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(wfx);
  const size_t width = WidthOf(type);
  const WORD n = wfx->nChannels;
  if (width == 0 || n == 0) return E_INVALIDARG;
  const WORD a = n == 1 ? 0 : first, b = n == 1 ? 0 : static_cast<WORD>(first + 1);
  if (b >= n) return E_INVALIDARG;
  if (frames < 1) return S_OK;
  const BYTE* s = static_cast<const BYTE*>(src);
  BYTE* d = static_cast<BYTE*>(dst);
  // Upward is safe in place: the pair never runs ahead of its source frame.
  for (LONG f = 0; f < frames; ++f) {
    const BYTE* in = s + static_cast<size_t>(f) * width * n;
    BYTE tmp[16];
    std::memcpy(tmp, in + a * width, width);
    std::memcpy(tmp + width, in + b * width, width);
    std::memcpy(d + static_cast<size_t>(f) * 2 * width, tmp, 2 * width);
  }
  return S_OK;
}

HRESULT ZoAudio_InsertChannel(void* dst, ZOSAMPLETYPE type, WORD channels, WORD channel, const void* src,
                              LONG frames) {
  const size_t width = WidthOf(type);
  if (width == 0 || channel >= channels) return E_INVALIDARG;
  if (frames < 1) return S_OK;
  if (channels == 1) {
    std::memmove(dst, src, width * static_cast<size_t>(frames));
    return S_OK;
  }
  BYTE* d = static_cast<BYTE*>(dst) + width * channel;
  const BYTE* s = static_cast<const BYTE*>(src);
  for (LONG f = frames - 1; f >= 0; --f) std::memmove(d + static_cast<size_t>(f) * width * channels, s + f * width, width);
  return S_OK;
}

HRESULT ZoAudio_CopyChannelToMultiMono2(void* dst, ULONG dstStride, const void* src, ULONG srcStride, ULONG channel,
                                        LONG frames, ZOSAMPLETYPE type) {
  const size_t width = WidthOf(type);
  if (width == 0 || channel >= srcStride || dstStride == 0) return E_INVALIDARG;
  if (frames < 1) return S_OK;
  const BYTE* s = static_cast<const BYTE*>(src) + width * channel;
  BYTE* d = static_cast<BYTE*>(dst);
  const bool down = dstStride > srcStride;
  for (LONG i = 0; i < frames; ++i) {
    const LONG f = down ? frames - 1 - i : i;
    BYTE sample[8];
    std::memcpy(sample, s + static_cast<size_t>(f) * width * srcStride, width);
    for (ULONG c = 0; c < dstStride; ++c) std::memcpy(d + (static_cast<size_t>(f) * dstStride + c) * width, sample, width);
  }
  return S_OK;
}

HRESULT ZoAudio_CopyChannelToMultiMono(void* dst, WORD dstChannels, const void* src, const tWAVEFORMATEX* srcWfx,
                                       WORD channel, LONG frames) {
  if (srcWfx == nullptr) return E_INVALIDARG;
  return ZoAudio_CopyChannelToMultiMono2(dst, dstChannels, src, srcWfx->nChannels, channel, frames,
                                         ZoAudio_GetSampleType(srcWfx));
}

HRESULT ZoAudio_CopyChannelToChannel(void* dst, const tWAVEFORMATEX* wfx, WORD from, WORD to, LONG frames) {
  if (wfx == nullptr) return E_FAIL;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(wfx);
  if (!IsBasicType(type)) return E_FAIL;
  const WORD n = wfx->nChannels;
  if (n <= 1 || frames < 1 || from == to) return S_OK;
  if (from >= n || to >= n) return E_INVALIDARG;
  const size_t width = WidthOf(type);
  BYTE* d = static_cast<BYTE*>(dst);
  for (LONG f = 0; f < frames; ++f) {
    BYTE* frame = d + static_cast<size_t>(f) * width * n;
    std::memcpy(frame + to * width, frame + from * width, width);
  }
  return S_OK;
}

HRESULT ZoAudio_CopyChannelToAll(void* dst, const tWAVEFORMATEX* wfx, WORD channel, LONG frames) {
  if (wfx == nullptr) return E_FAIL;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(wfx);
  if (!IsBasicType(type)) return E_FAIL;
  const WORD n = wfx->nChannels;
  if (n <= 1 || frames < 1) return S_OK;
  if (channel >= n) return E_INVALIDARG;
  return ZoAudio_CopyChannelToMultiMono2(dst, n, dst, n, channel, frames, type);
}

HRESULT ZoAudio_MuteChannel(void* dst, const tWAVEFORMATEX* wfx, WORD channel, LONG frames) {
  return ZoAudio_FillSilenceChannel(wfx, dst, channel, frames);
}

HRESULT ZoAudio_MuteChannel(void* dst, ZOSAMPLETYPE type, WORD channels, WORD channel, LONG frames) {
  if (TableIndex(type) < 0) return E_FAIL;
  tWAVEFORMATEX wfx{};
  ZoAudio_InitWfx(&wfx, 48000, type, channels);
  return ZoAudio_FillSilenceChannel(&wfx, dst, channel, frames);
}

HRESULT ZoAudio_CopySwapStereoChannels(void* dst, const void* src, const tWAVEFORMATEX* wfx, LONG frames) {
  if (wfx == nullptr) return E_FAIL;
  const ZOSAMPLETYPE type = ZoAudio_GetSampleType(wfx);
  if (!IsBasicType(type)) return E_FAIL;
  const WORD n = wfx->nChannels;
  const size_t width = WidthOf(type), frameBytes = width * n;
  if (frames < 1) return S_OK;
  // No pair to swap. A damaged header may say 0 channels: then there is no
  // frame at all, and the bytes behind the pair must not be sized from it.
  if (n < 2) {
    if (n == 1 && dst != src) std::memmove(dst, src, frameBytes * static_cast<size_t>(frames));
    return S_OK;
  }
  const BYTE* s = static_cast<const BYTE*>(src);
  BYTE* d = static_cast<BYTE*>(dst);
  for (LONG f = 0; f < frames; ++f) {
    const BYTE* in = s + static_cast<size_t>(f) * frameBytes;
    BYTE* out = d + static_cast<size_t>(f) * frameBytes;
    BYTE left[8], right[8];
    std::memcpy(left, in, width);
    std::memcpy(right, in + width, width);
    if (out != in) std::memmove(out + 2 * width, in + 2 * width, frameBytes - 2 * width);
    std::memcpy(out, right, width);
    std::memcpy(out + width, left, width);
  }
  return S_OK;
}

HRESULT ZoAudio_SwapStereoChannels(void* buffer, const tWAVEFORMATEX* wfx, LONG frames) {
  return ZoAudio_CopySwapStereoChannels(buffer, buffer, wfx, frames);
}
