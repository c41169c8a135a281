// SPDX-License-Identifier: MIT
// Box reader on a large MP4 with moov at the end: readMeta and readFile
// against ffprobe -show_format on the same file. Besides time, each run
// reports the bytes the reader took from the file (counted in the data
// handler) and its skips. The file is made once with ffmpeg in the temp
// folder; VANE_BENCH_MP4_MB sets its size (default 128).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "fileutil/box_reader.h"

namespace {

std::uint64_t TargetBytes() {
  const char* mb = std::getenv("VANE_BENCH_MP4_MB");
  return (mb ? std::strtoull(mb, nullptr, 10) : 128) << 20;
}

const std::filesystem::path& BigFile() {
  static const std::filesystem::path path = [] {
    const std::uint64_t bytes = TargetBytes();
    const auto dir = std::filesystem::temp_directory_path();
    const auto file = dir / ("vane-bench-" + std::to_string(bytes >> 20) + "MB.mp4");
    if (!std::filesystem::exists(file)) {
      const auto seed = dir / "vane-bench-seed.mp4";
      // A short clip of high bit rate, then looped by stream copy up to the
      // size (ffmpeg puts moov at the end by default).
      const std::string make =
          "ffmpeg -hide_banner -loglevel error -y -f lavfi -i testsrc2=size=640x360:rate=25:duration=4 -f lavfi -i "
          "sine=duration=4 -c:v mpeg4 -q:v 1 -c:a aac '" + seed.string() + "' && ffmpeg -hide_banner -loglevel error -y "
          "-stream_loop 100000 -i '" + seed.string() + "' -c copy -fs " + std::to_string(bytes) + " '" + file.string() + "'";
      if (std::system(make.c_str()) != 0) std::fprintf(stderr, "bench_boxes: ffmpeg could not make the file\n");
    }
    return file;
  }();
  return path;
}

double g_seconds[3];

template <int kMode>
void ReadBoxes(benchmark::State& state) {
  if (!std::filesystem::exists(BigFile())) return state.SkipWithError("no test file (ffmpeg missing?)");
  std::uint64_t bytes = 0, skips = 0, count = 0;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    fileutil::BoxReader reader(BigFile());
    auto boxes = kMode == 0 ? reader.readMeta() : reader.readFile();
    benchmark::DoNotOptimize(boxes.get());
    bytes = reader.in().bytesDelivered();
    skips = reader.in().skipCount();
    count = boxes->size();
  }
  g_seconds[kMode] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / double(state.iterations());
  state.counters["bytes_read"] = double(bytes);
  state.counters["skips"] = double(skips);
  state.counters["root_boxes"] = double(count);
  state.counters["file_MB"] = double(std::filesystem::file_size(BigFile())) / (1 << 20);
}

void Ffprobe(benchmark::State& state) {
  if (!std::filesystem::exists(BigFile())) return state.SkipWithError("no test file");
  const std::string cmd = "ffprobe -v error -show_format '" + BigFile().string() + "' >/dev/null";
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state)
    if (std::system(cmd.c_str()) != 0) return state.SkipWithError("ffprobe failed");
  g_seconds[2] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / double(state.iterations());
}

BENCHMARK(ReadBoxes<0>)->Name("readMeta")->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBoxes<1>)->Name("readFile")->Unit(benchmark::kMillisecond);
BENCHMARK(Ffprobe)->Name("ffprobe_show_format")->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  if (g_seconds[2] > 0)
    std::printf("ratio to ffprobe -show_format (lower is faster): readMeta %.3f, readFile %.3f\n",
                g_seconds[0] / g_seconds[2], g_seconds[1] / g_seconds[2]);
  benchmark::Shutdown();
  return 0;
}
