// SPDX-License-Identifier: MIT
// The copy table (plain routines and dispatch to vector variants), silence,
// fill, reverse and peak search.
#include "audio/sample_copy.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstring>
#include <utility>

#include "audio/detail/copy_variants.h"
#include "audio/detail/sample_traits.h"
#include "kernel/cpu.h"
#include "platform/status.h"

namespace vane::audio::detail {
namespace {

// The loop lives outside the rounding scope's function so that the compiler
// keeps the arithmetic between the control-word writes.
template <typename D, typename S, bool kUnit>
[[gnu::noinline]] void PlainLoop(BYTE* dst, const BYTE* src, long n, float gain) {
  ConvertRange<D, S, kUnit>(dst, src, 0, n, gain);
}

template <ZOSAMPLETYPE DT, ZOSAMPLETYPE ST>
void PlainCopy(void* dst, const void* src, LONG samples, float gain) {
  using D = Traits<DT>;
  using S = Traits<ST>;
  if (samples <= 0) return;
  if constexpr (DT == ST) {
    if (gain == 1.0f) {
      if (dst != src) std::memmove(dst, src, static_cast<size_t>(samples) * D::kBytes);
      return;
    }
  }
  RoundNearestScope scope;
  if (gain == 1.0f) PlainLoop<D, S, true>(static_cast<BYTE*>(dst), static_cast<const BYTE*>(src), samples, gain);
  else PlainLoop<D, S, false>(static_cast<BYTE*>(dst), static_cast<const BYTE*>(src), samples, gain);
}

template <int DI, int SI>
constexpr ZOAUDIO_COPYFUNC PlainEntry() {
  if constexpr (!PairExists(kTableTypes[DI], kTableTypes[SI])) return nullptr;
  else return &PlainCopy<kTableTypes[DI], kTableTypes[SI]>;
}

template <int DI, size_t... SI>
constexpr std::array<ZOAUDIO_COPYFUNC, 11> PlainRow(std::index_sequence<SI...>) {
  return {PlainEntry<DI, int(SI)>()...};
}

template <size_t... DI>
constexpr std::array<std::array<ZOAUDIO_COPYFUNC, 11>, 11> PlainTable(std::index_sequence<DI...>) {
  return {PlainRow<int(DI)>(std::make_index_sequence<11>())...};
}

constexpr auto kPlainTable = PlainTable(std::make_index_sequence<11>());

}  // namespace

ZOAUDIO_COPYFUNC PlainRoutine(int dstIndex, int srcIndex) {
  if (dstIndex < 0 || dstIndex >= 11 || srcIndex < 0 || srcIndex >= 11) return nullptr;
  return kPlainTable[dstIndex][srcIndex];
}

ZOAUDIO_COPYFUNC GetCopyFunctionFor(ZOSAMPLETYPE dst, ZOSAMPLETYPE src, CopyVariant variant) {
  const int di = TableIndex(dst), si = TableIndex(src);
  ZOAUDIO_COPYFUNC plain = PlainRoutine(di, si);
  if (plain == nullptr) return nullptr;
  if (variant == CopyVariant::kAvx2)
    if (ZOAUDIO_COPYFUNC f = Avx2Routine(di, si)) return f;
  if (variant != CopyVariant::kPlain)
    if (ZOAUDIO_COPYFUNC f = Sse2Routine(di, si)) return f;
  return plain;
}

CopyVariant BestCopyVariant() {
  if (ZoGetCPUSupport(ZOCPU_SSE2) == 0) return CopyVariant::kPlain;
  return vane::kernel::CpuHasAvx2() ? CopyVariant::kAvx2 : CopyVariant::kSse2;
}

}  // namespace vane::audio::detail

using namespace vane::audio::detail;

namespace {

ZOSAMPLETYPE TypeOf(const tWAVEFORMATEX* wfx) { return ZoAudio_GetSampleType(wfx); }
ZOSAMPLETYPE TypeOf(const _zowaveformat* rec) { return rec ? rec->sampleType : ZOSAMPLE_NONE; }
WORD ChannelsOf(const tWAVEFORMATEX* wfx) { return wfx->nChannels; }
WORD ChannelsOf(const _zowaveformat* rec) { return rec->nChannels; }

template <typename DF, typename SF>
HRESULT CopyImpl(const DF* dstFmt, void* dst, const SF* srcFmt, const void* src, LONG frames, float gain) {
  if (frames <= 0) return S_OK;
  if (dstFmt == nullptr || srcFmt == nullptr) return E_NOTIMPL;
  const ZOSAMPLETYPE dt = TypeOf(dstFmt), st = TypeOf(srcFmt);
  ZOAUDIO_COPYFUNC fn = ZoAudio_GetCopyFunction(dt, st);
  if (fn == nullptr) return E_NOTIMPL;
  long long total = static_cast<long long>(frames) * ChannelsOf(srcFmt);
  const int db = ZoAudio_BytesFromSampleType(dt), sb = ZoAudio_BytesFromSampleType(st);
  // Counts beyond a routine's range go in pieces, in the order that keeps
  // in-place work safe.
  constexpr long long kPiece = 1ll << 30;
  if (db > sb) {
    while (total > 0) {
      const long long n = std::min(total, kPiece);
      total -= n;
      fn(static_cast<BYTE*>(dst) + total * db, static_cast<const BYTE*>(src) + total * sb, static_cast<LONG>(n), gain);
    }
  } else {
    for (long long done = 0; done < total;) {
      const long long n = std::min(total - done, kPiece);
      fn(static_cast<BYTE*>(dst) + done * db, static_cast<const BYTE*>(src) + done * sb, static_cast<LONG>(n), gain);
      done += n;
    }
  }
  return S_OK;
}

}  // namespace

ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(ZOSAMPLETYPE dstType, ZOSAMPLETYPE srcType) {
  return GetCopyFunctionFor(dstType, srcType, BestCopyVariant());
}
ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const tWAVEFORMATEX* dst, const tWAVEFORMATEX* src) {
  return ZoAudio_GetCopyFunction(TypeOf(dst), TypeOf(src));
}
ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const _zowaveformat* dst, const tWAVEFORMATEX* src) {
  return ZoAudio_GetCopyFunction(TypeOf(dst), TypeOf(src));
}
ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const tWAVEFORMATEX* dst, const _zowaveformat* src) {
  return ZoAudio_GetCopyFunction(TypeOf(dst), TypeOf(src));
}
ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const _zowaveformat* dst, const _zowaveformat* src) {
  return ZoAudio_GetCopyFunction(TypeOf(dst), TypeOf(src));
}

HRESULT ZoAudio_Copy(const tWAVEFORMATEX* dw, void* d, const tWAVEFORMATEX* sw, const void* s, LONG f, float g) {
  return CopyImpl(dw, d, sw, s, f, g);
}
HRESULT ZoAudio_Copy(const _zowaveformat* dw, void* d, const _zowaveformat* sw, const void* s, LONG f, float g) {
  return CopyImpl(dw, d, sw, s, f, g);
}
HRESULT ZoAudio_Copy(const _zowaveformat* dw, void* d, const tWAVEFORMATEX* sw, const void* s, LONG f, float g) {
  return CopyImpl(dw, d, sw, s, f, g);
}
HRESULT ZoAudio_Copy(const tWAVEFORMATEX* dw, void* d, const _zowaveformat* sw, const void* s, LONG f, float g) {
  return CopyImpl(dw, d, sw, s, f, g);
}

// --- silence and fill ----------------------------------------------------------

namespace {

// The silence byte of a format, or -1 when the format gets no fill at all,
// or -2 when the tag is unknown.
int SilenceByte(const tWAVEFORMATEX* wfx) {
  WORD tag = wfx->wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    if (wfx->cbSize < 22) return -1;
    const GUID& sub = reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(wfx)->SubFormat;
    if (sub == KSDATAFORMAT_SUBTYPE_PCM) tag = WAVE_FORMAT_PCM;
    else if (sub == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT) return 0;
    else return -1;
  }
  switch (tag) {
    case WAVE_FORMAT_PCM:
    case WAVE_FORMAT_ZO_PCM_BIGENDIAN: return wfx->wBitsPerSample == 8 ? 0x80 : 0;
    case WAVE_FORMAT_IEEE_FLOAT:
    case WAVE_FORMAT_ZO_PCM_UNPACKED:
    case WAVE_FORMAT_ZO_PCM_SIGNED: return 0;
    default: return -2;
  }
}

}  // namespace

HRESULT ZoAudio_FillSilence(const tWAVEFORMATEX* wfx, void* dst, LONG frames) {
  if (wfx == nullptr) return E_FAIL;
  if (frames <= 0 || wfx->nBlockAlign == 0) return S_OK;
  const int fill = SilenceByte(wfx);
  if (fill == -2) return E_FAIL;
  if (fill >= 0) std::memset(dst, fill, static_cast<size_t>(wfx->nBlockAlign) * static_cast<size_t>(frames));
  return S_OK;
}

HRESULT ZoAudio_FillSilence(const _zowaveformat* rec, void* dst, LONG frames) {
  if (rec == nullptr) return E_FAIL;
  _zowaveformat_wfxcopyhelper plain(*rec);
  return ZoAudio_FillSilence(&plain, dst, frames);
}

HRESULT ZoAudio_FillSilenceChannel(const tWAVEFORMATEX* wfx, void* dst, WORD channel, LONG frames) {
  if (wfx == nullptr || channel >= wfx->nChannels) return E_FAIL;
  if (wfx->nChannels == 1) return ZoAudio_FillSilence(wfx, dst, frames);
  // The header's own tag: an extensible format is not among the accepted
  // ones, whatever its sub-format.
  const WORD tag = wfx->wFormatTag;
  const WORD bits = wfx->wBitsPerSample;
  bool ok = false;
  switch (tag) {
    case WAVE_FORMAT_IEEE_FLOAT: ok = bits == 32 || bits == 64; break;
    case WAVE_FORMAT_PCM:
    case WAVE_FORMAT_ZO_PCM_UNPACKED:
    case WAVE_FORMAT_ZO_PCM_SIGNED:
    case WAVE_FORMAT_ZO_PCM_BIGENDIAN: ok = bits == 8 || bits == 16 || bits == 24 || bits == 32; break;
    default: break;
  }
  if (!ok) return E_FAIL;
  // The sample's width comes from its type: 24 bits of tag 0xFE00 sit in a
  // 32-bit word. Pairs that name no type keep the bits' own width.
  const WORD typeBytes = ZoAudio_BytesFromSampleType(ZoAudio_GetSampleType(tag, bits));
  const size_t width = typeBytes != 0 ? typeBytes : bits / 8;
  if (frames <= 0 || width * wfx->nChannels > wfx->nBlockAlign) return frames <= 0 ? S_OK : E_FAIL;
  const BYTE fill = (bits == 8 && (tag == WAVE_FORMAT_PCM || tag == WAVE_FORMAT_ZO_PCM_BIGENDIAN)) ? 0x80 : 0;
  BYTE* p = static_cast<BYTE*>(dst) + width * channel;
  for (LONG f = 0; f < frames; ++f, p += wfx->nBlockAlign) std::memset(p, fill, width);
  return S_OK;
}

HRESULT ZoAudio_FillWithSample(ZOSAMPLETYPE type, void* dst, const void* sample, LONG samples) {
  if (TableIndex(type) < 0) return E_NOTIMPL;
  if (samples <= 0) return S_OK;
  const size_t width = ZoAudio_BytesFromSampleType(type);
  BYTE* out = static_cast<BYTE*>(dst);
  std::memcpy(out, sample, width);
  // Doubling copies: each pass copies what is already written.
  size_t done = width;
  const size_t total = width * static_cast<size_t>(samples);
  while (done < total) {
    const size_t n = std::min(done, total - done);
    std::memcpy(out + done, out, n);
    done += n;
  }
  return S_OK;
}

// --- reverse -----------------------------------------------------------------------

HRESULT ZoAudio_Reverse(const tWAVEFORMATEX* dstWfx, void* dst, const tWAVEFORMATEX* srcWfx, const void* src,
                        LONG frames, float gain) {
  if (frames <= 0) return S_OK;
  if (dstWfx == nullptr || srcWfx == nullptr || dstWfx->nChannels == 0) return E_NOTIMPL;
  if (!(dst == src && gain == 1.0f && TypeOf(dstWfx) == TypeOf(srcWfx)))
    VANE_RETURN_IF_FAILED(ZoAudio_Copy(dstWfx, dst, srcWfx, src, frames, gain));
  size_t frameSize = static_cast<size_t>(dstWfx->nBlockAlign / dstWfx->nChannels) * srcWfx->nChannels;
  // A 16-byte frame is swapped in 12-byte units: established behaviour that
  // callers depend on.
  if (frameSize == 16) frameSize = 12;
  if (frameSize == 0) return S_OK;
  BYTE* lo = static_cast<BYTE*>(dst);
  BYTE* hi = lo + frameSize * static_cast<size_t>(frames - 1);
  for (; lo < hi; lo += frameSize, hi -= frameSize) std::swap_ranges(lo, lo + frameSize, hi);
  return S_OK;
}

// --- peak search --------------------------------------------------------------------

namespace {

enum class PeakKind { kInt, kUnsigned8, kPacked24, kUnpacked24 };

template <typename T, PeakKind kKind>
void FindPeaksInt(const void* src, LONG frames, WORD channels, LONG clipRun, ZOAUDIO_PEAK* peaks) {
  constexpr uint32_t kTop = kKind == PeakKind::kPacked24   ? 0x7FFFFFFFu
                            : kKind == PeakKind::kUnpacked24 ? 0x7FFFFFu
                            : T::kWidth == 8               ? 0x7Fu
                            : T::kWidth == 16              ? 0x7FFFu
                                                           : 0x7FFFFFFFu;
  constexpr double kInvScale = kKind == PeakKind::kPacked24 ? 4.656612873077393e-10 : T::kInv;
  const BYTE* base = static_cast<const BYTE*>(src);
  const size_t stride = static_cast<size_t>(T::kBytes) * channels;
  for (WORD c = 0; c < channels; ++c) {
    uint32_t peak = 0;
    LONG position = 0, run = 0;
    BOOL clipped = FALSE;
    const BYTE* p = base + static_cast<size_t>(T::kBytes) * c;
    for (LONG f = 0; f < frames; ++f, p += stride) {
      int32_t v = T::Load(p);
      if constexpr (kKind == PeakKind::kPacked24) v = static_cast<int32_t>(static_cast<uint32_t>(v) << 8);
      uint32_t mag;
      if (v >= 0) mag = static_cast<uint32_t>(v);
      else if (kKind == PeakKind::kUnsigned8) mag = v == -128 ? 127u : std::min<uint32_t>(uint32_t(-v), 126u);
      else if (kKind == PeakKind::kUnpacked24 && v == -8388608) mag = kTop;
      else mag = std::min<uint32_t>(0u - static_cast<uint32_t>(v), kKind == PeakKind::kUnpacked24 ? 0x7FFFFFFFu : kTop);
      if (mag >= peak) {
        peak = mag;
        position = f;
      }
      if constexpr (kKind == PeakKind::kUnpacked24) {
        // The container holds more than 24 bits: anything beyond clipped.
        if (mag > kTop) {
          clipped = TRUE;
          break;
        }
      }
      if (mag < kTop) {
        run = 0;
      } else if (++run >= clipRun) {
        clipped = TRUE;
        break;
      }
    }
    peaks[c].peak = static_cast<float>(peak * kInvScale);
    // The peak's frame minus the run in progress: for a clipped stretch that
    // ends on its peak, the frame just before the stretch.
    peaks[c].position = position - run;
    peaks[c].clipped = clipped;
  }
}

void FindPeaksFloat32(const void* src, LONG frames, WORD channels, LONG, ZOAUDIO_PEAK* peaks) {
  const BYTE* base = static_cast<const BYTE*>(src);
  for (WORD c = 0; c < channels; ++c) {
    uint32_t top = 0;
    const BYTE* p = base + 4u * c;
    for (LONG f = 0; f < frames; ++f, p += 4u * channels) top = std::max(top, LoadRaw<uint32_t>(p) & 0x7FFFFFFFu);
    peaks[c].peak = std::bit_cast<float>(top);
    peaks[c].position = frames;  // says nothing for float
    peaks[c].clipped = top > 0x3F800000u;
  }
}

void FindPeaksFloat64(const void* src, LONG frames, WORD channels, LONG clipRun, ZOAUDIO_PEAK* peaks) {
  const BYTE* base = static_cast<const BYTE*>(src);
  for (WORD c = 0; c < channels; ++c) {
    double peak = 0.0;
    LONG position = 0, run = 0;
    BOOL clipped = FALSE;
    const BYTE* p = base + 8u * c;
    for (LONG f = 0; f < frames; ++f, p += 8u * channels) {
      const double mag = __builtin_fabs(LoadRaw<double>(p));
      if (mag >= peak) {
        peak = mag;
        position = f;
      }
      if (!(mag > 1.0)) {
        run = 0;
      } else if (++run >= clipRun) {
        clipped = TRUE;
        break;
      }
    }
    peaks[c].peak = static_cast<float>(peak);
    peaks[c].position = position - run;
    peaks[c].clipped = clipped;
  }
}

}  // namespace

ZOAUDIO_FINDPEAKSFUNC ZoAudio_GetFindPeaksFunction(const tWAVEFORMATEX* wfx) {
  switch (ZoAudio_GetSampleType(wfx)) {
    case ZOSAMPLE_PCM8: return &FindPeaksInt<Traits<ZOSAMPLE_PCM8>, PeakKind::kUnsigned8>;
    case ZOSAMPLE_PCM16: return &FindPeaksInt<Traits<ZOSAMPLE_PCM16>, PeakKind::kInt>;
    case ZOSAMPLE_PCM24: return &FindPeaksInt<Traits<ZOSAMPLE_PCM24>, PeakKind::kPacked24>;
    case ZOSAMPLE_PCM32: return &FindPeaksInt<Traits<ZOSAMPLE_PCM32>, PeakKind::kInt>;
    case ZOSAMPLE_FLOAT32: return &FindPeaksFloat32;
    case ZOSAMPLE_FLOAT64: return &FindPeaksFloat64;
    case ZOSAMPLE_PCM24_UNPACKED: return &FindPeaksInt<Traits<ZOSAMPLE_PCM24_UNPACKED>, PeakKind::kUnpacked24>;
    case ZOSAMPLE_PCM8_SIGNED: return &FindPeaksInt<Traits<ZOSAMPLE_PCM8_SIGNED>, PeakKind::kInt>;
    default: return nullptr;
  }
}

HRESULT ZoAudio_FindPeaks(const tWAVEFORMATEX* wfx, LONG clipRun, const void* src, LONG frames, ZOAUDIO_PEAK* peaks) {
  ZOAUDIO_FINDPEAKSFUNC fn = ZoAudio_GetFindPeaksFunction(wfx);
  if (fn == nullptr) return E_NOTIMPL;
  if (frames <= 0) return S_OK;
  fn(src, frames, wfx->nChannels, clipRun, peaks);
  return S_OK;
}
