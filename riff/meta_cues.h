// SPDX-License-Identifier: MIT
// Markers and regions from a Wave or Wave64 file into lists of framed items
// (28-byte item head, then the record): the time form to one list and the
// sample form to the other, either of which may be null. Classic files hold
// them in "cue " with labels and region lengths in "LIST" "adtl", and what
// 32 bits cannot hold in "zo01"; Wave64 files in one chunk of the marker GUID.
#pragma once

#include <string>
#include <vector>

#include "kernel/zolist.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// The lists must be heap lists (ZOLIST_OPT_HEAPITEMS); items are appended,
// an item equal in id, position, length and text to one already there is
// left out. A file without markers adds nothing and succeeds.
VANE_EXPORT HRESULT ZoFMMeta_fillCuesFromFileEx(HANDLE file, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList);
VANE_EXPORT HRESULT ZoFMMeta64_fillCuesFromFile(HANDLE file, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList);
VANE_END_EXTERN_C

namespace vane::riff {

struct MarkerSample {
  DWORD id = 0;
  LONGLONG position = 0;
  LONGLONG length = -1;  // -1: a marker without length
  std::u16string text;
};

// The markers and regions of a Wave or Wave64 file in sample form, in the
// order the readers above give them; none when the file has none.
VANE_EXPORT std::vector<MarkerSample> ReadMarkerSamples(HANDLE file, bool wave64, DWORD rate);

}  // namespace vane::riff
