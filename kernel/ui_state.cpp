// SPDX-License-Identifier: MIT
#include "kernel/ui_state.h"

#include <algorithm>
#include <iterator>

namespace vane::kernel {
namespace {

constexpr COLORREF Rgb(int r, int g, int b) { return COLORREF(r) | (COLORREF(g) << 8) | (COLORREF(b) << 16); }

// The default theme: window and face greys, text, selection, meters and
// track colours, in the order of the UI kit's colour indices.
constexpr COLORREF kDefaultColors[kDefaultColorCount] = {
    Rgb(240, 240, 240), Rgb(255, 255, 255), Rgb(0, 0, 0),       Rgb(212, 208, 200), Rgb(128, 128, 128),
    Rgb(64, 64, 64),    Rgb(255, 255, 255), Rgb(10, 36, 106),   Rgb(255, 255, 255), Rgb(166, 202, 240),
    Rgb(0, 0, 0),       Rgb(109, 109, 109), Rgb(192, 192, 192), Rgb(224, 224, 224), Rgb(160, 160, 160),
    Rgb(0, 0, 128),     Rgb(0, 128, 0),     Rgb(128, 0, 0),     Rgb(255, 255, 0),   Rgb(0, 255, 0),
    Rgb(255, 0, 0),     Rgb(255, 128, 0),   Rgb(0, 128, 255),   Rgb(48, 48, 48),    Rgb(32, 32, 32),
    Rgb(80, 80, 80),    Rgb(96, 96, 96),    Rgb(176, 176, 176), Rgb(200, 200, 200), Rgb(232, 232, 232),
    Rgb(0, 96, 160),    Rgb(0, 160, 96),    Rgb(160, 96, 0),    Rgb(96, 0, 160),    Rgb(160, 0, 96),
    Rgb(96, 160, 0),    Rgb(255, 255, 225), Rgb(0, 0, 0),       Rgb(51, 153, 255),  Rgb(255, 204, 0),
    Rgb(204, 0, 0),     Rgb(0, 153, 51),    Rgb(102, 102, 153), Rgb(153, 153, 204), Rgb(204, 204, 255),
    Rgb(255, 153, 51),  Rgb(51, 51, 51),    Rgb(153, 153, 153), Rgb(221, 221, 221), Rgb(119, 119, 119),
    Rgb(17, 17, 17),    Rgb(238, 238, 238), Rgb(68, 68, 68),
};

UiKitState g_uiKit;

}  // namespace

UiKitState& UiKit() { return g_uiKit; }

int PaletteSelectorForFlags(DWORD flags) { return (flags & 0x1) ? 1 : (flags & 0x20) ? 2 : 0; }

void LoadUiDefaults() {
  std::copy(std::begin(kDefaultColors), std::end(kDefaultColors), g_uiKit.colors);
  std::fill(std::begin(g_uiKit.cachedColorIndices), std::end(g_uiKit.cachedColorIndices), -1);
}

void ReleaseUiCaches() { std::fill(std::begin(g_uiKit.cachedColorIndices), std::end(g_uiKit.cachedColorIndices), -1); }

const COLORREF* DefaultColors() { return kDefaultColors; }

}  // namespace vane::kernel
