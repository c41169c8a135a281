// SPDX-License-Identifier: MIT
// The few AIFF facts the wave helpers need: is a file AIFF, and its format
// as a wave record. Big-endian "FORM" files of type "AIFF" or "AIFC".
#pragma once

#include <cstdint>

#include "audio/mmreg.h"
#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
VANE_EXPORT BOOL iff_IsAIFFFile(HANDLE file);
// Reads the COMM chunk into an 18-byte record (cbSize 0). frames gets the
// frame count, commOffset the file offset of the COMM body, compressed
// whether an AIFC compression type other than "NONE"/"sowt"/"fl32"/"fl64" is set.
VANE_EXPORT HRESULT iff_GetAIFFWfx(HANDLE file, WAVEFORMATEX* format, DWORD* frames, LONGLONG* commOffset,
                                   BOOL* compressed);
// The 80-bit extended float of a sample rate, big-endian.
VANE_EXPORT void aiff_CreateRate(double rate, BYTE out[10]);
VANE_EXPORT double aiff_ReadRate(const BYTE in[10]);
VANE_END_EXTERN_C

namespace vane::riff {
// The file offset of the first sample frame of an AIFF file: the "SSND"
// body, behind its offset and block-size fields, plus that offset. False
// without an SSND chunk or when it would start past the file's end.
bool AiffSoundDataOffset(HANDLE file, std::int64_t* offset);
}  // namespace vane::riff
