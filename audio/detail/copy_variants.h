// SPDX-License-Identifier: MIT
// The copy table's variants, for the dispatcher and for tests that force one.
#pragma once

#include "audio/sample_copy.h"

namespace vane::audio::detail {

enum class CopyVariant { kPlain, kSse2, kAvx2 };

// The routine of one variant for a pair given by table indices, or null when
// that variant has no routine of its own for the pair (the plain table is
// null only for the four missing pairs).
ZOAUDIO_COPYFUNC PlainRoutine(int dstIndex, int srcIndex);
ZOAUDIO_COPYFUNC Sse2Routine(int dstIndex, int srcIndex);
ZOAUDIO_COPYFUNC Avx2Routine(int dstIndex, int srcIndex);

// What ZoAudio_GetCopyFunction returns with a given variant forced: the
// variant's routine when it has one, else the next lower variant's.
ZOAUDIO_COPYFUNC GetCopyFunctionFor(ZOSAMPLETYPE dst, ZOSAMPLETYPE src, CopyVariant variant);

// The best variant this processor allows.
CopyVariant BestCopyVariant();

}  // namespace vane::audio::detail
