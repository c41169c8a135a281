// SPDX-License-Identifier: MIT
// tZOLIST: the kernel's general container, a growable array of fixed-width
// slots behind the flat ZoList_* family.
//
// A slot holds a copy of a small record (array list), a borrowed pointer
// (pointer list) or a pointer the list owns and frees (heap list). Callers
// read nItems and pData directly, so the first three fields are interface.
// The record belongs to the caller, who frees it with ZoList_Destroy; with
// ZOLIST_OPT_INPLACE it lies in the caller's own storage.
//
// Thread rule: a list made with ZOLIST_OPT_THREADSAFE takes its one recursive
// lock in every operation; otherwise the holder serialises its calls.
// Direct reads of nItems and pData are never protected.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/sync.h"
#include "platform/types.h"

inline constexpr DWORD ZOLIST_OPT_HEAPITEMS = 0x00000002;    // slots hold owned pointers (ZoList_AllocItem)
inline constexpr DWORD ZOLIST_OPT_ARRAYITEMS = 0x00000004;   // slots hold the items themselves
inline constexpr DWORD ZOLIST_OPT_INPLACE = 0x00000008;      // record lies in caller storage
inline constexpr DWORD ZOLIST_OPT_PRIVATEHEAP = 0x10000000;  // heap items come from a heap of the list
inline constexpr DWORD ZOLIST_OPT_ANYTHREAD = 0x40000000;    // no owner check (always set by creation)
inline constexpr DWORD ZOLIST_OPT_THREADSAFE = 0x80000000;   // every operation takes the list's lock

// The magic of a live list: the bytes "CURT" in memory order.
inline constexpr DWORD ZOLIST_MAGIC = 0x54525543;

// Grow step bounds applied at creation.
inline constexpr LONG ZOLIST_MIN_GROWSTEP = 4;
inline constexpr LONG ZOLIST_MAX_GROWSTEP = 0x10400;

struct tZOLIST {
  LONG nItems;             // slots in use
  DWORD nItemSize;         // bytes per slot: a pointer, or the array item size rounded up to 4
  void* pData;             // the slot block, zero-filled beyond nItems
  CRITICAL_SECTION lock;   // initialised only with ZOLIST_OPT_THREADSAFE
  DWORD dwMagic;           // ZOLIST_MAGIC while alive, 0 after ZoList_Destroy
  DWORD dwOptions;         // ZOLIST_OPT_* word
  LONG_PTR userData;       // one word for the owner
  LONG_PTR sortCriteria;   // last criteria given to a sort; first argument of sorted comparisons
  DWORD dwThreadOwner;     // owning thread id; the creating thread at first
  LONG nAllocated;         // slots in the block
  LONG nGrowStep;          // allocation granularity in slots
  HANDLE hPrivateHeap;     // heap for items with ZOLIST_OPT_PRIVATEHEAP
  DWORD dwHeapAllocFlags;  // HeapAlloc/HeapReAlloc flags of a heap list (no serialisation, zeroed)
  DWORD dwHeapFreeFlags;   // HeapFree flags of a heap list (no serialisation)
  void* pPendingItem;      // item from ZoList_AllocItem not yet inserted
  DWORD dwReserved;        // zero
};

// The record size callers pass to ZoList_IsList and reserve for in-place lists.
inline constexpr SIZE_T ZOLIST_RECORD_SIZE = sizeof(tZOLIST);

// Sorted comparisons: criteria, left, right; negative, zero or positive.
// Left and right are the stored pointer of a pointer or heap list and the
// address of the slot of an array list; in searches the key is left.
typedef int(CALLBACK* ZOLISTCOMPAREPROC)(LONG_PTR criteria, const void* left, const void* right);
// Linear search callback: key, item (as above); 0 means a match.
typedef int(CALLBACK* ZOLISTMATCHPROC)(const void* key, const void* item);

VANE_BEGIN_EXTERN_C

// Creates a list. With ZOLIST_OPT_INPLACE *list points at caller storage of
// ZOLIST_RECORD_SIZE bytes; otherwise *list receives a new record. The three
// tag words are accepted and ignored (pass 0).
VANE_EXPORT HRESULT WINAPI ZoList_CreateExZ(tZOLIST** list, DWORD itemSize, LONG initialSlots, LONG growStep,
                                            DWORD options, LONG_PTR tag1, LONG_PTR tag2, LONG_PTR tag3);
// Frees items, slots and lock, clears the magic and frees the record unless
// it is in place. Null is success.
VANE_EXPORT HRESULT WINAPI ZoList_Destroy(tZOLIST* list);
// Moves a heap record into caller storage; *list is cleared.
VANE_EXPORT HRESULT WINAPI ZoList_ConvertToInPlace(tZOLIST** list, tZOLIST* target);

// Inserts slots at index (negative or past the end: the end). Forms: items
// and count >= 0 on a pointer or array list; items and count < 0 (-count
// slots, also adopts pointers into a heap list); null items with count -1
// inserts the pending item.
VANE_EXPORT HRESULT WINAPI ZoList_InsertList(tZOLIST* list, LONG index, const void* items, LONG count);
// Removes slots (count < 0: to the end); index and count both negative frees
// the pending item. Heap items are freed.
VANE_EXPORT HRESULT WINAPI ZoList_DeleteList(tZOLIST* list, LONG index, LONG count, BOOL shrink);

// Heap lists: allocates the zeroed pending item.
VANE_EXPORT HRESULT WINAPI ZoList_AllocItem(tZOLIST* list, SIZE_T size, void** item);
// Heap lists: allocates, copies initial (if given) and inserts; *insertedAt
// receives the index or -1.
VANE_EXPORT HRESULT WINAPI ZoList_AllocAndInsertItem(tZOLIST* list, const void* initial, SIZE_T size, LONG index,
                                                     LONG* insertedAt);
// Heap lists: reallocates the item in its slot; new bytes are zeroed.
VANE_EXPORT HRESULT WINAPI ZoList_ReAllocItem(tZOLIST* list, LONG index, SIZE_T size);
// Bytes of one item, or (negative index) of items, record and slot block.
VANE_EXPORT SIZE_T WINAPI ZoList_AllocSize(tZOLIST* list, LONG index);

VANE_EXPORT HRESULT WINAPI ZoList_GrowAllocated(tZOLIST* list, LONG slots);
VANE_EXPORT HRESULT WINAPI ZoList_ShrinkAllocated(tZOLIST* list, LONG slots);
// Array lists: sets the item count; slots exposed by a larger count are zero.
VANE_EXPORT HRESULT WINAPI ZoList_ArrayForceItemCount(tZOLIST* list, LONG count, BOOL shrink);
// Moves count slots from index `from` so that they start at index `to`.
VANE_EXPORT HRESULT WINAPI ZoList_MoveRange(tZOLIST* list, LONG from, LONG to, LONG count);
// Transfers count items (negative: all) from src at srcIndex to dest at
// destIndex (negative: the end), keeping their order. Locks dest, then src.
VANE_EXPORT HRESULT WINAPI ZoList_MoveItemsBetweenHeapLists(tZOLIST* dest, LONG destIndex, tZOLIST* src, LONG srcIndex,
                                                            LONG count);

// Linear and binary searches over [start, start+count); negative start is 0,
// negative count means to the end. They answer an index or -1.
VANE_EXPORT LONG WINAPI ZoList_FindItemRange(tZOLIST* list, LONG start, LONG count, const void* key,
                                             ZOLISTMATCHPROC match);
VANE_EXPORT LONG WINAPI ZoList_FindSpecificItemRange(tZOLIST* list, LONG start, LONG count, const void* key);
VANE_EXPORT LONG WINAPI ZoList_FindSortedItemRange(tZOLIST* list, const void* key, LONG start, LONG count,
                                                   ZOLISTCOMPAREPROC compare);
// The insert position for key: before or at an equal item. An empty range
// answers 0.
VANE_EXPORT LONG WINAPI ZoList_FindSortedInsertIndexRange(tZOLIST* list, const void* key, LONG start, LONG count,
                                                          ZOLISTCOMPAREPROC compare);

// Selection sort (quadratic, for short lists) and heap sort. Both store the
// criteria, even without a comparator.
VANE_EXPORT HRESULT WINAPI ZoList_Sort(tZOLIST* list, LONG_PTR criteria, ZOLISTCOMPAREPROC compare);
VANE_EXPORT HRESULT WINAPI ZoList_HeapSort(tZOLIST* list, LONG_PTR criteria, ZOLISTCOMPAREPROC compare);
// Inserts every source item into dest at its sorted position.
VANE_EXPORT HRESULT WINAPI ZoList_SortTo(tZOLIST* dest, tZOLIST* src, LONG_PTR criteria, ZOLISTCOMPAREPROC compare);

VANE_EXPORT LONG_PTR WINAPI ZoList_GetSortCriteria(const tZOLIST* list);
VANE_EXPORT DWORD WINAPI ZoList_GetCreateOptions(const tZOLIST* list);
// Exchanges the owner's word; -1 when the caller may not touch the list.
VANE_EXPORT LONG_PTR WINAPI ZoList_SetUserData(tZOLIST* list, LONG_PTR value);
VANE_EXPORT LONG_PTR WINAPI ZoList_GetUserData(const tZOLIST* list);
VANE_EXPORT DWORD WINAPI ZoList_GetThreadOwner(const tZOLIST* list);
// Stores threadId, or the calling thread's id for 0; returns the new owner.
VANE_EXPORT DWORD WINAPI ZoList_SetThreadOwner(tZOLIST* list, DWORD threadId);

// 1 when p is readable over recordSize == ZOLIST_RECORD_SIZE bytes and
// carries the magic.
VANE_EXPORT BOOL WINAPI ZoList_IsList(const void* p, SIZE_T recordSize);
// 1 when p carries the magic (p is not probed).
VANE_EXPORT BOOL WINAPI ZoList_IsListFast(const void* p);
VANE_EXPORT BOOL WINAPI ZoList_IsValidIndexSlow(tZOLIST* list, LONG index);
// Creation tags are not kept: empties the buffer and answers -1.
VANE_EXPORT LONG WINAPI ZoList_GetFileAndLine(const tZOLIST* list, WCHAR* buffer, LONG bufferChars);

VANE_END_EXTERN_C

// Slot access for callers that index the list directly.
inline void* ZoList_SlotAddress(const tZOLIST* list, LONG index) {
  return static_cast<BYTE*>(list->pData) + static_cast<SIZE_T>(index) * list->nItemSize;
}
// The stored pointer of a pointer or heap list.
inline void* ZoList_PointerAt(const tZOLIST* list, LONG index) { return static_cast<void**>(list->pData)[index]; }
