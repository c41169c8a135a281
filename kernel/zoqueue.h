// SPDX-License-Identifier: MIT
// ZoQueue: the kernel's waitable queue, an intrusive doubly linked list with a
// lock and a manual-reset event that is set exactly while the queue is not
// empty. Items belong to the caller and begin with a ZoQueueLink; the queue
// only links them. An empty queue's links point at the header itself.
//
// Threads: every function may be called from any thread; link changes and the
// event run under the queue's critical section. Callbacks of the find and
// sorted-insert functions run under that lock and must not touch the queue.
// This platform has no window messages: the message wake masks of
// ZoQueueRemoveEx are accepted and never fire.
#pragma once

#include "platform/export.h"
#include "platform/sync.h"
#include "platform/types.h"

struct ZoQueueLink {
  ZoQueueLink* next;
  ZoQueueLink* prev;
};

struct ZoQueue {
  ZoQueueLink* head;
  ZoQueueLink* tail;
  CRITICAL_SECTION lock;
  HANDLE event;  // null before ZoQueueInitialize and after ZoQueueDelete
};

// Sorted insert: TRUE stops the walk at `existing`, and the item goes before
// it (walking from the head) or after it (walking from the tail).
typedef BOOL (*ZOQUEUECOMPAREPROC)(LONG_PTR user, ZoQueueLink* existing, ZoQueueLink* item);
// Finds: TRUE for the item looked for.
typedef BOOL (*ZOQUEUEMATCHPROC)(LONG_PTR user, ZoQueueLink* item);

// Flags of ZoQueueRemoveEx beside the 16-bit message wake mask.
inline constexpr DWORD ZOQUEUE_WAIT_ALL = 0x10000;
inline constexpr DWORD ZOQUEUE_WAIT_ALLINPUT = 0x20000;
inline constexpr DWORD ZOQUEUE_WAIT_ALERTABLE = 0x40000;
inline constexpr DWORD ZOQUEUE_WAIT_KEEP_ON_MESSAGES = 0x80000;

VANE_BEGIN_EXTERN_C
VANE_EXPORT BOOL ZoQueueInitialize(ZoQueue* queue);
VANE_EXPORT void ZoQueueDelete(ZoQueue* queue);
VANE_EXPORT void ZoQueueFlush(ZoQueue* queue);
VANE_EXPORT void ZoQueueInsert(ZoQueue* queue, ZoQueueLink* item);
VANE_EXPORT void ZoQueueInsertHead(ZoQueue* queue, ZoQueueLink* item);
VANE_EXPORT void ZoQueueInsertEx(ZoQueue* queue, ZOQUEUECOMPAREPROC compare, LONG_PTR user, ZoQueueLink* item);
VANE_EXPORT void ZoQueueInsertExRev(ZoQueue* queue, ZOQUEUECOMPAREPROC compare, LONG_PTR user, ZoQueueLink* item);
VANE_EXPORT ZoQueueLink* ZoQueueRemove(ZoQueue* queue, DWORD timeoutMs);
VANE_EXPORT ZoQueueLink* ZoQueueRemoveAlertable(ZoQueue* queue, DWORD timeoutMs);
// Waits for an item, or for one of the extra handles (fewer than 63), up to
// the time-out; null when nothing came, a handle was signalled, or the queue
// was deleted. *waitResult gets the last wait's result.
VANE_EXPORT ZoQueueLink* ZoQueueRemoveEx(ZoQueue* queue, const HANDLE* handles, DWORD count, DWORD flags,
                                         DWORD timeoutMs, DWORD* waitResult);
VANE_EXPORT ZoQueueLink* ZoQueueRemoveTail(ZoQueue* queue, DWORD timeoutMs);
VANE_EXPORT BOOL ZoQueueWait(ZoQueue* queue, DWORD timeoutMs);
VANE_EXPORT ZoQueueLink* ZoQueueFind(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT ZoQueueLink* ZoQueueFindRev(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT ZoQueueLink* ZoQueueFindAndRemove(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT ZoQueueLink* ZoQueueFindAndRemoveRev(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT ZoQueueLink* ZoQueueFindAndMoveToHead(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT ZoQueueLink* ZoQueueFindAndMoveToTail(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user);
VANE_EXPORT BOOL ZoQueueMoveToHead(ZoQueue* queue, ZoQueueLink* item);
VANE_EXPORT BOOL ZoQueueMoveToTail(ZoQueue* queue, ZoQueueLink* item);
VANE_EXPORT BOOL IsInZoQueue(ZoQueue* queue, ZoQueueLink* item);
VANE_END_EXTERN_C
