// SPDX-License-Identifier: MIT
// Wave headers: reading files the field's tools wrote in every sample type
// and layout, laying down and inserting headers, and rescuing crashed
// recordings, read back by our walker and by sox.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>

#include "riff/quick_identify.h"
#include "riff/riff_api.h"
#include "riff/wave_header.h"
#include "tests/riff/riff_test_util.h"

using namespace vane::test;

namespace {

struct WfxDeleter {
  void operator()(WAVEFORMATEX* p) const { std::free(p); }
};
using WfxPtr = std::unique_ptr<WAVEFORMATEX, WfxDeleter>;

WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits) {
  const WORD align = WORD(channels * (bits / 8));
  return WAVEFORMATEX{WAVE_FORMAT_PCM, channels, rate, rate * align, align, bits, 0};
}

std::vector<std::uint8_t> Samples(size_t n) {
  std::vector<std::uint8_t> s(n);
  for (size_t i = 0; i < n; ++i) s[i] = std::uint8_t(i * 7 + 1);
  return s;
}

void Append(const std::filesystem::path& p, const std::vector<std::uint8_t>& more) {
  auto bytes = ReadBytes(p);
  bytes.insert(bytes.end(), more.begin(), more.end());
  WriteBytes(p, bytes);
}

void Patch32(const std::filesystem::path& p, size_t at, std::uint32_t v) {
  auto bytes = ReadBytes(p);
  std::memcpy(bytes.data() + at, &v, 4);
  WriteBytes(p, bytes);
}

void Patch32Bytes(std::vector<std::uint8_t>& bytes, size_t at, std::uint32_t v) { std::memcpy(bytes.data() + at, &v, 4); }

std::uint64_t SoxSamples(const std::filesystem::path& p) {
  std::string out;
  if (RunCommand("soxi -s " + ShellQuote(p.string()) + " 2>/dev/null", &out) != 0) return ~0ull;
  return std::strtoull(out.c_str(), nullptr, 10);
}

// ---- files of the field's tools
struct ToolWave {
  const char* codec;
  int channels;
  WORD bits;
  WORD tag;  // the tag our reader reports (extensible keeps 0xFFFE)
};
void PrintTo(const ToolWave& w, std::ostream* os) { *os << w.codec << ", " << w.channels << " channels"; }

class ToolWaveTest : public ::testing::TestWithParam<ToolWave> {};

TEST_P(ToolWaveTest, ReadsFormatAndSampleCount) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const ToolWave& t = GetParam();
  ScratchDir dir;
  const auto file = dir / "t.wav";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=frequency=440:sample_rate=8000:duration=0.1 -ac " +
                   std::to_string(t.channels) + " -c:a " + t.codec + " -fflags +bitexact " + ShellQuote(file.string())));
  EXPECT_TRUE(ZoFileIsWave(Wide(file).c_str(), FALSE));
  ULONGLONG samples = 0, offset = 0;
  WfxPtr wfx(ZoGetFileWfx(Wide(file).c_str(), &samples, &offset));
  ASSERT_TRUE(wfx);
  EXPECT_EQ(samples, 800u);
  EXPECT_EQ(wfx->nChannels, t.channels);
  EXPECT_EQ(wfx->wBitsPerSample, t.bits);
  EXPECT_EQ(wfx->wFormatTag, t.tag);
  EXPECT_EQ(wfx->nBlockAlign, t.channels * t.bits / 8);
  EXPECT_EQ(offset + 800u * wfx->nBlockAlign, std::filesystem::file_size(file));
  DWORD type = 0;
  EXPECT_TRUE(ZoIsQuicklyIdentifiableMediaFileFormat(Wide(file).c_str(), 0, &type));
  EXPECT_EQ(type, DWORD(ZOFILEID_WAVE));
}

INSTANTIATE_TEST_SUITE_P(
    SampleTypesAndLayouts, ToolWaveTest,
    ::testing::Values(ToolWave{"pcm_u8", 1, 8, WAVE_FORMAT_PCM}, ToolWave{"pcm_s16le", 2, 16, WAVE_FORMAT_PCM},
                      ToolWave{"pcm_s24le", 2, 24, WAVE_FORMAT_EXTENSIBLE},
                      ToolWave{"pcm_s32le", 1, 32, WAVE_FORMAT_EXTENSIBLE},
                      ToolWave{"pcm_f32le", 2, 32, WAVE_FORMAT_EXTENSIBLE},
                      ToolWave{"pcm_f64le", 1, 64, WAVE_FORMAT_EXTENSIBLE},
                      ToolWave{"pcm_s16le", 6, 16, WAVE_FORMAT_EXTENSIBLE},
                      ToolWave{"pcm_s24le", 8, 24, WAVE_FORMAT_EXTENSIBLE}));

TEST(ToolFiles, ReadsWave64AndAiffAndRefusesCompressedUnlessAllowed) {
  VANE_REQUIRE_TOOL("sox");
  VANE_REQUIRE_TOOL("ffmpeg");
  ScratchDir dir;
  const auto w64 = dir / "t.w64", aiff = dir / "t.aiff", alaw = dir / "a.wav";
  ASSERT_TRUE(Make("sox -n -r 8000 -c 2 -b 16 " + ShellQuote(w64.string()) + " synth 0.1 sine 440"));
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 24 " + ShellQuote(aiff.string()) + " synth 0.1 sine 440"));
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -c:a pcm_alaw " +
                   ShellQuote(alaw.string())));
  EXPECT_TRUE(ZoFileIsWave64(Wide(w64).c_str(), FALSE));
  EXPECT_TRUE(ZoFileIsAiff(Wide(aiff).c_str()));
  EXPECT_FALSE(ZoFileIsWave(Wide(alaw).c_str(), FALSE));
  EXPECT_TRUE(ZoFileIsWave(Wide(alaw).c_str(), TRUE));
  ULONGLONG samples = 0;
  WfxPtr a(ZoGetFileWfx(Wide(w64).c_str(), &samples, nullptr));
  ASSERT_TRUE(a);
  EXPECT_EQ(samples, 800u);
  WfxPtr b(ZoGetFileWfx(Wide(aiff).c_str(), &samples, nullptr));
  ASSERT_TRUE(b);
  EXPECT_EQ(samples, 800u);
  EXPECT_EQ(b->nSamplesPerSec, 8000u);
  EXPECT_EQ(b->wBitsPerSample, 24);
  EXPECT_FALSE(ZoGetFileWfx(Wide(alaw).c_str(), nullptr, nullptr));
}

TEST(ToolFiles, SampleCountIsCutToTheFileAndAiffReportsWhereItsSamplesStart) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto piped = dir / "p.wav", w64 = dir / "t.w64", aiff = dir / "t.aiff", au = dir / "t.au";
  // Written to a pipe, ffmpeg cannot go back for the sizes and leaves 0xFFFFFFFF.
  ASSERT_TRUE(Make("(ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -f wav pipe:1 > " +
                   ShellQuote(piped.string()) + ")"));
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 " + ShellQuote(w64.string()) + " synth 0.2 sine 440"));
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 " + ShellQuote(aiff.string()) + " synth 0.2 sine 440"));
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 " + ShellQuote(au.string()) + " synth 0.2 sine 440"));
  auto bytes = ReadBytes(w64);
  const std::uint64_t huge = 1ull << 40;
  std::memcpy(bytes.data() + 80 + 16, &huge, 8);  // the data chunk claims a terabyte
  WriteBytes(w64, bytes);
  for (const auto& p : {piped, w64, aiff}) {
    ULONGLONG samples = 0, offset = 0;
    WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), &samples, &offset));
    ASSERT_TRUE(w) << p;
    EXPECT_EQ(samples, 1600u) << p;
    EXPECT_EQ(offset + 2 * 1600u, std::filesystem::file_size(p)) << p;
  }
  ULONGLONG samples = 77, offset = 77;
  EXPECT_FALSE(ZoGetFileWfx(Wide(au).c_str(), &samples, &offset));
  EXPECT_EQ(samples, 0u);
  EXPECT_EQ(offset, 0u);
}

TEST(ToolFiles, AFormatChunkAbove4096BytesFailsTheProbe) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto p = dir / "t.wav";
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 -t wavpcm " + ShellQuote(p.string()) + " synth 1 sine 440"));
  const auto made = ReadBytes(p);
  // The 16-byte record, then `extra` more bytes that the chunk holds.
  for (const std::uint32_t extra : {4080u, 4082u}) {
    auto bytes = made;
    bytes.insert(bytes.begin() + 36, extra, 0);
    Patch32Bytes(bytes, 16, 16 + extra);
    Patch32Bytes(bytes, 4, std::uint32_t(bytes.size() - 8));
    WriteBytes(p, bytes);
    WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), nullptr, nullptr));
    EXPECT_EQ(w != nullptr, 16 + extra <= 4096) << extra;
  }
}

TEST(ToolFiles, RefusesRf64WithAStatusInsteadOfMisreadingIt) {
  VANE_REQUIRE_TOOL("ffmpeg");
  ScratchDir dir;
  const auto file = dir / "t.wav";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -rf64 always " +
                   ShellQuote(file.string())));
  EXPECT_FALSE(ZoFileIsWave(Wide(file).c_str(), TRUE));
  EXPECT_FALSE(ZoGetFileWfx(Wide(file).c_str(), nullptr, nullptr));
  Handle h(file, true);
  DWORD size = 0;
  EXPECT_EQ(riff_ReadFileID(h.get(), &size, nullptr), ZOERR_NO_RIFF);
  EXPECT_EQ(ZoFixTrashedWav(h.get(), nullptr, 0x10000), ZOERR_UNSUPPORTED_VERSION);
  DWORD type = 0;
  EXPECT_FALSE(ZoIsQuicklyIdentifiableMediaFileFormat(h.get(), 0, &type));
  EXPECT_EQ(type, DWORD(ZOFILEID_UNKNOWN));
}

// ---- headers we write
TEST(Headers, InitializedFilesAreReadBySox) {
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const WAVEFORMATEX f = Pcm(2, 44100, 16);
  const auto plain = dir / "p.wav", junk = dir / "j.wav", w64 = dir / "p.w64", w64j = dir / "j.w64";
  ASSERT_EQ(ZoInitializeWav(Wide(plain).c_str(), &f, 2), S_OK);
  ASSERT_EQ(ZoInitializeWavWithJunk(Wide(junk).c_str(), &f, 2, 99), S_OK);
  ASSERT_EQ(ZoInitializeWav64(Wide(w64).c_str(), &f, 2), S_OK);
  ASSERT_EQ(ZoInitializeWav64WithJunk(Wide(w64j).c_str(), &f, 2, 2000), S_OK);
  EXPECT_EQ(std::filesystem::file_size(plain), 46u);
  EXPECT_EQ(std::filesystem::file_size(junk), 100u);
  EXPECT_EQ(std::filesystem::file_size(w64), 112u);
  EXPECT_EQ(std::filesystem::file_size(w64j), 2000u);
  // A recorder appends samples and then sets the sizes.
  const auto s = Samples(4000);
  for (const auto& [p, start] : {std::pair{plain, 46u}, std::pair{junk, 100u}}) {
    Append(p, s);
    Handle h(p, true);
    ASSERT_EQ(ZoInsertWavHeader(h.get(), &f, 4000, start), S_OK);
  }
  for (const auto& [p, start] : {std::pair{w64, 112u}, std::pair{w64j, 2000u}}) {
    Append(p, s);
    Handle h(p, true);
    ASSERT_EQ(ZoInsertW64Header(h.get(), &f, 4000, start), S_OK);
  }
  for (const auto& p : {plain, junk, w64, w64j}) {
    EXPECT_EQ(SoxSamples(p), 1000u) << p;
    ULONGLONG samples = 0;
    WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), &samples, nullptr));
    ASSERT_TRUE(w) << p;
    EXPECT_EQ(samples, 1000u);
  }
  DWORD type = 0;
  ZoIsQuicklyIdentifiableMediaFileFormat(Wide(w64j).c_str(), 0, &type);
  EXPECT_EQ(type, DWORD(ZOFILEID_WAVE64));
}

TEST(Headers, InsertRulesOnHeaderSize) {
  ScratchDir dir;
  const auto p = dir / "r.wav";
  WriteBytes(p, Samples(200));
  const WAVEFORMATEX f = Pcm(1, 8000, 16);
  Handle h(p, true);
  EXPECT_EQ(ZoInsertWavHeader(h.get(), &f, 100, 48), ZOERR_NEWER_VERSION);
  EXPECT_EQ(ReadBytes(p), Samples(200));  // nothing changed
  EXPECT_EQ(ZoInsertWavHeader(h.get(), &f, 100, 47), ZOERR_NEWER_VERSION);
  ASSERT_EQ(ZoInsertWavHeader(h.get(), &f, 100, 54), S_OK);
  const auto bytes = ReadBytes(p);
  EXPECT_EQ(std::memcmp(bytes.data() + 38, "JUNK\0\0\0\0data", 12), 0);
  WAVEFORMATEX twenty = Pcm(2, 8000, 16);
  twenty.wBitsPerSample = 20;
  EXPECT_EQ(ZoInitializeWav(Wide(dir / "x.wav").c_str(), &twenty, 2), ZOERR_UNSUPPORTED_MEDIATYPE);
  EXPECT_TRUE(ZoAudio_FixBadWfx(&twenty));
  EXPECT_EQ(twenty.wBitsPerSample, 24);
  EXPECT_EQ(twenty.nBlockAlign, 6);
  EXPECT_FALSE(ZoAudio_FixBadWfx(&twenty));
}

// ---- changing the format of a file
std::uint64_t SoxRate(const std::filesystem::path& p) {
  std::string out;
  if (RunCommand("soxi -r " + ShellQuote(p.string()) + " 2>/dev/null", &out) != 0) return 0;
  return std::strtoull(out.c_str(), nullptr, 10);
}

// The bytes of the data chunk, as our reader finds them.
std::vector<std::uint8_t> DataBytes(const std::filesystem::path& p) {
  ULONGLONG samples = 0, offset = 0;
  WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), &samples, &offset));
  if (!w) return {};
  const auto bytes = ReadBytes(p);
  const size_t end = size_t(offset + samples * w->nBlockAlign);
  if (end > bytes.size()) return {};
  return {bytes.begin() + long(offset), bytes.begin() + long(end)};
}

struct FormatLayout {
  const char* name;
  const char* tool;
  std::string command;  // {} stands for the output file
  WAVEFORMATEX next;    // the format set; its rate differs from the file's 8000
};
void PrintTo(const FormatLayout& l, std::ostream* os) { *os << l.name; }

WAVEFORMATEX Float32(WORD channels, DWORD rate) {
  return WAVEFORMATEX{WAVE_FORMAT_IEEE_FLOAT, channels, rate, rate * channels * 4u, WORD(channels * 4), 32, 0};
}

class SetFormat : public ::testing::TestWithParam<FormatLayout> {};

TEST_P(SetFormat, NewFormatReadsBackAndTheSamplesStayWhole) {
  const FormatLayout& l = GetParam();
  if (!HaveTool(l.tool)) GTEST_SKIP() << l.tool << " is not installed";
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const auto p = dir / "f.wav";
  std::string command = l.command;
  command.replace(command.find("{}"), 2, ShellQuote(p.string()));
  ASSERT_TRUE(Make(command));
  const std::uint64_t samples = SoxSamples(p);
  const auto data = DataBytes(p);
  ASSERT_FALSE(data.empty());
  ASSERT_EQ(ZoSetFileWfx(Wide(p).c_str(), &l.next), S_OK);
  EXPECT_EQ(SoxRate(p), l.next.nSamplesPerSec);
  EXPECT_EQ(SoxSamples(p), samples);
  WfxPtr back(ZoGetFileWfx(Wide(p).c_str(), nullptr, nullptr));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->wFormatTag, l.next.wFormatTag);
  EXPECT_EQ(back->nSamplesPerSec, l.next.nSamplesPerSec);
  EXPECT_TRUE(DataBytes(p) == data) << "samples changed";
  EXPECT_FALSE(std::filesystem::exists(dir / "f.wav.vane-tmp"));
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, SetFormat,
    ::testing::Values(
        FormatLayout{"sox 16-byte chunk", "sox", "sox -n -r 8000 -c 2 -b 16 -t wavpcm {} synth 0.2 sine 440",
                     Pcm(2, 16000, 16)},
        FormatLayout{"sox float, 18-byte chunk and fact", "sox",
                     "sox -n -r 8000 -c 1 -e floating-point -b 32 -t wav {} synth 0.2 sine 440", Float32(1, 16000)},
        FormatLayout{"ffmpeg with INFO ahead of data", "ffmpeg",
                     "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -ac 2 -metadata title=x "
                     "-c:a pcm_s16le {}",
                     Pcm(2, 16000, 16)},
        FormatLayout{"ffmpeg extensible 24-bit", "ffmpeg",
                     "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -ac 2 -c:a pcm_s24le {}",
                     Pcm(2, 16000, 24)},
        FormatLayout{"ffmpeg extensible float", "ffmpeg",
                     "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -ac 2 -c:a pcm_f32le {}",
                     Float32(2, 16000)},
        FormatLayout{"ffmpeg through a pipe, sizes left at 0xFFFFFFFF", "ffmpeg",
                     "(ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -ac 2 -f wav pipe:1 > {})",
                     Float32(1, 16000)},
        FormatLayout{"float record into a 16-byte chunk grows it", "sox",
                     "sox -n -r 8000 -c 1 -b 32 -t wavpcm {} synth 0.2 sine 440", Float32(1, 22050)}));

TEST(SetFormatRules, RefusesToMoveSamplesWhenTheCallerForbidsItAndRebuildsAiff) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto wav = dir / "e.wav", aiff = dir / "a.aiff", ours = dir / "o.wav";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -ac 2 -c:a pcm_s24le " +
                   ShellQuote(wav.string())));
  const auto before = ReadBytes(wav);
  const WAVEFORMATEX next = Pcm(2, 16000, 24);
  EXPECT_EQ(ZoSetFileWfx(Wide(wav).c_str(), &next, FALSE), ZOERR_UNSUPPORTED_MEDIATYPE);
  EXPECT_EQ(ReadBytes(wav), before);

  // An AIFF keeps its frames; its COMM body is rebuilt.
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 " + ShellQuote(aiff.string()) + " synth 0.2 sine 440"));
  const WAVEFORMATEX mono = Pcm(1, 11025, 16);
  ASSERT_EQ(ZoSetFileWfx(Wide(aiff).c_str(), &mono), S_OK);
  EXPECT_EQ(SoxRate(aiff), 11025u);
  EXPECT_EQ(SoxSamples(aiff), 1600u);

  // A file of ours has the 18-byte chunk: patched where it stands.
  const WAVEFORMATEX f = Pcm(2, 8000, 16);
  ASSERT_EQ(ZoInitializeWav(Wide(ours).c_str(), &f, 2), S_OK);
  Append(ours, Samples(400));
  const WAVEFORMATEX faster = Pcm(2, 32000, 16);
  ASSERT_EQ(ZoSetFileWfx(Wide(ours).c_str(), &faster, FALSE), S_OK);
  EXPECT_EQ(std::filesystem::file_size(ours), 446u);
}

// ---- crashed recordings
enum class Crash { SizesZero, TruncatedMidSample, SizesBeyondFile };

struct CrashCase {
  Crash crash;
  bool toolMade;  // sox wrote the good file (16-byte format chunk) instead of us
};
void PrintTo(const CrashCase& c, std::ostream* os) {
  static const char* const kNames[] = {"sizes zero", "truncated mid-sample", "sizes beyond the file"};
  *os << kNames[int(c.crash)] << (c.toolMade ? ", sox-made file" : ", our file");
}

class CrashRepair : public ::testing::TestWithParam<CrashCase> {};

TEST_P(CrashRepair, RepairedFileReadsBackWithTheRightSampleCount) {
  VANE_REQUIRE_TOOL("sox");
  const CrashCase c = GetParam();
  ScratchDir dir;
  const auto p = dir / "crash.wav";
  const WAVEFORMATEX f = Pcm(2, 22050, 16);
  size_t dataAt = 46;
  if (c.toolMade) {
    ASSERT_TRUE(Make("sox -n -r 22050 -c 2 -b 16 -t wavpcm " + ShellQuote(p.string()) + " synth 0.1 sine 440"));
    dataAt = 44;
    auto bytes = ReadBytes(p);
    bytes.resize(dataAt);
    bytes.insert(bytes.end(), 4 * 1000, 0x11);
    WriteBytes(p, bytes);
  } else {
    ASSERT_EQ(ZoInitializeWav(Wide(p).c_str(), &f, 2), S_OK);
    Append(p, Samples(4 * 1000));
  }
  switch (c.crash) {
    case Crash::SizesZero: break;
    case Crash::TruncatedMidSample: Append(p, {1, 2, 3}); break;
    case Crash::SizesBeyondFile: Patch32(p, dataAt - 4, 0x7FFFFFF0); break;
  }
  Patch32(p, 4, c.crash == Crash::SizesBeyondFile ? 0xFFFFFF00u : 0);
  if (c.crash != Crash::SizesBeyondFile) Patch32(p, dataAt - 4, 0);
  {
    Handle h(p, true);
    ASSERT_EQ(ZoFixTrashedWav(h.get(), nullptr, 0x10000), S_OK);
  }
  ULONGLONG samples = 0, offset = 0;
  WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), &samples, &offset));
  ASSERT_TRUE(w);
  EXPECT_EQ(samples, 1000u);
  EXPECT_EQ(offset, dataAt);
  EXPECT_EQ(w->nSamplesPerSec, 22050u);
  if (HaveTool("soxi")) {
    EXPECT_EQ(SoxSamples(p), 1000u);
  }
}

INSTANTIATE_TEST_SUITE_P(Recorders, CrashRepair,
                         ::testing::Values(CrashCase{Crash::SizesZero, false}, CrashCase{Crash::TruncatedMidSample, false},
                                           CrashCase{Crash::SizesBeyondFile, false}, CrashCase{Crash::SizesZero, true},
                                           CrashCase{Crash::TruncatedMidSample, true},
                                           CrashCase{Crash::SizesBeyondFile, true}));

TEST(Repair, TakesHintsForNonsenseFieldsAndScansForData) {
  ScratchDir dir;
  const auto p = dir / "h.wav";
  WAVEFORMATEX f = Pcm(2, 192000, 16);
  ASSERT_EQ(ZoInitializeWav(Wide(p).c_str(), &f, 2), S_OK);
  Append(p, Samples(4 * 100));
  WAVEFORMATEX hint = Pcm(1, 48000, 24);
  {
    Handle h(p, true);
    ASSERT_EQ(ZoFixTrashedWav(h.get(), &hint, 0x10000), S_OK);
  }
  WfxPtr kept(ZoGetFileWfx(Wide(p).c_str(), nullptr, nullptr));
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->nSamplesPerSec, 192000u);
  Patch32(p, 24, 192001);
  Patch32(p, 4, 0);
  Patch32(p, 38, 0xDEADBEEF);  // the data header's id is gone: "data" must be scanned for
  {
    Handle h(p, true);
    ASSERT_EQ(ZoFixTrashedWav(h.get(), &hint, 100), S_OK);
  }
  ULONGLONG samples = 0, offset = 0;
  WfxPtr taken(ZoGetFileWfx(Wide(p).c_str(), &samples, &offset));
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->nSamplesPerSec, 48000u);
  EXPECT_EQ(offset, 100u);  // no "data" within the limit: samples start at it
  EXPECT_EQ(samples, (446u - 100u) / 4u);
}

// Wave64 files of other writers put the data header right behind a 16- or
// 40-byte format record, ahead of where our own layout has it.
struct ToolW64 {
  const char* name;
  const char* tool;
  std::string command;  // {} stands for the output file
};
void PrintTo(const ToolW64& t, std::ostream* os) { *os << t.name; }

void ZeroW64Sizes(const std::filesystem::path& p) {
  auto bytes = ReadBytes(p);
  const GUID data = kW64_data;
  for (size_t at = 40; at + 24 <= bytes.size(); at += 8) {
    if (std::memcmp(bytes.data() + at, &data, 16) == 0) {
      std::memset(bytes.data() + at + 16, 0, 8);
      break;
    }
  }
  std::memset(bytes.data() + 16, 0, 8);
  WriteBytes(p, bytes);
}

class ToolW64Repair : public ::testing::TestWithParam<ToolW64> {};

TEST_P(ToolW64Repair, KeepsEverySampleOfACrashedFile) {
  const ToolW64& t = GetParam();
  if (!HaveTool(t.tool)) GTEST_SKIP() << t.tool << " is not installed";
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const auto p = dir / "t.w64";
  std::string command = t.command;
  command.replace(command.find("{}"), 2, ShellQuote(p.string()));
  ASSERT_TRUE(Make(command));
  const std::uint64_t samples = SoxSamples(p);
  ASSERT_EQ(samples, 44100u);
  const auto data = DataBytes(p);
  ZeroW64Sizes(p);
  {
    Handle h(p, true);
    // The limit lies inside the samples: a miss would write the header up to it.
    ASSERT_EQ(ZoFixTrashedW64(h.get(), nullptr, 0x10000), S_OK);
  }
  EXPECT_EQ(SoxSamples(p), samples);
  EXPECT_TRUE(DataBytes(p) == data) << "samples changed";
}

INSTANTIATE_TEST_SUITE_P(
    Writers, ToolW64Repair,
    ::testing::Values(ToolW64{"sox", "sox", "sox -n -r 44100 -c 2 -b 16 {} synth 1 sine 440"},
                      ToolW64{"ffmpeg", "ffmpeg",
                              "ffmpeg -v error -f lavfi -i sine=frequency=440:sample_rate=44100:duration=1 -ac 2 "
                              "-c:a pcm_s16le {}"}));

// Recordings whose format chunk is not at offset 20 (64 in Wave64), or
// says more than 18 bytes can: the repair keeps the chunk the walk found.
struct KeptFormat {
  const char* name;
  const char* file;     // name of the output; .w64 makes Wave64
  std::string options;  // ffmpeg's output options
  WORD tag, channels;
  DWORD rate;
  bool bextFirst = false;  // move the bext chunk ahead of the format chunk, as broadcast recorders write it
};
void PrintTo(const KeptFormat& k, std::ostream* os) { *os << k.name; }

// Moves a chunk of a RIFF file to the front of the form.
void MoveChunkToFront(const std::filesystem::path& p, const char* id) {
  const auto bytes = ReadBytes(p);
  std::vector<std::uint8_t> moved, rest;
  for (size_t at = 12; at + 8 <= bytes.size();) {
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data() + at + 4, 4);
    const size_t end = std::min(bytes.size(), at + 8 + size + (size & 1));
    auto& to = std::memcmp(bytes.data() + at, id, 4) == 0 ? moved : rest;
    to.insert(to.end(), bytes.begin() + long(at), bytes.begin() + long(end));
    at = end;
  }
  std::vector<std::uint8_t> out(bytes.begin(), bytes.begin() + 12);
  out.insert(out.end(), moved.begin(), moved.end());
  out.insert(out.end(), rest.begin(), rest.end());
  WriteBytes(p, out);
}

class RepairKeepsFormat : public ::testing::TestWithParam<KeptFormat> {};

TEST_P(RepairKeepsFormat, FormatSamplesAndCountSurviveACrash) {
  const KeptFormat& k = GetParam();
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const auto p = dir / k.file;
  const bool w64 = p.extension() == ".w64";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=frequency=440:sample_rate=" + std::to_string(k.rate) +
                   ":duration=0.5 " + k.options + " " + ShellQuote(p.string())));
  if (k.bextFirst) MoveChunkToFront(p, "bext");
  const std::uint64_t samples = SoxSamples(p);
  const auto data = DataBytes(p);
  ULONGLONG offset = 0;
  WfxPtr(ZoGetFileWfx(Wide(p).c_str(), nullptr, &offset));
  ASSERT_GT(offset, 0u);
  if (w64) {
    ZeroW64Sizes(p);
  } else {
    Patch32(p, 4, 0);
    Patch32(p, size_t(offset) - 4, 0);
  }
  {
    Handle h(p, true);
    ASSERT_EQ(w64 ? ZoFixTrashedW64(h.get(), nullptr, 0x10000) : ZoFixTrashedWav(h.get(), nullptr, 0x10000), S_OK);
  }
  WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), nullptr, nullptr));
  ASSERT_TRUE(w);
  EXPECT_EQ(w->wFormatTag, k.tag);
  EXPECT_EQ(w->nChannels, k.channels);
  EXPECT_EQ(w->nSamplesPerSec, k.rate);
  EXPECT_EQ(SoxSamples(p), samples);
  EXPECT_TRUE(DataBytes(p) == data) << "samples changed";
}

INSTANTIATE_TEST_SUITE_P(
    Ffmpeg, RepairKeepsFormat,
    ::testing::Values(KeptFormat{"extensible float", "f.wav", "-ac 2 -c:a pcm_f32le", WAVE_FORMAT_EXTENSIBLE, 2, 48000},
                      KeptFormat{"six channels", "s.wav", "-ac 6 -c:a pcm_s16le", WAVE_FORMAT_EXTENSIBLE, 6, 48000},
                      KeptFormat{"bext ahead of the format", "b.wav", "-ac 2 -c:a pcm_s16le -write_bext 1",
                                 WAVE_FORMAT_PCM, 2, 48000, true},
                      KeptFormat{"Wave64, six channels of 24 bits", "s.w64", "-ac 6 -c:a pcm_s24le",
                                 WAVE_FORMAT_EXTENSIBLE, 6, 32000}));

TEST(Repair, WithNoDataHeaderInReachTheBytesBeforeTheLimitAreHiddenNotErased) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto wav = dir / "t.wav", w64 = dir / "t.w64";
  ASSERT_TRUE(Make("sox -n -r 8000 -c 2 -b 16 -t wavpcm " + ShellQuote(wav.string()) + " synth 1 sine 440"));
  ASSERT_TRUE(Make("sox -n -r 8000 -c 2 -b 16 " + ShellQuote(w64.string()) + " synth 1 sine 440"));
  // The data headers are gone (ids overwritten), so the samples are taken to
  // start at the limit; what stands before it is kept inside the filler.
  struct Case {
    std::filesystem::path path;
    size_t dataId;
    size_t keptFrom, keptTo;  // the filler's body in the repaired file
  };
  for (const Case& c : {Case{wav, 36, 46, 4088}, Case{w64, 80, 112, 4072}}) {
    auto bytes = ReadBytes(c.path);
    std::memset(bytes.data() + c.dataId, 'X', 4);
    WriteBytes(c.path, bytes);
    {
      Handle h(c.path, true);
      ASSERT_EQ(c.path == wav ? ZoFixTrashedWav(h.get(), nullptr, 4096) : ZoFixTrashedW64(h.get(), nullptr, 4096),
                S_OK);
    }
    const auto after = ReadBytes(c.path);
    ASSERT_EQ(after.size(), bytes.size());
    EXPECT_TRUE(std::equal(after.begin() + long(c.keptFrom), after.begin() + long(c.keptTo),
                           bytes.begin() + long(c.keptFrom)))
        << c.path;
    ULONGLONG offset = 0;
    WfxPtr w(ZoGetFileWfx(Wide(c.path).c_str(), nullptr, &offset));
    ASSERT_TRUE(w) << c.path;
    EXPECT_EQ(offset, 4096u);
  }
}

TEST(Repair, Wave64CrashIsRescued) {
  VANE_REQUIRE_TOOL("soxi");
  ScratchDir dir;
  const auto p = dir / "c.w64";
  const WAVEFORMATEX f = Pcm(2, 8000, 16);
  ASSERT_EQ(ZoInitializeWav64(Wide(p).c_str(), &f, 2), S_OK);
  Append(p, Samples(4 * 333 + 2));
  {
    Handle h(p, true);
    ASSERT_EQ(ZoFixTrashedW64(h.get(), nullptr, 0x10000), S_OK);
  }
  ULONGLONG samples = 0;
  WfxPtr w(ZoGetFileWfx(Wide(p).c_str(), &samples, nullptr));
  ASSERT_TRUE(w);
  EXPECT_EQ(samples, 333u);
  EXPECT_EQ(w->nSamplesPerSec, 8000u);
  EXPECT_EQ(SoxSamples(p), 333u);
}

}  // namespace
