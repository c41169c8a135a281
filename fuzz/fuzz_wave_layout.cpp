// SPDX-License-Identifier: MIT
// The Wave plug-in's chunk walk over arbitrary bytes: any input ends with a
// status, and a layout it accepts lies inside the input.
#include <cstdint>
#include <cstring>

#include "plugins/wave/wave_layout.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto read = [&](ULONGLONG offset, void* buffer, ULONGLONG bytes) -> ULONGLONG {
    if (offset >= size) return 0;
    const ULONGLONG n = bytes < size - offset ? bytes : size - offset;
    std::memcpy(buffer, data + offset, size_t(n));
    return n;
  };
  vane::wave::WaveLayout layout;
  if (SUCCEEDED(vane::wave::ParseWaveLayout(read, size, &layout))) {
    if (layout.dataOffset + layout.dataBytes > size || layout.blockAlign == 0 ||
        layout.frames * layout.blockAlign > layout.dataBytes)
      __builtin_trap();
  }
  return 0;
}
