// SPDX-License-Identifier: MIT
// BaseReadAudioStream: one audio stream of a read file, around the plug-in's
// IAudioDecoder. It keeps the formats, the sample count and the length, and
// runs the read loop: Read is serialised by the stream's critical section,
// and an exception from the decoder is caught there (0x8004E017). The base
// converts nothing: the read format is the decoder's.
//
// References: see BaseReadFile; while anyone but the file's collection holds
// the stream, the stream holds its file.
#pragma once

#include <atomic>

#include "audio/zowaveformat.h"
#include "ffbase/decoders.h"
#include "fileio/fio_interfaces.h"
#include "platform/export.h"
#include "platform/sync.h"

namespace ffbase {

class BaseReadFile;

class VANE_EXPORT BaseReadAudioStream : public IZoReadAudioStream {
 public:
  BaseReadAudioStream(BaseReadFile* file, LONG index);
  BaseReadAudioStream(const BaseReadAudioStream&) = delete;
  BaseReadAudioStream& operator=(const BaseReadAudioStream&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT GetFileClass(IZoReadFileClass** out) override;
  HRESULT GetFile(IZoReadFile** out) override;
  HRESULT GetCaps(_ZOREADSTREAMCAPS* caps) override;
  HRESULT GetStreamType(ULONG* type, LONG* typeIndex, LONG* rawIndex) override;
  HRESULT GetStreamLength(LONGLONG* length) override;
  HRESULT GetStreamStart(LONGLONG* start) override;
  HRESULT SetOwnerThread(DWORD threadId) override;
  // Closes the decoder; the next Read opens it again.
  HRESULT Close() override;
  HRESULT GetSampleCount(LONGLONG* count) override;
  HRESULT GetAudioCellSize(ULONG* bytes) override;
  // Records are written as their 32-byte fixed part.
  HRESULT GetReadAudioFormat(_zowaveformat* format) override;
  HRESULT GetFileAudioFormat(_zowaveformat* format) override;
  // Null or empty: S_OK; the present read format: S_OK; anything else: 1,
  // and nothing changes.
  HRESULT SetReadAudioFormat(const _zowaveformat* format) override;
  HRESULT Read(LONGLONG startSample, _zomemorytoken token, LONG sampleCount, LONG* samplesRead) override;
  HRESULT GetAsyncReadInfo(LONGLONG* a, LONGLONG* b, void** info) override;
  HRESULT ReleaseAsyncReadInfo(void* info) override;

  // Slot 19: the stream's index in its file.
  virtual LONG StreamIndex() const;
  // Slot 20: makes the plug-in's decoder (owned by the stream afterwards).
  virtual HRESULT CreateDecoder(IAudioDecoder** out) = 0;
  // Slot 21: told after the decoder opened for reading; S_OK by default.
  virtual HRESULT OnDecoderOpened(IAudioDecoder* decoder);
  // Slot 22: makes the decoder when there is none.
  virtual HRESULT Init();
  // Slot 23: takes formats, count and length from the decoder, once.
  virtual HRESULT InitInfo();

  // Info for the file's GetStreamInfo: id 2 is the data rate in kbps.
  HRESULT GetInfo(DWORD id, DWORD* value);
  // Text ids 2 (format) and 3 (data rate).
  HRESULT GetInfoText(DWORD id, WCHAR* text, DWORD capacity);
  DWORD OwnerThread() const { return m_ownerThread; }

 protected:
  virtual ~BaseReadAudioStream();
  BaseReadFile* File() const { return m_file; }

 private:
  HRESULT InitInfoLocked();

  std::atomic<ULONG> m_refs{1};
  BaseReadFile* m_file;  // held while anyone but the collection holds us
  LONG m_index;
  std::atomic<DWORD> m_ownerThread{0};
  CRITICAL_SECTION m_lock;
  bool m_infoReady = false;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> m_fileFormat{};
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> m_readFormat{};
  LONGLONG m_sampleCount = 0;
  LONGLONG m_length = 0;
  DWORD m_bytesPerSecond = 0;
  IAudioDecoder* m_decoder = nullptr;
};

}  // namespace ffbase
