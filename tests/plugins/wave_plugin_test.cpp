// SPDX-License-Identifier: MIT
// The Wave plug-in through the manager, as a host meets it: files made by
// ffmpeg and sox in every sample type the plug-in reads must decode (through
// `vane decode`) to exactly ffmpeg's raw decode; broken files must fail to
// open with their status, and `vane info` must print it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "fileio/team_guids.h"
#include "fileio/zofileio.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace {

using vane::ComPtr;
using vane::test::ByteWriter;
using vane::test::RunCommand;
using vane::test::ShellQuote;

class WavePluginTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CACHE_HOME", (m_dir / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (m_dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", m_dir.path().c_str(), 1);
    unsetenv("VANE_PLUGIN_PATH");
  }

  // Opens through a fresh manager; the status of OpenReadFile.
  HRESULT Open(const std::filesystem::path& file, GUID* reader = nullptr) {
    IZoFileIOMgrForApp* m = nullptr;
    HRESULT hr = ZOFileIO_CreateInstance(&m, 0);
    if (FAILED(hr)) return hr;
    ComPtr<IZoReadFile> f;
    std::u16string name = vane::platform::FromUtf8(file.string());
    hr = m->OpenReadFile(name.c_str(), f.ReleaseAndGetAddressOf(), 0);
    if (SUCCEEDED(hr) && reader) {
      ComPtr<IZoReadFileClass> cls;
      f->GetFileClass(cls.ReleaseAndGetAddressOf());
      cls->GetTypeID(reader);
    }
    f.Reset();
    m->Shutdown();
    m->Release();
    return hr;
  }

  static std::string Vane() { return ShellQuote(VANE_TOOL_PATH); }

  vane::test::ScratchDir m_dir;
};

// container, ffmpeg codec, ffmpeg raw format, channels
using Case = std::tuple<std::string, std::string, std::string, int>;

class FfmpegInterop : public WavePluginTest, public ::testing::WithParamInterface<Case> {};

TEST_P(FfmpegInterop, DecodeEqualsFfmpegRawDecode) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto& [ext, codec, raw, channels] = GetParam();
  // "rf64": a Wave file in the RF64 form, 64-bit sizes in its ds64 chunk.
  const bool rf64 = ext == "rf64";
  const auto source = m_dir / ("in." + std::string(rf64 ? "wav" : ext));
  // A sweep with noise reaches every bit of every sample width.
  const std::string make = "ffmpeg -nostdin -loglevel error -f lavfi -i 'aevalsrc=0.9*sin(40*t*t)+0.05*random(0)|"
                           "0.7*sin(3000*t)|0.5*random(1)-0.25:s=22050:d=0.7' -ac " +
                           std::to_string(channels) + " -c:a " + codec + (rf64 ? " -rf64 always" : "") + " -y " +
                           ShellQuote(source.string());
  ASSERT_EQ(RunCommand(make), 0) << make;
  const auto ours = m_dir / "ours.raw", theirs = m_dir / "theirs.raw";
  ASSERT_EQ(RunCommand(Vane() + " decode " + ShellQuote(source.string()) + " -o " + ShellQuote(ours.string())), 0);
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(source.string()) + " -f " + raw +
                       " -y " + ShellQuote(theirs.string())),
            0);
  const auto a = vane::test::ReadBytes(ours), b = vane::test::ReadBytes(theirs);
  ASSERT_FALSE(b.empty());
  EXPECT_EQ(a.size(), b.size());
  EXPECT_TRUE(a == b) << "samples differ";
  GUID reader = GUID_NULL;
  ASSERT_EQ(Open(source, &reader), S_OK);
  EXPECT_EQ(reader, ext == "w64" ? GUID_VaneWave64Reader : GUID_VaneWaveReader);
}

std::vector<Case> FfmpegCases() {
  const std::pair<const char*, const char*> codecs[] = {{"pcm_u8", "u8"},       {"pcm_s16le", "s16le"},
                                                        {"pcm_s24le", "s24le"}, {"pcm_s32le", "s32le"},
                                                        {"pcm_f32le", "f32le"}, {"pcm_f64le", "f64le"}};
  std::vector<Case> cases;
  for (const char* ext : {"wav", "w64", "rf64"})
    for (const auto& [codec, raw] : codecs)
      for (int channels : {1, 3}) cases.emplace_back(ext, codec, raw, channels);
  return cases;
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  return std::get<0>(info.param) + "_" + std::get<2>(info.param) + "_" + std::to_string(std::get<3>(info.param)) +
         "ch";
}

INSTANTIATE_TEST_SUITE_P(AllSampleTypes, FfmpegInterop, ::testing::ValuesIn(FfmpegCases()), CaseName);

// sox type, sox encoding and bits, ffmpeg raw format, channels. sox writes
// the extensible form for more than two channels or more than 16 bits.
using SoxCase = std::tuple<std::string, std::string, std::string, int>;

class SoxInterop : public WavePluginTest, public ::testing::WithParamInterface<SoxCase> {};

TEST_P(SoxInterop, DecodeEqualsFfmpegRawDecode) {
  VANE_REQUIRE_TOOL("sox");
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto& [type, encoding, raw, channels] = GetParam();
  const auto source = m_dir / ("in." + type);
  const std::string make = "sox -n -r 16000 -c " + std::to_string(channels) + " " + encoding + " -t " + type + " " +
                           ShellQuote(source.string()) + " synth 0.5 sine 300-5000 whitenoise vol 0.8";
  ASSERT_EQ(RunCommand(make), 0) << make;
  const auto ours = m_dir / "ours.raw", theirs = m_dir / "theirs.raw";
  ASSERT_EQ(RunCommand(Vane() + " decode " + ShellQuote(source.string()) + " -o " + ShellQuote(ours.string())), 0);
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(source.string()) + " -f " + raw +
                       " -y " + ShellQuote(theirs.string())),
            0);
  const auto a = vane::test::ReadBytes(ours), b = vane::test::ReadBytes(theirs);
  ASSERT_FALSE(b.empty());
  EXPECT_EQ(a.size(), b.size());
  EXPECT_TRUE(a == b) << "samples differ";
}

std::vector<SoxCase> SoxCases() {
  const std::pair<const char*, const char*> encodings[] = {
      {"-e unsigned-integer -b 8", "u8"}, {"-e signed-integer -b 16", "s16le"},
      {"-e signed-integer -b 24", "s24le"}, {"-e signed-integer -b 32", "s32le"},
      {"-e floating-point -b 32", "f32le"}, {"-e floating-point -b 64", "f64le"}};
  std::vector<SoxCase> cases;
  for (const char* type : {"wav", "w64"})
    for (const auto& [encoding, raw] : encodings)
      for (int channels : {2, 6}) cases.emplace_back(type, encoding, raw, channels);
  return cases;
}

std::string SoxCaseName(const ::testing::TestParamInfo<SoxCase>& info) {
  return std::get<0>(info.param) + "_" + std::get<2>(info.param) + "_" + std::to_string(std::get<3>(info.param)) +
         "ch";
}

INSTANTIATE_TEST_SUITE_P(AllSampleTypes, SoxInterop, ::testing::ValuesIn(SoxCases()), SoxCaseName);

// A 16-bit stereo Wave file with the given format fields and data size.
std::vector<std::uint8_t> WaveBytes(std::uint16_t tag, std::uint16_t channels, std::uint32_t dataSize,
                                    std::uint32_t fmtSize = 16, std::uint32_t dataBytes = 400) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE").fourcc("fmt ").u32le(fmtSize);
  w.u16le(tag).u16le(channels).u32le(8000).u32le(8000u * 2 * channels).u16le(std::uint16_t(2 * channels)).u16le(16);
  if (fmtSize > 16) w.zeros(fmtSize - 16);
  w.fourcc("data").u32le(dataSize).zeros(dataBytes);
  w.patch32le(4, std::uint32_t(w.size() - 8));
  return w.data();
}

struct BadCase {
  const char* name;
  std::vector<std::uint8_t> bytes;
  HRESULT status;
};

// An RF64 recording whose data runs past the end (a crash, or a ds64 that
// claims too much) reads as far as the file goes; one without ds64 is refused.
TEST_F(WavePluginTest, Rf64SizesAreReadAsFarAsTheFileGoes) {
  ByteWriter w;
  w.fourcc("RF64").u32le(0xFFFFFFFF).fourcc("WAVE");
  w.fourcc("ds64").u32le(28).u64le(1000000).u64le(1u << 30).u64le(1u << 28).u32le(0);
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(2).u32le(8000).u32le(32000).u16le(4).u16le(16);
  w.fourcc("data").u32le(0xFFFFFFFF);
  for (int i = 0; i < 400; ++i) w.u8(std::uint8_t(i));
  const auto file = m_dir / "cut.wav";
  vane::test::WriteBytes(file, w.data());
  ASSERT_EQ(Open(file), S_OK);
  std::string json;
  ASSERT_EQ(RunCommand(Vane() + " info --json " + ShellQuote(file.string()), &json), 0);
  EXPECT_NE(json.find("\"sample_count\":100"), std::string::npos) << "400 bytes of 4-byte frames: " << json;
  auto noDs64 = w.data();
  std::memcpy(noDs64.data() + 12, "junk", 4);
  vane::test::WriteBytes(m_dir / "nods64.wav", noDs64);
  EXPECT_EQ(Open(m_dir / "nods64.wav"), ZOERR_FILE_CORRUPT);
}

TEST_F(WavePluginTest, BrokenFilesFailToOpenWithTheirStatus) {
  std::vector<std::uint8_t> cut = WaveBytes(1, 2, 400);
  cut.resize(30);  // inside the format chunk
  const BadCase cases[] = {
      {"data_past_end", WaveBytes(1, 2, 4000), ZOERR_FILE_CORRUPT},
      {"mp3_tag", WaveBytes(0x55, 2, 400), ZOERR_UNSUPPORTED_MEDIATYPE},
      {"zero_channels", WaveBytes(1, 0, 400), ZOERR_CHANNELS_UNSUPPORTED},
      {"short_format", WaveBytes(1, 2, 400, 14), ZOERR_BAD_FORMAT},
      {"cut_in_format", cut, ZOERR_FILE_CORRUPT},
  };
  for (const auto& c : cases) {
    const auto file = m_dir / (std::string(c.name) + ".wav");
    vane::test::WriteBytes(file, c.bytes);
    EXPECT_EQ(Open(file), c.status) << c.name;
    std::string err;
    const int exit = RunCommand(Vane() + " info " + ShellQuote(file.string()) + " 2>&1 >/dev/null", &err);
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", unsigned(c.status));
    EXPECT_NE(exit, 0) << c.name;
    EXPECT_NE(err.find(hex), std::string::npos) << c.name << ": " << err;
  }
}

TEST_F(WavePluginTest, InfoJsonDescribesTheStream) {
  const auto file = m_dir / "ok.wav";
  vane::test::WriteBytes(file, WaveBytes(1, 2, 400));
  std::string out;
  ASSERT_EQ(RunCommand(Vane() + " info --json " + ShellQuote(file.string()), &out), 0);
  EXPECT_NE(out.find("\"reader\":{\"guid\":\"{C86E4E7B-4E6D-48B8-94D8-E8C8A505818B}\""), std::string::npos) << out;
  EXPECT_NE(out.find("\"sample_type\":\"pcm16\",\"format_tag\":1,\"sample_rate\":8000,\"channels\":2,\"bits\":16,"
                     "\"block_align\":4,\"sample_count\":100,\"duration_seconds\":0.0125"),
            std::string::npos)
      << out;
}

}  // namespace
