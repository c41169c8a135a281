// SPDX-License-Identifier: MIT
// A peak reader over any file a plug-in reads: the manager picks the
// reader, and frames come from the audio stream's Read slot in its read
// format. The file is open only between Open and Close.
#pragma once

#include "audiopeak/peak_reader.h"
#include "platform/export.h"
#include "platform/types.h"

struct IZoFileIOManager;

// `audioIndex` is the audio stream among the file's audio streams (0 for the
// first). Fails with the manager's status when no plug-in reads the file or
// it has no such audio stream; the reader holds a reference to the manager.
VANE_EXPORT HRESULT ZoAudioPeak_CreateManagerReader(CZoAudioPeakStreamReader** reader, IZoFileIOManager* manager,
                                                    LPCWSTR path, LONG audioIndex);
VANE_EXPORT void ZoAudioPeak_DestroyReader(CZoAudioPeakStreamReader* reader);
