// SPDX-License-Identifier: MIT
// The formatter against snprintf and fmt::format on one mixed, locale-free
// format (the same text from all three), its locale form, and time code
// labels of 10^6 frame counts against libavutil. Report the ratios of
// items/s side by side.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

extern "C" {
#include <libavutil/timecode.h>
}

#include <cstdio>
#include <cstring>
#include <locale>
#include <string>

#include "kernel/nanotime.h"
#include "kernel/smpte.h"
#include "kernel/zoprintf.h"

namespace {

constexpr int kFrames = 1000000;

// "name=%s count=%d size=%I64d ratio=%.3f hex=%08x"
void BM_ZoPrintF_Plain(benchmark::State& state) {
  ZoLang_LoadInternationals("C");
  WCHAR out[128];
  int i = 0;
  for (auto _ : state) {
    ZoCchPrintF(out, 128, u"name=%s count=%d size=%I64d ratio=%.3f hex=%08x", u"track", i, 1234567890123LL + i,
                i * 0.001, unsigned(i));
    benchmark::DoNotOptimize(out);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Snprintf_Plain(benchmark::State& state) {
  char out[128];
  int i = 0;
  for (auto _ : state) {
    std::snprintf(out, 128, "name=%s count=%d size=%lld ratio=%.3f hex=%08x", "track", i, 1234567890123LL + i,
                  i * 0.001, unsigned(i));
    benchmark::DoNotOptimize(out);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Fmt_Plain(benchmark::State& state) {
  char out[128];
  int i = 0;
  for (auto _ : state) {
    auto r = fmt::format_to_n(out, 127, "name={} count={} size={} ratio={:.3f} hex={:08x}", "track", i,
                              1234567890123LL + i, i * 0.001, unsigned(i));
    *r.out = 0;
    benchmark::DoNotOptimize(out);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}

// The locale forms in German: grouped integers and a grouped decimal.
void BM_ZoPrintF_Locale(benchmark::State& state) {
  ZoLang_LoadInternationals("de_DE.UTF-8");
  WCHAR out[128];
  int i = 0;
  for (auto _ : state) {
    ZoCchPrintF(out, 128, u"count=$d size=$I64d ratio=$.3f", 1234567 + i, 1234567890123LL + i, 12345.678 + i);
    benchmark::DoNotOptimize(out);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Fmt_Locale(benchmark::State& state) {
  int i = 0;
  const std::locale locale("de_DE.UTF-8");
  for (auto _ : state) {
    std::string out = fmt::format(locale, "count={:L} size={:L} ratio={:.3Lf}", 1234567 + i, 1234567890123LL + i,
                                  12345.678 + i);
    benchmark::DoNotOptimize(out);
    ++i;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_ZoSmpteLabels(benchmark::State& state) {
  WCHAR out[32];
  for (auto _ : state) {
    for (int frame = 0; frame < kFrames; ++frame) {
      _smpteval v{};
      v.type = ZOSMPTE_2997_DROP;
      ZOSMPTE_FrameCountToSMPTE(&v, frame);
      ZoCchPrintF(out, 32, u"%02u:%02u:%02u;%02u", unsigned(v.hours), unsigned(v.minutes), unsigned(v.seconds),
                  unsigned(v.frames));
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetItemsProcessed(int64_t(kFrames) * state.iterations());
}

void BM_AvTimecodeLabels(benchmark::State& state) {
  AVTimecode tc{};
  av_timecode_init(&tc, AVRational{30000, 1001}, AV_TIMECODE_FLAG_DROPFRAME, 0, nullptr);
  char out[AV_TIMECODE_STR_SIZE];
  for (auto _ : state) {
    for (int frame = 0; frame < kFrames; ++frame) {
      av_timecode_make_string(&tc, out, frame);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetItemsProcessed(int64_t(kFrames) * state.iterations());
}

BENCHMARK(BM_ZoPrintF_Plain);
BENCHMARK(BM_Snprintf_Plain);
BENCHMARK(BM_Fmt_Plain);
BENCHMARK(BM_ZoPrintF_Locale);
BENCHMARK(BM_Fmt_Locale);
BENCHMARK(BM_ZoSmpteLabels)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AvTimecodeLabels)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
