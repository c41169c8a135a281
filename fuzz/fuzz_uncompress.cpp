// SPDX-License-Identifier: MIT
// ffvane_uncompress over arbitrary bytes: any result but a crash or an
// overrun is fine; a success must fit the destination, and what comes out
// must compress and come back unchanged.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "kernel/compress.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > (1u << 20)) return 0;
  std::vector<BYTE> out(4096 + size * 4);
  ULONG outSize = ULONG(out.size());
  if (ffvane_uncompress(out.data(), &outSize, data, ULONG(size)) != 0) return 0;
  if (outSize > out.size()) std::abort();
  std::vector<BYTE> packed(outSize + outSize / 10 + 64);
  ULONG packedSize = ULONG(packed.size());
  if (ffvane_compress(packed.data(), &packedSize, out.data(), outSize, 6) != 0) std::abort();
  std::vector<BYTE> again(outSize + 1);
  ULONG againSize = ULONG(again.size());
  if (ffvane_uncompress(again.data(), &againSize, packed.data(), packedSize) != 0 || againSize != outSize) std::abort();
  for (ULONG i = 0; i < outSize; ++i)
    if (again[i] != out[i]) std::abort();
  return 0;
}
