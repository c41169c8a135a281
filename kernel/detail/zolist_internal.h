// SPDX-License-Identifier: MIT
// The list's internals behind the flat ZoList_* family. Functions with the
// Locked suffix expect the caller to hold the list's entry guard and a live
// record (magic checked); they check everything else themselves.
#pragma once

#include "kernel/zolist.h"
#include "platform/status.h"

namespace vane::kernel {

// Largest single block the list asks for (slot block or item). Larger
// requests fail as out of memory instead of reaching the allocator.
inline constexpr SIZE_T kZoListMaxBlockBytes = SIZE_T{1} << 39;
// Moves of up to this many bytes go through a buffer on the stack.
inline constexpr SIZE_T kZoListLocalMoveBytes = 512;

// Whether the calling thread passes the owner rule (either of the top option
// bits set, or the caller is the owner).
bool ZoListCallerIsAllowed(const tZOLIST& list);

// The entry guard: enters the lock of a thread-safe list, otherwise applies
// the owner rule. Entered() says whether the operation may go on.
class ZoListGuard {
 public:
  explicit ZoListGuard(tZOLIST& list);
  ~ZoListGuard();
  ZoListGuard(const ZoListGuard&) = delete;
  ZoListGuard& operator=(const ZoListGuard&) = delete;
  bool Entered() const { return m_entered; }

 private:
  tZOLIST& m_list;
  bool m_locked = false;
  bool m_entered = false;
};

// Whether p is a live list record (not null, magic set).
inline bool ZoListIsLive(const tZOLIST* p) { return p != nullptr && p->dwMagic == ZOLIST_MAGIC; }

HRESULT ZoListCreate(tZOLIST** list, DWORD itemSize, LONG initialSlots, LONG growStep, DWORD options);
// Takes the guard itself; the lock is gone afterwards.
HRESULT ZoListDestroy(tZOLIST& list);
HRESULT ZoListConvertToInPlace(tZOLIST** list, tZOLIST* target);

HRESULT ZoListInsertLocked(tZOLIST& list, LONG index, const void* items, LONG count);
HRESULT ZoListDeleteLocked(tZOLIST& list, LONG index, LONG count, bool shrink);
HRESULT ZoListGrowLocked(tZOLIST& list, LONG slots);
HRESULT ZoListShrinkLocked(tZOLIST& list, LONG slots);
HRESULT ZoListAllocItemLocked(tZOLIST& list, SIZE_T size, void** item);
HRESULT ZoListAllocAndInsertLocked(tZOLIST& list, const void* initial, SIZE_T size, LONG index, LONG* insertedAt);
HRESULT ZoListReAllocItemLocked(tZOLIST& list, LONG index, SIZE_T size);
SIZE_T ZoListAllocSizeLocked(const tZOLIST& list, LONG index);
HRESULT ZoListForceItemCountLocked(tZOLIST& list, LONG count);
HRESULT ZoListMoveRangeLocked(tZOLIST& list, LONG from, LONG to, LONG count);
HRESULT ZoListMoveBetweenHeapListsLocked(tZOLIST& dest, LONG destIndex, tZOLIST& src, LONG srcIndex, LONG count);

LONG ZoListFindLocked(const tZOLIST& list, LONG start, LONG count, const void* key, ZOLISTMATCHPROC match);
LONG ZoListFindSpecificLocked(const tZOLIST& list, LONG start, LONG count, const void* key);
LONG ZoListFindSortedLocked(const tZOLIST& list, const void* key, LONG start, LONG count, ZOLISTCOMPAREPROC compare,
                            bool insertPosition);
void ZoListSelectionSortLocked(tZOLIST& list, ZOLISTCOMPAREPROC compare);
void ZoListHeapSortLocked(tZOLIST& list, ZOLISTCOMPAREPROC compare);

// What a comparison or match callback receives for slot index: the stored
// pointer, or the slot's address in an array list.
inline const void* ZoListItemArgument(const tZOLIST& list, LONG index) {
  return (list.dwOptions & ZOLIST_OPT_ARRAYITEMS) ? ZoList_SlotAddress(&list, index) : ZoList_PointerAt(&list, index);
}

}  // namespace vane::kernel
