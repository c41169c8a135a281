// SPDX-License-Identifier: MIT
// Where the samples of a Wave or Wave64 file lie and what they are: the
// chunk walk of the Wave plug-in. Input is hostile: every read is bounded by
// the file's size, the walk only moves forward and stops after a fixed
// number of chunks, and each failure has its own status.
#pragma once

#include <functional>

#include "audio/mmreg.h"
#include "audio/zowaveformat.h"
#include "platform/status.h"

namespace vane::wave {

enum class Container { Wave, Wave64 };

struct WaveLayout {
  Container container = Container::Wave;
  // The format chunk as stored (up to the extensible size).
  WAVEFORMATEXTENSIBLE wfx{};
  ZOSAMPLETYPE sampleType = ZOSAMPLE_NONE;
  WORD blockAlign = 0;
  ULONGLONG dataOffset = 0;
  ULONGLONG dataBytes = 0;
  ULONGLONG frames = 0;
  // Last, so that the packed format record above keeps its alignment.
  bool rf64 = false;  // an RF64 or BW64 form: 64-bit sizes in its ds64 chunk
};

// Reads up to `bytes` at `offset`; returns the count read (short at the end).
using ReadAt = std::function<ULONGLONG(ULONGLONG offset, void* buffer, ULONGLONG bytes)>;

// RF64 and BW64 files read as Wave, with the sizes of their "ds64" chunk; a
// data chunk longer than the file is read as far as the file goes.
// Statuses: 0x8004E080 no RIFF/RF64/Wave64 form, 0x8004E025 no format or data
// chunk, or a chunk past the end of the file, 0x8004E00B a format chunk that
// can't be read, 0x8004E000 a sample type the plug-in doesn't decode,
// 0x8004E02B no channels, 0x8004E02A a bit depth that doesn't fit.
HRESULT ParseWaveLayout(const ReadAt& read, ULONGLONG fileSize, WaveLayout* out);

// Whether a sample type is one this plug-in reads.
bool IsDecodedSampleType(ZOSAMPLETYPE type);

}  // namespace vane::wave
