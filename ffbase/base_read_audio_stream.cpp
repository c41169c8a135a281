// SPDX-License-Identifier: MIT
#include "ffbase/base_read_audio_stream.h"

#include <cstdio>
#include <cstring>

#include "ffbase/base_read_file.h"
#include "ffbase/memory_token.h"
#include "platform/wtext.h"

namespace ffbase {
namespace {

// Holds a critical section for a scope, also when an exception leaves it.
class Hold {
 public:
  explicit Hold(CRITICAL_SECTION* cs) : m_cs(cs) { EnterCriticalSection(m_cs); }
  ~Hold() { LeaveCriticalSection(m_cs); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  CRITICAL_SECTION* m_cs;
};

void CopyOut(_zowaveformat* to, const _zowaveformat& from) {
  std::memcpy(to, &from, ZOWAVEFORMAT_BASE_SIZE);
  to->cbStruct = ZOWAVEFORMAT_BASE_SIZE;
}

}  // namespace

BaseReadAudioStream::BaseReadAudioStream(BaseReadFile* file, LONG index) : m_file(file), m_index(index) {
  InitializeCriticalSection(&m_lock);
}

BaseReadAudioStream::~BaseReadAudioStream() {
  delete m_decoder;
  DeleteCriticalSection(&m_lock);
}

HRESULT BaseReadAudioStream::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoReadStream || iid == IID_IZoReadAudioStream) {
    AddRef();
    *out = static_cast<IZoReadAudioStream*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

// The file's collection holds the first reference. Going from one to two
// references takes one on the file, going back gives it up; so the file
// lives while any outside holder has its stream, and no cycle remains.
ULONG BaseReadAudioStream::AddRef() {
  ULONG n = ++m_refs;
  if (n == 2 && m_file) m_file->AddRef();
  return n;
}

ULONG BaseReadAudioStream::Release() {
  BaseReadFile* file = m_file;
  ULONG n = --m_refs;
  if (n == 1) {
    // May destroy the file, which releases this stream: no member access after.
    if (file) file->Release();
    return n;
  }
  if (n == 0) delete this;
  return n;
}

HRESULT BaseReadAudioStream::GetFileClass(IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!m_file) return E_UNEXPECTED;
  return m_file->GetFileClass(out);
}

HRESULT BaseReadAudioStream::GetFile(IZoReadFile** out) {
  if (!out) return E_POINTER;
  *out = m_file;
  if (!m_file) return E_UNEXPECTED;
  m_file->AddRef();
  return S_OK;
}

HRESULT BaseReadAudioStream::GetCaps(_ZOREADSTREAMCAPS* caps) {
  if (!caps) return E_POINTER;
  caps->caps = 0;
  return S_OK;
}

HRESULT BaseReadAudioStream::GetStreamType(ULONG* type, LONG* typeIndex, LONG* rawIndex) {
  if (type) *type = ZOFILESTREAM_AUDIO;
  if (typeIndex) *typeIndex = 0;
  if (rawIndex) *rawIndex = 0;
  return S_OK;
}

HRESULT BaseReadAudioStream::GetStreamLength(LONGLONG* length) {
  if (!length) return E_POINTER;
  *length = 0;
  VANE_RETURN_IF_FAILED(InitInfo());
  *length = m_length;
  return S_OK;
}

HRESULT BaseReadAudioStream::GetStreamStart(LONGLONG* start) {
  if (!start) return E_POINTER;
  *start = 0;
  return S_OK;
}

HRESULT BaseReadAudioStream::SetOwnerThread(DWORD threadId) {
  m_ownerThread = threadId;
  return S_OK;
}

HRESULT BaseReadAudioStream::Close() {
  Hold hold(&m_lock);
  if (m_decoder && m_decoder->IsOpen()) return m_decoder->Close();
  return S_OK;
}

HRESULT BaseReadAudioStream::GetSampleCount(LONGLONG* count) {
  if (!count) return E_POINTER;
  *count = 0;
  VANE_RETURN_IF_FAILED(InitInfo());
  *count = m_sampleCount;
  return S_OK;
}

HRESULT BaseReadAudioStream::GetAudioCellSize(ULONG* bytes) {
  if (!bytes) return E_POINTER;
  *bytes = 0;
  VANE_RETURN_IF_FAILED(InitInfo());
  *bytes = m_readFormat->nBlockAlign;
  return S_OK;
}

HRESULT BaseReadAudioStream::GetReadAudioFormat(_zowaveformat* format) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(InitInfo());
  CopyOut(format, *m_readFormat);
  return S_OK;
}

HRESULT BaseReadAudioStream::GetFileAudioFormat(_zowaveformat* format) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(InitInfo());
  CopyOut(format, *m_fileFormat);
  return S_OK;
}

HRESULT BaseReadAudioStream::SetReadAudioFormat(const _zowaveformat* format) {
  if (!format || (format->sampleType == ZOSAMPLE_NONE && format->nSamplesPerSec == 0 && format->nChannels == 0))
    return S_OK;
  VANE_RETURN_IF_FAILED(InitInfo());
  // The base converts nothing: only the present read format is accepted.
  return *format == *m_readFormat ? S_OK : S_FALSE;
}

HRESULT BaseReadAudioStream::Read(LONGLONG startSample, _zomemorytoken token, LONG sampleCount, LONG* samplesRead) {
  if (!samplesRead) return E_POINTER;
  *samplesRead = 0;
  if (sampleCount < 0 || startSample < 0) return E_INVALIDARG;
  try {
    Hold hold(&m_lock);
    VANE_RETURN_IF_FAILED(InitInfoLocked());
    CMappingOfZoMemoryToken mapping(token, kTokenAccessWrite);
    void* base = nullptr;
    VANE_RETURN_IF_FAILED(mapping.GetPointer(&base));
    const DWORD align = m_readFormat->nBlockAlign;
    if (align == 0) return ZOERR_BAD_FORMAT;
    // Never more frames than the token's block can take.
    const ULONGLONG room = mapping.DataSize() / align;
    LONG remaining = ULONGLONG(sampleCount) > room ? LONG(room) : sampleCount;
    if (remaining > 0 && !base) return E_POINTER;
    if (!m_decoder->IsOpen()) {
      VANE_RETURN_IF_FAILED(m_decoder->Open(m_file ? m_file->FileName() : nullptr));
      VANE_RETURN_IF_FAILED(OnDecoderOpened(m_decoder));
    }
    BYTE* out = static_cast<BYTE*>(base);
    LONGLONG position = startSample;
    LONG total = 0;
    HRESULT hr = S_OK;
    while (remaining > 0) {
      LONG got = 0;
      hr = m_decoder->Read(position, out, remaining, &got);
      if (hr != S_OK || got <= 0) break;
      if (got > remaining) got = remaining;  // a decoder never writes past the request
      position += got;
      out += size_t(got) * align;
      remaining -= got;
      total += got;
    }
    if (FAILED(hr)) return hr;
    HRESULT closed = mapping.Close();
    if (FAILED(closed)) return closed;
    *samplesRead = total;
    return S_OK;
  } catch (...) {
    *samplesRead = 0;
    return ZOERR_EXCEPTION;
  }
}

HRESULT BaseReadAudioStream::GetAsyncReadInfo(LONGLONG*, LONGLONG*, void** info) {
  if (info) *info = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseReadAudioStream::ReleaseAsyncReadInfo(void*) { return E_NOTIMPL; }

LONG BaseReadAudioStream::StreamIndex() const { return m_index; }

HRESULT BaseReadAudioStream::OnDecoderOpened(IAudioDecoder*) { return S_OK; }

HRESULT BaseReadAudioStream::Init() {
  Hold hold(&m_lock);
  if (m_decoder) return S_OK;
  IAudioDecoder* made = nullptr;
  HRESULT hr = CreateDecoder(&made);
  if (SUCCEEDED(hr) && !made) hr = E_UNEXPECTED;
  if (FAILED(hr)) {
    delete made;
    return hr;
  }
  hr = made->Init();
  if (FAILED(hr)) {
    delete made;
    return hr;
  }
  m_decoder = made;
  return S_OK;
}

HRESULT BaseReadAudioStream::InitInfo() {
  try {
    Hold hold(&m_lock);
    return InitInfoLocked();
  } catch (...) {
    return ZOERR_EXCEPTION;
  }
}

HRESULT BaseReadAudioStream::InitInfoLocked() {
  if (m_infoReady) return S_OK;
  VANE_RETURN_IF_FAILED(Init());
  const bool openedHere = !m_decoder->IsOpen();
  if (openedHere) VANE_RETURN_IF_FAILED(m_decoder->Open(m_file ? m_file->FileName() : nullptr));
  HRESULT hr = m_decoder->GetFileFormat(m_fileFormat.get());
  if (SUCCEEDED(hr)) hr = m_decoder->GetReadFormat(m_readFormat.get());
  if (SUCCEEDED(hr)) {
    m_fileFormat->cbStruct = m_readFormat->cbStruct = ZOWAVEFORMAT_BASE_SIZE;
    m_sampleCount = m_decoder->GetSampleCount();
    m_length = m_decoder->GetStreamLength();
    m_bytesPerSecond = m_decoder->GetBitRate();
    m_infoReady = true;
  }
  if (openedHere) m_decoder->Close();
  return hr;
}

HRESULT BaseReadAudioStream::GetInfo(DWORD id, DWORD* value) {
  if (!value) return E_POINTER;
  *value = 0;
  if (id != ZOFIO_STREAMINFO_DATARATE) return E_NOTIMPL;
  VANE_RETURN_IF_FAILED(InitInfo());
  *value = DWORD(ULONGLONG(m_bytesPerSecond) * 8 / 1000);
  return S_OK;
}

HRESULT BaseReadAudioStream::GetInfoText(DWORD id, WCHAR* text, DWORD capacity) {
  if (!text || capacity == 0) return E_POINTER;
  text[0] = 0;
  VANE_RETURN_IF_FAILED(InitInfo());
  if (id == ZOFIO_STREAMINFOTEXT_FORMAT) return ZoAudio_GetFormatText(m_fileFormat.get(), text, int(capacity), 0);
  if (id != ZOFIO_STREAMINFOTEXT_DATARATE) return E_NOTIMPL;
  char narrow[128];
  std::snprintf(narrow, sizeof narrow, "%u kbps", unsigned(ULONGLONG(m_bytesPerSecond) * 8 / 1000));
  std::u16string wide = vane::platform::FromUtf8(narrow);
  if (capacity <= wide.size()) return ZOERR_BUFFER_TOO_SMALL;
  ZoWcsCopy(text, capacity, wide.c_str());
  return S_OK;
}

}  // namespace ffbase
