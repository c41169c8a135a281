// SPDX-License-Identifier: MIT
#include "ffbase/base_read_file_class.h"

#include "ffbase/base_read_file.h"
#include "platform/file.h"
#include "platform/guid.h"

namespace ffbase {
namespace {
constexpr DWORD kSlowProbeBytes = 4096;
}

BaseReadFileClass::BaseReadFileClass() = default;

BaseReadFileClass::~BaseReadFileClass() = default;

HRESULT BaseReadFileClass::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoReadFileClass) {
    AddRef();
    *out = static_cast<IZoReadFileClass*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseReadFileClass::AddRef() { return ++m_refs; }

ULONG BaseReadFileClass::Release() {
  ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseReadFileClass::SetTypeIndex(LONG index) {
  m_typeIndex = index;
  return S_OK;
}

HRESULT BaseReadFileClass::GetTypeIndex(LONG* index) {
  if (!index) return E_POINTER;
  *index = m_typeIndex;
  return S_OK;
}

// The manager is kept as a plain pointer. It owns its classes and releases
// them at Shutdown after SetIOManager(null); a counted reference here would
// make a cycle that keeps a manager alive when a host releases it without
// calling Shutdown first (its destructor is what shuts it down).
HRESULT BaseReadFileClass::SetIOManager(IZoFileIOManager* manager) {
  m_manager = manager;
  if (!manager) return S_OK;
  // The language follows the manager's; the help path and the language
  // module come with the language layer.
  DWORD lcid = 0;
  manager->GetLCID(&lcid, 0);
  (void)GetGlobalParm();
  return S_OK;
}

HRESULT BaseReadFileClass::GetIOManager(IZoFileIOManager** manager) {
  if (!manager) return E_POINTER;
  IZoFileIOManager* m = m_manager.load();
  *manager = m;
  if (!m) return E_NOINTERFACE;
  m->AddRef();
  return S_OK;
}

HRESULT BaseReadFileClass::GetTypeID(GUID* id) {
  if (!id) return E_POINTER;
  const GUID* g = GetClassGuid();
  *id = g ? *g : GUID_NULL;
  return S_OK;
}

HRESULT BaseReadFileClass::GetAllowedStreamTypes(ULONG* types) {
  if (!types) return E_POINTER;
  *types = ZOFILESTREAM_AUDIO;
  return S_OK;
}

HRESULT BaseReadFileClass::GetRenderClass(IZoRenderFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  IZoFileIOManager* m = m_manager.load();
  if (!m) return ZOERR_NOT_FOUND;
  const GUID* g = GetRenderClassGuid();
  if (!g || *g == GUID_NULL) return ZOERR_NOT_FOUND;
  return m->GetRenderClassByGuid(out, *g);
}

HRESULT BaseReadFileClass::IsTypeSlow(LPCWSTR fileName) {
  if (!fileName) return E_FAIL;
  HANDLE file = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return E_FAIL;
  BYTE head[kSlowProbeBytes];
  DWORD got = 0;
  BOOL ok = ReadFile(file, head, kSlowProbeBytes, &got, nullptr);
  HRESULT hr = ok ? IsType(file, head, got, fileName) : E_FAIL;
  CloseHandle(file);
  return hr;
}

HRESULT BaseReadFileClass::IsTypeFromId(ULONG) { return E_NOTIMPL; }

HRESULT BaseReadFileClass::Open(IZoReadFile** out, HANDLE, DWORD, LPCWSTR fileName, BOOL openNow) {
  if (!out) return E_POINTER;
  *out = nullptr;
  BaseReadFile* file = nullptr;
  HRESULT hr = CreateFile(&file);
  if (SUCCEEDED(hr) && !file) hr = E_UNEXPECTED;
  if (SUCCEEDED(hr)) hr = file->SetFile(fileName);
  if (SUCCEEDED(hr) && openNow) hr = file->OpenFile(GENERIC_READ, FILE_SHARE_READ);
  if (FAILED(hr)) {
    if (file) file->Release();
    return hr;
  }
  *out = file;
  return S_OK;
}

HRESULT BaseReadFileClass::HasAboutBox() { return S_OK; }

HRESULT BaseReadFileClass::ShowAboutBox(HWND) { return E_NOTIMPL; }

HRESULT BaseReadFileClass::GetStatus(LONG*, WCHAR**) { return E_NOTIMPL; }

}  // namespace ffbase
