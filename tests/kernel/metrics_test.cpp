// SPDX-License-Identifier: MIT
// Metrics over the registry store: every value type round trips under its
// name rules, readers answer with defaults, processes writing at once lose
// nothing, a killed writer leaves the store whole, and a damaged store gives
// statuses and defaults instead of a crash.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "kernel/metrics.h"
#include "platform/registry.h"
#include "tests/support/test_files.h"

namespace {

// One store for this test program, set before the first use.
const std::string& StoreDir() {
  static const vane::test::ScratchDir* dir = [] {
    auto* d = new vane::test::ScratchDir();
    setenv("VANE_REGISTRY_DIR", d->path().c_str(), 1);
    return d;
  }();
  return dir->path().native();
}

class Metrics : public ::testing::Test {
 protected:
  void SetUp() override {
    StoreDir();
    ASSERT_EQ(ZoMetric_Open(&m, u"VaneTest", 0x01020000, nullptr), S_OK);
  }
  void TearDown() override {
    ZoMetric_Close(m);
    ZoMetric_DeleteAll(u"VaneTest", 0x01020000);
  }
  HZOMETRIC m = nullptr;
};

TEST_F(Metrics, ValuesRoundTripUnderTheirNames) {
  EXPECT_EQ(std::u16string(m->path), u"Software\\Quon Works\\VaneTest\\1.2\\Metrics");
  ASSERT_EQ(ZoSetMetric(m, 5, 77), S_OK);
  EXPECT_EQ(ZoGetMetric(m, -5), 77u) << "id -5 reads id 5";
  EXPECT_EQ(ZoGetMetricEx(m, 5, 10, 10, 3), 77u) << "equal bounds don't clamp";
  EXPECT_EQ(ZoGetMetricEx(m, 5, 0, 50, 3), 50u);
  EXPECT_EQ(ZoGetMetricEx(m, 6, 0, 50, 3), 3u) << "absent: the default";
  EXPECT_TRUE(ZoGetMetricBool(m, 5, FALSE));
  EXPECT_TRUE(ZoGetMetricBool(m, 99, TRUE));
  EXPECT_EQ(ZoDoesMetricExist(m, 5, 4), S_OK);
  EXPECT_EQ(ZoDoesMetricExist(m, 5, 1), MakeStatus(1));

  ASSERT_EQ(ZoSetMetricString(m, 7, u"Studio A"), S_OK);
  WCHAR text[16];
  EXPECT_EQ(ZoGetMetricStringEx(m, 7, text, 16, u"none", FALSE), 8);
  EXPECT_EQ(std::u16string(text), u"Studio A");
  EXPECT_EQ(ZoGetMetricStringEx(m, 8, text, 16, u"none", TRUE), 4);
  EXPECT_EQ(ZoGetMetricStringEx(m, 8, text, 16, nullptr, FALSE), 0);
  EXPECT_EQ(text[0], 0) << "no value, no default: zeroed";
  ASSERT_EQ(ZoSetMetricString(m, 9, u""), S_OK);
  EXPECT_EQ(ZoGetMetricStringEx(m, 9, text, 16, u"dflt", TRUE), 0) << "present but empty, default only when absent";
  EXPECT_EQ(ZoGetMetricStringEx(m, 9, text, 16, u"dflt", FALSE), 4);

  const WCHAR list[] = u"one\0two\0";
  ASSERT_EQ(ZoSetMetricMultiString(m, 3, list, 9), S_OK);
  EXPECT_EQ(ZoGetMetricMultiStringEx(m, 3, text, 16, nullptr, FALSE), 9);
  EXPECT_EQ(std::u16string(text, 9), std::u16string(list, 9));

  const BYTE blob[6] = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(ZoSetMetricBinary(m, 2, blob, 6), S_OK);
  BYTE small[4] = {9, 9, 9, 9};
  EXPECT_EQ(ZoGetMetricBinary(m, 2, small, 4), 0u) << "longer than the buffer";
  EXPECT_EQ(small[0], 0);
  DWORD need = 0;
  EXPECT_EQ(ZoGetMetricBinaryEx(m, 2, small, 4, &need), MakeStatus(0x8004E03C));
  EXPECT_EQ(need, 6u);
  EXPECT_EQ(ZoGetMetricBinaryEx(m, 2, nullptr, 0, &need), S_OK);
  EXPECT_EQ(need, 6u) << "a null buffer asks for the size";
  EXPECT_EQ(ZoGetMetricBinaryEx(m, 12, small, 4, &need), S_FALSE);
  EXPECT_EQ(ZoGetMetricBinaryEx(m, 2, small, 4, nullptr), E_INVALIDARG);

  WCHAR name[16];
  ZoMetricGetName(-5, 4, name);
  EXPECT_EQ(std::u16string(name), u"D5") << "the shown name differs from the stored one";
  ZoMetricGetName(5, 3, name);
  EXPECT_EQ(std::u16string(name), u"B5");
  EXPECT_EQ(ZoDeleteMetric(m, 5, 4), S_OK);
  EXPECT_EQ(ZoGetMetric(m, 5), 0u);
  DWORD got = 0, value = 0;
  ASSERT_EQ(ZoSetMetric(m, 8, 123), S_OK);
  EXPECT_EQ(ZoGetMetricAny(m, 8, REG_DWORD, &value, sizeof value, &got), MakeStatus(0x8004E00A)) << "the refused type";
  EXPECT_EQ(ZoGetMetricAny(m, 8, REG_SZ, &value, sizeof value, &got), S_OK);
  EXPECT_EQ(value, 123u);
  EXPECT_EQ(ZoGetMetricAny(m, 7, REG_NONE, text, sizeof text, &got), HRESULT_FROM_WIN32(2)) << "strings stand under S7";
}

TEST_F(Metrics, SubKeysAreSiblingsAndClosedHandlesAnswerDefaults) {
  HZOMETRIC a = nullptr, b = nullptr;
  ASSERT_EQ(ZoMetric_Open(&a, u"VaneTest", 0x01020000, u"Mixer"), S_OK);
  ASSERT_EQ(ZoMetric_OpenSubKey(&b, a, u"Meters"), S_OK);
  EXPECT_EQ(std::u16string(b->path), u"Software\\Quon Works\\VaneTest\\1.2\\Metrics\\Meters");
  ASSERT_EQ(ZoSetMetric(b, 1, 11), S_OK);
  EXPECT_EQ(ZoGetMetric(a, 1), 0u);
  ZoMetric_Close(a);
  EXPECT_EQ(ZoMetric_CloseAndDeleteKey(b), S_OK);
  EXPECT_EQ(ZoMetric_OpenSubKey(&b, nullptr, u"x"), E_FAIL);
  EXPECT_EQ(ZoGetMetricEx(ZOMETRIC_DEFAULT, 1, 0, 0, 42), 42u);
  EXPECT_EQ(ZoSetMetric(ZOMETRIC_DEFAULT, 1, 1), E_FAIL);
  EXPECT_EQ(ZoSetMetricString(nullptr, 1, u"x"), E_FAIL);
  EXPECT_EQ(ZoDeleteMetric(nullptr, 1, 4), MakeStatus(1));
}

TEST_F(Metrics, ProcessesWritingAtOnceLoseNothing) {
  pid_t children[2];
  for (int c = 0; c < 2; ++c) {
    children[c] = fork();
    if (children[c] == 0) {
      HZOMETRIC own = nullptr;
      ZoMetric_Open(&own, u"VaneTest", 0x01020000, nullptr);
      int failures = 0;
      for (int i = 0; i < 150; ++i) failures += FAILED(ZoSetMetric(own, 1000 * (c + 1) + i, DWORD(i + c)));
      _exit(failures ? 1 : 0);
    }
  }
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  for (int c = 0; c < 2; ++c)
    for (int i = 0; i < 150; ++i) ASSERT_EQ(ZoGetMetricEx(m, 1000 * (c + 1) + i, 0, 0, 9999), DWORD(i + c));
}

TEST_F(Metrics, AWriterKilledMidWayLeavesTheStoreWhole) {
  const pid_t child = fork();
  if (child == 0) {
    HZOMETRIC own = nullptr;
    ZoMetric_Open(&own, u"VaneTest", 0x01020000, nullptr);
    for (DWORD i = 0;; ++i) ZoSetMetric(own, LONG(i % 500), i);
  }
  usleep(150000);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  // Every value there is one the writer wrote whole.
  int seen = 0;
  for (LONG id = 0; id < 500; ++id) {
    const DWORD v = ZoGetMetricEx(m, id, 0, 0, 0xFFFFFFFF);
    if (v == 0xFFFFFFFF) continue;
    ++seen;
    EXPECT_EQ(v % 500, DWORD(id));
  }
  EXPECT_GT(seen, 0);
  EXPECT_EQ(ZoSetMetric(m, 1, 1), S_OK) << "the store takes writes after the kill";
}

TEST(MetricsStore, DamagedStoreGivesStatusesAndDefaults) {
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "user.db", std::vector<std::uint8_t>(4096, 0x5A));
  const pid_t child = fork();
  if (child == 0) {
    // A fresh process: the store is opened from this folder.
    setenv("VANE_REGISTRY_DIR", dir.path().c_str(), 1);
    HZOMETRIC m = nullptr;
    const HRESULT open = ZoMetric_Open(&m, u"VaneTest", 0, nullptr);
    const bool ok = FAILED(open) && m != nullptr && ZoGetMetricEx(m, 1, 0, 0, 7) == 7 && FAILED(ZoSetMetric(m, 1, 1)) &&
                    open == MakeStatus(0x80070000u | 1009);
    ZoMetric_Close(m);
    _exit(ok ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
