// SPDX-License-Identifier: MIT
#include "ffbase/base_plugin_info.h"

#include "platform/wtext.h"

namespace ffbase {

BaseUnsharedFIOPluginInfo::BaseUnsharedFIOPluginInfo() = default;
BaseUnsharedFIOPluginInfo::~BaseUnsharedFIOPluginInfo() = default;

HRESULT BaseUnsharedFIOPluginInfo::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IZoUnsharedFIOPluginInfo) {
    AddRef();
    *out = static_cast<IZoUnsharedFIOPluginInfo*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseUnsharedFIOPluginInfo::AddRef() { return ++m_refs; }

ULONG BaseUnsharedFIOPluginInfo::Release() {
  ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseUnsharedFIOPluginInfo::Init(LPCWSTR, DWORD, BOOL) { return S_OK; }

HRESULT BaseUnsharedFIOPluginInfo::GetFilterCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = GetFilterTable() ? GetFilterTableCount() : 0;
  return S_OK;
}

HRESULT BaseUnsharedFIOPluginInfo::GetFilterInfo(LONG index, GUID* classId, WCHAR* name, DWORD capacity,
                                                 DWORD* access, DWORD* streamTypes, DWORD* flags, DWORD* enumerable,
                                                 DWORD* reserved) {
  const FilterRow* table = GetFilterTable();
  if (!table || index < 0 || index >= GetFilterTableCount()) return E_INVALIDARG;
  const FilterRow& row = table[index];
  if (classId) *classId = row.classId ? *row.classId : GUID_NULL;
  if (name && capacity) ZoWcsCopy(name, capacity, row.name ? row.name : u"");
  if (access) *access = row.access;
  if (streamTypes) *streamTypes = row.streamTypes;
  if (flags) *flags = row.flags;
  if (enumerable) *enumerable = 1;
  if (reserved) *reserved = 0;
  return S_OK;
}

HRESULT BaseUnsharedFIOPluginInfo::PluginSlot6(LONG_PTR a, LONG_PTR) {
  auto** out = reinterpret_cast<const FilterRow**>(a);
  if (!out) return E_POINTER;
  *out = GetFilterTable();
  return S_OK;
}

HRESULT BaseUnsharedFIOPluginInfo::PluginSlot7(LONG_PTR a, LONG_PTR) {
  auto* out = reinterpret_cast<LONG*>(a);
  if (!out) return E_POINTER;
  *out = GetFilterTableCount();
  return S_OK;
}

BaseClassFactory::BaseClassFactory(Creator creator) : m_creator(creator) {}
BaseClassFactory::~BaseClassFactory() = default;

HRESULT BaseClassFactory::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_IClassFactory) {
    AddRef();
    *out = static_cast<IClassFactory*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG BaseClassFactory::AddRef() { return ++m_refs; }

ULONG BaseClassFactory::Release() {
  ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (outer) return CLASS_E_NOAGGREGATION;
  IUnknown* object = nullptr;
  try {
    object = m_creator ? m_creator() : nullptr;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
  if (!object) return E_OUTOFMEMORY;
  HRESULT hr = object->QueryInterface(iid, out);
  object->Release();
  return hr;
}

HRESULT BaseClassFactory::LockServer(BOOL) { return S_OK; }

HRESULT BaseClassFactory::Make(Creator creator, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  auto* factory = new (std::nothrow) BaseClassFactory(creator);
  if (!factory) return E_OUTOFMEMORY;
  HRESULT hr = factory->QueryInterface(iid, out);
  factory->Release();
  return hr;
}

}  // namespace ffbase
