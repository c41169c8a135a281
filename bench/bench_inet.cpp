// SPDX-License-Identifier: MIT
// HTTP download and upload over loopback through CZoInetHttp, side by side
// with the curl program against the same local server. The size is
// VANE_BENCH_INET_MB megabytes (default 256; 1024 for the full figure).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "platform/wtext.h"
#include "shared/internet/inet_http.h"
#include "tests/internet/inet_test_util.h"
#include "tests/internet/local_server.h"
#include "tests/support/test_files.h"

namespace {

struct Setup {
  vane::test::ScratchDir dir;
  vane::test::LocalServer* server = nullptr;
  unsigned long long bytes = 0;
  std::string base;
  Setup() {
    const char* mb = std::getenv("VANE_BENCH_INET_MB");
    bytes = (mb ? std::strtoull(mb, nullptr, 10) : 256ull) << 20;
    vane::test::WritePatternFile(dir / "payload.bin", bytes, 1);
    server = new vane::test::LocalServer("http_server.py", {dir.path().string()});
    base = "http://127.0.0.1:" + std::to_string(server->Port());
  }
  ~Setup() { delete server; }
};

Setup& Bench() {
  static Setup setup;
  return setup;
}

// Runs one request through CZoInetHttp and waits for it.
void Ours(benchmark::State& state, bool upload) {
  Setup& s = Bench();
  CZoInetHttp* http = nullptr;
  CZoInetHttp::CreateInstance(&http);
  http->Init(u"bench");
  const std::u16string target = vane::platform::FromUtf8((s.dir / "download.bin").string());
  const std::u16string source = vane::platform::FromUtf8((s.dir / "payload.bin").string());
  for (auto _ : state) {
    CZoInetHttpResponse response;
    HRESULT hr;
    if (upload) {
      const ZOINET_MULTIPART_FILE part{u"file", source.c_str(), nullptr};
      hr = http->PostMultipart(vane::platform::FromUtf8(s.base + "/save").c_str(), nullptr, &part, 1, &response);
    } else {
      response.SetResponseDataFileName(target.c_str());
      hr = http->Get(vane::platform::FromUtf8(s.base + "/file/payload.bin").c_str(), nullptr, nullptr, &response);
    }
    HRESULT result = E_FAIL;
    if (SUCCEEDED(hr) && SUCCEEDED(http->WaitForRequestCompletion(INFINITE))) http->GetRequestResult(&result, nullptr);
    if (FAILED(result)) state.SkipWithError("request failed");
  }
  http->Release();
  state.SetBytesProcessed(static_cast<int64_t>(s.bytes) * state.iterations());
}

void CurlTool(benchmark::State& state, bool upload) {
  Setup& s = Bench();
  const std::string line =
      upload ? "curl -s -o /dev/null -F file=@" + (s.dir / "payload.bin").string() + " " + s.base + "/save"
             : "curl -s -o " + (s.dir / "download.bin").string() + " " + s.base + "/file/payload.bin";
  for (auto _ : state)
    if (vane::test::RunCommand(line) != 0) state.SkipWithError("curl failed");
  state.SetBytesProcessed(static_cast<int64_t>(s.bytes) * state.iterations());
}

void BM_Get_Vane(benchmark::State& state) { Ours(state, false); }
void BM_Get_CurlTool(benchmark::State& state) { CurlTool(state, false); }
void BM_Post_Vane(benchmark::State& state) { Ours(state, true); }
void BM_Post_CurlTool(benchmark::State& state) { CurlTool(state, true); }
BENCHMARK(BM_Get_Vane)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Get_CurlTool)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Post_Vane)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Post_CurlTool)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      auto it = r.counters.find("bytes_per_second");
      if (it != r.counters.end()) m_mbps[r.benchmark_name()] = double(it->second) / 1e6;
    }
  }
  void PrintRatios() {
    for (const char* what : {"Get", "Post"}) {
      const double ours = m_mbps[std::string("BM_") + what + "_Vane/iterations:3/real_time"];
      const double peer = m_mbps[std::string("BM_") + what + "_CurlTool/iterations:3/real_time"];
      if (ours > 0 && peer > 0)
        std::printf("%s: vane %.0f MB/s, curl %.0f MB/s, ratio %.2fx\n", what, ours, peer, ours / peer);
    }
  }

 private:
  std::map<std::string, double> m_mbps;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (!Bench().server->Port()) {
    std::fprintf(stderr, "no local HTTP server: %s\n", Bench().server->Why().c_str());
    return 1;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
