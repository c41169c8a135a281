// SPDX-License-Identifier: MIT
// vane waveform FILE -o OUT.png: the min/max columns of each channel drawn
// from the peak file, one lane per channel, as a person would look at a
// recording. A peak file beside the media is used (and refreshed); without
// one, a temporary peak file serves and is removed afterwards.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/file.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "tools/vane/peak_support.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"waveform",
                       "waveform FILE -o OUT.png [--width W] [--height H] [--start S --end S] [--json]",
                       "draw a file's waveform from its peak file into a PNG picture", &Run};
const Registrar kReg(kCommand);

constexpr BYTE kBackground[3] = {255, 255, 255};
constexpr BYTE kAxis[3] = {200, 200, 200};
constexpr BYTE kWave[3] = {24, 64, 140};

std::optional<double> Number(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  char* end = nullptr;
  const double v = std::strtod(text->c_str(), &end);
  if (!end || *end || !std::isfinite(v)) return std::nullopt;
  return v;
}

void Paint(std::vector<BYTE>& pixels, int width, int x, int y, const BYTE* rgb) {
  std::copy(rgb, rgb + 3, pixels.begin() + (size_t(y) * width + x) * 3);
}

// Writes beside the target and renames over it once the picture is whole.
bool WritePng(const std::string& path, int width, int height, const std::vector<BYTE>& pixels) {
  const std::string temp = path + ".part";
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = png_uint_32(width);
  image.height = png_uint_32(height);
  image.format = PNG_FORMAT_RGB;
  if (!png_image_write_to_file(&image, temp.c_str(), 0, pixels.data(), width * 3, nullptr)) {
    std::remove(temp.c_str());
    return false;
  }
  if (std::rename(temp.c_str(), path.c_str()) != 0) {
    std::remove(temp.c_str());
    return false;
  }
  return true;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::optional<std::string> widthText = args.Option("--width");
  const std::optional<std::string> heightText = args.Option("--height");
  const std::optional<std::string> startText = args.Option("--start");
  const std::optional<std::string> endText = args.Option("--end");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1 || !output) return UsageError(kCommand, "one file and -o OUT.png are needed");
  const double width = widthText ? Number(widthText).value_or(-1) : 1200;
  const double height = heightText ? Number(heightText).value_or(-1) : 300;
  if (width < 1 || width > 20000 || height < 2 || height > 20000 || width != std::floor(width) ||
      height != std::floor(height))
    return UsageError(kCommand, "--width takes 1 to 20000 and --height 2 to 20000 pixels");
  const std::optional<double> start = Number(startText), end = Number(endText);
  if ((startText && (!start || *start < 0)) || (endText && (!end || *end <= 0)))
    return UsageError(kCommand, "--start and --end take seconds");
  const std::string& file = files[0];

  PeakSession session;
  HRESULT hr = OpenPeaks(&session, file, "", 0, ZOAUDIOPEAK_BESIDE_OR_TEMPORARY);
  if (FAILED(hr)) return Failure(hr, file);
  const std::u16string peakName = platform::FromUtf8(session.peakFile);
  const bool beside = GetFileAttributesW(peakName.c_str()) != INVALID_FILE_ATTRIBUTES;
  hr = BuildPeaks(&session, 0, json);
  if (FAILED(hr)) return Failure(hr, file);

  const WAVEFORMATEX* format = session.peak->GetFormat();
  const LONGLONG frames = session.peak->GetFrameCount();
  const double rate = format && format->nSamplesPerSec ? format->nSamplesPerSec : 1;
  const LONGLONG first = start ? LONGLONG(*start * rate) : 0;
  const LONGLONG last = end ? std::min(frames, LONGLONG(*end * rate)) : frames;
  if (first >= last) return UsageError(kCommand, "--start must lie before --end and inside the file");
  const int w = int(width), h = int(height);
  const LONGLONG perPixel = std::max<LONGLONG>(1, (last - first + w - 1) / w);
  const WORD channels = format->nChannels;
  std::vector<SHORT> peaks(size_t(w) * channels * 2);
  LONG done = 0;
  hr = session.peak->GetPeaks(first, perPixel, 17, peaks.data(), w, &done);
  if (FAILED(hr)) return Failure(hr, file);

  std::vector<BYTE> pixels(size_t(w) * h * 3);
  for (size_t i = 0; i < pixels.size(); i += 3) std::copy(kBackground, kBackground + 3, pixels.begin() + i);
  const int lane = std::max(1, h / channels);
  for (WORD c = 0; c < channels; ++c) {
    const int top = c * lane, centre = top + lane / 2, half = std::max(1, lane / 2 - 1);
    for (int x = 0; x < w; ++x) Paint(pixels, w, x, std::min(centre, h - 1), kAxis);
    auto row = [&](int value) { return std::clamp(centre - int(std::lround(double(value) * half / 32768.0)), top, std::min(h, top + lane) - 1); };
    for (int x = 0; x < done && x < w; ++x) {
      const SHORT lo = peaks[(size_t(x) * channels + c) * 2], hi = peaks[(size_t(x) * channels + c) * 2 + 1];
      if (hi < lo) continue;  // an empty column
      for (int y = row(hi); y <= row(lo); ++y) Paint(pixels, w, x, y, kWave);
    }
  }
  const bool written = WritePng(*output, w, h, pixels);
  if (!beside) DeleteFileW(platform::FromUtf8(session.peakFile).c_str());
  if (!written) return Failure(ZOERR_FILE_WRITE, *output);
  if (json) {
    Json j;
    j.BeginObject()
        .Field("file", file)
        .Field("output", *output)
        .Field("width", std::int64_t(w))
        .Field("height", std::int64_t(h))
        .Field("channels", std::uint64_t(channels))
        .Field("sample_rate", std::uint64_t(format->nSamplesPerSec))
        .Field("start_frame", std::int64_t(first))
        .Field("end_frame", std::int64_t(last))
        .Field("frames_per_pixel", std::int64_t(perPixel))
        .Field("peak_file", beside ? session.peakFile : std::string())
        .EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s: %d x %d waveform of %u channel(s), %lld frames per pixel, to %s\n", file.c_str(), w, h,
                unsigned(channels), static_cast<long long>(perPixel), output->c_str());
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
