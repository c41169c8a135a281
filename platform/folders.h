// SPDX-License-Identifier: MIT
// The temp folder and the application-data folders: $TMPDIR,
// $XDG_CONFIG_HOME (roaming) and $XDG_CACHE_HOME (local), with the usual
// defaults (/tmp, ~/.config, ~/.cache).
#pragma once

#include <string>

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Folder with a trailing '/'. Returns its length, or the size needed with
// terminator when the buffer is too small.
VANE_EXPORT DWORD GetTempPathW(DWORD capacity, LPWSTR buffer);
// A new unique empty file "<prefix><hex>.tmp" in folder; unique 0 only.
VANE_EXPORT UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR buffer);
VANE_END_EXTERN_C

namespace vane::platform {

enum class Folder { Temp, RoamingAppData, LocalAppData, RuntimeDir };

// UTF-8 path without trailing '/'; created if missing (except Temp).
VANE_EXPORT std::string GetFolderPath(Folder which);

}  // namespace vane::platform
