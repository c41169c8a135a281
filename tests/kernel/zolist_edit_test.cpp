// SPDX-License-Identifier: MIT
// Editing lists: insertion forms, deletion and the pending item, growth and
// shrinking of the slot block, forced counts, moves inside and between lists.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include "kernel/zolist.h"
#include "tests/kernel/zolist_test_support.h"

namespace {

using vane::test::AppendValues;
using vane::test::MakeList;
using vane::test::Values;
using V = std::vector<std::intptr_t>;

bool TailIsZero(const tZOLIST* l) {
  const auto* bytes = static_cast<const BYTE*>(l->pData);
  return std::all_of(bytes + SIZE_T(l->nItems) * l->nItemSize, bytes + SIZE_T(l->nAllocated) * l->nItemSize,
                     [](BYTE b) { return b == 0; });
}

TEST(ZoListInsert, IndexIsClampedToTheEnds) {
  auto list = MakeList(0);
  ASSERT_EQ(AppendValues(list.get(), {1, 2, 3}), S_OK);
  const std::intptr_t four = 4, five = 5, six = 6, seven = 7;
  EXPECT_EQ(ZoList_InsertList(list.get(), 1000, &four, 1), S_OK);
  EXPECT_EQ(ZoList_InsertList(list.get(), -7, &five, 1), S_OK);
  EXPECT_EQ(ZoList_InsertList(list.get(), 0, &six, 1), S_OK);
  EXPECT_EQ(ZoList_InsertList(list.get(), 2, &seven, 1), S_OK);
  EXPECT_EQ(Values(list.get()), (V{6, 1, 7, 2, 3, 4, 5}));
}

TEST(ZoListInsert, OnlyTheThreeFormsAreAccepted) {
  auto pointers = MakeList(0);
  const std::intptr_t v[2] = {8, 9};
  EXPECT_EQ(ZoList_InsertList(pointers.get(), 0, nullptr, -1), E_FAIL);  // no pending item
  EXPECT_EQ(ZoList_InsertList(pointers.get(), 0, nullptr, 0), E_FAIL);
  EXPECT_EQ(ZoList_InsertList(pointers.get(), 0, v, 0), S_OK);
  EXPECT_EQ(ZoList_InsertList(pointers.get(), 0, v, -2), S_OK);
  EXPECT_EQ(Values(pointers.get()), (V{8, 9}));

  auto heap = MakeList(ZOLIST_OPT_HEAPITEMS);
  void* owned[2] = {std::malloc(4), std::malloc(4)};
  EXPECT_EQ(ZoList_InsertList(heap.get(), 0, owned, 0), E_FAIL);
  EXPECT_EQ(ZoList_InsertList(heap.get(), 0, owned, 2), E_FAIL);
  EXPECT_EQ(ZoList_InsertList(heap.get(), 0, owned, -2), S_OK);  // adopted: freed by the list
  EXPECT_EQ(heap->nItems, 2);
}

TEST(ZoListInsert, SlotsFromTheListItselfSurviveGrowth) {
  auto list = MakeList(0, 0, 4, 4);
  ASSERT_EQ(AppendValues(list.get(), {1, 2, 3, 4}), S_OK);
  ASSERT_EQ(list->nAllocated, 4);
  ASSERT_EQ(ZoList_InsertList(list.get(), 1, list->pData, 4), S_OK);
  EXPECT_EQ(Values(list.get()), (V{1, 1, 2, 3, 4, 2, 3, 4}));
}

TEST(ZoListGrow, GrowsByTheInsertedCountRoundedToSteps) {
  auto list = MakeList(0, 0, 16, 4);
  V values(14);
  std::iota(values.begin(), values.end(), 1);
  ASSERT_EQ(AppendValues(list.get(), values), S_OK);
  ASSERT_EQ(AppendValues(list.get(), {15, 16, 17, 18, 19}), S_OK);
  // Asked with the 5 inserted, not the shortfall of 3.
  EXPECT_EQ(list->nAllocated, 24);
  EXPECT_EQ(ZoList_GrowAllocated(list.get(), 0), S_OK);
  EXPECT_EQ(list->nAllocated, 28);
  EXPECT_EQ(ZoList_GrowAllocated(list.get(), 5), S_OK);
  EXPECT_EQ(list->nAllocated, 36);
  values.insert(values.end(), {15, 16, 17, 18, 19});
  EXPECT_EQ(Values(list.get()), values);
  EXPECT_TRUE(TailIsZero(list.get()));
}

TEST(ZoListGrow, ManySmallStepsKeepContents) {
  auto list = MakeList(0, 0, 1, 1);
  V expected;
  for (std::intptr_t i = 0; i < 3000; ++i) {
    ASSERT_EQ(ZoList_InsertList(list.get(), LONG(i / 2), &i, 1), S_OK);
    expected.insert(expected.begin() + i / 2, i);
  }
  EXPECT_EQ(Values(list.get()), expected);
  EXPECT_EQ(list->nAllocated % list->nGrowStep, 0);
}

TEST(ZoListGrow, FailedGrowLeavesTheListAsItWas) {
  auto list = MakeList(ZOLIST_OPT_ARRAYITEMS, 1u << 20, 4, 4);
  ASSERT_EQ(ZoList_ArrayForceItemCount(list.get(), 2, FALSE), S_OK);
  std::memset(list->pData, 0x5A, 2u << 20);
  void* const block = list->pData;
  EXPECT_EQ(ZoList_GrowAllocated(list.get(), INT_MAX - 8), E_OUTOFMEMORY);
  EXPECT_EQ(ZoList_GrowAllocated(list.get(), 1 << 20), E_OUTOFMEMORY);
  EXPECT_EQ(list->pData, block);
  EXPECT_EQ(list->nAllocated, 4);
  EXPECT_EQ(static_cast<BYTE*>(list->pData)[(2u << 20) - 1], 0x5A);
}

TEST(ZoListShrink, RoundsToStepsAndNeverDropsItems) {
  auto list = MakeList(0, 0, 64, 4);
  V values(10);
  std::iota(values.begin(), values.end(), 100);
  ASSERT_EQ(AppendValues(list.get(), values), S_OK);
  EXPECT_EQ(ZoList_ShrinkAllocated(list.get(), 5), S_OK);  // 5 -> 8
  EXPECT_EQ(list->nAllocated, 56);
  EXPECT_EQ(ZoList_ShrinkAllocated(list.get(), -1), S_OK);  // 46 free -> 48 -> 44
  EXPECT_EQ(list->nAllocated, 12);
  EXPECT_EQ(ZoList_ShrinkAllocated(list.get(), 1000), S_OK);
  EXPECT_GE(list->nAllocated, list->nItems);
  EXPECT_EQ(Values(list.get()), values);

  ASSERT_EQ(ZoList_DeleteList(list.get(), 0, -1, FALSE), S_OK);
  EXPECT_EQ(ZoList_ShrinkAllocated(list.get(), -1), S_OK);
  EXPECT_EQ(list->nAllocated, 0);
  EXPECT_EQ(AppendValues(list.get(), {1}), S_OK);
  EXPECT_EQ(Values(list.get()), (V{1}));
}

struct DeleteCase {
  LONG index;
  LONG count;
  HRESULT expect;
  V remaining;
};
void PrintTo(const DeleteCase& c, std::ostream* os) { *os << "delete " << c.count << " at " << c.index; }

class ZoListDelete : public ::testing::TestWithParam<DeleteCase> {};

TEST_P(ZoListDelete, FollowsIndexAndCountRules) {
  auto list = MakeList(0);
  ASSERT_EQ(AppendValues(list.get(), {1, 2, 3, 4, 5}), S_OK);
  const DeleteCase& c = GetParam();
  EXPECT_EQ(ZoList_DeleteList(list.get(), c.index, c.count, FALSE), c.expect);
  EXPECT_EQ(Values(list.get()), c.remaining);
  EXPECT_TRUE(TailIsZero(list.get()));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ZoListDelete,
    ::testing::Values(DeleteCase{1, 2, S_OK, {1, 4, 5}}, DeleteCase{3, 100, S_OK, {1, 2, 3}},
                      DeleteCase{2, -1, S_OK, {1, 2}}, DeleteCase{5, 1, E_FAIL, {1, 2, 3, 4, 5}},
                      DeleteCase{5, -1, S_OK, {1, 2, 3, 4, 5}}, DeleteCase{9, 0, S_OK, {1, 2, 3, 4, 5}},
                      DeleteCase{-1, 0, S_OK, {1, 2, 3, 4, 5}}, DeleteCase{-1, 2, E_FAIL, {1, 2, 3, 4, 5}},
                      DeleteCase{-1, -1, E_FAIL, {1, 2, 3, 4, 5}}));

TEST(ZoListDeleteShrink, ShrinksOnlyBeyondOneStepOfFreeSlots) {
  auto list = MakeList(0, 0, 64, 16);
  V values(40);
  std::iota(values.begin(), values.end(), 1);
  ASSERT_EQ(AppendValues(list.get(), values), S_OK);
  ASSERT_EQ(ZoList_DeleteList(list.get(), 0, 3, TRUE), S_OK);  // 27 free: 32 is too many, 16 go
  EXPECT_EQ(list->nAllocated, 48);
  ASSERT_EQ(ZoList_DeleteList(list.get(), 0, 3, TRUE), S_OK);  // 14 free: not above one step
  EXPECT_EQ(list->nAllocated, 48);
  ASSERT_EQ(ZoList_DeleteList(list.get(), 0, 4, FALSE), S_OK);  // no shrink asked
  EXPECT_EQ(list->nAllocated, 48);
  ASSERT_EQ(ZoList_DeleteList(list.get(), 29, 1, TRUE), S_OK);  // 19 free: 16 go
  EXPECT_EQ(list->nAllocated, 32);
  EXPECT_EQ(Values(list.get()), V(values.begin() + 10, values.end() - 1));
  EXPECT_TRUE(TailIsZero(list.get()));
}

// Heap items from the C heap and from a private heap behave alike.
class ZoListHeapItems : public ::testing::TestWithParam<DWORD> {
 protected:
  vane::test::ZoListHolder Make() { return MakeList(ZOLIST_OPT_HEAPITEMS | GetParam()); }
  static void AddText(tZOLIST* l, const std::string& text, LONG index = -1) {
    ASSERT_EQ(ZoList_AllocAndInsertItem(l, text.c_str(), text.size() + 1, index, nullptr), S_OK);
  }
  static std::vector<std::string> Texts(const tZOLIST* l) {
    std::vector<std::string> out;
    for (LONG i = 0; i < l->nItems; ++i) out.emplace_back(static_cast<const char*>(ZoList_PointerAt(l, i)));
    return out;
  }
};

TEST_P(ZoListHeapItems, PendingItemIsExclusiveUntilInsertedOrFreed) {
  auto list = Make();
  void* item = nullptr;
  ASSERT_EQ(ZoList_AllocItem(list.get(), 32, &item), S_OK);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(std::count(static_cast<BYTE*>(item), static_cast<BYTE*>(item) + 32, 0), 32);
  void* second = reinterpret_cast<void*>(1);
  EXPECT_EQ(ZoList_AllocItem(list.get(), 8, &second), E_FAIL);
  EXPECT_EQ(second, nullptr);
  LONG at = 7;
  EXPECT_EQ(ZoList_AllocAndInsertItem(list.get(), nullptr, 8, 0, &at), E_FAIL);
  EXPECT_EQ(at, -1);
  // A refused insertion keeps the pending item.
  EXPECT_EQ(ZoList_InsertList(list.get(), 0, nullptr, -2), E_FAIL);
  EXPECT_EQ(list->pPendingItem, item);
  EXPECT_EQ(ZoList_DeleteList(list.get(), -1, -1, FALSE), S_OK);
  EXPECT_EQ(list->pPendingItem, nullptr);
  EXPECT_EQ(ZoList_DeleteList(list.get(), -1, -1, FALSE), E_FAIL);

  ASSERT_EQ(ZoList_AllocItem(list.get(), 4, &item), S_OK);
  std::memcpy(item, "one", 4);
  ASSERT_EQ(ZoList_InsertList(list.get(), 5, nullptr, -1), S_OK);
  EXPECT_EQ(list->pPendingItem, nullptr);
  EXPECT_EQ(ZoList_PointerAt(list.get(), 0), item);
}

TEST_P(ZoListHeapItems, AllocAndInsertCopiesAndReportsTheIndex) {
  auto list = Make();
  AddText(list.get(), "b");
  AddText(list.get(), "d");
  LONG at = -1;
  ASSERT_EQ(ZoList_AllocAndInsertItem(list.get(), "a", 2, -3, &at), S_OK);
  EXPECT_EQ(at, 2);
  ASSERT_EQ(ZoList_AllocAndInsertItem(list.get(), "c", 2, 1, &at), S_OK);
  EXPECT_EQ(at, 1);
  EXPECT_EQ(Texts(list.get()), (std::vector<std::string>{"b", "c", "d", "a"}));
  ASSERT_EQ(ZoList_DeleteList(list.get(), 1, 2, TRUE), S_OK);
  EXPECT_EQ(Texts(list.get()), (std::vector<std::string>{"b", "a"}));

  auto pointers = MakeList(0);
  EXPECT_EQ(ZoList_AllocAndInsertItem(pointers.get(), "x", 2, 0, &at), E_FAIL);
  EXPECT_EQ(at, -1);
}

TEST_P(ZoListHeapItems, ReAllocKeepsBytesAndZeroesTheNewTail) {
  auto list = Make();
  AddText(list.get(), "hello");
  ASSERT_EQ(ZoList_ReAllocItem(list.get(), 0, 4000), S_OK);
  const auto* item = static_cast<const char*>(ZoList_PointerAt(list.get(), 0));
  EXPECT_STREQ(item, "hello");
  EXPECT_EQ(std::count(item + 6, item + 4000, 0), 3994);
  EXPECT_GE(ZoList_AllocSize(list.get(), 0), 4000u);
  EXPECT_GE(ZoList_AllocSize(list.get(), -1), 4000u + ZOLIST_RECORD_SIZE + SIZE_T(list->nAllocated) * sizeof(void*));
  EXPECT_EQ(ZoList_AllocSize(list.get(), 9), 0u);
  EXPECT_EQ(ZoList_ReAllocItem(list.get(), 1, 8), E_FAIL);
  EXPECT_EQ(ZoList_ReAllocItem(list.get(), -1, 8), E_FAIL);
  EXPECT_EQ(ZoList_ReAllocItem(list.get(), 0, SIZE_T(-1)), E_OUTOFMEMORY);
  EXPECT_STREQ(static_cast<const char*>(ZoList_PointerAt(list.get(), 0)), "hello");
}

TEST_P(ZoListHeapItems, MoveBetweenListsKeepsOrderAndOwnership) {
  auto dest = Make();
  auto src = Make();
  for (const char* t : {"x", "y"}) AddText(dest.get(), t);
  for (const char* t : {"a", "b", "c", "d", "e"}) AddText(src.get(), t);

  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 1, src.get(), 1, 3), S_OK);
  EXPECT_EQ(Texts(dest.get()), (std::vector<std::string>{"x", "b", "c", "d", "y"}));
  EXPECT_EQ(Texts(src.get()), (std::vector<std::string>{"a", "e"}));
  EXPECT_TRUE(ZoList_GetCreateOptions(src.get()) & ZOLIST_OPT_HEAPITEMS);

  // Refusals: range outside the source, whole count from a non-zero index,
  // a pending item at the destination, a list that is not a heap list.
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, src.get(), 1, 2), E_FAIL);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, src.get(), 1, -1), E_FAIL);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, src.get(), -1, 1), E_FAIL);
  void* pending = nullptr;
  ASSERT_EQ(ZoList_AllocItem(dest.get(), 4, &pending), S_OK);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, src.get(), 0, 1), E_FAIL);
  ASSERT_EQ(ZoList_DeleteList(dest.get(), -1, -1, FALSE), S_OK);
  auto pointers = MakeList(0);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(pointers.get(), 0, src.get(), 0, 1), E_FAIL);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, dest.get(), 0, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, nullptr, 0, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), 0, src.get(), 0, 0), S_OK);

  // Negative destination index is the end, negative count the whole source.
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(dest.get(), -1, src.get(), 0, -1), S_OK);
  EXPECT_EQ(Texts(dest.get()), (std::vector<std::string>{"x", "b", "c", "d", "y", "a", "e"}));
  EXPECT_EQ(src->nItems, 0);
  EXPECT_TRUE(TailIsZero(src.get()));
}

INSTANTIATE_TEST_SUITE_P(Allocators, ZoListHeapItems, ::testing::Values(DWORD{0}, ZOLIST_OPT_PRIVATEHEAP),
                         [](const auto& info) { return info.param ? "PrivateHeap" : "CHeap"; });

TEST(ZoListForceCount, ArrayListsOnlyAndExposedSlotsAreZero) {
  auto pointers = MakeList(0);
  EXPECT_EQ(ZoList_ArrayForceItemCount(pointers.get(), 3, FALSE), E_FAIL);

  auto list = MakeList(ZOLIST_OPT_ARRAYITEMS, 12, 8, 8);
  ASSERT_EQ(ZoList_ArrayForceItemCount(list.get(), 6, FALSE), S_OK);
  EXPECT_EQ(list->nItems, 6);
  std::memset(list->pData, 0x77, 6 * 12);
  ASSERT_EQ(ZoList_ArrayForceItemCount(list.get(), 2, TRUE), S_OK);
  EXPECT_EQ(list->nItems, 2);
  EXPECT_EQ(list->nAllocated, 8);  // the shrink flag leaves the block alone
  ASSERT_EQ(ZoList_ArrayForceItemCount(list.get(), 20, FALSE), S_OK);
  EXPECT_EQ(list->nAllocated, 24);
  const auto* bytes = static_cast<const BYTE*>(list->pData);
  EXPECT_EQ(std::count(bytes, bytes + 24, 0x77), 24);
  EXPECT_EQ(std::count(bytes + 24, bytes + 20 * 12, 0), 20 * 12 - 24);
  EXPECT_EQ(ZoList_ArrayForceItemCount(list.get(), -1, FALSE), E_INVALIDARG);
  EXPECT_EQ(ZoList_AllocSize(list.get(), 3), 12u);
}

struct MoveCase {
  DWORD itemSize;  // 0: pointer list
  LONG from, to, count;
  HRESULT expect;
};
void PrintTo(const MoveCase& c, std::ostream* os) {
  *os << (c.itemSize ? "array list" : "pointer list") << ": move " << c.count << " from " << c.from << " to " << c.to;
}

class ZoListMoveRange : public ::testing::TestWithParam<MoveCase> {};

// Compares with a rotation of the same run on a plain vector.
TEST_P(ZoListMoveRange, MatchesRotationOfTheRun) {
  const MoveCase& c = GetParam();
  constexpr LONG kItems = 40;
  auto list = c.itemSize ? MakeList(ZOLIST_OPT_ARRAYITEMS, c.itemSize) : MakeList(0);
  const DWORD size = list->nItemSize;
  ASSERT_EQ(c.itemSize ? ZoList_ArrayForceItemCount(list.get(), kItems, FALSE) : S_OK, S_OK);
  std::vector<BYTE> model(SIZE_T(kItems) * size);
  for (LONG i = 0; i < kItems; ++i) {
    if (!c.itemSize) {
      ASSERT_EQ(AppendValues(list.get(), {std::intptr_t(i)}), S_OK);
    }
    auto* slot = static_cast<BYTE*>(ZoList_SlotAddress(list.get(), i));
    if (c.itemSize) std::memset(slot, i + 1, size);
    std::memcpy(&model[SIZE_T(i) * size], slot, size);
  }
  EXPECT_EQ(ZoList_MoveRange(list.get(), c.from, c.to, c.count), c.expect);
  if (c.expect == S_OK) {
    const LONG to = std::max(c.to, 0);
    const LONG count = c.count < 0 ? kItems - std::max(c.from, to) : c.count;
    if (count > 0) {
      auto at = [&](LONG i) { return model.begin() + std::ptrdiff_t(i) * size; };
      if (c.from < to) {
        std::rotate(at(c.from), at(c.from + count), at(to + count));
      } else {
        std::rotate(at(to), at(c.from), at(c.from + count));
      }
    }
  }
  EXPECT_EQ(0, std::memcmp(model.data(), list->pData, model.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Runs, ZoListMoveRange,
    ::testing::Values(MoveCase{0, 2, 10, 5, S_OK}, MoveCase{0, 20, 3, 7, S_OK}, MoveCase{0, 5, -4, 3, S_OK},
                      MoveCase{0, 30, 10, -1, S_OK}, MoveCase{0, 4, 4, 9, S_OK}, MoveCase{0, 3, 9, 0, S_OK},
                      MoveCase{0, 35, 0, 6, E_FAIL}, MoveCase{0, 0, 36, 5, E_FAIL},
                      MoveCase{0, -1, 0, 1, E_INVALIDARG},
                      // Runs beyond the 512-byte local buffer.
                      MoveCase{100, 1, 25, 12, S_OK}, MoveCase{100, 28, 0, 12, S_OK}, MoveCase{0, 0, 1, 39, S_OK},
                      MoveCase{0, 39, 0, 1, S_OK}));

// Null and dead lists get the family's answer everywhere, never a crash.
TEST(ZoListBadInput, NullListGetsTheFailureAnswerOfEachFunction) {
  const std::intptr_t v = 1;
  EXPECT_EQ(ZoList_Destroy(nullptr), S_OK);
  EXPECT_EQ(ZoList_InsertList(nullptr, 0, &v, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_DeleteList(nullptr, 0, 1, TRUE), E_INVALIDARG);
  EXPECT_EQ(ZoList_AllocItem(nullptr, 4, nullptr), E_INVALIDARG);
  EXPECT_EQ(ZoList_AllocAndInsertItem(nullptr, nullptr, 4, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(ZoList_ReAllocItem(nullptr, 0, 4), E_INVALIDARG);
  EXPECT_EQ(ZoList_AllocSize(nullptr, -1), 0u);
  EXPECT_EQ(ZoList_GrowAllocated(nullptr, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_ShrinkAllocated(nullptr, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_ArrayForceItemCount(nullptr, 1, FALSE), E_INVALIDARG);
  EXPECT_EQ(ZoList_MoveRange(nullptr, 0, 1, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_MoveItemsBetweenHeapLists(nullptr, 0, nullptr, 0, 1), E_INVALIDARG);
  EXPECT_EQ(ZoList_FindItemRange(nullptr, 0, -1, &v, nullptr), -1);
  EXPECT_EQ(ZoList_FindSpecificItemRange(nullptr, 0, -1, &v), -1);
  EXPECT_EQ(ZoList_FindSortedItemRange(nullptr, &v, 0, -1, nullptr), -1);
  EXPECT_EQ(ZoList_FindSortedInsertIndexRange(nullptr, &v, 0, -1, nullptr), -1);
  EXPECT_EQ(ZoList_Sort(nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(ZoList_HeapSort(nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(ZoList_SortTo(nullptr, nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(ZoList_SetUserData(nullptr, 3), -1);
  EXPECT_EQ(ZoList_GetUserData(nullptr), -1);
  EXPECT_FALSE(ZoList_IsValidIndexSlow(nullptr, 0));
  EXPECT_EQ(ZoList_GetCreateOptions(nullptr), 0u);
}

}  // namespace
