// SPDX-License-Identifier: MIT
// The peak instance's lifecycle: creation, the peak file's name, its header
// and validity, the mapped view, renames and the creation functions.
#include "audiopeak/zoaudiopeak.h"

#include <cstring>
#include <new>

#include "audio/zowaveformat.h"
#include "audiopeak/detail/copy_name.h"
#include "audiopeak/detail/peak_instance.h"
#include "audiopeak/detail/peak_name.h"
#include "platform/file.h"
#include "platform/mapping.h"

namespace vane::audiopeak {

namespace {

LONG FramesPerPeakOrDefault(LONG requested) {
  if (requested < ZOAUDIOPEAK_MIN_FRAMES_PER_PEAK || requested > ZOAUDIOPEAK_MAX_FRAMES_PER_PEAK)
    return ZOAUDIOPEAK_DEFAULT_FRAMES_PER_PEAK;
  return requested;
}

// A type the min/max routines take for a media type that has none.
int RoutineTypeFor(int sampleType, WORD bytes) {
  if (ZoAudioPeak_GetMinMaxFunction(17, sampleType)) return sampleType;
  switch (bytes) {
    case 1: return ZOSAMPLE_PCM8_SIGNED;
    case 2: return ZOSAMPLE_PCM16;
    case 3: return ZOSAMPLE_PCM24;
    default: return ZOSAMPLE_FLOAT32;
  }
}

}  // namespace

CZoAudioPeak::CZoAudioPeak(CZoAudioPeakStreamReader* reader, DWORD flags) : m_reader(reader), m_flags(flags) {}

CZoAudioPeak::~CZoAudioPeak() {
  CloseView();
  if (m_reader) m_reader->Close();
  if ((m_flags & ZOAUDIOPEAK_DELETE_ON_CLOSE) && !IsMemory() && !m_peakName.empty()) DeleteFileW(m_peakName.c_str());
}

HRESULT CZoAudioPeak::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IZoAudioPeak) {
    *object = static_cast<IZoAudioPeak*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

HRESULT CZoAudioPeak::InitFile(LPCWSTR mediaPath, LPCWSTR tempFolder, LPCWSTR peakPath, LONG framesPerPeak,
                               LONG memoryFramesPerPeak) {
  const WAVEFORMATEX* format = m_reader ? m_reader->GetFormat() : nullptr;
  if (!format || format->nBlockAlign == 0 || format->nChannels == 0) return ZOERR_FILE_OPEN;
  m_source.sampleType = ZoAudio_GetSampleType(format);
  if (m_source.sampleType == ZOSAMPLE_NONE) return ZOERR_FILE_OPEN;
  m_source.channels = format->nChannels;
  m_source.blockAlign = format->nBlockAlign;
  m_source.routineType =
      RoutineTypeFor(m_source.sampleType, ZoAudio_BytesFromSampleType(ZOSAMPLETYPE(m_source.sampleType)));
  m_frames = m_reader->GetFrameCount();
  if (m_frames < 0) return ZOERR_FILE_OPEN;
  m_framesPerPeak = FramesPerPeakOrDefault(framesPerPeak);
  m_memoryRequest = memoryFramesPerPeak == 0 ? ZOAUDIOPEAK_DEFAULT_MEMORY_FRAMES_PER_PEAK : memoryFramesPerPeak;
  if (IsMemory()) return S_OK;
  if (mediaPath && *mediaPath) {
    m_mediaPath = mediaPath;
  } else {
    WCHAR name[4096];
    if (SUCCEEDED(m_reader->GetFileName(name, 4096, 0))) m_mediaPath = name;
  }
  if (tempFolder) m_tempFolder = tempFolder;
  if (peakPath && *peakPath) {
    m_peakName = peakPath;
    m_nameResolved = m_nameGiven = true;
  }
  // The instance opens with its validity known.
  if (SUCCEEDED(ResolveName())) {
    LoadHeader();
    m_valid = m_headerSound && HeaderMatchesMedia();
  }
  return S_OK;
}

HRESULT CZoAudioPeak::InitMemory(LONG framesPerPeak) {
  m_flags |= ZOAUDIOPEAK_MEMORY_ONLY;
  VANE_RETURN_IF_FAILED(InitFile(nullptr, nullptr, nullptr, framesPerPeak, framesPerPeak));
  m_memoryRequest = m_framesPerPeak;
  return S_OK;
}

HRESULT CZoAudioPeak::ResolveName() {
  if (m_nameResolved) return m_peakName.empty() ? S_FALSE : S_OK;
  if (IsMemory()) return S_FALSE;
  HRESULT hr = S_OK;
  const int stream = m_reader ? m_reader->GetStreamIndex() : -1;
  if (m_flags & ZOAUDIOPEAK_TEMPORARY) {
    hr = TemporaryPeakName(m_tempFolder.c_str(), &m_peakName);
  } else {
    m_peakName = PeakNameBesideMedia(m_mediaPath, stream);
    if ((m_flags & ZOAUDIOPEAK_BESIDE_OR_TEMPORARY) &&
        (m_peakName.empty() || GetFileAttributesW(m_peakName.c_str()) == INVALID_FILE_ATTRIBUTES))
      hr = TemporaryPeakName(m_tempFolder.c_str(), &m_peakName);
    else if (m_peakName.empty())
      hr = S_FALSE;
  }
  m_nameResolved = true;
  if (hr != S_OK) m_peakName.clear();
  return hr;
}

HRESULT CZoAudioPeak::GetFileName(WCHAR* buffer, int cch) {
  if (IsMemory()) return CopyName(u"", buffer, cch);
  const HRESULT hr = ResolveName();
  if (hr != S_OK) {
    if (buffer && cch > 0) buffer[0] = 0;
    return hr;
  }
  return CopyName(m_peakName, buffer, cch);
}

HRESULT CZoAudioPeak::LoadHeader() {
  m_headerSound = false;
  std::memset(&m_header, 0, sizeof m_header);
  if (m_peakName.empty()) return S_FALSE;
  HANDLE h = CreateFileW(m_peakName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return S_FALSE;
  BYTE bytes[ZOAUDIOPEAK_HEADER_SIZE] = {};
  DWORD got = 0;
  LARGE_INTEGER size{};
  const BOOL ok = ReadFile(h, bytes, sizeof bytes, &got, nullptr) && GetFileSizeEx(h, &size);
  CloseHandle(h);
  if (!ok) return S_FALSE;
  if (ZoAudioPeak_ParseHeader(bytes, got, &m_header) != S_OK) return S_FALSE;
  // A file whose length disagrees with its header was cut short or damaged.
  if (ULONGLONG(size.QuadPart) != ZoAudioPeak_ExpectedFileSize(&m_header)) return S_FALSE;
  m_headerSound = true;
  return S_OK;
}

bool CZoAudioPeak::HeaderMatchesMedia() const {
  DWORD local = 0, utc = 0;
  if (!ZoAudioPeak_GetMediaDates(m_mediaPath.c_str(), &local, &utc)) return false;
  if (m_header.mediaDate == 0 && m_header.mediaDateUtc == 0) return false;  // a build that never finished
  if (m_header.mediaDateUtc != 0 ? m_header.mediaDateUtc != utc : m_header.mediaDate != local) return false;
  return m_header.channels == m_source.channels && LONGLONG(m_header.frameCount) == m_frames;
}

BOOL CZoAudioPeak::IsValid(DWORD) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (IsMemory()) return m_valid;
  if (ResolveName() != S_OK) return FALSE;
  LoadHeader();
  m_valid = m_headerSound && HeaderMatchesMedia();
  if (!m_valid) CloseView();
  return m_valid;
}

HRESULT CZoAudioPeak::OpenView() {
  if (m_view) return S_OK;
  if (m_peakName.empty()) return ZOERR_FILE_OPEN;
  HANDLE h = CreateFileW(m_peakName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_RANDOM_ACCESS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(h, &size) || ULONGLONG(size.QuadPart) != ZoAudioPeak_ExpectedFileSize(&m_header)) {
    CloseHandle(h);
    return ZOERR_FILE_CORRUPT;
  }
  HANDLE mapping = CreateFileMappingW(h, nullptr, PAGE_READONLY, 0, 0, nullptr);
  const void* view = mapping ? MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0) : nullptr;
  if (!view) {
    if (mapping) CloseHandle(mapping);
    CloseHandle(h);
    return ZOERR_FILE_OPEN;
  }
  m_file = h;
  m_mapping = mapping;
  m_view = static_cast<const BYTE*>(view);
  m_viewSize = size_t(size.QuadPart);
  return S_OK;
}

void CZoAudioPeak::CloseView() {
  if (m_view) UnmapViewOfFile(m_view);
  if (m_mapping) CloseHandle(m_mapping);
  if (m_file) CloseHandle(m_file);
  m_view = nullptr;
  m_mapping = m_file = nullptr;
  m_viewSize = 0;
}

HRESULT CZoAudioPeak::GetReader(CZoAudioPeakStreamReader** reader) {
  if (!reader) return E_POINTER;
  *reader = m_reader.get();
  return m_reader ? S_OK : E_FAIL;
}

HRESULT CZoAudioPeak::GetHeader(void* buffer, DWORD size) {
  if (!buffer) return E_POINTER;
  std::memset(buffer, 0, size);
  std::memcpy(buffer, &m_header, size < sizeof m_header ? size : sizeof m_header);
  return S_OK;
}

HRESULT CZoAudioPeak::SetKeepOpen(BOOL keepOpen, BOOL openNow) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  m_keepOpen = keepOpen != FALSE;
  if (!m_keepOpen) CloseView();
  if (m_keepOpen && openNow && m_valid && !IsMemory()) return OpenView();
  return S_OK;
}

HRESULT CZoAudioPeak::GetInfo(int* mediaType, LONG* framesPerPeak, int* peakType, LONG* memoryFramesPerPeak,
                              int* memoryType) {
  if (mediaType) *mediaType = m_source.sampleType;
  if (framesPerPeak) *framesPerPeak = m_headerSound ? LONG(m_header.framesPerPeak) : m_framesPerPeak;
  if (peakType) *peakType = IsMemory() ? 17 : m_headerSound && m_header.peakBits == 16 ? 17 : 49;
  if (memoryFramesPerPeak) *memoryFramesPerPeak = LONG(m_tableStep);
  if (memoryType) *memoryType = m_tableRecords > 0 || (m_tableStep > 0 && m_frames == 0) ? 17 : 0;
  return S_OK;
}

HRESULT CZoAudioPeak::WriteHeader(HANDLE file, const tZOAUDIOPEAKHEADER& header) {
  OVERLAPPED at{};
  DWORD written = 0;
  if (!WriteFile(file, &header, sizeof header, &written, &at) || written != sizeof header) return ZOERR_FILE_WRITE;
  return S_OK;
}

HRESULT CZoAudioPeak::Commit() {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (IsMemory() || !m_headerSound) return S_FALSE;
  if (ReadOnly()) return E_FAIL;
  DWORD local = 0, utc = 0;
  if (!ZoAudioPeak_GetMediaDates(m_mediaPath.c_str(), &local, &utc)) return ZOERR_FILE_OPEN;
  if (!m_dirty && local == m_header.mediaDate && utc == m_header.mediaDateUtc) return S_OK;
  HANDLE h = CreateFileW(m_peakName.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return ZOERR_FILE_WRITE;
  tZOAUDIOPEAKHEADER header = m_header;
  header.mediaDate = local;
  header.mediaDateUtc = utc;
  const HRESULT hr = WriteHeader(h, header);
  CloseHandle(h);
  if (FAILED(hr)) return hr;
  m_header = header;
  m_dirty = false;
  m_valid = HeaderMatchesMedia();
  return S_OK;
}

void CZoAudioPeak::DeletePeakFile() {
  CloseView();
  if (!m_peakName.empty()) DeleteFileW(m_peakName.c_str());
  m_headerSound = m_valid = false;
  std::memset(&m_header, 0, sizeof m_header);
}

HRESULT CZoAudioPeak::Rename(LPCWSTR newName, DWORD) {
  if (!newName || !*newName) return E_INVALIDARG;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  if (!m_reader) return E_FAIL;
  CloseView();
  const std::u16string oldPeak = m_peakName;
  VANE_RETURN_IF_FAILED(m_reader->Rename(newName));
  m_mediaPath = newName;
  if (m_nameGiven || IsMemory()) return S_OK;
  m_nameResolved = false;
  m_peakName.clear();
  ResolveName();
  if (!oldPeak.empty() && oldPeak != m_peakName && GetFileAttributesW(oldPeak.c_str()) != INVALID_FILE_ATTRIBUTES) {
    if (m_peakName.empty() || !MoveFileExW(oldPeak.c_str(), m_peakName.c_str(), 0)) {
      m_peakName = oldPeak;
      return ZOERR_FILE_WRITE;
    }
  }
  LoadHeader();
  m_valid = m_headerSound && HeaderMatchesMedia();
  return S_OK;
}

}  // namespace vane::audiopeak

using vane::audiopeak::CZoAudioPeak;

namespace {

HRESULT Finish(CZoAudioPeak* instance, HRESULT init, IZoAudioPeak** peak) {
  if (FAILED(init)) {
    instance->Release();
    return init;
  }
  *peak = instance;
  return S_OK;
}

}  // namespace

HRESULT ZoAudioPeak_CreateInstance(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader, LPCWSTR mediaPath,
                                   LPCWSTR tempFolder, LONG framesPerPeak, LONG memoryFramesPerPeak, DWORD flags) {
  if (!peak) return E_POINTER;
  *peak = nullptr;
  if (!reader) return E_INVALIDARG;
  auto* instance = new (std::nothrow) CZoAudioPeak(reader, flags);
  if (!instance) return E_OUTOFMEMORY;
  return Finish(instance, instance->InitFile(mediaPath, tempFolder, nullptr, framesPerPeak, memoryFramesPerPeak), peak);
}

HRESULT ZoAudioPeak_CreateInstanceWithName(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader, LPCWSTR peakPath,
                                           LONG framesPerPeak, LONG memoryFramesPerPeak, DWORD flags) {
  if (!peak) return E_POINTER;
  *peak = nullptr;
  if (!reader || !peakPath || !*peakPath) return E_INVALIDARG;
  auto* instance = new (std::nothrow) CZoAudioPeak(reader, flags & ~ZOAUDIOPEAK_MEMORY_ONLY);
  if (!instance) return E_OUTOFMEMORY;
  return Finish(instance, instance->InitFile(nullptr, nullptr, peakPath, framesPerPeak, memoryFramesPerPeak), peak);
}

HRESULT ZoAudioPeak_CreateMemoryInstance(IZoAudioPeak** peak, CZoAudioPeakStreamReader* reader,
                                         const WAVEFORMATEX* wfx, const void* data, LONGLONG frames, DWORD,
                                         LONG framesPerPeak, DWORD flags) {
  if (!peak) return E_POINTER;
  *peak = nullptr;
  if (!reader) {
    if (!wfx || (!data && frames > 0)) return E_INVALIDARG;
    reader = new (std::nothrow) CZoAudioPeakWaveMemReader(wfx, data, frames);
    if (!reader) return E_OUTOFMEMORY;
  }
  auto* instance = new (std::nothrow) CZoAudioPeak(reader, flags | ZOAUDIOPEAK_MEMORY_ONLY);
  if (!instance) {
    delete reader;
    return E_OUTOFMEMORY;
  }
  return Finish(instance, instance->InitMemory(framesPerPeak), peak);
}

HRESULT ZoAudioPeak_HandleMediaRename(IZoAudioPeak* peak, LPCWSTR newName, DWORD flag) {
  auto* instance = dynamic_cast<CZoAudioPeak*>(peak);
  if (!instance) return E_INVALIDARG;
  return instance->Rename(newName, flag);
}
