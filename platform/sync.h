// SPDX-License-Identifier: MIT
// Critical sections (recursive mutexes), events, waits and interlocked
// operations. Event and mutex handles are closed with CloseHandle.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

// A CRITICAL_SECTION holds a recursive mutex in place. Its size is the
// platform's (not the Windows six words); it is never copied or moved.
struct CRITICAL_SECTION {
  alignas(16) unsigned char storage[64];
  DWORD owner;
  LONG recursion;
};

struct SECURITY_ATTRIBUTES;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
inline constexpr DWORD CREATE_SUSPENDED = 0x00000004;
inline constexpr DWORD STILL_ACTIVE = 259;

VANE_BEGIN_EXTERN_C
VANE_EXPORT void InitializeCriticalSection(CRITICAL_SECTION* cs);
VANE_EXPORT BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* cs, DWORD spinCount);
VANE_EXPORT void DeleteCriticalSection(CRITICAL_SECTION* cs);
VANE_EXPORT void EnterCriticalSection(CRITICAL_SECTION* cs);
VANE_EXPORT BOOL TryEnterCriticalSection(CRITICAL_SECTION* cs);
VANE_EXPORT void LeaveCriticalSection(CRITICAL_SECTION* cs);

// Events: manual or automatic reset; name is accepted for the record only.
VANE_EXPORT HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCWSTR name);
VANE_EXPORT BOOL SetEvent(HANDLE event);
VANE_EXPORT BOOL ResetEvent(HANDLE event);
// Mutexes: recursive, owned by a thread; a wait acquires one. A mutex whose
// owner thread ended is handed to the next waiter with WAIT_ABANDONED. The
// name is accepted for the record only (in-process objects).
VANE_EXPORT HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name);
VANE_EXPORT BOOL ReleaseMutex(HANDLE mutex);
// Waits on an event, mutex or thread handle (see CreateThread). A wait for
// one of several gives WAIT_OBJECT_0 + the lowest signalled index; a wait for
// all takes them together. At most MAXIMUM_WAIT_OBJECTS handles.
VANE_EXPORT DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
VANE_EXPORT DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);

// Threads: the handle is signalled when the thread ends. stackSize 0 takes
// the default; CREATE_SUSPENDED holds the start until ResumeThread.
using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID parameter);
VANE_EXPORT HANDLE CreateThread(SECURITY_ATTRIBUTES* security, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                                LPVOID parameter, DWORD flags, DWORD* threadId);
VANE_EXPORT DWORD ResumeThread(HANDLE thread);
// STILL_ACTIVE while the thread runs.
VANE_EXPORT BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode);
// A stable, non-zero id for the calling thread (the kernel's thread id).
VANE_EXPORT DWORD GetCurrentThreadId(void);
VANE_EXPORT DWORD GetCurrentProcessId(void);
VANE_EXPORT void Sleep(DWORD milliseconds);

VANE_EXPORT LONG InterlockedIncrement(volatile LONG* value);
VANE_EXPORT LONG InterlockedDecrement(volatile LONG* value);
VANE_EXPORT LONG InterlockedExchange(volatile LONG* target, LONG value);
VANE_EXPORT LONG InterlockedExchangeAdd(volatile LONG* target, LONG value);
VANE_EXPORT LONG InterlockedCompareExchange(volatile LONG* target, LONG exchange, LONG comparand);
VANE_EXPORT void* InterlockedExchangePointer(void* volatile* target, void* value);
VANE_EXPORT void* InterlockedCompareExchangePointer(void* volatile* target, void* exchange, void* comparand);
VANE_END_EXTERN_C

namespace vane::platform {

// Scoped hold of a critical section.
class CsLock {
 public:
  explicit CsLock(CRITICAL_SECTION* cs) : m_cs(cs) { EnterCriticalSection(m_cs); }
  ~CsLock() { LeaveCriticalSection(m_cs); }
  CsLock(const CsLock&) = delete;
  CsLock& operator=(const CsLock&) = delete;

 private:
  CRITICAL_SECTION* m_cs;
};

}  // namespace vane::platform
