// SPDX-License-Identifier: MIT
#include "ffbase/base_read_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "audio/zowaveformat.h"
#include "ffbase/base_read_audio_stream.h"
#include "ffbase/base_read_file_class.h"
#include "platform/wtext.h"

namespace ffbase {
namespace {

using vane::ComPtr;

HRESULT PutDword(void* buffer, unsigned bytes, DWORD value) {
  if (!buffer) return E_POINTER;
  if (bytes < sizeof(DWORD)) return ZOERR_BUFFER_TOO_SMALL;
  std::memcpy(buffer, &value, sizeof value);
  return S_OK;
}

// Clears a record, keeping a larger size the caller gave.
void ClearRecord(_ZOFILESTREAMFORMATINFOv2& record) {
  DWORD size = std::max(record.cbSize, ZOFIO_STREAMFORMAT_SIZE);
  std::memset(&record, 0, sizeof record);
  record.cbSize = size;
}

}  // namespace

BaseReadFile::BaseReadFile(BaseReadFileClass* owner) : m_class(owner) {
  if (m_class) m_class->AddRef();
}

BaseReadFile::~BaseReadFile() {
  m_streams.ReleaseAll();
  if (m_class) m_class->Release();
}

HRESULT BaseReadFile::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoReadFile) {
    AddRef();
    *out = static_cast<IZoReadFile*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseReadFile::AddRef() { return ++m_refs; }

ULONG BaseReadFile::Release() {
  ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseReadFile::GetFileClass(IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = m_class;
  if (!m_class) return E_UNEXPECTED;
  m_class->AddRef();
  return S_OK;
}

HRESULT BaseReadFile::PluginSlot4(LONG_PTR, LONG_PTR) { return E_NOTIMPL; }
HRESULT BaseReadFile::PluginSlot5(LONG_PTR, LONG_PTR) { return E_NOTIMPL; }
HRESULT BaseReadFile::PluginSlot22(LONG_PTR, LONG_PTR) { return E_NOTIMPL; }

HRESULT BaseReadFile::GetFileInfo(void* buffer, DWORD bytes, DWORD info) {
  switch (info) {
    case ZOFIO_FILEINFO_DATARATE: return GetTotalDataRate(buffer, bytes);
    case ZOFIO_FILEINFO_MAXDATARATE: return GetMaxDataRate(buffer, bytes);
    default: return E_NOTIMPL;
  }
}

HRESULT BaseReadFile::GetStreamInfo(void* buffer, DWORD bytes, LONG streamIndex, DWORD info) {
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), streamIndex));
  switch (info) {
    case ZOFIO_STREAMINFO_CODECID: return GetCodecInfo(buffer, bytes, stream.Get());
    case ZOFIO_STREAMINFO_DATARATE: return GetDataRate(buffer, bytes, stream.Get());
    case ZOFIO_STREAMINFO_AVGFRAMERATE: return GetAverageFrameRate(buffer, bytes, stream.Get());
    default: return E_NOTIMPL;
  }
}

HRESULT BaseReadFile::Clone(IZoReadFile** out) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseReadFile::CloseFile() { return m_streams.CloseAll(); }

HRESULT BaseReadFile::IsFileOpen() { return m_streams.Count() > 0 ? S_OK : S_FALSE; }

HRESULT BaseReadFile::OpenFile(DWORD, DWORD) {
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IZoReadStream> stream;
    VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), i));
  }
  return S_OK;
}

HRESULT BaseReadFile::SetFile(LPCWSTR name) {
  if (!name) return E_POINTER;
  if (ZoWcsLen(name) >= MAX_PATH) return ZOERR_BAD_FILENAME;
  ZoWcsCopy(m_name, MAX_PATH, name);
  return S_OK;
}

HRESULT BaseReadFile::GetFileName(WCHAR* buffer, DWORD capacity) {
  if (!buffer) return E_POINTER;
  size_t n = ZoWcsLen(m_name);
  if (capacity <= n) return ZOERR_BUFFER_TOO_SMALL;
  ZoWcsCopy(buffer, capacity, m_name);
  return S_OK;
}

HRESULT BaseReadFile::GetFileLength(LONGLONG* length) {
  if (!length) return E_POINTER;
  *length = 0;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IZoReadStream> stream;
    VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), i));
    LONGLONG n = 0;
    if (SUCCEEDED(stream->GetStreamLength(&n))) *length = std::max(*length, n);
  }
  return S_OK;
}

HRESULT BaseReadFile::GetStreamCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT BaseReadFile::GetStreamTypes(ULONG* types) {
  if (!types) return E_POINTER;
  *types = 0;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  for (LONG i = 0; i < count; ++i) {
    ULONG type = 0;
    LONG typeIndex = 0;
    if (SUCCEEDED(GetStreamType(i, &type, &typeIndex))) *types |= type;
  }
  return S_OK;
}

HRESULT BaseReadFile::GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) {
  if (!records) return E_POINTER;
  LONG streams = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&streams));
  if (first < 0 || count < 0 || LONGLONG(first) + count > streams) return E_INVALIDARG;
  if (count == 0) return E_FAIL;
  for (LONG i = 0; i < count; ++i) {
    ClearRecord(records[i]);
    VANE_RETURN_IF_FAILED(GetFileFormat(records[i], first + i));
  }
  return S_OK;
}

HRESULT BaseReadFile::GetStreamType(LONG index, ULONG* type, LONG* typeIndex) {
  if (!type) return E_POINTER;
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), index));
  LONG localIndex = 0, raw = 0;
  HRESULT hr = stream->GetStreamType(type, &localIndex, &raw);
  if (typeIndex) *typeIndex = localIndex;
  return hr;
}

HRESULT BaseReadFile::GetRawStreamIndex(LONG typeIndex, ULONG type, LONG* index) {
  if (!index) return E_POINTER;
  *index = -1;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  LONG seen = 0;
  for (LONG i = 0; i < count; ++i) {
    ULONG t = 0;
    if (FAILED(GetStreamType(i, &t, nullptr)) || !(t & type)) continue;
    if (seen++ == typeIndex) {
      *index = i;
      return S_OK;
    }
  }
  return ZOERR_BAD_STREAM_INDEX;
}

HRESULT BaseReadFile::OpenStream(IZoReadStream** out, ULONG typeMask, LONG index, DWORD,
                                 _ZOFILESTREAMFORMATINFOv2* record) {
  if (!out) return E_POINTER;
  *out = nullptr;
  LONG raw = -1;
  VANE_RETURN_IF_FAILED(GetRawStreamIndex(index, typeMask, &raw));
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), raw));
  if (record) {
    ClearRecord(*record);
    VANE_RETURN_IF_FAILED(GetReadFormat(*record, stream.Get()));
  }
  *out = stream.Detach();
  return S_OK;
}

HRESULT BaseReadFile::QueryOpenStream(LONG, DWORD, _ZOFILESTREAMFORMATINFOv2*) { return S_OK; }

HRESULT BaseReadFile::GenerateTemplate(tagZOTEMPLATExV2** out, LONG, LONG) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseReadFile::GetStream(IZoReadStream** out, LONG index) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (SUCCEEDED(m_streams.Get(out, index))) return S_OK;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  if (index < 0 || index >= count) return ZOERR_BAD_STREAM_INDEX;
  std::lock_guard<std::recursive_mutex> hold(m_createLock);
  if (SUCCEEDED(m_streams.Get(out, index))) return S_OK;  // made by another thread meanwhile
  IZoReadStream* made = nullptr;
  HRESULT hr = CreateStream(&made, index);
  if (SUCCEEDED(hr) && !made) hr = E_UNEXPECTED;
  if (FAILED(hr)) return hr;
  hr = m_streams.Add(made, index);
  if (FAILED(hr)) {
    made->Release();
    return hr;
  }
  *out = made;  // the creation reference goes to the caller
  return S_OK;
}

HRESULT BaseReadFile::FillFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream, bool fileFormat) {
  if (!stream) return E_POINTER;
  ComPtr<IZoReadAudioStream> audio;
  if (SUCCEEDED(stream->QueryInterface(IID_IZoReadAudioStream, audio.AsVoidOut())) && audio) {
    auto* wf = reinterpret_cast<_zowaveformat*>(record.format.raw);
    VANE_RETURN_IF_FAILED(fileFormat ? audio->GetFileAudioFormat(wf) : audio->GetReadAudioFormat(wf));
    record.streamType = ZOFILESTREAM_AUDIO;
    LONGLONG samples = 0;
    if (SUCCEEDED(audio->GetSampleCount(&samples))) record.length = samples;
    LONGLONG start = 0;
    if (SUCCEEDED(audio->GetStreamStart(&start))) record.start = start;
    return S_OK;
  }
  ComPtr<IZoReadVideoStream> video;
  if (SUCCEEDED(stream->QueryInterface(IID_IZoReadVideoStream, video.AsVoidOut())) && video) {
    VANE_RETURN_IF_FAILED(fileFormat ? video->GetFileVideoFormat(record.format.raw)
                                     : video->GetReadVideoFormat(record.format.raw));
    record.streamType = ZOFILESTREAM_VIDEO;
    LONGLONG n = 0;
    if (SUCCEEDED(video->GetStreamLength(&n))) record.length = n;
    if (SUCCEEDED(video->GetStreamStart(&n))) record.start = n;
    return S_OK;
  }
  return ZOERR_UNSUPPORTED_MEDIATYPE;
}

HRESULT BaseReadFile::GetFileFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream) {
  return FillFormat(record, stream, true);
}

HRESULT BaseReadFile::GetFileFormat(_ZOFILESTREAMFORMATINFOv2& record, LONG index) {
  ComPtr<IZoReadStream> stream;
  VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), index));
  return FillFormat(record, stream.Get(), true);
}

HRESULT BaseReadFile::GetReadFormat(_ZOFILESTREAMFORMATINFOv2& record, IZoReadStream* stream) {
  return FillFormat(record, stream, false);
}

HRESULT BaseReadFile::StreamDataRate(IZoReadStream* stream, DWORD* kbps) {
  *kbps = 0;
  ComPtr<IZoReadAudioStream> audio;
  if (FAILED(stream->QueryInterface(IID_IZoReadAudioStream, audio.AsVoidOut())) || !audio) return E_NOTIMPL;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> format{};
  VANE_RETURN_IF_FAILED(audio->GetFileAudioFormat(format.get()));
  *kbps = DWORD(ULONGLONG(format->nAvgBytesPerSec) * 8 / 1000);
  return S_OK;
}

HRESULT BaseReadFile::GetMaxDataRate(void* buffer, unsigned bytes) {
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  DWORD best = 0;
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IZoReadStream> stream;
    VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), i));
    DWORD rate = 0;
    if (SUCCEEDED(StreamDataRate(stream.Get(), &rate))) best = std::max(best, rate);
  }
  return PutDword(buffer, bytes, best);
}

HRESULT BaseReadFile::GetTotalDataRate(void* buffer, unsigned bytes) {
  LONG count = 0;
  VANE_RETURN_IF_FAILED(GetStreamCount(&count));
  DWORD sum = 0;
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IZoReadStream> stream;
    VANE_RETURN_IF_FAILED(GetStream(stream.ReleaseAndGetAddressOf(), i));
    DWORD rate = 0;
    if (SUCCEEDED(StreamDataRate(stream.Get(), &rate))) sum += rate;
  }
  return PutDword(buffer, bytes, sum);
}

HRESULT BaseReadFile::GetTotalDataRate(WCHAR* text, unsigned capacity) {
  if (!text) return E_POINTER;
  DWORD sum = 0;
  VANE_RETURN_IF_FAILED(GetTotalDataRate(static_cast<void*>(&sum), unsigned(sizeof sum)));
  char narrow[32];
  std::snprintf(narrow, sizeof narrow, "%u kbps", unsigned(sum));
  std::u16string wide = vane::platform::FromUtf8(narrow);
  if (capacity <= wide.size()) return ZOERR_BUFFER_TOO_SMALL;
  ZoWcsCopy(text, capacity, wide.c_str());
  return S_OK;
}

HRESULT BaseReadFile::GetCodecInfo(void* buffer, unsigned bytes, IZoReadStream* stream) {
  if (!stream) return E_POINTER;
  ComPtr<IZoReadAudioStream> audio;
  if (FAILED(stream->QueryInterface(IID_IZoReadAudioStream, audio.AsVoidOut())) || !audio) return E_NOTIMPL;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> format{};
  VANE_RETURN_IF_FAILED(audio->GetFileAudioFormat(format.get()));
  return PutDword(buffer, bytes, format->FormatTag());
}

HRESULT BaseReadFile::GetDataRate(void* buffer, unsigned bytes, IZoReadStream* stream) {
  if (!stream) return E_POINTER;
  DWORD rate = 0;
  VANE_RETURN_IF_FAILED(StreamDataRate(stream, &rate));
  return PutDword(buffer, bytes, rate);
}

HRESULT BaseReadFile::GetAverageFrameRate(void* buffer, unsigned bytes, IZoReadStream* stream) {
  if (!stream || !buffer) return E_POINTER;
  ComPtr<IZoReadVideoStream> video;
  if (FAILED(stream->QueryInterface(IID_IZoReadVideoStream, video.AsVoidOut())) || !video) return E_NOTIMPL;
  if (bytes < sizeof(double)) return ZOERR_BUFFER_TOO_SMALL;
  return video->GetAverageFrameRate(buffer);
}

}  // namespace ffbase
