// SPDX-License-Identifier: MIT
#include "kernel/clock.h"

#include <time.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

#include "platform/status.h"

namespace vane::kernel {
namespace {

constexpr LONGLONG kCounterFrequency = 1000000000;  // CLOCK_MONOTONIC counts nanoseconds
constexpr LONGLONG kMinimumMeasureUs = 500000;
constexpr LONGLONG kAcceptedMeasureUs = 450000;

LONGLONG ReadPerformanceCounter() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return LONGLONG(ts.tv_sec) * kCounterFrequency + ts.tv_nsec;
}

LONGLONG ReadCycles() { return LONGLONG(ReadCycleCounter()); }

// One source of readings with its divisors. Where frequency / ticksPerUs is
// not exactly a million, microsecond results are scaled by a million over
// that quotient.
struct Source {
  LONGLONG (*read)();
  LONGLONG ticksPerMs;
  LONGLONG ticksPerUs;
  LONGLONG usQuotient;  // frequency / ticksPerUs
  LONGLONG base;
};

LONGLONG ToMs(const Source& s, LONGLONG ticks) { return ticks / s.ticksPerMs; }
LONGLONG ToUs(const Source& s, LONGLONG ticks) {
  const LONGLONG us = ticks / s.ticksPerUs;
  return s.usQuotient == 1000000 ? us : us * 1000000 / s.usQuotient;
}

Source MakePerformanceSource() {
  Source s{&ReadPerformanceCounter, kCounterFrequency / 1000, kCounterFrequency / 1000000, 0, 0};
  if (s.ticksPerUs < 1) s.ticksPerUs = 1;
  s.usQuotient = kCounterFrequency / s.ticksPerUs;
  return s;
}

// Sources are never changed once published: a start fills the next entry of
// a small ring and publishes it, so a reader holding the previous one finishes
// its read on consistent values (unless sixteen starts pass during one read).
constexpr int kSourceRing = 16;
Source g_ring[kSourceRing] = {
    {&ReadPerformanceCounter, kCounterFrequency / 1000, kCounterFrequency / 1000000, 1000000, 0}};
int g_ringNext = 1;
std::atomic<const Source*> g_active{&g_ring[0]};
std::atomic<int> g_level{0};
std::mutex g_startMutex;

// The arming of the cycle counter at a level-5 start.
bool g_armed = false;
LONGLONG g_armedCounter = 0;
LONGLONG g_armedCycles = 0;

// Caller holds g_startMutex.
void Publish(const Source& source) {
  Source& slot = g_ring[g_ringNext];
  g_ringNext = (g_ringNext + 1) % kSourceRing;
  slot = source;
  g_active.store(&slot, std::memory_order_release);
}

const Source& Active() { return *g_active.load(std::memory_order_acquire); }

LONGLONG Millisec() {
  const Source& s = Active();
  return ToMs(s, s.read() - s.base);
}
LONGLONG Microsec() {
  const Source& s = Active();
  return ToUs(s, s.read() - s.base);
}
LONGLONG MillisecEx(LONGLONG start) {
  const Source& s = Active();
  return ToMs(s, s.read() - start);
}
LONGLONG MicrosecEx(LONGLONG start) {
  const Source& s = Active();
  return ToUs(s, s.read() - start);
}
LONGLONG DeltaMillisecEx(LONGLONG* counter) {
  if (!counter) return 0;
  const Source& s = Active();
  const LONGLONG now = s.read();
  const LONGLONG elapsed = ToMs(s, now - *counter);
  *counter = now;
  return elapsed;
}
LONGLONG DeltaMicrosecEx(LONGLONG* counter) {
  if (!counter) return 0;
  const Source& s = Active();
  const LONGLONG now = s.read();
  const LONGLONG elapsed = ToUs(s, now - *counter);
  *counter = now;
  return elapsed;
}

}  // namespace

ULONGLONG ReadCycleCounter() {
#if defined(__x86_64__) || defined(__i386__)
  return __rdtsc();
#else
  return 0;
#endif
}

}  // namespace vane::kernel

using namespace vane::kernel;

void ZoTimer_Initialize(int level) {
  std::lock_guard<std::mutex> lock(g_startMutex);
  Source perf = MakePerformanceSource();
  perf.base = ReadPerformanceCounter();
  Publish(perf);
  g_level.store(1, std::memory_order_relaxed);
  g_armed = level >= 5 && ReadCycleCounter() != 0;
  if (g_armed) {
    g_armedCounter = perf.base;
    g_armedCycles = LONGLONG(ReadCycleCounter());
  }
}

HRESULT ZoTimer_LateInitialize(void) {
  std::lock_guard<std::mutex> lock(g_startMutex);
  if (!g_armed) return S_FALSE;
  g_armed = false;
  const LONGLONG elapsedNs = ReadPerformanceCounter() - g_armedCounter;
  const LONGLONG missingUs = kMinimumMeasureUs - elapsedNs / 1000;
  if (missingUs > 0) std::this_thread::sleep_for(std::chrono::microseconds(missingUs));
  const LONGLONG cycles = LONGLONG(ReadCycleCounter()) - g_armedCycles;
  const LONGLONG measuredUs = (ReadPerformanceCounter() - g_armedCounter) / 1000;
  if (measuredUs < kAcceptedMeasureUs || cycles <= 0) return E_FAIL;
  LONGLONG cyclesPerUs = (cycles + measuredUs / 2) / measuredUs;
  if (cyclesPerUs < 1) cyclesPerUs = 1;
  // The cycle source's base is the reading taken at the start, so the times
  // since the base carry on across the switch.
  Publish(Source{&ReadCycles, cyclesPerUs * 1000, cyclesPerUs, 1000000, g_armedCycles});
  g_level.store(5, std::memory_order_relaxed);
  return S_OK;
}

int ZoTimer_GetLevel(void) { return g_level.load(std::memory_order_relaxed); }

LONGLONG ZoGetMillisec(void) { return Millisec(); }
LONGLONG ZoGetMicrosec(void) { return Microsec(); }
LONGLONG ZoGetMillisecEx(LONGLONG start) { return MillisecEx(start); }
LONGLONG ZoGetMicrosecEx(LONGLONG start) { return MicrosecEx(start); }
LONGLONG ZoDeltaMillisecEx(LONGLONG* counter) { return DeltaMillisecEx(counter); }
LONGLONG ZoDeltaMicrosecEx(LONGLONG* counter) { return DeltaMicrosecEx(counter); }
