// SPDX-License-Identifier: MIT
// The identification table over arbitrary first bytes, with each range flag.
#include <cstdint>
#include <vector>

#include "riff/quick_identify.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::vector<std::uint8_t> block(data, data + size);
  const DWORD flags[] = {0, ZOFILEID_SCOT_AS_WAVE, ZOFILEID_AUDIO_ONLY, ZOFILEID_VIDEO_ONLY | ZOFILEID_IMAGE_ONLY};
  for (DWORD f : flags) {
    DWORD type = 0;
    ZoIsQuicklyIdentifiableMediaFileFormat(block.data(), DWORD(size), f, &type);
    if (type == 0) __builtin_trap();  // every call names a type, 1 at least
  }
  IsTypeMP2FindSyncByte(block.data(), DWORD(size), nullptr);
  return 0;
}
