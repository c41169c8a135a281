// SPDX-License-Identifier: MIT
// The monitored COM start: spy registration around the apartment counters.
#include <gtest/gtest.h>

#include <thread>

#include "kernel/com_init.h"

namespace vane::kernel {
namespace {

TEST(MonitoredCom, RegistersOnInitialiseAndRevokesOnUninitialise) {
  CMonitored_CoInitializeEx monitor;
  EXPECT_EQ(monitor.CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_EQ(ZoCom_ThreadSpyCount(), 1u);
  EXPECT_EQ(ZoCom_ThreadApartmentRefs(), 1u);
  // A second start on the thread is a success that is not S_OK; the spy
  // passes the system's result through unchanged.
  EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
  EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
  ::CoUninitialize();
  monitor.CoUninitialize();
  EXPECT_EQ(ZoCom_ThreadSpyCount(), 0u);
  EXPECT_EQ(ZoCom_ThreadApartmentRefs(), 0u);
}

TEST(MonitoredCom, OleStartCountsBoth) {
  CMonitored_CoInitializeEx monitor;
  EXPECT_EQ(monitor.OleInitialize(nullptr), S_OK);
  EXPECT_EQ(ZoCom_ThreadOleRefs(), 1u);
  EXPECT_EQ(ZoCom_ThreadApartmentRefs(), 1u);
  monitor.OleUninitialize();
  EXPECT_EQ(ZoCom_ThreadOleRefs(), 0u);
  EXPECT_EQ(ZoCom_ThreadApartmentRefs(), 0u);
  EXPECT_EQ(monitor.CoInitialize(nullptr), S_OK);
  EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);  // CoInitialize is apartment
  monitor.CoUninitialize();
}

TEST(MonitoredCom, SpyIsPerThreadAndAnswersItsInterfacesOnly) {
  CMonitored_CoInitializeEx monitor;
  ASSERT_EQ(monitor.CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  std::thread([] {
    EXPECT_EQ(ZoCom_ThreadSpyCount(), 0u);
    EXPECT_EQ(ZoCom_ThreadApartmentRefs(), 0u);
  }).join();
  void* out = nullptr;
  EXPECT_EQ(monitor.QueryInterface(IID_IInitializeSpy, &out), S_OK);
  EXPECT_EQ(monitor.QueryInterface(IID_IClassFactory, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(monitor.AddRef(), 1u);
  EXPECT_EQ(monitor.Release(), 1u);
  EXPECT_EQ(monitor.PostInitialize(MakeStatus(0x8004E005), 0, 0), MakeStatus(0x8004E005));
  monitor.CoUninitialize();
  ULARGE_INTEGER bogus;
  bogus.QuadPart = 987654321;
  EXPECT_EQ(CoRevokeInitializeSpy(bogus), E_INVALIDARG);
}

}  // namespace
}  // namespace vane::kernel
