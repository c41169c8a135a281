// SPDX-License-Identifier: MIT
#include "ffbase/base_render_file.h"

#include <unistd.h>

#include <cstring>
#include <string>

#include "ffbase/base_render_file_class.h"
#include "fileio/zofileio.h"
#include "platform/file.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace ffbase {
namespace {

// The kinds word a template carries for the metadata step after a render.
constexpr size_t kTemplateKindsOffset = 152;

}  // namespace

BaseRenderFile::BaseRenderFile(BaseRenderFileClass* owner, tagZOTEMPLATExV2* tmpl) : m_owner(owner), m_template(tmpl) {
  if (m_owner) m_owner->AddRef();
}

BaseRenderFile::~BaseRenderFile() {
  m_streams.ReleaseAll();
  if (m_meta) m_meta->Release();
  ZoFio_ReleaseTemplate(m_template);
  if (m_owner) m_owner->Release();
}

HRESULT BaseRenderFile::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoRenderFile) {
    AddRef();
    *out = static_cast<IZoRenderFile*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseRenderFile::AddRef() { return ++m_refs; }

ULONG BaseRenderFile::Release() {
  const ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseRenderFile::GetRenderFileClass(IZoRenderFileClass** out) {
  if (!out) return E_POINTER;
  *out = m_owner;
  if (!m_owner) return E_UNEXPECTED;
  m_owner->AddRef();
  return S_OK;
}

HRESULT BaseRenderFile::CloseFile() {
  m_streams.CloseAll();
  std::lock_guard<std::mutex> hold(m_lock);
  m_writing.clear();
  return S_OK;
}

HRESULT BaseRenderFile::IsFileOpen() { return E_NOTIMPL; }
HRESULT BaseRenderFile::OpenFile(DWORD, DWORD) { return E_NOTIMPL; }
HRESULT BaseRenderFile::EstimateFileSize(LONGLONG* bytes) {
  if (bytes) *bytes = 0;
  return E_NOTIMPL;
}

HRESULT BaseRenderFile::SetFile(LPCWSTR name) {
  if (!name || !*name) return E_INVALIDARG;
  std::lock_guard<std::mutex> hold(m_lock);
  m_name = name;
  return S_OK;
}

HRESULT BaseRenderFile::GetFileName(WCHAR* buffer, DWORD capacity) {
  if (!buffer) return E_POINTER;
  std::lock_guard<std::mutex> hold(m_lock);
  if (m_name.size() + 1 > capacity) return ZOERR_BUFFER_TOO_SMALL;
  std::memcpy(buffer, m_name.c_str(), (m_name.size() + 1) * sizeof(WCHAR));
  return S_OK;
}

HRESULT BaseRenderFile::GetStreamCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = m_streams.Count();
  return S_OK;
}

HRESULT BaseRenderFile::GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) {
  if (!records) return E_POINTER;
  for (LONG i = 0; i < count; ++i) {
    IZoReadStream* stream = nullptr;
    VANE_RETURN_IF_FAILED(m_streams.Get(&stream, first + i));
    ULONG type = 0;
    LONG typeIndex = 0, raw = 0;
    HRESULT hr = stream->GetStreamType(&type, &typeIndex, &raw);
    if (SUCCEEDED(hr)) hr = ZoFio_FillStreamFormatInfo(stream, type, &records[i]);
    stream->Release();
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT BaseRenderFile::SetStreamFormatInfo(const _ZOFILESTREAMFORMATINFOv2*, LONG) { return E_NOTIMPL; }

HRESULT BaseRenderFile::SetStreamReader(IZoReadStream* stream, LONG index) {
  if (!stream) return E_POINTER;
  if (index < 0) return E_INVALIDARG;
  return m_streams.Add(stream, index);
}

HRESULT BaseRenderFile::SetMetaReader(IZoReadMeta* meta) {
  std::lock_guard<std::mutex> hold(m_lock);
  if (meta) meta->AddRef();
  if (m_meta) m_meta->Release();
  m_meta = meta;
  return S_OK;
}

HRESULT BaseRenderFile::GetTemplate(tagZOTEMPLATExV2** out, DWORD flags) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (flags != 0) return E_NOTIMPL;
  if (!m_template || m_template->size < ZOTEMPLATE_HEAD_SIZE) return E_UNEXPECTED;
  return ZoFio_CopyTemplate(out, m_template);
}

DWORD BaseRenderFile::SourceRate() {
  IZoReadAudioStream* audio = nullptr;
  for (LONG i = 0; i < 16 && !audio; ++i)
    if (FAILED(m_streams.QueryAudio(i, &audio))) audio = nullptr;
  if (!audio) return 0;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> format;
  format->cbStruct = sizeof(_zowaveformat);
  const DWORD rate = SUCCEEDED(audio->GetReadAudioFormat(format.get())) ? format->nSamplesPerSec : 0;
  audio->Release();
  return rate;
}

HRESULT BaseRenderFile::Render(IZoProgress* progress) {
  std::u16string name;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    name = m_name;
  }
  if (name.empty() || !m_template) return E_UNEXPECTED;
  // The new file is written beside the destination under a name of its own
  // and takes the destination's name only when it is complete.
  const std::u16string partial =
      name + u"." + vane::platform::FromUtf8(std::to_string(getpid())) + u".partial";
  HANDLE file = CreateFileW(partial.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_CREATE;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    m_writing = partial;
  }
  HRESULT hr = RenderFile(partial.c_str(), m_template, m_streams, progress);
  if (SUCCEEDED(hr)) {
    DWORD kinds = 0;
    std::memcpy(&kinds, reinterpret_cast<const BYTE*>(m_template) + kTemplateKindsOffset, sizeof kinds);
    const HRESULT meta = UpdateMetaData(kinds, 0);
    hr = FAILED(meta) ? meta : S_OK;
  }
  CloseHandle(file);
  {
    std::lock_guard<std::mutex> hold(m_lock);
    m_writing.clear();
  }
  if (SUCCEEDED(hr) && !MoveFileExW(partial.c_str(), name.c_str(), MOVEFILE_REPLACE_EXISTING))
    hr = HRESULT_FROM_WIN32(GetLastError());
  if (FAILED(hr)) DeleteFileW(partial.c_str());
  return hr;
}

HRESULT BaseRenderFile::UpdateMetaData(DWORD kinds, DWORD) {
  IZoReadMeta* meta = nullptr;
  std::u16string target;
  {
    std::lock_guard<std::mutex> hold(m_lock);
    meta = m_meta;
    if (meta) meta->AddRef();
    target = m_writing.empty() ? m_name : m_writing;
  }
  fileutil::MetaMap map;
  HRESULT hr = InitMapFromMeta(meta, map, kinds, SourceRate());
  if (meta) meta->Release();
  if (FAILED(hr)) return hr;
  HANDLE file = CreateFileW(target.c_str(), GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  CloseHandle(file);
  return WriteMetadata(map, target.c_str(), kinds);
}

HRESULT ApplyMetadataToFile(LPCWSTR name, IZoReadMeta* reader) {
  if (!name) return E_POINTER;
  fileutil::MetaMap map;
  VANE_RETURN_IF_FAILED(BaseRenderFile::InitMapFromMeta(reader, map));
  // The MP4 encoder's metadata update is what writes the map.
  return E_NOTIMPL;
}

}  // namespace ffbase
