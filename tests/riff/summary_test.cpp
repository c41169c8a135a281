// SPDX-License-Identifier: MIT
// The summary record: INFO written by ffmpeg read as ffprobe reports it, the
// record's rules (set, remove, merge, compare), lists we save read back by
// exiftool and ffprobe, the wide and Wave64 forms, and damaged lists.
#include <gtest/gtest.h>

#include <cstring>

#include "fileutil/meta_stream.h"
#include "platform/wtext.h"
#include "riff/riff_api.h"
#include "riff/summary.h"
#include "tests/riff/riff_test_util.h"

namespace {

namespace fs = std::filesystem;
using vane::platform::ToUtf8;
using vane::test::ByteWriter;

constexpr DWORD Tag(const char (&s)[5]) { return ZoFourCC(s); }

std::string Item(const ZOSUMMARY& r, const char (&tag)[5]) {
  const WCHAR* t = ZoSummary_GetItemText(&r, Tag(tag));
  return t ? ToUtf8(t) : "<absent>";
}

ZOSUMMARY LoadFromFile(const fs::path& file) {
  vane::test::Handle h(file);
  ZOSUMMARY r{};
  DWORD size = 0;
  EXPECT_EQ(riff_FindListChunkFromStart(h.get(), kFourCC_INFO, &size), S_OK);
  EXPECT_EQ(ZoSummary_Load(h.get(), &r, &size), S_OK);
  return r;
}

TEST(Summary, FfmpegInfoReadsAsWrittenIncludingUtf8Text) {
  VANE_REQUIRE_TOOL("ffmpeg");
  vane::test::ScratchDir dir;
  const fs::path file = dir / "tags.wav";
  ASSERT_TRUE(vane::test::Make("ffmpeg -v error -f lavfi -i anullsrc=r=8000:cl=mono -t 0.1 -metadata title='Caf\xC3\xA9 Song'"
                               " -metadata artist=Someone -metadata comment='odd' -y " + file.string()));
  ZOSUMMARY r = LoadFromFile(file);
  EXPECT_EQ(Item(r, "INAM"), "Caf\xC3\xA9 Song");
  EXPECT_EQ(Item(r, "IART"), "Someone");
  EXPECT_EQ(Item(r, "ICMT"), "odd");
  WCHAR buffer[8];
  vane::test::Handle h(file);
  DWORD remaining = 0xFFFF;
  riff_SeekDataStart(h.get());
  ASSERT_EQ(ZoSummary_GetStringFromFile(h.get(), Tag("IART"), buffer, 8, &remaining), S_OK);
  EXPECT_EQ(ToUtf8(buffer), "Someone");
  ZoSummary_Free(&r);
}

TEST(Summary, RecordRulesSetRemoveMergeCompare) {
  ZOSUMMARY a{};
  EXPECT_EQ(ZoSummary_SetItem(&a, 0, u"x"), E_INVALIDARG);
  ASSERT_EQ(ZoSummary_SetItem(&a, Tag("INAM"), u"Title"), S_OK);
  ASSERT_EQ(ZoSummary_SetItem(&a, Tag("IART"), u"Artist"), S_OK);
  ASSERT_EQ(ZoSummary_SetItem(&a, Tag("INAM"), u"Title 2"), S_OK);
  EXPECT_EQ(a.count, 2u);
  EXPECT_EQ(Item(a, "INAM"), "Title 2");
  ZOSUMMARY b{};
  ASSERT_EQ(ZoSummary_SetItem(&b, Tag("ICMT"), u"Title 2"), S_OK);
  ASSERT_EQ(ZoSummary_SetItem(&b, Tag("IGNR"), u"Artist"), S_OK);
  EXPECT_TRUE(ZoSummary_Compare(&a, &b)) << "tags are not compared, only order and text";
  ZOSUMMARY c{};
  ASSERT_EQ(ZoSummary_Copy(&c, &a), S_OK);
  ASSERT_EQ(ZoSummary_SetItem(&c, Tag("INAM"), u"Other"), S_OK);
  ASSERT_EQ(ZoSummary_Merge(&a, &c, FALSE, FALSE), S_OK);
  EXPECT_EQ(Item(a, "INAM"), "Title 2") << "no replace keeps the destination";
  ASSERT_EQ(ZoSummary_Merge(&a, &c, TRUE, TRUE), S_OK);
  EXPECT_EQ(Item(a, "INAM"), "Other");
  EXPECT_EQ(c.count, 0u) << "stealing empties the source";
  ASSERT_EQ(ZoSummary_SetItem(&b, Tag("ICMT"), nullptr), S_OK);
  EXPECT_EQ(Item(b, "IGNR"), "Artist") << "removing closes the gap";
  ASSERT_EQ(ZoSummary_SetItem(&b, Tag("IGNR"), nullptr), S_OK);
  EXPECT_EQ(b.count, 0u);
  EXPECT_EQ(b.items, nullptr) << "the last item going frees the record";
  ZoSummary_Free(&a);
}

TEST(Summary, SavedListReadsBackHereAndInTheFieldsTools) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(8000).u32le(16000).u16le(2).u16le(16);
  w.fourcc("data").u32le(1600).zeros(1600);
  w.patch32le(4, static_cast<std::uint32_t>(w.size() - 8));
  vane::test::ScratchDir dir;
  const fs::path file = dir / "s.wav";
  vane::test::WriteBytes(file, w.data());
  ZOSUMMARY r{};
  ZoSummary_SetItem(&r, Tag("INAM"), u"Odd");  // 4 bytes with the terminator
  ZoSummary_SetItem(&r, Tag("IART"), u"Even!");
  {
    vane::test::Handle h(file, true);
    DWORD riffSize = 0, form = 0, bytes = 0;
    ASSERT_EQ(riff_ReadFileID(h.get(), &riffSize, &form), S_OK);
    LARGE_INTEGER end{};
    end.QuadPart = riffSize + 12;
    ASSERT_TRUE(SetFilePointerEx(h.get(), end, nullptr, FILE_BEGIN));
    ASSERT_EQ(ZoSummary_Save(h.get(), &r, &bytes), S_OK);
    EXPECT_EQ(bytes, 8u + 4u + (8 + 4) + (8 + 6));
    ASSERT_EQ(riff_UpdateRIFFSize(h.get(), bytes), S_OK);
  }
  ZOSUMMARY back = LoadFromFile(file);
  EXPECT_TRUE(ZoSummary_Compare(&r, &back));
  if (vane::test::HaveTool("ffprobe")) {
    std::string probe;
    vane::test::RunCommand("ffprobe -v error -show_entries format_tags -of default=nw=1 " + file.string(), &probe);
    EXPECT_NE(probe.find("title=Odd"), std::string::npos) << probe;
    EXPECT_NE(probe.find("artist=Even!"), std::string::npos) << probe;
  }
  if (vane::test::HaveTool("exiftool")) {
    std::string exif;
    vane::test::RunCommand("exiftool -s -Title -Artist " + file.string(), &exif);
    EXPECT_NE(exif.find("Even!"), std::string::npos) << exif;
  }
  ZOSUMMARY empty{};
  ZoSummary_SetItem(&empty, Tag("INAM"), u"x");
  empty.items[0].text = nullptr;  // a slot without text is left out
  DWORD bytes = 0;
  {
    vane::test::Handle h(file, true);
    ASSERT_EQ(ZoSummary_Save(h.get(), &empty, &bytes), S_OK);
  }
  EXPECT_EQ(bytes, 12u) << "a list of size 4";
  ZoSummary_Free(&r);
  ZoSummary_Free(&back);
  ZoSummary_Free(&empty);
}

TEST(Summary, WideAndWave64FormsRoundTripAndRefuseLongText) {
  ZOSUMMARY r{};
  ZoSummary_SetItem(&r, Tag("INAM"), u"\u00DCber \u263A");
  ULONGLONG size = 0;
  ASSERT_EQ(ZoSummary_SaveW64(&r, nullptr, &size), S_OK);
  std::vector<BYTE> body(size);
  ASSERT_EQ(ZoSummary_SaveW64(&r, body.data(), &size), S_OK);
  ZOSUMMARY back{};
  ASSERT_EQ(ZoSummary_LoadW64(body.data(), size, &back), S_OK);
  EXPECT_TRUE(ZoSummary_Compare(&r, &back));
  std::vector<BYTE> lying = body;
  lying[8] = 0xFF;  // byte size 0x...FF past the limit
  lying[9] = 0x10;
  ZOSUMMARY refused{};
  EXPECT_EQ(ZoSummary_LoadW64(lying.data(), lying.size(), &refused), E_INVALIDARG);
  ZoSummary_Free(&r);
  ZoSummary_Free(&back);
}

TEST(Summary, DamagedListLeavesTheRecordEmpty) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("LIST").u32le(4 + 8 + 4).fourcc("INFO").fourcc("INAM").u32le(0x100000).bytes("abc", 4);
  w.patch32le(4, static_cast<std::uint32_t>(w.size() - 8));
  vane::test::ScratchDir dir;
  vane::test::WriteBytes(dir / "bad.wav", w.data());
  vane::test::Handle h(dir / "bad.wav");
  ZOSUMMARY r{};
  DWORD size = 0;
  ASSERT_EQ(riff_FindListChunkFromStart(h.get(), kFourCC_INFO, &size), S_OK);
  EXPECT_EQ(ZoSummary_Load(h.get(), &r, &size), ZOERR_FILE_READ);
  EXPECT_EQ(r.count, 0u);
  EXPECT_EQ(ZoSummary_Load(h.get(), nullptr, &size), E_INVALIDARG);
}

}  // namespace
