// SPDX-License-Identifier: MIT
// vane convert: converts raw interleaved samples from one sample type to
// another through the engine's copy table, with an optional gain, and
// reports the peak and the samples that clipped. The output is written
// beside its final name and renamed over it only when complete.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/sample_copy.h"
#include "platform/status.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"convert",
                       "convert IN.raw -o OUT.raw --from TYPE --to TYPE [--channels N] [--gain G] [--json]",
                       "convert raw samples between sample types (see `vane formats`)", &Run};
const Registrar kReg(kCommand);

struct TypeName {
  const char* name;
  ZOSAMPLETYPE type;
};

const TypeName kTypeNames[] = {
    {"pcm8", ZOSAMPLE_PCM8},        {"pcm16", ZOSAMPLE_PCM16},          {"pcm24", ZOSAMPLE_PCM24},
    {"pcm32", ZOSAMPLE_PCM32},      {"float32", ZOSAMPLE_FLOAT32},      {"float64", ZOSAMPLE_FLOAT64},
    {"pcm24in32", ZOSAMPLE_PCM24_UNPACKED}, {"pcm8s", ZOSAMPLE_PCM8_SIGNED}, {"pcm16be", ZOSAMPLE_PCM16_BE},
    {"pcm24be", ZOSAMPLE_PCM24_BE}, {"pcm32be", ZOSAMPLE_PCM32_BE},
};

bool ParseType(const std::string& text, ZOSAMPLETYPE* type) {
  for (const TypeName& t : kTypeNames)
    if (text == t.name) {
      *type = t.type;
      return true;
    }
  return false;
}

std::string TypeList() {
  std::string s;
  for (const TypeName& t : kTypeNames) s += (s.empty() ? "" : ", ") + std::string(t.name);
  return s;
}

struct File {
  std::FILE* f = nullptr;
  ~File() {
    if (f) std::fclose(f);
  }
};

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const auto out = args.Option("--output", "-o");
  const auto from = args.Option("--from");
  const auto to = args.Option("--to");
  const auto channelsText = args.Option("--channels");
  const auto gainText = args.Option("--gain");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const auto words = args.Positional();
  if (words.size() != 1 || !out || !from || !to)
    return UsageError(kCommand, "an input, -o OUT, --from and --to are needed");
  ZOSAMPLETYPE st, dt;
  if (!ParseType(*from, &st) || !ParseType(*to, &dt)) return UsageError(kCommand, "types are " + TypeList());
  int channels = 1;
  if (channelsText) {
    channels = std::atoi(channelsText->c_str());
    if (channels < 1 || channels > 65535) return UsageError(kCommand, "--channels takes 1 to 65535");
  }
  float gain = 1.0f;
  if (gainText) {
    char* end = nullptr;
    gain = std::strtof(gainText->c_str(), &end);
    if (end == gainText->c_str() || *end != 0 || !std::isfinite(gain)) return UsageError(kCommand, "bad --gain");
  }

  ZOAUDIO_COPYFUNC convert = ZoAudio_GetCopyFunction(dt, st);
  ZOAUDIO_COPYFUNC toDouble = ZoAudio_GetCopyFunction(ZOSAMPLE_FLOAT64, st);
  if (convert == nullptr || toDouble == nullptr) return Failure(E_NOTIMPL, *from + " to " + *to);

  const std::string& inPath = words[0];
  File in;
  in.f = std::fopen(inPath.c_str(), "rb");
  if (!in.f) return Failure(ZOERR_FILE_OPEN, inPath);
  std::error_code ec;
  const uint64_t total = std::filesystem::file_size(inPath, ec);
  const std::string tmpPath = *out + ".part";
  File outFile;
  outFile.f = std::fopen(tmpPath.c_str(), "wb");
  if (!outFile.f) return Failure(ZOERR_FILE_CREATE, tmpPath);

  const size_t sb = ZoAudio_BytesFromSampleType(st), db = ZoAudio_BytesFromSampleType(dt);
  const size_t frameBytes = sb * channels;
  const size_t chunkFrames = std::max<size_t>(1, (1u << 20) / frameBytes);
  std::vector<uint8_t> src(chunkFrames * frameBytes), dst(chunkFrames * channels * db);
  std::vector<double> level(chunkFrames * channels);
  const bool intDst = dt != ZOSAMPLE_FLOAT32 && dt != ZOSAMPLE_FLOAT64;
  // The largest level an integer destination holds: (F - 1) / F.
  const double top = intDst ? 1.0 - 1.0 / ZoAudio_GetNormalizeFactor(dt == ZOSAMPLE_PCM24_UNPACKED ? 24 : int(db) * 8)
                            : 1.0;
  uint64_t frames = 0, clipped = 0, done = 0;
  double peak = 0.0;
  Progress progress("convert", total, !json);
  size_t carried = 0;
  for (;;) {
    const size_t got = std::fread(src.data() + carried, 1, src.size() - carried, in.f) + carried;
    if (got == 0) break;
    const size_t whole = got / frameBytes;
    if (whole == 0) {
      carried = got;
      if (std::feof(in.f)) break;
      continue;
    }
    const LONG samples = LONG(whole * channels);
    convert(dst.data(), src.data(), samples, gain);
    toDouble(level.data(), src.data(), samples, gain);
    for (LONG i = 0; i < samples; ++i) {
      const double a = std::fabs(level[i]);
      if (a > peak) peak = a;
      if (level[i] > top || level[i] < -1.0) ++clipped;
    }
    if (std::fwrite(dst.data(), db, size_t(samples), outFile.f) != size_t(samples)) {
      std::remove(tmpPath.c_str());
      return Failure(errno == ENOSPC ? ZOERR_DISKFULL : ZOERR_FILE_WRITE, tmpPath);
    }
    frames += whole;
    carried = got - whole * frameBytes;
    std::memmove(src.data(), src.data() + whole * frameBytes, carried);
    done += whole * frameBytes;
    progress.Update(done);
  }
  progress.Finish();
  if (std::ferror(in.f)) {
    std::remove(tmpPath.c_str());
    return Failure(ZOERR_FILE_READ, inPath);
  }
  if (std::fclose(outFile.f) != 0) {
    outFile.f = nullptr;
    std::remove(tmpPath.c_str());
    return Failure(ZOERR_FILE_WRITE, tmpPath);
  }
  outFile.f = nullptr;
  std::filesystem::rename(tmpPath, *out, ec);
  if (ec) {
    std::remove(tmpPath.c_str());
    return Failure(ZOERR_FILE_WRITE, *out);
  }

  const uint64_t samplesOut = frames * channels;
  if (json) {
    Json j;
    j.BeginObject()
        .Field("input", inPath)
        .Field("output", *out)
        .Field("from", *from)
        .Field("to", *to)
        .Field("channels", channels)
        .Field("gain", double(gain))
        .Field("frames", frames)
        .Field("samples", samplesOut)
        .Field("bytesWritten", samplesOut * db)
        .Field("ignoredBytes", uint64_t(carried))
        .Field("peak", peak)
        .Key("peakDb");
    if (peak > 0) j.Number(20.0 * std::log10(peak));
    else j.Null();  // silence
    j.Field("clippedSamples", clipped).EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s -> %s: %llu frames of %d channel(s), %s to %s\n", inPath.c_str(), out->c_str(),
                static_cast<unsigned long long>(frames), channels, from->c_str(), to->c_str());
    if (peak > 0) std::printf("peak %.6f (%.2f dBFS)", peak, 20.0 * std::log10(peak));
    else std::printf("peak 0 (silence)");
    std::printf(", %llu sample(s) clipped\n", static_cast<unsigned long long>(clipped));
    if (carried) std::printf("%zu trailing byte(s) that make no whole frame were left out\n", carried);
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
