// SPDX-License-Identifier: MIT
// One producer hands 200,000 items to one consumer through ZoQueue, side by
// side with a std::mutex + std::condition_variable queue; items/s and ratio.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "kernel/zoqueue.h"

namespace {

constexpr int kItems = 200000;

struct Item {
  ZoQueueLink link{};
  int value = 0;
};

void BM_ZoQueue(benchmark::State& state) {
  std::vector<Item> items(kItems);
  for (auto _ : state) {
    ZoQueue q{};
    ZoQueueInitialize(&q);
    std::thread producer([&] {
      for (Item& it : items) ZoQueueInsert(&q, &it.link);
    });
    for (int got = 0; got < kItems;)
      if (ZoQueueRemove(&q, INFINITE)) ++got;
    producer.join();
    ZoQueueDelete(&q);
  }
  state.SetItemsProcessed(int64_t(kItems) * state.iterations());
}

void BM_StdMutexCondvar(benchmark::State& state) {
  std::vector<Item> items(kItems);
  for (auto _ : state) {
    std::mutex m;
    std::condition_variable cv;
    std::deque<Item*> q;
    std::thread producer([&] {
      for (Item& it : items) {
        {
          std::lock_guard<std::mutex> g(m);
          q.push_back(&it);
        }
        cv.notify_one();
      }
    });
    for (int got = 0; got < kItems; ++got) {
      std::unique_lock<std::mutex> g(m);
      cv.wait(g, [&] { return !q.empty(); });
      q.pop_front();
    }
    producer.join();
  }
  state.SetItemsProcessed(int64_t(kItems) * state.iterations());
}

BENCHMARK(BM_ZoQueue)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StdMutexCondvar)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
