// SPDX-License-Identifier: MIT
// SMPTE time codes: frame counts at the standard rates, drop frame at 29.97
// (and 59.94), conversions to and from nano-time, text, arithmetic and
// stepping by one frame.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

// A signed count of 100-nanosecond units, ten million to a second.
using ZoNanoTime = LONGLONG;

// Time code types. 0 to 6 are the classic set; 7 to 10 add the doubled
// television rates.
inline constexpr DWORD ZOSMPTE_TIME = 0;         // plain time at a given rate
inline constexpr DWORD ZOSMPTE_30 = 1;           // 30 fps non-drop
inline constexpr DWORD ZOSMPTE_2997_DROP = 2;    // 29.97 drop frame
inline constexpr DWORD ZOSMPTE_25 = 3;
inline constexpr DWORD ZOSMPTE_24 = 4;
inline constexpr DWORD ZOSMPTE_2997 = 5;         // 29.97 non-drop
inline constexpr DWORD ZOSMPTE_23976 = 6;        // 23.976 (counted at 24)
inline constexpr DWORD ZOSMPTE_50 = 7;
inline constexpr DWORD ZOSMPTE_5994_DROP = 8;    // 59.94 drop frame (four labels a minute)
inline constexpr DWORD ZOSMPTE_60 = 9;
inline constexpr DWORD ZOSMPTE_5994 = 10;        // 59.94 non-drop

struct _smpteval {
  DWORD type;
  LONG hours;
  LONG minutes;
  LONG seconds;
  LONG frames;
  DWORD reserved;
};
static_assert(sizeof(_smpteval) == 24);

// Frames counted per second (30 for 29.97), 0 for a type outside 1 to 10.
VANE_EXPORT LONG ZOSMPTE_FramesPerSecond(DWORD type);
// The real rate (29.97002997002997 for 29.97), 0 outside 1 to 10.
VANE_EXPORT double ZOSMPTE_RealRate(DWORD type);
// Whether the type drops labels.
VANE_EXPORT BOOL ZOSMPTE_IsDrop(DWORD type);

// Fills the fields from a frame count (wrapping at 24 hours) for the type
// already in smpte->type. E_INVALIDARG for a type outside 1 to 10.
VANE_EXPORT HRESULT ZOSMPTE_FrameCountToSMPTE(_smpteval* smpte, LONGLONG frames);
// 0 for a type outside 1 to 10.
VANE_EXPORT LONGLONG ZOSMPTE_SMPTEToFrameCount(const _smpteval* smpte);
VANE_EXPORT ZoNanoTime ZOSMPTE_SMPTEToNanos(const _smpteval* smpte);
VANE_EXPORT HRESULT ZOSMPTE_NanoToSMPTE(_smpteval* smpte, ZoNanoTime time);
// Reads "hh:mm:ss:ff" (any non-digit separates; groups from the right are
// frames, seconds, minutes, hours) keeping smpte->type; never fails.
VANE_EXPORT HRESULT ZOSMPTE_TextToSMPTE(LPCWSTR text, _smpteval* smpte);
// result = a + b (a - b), by frame counts of a's type, wrapping at 24 hours.
VANE_EXPORT HRESULT ZOSMPTE_AddSMPTE(_smpteval* result, const _smpteval* a, const _smpteval* b);
VANE_EXPORT HRESULT ZOSMPTE_SubtractSMPTE(_smpteval* result, const _smpteval* a, const _smpteval* b);
// -1, 0 or 1 by frame count.
VANE_EXPORT int ZOSMPTE_SMPTECompare(const _smpteval* a, const _smpteval* b);
VANE_EXPORT HRESULT ZOSMPTE_IncrementByFrame(_smpteval* smpte);
VANE_EXPORT HRESULT ZOSMPTE_DeccrementByFrame(_smpteval* smpte);
// A time-code-like value at any rate: (seconds * rate + frames) / rate.
VANE_EXPORT ZoNanoTime ZOSMPTE_SmpteLikeToNanos(double framesPerSec, const _smpteval* smpte);
// The drop state words a user may type: 1 drop, 0 non-drop, -1 neither.
VANE_EXPORT int ZOSMPTE_ParseDropWord(LPCWSTR text);
