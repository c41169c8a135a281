// SPDX-License-Identifier: MIT
// Rendering a large 16-bit stereo Wave file to a 24-bit Wave64 file: through
// the manager, the Wave reader and the Wave64 renderer (as a host renders),
// beside libsndfile (sf_readf_int into sf_writef_int) and sox doing the same
// conversion. The source is generated once (VANE_BENCH_RENDER_MB, 1024 by
// default, kept in the temp folder; VANE_BENCH_RENDER_FILE names another).
// Throughput is counted in source bytes; ratios are printed at the end.
#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_wave_source.h"
#include "fileio/team_guids.h"
#include "fileio/zofileio.h"
#include "fileio/zotemplate.h"
#include "platform/wtext.h"

namespace {

constexpr LONG kBlockFrames = 65536;
constexpr unsigned kChannels = 2;
constexpr unsigned kFrameBytes = 2 * kChannels;

std::string BenchFile() { return bench::BenchWaveFile("VANE_BENCH_RENDER_FILE", "VANE_BENCH_RENDER_MB", 1024); }

const std::string& File() {
  static const std::string f = BenchFile();
  return f;
}

std::string Output(const char* who) {
  return (std::filesystem::temp_directory_path() / (std::string("vane_bench_render_") + who + ".w64")).string();
}

void Report(benchmark::State& state, const std::string& out) {
  state.SetBytesProcessed(std::int64_t(std::filesystem::file_size(File())) * std::int64_t(state.iterations()));
  std::filesystem::remove(out);
}

void BM_VaneManagerRender(benchmark::State& state) {
  IZoFileIOMgrForApp* manager = nullptr;
  if (FAILED(ZOFileIO_CreateInstance(&manager, 0))) return state.SkipWithError("no manager");
  const std::u16string in = vane::platform::FromUtf8(File());
  const std::string out = Output("vane");
  const std::u16string outName = vane::platform::FromUtf8(out);
  vane::ComPtr<IZoRenderFileClass> cls;
  if (FAILED(manager->GetRenderClassByGuid(cls.ReleaseAndGetAddressOf(), GUID_VaneWave64Renderer)))
    return state.SkipWithError("no Wave64 renderer");
  // The 24-bit preset at the source's rate.
  tagZOTEMPLATExV2* tpl = nullptr;
  LONG count = 0;
  cls->GetPresetCount(&count);
  for (LONG i = 0; i < count && !tpl; ++i) {
    if (FAILED(cls->GetPreset(&tpl, i))) continue;
    if (std::u16string(ZoTemplate_Name(tpl)) != u"24-bit 48 kHz stereo") ZoFio_ReleaseTemplate(&tpl);
  }
  if (!tpl) return state.SkipWithError("no 24-bit preset");
  for (auto _ : state) {
    vane::ComPtr<IZoReadFile> file;
    vane::ComPtr<IZoReadStream> stream;
    vane::ComPtr<IZoRenderFile> render;
    if (FAILED(manager->OpenReadFile(in.c_str(), file.ReleaseAndGetAddressOf(), 0)) ||
        FAILED(file->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr))) {
      state.SkipWithError("open failed");
      break;
    }
    IZoReadStream* streams[] = {stream.Get()};
    if (FAILED(cls->Create(render.ReleaseAndGetAddressOf(), outName.c_str(), 1, streams, tpl)) ||
        FAILED(render->Render(nullptr))) {
      state.SkipWithError("render failed");
      break;
    }
  }
  ZoFio_ReleaseTemplate(tpl);
  cls.Reset();
  Report(state, out);
  manager->Shutdown();
  manager->Release();
}

void BM_SndfileConvert(benchmark::State& state) {
  const std::string out = Output("sndfile");
  std::vector<int> block(size_t(kBlockFrames) * kChannels);
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* in = sf_open(File().c_str(), SFM_READ, &info);
    if (!in) return state.SkipWithError("sf_open failed");
    SF_INFO outInfo{};
    outInfo.samplerate = info.samplerate;
    outInfo.channels = info.channels;
    outInfo.format = SF_FORMAT_W64 | SF_FORMAT_PCM_24;
    SNDFILE* w = sf_open(out.c_str(), SFM_WRITE, &outInfo);
    if (!w) {
      sf_close(in);
      return state.SkipWithError("sf_open for writing failed");
    }
    for (sf_count_t n; (n = sf_readf_int(in, block.data(), kBlockFrames)) > 0;) sf_writef_int(w, block.data(), n);
    sf_close(w);
    sf_close(in);
  }
  Report(state, out);
}

void BM_Sox(benchmark::State& state) {
  const std::string out = Output("sox");
  const std::string command = "sox -D '" + File() + "' -b 24 '" + out + "'";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) return state.SkipWithError("sox failed");
  Report(state, out);
}

BENCHMARK(BM_VaneManagerRender)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_SndfileConvert)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_Sox)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, File(), [](const bench::ThroughputReporter& r) {
    const double vane = r.Get("BM_VaneManagerRender"), sf = r.Get("BM_SndfileConvert"), sox = r.Get("BM_Sox");
    std::printf("\nsource %s\n", File().c_str());
    std::printf("MB/s of source: vane %.0f, libsndfile %.0f, sox %.0f\n", vane, sf, sox);
    if (sf > 0 && sox > 0) std::printf("ratios: vane/libsndfile %.2fx, vane/sox %.2fx\n", vane / sf, vane / sox);
  });
}
