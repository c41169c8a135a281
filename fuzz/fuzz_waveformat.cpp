// SPDX-License-Identifier: MIT
// Format records from hostile "fmt " bytes: read into records of several
// sizes, written back in every shape, compared and described. The harness
// gives the reader what its contract asks: the 18-byte header plus cbSize
// bytes (and the 40-byte extensible header) readable.
#include <cstdint>
#include <cstring>
#include <vector>

#include "audio/sample_copy.h"
#include "audio/zowaveformat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < sizeof(WAVEFORMATEX)) return 0;
  WORD cbSize;
  std::memcpy(&cbSize, data + 16, 2);
  std::vector<uint8_t> bytes(sizeof(WAVEFORMATEXTENSIBLE) + cbSize, 0);
  std::memcpy(bytes.data(), data, std::min(size, bytes.size()));
  const auto* wfx = reinterpret_cast<const tWAVEFORMATEX*>(bytes.data());

  ZoWaveFormatBuffer<sizeof(_zowaveformat)> big;
  ZoWaveFormatBuffer<40> small;
  big->Init(sizeof(_zowaveformat), *wfx);
  small->Init(40, *wfx);
  (void)(*big == *wfx);
  (void)(*big == *small.get());
  (void)ZoAudio_IsCompressed(wfx);
  (void)ZoAudio_GetCopyFunction(wfx, wfx);

  for (int dest = 0; dest <= 4; ++dest) {
    for (DWORD room : {18u, 40u, 136u, 1100u}) {
      std::vector<uint8_t> out(room, 0);
      ZoAudio_GeneralCopyWfx(reinterpret_cast<tWAVEFORMATEX*>(out.data()), room, big.get(), dest);
    }
    ZoWaveFormatBuffer<64> copy;
    ZoAudio_GeneralCopyZoWaveFormat(copy.get(), 64, big.get(), dest);
  }
  WCHAR text[256];
  ZoAudio_GetAttribsText(wfx, text, 256);
  for (DWORD flags = 0; flags < 64; flags += 3) ZoAudio_GetFormatText(big.get(), text, 256, flags);

  // A short sample run through the format's own copy and peak routines.
  const WORD align = wfx->nBlockAlign;
  if (align > 0 && align <= 64 && wfx->nChannels > 0 && wfx->nChannels <= 8 &&
      ZoAudio_BytesFromSampleType(ZoAudio_GetSampleType(wfx)) * wfx->nChannels == align) {
    const LONG frames = LONG(size / align);
    std::vector<ZOAUDIO_PEAK> peaks(wfx->nChannels);
    ZoAudio_FindPeaks(wfx, 3, data, frames, peaks.data());
    std::vector<uint8_t> f64(size_t(frames) * wfx->nChannels * 8);
    tWAVEFORMATEX dbl{};
    ZoAudio_InitWfx(&dbl, wfx->nSamplesPerSec, ZOSAMPLE_FLOAT64, wfx->nChannels);
    ZoAudio_Copy(&dbl, f64.data(), wfx, data, frames, 0.7f);
  }
  return 0;
}
