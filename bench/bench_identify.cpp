// SPDX-License-Identifier: MIT
// Identification of 1,000 small files of mixed types, side by side with
// libmagic (MIME type only). Both open, read and close each file; the ratio
// of files per second is printed at the end.
#include <benchmark/benchmark.h>
#include <magic.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/wtext.h"
#include "riff/quick_identify.h"

namespace {

namespace fs = std::filesystem;

struct Corpus {
  fs::path dir;
  std::vector<std::string> names;
  std::vector<std::u16string> wide;
};

void Put32(std::vector<unsigned char>& b, size_t at, std::uint32_t v) { std::memcpy(b.data() + at, &v, 4); }

// Ten kinds of headers, 100 files each, 4 KB apiece with varying filler.
std::vector<unsigned char> Make(int kind, int seed) {
  std::vector<unsigned char> b(4096);
  for (size_t i = 0; i < b.size(); ++i) b[i] = (unsigned char)((i * 131 + seed * 17) >> 3);
  auto put = [&](size_t at, const char* s, size_t n) { std::memcpy(b.data() + at, s, n); };
  switch (kind) {
    case 0:  // wave
      put(0, "RIFF\0\0\0\0WAVEfmt \x10\0\0\0\x01\0\x02\0\x44\xac\0\0\x10\xb1\x02\0\x04\0\x10\0data", 40);
      Put32(b, 4, 4088), Put32(b, 40, 4052);
      break;
    case 1: put(0, "\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16); break;
    case 2: put(0, "\xff\xd8\xff\xe0\0\x10JFIF\0", 11); break;
    case 3: put(0, "GIF89a", 6); break;
    case 4: put(0, "OggS\0\x02", 6); break;
    case 5: put(0, "fLaC\0\0\0\x22", 8); break;
    case 6: put(0, "FORM\0\0\x0f\xf8" "AIFFCOMM", 16); break;
    case 7: put(0, "ID3\x03\0\0\0\0\0\x10", 10), put(26, "\xff\xfb\x90\x64", 4); break;
    case 8: put(0, "\x1a\x45\xdf\xa3\x9f\x42\x86\x81\x01", 9); break;
    default: put(0, "\0\0\0\x18" "ftypisom\0\0\x02\0isomiso2", 24), put(24, "\0\0\x0f\xe8" "mdat", 8); break;
  }
  return b;
}

const Corpus& Files() {
  static Corpus c = [] {
    Corpus k;
    k.dir = fs::temp_directory_path() / ("vane-bench-identify-" + std::to_string(::getpid()));
    fs::create_directories(k.dir);
    const char* ext[] = {".wav", ".png", ".jpg", ".gif", ".ogg", ".flac", ".aiff", ".mp3", ".mkv", ".mp4"};
    for (int i = 0; i < 1000; ++i) {
      const auto p = k.dir / ("f" + std::to_string(i) + ext[i % 10]);
      const auto bytes = Make(i % 10, i);
      std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), long(bytes.size()));
      k.names.push_back(p.string());
      k.wide.push_back(vane::platform::FromUtf8(p.string()));
    }
    return k;
  }();
  return c;
}

void BM_Vane(benchmark::State& state) {
  const Corpus& c = Files();
  for (auto _ : state) {
    for (const auto& w : c.wide) {
      DWORD type = 0;
      ZoIsQuicklyIdentifiableMediaFileFormat(w.c_str(), 0, &type);
      benchmark::DoNotOptimize(type);
    }
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t(c.wide.size()));
}

void BM_Libmagic(benchmark::State& state) {
  const Corpus& c = Files();
  magic_t m = magic_open(MAGIC_MIME_TYPE);
  if (!m || magic_load(m, nullptr) != 0) {
    state.SkipWithError("libmagic database did not load");
    return;
  }
  for (auto _ : state) {
    for (const auto& n : c.names) benchmark::DoNotOptimize(magic_file(m, n.c_str()));
  }
  magic_close(m);
  state.SetItemsProcessed(state.iterations() * std::int64_t(c.names.size()));
}

BENCHMARK(BM_Vane)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libmagic)->Unit(benchmark::kMillisecond);

// Console output plus the ratio of files per second.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      auto it = r.counters.find("items_per_second");
      if (it != r.counters.end()) m_rate[r.benchmark_name()] = it->second;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    const double ours = m_rate["BM_Vane"], peer = m_rate["BM_Libmagic"];
    if (ours > 0 && peer > 0)
      std::printf("files/s: vane %.0f, libmagic %.0f; vane is %.1fx libmagic\n", ours, peer, ours / peer);
  }

 private:
  std::map<std::string, double> m_rate;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::error_code ec;
  fs::remove_all(Files().dir, ec);
  return 0;
}
