// SPDX-License-Identifier: MIT
// Parsing a 20 MB XML document (recorder-style elements, attributes and text)
// with CZoXML_Document, side by side with pugixml (a tree, like ours) and
// expat (events only, no tree) in one run; MB/s and ratios.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdio>
#include <map>
#include <pugixml.hpp>
#include <string>

#include "xml/zoxml.h"

namespace {

const std::string& Document() {
  static const std::string text = [] {
    std::string t = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<BWFXML>\n";
    for (int i = 0; t.size() < (20u << 20); ++i) {
      t += "  <TRACK index=\"" + std::to_string(i) + "\" kind=\"mono\">\n    <CHANNEL_INDEX>" + std::to_string(i % 64) +
           "</CHANNEL_INDEX>\n    <NAME>Boom &amp; Lav " + std::to_string(i) +
           "</NAME>\n    <NOTE>scene 12A take 3, wind noise from the left</NOTE>\n  </TRACK>\n";
    }
    return t + "</BWFXML>\n";
  }();
  return text;
}

void BM_Vane(benchmark::State& state) {
  for (auto _ : state) {
    CZoXML_Document doc;
    if (doc.OpenMemory(Document().data(), Document().size()) != S_OK) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(doc.GetRootElement());
  }
  state.SetBytesProcessed(static_cast<int64_t>(Document().size()) * state.iterations());
}

void BM_Pugixml(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document doc;
    if (!doc.load_buffer(Document().data(), Document().size())) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(doc.first_child());
  }
  state.SetBytesProcessed(static_cast<int64_t>(Document().size()) * state.iterations());
}

void BM_Expat(benchmark::State& state) {
  for (auto _ : state) {
    XML_Parser parser = XML_ParserCreate(nullptr);
    if (XML_Parse(parser, Document().data(), static_cast<int>(Document().size()), 1) != XML_STATUS_OK)
      state.SkipWithError("parse failed");
    XML_ParserFree(parser);
  }
  state.SetBytesProcessed(static_cast<int64_t>(Document().size()) * state.iterations());
}

BENCHMARK(BM_Vane)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_Pugixml)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_Expat)->Unit(benchmark::kMillisecond)->MinTime(1.0);

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      auto it = r.counters.find("bytes_per_second");
      if (it != r.counters.end()) m_mbps[r.benchmark_name().substr(0, r.benchmark_name().find('/'))] = it->second / 1e6;
    }
  }
  void PrintRatios() {
    const double vane = m_mbps["BM_Vane"], pugi = m_mbps["BM_Pugixml"], expat = m_mbps["BM_Expat"];
    std::printf("MB/s: vane %.0f, pugixml %.0f, expat %.0f\n", vane, pugi, expat);
    if (pugi > 0 && expat > 0) std::printf("ratios: vane/pugixml %.2fx, vane/expat %.2fx\n", vane / pugi, vane / expat);
  }

 private:
  std::map<std::string, double> m_mbps;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
