// SPDX-License-Identifier: MIT
// The platform's wave format records, byte-exact as they appear in "fmt "
// chunks: WAVEFORMATEX (18 bytes, packed) and WAVEFORMATEXTENSIBLE (40).
#pragma once

#include <cstddef>

#include "platform/guid.h"
#include "platform/types.h"

inline constexpr WORD WAVE_FORMAT_UNKNOWN = 0x0000;
inline constexpr WORD WAVE_FORMAT_PCM = 0x0001;
inline constexpr WORD WAVE_FORMAT_ADPCM = 0x0002;
inline constexpr WORD WAVE_FORMAT_IEEE_FLOAT = 0x0003;
inline constexpr WORD WAVE_FORMAT_ALAW = 0x0006;
inline constexpr WORD WAVE_FORMAT_MULAW = 0x0007;
inline constexpr WORD WAVE_FORMAT_MPEGLAYER3 = 0x0055;
inline constexpr WORD WAVE_FORMAT_EXTENSIBLE = 0xFFFE;

#pragma pack(push, 1)
struct WAVEFORMAT {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;
};

struct PCMWAVEFORMAT {
  WAVEFORMAT wf;
  WORD wBitsPerSample;
};

struct WAVEFORMATEX {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;
  WORD wBitsPerSample;
  WORD cbSize;
};

struct WAVEFORMATEXTENSIBLE {
  WAVEFORMATEX Format;
  union {
    WORD wValidBitsPerSample;
    WORD wSamplesPerBlock;
    WORD wReserved;
  } Samples;
  DWORD dwChannelMask;
  GUID SubFormat;
};
#pragma pack(pop)

static_assert(sizeof(WAVEFORMAT) == 14);
static_assert(sizeof(PCMWAVEFORMAT) == 16);
static_assert(sizeof(WAVEFORMATEX) == 18);
static_assert(offsetof(WAVEFORMATEX, nSamplesPerSec) == 4);
static_assert(offsetof(WAVEFORMATEX, nAvgBytesPerSec) == 8);
static_assert(offsetof(WAVEFORMATEX, nBlockAlign) == 12);
static_assert(offsetof(WAVEFORMATEX, wBitsPerSample) == 14);
static_assert(offsetof(WAVEFORMATEX, cbSize) == 16);
static_assert(sizeof(WAVEFORMATEXTENSIBLE) == 40);
static_assert(offsetof(WAVEFORMATEXTENSIBLE, Samples) == 18);
static_assert(offsetof(WAVEFORMATEXTENSIBLE, dwChannelMask) == 20);
static_assert(offsetof(WAVEFORMATEXTENSIBLE, SubFormat) == 24);

// Sub-formats of the extensible record: the format tag in Data1 of the
// common base {XXXXXXXX-0000-0010-8000-00AA00389B71}.
constexpr GUID WaveSubFormat(WORD tag) {
  return GUID{tag, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}
inline constexpr GUID KSDATAFORMAT_SUBTYPE_PCM = WaveSubFormat(WAVE_FORMAT_PCM);
inline constexpr GUID KSDATAFORMAT_SUBTYPE_IEEE_FLOAT = WaveSubFormat(WAVE_FORMAT_IEEE_FLOAT);

// Speaker positions of dwChannelMask.
inline constexpr DWORD SPEAKER_FRONT_LEFT = 0x1;
inline constexpr DWORD SPEAKER_FRONT_RIGHT = 0x2;
inline constexpr DWORD SPEAKER_FRONT_CENTER = 0x4;
inline constexpr DWORD SPEAKER_LOW_FREQUENCY = 0x8;
inline constexpr DWORD SPEAKER_BACK_LEFT = 0x10;
inline constexpr DWORD SPEAKER_BACK_RIGHT = 0x20;
