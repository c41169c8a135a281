// SPDX-License-Identifier: MIT
// vane time VALUE: one position in every form (nano-time, seconds, samples,
// clock time, SMPTE label and frame count), read from any of them, so a
// person can check a time code from a shell.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kernel/nanotime.h"
#include "kernel/smpte.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"time",
                       "time VALUE [--from nanotime|samples|frames|smpte|text] [--rate R] [--fps F] [--drop] [--json]",
                       "convert a position between nano-time, samples, clock text, frames and SMPTE time code", &Run};
const Registrar kReg(kCommand);

// The time code type of a frame rate; 0 when there is none.
DWORD TypeOf(double fps, bool drop) {
  auto near = [&](double v) { return std::fabs(fps - v) < 0.005; };
  if (near(23.976)) return drop ? 0 : ZOSMPTE_23976;
  if (near(24)) return drop ? 0 : ZOSMPTE_24;
  if (near(25)) return drop ? 0 : ZOSMPTE_25;
  if (near(29.97)) return drop ? ZOSMPTE_2997_DROP : ZOSMPTE_2997;
  if (near(30)) return drop ? 0 : ZOSMPTE_30;
  if (near(50)) return drop ? 0 : ZOSMPTE_50;
  if (near(59.94)) return drop ? ZOSMPTE_5994_DROP : ZOSMPTE_5994;
  if (near(60)) return drop ? 0 : ZOSMPTE_60;
  return 0;
}

std::string Label(const _smpteval& v) {
  char text[48];
  std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld%c%02ld", long(v.hours), long(v.minutes), long(v.seconds),
                ZOSMPTE_IsDrop(v.type) ? ';' : ':', long(v.frames));
  return text;
}

std::optional<double> Number(const std::optional<std::string>& text, double fallback) {
  if (!text) return fallback;
  char* end = nullptr;
  const double v = std::strtod(text->c_str(), &end);
  if (!end || *end || !(v > 0) || !std::isfinite(v)) return std::nullopt;
  return v;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const bool drop = args.Flag("--drop");
  const std::string from = args.Option("--from").value_or("text");
  const std::optional<double> rate = Number(args.Option("--rate"), 48000);
  const std::optional<double> fps = Number(args.Option("--fps"), 30);
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> values = args.Positional();
  if (values.size() != 1) return UsageError(kCommand, "one value is needed");
  if (!rate || *rate > 4294967295.0 || *rate != std::floor(*rate)) return UsageError(kCommand, "--rate takes a whole sample rate");
  if (!fps || *fps > 1000) return UsageError(kCommand, "--fps takes a frame rate");
  const DWORD type = TypeOf(*fps, drop);
  if (drop && type == 0) return UsageError(kCommand, "--drop needs --fps 29.97 or 59.94");
  const std::u16string value = platform::FromUtf8(values[0]);

  _zoposfmt fmt{};
  fmt.samplesPerSec = DWORD(*rate);
  fmt.framesPerSec = type ? ZOSMPTE_RealRate(type) : *fps;
  ZoNanoTime t = 0;
  LPCWSTR end = nullptr;
  if (from == "nanotime") {
    fmt.format = ZOPOSFMT_RAW;
  } else if (from == "samples") {
    fmt.format = ZOPOSFMT_SAMPLES;
  } else if (from == "text") {
    fmt.format = ZOPOSFMT_TIME;
  } else if (from == "frames" || from == "smpte") {
    if (!type) return UsageError(kCommand, "--fps takes 23.976, 24, 25, 29.97, 30, 50, 59.94 or 60 for time codes");
  } else {
    return UsageError(kCommand, "--from takes nanotime, samples, frames, smpte or text");
  }
  _smpteval code{};
  code.type = type;
  if (from == "frames") {
    fmt.format = ZOPOSFMT_RAW;
    const ZoNanoTime frames = ZoTextToNanoTimeToken(value.c_str(), &fmt, &end);
    ZOSMPTE_FrameCountToSMPTE(&code, frames);
    t = ZOSMPTE_SMPTEToNanos(&code);
    if (frames < 0) t = -t;
  } else if (from == "smpte") {
    size_t start = 0;
    while (start < value.size() && value[start] == u' ') ++start;
    ZOSMPTE_TextToSMPTE(value.c_str() + start, &code);
    t = ZOSMPTE_SMPTEToNanos(&code);
    end = value.c_str() + value.size();
  } else {
    t = ZoTextToNanoTimeToken(value.c_str(), &fmt, &end);
  }
  while (end && *end == u' ') ++end;
  if (!end || end == value.c_str() || *end) return Failure(E_INVALIDARG, "\"" + values[0] + "\" is not a " + from + " value");

  WCHAR text[128];
  _zoposfmt show = fmt;
  show.format = ZOPOSFMT_TIME;
  ZoNanoTimeToTextEx(text, &show, t, 0);
  const std::string clock = platform::ToUtf8(text);
  // Samples round down, as the sample form shows them.
  const __int128 scaled = __int128(t) * fmt.samplesPerSec;
  const LONGLONG samples = LONGLONG(scaled >= 0 ? scaled / 10000000 : -((-scaled + 9999999) / 10000000));
  std::string label;
  LONGLONG frames = 0;
  if (type) {
    _smpteval v{};
    v.type = type;
    ZOSMPTE_NanoToSMPTE(&v, t < 0 ? -t : t);
    label = (t < 0 ? "-" : "") + Label(v);
    frames = ZOSMPTE_SMPTEToFrameCount(&v) * (t < 0 ? -1 : 1);
  }
  if (json) {
    Json j;
    j.BeginObject()
        .Field("value", values[0])
        .Field("from", from)
        .Field("nanotime", std::int64_t(t))
        .Field("seconds", double(t) / 1e7)
        .Field("sample_rate", std::uint64_t(fmt.samplesPerSec))
        .Field("samples", std::int64_t(samples))
        .Field("time", clock);
    if (type) {
      j.Field("fps", *fps).Field("drop", ZOSMPTE_IsDrop(type) != FALSE).Field("smpte", label)
          .Field("frames", std::int64_t(frames));
    }
    j.EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("nano-time  %lld\nseconds    %.7f\ntime       %s\nsamples    %lld at %u Hz\n",
                static_cast<long long>(t), double(t) / 1e7, clock.c_str(), static_cast<long long>(samples),
                unsigned(fmt.samplesPerSec));
    if (type)
      std::printf("smpte      %s at %g fps%s\nframes     %lld\n", label.c_str(), *fps,
                  ZOSMPTE_IsDrop(type) ? " drop frame" : "", static_cast<long long>(frames));
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
