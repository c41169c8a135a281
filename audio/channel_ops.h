// SPDX-License-Identifier: MIT
// Operations on the channels of interleaved buffers: strided conversion,
// channel count changes, mono mixes, extracting and inserting a channel,
// muting and swapping. They use the sample copy's arithmetic at unit gain.
// frames < 1 is success with no work. Stateless and reentrant.
#pragma once

#include "audio/sample_copy.h"
#include "audio/zowaveformat.h"
#include "platform/export.h"
#include "platform/types.h"

// Strides are in samples of the routine's own type; channels are offsets in
// samples.
typedef void (*ZOAUDIO_COPYCHANNELSFUNC)(void* dst, ULONG dstStride, ULONG dstChannel, const void* src,
                                         ULONG srcStride, ULONG srcChannel, LONG frames);

VANE_EXPORT ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(ZOSAMPLETYPE dstType, ZOSAMPLETYPE srcType);
VANE_EXPORT ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(const tWAVEFORMATEX* dst,
                                                                     const tWAVEFORMATEX* src);
VANE_EXPORT ZOAUDIO_COPYCHANNELSFUNC ZoAudio_GetCopyChannelsFunction(const _zowaveformat* dst,
                                                                     const _zowaveformat* src);

// Copies srcChannels[i] of src into dstChannels[i] of dst, for i < count.
// E_NOTIMPL outside the table, E_INVALIDARG for a channel out of range.
VANE_EXPORT HRESULT ZoAudio_CopyChannels(const tWAVEFORMATEX* dstWfx, void* dst, const WORD* dstChannels,
                                         const tWAVEFORMATEX* srcWfx, const void* src, const WORD* srcChannels,
                                         WORD count, LONG frames);

// dst has the source's sample type with dstChannels channels. Only a
// reduction to one channel, or a spread of one channel, is possible (E_FAIL
// otherwise). ChannelChange keeps the sum; ChannelChangeAvg divides it by the
// channel count. dst may equal src.
VANE_EXPORT HRESULT ZoAudio_ChannelChange(void* dst, WORD dstChannels, const void* src, const tWAVEFORMATEX* srcWfx,
                                          LONG frames);
VANE_EXPORT HRESULT ZoAudio_ChannelChangeAvg(void* dst, WORD dstChannels, const void* src,
                                             const tWAVEFORMATEX* srcWfx, LONG frames);

// The average of all channels written back to every channel.
VANE_EXPORT HRESULT ZoAudio_MonoChannel(void* dst, const void* src, const tWAVEFORMATEX* wfx, LONG frames);

VANE_EXPORT HRESULT ZoAudio_ExtractChannel(void* dst, WORD channel, const void* src, const tWAVEFORMATEX* wfx,
                                           LONG frames);
VANE_EXPORT HRESULT ZoAudio_ExtractChannel(void* dst, WORD channel, const void* src, ZOSAMPLETYPE type,
                                           WORD channels, LONG frames);
// Channels first and first+1 into a stereo buffer; a mono source gives its
// one channel twice.
VANE_EXPORT HRESULT ZoAudio_ExtractChannelPair(void* dst, WORD firstChannel, const void* src,
                                               const tWAVEFORMATEX* wfx, LONG frames);
VANE_EXPORT HRESULT ZoAudio_InsertChannel(void* dst, ZOSAMPLETYPE type, WORD channels, WORD channel, const void* src,
                                          LONG frames);

VANE_EXPORT HRESULT ZoAudio_CopyChannelToAll(void* dst, const tWAVEFORMATEX* wfx, WORD channel, LONG frames);
VANE_EXPORT HRESULT ZoAudio_CopyChannelToChannel(void* dst, const tWAVEFORMATEX* wfx, WORD fromChannel,
                                                 WORD toChannel, LONG frames);
// Every channel of dst (dstChannels wide) gets one channel of src.
VANE_EXPORT HRESULT ZoAudio_CopyChannelToMultiMono(void* dst, WORD dstChannels, const void* src,
                                                   const tWAVEFORMATEX* srcWfx, WORD channel, LONG frames);
VANE_EXPORT HRESULT ZoAudio_CopyChannelToMultiMono2(void* dst, ULONG dstStride, const void* src, ULONG srcStride,
                                                    ULONG channel, LONG frames, ZOSAMPLETYPE type);

VANE_EXPORT HRESULT ZoAudio_MuteChannel(void* dst, const tWAVEFORMATEX* wfx, WORD channel, LONG frames);
VANE_EXPORT HRESULT ZoAudio_MuteChannel(void* dst, ZOSAMPLETYPE type, WORD channels, WORD channel, LONG frames);

VANE_EXPORT HRESULT ZoAudio_SwapStereoChannels(void* buffer, const tWAVEFORMATEX* wfx, LONG frames);
VANE_EXPORT HRESULT ZoAudio_CopySwapStereoChannels(void* dst, const void* src, const tWAVEFORMATEX* wfx,
                                                   LONG frames);
