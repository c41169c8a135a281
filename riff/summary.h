// SPDX-License-Identifier: MIT
// The summary record: the in-memory form of "LIST" "INFO" (ANSI text),
// "LIST" "UNFO" (wide text) and the Wave64 summary chunk, a list of
// four-character tags with text. The array and each text are fixed blocks
// of the global heap, zero-filled and owned by the record; a tag of 0 with no
// text is an empty slot. The caller frees a record with ZoSummary_Free.
#pragma once

#include "kernel/zolist.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

struct ZOSUMMARYITEM {
  DWORD tag;
  WCHAR* text;
};

struct ZOSUMMARY {
  DWORD count;
  ZOSUMMARYITEM* items;
};

VANE_BEGIN_EXTERN_C
// Finds "INFO" and the tag from the position and converts its text; the
// position is restored. *remaining bounds the search (bytes left in the
// parent) and is left as it was.
VANE_EXPORT HRESULT ZoSummary_GetStringFromFile(HANDLE file, DWORD tag, WCHAR* buffer, DWORD capacity,
                                                DWORD* remaining);
// Reads every item chunk from the position, the start of the list's data
// (just behind the list type); *remaining is the list's data size.
VANE_EXPORT HRESULT ZoSummary_Load(HANDLE file, ZOSUMMARY* record, DWORD* remaining);
VANE_EXPORT HRESULT ZoSummary_LoadUNFO(HANDLE file, ZOSUMMARY* record, DWORD* remaining);
// Writes "LIST" "INFO" (or "UNFO") at the position; *bytes gets the list's size + 8.
VANE_EXPORT HRESULT ZoSummary_Save(HANDLE file, const ZOSUMMARY* record, DWORD* bytes);
VANE_EXPORT HRESULT ZoSummary_SaveUNFO(HANDLE file, const ZOSUMMARY* record, DWORD* bytes);
// The Wave64 summary chunk body: count, then tag, byte size and wide text
// per item (sizes above 2048 refused with 0x80070057).
VANE_EXPORT HRESULT ZoSummary_LoadW64(const BYTE* body, ULONGLONG size, ZOSUMMARY* record);
VANE_EXPORT HRESULT ZoSummary_SaveW64(const ZOSUMMARY* record, BYTE* body, ULONGLONG* size);
VANE_EXPORT void ZoSummary_Free(ZOSUMMARY* record);
VANE_EXPORT LONG ZoSummary_GetItemIndex(const ZOSUMMARY* record, DWORD tag);
VANE_EXPORT const WCHAR* ZoSummary_GetItemText(const ZOSUMMARY* record, DWORD tag);
VANE_EXPORT HRESULT ZoSummary_Copy(ZOSUMMARY* destination, const ZOSUMMARY* source);
VANE_EXPORT BOOL ZoSummary_Compare(const ZOSUMMARY* a, const ZOSUMMARY* b);
VANE_EXPORT HRESULT ZoSummary_Merge(ZOSUMMARY* destination, ZOSUMMARY* source, BOOL replace, BOOL steal);
// Replaces the text of an existing tag, removes the item for a null text,
// appends an unknown tag. Tag 0 gives 0x80070057.
VANE_EXPORT HRESULT ZoSummary_SetItem(ZOSUMMARY* record, DWORD tag, const WCHAR* text);

// The summary of a Wave file as framed items of the summary stream kind in
// either list (an item whose tag is already there is left out).
VANE_EXPORT HRESULT ZoFMMeta_fillSummaryFromFileEx(HANDLE file, tZOLIST* timeList, tZOLIST* sampleList);
VANE_END_EXTERN_C
