// SPDX-License-Identifier: MIT
#include "tools/vane/render_support.h"

#include <filesystem>

#include "fileio/zotemplate_cache.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace vane::tool {

namespace {
struct TypeName {
  const char* name;
  ZOSAMPLETYPE type;
};
const TypeName kTypes[] = {{"source", ZOSAMPLE_NONE},     {"pcm8", ZOSAMPLE_PCM8},       {"pcm16", ZOSAMPLE_PCM16},
                           {"pcm24", ZOSAMPLE_PCM24},     {"pcm32", ZOSAMPLE_PCM32},     {"float32", ZOSAMPLE_FLOAT32},
                           {"float64", ZOSAMPLE_FLOAT64}};
}  // namespace

std::string SampleTypeName(DWORD type) {
  for (const auto& t : kTypes)
    if (DWORD(t.type) == type) return t.name;
  return "type" + std::to_string(type);
}

bool ParseSampleTypeName(const std::string& text, ZOSAMPLETYPE* type) {
  for (const auto& t : kTypes)
    if (text == t.name) {
      *type = t.type;
      return true;
    }
  return false;
}

std::string RendererName(IZoRenderFileClass* cls) {
  DWORD id = ZOFIO_INFOTEXT_NAME;
  BSTR text = nullptr;
  std::string name;
  if (SUCCEEDED(cls->GetInfoText(&id, 1, &text)) && text) name = vane::platform::ToUtf8(text);
  SysFreeString(text);
  return name;
}

HRESULT FindRenderer(IZoFileIOManager* manager, const std::string& name, const std::string& outputFile,
                     ComPtr<IZoRenderFileClass>* out, std::string* why) {
  GUID id{};
  HRESULT hr;
  if (!name.empty() && vane::platform::GuidFromString(name.c_str(), &id)) {
    hr = manager->GetRenderClassByGuid(out->ReleaseAndGetAddressOf(), id);
    if (FAILED(hr)) *why = "no renderer class " + name;
  } else if (!name.empty()) {
    hr = manager->FindRendererByName(out->ReleaseAndGetAddressOf(), vane::platform::FromUtf8(name).c_str());
    if (FAILED(hr)) *why = "no renderer class named \"" + name + "\" (see `vane templates`)";
  } else {
    const std::string ext = std::filesystem::path(outputFile).extension().string();
    LONG position = 0;
    hr = ext.empty() ? ZOERR_NO_RENDERER
                     : manager->FindRenderClassByExtension(out->ReleaseAndGetAddressOf(),
                                                           vane::platform::FromUtf8(ext).c_str(), &position);
    if (FAILED(hr)) *why = "no renderer writes \"" + ext + "\" files; name one with --class";
  }
  if (SUCCEEDED(hr) && !*out) hr = ZOERR_NO_RENDERER;
  return hr;
}

HRESULT FindTemplate(IZoFileIOManager* manager, IZoRenderFileClass* cls, const std::string& name,
                     tagZOTEMPLATExV2** out) {
  std::error_code ec;
  if (std::filesystem::is_regular_file(name, ec))
    return ZoFio_LoadRawUserTemplate(cls, vane::platform::FromUtf8(name).c_str(), out);
  return ZoFio_GetTemplateByName(manager, cls, vane::platform::FromUtf8(name).c_str(), out);
}

}  // namespace vane::tool
