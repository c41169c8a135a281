// SPDX-License-Identifier: MIT
// The _zowaveformat forms of the wave writers: records read from files that
// ffmpeg and sox wrote go into new Wave and Wave64 headers and read back
// equal, with sox (Wave) and ffmpeg (Wave64) decoding the same samples;
// layouts the 18-byte record cannot state are refused without touching
// anything.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>

#include "riff/mriff_api.h"
#include "riff/wave_header.h"
#include "riff/wave_zoformat.h"
#include "tests/riff/riff_test_util.h"

using namespace vane::test;

namespace {

struct WfxDeleter {
  void operator()(WAVEFORMATEX* p) const { std::free(p); }
};
using WfxPtr = std::unique_ptr<WAVEFORMATEX, WfxDeleter>;
using Record = ZoWaveFormatBuffer<136>;

// The record of a file as the engine sees it, with its sample count and
// where its samples start.
struct FileRecord {
  Record record;
  ULONGLONG samples = 0;
  ULONGLONG offset = 0;
};

bool ReadRecord(const std::filesystem::path& p, FileRecord* out) {
  WfxPtr wfx(ZoGetFileWfx(Wide(p).c_str(), &out->samples, &out->offset));
  if (!wfx) return false;
  out->record->Init(Record::kRoom, *wfx);
  return true;
}

// Samples as the field's tools decode them, widened to 32-bit float so that
// a misread encoding (integer for float, or another width) shows as
// different bytes. sox decodes Wave; Wave64 goes through ffmpeg, since sox
// misreads float samples in Wave64 (its own float .w64 files included).
std::vector<std::uint8_t> Decoded(const std::filesystem::path& p, bool viaFfmpeg) {
  const auto raw = p.string() + (viaFfmpeg ? ".ff.f32" : ".sox.f32");
  const std::string in = ShellQuote(p.string()), out = ShellQuote(raw);
  const bool ok = viaFfmpeg ? Make("ffmpeg -v error -y -i " + in + " -f f32le -c:a pcm_f32le " + out)
                            : Make("sox " + in + " -t raw -e floating-point -b 32 " + out);
  return ok ? ReadBytes(raw) : std::vector<std::uint8_t>{};
}

enum class Layout { Wav, WavJunk, W64, W64Junk };
constexpr Layout kLayouts[] = {Layout::Wav, Layout::WavJunk, Layout::W64, Layout::W64Junk};

// Lays down an empty file through the record form, appends the samples and
// writes the complete header over them, as a recorder does.
HRESULT WriteThroughRecord(const std::filesystem::path& p, Layout layout, const _zowaveformat& rec,
                           const std::vector<std::uint8_t>& data) {
  const std::u16string name = Wide(p);
  HRESULT hr = E_FAIL;
  DWORD start = 0;
  switch (layout) {
    case Layout::Wav: hr = ZoInitializeWav(name.c_str(), rec, 2), start = 46; break;
    case Layout::WavJunk: hr = ZoInitializeWavWithJunk(name.c_str(), rec, 2, 100), start = 100; break;
    case Layout::W64: hr = ZoInitializeWav64(name.c_str(), rec, 2), start = 112; break;
    case Layout::W64Junk: hr = ZoInitializeWav64WithJunk(name.c_str(), rec, 2, 200), start = 200; break;
  }
  if (FAILED(hr)) return hr;
  auto bytes = ReadBytes(p);
  bytes.insert(bytes.end(), data.begin(), data.end());
  WriteBytes(p, bytes);
  Handle h(p, true);
  const bool w64 = layout == Layout::W64 || layout == Layout::W64Junk;
  return w64 ? ZoInsertW64Header(h.get(), rec, data.size(), start)
             : ZoInsertWavHeader(h.get(), rec, DWORD(data.size()), start);
}

struct ToolFile {
  const char* what;
  const char* command;  // %OUT% is the file to make
  bool writable;        // whether the record fits the 18-byte header as read
};
void PrintTo(const ToolFile& t, std::ostream* os) { *os << t.what; }

std::string Command(const ToolFile& t, const std::filesystem::path& out) {
  std::string c = t.command;
  c.replace(c.find("%OUT%"), 5, ShellQuote(out.string()));
  return c;
}

class ToolRecordRoundTrip : public ::testing::TestWithParam<ToolFile> {};

TEST_P(ToolRecordRoundTrip, RecordWrittenIntoEveryHeaderReadsBackEqualAndSoxDecodesTheSameSamples) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("sox");
  const ToolFile& t = GetParam();
  ScratchDir dir;
  const auto orig = dir / "orig.wav";
  ASSERT_TRUE(Make(Command(t, orig)));
  FileRecord src;
  ASSERT_TRUE(ReadRecord(orig, &src));
  ASSERT_EQ(src.samples, 800u);
  const auto all = ReadBytes(orig);
  const std::vector<std::uint8_t> data(all.begin() + long(src.offset),
                                       all.begin() + long(src.offset + src.samples * src.record->nBlockAlign));
  _zowaveformat& rec = *src.record;
  if (!t.writable) {
    // The writers store 18 bytes: a speaker layout that needs the extensible
    // header is refused before any file is made or changed.
    for (Layout layout : kLayouts) {
      const auto p = dir / ("refused" + std::to_string(int(layout)));
      EXPECT_EQ(WriteThroughRecord(p, layout, rec, data), ZOERR_UNSUPPORTED_MEDIATYPE);
      EXPECT_FALSE(std::filesystem::exists(p));
    }
    Handle h(orig, true);
    EXPECT_EQ(ZoInsertWavHeader(h.get(), rec, DWORD(data.size()), DWORD(src.offset)), ZOERR_UNSUPPORTED_MEDIATYPE);
    EXPECT_EQ(ReadBytes(orig), all);
    // Without the mask the same format goes out plain.
    rec.dwChannelMask = 0;
    rec.dwFlags &= ~ZOWF_EXTENSIBLE;
  }
  const auto bySox = Decoded(orig, false), byFfmpeg = Decoded(orig, true);
  ASSERT_FALSE(bySox.empty());
  ASSERT_EQ(bySox.size(), byFfmpeg.size());
  for (Layout layout : kLayouts) {
    const bool w64 = layout == Layout::W64 || layout == Layout::W64Junk;
    const auto p = dir / ("out" + std::to_string(int(layout)) + (w64 ? ".w64" : ".wav"));
    ASSERT_EQ(WriteThroughRecord(p, layout, rec, data), S_OK) << int(layout);
    FileRecord back;
    ASSERT_TRUE(ReadRecord(p, &back)) << int(layout);
    EXPECT_TRUE(*back.record == rec) << int(layout);
    EXPECT_EQ(back.samples, src.samples);
    EXPECT_EQ(Decoded(p, w64), w64 ? byFfmpeg : bySox) << int(layout);
  }
}

INSTANTIATE_TEST_SUITE_P(
    FfmpegAndSox, ToolRecordRoundTrip,
    ::testing::Values(
        ToolFile{"ffmpeg 16-bit stereo",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -ac 2 -c:a pcm_s16le %OUT%", true},
        ToolFile{"ffmpeg 24-bit stereo (extensible)",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -ac 2 -c:a pcm_s24le %OUT%", true},
        ToolFile{"ffmpeg float stereo (extensible)",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -ac 2 -c:a pcm_f32le %OUT%", true},
        ToolFile{"sox 24-bit stereo (extensible)", "sox -n -r 8000 -c 2 -b 24 %OUT% synth 0.1 sine 440", true},
        ToolFile{"sox float mono", "sox -n -r 8000 -c 1 -e floating-point -b 32 %OUT% synth 0.1 sine 440", true},
        ToolFile{"ffmpeg 24-bit mono, front centre",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -ac 1 -c:a pcm_s24le %OUT%", false},
        ToolFile{"ffmpeg 5.1",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -ac 6 -c:a pcm_s16le %OUT%", false},
        ToolFile{"ffmpeg 5.1 side, 24-bit",
                 "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -af "
                 "aformat=channel_layouts=5.1\\(side\\) -c:a pcm_s24le %OUT%",
                 false}));

Record Stereo16(DWORD rate) {
  Record r;
  r->Init(rate, ZOSAMPLE_PCM16, 2, 0, Record::kRoom);
  return r;
}

Record FivePointOne() {
  Record r;
  r->Init(48000, ZOSAMPLE_PCM24, 6, 0x60F, Record::kRoom);
  return r;
}

TEST(RecordForms, SetFileWfxRewritesTheFormatAndRefusesAnExtensibleOne) {
  ScratchDir dir;
  const auto p = dir / "s.wav";
  ASSERT_EQ(ZoInitializeWav(Wide(p).c_str(), *Stereo16(8000), 2), S_OK);
  ASSERT_EQ(ZoSetFileWfx(Wide(p).c_str(), *Stereo16(16000)), S_OK);
  FileRecord back;
  ASSERT_TRUE(ReadRecord(p, &back));
  EXPECT_TRUE(*back.record == *Stereo16(16000));
  const auto before = ReadBytes(p);
  EXPECT_EQ(ZoSetFileWfx(Wide(p).c_str(), *FivePointOne()), ZOERR_UNSUPPORTED_MEDIATYPE);
  // The 18-byte form refuses the converted record the same way.
  WAVEFORMATEXTENSIBLE ext{};
  ZoAudio_GeneralCopyWfx(&ext.Format, sizeof ext, FivePointOne().get(), ZOWFCOPY_EXTENSIBLE);
  EXPECT_EQ(ZoSetFileWfx(Wide(p).c_str(), &ext.Format), ZOERR_UNSUPPORTED_MEDIATYPE);
  EXPECT_EQ(ReadBytes(p), before);
}

TEST(RecordForms, RepairTakesTheRecordsFieldsAsHints) {
  ScratchDir dir;
  Record hints;
  hints->Init(48000, ZOSAMPLE_PCM24, 1, 0, Record::kRoom);
  const std::vector<std::uint8_t> data(6 * 100, 0x22);
  for (bool w64 : {false, true}) {
    const auto p = dir / (w64 ? "c.w64" : "c.wav");
    ASSERT_EQ(WriteThroughRecord(p, w64 ? Layout::W64 : Layout::Wav, *Stereo16(8000), data), S_OK);
    // Rate and channel fields of the record turn to nonsense.
    auto bytes = ReadBytes(p);
    const size_t at = w64 ? 64 : 20;
    const std::uint32_t rate = 7;
    const std::uint16_t channels = 9;
    std::memcpy(bytes.data() + at + 2, &channels, 2);
    std::memcpy(bytes.data() + at + 4, &rate, 4);
    WriteBytes(p, bytes);
    {
      Handle h(p, true);
      ASSERT_EQ(w64 ? ZoFixTrashedW64(h.get(), *hints, 0x10000) : ZoFixTrashedWav(h.get(), *hints, 0x10000), S_OK);
    }
    FileRecord back;
    ASSERT_TRUE(ReadRecord(p, &back)) << w64;
    EXPECT_EQ(back.record->nSamplesPerSec, 48000u) << w64;
    EXPECT_EQ(back.record->nChannels, 1) << w64;
    EXPECT_EQ(back.record->sampleType, ZOSAMPLE_PCM16) << w64;  // 16 bits was sound, so it stays
    EXPECT_EQ(back.samples, 300u) << w64;
  }
}

TEST(RecordForms, MemoryHeaderReadsBackAndNeverHoldsMoreThanItsChunk) {
  Record flt;
  flt->Init(44100, ZOSAMPLE_FLOAT32, 2, 3, Record::kRoom);
  BYTE block[128] = {};
  _tMRIFF c;
  ASSERT_EQ(mriff_Init(&c, block, 0, sizeof block), S_OK);
  ASSERT_EQ(mriff_WriteWaveHeader(&c, *flt, 0, 0), S_OK);
  WAVEFORMATEX wfx;
  DWORD dataSize = 1;
  ASSERT_EQ(mriff_GetWfx(&wfx, block, sizeof block, &dataSize), S_OK);
  EXPECT_EQ(dataSize, 0u);
  EXPECT_TRUE(*flt == wfx);

  // Codec bytes or a speaker layout would need more than the 18-byte chunk.
  Record adpcm;
  adpcm->InitAsWfx(2, 8000, 1, 4, 0, Record::kRoom);
  adpcm->cbExtra = 32;
  adpcm->cbStruct = 32 + 32;
  Record surround = FivePointOne();
  for (const _zowaveformat* r : {adpcm.get(), surround.get()}) {
    BYTE untouched[128] = {};
    ASSERT_EQ(mriff_Init(&c, untouched, 0, sizeof untouched), S_OK);
    EXPECT_EQ(mriff_WriteWaveHeader(&c, *r, 0, 0), ZOERR_UNSUPPORTED_MEDIATYPE);
    EXPECT_EQ(std::memcmp(untouched, std::vector<BYTE>(128).data(), 128), 0);
  }
  adpcm->cbExtra = 0;
  ASSERT_EQ(mriff_Init(&c, block, 0, sizeof block), S_OK);
  ASSERT_EQ(mriff_WriteWaveHeader(&c, *adpcm, 0, 0), S_OK);
  ASSERT_EQ(mriff_GetWfx(&wfx, block, sizeof block, nullptr), S_OK);
  EXPECT_EQ(wfx.wFormatTag, 2);
  EXPECT_EQ(wfx.wBitsPerSample, 4);
}

}  // namespace
