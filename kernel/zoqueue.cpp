// SPDX-License-Identifier: MIT
#include "kernel/zoqueue.h"

#include <chrono>
#include <vector>

#include "platform/file.h"

namespace {

// The event is cleared by a delete racing with the queue's users: read it atomically.
HANDLE EventOf(ZoQueue* q) { return __atomic_load_n(&q->event, __ATOMIC_ACQUIRE); }

// The header is the end mark in both directions: its first two fields are
// the links of a sentinel item.
ZoQueueLink* End(ZoQueue* q) { return reinterpret_cast<ZoQueueLink*>(q); }

// Holds the queue's lock for the scope.
class Locked : public vane::platform::CsLock {
 public:
  explicit Locked(ZoQueue* q) : CsLock(&q->lock) {}
};

bool EmptyLocked(ZoQueue* q) { return q->head == End(q); }

void LinkAfterLocked(ZoQueue* q, ZoQueueLink* before, ZoQueueLink* item) {
  ZoQueueLink* after = before == End(q) ? q->head : before->next;
  item->prev = before;
  item->next = after;
  if (before == End(q)) q->head = item;
  else before->next = item;
  if (after == End(q)) q->tail = item;
  else after->prev = item;
  if (HANDLE e = EventOf(q); q->head == item && e) SetEvent(e);
}

void UnlinkLocked(ZoQueue* q, ZoQueueLink* item) {
  if (item->prev == End(q)) q->head = item->next;
  else item->prev->next = item->next;
  if (item->next == End(q)) q->tail = item->prev;
  else item->next->prev = item->prev;
  item->next = item->prev = nullptr;
  if (HANDLE e = EventOf(q); EmptyLocked(q) && e) ResetEvent(e);
}

bool LinkedLocked(ZoQueue* q, ZoQueueLink* item) {
  for (ZoQueueLink* p = q->head; p != End(q); p = p->next)
    if (p == item) return true;
  return false;
}

ZoQueueLink* FindLocked(ZoQueue* q, ZOQUEUEMATCHPROC match, LONG_PTR user, bool reverse) {
  if (!match) return nullptr;
  for (ZoQueueLink* p = reverse ? q->tail : q->head; p != End(q); p = reverse ? p->prev : p->next)
    if (match(user, p)) return p;
  return nullptr;
}

LONGLONG NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// The wait of step 3: on the event alone, or on the event and the extra
// handles. Returns the platform's result.
DWORD WaitOnce(HANDLE event, const HANDLE* handles, DWORD count, DWORD flags, DWORD timeoutMs) {
  if (!count) return WaitForSingleObject(event, timeoutMs);
  std::vector<HANDLE> all{event};
  all.insert(all.end(), handles, handles + count);
  return WaitForMultipleObjects(DWORD(all.size()), all.data(), (flags & ZOQUEUE_WAIT_ALL) ? TRUE : FALSE, timeoutMs);
}

ZoQueueLink* Remove(ZoQueue* q, const HANDLE* handles, DWORD count, DWORD flags, DWORD timeoutMs, DWORD* waitResult,
                    bool fromTail) {
  if (waitResult) *waitResult = WAIT_OBJECT_0;
  if (!q || (handles && count >= 63) || (!handles && count)) return nullptr;
  const bool timed = timeoutMs != 0 && timeoutMs != INFINITE;
  const LONGLONG start = timed ? NowMs() : 0;
  DWORD left = timeoutMs;
  for (;;) {
    // A deleted queue's lock is gone: test the event before taking it.
    if (!EventOf(q)) return nullptr;
    HANDLE event;
    {
      Locked lock(q);
      if (!EmptyLocked(q)) {
        ZoQueueLink* item = fromTail ? q->tail : q->head;
        UnlinkLocked(q, item);
        return item;
      }
      event = __atomic_load_n(&q->event, __ATOMIC_ACQUIRE);
      if (left == 0 || !event) return nullptr;
    }
    const DWORD r = WaitOnce(event, handles, count, flags, left);
    if (waitResult) *waitResult = r;
    if (r == WAIT_TIMEOUT || r == WAIT_FAILED) return nullptr;
    // With the event first, any other index is an extra handle.
    if (count && r != WAIT_OBJECT_0 && !(flags & ZOQUEUE_WAIT_ALL)) return nullptr;
    if (timed) {
      const LONGLONG waited = NowMs() - start;
      left = waited >= LONGLONG(timeoutMs) ? 0 : DWORD(timeoutMs - waited);
    }
  }
}

}  // namespace

VANE_EXTERN_C BOOL ZoQueueInitialize(ZoQueue* queue) {
  if (!queue) return FALSE;
  if (!queue->event) {
    queue->event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!queue->event) return FALSE;
    InitializeCriticalSection(&queue->lock);
  }
  queue->head = queue->tail = End(queue);
  return TRUE;
}

VANE_EXTERN_C void ZoQueueDelete(ZoQueue* queue) {
  if (!queue) return;
  HANDLE event = __atomic_exchange_n(&queue->event, nullptr, __ATOMIC_ACQ_REL);
  if (!event) return;
  // Waiters wake, find the event gone and return null.
  SetEvent(event);
  CloseHandle(event);
  EnterCriticalSection(&queue->lock);
  LeaveCriticalSection(&queue->lock);
  queue->head = queue->tail = End(queue);
  DeleteCriticalSection(&queue->lock);
}

VANE_EXTERN_C void ZoQueueFlush(ZoQueue* queue) {
  if (!queue || !queue->event) return;
  Locked lock(queue);
  queue->head = queue->tail = End(queue);
  // Waiters wake, find nothing and wait again for the rest of their time.
  SetEvent(queue->event);
}

VANE_EXTERN_C void ZoQueueInsert(ZoQueue* queue, ZoQueueLink* item) {
  if (!queue || !item || !queue->event) return;
  Locked lock(queue);
  LinkAfterLocked(queue, queue->tail, item);
}

VANE_EXTERN_C void ZoQueueInsertHead(ZoQueue* queue, ZoQueueLink* item) {
  if (!queue || !item || !queue->event) return;
  Locked lock(queue);
  LinkAfterLocked(queue, End(queue), item);
}

VANE_EXTERN_C void ZoQueueInsertEx(ZoQueue* queue, ZOQUEUECOMPAREPROC compare, LONG_PTR user, ZoQueueLink* item) {
  if (!queue || !item || !compare || !queue->event) return;
  Locked lock(queue);
  ZoQueueLink* p = queue->head;
  while (p != End(queue) && !compare(user, p, item)) p = p->next;
  LinkAfterLocked(queue, p == End(queue) ? queue->tail : p->prev, item);
}

VANE_EXTERN_C void ZoQueueInsertExRev(ZoQueue* queue, ZOQUEUECOMPAREPROC compare, LONG_PTR user, ZoQueueLink* item) {
  if (!queue || !item || !compare || !queue->event) return;
  Locked lock(queue);
  ZoQueueLink* p = queue->tail;
  while (p != End(queue) && !compare(user, p, item)) p = p->prev;
  LinkAfterLocked(queue, p, item);
}

VANE_EXTERN_C ZoQueueLink* ZoQueueRemoveEx(ZoQueue* queue, const HANDLE* handles, DWORD count, DWORD flags,
                                           DWORD timeoutMs, DWORD* waitResult) {
  return Remove(queue, handles, count, flags, timeoutMs, waitResult, false);
}

VANE_EXTERN_C ZoQueueLink* ZoQueueRemove(ZoQueue* queue, DWORD timeoutMs) {
  return Remove(queue, nullptr, 0, 0, timeoutMs, nullptr, false);
}

VANE_EXTERN_C ZoQueueLink* ZoQueueRemoveAlertable(ZoQueue* queue, DWORD timeoutMs) {
  return Remove(queue, nullptr, 0, ZOQUEUE_WAIT_ALLINPUT | ZOQUEUE_WAIT_KEEP_ON_MESSAGES, timeoutMs, nullptr, false);
}

VANE_EXTERN_C ZoQueueLink* ZoQueueRemoveTail(ZoQueue* queue, DWORD timeoutMs) {
  return Remove(queue, nullptr, 0, 0, timeoutMs, nullptr, true);
}

VANE_EXTERN_C BOOL ZoQueueWait(ZoQueue* queue, DWORD timeoutMs) {
  if (!queue || !queue->event) return FALSE;
  {
    Locked lock(queue);
    if (!EmptyLocked(queue)) return TRUE;
  }
  if (WaitForSingleObject(queue->event, timeoutMs) != WAIT_OBJECT_0 || !EventOf(queue)) return FALSE;
  Locked lock(queue);
  return EmptyLocked(queue) ? FALSE : TRUE;
}

VANE_EXTERN_C ZoQueueLink* ZoQueueFind(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  if (!queue || !queue->event) return nullptr;
  Locked lock(queue);
  return FindLocked(queue, match, user, false);
}

VANE_EXTERN_C ZoQueueLink* ZoQueueFindRev(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  if (!queue || !queue->event) return nullptr;
  Locked lock(queue);
  return FindLocked(queue, match, user, true);
}

namespace {

ZoQueueLink* FindAndRemove(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user, bool reverse) {
  if (!queue || !queue->event) return nullptr;
  Locked lock(queue);
  ZoQueueLink* found = FindLocked(queue, match, user, reverse);
  if (found) UnlinkLocked(queue, found);
  return found;
}

ZoQueueLink* FindAndMove(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user, bool toHead) {
  if (!queue || !queue->event) return nullptr;
  Locked lock(queue);
  ZoQueueLink* found = FindLocked(queue, match, user, false);
  if (found) {
    UnlinkLocked(queue, found);
    LinkAfterLocked(queue, toHead ? End(queue) : queue->tail, found);
  }
  return found;
}

BOOL Move(ZoQueue* queue, ZoQueueLink* item, bool toHead) {
  if (!queue || !item || !queue->event) return FALSE;
  Locked lock(queue);
  if (!LinkedLocked(queue, item)) return FALSE;
  UnlinkLocked(queue, item);
  LinkAfterLocked(queue, toHead ? End(queue) : queue->tail, item);
  return TRUE;
}

}  // namespace

VANE_EXTERN_C ZoQueueLink* ZoQueueFindAndRemove(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  return FindAndRemove(queue, match, user, false);
}
VANE_EXTERN_C ZoQueueLink* ZoQueueFindAndRemoveRev(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  return FindAndRemove(queue, match, user, true);
}
VANE_EXTERN_C ZoQueueLink* ZoQueueFindAndMoveToHead(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  return FindAndMove(queue, match, user, true);
}
VANE_EXTERN_C ZoQueueLink* ZoQueueFindAndMoveToTail(ZoQueue* queue, ZOQUEUEMATCHPROC match, LONG_PTR user) {
  return FindAndMove(queue, match, user, false);
}
VANE_EXTERN_C BOOL ZoQueueMoveToHead(ZoQueue* queue, ZoQueueLink* item) { return Move(queue, item, true); }
VANE_EXTERN_C BOOL ZoQueueMoveToTail(ZoQueue* queue, ZoQueueLink* item) { return Move(queue, item, false); }

VANE_EXTERN_C BOOL IsInZoQueue(ZoQueue* queue, ZoQueueLink* item) {
  if (!queue || !item || !queue->event) return FALSE;
  Locked lock(queue);
  return LinkedLocked(queue, item) ? TRUE : FALSE;
}
