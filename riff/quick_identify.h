// SPDX-License-Identifier: MIT
// Names a media file's type from at most its first 65536 bytes: one table of
// magic tests in a fixed order (cheap magic first, pure-extension rows after
// every test that could have recognised the bytes). Only the box classifier
// reads further, and only after the first box matched.
#pragma once

#include "platform/export.h"
#include "platform/types.h"
#include "riff/istream_min.h"

// The argument of the general call; seven fields in this order.
struct ZOFILEIDINFO {
  DWORD flags;          // ZOFILEID_* below
  HANDLE file;          // an open handle, or INVALID_HANDLE_VALUE
  LPCWSTR name;         // wide file name, or null
  const void* buffer;   // bytes to test, or null
  DWORD bufferSize;
  IStream* stream;      // or null
  DWORD type;           // out: ZOFILEID_IDENTIFIED_TYPE; 1 is unknown
};

inline constexpr DWORD ZOFILEID_IGNORE_EXTENSION = 1;
inline constexpr DWORD ZOFILEID_SCOT_AS_WAVE = 2;
inline constexpr DWORD ZOFILEID_AUDIO_ONLY = 4;
inline constexpr DWORD ZOFILEID_VIDEO_ONLY = 8;
inline constexpr DWORD ZOFILEID_IMAGE_ONLY = 16;

// Type values: below 0x1000 audio, 0x1000..0x1FFF video, 0x2000 and up images.
enum ZOFILEID_IDENTIFIED_TYPE : DWORD {
  ZOFILEID_NONE = 0,
  ZOFILEID_UNKNOWN = 1,
  ZOFILEID_WAVE = 2,
  ZOFILEID_WAVE64 = 3,
  ZOFILEID_MP3_TAGGED = 4,
  ZOFILEID_MP3 = 5,
  ZOFILEID_WAVE_1971 = 6,
  ZOFILEID_WAVE_SCOT = 7,
  ZOFILEID_OGG = 8,
  ZOFILEID_AC3 = 9,
  ZOFILEID_AIFF = 10,
  ZOFILEID_SD_HEADER = 11,
  ZOFILEID_AU = 12,
  ZOFILEID_IVC = 13,
  ZOFILEID_VOX = 14,
  ZOFILEID_ZOA = 15,
  ZOFILEID_RAW = 16,
  ZOFILEID_QM3 = 17,
  ZOFILEID_CSW = 18,
  ZOFILEID_MP2 = 20,
  ZOFILEID_M4A = 21,
  ZOFILEID_AAC = 22,
  ZOFILEID_FLAC = 23,
  ZOFILEID_TC_VOICE = 24,
  ZOFILEID_DLS = 25,
  ZOFILEID_AVI = 0x1000,
  ZOFILEID_MPEG1 = 0x1001,
  ZOFILEID_MPEG2 = 0x1002,
  ZOFILEID_ASF = 0x1003,
  ZOFILEID_WMV = 0x1004,
  ZOFILEID_WMA = 0x1005,
  ZOFILEID_DVRMS = 0x1006,
  ZOFILEID_TIVO = 0x1007,
  ZOFILEID_REALMEDIA = 0x1008,
  ZOFILEID_QUICKTIME = 0x1009,
  ZOFILEID_SWF = 0x100A,
  ZOFILEID_AVS = 0x100B,
  ZOFILEID_MXF_OP1A = 0x100C,
  ZOFILEID_MXF = 0x100D,
  ZOFILEID_MXF_SEQUENCE = 0x100E,
  ZOFILEID_AAF = 0x100F,
  ZOFILEID_MP4_AVC = 0x1010,
  ZOFILEID_MP4 = 0x1011,
  ZOFILEID_3GP = 0x1012,
  ZOFILEID_DV = 0x1013,
  ZOFILEID_MPEG_TS = 0x1014,
  ZOFILEID_AVC_ES = 0x1015,
  ZOFILEID_MP4_MPEG2 = 0x1016,
  ZOFILEID_RED = 0x1017,
  ZOFILEID_MP4_PCM = 0x1019,
  ZOFILEID_MPEG_TS_MVC = 0x101A,
  ZOFILEID_MATROSKA = 0x101B,
  ZOFILEID_JPEG = 0x2000,
  ZOFILEID_PNG = 0x2001,
  ZOFILEID_EXR = 0x2002,
  ZOFILEID_PSD = 0x2003,
  ZOFILEID_GIF = 0x2004,
  ZOFILEID_TIFF = 0x2005,
  ZOFILEID_TARGA = 0x2006,
  ZOFILEID_BMP = 0x2007,
  ZOFILEID_DPX = 0x2008,
  ZOFILEID_JPEGXR = 0x2009,
};

// The six forms. All but the general one return whether a row matched and
// put the type (1 when none did) in *type.
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE file, DWORD flags, DWORD* type);
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(LPCWSTR name, DWORD flags, DWORD* type);
// Identifies the file behind a handle (or, with file INVALID_HANDLE_VALUE,
// the named file) from at most its first 65536 bytes.
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE file, LPCWSTR name, DWORD flags, DWORD* type);
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(const void* buffer, DWORD size, DWORD flags, DWORD* type);
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(IStream* stream, DWORD flags, DWORD* type);
// The general form: a status (argument, open, seek or read failures), with
// *found set when a row matched and info->type filled.
VANE_EXPORT HRESULT ZoIsQuicklyIdentifiableMediaFileFormat(ZOFILEIDINFO* info, BOOL* found);

// A readable name for a type value ("Wave", "MPEG-2 transport stream", ...).
VANE_EXPORT const char* ZoIdentifiedTypeName(DWORD type);

// Walks big-endian boxes from start for at most searchLength bytes; on a
// match gives the box's start and size (as read). Any failure: not found.
VANE_EXPORT BOOL ZoFindAtom(HANDLE file, const char type[4], LONGLONG start, LONGLONG searchLength,
                            LONGLONG* offset, LONGLONG* size);
// MPEG Layer II by sync search over a buffer; extension (may be null) must
// be ".mp2" when known.
VANE_EXPORT BOOL IsTypeMP2FindSyncByte(const BYTE* buffer, DWORD size, LPCWSTR extension);
