// SPDX-License-Identifier: MIT
#include "xml/xml_arena.h"

#include <cstring>
#include <new>

namespace vane::xml {

Arena::~Arena() {
  for (tZOLIST* list : m_lists) ZoList_Destroy(list);
}

void* Arena::Alloc(size_t bytes) {
  bytes = (bytes + 7) & ~size_t{7};
  if (bytes > kBlock / 4) {
    // Large strings get a block of their own, kept behind the current one.
    std::unique_ptr<BYTE[]> own(new (std::nothrow) BYTE[bytes]());
    if (!own) return nullptr;
    void* p = own.get();
    m_blocks.insert(m_blocks.end() - (m_blocks.empty() ? 0 : 1), std::move(own));
    return p;
  }
  if (m_used + bytes > kBlock) {
    std::unique_ptr<BYTE[]> block(new (std::nothrow) BYTE[kBlock]());
    if (!block) return nullptr;
    m_blocks.push_back(std::move(block));
    m_used = 0;
  }
  void* p = m_blocks.back().get() + m_used;
  m_used += bytes;
  return p;
}

WCHAR* Arena::Text(const char16_t* text, size_t length) {
  auto* out = static_cast<WCHAR*>(Alloc((length + 1) * sizeof(WCHAR)));
  if (out && length) std::memcpy(out, text, length * sizeof(WCHAR));
  return out;
}

bool Arena::AppendAll(tZOLIST*& list, const std::vector<void*>& items) {
  if (items.empty()) return true;
  if (!list) {
    tZOLIST* made = nullptr;
    const LONG count = static_cast<LONG>(items.size());
    if (FAILED(ZoList_CreateExZ(&made, sizeof(void*), count, 8, 0, 0, 0, 0))) return false;
    try {
      m_lists.push_back(made);
    } catch (const std::bad_alloc&) {
      ZoList_Destroy(made);
      return false;
    }
    list = made;
  }
  return SUCCEEDED(ZoList_InsertList(list, -1, items.data(), static_cast<LONG>(items.size())));
}

}  // namespace vane::xml
