// SPDX-License-Identifier: MIT
// List creation, destruction, in-place records, list probes, the owner rule
// and the thread-safe list under several threads.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <ostream>
#include <thread>
#include <vector>

#include "kernel/zolist.h"
#include "platform/sync.h"
#include "tests/kernel/zolist_test_support.h"

namespace {

using vane::test::AppendValues;
using vane::test::MakeList;
using vane::test::Values;

struct CreateCase {
  DWORD itemSize;
  LONG initialSlots;
  LONG growStep;
  DWORD options;
  DWORD expectItemSize;
  LONG expectAllocated;
  LONG expectStep;
};
void PrintTo(const CreateCase& c, std::ostream* os) {
  *os << "item size " << c.itemSize << " slots " << c.initialSlots << " step " << c.growStep << " options " << std::hex
      << c.options << std::dec;
}

class ZoListCreation : public ::testing::TestWithParam<CreateCase> {};

TEST_P(ZoListCreation, ClampsSlotsStepAndItemSize) {
  const CreateCase& c = GetParam();
  auto list = MakeList(c.options, c.itemSize, c.initialSlots, c.growStep);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->nItemSize, c.expectItemSize);
  EXPECT_EQ(list->nAllocated, c.expectAllocated);
  EXPECT_EQ(list->nGrowStep, c.expectStep);
  EXPECT_EQ(list->nItems, 0);
  EXPECT_EQ(ZoList_GetCreateOptions(list.get()), c.options | ZOLIST_OPT_ANYTHREAD);
  EXPECT_EQ(list->dwThreadOwner, GetCurrentThreadId());
  // The block is zeroed over all allocated slots.
  const auto* bytes = static_cast<const BYTE*>(list->pData);
  EXPECT_TRUE(std::all_of(bytes, bytes + SIZE_T(list->nAllocated) * list->nItemSize, [](BYTE b) { return b == 0; }));
}

constexpr DWORD kPtr = sizeof(void*);
INSTANTIATE_TEST_SUITE_P(
    Edges, ZoListCreation,
    ::testing::Values(CreateCase{0, 0, 0, 0, kPtr, 16, 16}, CreateCase{0, 5, 3, 0, kPtr, 8, 4},
                      CreateCase{6, 0, 0, ZOLIST_OPT_ARRAYITEMS, 8, 16, 16}, CreateCase{0, 1, 0, 0, kPtr, 16, 16},
                      CreateCase{0, 2, 100000, 0, kPtr, 66560, 66560}, CreateCase{0, -3, -1, 0, kPtr, 16, 16},
                      CreateCase{0, 17, 16, 0, kPtr, 32, 16},
                      CreateCase{13, 3, 5, ZOLIST_OPT_ARRAYITEMS | ZOLIST_OPT_THREADSAFE, 16, 5, 5},
                      CreateCase{0, 0, 0, ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_PRIVATEHEAP, kPtr, 16, 16}));

TEST(ZoListCreateRefusals, BadOptionsAndSizesLeaveNoList) {
  tZOLIST* list = reinterpret_cast<tZOLIST*>(0x1);
  EXPECT_EQ(ZoList_CreateExZ(&list, 0, 0, 0, ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_ARRAYITEMS, 0, 0, 0), E_FAIL);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(ZoList_CreateExZ(nullptr, 0, 0, 0, 0, 0, 0, 0), E_INVALIDARG);
  EXPECT_EQ(ZoList_CreateExZ(&list, 0, 0, 0, ZOLIST_OPT_ARRAYITEMS, 0, 0, 0), E_INVALIDARG);
  // In place needs the caller's storage.
  list = nullptr;
  EXPECT_EQ(ZoList_CreateExZ(&list, 0, 0, 0, ZOLIST_OPT_INPLACE, 0, 0, 0), E_FAIL);
  // A slot block past what can be addressed fails cleanly.
  EXPECT_EQ(ZoList_CreateExZ(&list, 1u << 20, INT_MAX, 0x10400, ZOLIST_OPT_ARRAYITEMS, 0, 0, 0), E_OUTOFMEMORY);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(ZoList_CreateExZ(&list, 1u << 30, 1 << 20, 0, ZOLIST_OPT_ARRAYITEMS, 0, 0, 0), E_OUTOFMEMORY);
  EXPECT_EQ(list, nullptr);
}

TEST(ZoListInPlace, DestroyTwiceLeavesDeadRecordAndKeepsStorage) {
  tZOLIST storage;
  std::memset(static_cast<void*>(&storage), 0xAB, sizeof(storage));
  tZOLIST* list = &storage;
  ASSERT_EQ(ZoList_CreateExZ(&list, 0, 0, 0, ZOLIST_OPT_INPLACE | ZOLIST_OPT_THREADSAFE, 0, 0, 0), S_OK);
  EXPECT_EQ(list, &storage);
  EXPECT_EQ(storage.dwReserved, 0u);
  EXPECT_EQ(storage.pPendingItem, nullptr);
  ASSERT_EQ(AppendValues(list, {1, 2, 3}), S_OK);
  EXPECT_EQ(ZoList_Destroy(list), S_OK);
  EXPECT_EQ(storage.dwMagic, 0u);
  EXPECT_FALSE(ZoList_IsListFast(&storage));
  EXPECT_EQ(ZoList_Destroy(list), E_INVALIDARG);
  EXPECT_EQ(ZoList_InsertList(list, 0, nullptr, 0), E_INVALIDARG);
}

TEST(ZoListProbe, IsListChecksSizeReadabilityAndMagic) {
  auto list = MakeList(0);
  EXPECT_TRUE(ZoList_IsList(list.get(), ZOLIST_RECORD_SIZE));
  EXPECT_TRUE(ZoList_IsListFast(list.get()));
  EXPECT_FALSE(ZoList_IsList(list.get(), 80));
  EXPECT_FALSE(ZoList_IsList(nullptr, ZOLIST_RECORD_SIZE));
  EXPECT_FALSE(ZoList_IsListFast(nullptr));
  std::vector<BYTE> zeros(ZOLIST_RECORD_SIZE);
  EXPECT_FALSE(ZoList_IsList(zeros.data(), ZOLIST_RECORD_SIZE));

  const long page = sysconf(_SC_PAGESIZE);
  void* guard = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(guard, MAP_FAILED);
  EXPECT_FALSE(ZoList_IsList(guard, ZOLIST_RECORD_SIZE));
  munmap(guard, page);
}

TEST(ZoListInPlace, ConvertMovesRecordItemsAndLockOnce) {
  tZOLIST* list = nullptr;
  ASSERT_EQ(ZoList_CreateExZ(&list, 0, 0, 0, ZOLIST_OPT_HEAPITEMS | ZOLIST_OPT_THREADSAFE, 0, 0, 0), S_OK);
  LONG at = -1;
  ASSERT_EQ(ZoList_AllocAndInsertItem(list, "abc", 4, -1, &at), S_OK);
  ZoList_SetUserData(list, 77);

  tZOLIST target;
  tZOLIST* converted = list;
  ASSERT_EQ(ZoList_ConvertToInPlace(&converted, &target), S_OK);
  EXPECT_EQ(converted, nullptr);
  EXPECT_TRUE(ZoList_IsList(&target, ZOLIST_RECORD_SIZE));
  EXPECT_TRUE(ZoList_GetCreateOptions(&target) & ZOLIST_OPT_INPLACE);
  EXPECT_EQ(ZoList_GetUserData(&target), 77);
  EXPECT_STREQ(static_cast<const char*>(ZoList_PointerAt(&target, 0)), "abc");
  // The fresh lock works and the list goes on growing.
  ASSERT_EQ(ZoList_AllocAndInsertItem(&target, "de", 3, 0, &at), S_OK);
  EXPECT_EQ(at, 0);

  EXPECT_EQ(ZoList_ConvertToInPlace(&converted, &target), E_INVALIDARG);
  tZOLIST* inPlace = &target;
  tZOLIST other;
  EXPECT_EQ(ZoList_ConvertToInPlace(&inPlace, &other), E_FAIL);
  EXPECT_EQ(ZoList_ConvertToInPlace(nullptr, &other), E_INVALIDARG);
  EXPECT_EQ(ZoList_Destroy(&target), S_OK);
}

TEST(ZoListOwner, OwnerRuleRefusesOtherThreadsUntilOwnershipMoves) {
  auto list = MakeList(ZOLIST_OPT_HEAPITEMS);
  // Only a holder that drops the any-thread bit brings the owner rule to life.
  list->dwOptions &= ~ZOLIST_OPT_ANYTHREAD;
  ASSERT_EQ(ZoList_AllocAndInsertItem(list.get(), nullptr, 8, -1, nullptr), S_OK);

  std::thread([&] {
    tZOLIST* l = list.get();
    void* item = reinterpret_cast<void*>(1);
    EXPECT_EQ(ZoList_AllocItem(l, 8, &item), E_FAIL);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(ZoList_DeleteList(l, 0, 1, FALSE), E_FAIL);
    EXPECT_EQ(ZoList_ReAllocItem(l, 0, 16), E_FAIL);
    EXPECT_EQ(ZoList_FindSpecificItemRange(l, 0, -1, ZoList_PointerAt(l, 0)), -1);
    EXPECT_FALSE(ZoList_IsValidIndexSlow(l, 0));
    EXPECT_EQ(ZoList_SetUserData(l, 5), -1);
    EXPECT_EQ(ZoList_GetUserData(l), -1);
    EXPECT_EQ(ZoList_Destroy(l), E_FAIL);
    // Taking ownership needs no test; afterwards this thread may work.
    EXPECT_EQ(ZoList_SetThreadOwner(l, 0), GetCurrentThreadId());
    EXPECT_TRUE(ZoList_IsValidIndexSlow(l, 0));
    EXPECT_EQ(ZoList_SetUserData(l, 5), 0);
  }).join();

  EXPECT_EQ(ZoList_InsertList(list.get(), -1, nullptr, -1), E_FAIL);
  EXPECT_EQ(ZoList_GetUserData(list.get()), -1);
  ZoList_SetThreadOwner(list.get(), GetCurrentThreadId());
  EXPECT_EQ(ZoList_GetUserData(list.get()), 5);
}

TEST(ZoListTags, FileAndLineAreNotKept) {
  auto list = MakeList(0);
  WCHAR buffer[8] = {u'x', u'y'};
  EXPECT_EQ(ZoList_GetFileAndLine(list.get(), buffer, 8), -1);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[1], u'y');
  EXPECT_EQ(ZoList_GetFileAndLine(list.get(), nullptr, 8), -1);
}

// Several threads insert, look up and remove their own values. A find and
// the delete of what it found run under the list's own lock, which the list
// functions re-enter.
TEST(ZoListThreadSafe, ConcurrentEditsKeepEveryValue) {
  auto list = MakeList(ZOLIST_OPT_THREADSAFE, 0, 0, 4);
  tZOLIST* l = list.get();
  constexpr int kThreads = 4;
  constexpr int kPerThread = 1500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([l, t] {
      for (int i = 0; i < kPerThread; ++i) {
        const std::intptr_t value = (std::intptr_t(t) << 20) | (i + 1);
        const LONG index = (i * 7919) % (ZoList_IsValidIndexSlow(l, 0) ? 97 : 1);
        ASSERT_EQ(ZoList_InsertList(l, index, &value, 1), S_OK);
        if (i % 3 == 0) {
          EnterCriticalSection(&l->lock);
          const LONG at = ZoList_FindSpecificItemRange(l, 0, -1, vane::test::AsItem(value));
          ASSERT_GE(at, 0);
          ASSERT_EQ(ZoList_DeleteList(l, at, 1, TRUE), S_OK);
          LeaveCriticalSection(&l->lock);
        }
      }
    });
  }
  for (auto& th : threads) th.join();

  std::vector<std::intptr_t> expected;
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kPerThread; ++i) {
      if (i % 3 != 0) expected.push_back((std::intptr_t(t) << 20) | (i + 1));
    }
  }
  auto actual = Values(l);
  std::sort(actual.begin(), actual.end());
  EXPECT_EQ(actual, expected);
}

}  // namespace
