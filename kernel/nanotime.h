// SPDX-License-Identifier: MIT
// Positions in nano-time (100 ns units) shown in every form a user may see
// (samples, clock time, seconds, frames, time codes, measures and beats,
// feet and frames) and read back from text typed in the same forms. One
// format record, _zoposfmt, says how.
#pragma once

#include <cstddef>

#include "kernel/smpte.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

// The rows of _zoposfmt::format.
inline constexpr DWORD ZOPOSFMT_SAMPLES = 0;
inline constexpr DWORD ZOPOSFMT_TIME = 1;          // h:m:s.ms
inline constexpr DWORD ZOPOSFMT_SECONDS = 2;
inline constexpr DWORD ZOPOSFMT_TIME_FRAMES = 3;   // h:m:s.ff at framesPerSec
inline constexpr DWORD ZOPOSFMT_FRAMES = 4;
inline constexpr DWORD ZOPOSFMT_MEASURES = 5;      // measures:beats.ticks
inline constexpr DWORD ZOPOSFMT_SMPTE_2997 = 6;
inline constexpr DWORD ZOPOSFMT_SMPTE_30 = 7;
inline constexpr DWORD ZOPOSFMT_SMPTE_2997_DROP = 8;
inline constexpr DWORD ZOPOSFMT_SMPTE_25 = 9;
inline constexpr DWORD ZOPOSFMT_SMPTE_24 = 10;
inline constexpr DWORD ZOPOSFMT_RAW = 11;
inline constexpr DWORD ZOPOSFMT_MICROSECONDS = 12;
inline constexpr DWORD ZOPOSFMT_BEATS_TICKS = 13;
inline constexpr DWORD ZOPOSFMT_BEATS = 14;
inline constexpr DWORD ZOPOSFMT_FEET_35MM = 15;
inline constexpr DWORD ZOPOSFMT_FEET_16MM = 16;
inline constexpr DWORD ZOPOSFMT_CD = 17;
inline constexpr DWORD ZOPOSFMT_SMPTE_23976 = 18;
inline constexpr DWORD ZOPOSFMT_COMPACT_TIME = 19;

struct _zoposfmt {
  DWORD format;
  DWORD samplesPerSec;
  double framesPerSec;
  double beatsPerMinute;
  ZoNanoTime offset;          // taken off before showing, unless flag 2
  WORD beatsPerMeasure;
  DWORD ticksPerBeat;
};
static_assert(offsetof(_zoposfmt, framesPerSec) == 8);
static_assert(offsetof(_zoposfmt, offset) == 24);
static_assert(offsetof(_zoposfmt, beatsPerMeasure) == 32);
static_assert(offsetof(_zoposfmt, ticksPerBeat) == 36);
static_assert(sizeof(_zoposfmt) == 40);

// Flags of the Ex text forms and of the parsers.
inline constexpr DWORD ZONANO_SHORT = 1;        // text: the short column
inline constexpr DWORD ZONANO_NO_OFFSET = 2;    // text: no offset, music time from 0
inline constexpr DWORD ZONANO_PARSE_LENGTH = 1; // parse: a length, not a position
inline constexpr DWORD ZONANO_PARSE_NO_BASE = 2;  // parse: music time counts from 0
inline constexpr DWORD ZONANO_PARSE_RELATIVE = 4; // parse: no offset added

// Type 0 (plain time) splits at framesPerSec; types 1 to 10 are time codes.
VANE_EXPORT HRESULT ZoNanoTimeToHMSF(ZoNanoTime time, _smpteval* smpte, double framesPerSec);
VANE_EXPORT ZoNanoTime ZoHMSFToNanoTime(const _smpteval* smpte, double framesPerSec);
VANE_EXPORT HRESULT ZoNanoTimeToMeasures(ZoNanoTime time, const _zoposfmt* fmt, LONGLONG* measures, LONG* beats,
                                         LONG* ticks);

// Text of a position: the length in characters. The unbounded forms need
// room for 64 characters; the N forms cut to the capacity and then return -1.
VANE_EXPORT int ZoNanoTimeToText(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, int shortForm);
VANE_EXPORT int ZoNanoTimeToTextEx(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, DWORD flags);
VANE_EXPORT int ZoNanoTimeToTextN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time, int shortForm);
VANE_EXPORT int ZoNanoTimeToTextExN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time, DWORD flags);
// The same with the caller's printf text in place of the table's (the same
// values in the same order).
VANE_EXPORT int ZoNanoTimeToTextFormat(WCHAR* buffer, const _zoposfmt* fmt, ZoNanoTime time, LPCWSTR formatText,
                                       DWORD flags);
VANE_EXPORT int ZoNanoTimeToTextFormatN(WCHAR* buffer, size_t capacity, const _zoposfmt* fmt, ZoNanoTime time,
                                        LPCWSTR formatText, DWORD flags);

// Parsers never fail: text without digits is 0, values are clamped, and
// *end (when given) says how far the parse went.
VANE_EXPORT ZoNanoTime ZoTextToNanoTimeToken(LPCWSTR text, const _zoposfmt* fmt, LPCWSTR* end);
VANE_EXPORT ZoNanoTime ZoTextToNanoTimeTokenEx(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end);
VANE_EXPORT ZoNanoTime ZoTextToNanoTimeToken2(LPCWSTR text, const _zoposfmt* fmt, ZoNanoTime reserved, DWORD flags,
                                              LPCWSTR* end);
// Milliseconds of "h:m:s.mmm" (a decimal separator before the last group
// makes it milliseconds, padded on the right to three digits).
VANE_EXPORT LONGLONG ZoTextToTimeToken(LPCWSTR text, DWORD flags, LPCWSTR* end);
// Nano-time of "h:m:s.ff" at framesPerSec.
VANE_EXPORT ZoNanoTime ZoTextToHMSFToken(LPCWSTR text, double framesPerSec, LPCWSTR* end);
// Nano-time of "feet+frames" for format 15 (40 frames a foot) or 16 (16).
VANE_EXPORT ZoNanoTime ZoTextToFeetAndFramesToken(LPCWSTR text, const _zoposfmt* fmt, LPCWSTR* end);
VANE_EXPORT ZoNanoTime ZoTextToMusicTimeToken(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end);
VANE_EXPORT HRESULT ZoTextToMeasuresBeatsTicks(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LONGLONG* measures,
                                               LONG* beats, LONG* ticks, LPCWSTR* end);
VANE_EXPORT HRESULT ZoTextToBeatsTicks(LPCWSTR text, const _zoposfmt* fmt, LONGLONG* beats, LONG* ticks, LPCWSTR* end);
// Total ticks of a music time (measures, beats, ticks).
VANE_EXPORT LONGLONG ZoTextToTicks(LPCWSTR text, const _zoposfmt* fmt, DWORD flags, LPCWSTR* end);
VANE_EXPORT int ZoTicksToText(WCHAR* buffer, const _zoposfmt* fmt, LONGLONG ticks, DWORD flags);
VANE_EXPORT int ZoMeasuresAndTicksToText(WCHAR* buffer, const _zoposfmt* fmt, LONGLONG measures, LONGLONG ticks,
                                         DWORD flags);
