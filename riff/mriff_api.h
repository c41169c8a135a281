// SPDX-License-Identifier: MIT
// Classic RIFF in a block of memory through a _tMRIFF context. Same rules as
// riff_*, but every cursor move is clamped to the block: reads stop at
// pDataEnd, writes at pCapacityEnd, and nothing is ever touched outside.
#pragma once

#include "platform/export.h"
#include "platform/types.h"
#include "riff/riff_types.h"

struct WAVEFORMATEX;
struct OVERLAPPED;

VANE_BEGIN_EXTERN_C
VANE_EXPORT HRESULT mriff_Init(_tMRIFF* context, void* block, DWORD dataSize, DWORD capacity);
VANE_EXPORT BYTE* mriff_GetFilePointer(_tMRIFF* context);
// Methods: 0 from pBase, 1 from the cursor, 2 from pDataEnd, other: no
// move. Clamped to pBase..pDataEnd; returns the offset from pBase.
VANE_EXPORT DWORD mriff_SetFilePointer(_tMRIFF* context, LONG distance, LONG* high, DWORD method);
VANE_EXPORT LONGLONG mriff_ZoSetFilePointer(_tMRIFF* context, LONGLONG distance, DWORD method);
VANE_EXPORT BOOL mriff_ReadFile(_tMRIFF* context, void* buffer, DWORD count, DWORD* read, OVERLAPPED* overlapped);
// Always true; a short count is the only sign of a full block.
VANE_EXPORT BOOL mriff_WriteFile(_tMRIFF* context, const void* buffer, DWORD count, DWORD* written,
                                 OVERLAPPED* overlapped);
VANE_EXPORT DWORD mriff_UpdateDataSize(_tMRIFF* context, DWORD delta);
VANE_EXPORT HRESULT mriff_SaveLocation(_tMRIFF* context, DWORD* location);
VANE_EXPORT HRESULT mriff_RestoreLocation(_tMRIFF* context, DWORD location);
VANE_EXPORT DWORD mriff_SkipChunk(_tMRIFF* context, DWORD size);
VANE_EXPORT HRESULT mriff_SeekDataStart(_tMRIFF* context);
VANE_EXPORT HRESULT mriff_ReadData(_tMRIFF* context, void* buffer, DWORD size);
VANE_EXPORT HRESULT mriff_ReadDataBounded(_tMRIFF* context, void* buffer, DWORD wanted, DWORD chunkSize);
VANE_EXPORT HRESULT mriff_ReadDataAlloc(_tMRIFF* context, ZORIFFDATA* data);
VANE_EXPORT HRESULT mriff_ReadChunkHeader(_tMRIFF* context, DWORD* id, DWORD* size);
VANE_EXPORT HRESULT mriff_ReadListHeader(_tMRIFF* context, DWORD* listType, DWORD* size);
VANE_EXPORT HRESULT mriff_ReadFileID(_tMRIFF* context, DWORD* size, DWORD* formType);
VANE_EXPORT HRESULT mriff_FindChunkHeader(_tMRIFF* context, DWORD id, DWORD* size, DWORD* remaining);
// Reads the file id at the cursor (not at the block's start); a remaining
// count below 12 cannot hold one and gives "not found".
VANE_EXPORT HRESULT mriff_FindChunkHeaderInRIFF(_tMRIFF* context, DWORD id, DWORD* size, DWORD* remaining);
VANE_EXPORT HRESULT mriff_FindListChunk(_tMRIFF* context, DWORD listType, DWORD* size, DWORD* remaining);
VANE_EXPORT HRESULT mriff_FindListChunkFromStart(_tMRIFF* context, DWORD listType, DWORD* size);
VANE_EXPORT HRESULT mriff_GetNumListEntries(_tMRIFF* context, DWORD* count, DWORD* remaining);
// Reads from the chunk id inside LIST "INFO"; the amount is bounded by what
// is left of the list, not by the chunk, so trim at the terminator.
VANE_EXPORT HRESULT mriff_GetInfoString(_tMRIFF* context, DWORD id, void* buffer, DWORD bufferSize,
                                        DWORD* remaining);
VANE_EXPORT HRESULT mriff_WriteChunkHeader(_tMRIFF* context, DWORD id, DWORD size);
VANE_EXPORT HRESULT mriff_WriteListHeader(_tMRIFF* context, DWORD listType, DWORD size);
VANE_EXPORT HRESULT mriff_WriteFileID(_tMRIFF* context, DWORD formType, DWORD size);
VANE_EXPORT HRESULT mriff_WriteWaveHeader(_tMRIFF* context, const WAVEFORMATEX* format, DWORD dataSize,
                                          DWORD extraSize);
VANE_EXPORT HRESULT mriff_GetWfx(WAVEFORMATEX* format, const void* block, DWORD size, DWORD* dataSize);
VANE_END_EXTERN_C
