// SPDX-License-Identifier: MIT
// Format records from hostile "fmt " bytes: read into records of several
// sizes, written back in every shape, compared and described. The harness
// gives the reader what its contract asks: the 18-byte header plus cbSize
// bytes (and the 40-byte extensible header) readable. The same bytes are also
// taken as a record stored by someone else (any cbStruct and cbExtra, in a
// record's full storage), and the header drives the channel operations over a
// buffer sized from its own sample type and channel count.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "audio/channel_ops.h"
#include "audio/sample_copy.h"
#include "audio/zowaveformat.h"
#include "platform/memory.h"

namespace {

void ForeignRecord(const uint8_t* data, size_t size) {
  // Exactly a record's storage on the heap, so a read past it is caught.
  std::vector<uint8_t> storage(sizeof(_zowaveformat), 0);
  std::memcpy(storage.data(), data, std::min(size, storage.size()));
  const auto* rec = reinterpret_cast<const _zowaveformat*>(storage.data());
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> other;
  other->InitAsWfx(0x55, 44100, 2, 0, 0, sizeof(_zowaveformat));
  (void)(*rec == *rec);
  (void)(*rec == *other.get());
  (void)(*other.get() == *rec);
  for (int dest = 0; dest <= 4; ++dest) {
    for (DWORD room : {18u, 40u, 1100u}) {
      std::vector<uint8_t> out(room, 0);
      ZoAudio_GeneralCopyWfx(reinterpret_cast<tWAVEFORMATEX*>(out.data()), room, rec, dest);
    }
    if (tWAVEFORMATEX* w = ZoAudio_AllocAndCopyWfx(rec, dest)) {
      HGLOBAL h = GlobalHandle(w);
      GlobalUnlock(h);
      GlobalFree(h);
    }
    ZoWaveFormatBuffer<sizeof(_zowaveformat)> copy;
    ZoAudio_GeneralCopyZoWaveFormat(copy.get(), sizeof(_zowaveformat), rec, dest);
    ZoAudio_GeneralCopyZoWaveFormat(copy.get(), 40, rec, dest);
  }
  // Silence goes through the plain header made of the record.
  const _zowaveformat_wfxcopyhelper plain(*rec);
  std::vector<uint8_t> silence(size_t(plain.nBlockAlign) * 2 + 1);
  ZoAudio_FillSilence(rec, silence.data(), 2);
  WCHAR text[256];
  for (DWORD flags = 0; flags < 64; flags += 5) ZoAudio_GetFormatText(rec, text, 256, flags);
}

void ChannelOperations(const tWAVEFORMATEX* wfx) {
  const WORD width = ZoAudio_BytesFromSampleType(ZoAudio_GetSampleType(wfx));
  if (width == 0 || wfx->nChannels > 64) return;
  // Room for the frames as the sample type and the channel count make them;
  // a header of 0 channels still gets a buffer, which must stay untouched.
  const LONG frames = 3;
  const size_t bytes = std::max<size_t>(size_t(width) * wfx->nChannels * frames, 64);
  std::vector<uint8_t> a(bytes, 0x11), b(bytes, 0x22);
  std::vector<uint8_t> block(std::max<size_t>(size_t(wfx->nBlockAlign) * frames, bytes), 0x33);
  ZoAudio_SwapStereoChannels(a.data(), wfx, frames);
  ZoAudio_CopySwapStereoChannels(b.data(), a.data(), wfx, frames);
  ZoAudio_MonoChannel(b.data(), a.data(), wfx, frames);
  ZoAudio_CopyChannelToChannel(a.data(), wfx, 0, 1, frames);
  ZoAudio_CopyChannelToAll(a.data(), wfx, 1, frames);
  ZoAudio_ExtractChannel(b.data(), 1, a.data(), wfx, frames);
  ZoAudio_ExtractChannelPair(b.data(), 0, a.data(), wfx, frames);
  ZoAudio_CopyChannelToMultiMono(b.data(), 1, a.data(), wfx, 0, frames);
  ZoAudio_ChannelChangeAvg(b.data(), 1, a.data(), wfx, frames);
  ZoAudio_MuteChannel(block.data(), wfx, 1, frames);
  ZoAudio_FillSilence(wfx, block.data(), frames);
}

}  // namespace

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
  ChannelOperations(wfx);
  ForeignRecord(data, size);
  return 0;
}
