// SPDX-License-Identifier: MIT
// Shared by the peak file tests: tool-made media, an independent decode
// through libsndfile, and brute-force min/max over it.
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "audiopeak/zoaudiopeak.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace vane::test {

struct Decoded {
  int channels = 0;
  long long frames = 0;
  std::vector<short> samples;  // interleaved
};

inline Decoded DecodeWithSndfile(const std::filesystem::path& file) {
  Decoded d;
  SF_INFO info{};
  SNDFILE* sf = sf_open(file.c_str(), SFM_READ, &info);
  if (!sf) return d;
  d.channels = info.channels;
  d.frames = info.frames;
  d.samples.resize(size_t(info.frames) * info.channels);
  d.frames = sf_readf_short(sf, d.samples.data(), info.frames);
  sf_close(sf);
  return d;
}

// Min and max of channel c over frames [a, b) in 16 bits.
inline std::pair<int, int> BruteForce(const Decoded& d, int c, long long a, long long b) {
  int lo = 32767, hi = -32768;
  for (long long f = std::max(0LL, a); f < std::min(b, d.frames); ++f) {
    lo = std::min<int>(lo, d.samples[size_t(f) * d.channels + c]);
    hi = std::max<int>(hi, d.samples[size_t(f) * d.channels + c]);
  }
  return {lo, hi};
}

// White noise (not full scale, so clipping does not hide the extremes) of
// an exact number of frames, made by sox.
inline bool MakeNoise(const std::filesystem::path& file, long long frames, int channels, int bits = 16,
                      const std::string& type = "") {
  const std::string cmd = "sox -D -R -r 8000 -n -r 8000 -c " + std::to_string(channels) + " -b " + std::to_string(bits) +
                          (type.empty() ? "" : " -t " + type) + " " + ShellQuote(file.string()) + " synth " +
                          std::to_string(frames) + "s whitenoise vol 0.8";
  return RunCommand(cmd) == 0;
}

inline std::u16string U16(const std::filesystem::path& p) { return platform::FromUtf8(p.string()); }

// A peak instance over a Wave file, the peak file beside it.
inline HRESULT OpenPeak(const std::filesystem::path& media, vane::ComPtr<IZoAudioPeak>* out, DWORD flags = 0,
                        LONG framesPerPeak = 0, LONG memoryFramesPerPeak = 0, const std::u16string& temp = u"") {
  CZoAudioPeakStreamReader* reader = nullptr;
  HRESULT hr = ZoAudio_CreateWaveFileStreamReader(&reader, U16(media).c_str());
  if (FAILED(hr)) return hr;
  IZoAudioPeak* peak = nullptr;
  hr = ZoAudioPeak_CreateInstance(&peak, reader, U16(media).c_str(), temp.empty() ? nullptr : temp.c_str(),
                                  framesPerPeak, memoryFramesPerPeak, flags);
  if (SUCCEEDED(hr)) *out = vane::ComPtr<IZoAudioPeak>::Attach(peak);
  return hr;
}

}  // namespace vane::test
