// SPDX-License-Identifier: MIT
// The ".zok" peak file's 64-byte little-endian header, its checks, and the
// DOS dates of a media file that tie a peak file to the media it describes.
#pragma once

#include <cstddef>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

inline constexpr DWORD ZOAUDIOPEAK_MAGIC = 0x4B504F5A;  // "ZOPK" as read little-endian
inline constexpr DWORD ZOAUDIOPEAK_VERSION = 1;
inline constexpr DWORD ZOAUDIOPEAK_HEADER_SIZE = 64;
inline constexpr LONG ZOAUDIOPEAK_MIN_FRAMES_PER_PEAK = 64;
inline constexpr LONG ZOAUDIOPEAK_MAX_FRAMES_PER_PEAK = 0x1000000;
inline constexpr LONG ZOAUDIOPEAK_DEFAULT_FRAMES_PER_PEAK = 256;
inline constexpr LONG ZOAUDIOPEAK_DEFAULT_MEMORY_FRAMES_PER_PEAK = 2048;

#pragma pack(push, 4)
struct tZOAUDIOPEAKHEADER {
  DWORD magic;          // "ZOPK"
  DWORD version;        // written 1; 2 or more is refused
  DWORD headerSize;     // written 64; the peak data starts here
  DWORD mediaDate;      // DOS date and time of the media, local; 0 until the build is finished
  DWORD peakBits;       // 8 or 16
  DWORD channels;
  DWORD framesPerPeak;  // 64 to 0x1000000
  ULONGLONG frameCount;
  DWORD mediaDateUtc;   // the same date in UTC; 0 means only mediaDate counts
  BYTE reserved[24];
};
#pragma pack(pop)
static_assert(sizeof(tZOAUDIOPEAKHEADER) == 64);
static_assert(offsetof(tZOAUDIOPEAKHEADER, version) == 4);
static_assert(offsetof(tZOAUDIOPEAKHEADER, headerSize) == 8);
static_assert(offsetof(tZOAUDIOPEAKHEADER, mediaDate) == 12);
static_assert(offsetof(tZOAUDIOPEAKHEADER, peakBits) == 16);
static_assert(offsetof(tZOAUDIOPEAKHEADER, channels) == 20);
static_assert(offsetof(tZOAUDIOPEAKHEADER, framesPerPeak) == 24);
static_assert(offsetof(tZOAUDIOPEAKHEADER, frameCount) == 28);
static_assert(offsetof(tZOAUDIOPEAKHEADER, mediaDateUtc) == 36);
static_assert(offsetof(tZOAUDIOPEAKHEADER, reserved) == 40);

// Reads a header from the first bytes of a peak file. S_OK when its form is
// sound: magic, a version below 2, a header of at least 64 bytes, 8 or 16
// peak bits, channels from 1 to 65535 and frames per peak in range. S_FALSE
// (status 1: the file must be built) for a short or unsound header; *out is
// filled from whatever bytes there are.
VANE_EXPORT HRESULT ZoAudioPeak_ParseHeader(const void* bytes, size_t size, tZOAUDIOPEAKHEADER* out);
// Records of the file: (frame count + frames per peak - 1) / frames per peak.
VANE_EXPORT ULONGLONG ZoAudioPeak_RecordCount(const tZOAUDIOPEAKHEADER* header);
// Bytes of one record: channels * (peak bits / 8) * 2.
VANE_EXPORT ULONGLONG ZoAudioPeak_RecordSize(const tZOAUDIOPEAKHEADER* header);
// The length a peak file with this header has; 0 when it overflows.
VANE_EXPORT ULONGLONG ZoAudioPeak_ExpectedFileSize(const tZOAUDIOPEAKHEADER* header);
// The DOS date and time (date in the high word) of a file's last write, in
// local time and in UTC. FALSE when the file cannot be examined.
VANE_EXPORT BOOL ZoAudioPeak_GetMediaDates(LPCWSTR path, DWORD* localDate, DWORD* utcDate);
