// SPDX-License-Identifier: MIT
// Writing a source's metadata into a Wave file and its side file: markers and
// summary land where our readers and libsndfile find them, the audio stays
// byte for byte, an update with an empty marker list deletes the markers, and
// side files carry the name of their media file.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstring>

#include "fileutil/meta_stream.h"
#include "fileutil/metamap.h"
#include "riff/meta_cues.h"
#include "riff/meta_write.h"
#include "riff/meta_write_source.h"
#include "riff/riff_api.h"
#include "riff/riff_types.h"
#include "riff/summary.h"
#include "tests/riff/riff_test_util.h"

namespace {

namespace fs = std::filesystem;
using vane::test::ByteWriter;

// A metadata source over a map, as a reader hands one out.
class MapSource final : public IZoReadMeta {
 public:
  MapSource(fileutil::MetaMap map, DWORD rate) : m_map(std::move(map)), m_rate(rate) {}
  HRESULT QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT GetMarkers(IStream** out) override {
    auto* s = new fileutil::MetaMarkerStream();
    const HRESULT hr = s->Init(m_map, m_rate);
    *out = s;
    return hr;
  }
  HRESULT GetCommands(IStream** out) override {
    *out = nullptr;
    return E_NOTIMPL;
  }
  HRESULT GetKeyFrames(IStream** out) override {
    *out = nullptr;
    return E_NOTIMPL;
  }
  HRESULT GetSummaryInfo(DWORD, WCHAR*, DWORD) override { return E_NOTIMPL; }
  HRESULT GetAllSummaryInfo(IStream** out) override {
    auto* s = new fileutil::MetaSummaryStream();
    const HRESULT hr = s->Init(m_map);
    *out = s;
    return hr;
  }

 private:
  fileutil::MetaMap m_map;
  DWORD m_rate;
};

constexpr DWORD Tag(const char (&s)[5]) { return ZoFourCC(s); }

std::vector<std::uint8_t> PlainWave() {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(48000).u32le(96000).u16le(2).u16le(16);
  w.fourcc("data").u32le(9600);
  for (int i = 0; i < 9600; ++i) w.u8(std::uint8_t(i * 13));
  w.patch32le(4, std::uint32_t(w.size() - 8));
  return w.data();
}

size_t MarkerCount(const fs::path& file) {
  vane::test::Handle h(file);
  tZOLIST* list = nullptr;
  ZoList_CreateExZ(&list, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0);
  ZoFMMeta_fillCuesFromFileEx(h.get(), 48000, nullptr, list);
  const size_t n = size_t(list->nItems);
  ZoList_Destroy(list);
  return n;
}

TEST(MetaWriteSource, MarkersAndSummaryLandInTheFileAndTheAudioStays) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "take.wav";
  const auto before = PlainWave();
  vane::test::WriteBytes(file, before);
  fileutil::MetaMap map;
  map.add(Tag("INAM"), u"Take 3");
  map.addGeneric(fileutil::GUID_ZoMetaMarkers, fileutil::MakeMarkerSample(1, 480, -1, u"Slate"));
  map.addGeneric(fileutil::GUID_ZoMetaMarkers, fileutil::MakeMarkerSample(2, 960, 1200, u"Line"));
  MapSource source(map, 48000);
  const std::u16string name = vane::test::Wide(file);
  ASSERT_EQ(ZoFMMeta_openAndWriteMetaStreamEx(name.c_str(), FALSE, 48000, &source, 5, 0), S_OK);

  const auto after = vane::test::ReadBytes(file);
  EXPECT_TRUE(std::equal(before.begin() + 44, before.end(), after.begin() + 44)) << "the audio moved";
  EXPECT_EQ(MarkerCount(file), 2u);
  SF_INFO info{};
  SNDFILE* sf = sf_open(file.c_str(), SFM_READ, &info);
  ASSERT_NE(sf, nullptr);
  SF_CUES cues{};
  ASSERT_EQ(sf_command(sf, SFC_GET_CUE, &cues, sizeof cues), SF_TRUE);
  EXPECT_EQ(cues.cue_count, 2u);
  EXPECT_EQ(cues.cue_points[1].sample_offset, 960u);
  EXPECT_STREQ(sf_get_string(sf, SF_STR_TITLE), "Take 3");
  sf_close(sf);

  // Writing again replaces rather than adds.
  ASSERT_EQ(ZoFMMeta_openAndWriteMetaStreamEx(name.c_str(), FALSE, 48000, &source, 5, 0), S_OK);
  EXPECT_EQ(MarkerCount(file), 2u);

  // An update whose source has no markers deletes them; the summary stays.
  fileutil::MetaMap empty;
  MapSource none(empty, 48000);
  ASSERT_EQ(ZoFMMeta_UpdateMetaStream(name.c_str(), FALSE, 48000, &none), S_OK);
  EXPECT_EQ(MarkerCount(file), 0u);
  EXPECT_EQ(ZoFMMeta_LookForMarkers(name.c_str()), ZOERR_NOT_FOUND);
  vane::test::Handle h(file);
  DWORD size = 0;
  EXPECT_EQ(riff_FindListChunkFromStart(h.get(), kFourCC_INFO, &size), S_OK);
}

TEST(MetaWriteSource, SideFilesCarryTheirMediaName) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "a.wav";
  vane::test::WriteBytes(file, PlainWave());
  fileutil::MetaMap map;
  map.addGeneric(fileutil::GUID_ZoMetaMarkers, fileutil::MakeMarkerSample(1, 10, -1, u"x"));
  MapSource source(map, 48000);
  const std::u16string name = vane::test::Wide(file);
  ASSERT_EQ(ZoFMMeta_openAndWriteMetaStreamEx(name.c_str(), FALSE, 48000, &source, 0, ZOFIO_META_MARKERS), S_OK);
  const std::u16string side = vane::test::Wide(dir / "a.wav.zol");  // a write names it by appending
  EXPECT_TRUE(ZoFMMeta_IsMetaFile(name.c_str(), side.c_str()));
  EXPECT_FALSE(ZoFMMeta_IsMetaFile(vane::test::Wide(dir / "b.wav").c_str(), side.c_str()));
  EXPECT_EQ(MarkerCount(dir / "a.wav.zol"), 1u);
  EXPECT_EQ(MarkerCount(file), 0u) << "the media file is left alone";

  WCHAR out[16];
  ZoFMMeta_CreateMetaName(u"/x/take.wav", out, 16, FALSE);
  EXPECT_EQ(std::u16string(out), u"/x/take.zol");
  ZoFMMeta_CreateMetaName(u"/x/take.wav", out, 16, TRUE);
  EXPECT_EQ(std::u16string(out), u"/x/take.wav.zol");
  ZoFMMeta_CreateMetaName(u"/some/long/folder/take.wav", out, 12, TRUE);
  EXPECT_EQ(std::u16string(out).size(), 11u);
  EXPECT_EQ(std::u16string(out).substr(7), u".zol") << "cut to fit, always ending with .zol";
}

}  // namespace
