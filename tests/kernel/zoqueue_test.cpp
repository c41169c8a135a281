// SPDX-License-Identifier: MIT
// ZoQueue: link order of every insert, find and move; the event set exactly
// while items wait; waits that end by time-out, by an extra handle, by
// deletion, and that go on after a flush; many producers and consumers.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kernel/zoqueue.h"
#include "platform/file.h"

namespace {

struct Item {
  ZoQueueLink link{};
  int value = 0;
};

int ValueOf(ZoQueueLink* l) { return reinterpret_cast<Item*>(l)->value; }

std::vector<int> Order(ZoQueue* q) {
  std::vector<int> out;
  for (ZoQueueLink* p = q->head; p != reinterpret_cast<ZoQueueLink*>(q); p = p->next) out.push_back(ValueOf(p));
  return out;
}

class QueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(ZoQueueInitialize(&q));
    for (int i = 0; i < 8; ++i) items[i].value = i;
  }
  void TearDown() override { ZoQueueDelete(&q); }
  bool EventSet() { return WaitForSingleObject(q.event, 0) == WAIT_OBJECT_0; }
  ZoQueue q{};
  Item items[8];
};

TEST_F(QueueTest, InsertsFindsAndMovesKeepTheOrderAndTheEvent) {
  EXPECT_FALSE(EventSet());
  ZoQueueInsert(&q, &items[2].link);
  EXPECT_TRUE(EventSet());
  ZoQueueInsert(&q, &items[4].link);
  ZoQueueInsertHead(&q, &items[1].link);
  // Sorted insert from the head stops at the first larger value.
  ZoQueueInsertEx(&q, [](LONG_PTR, ZoQueueLink* e, ZoQueueLink* i) -> BOOL { return ValueOf(e) > ValueOf(i); }, 0,
                  &items[3].link);
  ZoQueueInsertExRev(&q, [](LONG_PTR, ZoQueueLink* e, ZoQueueLink* i) -> BOOL { return ValueOf(e) < ValueOf(i); }, 0,
                     &items[5].link);
  EXPECT_EQ(Order(&q), (std::vector<int>{1, 2, 3, 4, 5}));
  auto is = [](LONG_PTR v, ZoQueueLink* l) -> BOOL { return ValueOf(l) == int(v); };
  auto even = [](LONG_PTR, ZoQueueLink* l) -> BOOL { return ValueOf(l) % 2 == 0; };
  EXPECT_EQ(ZoQueueFind(&q, even, 0), &items[2].link);
  EXPECT_EQ(ZoQueueFindRev(&q, even, 0), &items[4].link);
  EXPECT_EQ(ZoQueueFindAndMoveToHead(&q, is, 4), &items[4].link);
  EXPECT_EQ(ZoQueueFindAndMoveToTail(&q, is, 1), &items[1].link);
  EXPECT_EQ(Order(&q), (std::vector<int>{4, 2, 3, 5, 1}));
  EXPECT_TRUE(ZoQueueMoveToTail(&q, &items[4].link));
  EXPECT_FALSE(ZoQueueMoveToHead(&q, &items[7].link)) << "not in this queue";
  EXPECT_EQ(ZoQueueFindAndRemoveRev(&q, even, 0), &items[4].link);
  EXPECT_FALSE(IsInZoQueue(&q, &items[4].link));
  EXPECT_TRUE(IsInZoQueue(&q, &items[5].link));
  EXPECT_EQ(ZoQueueRemoveTail(&q, 0), &items[1].link);
  EXPECT_EQ(ZoQueueRemove(&q, 0), &items[2].link);
  EXPECT_EQ(ZoQueueFindAndRemove(&q, is, 3), &items[3].link);
  EXPECT_TRUE(EventSet());
  EXPECT_EQ(ZoQueueRemove(&q, 0), &items[5].link);
  EXPECT_FALSE(EventSet()) << "the event is set exactly while items wait";
  EXPECT_EQ(ZoQueueRemove(&q, 0), nullptr) << "time-out 0 on an empty queue returns at once";
  EXPECT_FALSE(ZoQueueWait(&q, 0));
}

TEST_F(QueueTest, DeleteWakesAWaiterWithNothing) {
  std::atomic<bool> returned{false};
  ZoQueueLink* got = &items[0].link;
  std::thread waiter([&] {
    got = ZoQueueRemove(&q, INFINITE);
    returned = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(returned.load());
  ZoQueueDelete(&q);
  waiter.join();
  EXPECT_EQ(got, nullptr);
  ZoQueueDelete(&q);  // a second call does nothing
  EXPECT_EQ(ZoQueueRemove(&q, 0), nullptr);
}

TEST_F(QueueTest, FlushWakesAWaiterThatWaitsAgainForWhatIsLeft) {
  ZoQueueInsert(&q, &items[0].link);
  ZoQueueFlush(&q);
  EXPECT_TRUE(EventSet()) << "a flushed queue leaves the event set";
  ZoQueueLink* got = nullptr;
  std::thread waiter([&] { got = ZoQueueRemove(&q, 10000); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ZoQueueInsert(&q, &items[6].link);
  waiter.join();
  EXPECT_EQ(got, &items[6].link) << "the waiter found nothing after the flush and went on waiting";
}

TEST_F(QueueTest, ExtraHandlesEndTheWaitAndTooManyAreRefused) {
  HANDLE stop = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  DWORD result = 0;
  EXPECT_EQ(ZoQueueRemoveEx(&q, &stop, 1, 0, INFINITE, &result), nullptr);
  EXPECT_EQ(result, WAIT_OBJECT_0 + 1);
  std::vector<HANDLE> many(64, stop);
  EXPECT_EQ(ZoQueueRemoveEx(&q, many.data(), 64, 0, INFINITE, nullptr), nullptr) << "returns without waiting";
  ResetEvent(stop);
  EXPECT_EQ(ZoQueueRemoveEx(&q, &stop, 1, 0, 20, &result), nullptr);
  EXPECT_EQ(result, WAIT_TIMEOUT);
  ZoQueueInsert(&q, &items[7].link);
  EXPECT_EQ(ZoQueueRemoveEx(&q, &stop, 1, 0, INFINITE, &result), &items[7].link);
  CloseHandle(stop);
}

TEST(QueueStress, ProducersAndConsumersHandOverEveryItemOnce) {
  ZoQueue q{};
  ASSERT_TRUE(ZoQueueInitialize(&q));
  constexpr int kProducers = 4, kPerProducer = 5000;
  std::vector<Item> items(kProducers * kPerProducer);
  for (size_t i = 0; i < items.size(); ++i) items[i].value = int(i);
  std::vector<std::atomic<int>> seen(items.size());
  std::atomic<int> received{0};
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p)
    threads.emplace_back([&, p] {
      for (int i = 0; i < kPerProducer; ++i) {
        Item& it = items[size_t(p * kPerProducer + i)];
        if (i % 3) ZoQueueInsert(&q, &it.link);
        else ZoQueueInsertHead(&q, &it.link);
      }
    });
  for (int c = 0; c < 4; ++c)
    threads.emplace_back([&] {
      while (received.load() < int(items.size())) {
        if (ZoQueueLink* l = ZoQueueRemove(&q, 20)) {
          ++seen[size_t(ValueOf(l))];
          ++received;
        }
      }
    });
  for (auto& t : threads) t.join();
  for (const auto& s : seen) ASSERT_EQ(s.load(), 1);
  EXPECT_EQ(ZoQueueRemove(&q, 0), nullptr);
  ZoQueueDelete(&q);
}

}  // namespace
