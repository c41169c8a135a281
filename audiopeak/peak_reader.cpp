// SPDX-License-Identifier: MIT
#include "audiopeak/peak_reader.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "audiopeak/detail/copy_name.h"
#include "audio/zowaveformat.h"
#include "platform/file.h"
#include "platform/status.h"
#include "riff/wave_header.h"

using vane::audiopeak::CopyName;

namespace {

// A reader's own copy of a format record (WAVEFORMATEX plus its cbSize bytes).
WAVEFORMATEX* CopyFormat(const WAVEFORMATEX* format) {
  if (!format) return nullptr;
  const size_t bytes = sizeof(WAVEFORMATEX) + format->cbSize;
  auto* copy = static_cast<WAVEFORMATEX*>(std::malloc(bytes < sizeof(WAVEFORMATEXTENSIBLE) ? sizeof(WAVEFORMATEXTENSIBLE) : bytes));
  if (copy) {
    std::memset(copy, 0, sizeof(WAVEFORMATEXTENSIBLE));
    std::memcpy(copy, format, bytes);
  }
  return copy;
}

// Frames [position, position + frames) cut to the media; the status of a
// position outside it.
HRESULT ClampRead(LONGLONG position, LONG frames, LONGLONG total, LONG* count) {
  *count = 0;
  if (position < 0 || position > total || frames < 0) return ZOERR_FILE_READ;
  *count = LONG(frames < total - position ? frames : total - position);
  return S_OK;
}

}  // namespace

CZoAudioPeakStreamReader::~CZoAudioPeakStreamReader() = default;

CZoAudioPeakWaveFileReader::CZoAudioPeakWaveFileReader(LPCWSTR path) : m_path(path ? path : u"") {
  if (m_path.empty()) return;
  ULONGLONG frames = 0;
  WAVEFORMATEX* format = ZoGetFileWfx(m_path.c_str(), &frames, &m_dataOffset);
  // Only formats whose frames can be addressed by position are usable.
  if (format && format->nBlockAlign && ZoAudio_GetSampleType(format) != ZOSAMPLE_NONE &&
      frames <= ULONGLONG(0x7FFFFFFFFFFFFFFF)) {
    m_format = CopyFormat(format);
    m_frames = LONGLONG(frames);
  }
  std::free(format);
}

CZoAudioPeakWaveFileReader::~CZoAudioPeakWaveFileReader() {
  Close();
  std::free(m_format);
}

HRESULT CZoAudioPeakWaveFileReader::Open() {
  if (!m_format) return ZOERR_FILE_OPEN;
  if (m_file) return S_OK;
  HANDLE h = CreateFileW(m_path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (h == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  m_file = h;
  return S_OK;
}

HRESULT CZoAudioPeakWaveFileReader::Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) {
  if (framesRead) *framesRead = 0;
  if (!m_file) return ZOERR_FILE_OPEN;
  if (!buffer && frames > 0) return E_POINTER;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(ClampRead(position, frames, m_frames, &count));
  const ULONGLONG block = m_format->nBlockAlign;
  const ULONGLONG offset = m_dataOffset + ULONGLONG(position) * block;
  BYTE* out = static_cast<BYTE*>(buffer);
  ULONGLONG remaining = ULONGLONG(count) * block, done = 0;
  while (remaining > 0) {
    const DWORD chunk = DWORD(remaining < 0x40000000 ? remaining : 0x40000000);
    OVERLAPPED at{};
    at.Offset = DWORD(offset + done);
    at.OffsetHigh = DWORD((offset + done) >> 32);
    DWORD got = 0;
    if (!ReadFile(m_file, out + done, chunk, &got, &at) && GetLastError() != ERROR_HANDLE_EOF) return ZOERR_FILE_READ;
    if (got == 0) break;
    done += got;
    remaining -= got;
  }
  if (framesRead) *framesRead = LONG(done / block);
  return S_OK;
}

HRESULT CZoAudioPeakWaveFileReader::GetStreamPosition(LONGLONG*) { return E_NOTIMPL; }

HRESULT CZoAudioPeakWaveFileReader::Close() {
  if (m_file) CloseHandle(m_file);
  m_file = nullptr;
  return S_OK;
}

HRESULT CZoAudioPeakWaveFileReader::GetFileName(WCHAR* buffer, int cch, DWORD) { return CopyName(m_path, buffer, cch); }

HRESULT CZoAudioPeakWaveFileReader::Rename(LPCWSTR newName) {
  if (!newName || !*newName) return E_INVALIDARG;
  m_path = newName;
  return S_OK;
}

CZoAudioPeakWaveMemReader::CZoAudioPeakWaveMemReader(const WAVEFORMATEX* format, const void* data, LONGLONG frames)
    : m_data(static_cast<const BYTE*>(data)), m_frames(data && frames > 0 ? frames : 0) {
  if (format && format->nBlockAlign && ZoAudio_GetSampleType(format) != ZOSAMPLE_NONE) m_format = CopyFormat(format);
}

CZoAudioPeakWaveMemReader::~CZoAudioPeakWaveMemReader() { std::free(m_format); }

HRESULT CZoAudioPeakWaveMemReader::Open() {
  if (!m_format) return ZOERR_FILE_OPEN;
  m_open = true;
  return S_OK;
}

HRESULT CZoAudioPeakWaveMemReader::Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) {
  if (framesRead) *framesRead = 0;
  if (!m_open) return ZOERR_FILE_OPEN;
  if (!buffer && frames > 0) return E_POINTER;
  LONG count = 0;
  VANE_RETURN_IF_FAILED(ClampRead(position, frames, m_frames, &count));
  if (count > 0) std::memcpy(buffer, m_data + size_t(position) * m_format->nBlockAlign, size_t(count) * m_format->nBlockAlign);
  if (framesRead) *framesRead = count;
  return S_OK;
}

HRESULT CZoAudioPeakWaveMemReader::GetStreamPosition(LONGLONG*) { return E_NOTIMPL; }

HRESULT CZoAudioPeakWaveMemReader::Close() {
  m_open = false;
  return S_OK;
}

HRESULT CZoAudioPeakWaveMemReader::GetFileName(WCHAR* buffer, int cch, DWORD) { return CopyName(u"", buffer, cch); }

HRESULT CZoAudioPeakWaveMemReader::Rename(LPCWSTR) { return E_NOTIMPL; }

HRESULT ZoAudio_CreateWaveFileStreamReader(CZoAudioPeakStreamReader** reader, LPCWSTR path) {
  if (!reader) return E_POINTER;
  *reader = nullptr;
  auto* r = new (std::nothrow) CZoAudioPeakWaveFileReader(path);
  if (!r) return E_OUTOFMEMORY;
  if (!r->Usable()) {
    delete r;
    return ZOERR_FILE_OPEN;
  }
  *reader = r;
  return S_OK;
}

void ZoAudio_DestroyWaveFileStreamReader(CZoAudioPeakStreamReader* reader) { delete reader; }
