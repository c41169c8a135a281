// SPDX-License-Identifier: MIT
// Sample copy on 2^22 samples: our table's routine (the best variant this
// processor allows, and the plain one), memcpy of the source bytes (the
// physical limit) and libswresample's swr_convert doing the same format
// change, side by side. The summary prints samples per second and the
// ratios, on processor time (a loaded build machine makes wall time
// unreliable). libswresample has no packed 24-bit format; for those pairs it
// converts the 24-in-32 form that ffmpeg uses for 24-bit audio.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include "audio/detail/copy_variants.h"
#include "audio/detail/sample_traits.h"
#include "audio/sample_copy.h"

namespace {

constexpr long kSamples = 1l << 22;

struct Case {
  const char* name;
  ZOSAMPLETYPE dst, src;
  AVSampleFormat swrDst, swrSrc;
};

const Case kCases[] = {
    {"f32_to_s16", ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT32, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLT},
    {"s16_to_f32", ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM16, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S16},
    {"s24_to_f32", ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM24, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S32},
    {"f32_to_s24", ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT32, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_FLT},
    {"f64_to_f32", ZOSAMPLE_FLOAT32, ZOSAMPLE_FLOAT64, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_DBL},
    {"s16_to_s24", ZOSAMPLE_PCM24, ZOSAMPLE_PCM16, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S16},
};

int Bytes(ZOSAMPLETYPE t) { return ZoAudio_BytesFromSampleType(t); }

// Source signal: a full-range mix so that clipping and rounding both occur.
std::vector<uint8_t> Source(ZOSAMPLETYPE t, size_t bytesPerSample) {
  std::vector<uint8_t> raw(kSamples * bytesPerSample);
  std::mt19937 rng(1);
  if (t == ZOSAMPLE_FLOAT32 || t == ZOSAMPLE_FLOAT64) {
    std::uniform_real_distribution<double> u(-1.05, 1.05);
    for (long i = 0; i < kSamples; ++i) {
      const double v = u(rng);
      if (t == ZOSAMPLE_FLOAT32) {
        const float f = float(v);
        std::memcpy(raw.data() + 4 * i, &f, 4);
      } else {
        std::memcpy(raw.data() + 8 * i, &v, 8);
      }
    }
  } else {
    for (auto& b : raw) b = uint8_t(rng());
  }
  return raw;
}

void Ours(benchmark::State& state, const Case& c, vane::audio::detail::CopyVariant variant) {
  const auto src = Source(c.src, Bytes(c.src));
  std::vector<uint8_t> dst(kSamples * Bytes(c.dst));
  ZOAUDIO_COPYFUNC fn = vane::audio::detail::GetCopyFunctionFor(c.dst, c.src, variant);
  for (auto _ : state) {
    fn(dst.data(), src.data(), LONG(kSamples), 1.0f);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void Memcpy(benchmark::State& state, const Case& c) {
  const auto src = Source(c.src, Bytes(c.src));
  std::vector<uint8_t> dst(src.size());
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void Swr(benchmark::State& state, const Case& c) {
  const auto src = Source(c.src, av_get_bytes_per_sample(c.swrSrc));
  std::vector<uint8_t> dst(kSamples * av_get_bytes_per_sample(c.swrDst));
  SwrContext* swr = nullptr;
  AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
  if (swr_alloc_set_opts2(&swr, &mono, c.swrDst, 48000, &mono, c.swrSrc, 48000, 0, nullptr) < 0 ||
      swr_init(swr) < 0) {
    state.SkipWithError("swr_init failed");
    return;
  }
  for (auto _ : state) {
    const uint8_t* in[1] = {src.data()};
    uint8_t* out[1] = {dst.data()};
    if (swr_convert(swr, out, int(kSamples), in, int(kSamples)) != kSamples) {
      state.SkipWithError("swr_convert gave a short count");
      break;
    }
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  swr_free(&swr);
  state.SetItemsProcessed(state.iterations() * kSamples);
}

// Keeps each run's time per iteration to print the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs)
      if (!r.error_occurred)
        m_seconds[r.benchmark_name()] = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-12s %14s %14s %14s %14s %9s %9s %9s\n", "pair", "ours Msmp/s", "plain Msmp/s",
                "memcpy Msmp/s", "swr Msmp/s", "ours/mem", "swr/ours", "vec gain");
    for (const Case& c : kCases) {
      const std::string n = c.name;
      const double ours = Get("ours/" + n), plain = Get("plain/" + n), mem = Get("memcpy/" + n), swr = Get("swr/" + n);
      auto rate = [](double s) { return s > 0 ? kSamples / s / 1e6 : 0.0; };
      std::printf("%-12s %14.0f %14.0f %14.0f %14.0f %8.2fx %8.2fx %8.2fx\n", c.name, rate(ours), rate(plain),
                  rate(mem), rate(swr), mem > 0 ? ours / mem : 0.0, ours > 0 ? swr / ours : 0.0,
                  ours > 0 ? plain / ours : 0.0);
    }
    std::printf("ours/mem: time relative to memcpy of the source bytes (lower is better, target <= 3)\n"
                "swr/ours: libswresample's time over ours (target >= 1)\n");
  }

 private:
  double Get(const std::string& name) const {
    auto it = m_seconds.find(name);
    return it == m_seconds.end() ? 0.0 : it->second;
  }
  std::map<std::string, double> m_seconds;
};

}  // namespace

int main(int argc, char** argv) {
  using vane::audio::detail::CopyVariant;
  for (const Case& c : kCases) {
    benchmark::RegisterBenchmark((std::string("ours/") + c.name).c_str(), [c](benchmark::State& s) {
      Ours(s, c, vane::audio::detail::BestCopyVariant());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("plain/") + c.name).c_str(), [c](benchmark::State& s) {
      Ours(s, c, CopyVariant::kPlain);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("memcpy/") + c.name).c_str(), [c](benchmark::State& s) {
      Memcpy(s, c);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("swr/") + c.name).c_str(), [c](benchmark::State& s) {
      Swr(s, c);
    })->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
