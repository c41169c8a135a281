// SPDX-License-Identifier: MIT
// Searches and sorts: the two binary searches against a plain reference over
// random sorted data with duplicates, their fixed probe order, the linear
// searches, both sorts against std::sort, their comparator call order, and
// the sorted copy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kernel/zolist.h"
#include "tests/kernel/zolist_test_support.h"

namespace {

using vane::test::AppendValues;
using vane::test::AsItem;
using vane::test::AsValue;
using vane::test::MakeList;
using vane::test::Values;
using V = std::vector<std::intptr_t>;

// Array-list record: sorted by key, tag tells equal keys apart.
struct Rec {
  std::int32_t key;
  std::int32_t tag;
  std::int32_t spare;
};
static_assert(sizeof(Rec) == 12);

int Sign(std::intptr_t a, std::intptr_t b) { return (a > b) - (a < b); }

// Criteria -1 sorts descending.
int CALLBACK ComparePointers(LONG_PTR criteria, const void* a, const void* b) {
  const int r = Sign(AsValue(a), AsValue(b));
  return criteria < 0 ? -r : r;
}
int CALLBACK CompareRecs(LONG_PTR criteria, const void* a, const void* b) {
  const int r = Sign(static_cast<const Rec*>(a)->key, static_cast<const Rec*>(b)->key);
  return criteria < 0 ? -r : r;
}

// Records every comparison (as the two compared values). Values compare by
// their bits above g_keyShift, so equal keys can still be told apart.
using Calls = std::vector<std::pair<std::intptr_t, std::intptr_t>>;
Calls g_calls;
int g_keyShift = 0;
int CALLBACK RecordingCompare(LONG_PTR criteria, const void* a, const void* b) {
  g_calls.emplace_back(AsValue(a), AsValue(b));
  const int r = Sign(AsValue(a) >> g_keyShift, AsValue(b) >> g_keyShift);
  return criteria < 0 ? -r : r;
}

// A pointer list of values or an array list of records with those keys.
class ZoListBothKinds : public ::testing::TestWithParam<bool> {
 protected:
  bool Array() const { return GetParam(); }
  vane::test::ZoListHolder Build(const V& keys) {
    auto list = Array() ? MakeList(ZOLIST_OPT_ARRAYITEMS, sizeof(Rec)) : MakeList(0);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Rec rec{std::int32_t(keys[i]), std::int32_t(i), 0};
      EXPECT_EQ(Array() ? ZoList_InsertList(list.get(), -1, &rec, 1) : AppendValues(list.get(), {keys[i]}), S_OK);
    }
    return list;
  }
  ZOLISTCOMPAREPROC Compare() const { return Array() ? CompareRecs : ComparePointers; }
  LONG Find(tZOLIST* l, std::intptr_t key, LONG start, LONG count, bool insert) {
    m_key = Rec{std::int32_t(key), -1, 0};
    const void* k = Array() ? static_cast<const void*>(&m_key) : AsItem(key);
    return insert ? ZoList_FindSortedInsertIndexRange(l, k, start, count, Compare())
                  : ZoList_FindSortedItemRange(l, k, start, count, Compare());
  }
  std::intptr_t KeyAt(const tZOLIST* l, LONG i) const {
    return Array() ? static_cast<const Rec*>(ZoList_SlotAddress(l, i))->key : AsValue(ZoList_PointerAt(l, i));
  }
  std::vector<std::pair<std::intptr_t, std::intptr_t>> Contents(const tZOLIST* l) const {
    std::vector<std::pair<std::intptr_t, std::intptr_t>> out;
    for (LONG i = 0; i < l->nItems; ++i) {
      out.emplace_back(KeyAt(l, i), Array() ? static_cast<const Rec*>(ZoList_SlotAddress(l, i))->tag : 0);
    }
    return out;
  }

 private:
  Rec m_key{};
};

TEST_P(ZoListBothKinds, BinarySearchesAgreeWithReferenceOnRandomRanges) {
  std::mt19937 rng(1234);
  for (int trial = 0; trial < 400; ++trial) {
    const int n = std::uniform_int_distribution<int>(0, 40)(rng);
    V keys(n);
    for (auto& k : keys) k = std::uniform_int_distribution<int>(0, 9)(rng);
    std::sort(keys.begin(), keys.end());
    auto list = Build(keys);
    const LONG start = std::uniform_int_distribution<int>(-2, n + 2)(rng);
    const LONG count = std::uniform_int_distribution<int>(-2, n + 2)(rng);
    const std::intptr_t key = std::uniform_int_distribution<int>(-1, 10)(rng);

    const LONG exact = Find(list.get(), key, start, count, false);
    const LONG insert = Find(list.get(), key, start, count, true);
    SCOPED_TRACE(testing::Message() << "n=" << n << " start=" << start << " count=" << count << " key=" << key);
    if (start > n) {
      EXPECT_EQ(exact, -1);
      EXPECT_EQ(insert, -1);
      continue;
    }
    const LONG s = std::max<LONG>(start, 0);
    const LONG e = (count < 0 || count > n - s) ? n : s + count;
    if (s == e) {
      EXPECT_EQ(exact, -1);
      EXPECT_EQ(insert, 0);  // not the start
      continue;
    }
    const bool present = std::find(keys.begin() + s, keys.begin() + e, key) != keys.begin() + e;
    if (present) {
      ASSERT_GE(exact, s);
      ASSERT_LT(exact, e);
      EXPECT_EQ(keys[exact], key);
    } else {
      EXPECT_EQ(exact, -1);
    }
    ASSERT_GE(insert, s);
    ASSERT_LE(insert, e);
    if (insert > s) {
      EXPECT_LE(keys[insert - 1], key);
    }
    if (insert < e) {
      EXPECT_GE(keys[insert], key);
    }
  }
}

TEST_P(ZoListBothKinds, SortsAgreeWithStdSort) {
  std::mt19937 rng(99);
  for (const bool heap : {false, true}) {
    for (const int n : {0, 1, 2, 3, 5, 16, 17, 64, 257, 1000}) {
      if (!heap && n > 300) continue;
      V keys(n);
      for (auto& k : keys) k = std::uniform_int_distribution<int>(0, n / 3 + 1)(rng);
      auto list = Build(keys);
      const auto before = Contents(list.get());
      ASSERT_EQ((heap ? ZoList_HeapSort : ZoList_Sort)(list.get(), 1, Compare()), S_OK);
      auto after = Contents(list.get());
      SCOPED_TRACE(testing::Message() << (heap ? "heap" : "selection") << " n=" << n);
      EXPECT_TRUE(std::is_sorted(after.begin(), after.end(),
                                 [](const auto& a, const auto& b) { return a.first < b.first; }));
      auto expected = before;
      std::sort(expected.begin(), expected.end());
      std::sort(after.begin(), after.end());
      EXPECT_EQ(after, expected);  // the same records, keys with their tags
    }
  }
}

TEST_P(ZoListBothKinds, CriteriaIsStoredAndUsedBySearches) {
  auto list = Build({4, 9, 1, 7, 3});
  ASSERT_EQ(ZoList_HeapSort(list.get(), -1, Compare()), S_OK);
  EXPECT_EQ(ZoList_GetSortCriteria(list.get()), -1);
  EXPECT_EQ(KeyAt(list.get(), 0), 9);
  EXPECT_EQ(KeyAt(list.get(), 4), 1);
  EXPECT_EQ(Find(list.get(), 3, 0, -1, false), 3);
  EXPECT_EQ(Find(list.get(), 5, 0, -1, true), 2);
  // Without a comparator the criteria still changes and nothing moves.
  ASSERT_EQ(ZoList_Sort(list.get(), 42, nullptr), S_OK);
  EXPECT_EQ(ZoList_GetSortCriteria(list.get()), 42);
  EXPECT_EQ(KeyAt(list.get(), 0), 9);
}

TEST_P(ZoListBothKinds, SortToBuildsSortedCopyAndLeavesSource) {
  std::mt19937 rng(5);
  V keys(200);
  for (auto& k : keys) k = std::uniform_int_distribution<int>(0, 50)(rng);
  auto src = Build(keys);
  auto dest = Build({25});
  ASSERT_EQ(ZoList_SortTo(dest.get(), src.get(), 1, Compare()), S_OK);
  EXPECT_EQ(ZoList_GetSortCriteria(dest.get()), 1);
  V sorted = keys;
  sorted.push_back(25);
  std::sort(sorted.begin(), sorted.end());
  ASSERT_EQ(dest->nItems, LONG(sorted.size()));
  for (LONG i = 0; i < dest->nItems; ++i) EXPECT_EQ(KeyAt(dest.get(), i), sorted[i]);
  for (LONG i = 0; i < src->nItems; ++i) EXPECT_EQ(KeyAt(src.get(), i), keys[i]);

  auto empty = Build({});
  ASSERT_EQ(ZoList_SortTo(empty.get(), src.get(), 7, nullptr), S_OK);
  EXPECT_EQ(empty->nItems, 0);
  EXPECT_EQ(ZoList_GetSortCriteria(empty.get()), 7);
  EXPECT_EQ(ZoList_SortTo(src.get(), src.get(), 1, Compare()), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ZoListBothKinds, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "ArrayList" : "PointerList"; });

struct ProbeCase {
  V keys;
  std::intptr_t key;
  LONG start, count;
  bool insert;
  LONG expect;
  std::vector<std::intptr_t> probes;  // compared item values, in order
};
void PrintTo(const ProbeCase& c, std::ostream* os) {
  *os << (c.insert ? "insert position of " : "search for ") << c.key << " in " << c.keys.size() << " items from "
      << c.start << " count " << c.count;
}

class ZoListProbeOrder : public ::testing::TestWithParam<ProbeCase> {};

TEST_P(ZoListProbeOrder, FollowsTheFixedProbeSequence) {
  const ProbeCase& c = GetParam();
  auto list = MakeList(0);
  ASSERT_EQ(AppendValues(list.get(), c.keys), S_OK);
  g_calls.clear();
  const LONG got = c.insert ? ZoList_FindSortedInsertIndexRange(list.get(), AsItem(c.key), c.start, c.count,
                                                                RecordingCompare)
                            : ZoList_FindSortedItemRange(list.get(), AsItem(c.key), c.start, c.count,
                                                         RecordingCompare);
  EXPECT_EQ(got, c.expect);
  std::vector<std::intptr_t> probes;
  for (const auto& [key, item] : g_calls) {
    EXPECT_EQ(key, c.key);  // the key is always the left argument
    probes.push_back(item);
  }
  EXPECT_EQ(probes, c.probes);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZoListProbeOrder,
    ::testing::Values(ProbeCase{{0, 1, 2, 3, 4, 5, 6}, 5, 0, -1, false, 5, {3, 5}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7}, 0, 0, -1, false, 0, {3, 1, 0}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7}, -1, 0, -1, true, 0, {3, 1, 0}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7}, 8, 0, -1, true, 8, {3, 5, 6, 7}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7}, 8, 0, -1, false, -1, {3, 5, 6, 7}},
                      // Equal keys: the probe order picks the second of four.
                      ProbeCase{{1, 1, 1, 1}, 1, 0, -1, true, 1, {1}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 2, 3, false, 3, {3}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 5, 0, true, 0, {}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 10, 4, true, 0, {}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 11, 0, true, -1, {}},
                      ProbeCase{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 3, 10, 0, false, -1, {}}));

struct SortOrderCase {
  const char* name;
  bool heap;
  int keyShift;
  V values;
  Calls calls;  // (left, right) of each comparison, in order
  V sorted;
};
void PrintTo(const SortOrderCase& c, std::ostream* os) { *os << c.name; }

class ZoListSortOrder : public ::testing::TestWithParam<SortOrderCase> {};

TEST_P(ZoListSortOrder, ComparesInItsFixedOrder) {
  const SortOrderCase& c = GetParam();
  auto list = MakeList(0);
  ASSERT_EQ(AppendValues(list.get(), c.values), S_OK);
  g_calls.clear();
  g_keyShift = c.keyShift;
  ASSERT_EQ((c.heap ? ZoList_HeapSort : ZoList_Sort)(list.get(), 1, RecordingCompare), S_OK);
  g_keyShift = 0;
  EXPECT_EQ(g_calls, c.calls);
  EXPECT_EQ(Values(list.get()), c.sorted);
}

INSTANTIATE_TEST_SUITE_P(
    Sorts, ZoListSortOrder,
    ::testing::Values(
        // Selection sort compares each item with the running maximum.
        SortOrderCase{"selection_against_running_maximum", false, 0, {3, 1, 2}, {{1, 3}, {2, 3}, {1, 2}}, {1, 2, 3}},
        // Keys 1, 1, 0 told apart by their low bits: the second 1 does not
        // beat the first, which stays the maximum and trades places with the
        // 0, so equal keys end up reversed.
        SortOrderCase{"selection_keeps_earliest_equal_as_maximum", false, 4, {0x10, 0x11, 0x00},
                      {{0x11, 0x10}, {0x00, 0x10}, {0x11, 0x00}}, {0x00, 0x11, 0x10}},
        SortOrderCase{"heap_fixed_sift_order", true, 0, {2, 5, 1, 4, 3},
                      {{3, 4}, {4, 5}, {1, 5}, {5, 2}, {3, 4}, {4, 2}, {1, 4}, {4, 3}, {1, 3}, {3, 2}, {2, 1}},
                      {1, 2, 3, 4, 5}}),
    [](const testing::TestParamInfo<SortOrderCase>& info) { return std::string(info.param.name); });

int CALLBACK MatchHalf(const void* key, const void* item) { return AsValue(item) * 2 == AsValue(key) ? 0 : 1; }

TEST(ZoListLinearSearch, FindsFirstMatchInsideTheNormalisedRange) {
  auto list = MakeList(0);
  ASSERT_EQ(AppendValues(list.get(), {5, 3, 7, 3, 9}), S_OK);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), -4, -1, AsItem(6), MatchHalf), 1);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), 2, 100, AsItem(6), MatchHalf), 3);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), 2, 1, AsItem(6), MatchHalf), -1);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), 5, -1, AsItem(6), MatchHalf), -1);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), 0, 0, AsItem(10), MatchHalf), -1);
  EXPECT_EQ(ZoList_FindItemRange(list.get(), 0, -1, AsItem(6), nullptr), -1);
  EXPECT_EQ(ZoList_FindSpecificItemRange(list.get(), 2, -1, AsItem(3)), 3);
  EXPECT_EQ(ZoList_FindSpecificItemRange(list.get(), 4, -1, AsItem(3)), -1);

  auto recs = MakeList(ZOLIST_OPT_ARRAYITEMS, sizeof(Rec));
  const Rec items[3] = {{1, 2, 3}, {1, 2, 4}, {1, 2, 4}};
  ASSERT_EQ(ZoList_InsertList(recs.get(), 0, items, 3), S_OK);
  EXPECT_EQ(ZoList_FindSpecificItemRange(recs.get(), 0, -1, &items[2]), 1);
  EXPECT_EQ(ZoList_FindSpecificItemRange(recs.get(), 0, -1, nullptr), -1);
}

}  // namespace
