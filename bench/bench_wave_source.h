// SPDX-License-Identifier: MIT
// The large 16-bit stereo Wave file the reading and rendering benchmarks
// share: made once with libsndfile in the temp folder and kept there.
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
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

}  // namespace bench
