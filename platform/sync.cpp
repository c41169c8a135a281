// SPDX-License-Identifier: MIT
// Critical sections, waitable objects (events, mutexes, threads), waits and
// interlocked operations.
//
// All waitable state is guarded by one process-wide mutex. A waiting thread
// registers its own condition variable with each object it waits on; a
// signal wakes exactly those waiters, and the first to re-take the lock
// consumes an auto-reset event or a mutex, so one signal releases one waiter.
#include "platform/sync.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "platform/detail/handle.h"
#include "platform/file.h"

namespace vane::platform {
namespace {

using detail::HandleKind;
using detail::HandleObject;

static_assert(sizeof(std::recursive_mutex) <= sizeof(CRITICAL_SECTION::storage));
static_assert(alignof(std::recursive_mutex) <= 16);

std::recursive_mutex* CsMutex(CRITICAL_SECTION* cs) {
  return std::launder(reinterpret_cast<std::recursive_mutex*>(cs->storage));
}

std::mutex& WaitMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

class Waitable : public HandleObject {
 public:
  using HandleObject::HandleObject;
  // Both called with WaitMutex held.
  virtual bool IsSignaledLocked(DWORD thread) const = 0;
  // Takes what the wait acquires; returns true when it was abandoned.
  virtual bool AcquireLocked(DWORD thread) = 0;

  void WakeWaitersLocked() {
    for (std::condition_variable* cv : m_waiters) cv->notify_one();
  }
  std::vector<std::condition_variable*> m_waiters;
};

class Event final : public Waitable {
 public:
  static constexpr HandleKind kKind = HandleKind::Event;
  Event(bool manual, bool state) : Waitable(kKind), m_manual(manual), m_state(state) {}
  bool IsSignaledLocked(DWORD) const override { return m_state; }
  bool AcquireLocked(DWORD) override {
    if (!m_manual) m_state = false;
    return false;
  }
  bool m_manual;
  bool m_state;
};

class Mutex final : public Waitable {
 public:
  static constexpr HandleKind kKind = HandleKind::Mutex;
  Mutex() : Waitable(kKind) {}
  bool IsSignaledLocked(DWORD thread) const override { return m_owner == 0 || m_owner == thread || OwnerGone(); }
  bool AcquireLocked(DWORD thread) override {
    const bool abandoned = m_owner != 0 && m_owner != thread;
    if (abandoned) m_count = 0;
    m_owner = thread;
    ++m_count;
    return abandoned;
  }
  // The owner ended without releasing: no task of ours has its id any more.
  bool OwnerGone() const { return m_owner != 0 && ::syscall(SYS_tgkill, getpid(), m_owner, 0) != 0; }
  DWORD m_owner = 0;
  LONG m_count = 0;
};

class Thread final : public Waitable {
 public:
  static constexpr HandleKind kKind = HandleKind::Thread;
  Thread() : Waitable(kKind) {}
  bool IsSignaledLocked(DWORD) const override { return m_done; }
  bool AcquireLocked(DWORD) override { return false; }
  LPTHREAD_START_ROUTINE m_start = nullptr;
  LPVOID m_parameter = nullptr;
  DWORD m_id = 0;
  DWORD m_exitCode = STILL_ACTIVE;
  DWORD m_suspend = 0;
  bool m_done = false;
  std::condition_variable m_changed;  // start-up handshake and resume
  std::shared_ptr<Thread> m_self;     // keeps the object alive while running
};

std::shared_ptr<Waitable> LookupWaitable(HANDLE handle) {
  auto object = detail::LookupAnyHandle(handle);
  if (!object) return nullptr;
  switch (object->Kind()) {
    case HandleKind::Event:
    case HandleKind::Mutex:
    case HandleKind::Thread:
      return std::static_pointer_cast<Waitable>(object);
    default:
      SetLastError(ERROR_INVALID_HANDLE);
      return nullptr;
  }
}

void* ThreadMain(void* arg) {
  auto* raw = static_cast<Thread*>(arg);
  std::shared_ptr<Thread> self;
  {
    std::unique_lock lock(WaitMutex());
    self = std::move(raw->m_self);
    self->m_id = GetCurrentThreadId();
    self->m_changed.notify_all();
    self->m_changed.wait(lock, [&] { return self->m_suspend == 0; });
  }
  const DWORD code = self->m_start(self->m_parameter);
  std::lock_guard lock(WaitMutex());
  self->m_exitCode = code;
  self->m_done = true;
  self->WakeWaitersLocked();
  return nullptr;
}

DWORD Wait(DWORD count, const HANDLE* handles, bool waitAll, DWORD milliseconds) {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || !handles) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  std::vector<std::shared_ptr<Waitable>> objects;
  objects.reserve(count);
  for (DWORD i = 0; i < count; ++i) {
    objects.push_back(LookupWaitable(handles[i]));
    if (!objects.back()) return WAIT_FAILED;
  }
  const DWORD self = GetCurrentThreadId();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  // An owner thread that ends holding a mutex signals nobody, so a wait that
  // involves a held mutex looks again now and then.
  const bool poll = std::any_of(objects.begin(), objects.end(), [](auto& o) { return o->Kind() == HandleKind::Mutex; });
  constexpr auto kPollStep = std::chrono::milliseconds(50);
  std::condition_variable wake;
  std::unique_lock lock(WaitMutex());
  for (auto& o : objects) o->m_waiters.push_back(&wake);
  DWORD result = WAIT_TIMEOUT;
  for (;;) {
    if (waitAll) {
      const bool all = std::all_of(objects.begin(), objects.end(), [&](auto& o) { return o->IsSignaledLocked(self); });
      if (all) {
        bool abandoned = false;
        for (auto& o : objects) abandoned |= o->AcquireLocked(self);
        result = abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
        break;
      }
    } else {
      auto it = std::find_if(objects.begin(), objects.end(), [&](auto& o) { return o->IsSignaledLocked(self); });
      if (it != objects.end()) {
        const DWORD index = DWORD(it - objects.begin());
        result = ((*it)->AcquireLocked(self) ? WAIT_ABANDONED : WAIT_OBJECT_0) + index;
        break;
      }
    }
    if (milliseconds == 0) break;
    if (milliseconds == INFINITE) {
      if (poll) {
        wake.wait_for(lock, kPollStep);
      } else {
        wake.wait(lock);
      }
    } else if (poll && std::chrono::steady_clock::now() + kPollStep < deadline) {
      wake.wait_for(lock, kPollStep);
    } else if (wake.wait_until(lock, deadline) == std::cv_status::timeout && std::chrono::steady_clock::now() >= deadline) {
      // One last look: a signal may have come with the timeout.
      milliseconds = 0;
    }
  }
  for (auto& o : objects) {
    auto& w = o->m_waiters;
    w.erase(std::find(w.begin(), w.end(), &wake));
  }
  return result;
}

}  // namespace
}  // namespace vane::platform

using namespace vane::platform;

void InitializeCriticalSection(CRITICAL_SECTION* cs) {
  if (!cs) return;
  new (cs->storage) std::recursive_mutex;
  cs->owner = 0;
  cs->recursion = 0;
}

BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* cs, DWORD) {
  InitializeCriticalSection(cs);
  return cs ? TRUE : FALSE;
}

void DeleteCriticalSection(CRITICAL_SECTION* cs) {
  if (cs) CsMutex(cs)->~recursive_mutex();
}

void EnterCriticalSection(CRITICAL_SECTION* cs) {
  if (!cs) return;
  CsMutex(cs)->lock();
  cs->owner = GetCurrentThreadId();
  ++cs->recursion;
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* cs) {
  if (!cs || !CsMutex(cs)->try_lock()) return FALSE;
  cs->owner = GetCurrentThreadId();
  ++cs->recursion;
  return TRUE;
}

void LeaveCriticalSection(CRITICAL_SECTION* cs) {
  // Leaving a section the thread does not hold would be undefined for the
  // mutex; it is ignored instead.
  if (!cs || cs->owner != GetCurrentThreadId() || cs->recursion <= 0) return;
  if (--cs->recursion == 0) cs->owner = 0;
  CsMutex(cs)->unlock();
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCWSTR) {
  return detail::RegisterHandle(std::make_shared<Event>(manualReset != FALSE, initialState != FALSE));
}

BOOL SetEvent(HANDLE event) {
  auto e = detail::Lookup<Event>(event);
  if (!e) return FALSE;
  std::lock_guard lock(WaitMutex());
  e->m_state = true;
  e->WakeWaitersLocked();
  return TRUE;
}

BOOL ResetEvent(HANDLE event) {
  auto e = detail::Lookup<Event>(event);
  if (!e) return FALSE;
  std::lock_guard lock(WaitMutex());
  e->m_state = false;
  return TRUE;
}

HANDLE CreateMutexW(SECURITY_ATTRIBUTES*, BOOL initialOwner, LPCWSTR) {
  auto m = std::make_shared<Mutex>();
  if (initialOwner) {
    m->m_owner = GetCurrentThreadId();
    m->m_count = 1;
  }
  return detail::RegisterHandle(std::move(m));
}

BOOL ReleaseMutex(HANDLE mutex) {
  auto m = detail::Lookup<Mutex>(mutex);
  if (!m) return FALSE;
  std::lock_guard lock(WaitMutex());
  if (m->m_owner != GetCurrentThreadId() || m->m_count == 0) {
    SetLastError(ERROR_NOT_OWNER);
    return FALSE;
  }
  if (--m->m_count == 0) {
    m->m_owner = 0;
    m->WakeWaitersLocked();
  }
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) { return Wait(1, &handle, false, milliseconds); }

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
  return Wait(count, handles, waitAll != FALSE, milliseconds);
}

HANDLE CreateThread(SECURITY_ATTRIBUTES*, SIZE_T stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                    DWORD flags, DWORD* threadId) {
  if (!start) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto t = std::make_shared<Thread>();
  t->m_start = start;
  t->m_parameter = parameter;
  t->m_suspend = (flags & CREATE_SUSPENDED) ? 1 : 0;
  t->m_self = t;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  if (stackSize) pthread_attr_setstacksize(&attr, std::max<SIZE_T>(stackSize, PTHREAD_STACK_MIN));
  pthread_t id;
  const int rc = pthread_create(&id, &attr, &ThreadMain, t.get());
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    t->m_self.reset();
    detail::SetLastErrorFromErrno(rc);
    return nullptr;
  }
  {
    std::unique_lock lock(WaitMutex());
    t->m_changed.wait(lock, [&] { return t->m_id != 0; });
  }
  if (threadId) *threadId = t->m_id;
  return detail::RegisterHandle(std::move(t));
}

DWORD ResumeThread(HANDLE thread) {
  auto t = detail::Lookup<Thread>(thread);
  if (!t) return DWORD(-1);
  std::lock_guard lock(WaitMutex());
  const DWORD previous = t->m_suspend;
  if (previous > 0 && --t->m_suspend == 0) t->m_changed.notify_all();
  return previous;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode) {
  auto t = detail::Lookup<Thread>(thread);
  if (!t) return FALSE;
  if (!exitCode) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::lock_guard lock(WaitMutex());
  *exitCode = t->m_exitCode;
  return TRUE;
}

DWORD GetCurrentThreadId(void) {
  thread_local DWORD id = 0;
  if (id == 0) id = DWORD(::gettid());
  return id;
}

DWORD GetCurrentProcessId(void) { return DWORD(::getpid()); }

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
}

LONG InterlockedIncrement(volatile LONG* value) { return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST); }
LONG InterlockedDecrement(volatile LONG* value) { return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST); }
LONG InterlockedExchange(volatile LONG* target, LONG value) {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
LONG InterlockedExchangeAdd(volatile LONG* target, LONG value) {
  return __atomic_fetch_add(target, value, __ATOMIC_SEQ_CST);
}
LONG InterlockedCompareExchange(volatile LONG* target, LONG exchange, LONG comparand) {
  __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
void* InterlockedExchangePointer(void* volatile* target, void* value) {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
void* InterlockedCompareExchangePointer(void* volatile* target, void* exchange, void* comparand) {
  __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
