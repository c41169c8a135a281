// SPDX-License-Identifier: MIT
// Peak files. Building: the peak file of a large 16-bit stereo Wave (1 GB by
// default, VANE_BENCH_PEAK_MB; shared with the reading benchmarks' maker) as
// MB/s of audio, beside `cat` to /dev/null (the I/O bound) and a libsndfile
// read with a min/max loop per block of 256 frames. Queries: 10^5 random
// one-pixel questions over a 3-hour stereo file at the zoom of screens 800
// to 3840 pixels wide showing 1 s to the whole file. Ratios at the end.
#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "audiopeak/zoaudiopeak.h"
#include "bench/bench_wave_source.h"
#include "platform/wtext.h"
#include "platform/file.h"
#include "riff/wave_header.h"

namespace {

const std::string& File() {
  static const std::string f = bench::BenchWaveFile("VANE_BENCH_PEAK_FILE", "VANE_BENCH_PEAK_MB", 1024);
  return f;
}

HRESULT OpenPeak(const std::string& media, const std::string& zok, vane::ComPtr<IZoAudioPeak>* out) {
  const std::u16string m = vane::platform::FromUtf8(media), z = vane::platform::FromUtf8(zok);
  CZoAudioPeakStreamReader* reader = nullptr;
  HRESULT hr = ZoAudio_CreateWaveFileStreamReader(&reader, m.c_str());
  if (FAILED(hr)) return hr;
  IZoAudioPeak* peak = nullptr;
  hr = ZoAudioPeak_CreateInstanceWithName(&peak, reader, z.c_str(), 0, 0, 0);
  if (SUCCEEDED(hr)) *out = vane::ComPtr<IZoAudioPeak>::Attach(peak);
  return hr;
}

void BM_VaneBuildPeakFile(benchmark::State& state) {
  const std::string zok = File() + ".bench.zok";
  for (auto _ : state) {
    std::filesystem::remove(zok);
    vane::ComPtr<IZoAudioPeak> peak;
    if (FAILED(OpenPeak(File(), zok, &peak)) || FAILED(peak->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr)))
      return state.SkipWithError("build failed");
  }
  std::filesystem::remove(zok);
  state.SetBytesProcessed(std::int64_t(std::filesystem::file_size(File())) * std::int64_t(state.iterations()));
}

void BM_SndfileReadMinMax(benchmark::State& state) {
  std::vector<short> block(65536 * 2);
  std::vector<short> peaks;
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* in = sf_open(File().c_str(), SFM_READ, &info);
    if (!in) return state.SkipWithError("sf_open failed");
    peaks.clear();
    for (sf_count_t n; (n = sf_readf_short(in, block.data(), 65536)) > 0;)
      for (sf_count_t r = 0; r < n; r += 256) {
        short lo[2] = {32767, 32767}, hi[2] = {-32768, -32768};
        for (sf_count_t f = r; f < std::min<sf_count_t>(r + 256, n); ++f)
          for (int c = 0; c < 2; ++c) {
            const short v = block[size_t(f) * 2 + c];
            lo[c] = std::min(lo[c], v);
            hi[c] = std::max(hi[c], v);
          }
        peaks.insert(peaks.end(), {lo[0], hi[0], lo[1], hi[1]});
      }
    sf_close(in);
    benchmark::DoNotOptimize(peaks.data());
  }
  state.SetBytesProcessed(std::int64_t(std::filesystem::file_size(File())) * std::int64_t(state.iterations()));
}

void BM_CatToDevNull(benchmark::State& state) {
  const std::string command = "cat '" + File() + "' > /dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) return state.SkipWithError("cat failed");
  state.SetBytesProcessed(std::int64_t(std::filesystem::file_size(File())) * std::int64_t(state.iterations()));
}

// A 3-hour 48 kHz stereo 16-bit Wave (the smallest header the writer makes
// is 46 bytes) whose data is a hole (silence that
// costs no disk), with its peak file built once.
const std::string& ThreeHourFile() {
  static const std::string path = [] {
    const std::string p = (std::filesystem::temp_directory_path() / "vane_bench_peaks_3h.wav").string();
    const unsigned long long frames = 3ULL * 3600 * 48000;
    WAVEFORMATEX wfx{1, 2, 48000, 192000, 4, 16, 0};
    if (!std::filesystem::exists(p) || std::filesystem::file_size(p) != 46 + frames * 4) {
      FILE* f = std::fopen(p.c_str(), "wb");
      if (!f) return std::string();
      std::fclose(f);
      std::filesystem::resize_file(p, 46 + frames * 4);
      const std::u16string name = vane::platform::FromUtf8(p);
      HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
      if (h == INVALID_HANDLE_VALUE || FAILED(ZoInsertWavHeader(h, &wfx, DWORD(frames * 4), 46))) return std::string();
      CloseHandle(h);
    }
    return p;
  }();
  return path;
}

void BM_VaneRandomPixelQueries(benchmark::State& state) {
  const std::string zok = ThreeHourFile() + ".zok";
  vane::ComPtr<IZoAudioPeak> peak;
  if (ThreeHourFile().empty() || FAILED(OpenPeak(ThreeHourFile(), zok, &peak)) ||
      FAILED(peak->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr)))
    return state.SkipWithError("no 3-hour peak file");
  const LONGLONG frames = peak->GetFrameCount();
  std::mt19937_64 rng(1);
  const int widths[] = {800, 1280, 1920, 2560, 3840};
  std::int16_t out[4];
  LONG done = 0;
  for (auto _ : state) {
    for (int i = 0; i < 100000; ++i) {
      const int width = widths[i % 5];
      // Showing between 1 s and the whole file across the screen.
      const double seconds = std::exp(std::uniform_real_distribution<double>(0, std::log(10800.0))(rng));
      const LONGLONG perPixel = std::max<LONGLONG>(256, LONGLONG(seconds * 48000 / width));
      const LONGLONG at = LONGLONG(rng() % ULONGLONG(frames));
      peak->GetPeaks(at, perPixel, 17, out, 1, &done);
    }
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(100000 * std::int64_t(state.iterations()));
}

BENCHMARK(BM_CatToDevNull)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VaneBuildPeakFile)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_SndfileReadMinMax)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VaneRandomPixelQueries)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, File(), [](const bench::ThroughputReporter& r) {
    const double vane = r.Get("BM_VaneBuildPeakFile"), sf = r.Get("BM_SndfileReadMinMax"),
                 cat = r.Get("BM_CatToDevNull");
    std::printf("\nfile %s\n", File().c_str());
    std::printf("MB/s of audio: vane peak build %.0f, libsndfile read+min/max %.0f, cat %.0f\n", vane, sf, cat);
    if (sf > 0 && cat > 0) std::printf("ratios: vane/cat %.2fx, vane/sndfile %.2fx\n", vane / cat, vane / sf);
  });
}
