// SPDX-License-Identifier: MIT
// Interoperation with the field's tools: sox and ffmpeg make 16-, 24- and
// 32-bit PCM and float signals, and convert them where the arithmetic is
// exact (widenings); our routines must give the same bytes. Reductions to
// integers are checked against the rounding formula written out here.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <string>

#include "audio/sample_copy.h"
#include "tests/support/test_files.h"

namespace {

using vane::test::ReadBytes;
using vane::test::RunCommand;
using vane::test::ScratchDir;
using vane::test::ShellQuote;

struct RawType {
  ZOSAMPLETYPE type;
  const char* sox;     // sox encoding arguments
  const char* ffmpeg;  // ffmpeg raw format
  int bytes;
};

const RawType kS16{ZOSAMPLE_PCM16, "-e signed-integer -b 16", "s16le", 2};
const RawType kS24{ZOSAMPLE_PCM24, "-e signed-integer -b 24", "s24le", 3};
const RawType kS32{ZOSAMPLE_PCM32, "-e signed-integer -b 32", "s32le", 4};
const RawType kF32{ZOSAMPLE_FLOAT32, "-e floating-point -b 32", "f32le", 4};
const RawType kF64{ZOSAMPLE_FLOAT64, "-e floating-point -b 64", "f64le", 8};

// A stereo signal with noise (every bit pattern busy) and a loud tone.
std::string MakeSignal(const ScratchDir& dir, const RawType& t) {
  const std::string out = (dir / (std::string("signal_") + t.ffmpeg + ".raw")).string();
  const std::string cmd = "sox -D -R -n -r 48000 -c 2 -t raw " + std::string(t.sox) + " " + ShellQuote(out) +
                          " synth 0.2 whitenoise sine 997 vol 0.95 2>/dev/null";
  return RunCommand(cmd) == 0 ? out : std::string();
}

std::vector<uint8_t> Ours(const std::vector<uint8_t>& in, const RawType& from, const RawType& to) {
  const size_t n = in.size() / from.bytes;
  std::vector<uint8_t> out(n * to.bytes);
  ZoAudio_GetCopyFunction(to.type, from.type)(out.data(), in.data(), LONG(n), 1.0f);
  return out;
}

struct Widening {
  RawType from, to;
};
void PrintTo(const Widening& w, std::ostream* os) { *os << w.from.ffmpeg << " to " << w.to.ffmpeg; }

class SoxWideningTest : public testing::TestWithParam<Widening> {};

TEST_P(SoxWideningTest, MatchesSoxByteForByte) {
  VANE_REQUIRE_TOOL("sox");
  const auto [from, to] = GetParam();
  ScratchDir dir;
  const std::string in = MakeSignal(dir, from);
  ASSERT_FALSE(in.empty());
  const std::string out = (dir / "sox.raw").string();
  ASSERT_EQ(RunCommand("sox -D -t raw -r 48000 -c 2 " + std::string(from.sox) + " " + ShellQuote(in) +
                       " -t raw " + to.sox + " " + ShellQuote(out)),
            0);
  const auto source = ReadBytes(in);
  ASSERT_GT(source.size(), 1000u);
  EXPECT_EQ(Ours(source, from, to), ReadBytes(out));
}

INSTANTIATE_TEST_SUITE_P(Widenings, SoxWideningTest,
                         testing::Values(Widening{kS16, kF32}, Widening{kS16, kS24}, Widening{kS16, kS32},
                                         Widening{kS24, kS32}, Widening{kS24, kF32}, Widening{kS32, kF64},
                                         Widening{kS16, kF64}));

class FfmpegWideningTest : public testing::TestWithParam<Widening> {};

TEST_P(FfmpegWideningTest, MatchesFfmpegByteForByte) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  const auto [from, to] = GetParam();
  ScratchDir dir;
  const std::string in = MakeSignal(dir, from);
  ASSERT_FALSE(in.empty());
  const std::string out = (dir / "ffmpeg.raw").string();
  ASSERT_EQ(RunCommand("ffmpeg -v error -nostdin -y -f " + std::string(from.ffmpeg) + " -ar 48000 -ac 2 -i " +
                       ShellQuote(in) + " -f " + to.ffmpeg + " " + ShellQuote(out)),
            0);
  EXPECT_EQ(Ours(ReadBytes(in), from, to), ReadBytes(out));
}

INSTANTIATE_TEST_SUITE_P(Widenings, FfmpegWideningTest,
                         testing::Values(Widening{kS16, kF32}, Widening{kS16, kS32}, Widening{kS16, kF64},
                                         Widening{kF32, kF64}, Widening{kS32, kF64}));

// The reduction rule, written from its statement: double precision, clip to
// [-F, F-1], add 1.5 * 2^52, keep the low bits.
int32_t Formula(double x, double scale) {
  double d = x * scale;
  if (d < -scale) d = -scale;
  else if (d > scale - 1) d = scale - 1;
  d += 6755399441055744.0;
  uint64_t bits;
  std::memcpy(&bits, &d, 8);
  return int32_t(uint32_t(bits));
}

TEST(SoxFloatReduction, FloatToIntegersFollowsTheFormulaAndStaysWithinOneStepOfFfmpeg) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const std::string in = MakeSignal(dir, kF32);
  ASSERT_FALSE(in.empty());
  const auto bytes = ReadBytes(in);
  const size_t n = bytes.size() / 4;
  std::vector<float> x(n);
  std::memcpy(x.data(), bytes.data(), bytes.size());

  const auto s16 = Ours(bytes, kF32, kS16);
  const auto s24 = Ours(bytes, kF32, kS24);
  for (size_t i = 0; i < n; ++i) {
    int16_t got16;
    std::memcpy(&got16, s16.data() + 2 * i, 2);
    ASSERT_EQ(got16, int16_t(Formula(x[i], 32768.0))) << "sample " << i;
    const int32_t got24 = int32_t(uint32_t(s24[3 * i]) << 8 | uint32_t(s24[3 * i + 1]) << 16 |
                                  uint32_t(s24[3 * i + 2]) << 24) >> 8;
    ASSERT_EQ(got24, Formula(x[i], 8388608.0) << 8 >> 8) << "sample " << i;
  }

  if (!vane::test::HaveTool("ffmpeg")) return;
  const std::string out = (dir / "s16.raw").string();
  ASSERT_EQ(RunCommand("ffmpeg -v error -nostdin -y -f f32le -ar 48000 -ac 2 -i " + ShellQuote(in) +
                       " -f s16le " + ShellQuote(out)),
            0);
  const auto theirs = ReadBytes(out);
  ASSERT_EQ(theirs.size(), s16.size());
  for (size_t i = 0; i < n; ++i) {
    int16_t a, b;
    std::memcpy(&a, s16.data() + 2 * i, 2);
    std::memcpy(&b, theirs.data() + 2 * i, 2);
    ASSERT_LE(std::abs(a - b), 1) << "sample " << i;
  }
}

}  // namespace
