// SPDX-License-Identifier: MIT
// Sample copy: one routine per pair of destination and source sample type,
// with an optional gain, over the eleven processable types; and the
// whole-buffer operations on samples (silence, fill, reverse, peak search).
//
// A copy routine converts `samples` single samples (frames times channels).
// dst may equal src: routines whose destination sample is wider run from the
// last sample down, the others upward. Routines hold no state, allocate
// nothing, and change the floating-point control word only for the length of
// one call. Vector variants are picked by ZoGetCPUSupport at each lookup and
// give exactly the bits of the plain routines.
#pragma once

#include "audio/zowaveformat.h"
#include "platform/export.h"
#include "platform/types.h"

typedef void (*ZOAUDIO_COPYFUNC)(void* dst, const void* src, LONG samples, float gain);

// Peak of one channel: magnitude (1.0 is full scale), its frame, and whether
// the channel clipped.
struct ZOAUDIO_PEAK {
  float peak;
  LONG position;
  BOOL clipped;
};
static_assert(sizeof(ZOAUDIO_PEAK) == 12);

typedef void (*ZOAUDIO_FINDPEAKSFUNC)(const void* src, LONG frames, WORD channels, LONG clipRun,
                                      ZOAUDIO_PEAK* peaks);

// Destination first. Null when either type lies outside the table.
VANE_EXPORT ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(ZOSAMPLETYPE dstType, ZOSAMPLETYPE srcType);
VANE_EXPORT ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const tWAVEFORMATEX* dst, const tWAVEFORMATEX* src);
VANE_EXPORT ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const _zowaveformat* dst, const tWAVEFORMATEX* src);
VANE_EXPORT ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const tWAVEFORMATEX* dst, const _zowaveformat* src);
VANE_EXPORT ZOAUDIO_COPYFUNC ZoAudio_GetCopyFunction(const _zowaveformat* dst, const _zowaveformat* src);

// Converts frames * (source channels) samples. E_NOTIMPL outside the table;
// frames <= 0 is success with no work.
VANE_EXPORT HRESULT ZoAudio_Copy(const tWAVEFORMATEX* dstWfx, void* dst, const tWAVEFORMATEX* srcWfx,
                                 const void* src, LONG frames, float gain);
VANE_EXPORT HRESULT ZoAudio_Copy(const _zowaveformat* dstWfx, void* dst, const _zowaveformat* srcWfx,
                                 const void* src, LONG frames, float gain);
VANE_EXPORT HRESULT ZoAudio_Copy(const _zowaveformat* dstWfx, void* dst, const tWAVEFORMATEX* srcWfx,
                                 const void* src, LONG frames, float gain);
VANE_EXPORT HRESULT ZoAudio_Copy(const tWAVEFORMATEX* dstWfx, void* dst, const _zowaveformat* srcWfx,
                                 const void* src, LONG frames, float gain);

VANE_EXPORT HRESULT ZoAudio_FillSilence(const tWAVEFORMATEX* wfx, void* dst, LONG frames);
VANE_EXPORT HRESULT ZoAudio_FillSilence(const _zowaveformat* wfx, void* dst, LONG frames);
VANE_EXPORT HRESULT ZoAudio_FillSilenceChannel(const tWAVEFORMATEX* wfx, void* dst, WORD channel, LONG frames);
// Repeats one sample of `type` (at `sample`) `samples` times.
VANE_EXPORT HRESULT ZoAudio_FillWithSample(ZOSAMPLETYPE type, void* dst, const void* sample, LONG samples);

VANE_EXPORT HRESULT ZoAudio_Reverse(const tWAVEFORMATEX* dstWfx, void* dst, const tWAVEFORMATEX* srcWfx,
                                    const void* src, LONG frames, float gain);

VANE_EXPORT ZOAUDIO_FINDPEAKSFUNC ZoAudio_GetFindPeaksFunction(const tWAVEFORMATEX* wfx);
// One ZOAUDIO_PEAK per channel. E_NOTIMPL for types without a search.
VANE_EXPORT HRESULT ZoAudio_FindPeaks(const tWAVEFORMATEX* wfx, LONG clipRun, const void* src, LONG frames,
                                      ZOAUDIO_PEAK* peaks);
