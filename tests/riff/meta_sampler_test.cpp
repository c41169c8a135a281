// SPDX-License-Identifier: MIT
// Sampler information: loops libsndfile wrote read as it reports them, a
// third loop taken as sampler data, and short, absent and refused blocks.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstring>

#include "fileutil/meta_stream.h"
#include "platform/memory.h"
#include "riff/meta_sampler.h"
#include "tests/riff/riff_test_util.h"

namespace {

namespace fs = std::filesystem;
using vane::test::ByteWriter;

constexpr size_t kHeads = sizeof(fileutil::ZOMETASTREAMHEADER) + sizeof(fileutil::ZOMETAITEMHEADER);

struct Sampler {
  HRESULT status = E_FAIL;
  DWORD count = 0;  // items in the block
  ZOSAMPLERHEAD head{};
  std::vector<ZOSAMPLERLOOP> loops;
  std::vector<BYTE> data;
};

Sampler Read(const fs::path& file, DWORD rate) {
  Sampler s;
  vane::test::Handle h(file);
  BYTE* block = nullptr;
  DWORD size = 0;
  s.status = ZoFMMeta_fillSamplerinfoFromFileEx(h.get(), &block, &size, FALSE, rate);
  if (!block) return s;
  fileutil::ZOMETASTREAMHEADER stream{};
  std::memcpy(&stream, block, sizeof stream);
  s.count = stream.count;
  if (s.count && size >= kHeads + ZOSAMPLER_RECORD_BYTES) {
    std::memcpy(&s.head, block + kHeads, sizeof s.head);
    for (DWORD i = 0; i < s.head.loopCount; ++i) {
      ZOSAMPLERLOOP l{};
      std::memcpy(&l, block + kHeads + 36 + i * 32, sizeof l);
      s.loops.push_back(l);
    }
    s.data.assign(block + kHeads + ZOSAMPLER_RECORD_BYTES, block + size);
  }
  GlobalFree(block);
  return s;
}

std::vector<std::uint8_t> WaveWith(const ByteWriter& chunk) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(8000).u32le(16000).u16le(2).u16le(16);
  w.bytes(chunk.data().data(), chunk.size());
  w.fourcc("data").u32le(8).zeros(8);
  w.patch32le(4, std::uint32_t(w.size() - 8));
  return w.data();
}

TEST(MetaSampler, LoopsWrittenByLibsndfileReadAsItReportsThem) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "inst.wav";
  SF_INFO info{};
  info.samplerate = 44100;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* sf = sf_open(file.c_str(), SFM_WRITE, &info);
  ASSERT_NE(sf, nullptr);
  SF_INSTRUMENT inst{};
  inst.basenote = 62;
  inst.loop_count = 2;
  inst.loops[0] = {SF_LOOP_FORWARD, 100, 900, 0};
  inst.loops[1] = {SF_LOOP_ALTERNATING, 1000, 2000, 3};
  ASSERT_EQ(sf_command(sf, SFC_SET_INSTRUMENT, &inst, sizeof inst), SF_TRUE);
  std::vector<short> silence(4410);
  sf_writef_short(sf, silence.data(), 4410);
  sf_close(sf);
  sf = sf_open(file.c_str(), SFM_READ, &info);
  SF_INSTRUMENT back{};
  ASSERT_EQ(sf_command(sf, SFC_GET_INSTRUMENT, &back, sizeof back), SF_TRUE);
  sf_close(sf);

  const Sampler s = Read(file, 44100);
  ASSERT_EQ(s.status, S_OK);
  ASSERT_EQ(s.count, 1u);
  EXPECT_EQ(s.head.unityNote, DWORD(back.basenote));
  EXPECT_EQ(s.head.samplePeriod, 1000000000u / 44100);
  ASSERT_EQ(s.loops.size(), size_t(back.loop_count));
  for (size_t i = 0; i < s.loops.size(); ++i) {
    EXPECT_EQ(LONGLONG(s.loops[i].start), LONGLONG(back.loops[i].start));
    EXPECT_EQ(s.loops[i].start + s.loops[i].length, LONGLONG(back.loops[i].end)) << "length is end - start + 1";
    EXPECT_EQ(s.loops[i].playCount, back.loops[i].count);
  }
  EXPECT_EQ(s.loops[1].type, 1u) << "alternating";
}

TEST(MetaSampler, AThirdLoopIsTakenAsSamplerData) {
  ByteWriter smpl;
  smpl.fourcc("smpl").u32le(36 + 3 * 24);
  smpl.u32le(0).u32le(0).u32le(0).u32le(60).u32le(0).u32le(0).u32le(0).u32le(3).u32le(24);
  for (std::uint32_t i = 0; i < 3; ++i) smpl.u32le(i).u32le(0).u32le(i * 10).u32le(i * 10 + 9).u32le(0).u32le(0);
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "three.wav", WaveWith(smpl));
  const Sampler s = Read(dir / "three.wav", 0);
  ASSERT_EQ(s.status, S_OK);
  EXPECT_EQ(s.head.loopCount, 2u);
  EXPECT_EQ(s.head.samplePeriod, 22675u) << "rate 0";
  ASSERT_EQ(s.data.size(), 24u);
  DWORD thirdId = 0, thirdStart = 0;
  std::memcpy(&thirdId, s.data.data(), 4);
  std::memcpy(&thirdStart, s.data.data() + 8, 4);
  EXPECT_EQ(thirdId, 2u);
  EXPECT_EQ(thirdStart, 20u);
}

TEST(MetaSampler, ShortAbsentAndRefusedBlocks) {
  vane::test::ScratchDir dir;
  ByteWriter shortChunk;
  shortChunk.fourcc("smpl").u32le(20).zeros(20);
  vane::test::WriteBytes(dir / "short.wav", WaveWith(shortChunk));
  Sampler s = Read(dir / "short.wav", 8000);
  EXPECT_EQ(s.status, ZOERR_FILE_READ);
  EXPECT_EQ(s.count, 0u) << "a lone stream header";
  vane::test::WriteBytes(dir / "none.wav", WaveWith(ByteWriter()));
  s = Read(dir / "none.wav", 8000);
  EXPECT_TRUE(FAILED(s.status));
  EXPECT_EQ(s.count, 0u);
  // A claimed loop count and data size beyond the chunk stay inside it.
  ByteWriter liar;
  liar.fourcc("smpl").u32le(36 + 24).u32le(0).u32le(0).u32le(0).u32le(60).u32le(0).u32le(0).u32le(0).u32le(500).u32le(1u << 30);
  liar.u32le(7).u32le(0).u32le(1).u32le(5).u32le(0).u32le(0);
  vane::test::WriteBytes(dir / "liar.wav", WaveWith(liar));
  s = Read(dir / "liar.wav", 8000);
  ASSERT_EQ(s.status, S_OK);
  EXPECT_EQ(s.head.loopCount, 1u);
  EXPECT_TRUE(s.data.empty());

  vane::test::Handle h(dir / "none.wav");
  BYTE* counted = static_cast<BYTE*>(GlobalAlloc(GPTR, 28));
  counted[8] = 1;  // a block that still counts an item
  DWORD size = 0;
  EXPECT_EQ(ZoFMMeta_fillSamplerinfoFromFileEx(h.get(), &counted, &size, FALSE, 8000), E_INVALIDARG);
  GlobalFree(counted);
}

}  // namespace
