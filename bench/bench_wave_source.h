// SPDX-License-Identifier: MIT
// The large 16-bit stereo Wave file the reading and rendering benchmarks
// share: made once with libsndfile in the temp folder and kept there.
#pragma once

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace bench {

// `fileVar` names a file to use instead; `mbVar` its size in MB.
inline std::string BenchWaveFile(const char* fileVar, const char* mbVar, unsigned long long defaultMb) {
  constexpr long kBlockFrames = 65536;
  constexpr unsigned kChannels = 2;
  constexpr unsigned kFrameBytes = 2 * kChannels;
  if (const char* f = std::getenv(fileVar); f && *f) return f;
  const char* mb = std::getenv(mbVar);
  const unsigned long long megabytes = mb ? std::strtoull(mb, nullptr, 10) : defaultMb;
  const std::string path =
      (std::filesystem::temp_directory_path() / ("vane_bench_" + std::to_string(megabytes) + "mb.wav")).string();
  const unsigned long long dataBytes = megabytes * 1024 * 1024 / kFrameBytes * kFrameBytes;
  if (std::filesystem::exists(path) && std::filesystem::file_size(path) == dataBytes + 44) return path;
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = kChannels;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* out = sf_open(path.c_str(), SFM_WRITE, &info);
  if (!out) return {};
  std::vector<short> block(size_t(kBlockFrames) * kChannels);
  unsigned long long left = dataBytes / kFrameBytes;
  unsigned seed = 1;
  while (left) {
    const sf_count_t n = sf_count_t(std::min<unsigned long long>(left, kBlockFrames));
    for (auto& s : block) s = short((seed = seed * 1103515245u + 12345u) >> 16);
    sf_writef_short(out, block.data(), n);
    left -= static_cast<unsigned long long>(n);
  }
  sf_close(out);
  return path;
}

// Keeps each run's throughput (MB/s) by benchmark name, so that a program
// can print its ratios after the runs.
class ThroughputReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "mean") continue;
      auto it = r.counters.find("bytes_per_second");
      if (it != r.counters.end()) m_mbps[r.benchmark_name()] = double(it->second) / 1e6;
    }
  }
  // The MB/s of the first benchmark whose name starts with prefix; 0 when none ran.
  double Get(const std::string& prefix) const {
    for (const auto& [name, v] : m_mbps)
      if (name.rfind(prefix, 0) == 0) return v;
    return 0.0;
  }

 private:
  std::map<std::string, double> m_mbps;
};

// Runs the benchmarks with the reporter, then `print` with it.
template <typename Print>
int RunWithRatios(int argc, char** argv, const std::string& file, Print print) {
  benchmark::Initialize(&argc, argv);
  if (file.empty()) {
    std::fprintf(stderr, "could not make the benchmark file\n");
    return 1;
  }
  ThroughputReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  print(reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench
