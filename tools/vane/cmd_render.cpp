// SPDX-License-Identifier: MIT
// vane render IN -o OUT: opens IN through the plug-in manager as a host does
// and writes OUT through a renderer class and a template, with the source's
// metadata. The renderer writes beside OUT and renames into place only when
// the file is complete, so a failed or interrupted render leaves OUT as it was.
#include <cstdio>
#include <memory>
#include <string>

#include "audio/zowaveformat.h"
#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "tools/vane/manager_hold.h"
#include "tools/vane/render_support.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"render",
                       "render IN -o OUT [--class NAME|GUID] [--template NAME|FILE] [--quiet] [--json]",
                       "write a new file from IN through a renderer class and a template", &Run};
const Registrar kReg(kCommand);

// The host's progress interface over the terminal bar.
class BarProgress final : public IZoProgress {
 public:
  explicit BarProgress(bool enabled) : m_enabled(enabled) {}
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = iid == IID_IUnknown ? static_cast<IUnknown*>(this) : nullptr;
    return *out ? S_OK : E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT Start(LONGLONG total) override {
    m_bar = std::make_unique<vane::tool::Progress>("rendering", std::uint64_t(total < 0 ? 0 : total), m_enabled);
    return S_OK;
  }
  HRESULT PluginSlot4(LONG_PTR) override { return S_OK; }
  HRESULT PluginSlot5(LONG_PTR) override { return S_OK; }
  HRESULT Progress(LONGLONG position) override {
    if (m_bar) m_bar->Update(std::uint64_t(position));
    return S_OK;
  }
  void Finish() {
    if (m_bar) m_bar->Finish();
  }

 private:
  bool m_enabled;
  std::unique_ptr<vane::tool::Progress> m_bar;
};

std::string Explain(HRESULT hr, const _zowaveformat& src, const tagZOTEMPLATExV2* tpl) {
  const auto* want = reinterpret_cast<const _zowaveformat*>(tpl->readFormat);
  if (hr == ZOERR_UNSUPPORTED_FORMAT && want->nSamplesPerSec && want->nSamplesPerSec != src.nSamplesPerSec)
    return "the template writes " + std::to_string(want->nSamplesPerSec) + " Hz and the source is " +
           std::to_string(src.nSamplesPerSec) + " Hz; this renderer does not resample (use a template of the "
           "source's rate, e.g. \"Same as source\")";
  if (hr == ZOERR_CHANNELS_UNSUPPORTED)
    return "the template writes " + std::to_string(want->nChannels) + " channels and the source has " +
           std::to_string(src.nChannels) + "; this renderer does not remix channels";
  return {};
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const bool quiet = args.Flag("--quiet");
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::string className = args.Option("--class").value_or("");
  const std::optional<std::string> templateName = args.Option("--template");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1 || !output) return UsageError(kCommand, "one input file and -o OUT are needed");
  const std::string& input = files[0];

  ManagerHold manager;
  HRESULT hr = ZOFileIO_CreateInstance(&manager.m, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  ComPtr<IZoReadFile> reader;
  hr = manager.m->OpenReadFile(vane::platform::FromUtf8(input).c_str(), reader.ReleaseAndGetAddressOf(), 0);
  if (FAILED(hr)) return Failure(hr, input);
  ComPtr<IZoRenderFileClass> cls;
  std::string why;
  hr = FindRenderer(manager.m, className, *output, &cls, &why);
  if (FAILED(hr)) return Failure(hr, why);

  tagZOTEMPLATExV2* tpl = nullptr;
  if (templateName) {
    hr = FindTemplate(manager.m, cls.Get(), *templateName, &tpl);
    if (FAILED(hr)) return Failure(hr, "template \"" + *templateName + "\"");
  } else {
    hr = cls->GetPreset(&tpl, 0);
    if (FAILED(hr)) return Failure(hr, "the renderer's first preset");
  }
  struct Release {
    tagZOTEMPLATExV2*& t;
    ~Release() { ZoFio_ReleaseTemplate(&t); }
  } releaseTemplate{tpl};

  ComPtr<IZoReadStream> stream;
  hr = reader->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr);
  if (FAILED(hr)) return Failure(hr, input + ": no audio stream");
  ComPtr<IZoReadAudioStream> audio;
  if (FAILED(hr = stream.As(IID_IZoReadAudioStream, &audio))) return Failure(hr, input);
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> src;
  src->cbStruct = sizeof(_zowaveformat);
  LONGLONG frames = 0;
  if (FAILED(hr = audio->GetReadAudioFormat(src.get())) || FAILED(hr = audio->GetSampleCount(&frames)))
    return Failure(hr, input);

  ComPtr<IZoRenderFile> file;
  IZoReadStream* streams[] = {stream.Get()};
  hr = cls->Create(file.ReleaseAndGetAddressOf(), vane::platform::FromUtf8(*output).c_str(), 1, streams, tpl);
  if (FAILED(hr)) return Failure(hr, "creating " + *output);
  ComPtr<IZoReadMeta> meta;
  if (SUCCEEDED(reader.As(IID_IZoReadMeta, &meta))) file->SetMetaReader(meta.Get());
  BarProgress progress(!json && !quiet);
  hr = file->Render(&progress);
  progress.Finish();
  if (FAILED(hr)) {
    const std::string detail = Explain(hr, *src.get(), tpl);
    return Failure(hr, *output + (detail.empty() ? "" : ": " + detail));
  }

  // What was written, as the file's reader sees it.
  ComPtr<IZoReadFile> back;
  ComPtr<IZoReadStream> backStream;
  ComPtr<IZoReadAudioStream> backAudio;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> written;
  written->cbStruct = sizeof(_zowaveformat);
  LONGLONG writtenFrames = 0;
  hr = manager.m->OpenReadFile(vane::platform::FromUtf8(*output).c_str(), back.ReleaseAndGetAddressOf(), 0);
  if (SUCCEEDED(hr)) hr = back->OpenStream(backStream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr);
  if (SUCCEEDED(hr)) hr = backStream.As(IID_IZoReadAudioStream, &backAudio);
  if (SUCCEEDED(hr)) hr = backAudio->GetReadAudioFormat(written.get());
  if (SUCCEEDED(hr)) hr = backAudio->GetSampleCount(&writtenFrames);
  if (FAILED(hr)) return Failure(hr, *output + ": written, but it does not read back");

  const std::string renderer = RendererName(cls.Get());
  const std::string templ = vane::platform::ToUtf8(ZoTemplate_Name(tpl));
  const std::string type = SampleTypeName(written->sampleType);
  if (json) {
    Json j;
    j.BeginObject().Field("file", input).Field("output", *output).Field("class", renderer).Field("template", templ)
        .Field("sample_rate", std::uint64_t(written->nSamplesPerSec)).Field("channels", std::uint64_t(written->nChannels))
        .Field("sample_type", type).Field("bits", std::uint64_t(written->BitsPerSample()))
        .Field("frames", std::int64_t(writtenFrames)).Field("status", "ok").EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s -> %s: %s, template \"%s\", %u Hz, %u channels, %s, %lld frames\n", input.c_str(),
                output->c_str(), renderer.c_str(), templ.c_str(), unsigned(written->nSamplesPerSec),
                unsigned(written->nChannels), type.c_str(), static_cast<long long>(writtenFrames));
  }
  return writtenFrames == frames ? kExitOk : Failure(ZOERR_NOT_ENOUGH_DATA, input + ": the source ended early");
}

}  // namespace
}  // namespace vane::tool
