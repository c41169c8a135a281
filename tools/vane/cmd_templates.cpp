// SPDX-License-Identifier: MIT
// vane templates [CLASS]: the presets and saved templates of renderer
// classes with their identities. vane template save|show: build a ".zot2"
// template of a class, or read one back.
#include <cstdio>
#include <filesystem>
#include <string>

#include "audio/zowaveformat.h"
#include "fileio/zotemplate.h"
#include "fileio/zotemplate_cache.h"
#include "platform/guid.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "tools/vane/manager_hold.h"
#include "tools/vane/render_support.h"

namespace vane::tool {
namespace {

int RunList(Args& args);
int RunTemplate(Args& args);

const Command kList{"templates", "templates [CLASS] [--json]",
                    "list renderer classes' presets and saved templates", &RunList};
const Command kTemplate{"template",
                        "template save NAME [-o FILE.zot2] [--class NAME|GUID] [--type pcm16|pcm24|pcm32|float32|"
                        "float64|pcm8|source] [--rate HZ] [--channels N] [--notes TEXT] [--json] | "
                        "template show FILE [--json]",
                        "save a render template as a .zot2 file, or show one", &RunTemplate};
const Registrar kRegList(kList);
const Registrar kRegTemplate(kTemplate);

std::string Hex32(DWORD v) {
  char text[16];
  std::snprintf(text, sizeof text, "%08X", unsigned(v));
  return text;
}

// The facts of one template, as one JSON object or one text line.
void Describe(const tagZOTEMPLATExV2* tpl, const char* kind, Json* j) {
  const auto* f = reinterpret_cast<const _zowaveformat*>(tpl->readFormat);
  const std::string name = vane::platform::ToUtf8(ZoTemplate_Name(tpl));
  const std::string id = vane::platform::GuidToString(tpl->templateId);
  const std::string type = tpl->audioSize ? SampleTypeName(f->sampleType) : "none";
  if (j) {
    j->BeginObject().Field("name", name).Field("kind", kind).Field("id", id)
        .Field("crc", Hex32(ZoFio_GetTemplateDataCRC32(tpl, TRUE))).Field("sample_type", type)
        .Field("sample_rate", std::uint64_t(tpl->audioSize ? f->nSamplesPerSec : 0))
        .Field("channels", std::uint64_t(tpl->audioSize ? f->nChannels : 0))
        .Field("notes", vane::platform::ToUtf8(ZoTemplate_Notes(tpl))).Field("size", std::uint64_t(tpl->size))
        .EndObject();
    return;
  }
  auto value = [](DWORD v) { return v ? std::to_string(v) : std::string("source"); };
  std::printf("  %-32s %-7s %-8s %6s Hz %6s ch  %s\n", name.c_str(), kind, type.c_str(),
              value(f->nSamplesPerSec).c_str(), value(f->nChannels).c_str(), id.c_str());
}

int RunList(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kList, "unknown option " + *unknown);
  const std::vector<std::string> names = args.Positional();
  if (names.size() > 1) return UsageError(kList, "at most one class");
  ManagerHold manager;
  HRESULT hr = ZOFileIO_CreateInstance(&manager.m, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  std::vector<ComPtr<IZoRenderFileClass>> classes;
  if (!names.empty()) {
    ComPtr<IZoRenderFileClass> cls;
    std::string why;
    if (FAILED(hr = FindRenderer(manager.m, names[0], "", &cls, &why))) return Failure(hr, why);
    classes.push_back(cls);
  } else {
    for (LONG i = 0; i < manager.m->GetRendererCount(); ++i) {
      ComPtr<IZoRenderFileClass> cls;
      if (SUCCEEDED(manager.m->GetRenderClassByIndex(cls.ReleaseAndGetAddressOf(), i))) classes.push_back(cls);
    }
  }
  Json j;
  if (json) j.BeginObject().Key("classes").BeginArray();
  for (auto& cls : classes) {
    GUID id{};
    cls->GetTypeID(&id);
    CZoTemplateCache* cache = nullptr;
    hr = ZoFio_GetGlobalTemplateCache(manager.m, cls.Get(), &cache);
    if (FAILED(hr)) return Failure(hr, RendererName(cls.Get()));
    const std::string folder = cache->folders.size() > 1 ? cache->folders[1].path : "";
    if (json) {
      j.BeginObject().Field("class", RendererName(cls.Get())).Field("id", vane::platform::GuidToString(id))
          .Field("folder", folder).Key("templates").BeginArray();
    } else {
      std::printf("%s %s\n", RendererName(cls.Get()).c_str(), vane::platform::GuidToString(id).c_str());
    }
    for (const auto& node : cache->folders)
      for (LONG i = 0; i < node.templates->nItems; ++i)
        Describe(ZoFio_TemplateAt(node.templates, i), node.kind == ZOTEMPLATE_KIND_PRESETS ? "preset" : "user",
                 json ? &j : nullptr);
    if (json) {
      j.EndArray().Key("bad_files").BeginArray();
      for (const auto& bad : cache->badFiles) j.String(bad);
      j.EndArray().EndObject();
    } else {
      std::printf("  saved templates: %s\n", folder.c_str());
      for (const auto& bad : cache->badFiles) std::printf("  not loaded (damaged or refused): %s\n", bad.c_str());
    }
    ZoFio_ReleaseGlobalTemplateCache(cache);
  }
  if (json) {
    j.EndArray().EndObject();
    std::printf("%s\n", j.str().c_str());
  }
  return kExitOk;
}

int Save(Args& args, bool json) {
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::string className = args.Option("--class").value_or("Wave (Vane)");
  const std::string typeName = args.Option("--type").value_or("source");
  const std::string rateText = args.Option("--rate").value_or("0");
  const std::string channelText = args.Option("--channels").value_or("0");
  const std::string notes = args.Option("--notes").value_or("");
  if (auto unknown = args.Unknown()) return UsageError(kTemplate, "unknown option " + *unknown);
  const std::vector<std::string> words = args.Positional();
  if (words.size() != 2) return UsageError(kTemplate, "template save needs a NAME");
  ZOSAMPLETYPE type = ZOSAMPLE_NONE;
  if (!ParseSampleTypeName(typeName, &type)) return UsageError(kTemplate, "unknown --type " + typeName);
  char* end = nullptr;
  const unsigned long rate = std::strtoul(rateText.c_str(), &end, 10);
  if (*end || rate > 4000000) return UsageError(kTemplate, "--rate takes a rate in Hz");
  const unsigned long channels = std::strtoul(channelText.c_str(), &end, 10);
  if (*end || channels > 64) return UsageError(kTemplate, "--channels takes 1 to 64 (0: as the source)");

  ManagerHold manager;
  HRESULT hr = ZOFileIO_CreateInstance(&manager.m, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  ComPtr<IZoRenderFileClass> cls;
  std::string why;
  if (FAILED(hr = FindRenderer(manager.m, className, "", &cls, &why))) return Failure(hr, why);

  ZoWaveFormatBuffer<40> read;
  read->Init(DWORD(rate), type, WORD(channels), 0, 40);
  tagZOTEMPLATExV2* tpl = nullptr;
  hr = ZoFio_MakeTemplate(&tpl, read.get(), nullptr, nullptr, nullptr, nullptr, 0,
                          vane::platform::FromUtf8(words[1]).c_str(), vane::platform::FromUtf8(notes).c_str());
  if (FAILED(hr)) return Failure(hr, "building the template");
  cls->GetTypeID(&tpl->classId);
  ZoFio_InitGUIDFromTemplateMD5DataHash(&tpl->templateId, tpl, TRUE);
  std::string path = output.value_or("");
  if (path.empty()) {
    const std::string folder = ZoTemplate_ClassFolder(cls.Get(), "Render Templates");
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    path = folder + "/" + words[1] + ".zot2";
  }
  hr = ZoFio_SaveTemplateData(vane::platform::FromUtf8(path).c_str(), tpl, TRUE);
  if (FAILED(hr)) {
    ZoFio_ReleaseTemplate(tpl);
    return Failure(hr, path);
  }
  if (json) {
    Json j;
    j.BeginObject().Field("file", path).Key("template");
    Describe(tpl, "user", &j);
    j.EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("saved %s\n", path.c_str());
    Describe(tpl, "user", nullptr);
  }
  ZoFio_ReleaseTemplate(tpl);
  return kExitOk;
}

int Show(Args& args, bool json) {
  if (auto unknown = args.Unknown()) return UsageError(kTemplate, "unknown option " + *unknown);
  const std::vector<std::string> words = args.Positional();
  if (words.size() != 2) return UsageError(kTemplate, "template show needs a FILE");
  tagZOTEMPLATExV2* tpl = nullptr;
  const HRESULT hr = ZoFio_LoadTemplateData(vane::platform::FromUtf8(words[1]).c_str(), &tpl);
  if (FAILED(hr)) return Failure(hr, words[1]);
  if (json) {
    Json j;
    j.BeginObject().Field("file", words[1]).Field("version", Hex32(tpl->version))
        .Field("owner", vane::platform::GuidToString(tpl->classId)).Field("uplifted", bool(ZoFio_IsUpliftedV1Template(tpl)))
        .Key("template");
    Describe(tpl, "file", &j);
    j.EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    WCHAR text[4096];
    ZoFio_MakeTemplateDescription(tpl, nullptr, text, 4096);
    std::printf("%s\n%s\n", words[1].c_str(), vane::platform::ToUtf8(text).c_str());
    Describe(tpl, "file", nullptr);
  }
  ZoFio_ReleaseTemplate(tpl);
  return kExitOk;
}

int RunTemplate(Args& args) {
  const bool json = args.Flag("--json");
  const std::vector<std::string> words = args.Positional();
  if (words.empty()) return UsageError(kTemplate, "save or show");
  if (words[0] == "save") return Save(args, json);
  if (words[0] == "show") return Show(args, json);
  return UsageError(kTemplate, "unknown action " + words[0]);
}

}  // namespace
}  // namespace vane::tool
