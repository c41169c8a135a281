// SPDX-License-Identifier: MIT
// bext and iXML in Wave (bwfriff_) and Wave64 (bwfriff64_) files: loading
// into the record, the quick timestamp load for scanning many files, the
// in-place update rule (patch when the new body fits, else relabel the old
// chunk as filler and append), and deletes.
//
// Updates change the file in place and never touch the audio: a body that
// fits is written over the old one (the stored size stays, a zero tail fills
// the rest); one that does not is appended at the end of the RIFF form after
// the old chunk's id is turned into JUNK. The caller's handle must be open
// for reading and writing; the position is not kept.
#pragma once

#include "riff/bwf_info.h"

VANE_BEGIN_EXTERN_C
// The format chunk's rate, bits and channels (each may be null); a file that
// is not a WAVE form gives 0x8004E00A. The position is left behind the form type.
VANE_EXPORT HRESULT ReadFilePropsFromFormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels);
VANE_EXPORT HRESULT ReadFilePropsFromFormatChunk64(HANDLE file, DWORD* rate, WORD* bits, WORD* channels);

// Loads both chunks into the record; *found tells whether either was there.
VANE_EXPORT HRESULT bwfriff_LoadInfo(HANDLE file, _tagZOBWF_Chunk* record, BOOL* found);
VANE_EXPORT HRESULT bwfriff64_LoadInfo(HANDLE file, _tagZOBWF_Chunk* record, BOOL* found);
// Reads only the timestamp of bext (date, time, time reference, version) and
// the iXML document; *found is set whenever the file opened.
VANE_EXPORT HRESULT bwfriff_LoadTimestampInfoQuick(LPCWSTR name, _tagZOBWF_Chunk* record, BOOL* found,
                                                   BOOL isWave64);

// Writes one chunk by the update rule; *delta gets the bytes the file grew.
VANE_EXPORT HRESULT bwfriff_UpdateStreamChunk(int chunk, HANDLE file, const void* data, DWORD size, LONGLONG* delta);
VANE_EXPORT HRESULT bwfriff64_UpdateStreamChunk(int chunk, HANDLE file, const void* data, DWORD size,
                                                LONGLONG* delta);
// Removes one chunk (absent is success; an enum other than 0 or 1 does nothing).
VANE_EXPORT HRESULT bwfriff_DeleteChunk(int chunk, HANDLE file, ULONGLONG* bytes);
VANE_EXPORT HRESULT bwfriff64_DeleteChunk(int chunk, HANDLE file, ULONGLONG* bytes);
VANE_EXPORT HRESULT bwfriff_DeleteAllChunks(HANDLE file, ULONGLONG* bytes);
VANE_EXPORT HRESULT bwfriff64_DeleteAllChunks(HANDLE file, ULONGLONG* bytes);

// Builds the iXML of the record and updates the chunk, or deletes it when
// the record has nothing for it.
VANE_EXPORT HRESULT BuildAndWriteRawIxmlChunk(HANDLE file, const _tagZOBWF_Chunk* record, BOOL isWave64);
// Writes the record: bext built and updated when the record has its view,
// deleted otherwise; then the iXML document.
VANE_EXPORT HRESULT bwfriff_SaveInfo(HANDLE file, const _tagZOBWF_Chunk* record, BOOL isWave64);
// RF64 and BW64 (sizes in "ds64"): whether the file is one, and the search
// for a LIST of a type with the data chunk's real size; the file is left
// after the list type and *size is what follows it.
VANE_EXPORT BOOL rf64_IsRf64(HANDLE file);
VANE_EXPORT HRESULT rf64_FindListChunk(HANDLE file, DWORD listType, DWORD* size);
// The first chunk of an id, the file left at its body (sizes above 4 GB cut to 32 bits).
VANE_EXPORT HRESULT rf64_FindChunkHeader(HANDLE file, DWORD id, DWORD* size);
VANE_END_EXTERN_C
