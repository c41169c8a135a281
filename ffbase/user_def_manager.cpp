// SPDX-License-Identifier: MIT
#include "ffbase/user_def_manager.h"

#include <cstring>
#include <new>

#include "fileutil/meta_stream.h"

namespace ffbase {

ULONGLONG UserDefPropBytes(const BYTE* head) {
  DWORD a = 0, b = 0;
  std::memcpy(&a, head + kUserDefPropHeadBytes - 8, 4);
  std::memcpy(&b, head + kUserDefPropHeadBytes - 4, 4);
  return ULONGLONG(kUserDefPropHeadBytes) + a + b;
}

void UserDefManager::Init(const fileutil::MetaMap& map) {
  m_items.clear();
  for (const GUID* g : {&GUID_ZoMetaUserDefProps, &GUID_ZoMetaMediaMgrChunk}) {
    const auto range = map.generics().equal_range(*g);
    for (auto it = range.first; it != range.second; ++it) {
      // A property whose head disagrees with its size would shift every
      // property behind it in the entry stream, so it is dropped here.
      const std::vector<std::uint8_t>& b = it->second;
      if (*g == GUID_ZoMetaUserDefProps &&
          (b.size() < kUserDefPropHeadBytes || UserDefPropBytes(b.data()) != b.size()))
        continue;
      m_items.addGeneric(*g, b);
    }
  }
}

void UserDefManager::Clear() { m_items.clear(); }

HRESULT UserDefManager::GetAllUserDefinedProps(IStream** out) const {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  auto* s = new (std::nothrow) fileutil::MetaEntryStream();
  if (!s) return E_OUTOFMEMORY;
  const HRESULT hr = s->Init(m_items, GUID_ZoMetaUserDefProps);
  if (FAILED(hr)) {
    s->Release();
    return hr;
  }
  *out = s;
  return S_OK;
}

HRESULT UserDefManager::GetMediaMgrChunk(_zometa_mediamgrchunk* chunk) const {
  if (!chunk) return E_INVALIDARG;
  const auto it = m_items.generics().find(GUID_ZoMetaMediaMgrChunk);
  if (it == m_items.generics().end()) return ZOERR_NOT_FOUND;
  if (it->second.size() != sizeof *chunk) return ZOERR_FILE_READ;
  std::memcpy(chunk, it->second.data(), sizeof *chunk);
  return S_OK;
}

}  // namespace ffbase
