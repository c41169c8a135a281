// SPDX-License-Identifier: MIT
// vane demo: a walk through the library, one step after the other, each
// saying what it did. For now: the kernel's start facts, the CPU words and a
// status text.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ffbase/memory_token.h"
#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "kernel/clock.h"
#include "kernel/cpu.h"
#include "kernel/lifecycle.h"
#include "kernel/os_info.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/wtext.h"
#include "riff/bwf_riff.h"
#include "riff/meta_write.h"
#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"demo", "demo", "walk through what the library does, step by step", &Run};
const Registrar kReg(kCommand);

// One step: prints its lines and returns a status (a failure stops the walk).
struct Step {
  const char* title;
  HRESULT (*run)();
};

HRESULT KernelStep() {
  const DWORD version = ZoKernel_GetVersion();
  std::printf("  kernel version word 0x%08X: %u.%u.%u\n", unsigned(version), unsigned(version >> 24),
              unsigned((version >> 16) & 0xFF), unsigned(version & 0xFFFF));
  WCHAR path[4096];
  if (SUCCEEDED(ZoKernel_GetAppKernelPathName(path, 4096)))
    std::printf("  kernel module: %s\n", vane::platform::ToUtf8(path).c_str());
  const HRESULT same = ZoKernel_CheckVersion(nullptr, "vane demo", version, ZOKERNEL_INTERFACE_LEVEL, 0, TRUE);
  const HRESULT newer = ZoKernel_CheckVersion(nullptr, "vane demo", version + 1, ZOKERNEL_INTERFACE_LEVEL, 0, TRUE);
  std::printf("  handshake: a client of this version gets %s, one build newer gets %s\n", StatusHex(same).c_str(),
              StatusHex(newer).c_str());
  WCHAR os[256];
  ZoGetOS(os, 256);
  std::printf("  running on %s\n", vane::platform::ToUtf8(os).c_str());
  return FAILED(same) ? same : S_OK;
}

std::string Names(DWORD word) {
  std::string out;
  for (const auto& n : vane::kernel::CpuFeatureNames(word)) out += " " + n;
  return out.empty() ? " (none)" : out;
}

HRESULT CpuStep() {
  LONGLONG counter = 0;
  ZoDeltaMicrosecEx(&counter);
  const DWORD cpu = ZoGetCPUSupport(0);
  const DWORD os = ZoGetOSSupport(0);
  std::printf("  CPU support 0x%08X, class %u:%s\n", unsigned(cpu), unsigned(cpu & ZOCPU_CLASS_MASK),
              Names(cpu).c_str());
  std::printf("  OS support  0x%08X:%s\n", unsigned(os), Names(os).c_str());
  std::printf("  %u processors; wide vector variants %s\n", unsigned(ZoGetProcessorCount()),
              vane::kernel::CpuHasAvx2() ? "in use (AVX2)" : "not in use");
  std::printf("  the queries took %lld us on the kernel clock\n", static_cast<long long>(ZoDeltaMicrosecEx(&counter)));
  return S_OK;
}

HRESULT StatusStep() {
  const HRESULT status = ZOERR_BAD_FORMAT;
  std::printf("  status %s reads: %s\n", StatusHex(status).c_str(), StatusText(status).c_str());
  return S_OK;
}

// One file through the whole road: written here, probed and opened through
// the plug-in manager, read through its stream, the samples checked.
HRESULT WaveRoad(const char* kind, bool wave64, IZoFileIOMgrForApp* manager, const std::string& folder) {
  const std::string path = folder + (wave64 ? "/demo.w64" : "/demo.wav");
  constexpr DWORD kFrames = 48000, kChannels = 2;
  std::vector<std::int16_t> samples(kFrames * kChannels);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = std::int16_t((i * 2654435761u) >> 16);
  const DWORD dataBytes = DWORD(samples.size() * 2);
  std::vector<BYTE> file;
  auto put = [&](const void* p, size_t n) { file.insert(file.end(), static_cast<const BYTE*>(p), static_cast<const BYTE*>(p) + n); };
  auto u16 = [&](WORD v) { put(&v, 2); };
  auto u32 = [&](DWORD v) { put(&v, 4); };
  auto u64 = [&](ULONGLONG v) { put(&v, 8); };
  auto fmt = [&] { u16(1); u16(WORD(kChannels)); u32(44100); u32(44100 * 4); u16(4); u16(16); };
  if (!wave64) {
    put("RIFF", 4); u32(4 + 8 + 16 + 8 + dataBytes); put("WAVE", 4);
    put("fmt ", 4); u32(16); fmt();
    put("data", 4); u32(dataBytes);
  } else {
    const BYTE riff[16] = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0, 0};
    const BYTE tail[12] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
    auto id = [&](const char* four) { put(four, 4); put(tail, 12); };
    put(riff, 16); u64(40 + 40 + 24 + dataBytes); id("wave");
    id("fmt "); u64(24 + 16); fmt();
    id("data"); u64(24 + ULONGLONG(dataBytes));
  }
  put(samples.data(), dataBytes);
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    const bool ok = std::fwrite(file.data(), 1, file.size(), f) == file.size();
    if (std::fclose(f) != 0 || !ok) return ZOERR_FILE_WRITE;
  } else {
    return ZOERR_FILE_CREATE;
  }
  std::printf("  wrote %s: %u frames of 16-bit stereo, %zu bytes\n", path.c_str(), unsigned(kFrames), file.size());

  const std::u16string name = vane::platform::FromUtf8(path);
  vane::fileio::ProbeReport report;
  HRESULT hr = vane::fileio::ProbeFile(manager, name.c_str(), &report);
  if (FAILED(hr)) return hr;
  std::printf("  probe: %s reader %s \"%s\", decided by the %s stage\n", kind,
              vane::platform::GuidToString(report.reader).c_str(), vane::platform::ToUtf8(report.name).c_str(),
              vane::fileio::ProbeStageName(report.stage));
  ComPtr<IZoReadFile> reader;
  VANE_RETURN_IF_FAILED(manager->OpenReadFile(name.c_str(), reader.ReleaseAndGetAddressOf(), 0));
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(reader->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr));
  ComPtr<IZoReadAudioStream> audio;
  VANE_RETURN_IF_FAILED(stream.As(IID_IZoReadAudioStream, &audio));
  LONGLONG count = 0;
  VANE_RETURN_IF_FAILED(audio->GetSampleCount(&count));
  std::printf("  opened through the manager: 1 audio stream, %lld samples\n", static_cast<long long>(count));
  std::vector<std::int16_t> back(samples.size());
  const _zomemorytoken token = ffbase::CMappingOfZoMemoryToken::FromPointer(back.data(), back.size() * 2);
  LONG got = 0;
  VANE_RETURN_IF_FAILED(audio->Read(0, token, LONG(kFrames), &got));
  const bool same = got == LONG(kFrames) && back == samples;
  std::printf("  read %d frames with Read: %s\n", int(got), same ? "every sample as written" : "SAMPLES DIFFER");
  return same ? S_OK : ZOERR_FILE_CORRUPT;
}

// Metadata on the Wave file of the road: markers, a title and broadcast
// fields written with the chunk functions, read back through the plug-in's
// metadata interface and the chunk readers, the samples untouched.
HRESULT MetadataRoad(IZoFileIOMgrForApp* manager, const std::string& folder) {
  const std::string path = folder + "/demo.wav";
  const std::u16string name = vane::platform::FromUtf8(path);
  HANDLE file = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  HRESULT hr = vane::riff::WriteMarkerChunks(file, {{1, 12000, -1, u"Verse"}, {2, 24000, 12000, u"Chorus"}});
  _tagZOBWF_Chunk bwf;
  bwf.flags = ZOBWF_FLAG_BEXT | ZOBWF_FLAG_TIME;
  bwf.fields[ZOBWF_DESCRIPTION] = {TRUE, u"vane demo take"};
  bwf.fields[ZOBWF_ORIGINATOR] = {TRUE, u"vane"};
  bwf.fields[ZOIXML_SCENE] = {TRUE, u"1A"};
  bwf.timeReference = 48000ull * 3600;
  if (SUCCEEDED(hr)) hr = bwfriff_SaveInfo(file, &bwf, FALSE);
  CloseHandle(file);
  VANE_RETURN_IF_FAILED(hr);
  std::printf("  wrote two markers, bext and iXML into %s\n", path.c_str());

  ComPtr<IZoReadFile> reader;
  VANE_RETURN_IF_FAILED(manager->OpenReadFile(name.c_str(), reader.ReleaseAndGetAddressOf(), 0));
  ComPtr<IZoReadMeta> meta;
  VANE_RETURN_IF_FAILED(reader->QueryInterface(IID_IZoReadMeta, meta.AsVoidOut()));
  ComPtr<IStream> markers;
  VANE_RETURN_IF_FAILED(meta->GetMarkers(markers.ReleaseAndGetAddressOf()));
  fileutil::MetaStreamContent content;
  VANE_RETURN_IF_FAILED(fileutil::ReadMetaStream(markers.Get(), &content));
  for (const fileutil::MetaItem& item : content.items) {
    fileutil::ZOMETAMARKERTIME record{};
    std::u16string text;
    if (FAILED(fileutil::ParseMarkerTime(item.data, &record, &text))) continue;
    const double start = double(record.start) / 1e7, length = double(record.length) / 1e7;
    std::printf("  read back through the manager: %s \"%s\" at %.3f s%s\n", record.region ? "region" : "marker",
                vane::platform::ToUtf8(text).c_str(), start,
                record.region ? (", " + std::to_string(length).substr(0, 5) + " s long").c_str() : "");
  }
  file = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  _tagZOBWF_Chunk back;
  BOOL found = FALSE;
  hr = bwfriff_LoadInfo(file, &back, &found);
  CloseHandle(file);
  VANE_RETURN_IF_FAILED(hr);
  std::printf("  bext description \"%s\", time reference %llu samples, iXML scene %s\n",
              vane::platform::ToUtf8(back.fields[ZOBWF_DESCRIPTION].text).c_str(),
              static_cast<unsigned long long>(back.timeReference), vane::platform::ToUtf8(back.fields[ZOIXML_SCENE].text).c_str());
  return content.count == 2 && back.timeReference == bwf.timeReference ? S_OK : ZOERR_FILE_CORRUPT;
}

// The marked Wave file rendered as a host renders: a renderer class found by
// the output's extension, its 24-bit preset, the source's metadata; the new
// file read back through the manager.
HRESULT RenderRoad(IZoFileIOMgrForApp* manager, const std::string& folder) {
  const std::u16string in = vane::platform::FromUtf8(folder + "/demo.wav");
  const std::string outPath = folder + "/rendered.w64";
  const std::u16string out = vane::platform::FromUtf8(outPath);
  ComPtr<IZoReadFile> reader;
  VANE_RETURN_IF_FAILED(manager->OpenReadFile(in.c_str(), reader.ReleaseAndGetAddressOf(), 0));
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(reader->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr));
  ComPtr<IZoRenderFileClass> cls;
  LONG position = 0;
  VANE_RETURN_IF_FAILED(manager->FindRenderClassByExtension(cls.ReleaseAndGetAddressOf(), u".w64", &position));
  tagZOTEMPLATExV2* tpl = nullptr;
  LONG count = 0;
  cls->GetPresetCount(&count);
  for (LONG i = 0; i < count && !tpl; ++i)
    if (SUCCEEDED(cls->GetPreset(&tpl, i)) && std::u16string(ZoTemplate_Name(tpl)) != u"24-bit 44.1 kHz stereo")
      ZoFio_ReleaseTemplate(&tpl);
  if (!tpl) return ZOERR_NOT_FOUND;
  ComPtr<IZoRenderFile> file;
  IZoReadStream* streams[] = {stream.Get()};
  HRESULT hr = cls->Create(file.ReleaseAndGetAddressOf(), out.c_str(), 1, streams, tpl);
  ComPtr<IZoReadMeta> meta;
  if (SUCCEEDED(hr) && SUCCEEDED(reader.As(IID_IZoReadMeta, &meta))) file->SetMetaReader(meta.Get());
  if (SUCCEEDED(hr)) hr = file->Render(nullptr);
  std::printf("  rendered %s with the preset \"%s\"\n", outPath.c_str(), vane::platform::ToUtf8(ZoTemplate_Name(tpl)).c_str());
  ZoFio_ReleaseTemplate(tpl);
  VANE_RETURN_IF_FAILED(hr);
  ComPtr<IZoReadFile> back;
  VANE_RETURN_IF_FAILED(manager->OpenReadFile(out.c_str(), back.ReleaseAndGetAddressOf(), 0));
  ComPtr<IZoReadStream> backStream;
  VANE_RETURN_IF_FAILED(back->OpenStream(backStream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr));
  ComPtr<IZoReadAudioStream> audio;
  VANE_RETURN_IF_FAILED(backStream.As(IID_IZoReadAudioStream, &audio));
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> format;
  format->cbStruct = sizeof(_zowaveformat);
  LONGLONG frames = 0;
  VANE_RETURN_IF_FAILED(audio->GetReadAudioFormat(format.get()));
  VANE_RETURN_IF_FAILED(audio->GetSampleCount(&frames));
  ComPtr<IZoReadMeta> backMeta;
  ComPtr<IStream> markers;
  fileutil::MetaStreamContent content;
  if (SUCCEEDED(back.As(IID_IZoReadMeta, &backMeta)) && SUCCEEDED(backMeta->GetMarkers(markers.ReleaseAndGetAddressOf())))
    (void)fileutil::ReadMetaStream(markers.Get(), &content);  // a damaged stream counts no markers
  std::printf("  read back: %u-bit, %lld frames, %u markers carried over\n", unsigned(format->BitsPerSample()),
              static_cast<long long>(frames), unsigned(content.count));
  return format->BitsPerSample() == 24 && content.count == 2 ? S_OK : ZOERR_FILE_CORRUPT;
}

HRESULT WaveSteps(const std::string& folder) {
  IZoFileIOMgrForApp* manager = nullptr;
  HRESULT hr = ZOFileIO_CreateInstance(&manager, 0);
  if (SUCCEEDED(hr)) {
    std::printf("  plug-in manager: %d reader classes\n", int(manager->GetReaderCount()));
    hr = WaveRoad("Wave", false, manager, folder);
    if (SUCCEEDED(hr)) hr = WaveRoad("Wave64", true, manager, folder);
    if (SUCCEEDED(hr)) hr = MetadataRoad(manager, folder);
    if (SUCCEEDED(hr)) hr = RenderRoad(manager, folder);
    manager->Shutdown();
    manager->Release();
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return hr;
}

HRESULT WaveStep() {
  char pattern[] = "/tmp/vane-demo-XXXXXX";
  if (const char* tmp = std::getenv("TMPDIR"); tmp && *tmp && std::strlen(tmp) < 200) {
    static char custom[256];
    std::snprintf(custom, sizeof custom, "%s/vane-demo-XXXXXX", tmp);
    if (!::mkdtemp(custom)) return ZOERR_FILE_CREATE;
    return WaveSteps(custom);
  }
  if (!::mkdtemp(pattern)) return ZOERR_FILE_CREATE;
  return WaveSteps(pattern);
}

const Step kSteps[] = {
    {"kernel start and version handshake", &KernelStep},
    {"processor and OS features", &CpuStep},
    {"status texts", &StatusStep},
    {"a Wave and a Wave64 file through the plug-in manager, with markers and broadcast metadata, rendered anew",
     &WaveStep},
};

int Run(Args& args) {
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  if (!args.Positional().empty()) return UsageError(kCommand, "no arguments expected");
  int n = 0;
  for (const Step& step : kSteps) {
    std::printf("[%d] %s\n", ++n, step.title);
    const HRESULT hr = step.run();
    if (FAILED(hr)) return Failure(hr, step.title);
  }
  std::printf("done: %d steps\n", n);
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
