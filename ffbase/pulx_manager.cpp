// SPDX-License-Identifier: MIT
#include "ffbase/pulx_manager.h"

#include <cstring>
#include <new>

#include "fileutil/meta_stream.h"

namespace ffbase {
namespace {

HRESULT CopyFixed(const fileutil::MetaMap& items, const GUID& guid, void* record, std::size_t bytes) {
  if (!record) return E_INVALIDARG;
  const auto it = items.generics().find(guid);
  if (it == items.generics().end()) return ZOERR_NOT_FOUND;
  if (it->second.size() != bytes) return ZOERR_FILE_READ;
  std::memcpy(record, it->second.data(), bytes);
  return S_OK;
}

}  // namespace

void PulxManager::Init(const fileutil::MetaMap& map) {
  m_items.clear();
  for (const GUID* g : {&GUID_ZoMetaPulxChunk, &GUID_ZoMetaStretchChunk, &GUID_ZoMetaStretchPoints}) {
    const auto range = map.generics().equal_range(*g);
    for (auto it = range.first; it != range.second; ++it) {
      // A point of another size would shift every point behind it in the
      // entry stream, so it is dropped here.
      if (*g == GUID_ZoMetaStretchPoints && it->second.size() != kStretchPointBytes) continue;
      m_items.addGeneric(*g, it->second);
    }
  }
}

void PulxManager::Clear() { m_items.clear(); }

HRESULT PulxManager::GetPulxChunk(_tagZOFIO_pulxchunk* chunk) const {
  return CopyFixed(m_items, GUID_ZoMetaPulxChunk, chunk, sizeof *chunk);
}

HRESULT PulxManager::GetStretchChunk(_tagZOFIO_stretchinfo* info) const {
  return CopyFixed(m_items, GUID_ZoMetaStretchChunk, info, sizeof *info);
}

HRESULT PulxManager::GetStretchPoints(IStream** out) const {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  auto* s = new (std::nothrow) fileutil::MetaEntryStream();
  if (!s) return E_OUTOFMEMORY;
  const HRESULT hr = s->Init(m_items, GUID_ZoMetaStretchPoints);
  if (FAILED(hr)) {
    s->Release();
    return hr;
  }
  *out = s;
  return S_OK;
}

}  // namespace ffbase
