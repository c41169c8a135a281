// SPDX-License-Identifier: MIT
// Start and end of the kernel, the version handshake and the kernel strings.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kernel/clock.h"
#include "kernel/cpu.h"
#include "kernel/kernel_strings.h"
#include "kernel/lifecycle.h"
#include "kernel/message_box.h"
#include "kernel/os_info.h"
#include "kernel/ui_state.h"
#include "kernel/zolist.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

struct Box {
  HWND owner;
  std::u16string text;
  std::u16string caption;
  UINT style;
};

int Capture(HWND owner, LPCWSTR text, LPCWSTR caption, UINT style, void* context) {
  static_cast<std::vector<Box>*>(context)->push_back(Box{owner, text, caption, style});
  return IDOK;
}

HMODULE FakeModule() { return reinterpret_cast<HMODULE>(0x1234); }

class Kernel : public ::testing::Test {
 protected:
  void SetUp() override {
    ZoKernel_SetMessageBoxHandler(&Capture, &m_boxes);
    ASSERT_TRUE(ZoKernel_EarlyInitialize(FakeModule(), 0));
  }
  void TearDown() override {
    ZoKernel_LateTerminate(FakeModule(), 0);
    SetKernelStringSource(nullptr);
    ZoKernel_SetMessageBoxHandler(nullptr, nullptr);
  }
  std::vector<Box> m_boxes;
};

const HWND kOwner = reinterpret_cast<HWND>(0x77);

TEST_F(Kernel, ClientOfEqualOrOlderVersionPasses) {
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION, 3, 0, FALSE), S_OK);
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", 0x0C000001, 3, 0, FALSE), S_OK);
  EXPECT_TRUE(m_boxes.empty());
}

TEST_F(Kernel, NewerClientByOneBuildFailsWithTooOldMessage) {
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION + 1, 3, 0, FALSE), E_FAIL);
  ASSERT_EQ(m_boxes.size(), 1u);
  EXPECT_EQ(m_boxes[0].owner, kOwner);
  EXPECT_EQ(m_boxes[0].text, BuiltInKernelString(kStrKernelTooOld));
  EXPECT_EQ(m_boxes[0].caption, u"Vane Format Kernel");
  EXPECT_EQ(m_boxes[0].style, MB_ICONINFORMATION);
}

TEST_F(Kernel, OtherInterfaceLevelNamesTheClientAndWinsOverVersion) {
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Caf\xE9 Editor", ZOKERNEL_VERSION + 1, 2, 0, FALSE), E_FAIL);
  ASSERT_EQ(m_boxes.size(), 1u);
  EXPECT_EQ(m_boxes[0].text,
            u"The version of the Vane Format Kernel is incompatible with the following client:\n\nCaf\u00E9 Editor.");
}

TEST_F(Kernel, ClientNameIsCutAt127Characters) {
  const std::string longName(300, 'n');
  EXPECT_EQ(ZoKernel_CheckVersion(nullptr, longName.c_str(), ZOKERNEL_VERSION, 4, 0, FALSE), E_FAIL);
  ASSERT_EQ(m_boxes.size(), 1u);
  EXPECT_NE(m_boxes[0].text.find(std::u16string(127, u'n') + u"."), std::u16string::npos);
  EXPECT_EQ(m_boxes[0].text.find(std::u16string(128, u'n')), std::u16string::npos);
  EXPECT_EQ(ZoKernel_CheckVersion(nullptr, nullptr, ZOKERNEL_VERSION, 4, 0, FALSE), E_FAIL);
  EXPECT_NE(m_boxes.back().text.find(u":\n\n."), std::u16string::npos);
}

TEST_F(Kernel, QuietFailureShowsNothing) {
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION + 1, 3, 0, TRUE), E_FAIL);
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION, 1, 0, TRUE), E_FAIL);
  EXPECT_TRUE(m_boxes.empty());
}

TEST_F(Kernel, AfterTerminationMessagesAreEmptyButFailureStands) {
  ZoKernel_LateTerminate(FakeModule(), 0);
  EXPECT_EQ(ZoKernel_GetAppKernel(), nullptr);
  EXPECT_EQ(ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION + 1, 3, 0, FALSE), E_FAIL);
  ASSERT_EQ(m_boxes.size(), 1u);
  EXPECT_TRUE(m_boxes[0].text.empty());
  EXPECT_EQ(KeepStringBuffer(u"gone"), nullptr);
  EXPECT_EQ(StringBufferList(), nullptr);
}

// A language layer that takes the strings over, or fails to open.
struct FakeSource {
  static inline int opened = 0;
  static inline int closed = 0;
  static inline HRESULT openResult = S_OK;
  static HRESULT Open(void** handle, HMODULE) {
    if (FAILED(openResult)) return openResult;
    ++opened;
    *handle = &opened;
    return S_OK;
  }
  static const WCHAR* Get(void*, UINT id) { return id == kStrKernelTooOld ? u"Zu alt." : nullptr; }
  static void Close(void*) { ++closed; }
};
constexpr KernelStringSource kFakeSource{&FakeSource::Open, &FakeSource::Get, &FakeSource::Close};

TEST_F(Kernel, LanguageLayerTakesTheStringsOver) {
  FakeSource::opened = FakeSource::closed = 0;
  FakeSource::openResult = S_OK;
  SetKernelStringSource(&kFakeSource);
  EXPECT_FALSE(KernelStringsOpen());
  ASSERT_TRUE(ZoKernel_EarlyInitialize(FakeModule(), 0));
  ASSERT_TRUE(ZoKernel_EarlyInitialize(FakeModule(), 0));  // the handle is opened once
  EXPECT_EQ(FakeSource::opened, 1);
  ZoKernel_CheckVersion(kOwner, "Host", ZOKERNEL_VERSION + 1, 3, 0, FALSE);
  ASSERT_EQ(m_boxes.size(), 1u);
  EXPECT_EQ(m_boxes[0].text, u"Zu alt.");
  EXPECT_TRUE(m_boxes[0].caption.empty());  // the source has no caption
  ZoKernel_LateTerminate(FakeModule(), 0);
  EXPECT_EQ(FakeSource::closed, 1);
}

TEST_F(Kernel, FailedStringOpenFailsTheStartButLeavesTheKernelUsable) {
  ZoKernel_LateTerminate(FakeModule(), 0);
  FakeSource::openResult = E_OUTOFMEMORY;
  SetKernelStringSource(&kFakeSource);
  EXPECT_FALSE(ZoKernel_EarlyInitialize(FakeModule(), 0));
  FakeSource::openResult = S_OK;
  EXPECT_EQ(ZoKernel_GetAppKernel(), FakeModule());
  EXPECT_EQ(ZoTimer_GetLevel(), 1);
  EXPECT_NE(ZoGetCPUSupport(0), 0u);
  EXPECT_NE(KeepStringBuffer(u"kept"), nullptr);
}

TEST_F(Kernel, StartSetsTheUiKitStateFromTheFlags) {
  struct {
    DWORD flags;
    int selector;
  } const cases[] = {{0, 0}, {1, 1}, {0x20, 2}, {0x21, 1}, {0x40, 0}};
  for (const auto& c : cases) {
    ZoKernel_SetSplash(reinterpret_cast<HWND>(0x99));
    UiKit().cachedColorIndices[7] = 3;
    UiKit().colors[0] = 0;
    ASSERT_TRUE(ZoKernel_EarlyInitialize(FakeModule(), c.flags));
    EXPECT_EQ(UiKit().paletteSelector, c.selector) << c.flags;
    EXPECT_EQ(StartupFlags(), c.flags);
    EXPECT_EQ(UiKit().hostCursorBase, 100);
    EXPECT_EQ(UiKit().splash, nullptr);
    EXPECT_EQ(UiKit().cachedColorIndices[7], -1);
    EXPECT_EQ(UiKit().colors[0], DefaultColors()[0]);
  }
  EXPECT_EQ(ProcessErrorMode() & kErrorModeQuiet, kErrorModeQuiet);
}

TEST_F(Kernel, UserPrefChangesActsOnTwoMessagesOnly) {
  UiKit().colors[3] = 0;
  EXPECT_EQ(ZoKernel_UserPrefChanges(nullptr, ZOKERNEL_WM_DISPLAYCHANGE, 0, 0), 0);
  EXPECT_EQ(UiKit().colors[3], 0u);  // display change leaves the colour table
  EXPECT_EQ(ZoKernel_UserPrefChanges(nullptr, ZOKERNEL_WM_SYSCOLORCHANGE, 0, 0), 0);
  EXPECT_EQ(UiKit().colors[3], DefaultColors()[3]);
  EXPECT_EQ(ZoKernel_UserPrefChanges(nullptr, 0x0111, 0, 0), 0x0111);
  EXPECT_TRUE(ZoIsHighColor());
  EXPECT_TRUE(ZoIsAllMonitorsHighColor());
}

TEST_F(Kernel, StringBuffersLiveUntilTermination) {
  const WCHAR* a = KeepStringBuffer(u"alpha");
  const WCHAR* b = KeepStringBuffer(std::u16string_view(u"betamax", 4));  // a view without terminator
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(std::u16string(a), u"alpha");
  EXPECT_EQ(std::u16string(b), u"beta");
  // A second start keeps the list and what it holds.
  const tZOLIST* list = StringBufferList();
  ASSERT_TRUE(ZoKernel_EarlyInitialize(FakeModule(), 0));
  EXPECT_EQ(StringBufferList(), list);
  EXPECT_EQ(std::u16string(a), u"alpha");
  ZoKernel_LateTerminate(FakeModule(), 0);
  EXPECT_EQ(StringBufferList(), nullptr);
}

TEST_F(Kernel, StringBufferListIsAThreadSafeHeapListGrowingBySixteen) {
  const tZOLIST* list = StringBufferList();
  ASSERT_TRUE(ZoList_IsListFast(list));
  EXPECT_EQ(list->dwOptions & (ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_THREADSAFE),
            ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_THREADSAFE);
  EXPECT_EQ(list->nAllocated, 16);
  for (int i = 0; i < 17; ++i) ASSERT_NE(KeepStringBuffer(u"x"), nullptr);
  EXPECT_EQ(list->nItems, 17);
  EXPECT_EQ(list->nAllocated, 32);
}

TEST_F(Kernel, StringBuffersKeptFromManyThreadsAllSurvive) {
  constexpr int kThreads = 8, kEach = 250;
  std::vector<std::vector<const WCHAR*>> kept(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &kept] {
      for (int i = 0; i < kEach; ++i) {
        const std::u16string text = vane::platform::FromUtf8(std::to_string(t * 1000 + i));
        kept[t].push_back(KeepStringBuffer(text));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(StringBufferList()->nItems, kThreads * kEach);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kEach; ++i) {
      ASSERT_NE(kept[t][i], nullptr);
      EXPECT_EQ(vane::platform::ToUtf8(kept[t][i]), std::to_string(t * 1000 + i));
    }
  }
}

TEST(KernelFile, PathNameAndVersionFactsOfTheKernelsOwnFile) {
  WCHAR path[MAX_PATH * 4];
  ASSERT_EQ(ZoKernel_GetAppKernelPathName(path, MAX_PATH * 4), S_OK);
  ASSERT_NE(path[0], 0);
  WCHAR text[64];
  EXPECT_EQ(ZoVersion_GetString(path, u"fileversion", text, 64), S_OK);
  EXPECT_EQ(std::u16string(text), u"13.0.373");
  EXPECT_EQ(ZoVersion_GetString(path, u"FileDescription", text, 64), S_OK);
  EXPECT_EQ(std::u16string(text), u"Vane Format Kernel");
  EXPECT_EQ(ZoVersion_GetString(path, u"FileDescription", text, 5), ZOERR_BUFFER_TOO_SMALL);
  EXPECT_EQ(std::u16string(text), u"Vane");
  EXPECT_EQ(ZoVersion_GetString(path, u"Comments", text, 64), ZOERR_NOT_FOUND);
  EXPECT_EQ(ZoVersion_GetString(u"/etc/hostname", u"FileVersion", text, 64), ZOERR_NOT_FOUND);
  EXPECT_EQ(ZoVersion_GetString(u"/no/such/file", u"FileVersion", text, 64), ZOERR_NOT_FOUND);
  EXPECT_EQ(ZoVersion_GetString(nullptr, u"FileVersion", text, 64), E_POINTER);
  EXPECT_EQ(ZoKernel_GetAppKernelPathName(path, 2), HRESULT_FROM_WIN32(122));
  EXPECT_EQ(ZoKernel_GetAppKernelPathName(nullptr, 2), E_POINTER);
}

TEST(OsVersion, LevelsCompareAgainstTheirRow) {
  const OsVersionRecord xpSp2{kPlatformNt, 5, 1, 2};
  EXPECT_TRUE(OsVersionSatisfies(xpSp2, 6, 2));
  EXPECT_FALSE(OsVersionSatisfies(xpSp2, 6, 3));  // equal version: service pack decides
  EXPECT_TRUE(OsVersionSatisfies(xpSp2, 5, 9));   // higher minor passes whatever the pack
  EXPECT_FALSE(OsVersionSatisfies(xpSp2, 7, 0));  // lower major fails
  EXPECT_FALSE(OsVersionSatisfies(xpSp2, 0, 0));  // other platform
  const OsVersionRecord win98{kPlatformWin9x, 4, 10, 0};
  EXPECT_TRUE(OsVersionSatisfies(win98, 1, 0));
  EXPECT_TRUE(OsVersionSatisfies(win98, 3, 5));   // level 3: platform 1, version 0.0
  EXPECT_TRUE(OsVersionSatisfies(win98, 42, 5));  // any unknown level likewise
  const OsVersionRecord win98Gold{kPlatformWin9x, 4, 1, 0};
  EXPECT_TRUE(OsVersionSatisfies(win98Gold, 1, 0));
  EXPECT_FALSE(OsVersionSatisfies(win98Gold, 2, 0));  // level 2 always asks for pack 1
  // The running system counts as the modern family.
  EXPECT_TRUE(ZoOSVersionOK(9, 0));
  EXPECT_FALSE(ZoOSVersionOK(3, 0));
  EXPECT_FALSE(ZoIsWin95());
}

TEST(OsName, NamesTheRunningKernelAndTruncates) {
  WCHAR text[256];
  ASSERT_TRUE(ZoGetOS(text, 256));
  const std::string name = vane::platform::ToUtf8(text);
  EXPECT_EQ(name.rfind("Linux ", 0), 0u) << name;
  WCHAR small[4];
  ASSERT_TRUE(ZoGetOS(small, 4));
  EXPECT_EQ(std::u16string(small), u"Lin");
  EXPECT_FALSE(ZoGetOS(nullptr, 4));
  EXPECT_FALSE(ZoGetOS(text, 0));
}

}  // namespace
}  // namespace vane::kernel
