// SPDX-License-Identifier: MIT
// The sources a peak file is built from: an abstract reader of frames at a
// 64-bit position, a Wave (Wave64, AIFF) file reader with its own handle,
// and a reader over a buffer in memory. The media is held open only between
// Open and Close.
#pragma once

#include <string>

#include "audio/mmreg.h"
#include "platform/export.h"
#include "platform/types.h"

class VANE_EXPORT CZoAudioPeakStreamReader {
 public:
  virtual ~CZoAudioPeakStreamReader();
  virtual HRESULT Open() = 0;
  // Reads up to `frames` frames at `position` in the format of GetFormat;
  // fewer only at the end. 0x8004E008 for a position outside the media or a
  // failed read, 0x8004E007 when the reader is not open.
  virtual HRESULT Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) = 0;
  // The file and memory readers have no stream position: E_NOTIMPL.
  virtual HRESULT GetStreamPosition(LONGLONG* position) = 0;
  virtual HRESULT Close() = 0;
  // The format; null when the media is unusable.
  virtual const WAVEFORMATEX* GetFormat() = 0;
  // -1 for the media's only stream, else the stream's number.
  virtual int GetStreamIndex() = 0;
  virtual LONGLONG GetFrameCount() = 0;
  // The media's full path (empty for memory); E_OUTOFMEMORY when cch is too small.
  virtual HRESULT GetFileName(WCHAR* buffer, int cch, DWORD flag) = 0;
  // The media now has another name (the caller moved it).
  virtual HRESULT Rename(LPCWSTR newName) = 0;

 protected:
  CZoAudioPeakStreamReader() = default;
};

// Frames of a Wave, Wave64 or AIFF file read straight from its data chunk.
class VANE_EXPORT CZoAudioPeakWaveFileReader final : public CZoAudioPeakStreamReader {
 public:
  // Reads the file's header; Usable() tells whether it held a format.
  explicit CZoAudioPeakWaveFileReader(LPCWSTR path);
  ~CZoAudioPeakWaveFileReader() override;
  bool Usable() const { return m_format != nullptr; }

  HRESULT Open() override;
  HRESULT Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) override;
  HRESULT GetStreamPosition(LONGLONG* position) override;
  HRESULT Close() override;
  const WAVEFORMATEX* GetFormat() override { return m_format; }
  int GetStreamIndex() override { return -1; }
  LONGLONG GetFrameCount() override { return m_frames; }
  HRESULT GetFileName(WCHAR* buffer, int cch, DWORD flag) override;
  HRESULT Rename(LPCWSTR newName) override;

 private:
  std::u16string m_path;
  WAVEFORMATEX* m_format = nullptr;
  LONGLONG m_frames = 0;
  ULONGLONG m_dataOffset = 0;
  HANDLE m_file = nullptr;
};

// Frames of a buffer the caller keeps alive for the reader's life.
class VANE_EXPORT CZoAudioPeakWaveMemReader final : public CZoAudioPeakStreamReader {
 public:
  CZoAudioPeakWaveMemReader(const WAVEFORMATEX* format, const void* data, LONGLONG frames);
  ~CZoAudioPeakWaveMemReader() override;

  HRESULT Open() override;
  HRESULT Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) override;
  HRESULT GetStreamPosition(LONGLONG* position) override;
  HRESULT Close() override;
  const WAVEFORMATEX* GetFormat() override { return m_format; }
  int GetStreamIndex() override { return -1; }
  LONGLONG GetFrameCount() override { return m_frames; }
  HRESULT GetFileName(WCHAR* buffer, int cch, DWORD flag) override;
  HRESULT Rename(LPCWSTR newName) override;

 private:
  WAVEFORMATEX* m_format = nullptr;
  const BYTE* m_data;
  LONGLONG m_frames;
  bool m_open = false;
};

// A Wave file reader; 0x8004E007 (and no reader) when the file has no
// usable format.
VANE_EXPORT HRESULT ZoAudio_CreateWaveFileStreamReader(CZoAudioPeakStreamReader** reader, LPCWSTR path);
VANE_EXPORT void ZoAudio_DestroyWaveFileStreamReader(CZoAudioPeakStreamReader* reader);
