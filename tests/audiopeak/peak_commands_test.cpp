// SPDX-License-Identifier: MIT
// Peak files as a host and a person meet them: through the plug-in manager
// (any file a plug-in reads), `vane peaks` with its fresh/stale/built
// answers, and `vane waveform`, whose picture of a known signal is checked
// by its pixel columns.
#include <gtest/gtest.h>
#include <png.h>
#include <utime.h>

#include <cstdlib>

#include "audiopeak/peak_manager_reader.h"
#include "fileio/zofileio.h"
#include "tests/audiopeak/peak_fixture.h"

namespace {

using namespace vane::test;
using vane::ComPtr;

class PeakHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CACHE_HOME", (m_dir / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (m_dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", m_dir.path().c_str(), 1);
    unsetenv("VANE_PLUGIN_PATH");
  }
  int Vane(const std::string& args, std::string* out = nullptr) {
    return RunCommand(std::string(VANE_TOOL_PATH) + " " + args + " 2>/dev/null", out);
  }
  ScratchDir m_dir;
};

TEST_F(PeakHostTest, ThroughTheManagerAWave64FileGetsTheSamePeaksAsFromItsOwnReader) {
  VANE_REQUIRE_TOOL("sox");
  const auto media = m_dir / "take.w64";
  ASSERT_TRUE(MakeNoise(media, 20000, 2, 24, "w64"));
  IZoFileIOMgrForApp* manager = nullptr;
  ASSERT_EQ(ZOFileIO_CreateInstance(&manager, 0), S_OK);
  CZoAudioPeakStreamReader* reader = nullptr;
  ASSERT_EQ(ZoAudioPeak_CreateManagerReader(&reader, manager, U16(media).c_str(), 0), S_OK);
  EXPECT_EQ(reader->GetFrameCount(), 20000);
  EXPECT_EQ(reader->GetStreamIndex(), -1);
  IZoAudioPeak* raw = nullptr;
  ASSERT_EQ(ZoAudioPeak_CreateInstanceWithName(&raw, reader, U16(m_dir / "via-manager.zok").c_str(), 0, 0, 0), S_OK);
  ComPtr<IZoAudioPeak> viaManager = ComPtr<IZoAudioPeak>::Attach(raw);
  ASSERT_EQ(viaManager->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr), S_OK);
  ComPtr<IZoAudioPeak> direct;
  ASSERT_EQ(OpenPeak(media, &direct), S_OK);
  ASSERT_EQ(direct->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr), S_OK);
  const auto a = ReadBytes(m_dir / "via-manager.zok"), b = ReadBytes(m_dir / "take.w64.zok");
  ASSERT_EQ(a.size(), b.size());
  EXPECT_TRUE(std::equal(a.begin() + 64, a.end(), b.begin() + 64)) << "the records agree";
  // A file no plug-in reads has no reader.
  WriteBytes(m_dir / "junk.bin", std::vector<std::uint8_t>(1000, 0x55));
  EXPECT_TRUE(FAILED(ZoAudioPeak_CreateManagerReader(&reader, manager, U16(m_dir / "junk.bin").c_str(), 0)));
  viaManager.Reset();
  manager->Shutdown();
  manager->Release();
}

TEST_F(PeakHostTest, VanePeaksSaysBuiltFreshAndStale) {
  VANE_REQUIRE_TOOL("sox");
  const auto media = m_dir / "take.wav";
  ASSERT_TRUE(MakeNoise(media, 9000, 2));
  std::string out;
  ASSERT_EQ(Vane("peaks " + ShellQuote(media.string()) + " --json", &out), 0);
  EXPECT_NE(out.find(R"("state":"built")"), std::string::npos) << out;
  EXPECT_NE(out.find(R"("peak_bits":8)"), std::string::npos) << out;
  EXPECT_NE(out.find(R"("records":36)"), std::string::npos) << out;
  EXPECT_TRUE(std::filesystem::exists(m_dir / "take.zok"));
  ASSERT_EQ(Vane("peaks " + ShellQuote(media.string()) + " --json", &out), 0);
  EXPECT_NE(out.find(R"("state":"fresh")"), std::string::npos) << out;
  utimbuf t{1600000000, 1600000000};
  ASSERT_EQ(utime(media.c_str(), &t), 0);
  ASSERT_EQ(Vane("peaks " + ShellQuote(media.string()), &out), 0);
  EXPECT_NE(out.find("was stale, rebuilt"), std::string::npos) << out;
  // An explicit peak file, 16-bit peaks, another step.
  const auto named = m_dir / "elsewhere.zok";
  ASSERT_EQ(Vane("peaks " + ShellQuote(media.string()) + " -o " + ShellQuote(named.string()) +
                 " --bits 16 --frames-per-peak 1024 --json", &out), 0);
  EXPECT_NE(out.find(R"("peak_bits":16,"frames_per_peak":1024,"records":9)"), std::string::npos) << out;
  EXPECT_EQ(ReadBytes(named).size(), 64u + 9 * 2 * 4);
  // Wrong usage and unreadable input.
  EXPECT_EQ(Vane("peaks " + ShellQuote(media.string()) + " --bits 12"), 2);
  EXPECT_EQ(Vane("peaks " + ShellQuote((m_dir / "missing.wav").string())), 1);
}

struct Picture {
  int width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
  bool Wave(int x, int y) const {
    const std::uint8_t* p = &rgb[(size_t(y) * width + x) * 3];
    return p[0] < 100 && p[2] > 100;  // the waveform's dark blue
  }
  int WaveRows(int x) const {
    int n = 0;
    for (int y = 0; y < height; ++y) n += Wave(x, y);
    return n;
  }
};

Picture ReadPng(const std::filesystem::path& file) {
  Picture pic;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, file.c_str())) return pic;
  image.format = PNG_FORMAT_RGB;
  pic.rgb.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, pic.rgb.data(), 0, nullptr)) return pic;
  pic.width = int(image.width);
  pic.height = int(image.height);
  return pic;
}

TEST_F(PeakHostTest, VaneWaveformDrawsSilenceASineBurstAndASquareWaveByTheirColumns) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto media = m_dir / "known.wav";
  // 0.3 s of silence, 0.3 s of a sine at half scale, 0.4 s of a square wave at 0.9.
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -v error -f lavfi -i \"aevalsrc='if(lt(t,0.3),0,if(lt(t,0.6),"
                       "0.5*sin(2*PI*440*t),0.9*(2*lt(mod(t*1000,1),0.5)-1)))':s=8000:d=1\" -c:a pcm_s16le -y " +
                       ShellQuote(media.string())),
            0);
  const auto png = m_dir / "wave.png";
  std::string out;
  ASSERT_EQ(Vane("waveform " + ShellQuote(media.string()) + " -o " + ShellQuote(png.string()) +
                 " --width 400 --height 100 --json", &out), 0);
  EXPECT_NE(out.find(R"("frames_per_pixel":20)"), std::string::npos) << out;
  EXPECT_FALSE(std::filesystem::exists(m_dir / "known.zok")) << "a temporary peak file does not stay";
  const Picture pic = ReadPng(png);
  ASSERT_EQ(pic.width, 400);
  ASSERT_EQ(pic.height, 100);
  for (int x = 0; x < 400; ++x) {
    if (std::abs(x - 120) <= 2 || std::abs(x - 240) <= 2) continue;  // the joins
    const int rows = pic.WaveRows(x);
    if (x < 120) {
      EXPECT_LE(rows, 1) << "silence at column " << x;
    } else if (x < 240) {
      EXPECT_GE(rows, 44) << "sine at column " << x;
      EXPECT_LE(rows, 52) << "sine at column " << x;
      EXPECT_FALSE(pic.Wave(x, 20)) << "a half-scale sine stays off the outer quarter";
    } else {
      EXPECT_GE(rows, 86) << "square at column " << x;
      EXPECT_TRUE(pic.Wave(x, 8) && pic.Wave(x, 91)) << "a square wave reaches both extremes, column " << x;
    }
  }
  // Only a stretch, and a stereo file: two lanes.
  const auto stereo = m_dir / "stereo.wav";
  ASSERT_EQ(RunCommand("sox -D -r 8000 -n -r 8000 -c 2 -b 16 " + ShellQuote(stereo.string()) +
                       " synth 1 sine 300 sine 300 remix 1 2v0.25"),
            0);
  ASSERT_EQ(Vane("waveform " + ShellQuote(stereo.string()) + " -o " + ShellQuote(png.string()) +
                 " --width 50 --height 200 --start 0.25 --end 0.75"), 0);
  const Picture two = ReadPng(png);
  ASSERT_EQ(two.width, 50);
  // Left at full scale fills its lane; right at a quarter fills a quarter of its lane.
  EXPECT_GE(two.WaveRows(25), 90 + 20);
  int right = 0;
  for (int y = 100; y < 200; ++y) right += two.Wave(25, y);
  EXPECT_GE(right, 20);
  EXPECT_LE(right, 30);
  EXPECT_EQ(Vane("waveform " + ShellQuote(stereo.string()) + " -o " + ShellQuote(png.string()) + " --width 0"), 2);
}

}  // namespace
