// SPDX-License-Identifier: MIT
// vane peaks FILE: builds or refreshes the peak file of a file's first audio
// stream and says whether it was fresh, stale (rebuilt) or built anew.
#include <cstdio>
#include <cstdlib>

#include "tools/vane/cli.h"
#include "tools/vane/peak_support.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"peaks", "peaks FILE [-o FILE.zok] [--bits 8|16] [--frames-per-peak N] [--json]",
                       "build or refresh the peak file that draws a file's waveform", &Run};
const Registrar kReg(kCommand);

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::optional<std::string> bits = args.Option("--bits");
  const std::optional<std::string> fpp = args.Option("--frames-per-peak");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  if (bits && *bits != "8" && *bits != "16") return UsageError(kCommand, "--bits takes 8 or 16");
  LONG framesPerPeak = 0;
  if (fpp) {
    char* end = nullptr;
    const long value = std::strtol(fpp->c_str(), &end, 10);
    if (!end || *end || value < ZOAUDIOPEAK_MIN_FRAMES_PER_PEAK || value > ZOAUDIOPEAK_MAX_FRAMES_PER_PEAK)
      return UsageError(kCommand, "--frames-per-peak takes 64 to 16777216");
    framesPerPeak = LONG(value);
  }
  const std::string& file = files[0];
  PeakSession session;
  HRESULT hr = OpenPeaks(&session, file, output.value_or(""), framesPerPeak, 0);
  if (FAILED(hr)) return Failure(hr, file);
  const DWORD buildFlags = bits && *bits == "16" ? ZOAUDIOPEAK_BUILD_16BIT | ZOAUDIOPEAK_BUILD_UPGRADE : 0;
  hr = BuildPeaks(&session, buildFlags, json);
  if (FAILED(hr)) return Failure(hr, file + ": building " + session.peakFile);

  tZOAUDIOPEAKHEADER header{};
  session.peak->GetHeader(&header, sizeof header);
  const ULONGLONG records = ZoAudioPeak_RecordCount(&header);
  const ULONGLONG size = ZoAudioPeak_ExpectedFileSize(&header);
  if (json) {
    Json j;
    j.BeginObject()
        .Field("file", file)
        .Field("peak_file", session.peakFile)
        .Field("state", PeakStateName(session.state))
        .Field("status", StatusHex(hr))
        .Field("channels", std::uint64_t(header.channels))
        .Field("frames", std::uint64_t(header.frameCount))
        .Field("peak_bits", std::uint64_t(header.peakBits))
        .Field("frames_per_peak", std::uint64_t(header.framesPerPeak))
        .Field("records", std::uint64_t(records))
        .Field("size", std::uint64_t(size))
        .EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    const char* what = session.state == PeakState::kFresh   ? "was fresh, kept"
                       : session.state == PeakState::kStale ? "was stale, rebuilt"
                                                            : "built";
    std::printf("%s: %s %s (%llu records of %u-bit peaks, %u frames per peak, %u channels)\n", file.c_str(),
                session.peakFile.c_str(), what, static_cast<unsigned long long>(records), unsigned(header.peakBits),
                unsigned(header.framesPerPeak), unsigned(header.channels));
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
