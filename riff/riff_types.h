// SPDX-License-Identifier: MIT
// Shared vocabulary of the RIFF family: four-character codes, the Wave64
// GUIDs and the small records of the flat interfaces. The statuses the
// chunk layers report are named in platform/status.h.
#pragma once

#include <cstddef>

#include "platform/export.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/types.h"

// A four-character code as stored: the first character is the lowest byte,
// so that "data" reads in order from the file.
constexpr DWORD ZoFourCC(char a, char b, char c, char d) {
  return DWORD(BYTE(a)) | (DWORD(BYTE(b)) << 8) | (DWORD(BYTE(c)) << 16) | (DWORD(BYTE(d)) << 24);
}
constexpr DWORD ZoFourCC(const char (&s)[5]) { return ZoFourCC(s[0], s[1], s[2], s[3]); }

inline constexpr DWORD kFourCC_RIFF = ZoFourCC("RIFF");
inline constexpr DWORD kFourCC_LIST = ZoFourCC("LIST");
inline constexpr DWORD kFourCC_WAVE = ZoFourCC("WAVE");
inline constexpr DWORD kFourCC_fmt = ZoFourCC("fmt ");
inline constexpr DWORD kFourCC_data = ZoFourCC("data");
inline constexpr DWORD kFourCC_JUNK = ZoFourCC("JUNK");
inline constexpr DWORD kFourCC_INFO = ZoFourCC("INFO");
inline constexpr DWORD kFourCC_CDDA = ZoFourCC("CDDA");

// Wave64 GUIDs in their little-endian memory form. The first group spells
// the classic label in its first four bytes.
inline constexpr GUID kW64_riff = VANE_GUID(0x66666972, 0x912E, 0x11CF, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00);
inline constexpr GUID kW64_list = VANE_GUID(0x7473696C, 0x912F, 0x11CF, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00);
inline constexpr GUID kW64_wave = VANE_GUID(0x65766177, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_fmt = VANE_GUID(0x20746D66, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_data = VANE_GUID(0x61746164, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
// Third group 113D, unlike its neighbours: files already written carry it.
inline constexpr GUID kW64_junk = VANE_GUID(0x6B6E756A, 0xACF3, 0x113D, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_bext = VANE_GUID(0x74786562, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_cue = VANE_GUID(0xABF76256, 0x392D, 0x11D2, 0x86, 0xC7, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_info = VANE_GUID(0x925F94BC, 0x525A, 0x11D2, 0x86, 0xDC, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_scot = VANE_GUID(0xBD481736, 0x2F2C, 0x40E8, 0xA0, 0xAB, 0x3D, 0x52, 0x3E, 0xEB, 0x22, 0x6E);
inline constexpr GUID kW64_plst = VANE_GUID(0xF686AA44, 0x6773, 0x4AAD, 0x93, 0xB5, 0x10, 0x07, 0xC1, 0x2A, 0x8C, 0xDB);
inline constexpr GUID kW64_tlst = VANE_GUID(0xBE46E415, 0x5EA4, 0x4264, 0x92, 0x83, 0x3B, 0x20, 0x92, 0xD5, 0x7F, 0x66);
inline constexpr GUID kW64_DISP = VANE_GUID(0x612CCA25, 0x92BB, 0x4C55, 0x84, 0x08, 0x7B, 0xDA, 0x2F, 0x15, 0xBD, 0x27);
inline constexpr GUID kW64_smpl = VANE_GUID(0x07A22A98, 0xF29A, 0x4FA4, 0xB7, 0xB5, 0x57, 0xC9, 0xD3, 0x71, 0xDB, 0x38);
inline constexpr GUID kW64_CDif = VANE_GUID(0xD392C689, 0xCC06, 0x4CC7, 0xBF, 0x1B, 0x0E, 0xC5, 0xBE, 0x62, 0xF0, 0x93);
inline constexpr GUID kW64_zo03 = VANE_GUID(0x6EE8897A, 0x3617, 0x4B2D, 0x92, 0x13, 0x91, 0x79, 0xE8, 0x84, 0xB7, 0x34);
inline constexpr GUID kW64_zo04 = VANE_GUID(0x870914E2, 0x5832, 0x4639, 0x98, 0x8A, 0x37, 0x5E, 0x77, 0x8A, 0xC4, 0x4A);
inline constexpr GUID kW64_str2 = VANE_GUID(0x62574347, 0x69A7, 0x473A, 0xA8, 0x9E, 0xD5, 0xB0, 0xFA, 0x7C, 0x9F, 0x7E);
inline constexpr GUID kW64_bmrk = VANE_GUID(0xB2A0A152, 0x055E, 0x4475, 0x86, 0xF1, 0x5D, 0x78, 0xAF, 0x15, 0xA0, 0x56);
inline constexpr GUID kW64_dtbt = VANE_GUID(0x3AE34B75, 0xF55E, 0x44EC, 0xA2, 0xF0, 0xF4, 0xEB, 0x3C, 0x53, 0xAF, 0x7D);
inline constexpr GUID kW64_bmpi = VANE_GUID(0xCC7E18D8, 0xBF95, 0x4D30, 0xBC, 0x30, 0xDF, 0xB6, 0xC2, 0x8C, 0x1D, 0x08);
inline constexpr GUID kW64_bmpm = VANE_GUID(0x8A2EBAD0, 0xA180, 0x4C9E, 0x87, 0x78, 0x58, 0x7A, 0x7C, 0xBD, 0x9E, 0xF6);
inline constexpr GUID kW64_pic = VANE_GUID(0x20636970, 0xACF2, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);

// One row of the label correspondence between classic chunks and Wave64
// GUIDs; used by dumps (the chunk layers themselves compare raw GUIDs).
struct ZoW64Label {
  GUID guid;
  const char* label;  // "fmt ", "LIST/INFO", ...
};
VANE_BEGIN_EXTERN_C
// The known Wave64 GUIDs with their classic labels, and their count.
VANE_EXPORT const ZoW64Label* ZoW64_KnownLabels(size_t* count);
VANE_END_EXTERN_C

// Size-in, pointer-out pair of the ReadDataAlloc functions. The block is
// moveable global memory, zero-filled and handed out locked; the owner
// unlocks it and frees it through GlobalHandle(pData).
struct ZORIFFDATA {
  DWORD cbSize;
  void* pData;
};

// The 24-byte "fmt " body of a CD audio shortcut file.
#pragma pack(push, 1)
struct ZOCDDAINFO {
  WORD wVersion;
  WORD wTrack;
  DWORD dwSerial;
  DWORD dwFirstSector;
  DWORD dwLengthSectors;
  BYTE startFrame, startSecond, startMinute, startZero;
  BYTE lengthFrame, lengthSecond, lengthMinute, lengthZero;
};
#pragma pack(pop)
static_assert(sizeof(ZOCDDAINFO) == 24);
static_assert(offsetof(ZOCDDAINFO, dwFirstSector) == 8 && offsetof(ZOCDDAINFO, startFrame) == 16);

// In-memory RIFF context. Invariant: pBase <= pCursor <= pDataEnd <=
// pCapacityEnd. Writing past pDataEnd raises it; cbData and cbCapacity keep
// the values given to mriff_Init.
struct _tMRIFF {
  BYTE* pBase;
  BYTE* pCursor;
  BYTE* pDataEnd;
  BYTE* pCapacityEnd;
  DWORD cbData;
  DWORD cbCapacity;
};
