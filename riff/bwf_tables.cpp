// SPDX-License-Identifier: MIT
// The iXML node table and value tables, and the record accessors.
#include <array>
#include <cstring>
#include <strings.h>

#include "riff/bwf_info.h"

namespace {

constexpr DWORD kText = 0, kParent = 1, kBool = 2, kSpeed = 3, kFlag = 4, kHalf = 5, kEntry = 6;

constexpr std::array<ZOIXML_NODE_INFO, 66> kNodes{{
    {16, "BWFXML", kParent, nullptr, -2},
    {17, "IXML_VERSION", kText, "BWFXML", -1},
    {18, "PROJECT", kText, "BWFXML", -1},
    {19, "SCENE", kText, "BWFXML", -1},
    {20, "TAKE", kText, "BWFXML", -1},
    {21, "TAPE", kText, "BWFXML", -1},
    {22, "CIRCLED", kBool, "BWFXML", -1},
    {23, "NO_GOOD", kBool, "BWFXML", -1},
    {24, "FALSE_START", kBool, "BWFXML", -1},
    {25, "WILD_TRACK", kBool, "BWFXML", -1},
    {26, "FILE_UID", kText, "BWFXML", -1},
    {27, "UBITS", kText, "BWFXML", -1},
    {28, "NOTE", kText, "BWFXML", -1},
    {29, "USER", kText, "BWFXML", -1},
    {30, "PRE_RECORD_SAMPLECOUNT", kText, "BWFXML", -1},
    {31, "SPEED", kParent, "BWFXML", -2},
    {32, "NOTE", kText, "SPEED", 0},
    {33, "MASTER_SPEED", kSpeed, "SPEED", 0},
    {34, "CURRENT_SPEED", kSpeed, "SPEED", 0},
    {35, "TIMECODE_FLAG", kFlag, "SPEED", 0},
    {36, "TIMECODE_RATE", kSpeed, "SPEED", 0},
    {37, "FILE_SAMPLE_RATE", kText, "SPEED", 0},
    {38, "AUDIO_BIT_DEPTH", kText, "SPEED", 0},
    {39, "DIGITIZER_SAMPLE_RATE", kText, "SPEED", 0},
    {40, "TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI", kHalf, "SPEED", 0},
    {41, "TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO", kHalf, "SPEED", 0},
    {42, "TIMESTAMP_SAMPLE_RATE", kText, "SPEED", 0},
    {43, "HISTORY", kParent, "BWFXML", -2},
    {44, "ORIGINAL_FILENAME", kText, "HISTORY", 0},
    {45, "PARENT_FILENAME", kText, "HISTORY", 0},
    {46, "PARENT_UID", kText, "HISTORY", 0},
    {47, "FILE_SET", kParent, "BWFXML", -2},
    {48, "TOTAL_FILES", kText, "FILE_SET", 0},
    {49, "FAMILY_UID", kText, "FILE_SET", 0},
    {50, "FAMILY_NAME", kText, "FILE_SET", 0},
    {51, "FILE_SET_INDEX", kText, "FILE_SET", 0},
    {52, "BEXT", kParent, "BWFXML", -2},
    {53, "BWF_DESCRIPTION", kText, "BEXT", 0},
    {54, "BWF_ORIGINATOR", kText, "BEXT", 0},
    {55, "BWF_ORIGINATOR_REFERENCE", kText, "BEXT", 0},
    {56, "BWF_ORIGINATION_DATE", kText, "BEXT", 0},
    {57, "BWF_ORIGINATION_TIME", kText, "BEXT", 0},
    {58, "BWF_TIME_REFERENCE_LOW", kHalf, "BEXT", 0},
    {59, "BWF_TIME_REFERENCE_HIGH", kHalf, "BEXT", 0},
    {60, "BWF_VERSION", kText, "BEXT", 0},
    {61, "BWF_UMID", kText, "BEXT", 0},
    {62, "BWF_RESERVED", kText, "BEXT", 0},
    {63, "BWF_CODING_HISTORY", kText, "BEXT", 0},
    {64, "TRACK_LIST", kParent, "BWFXML", -2},
    {65, "TRACK_COUNT", kText, "TRACK_LIST", -1},
    {66, "TRACK", kEntry, "TRACK_LIST", -2},
    {67, "CHANNEL_INDEX", kText, "TRACK", 0},
    {68, "INTERLEAVE_INDEX", kText, "TRACK", 0},
    {69, "NAME", kText, "TRACK", 0},
    {70, "FUNCTION", kText, "TRACK", 0},
    {71, "SYNC_POINT_LIST", kParent, "BWFXML", -2},
    {72, "SYNC_POINT_COUNT", kText, "SYNC_POINT_LIST", -1},
    {73, "SYNC_POINT", kEntry, "SYNC_POINT_LIST", -2},
    {74, "SYNC_POINT_TYPE", kText, "SYNC_POINT", 0},
    {75, "SYNC_POINT_FUNCTION", kText, "SYNC_POINT", 0},
    {76, "SYNC_POINT_COMMENT", kText, "SYNC_POINT", 0},
    {77, "SYNC_POINT_LOW", kText, "SYNC_POINT", 0},
    {78, "SYNC_POINT_HIGH", kText, "SYNC_POINT", 0},
    {79, "SYNC_POINT_EVENT_DURATION", kText, "SYNC_POINT", 0},
    {80, nullptr, kText, nullptr, 0},
    {80, "<Unknown iXML Element List>", kParent, "BWFXML", -2},
}};

constexpr std::array<ZOIXML_VALUE_ROW, 9> kSpeedFps{{
    {0, "23.976 fps = 24000/1001", "24000/1001"},
    {1, "24.000 fps = 24/1", "24/1"},
    {2, "25.000 fps = 25/1", "25/1"},
    {3, "29.970 fps = 30000/1001", "30000/1001"},
    {4, "30.000 fps = 30/1", "30/1"},
    {5, "50.000 fps = 50/1", "50/1"},
    {6, "59.940 fps = 60000/1001", "60000/1001"},
    {7, "60.000 fps = 60/1", "60/1"},
    {-1, "Invalid IXML Value", nullptr},
}};

constexpr const char* kTrackFunctionNames[47] = {
    "M-MID_SIDE", "S-MID_SIDE", "X-X_Y", "Y-X_Y", "L-MIX", "R-MIX", "MIX", "LEFT", "RIGHT", "F-DMS", "8-DMS", "R-DMS",
    "L-LCR", "C-LCR", "R-LCR", "L-LCRS", "C-LCRS", "R-LCRS", "S-LCRS", "L-5.1", "C-5.1", "R-5.1", "Ls-5.1", "Rs-5.1",
    "LFE-5.1", "L-7.1", "Lc-7.1", "C-7.1", "Rc-7.1", "R-7.1", "Ls-7.1", "Rs-7.1", "LFE-7.1", "L-GENERIC",
    "Lc-GENERIC", "C-GENERIC", "Rc-GENERIC", "R-GENERIC", "Ls-GENERIC", "Cs-GENERIC", "Rs-GENERIC", "LFE-GENERIC",
    "W-SOUNDFIELD", "X-SOUNDFIELD", "Y-SOUNDFIELD", "Z-SOUNDFIELD", "VIDEO"};

constexpr std::array<ZOIXML_VALUE_ROW, 48> MakeTrackFunctions() {
  std::array<ZOIXML_VALUE_ROW, 48> rows{};
  for (int i = 0; i < 47; ++i) rows[static_cast<size_t>(i)] = {i, kTrackFunctionNames[i], nullptr};
  rows[47] = {-1, "Invalid IXML Value", nullptr};
  return rows;
}
constexpr std::array<ZOIXML_VALUE_ROW, 48> kTrackFunctions = MakeTrackFunctions();

constexpr std::array<ZOIXML_VALUE_ROW, 8> kSyncFunctions{{
    {0, "PRE_RECORD_SAMPLECOUNT", nullptr},
    {1, "SLATE_GENERIC", nullptr},
    {2, "MARKER_GENERIC", nullptr},
    {3, "MARKER_AUTOPLAY", nullptr},
    {4, "MARKER_AUTOPLAYSTOP", nullptr},
    {5, "MARKER_AUTOPLAYLOOP", nullptr},
    {6, "GROUP_OFFSET", nullptr},
    {-1, "Invalid IXML Value", nullptr},
}};
constexpr std::array<ZOIXML_VALUE_ROW, 3> kSyncTypes{{{0, "RELATIVE", nullptr}, {1, "ABSOLUTE", nullptr}, {-1, "Invalid IXML Value", nullptr}}};
constexpr std::array<ZOIXML_VALUE_ROW, 3> kTimecode{{{0, "NDF", nullptr}, {1, "DF", nullptr}, {-1, "Invalid IXML Value", nullptr}}};
constexpr std::array<ZOIXML_VALUE_ROW, 3> kBools{{{0, "FALSE", nullptr}, {1, "TRUE", nullptr}, {-1, "Invalid IXML Value", nullptr}}};

template <size_t N>
const ZOIXML_VALUE_ROW* Table(const std::array<ZOIXML_VALUE_ROW, N>& rows, int* count) {
  if (count) *count = static_cast<int>(N);
  return rows.data();
}

}  // namespace

VANE_EXTERN_C const ZOIXML_NODE_INFO* GetTblIxmlInfo(int* count) {
  if (count) *count = static_cast<int>(kNodes.size());
  return kNodes.data();
}
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlSpeedFPS(int* count) { return Table(kSpeedFps, count); }
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlTrackFuncts(int* count) { return Table(kTrackFunctions, count); }
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlSyncPtFuncts(int* count) { return Table(kSyncFunctions, count); }
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlSyncPtTypes(int* count) { return Table(kSyncTypes, count); }
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlSpeedTimeCode(int* count) { return Table(kTimecode, count); }
VANE_EXTERN_C const ZOIXML_VALUE_ROW* GetTblIxmlBools(int* count) { return Table(kBools, count); }

// Walks the rows up to the end mark (value 80).
VANE_EXTERN_C BOOL IsKnownIxmlNodeGlobal(const char* name) {
  if (!name) return FALSE;
  for (const ZOIXML_NODE_INFO& row : kNodes) {
    if (row.value == 80) break;
    if (strcasecmp(row.name, name) == 0) return TRUE;
  }
  return FALSE;
}

// Walks to value 81, so the unknown-list row (the second 80) is found too.
VANE_EXTERN_C const ZOIXML_NODE_INFO* GetIxmlInfoIndexForMetaIdxGlobal(const _tagZOBWF_Chunk*, int value) {
  const ZOIXML_NODE_INFO* found = nullptr;
  for (const ZOIXML_NODE_INFO& row : kNodes)
    if (row.value == value && row.name) found = &row;
  return found;
}

VANE_EXTERN_C void SetNodeLevelGlobal(_tagZOBWF_Chunk* record, int level) {
  if (record) record->nodeLevel = level;
}
VANE_EXTERN_C int GetNodeLevelGlobal(const _tagZOBWF_Chunk* record) { return record ? record->nodeLevel : 0; }
VANE_EXTERN_C const WCHAR* GetIxmlCodingHistoryValueGlobal(const _tagZOBWF_Chunk* record) {
  return record ? record->ixmlCodingHistory.c_str() : nullptr;
}
VANE_EXTERN_C void SetIxmlCodingHistoryValueGlobal(_tagZOBWF_Chunk* record, const WCHAR* text) {
  if (record) record->ixmlCodingHistory = text ? text : u"";
}
VANE_EXTERN_C const std::vector<std::string>* GetIxmlUnknownTagRoot(const _tagZOBWF_Chunk* record) {
  return record ? &record->unknown : nullptr;
}
