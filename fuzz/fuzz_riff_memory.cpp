// SPDX-License-Identifier: MIT
// The memory chunk walkers and the wave record reader over arbitrary bytes.
#include <cstdint>
#include <cstring>
#include <vector>

#include "audio/mmreg.h"
#include "riff/mriff_api.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  std::vector<std::uint8_t> block(data, data + size);  // exact size: overreads trip the sanitizer
  _tMRIFF c;
  if (mriff_Init(&c, block.data(), DWORD(size), DWORD(size)) != S_OK) return 0;
  DWORD listSize = 0, count = 0, chunkSize = 0, remaining = DWORD(size);
  (void)mriff_FindListChunkFromStart(&c, kFourCC_INFO, &listSize);
  (void)mriff_GetNumListEntries(&c, &count, &remaining);
  mriff_SetFilePointer(&c, 0, nullptr, 0);
  (void)mriff_FindChunkHeaderInRIFF(&c, kFourCC_data, &chunkSize, nullptr);
  mriff_SeekDataStart(&c);
  char text[128];
  (void)mriff_GetInfoString(&c, ZoFourCC("INAM"), text, sizeof text, nullptr);
  mriff_SeekDataStart(&c);
  ZORIFFDATA alloc{chunkSize & 0xFFFF, nullptr};
  (void)mriff_ReadDataAlloc(&c, &alloc);
  WAVEFORMATEX wfx;
  DWORD dataSize = 0;
  (void)mriff_GetWfx(&wfx, block.data(), DWORD(size), &dataSize);
  return 0;
}
