// SPDX-License-Identifier: MIT
// Global memory and private heaps over the C heap.
//
// Global blocks live in one registry keyed by handle, so a stale or foreign
// handle is refused instead of dereferenced. A fixed block's handle is its
// data pointer; a moveable block's handle is its bookkeeping record, which
// stays put while the data moves on GlobalReAlloc.
//
// A private heap keeps a map of its blocks to their sizes: HeapSize answers
// exactly, HeapFree refuses blocks it does not own, and HeapDestroy frees
// every block still allocated.
#include "platform/memory.h"

#include <malloc.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <unordered_set>

#include "platform/file.h"

namespace vane::platform {
namespace {

constexpr SIZE_T kNoSize = static_cast<SIZE_T>(-1);

struct GlobalBlock {
  void* data = nullptr;
  SIZE_T size = 0;
  UINT flags = 0;
  LONG locks = 0;
};

struct GlobalRegistry {
  std::mutex mutex;
  std::unordered_map<HGLOBAL, GlobalBlock*> byHandle;
  std::unordered_map<const void*, HGLOBAL> byData;
};

GlobalRegistry& Globals() {
  static GlobalRegistry* registry = new GlobalRegistry;
  return *registry;
}

// The block behind a handle; the caller holds the registry's mutex. An
// unknown handle sets ERROR_INVALID_HANDLE and gives null.
GlobalBlock* FindBlockLocked(GlobalRegistry& r, HGLOBAL mem) {
  auto it = r.byHandle.find(mem);
  if (it == r.byHandle.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return it->second;
}

// Grows or shrinks a C-heap block; zero-fills the new tail when asked.
void* Resize(void* data, SIZE_T oldSize, SIZE_T newSize, bool mayMove, bool zeroTail) {
  void* result = data;
  if (newSize > malloc_usable_size(data)) {
    if (!mayMove) return nullptr;
    result = std::realloc(data, newSize);
    if (!result) return nullptr;
  }
  if (zeroTail && newSize > oldSize) std::memset(static_cast<char*>(result) + oldSize, 0, newSize - oldSize);
  return result;
}

struct Heap {
  std::mutex mutex;
  std::unordered_map<void*, SIZE_T> blocks;
  SIZE_T maximum = 0;  // 0: no cap
  SIZE_T total = 0;
  bool process = false;

  ~Heap() {
    for (auto& [block, size] : blocks) std::free(block);
  }
};

struct HeapRegistry {
  std::shared_mutex mutex;
  std::unordered_set<Heap*> heaps;
  Heap* process = nullptr;
};

HeapRegistry& Heaps() {
  static HeapRegistry* registry = [] {
    auto* r = new HeapRegistry;
    r->process = new Heap;
    r->process->process = true;
    r->heaps.insert(r->process);
    return r;
  }();
  return *registry;
}

Heap* FindHeap(HANDLE handle) {
  HeapRegistry& r = Heaps();
  std::shared_lock lock(r.mutex);
  auto* heap = static_cast<Heap*>(handle);
  if (r.heaps.count(heap)) return heap;
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

// Whether each page of [begin, end) is readable, asked of the kernel: a
// process_vm_readv of one byte per page from our own address space fails
// with EFAULT at the first page that is not mapped readable.
int ProbePages(uintptr_t begin, uintptr_t end) {
  const uintptr_t page = uintptr_t(sysconf(_SC_PAGESIZE));
  constexpr size_t kBatch = 256;
  char sink[kBatch];
  iovec local{sink, 0};
  iovec remote[kBatch];
  uintptr_t at = begin & ~(page - 1);
  while (at < end) {
    size_t count = 0;
    for (; count < kBatch && at < end; ++count, at += page) {
      remote[count].iov_base = reinterpret_cast<void*>(std::max(at, begin));
      remote[count].iov_len = 1;
    }
    local.iov_len = count;
    const ssize_t got = process_vm_readv(getpid(), &local, 1, remote, count, 0);
    if (got < 0 && (errno == ENOSYS || errno == EPERM)) return -1;
    if (got != ssize_t(count)) return 0;
  }
  return 1;
}

// Fallback where process_vm_readv is not allowed: the readable ranges of
// /proc/self/maps must cover [begin, end) without a gap.
bool MapsCover(uintptr_t begin, uintptr_t end) {
  FILE* maps = std::fopen("/proc/self/maps", "re");
  if (!maps) return false;
  char line[512];
  uintptr_t covered = begin;
  while (covered < end && std::fgets(line, sizeof line, maps)) {
    unsigned long lo = 0, hi = 0;
    char perms[5] = {};
    if (std::sscanf(line, "%lx-%lx %4s", &lo, &hi, perms) != 3) continue;
    if (lo <= covered && covered < hi) {
      if (perms[0] != 'r') break;
      covered = hi;
    }
  }
  std::fclose(maps);
  return covered >= end;
}

}  // namespace
}  // namespace vane::platform

using namespace vane::platform;

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  const SIZE_T allocation = std::max<SIZE_T>(bytes, 1);
  void* data = (flags & GMEM_ZEROINIT) ? std::calloc(1, allocation) : std::malloc(allocation);
  auto* block = data ? new (std::nothrow) GlobalBlock : nullptr;
  if (!block) {
    std::free(data);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  block->data = data;
  block->size = bytes;
  block->flags = flags;
  HGLOBAL handle = (flags & GMEM_MOVEABLE) ? static_cast<HGLOBAL>(block) : data;
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  r.byHandle.emplace(handle, block);
  r.byData.emplace(data, handle);
  return handle;
}

HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags) {
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  GlobalBlock* block = FindBlockLocked(r, mem);
  if (!block) return nullptr;
  if (flags & GMEM_MODIFY) {
    block->flags = (block->flags & GMEM_MOVEABLE) | (flags & GMEM_ZEROINIT);
    return mem;
  }
  const bool moveable = block->flags & GMEM_MOVEABLE;
  const bool mayMove = (flags & GMEM_MOVEABLE) || (moveable && block->locks == 0);
  void* data = Resize(block->data, block->size, std::max<SIZE_T>(bytes, 1), mayMove, flags & GMEM_ZEROINIT);
  if (!data) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  block->size = bytes;
  if (data == block->data) return mem;
  r.byData.erase(block->data);
  block->data = data;
  if (moveable) {
    r.byData.emplace(data, mem);
    return mem;
  }
  // A fixed block's handle is its address, so a moved fixed block has a new one.
  r.byHandle.erase(mem);
  r.byHandle.emplace(data, block);
  r.byData.emplace(data, data);
  return data;
}

LPVOID GlobalLock(HGLOBAL mem) {
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  GlobalBlock* block = FindBlockLocked(r, mem);
  if (!block) return nullptr;
  if (block->flags & GMEM_MOVEABLE) ++block->locks;
  return block->data;
}

BOOL GlobalUnlock(HGLOBAL mem) {
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  GlobalBlock* block = FindBlockLocked(r, mem);
  if (!block) return FALSE;
  if (!(block->flags & GMEM_MOVEABLE)) {
    SetLastError(ERROR_SUCCESS);
    return FALSE;
  }
  if (block->locks == 0) {
    SetLastError(ERROR_NOT_LOCKED);
    return FALSE;
  }
  if (--block->locks > 0) return TRUE;
  SetLastError(ERROR_SUCCESS);
  return FALSE;
}

SIZE_T GlobalSize(HGLOBAL mem) {
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  const GlobalBlock* block = FindBlockLocked(r, mem);
  return block ? block->size : 0;
}

HGLOBAL GlobalHandle(LPCVOID pointer) {
  GlobalRegistry& r = Globals();
  std::lock_guard lock(r.mutex);
  auto it = r.byData.find(pointer);
  if (it == r.byData.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return it->second;
}

HGLOBAL GlobalFree(HGLOBAL mem) {
  if (!mem) return nullptr;
  GlobalBlock* block = nullptr;
  {
    GlobalRegistry& r = Globals();
    std::lock_guard lock(r.mutex);
    block = FindBlockLocked(r, mem);
    if (!block) return mem;
    r.byHandle.erase(mem);
    r.byData.erase(block->data);
  }
  std::free(block->data);
  delete block;
  return nullptr;
}

HANDLE HeapCreate(DWORD, SIZE_T, SIZE_T maximumSize) {
  auto* heap = new (std::nothrow) Heap;
  if (!heap) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  heap->maximum = maximumSize;
  HeapRegistry& r = Heaps();
  std::unique_lock lock(r.mutex);
  r.heaps.insert(heap);
  return heap;
}

BOOL HeapDestroy(HANDLE handle) {
  HeapRegistry& r = Heaps();
  Heap* heap = static_cast<Heap*>(handle);
  {
    std::unique_lock lock(r.mutex);
    if (!r.heaps.count(heap) || heap->process) {
      SetLastError(ERROR_INVALID_HANDLE);
      return FALSE;
    }
    r.heaps.erase(heap);
  }
  delete heap;
  return TRUE;
}

LPVOID HeapAlloc(HANDLE handle, DWORD flags, SIZE_T bytes) {
  Heap* heap = FindHeap(handle);
  if (!heap) return nullptr;
  std::lock_guard lock(heap->mutex);
  if (heap->maximum && bytes > heap->maximum - std::min(heap->total, heap->maximum)) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  const SIZE_T allocation = std::max<SIZE_T>(bytes, 1);
  void* block = (flags & HEAP_ZERO_MEMORY) ? std::calloc(1, allocation) : std::malloc(allocation);
  if (!block) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  heap->blocks.emplace(block, bytes);
  heap->total += bytes;
  return block;
}

LPVOID HeapReAlloc(HANDLE handle, DWORD flags, LPVOID block, SIZE_T bytes) {
  Heap* heap = FindHeap(handle);
  if (!heap) return nullptr;
  std::lock_guard lock(heap->mutex);
  auto it = heap->blocks.find(block);
  if (it == heap->blocks.end()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const SIZE_T oldSize = it->second;
  if (heap->maximum && bytes > oldSize && bytes - oldSize > heap->maximum - std::min(heap->total, heap->maximum)) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  void* moved = Resize(block, oldSize, std::max<SIZE_T>(bytes, 1), !(flags & HEAP_REALLOC_IN_PLACE_ONLY),
                       flags & HEAP_ZERO_MEMORY);
  if (!moved) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  heap->total = heap->total - oldSize + bytes;
  if (moved != block) {
    heap->blocks.erase(it);
    heap->blocks.emplace(moved, bytes);
  } else {
    it->second = bytes;
  }
  return moved;
}

BOOL HeapFree(HANDLE handle, DWORD, LPVOID block) {
  Heap* heap = FindHeap(handle);
  if (!heap) return FALSE;
  if (!block) return TRUE;
  {
    std::lock_guard lock(heap->mutex);
    auto it = heap->blocks.find(block);
    if (it == heap->blocks.end()) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
    heap->total -= it->second;
    heap->blocks.erase(it);
  }
  std::free(block);
  return TRUE;
}

SIZE_T HeapSize(HANDLE handle, DWORD, LPCVOID block) {
  Heap* heap = FindHeap(handle);
  if (!heap) return kNoSize;
  std::lock_guard lock(heap->mutex);
  auto it = heap->blocks.find(const_cast<void*>(block));
  if (it == heap->blocks.end()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return kNoSize;
  }
  return it->second;
}

HANDLE GetProcessHeap(void) { return Heaps().process; }

SIZE_T ZoMSize(void* block) { return block ? malloc_usable_size(block) : kNoSize; }

BOOL IsBadReadPtr(const void* p, UINT_PTR bytes) {
  if (bytes == 0) return FALSE;
  const auto begin = reinterpret_cast<uintptr_t>(p);
  if (!p || begin + bytes < begin) return TRUE;
  const int probed = ProbePages(begin, begin + bytes);
  if (probed >= 0) return probed ? FALSE : TRUE;
  return MapsCover(begin, begin + bytes) ? FALSE : TRUE;
}
