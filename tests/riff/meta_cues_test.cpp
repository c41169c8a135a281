// SPDX-License-Identifier: MIT
// Markers and regions read from files: cue points libsndfile wrote, labels
// and region lengths from "adtl", the extended "zo01" entries merged with
// "cue " so each marker comes once, Wave64 marker chunks, and lying sizes.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstring>
#include <tuple>

#include "fileutil/meta_stream.h"
#include "riff/meta_cues.h"
#include "riff/meta_write.h"
#include "riff/riff_types.h"
#include "tests/riff/riff_test_util.h"

namespace {

namespace fs = std::filesystem;
using vane::test::ByteWriter;

struct Read {
  std::vector<std::tuple<DWORD, LONGLONG, LONGLONG, std::string>> samples;
  std::vector<fileutil::ZOMETAMARKERTIME> times;
};

Read ReadCues(const fs::path& file, DWORD rate, bool wave64 = false) {
  Read out;
  tZOLIST* timeList = nullptr;
  tZOLIST* sampleList = nullptr;
  EXPECT_EQ(ZoList_CreateExZ(&timeList, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0), S_OK);
  EXPECT_EQ(ZoList_CreateExZ(&sampleList, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0), S_OK);
  vane::test::Handle h(file);
  const HRESULT hr = wave64 ? ZoFMMeta64_fillCuesFromFile(h.get(), rate, timeList, sampleList)
                            : ZoFMMeta_fillCuesFromFileEx(h.get(), rate, timeList, sampleList);
  EXPECT_EQ(hr, S_OK);
  const size_t head = sizeof(fileutil::ZOMETAITEMHEADER);
  for (LONG i = 0; i < sampleList->nItems; ++i) {
    const BYTE* p = static_cast<BYTE**>(sampleList->pData)[i];
    fileutil::ZOMETAITEMHEADER h{};
    std::memcpy(&h, p, sizeof h);
    std::vector<std::uint8_t> data(p + head, p + head + h.cbData);
    fileutil::ZOMETAMARKERSAMPLE r{};
    std::u16string text;
    EXPECT_EQ(fileutil::ParseMarkerSample(data, &r, &text), S_OK);
    out.samples.emplace_back(r.id, r.position, r.length, vane::platform::ToUtf8(text));
  }
  for (LONG i = 0; i < timeList->nItems; ++i) {
    fileutil::ZOMETAMARKERTIME t{};
    std::memcpy(&t, static_cast<BYTE**>(timeList->pData)[i] + head, sizeof t);
    out.times.push_back(t);
  }
  ZoList_Destroy(timeList);
  ZoList_Destroy(sampleList);
  return out;
}

// A Wave file (rate 48000) with the given chunks before "data".
std::vector<std::uint8_t> Wave(const std::vector<std::uint8_t>& chunks) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(48000).u32le(96000).u16le(2).u16le(16);
  w.bytes(chunks.data(), chunks.size());
  w.fourcc("data").u32le(200).zeros(200);
  w.patch32le(4, static_cast<std::uint32_t>(w.size() - 8));
  return w.data();
}

void Cue(ByteWriter& w, const std::vector<std::pair<DWORD, DWORD>>& points, DWORD claimed = 0) {
  w.fourcc("cue ").u32le(static_cast<std::uint32_t>(4 + 24 * points.size())).u32le(claimed ? claimed : points.size());
  for (auto [id, pos] : points) w.u32le(id).u32le(pos).fourcc("data").u32le(0).u32le(0).u32le(pos);
}

TEST(MetaCues, CuePointsWrittenByLibsndfileReadAsItReportsThem) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "cues.wav";
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* sf = sf_open(file.c_str(), SFM_WRITE, &info);
  ASSERT_NE(sf, nullptr);
  SF_CUES cues{};
  cues.cue_count = 3;
  for (int k = 0; k < 3; ++k) {
    cues.cue_points[k].indx = k + 7;
    cues.cue_points[k].position = 1000 * (k + 1);
    cues.cue_points[k].fcc_chunk = 0x61746164;
    cues.cue_points[k].sample_offset = 1000 * (k + 1) + 5;
  }
  sf_command(sf, SFC_SET_CUE, &cues, sizeof cues);
  std::vector<short> silence(9600);
  sf_writef_short(sf, silence.data(), 4800);
  sf_close(sf);

  sf = sf_open(file.c_str(), SFM_READ, &info);
  SF_CUES back{};
  ASSERT_EQ(sf_command(sf, SFC_GET_CUE, &back, sizeof back), SF_TRUE);
  sf_close(sf);
  const Read r = ReadCues(file, 48000);
  ASSERT_EQ(r.samples.size(), back.cue_count);
  for (uint32_t k = 0; k < back.cue_count; ++k) {
    EXPECT_EQ(std::get<0>(r.samples[k]), DWORD(back.cue_points[k].indx));
    EXPECT_EQ(std::get<1>(r.samples[k]), LONGLONG(back.cue_points[k].sample_offset)) << "the sample offset is the position";
    EXPECT_EQ(std::get<2>(r.samples[k]), -1);
  }
  EXPECT_EQ(LONGLONG(r.times[0].start), fileutil::MetaTimeFromSamples(1005, 48000));
}

TEST(MetaCues, LabelsRegionsAndExtendedEntriesMergeOnce) {
  ByteWriter w;
  Cue(w, {{1, 480}, {2, 4800}});
  ByteWriter adtl;
  adtl.fourcc("ltxt").u32le(20).u32le(2).u32le(0).fourcc("rgn ").zeros(8);
  adtl.fourcc("labl").u32le(10).u32le(1).bytes("Intro", 6);
  adtl.fourcc("labl").u32le(13).u32le(2).bytes("Ch\xE9rus!", 8).u8(0).u8(0);  // odd size, pad byte
  w.fourcc("LIST").u32le(static_cast<std::uint32_t>(adtl.size() + 4)).fourcc("adtl").bytes(adtl.data().data(), adtl.size());
  // zo01: the region 2 as it is in cue (merged), and one past 32 bits.
  ByteWriter zo;
  zo.u32le(2);
  zo.u32le(3).u32le(0).u64le(0x100000000ull).u64le(~0ull).u32le(2).u32le(0).u16le(0);
  zo.u32le(2).u32le(0).u64le(4800).u64le(0).u32le(16).u32le(0).bytes(u"Ch\u00E9rus!", 16);
  w.fourcc("zo01").u32le(static_cast<std::uint32_t>(zo.size())).bytes(zo.data().data(), zo.size());
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "m.wav", Wave(w.data()));
  const Read r = ReadCues(dir / "m.wav", 48000);
  ASSERT_EQ(r.samples.size(), 3u);
  EXPECT_EQ(r.samples[0], std::make_tuple(DWORD{3}, LONGLONG{0x100000000}, LONGLONG{-1}, std::string()));
  EXPECT_EQ(r.samples[1], std::make_tuple(DWORD{2}, LONGLONG{4800}, LONGLONG{0}, std::string("Ch\xC3\xA9rus!")))
      << "a region of length 0, read once from zo01 and cue";
  EXPECT_EQ(r.samples[2], std::make_tuple(DWORD{1}, LONGLONG{480}, LONGLONG{-1}, std::string("Intro")));
  ASSERT_EQ(r.times.size(), 3u);
  EXPECT_EQ(DWORD(r.times[1].region), 1u);
  EXPECT_EQ(DWORD(r.times[2].region), 0u);
  EXPECT_EQ(LONGLONG(r.times[2].start), 100000);  // 480 samples at 48 kHz
}

TEST(MetaCues, LyingCountsAndSizesStayInsideTheFile) {
  vane::test::ScratchDir dir;
  ByteWriter w;
  Cue(w, {{1, 10}}, /*claimed=*/1000000);
  ByteWriter adtl;
  adtl.fourcc("labl").u32le(0x7FFFFFF0).u32le(1).bytes("NoTerminator", 12);
  w.fourcc("LIST").u32le(static_cast<std::uint32_t>(adtl.size() + 4)).fourcc("adtl").bytes(adtl.data().data(), adtl.size());
  vane::test::WriteBytes(dir / "liar.wav", Wave(w.data()));
  const Read r = ReadCues(dir / "liar.wav", 48000);
  ASSERT_EQ(r.samples.size(), 1u);
  EXPECT_EQ(std::get<3>(r.samples[0]), "NoTerminator");

  ByteWriter none;
  vane::test::WriteBytes(dir / "none.wav", Wave(none.data()));
  EXPECT_TRUE(ReadCues(dir / "none.wav", 48000).samples.empty());
  EXPECT_EQ(ZoFMMeta_fillCuesFromFileEx(INVALID_HANDLE_VALUE, 48000, nullptr, nullptr), S_OK) << "no lists: nothing to do";
}

TEST(MetaCues, Wave64MarkerChunkReadsEntries) {
  ByteWriter w;
  w.bytes(&kW64_riff, 16).u64le(0).bytes(&kW64_wave, 16);
  w.bytes(&kW64_fmt, 16).u64le(24 + 16).u16le(1).u16le(1).u32le(48000).u32le(96000).u16le(2).u16le(16);
  ByteWriter body;
  body.u32le(1).u32le(5).u32le(0).u64le(96000).u64le(48000).u32le(6).u32le(0).bytes(u"Bar", 6);
  w.bytes(&kW64_cue, 16).u64le(24 + body.size()).bytes(body.data().data(), body.size());
  while (w.size() % 8) w.u8(0);
  w.bytes(&kW64_data, 16).u64le(24 + 16).zeros(16);
  auto bytes = w.data();
  const std::uint64_t total = bytes.size();
  std::memcpy(bytes.data() + 16, &total, 8);
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "m.w64", bytes);
  const Read r = ReadCues(dir / "m.w64", 48000, true);
  ASSERT_EQ(r.samples.size(), 1u);
  EXPECT_EQ(r.samples[0], std::make_tuple(DWORD{5}, LONGLONG{96000}, LONGLONG{48000}, std::string("Bar")));
  EXPECT_EQ(LONGLONG(r.times[0].length), 10000000);
}

TEST(MetaCuesWrite, WrittenMarkersReadBackHereAndInLibsndfileWithTheAudioUntouched) {
  ByteWriter none;
  vane::test::ScratchDir dir;
  const fs::path file = dir / "w.wav";
  vane::test::WriteBytes(file, Wave(none.data()));
  const auto before = vane::test::ReadBytes(file);
  const std::vector<vane::riff::MarkerSample> markers = {
      {1, 10, -1, u"Start"}, {2, 20, 0, u"Empty region"}, {3, 0x100000000LL, -1, u"Far"}, {4, 30, 50, u""}};
  {
    vane::test::Handle h(file, true);
    ASSERT_EQ(vane::riff::WriteMarkerChunks(h.get(), markers), S_OK);
  }
  const Read r = ReadCues(file, 48000);
  ASSERT_EQ(r.samples.size(), 4u) << "zo01 and cue merge to one entry each";
  EXPECT_EQ(r.samples[2], std::make_tuple(DWORD{3}, LONGLONG{0x100000000}, LONGLONG{-1}, std::string("Far")));
  EXPECT_EQ(r.samples[1], std::make_tuple(DWORD{2}, LONGLONG{20}, LONGLONG{0}, std::string("Empty region")));

  SF_INFO info{};
  SNDFILE* sf = sf_open(file.c_str(), SFM_READ, &info);
  ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
  SF_CUES cues{};
  ASSERT_EQ(sf_command(sf, SFC_GET_CUE, &cues, sizeof cues), SF_TRUE);
  sf_close(sf);
  ASSERT_EQ(cues.cue_count, 3u) << "the marker past 32 bits stays out of cue";
  EXPECT_EQ(cues.cue_points[2].indx, 4);
  EXPECT_EQ(cues.cue_points[2].sample_offset, 30u);
  EXPECT_EQ(info.frames, 100);

  const auto after = vane::test::ReadBytes(file);
  EXPECT_TRUE(std::equal(before.begin() + 36, before.begin() + 36 + 208, after.begin() + 36)) << "data chunk moved";
  ASSERT_EQ(ZoFMMeta_LookForMarkers(vane::test::Wide(file).c_str()), S_OK);
  ASSERT_EQ(ZoFMMeta_DeleteMetaChunksEx(vane::test::Wide(file).c_str(), ZOFIO_META_MARKERS, FALSE), S_OK);
  EXPECT_EQ(vane::test::ReadBytes(file), before) << "deleting the kind restores the file";
  EXPECT_EQ(ZoFMMeta_LookForMarkers(vane::test::Wide(file).c_str()), ZOERR_NOT_FOUND);
  EXPECT_EQ(ZoFMMeta_DeleteMetaChunksEx(u"/no/such.wav", ZOFIO_META_MARKERS, FALSE), S_OK);
}

TEST(MetaCuesWrite, Wave64MarkersRoundTripAndSoxStillReadsTheFile) {
  VANE_REQUIRE_TOOL("sox");
  vane::test::ScratchDir dir;
  const fs::path file = dir / "m.w64";
  ASSERT_TRUE(vane::test::Make("sox -n -r 48000 -c 1 -b 16 " + file.string() + " synth 0.1 sine 440"));
  {
    vane::test::Handle h(file, true);
    ASSERT_EQ(vane::riff::WriteMarkerChunks64(h.get(), {{1, 100, -1, u"a"}, {2, 200, 300, u"b"}}), S_OK);
  }
  EXPECT_EQ(vane::test::RunCommand("sox --i " + file.string()), 0);
  const Read r = ReadCues(file, 48000, true);
  ASSERT_EQ(r.samples.size(), 2u);
  EXPECT_EQ(r.samples[1], std::make_tuple(DWORD{2}, LONGLONG{200}, LONGLONG{300}, std::string("b")));
  ASSERT_EQ(ZoFMMeta_DeleteMetaChunksEx(vane::test::Wide(file).c_str(), ZOFIO_META_MARKERS, TRUE), S_OK);
  EXPECT_TRUE(ReadCues(file, 48000, true).samples.empty());
}

}  // namespace
