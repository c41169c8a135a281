// SPDX-License-Identifier: MIT
// Global memory (a handle with a size header, locked to a pointer) and private
// heaps that track their blocks so that destroying a heap frees them all.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

inline constexpr UINT GMEM_FIXED = 0x0000;
inline constexpr UINT GMEM_MOVEABLE = 0x0002;
inline constexpr UINT GMEM_MODIFY = 0x0080;
inline constexpr UINT GMEM_ZEROINIT = 0x0040;
inline constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;
inline constexpr UINT GPTR = GMEM_FIXED | GMEM_ZEROINIT;

inline constexpr DWORD HEAP_NO_SERIALIZE = 0x00000001;
inline constexpr DWORD HEAP_GENERATE_EXCEPTIONS = 0x00000004;
inline constexpr DWORD HEAP_ZERO_MEMORY = 0x00000008;
inline constexpr DWORD HEAP_REALLOC_IN_PLACE_ONLY = 0x00000010;

VANE_BEGIN_EXTERN_C
// GlobalAlloc returns null on failure. A fixed block's handle is its pointer;
// GlobalLock of a moveable block gives the same pointer each time and counts
// locks. GlobalFree returns null on success, the handle on failure.
// GlobalReAlloc keeps a moveable block's handle; a block may move only when
// it is moveable and unlocked, or when the call passes GMEM_MOVEABLE. With
// GMEM_MODIFY only the flags change (GMEM_MOVEABLE/GMEM_ZEROINIT are noted).
// GlobalUnlock returns TRUE while locks remain; FALSE with last error 0 when
// the count reaches zero, with ERROR_NOT_LOCKED when it was not locked.
VANE_EXPORT HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
VANE_EXPORT HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags);
VANE_EXPORT LPVOID GlobalLock(HGLOBAL mem);
VANE_EXPORT BOOL GlobalUnlock(HGLOBAL mem);
VANE_EXPORT SIZE_T GlobalSize(HGLOBAL mem);
VANE_EXPORT HGLOBAL GlobalHandle(LPCVOID pointer);
VANE_EXPORT HGLOBAL GlobalFree(HGLOBAL mem);

// Private heaps: HeapCreate's maximumSize (0 = growable) caps the bytes
// allocated. HeapFree of null succeeds; of a block the heap does not own it
// fails with ERROR_INVALID_PARAMETER. HEAP_GENERATE_EXCEPTIONS is ignored:
// no exception leaves the kernel.
VANE_EXPORT HANDLE HeapCreate(DWORD options, SIZE_T initialSize, SIZE_T maximumSize);
VANE_EXPORT BOOL HeapDestroy(HANDLE heap);
VANE_EXPORT LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
VANE_EXPORT LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes);
VANE_EXPORT BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);
// Returns (SIZE_T)-1 for a block the heap does not own.
VANE_EXPORT SIZE_T HeapSize(HANDLE heap, DWORD flags, LPCVOID block);
// The process heap; it too tracks sizes.
VANE_EXPORT HANDLE GetProcessHeap(void);

// The C heap's block size (the platform's _msize); (SIZE_T)-1 for null.
VANE_EXPORT SIZE_T ZoMSize(void* block);
// Whether [p, p+bytes) may not be read: the platform's IsBadReadPtr, by
// asking the kernel whether the pages are mapped readable.
VANE_EXPORT BOOL IsBadReadPtr(const void* p, UINT_PTR bytes);
VANE_END_EXTERN_C
