// SPDX-License-Identifier: MIT
// vane info FILE [--json]: opens a file through the plug-in manager, as a
// host does, and tells the reader class and the format of every stream.
#include <cstdio>
#include <cstring>

#include "audio/zowaveformat.h"
#include "fileio/zofileio.h"
#include "fileutil/meta_stream.h"
#include "kernel/nanotime.h"
#include "kernel/zoprintf.h"
#include "platform/guid.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "tools/vane/manager_hold.h"
#include "tools/vane/summary_tags.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"info", "info FILE [--json]", "reader class, streams and format of a media file", &Run};
const Registrar kReg(kCommand);

const char* SampleTypeName(ZOSAMPLETYPE t) {
  switch (t) {
    case ZOSAMPLE_PCM8: return "pcm8";
    case ZOSAMPLE_PCM16: return "pcm16";
    case ZOSAMPLE_PCM24: return "pcm24";
    case ZOSAMPLE_PCM32: return "pcm32";
    case ZOSAMPLE_FLOAT32: return "float32";
    case ZOSAMPLE_FLOAT64: return "float64";
    case ZOSAMPLE_PCM24_UNPACKED: return "pcm24in32";
    case ZOSAMPLE_PCM8_SIGNED: return "pcm8signed";
    case ZOSAMPLE_NONE: return "compressed";
    default: return "other";
  }
}

const char* StreamTypeName(ULONG type) {
  switch (type) {
    case ZOFILESTREAM_AUDIO: return "audio";
    case ZOFILESTREAM_VIDEO: return "video";
    case ZOFILESTREAM_TEXT: return "text";
    default: return "other";
  }
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  const std::string& file = files[0];

  ManagerHold manager;
  HRESULT hr = ZOFileIO_CreateInstance(&manager.m, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  const std::u16string name = vane::platform::FromUtf8(file);
  ComPtr<IZoReadFile> reader;
  hr = manager.m->OpenReadFile(name.c_str(), reader.ReleaseAndGetAddressOf(), 0);
  if (FAILED(hr)) return Failure(hr, file);

  GUID classGuid = GUID_NULL;
  std::string className;
  ComPtr<IZoReadFileClass> cls;
  if (SUCCEEDED(reader->GetFileClass(cls.ReleaseAndGetAddressOf())) && cls) {
    cls->GetTypeID(&classGuid);
    DWORD id = ZOFIO_INFOTEXT_NAME;
    BSTR text = nullptr;
    if (SUCCEEDED(cls->GetInfoText(&id, 1, &text)) && text) className = vane::platform::ToUtf8(text);
    SysFreeString(text);
  }
  LONG count = 0;
  hr = reader->GetStreamCount(&count);
  if (FAILED(hr)) return Failure(hr, file);
  std::vector<_ZOFILESTREAMFORMATINFOv2> records(size_t(count > 0 ? count : 0));
  for (auto& r : records) r.cbSize = sizeof r;
  if (count > 0) {
    hr = reader->GetStreamFormatInfo(records.data(), 0, count);
    if (FAILED(hr)) return Failure(hr, file);
  }

  Json out;
  if (json) {
    out.BeginObject().Field("file", file).Key("reader").BeginObject();
    out.Field("guid", vane::platform::GuidToString(classGuid)).Field("name", className).EndObject();
    out.Key("streams").BeginArray();
  } else {
    std::printf("%s\n  reader %s %s\n  %d stream%s\n", file.c_str(), vane::platform::GuidToString(classGuid).c_str(),
                className.c_str(), int(count), count == 1 ? "" : "s");
  }
  for (LONG i = 0; i < count; ++i) {
    const auto& r = records[size_t(i)];
    // The record carries the format's 32-byte fixed part; read it from a full-sized copy.
    ZoWaveFormatBuffer<sizeof(_zowaveformat)> format{};
    std::memcpy(format.bytes, r.format.raw, ZOWAVEFORMAT_BASE_SIZE);
    const _zowaveformat* wf = format.get();
    const bool audio = r.streamType == ZOFILESTREAM_AUDIO;
    const double seconds = audio && wf->nSamplesPerSec ? double(r.length) / wf->nSamplesPerSec : 0.0;
    if (json) {
      out.BeginObject().Field("index", std::int64_t(i)).Field("type", std::string(StreamTypeName(r.streamType)));
      if (audio) {
        out.Field("sample_type", std::string(SampleTypeName(wf->sampleType)))
            .Field("format_tag", std::uint64_t(wf->FormatTag()))
            .Field("sample_rate", std::uint64_t(wf->nSamplesPerSec))
            .Field("channels", std::uint64_t(wf->nChannels))
            .Field("bits", std::uint64_t(wf->BitsPerSample()))
            .Field("block_align", std::uint64_t(wf->nBlockAlign))
            .Field("sample_count", std::int64_t(r.length))
            .Field("duration_seconds", seconds);
      }
      out.EndObject();
    } else if (audio) {
      std::printf("  stream %d: audio %s, tag 0x%04X, %u Hz, %u channel%s, %u bits, %u bytes a frame\n", int(i),
                  SampleTypeName(wf->sampleType), unsigned(wf->FormatTag()), unsigned(wf->nSamplesPerSec),
                  unsigned(wf->nChannels), wf->nChannels == 1 ? "" : "s", unsigned(wf->BitsPerSample()),
                  unsigned(wf->nBlockAlign));
      // Counts and times in the user's punctuation, through the kernel's formatter.
      _zoposfmt clock{};
      clock.format = ZOPOSFMT_TIME;
      WCHAR time[64], line[160];
      ZoNanoTimeToTextN(time, 64, &clock, ZoNanoTime(seconds * 1e7 + 0.5), 0);
      ZoCchPrintF(line, 160, u"    $I64d samples, $.3f s, %s", static_cast<long long>(r.length), seconds, time);
      std::printf("%s\n", vane::platform::ToUtf8(line).c_str());
    } else {
      std::printf("  stream %d: %s\n", int(i), StreamTypeName(r.streamType));
    }
  }
  const auto tags = ReadSummaryTags(reader.Get());
  if (json) {
    out.EndArray().Key("tags").BeginObject();
    for (const auto& [key, text] : tags) out.Field(key, text);
    out.EndObject().EndObject();
    std::printf("%s\n", out.str().c_str());
  }
  if (!json)
    for (const auto& [key, text] : tags) std::printf("  tag %s: %s\n", key.c_str(), text.c_str());
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
