// SPDX-License-Identifier: MIT
// Sampler information ("smpl"): the 36-byte header of the RIFF standard and
// its loops. In a metadata stream the record keeps the header and widens the
// loops to 32 bytes (id, type, start and length as 64-bit values, fraction,
// play count), then the sampler data.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

#pragma pack(push, 4)
struct ZOSAMPLERHEAD {
  DWORD manufacturer;
  DWORD product;
  DWORD samplePeriod;  // nanoseconds a sample
  DWORD unityNote;     // MIDI note of the unshifted sample
  DWORD pitchFraction;
  DWORD smpteFormat;
  DWORD smpteOffset;
  DWORD loopCount;
  DWORD samplerDataBytes;
};
struct ZOSAMPLERLOOP {
  DWORD id;
  DWORD type;  // 0 forward, 1 alternating, 2 backward
  LONGLONG start;
  LONGLONG length;
  DWORD fraction;
  DWORD playCount;  // 0: endless
};
#pragma pack(pop)
static_assert(sizeof(ZOSAMPLERHEAD) == 36 && offsetof(ZOSAMPLERHEAD, loopCount) == 28);
static_assert(sizeof(ZOSAMPLERLOOP) == 32 && offsetof(ZOSAMPLERLOOP, start) == 8 &&
              offsetof(ZOSAMPLERLOOP, length) == 16 && offsetof(ZOSAMPLERLOOP, playCount) == 28);

// Loops beyond these are not read; their bytes count as sampler data.
inline constexpr DWORD ZOSAMPLER_MAX_LOOPS = 2;
// The record size without sampler data: header and two loops.
inline constexpr DWORD ZOSAMPLER_RECORD_BYTES = 36 + 2 * 32;

VANE_BEGIN_EXTERN_C
// Reads "smpl" into one framed block (28-byte stream header, one item)
// allocated from the global heap; *block is freed first, and a block whose
// header counts items is refused with 0x80070057. The record is 156 bytes
// and the sampler data; its sample period is 1000000000 / rate (22675 at
// rate 0). A missing chunk gives a lone stream header and the search's
// status; a chunk below 36 bytes 0x8004E008. Loop lengths widen: end -
// start + 1.
VANE_EXPORT HRESULT ZoFMMeta_fillSamplerinfoFromFileEx(HANDLE file, BYTE** block, DWORD* size, BOOL isAiff,
                                                       DWORD rate);
VANE_EXPORT HRESULT ZoFMMeta64_fillSamplerinfoFromFileEx(HANDLE file, BYTE** block, DWORD* size, DWORD rate);
VANE_END_EXTERN_C
