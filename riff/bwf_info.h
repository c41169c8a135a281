// SPDX-License-Identifier: MIT
// Broadcast wave metadata: the "bext" chunk (602-byte head and coding
// history) and the "iXML" document, both held in one record,
// _tagZOBWF_Chunk, whose elements are numbered by ZOMETA_BWFINFO_TYPE:
// 0 to 15 the bext elements, 16 to 79 the iXML nodes of the node table, 80
// the list of iXML elements the table does not know (kept as XML text and
// written back).
//
// The record is the caller's; the flat functions fill and read it. One
// record is used from one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/types.h"

enum BWF_CHUNK_ENUM : int { BWF_CHUNK_BEXT = 0, BWF_CHUNK_IXML = 1 };

enum ZOMETA_BWFINFO_TYPE : int {
  ZOBWF_TEXTBLOCK = 0,
  ZOBWF_VERSION = 1,
  ZOBWF_DESCRIPTION = 2,
  ZOBWF_ORIGINATOR = 3,
  ZOBWF_ORIGINATOR_REFERENCE = 4,
  ZOBWF_ORIGINATION_DATE = 5,
  ZOBWF_ORIGINATION_TIME = 6,
  ZOBWF_TIME_REFERENCE = 7,
  ZOBWF_UMID = 8,
  ZOBWF_LOUDNESS_FIRST = 9,  // five 16-bit values, 9 to 13
  ZOBWF_RESERVED = 14,
  ZOBWF_CODING_HISTORY = 15,
  ZOIXML_BWFXML = 16,
  ZOIXML_IXML_VERSION = 17,
  ZOIXML_PROJECT, ZOIXML_SCENE, ZOIXML_TAKE, ZOIXML_TAPE, ZOIXML_CIRCLED, ZOIXML_NO_GOOD, ZOIXML_FALSE_START,
  ZOIXML_WILD_TRACK, ZOIXML_FILE_UID, ZOIXML_UBITS, ZOIXML_NOTE, ZOIXML_USER, ZOIXML_PRE_RECORD_SAMPLECOUNT,
  ZOIXML_SPEED = 31,
  ZOIXML_SPEED_NOTE, ZOIXML_MASTER_SPEED, ZOIXML_CURRENT_SPEED, ZOIXML_TIMECODE_FLAG, ZOIXML_TIMECODE_RATE,
  ZOIXML_FILE_SAMPLE_RATE, ZOIXML_AUDIO_BIT_DEPTH, ZOIXML_DIGITIZER_SAMPLE_RATE,
  ZOIXML_TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI, ZOIXML_TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO, ZOIXML_TIMESTAMP_SAMPLE_RATE,
  ZOIXML_HISTORY = 43,
  ZOIXML_ORIGINAL_FILENAME, ZOIXML_PARENT_FILENAME, ZOIXML_PARENT_UID,
  ZOIXML_FILE_SET = 47,
  ZOIXML_TOTAL_FILES, ZOIXML_FAMILY_UID, ZOIXML_FAMILY_NAME, ZOIXML_FILE_SET_INDEX,
  ZOIXML_BEXT = 52,
  ZOIXML_BWF_DESCRIPTION, ZOIXML_BWF_ORIGINATOR, ZOIXML_BWF_ORIGINATOR_REFERENCE, ZOIXML_BWF_ORIGINATION_DATE,
  ZOIXML_BWF_ORIGINATION_TIME, ZOIXML_BWF_TIME_REFERENCE_LOW, ZOIXML_BWF_TIME_REFERENCE_HIGH, ZOIXML_BWF_VERSION,
  ZOIXML_BWF_UMID, ZOIXML_BWF_RESERVED, ZOIXML_BWF_CODING_HISTORY,
  ZOIXML_TRACK_LIST = 64,
  ZOIXML_TRACK_COUNT = 65,
  ZOIXML_TRACK = 66,
  ZOIXML_CHANNEL_INDEX, ZOIXML_INTERLEAVE_INDEX, ZOIXML_NAME, ZOIXML_FUNCTION,
  ZOIXML_SYNC_POINT_LIST = 71,
  ZOIXML_SYNC_POINT_COUNT = 72,
  ZOIXML_SYNC_POINT = 73,
  ZOIXML_SYNC_POINT_TYPE, ZOIXML_SYNC_POINT_FUNCTION, ZOIXML_SYNC_POINT_COMMENT, ZOIXML_SYNC_POINT_LOW,
  ZOIXML_SYNC_POINT_HIGH, ZOIXML_SYNC_POINT_EVENT_DURATION,
  ZOIXML_UNKNOWN_LIST = 80,
  ZOBWF_ELEMENT_COUNT = 81,
};
static_assert(ZOIXML_PRE_RECORD_SAMPLECOUNT == 30 && ZOIXML_TIMESTAMP_SAMPLE_RATE == 42 &&
              ZOIXML_PARENT_UID == 46 && ZOIXML_FILE_SET_INDEX == 51 && ZOIXML_BWF_CODING_HISTORY == 63 &&
              ZOIXML_FUNCTION == 70 && ZOIXML_SYNC_POINT_EVENT_DURATION == 79);

// Record flags.
inline constexpr DWORD ZOBWF_FLAG_BEXT = 1;    // the bext view is filled
inline constexpr DWORD ZOBWF_FLAG_TIME = 2;    // date, time and time reference are present
inline constexpr DWORD ZOBWF_FLAG_FORMAT = 4;  // rate, bits and channels of the format are present
inline constexpr DWORD ZOBWF_FLAG_IXML = 8;    // an iXML document was read

// Wave64 ids: bext, and this system's own iXML GUID (bext's with final byte 8B).
inline constexpr GUID kW64_bext_chunk = VANE_GUID(0x74786562, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A);
inline constexpr GUID kW64_iXML = VANE_GUID(0x74786562, 0xACF3, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8B);

// The bext head as it stands on disk (little-endian, packed).
#pragma pack(push, 1)
struct ZOBEXT_HEAD {
  char description[256];
  char originator[32];
  char originatorReference[32];
  char originationDate[10];
  char originationTime[8];
  DWORD timeReferenceLow;
  DWORD timeReferenceHigh;
  WORD version;
  BYTE umid[64];
  WORD loudness[5];
  BYTE reserved[180];
};
#pragma pack(pop)
static_assert(sizeof(ZOBEXT_HEAD) == 602);
static_assert(offsetof(ZOBEXT_HEAD, originator) == 256 && offsetof(ZOBEXT_HEAD, originatorReference) == 288 &&
              offsetof(ZOBEXT_HEAD, originationDate) == 320 && offsetof(ZOBEXT_HEAD, originationTime) == 330 &&
              offsetof(ZOBEXT_HEAD, timeReferenceLow) == 338 && offsetof(ZOBEXT_HEAD, timeReferenceHigh) == 342 &&
              offsetof(ZOBEXT_HEAD, version) == 346 && offsetof(ZOBEXT_HEAD, umid) == 348 &&
              offsetof(ZOBEXT_HEAD, loudness) == 412 && offsetof(ZOBEXT_HEAD, reserved) == 422);

struct ZOBWF_FIELD {
  BOOL present = FALSE;
  std::u16string text;
};

// One entry of the iXML track list (values 67 to 70) or sync point list
// (74 to 79), indexed from the list's first child value.
struct ZOBWF_LIST_ENTRY {
  ZOBWF_FIELD values[6];
};

struct _tagZOBWF_Chunk {
  DWORD flags = 0;
  DWORD sampleRate = 0;
  WORD bitsPerSample = 0;
  WORD channels = 0;
  ZOBWF_FIELD fields[ZOBWF_ELEMENT_COUNT];
  // Verbatim bext parts.
  BYTE umid[64] = {};
  WORD loudness[5] = {32767, 32767, 32767, 32767, 32767};
  BYTE reserved[180] = {};
  ULONGLONG timeReference = 0;
  WORD version = 0;
  std::vector<ZOBWF_LIST_ENTRY> tracks;
  std::vector<ZOBWF_LIST_ENTRY> syncPoints;
  // LISTUNKNOWN: elements under the root the node table does not know, as XML text.
  std::vector<std::string> unknown;
  int nodeLevel = 0;
  std::u16string ixmlCodingHistory;
};

// One row of the iXML node table: value, node name, type word, parent, level
// (-2 a parent element, -1 or 0 a leaf).
struct ZOIXML_NODE_INFO {
  int value;
  const char* name;
  DWORD type;
  const char* parent;
  int level;
};

// One row of a value table: number and text; the last row is -1 "Invalid IXML Value".
struct ZOIXML_VALUE_ROW {
  int number;
  const char* text;
  const char* rational;  // the speed table's rational form, else null
};

VANE_BEGIN_EXTERN_C
VANE_EXPORT const ZOIXML_NODE_INFO* GetTblIxmlInfo(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlSpeedFPS(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlTrackFuncts(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlSyncPtFuncts(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlSyncPtTypes(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlSpeedTimeCode(int* count);
VANE_EXPORT const ZOIXML_VALUE_ROW* GetTblIxmlBools(int* count);
// Whether a node name is in the table (case-insensitive).
VANE_EXPORT BOOL IsKnownIxmlNodeGlobal(const char* name);
// The table row of an element value, or null.
VANE_EXPORT const ZOIXML_NODE_INFO* GetIxmlInfoIndexForMetaIdxGlobal(const _tagZOBWF_Chunk* record, int value);
VANE_EXPORT void SetNodeLevelGlobal(_tagZOBWF_Chunk* record, int level);
VANE_EXPORT int GetNodeLevelGlobal(const _tagZOBWF_Chunk* record);
VANE_EXPORT const WCHAR* GetIxmlCodingHistoryValueGlobal(const _tagZOBWF_Chunk* record);
VANE_EXPORT void SetIxmlCodingHistoryValueGlobal(_tagZOBWF_Chunk* record, const WCHAR* text);
VANE_EXPORT const std::vector<std::string>* GetIxmlUnknownTagRoot(const _tagZOBWF_Chunk* record);

// Parses an iXML document into the record (its BEXT group into the bext fields).
VANE_EXPORT HRESULT ExtractIxmlContent(const BYTE* xml, DWORD size, _tagZOBWF_Chunk* record);
// Builds the XML of the values first..last (16..79 for a whole document) as
// 8-bit text. A null buffer reports the size; a buffer too small gets the
// size in *size and nothing else. `index` chooses the list entry when the
// range is the children of TRACK or SYNC_POINT.
VANE_EXPORT HRESULT BuildRawBwfIxmlChunkGlobal(const _tagZOBWF_Chunk* record, BYTE* buffer, DWORD* size, int first,
                                               int last, int index);
// Builds the bext chunk body: 602 + coding history bytes. A null buffer
// reports the size; a buffer too small gets the size and the call returns 0.
VANE_EXPORT HRESULT BuildBextChunkGlobal(const _tagZOBWF_Chunk* record, BYTE* buffer, DWORD* size);
// Reads a bext body into the record.
VANE_EXPORT HRESULT ExtractBextContent(const BYTE* body, DWORD size, _tagZOBWF_Chunk* record);
VANE_END_EXTERN_C
