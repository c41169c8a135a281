// SPDX-License-Identifier: MIT
// Names of peak files: beside the media, or a fresh temporary name.
#pragma once

#include <string>

#include "platform/types.h"

namespace vane::audiopeak {

// The media's path with a ".wav" extension (any case) cut and ".zok" added,
// followed by the stream index when it is 0 or more; the stem is cut from
// its end so that the result stays below 260 characters. Empty for an empty
// path.
std::u16string PeakNameBesideMedia(const std::u16string& mediaPath, int streamIndex);
// "ZOK%.04u.TMP" in `folder` (else the system's temp folder) with a
// process-wide counter that only goes up, the first name that doesn't exist;
// S_FALSE (status 1) and no name once the counter is spent.
HRESULT TemporaryPeakName(LPCWSTR folder, std::u16string* name);

}  // namespace vane::audiopeak
