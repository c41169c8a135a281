// SPDX-License-Identifier: MIT
// Writing metadata chunks of a Wave file: every write is delete-then-append,
// so metadata chunks end up behind the audio at the RIFF end and the samples
// are never rewritten in place. Markers in sample form go to "cue " (what
// fits 32 bits), "LIST" "adtl" ("ltxt" for regions, "labl" for labels) and,
// when a position or length needs more than 32 bits, "zo01" with all of them.
#pragma once

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/types.h"
#include "riff/meta_cues.h"
#include "riff/summary.h"

// Kinds of metadata (bits of ZOFIO_TYPESOFMETADATA) the deletes know.
inline constexpr DWORD ZOFIO_META_SUMMARY = 0x1;
inline constexpr DWORD ZOFIO_META_MARKERS = 0x4;

namespace vane::riff {


// Appends one chunk at the RIFF end (its stored size counts the pad byte)
// and grows the RIFF size.
VANE_EXPORT HRESULT AppendChunk(HANDLE file, DWORD id, const void* body, DWORD size);
VANE_EXPORT HRESULT AppendChunk64(HANDLE file, const GUID& id, const void* body, DWORD size);
// Writes the marker chunks of the list (nothing for an empty list); the
// Wave64 form is one chunk of the marker GUID.
VANE_EXPORT HRESULT WriteMarkerChunks(HANDLE file, const std::vector<MarkerSample>& markers);
VANE_EXPORT HRESULT WriteMarkerChunks64(HANDLE file, const std::vector<MarkerSample>& markers);
// Appends the summary as "LIST" "INFO" (Wave) or the summary chunk (Wave64);
// nothing for an empty record.
VANE_EXPORT HRESULT WriteSummaryChunk(HANDLE file, const ZOSUMMARY* record);
VANE_EXPORT HRESULT WriteSummaryChunk64(HANDLE file, const ZOSUMMARY* record);

}  // namespace vane::riff

VANE_BEGIN_EXTERN_C
// Deletes the chunks of the kinds from a Wave (or Wave64) file; absent
// chunks are no error, and a file that does not open is reported as success.
VANE_EXPORT HRESULT ZoFMMeta_DeleteMetaChunksEx(LPCWSTR name, DWORD kinds, BOOL isWave64);
VANE_EXPORT HRESULT ZoFMMeta_DeleteMetaChunks(LPCWSTR name);
// 0 if the file has a "cue " chunk, 0x8004E00A otherwise (also when it cannot be opened).
VANE_EXPORT HRESULT ZoFMMeta_LookForMarkers(LPCWSTR name);
VANE_END_EXTERN_C
