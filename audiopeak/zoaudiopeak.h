// SPDX-License-Identifier: MIT
// A peak file instance: owns the ".zok" file of a media stream, builds it
// when it is missing or stale, and answers the minimum and maximum under
// each pixel from the coarsest of three tiers that is finer than the
// question: an in-memory table (default 2048 frames per peak), the peak
// file (default 256), or the audio itself.
#pragma once

#include "audio/mmreg.h"
#include "audiopeak/peak_header.h"
#include "audiopeak/peak_minmax.h"
#include "audiopeak/peak_reader.h"
#include "platform/com.h"
#include "platform/export.h"
#include "platform/types.h"

// {E8ACC7E9-09CE-4BA2-941A-17C47D4209A4}
inline constexpr IID IID_IZoAudioPeak =
    VANE_GUID(0xE8ACC7E9, 0x09CE, 0x4BA2, 0x94, 0x1A, 0x17, 0xC4, 0x7D, 0x42, 0x09, 0xA4);

// Flags of ZoAudioPeak_CreateInstance.
inline constexpr DWORD ZOAUDIOPEAK_READONLY = 0x1;
inline constexpr DWORD ZOAUDIOPEAK_SHARE_WRITE = 0x10;         // with READONLY: others may write
inline constexpr DWORD ZOAUDIOPEAK_TEMPORARY = 0x2;            // always a temporary file
inline constexpr DWORD ZOAUDIOPEAK_BESIDE_OR_TEMPORARY = 0x4;  // beside the media, else temporary
inline constexpr DWORD ZOAUDIOPEAK_DELETE_ON_CLOSE = 0x20;
inline constexpr DWORD ZOAUDIOPEAK_THREADSAFE = 0x40;          // GetPeaks takes the instance's lock
inline constexpr DWORD ZOAUDIOPEAK_MEMORY_ONLY = 0x80000000;   // no file at all

// Flags of Build.
inline constexpr DWORD ZOAUDIOPEAK_BUILD_16BIT = 0x1;
inline constexpr DWORD ZOAUDIOPEAK_BUILD_UPGRADE = 0x20000000;  // with 16BIT: rebuild an 8-bit file

// Build's success when the file already stood.
inline constexpr HRESULT ZOAUDIOPEAK_S_VALID = HRESULT(0x0004E00F);

// Progress of long work: done out of total, scaled to 10000 parts. FALSE
// asks to stop.
struct tZOAUDIOPEAK_PROGRESS {
  BOOL (*proc)(void* user, LONGLONG done, LONGLONG total);
  void* user;
};

// Slots in order after IUnknown's three. Peak arrays are `steps` records of
// channels (min, max) pairs of the requested type: 0 or 17 for 16-bit
// values, 49 for 8-bit, 32 for float.
struct IZoAudioPeak : IUnknown {
  // Whether the peak file (or a memory instance's table) matches the media.
  virtual BOOL IsValid(DWORD flags) = 0;
  // The peak file's name, worked out once per instance.
  virtual HRESULT GetFileName(WCHAR* buffer, int cch) = 0;
  // Builds the file when it is missing or stale; ZOAUDIOPEAK_S_VALID when it stood.
  virtual HRESULT Build(DWORD flags, const tZOAUDIOPEAK_PROGRESS* progress) = 0;
  // Recomputes the records of frames [first, first + count) from `buffer`
  // (count frames in the media's format; null reads the media), the records
  // at either edge from the media, and writes them to the file and table.
  virtual HRESULT Update(LONGLONG first, LONG count, const void* buffer, const tZOAUDIOPEAK_PROGRESS* progress) = 0;
  // After the media grew or shrank: cuts or extends the file, recomputes the
  // records past the old end from the media, rewrites the header.
  virtual HRESULT SetFrameCount(LONGLONG frames) = 0;
  virtual const WAVEFORMATEX* GetFormat() = 0;
  virtual HRESULT GetReader(CZoAudioPeakStreamReader** reader) = 0;
  // Up to 64 bytes of the header; the rest of the buffer is zeroed.
  virtual HRESULT GetHeader(void* buffer, DWORD size) = 0;
  virtual HRESULT SetKeepOpen(BOOL keepOpen, BOOL openNow) = 0;
  // Each out-pointer may be null. Peak type 49 or 17; memory type 17 when
  // the table exists, else 0.
  virtual HRESULT GetInfo(int* mediaType, LONG* framesPerPeak, int* peakType, LONG* memoryFramesPerPeak,
                          int* memoryType) = 0;
  virtual HRESULT GetPeaks16(LONGLONG position, LONGLONG framesPerStep, void* out, LONG steps, LONG* stepsDone) = 0;
  // Step k covers frames [position + k * framesPerStep, ...); a step takes
  // every record of its tier that overlaps it. Steps past the media's end
  // are not filled. E_UNEXPECTED for another type.
  virtual HRESULT GetPeaks(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                           LONG* stepsDone) = 0;
  // GetPeaks with the position reduced to a multiple of the step.
  virtual HRESULT GetPeaksRange(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                                LONG* stepsDone) = 0;
  // The answer computed from the audio directly (the media is opened and
  // closed around it).
  virtual HRESULT ScanAudio(LONGLONG position, LONGLONG framesPerStep, int type, void* out, LONG steps,
                            LONG* stepsDone) = 0;
  virtual LONGLONG GetFrameCount() = 0;
  // Rewrites the header's dates when they changed or an update is pending.
  virtual HRESULT Commit() = 0;
};

// The instance takes the reader and deletes it on its last Release. The
// media path defaults to the reader's; framesPerPeak outside 64..0x1000000
// (or 0) gives 256; memoryFramesPerPeak 0 gives 2048 and a negative value
// no memory table.
VANE_EXPORT HRESULT ZoAudioPeak_CreateInstance(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader,
                                               LPCWSTR mediaPath, LPCWSTR tempFolder, LONG framesPerPeak,
                                               LONG memoryFramesPerPeak, DWORD flags);
// The same with the peak file's name given.
VANE_EXPORT HRESULT ZoAudioPeak_CreateInstanceWithName(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader,
                                                       LPCWSTR peakPath, LONG framesPerPeak,
                                                       LONG memoryFramesPerPeak, DWORD flags);
// A memory instance: no file, a table of framesPerPeak (0 gives 256) over the
// reader, or over `data` (frames of `wfx`, kept alive by the caller) when
// the reader is null.
VANE_EXPORT HRESULT ZoAudioPeak_CreateMemoryInstance(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader,
                                                     const WAVEFORMATEX* wfx, const void* data, LONGLONG frames,
                                                     DWORD unused, LONG framesPerPeak, DWORD flags);
// The media was renamed: the peak file follows it. 0x8004E009 when it
// cannot be moved (the old name stays).
VANE_EXPORT HRESULT ZoAudioPeak_HandleMediaRename(IZoAudioPeak* peak, LPCWSTR newName, DWORD flag);
