// SPDX-License-Identifier: MIT
// The engine's audio format record, _zowaveformat, its sample types and the
// conversions to and from WAVEFORMATEX / WAVEFORMATEXTENSIBLE, with the
// display texts of formats.
//
// A record either names a ZOSAMPLETYPE the sample engine can process, or is
// "compressed" (ZOWF_COMPRESSED) and carries the raw tag, bit count and up to
// 1024 codec bytes. Records live at their cbStruct size (32 for the fixed
// part): code reads cbExtra and extra only when cbStruct is at least 34, and
// only as far as ExtraBytes() allows.
// All functions are stateless and reentrant.
#pragma once

#include <cstddef>

#include "audio/mmreg.h"
#include "platform/export.h"
#include "platform/types.h"

// Sample types; the values are stored in records that cross the plug-in
// boundary and never change.
enum ZOSAMPLETYPE : DWORD {
  ZOSAMPLE_NONE = 0,
  ZOSAMPLE_PCM8 = 16,
  ZOSAMPLE_PCM16 = 17,
  ZOSAMPLE_PCM24 = 18,
  ZOSAMPLE_PCM32 = 19,
  ZOSAMPLE_FLOAT32 = 32,
  ZOSAMPLE_FLOAT64 = 33,
  ZOSAMPLE_PCM24_UNPACKED = 48,
  ZOSAMPLE_PCM8_SIGNED = 49,
  ZOSAMPLE_PCM16_BE = 64,
  ZOSAMPLE_PCM24_BE = 65,
  ZOSAMPLE_PCM32_BE = 66,
  ZOSAMPLE_PCM16_RA = 128,
  ZOSAMPLE_PCM24_RA = 129,
};
static_assert(sizeof(ZOSAMPLETYPE) == 4);

// Private format tags of the system's vocabulary.
inline constexpr WORD WAVE_FORMAT_ZO_PCM_UNPACKED = 0xFE00;
inline constexpr WORD WAVE_FORMAT_ZO_PCM_SIGNED = 0xFE01;
inline constexpr WORD WAVE_FORMAT_ZO_PCM_BIGENDIAN = 0xFE02;
inline constexpr WORD WAVE_FORMAT_ZO_PCM_RIGHTALIGNED = 0xFE03;

inline constexpr DWORD ZOWF_COMPRESSED = 8;
inline constexpr DWORD ZOWF_EXTENSIBLE = 16;

inline constexpr DWORD ZOWAVEFORMAT_BASE_SIZE = 32;
inline constexpr DWORD ZOWAVEFORMAT_MAX_EXTRA = 1024;

// Shape of a produced WAVEFORMATEX.
enum ZOWAVEFORMAT_COPY_DEST : int {
  ZOWFCOPY_AUTO = 0,         // extensible when there is room and the record asks for it
  ZOWFCOPY_NOFORCE = 1,      // the form follows from the mask and the room
  ZOWFCOPY_DROPMASK = 2,     // a non-compressed record's mask is dropped
  ZOWFCOPY_MULTICHANNEL = 3, // extensible when there are more than two channels
  ZOWFCOPY_EXTENSIBLE = 4,   // always extensible
};

using tWAVEFORMATEX = WAVEFORMATEX;

struct VANE_EXPORT _zowaveformat {
  DWORD cbStruct;
  ZOSAMPLETYPE sampleType;
  DWORD nSamplesPerSec;
  WORD nChannels;
  WORD nBlockAlign;
  DWORD dwChannelMask;
  DWORD dwFlags;
  WORD wFormatTag;
  WORD wBitsPerSample;
  DWORD nAvgBytesPerSec;
  // Present only when cbStruct >= 34.
  WORD cbExtra;
  BYTE extra[ZOWAVEFORMAT_MAX_EXTRA];

  // Zeroes the record (32 bytes when size < 33, else size bytes), sets the
  // fields and derives nBlockAlign and nAvgBytesPerSec.
  void Init(DWORD rate, ZOSAMPLETYPE type, WORD channels, DWORD mask, DWORD size);
  void InitAsWfx(WORD tag, DWORD rate, WORD channels, WORD bits, DWORD mask, DWORD size);
  // Reads a foreign format into a record allotted `size` bytes.
  void Init(DWORD size, const tWAVEFORMATEX& wfx);
  WORD UpdateBlockAlign();
  WORD FormatTag() const;
  WORD BitsPerSample() const;
  WORD BytesPerSample() const;
  bool IsCompressed() const { return (dwFlags & ZOWF_COMPRESSED) != 0; }
  // The codec bytes that may be read: cbExtra, but never more than the
  // record's size (cbStruct - 32, the size being two short of the data's
  // end) or the 1024 of the storage. A record from outside may claim more.
  WORD ExtraBytes() const {
    if (cbStruct < 34) return 0;
    const DWORD limit = cbStruct - ZOWAVEFORMAT_BASE_SIZE < ZOWAVEFORMAT_MAX_EXTRA ? cbStruct - ZOWAVEFORMAT_BASE_SIZE
                                                                                   : ZOWAVEFORMAT_MAX_EXTRA;
    return cbExtra < limit ? cbExtra : static_cast<WORD>(limit);
  }
  bool operator==(const _zowaveformat& other) const;
  bool operator==(const tWAVEFORMATEX& wfx) const;
};
static_assert(offsetof(_zowaveformat, sampleType) == 4);
static_assert(offsetof(_zowaveformat, nSamplesPerSec) == 8);
static_assert(offsetof(_zowaveformat, nChannels) == 12);
static_assert(offsetof(_zowaveformat, nBlockAlign) == 14);
static_assert(offsetof(_zowaveformat, dwChannelMask) == 16);
static_assert(offsetof(_zowaveformat, dwFlags) == 20);
static_assert(offsetof(_zowaveformat, wFormatTag) == 24);
static_assert(offsetof(_zowaveformat, wBitsPerSample) == 26);
static_assert(offsetof(_zowaveformat, nAvgBytesPerSec) == 28);
static_assert(offsetof(_zowaveformat, cbExtra) == 32);
static_assert(offsetof(_zowaveformat, extra) == 34);

// Storage for a record of N bytes (N >= 32), aligned for the record. The
// record's own rules never touch more than the N bytes its caller declares,
// but the storage always spans a whole _zowaveformat so that member calls on
// a small record are well-defined C++.
template <size_t N>
struct alignas(_zowaveformat) ZoWaveFormatBuffer {
  static_assert(N >= ZOWAVEFORMAT_BASE_SIZE);
  static constexpr size_t kRoom = N;
  BYTE bytes[N < sizeof(_zowaveformat) ? sizeof(_zowaveformat) : N] = {};
  _zowaveformat* get() { return reinterpret_cast<_zowaveformat*>(bytes); }
  const _zowaveformat* get() const { return reinterpret_cast<const _zowaveformat*>(bytes); }
  _zowaveformat* operator->() { return get(); }
  _zowaveformat& operator*() { return *get(); }
};

// A plain WAVEFORMATEX made from a record (no codec bytes), by
// ZoAudio_InitWfxFlex with the room of a plain header: block align and byte
// rate come from bits and channels even for a compressed record.
struct VANE_EXPORT _zowaveformat_wfxcopyhelper : WAVEFORMATEX {
  explicit _zowaveformat_wfxcopyhelper(const _zowaveformat& record);
};

// A WAVEFORMATEXTENSIBLE-sized buffer made from a record.
struct VANE_EXPORT _zowaveformat_wfxecopyhelper {
  union {
    WAVEFORMATEX wfx;
    WAVEFORMATEXTENSIBLE wfext;
    BYTE bytes[sizeof(WAVEFORMATEXTENSIBLE)];
  };
  explicit _zowaveformat_wfxecopyhelper(const _zowaveformat& record);
};

// A WAVEFORMATEX with room for 136 bytes; Init normalises a foreign format.
struct VANE_EXPORT _zowaveformat_wfxplus {
  union {
    WAVEFORMATEX wfx;
    WAVEFORMATEXTENSIBLE wfext;
    BYTE bytes[136];
  };
  _zowaveformat_wfxplus();
  void Init(const tWAVEFORMATEX& src, int dest);
};

VANE_EXPORT ZOSAMPLETYPE ZoAudio_GetSampleType(const tWAVEFORMATEX* wfx);
// PCM repair of a read header: 20 bits become 24 and the block align follows
// the bits. Other tags are left alone. True if anything changed.
VANE_EXPORT BOOL ZoAudio_FixBadWfx(WAVEFORMATEX* format);
VANE_EXPORT ZOSAMPLETYPE ZoAudio_GetSampleType(WORD tag, WORD bits);
VANE_EXPORT WORD ZoAudio_FormatTagFromSampleType(ZOSAMPLETYPE type);
VANE_EXPORT WORD ZoAudio_BitsFromSampleType(ZOSAMPLETYPE type);
VANE_EXPORT WORD ZoAudio_BytesFromSampleType(ZOSAMPLETYPE type);
VANE_EXPORT double ZoAudio_GetNormalizeFactor(int bits);
VANE_EXPORT BOOL ZoAudio_IsEqualFormat(const tWAVEFORMATEX* a, const tWAVEFORMATEX* b);
VANE_EXPORT BOOL ZoAudio_IsCompressed(const tWAVEFORMATEX* wfx);
VANE_EXPORT BOOL ZoAudio_IsCompressedExtensible(const WAVEFORMATEXTENSIBLE* wfext);
VANE_EXPORT WORD ZoAudio_GetWaveFormatTag(const tWAVEFORMATEX* wfx);
// True when the sub-format has the common base; *tag gets its first word.
VANE_EXPORT BOOL ZoAudio_GetFormatTagExtensible(const WAVEFORMATEXTENSIBLE* wfext, WORD* tag);
VANE_EXPORT void ZoAudio_InitWfx(tWAVEFORMATEX* wfx, DWORD rate, ZOSAMPLETYPE type, WORD channels);
VANE_EXPORT void ZoAudio_InitWfxFlex(tWAVEFORMATEX* wfx, WORD tag, DWORD rate, WORD bits, WORD channels, DWORD mask,
                                     DWORD destSize);
VANE_EXPORT void ZoAudio_GeneralCopyWfx(tWAVEFORMATEX* dst, DWORD dstSize, const _zowaveformat* record, int dest);
// Copies the source's 32 + cbExtra bytes, or dstSize (0 means 32) when that
// is smaller, and zeroes the rest of dstSize. Codec bytes are kept when the
// source's size fits and dropped whole (cbExtra 0, cbStruct 32) when not.
// `dest` has no effect.
VANE_EXPORT void ZoAudio_GeneralCopyZoWaveFormat(_zowaveformat* dst, DWORD dstSize, const _zowaveformat* src,
                                                 int dest);
VANE_EXPORT void ZoAudio_CopyWfx(tWAVEFORMATEX* dst, DWORD dstSize, const tWAVEFORMATEX* wfx, int dest);
VANE_EXPORT void ZoAudio_CopyWfExt(WAVEFORMATEXTENSIBLE* dst, const tWAVEFORMATEX* wfx, int dest);
VANE_EXPORT void ZoAudio_CopyWfxToWfExt(const tWAVEFORMATEX* wfx, WAVEFORMATEXTENSIBLE* wfext);
VANE_EXPORT void ZoAudio_CopyWfExtToWfx(const WAVEFORMATEXTENSIBLE* wfext, tWAVEFORMATEX* wfx);
// Moveable, zeroed global memory, locked; the caller frees it with
// GlobalUnlock/GlobalFree through GlobalHandle.
VANE_EXPORT tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const tWAVEFORMATEX* wfx, int dest);
VANE_EXPORT tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const _zowaveformat* record, int dest);
VANE_EXPORT tWAVEFORMATEX* ZoAudio_AllocAndCopyWfx(const _zowaveformat& record, int dest);

// Display texts; buffers are UTF-16 with capacity in characters.
VANE_EXPORT HRESULT ZoAudio_GetTagText(WORD tag, WCHAR* buf, int cch);
VANE_EXPORT HRESULT ZoAudio_GetAttribsText(const tWAVEFORMATEX* wfx, WCHAR* buf, int cch);
VANE_EXPORT HRESULT ZoAudio_GetAttribsText(const _zowaveformat* record, WCHAR* buf, int cch);
VANE_EXPORT HRESULT ZoAudio_GetSampleTypeText(ZOSAMPLETYPE type, WCHAR* buf, int cch);
VANE_EXPORT HRESULT ZoAudio_GetBitDepthText(ZOSAMPLETYPE type, WCHAR* buf, int cch, DWORD flag);
VANE_EXPORT HRESULT ZoAudio_GetChannelsText(WORD channels, DWORD mask, WCHAR* buf, int cch);
// 0 when a name was found, 1 when the text is the fallback.
VANE_EXPORT int ZoAudio_GetCompressionTypeName(WORD tag, WCHAR* buf, int cch, BOOL shortOnly);
VANE_EXPORT WORD ZoAudio_ConvertToCanonicalWaveFormatTag(WORD tag);
VANE_EXPORT HRESULT ZoAudio_GetFormatText(const _zowaveformat* record, WCHAR* buf, int cch, DWORD flags);
