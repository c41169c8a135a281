// SPDX-License-Identifier: MIT
// Peak files from hostile bytes: the header parser, and a read-only peak
// instance over a ".zok" made of the input beside a small Wave file, asked
// for peaks at every tier. Inputs ending in an odd byte get the media's dates, channels
// and length patched in (and the file cut or padded to its header's size)
// so that the record paths are reached too.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "audiopeak/zoaudiopeak.h"
#include "platform/wtext.h"

namespace {

constexpr std::uint32_t kFrames = 1000;
constexpr std::uint16_t kChannels = 2;

struct Media {
  std::string dir, wave, zok;
  DWORD local = 0, utc = 0;
};

void Put32(std::vector<std::uint8_t>& b, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}

const Media& TheMedia() {
  static Media m = [] {
    Media media;
    char tmpl[] = "/tmp/fuzz_peak_XXXXXX";
    media.dir = mkdtemp(tmpl);
    media.wave = media.dir + "/m.wav";
    media.zok = media.dir + "/m.zok";
    std::vector<std::uint8_t> b;
    const std::uint32_t data = kFrames * kChannels * 2;
    b.insert(b.end(), {'R', 'I', 'F', 'F'});
    Put32(b, 36 + data);
    b.insert(b.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    Put32(b, 16);
    Put32(b, 1 | kChannels << 16);
    Put32(b, 8000);
    Put32(b, 8000 * 4);
    Put32(b, 4 | 16 << 16);
    b.insert(b.end(), {'d', 'a', 't', 'a'});
    Put32(b, data);
    for (std::uint32_t i = 0; i < data; ++i) b.push_back(std::uint8_t(i * 37));
    FILE* f = std::fopen(media.wave.c_str(), "wb");
    std::fwrite(b.data(), 1, b.size(), f);
    std::fclose(f);
    ZoAudioPeak_GetMediaDates(vane::platform::FromUtf8(media.wave).c_str(), &media.local, &media.utc);
    return media;
  }();
  return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  tZOAUDIOPEAKHEADER header{};
  ZoAudioPeak_ParseHeader(data, size, &header);
  ZoAudioPeak_ExpectedFileSize(&header);

  const Media& media = TheMedia();
  std::vector<std::uint8_t> bytes(data, data + size);
  if (size >= 64 && (data[size - 1] & 1)) {
    std::memcpy(&bytes[12], &media.local, 4);
    std::memcpy(&bytes[36], &media.utc, 4);
    const std::uint32_t channels = kChannels;
    const std::uint64_t frames = kFrames;
    std::memcpy(&bytes[20], &channels, 4);
    std::memcpy(&bytes[28], &frames, 8);
    tZOAUDIOPEAKHEADER patched{};
    if (ZoAudioPeak_ParseHeader(bytes.data(), bytes.size(), &patched) == S_OK) {
      const ULONGLONG want = ZoAudioPeak_ExpectedFileSize(&patched);
      if (want > 0 && want < (1u << 20)) bytes.resize(size_t(want), 0x5A);
    }
  }
  FILE* f = std::fopen(media.zok.c_str(), "wb");
  if (!f) return 0;
  if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);

  CZoAudioPeakStreamReader* reader = nullptr;
  const std::u16string wave = vane::platform::FromUtf8(media.wave), zok = vane::platform::FromUtf8(media.zok);
  if (FAILED(ZoAudio_CreateWaveFileStreamReader(&reader, wave.c_str()))) return 0;
  IZoAudioPeak* peak = nullptr;
  if (FAILED(ZoAudioPeak_CreateInstanceWithName(&peak, reader, zok.c_str(), 0, 256, ZOAUDIOPEAK_READONLY))) return 0;
  peak->IsValid(0);
  peak->Build(0, nullptr);  // read-only: keeps a valid file (and makes its table), never writes
  std::int16_t out[kChannels * 2 * 8];
  LONG done = 0;
  for (LONGLONG step : {1LL, 64LL, 256LL, 300LL, 1000LL, 5000LL}) {
    peak->GetPeaks(LONGLONG(size % kFrames), step, 17, out, 8, &done);
    peak->GetPeaks(0, step, 49, out, 8, &done);
  }
  std::uint8_t copy[80];
  peak->GetHeader(copy, sizeof copy);
  peak->Release();
  return 0;
}
