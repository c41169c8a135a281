// SPDX-License-Identifier: MIT
// Chunk engine over open file handles: riff_* for classic RIFF (4-byte ids,
// 32-bit data sizes, 2-byte alignment) and riff64_* for Wave64 (GUID ids,
// 64-bit sizes that include the 24-byte header on disk, 8-byte alignment).
//
// The layers keep no state: the file position is the only cursor, and a
// caller that needs it kept saves it first. Sizes in these interfaces are
// data sizes; the 64-bit layer adds and subtracts the header itself. A
// failed call leaves the position wherever it stopped unless a function
// says it restores it. No locks: a handle belongs to one thread at a time.
#pragma once

#include "platform/export.h"
#include "platform/types.h"
#include "riff/riff_types.h"

VANE_BEGIN_EXTERN_C

// ---- classic RIFF
VANE_EXPORT HRESULT riff_ValidateChunkHeader(DWORD id, LONG size);
VANE_EXPORT HRESULT riff_SaveLocation(HANDLE file, DWORD* location);
VANE_EXPORT HRESULT riff_RestoreLocation(HANDLE file, DWORD location);
// Seeks forward by size rounded up to even; returns the rounded size.
VANE_EXPORT DWORD riff_SkipChunk(HANDLE file, DWORD size);
VANE_EXPORT HRESULT riff_ReadData(HANDLE file, void* buffer, DWORD size);
VANE_EXPORT HRESULT riff_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize);
VANE_EXPORT HRESULT riff_ReadDataAlloc(HANDLE file, ZORIFFDATA* data);
VANE_EXPORT HRESULT riff_SetRIFFSize(HANDLE file, DWORD size);
VANE_EXPORT HRESULT riff_UpdateRIFFSize(HANDLE file, LONGLONG delta);
// The RIFF size field plus 4 (4 less than the file's extent).
VANE_EXPORT HRESULT riff_GetFileSize(HANDLE file, DWORD* size);
VANE_EXPORT HRESULT riff_WriteChunkHeader(HANDLE file, DWORD id, DWORD size);
VANE_EXPORT HRESULT riff_WriteChunk(HANDLE file, DWORD id, const void* data, DWORD size, DWORD* written);
// The size must already count the 4 bytes of list type.
VANE_EXPORT HRESULT riff_WriteListHeader(HANDLE file, DWORD listType, DWORD size);
VANE_EXPORT HRESULT riff_WriteFileID(HANDLE file, DWORD formType, DWORD size);
VANE_EXPORT HRESULT riff_ReadChunkHeader(HANDLE file, DWORD* id, DWORD* size);
VANE_EXPORT HRESULT riff_ReadListHeader(HANDLE file, DWORD* listType, DWORD* size);
VANE_EXPORT HRESULT riff_ReadFileID(HANDLE file, DWORD* size, DWORD* formType);
VANE_EXPORT HRESULT riff_SeekDataStart(HANDLE file);
VANE_EXPORT HRESULT riff_FindChunkHeader(HANDLE file, DWORD id, DWORD* size, DWORD* remaining);
VANE_EXPORT HRESULT riff_FindChunkHeaderInRIFF(HANDLE file, DWORD id, DWORD* size, DWORD* remaining);
VANE_EXPORT HRESULT riff_FindListChunk(HANDLE file, DWORD listType, DWORD* size, DWORD* remaining);
VANE_EXPORT HRESULT riff_FindListChunkFromStart(HANDLE file, DWORD listType, DWORD* size);
VANE_EXPORT HRESULT riff_GetNumListEntries(HANDLE file, DWORD* count, DWORD* remaining);
VANE_EXPORT HRESULT riff_SeekListEntry(HANDLE file, DWORD index, DWORD* remaining);
VANE_EXPORT HRESULT riff_DeleteChunk(HANDLE file, DWORD id, DWORD* removed, BOOL isList);
VANE_EXPORT HRESULT riff_WriteANSIString(HANDLE file, LPCWSTR text, DWORD* written);
VANE_EXPORT HRESULT riff_ReadANSIString(HANDLE file, LPWSTR buffer, DWORD bufferLength, DWORD* size);
VANE_EXPORT HRESULT riff_ReadRIFFCDDA(HANDLE file, ZOCDDAINFO* info);
VANE_EXPORT HRESULT riff_ReadCDAFile(LPCWSTR name, DWORD* track, DWORD* firstSector, DWORD* startAddress,
                                     DWORD* length, DWORD* serial);

// ---- Wave64
VANE_EXPORT HRESULT riff64_ValidateChunkHeader(GUID id, LONGLONG size);
VANE_EXPORT HRESULT riff64_SaveLocation(HANDLE file, ULONGLONG* location);
VANE_EXPORT HRESULT riff64_RestoreLocation(HANDLE file, ULONGLONG location);
VANE_EXPORT ULONGLONG riff64_SkipChunk(HANDLE file, ULONGLONG size);
VANE_EXPORT HRESULT riff64_ReadData(HANDLE file, void* buffer, DWORD size);
VANE_EXPORT HRESULT riff64_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize);
VANE_EXPORT HRESULT riff64_ReadDataAlloc(HANDLE file, ZORIFFDATA* data);
VANE_EXPORT HRESULT riff64_SetRIFFSize(HANDLE file, ULONGLONG size);
VANE_EXPORT HRESULT riff64_UpdateRIFFSize(HANDLE file, LONGLONG delta);
VANE_EXPORT HRESULT riff64_WriteChunkHeader(HANDLE file, const GUID* id, ULONGLONG size);
VANE_EXPORT HRESULT riff64_WriteChunk(HANDLE file, const GUID* id, const void* data, DWORD size, ULONGLONG* written);
VANE_EXPORT HRESULT riff64_WriteData(HANDLE file, const void* data, DWORD size, ULONGLONG* written);
VANE_EXPORT HRESULT riff64_WriteListHeader(HANDLE file, const GUID* listType, ULONGLONG size);
VANE_EXPORT HRESULT riff64_WriteFileID(HANDLE file, const GUID* formType, ULONGLONG size);
VANE_EXPORT HRESULT riff64_ReadChunkHeader(HANDLE file, GUID* id, ULONGLONG* size);
VANE_EXPORT HRESULT riff64_ReadListHeader(HANDLE file, GUID* listType, ULONGLONG* size);
VANE_EXPORT HRESULT riff64_ReadFileID(HANDLE file, ULONGLONG* size, GUID* formType);
VANE_EXPORT HRESULT riff64_SeekDataStart(HANDLE file);
VANE_EXPORT HRESULT riff64_FindChunkHeader(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining);
VANE_EXPORT HRESULT riff64_FindChunkHeaderInRIFF(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining);
VANE_EXPORT HRESULT riff64_FindListChunk(HANDLE file, const GUID* listType, ULONGLONG* size, LONGLONG* remaining);
VANE_EXPORT HRESULT riff64_FindListChunkFromStart(HANDLE file, const GUID* listType, ULONGLONG* size);
VANE_EXPORT HRESULT riff64_GetNumListEntries(HANDLE file, DWORD* count, LONGLONG* remaining);
VANE_EXPORT HRESULT riff64_SeekListEntry(HANDLE file, DWORD index, LONGLONG* remaining);
VANE_EXPORT HRESULT riff64_DeleteChunk(HANDLE file, const GUID* id, ULONGLONG* removed);
// Always 0: GUIDs are not mapped to labels by table here.
VANE_EXPORT DWORD riff64_getGUIDLabel(GUID id);
VANE_EXPORT DWORD riff64_getGUIDLabelProperly(const GUID* id, const BYTE* extra8);

// Wave64 writing helpers.
VANE_EXPORT LONGLONG riff64_AmountWritten(HANDLE file, LONGLONG start);
VANE_EXPORT HRESULT riff64_Pad(HANDLE file, LONGLONG start);
VANE_EXPORT HRESULT riff64_WriteToFile(HANDLE file, const void* data, DWORD size);
VANE_EXPORT HRESULT riff64_PrepareChunk(HANDLE file, const GUID* id, LONGLONG* start);
VANE_EXPORT HRESULT riff64_PrepareList(HANDLE file, const GUID* listType, LONGLONG* start);
VANE_EXPORT HRESULT riff64_CompleteChunk(HANDLE file, LONGLONG start);
VANE_EXPORT HRESULT riff64_WriteChunkToFile(HANDLE file, const GUID* id, const void* data, DWORD size);

VANE_END_EXTERN_C
