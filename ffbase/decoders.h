// SPDX-License-Identifier: MIT
// The two objects a plug-in writes for its format: IAudioDecoder does the
// decoding of one audio stream, IMetaDecoder fills a metadata map. The base
// stream and meta classes own them (deleted through the virtual destructor)
// and call them under their own locks, so a decoder needs none.
#pragma once

#include "audio/zowaveformat.h"
#include "platform/status.h"

namespace fileutil {
class MetaMap;
}

namespace ffbase {

class IAudioDecoder {
 public:
  // Prepares what needs no file (called once after creation).
  virtual HRESULT Init() = 0;
  // Bytes of one sample frame of the read format.
  virtual DWORD GetBlockAlign() = 0;
  virtual bool IsOpen() = 0;
  // Formats as 32-byte records (cbStruct 32).
  virtual HRESULT GetReadFormat(_zowaveformat* format) = 0;
  virtual HRESULT GetFileFormat(_zowaveformat* format) = 0;
  virtual LONGLONG GetSampleCount() = 0;
  // Bytes per second of the file's data.
  virtual DWORD GetBitRate() = 0;
  virtual LONGLONG GetStreamLength() = 0;
  // Opens the named file and reads what the formats need.
  virtual HRESULT Open(LPCWSTR name) = 0;
  virtual HRESULT Close() = 0;
  // Reads up to count frames from frame position into buffer. S_OK with
  // *read 0 at the end; a failure status otherwise.
  virtual HRESULT Read(LONGLONG position, void* buffer, LONG count, LONG* read) = 0;
  virtual ~IAudioDecoder() = default;
};

class IMetaDecoder {
 public:
  virtual HRESULT Open() = 0;
  virtual HRESULT Close() = 0;
  virtual HRESULT SetFileName(LPCWSTR name) = 0;
  virtual DWORD GetSampleRate() = 0;
  virtual HRESULT InitMetaMap(fileutil::MetaMap* map) = 0;
  virtual ~IMetaDecoder() = default;
};

}  // namespace ffbase
