// SPDX-License-Identifier: MIT
// `vane repair` on files the field's tools wrote: a crashed Wave64 file
// keeps every sample, and RF64 is refused in plain words.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "riff/riff_types.h"
#include "tests/riff/riff_test_util.h"

using namespace vane::test;

namespace {

std::string Vane() {
  const char* dir = std::getenv("VANE_BUILD_DIR");
  return ShellQuote(dir && *dir ? std::string(dir) + "/bin/vane" : std::string(VANE_TOOL_PATH));
}

std::uint64_t SoxSamples(const std::filesystem::path& p) {
  std::string out;
  if (RunCommand("soxi -s " + ShellQuote(p.string()) + " 2>/dev/null", &out) != 0) return ~0ull;
  return std::strtoull(out.c_str(), nullptr, 10);
}

TEST(RepairCommand, CrashedSoxWave64KeepsEverySampleInPlace) {
  VANE_REQUIRE_TOOL("sox");
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const auto p = dir / "take.w64";
  // Longer than the command's search limit of 1 MB: a missed data chunk
  // would turn the first seconds into header.
  ASSERT_TRUE(Make("sox -n -r 44100 -c 2 -b 16 " + ShellQuote(p.string()) + " synth 8 sine 440"));
  auto bytes = ReadBytes(p);
  const std::vector<std::uint8_t> samples(bytes.begin() + 104, bytes.end());
  std::memset(bytes.data() + 16, 0, 8);       // the outer size
  std::memset(bytes.data() + 80 + 16, 0, 8);  // the data chunk's size
  WriteBytes(p, bytes);
  ASSERT_EQ(RunCommand(Vane() + " repair --in-place " + ShellQuote(p.string())), 0);
  EXPECT_EQ(SoxSamples(p), 8u * 44100u);
  const auto after = ReadBytes(p);
  ASSERT_EQ(after.size(), bytes.size());
  EXPECT_TRUE(std::equal(samples.begin(), samples.end(), after.begin() + 104)) << "samples changed";
}

// A sound RF64 file goes through the ds64 repair unchanged.
TEST(RepairCommand, LeavesASoundRf64FileAsItWas) {
  VANE_REQUIRE_TOOL("ffmpeg");
  ScratchDir dir;
  const auto p = dir / "big.wav";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -rf64 always " +
                   ShellQuote(p.string())));
  const auto before = ReadBytes(p);
  std::string err;
  EXPECT_EQ(RunCommand(Vane() + " repair --in-place " + ShellQuote(p.string()) + " 2>&1 >/dev/null", &err), 0) << err;
  EXPECT_TRUE(ReadBytes(p) == before);
  EXPECT_FALSE(std::filesystem::exists(dir / "big.wav.vane-repair"));
}

}  // namespace
