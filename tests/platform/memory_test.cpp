// SPDX-License-Identifier: MIT
#include "platform/memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/file.h"

TEST(GlobalMemory, MoveableHandleSurvivesReallocAndCountsLocks) {
  HGLOBAL h = GlobalAlloc(GHND, 16);
  ASSERT_NE(h, nullptr);
  auto* p = static_cast<unsigned char*>(GlobalLock(h));
  ASSERT_NE(p, nullptr);
  EXPECT_NE(static_cast<void*>(p), h);
  EXPECT_EQ(GlobalLock(h), p);  // same pointer, second lock
  EXPECT_EQ(GlobalHandle(p), h);
  std::memset(p, 0xAB, 16);
  EXPECT_TRUE(GlobalUnlock(h));  // one lock left
  SetLastError(1);
  EXPECT_FALSE(GlobalUnlock(h));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_FALSE(GlobalUnlock(h));
  EXPECT_EQ(GetLastError(), ERROR_NOT_LOCKED);

  ASSERT_EQ(GlobalReAlloc(h, 1 << 20, GMEM_MOVEABLE | GMEM_ZEROINIT), h);
  EXPECT_EQ(GlobalSize(h), SIZE_T(1) << 20);
  auto* q = static_cast<unsigned char*>(GlobalLock(h));
  EXPECT_EQ(q[15], 0xAB);
  EXPECT_EQ(q[16], 0);  // zero-filled growth
  EXPECT_EQ(q[(1 << 20) - 1], 0);
  EXPECT_EQ(GlobalHandle(q), h);
  GlobalUnlock(h);
  EXPECT_EQ(GlobalFree(h), nullptr);
}

TEST(GlobalMemory, FixedBlockHandleIsItsPointer) {
  HGLOBAL h = GlobalAlloc(GPTR, 8);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(GlobalLock(h), h);
  EXPECT_EQ(static_cast<char*>(h)[7], 0);
  EXPECT_EQ(GlobalHandle(h), h);
  EXPECT_EQ(GlobalFree(h), nullptr);
}

TEST(GlobalMemory, RefusesForeignAndFreedHandles) {
  int local = 0;
  SetLastError(0);
  EXPECT_EQ(GlobalFree(&local), static_cast<HGLOBAL>(&local));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE, 4);
  EXPECT_EQ(GlobalFree(h), nullptr);
  EXPECT_EQ(GlobalFree(h), h);  // double free is refused, not performed
  EXPECT_EQ(GlobalLock(h), nullptr);
  EXPECT_EQ(GlobalSize(h), 0u);
  EXPECT_EQ(GlobalReAlloc(h, 8, GMEM_MOVEABLE), nullptr);
}

TEST(PrivateHeap, DestroyFreesEveryBlock) {
  // The sanitizer build reports a leak if any block survives.
  HANDLE heap = HeapCreate(0, 0, 0);
  ASSERT_NE(heap, nullptr);
  for (int i = 0; i < 1000; ++i) ASSERT_NE(HeapAlloc(heap, 0, SIZE_T(i) * 7 + 1), nullptr);
  void* grown = HeapAlloc(heap, 0, 10);
  ASSERT_NE(HeapReAlloc(heap, 0, grown, 100000), nullptr);
  EXPECT_TRUE(HeapDestroy(heap));
  EXPECT_FALSE(HeapDestroy(heap));
  EXPECT_EQ(HeapAlloc(heap, 0, 1), nullptr);
}

TEST(PrivateHeap, SizesAreExactAndOwnershipIsChecked) {
  HANDLE a = HeapCreate(0, 0, 0);
  HANDLE b = HeapCreate(0, 0, 0);
  auto* block = static_cast<unsigned char*>(HeapAlloc(a, HEAP_ZERO_MEMORY, 13));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(HeapSize(a, 0, block), 13u);
  EXPECT_EQ(HeapSize(b, 0, block), SIZE_T(-1));
  EXPECT_FALSE(HeapFree(b, 0, block));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  block[12] = 7;
  block = static_cast<unsigned char*>(HeapReAlloc(a, HEAP_ZERO_MEMORY, block, 4096));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[12], 7);
  EXPECT_EQ(block[4095], 0);
  EXPECT_EQ(HeapSize(a, 0, block), 4096u);
  // In place only: a block cannot grow beyond its allocation without moving.
  EXPECT_EQ(HeapReAlloc(a, HEAP_REALLOC_IN_PLACE_ONLY, block, SIZE_T(1) << 24), nullptr);
  EXPECT_EQ(HeapSize(a, 0, block), 4096u);
  EXPECT_TRUE(HeapFree(a, 0, block));
  EXPECT_TRUE(HeapFree(a, 0, nullptr));
  EXPECT_TRUE(HeapDestroy(a));
  EXPECT_TRUE(HeapDestroy(b));
}

TEST(PrivateHeap, MaximumSizeCapsAllocation) {
  HANDLE heap = HeapCreate(0, 0, 1000);
  void* first = HeapAlloc(heap, 0, 600);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(HeapAlloc(heap, 0, 600), nullptr);
  EXPECT_TRUE(HeapFree(heap, 0, first));
  EXPECT_NE(HeapAlloc(heap, 0, 600), nullptr);
  HeapDestroy(heap);
}

TEST(PrivateHeap, ProcessHeapTracksSizesAndCannotBeDestroyed) {
  void* p = HeapAlloc(GetProcessHeap(), 0, 21);
  EXPECT_EQ(HeapSize(GetProcessHeap(), 0, p), 21u);
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, p));
  EXPECT_FALSE(HeapDestroy(GetProcessHeap()));
  EXPECT_GE(ZoMSize(std::vector<char>(100).data()), 100u);
}

TEST(BadReadPtr, AsksTheKernelInsteadOfTouching) {
  const long page = sysconf(_SC_PAGESIZE);
  auto* region = static_cast<char*>(mmap(nullptr, size_t(page) * 3, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(region, MAP_FAILED);
  mprotect(region + page, size_t(page), PROT_NONE);
  munmap(region + 2 * page, size_t(page));
  EXPECT_FALSE(IsBadReadPtr(region, UINT_PTR(page)));
  EXPECT_TRUE(IsBadReadPtr(region + page - 1, 2));  // runs into the guard page
  EXPECT_TRUE(IsBadReadPtr(region + page + 10, 1));
  EXPECT_TRUE(IsBadReadPtr(region + 2 * page, 1));  // unmapped
  EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
  EXPECT_FALSE(IsBadReadPtr(nullptr, 0));
  EXPECT_TRUE(IsBadReadPtr(region, ~UINT_PTR(0)));  // wraps around
  munmap(region, size_t(page) * 2);
}
