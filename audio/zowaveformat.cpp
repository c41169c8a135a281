// SPDX-License-Identifier: MIT
// _zowaveformat and its conversions to and from WAVEFORMATEX.
#include "audio/zowaveformat.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/memory.h"

namespace {

constexpr DWORD kMaxRecordSize = offsetof(_zowaveformat, extra) + ZOWAVEFORMAT_MAX_EXTRA;

// Bytes 2..15 of every wave sub-format GUID; the first word is the tag.
bool HasWaveBase(const GUID& g) {
  const GUID base = WaveSubFormat(0);
  return (g.Data1 >> 16) == 0 && g.Data2 == base.Data2 && g.Data3 == base.Data3 &&
         std::memcmp(g.Data4, base.Data4, 8) == 0;
}

DWORD SimpleMask(WORD channels) {
  return channels >= 32 ? 0xFFFFFFFFu : static_cast<DWORD>((1ull << channels) - 1);
}

bool IsSimpleMask(DWORD mask, WORD channels) { return mask == 0 || mask == SimpleMask(channels); }

DWORD NormalMask(DWORD mask, WORD channels) { return mask == 0 ? SimpleMask(channels) : mask; }

bool IsExtensibleWfx(const tWAVEFORMATEX* wfx) {
  return wfx->wFormatTag == WAVE_FORMAT_EXTENSIBLE && wfx->cbSize >= 22;
}

const WAVEFORMATEXTENSIBLE* AsExt(const tWAVEFORMATEX* wfx) {
  return reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(wfx);
}

// Zeroes a record for an allotted size: 32 bytes below 33, else `size`.
DWORD ZeroRecord(_zowaveformat* r, DWORD size) {
  const DWORD n = size < 33 ? ZOWAVEFORMAT_BASE_SIZE : std::min(size, kMaxRecordSize);
  std::memset(r, 0, n);
  r->cbStruct = n;
  return n;
}

void WriteExtensible(WAVEFORMATEXTENSIBLE* x, WORD tag, WORD channels, DWORD rate, WORD bits, WORD blockAlign,
                     DWORD avg, DWORD mask) {
  x->Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  x->Format.nChannels = channels;
  x->Format.nSamplesPerSec = rate;
  x->Format.nAvgBytesPerSec = avg;
  x->Format.nBlockAlign = blockAlign;
  x->Format.wBitsPerSample = bits;
  x->Format.cbSize = 22;
  x->Samples.wValidBitsPerSample = bits;
  x->dwChannelMask = mask;
  x->SubFormat = WaveSubFormat(tag);
}


}  // namespace

ZOSAMPLETYPE ZoAudio_GetSampleType(WORD tag, WORD bits) {
  switch (tag) {
    case WAVE_FORMAT_PCM:
    case WAVE_FORMAT_ZO_PCM_SIGNED:
      switch (bits) {
        case 8: return tag == WAVE_FORMAT_PCM ? ZOSAMPLE_PCM8 : ZOSAMPLE_PCM8_SIGNED;
        case 16: return ZOSAMPLE_PCM16;
        case 20:
        case 24: return ZOSAMPLE_PCM24;
        case 32: return ZOSAMPLE_PCM32;
        default: return ZOSAMPLE_NONE;
      }
    case WAVE_FORMAT_IEEE_FLOAT:
      return bits == 32 ? ZOSAMPLE_FLOAT32 : bits == 64 ? ZOSAMPLE_FLOAT64 : ZOSAMPLE_NONE;
    case WAVE_FORMAT_ZO_PCM_UNPACKED:
      return (bits == 24 || bits == 32) ? ZOSAMPLE_PCM24_UNPACKED : ZOSAMPLE_NONE;
    case WAVE_FORMAT_ZO_PCM_BIGENDIAN:
      switch (bits) {
        case 8: return ZOSAMPLE_PCM8;
        case 16: return ZOSAMPLE_PCM16_BE;
        case 24: return ZOSAMPLE_PCM24_BE;
        case 32: return ZOSAMPLE_PCM32_BE;
        default: return ZOSAMPLE_NONE;
      }
    case WAVE_FORMAT_ZO_PCM_RIGHTALIGNED:
      return bits == 16 ? ZOSAMPLE_PCM16_RA : bits == 24 ? ZOSAMPLE_PCM24_RA : ZOSAMPLE_NONE;
    default:
      return ZOSAMPLE_NONE;
  }
}

ZOSAMPLETYPE ZoAudio_GetSampleType(const tWAVEFORMATEX* wfx) {
  if (wfx == nullptr) return ZOSAMPLE_NONE;
  if (wfx->wFormatTag != WAVE_FORMAT_EXTENSIBLE) return ZoAudio_GetSampleType(wfx->wFormatTag, wfx->wBitsPerSample);
  // An extensible tag whose extension is missing names no sample type.
  if (wfx->cbSize < 22) return ZOSAMPLE_NONE;
  const WAVEFORMATEXTENSIBLE* x = AsExt(wfx);
  if (!HasWaveBase(x->SubFormat)) return ZOSAMPLE_NONE;
  ZOSAMPLETYPE t = ZoAudio_GetSampleType(static_cast<WORD>(x->SubFormat.Data1), wfx->wBitsPerSample);
  if (t == ZOSAMPLE_PCM32 && x->Samples.wValidBitsPerSample == 24) t = ZOSAMPLE_PCM24_UNPACKED;
  return t;
}

WORD ZoAudio_FormatTagFromSampleType(ZOSAMPLETYPE type) {
  switch (type) {
    case ZOSAMPLE_PCM8:
    case ZOSAMPLE_PCM16:
    case ZOSAMPLE_PCM24:
    case ZOSAMPLE_PCM32: return WAVE_FORMAT_PCM;
    case ZOSAMPLE_FLOAT32:
    case ZOSAMPLE_FLOAT64: return WAVE_FORMAT_IEEE_FLOAT;
    case ZOSAMPLE_PCM24_UNPACKED: return WAVE_FORMAT_ZO_PCM_UNPACKED;
    case ZOSAMPLE_PCM8_SIGNED: return WAVE_FORMAT_ZO_PCM_SIGNED;
    case ZOSAMPLE_PCM16_BE:
    case ZOSAMPLE_PCM24_BE:
    case ZOSAMPLE_PCM32_BE: return WAVE_FORMAT_ZO_PCM_BIGENDIAN;
    default: return 0;  // the right-aligned types are deliberately unknown here
  }
}

WORD ZoAudio_BitsFromSampleType(ZOSAMPLETYPE type) {
  switch (type) {
    case ZOSAMPLE_PCM8:
    case ZOSAMPLE_PCM8_SIGNED: return 8;
    case ZOSAMPLE_PCM16:
    case ZOSAMPLE_PCM16_BE: return 16;
    case ZOSAMPLE_PCM24:
    case ZOSAMPLE_PCM24_BE: return 24;
    case ZOSAMPLE_PCM32:
    case ZOSAMPLE_PCM32_BE:
    case ZOSAMPLE_FLOAT32:
    case ZOSAMPLE_PCM24_UNPACKED: return 32;
    case ZOSAMPLE_FLOAT64: return 64;
    default: return 0;
  }
}

WORD ZoAudio_BytesFromSampleType(ZOSAMPLETYPE type) { return ZoAudio_BitsFromSampleType(type) >> 3; }

double ZoAudio_GetNormalizeFactor(int bits) {
  switch (bits) {
    case 8: return 128.0;
    case 16: return 32768.0;
    case 24: return 8388608.0;
    case 32: return 2147483648.0;
    default: return 1.0;
  }
}

BOOL ZoAudio_IsEqualFormat(const tWAVEFORMATEX* a, const tWAVEFORMATEX* b) {
  return a->nChannels == b->nChannels && a->nSamplesPerSec == b->nSamplesPerSec &&
         a->wFormatTag == b->wFormatTag && a->wBitsPerSample == b->wBitsPerSample;
}

BOOL ZoAudio_IsCompressedExtensible(const WAVEFORMATEXTENSIBLE* x) {
  if (x->Format.cbSize < 22) return TRUE;
  return !(x->SubFormat == KSDATAFORMAT_SUBTYPE_PCM || x->SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
}

BOOL ZoAudio_IsCompressed(const tWAVEFORMATEX* wfx) {
  if (wfx == nullptr) return TRUE;
  switch (wfx->wFormatTag) {
    case WAVE_FORMAT_EXTENSIBLE: return ZoAudio_IsCompressedExtensible(AsExt(wfx));
    case WAVE_FORMAT_PCM:
    case WAVE_FORMAT_IEEE_FLOAT:
    case WAVE_FORMAT_ZO_PCM_UNPACKED:
    case WAVE_FORMAT_ZO_PCM_SIGNED:
    case WAVE_FORMAT_ZO_PCM_BIGENDIAN:
      return wfx->nBlockAlign != (wfx->wBitsPerSample >> 3) * wfx->nChannels;
    default: return TRUE;
  }
}

WORD ZoAudio_GetWaveFormatTag(const tWAVEFORMATEX* wfx) {
  if (wfx == nullptr) return 0;
  if (wfx->wFormatTag != WAVE_FORMAT_EXTENSIBLE) return wfx->wFormatTag;
  if (wfx->cbSize < 22) return WAVE_FORMAT_EXTENSIBLE;
  const GUID& g = AsExt(wfx)->SubFormat;
  return HasWaveBase(g) ? static_cast<WORD>(g.Data1) : 0;
}

BOOL ZoAudio_GetFormatTagExtensible(const WAVEFORMATEXTENSIBLE* x, WORD* tag) {
  if (x == nullptr || x->Format.cbSize < 22 || !HasWaveBase(x->SubFormat)) return FALSE;
  if (tag) *tag = static_cast<WORD>(x->SubFormat.Data1);
  return TRUE;
}

void ZoAudio_InitWfx(tWAVEFORMATEX* wfx, DWORD rate, ZOSAMPLETYPE type, WORD channels) {
  ZoAudio_InitWfxFlex(wfx, ZoAudio_FormatTagFromSampleType(type), rate, ZoAudio_BitsFromSampleType(type), channels, 0,
                      sizeof(WAVEFORMATEX));
}

void ZoAudio_InitWfxFlex(tWAVEFORMATEX* wfx, WORD tag, DWORD rate, WORD bits, WORD channels, DWORD mask,
                         DWORD destSize) {
  const bool passed = mask != 0;
  const bool simple = IsSimpleMask(mask, channels);
  // A mask naming more speakers than there are channels says nothing usable.
  if (std::popcount(mask) > channels) mask = 0;
  const WORD blockAlign = static_cast<WORD>((bits >> 3) * channels);
  const DWORD avg = blockAlign * rate;
  if (passed && (channels > 2 || !simple) && destSize >= sizeof(WAVEFORMATEXTENSIBLE)) {
    WriteExtensible(reinterpret_cast<WAVEFORMATEXTENSIBLE*>(wfx), tag, channels, rate, bits, blockAlign, avg,
                    NormalMask(mask, channels));
    return;
  }
  wfx->wFormatTag = tag;
  wfx->nChannels = channels;
  wfx->nSamplesPerSec = rate;
  wfx->nAvgBytesPerSec = avg;
  wfx->nBlockAlign = blockAlign;
  wfx->wBitsPerSample = bits;
  wfx->cbSize = 0;
}


// --- _zowaveformat ----------------------------------------------------------

void _zowaveformat::Init(DWORD rate, ZOSAMPLETYPE type, WORD channels, DWORD mask, DWORD size) {
  ZeroRecord(this, size);
  sampleType = type;
  nSamplesPerSec = rate;
  nChannels = channels;
  dwChannelMask = mask;
  nBlockAlign = static_cast<WORD>(ZoAudio_BytesFromSampleType(type) * channels);
  nAvgBytesPerSec = nBlockAlign * rate;
}

void _zowaveformat::InitAsWfx(WORD tag, DWORD rate, WORD channels, WORD bits, DWORD mask, DWORD size) {
  ZeroRecord(this, size);
  if (tag == WAVE_FORMAT_PCM && bits == 20) bits = 24;
  sampleType = ZoAudio_GetSampleType(tag, bits);
  if (sampleType == ZOSAMPLE_NONE) {
    dwFlags |= ZOWF_COMPRESSED;
    wFormatTag = tag;
    wBitsPerSample = bits;
  }
  nSamplesPerSec = rate;
  nChannels = channels;
  dwChannelMask = mask;
  nBlockAlign = static_cast<WORD>(static_cast<int>(channels) * static_cast<int>(bits) / 8);
  nAvgBytesPerSec = static_cast<DWORD>(nBlockAlign) * rate;
}

void _zowaveformat::Init(DWORD size, const tWAVEFORMATEX& wfx) {
  const DWORD zeroed = ZeroRecord(this, size);
  nSamplesPerSec = wfx.nSamplesPerSec;
  nChannels = wfx.nChannels;
  nBlockAlign = wfx.nBlockAlign;
  nAvgBytesPerSec = wfx.nAvgBytesPerSec;
  sampleType = ZoAudio_GetSampleType(&wfx);

  if (wfx.wFormatTag == WAVE_FORMAT_PCM) {
    tWAVEFORMATEX repaired = wfx;
    ZoAudio_FixBadWfx(&repaired);
    nBlockAlign = repaired.nBlockAlign;
  }
  const bool extensible = wfx.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
  if (extensible) {
    dwFlags |= ZOWF_EXTENSIBLE;
    // An extension shorter than 22 bytes is read as absent: mask 0, GUID 0.
    const WAVEFORMATEXTENSIBLE* x = wfx.cbSize >= 22 ? AsExt(&wfx) : nullptr;
    dwChannelMask = x ? x->dwChannelMask : 0;
    const bool nullSub = x == nullptr || x->SubFormat == GUID_NULL;
    // Rescue of writers that left the sub-format empty. The test multiplies
    // by bits (not bytes) and 32/64 bits mean float, as those writers did.
    if (sampleType == ZOSAMPLE_NONE && nullSub && (wfx.cbSize == 0 || wfx.cbSize == 22) &&
        static_cast<DWORD>(wfx.nChannels) * wfx.wBitsPerSample == wfx.nBlockAlign &&
        static_cast<uint64_t>(wfx.nSamplesPerSec) * wfx.nBlockAlign == wfx.nAvgBytesPerSec) {
      switch (wfx.wBitsPerSample) {
        case 8: sampleType = ZOSAMPLE_PCM8; break;
        case 16: sampleType = ZOSAMPLE_PCM16; break;
        case 24: sampleType = ZOSAMPLE_PCM24; break;
        case 32: sampleType = ZOSAMPLE_FLOAT32; break;
        case 64: sampleType = ZOSAMPLE_FLOAT64; break;
        default: break;
      }
    }
  }

  WORD kept = 0;
  if (sampleType == ZOSAMPLE_NONE) {
    wFormatTag = ZoAudio_GetWaveFormatTag(&wfx);
    wBitsPerSample = wfx.wBitsPerSample;
    dwFlags |= ZOWF_COMPRESSED;
    const BYTE* codec = nullptr;
    DWORD count = 0;
    if (extensible) {
      codec = reinterpret_cast<const BYTE*>(&wfx) + sizeof(WAVEFORMATEXTENSIBLE);
      count = wfx.cbSize >= 23 ? wfx.cbSize - 22u : 0u;
    } else if (wfx.wFormatTag != WAVE_FORMAT_PCM && wfx.wFormatTag != WAVE_FORMAT_IEEE_FLOAT) {
      codec = reinterpret_cast<const BYTE*>(&wfx) + sizeof(WAVEFORMATEX);
      count = wfx.cbSize;
    }
    if (zeroed > 34 && count > 0) {
      kept = static_cast<WORD>(std::min<DWORD>({count, zeroed - 34, ZOWAVEFORMAT_MAX_EXTRA}));
      cbExtra = kept;
      std::memcpy(extra, codec, kept);
    }
  }
  // Two short of the real end, as every reader of the record expects.
  cbStruct = zeroed < 34 ? ZOWAVEFORMAT_BASE_SIZE : ZOWAVEFORMAT_BASE_SIZE + kept;
}

WORD _zowaveformat::UpdateBlockAlign() {
  if (sampleType != ZOSAMPLE_NONE) {
    nBlockAlign = static_cast<WORD>(ZoAudio_BytesFromSampleType(sampleType) * nChannels);
    nAvgBytesPerSec = static_cast<DWORD>(nBlockAlign) * nSamplesPerSec;
  }
  return nBlockAlign;
}

WORD _zowaveformat::FormatTag() const {
  return IsCompressed() ? wFormatTag : ZoAudio_FormatTagFromSampleType(sampleType);
}

WORD _zowaveformat::BitsPerSample() const {
  return IsCompressed() ? wBitsPerSample : ZoAudio_BitsFromSampleType(sampleType);
}

WORD _zowaveformat::BytesPerSample() const { return BitsPerSample() >> 3; }

bool _zowaveformat::operator==(const _zowaveformat& o) const {
  if (sampleType != o.sampleType || nSamplesPerSec != o.nSamplesPerSec || nChannels != o.nChannels ||
      IsCompressed() != o.IsCompressed())
    return false;
  if (dwChannelMask != o.dwChannelMask &&
      NormalMask(dwChannelMask, nChannels) != NormalMask(o.dwChannelMask, o.nChannels))
    return false;
  if (!IsCompressed()) return true;
  const WORD n = ExtraBytes();
  return wFormatTag == o.wFormatTag && nAvgBytesPerSec == o.nAvgBytesPerSec && wBitsPerSample == o.wBitsPerSample &&
         n == o.ExtraBytes() && std::memcmp(extra, o.extra, n) == 0;
}

bool _zowaveformat::operator==(const tWAVEFORMATEX& wfx) const {
  if (nSamplesPerSec != wfx.nSamplesPerSec || nChannels != wfx.nChannels) return false;
  if (IsCompressed()) {
    if (wFormatTag != ZoAudio_GetWaveFormatTag(&wfx) || nAvgBytesPerSec != wfx.nAvgBytesPerSec ||
        wBitsPerSample != wfx.wBitsPerSample)
      return false;
  } else if (sampleType != ZoAudio_GetSampleType(&wfx)) {
    return false;
  }
  const bool ext = IsExtensibleWfx(&wfx);
  const DWORD theirs = ext ? AsExt(&wfx)->dwChannelMask : 0;
  if (NormalMask(dwChannelMask, nChannels) != NormalMask(theirs, wfx.nChannels)) return false;
  if (!IsCompressed()) return true;
  const BYTE* codec = reinterpret_cast<const BYTE*>(&wfx) + (ext ? sizeof(WAVEFORMATEXTENSIBLE) : sizeof(WAVEFORMATEX));
  const DWORD count = ext ? wfx.cbSize - 22u : wfx.cbSize;
  return count == ExtraBytes() && std::memcmp(codec, extra, count) == 0;
}

// --- copies to and from WAVEFORMATEX -----------------------------------------

void ZoAudio_GeneralCopyWfx(tWAVEFORMATEX* dst, DWORD dstSize, const _zowaveformat* rec, int dest) {
  if (dst == nullptr || rec == nullptr || dstSize < sizeof(WAVEFORMATEX)) return;
  const bool compressed = rec->IsCompressed();
  DWORD mask = rec->dwChannelMask;
  bool forceExt = false;
  switch (dest) {
    case ZOWFCOPY_AUTO:
      forceExt = dstSize >= sizeof(WAVEFORMATEXTENSIBLE) &&
                 ((rec->dwFlags & ZOWF_EXTENSIBLE) != 0 || !IsSimpleMask(mask, rec->nChannels));
      break;
    case ZOWFCOPY_DROPMASK:
      if (!compressed) mask = 0;
      break;
    case ZOWFCOPY_MULTICHANNEL: forceExt = rec->nChannels > 2; break;
    case ZOWFCOPY_EXTENSIBLE: forceExt = true; break;
    default: break;
  }
  // Never write an extensible header into a buffer too small to hold it.
  if (dstSize < sizeof(WAVEFORMATEXTENSIBLE)) forceExt = false;

  if (compressed) {
    const WORD cbExtra = rec->ExtraBytes();
    dst->wFormatTag = rec->wFormatTag;
    dst->nChannels = rec->nChannels;
    dst->nSamplesPerSec = rec->nSamplesPerSec;
    dst->wBitsPerSample = rec->wBitsPerSample;
    dst->nBlockAlign = rec->nBlockAlign;
    dst->nAvgBytesPerSec = rec->nAvgBytesPerSec;
    dst->cbSize = 0;
    bool ext = false;
    if (forceExt || (mask != 0 && !IsSimpleMask(mask, rec->nChannels) && dstSize >= cbExtra + 40u)) {
      WAVEFORMATEXTENSIBLE* x = reinterpret_cast<WAVEFORMATEXTENSIBLE*>(dst);
      dst->wFormatTag = WAVE_FORMAT_EXTENSIBLE;
      dst->cbSize = 22;
      x->Samples.wValidBitsPerSample = rec->wBitsPerSample;
      x->dwChannelMask = mask;
      x->SubFormat = WaveSubFormat(rec->wFormatTag);
      ext = true;
    }
    const long room = static_cast<long>(dstSize) - dst->cbSize - static_cast<long>(sizeof(WAVEFORMATEX));
    if (cbExtra > 0 && room > 0) {
      const WORD n = static_cast<WORD>(std::min<long>(cbExtra, room));
      BYTE* out = reinterpret_cast<BYTE*>(dst);
      if (!ext && (rec->wFormatTag == WAVE_FORMAT_PCM || rec->wFormatTag == WAVE_FORMAT_IEEE_FLOAT)) {
        // The old 16-byte PCM header shape: codec bytes start where cbSize
        // would be, and the count is added to what they left there.
        std::memcpy(out + 16, rec->extra, n);
      } else {
        std::memcpy(out + sizeof(WAVEFORMATEX) + dst->cbSize, rec->extra, n);
      }
      dst->cbSize = static_cast<WORD>(dst->cbSize + n);
    }
    return;
  }

  const WORD tag = ZoAudio_FormatTagFromSampleType(rec->sampleType);
  const WORD bits = ZoAudio_BitsFromSampleType(rec->sampleType);
  if (forceExt) {
    const WORD align = static_cast<WORD>((bits >> 3) * rec->nChannels);
    WriteExtensible(reinterpret_cast<WAVEFORMATEXTENSIBLE*>(dst), tag, rec->nChannels, rec->nSamplesPerSec, bits,
                    align, align * rec->nSamplesPerSec, NormalMask(mask, rec->nChannels));
    return;
  }
  ZoAudio_InitWfxFlex(dst, tag, rec->nSamplesPerSec, bits, rec->nChannels, mask, dstSize);
}

void ZoAudio_GeneralCopyZoWaveFormat(_zowaveformat* dst, DWORD dstSize, const _zowaveformat* src, int) {
  if (dst == nullptr || src == nullptr) return;
  if (dstSize == 0) dstSize = ZOWAVEFORMAT_BASE_SIZE;
  dstSize = std::min(dstSize, kMaxRecordSize);
  // The source's size as every reader of a record counts it: 32 + cbExtra,
  // two short of where its codec bytes really end.
  const WORD srcExtra = src->ExtraBytes();
  const DWORD srcSize = ZOWAVEFORMAT_BASE_SIZE + srcExtra;
  const DWORD n = std::min(dstSize, srcSize);
  BYTE* out = reinterpret_cast<BYTE*>(dst);
  if (dst != src) std::memmove(dst, src, n);
  if (dstSize > n) std::memset(out + n, 0, dstSize - n);
  if (dstSize < sizeof(DWORD)) return;
  if (srcExtra != 0 && dstSize >= srcSize) {
    dst->cbStruct = srcSize;
    dst->cbExtra = srcExtra;  // a claim beyond the readable bytes is not passed on
    return;
  }
  // No truncated codec data: codec bytes that do not fit are dropped whole.
  dst->cbStruct = ZOWAVEFORMAT_BASE_SIZE;
  if (dstSize > ZOWAVEFORMAT_BASE_SIZE) std::memset(out + ZOWAVEFORMAT_BASE_SIZE, 0, dstSize - ZOWAVEFORMAT_BASE_SIZE);
}

void ZoAudio_CopyWfx(tWAVEFORMATEX* dst, DWORD dstSize, const tWAVEFORMATEX* wfx, int dest) {
  if (dst == nullptr || wfx == nullptr) return;
  ZoWaveFormatBuffer<128> scratch;
  scratch->Init(128, *wfx);
  ZoAudio_GeneralCopyWfx(dst, dstSize, scratch.get(), dest);
}

void ZoAudio_CopyWfExt(WAVEFORMATEXTENSIBLE* dst, const tWAVEFORMATEX* wfx, int dest) {
  if (dst == nullptr) return;
  std::memset(dst, 0, sizeof(*dst));
  ZoAudio_CopyWfx(&dst->Format, sizeof(WAVEFORMATEXTENSIBLE), wfx, dest);
}

void ZoAudio_CopyWfxToWfExt(const tWAVEFORMATEX* wfx, WAVEFORMATEXTENSIBLE* wfext) {
  if (wfx == nullptr || wfext == nullptr) return;
  std::memset(wfext, 0, sizeof(*wfext));
  const size_t n = std::min<size_t>(sizeof(WAVEFORMATEX) + wfx->cbSize, sizeof(WAVEFORMATEXTENSIBLE));
  std::memcpy(wfext, wfx, n);
}

void ZoAudio_CopyWfExtToWfx(const WAVEFORMATEXTENSIBLE* src, tWAVEFORMATEX* dst) {
  if (src == nullptr || dst == nullptr) return;
  if (src->Format.wFormatTag != WAVE_FORMAT_EXTENSIBLE) {
    std::memcpy(dst, src, sizeof(WAVEFORMATEX));
    return;
  }
  if (src->Format.cbSize < 22) return;
  WORD tag;
  if (src->SubFormat == KSDATAFORMAT_SUBTYPE_PCM) tag = WAVE_FORMAT_PCM;
  else if (src->SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT) tag = WAVE_FORMAT_IEEE_FLOAT;
  else return;
  std::memcpy(dst, src, sizeof(WAVEFORMATEX));
  dst->wFormatTag = tag;
  dst->cbSize = 0;
}

namespace {

tWAVEFORMATEX* AllocFromBytes(const void* bytes, size_t size) {
  HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
  if (h == nullptr) return nullptr;
  void* p = GlobalLock(h);
  if (p == nullptr) {
    GlobalFree(h);
    return nullptr;
  }
  std::memcpy(p, bytes, size);
  return static_cast<tWAVEFORMATEX*>(p);
}

}  // namespace

tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const _zowaveformat* rec, int dest) {
  if (rec == nullptr) return nullptr;
  const WORD cbExtra = rec->IsCompressed() ? rec->ExtraBytes() : 0;
  const DWORD room = sizeof(WAVEFORMATEXTENSIBLE) + cbExtra;
  alignas(8) BYTE out[sizeof(WAVEFORMATEXTENSIBLE) + ZOWAVEFORMAT_MAX_EXTRA] = {};
  tWAVEFORMATEX* wfx = reinterpret_cast<tWAVEFORMATEX*>(out);
  ZoAudio_GeneralCopyWfx(wfx, room, rec, dest);
  const size_t size = (wfx->wFormatTag == WAVE_FORMAT_EXTENSIBLE ? sizeof(WAVEFORMATEXTENSIBLE) : sizeof(WAVEFORMATEX)) +
                      cbExtra;
  return AllocFromBytes(out, size);
}

tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const _zowaveformat& rec, int dest) { return ZoAudio_AllocAndCopyWfx(&rec, dest); }

tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const tWAVEFORMATEX* wfx, int dest) {
  if (wfx == nullptr) return nullptr;
  const bool ext = wfx->wFormatTag == WAVE_FORMAT_EXTENSIBLE;
  if (dest == ZOWFCOPY_AUTO || (!ext && (dest == ZOWFCOPY_NOFORCE || dest == ZOWFCOPY_DROPMASK)) ||
      (ext && dest == ZOWFCOPY_EXTENSIBLE))
    return AllocFromBytes(wfx, sizeof(WAVEFORMATEX) + wfx->cbSize);
  ZoWaveFormatBuffer<128> scratch;
  scratch->Init(128, *wfx);
  return ZoAudio_AllocAndCopyWfx(scratch.get(), dest);
}

// --- helper records ------------------------------------------------------------

// Block align and rate follow from bits and channels for every record, a
// compressed one too: 4-bit ADPCM gets 0, which silence reads as nothing
// to do.
_zowaveformat_wfxcopyhelper::_zowaveformat_wfxcopyhelper(const _zowaveformat& rec) : WAVEFORMATEX{} {
  ZoAudio_InitWfxFlex(this, rec.FormatTag(), rec.nSamplesPerSec, rec.BitsPerSample(), rec.nChannels,
                      rec.dwChannelMask, sizeof(WAVEFORMATEX));
}

_zowaveformat_wfxecopyhelper::_zowaveformat_wfxecopyhelper(const _zowaveformat& rec) : bytes{} {
  const bool wantExt = (rec.dwFlags & ZOWF_EXTENSIBLE) != 0 || !IsSimpleMask(rec.dwChannelMask, rec.nChannels);
  ZoAudio_GeneralCopyWfx(&wfx, sizeof(WAVEFORMATEXTENSIBLE), &rec,
                         wantExt ? ZOWFCOPY_EXTENSIBLE : ZOWFCOPY_NOFORCE);
}

_zowaveformat_wfxplus::_zowaveformat_wfxplus() : bytes{} {}

void _zowaveformat_wfxplus::Init(const tWAVEFORMATEX& src, int dest) {
  ZoWaveFormatBuffer<128> scratch;
  scratch->Init(128, src);
  std::memset(bytes, 0, sizeof(bytes));
  ZoAudio_GeneralCopyWfx(&wfx, sizeof(bytes), scratch.get(), dest);
}

BOOL ZoAudio_FixBadWfx(WAVEFORMATEX* f) {
  if (!f || f->wFormatTag != WAVE_FORMAT_PCM) return FALSE;
  bool changed = false;
  if (f->wBitsPerSample == 20) {
    f->wBitsPerSample = 24;
    changed = true;
  }
  const WORD align = WORD((f->wBitsPerSample >> 3) * f->nChannels);
  if (f->nBlockAlign != align) {
    f->nBlockAlign = align;
    changed = true;
  }
  return changed;
}
