// SPDX-License-Identifier: MIT
// What `vane peaks` and `vane waveform` share: a peak instance over any file
// a plug-in reads, and building it with a progress bar.
#pragma once

#include <string>

#include "audiopeak/zoaudiopeak.h"
#include "tools/vane/manager_hold.h"

namespace vane::tool {

// What a build found the peak file to be.
enum class PeakState { kFresh, kStale, kBuilt };
const char* PeakStateName(PeakState state);

struct PeakSession {
  ManagerHold manager;
  vane::ComPtr<IZoAudioPeak> peak;
  std::string peakFile;
  PeakState state = PeakState::kBuilt;
};

// Opens `file` through the plug-in manager and makes its peak instance:
// at `peakPath` when given, else by `flags` (beside the media by default).
HRESULT OpenPeaks(PeakSession* session, const std::string& file, const std::string& peakPath, LONG framesPerPeak,
                  DWORD flags);
// Builds (or keeps) the peak file, with a progress bar unless quiet.
HRESULT BuildPeaks(PeakSession* session, DWORD buildFlags, bool quiet);

}  // namespace vane::tool
