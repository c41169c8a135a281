// SPDX-License-Identifier: MIT
// ZoList against std::vector, std::sort and std::lower_bound on pointer items,
// with the same out-of-line comparator on both sides. Every case runs as a
// pair "ZoList/<case>/n" and "Std/<case>/n"; the end of the run prints the
// time ratio ZoList/Std of each pair.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kernel/zolist.h"
#include "platform/status.h"

namespace {

__attribute__((noinline)) int CALLBACK CompareKeys(LONG_PTR, const void* a, const void* b) {
  const auto x = reinterpret_cast<std::uintptr_t>(a);
  const auto y = reinterpret_cast<std::uintptr_t>(b);
  return (x > y) - (x < y);
}
bool StdLess(const void* a, const void* b) { return CompareKeys(0, a, b) < 0; }

std::vector<const void*> RandomItems(std::size_t n, std::uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::vector<const void*> items(n);
  for (auto& p : items) p = reinterpret_cast<const void*>(rng() >> 1);
  return items;
}

tZOLIST* NewList(LONG growStep) {
  tZOLIST* list = nullptr;
  if (ZoList_CreateExZ(&list, 0, 0, growStep, 0, 0, 0, 0) != S_OK) std::abort();
  return list;
}

void ItemsProcessed(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

// Append one at a time. The grow step is the largest allowed, so growth
// copies the block once per 66,560 items.
void ZoListAppend(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 1);
  for (auto _ : state) {
    tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
    for (const void* p : items) ZoList_InsertList(list, -1, &p, 1);
    benchmark::DoNotOptimize(list->pData);
    ZoList_Destroy(list);
  }
  ItemsProcessed(state);
}
void StdAppend(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 1);
  for (auto _ : state) {
    std::vector<const void*> v;
    for (const void* p : items) v.push_back(p);
    benchmark::DoNotOptimize(v.data());
  }
  ItemsProcessed(state);
}

void ZoListInsertFront(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 2);
  for (auto _ : state) {
    tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
    for (const void* p : items) ZoList_InsertList(list, 0, &p, 1);
    benchmark::DoNotOptimize(list->pData);
    ZoList_Destroy(list);
  }
  ItemsProcessed(state);
}
void StdInsertFront(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 2);
  for (auto _ : state) {
    std::vector<const void*> v;
    for (const void* p : items) v.insert(v.begin(), p);
    benchmark::DoNotOptimize(v.data());
  }
  ItemsProcessed(state);
}

// Deletes one item at a time from the middle until the list is empty.
void ZoListDelete(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 3);
  tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
  for (auto _ : state) {
    state.PauseTiming();
    ZoList_InsertList(list, 0, items.data(), static_cast<LONG>(items.size()));
    state.ResumeTiming();
    while (list->nItems > 0) ZoList_DeleteList(list, list->nItems / 2, 1, FALSE);
  }
  ZoList_Destroy(list);
  ItemsProcessed(state);
}
void StdDelete(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 3);
  std::vector<const void*> v;
  for (auto _ : state) {
    state.PauseTiming();
    v.assign(items.begin(), items.end());
    state.ResumeTiming();
    while (!v.empty()) v.erase(v.begin() + v.size() / 2);
  }
  ItemsProcessed(state);
}

template <HRESULT WINAPI (*Sort)(tZOLIST*, LONG_PTR, ZOLISTCOMPAREPROC)>
void ZoListSortWith(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 4);
  tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
  for (auto _ : state) {
    state.PauseTiming();
    ZoList_DeleteList(list, 0, -1, FALSE);
    ZoList_InsertList(list, 0, items.data(), static_cast<LONG>(items.size()));
    state.ResumeTiming();
    Sort(list, 0, CompareKeys);
  }
  ZoList_Destroy(list);
  ItemsProcessed(state);
}
void ZoListHeapSort(benchmark::State& state) { ZoListSortWith<ZoList_HeapSort>(state); }
void ZoListSelectionSort(benchmark::State& state) { ZoListSortWith<ZoList_Sort>(state); }
void StdSort(benchmark::State& state) {
  const auto items = RandomItems(state.range(0), 4);
  std::vector<const void*> v;
  for (auto _ : state) {
    state.PauseTiming();
    v.assign(items.begin(), items.end());
    state.ResumeTiming();
    std::sort(v.begin(), v.end(), StdLess);
  }
  ItemsProcessed(state);
}

// Looks up n keys, half of them present, in a sorted list of n items.
struct SearchData {
  std::vector<const void*> sorted;
  std::vector<const void*> keys;
  explicit SearchData(std::size_t n) : sorted(RandomItems(n, 5)) {
    std::sort(sorted.begin(), sorted.end(), StdLess);
    keys = RandomItems(n, 6);
    for (std::size_t i = 0; i < n; i += 2) keys[i] = sorted[(i * 7919) % n];
  }
};
void ZoListSearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
  ZoList_InsertList(list, 0, data.sorted.data(), static_cast<LONG>(data.sorted.size()));
  for (auto _ : state) {
    long found = 0;
    for (const void* key : data.keys) found += ZoList_FindSortedItemRange(list, key, 0, -1, CompareKeys) >= 0;
    benchmark::DoNotOptimize(found);
  }
  ZoList_Destroy(list);
  ItemsProcessed(state);
}
void StdSearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  for (auto _ : state) {
    long found = 0;
    for (const void* key : data.keys) {
      const auto it = std::lower_bound(data.sorted.begin(), data.sorted.end(), key, StdLess);
      found += it != data.sorted.end() && CompareKeys(0, key, *it) == 0;
    }
    benchmark::DoNotOptimize(found);
  }
  ItemsProcessed(state);
}
void ZoListInsertSearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  tZOLIST* list = NewList(ZOLIST_MAX_GROWSTEP);
  ZoList_InsertList(list, 0, data.sorted.data(), static_cast<LONG>(data.sorted.size()));
  for (auto _ : state) {
    long sum = 0;
    for (const void* key : data.keys) sum += ZoList_FindSortedInsertIndexRange(list, key, 0, -1, CompareKeys);
    benchmark::DoNotOptimize(sum);
  }
  ZoList_Destroy(list);
  ItemsProcessed(state);
}
void StdInsertSearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  for (auto _ : state) {
    long sum = 0;
    for (const void* key : data.keys) {
      sum += std::lower_bound(data.sorted.begin(), data.sorted.end(), key, StdLess) - data.sorted.begin();
    }
    benchmark::DoNotOptimize(sum);
  }
  ItemsProcessed(state);
}

constexpr std::int64_t kMillion = 1000000;

void Register(const char* name, void (*zo)(benchmark::State&), void (*std)(benchmark::State&),
              std::vector<std::int64_t> sizes) {
  for (std::int64_t n : sizes) {
    benchmark::RegisterBenchmark((std::string("ZoList/") + name).c_str(), zo)->Arg(n)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("Std/") + name).c_str(), std)->Arg(n)->Unit(benchmark::kMillisecond);
  }
}

// Prints the usual table, then ZoList/Std time ratios per case and size.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      // Repetitions of one case are averaged.
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        auto& [sum, count] = m_times[run.run_name.function_name + "/" + run.run_name.args];
        sum += run.GetAdjustedCPUTime();
        ++count;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nratio ZoList/Std (CPU time; 1.00 = equal, below 1 = ZoList faster)\n");
    for (const auto& [name, ours] : m_times) {
      if (name.rfind("ZoList/", 0) != 0) continue;
      const auto peer = m_times.find("Std/" + name.substr(7));
      if (peer == m_times.end() || peer->second.first <= 0) continue;
      const double ratio = (ours.first / ours.second) / (peer->second.first / peer->second.second);
      std::printf("  %-32s %6.2f\n", name.c_str() + 7, ratio);
    }
  }

 private:
  std::map<std::string, std::pair<double, int>> m_times;  // CPU time sum, runs
};

}  // namespace

int main(int argc, char** argv) {
  Register("Append", ZoListAppend, StdAppend, {10000, 100000, kMillion});
  Register("InsertFront", ZoListInsertFront, StdInsertFront, {10000, 100000});
  Register("DeleteMiddle", ZoListDelete, StdDelete, {10000, 100000});
  Register("HeapSort", ZoListHeapSort, StdSort, {kMillion});
  Register("SelectionSort", ZoListSelectionSort, StdSort, {1000});
  Register("SortedSearch", ZoListSearch, StdSearch, {kMillion});
  Register("SortedInsertSearch", ZoListInsertSearch, StdInsertSearch, {kMillion});
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
