// SPDX-License-Identifier: MIT
// One-shot zlib compression and decompression. Results are zlib's codes:
// 0 success, -2 bad arguments, -3 corrupt data, -4 no memory, -5 the
// destination is too small. On return *destinationSize holds the bytes
// produced.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// level: -1 (default) or 0 to 9.
VANE_EXPORT int ffvane_compress(BYTE* destination, ULONG* destinationSize, const BYTE* source, ULONG sourceSize,
                                int level);
VANE_EXPORT int ffvane_uncompress(BYTE* destination, ULONG* destinationSize, const BYTE* source, ULONG sourceSize);
VANE_END_EXTERN_C
