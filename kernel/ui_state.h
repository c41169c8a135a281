// SPDX-License-Identifier: MIT
// The UI kit's process-wide state that the kernel sets up at start: the
// palette selector, the host's cursor base, the splash window, the default
// colour table and the cached colour indices. The UI kit's colour and glyph
// functions read it; the kernel only loads and clears it.
#pragma once

#include "platform/types.h"

namespace vane::kernel {

inline constexpr int kDefaultColorCount = 53;
inline constexpr int kCachedColorIndexCount = 31;
inline constexpr int kHostCursorBase = 100;  // ids 100 to 149 come from the host module

using COLORREF = DWORD;  // 0x00BBGGRR

struct UiKitState {
  int paletteSelector = 0;  // 1 if flags bit 0, else 2 if flags bit 5, else 0
  int hostCursorBase = 0;
  HMODULE hostModule = nullptr;
  HWND splash = nullptr;
  COLORREF colors[kDefaultColorCount] = {};
  int cachedColorIndices[kCachedColorIndexCount] = {};
};

// Host-thread state (set at start, read by the UI kit on the host's thread).
UiKitState& UiKit();
int PaletteSelectorForFlags(DWORD flags);
// Copies the 53 defaults and sets the 31 cached indices to -1.
void LoadUiDefaults();
// Drops the cached drawing objects and cursors (there are none to free off
// the desktop platform) and clears the cached indices.
void ReleaseUiCaches();
const COLORREF* DefaultColors();

}  // namespace vane::kernel
