// SPDX-License-Identifier: MIT
// The clock: monotonic reads, caller counters, and the cycle-counter switch.
#include <gtest/gtest.h>

#include <thread>

#include "kernel/clock.h"
#include "platform/status.h"

namespace vane::kernel {
namespace {

TEST(Clock, ReadsNeverGoBackwards) {
  ZoTimer_Initialize(4);
  EXPECT_EQ(ZoTimer_GetLevel(), 1);
  EXPECT_EQ(ZoTimer_LateInitialize(), S_FALSE);  // nothing armed at level 4
  LONGLONG last = ZoGetMicrosec();
  EXPECT_GE(last, 0);
  for (int i = 0; i < 10000; ++i) {
    const LONGLONG now = ZoGetMicrosec();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(Clock, CallerCountersMeasureTheirInterval) {
  ZoTimer_Initialize(4);
  LONGLONG counter = 0;
  ZoDeltaMicrosecEx(&counter);
  const LONGLONG start = counter;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const LONGLONG ms = ZoGetMillisecEx(start);
  EXPECT_GE(ms, 19);
  EXPECT_LT(ms, 2000);
  EXPECT_GE(ZoGetMicrosecEx(start), ms * 1000);
  const LONGLONG delta = ZoDeltaMillisecEx(&counter);
  EXPECT_GE(delta, 19);
  EXPECT_GT(counter, start);  // the counter took the present reading
  EXPECT_LT(ZoDeltaMillisecEx(&counter), 20);
  EXPECT_EQ(ZoDeltaMicrosecEx(nullptr), 0);
}

#if defined(__x86_64__)
TEST(Clock, CycleCounterTakesOverAfterLateInitialisation) {
  ZoTimer_Initialize(5);
  EXPECT_EQ(ZoTimer_GetLevel(), 1);  // armed, not yet switched
  EXPECT_EQ(ZoTimer_LateInitialize(), S_OK);
  EXPECT_EQ(ZoTimer_GetLevel(), 5);
  const LONGLONG ms = ZoGetMillisec();
  EXPECT_GE(ms, 450);  // at least the measuring time has passed since the base
  EXPECT_LT(ms, 5000);
  LONGLONG counter = 0;
  ZoDeltaMicrosecEx(&counter);
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const LONGLONG us = ZoDeltaMicrosecEx(&counter);
  EXPECT_GE(us, 25000);
  EXPECT_LT(us, 1000000);
  ZoTimer_Initialize(4);
  EXPECT_EQ(ZoTimer_GetLevel(), 1);
  EXPECT_LT(ZoGetMillisec(), 100);
}
#endif

}  // namespace
}  // namespace vane::kernel
