// SPDX-License-Identifier: MIT
// The renderer classes of the Wave plug-in and the format rules they share.
#pragma once

#include "audio/zowaveformat.h"
#include "fileio/zotemplate.h"
#include "plugins/wave/wave_layout.h"

namespace vane::wave {

// The format a render writes: the template's fields, each 0 taken from the
// source. ZOERR_BITDEPTH_UNSUPPORTED for a sample type the renderer does not write.
HRESULT ConformFields(const tagZOTEMPLATExV2* tpl, const _zowaveformat& src, _zowaveformat* dst);
// The same, and refused when the rate or channel count differ from the source.
HRESULT ConformToSource(const tagZOTEMPLATExV2* tpl, const _zowaveformat& src, _zowaveformat* dst);
// A template of the renderers: a read format of the type, rate and channels (0: as the source).
HRESULT WaveRenderFormat(ZOSAMPLETYPE type, DWORD rate, WORD channels, tagZOTEMPLATExV2** out, const WCHAR* name);
IUnknown* MakeWaveRenderClass(Container c);

}  // namespace vane::wave
