// SPDX-License-Identifier: MIT
// Minimum and maximum of blocks of samples, kept per channel in an array
// whose values have the layout of a sample type, and the re-sampling of a
// series of (min, max) records to a coarser step.
//
// An array of `channels` elements holds, per channel, min then max in the
// type's own form: 1 byte each for types 16 and 49, 2 for 17 and 64, 3 for
// the packed 24-bit types, 4 for 19 and 32, 8 for 33. Peak types are 0 or 17
// (16-bit peaks, the form of a peak file record), 49 (8-bit peaks), 32
// (float peaks, full scale 1.0) and, for re-sampling only, 19 (32-bit).
#pragma once

#include "audio/zowaveformat.h"
#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

// One channel's (min, max) in any of the layouts.
union tZOAUDIOPEAK_SAMPLESMINMAX {
  struct { BYTE min, max; } u8;
  struct { signed char min, max; } s8;
  struct { SHORT min, max; } s16;
  struct { BYTE min[3], max[3]; } s24;
  struct { LONG min, max; } s32;
  struct { float min, max; } f32;
  struct { double min, max; } f64;
};
static_assert(sizeof(tZOAUDIOPEAK_SAMPLESMINMAX) == 16);

// Folds the min and max of `frames` interleaved frames of a sample type into
// an array of a peak type. Values are compared in the sample type and
// converted after: integers keep their high bits (16 to 8 bits takes the high
// byte, never a rounded value), unsigned 8-bit sources are re-centred,
// floats are scaled and truncated toward zero, then clamped.
typedef void (*ZOAUDIOPEAK_MINMAXFUNC)(const void* src, LONG frames, WORD channels, void* minmax);

// peakType 0 or 17, 32 or 49; sampleType 16, 17, 18, 19, 32, 33 or 49. Null
// for any other pair.
VANE_EXPORT ZOAUDIOPEAK_MINMAXFUNC ZoAudioPeak_GetMinMaxFunction(int peakType, int sampleType);
// S_OK, or 1 (S_FALSE) when no routine exists for the pair.
VANE_EXPORT HRESULT ZoAudioPeak_CalcMinMax(int sampleType, int peakType, const void* src, LONG frames, WORD channels,
                                           void* minmax);
// Bytes of one element (a channel's min and max) of an array of `type`;
// 0 for a type without a layout.
VANE_EXPORT UINT ZoAudioPeak_MinMaxElementSize(int type);
// Sets every element to the empty (min, max): the largest value as min and
// the smallest as max, so that any sample replaces both.
VANE_EXPORT HRESULT ZoAudioPeak_InitMinMaxArray(int type, WORD channels, void* minmax);
// Seeds an array of `type` from an array of `otherType` (a record of peak
// data), each value converted per type; an empty element stays empty.
VANE_EXPORT HRESULT ZoAudioPeak_PrimeMinMaxArray(int type, WORD channels, void* minmax, int otherType,
                                                 const void* source);
// Merges `other` (same type) into `minmax`.
VANE_EXPORT HRESULT ZoAudioPeak_MergeMinMaxArray(int type, WORD channels, void* minmax, const void* other);

// Re-samples a series of records of srcStep frames each (the first starting
// at frame 0) to records of dstStep frames: destination record i takes every
// source record that overlaps its frames. Only downward: dstStep must be at
// least srcStep.
typedef void (*ZOAUDIOPEAK_RESAMPLEFUNC)(const void* src, LONGLONG srcRecords, LONGLONG srcStep, void* dst,
                                         LONGLONG dstRecords, LONGLONG dstStep, WORD channels);
// peakType 0, 17, 19, 32 or 49. Upward there is no routine: null.
VANE_EXPORT ZOAUDIOPEAK_RESAMPLEFUNC ZoAudioPeak_GetPeakResampleFunction(int peakType, BOOL upward);
// E_UNEXPECTED when dstStep < srcStep or the type has no routine,
// E_INVALIDARG for steps below 1.
VANE_EXPORT HRESULT ZoAudioPeak_Resample(int peakType, const void* src, LONGLONG srcRecords, LONGLONG srcStep,
                                         void* dst, LONGLONG dstRecords, LONGLONG dstStep, WORD channels);
