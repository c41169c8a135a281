// SPDX-License-Identifier: MIT
// The flat ZoList_* family: check arguments, take the entry guard, call the
// internal operation, and keep every fault inside (a throwing callback ends
// the call with the family's failure answer).
#include <cstring>

#include "kernel/detail/zolist_internal.h"
#include "kernel/zolist.h"
#include "platform/memory.h"
#include "platform/status.h"

using namespace vane::kernel;

namespace {

constexpr LONG kNoIndex = -1;

// Runs body under the entry guard of a live list. A null or dead list gives
// `invalid`; refusal by the owner rule and faults give `refused`.
template <class R, class Body>
R Guarded(tZOLIST* list, R refused, R invalid, Body&& body) noexcept {
  if (!ZoListIsLive(list)) return invalid;
  try {
    ZoListGuard guard(*list);
    if (!guard.Entered()) return refused;
    return body(*list);
  } catch (...) {
    return refused;
  }
}

}  // namespace

VANE_EXTERN_C HRESULT WINAPI ZoList_CreateExZ(tZOLIST** list, DWORD itemSize, LONG initialSlots, LONG growStep,
                                              DWORD options, LONG_PTR, LONG_PTR, LONG_PTR) {
  try {
    return ZoListCreate(list, itemSize, initialSlots, growStep, options);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

VANE_EXTERN_C HRESULT WINAPI ZoList_Destroy(tZOLIST* list) {
  if (list == nullptr) return S_OK;
  if (!ZoListIsLive(list)) return E_INVALIDARG;
  return ZoListDestroy(*list);
}

VANE_EXTERN_C HRESULT WINAPI ZoList_ConvertToInPlace(tZOLIST** list, tZOLIST* target) {
  return ZoListConvertToInPlace(list, target);
}

VANE_EXTERN_C HRESULT WINAPI ZoList_InsertList(tZOLIST* list, LONG index, const void* items, LONG count) {
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListInsertLocked(l, index, items, count); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_DeleteList(tZOLIST* list, LONG index, LONG count, BOOL shrink) {
  return Guarded(list, E_FAIL, E_INVALIDARG,
                 [&](tZOLIST& l) { return ZoListDeleteLocked(l, index, count, shrink != FALSE); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_AllocItem(tZOLIST* list, SIZE_T size, void** item) {
  if (item != nullptr) *item = nullptr;
  // The owner and the item kind are tested before the lock.
  if (!ZoListIsLive(list)) return E_INVALIDARG;
  if (!ZoListCallerIsAllowed(*list) || !(list->dwOptions & ZOLIST_OPT_HEAPITEMS)) return E_FAIL;
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListAllocItemLocked(l, size, item); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_AllocAndInsertItem(tZOLIST* list, const void* initial, SIZE_T size, LONG index,
                                                       LONG* insertedAt) {
  if (insertedAt != nullptr) *insertedAt = kNoIndex;
  return Guarded(list, E_FAIL, E_INVALIDARG,
                 [&](tZOLIST& l) { return ZoListAllocAndInsertLocked(l, initial, size, index, insertedAt); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_ReAllocItem(tZOLIST* list, LONG index, SIZE_T size) {
  if (!ZoListIsLive(list)) return E_INVALIDARG;
  if (!ZoListCallerIsAllowed(*list) || !(list->dwOptions & ZOLIST_OPT_HEAPITEMS)) return E_FAIL;
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListReAllocItemLocked(l, index, size); });
}

VANE_EXTERN_C SIZE_T WINAPI ZoList_AllocSize(tZOLIST* list, LONG index) {
  return Guarded(list, SIZE_T{0}, SIZE_T{0}, [&](tZOLIST& l) { return ZoListAllocSizeLocked(l, index); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_GrowAllocated(tZOLIST* list, LONG slots) {
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListGrowLocked(l, slots); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_ShrinkAllocated(tZOLIST* list, LONG slots) {
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListShrinkLocked(l, slots); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_ArrayForceItemCount(tZOLIST* list, LONG count, BOOL) {
  if (!ZoListIsLive(list)) return E_INVALIDARG;
  if (!ZoListCallerIsAllowed(*list) || !(list->dwOptions & ZOLIST_OPT_ARRAYITEMS)) return E_FAIL;
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListForceItemCountLocked(l, count); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_MoveRange(tZOLIST* list, LONG from, LONG to, LONG count) {
  if (from < 0) return E_INVALIDARG;
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) { return ZoListMoveRangeLocked(l, from, to, count); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_MoveItemsBetweenHeapLists(tZOLIST* dest, LONG destIndex, tZOLIST* src,
                                                              LONG srcIndex, LONG count) {
  if (!ZoListIsLive(src)) return E_INVALIDARG;
  // One list as both ends would shift the run under itself: ZoList_MoveRange does that job.
  if (dest == src) return E_INVALIDARG;
  // Destination first, then source.
  return Guarded(dest, E_FAIL, E_INVALIDARG, [&](tZOLIST& d) {
    return Guarded(src, E_FAIL, E_INVALIDARG,
                   [&](tZOLIST& s) { return ZoListMoveBetweenHeapListsLocked(d, destIndex, s, srcIndex, count); });
  });
}

VANE_EXTERN_C LONG WINAPI ZoList_FindItemRange(tZOLIST* list, LONG start, LONG count, const void* key,
                                               ZOLISTMATCHPROC match) {
  return Guarded(list, kNoIndex, kNoIndex, [&](tZOLIST& l) { return ZoListFindLocked(l, start, count, key, match); });
}

VANE_EXTERN_C LONG WINAPI ZoList_FindSpecificItemRange(tZOLIST* list, LONG start, LONG count, const void* key) {
  return Guarded(list, kNoIndex, kNoIndex, [&](tZOLIST& l) { return ZoListFindSpecificLocked(l, start, count, key); });
}

VANE_EXTERN_C LONG WINAPI ZoList_FindSortedItemRange(tZOLIST* list, const void* key, LONG start, LONG count,
                                                     ZOLISTCOMPAREPROC compare) {
  return Guarded(list, kNoIndex, kNoIndex,
                 [&](tZOLIST& l) { return ZoListFindSortedLocked(l, key, start, count, compare, false); });
}

VANE_EXTERN_C LONG WINAPI ZoList_FindSortedInsertIndexRange(tZOLIST* list, const void* key, LONG start, LONG count,
                                                            ZOLISTCOMPAREPROC compare) {
  return Guarded(list, kNoIndex, kNoIndex,
                 [&](tZOLIST& l) { return ZoListFindSortedLocked(l, key, start, count, compare, true); });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_Sort(tZOLIST* list, LONG_PTR criteria, ZOLISTCOMPAREPROC compare) {
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) {
    l.sortCriteria = criteria;
    ZoListSelectionSortLocked(l, compare);
    return S_OK;
  });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_HeapSort(tZOLIST* list, LONG_PTR criteria, ZOLISTCOMPAREPROC compare) {
  return Guarded(list, E_FAIL, E_INVALIDARG, [&](tZOLIST& l) {
    l.sortCriteria = criteria;
    ZoListHeapSortLocked(l, compare);
    return S_OK;
  });
}

VANE_EXTERN_C HRESULT WINAPI ZoList_SortTo(tZOLIST* dest, tZOLIST* src, LONG_PTR criteria, ZOLISTCOMPAREPROC compare) {
  if (!ZoListIsLive(dest)) return E_INVALIDARG;
  if (dest == src) return E_INVALIDARG;
  // Only the source is locked; every step on the destination goes through
  // its own guarded calls.
  return Guarded(src, E_FAIL, E_INVALIDARG, [&](tZOLIST& s) -> HRESULT {
    if (dest->nItemSize != s.nItemSize) return E_INVALIDARG;
    const HRESULT stored = Guarded(dest, E_FAIL, E_INVALIDARG, [&](tZOLIST& d) {
      d.sortCriteria = criteria;
      return S_OK;
    });
    if (FAILED(stored) || compare == nullptr) return stored;
    for (LONG i = 0; i < s.nItems; ++i) {
      const LONG at = ZoList_FindSortedInsertIndexRange(dest, ZoListItemArgument(s, i), 0, -1, compare);
      VANE_RETURN_IF_FAILED(ZoList_InsertList(dest, at, ZoList_SlotAddress(&s, i), 1));
    }
    return S_OK;
  });
}

VANE_EXTERN_C LONG_PTR WINAPI ZoList_GetSortCriteria(const tZOLIST* list) {
  return ZoListIsLive(list) ? list->sortCriteria : 0;
}

VANE_EXTERN_C DWORD WINAPI ZoList_GetCreateOptions(const tZOLIST* list) {
  return ZoListIsLive(list) ? list->dwOptions : 0;
}

VANE_EXTERN_C LONG_PTR WINAPI ZoList_SetUserData(tZOLIST* list, LONG_PTR value) {
  if (!ZoListIsLive(list) || !ZoListCallerIsAllowed(*list)) return -1;
  return __atomic_exchange_n(&list->userData, value, __ATOMIC_SEQ_CST);
}

VANE_EXTERN_C LONG_PTR WINAPI ZoList_GetUserData(const tZOLIST* list) {
  if (!ZoListIsLive(list) || !ZoListCallerIsAllowed(*list)) return -1;
  return __atomic_load_n(&list->userData, __ATOMIC_SEQ_CST);
}

VANE_EXTERN_C DWORD WINAPI ZoList_GetThreadOwner(const tZOLIST* list) {
  return ZoListIsLive(list) ? list->dwThreadOwner : 0;
}

VANE_EXTERN_C DWORD WINAPI ZoList_SetThreadOwner(tZOLIST* list, DWORD threadId) {
  if (!ZoListIsLive(list)) return 0;
  list->dwThreadOwner = threadId != 0 ? threadId : GetCurrentThreadId();
  return list->dwThreadOwner;
}

VANE_EXTERN_C BOOL WINAPI ZoList_IsList(const void* p, SIZE_T recordSize) {
  if (recordSize != ZOLIST_RECORD_SIZE || p == nullptr) return FALSE;
  if (IsBadReadPtr(p, recordSize)) return FALSE;
  return ZoList_IsListFast(p);
}

VANE_EXTERN_C BOOL WINAPI ZoList_IsListFast(const void* p) {
  return ZoListIsLive(static_cast<const tZOLIST*>(p)) ? TRUE : FALSE;
}

VANE_EXTERN_C BOOL WINAPI ZoList_IsValidIndexSlow(tZOLIST* list, LONG index) {
  return Guarded(list, BOOL{FALSE}, BOOL{FALSE},
                 [&](tZOLIST& l) { return (index >= 0 && index < l.nItems) ? TRUE : FALSE; });
}

VANE_EXTERN_C LONG WINAPI ZoList_GetFileAndLine(const tZOLIST*, WCHAR* buffer, LONG bufferChars) {
  if (buffer != nullptr && bufferChars > 0) buffer[0] = 0;
  return -1;
}
