// SPDX-License-Identifier: MIT
#include "ffbase/base_render_file_class.h"

#include "ffbase/base_global_parm.h"
#include "ffbase/base_render_file.h"
#include "platform/guid.h"
#include "platform/status.h"

namespace ffbase {

BaseRenderFileClass::BaseRenderFileClass() = default;
BaseRenderFileClass::~BaseRenderFileClass() = default;

HRESULT BaseRenderFileClass::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoRenderFileClass) {
    AddRef();
    *out = static_cast<IZoRenderFileClass*>(this);
    return S_OK;
  }
  if (iid == IID_IZoRenderMetaSupport2) {
    AddRef();
    *out = static_cast<IZoRenderMetaSupport2*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseRenderFileClass::AddRef() { return ++m_refs; }

ULONG BaseRenderFileClass::Release() {
  const ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseRenderFileClass::SetTypeIndex(LONG index) {
  m_typeIndex = index;
  return S_OK;
}

HRESULT BaseRenderFileClass::GetTypeIndex(LONG* index) {
  if (!index) return E_POINTER;
  *index = m_typeIndex;
  return S_OK;
}

// A plain pointer, as on the reader class: the manager owns its classes.
HRESULT BaseRenderFileClass::SetIOManager(IZoFileIOManager* manager) {
  m_manager = manager;
  if (manager) (void)GetGlobalParm();
  return S_OK;
}

HRESULT BaseRenderFileClass::GetIOManager(IZoFileIOManager** manager) {
  if (!manager) return E_POINTER;
  IZoFileIOManager* m = m_manager.load();
  *manager = m;
  if (!m) return E_NOINTERFACE;
  m->AddRef();
  return S_OK;
}

HRESULT BaseRenderFileClass::GetTypeID(GUID* id) {
  if (!id) return E_POINTER;
  const GUID* g = GetClassGuid();
  *id = g ? *g : GUID_NULL;
  return S_OK;
}

HRESULT BaseRenderFileClass::GetAllowedStreamTypes(ULONG* types) {
  if (!types) return E_POINTER;
  *types = ZOFILESTREAM_AUDIO;
  return S_OK;
}

HRESULT BaseRenderFileClass::GetReadClass(IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  IZoFileIOManager* m = m_manager.load();
  const GUID* g = GetReadClassGuid();
  if (!m || !g || *g == GUID_NULL) return ZOERR_NOT_FOUND;
  return m->GetReadClassByGuid(out, *g);
}

HRESULT BaseRenderFileClass::Open(IZoRenderFile*, void*, LPCWSTR) { return E_NOTIMPL; }

HRESULT BaseRenderFileClass::Create(IZoRenderFile** out, LPCWSTR name, LONG streamCount, IZoReadStream** streams,
                                    tagZOTEMPLATExV2* tmpl) {
  if (!out) return E_POINTER;
  *out = nullptr;
  tagZOTEMPLATExV2* copy = nullptr;
  if (tmpl) {
    VANE_RETURN_IF_FAILED(ZoFio_SetTemplate(copy, tmpl, ZOTEMPLATE_SET_COPY));
  } else {
    const tagZOTEMPLATExV2* preset = GetPresetRecord(0);
    if (!preset) return E_OUTOFMEMORY;
    VANE_RETURN_IF_FAILED(ZoFio_CopyTemplate(&copy, preset));
  }
  BaseRenderFile* file = nullptr;
  HRESULT hr = CreateRenderFile(&file, copy);
  if (SUCCEEDED(hr) && !file) hr = E_OUTOFMEMORY;
  if (FAILED(hr)) {
    // The file object owns the copy only once it exists.
    if (!file) ZoFio_ReleaseTemplate(copy);
    else file->Release();
    return hr;
  }
  if (name) hr = file->SetFile(name);
  for (LONG i = 0; SUCCEEDED(hr) && streams && i < streamCount; ++i) hr = file->SetStreamReader(streams[i], i);
  if (SUCCEEDED(hr)) hr = file->QueryInterface(IID_IZoRenderFile, reinterpret_cast<void**>(out));
  file->Release();
  return hr;
}

HRESULT BaseRenderFileClass::GetPresetCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = CountPresets();
  return S_OK;
}

HRESULT BaseRenderFileClass::GetPreset(tagZOTEMPLATExV2** out, LONG index) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (index < 0 || index >= CountPresets()) return E_INVALIDARG;
  const tagZOTEMPLATExV2* preset = GetPresetRecord(index);
  if (!preset) return E_OUTOFMEMORY;
  return ZoFio_CopyTemplate(out, preset);
}

HRESULT BaseRenderFileClass::GetPresetIndexFromGuid(const GUID& id, LONG* index) {
  if (!index) return E_INVALIDARG;
  *index = -1;
  const LONG count = CountPresets();
  if (count <= 0) return S_OK;
  for (LONG i = 0; i < count; ++i) {
    GUID g{};
    if (SUCCEEDED(GetPresetGuid(i, &g)) && g == id) {
      *index = i;
      return S_OK;
    }
  }
  return S_FALSE;
}

HRESULT BaseRenderFileClass::ChooseBestPreset(tagZOTEMPLATExV2*, LONG, LONG* index) {
  if (index) *index = 0;
  return E_NOTIMPL;
}

HRESULT BaseRenderFileClass::ConformTemplate(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2*, DWORD) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseRenderFileClass::ConformTemplateToSource(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, IZoReadFile*,
                                                     DWORD reason) {
  if (reason == 2) return ConformTemplate(out, tmpl, reason);
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseRenderFileClass::GetTemplateInfo(tagZOTEMPLATExV2*, void*, DWORD, DWORD) { return E_NOTIMPL; }

HRESULT BaseRenderFileClass::HasAboutBox() { return S_OK; }

HRESULT BaseRenderFileClass::ShowAboutBox(HWND) { return E_NOTIMPL; }

HRESULT BaseRenderFileClass::GetStatus(LONG*, WCHAR**) { return E_NOTIMPL; }

HRESULT BaseRenderFileClass::Reset() {
  m_tagPosition = 0;
  return S_OK;
}

HRESULT BaseRenderFileClass::GetNextSumTag(ULONG* tag, ULONG* flags) {
  if (!tag || !flags) return E_POINTER;
  const HRESULT hr = GetSummaryTagAt(m_tagPosition, tag);
  if (hr == S_OK) {
    ++m_tagPosition;
    *flags = 0x400;
    return S_OK;
  }
  *tag = 0;
  *flags = 0;
  return hr;
}

}  // namespace ffbase
