// SPDX-License-Identifier: MIT
// Wave and Wave64 headers on top of the chunk engine: tests for a file's
// kind, reading the format record, laying down empty files (with or without
// reserved "JUNK" room), writing a header over raw samples, and repairing
// files whose header a crash ruined. Records are the 18-byte WAVEFORMATEX;
// writers accept only records with cbSize 0 and, for PCM, a block align of
// channels * (bits >> 3) and no 20-bit samples.
#pragma once

#include "audio/mmreg.h"
#include "audio/zowaveformat.h"  // ZoAudio_FixBadWfx, used with these helpers
#include "platform/export.h"
#include "platform/types.h"

// Whether the named file is a Wave (Wave64) file with a readable format
// chunk whose format is uncompressed, or compressed is allowed.
VANE_EXPORT BOOL ZoFileIsWave(LPCWSTR name, BOOL allowCompressed);
VANE_EXPORT BOOL ZoFileIsWave64(LPCWSTR name, BOOL allowCompressed);
VANE_EXPORT BOOL ZoFileIsAiff(LPCWSTR name);
// The format record of a Wave, Wave64 or AIFF file from the C heap (free it
// with free), or null. The outs are 0 unless a record is returned; the
// sample count is cut to the whole frames the file holds, and the data
// offset is where the samples start (an AIFF's too).
VANE_EXPORT WAVEFORMATEX* ZoGetFileWfx(LPCWSTR name, ULONGLONG* sampleCount, ULONGLONG* dataOffset);
// Replaces the format of a Wave file, or rebuilds the COMM body of an AIFF.
// The record goes into the file's own "fmt " chunk when it fits that chunk
// exactly (18 bytes, or 16 for PCM); otherwise the file is rewritten beside
// itself with an 18-byte chunk and renamed over the original, unless
// allowRewrite is FALSE, which refuses with 0x8004E000 and changes nothing.
// An extensible record (tag 0xFFFE) does not fit 18 bytes and is refused.
VANE_EXPORT HRESULT ZoSetFileWfx(LPCWSTR name, const WAVEFORMATEX* format);
VANE_EXPORT HRESULT ZoSetFileWfx(LPCWSTR name, const WAVEFORMATEX* format, BOOL allowRewrite);

// mode: 3 truncates an existing file, 4 creates always, others are passed
// on as the create disposition (1 create new, 2 create always).
VANE_EXPORT HRESULT ZoInitializeWav(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode);
VANE_EXPORT HRESULT ZoInitializeWav64(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode);
VANE_EXPORT HRESULT ZoInitializeWavWithJunk(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode, DWORD headerSize);
VANE_EXPORT HRESULT ZoInitializeWav64WithJunk(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode,
                                              ULONGLONG headerSize);
// Writes a complete header over the start of a file whose samples begin at
// headerSize; the position is kept.
VANE_EXPORT HRESULT ZoInsertWavHeader(HANDLE file, const WAVEFORMATEX* format, DWORD dataSize, DWORD headerSize);
VANE_EXPORT HRESULT ZoInsertW64Header(HANDLE file, const WAVEFORMATEX* format, ULONGLONG dataSize,
                                      ULONGLONG headerSize);
// Repairs a ruined header, keeping the samples. A format chunk that a walk
// from the first chunk reaches, with fields that agree, is kept as it is
// and only the sizes are set; otherwise hints (may be null) supply the
// fields that read as nonsense. headerLimit bounds the search for data.
VANE_EXPORT HRESULT ZoFixTrashedWav(HANDLE file, const WAVEFORMATEX* hints, DWORD headerLimit);
VANE_EXPORT HRESULT ZoFixTrashedW64(HANDLE file, const WAVEFORMATEX* hints, ULONGLONG headerLimit);

namespace vane::riff {
// The format acceptance rule of the writers: S_OK or 0x8004E000.
HRESULT CheckWriterFormat(const WAVEFORMATEX& format, bool checkCbSize = true);
// Whether a format record (with its extension, if any) is uncompressed.
bool IsUncompressed(const BYTE* body, size_t size);
}  // namespace vane::riff
