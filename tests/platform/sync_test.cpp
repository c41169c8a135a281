// SPDX-License-Identifier: MIT
#include "platform/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/file.h"

namespace {

struct Waiter {
  HANDLE event;
  std::atomic<int>* woken;
};

DWORD WaitOnce(LPVOID p) {
  auto* w = static_cast<Waiter*>(p);
  if (WaitForSingleObject(w->event, INFINITE) == WAIT_OBJECT_0) ++*w->woken;
  return 0;
}

DWORD ReturnSeven(LPVOID) { return 7; }

DWORD HoldUntilSet(LPVOID event) {
  WaitForSingleObject(static_cast<HANDLE>(event), INFINITE);
  return 1;
}

}  // namespace

TEST(CriticalSection, IsRecursiveAndExcludesOtherThreads) {
  CRITICAL_SECTION cs;
  InitializeCriticalSection(&cs);
  EnterCriticalSection(&cs);
  EXPECT_TRUE(TryEnterCriticalSection(&cs));  // same thread re-enters
  EXPECT_EQ(cs.recursion, 2);
  EXPECT_EQ(cs.owner, GetCurrentThreadId());
  auto tryOther = [&] {
    BOOL got = FALSE;
    std::thread([&] {
      got = TryEnterCriticalSection(&cs);
      if (got) LeaveCriticalSection(&cs);
    }).join();
    return got;
  };
  EXPECT_FALSE(tryOther());
  LeaveCriticalSection(&cs);
  EXPECT_FALSE(tryOther());  // still held once
  LeaveCriticalSection(&cs);
  EXPECT_TRUE(tryOther());
  EXPECT_EQ(cs.owner, 0u);
  DeleteCriticalSection(&cs);
}

TEST(Event, AutoResetReleasesOneWaiterPerSignal) {
  HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::atomic<int> woken{0};
  Waiter w{event, &woken};
  HANDLE threads[2];
  for (HANDLE& t : threads) t = CreateThread(nullptr, 0, &WaitOnce, &w, 0, nullptr);
  SetEvent(event);
  // Exactly one of the two threads ends; the other keeps waiting.
  const DWORD first = WaitForMultipleObjects(2, threads, FALSE, INFINITE);
  ASSERT_LT(first, WAIT_OBJECT_0 + 2);
  EXPECT_EQ(WaitForSingleObject(threads[1 - (first - WAIT_OBJECT_0)], 50), WAIT_TIMEOUT);
  EXPECT_EQ(woken.load(), 1);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);  // consumed
  SetEvent(event);
  EXPECT_EQ(WaitForMultipleObjects(2, threads, TRUE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(woken.load(), 2);
  for (HANDLE t : threads) CloseHandle(t);
  CloseHandle(event);
}

TEST(Event, ManualResetReleasesAllAndStaysSignalled) {
  HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::atomic<int> woken{0};
  Waiter w{event, &woken};
  std::vector<HANDLE> threads;
  for (int i = 0; i < 4; ++i) threads.push_back(CreateThread(nullptr, 0, &WaitOnce, &w, 0, nullptr));
  SetEvent(event);
  EXPECT_EQ(WaitForMultipleObjects(DWORD(threads.size()), threads.data(), TRUE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(woken.load(), 4);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  ResetEvent(event);
  EXPECT_EQ(WaitForSingleObject(event, 10), WAIT_TIMEOUT);
  for (HANDLE t : threads) CloseHandle(t);
  CloseHandle(event);
}

TEST(Wait, AnyGivesLowestSignalledIndexAndAllWaitsForEvery) {
  HANDLE e[3];
  for (HANDLE& h : e) h = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  SetEvent(e[2]);
  SetEvent(e[1]);
  EXPECT_EQ(WaitForMultipleObjects(3, e, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(3, e, FALSE, 0), WAIT_OBJECT_0 + 2);
  SetEvent(e[0]);
  SetEvent(e[1]);
  // Wait-all takes none while one is missing, so the others stay set.
  EXPECT_EQ(WaitForMultipleObjects(3, e, TRUE, 10), WAIT_TIMEOUT);
  SetEvent(e[2]);
  EXPECT_EQ(WaitForMultipleObjects(3, e, TRUE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(3, e, FALSE, 0), WAIT_TIMEOUT);
  for (HANDLE h : e) CloseHandle(h);
}

TEST(Wait, RefusesBadHandlesAndCounts) {
  HANDLE e = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  int local = 0;
  HANDLE bogus[2] = {e, &local};
  SetLastError(0);
  EXPECT_EQ(WaitForMultipleObjects(2, bogus, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(WaitForMultipleObjects(0, bogus, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, bogus, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_TRUE(CloseHandle(e));
  EXPECT_FALSE(CloseHandle(e));
  EXPECT_EQ(WaitForSingleObject(e, 0), WAIT_FAILED);
  EXPECT_FALSE(SetEvent(e));
}

TEST(Thread, HandleSignalsAtExitWithExitCode) {
  DWORD id = 0;
  HANDLE t = CreateThread(nullptr, 0, &ReturnSeven, nullptr, 0, &id);
  ASSERT_NE(t, nullptr);
  EXPECT_NE(id, 0u);
  EXPECT_NE(id, GetCurrentThreadId());
  EXPECT_EQ(WaitForSingleObject(t, INFINITE), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(t, &code));
  EXPECT_EQ(code, 7u);
  EXPECT_TRUE(CloseHandle(t));
}

TEST(Thread, SuspendedThreadRunsAfterResume) {
  HANDLE go = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  HANDLE t = CreateThread(nullptr, 64 * 1024, &HoldUntilSet, go, CREATE_SUSPENDED, nullptr);
  EXPECT_EQ(WaitForSingleObject(t, 20), WAIT_TIMEOUT);
  DWORD code = 0;
  GetExitCodeThread(t, &code);
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(ResumeThread(t), 1u);
  EXPECT_EQ(WaitForSingleObject(t, INFINITE), WAIT_OBJECT_0);
  CloseHandle(t);
  CloseHandle(go);
}

TEST(Thread, IdIsStablePerThreadAndDistinct) {
  const DWORD mine = GetCurrentThreadId();
  EXPECT_EQ(GetCurrentThreadId(), mine);
  DWORD other = 0;
  std::thread([&] { other = GetCurrentThreadId(); }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, mine);
}

TEST(Mutex, IsRecursiveOwnedAndReportsAbandonment) {
  HANDLE m = CreateMutexW(nullptr, FALSE, nullptr);
  EXPECT_EQ(WaitForSingleObject(m, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(m, 0), WAIT_OBJECT_0);
  DWORD other = WAIT_FAILED;
  BOOL released = TRUE;
  std::thread([&] {
    other = WaitForSingleObject(m, 10);
    released = ReleaseMutex(m);
  }).join();
  EXPECT_EQ(other, WAIT_TIMEOUT);
  EXPECT_FALSE(released);
  EXPECT_TRUE(ReleaseMutex(m));
  EXPECT_TRUE(ReleaseMutex(m));
  EXPECT_FALSE(ReleaseMutex(m));
  EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
  // A thread that ends holding the mutex leaves it abandoned.
  std::thread([&] { WaitForSingleObject(m, 0); }).join();
  EXPECT_EQ(WaitForSingleObject(m, 2000), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(m));
  CloseHandle(m);
}

TEST(Interlocked, CountsExactlyUnderContention) {
  volatile LONG counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) InterlockedIncrement(&counter);
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 80000);
  EXPECT_EQ(InterlockedCompareExchange(&counter, 5, 1), 80000);  // no match: unchanged
  EXPECT_EQ(InterlockedCompareExchange(&counter, 5, 80000), 80000);
  EXPECT_EQ(InterlockedExchangeAdd(&counter, -5), 5);
  EXPECT_EQ(InterlockedDecrement(&counter), -1);
  void* volatile slot = nullptr;
  int x;
  EXPECT_EQ(InterlockedCompareExchangePointer(&slot, &x, nullptr), nullptr);
  EXPECT_EQ(InterlockedExchangePointer(&slot, nullptr), &x);
}
