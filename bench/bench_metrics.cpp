// SPDX-License-Identifier: MIT
// Metric get and set against a direct SQLite prepared statement on a table of
// the same shape (our overhead over the store itself), in one run.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "kernel/metrics.h"

namespace {

std::string& Dir() {
  static std::string dir = [] {
    char tmpl[] = "/tmp/vane-bench-metrics-XXXXXX";
    std::string d = mkdtemp(tmpl);
    setenv("VANE_REGISTRY_DIR", d.c_str(), 1);
    return d;
  }();
  return dir;
}

void BM_MetricGet(benchmark::State& state) {
  Dir();
  HZOMETRIC m = nullptr;
  ZoMetric_Open(&m, u"Bench", 0, nullptr);
  ZoSetMetric(m, 1, 42);
  for (auto _ : state) benchmark::DoNotOptimize(ZoGetMetric(m, 1));
  ZoMetric_Close(m);
}

void BM_MetricSet(benchmark::State& state) {
  Dir();
  HZOMETRIC m = nullptr;
  ZoMetric_Open(&m, u"Bench", 0, nullptr);
  DWORD i = 0;
  for (auto _ : state) ZoSetMetric(m, 2, ++i);
  ZoMetric_Close(m);
}

struct Direct {
  sqlite3* db = nullptr;
  sqlite3_stmt* get = nullptr;
  sqlite3_stmt* set = nullptr;
  Direct() {
    sqlite3_open((Dir() + "/direct.db").c_str(), &db);
    sqlite3_exec(db,
                 "PRAGMA journal_mode=WAL; CREATE TABLE IF NOT EXISTS vals(path TEXT COLLATE NOCASE, name TEXT COLLATE "
                 "NOCASE, type INTEGER, data BLOB, PRIMARY KEY(path, name));",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(db, "SELECT type, data FROM vals WHERE path = ?1 AND name = ?2", -1, &get, nullptr);
    sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO vals(path, name, type, data) VALUES(?1, ?2, 4, ?3)", -1, &set, nullptr);
  }
  ~Direct() {
    sqlite3_finalize(get);
    sqlite3_finalize(set);
    sqlite3_close(db);
  }
};

void BM_SqliteGet(benchmark::State& state) {
  Direct d;
  const int v = 42;
  sqlite3_bind_text(d.set, 1, "Software\\Bench\\Metrics", -1, SQLITE_STATIC);
  sqlite3_bind_text(d.set, 2, "1", -1, SQLITE_STATIC);
  sqlite3_bind_blob(d.set, 3, &v, 4, SQLITE_STATIC);
  sqlite3_step(d.set);
  sqlite3_reset(d.set);
  for (auto _ : state) {
    sqlite3_bind_text(d.get, 1, "Software\\Bench\\Metrics", -1, SQLITE_STATIC);
    sqlite3_bind_text(d.get, 2, "1", -1, SQLITE_STATIC);
    sqlite3_step(d.get);
    benchmark::DoNotOptimize(sqlite3_column_blob(d.get, 1));
    sqlite3_reset(d.get);
  }
}

void BM_SqliteSet(benchmark::State& state) {
  Direct d;
  int v = 0;
  for (auto _ : state) {
    ++v;
    sqlite3_bind_text(d.set, 1, "Software\\Bench\\Metrics", -1, SQLITE_STATIC);
    sqlite3_bind_text(d.set, 2, "2", -1, SQLITE_STATIC);
    sqlite3_bind_blob(d.set, 3, &v, 4, SQLITE_STATIC);
    sqlite3_step(d.set);
    sqlite3_reset(d.set);
  }
}

BENCHMARK(BM_MetricGet);
BENCHMARK(BM_SqliteGet);
BENCHMARK(BM_MetricSet);
BENCHMARK(BM_SqliteSet);

}  // namespace

BENCHMARK_MAIN();
