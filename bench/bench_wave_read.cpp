// SPDX-License-Identifier: MIT
// Reading a large 16-bit stereo Wave file from start to end, blocks of 64k
// frames: through the manager, the Wave plug-in and the stream's Read,
// beside libsndfile (sf_readf_short and raw sf_read_raw) and `cat` to
// /dev/null, the limit of the machine. The file is generated once; its size
// is VANE_BENCH_WAVE_MB (2048 by default) and it is kept in the temp folder
// (VANE_BENCH_WAVE_FILE names another). Ratios are printed at the end.
#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_wave_source.h"
#include "ffbase/memory_token.h"
#include "fileio/zofileio.h"
#include "platform/wtext.h"

namespace {

constexpr LONG kBlockFrames = 65536;
constexpr unsigned kChannels = 2;
constexpr unsigned kFrameBytes = 2 * kChannels;

std::string BenchFile() { return bench::BenchWaveFile("VANE_BENCH_WAVE_FILE", "VANE_BENCH_WAVE_MB", 2048); }

const std::string& File() {
  static const std::string f = BenchFile();
  return f;
}

void Report(benchmark::State& state, unsigned long long bytes) {
  state.SetBytesProcessed(std::int64_t(bytes) * std::int64_t(state.iterations()));
}

void BM_VaneManagerRead(benchmark::State& state) {
  IZoFileIOMgrForApp* manager = nullptr;
  if (FAILED(ZOFileIO_CreateInstance(&manager, 0))) return state.SkipWithError("no manager");
  const std::u16string name = vane::platform::FromUtf8(File());
  std::vector<BYTE> block(size_t(kBlockFrames) * kFrameBytes);
  const _zomemorytoken token = ffbase::CMappingOfZoMemoryToken::FromPointer(block.data(), block.size());
  unsigned long long bytes = 0;
  for (auto _ : state) {
    vane::ComPtr<IZoReadFile> file;
    vane::ComPtr<IZoReadStream> stream;
    vane::ComPtr<IZoReadAudioStream> audio;
    if (FAILED(manager->OpenReadFile(name.c_str(), file.ReleaseAndGetAddressOf(), 0)) ||
        FAILED(file->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr)) ||
        FAILED(stream.As(IID_IZoReadAudioStream, &audio))) {
      state.SkipWithError("open failed");
      break;
    }
    bytes = 0;
    LONGLONG position = 0;
    for (;;) {
      LONG got = 0;
      if (FAILED(audio->Read(position, token, kBlockFrames, &got)) || got == 0) break;
      position += got;
      bytes += static_cast<unsigned long long>(got) * kFrameBytes;
      benchmark::DoNotOptimize(block.data());
    }
  }
  Report(state, bytes);
  manager->Shutdown();
  manager->Release();
}

void BM_SndfileReadfShort(benchmark::State& state) {
  std::vector<short> block(size_t(kBlockFrames) * kChannels);
  unsigned long long bytes = 0;
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* in = sf_open(File().c_str(), SFM_READ, &info);
    if (!in) return state.SkipWithError("sf_open failed");
    bytes = 0;
    for (sf_count_t n; (n = sf_readf_short(in, block.data(), kBlockFrames)) > 0;) {
      bytes += static_cast<unsigned long long>(n) * kFrameBytes;
      benchmark::DoNotOptimize(block.data());
    }
    sf_close(in);
  }
  Report(state, bytes);
}

void BM_SndfileReadRaw(benchmark::State& state) {
  std::vector<BYTE> block(size_t(kBlockFrames) * kFrameBytes);
  unsigned long long bytes = 0;
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* in = sf_open(File().c_str(), SFM_READ, &info);
    if (!in) return state.SkipWithError("sf_open failed");
    bytes = 0;
    for (sf_count_t n; (n = sf_read_raw(in, block.data(), sf_count_t(block.size()))) > 0;) {
      bytes += static_cast<unsigned long long>(n);
      benchmark::DoNotOptimize(block.data());
    }
    sf_close(in);
  }
  Report(state, bytes);
}

void BM_CatToDevNull(benchmark::State& state) {
  const std::string command = "cat '" + File() + "' > /dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) return state.SkipWithError("cat failed");
  state.SetBytesProcessed(std::int64_t(std::filesystem::file_size(File())) * std::int64_t(state.iterations()));
}

BENCHMARK(BM_CatToDevNull)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VaneManagerRead)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_SndfileReadfShort)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_SndfileReadRaw)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, File(), [](const bench::ThroughputReporter& r) {
    const double vane = r.Get("BM_VaneManagerRead"), sfs = r.Get("BM_SndfileReadfShort"),
                 sfr = r.Get("BM_SndfileReadRaw"), cat = r.Get("BM_CatToDevNull");
    std::printf("\nfile %s\n", File().c_str());
    std::printf("MB/s: vane %.0f, libsndfile short %.0f, libsndfile raw %.0f, cat %.0f\n", vane, sfs, sfr, cat);
    if (sfs > 0 && sfr > 0 && cat > 0)
      std::printf("ratios: vane/sndfile_short %.2fx, vane/sndfile_raw %.2fx, vane/cat %.2fx\n", vane / sfs,
                  vane / sfr, vane / cat);
  });
}
