// SPDX-License-Identifier: MIT
// What the render and template commands share: finding a renderer class as
// a user names it, and a template as a user names it.
#pragma once

#include <string>

#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "platform/com.h"

namespace vane::tool {

// By GUID text, by (part of) its display name, or, with no name, by the
// extension of `outputFile`. Fills `why` on failure.
HRESULT FindRenderer(IZoFileIOManager* manager, const std::string& name, const std::string& outputFile,
                     ComPtr<IZoRenderFileClass>* out, std::string* why);
// A ".zot"/".zot2" file when one exists at `name`, else a template of the
// class by name (presets and the class's user folder).
HRESULT FindTemplate(IZoFileIOManager* manager, IZoRenderFileClass* cls, const std::string& name,
                     tagZOTEMPLATExV2** out);
// The class's display name.
std::string RendererName(IZoRenderFileClass* cls);
// "pcm16", "float32", ... for a sample type; "source" for none.
std::string SampleTypeName(DWORD type);
bool ParseSampleTypeName(const std::string& text, ZOSAMPLETYPE* type);

}  // namespace vane::tool
