// SPDX-License-Identifier: MIT
// The _zowaveformat forms of the wave header writers. Each converts the
// engine's record into a local WAVEFORMATEX of 136 bytes and calls the
// 18-byte form; the rules, statuses and written bytes are that form's.
//
// The conversion lets the form follow from the record's mask and channel
// count (ZOWFCOPY_NOFORCE): a layout the plain record states in full (mono,
// stereo, or no mask) goes out plain even when the record was read from an
// extensible header, and a layout that needs the extensible header (a mask
// on more than two channels, or one that says more than the channel count)
// is refused with 0x8004E000 by the writers, which store the 18-byte record
// only, so no speaker layout is silently dropped. Clearing the mask is the
// caller's way to write such a format plain.
//
// Records are taken by reference, so a null argument still picks the
// WAVEFORMATEX form unambiguously (a repair without hints passes null there).
// Stateless; the same thread rules as the 18-byte forms.
#pragma once

#include "audio/zowaveformat.h"
#include "platform/export.h"
#include "platform/types.h"
#include "riff/riff_types.h"

VANE_EXPORT HRESULT ZoSetFileWfx(LPCWSTR name, const _zowaveformat& format);
VANE_EXPORT HRESULT ZoInitializeWav(LPCWSTR name, const _zowaveformat& format, DWORD mode);
VANE_EXPORT HRESULT ZoInitializeWav64(LPCWSTR name, const _zowaveformat& format, DWORD mode);
VANE_EXPORT HRESULT ZoInitializeWavWithJunk(LPCWSTR name, const _zowaveformat& format, DWORD mode, DWORD headerSize);
VANE_EXPORT HRESULT ZoInitializeWav64WithJunk(LPCWSTR name, const _zowaveformat& format, DWORD mode,
                                              ULONGLONG headerSize);
VANE_EXPORT HRESULT ZoInsertWavHeader(HANDLE file, const _zowaveformat& format, DWORD dataSize, DWORD headerSize);
VANE_EXPORT HRESULT ZoInsertW64Header(HANDLE file, const _zowaveformat& format, ULONGLONG dataSize,
                                      ULONGLONG headerSize);
VANE_EXPORT HRESULT ZoFixTrashedWav(HANDLE file, const _zowaveformat& hints, DWORD headerLimit);
VANE_EXPORT HRESULT ZoFixTrashedW64(HANDLE file, const _zowaveformat& hints, ULONGLONG headerLimit);
// The memory writer copies the 18-byte record as it stands, so here a record
// whose conversion needs codec bytes or the extensible header (cbSize not 0)
// is refused with 0x8004E000 before anything is written.
VANE_EXPORT HRESULT mriff_WriteWaveHeader(_tMRIFF* context, const _zowaveformat& format, DWORD dataSize,
                                          DWORD extraSize);

