// SPDX-License-Identifier: MIT
// The plug-in manager: creation with 50 plug-in modules from a valid cache
// against a forced rebuild (every module probed in a child process), and
// FindReaderForHandle over 1,000 files of the test formats against libmagic
// naming the same files. Counters report the modules loaded into the process
// per creation; a start with a valid cache must load none of them.
#include <benchmark/benchmark.h>
#include <magic.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fileio/detail/module_loader.h"
#include "fileio/manager.h"
#include "platform/file.h"
#include "platform/wtext.h"

namespace fs = std::filesystem;

namespace {

constexpr int kModules = 50;
constexpr int kFiles = 1000;

struct World {
  fs::path root;
  std::vector<std::string> files;

  World() {
    root = fs::temp_directory_path() / ("vane-bench-manager-" + std::to_string(::getpid()));
    fs::create_directories(root / "plugins");
    std::string config = "[FileIO Plug-Ins]\n";
    const char* sources[] = {"alpha", "beta", "gamma"};
    for (int i = 0; i < kModules; ++i) {
      // Copies of the test plug-ins under their own names; copies of one
      // plug-in offer one class, so only the first of each is a reader.
      std::string name = std::string(sources[i % 3]) + "_" + std::to_string(i);
      fs::copy_file(fs::path(VANE_TEST_PLUGIN_DIR) / (std::string(sources[i % 3]) + ".so"),
                    root / "plugins" / (name + ".so"), fs::copy_options::overwrite_existing);
      config += name + "=" + name + ".so\n";
    }
    std::ofstream(root / "plugins" / "bench.Fio2007-Config") << config;
    const char* magic[] = {"ALPH", "BETA", "GAMM", "NONE"};
    const char* ext[] = {".alp", ".bet", ".gam", ".dat"};
    fs::create_directories(root / "files");
    for (int i = 0; i < kFiles; ++i) {
      std::string path = (root / "files" / ("f" + std::to_string(i) + ext[(i / 4) % 4])).string();
      std::string body(4096, char(i));
      std::ofstream(path, std::ios::binary) << magic[i % 4] << body;
      files.push_back(path);
    }
    setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
    setenv("VANE_PLUGIN_PATH", (root / "plugins").c_str(), 1);
    setenv("VANE_PROBE_HELPER", VANE_PROBE_HELPER_PATH, 1);
  }
  ~World() {
    std::error_code ec;
    fs::remove_all(root, ec);
  }
};

World& TheWorld() {
  static World w;
  return w;
}

void Create(benchmark::State& state, DWORD flags) {
  TheWorld();
  IZoFileIOMgrForApp* warm = nullptr;
  ZOFileIO_CreateInstance(&warm, 0);  // leaves a valid cache behind
  if (warm) warm->Release();
  size_t loads = 0;
  for (auto _ : state) {
    size_t before = vane::fileio::detail::ModuleLoadCount();
    IZoFileIOMgrForApp* m = nullptr;
    if (FAILED(ZOFileIO_CreateInstance(&m, flags))) state.SkipWithError("creation failed");
    loads += vane::fileio::detail::ModuleLoadCount() - before;
    state.PauseTiming();
    if (m) m->Release();
    state.ResumeTiming();
  }
  state.counters["modules_loaded"] = benchmark::Counter(double(loads), benchmark::Counter::kAvgIterations);
}

void BM_CreateWithValidCache(benchmark::State& state) { Create(state, 0); }
void BM_CreateRebuild(benchmark::State& state) { Create(state, vane::fileio::kCreateRebuild); }

void BM_FindReaderForHandle(benchmark::State& state) {
  World& w = TheWorld();
  IZoFileIOMgrForApp* m = nullptr;
  ZOFileIO_CreateInstance(&m, 0);
  std::vector<std::u16string> names;
  for (const auto& f : w.files) names.push_back(vane::platform::FromUtf8(f));
  size_t found = 0;
  for (auto _ : state) {
    for (const auto& n : names) {
      HANDLE h = CreateFileW(n.c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0, nullptr);
      LONG index = -1;
      if (SUCCEEDED(m->FindReaderForHandle(h, n.c_str(), &index, 0))) ++found;
      CloseHandle(h);
    }
  }
  state.counters["found_per_pass"] = benchmark::Counter(double(found), benchmark::Counter::kAvgIterations);
  state.SetItemsProcessed(int64_t(state.iterations()) * kFiles);
  m->Release();
}

// The peer: libmagic naming the same 1,000 files.
void BM_LibmagicSameFiles(benchmark::State& state) {
  World& w = TheWorld();
  magic_t cookie = magic_open(MAGIC_NONE);
  magic_load(cookie, nullptr);
  for (auto _ : state) {
    for (const auto& f : w.files) benchmark::DoNotOptimize(magic_file(cookie, f.c_str()));
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kFiles);
  magic_close(cookie);
}

BENCHMARK(BM_CreateWithValidCache)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CreateRebuild)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindReaderForHandle)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibmagicSameFiles)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
