// SPDX-License-Identifier: MIT
// BaseReadFile: one opened media file of a plug-in format. It holds the file
// name, a reference on its class and the collection of its streams; a
// plug-in adds CreateStream (and GetStreamCount for more than one stream).
//
// Lifetime: the collection holds each stream once; a stream that anyone else
// holds keeps a reference on this file, so file and streams go together when
// the last outside reference goes. Streams are made on first GetStream under
// the file's own lock; everything else is free-threaded.
#pragma once

#include <atomic>
#include <mutex>

#include "ffbase/read_streams.h"
#include "fileio/fio_interfaces.h"
#include "platform/export.h"

namespace ffbase {

class BaseReadFileClass;

class VANE_EXPORT BaseReadFile : public IZoReadFile {
 public:
  explicit BaseReadFile(BaseReadFileClass* owner);
  BaseReadFile(const BaseReadFile&) = delete;
  BaseReadFile& operator=(const BaseReadFile&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT GetFileClass(IZoReadFileClass** out) override;
  HRESULT PluginSlot4(LONG_PTR a, LONG_PTR b) override;
  HRESULT PluginSlot5(LONG_PTR a, LONG_PTR b) override;
  // info 1: total data rate, 5: greatest stream data rate (DWORD, kbps).
  HRESULT GetFileInfo(void* buffer, DWORD bytes, DWORD info) override;
  // info 1: codec id, 2: data rate, 6: average frame rate.
  HRESULT GetStreamInfo(void* buffer, DWORD bytes, LONG streamIndex, DWORD info) override;
  HRESULT Clone(IZoReadFile** out) override;
  HRESULT CloseFile() override;
  HRESULT IsFileOpen() override;
  // Makes every stream exist; the first failure fails the call.
  HRESULT OpenFile(DWORD access, DWORD share) override;
  HRESULT SetFile(LPCWSTR name) override;
  HRESULT GetFileName(WCHAR* buffer, DWORD capacity) override;
  HRESULT GetFileLength(LONGLONG* length) override;
  // One stream unless a plug-in says otherwise.
  HRESULT GetStreamCount(LONG* count) override;
  HRESULT GetStreamTypes(ULONG* types) override;
  HRESULT GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) override;
  HRESULT GetStreamType(LONG index, ULONG* type, LONG* typeIndex) override;
  HRESULT GetRawStreamIndex(LONG typeIndex, ULONG type, LONG* index) override;
  HRESULT OpenStream(IZoReadStream** out, ULONG typeMask, LONG index, DWORD flags,
                     _ZOFILESTREAMFORMATINFOv2* record) override;
  HRESULT QueryOpenStream(LONG index, DWORD flags, _ZOFILESTREAMFORMATINFOv2* record) override;
  HRESULT PluginSlot22(LONG_PTR a, LONG_PTR b) override;
  HRESULT GenerateTemplate(tagZOTEMPLATExV2** out, LONG a, LONG b) override;

  // Slots 24 to 35.
  virtual HRESULT GetStream(IZoReadStream** out, LONG index);
  virtual HRESULT GetFileFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream);
  virtual HRESULT GetFileFormat(_ZOFILESTREAMFORMATINFOv2& record, LONG index);
  virtual HRESULT GetReadFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream);
  virtual HRESULT GetMaxDataRate(void* buffer, unsigned bytes);
  virtual HRESULT GetTotalDataRate(WCHAR* text, unsigned capacity);
  virtual HRESULT GetTotalDataRate(void* buffer, unsigned bytes);
  virtual HRESULT GetCodecInfo(void* buffer, unsigned bytes, IZoReadStream* stream);
  virtual HRESULT GetDataRate(void* buffer, unsigned bytes, IZoReadStream* stream);
  virtual HRESULT GetAverageFrameRate(void* buffer, unsigned bytes, IZoReadStream* stream);
  // Makes stream object number index (one reference, for the caller).
  virtual HRESULT CreateStream(IZoReadStream** out, LONG index) = 0;

  // The name as given to SetFile; a moniker after "?" stays on it.
  const WCHAR* FileName() const { return m_name; }
  BaseReadFileClass* Owner() const { return m_class; }

 protected:
  virtual ~BaseReadFile();
  ReadStreams& Streams() { return m_streams; }

 private:
  HRESULT FillFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream, bool fileFormat);
  HRESULT StreamDataRate(IZoReadStream* stream, DWORD* kbps);

  std::atomic<ULONG> m_refs{1};
  WCHAR m_name[MAX_PATH] = {};
  BaseReadFileClass* m_class;
  ReadStreams m_streams;
  std::recursive_mutex m_createLock;
};

}  // namespace ffbase
