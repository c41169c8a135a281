// SPDX-License-Identifier: MIT
// Peak files of tool-made Wave and Wave64 files: the records equal an
// independent min/max over libsndfile's decode, queries at every zoom agree
// with brute force, and a stale or damaged peak file is never believed.
#include <gtest/gtest.h>
#include <utime.h>

#include <cstring>
#include <random>

#include "platform/file.h"
#include "riff/wave_header.h"
#include "tests/audiopeak/peak_fixture.h"

namespace {

using namespace vane::test;
using vane::ComPtr;

std::vector<std::uint8_t> ZokBytes(const std::filesystem::path& media) {
  // Only a ".wav" extension gives way to ".zok".
  auto name = media;
  if (name.extension() == ".wav") name.replace_extension();
  return ReadBytes(name.string() + ".zok");
}

std::uint32_t U32(const std::vector<std::uint8_t>& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | std::uint32_t(b[at + 3]) << 24;
}

void Touch(const std::filesystem::path& file, time_t when) {
  utimbuf t{when, when};
  ASSERT_EQ(utime(file.c_str(), &t), 0);
}

struct RecordCase {
  std::string type;  // sox's file type
  long long frames;
  int channels;
  int bits;          // of the peaks
};

class PeakRecords : public ::testing::TestWithParam<RecordCase> {};

TEST_P(PeakRecords, EqualAnIndependentMinMaxPerBlockAndChannel) {
  VANE_REQUIRE_TOOL("sox");
  const RecordCase& p = GetParam();
  ScratchDir dir;
  const auto media = dir / ("take." + p.type);
  ASSERT_TRUE(MakeNoise(media, p.frames, p.channels, 16, p.type));
  const Decoded d = DecodeWithSndfile(media);
  ASSERT_EQ(d.frames, p.frames);

  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(media, &peak), S_OK);
  EXPECT_FALSE(peak->IsValid(0));
  ASSERT_EQ(peak->Build(p.bits == 16 ? ZOAUDIOPEAK_BUILD_16BIT : 0, nullptr), S_OK);
  EXPECT_TRUE(peak->IsValid(0));

  const auto zok = ZokBytes(media);
  ASSERT_GE(zok.size(), 64u);
  EXPECT_EQ(std::string(zok.begin(), zok.begin() + 4), "ZOPK");
  EXPECT_EQ(U32(zok, 4), 1u);
  EXPECT_EQ(U32(zok, 8), 64u);
  EXPECT_NE(U32(zok, 12), 0u);
  EXPECT_EQ(U32(zok, 16), std::uint32_t(p.bits));
  EXPECT_EQ(U32(zok, 20), std::uint32_t(p.channels));
  EXPECT_EQ(U32(zok, 24), 256u);
  EXPECT_EQ(U32(zok, 28) | std::uint64_t(U32(zok, 32)) << 32, std::uint64_t(p.frames));
  EXPECT_NE(U32(zok, 36), 0u);
  for (size_t i = 40; i < 64; ++i) EXPECT_EQ(zok[i], 0) << "reserved byte " << i;
  const long long records = (p.frames + 255) / 256;
  const size_t value = p.bits / 8;
  ASSERT_EQ(zok.size(), 64 + size_t(records) * p.channels * value * 2);

  for (long long r = 0; r < records; ++r)
    for (int c = 0; c < p.channels; ++c) {
      auto [lo, hi] = BruteForce(d, c, r * 256, (r + 1) * 256);
      const size_t at = 64 + (size_t(r) * p.channels + c) * value * 2;
      int mn, mx;
      if (p.bits == 16) {
        mn = std::int16_t(zok[at] | zok[at + 1] << 8);
        mx = std::int16_t(zok[at + 2] | zok[at + 3] << 8);
      } else {
        mn = std::int8_t(zok[at]);
        mx = std::int8_t(zok[at + 1]);
        lo >>= 8;  // the high byte
        hi >>= 8;
      }
      ASSERT_EQ(mn, lo) << "record " << r << " channel " << c;
      ASSERT_EQ(mx, hi) << "record " << r << " channel " << c;
    }
}

INSTANTIATE_TEST_SUITE_P(
    WaveAndWave64, PeakRecords,
    ::testing::Values(RecordCase{"wav", 100, 1, 16},  // fewer frames than one block: one record
                      RecordCase{"wav", 1000, 2, 8}, RecordCase{"wav", 70001, 2, 16}, RecordCase{"w64", 513, 3, 16},
                      RecordCase{"w64", 100000, 2, 8}, RecordCase{"wav", 256 * 40, 6, 16}),
    [](const auto& info) {
      return info.param.type + "_" + std::to_string(info.param.frames) + "f_" + std::to_string(info.param.channels) +
             "ch_" + std::to_string(info.param.bits) + "bit";
    });

TEST(PeakQueries, EveryTierAgreesWithBruteForceOverTheRecordsItCovers) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto media = dir / "long.wav";
  const long long frames = 300000;
  ASSERT_TRUE(MakeNoise(media, frames, 2));
  const Decoded d = DecodeWithSndfile(media);
  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(media, &peak, ZOAUDIOPEAK_THREADSAFE), S_OK);
  ASSERT_EQ(peak->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr), S_OK);
  LONG filePeak = 0, memoryPeak = 0;
  int peakType = 0, memoryType = 0;
  ASSERT_EQ(peak->GetInfo(nullptr, &filePeak, &peakType, &memoryPeak, &memoryType), S_OK);
  EXPECT_EQ(filePeak, 256);
  EXPECT_EQ(peakType, 17);
  EXPECT_EQ(memoryPeak, 2048);
  EXPECT_EQ(memoryType, 17);

  std::mt19937_64 rng(11);
  for (int i = 0; i < 300; ++i) {
    // Zoom levels across the three tiers: the audio, the file, the table.
    const LONGLONG fps = std::vector<LONGLONG>{1, 7, 100, 256, 300, 1000, 2048, 5000, 40000}[i % 9];
    const LONGLONG tier = fps >= memoryPeak ? memoryPeak : fps >= filePeak ? filePeak : 1;
    const LONGLONG position = LONGLONG(rng() % frames);
    const LONG steps = LONG(1 + rng() % 40);
    std::vector<std::int16_t> out(size_t(steps) * 2 * 2);
    LONG done = -1;
    ASSERT_EQ(peak->GetPeaks(position, fps, 0, out.data(), steps, &done), S_OK);
    const LONGLONG left = (frames - position + fps - 1) / fps;
    ASSERT_EQ(done, std::min<LONGLONG>(steps, left));
    for (LONG k = 0; k < done; ++k)
      for (int c = 0; c < 2; ++c) {
        const LONGLONG a = position + k * fps, b = std::min<LONGLONG>(a + fps, frames);
        const auto [lo, hi] = BruteForce(d, c, a / tier * tier, (b + tier - 1) / tier * tier);
        ASSERT_EQ(out[(size_t(k) * 2 + c) * 2], lo) << "fps " << fps << " position " << position << " step " << k;
        ASSERT_EQ(out[(size_t(k) * 2 + c) * 2 + 1], hi) << "fps " << fps << " position " << position << " step " << k;
        // The audio itself answers exactly.
        std::int16_t exact[4];
        LONG one = 0;
        ASSERT_EQ(peak->ScanAudio(a, fps, 17, exact, 1, &one), S_OK);
        const auto [elo, ehi] = BruteForce(d, c, a, b);
        ASSERT_EQ(exact[c * 2], elo);
        ASSERT_EQ(exact[c * 2 + 1], ehi);
      }
  }
  // The range form aligns its start on the step.
  std::int16_t a[4], b[4];
  LONG n = 0;
  ASSERT_EQ(peak->GetPeaksRange(5000 + 17, 1000, 17, a, 1, &n), S_OK);
  ASSERT_EQ(peak->GetPeaks(5000, 1000, 17, b, 1, &n), S_OK);
  EXPECT_EQ(std::memcmp(a, b, sizeof a), 0);
  EXPECT_EQ(peak->GetPeaks(0, 256, 18, a, 1, &n), E_UNEXPECTED);
  EXPECT_EQ(peak->GetPeaksRange(0, 0, 17, a, 1, &n), E_INVALIDARG);
  EXPECT_EQ(peak->GetPeaks(frames, 256, 17, a, 1, &n), S_OK);
  EXPECT_EQ(n, 0) << "no step starts past the end";
}

TEST(PeakStaleness, TouchedLengthenedKilledAndDamagedFilesAreRebuiltNeverBelieved) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto media = dir / "take.wav";
  ASSERT_TRUE(MakeNoise(media, 5000, 2));
  Touch(media, 1700000000);
  auto zok = media;
  zok.replace_extension(".zok");
  {
    ComPtr<IZoAudioPeak> peak;
    ASSERT_EQ(OpenPeak(media, &peak), S_OK);
    ASSERT_EQ(peak->Build(0, nullptr), S_OK);
    EXPECT_EQ(peak->Build(0, nullptr), ZOAUDIOPEAK_S_VALID);
  }
  const auto good = ReadBytes(zok);
  auto rebuiltFrom = [&](const std::vector<std::uint8_t>& bytes, const char* what) {
    SCOPED_TRACE(what);
    WriteBytes(zok, bytes);
    ComPtr<IZoAudioPeak> peak;
    ASSERT_EQ(OpenPeak(media, &peak), S_OK);
    EXPECT_FALSE(peak->IsValid(0));
    std::int16_t out[4];
    LONG n = 0;
    // Before the rebuild, answers come from the audio, never from the bad file.
    ASSERT_EQ(peak->GetPeaks(0, 5000, 17, out, 1, &n), S_OK);
    const Decoded d = DecodeWithSndfile(media);
    EXPECT_EQ(out[0], BruteForce(d, 0, 0, 5000).first);
    EXPECT_EQ(peak->Build(0, nullptr), S_OK) << "rebuilt, not kept";
    EXPECT_TRUE(peak->IsValid(0));
  };
  auto damaged = good;
  damaged[0] = 'X';
  rebuiltFrom(damaged, "bad magic");
  damaged = good;
  damaged[4] = 2;
  rebuiltFrom(damaged, "version 2");
  damaged = good;
  damaged[8] = 32;
  rebuiltFrom(damaged, "header below 64");
  damaged = good;
  damaged.resize(good.size() - 1);
  rebuiltFrom(damaged, "shorter than its header says");
  damaged = good;
  damaged.insert(damaged.end(), 4, 0);
  rebuiltFrom(damaged, "longer than its header says");
  damaged = good;
  std::memset(&damaged[12], 0, 4);
  std::memset(&damaged[36], 0, 4);
  rebuiltFrom(damaged, "a killed build: dates 0");
  damaged = good;
  damaged[16] = 12;
  rebuiltFrom(damaged, "12-bit peaks");
  damaged.assign(good.begin(), good.begin() + 40);
  rebuiltFrom(damaged, "a short header");

  // Touching the media: stale, whatever the frames per peak.
  WriteBytes(zok, good);
  Touch(media, 1700000100);
  {
    ComPtr<IZoAudioPeak> peak;
    ASSERT_EQ(OpenPeak(media, &peak, 0, 1024), S_OK);
    EXPECT_FALSE(peak->IsValid(0));
    ASSERT_EQ(peak->Build(0, nullptr), S_OK);
    EXPECT_EQ(U32(ReadBytes(zok), 24), 1024u);
  }
  // A peak file of the same date with another length: stale.
  ASSERT_TRUE(MakeNoise(media, 6000, 2));
  Touch(media, 1700000100);
  {
    ComPtr<IZoAudioPeak> peak;
    ASSERT_EQ(OpenPeak(media, &peak), S_OK);
    EXPECT_FALSE(peak->IsValid(0));
    ASSERT_EQ(peak->Build(0, nullptr), S_OK);
    EXPECT_EQ(peak->GetFrameCount(), 6000);
  }
  // A build stopped halfway is cancelled and leaves no file behind.
  Touch(media, 1700000200);
  {
    ComPtr<IZoAudioPeak> peak;
    ASSERT_EQ(OpenPeak(media, &peak, 0, 64), S_OK);
    int calls = 0;
    const tZOAUDIOPEAK_PROGRESS stop{[](void* user, LONGLONG, LONGLONG) -> BOOL { return ++*static_cast<int*>(user) < 1; },
                                     &calls};
    EXPECT_EQ(peak->Build(0, &stop), ZOERR_CANCELLED);
    EXPECT_FALSE(std::filesystem::exists(zok));
    EXPECT_FALSE(peak->IsValid(0));
  }
}

TEST(PeakNames, BesideTheMediaTemporaryAndPerStream) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  auto nameOf = [](IZoAudioPeak* peak) {
    WCHAR name[1024];
    EXPECT_EQ(peak->GetFileName(name, 1024), S_OK);
    return vane::platform::ToUtf8(name);
  };
  const auto upper = dir / "A.WAV";
  ASSERT_TRUE(MakeNoise(upper, 300, 1, 16, "wav"));
  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(upper, &peak), S_OK);
  EXPECT_EQ(nameOf(peak.Get()), (dir / "A.zok").string());
  const auto aiff = dir / "A.aif";
  ASSERT_TRUE(MakeNoise(aiff, 300, 1, 16, "aiff"));
  ASSERT_EQ(OpenPeak(aiff, &peak), S_OK);
  EXPECT_EQ(nameOf(peak.Get()), (dir / "A.aif.zok").string());
  ASSERT_EQ(peak->Build(0, nullptr), S_OK);
  // Temporary names count up in the folder given.
  const std::u16string temp = U16(dir.path());
  ASSERT_EQ(OpenPeak(upper, &peak, ZOAUDIOPEAK_TEMPORARY | ZOAUDIOPEAK_DELETE_ON_CLOSE, 63, 0, temp), S_OK);
  const std::string tempName = std::filesystem::path(nameOf(peak.Get())).filename().string();
  EXPECT_EQ(tempName.size(), 11u);
  EXPECT_EQ(tempName.substr(0, 3), "ZOK");
  EXPECT_EQ(tempName.substr(7), ".TMP");
  LONG fpp = 0;
  peak->GetInfo(nullptr, &fpp, nullptr, nullptr, nullptr);
  EXPECT_EQ(fpp, 256) << "63 frames per peak is outside the range";
  ASSERT_EQ(peak->Build(0, nullptr), S_OK);
  const auto tempFile = dir / tempName;
  EXPECT_TRUE(std::filesystem::exists(tempFile));
  peak.Reset();
  EXPECT_FALSE(std::filesystem::exists(tempFile)) << "deleted on close";

  // A media stream other than the only one numbers its peak file.
  struct SecondStream : CZoAudioPeakStreamReader {
    CZoAudioPeakWaveFileReader inner;
    explicit SecondStream(LPCWSTR path) : inner(path) {}
    HRESULT Open() override { return inner.Open(); }
    HRESULT Read(LONGLONG p, LONG f, void* b, LONG* r) override { return inner.Read(p, f, b, r); }
    HRESULT GetStreamPosition(LONGLONG* p) override { return inner.GetStreamPosition(p); }
    HRESULT Close() override { return inner.Close(); }
    const WAVEFORMATEX* GetFormat() override { return inner.GetFormat(); }
    int GetStreamIndex() override { return 2; }
    LONGLONG GetFrameCount() override { return inner.GetFrameCount(); }
    HRESULT GetFileName(WCHAR* b, int c, DWORD f) override { return inner.GetFileName(b, c, f); }
    HRESULT Rename(LPCWSTR n) override { return inner.Rename(n); }
  };
  const auto mp4 = dir / "m.mp4";
  std::filesystem::copy_file(upper, mp4);
  IZoAudioPeak* raw = nullptr;
  ASSERT_EQ(ZoAudioPeak_CreateInstance(&raw, new SecondStream(U16(mp4).c_str()), U16(mp4).c_str(), nullptr, 0, 0, 0),
            S_OK);
  peak = ComPtr<IZoAudioPeak>::Attach(raw);
  EXPECT_EQ(nameOf(peak.Get()), (dir / "m.mp4.zok2").string());
}

TEST(PeakBits, AnEightBitFileIsKeptUnlessAnUpgradeIsAskedFor) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto media = dir / "take.wav";
  ASSERT_TRUE(MakeNoise(media, 3000, 2));
  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(media, &peak), S_OK);
  ASSERT_EQ(peak->Build(0, nullptr), S_OK);
  EXPECT_EQ(peak->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr), ZOAUDIOPEAK_S_VALID);
  EXPECT_EQ(U32(ZokBytes(media), 16), 8u);
  EXPECT_EQ(peak->Build(ZOAUDIOPEAK_BUILD_16BIT | ZOAUDIOPEAK_BUILD_UPGRADE, nullptr), S_OK);
  EXPECT_EQ(U32(ZokBytes(media), 16), 16u);
  // A read-only instance never writes: it answers from the audio instead.
  Touch(media, 1700000000);
  ASSERT_EQ(OpenPeak(media, &peak, ZOAUDIOPEAK_READONLY), S_OK);
  EXPECT_EQ(peak->Build(0, nullptr), E_FAIL);
  EXPECT_EQ(peak->SetFrameCount(10), E_FAIL);
}

TEST(PeakMemory, AMemoryInstanceAnswersFromItsTableAndTheAudio) {
  std::mt19937 rng(5);
  const LONGLONG frames = 10000;
  std::vector<std::int16_t> samples(size_t(frames) * 2);
  for (auto& s : samples) s = std::int16_t(rng());
  WAVEFORMATEX wfx{};
  wfx.wFormatTag = 1;
  wfx.nChannels = 2;
  wfx.nSamplesPerSec = 48000;
  wfx.wBitsPerSample = 16;
  wfx.nBlockAlign = 4;
  wfx.nAvgBytesPerSec = 192000;
  IZoAudioPeak* raw = nullptr;
  ASSERT_EQ(ZoAudioPeak_CreateMemoryInstance(&raw, nullptr, &wfx, samples.data(), frames, 0, 0, 0), S_OK);
  ComPtr<IZoAudioPeak> peak = ComPtr<IZoAudioPeak>::Attach(raw);
  EXPECT_FALSE(peak->IsValid(0));
  ASSERT_EQ(peak->Build(0, nullptr), S_OK);
  EXPECT_TRUE(peak->IsValid(0));
  LONG memoryStep = 0;
  int memoryType = 0;
  peak->GetInfo(nullptr, nullptr, nullptr, &memoryStep, &memoryType);
  EXPECT_EQ(memoryStep, 256);
  EXPECT_EQ(memoryType, 17);
  Decoded d{2, frames, std::vector<short>(samples.begin(), samples.end())};
  for (LONGLONG fps : {10LL, 256LL, 1000LL}) {
    std::vector<std::int16_t> out(4 * 5);
    LONG n = 0;
    ASSERT_EQ(peak->GetPeaks(300, fps, 17, out.data(), 5, &n), S_OK);
    const LONGLONG tier = fps >= 256 ? 256 : 1;
    for (LONG k = 0; k < n; ++k) {
      const LONGLONG a = 300 + k * fps, b = std::min(a + fps, frames);
      const auto [lo, hi] = BruteForce(d, 1, a / tier * tier, (b + tier - 1) / tier * tier);
      EXPECT_EQ(out[k * 4 + 2], lo) << fps;
      EXPECT_EQ(out[k * 4 + 3], hi) << fps;
    }
  }
}

TEST(PeakRename, ThePeakFileFollowsTheMedia) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto media = dir / "before.wav";
  ASSERT_TRUE(MakeNoise(media, 2000, 1));
  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(media, &peak), S_OK);
  ASSERT_EQ(peak->Build(0, nullptr), S_OK);
  std::filesystem::rename(media, dir / "after.wav");
  ASSERT_EQ(ZoAudioPeak_HandleMediaRename(peak.Get(), U16(dir / "after.wav").c_str(), 0), S_OK);
  EXPECT_FALSE(std::filesystem::exists(dir / "before.zok"));
  EXPECT_TRUE(std::filesystem::exists(dir / "after.zok"));
  EXPECT_TRUE(peak->IsValid(0));
  // A target that cannot take the move keeps the old name.
  std::filesystem::rename(dir / "after.wav", dir / "third.wav");
  std::filesystem::create_directory(dir / "third.zok");
  std::filesystem::create_directory(dir / "third.zok" / "occupied");
  EXPECT_EQ(ZoAudioPeak_HandleMediaRename(peak.Get(), U16(dir / "third.wav").c_str(), 0), ZOERR_FILE_WRITE);
  WCHAR name[1024];
  peak->GetFileName(name, 1024);
  EXPECT_EQ(vane::platform::ToUtf8(name), (dir / "after.zok").string());
}

TEST(PeakEdits, UpdateAndSetFrameCountFollowChangedMedia) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto media = dir / "take.wav";
  ASSERT_TRUE(MakeNoise(media, 4000, 1));
  Touch(media, 1700000000);
  ComPtr<IZoAudioPeak> peak;
  ASSERT_EQ(OpenPeak(media, &peak), S_OK);
  ASSERT_EQ(peak->Build(ZOAUDIOPEAK_BUILD_16BIT, nullptr), S_OK);
  // Silence frames 1000..2999 in the media itself, then tell the peak file.
  ULONGLONG dataOffset = 0, count = 0;
  WAVEFORMATEX* wfx = ZoGetFileWfx(U16(media).c_str(), &count, &dataOffset);
  ASSERT_NE(wfx, nullptr);
  std::free(wfx);
  auto bytes = ReadBytes(media);
  std::fill(bytes.begin() + long(dataOffset) + 2000, bytes.begin() + long(dataOffset) + 6000, 0);
  WriteBytes(media, bytes);
  std::vector<std::int16_t> silence(2000, 0);
  ASSERT_EQ(peak->Update(1000, 2000, silence.data(), nullptr), S_OK);
  EXPECT_TRUE(peak->IsValid(0)) << "the update committed the media's new date";
  const Decoded d = DecodeWithSndfile(media);
  const auto zok = ZokBytes(media);
  for (int r = 0; r < 16; ++r) {
    const auto [lo, hi] = BruteForce(d, 0, r * 256, (r + 1) * 256);
    EXPECT_EQ(std::int16_t(zok[64 + r * 4] | zok[65 + r * 4] << 8), lo) << "record " << r;
    EXPECT_EQ(std::int16_t(zok[66 + r * 4] | zok[67 + r * 4] << 8), hi) << "record " << r;
  }
  // Cut to 1000 frames: four records, the header rewritten.
  ASSERT_EQ(peak->SetFrameCount(1000), S_OK);
  const auto cut = ZokBytes(media);
  EXPECT_EQ(cut.size(), 64u + 4 * 4);
  EXPECT_EQ(U32(cut, 28), 1000u);
}

TEST(PeakHeader, ShortOrUnsoundHeadersMeanBuild) {
  tZOAUDIOPEAKHEADER h{};
  std::uint8_t bytes[64] = {'Z', 'O', 'P', 'K', 1, 0, 0, 0, 64, 0, 0, 0};
  bytes[16] = 16;
  bytes[20] = 2;
  bytes[25] = 1;  // 256 frames per peak
  EXPECT_EQ(ZoAudioPeak_ParseHeader(bytes, 64, &h), S_OK);
  EXPECT_EQ(ZoAudioPeak_ParseHeader(bytes, 63, &h), S_FALSE);
  EXPECT_EQ(ZoAudioPeak_ParseHeader(nullptr, 0, &h), S_FALSE);
  bytes[24] = 63;
  bytes[25] = 0;
  EXPECT_EQ(ZoAudioPeak_ParseHeader(bytes, 64, &h), S_FALSE) << "63 frames per peak";
  h = {};
  h.channels = 0xFFFF;
  h.peakBits = 16;
  h.framesPerPeak = 64;
  h.headerSize = 64;
  h.frameCount = ~0ULL;
  EXPECT_EQ(ZoAudioPeak_ExpectedFileSize(&h), 0u) << "an overflowing size is no size";
}

}  // namespace
