// SPDX-License-Identifier: MIT
// Small helpers for the list tests: an owning holder and value views.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/zolist.h"
#include "platform/status.h"

namespace vane::test {

struct ZoListDestroyer {
  void operator()(tZOLIST* list) const { EXPECT_EQ(ZoList_Destroy(list), S_OK); }
};
using ZoListHolder = std::unique_ptr<tZOLIST, ZoListDestroyer>;

inline ZoListHolder MakeList(DWORD options, DWORD itemSize = 0, LONG initialSlots = 0, LONG growStep = 0) {
  tZOLIST* list = nullptr;
  EXPECT_EQ(ZoList_CreateExZ(&list, itemSize, initialSlots, growStep, options, 0, 0, 0), S_OK);
  return ZoListHolder(list);
}

// Pointer lists in these tests store small integers as their pointers.
inline const void* AsItem(std::intptr_t v) { return reinterpret_cast<const void*>(v); }
inline std::intptr_t AsValue(const void* p) { return reinterpret_cast<std::intptr_t>(p); }

inline HRESULT AppendValues(tZOLIST* list, const std::vector<std::intptr_t>& values) {
  return ZoList_InsertList(list, -1, values.data(), static_cast<LONG>(values.size()));
}

inline std::vector<std::intptr_t> Values(const tZOLIST* list) {
  std::vector<std::intptr_t> out;
  for (LONG i = 0; i < list->nItems; ++i) out.push_back(AsValue(ZoList_PointerAt(list, i)));
  return out;
}

}  // namespace vane::test
