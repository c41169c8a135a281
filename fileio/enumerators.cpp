// SPDX-License-Identifier: MIT
#include "fileio/enumerators.h"

#include <algorithm>
#include <cstring>

#include "fileio/manager.h"
#include "fileio/rank_tables.h"

namespace vane::fileio {
namespace {

// The GUID an entry is known by for one kind; before its class was first
// initialised the reader or renderer GUID is unknown and the class id stands in.
const GUID& KindGuid(const tZOFIOPLUGINENTRY* e, bool readers) {
  const GUID& g = readers ? e->Reader : e->Renderer;
  return g == GUID_NULL ? e->classId : g;
}

}  // namespace

HRESULT CZoFileIOTypeEnum::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (riid == IID_IUnknown || riid == IID_IZoFileIOTypeEnum) {
    *object = static_cast<IZoFileIOTypeEnum*>(this);
    AddRef();
    return S_OK;
  }
  return E_NOINTERFACE;
}

ULONG CZoFileIOTypeEnum::Release() {
  LONG n = --m_refs;
  if (n == 0) delete this;
  return ULONG(n);
}

HRESULT CZoFileIOTypeEnum::Init(CZoFileIOManager* manager, DWORD filterFlags, const GUID* guids, DWORD count,
                                PluginList* list) {
  m_manager = manager;
  m_entries.clear();
  m_cursor = 0;
  if (!list) return S_OK;
  const DWORD kind = m_readers ? kAccessReader : kAccessRenderer;
  std::lock_guard<std::recursive_mutex> hold(list->lock);
  for (const auto& up : list->entries) {
    tZOFIOPLUGINENTRY* e = up.get();
    if (!e || (e->state & kEntryHidden)) continue;
    std::atomic<DWORD>& state = m_readers ? e->readerState : e->renderState;
    bool loaded = m_readers ? e->readerClass != nullptr : e->renderClass != nullptr;
    if (!loaded) state = kClassFailed;  // until it is accepted below
    if (e->state & kEntryNotEnumerated) continue;
    if (!(e->Access & kind)) continue;
    if (guids && count) {
      bool listed = false;
      for (DWORD i = 0; i < count && !listed; ++i) listed = guids[i] == e->classId || guids[i] == KindGuid(e, m_readers);
      if ((filterFlags & ZOFIO_FILTER_KEEP_LISTED) ? !listed : listed) continue;
    }
    if (!e->duplicatesAllowed) {
      // Two entries offer one class when their class ids agree, or their
      // reader (renderer) ids once both are known.
      const GUID& kind = m_readers ? e->Reader : e->Renderer;
      bool shadowed = std::any_of(m_entries.begin(), m_entries.end(), [&](const tZOFIOPLUGINENTRY* o) {
        const GUID& other = m_readers ? o->Reader : o->Renderer;
        bool same = o->classId == e->classId || (kind != GUID_NULL && other == kind);
        return same && (m_readers ? o->readerState : o->renderState) != kClassFailed;
      });
      if (shadowed) continue;
    }
    if (!loaded) state = kClassNotTried;
    m_entries.push_back(e);
  }
  std::stable_sort(m_entries.begin(), m_entries.end(), [this](const tZOFIOPLUGINENTRY* a, const tZOFIOPLUGINENTRY* b) {
    const GUID& ga = KindGuid(a, m_readers);
    const GUID& gb = KindGuid(b, m_readers);
    int ra = m_readers ? tables::ReaderRank(ga) : tables::RendererRank(ga);
    int rb = m_readers ? tables::ReaderRank(gb) : tables::RendererRank(gb);
    if (ra != rb) return ra > rb;
    return std::memcmp(&ga, &gb, sizeof(GUID)) < 0;
  });
  for (size_t i = 0; i < m_entries.size(); ++i) {
    tZOFIOPLUGINENTRY* e = m_entries[i];
    if (m_readers) {
      e->readerIndex = LONG(i);
      if (e->readerClass) e->readerClass->SetTypeIndex(LONG(i));
    } else {
      e->renderIndex = LONG(i);
      if (e->renderClass) e->renderClass->SetTypeIndex(LONG(i));
    }
  }
  return S_OK;
}

HRESULT CZoFileIOTypeEnum::Next(ULONG count, IUnknown** objects, ULONG* fetched) {
  if (!objects) return E_POINTER;
  ULONG got = 0;
  while (got < count && m_cursor < m_entries.size()) {
    tZOFIOPLUGINENTRY* e = m_entries[m_cursor++];
    IUnknown* obj = nullptr;
    if (m_readers) {
      IZoReadFileClass* cls = nullptr;
      if (SUCCEEDED(m_manager->EnsureReader(e, &cls))) obj = cls;
    } else {
      IZoRenderFileClass* cls = nullptr;
      if (SUCCEEDED(m_manager->EnsureRenderer(e, &cls))) obj = cls;
    }
    if (obj) objects[got++] = obj;
  }
  if (fetched) *fetched = got;
  return got == count ? S_OK : S_FALSE;
}

HRESULT CZoFileIOTypeEnum::Skip(ULONG count) {
  m_cursor = std::min(m_entries.size(), m_cursor + count);
  return m_cursor < m_entries.size() ? S_OK : S_FALSE;
}

HRESULT CZoFileIOTypeEnum::Reset() {
  m_cursor = 0;
  return S_OK;
}

CZoFileIOTypeEnum* CZoFileIOTypeEnum::Copy(bool keepPosition) const {
  CZoFileIOTypeEnum* e = m_readers ? static_cast<CZoFileIOTypeEnum*>(new CZoReaderEnum())
                                   : static_cast<CZoFileIOTypeEnum*>(new CZoRendererEnum());
  e->m_manager = m_manager;
  e->m_entries = m_entries;
  e->m_cursor = keepPosition ? m_cursor : 0;
  return e;
}

HRESULT CZoFileIOTypeEnum::Clone(IZoFileIOTypeEnum** out) {
  if (!out) return E_POINTER;
  *out = Copy(true);
  return S_OK;
}

CZoFIOPluginEnum::CZoFIOPluginEnum(PluginList* list) {
  if (!list) return;
  std::lock_guard<std::recursive_mutex> hold(list->lock);
  for (const auto& e : list->entries)
    if (e && e->classId != GUID_NULL && !(e->state & kEntryHidden)) m_entries.push_back(e.get());
}

CZoFIOPluginEnum* CZoFIOPluginEnum::Copy() const {
  auto* e = new CZoFIOPluginEnum();
  e->m_entries = m_entries;
  return e;
}

HRESULT CZoFIOPluginEnum::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (riid == IID_IUnknown || riid == IID_IZoFIOPluginEnum) {
    *object = static_cast<IZoFIOPluginEnum*>(this);
    AddRef();
    return S_OK;
  }
  return E_NOINTERFACE;
}

ULONG CZoFIOPluginEnum::Release() {
  LONG n = --m_refs;
  if (n == 0) delete this;
  return ULONG(n);
}

HRESULT CZoFIOPluginEnum::Fill(const tZOFIOPLUGINENTRY& e, ZOFIO_PLUGININFO* record) {
  if (!record) return E_POINTER;
  DWORD size = record->cbSize;
  if (size > sizeof(ZOFIO_PLUGININFO) || size < offsetof(ZOFIO_PLUGININFO, modulePath)) return E_FAIL;
  ZOFIO_PLUGININFO full{};
  full.cbSize = size;
  full.classId = e.classId;
  full.reader = e.Reader;
  full.renderer = e.Renderer;
  size_t n = std::min<size_t>(e.path.size(), MAX_PATH - 1);
  std::memcpy(full.modulePath, e.path.data(), n * sizeof(WCHAR));
  std::memcpy(record, &full, size);
  // A longer module path does not fit the record: the record is filled as
  // far as it goes and the status says it was cut.
  return n < e.path.size() && size > offsetof(ZOFIO_PLUGININFO, modulePath) ? ZOERR_BUFFER_TOO_SMALL : S_OK;
}

HRESULT CZoFIOPluginEnum::Next(ULONG count, ZOFIO_PLUGININFO* records, ULONG* fetched) {
  if (!records) return E_POINTER;
  ULONG got = 0;
  while (got < count && m_cursor < m_entries.size()) {
    // A module path cut to the record's size still fills the record.
    HRESULT hr = Fill(*m_entries[m_cursor], &records[got]);
    if (FAILED(hr) && hr != ZOERR_BUFFER_TOO_SMALL) return hr;
    ++m_cursor;
    ++got;
  }
  if (fetched) *fetched = got;
  return got == count ? S_OK : S_FALSE;
}

HRESULT CZoFIOPluginEnum::Skip(ULONG count) {
  m_cursor = std::min(m_entries.size(), m_cursor + count);
  return m_cursor < m_entries.size() ? S_OK : S_FALSE;
}

HRESULT CZoFIOPluginEnum::Reset() {
  m_cursor = 0;
  return S_OK;
}

HRESULT CZoFIOPluginEnum::GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) {
  for (const tZOFIOPLUGINENTRY* e : m_entries)
    if (e->classId == classId) return Fill(*e, record);
  return ZOERR_NOT_FOUND;
}

}  // namespace vane::fileio
