// SPDX-License-Identifier: MIT
// The list's internals: slot block management, insertion and deletion, heap
// items, moves, searches and sorts. The flat family in zolist_api.cpp checks
// arguments and holds the entry guard around these.
//
// The slot block is one zero-filled fixed global-memory block; slots beyond
// nItems are kept zero. It grows by whole grow steps, and a failed grow
// leaves the list as it was.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "kernel/detail/zolist_internal.h"
#include "platform/memory.h"
#include "platform/sync.h"

namespace vane::kernel {
namespace {

constexpr DWORD kItemBits = ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_ARRAYITEMS;
constexpr LONG kDefaultSlots = 16;
constexpr LONG kMinInitialSlots = 4;
constexpr LONG kDefaultGrowStep = 16;
constexpr SIZE_T kPrivateHeapInitialBytes = 4096;
constexpr DWORD kHeapAllocFlags = HEAP_NO_SERIALIZE | HEAP_ZERO_MEMORY;
constexpr DWORD kHeapFreeFlags = HEAP_NO_SERIALIZE;

bool IsHeapList(const tZOLIST& l) { return (l.dwOptions & ZOLIST_OPT_HEAPITEMS) != 0; }
bool IsArrayList(const tZOLIST& l) { return (l.dwOptions & ZOLIST_OPT_ARRAYITEMS) != 0; }
bool HasPrivateHeap(const tZOLIST& l) { return (l.dwOptions & ZOLIST_OPT_PRIVATEHEAP) && l.hPrivateHeap != nullptr; }

std::int64_t RoundUp(std::int64_t value, std::int64_t step) { return (value + step - 1) / step * step; }

BYTE* Slot(const tZOLIST& l, std::int64_t index) {
  return static_cast<BYTE*>(l.pData) + static_cast<SIZE_T>(index) * l.nItemSize;
}
SIZE_T SlotBytes(const tZOLIST& l, std::int64_t slots) { return static_cast<SIZE_T>(slots) * l.nItemSize; }

// Slot blocks: zero-filled fixed global memory, held by its locked pointer.
void* AllocSlotBlock(SIZE_T bytes) {
  if (bytes > kZoListMaxBlockBytes) return nullptr;
  HGLOBAL handle = GlobalAlloc(GPTR, bytes != 0 ? bytes : 1);
  if (handle == nullptr) return nullptr;
  void* block = GlobalLock(handle);
  if (block == nullptr) GlobalFree(handle);
  return block;
}

// Grows a slot block to bytes, zero-filling the new tail. The block may
// move; the C heap moves large blocks by remapping pages instead of copying
// them, which keeps appends cheap even with the fixed grow step. On failure
// the old block is untouched.
void* ResizeSlotBlock(void* block, SIZE_T bytes) {
  if (bytes > kZoListMaxBlockBytes) return nullptr;
  HGLOBAL handle = GlobalReAlloc(GlobalHandle(block), bytes, GMEM_MOVEABLE | GMEM_ZEROINIT);
  return handle != nullptr ? GlobalLock(handle) : nullptr;
}

void FreeSlotBlock(void* block) {
  if (block == nullptr) return;
  HGLOBAL handle = GlobalHandle(block);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

// Heap items: from the private heap, or from the C heap.
void* AllocItemMemory(const tZOLIST& l, SIZE_T size) {
  if (size > kZoListMaxBlockBytes) return nullptr;
  size = std::max<SIZE_T>(size, 1);
  if (HasPrivateHeap(l)) return HeapAlloc(l.hPrivateHeap, l.dwHeapAllocFlags, size);
  return std::calloc(1, size);
}

void FreeItemMemory(const tZOLIST& l, void* item) {
  if (item == nullptr) return;
  if (HasPrivateHeap(l)) {
    HeapFree(l.hPrivateHeap, l.dwHeapFreeFlags, item);
  } else {
    std::free(item);
  }
}

SIZE_T ItemMemorySize(const tZOLIST& l, void* item) {
  if (item == nullptr) return 0;
  if (HasPrivateHeap(l)) {
    const SIZE_T size = HeapSize(l.hPrivateHeap, l.dwHeapAllocFlags & ~HEAP_NO_SERIALIZE, item);
    return size == static_cast<SIZE_T>(-1) ? 0 : size;
  }
  return ZoMSize(item);
}

// Reallocates a heap item; bytes beyond the old size come back zeroed, as
// they do from the private heap.
void* ReAllocItemMemory(const tZOLIST& l, void* item, SIZE_T size) {
  if (size > kZoListMaxBlockBytes) return nullptr;
  size = std::max<SIZE_T>(size, 1);
  if (HasPrivateHeap(l)) {
    if (item == nullptr) return HeapAlloc(l.hPrivateHeap, l.dwHeapAllocFlags, size);
    return HeapReAlloc(l.hPrivateHeap, l.dwHeapAllocFlags, item, size);
  }
  const SIZE_T oldSize = item != nullptr ? ZoMSize(item) : 0;
  void* grown = std::realloc(item, size);
  if (grown != nullptr && size > oldSize) std::memset(static_cast<BYTE*>(grown) + oldSize, 0, size - oldSize);
  return grown;
}

// Frees every item of a heap list and the pending item; a private heap goes
// whole. Slots are cleared.
void ReleaseHeapItems(tZOLIST& l) {
  if (HasPrivateHeap(l)) {
    HeapDestroy(l.hPrivateHeap);
    l.hPrivateHeap = nullptr;
  } else {
    for (LONG i = 0; i < l.nItems; ++i) std::free(ZoList_PointerAt(&l, i));
    std::free(l.pPendingItem);
  }
  l.pPendingItem = nullptr;
  if (l.pData != nullptr) std::memset(l.pData, 0, SlotBytes(l, l.nItems));
}

// Takes count slots out at index without freeing what they point to; the
// vacated tail is zeroed.
void RemoveSlots(tZOLIST& l, LONG index, LONG count) {
  const LONG tail = l.nItems - index - count;
  std::memmove(Slot(l, index), Slot(l, index + count), SlotBytes(l, tail));
  std::memset(Slot(l, l.nItems - count), 0, SlotBytes(l, count));
  l.nItems -= count;
}

// Clamps a search range: negative start is 0, negative count is "to the
// end", and count never passes the end. False when nothing is left.
bool NormaliseRange(const tZOLIST& l, LONG& start, LONG& count) {
  if (start < 0) start = 0;
  if (start >= l.nItems) return false;
  const LONG rest = l.nItems - start;
  if (count < 0 || count > rest) count = rest;
  return count > 0;
}

// Slot views for the sorts and binary searches: a pointer list compares its
// stored pointers, an array list the addresses of its slots.
class PointerSlots {
 public:
  explicit PointerSlots(const tZOLIST& l) : m_slots(static_cast<void**>(l.pData)) {}
  const void* Item(std::int64_t i) const { return m_slots[i]; }
  void Swap(std::int64_t a, std::int64_t b) const { std::swap(m_slots[a], m_slots[b]); }
  void Prefetch(std::int64_t i) const { __builtin_prefetch(m_slots + i); }

 private:
  void** m_slots;
};

class ArraySlots {
 public:
  explicit ArraySlots(const tZOLIST& l)
      : m_base(static_cast<BYTE*>(l.pData)), m_size(l.nItemSize), m_words(l.nItemSize / sizeof(DWORD)) {}
  const void* Item(std::int64_t i) const { return m_base + static_cast<SIZE_T>(i) * m_size; }
  // Item sizes are whole words, so swap word by word.
  void Swap(std::int64_t a, std::int64_t b) const {
    DWORD* pa = reinterpret_cast<DWORD*>(m_base + static_cast<SIZE_T>(a) * m_size);
    DWORD* pb = reinterpret_cast<DWORD*>(m_base + static_cast<SIZE_T>(b) * m_size);
    for (SIZE_T w = 0; w < m_words; ++w) std::swap(pa[w], pb[w]);
  }
  void Prefetch(std::int64_t i) const { __builtin_prefetch(m_base + static_cast<SIZE_T>(i) * m_size); }

 private:
  BYTE* m_base;
  SIZE_T m_size;
  SIZE_T m_words;
};

// The bsearch-style walk on low, high and the remaining count. The probe
// order (and so which of several equal items is found) is part of the
// contract, as is the insert position's rule at the last single item.
template <class Slots>
LONG FindSorted(const Slots& slots, LONG_PTR criteria, const void* key, LONG start, LONG count,
                ZOLISTCOMPAREPROC compare, bool insertPosition) {
  std::int64_t low = start;
  std::int64_t high = std::int64_t{start} + count - 1;
  std::int64_t remaining = count;
  std::int64_t position = low;
  while (low <= high) {
    const std::int64_t half = remaining / 2;
    if (half != 0) {
      const bool odd = (remaining & 1) != 0;
      const std::int64_t probe = odd ? low + half : low + half - 1;
      const int result = compare(criteria, key, slots.Item(probe));
      if (result == 0) return static_cast<LONG>(probe);
      if (result < 0) {
        high = probe - 1;
        remaining = odd ? half : half - 1;
        position = probe;
      } else {
        low = probe + 1;
        remaining = half;
        position = probe + 1;
      }
    } else if (remaining != 0) {
      const int result = compare(criteria, key, slots.Item(low));
      if (!insertPosition) return result == 0 ? static_cast<LONG>(low) : -1;
      return static_cast<LONG>(result <= 0 ? low : low + 1);
    } else {
      break;
    }
  }
  return insertPosition ? static_cast<LONG>(position) : -1;
}

// Straight selection sort: the maximum of [0, high] goes to high. The
// earliest of equal items stays the candidate.
template <class Slots>
void SelectionSort(const Slots& slots, LONG_PTR criteria, LONG n, ZOLISTCOMPAREPROC compare) {
  for (LONG high = n - 1; high >= 1; --high) {
    LONG maximum = 0;
    for (LONG p = 1; p <= high; ++p) {
      if (compare(criteria, slots.Item(p), slots.Item(maximum)) > 0) maximum = p;
    }
    if (maximum != high) slots.Swap(maximum, high);
  }
}

// Sift of 1-based position i on m items. The first level is entered even
// when the child is the last item; deeper levels only while the child is
// below m (the last item is swapped to the root next anyway).
template <class Slots>
void Sift(const Slots& slots, LONG_PTR criteria, ZOLISTCOMPAREPROC compare, std::int64_t i, std::int64_t m) {
  std::int64_t child = 2 * i;
  for (;;) {
    // The grandchildren lie side by side: fetch them while this level compares.
    if (2 * child <= m) slots.Prefetch(2 * child - 1);
    if (child < m && compare(criteria, slots.Item(child), slots.Item(child - 1)) > 0) ++child;
    if (compare(criteria, slots.Item(child - 1), slots.Item(i - 1)) <= 0) return;
    slots.Swap(i - 1, child - 1);
    i = child;
    child *= 2;
    if (child >= m) return;
  }
}

// Heap building stops at position 2: the first extraction's sift of the
// root completes the heap.
template <class Slots>
void HeapSort(const Slots& slots, LONG_PTR criteria, LONG n, ZOLISTCOMPAREPROC compare) {
  for (std::int64_t i = n / 2; i >= 2; --i) Sift(slots, criteria, compare, i, n);
  for (std::int64_t m = n; m >= 2; --m) {
    Sift(slots, criteria, compare, 1, m);
    slots.Swap(0, m - 1);
  }
}

}  // namespace

bool ZoListCallerIsAllowed(const tZOLIST& list) {
  return (list.dwOptions & (ZOLIST_OPT_ANYTHREAD | ZOLIST_OPT_THREADSAFE)) != 0 ||
         list.dwThreadOwner == GetCurrentThreadId();
}

ZoListGuard::ZoListGuard(tZOLIST& list) : m_list(list) {
  if (list.dwOptions & ZOLIST_OPT_THREADSAFE) {
    EnterCriticalSection(&list.lock);
    m_locked = true;
    m_entered = true;
  } else {
    m_entered = ZoListCallerIsAllowed(list);
  }
}

ZoListGuard::~ZoListGuard() {
  if (m_locked) LeaveCriticalSection(&m_list.lock);
}

HRESULT ZoListCreate(tZOLIST** out, DWORD itemSize, LONG initialSlots, LONG growStep, DWORD options) {
  if (out == nullptr) return E_INVALIDARG;
  const bool inPlace = (options & ZOLIST_OPT_INPLACE) != 0;
  if (inPlace) {
    if (*out == nullptr) return E_FAIL;
    std::memset(static_cast<void*>(*out), 0, sizeof(tZOLIST));
  } else {
    *out = nullptr;
  }
  if ((options & kItemBits) == kItemBits) return E_FAIL;

  const bool array = (options & ZOLIST_OPT_ARRAYITEMS) != 0;
  if (array && (itemSize == 0 || itemSize > 0xFFFFFFFCu)) return E_INVALIDARG;
  const DWORD slotSize = array ? (itemSize + 3) & ~DWORD{3} : static_cast<DWORD>(sizeof(void*));

  if (initialSlots < 1) initialSlots = kDefaultSlots;
  initialSlots = std::max(initialSlots, kMinInitialSlots);
  if (growStep < 1) growStep = kDefaultGrowStep;
  growStep = std::clamp(growStep, ZOLIST_MIN_GROWSTEP, ZOLIST_MAX_GROWSTEP);
  const std::int64_t allocated = RoundUp(initialSlots, growStep);
  if (allocated > INT32_MAX) return E_OUTOFMEMORY;

  tZOLIST* l = inPlace ? *out : new (std::nothrow) tZOLIST{};
  if (l == nullptr) return E_OUTOFMEMORY;
  l->dwMagic = ZOLIST_MAGIC;
  l->nItemSize = slotSize;
  l->nAllocated = static_cast<LONG>(allocated);
  l->nGrowStep = growStep;
  l->pData = AllocSlotBlock(SlotBytes(*l, allocated));
  if (l->pData == nullptr) {
    l->dwMagic = 0;
    if (!inPlace) delete l;
    return E_OUTOFMEMORY;
  }
  if (options & ZOLIST_OPT_THREADSAFE) InitializeCriticalSection(&l->lock);
  l->dwThreadOwner = GetCurrentThreadId();
  l->dwOptions = options | ZOLIST_OPT_ANYTHREAD;

  if (options & ZOLIST_OPT_HEAPITEMS) {
    if (options & ZOLIST_OPT_PRIVATEHEAP) {
      l->hPrivateHeap = HeapCreate(HEAP_NO_SERIALIZE, kPrivateHeapInitialBytes, 0);
      if (l->hPrivateHeap == nullptr) {
        ZoListDestroy(*l);
        return E_OUTOFMEMORY;
      }
    }
    l->dwHeapAllocFlags = kHeapAllocFlags;
    l->dwHeapFreeFlags = kHeapFreeFlags;
  }
  if (!inPlace) *out = l;
  return S_OK;
}

HRESULT ZoListDestroy(tZOLIST& list) {
  const bool threadSafe = (list.dwOptions & ZOLIST_OPT_THREADSAFE) != 0;
  if (threadSafe) {
    EnterCriticalSection(&list.lock);
  } else if (!ZoListCallerIsAllowed(list)) {
    return E_FAIL;
  }
  if (IsHeapList(list)) ReleaseHeapItems(list);
  FreeSlotBlock(list.pData);
  list.pData = nullptr;
  list.nItems = 0;
  list.nAllocated = 0;
  if (threadSafe) {
    LeaveCriticalSection(&list.lock);
    DeleteCriticalSection(&list.lock);
  }
  list.dwMagic = 0;
  if (!(list.dwOptions & ZOLIST_OPT_INPLACE)) delete &list;
  return S_OK;
}

HRESULT ZoListConvertToInPlace(tZOLIST** pointer, tZOLIST* target) {
  if (pointer == nullptr || target == nullptr || !ZoListIsLive(*pointer)) return E_INVALIDARG;
  tZOLIST& list = **pointer;
  if (list.dwOptions & ZOLIST_OPT_INPLACE) return E_FAIL;
  const bool threadSafe = (list.dwOptions & ZOLIST_OPT_THREADSAFE) != 0;
  if (threadSafe) {
    EnterCriticalSection(&list.lock);
  } else if (!ZoListCallerIsAllowed(list)) {
    return E_FAIL;
  }
  // A critical section is never moved: the copy gets a fresh one, the old
  // record's is retired with it.
  std::memset(static_cast<void*>(target), 0, sizeof(tZOLIST));
  std::memcpy(static_cast<void*>(target), &list, sizeof(tZOLIST));
  if (threadSafe) {
    std::memset(static_cast<void*>(&target->lock), 0, sizeof(target->lock));
    InitializeCriticalSection(&target->lock);
  }
  target->dwOptions |= ZOLIST_OPT_INPLACE;
  if (threadSafe) {
    LeaveCriticalSection(&list.lock);
    DeleteCriticalSection(&list.lock);
  }
  list.dwMagic = 0;
  delete &list;
  *pointer = nullptr;
  return S_OK;
}

HRESULT ZoListGrowLocked(tZOLIST& list, LONG slots) {
  if (slots < 1) slots = list.nGrowStep;
  const std::int64_t grown = std::int64_t{list.nAllocated} + RoundUp(slots, list.nGrowStep);
  if (grown > INT32_MAX) return E_OUTOFMEMORY;
  void* block = ResizeSlotBlock(list.pData, SlotBytes(list, grown));
  if (block == nullptr) return E_OUTOFMEMORY;
  list.pData = block;
  list.nAllocated = static_cast<LONG>(grown);
  return S_OK;
}

HRESULT ZoListShrinkLocked(tZOLIST& list, LONG slots) {
  const std::int64_t freeSlots = std::int64_t{list.nAllocated} - list.nItems;
  const std::int64_t step = list.nGrowStep;
  std::int64_t amount = RoundUp(slots < 0 ? freeSlots : slots, step);
  if (amount > freeSlots) amount -= step;
  // A request beyond the free slots never releases slots in use.
  if (amount > freeSlots) amount = freeSlots / step * step;
  if (amount <= 0) return S_OK;
  const std::int64_t kept = list.nAllocated - amount;
  void* block = AllocSlotBlock(std::max<SIZE_T>(SlotBytes(list, kept), list.nItemSize));
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, list.pData, SlotBytes(list, kept));
  FreeSlotBlock(list.pData);
  list.pData = block;
  list.nAllocated = static_cast<LONG>(kept);
  return S_OK;
}

HRESULT ZoListInsertLocked(tZOLIST& list, LONG index, const void* items, LONG count) {
  const void* source = nullptr;
  std::int64_t inserted = 0;
  void* pending = list.pPendingItem;
  if (items != nullptr && count >= 0 && !IsHeapList(list)) {
    source = items;
    inserted = count;
  } else if (items != nullptr && count < 0) {
    source = items;
    inserted = -std::int64_t{count};
  } else if (items == nullptr && count == -1 && pending != nullptr) {
    source = &pending;
    inserted = 1;
  } else {
    return E_FAIL;
  }
  if (index < 0 || index > list.nItems) index = list.nItems;
  if (std::int64_t{list.nItems} + inserted > INT32_MAX) return E_OUTOFMEMORY;

  // Slots taken from this list's own block would move or vanish under us.
  const SIZE_T bytes = SlotBytes(list, inserted);
  std::unique_ptr<BYTE[]> copy;
  const auto* from = static_cast<const BYTE*>(source);
  const auto* blockBegin = static_cast<const BYTE*>(list.pData);
  const BYTE* blockEnd = blockBegin + SlotBytes(list, list.nAllocated);
  if (bytes != 0 && from < blockEnd && from + bytes > blockBegin) {
    copy.reset(new (std::nothrow) BYTE[bytes]);
    if (!copy) return E_OUTOFMEMORY;
    std::memcpy(copy.get(), from, bytes);
    from = copy.get();
  }
  // Growth asks for the inserted count, not the shortfall.
  if (std::int64_t{list.nItems} + inserted > list.nAllocated) {
    VANE_RETURN_IF_FAILED(ZoListGrowLocked(list, static_cast<LONG>(inserted)));
  }
  if (index < list.nItems) {
    std::memmove(Slot(list, index + inserted), Slot(list, index), SlotBytes(list, list.nItems - index));
  }
  // One pointer slot is the common case: spare the general copy.
  if (bytes == sizeof(void*)) {
    std::memcpy(Slot(list, index), from, sizeof(void*));
  } else if (bytes != 0) {
    std::memcpy(Slot(list, index), from, bytes);
  }
  list.nItems += static_cast<LONG>(inserted);
  list.pPendingItem = nullptr;
  return S_OK;
}

HRESULT ZoListDeleteLocked(tZOLIST& list, LONG index, LONG count, bool shrink) {
  if (index >= 0 && count < 0) {
    count = list.nItems - index;
  } else if (index < 0 && count < 0) {
    if (list.pPendingItem == nullptr) return E_FAIL;
    FreeItemMemory(list, list.pPendingItem);
    list.pPendingItem = nullptr;
    return S_OK;
  }
  if (count < 1) return S_OK;
  if (index < 0 || index >= list.nItems) return E_FAIL;
  count = std::min(count, list.nItems - index);
  if (IsHeapList(list)) {
    for (LONG i = index; i < index + count; ++i) FreeItemMemory(list, ZoList_PointerAt(&list, i));
  }
  RemoveSlots(list, index, count);
  // The items are gone whatever the shrink does; a failed shrink keeps the
  // larger block.
  if (shrink && list.nAllocated - list.nItems > list.nGrowStep) (void)ZoListShrinkLocked(list, -1);
  return S_OK;
}

HRESULT ZoListAllocItemLocked(tZOLIST& list, SIZE_T size, void** item) {
  if (item != nullptr) *item = nullptr;
  if (!IsHeapList(list) || list.pPendingItem != nullptr) return E_FAIL;
  list.pPendingItem = AllocItemMemory(list, size);
  if (list.pPendingItem == nullptr) return E_OUTOFMEMORY;
  if (item != nullptr) *item = list.pPendingItem;
  return S_OK;
}

HRESULT ZoListAllocAndInsertLocked(tZOLIST& list, const void* initial, SIZE_T size, LONG index, LONG* insertedAt) {
  if (insertedAt != nullptr) *insertedAt = -1;
  if (index < 0 || index > list.nItems) index = list.nItems;
  void* item = nullptr;
  VANE_RETURN_IF_FAILED(ZoListAllocItemLocked(list, size, &item));
  if (initial != nullptr && size != 0) std::memcpy(item, initial, size);
  const HRESULT hr = ZoListInsertLocked(list, index, nullptr, -1);
  if (FAILED(hr)) {
    FreeItemMemory(list, item);
    list.pPendingItem = nullptr;
    return hr;
  }
  if (insertedAt != nullptr) *insertedAt = index;
  return S_OK;
}

HRESULT ZoListReAllocItemLocked(tZOLIST& list, LONG index, SIZE_T size) {
  if (!IsHeapList(list)) return E_FAIL;
  if (index < 0 || index >= list.nItems) return E_FAIL;
  void** slot = reinterpret_cast<void**>(Slot(list, index));
  void* item = ReAllocItemMemory(list, *slot, size);
  if (item == nullptr) return E_OUTOFMEMORY;
  *slot = item;
  return S_OK;
}

SIZE_T ZoListAllocSizeLocked(const tZOLIST& list, LONG index) {
  // Only a heap list's items are ours to measure; the others' slots are
  // reported by their width.
  if (index < 0) {
    SIZE_T total = sizeof(tZOLIST) + GlobalSize(GlobalHandle(list.pData));
    if (IsHeapList(list)) {
      for (LONG i = 0; i < list.nItems; ++i) total += ItemMemorySize(list, ZoList_PointerAt(&list, i));
    }
    return total;
  }
  if (!IsHeapList(list)) return list.nItemSize;
  if (index >= list.nItems) return 0;
  return ItemMemorySize(list, ZoList_PointerAt(&list, index));
}

HRESULT ZoListForceItemCountLocked(tZOLIST& list, LONG count) {
  if (!IsArrayList(list)) return E_FAIL;
  if (count < 0) return E_INVALIDARG;
  if (count > list.nItems) {
    if (count > list.nAllocated) VANE_RETURN_IF_FAILED(ZoListGrowLocked(list, count - list.nAllocated));
    // Slots dropped by an earlier smaller count still hold their bytes.
    std::memset(Slot(list, list.nItems), 0, SlotBytes(list, count - list.nItems));
  }
  // A smaller count only drops the count: the block keeps its size even when
  // a shrink is asked for, and nothing moves.
  list.nItems = count;
  return S_OK;
}

HRESULT ZoListMoveRangeLocked(tZOLIST& list, LONG from, LONG to, LONG count) {
  if (to < 0) to = 0;
  if (count < 0) count = list.nItems - std::max(from, to);
  if (std::int64_t{from} + count > list.nItems || std::int64_t{to} + count > list.nItems) return E_FAIL;
  if (count < 1 || from == to) return S_OK;

  const SIZE_T bytes = SlotBytes(list, count);
  alignas(16) BYTE local[kZoListLocalMoveBytes];
  void* heapBuffer = nullptr;
  BYTE* run = local;
  if (bytes > sizeof(local)) {
    heapBuffer = AllocSlotBlock(bytes);
    if (heapBuffer == nullptr) return E_OUTOFMEMORY;
    run = static_cast<BYTE*>(heapBuffer);
  }
  std::memcpy(run, Slot(list, from), bytes);
  if (from < to) {
    std::memmove(Slot(list, from), Slot(list, from + count), SlotBytes(list, to - from));
  } else {
    std::memmove(Slot(list, to + count), Slot(list, to), SlotBytes(list, from - to));
  }
  std::memcpy(Slot(list, to), run, bytes);
  FreeSlotBlock(heapBuffer);
  return S_OK;
}

HRESULT ZoListMoveBetweenHeapListsLocked(tZOLIST& dest, LONG destIndex, tZOLIST& src, LONG srcIndex, LONG count) {
  if (!IsHeapList(dest) || !IsHeapList(src) || dest.pPendingItem != nullptr) return E_FAIL;
  if (destIndex < 0 || destIndex > dest.nItems) destIndex = dest.nItems;
  if (count < 0) count = src.nItems;
  if (count == 0) return S_OK;
  if (srcIndex < 0 || std::int64_t{srcIndex} + count > src.nItems) return E_FAIL;
  // The whole run is adopted at once: the same order as taking the items
  // last to first into the same index, and on failure nothing has moved.
  VANE_RETURN_IF_FAILED(ZoListInsertLocked(dest, destIndex, Slot(src, srcIndex), -count));
  RemoveSlots(src, srcIndex, count);
  return S_OK;
}

LONG ZoListFindLocked(const tZOLIST& list, LONG start, LONG count, const void* key, ZOLISTMATCHPROC match) {
  if (match == nullptr || !NormaliseRange(list, start, count)) return -1;
  for (LONG i = start; i < start + count; ++i) {
    if (match(key, ZoListItemArgument(list, i)) == 0) return i;
  }
  return -1;
}

LONG ZoListFindSpecificLocked(const tZOLIST& list, LONG start, LONG count, const void* key) {
  if (!NormaliseRange(list, start, count)) return -1;
  if (IsArrayList(list)) {
    if (key == nullptr) return -1;
    for (LONG i = start; i < start + count; ++i) {
      if (std::memcmp(Slot(list, i), key, list.nItemSize) == 0) return i;
    }
    return -1;
  }
  for (LONG i = start; i < start + count; ++i) {
    if (ZoList_PointerAt(&list, i) == key) return i;
  }
  return -1;
}

LONG ZoListFindSortedLocked(const tZOLIST& list, const void* key, LONG start, LONG count, ZOLISTCOMPAREPROC compare,
                            bool insertPosition) {
  if (compare == nullptr) return -1;
  if (start < 0) start = 0;
  if (start > list.nItems) return -1;
  const LONG rest = list.nItems - start;
  if (count < 0 || count > rest) count = rest;
  // An empty range gives 0 (not start) as the insert position.
  if (count == 0) return insertPosition ? 0 : -1;
  if (IsArrayList(list)) {
    return FindSorted(ArraySlots(list), list.sortCriteria, key, start, count, compare, insertPosition);
  }
  return FindSorted(PointerSlots(list), list.sortCriteria, key, start, count, compare, insertPosition);
}

void ZoListSelectionSortLocked(tZOLIST& list, ZOLISTCOMPAREPROC compare) {
  if (compare == nullptr || list.nItems < 2) return;
  if (IsArrayList(list)) {
    SelectionSort(ArraySlots(list), list.sortCriteria, list.nItems, compare);
  } else {
    SelectionSort(PointerSlots(list), list.sortCriteria, list.nItems, compare);
  }
}

void ZoListHeapSortLocked(tZOLIST& list, ZOLISTCOMPAREPROC compare) {
  if (compare == nullptr || list.nItems < 2) return;
  if (IsArrayList(list)) {
    HeapSort(ArraySlots(list), list.sortCriteria, list.nItems, compare);
  } else {
    HeapSort(PointerSlots(list), list.sortCriteria, list.nItems, compare);
  }
}

}  // namespace vane::kernel
