// SPDX-License-Identifier: MIT
// Files made by the field's tools at test time (ffmpeg, AtomicParsley), read
// with the box reader and cross-checked with ffprobe.
#include <gtest/gtest.h>

#include <map>

#include "fileutil/box_dump.h"
#include "fileutil/box_reader.h"
#include "tests/support/test_files.h"

namespace fileutil {
namespace {

using vane::test::HaveTool;
using vane::test::RunCommand;
using vane::test::ScratchDir;
using vane::test::ShellQuote;

// The fixtures, made once for the whole program.
class RealFiles : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!HaveTool("ffmpeg")) return;
    s_dir = new ScratchDir();
    const std::string ff = "ffmpeg -hide_banner -loglevel error -y ";
    const std::string tone = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=1 ";
    const std::string video = "-f lavfi -i testsrc=size=64x48:rate=10:duration=1 ";
    const std::string vcodec = RunCommand("ffmpeg -hide_banner -encoders 2>/dev/null | grep -q libx264") == 0
                                   ? "-c:v libx264 -preset ultrafast "
                                   : "-c:v mpeg4 ";
    Make("tone.m4a", ff + tone + "-ac 2 -c:a aac -b:a 64k");
    Make("mono.m4a", ff + "-f lavfi -i sine=sample_rate=22050:duration=1 -ac 1 -c:a aac");
    Make("movie.mp4", ff + video + tone + vcodec + "-c:a aac -shortest");
    Make("fast.mp4", ff + tone + "-c:a aac -movflags +faststart");
    Make("clip.3gp", ff + tone + "-ar 8000 -ac 1 -c:a aac -b:a 12k");
    Make("clip.mov", ff + video + tone + "-c:v mpeg4 -c:a aac -shortest");
    if (HaveTool("AtomicParsley")) {
      Make("cover.png", ff + "-f lavfi -i color=red:size=16x16 -frames:v 1");
      const std::string src = Path("tone.m4a"), art = Path("cover.png"), out = Path("art.m4a");
      RunCommand("AtomicParsley " + ShellQuote(src) + " --artwork " + ShellQuote(art) + " --title Probe -o " +
                 ShellQuote(out) + " >/dev/null 2>&1");
    }
  }
  static void TearDownTestSuite() {
    delete s_dir;
    s_dir = nullptr;
  }
  static void Make(const std::string& name, const std::string& command) {
    RunCommand(command + " " + ShellQuote(Path(name)));
  }
  static std::string Path(const std::string& name) { return (*s_dir / name).string(); }
  void SetUp() override { VANE_REQUIRE_TOOL("ffmpeg"); }

  static std::unique_ptr<Boxes> Read(const std::string& name) {
    BoxReader reader(std::filesystem::path(Path(name)));
    return reader.readFile();
  }
  // Dumps by path of type names, e.g. "moov/trak/mdia/mdhd".
  static std::vector<const BoxDump*> All(const std::vector<BoxDump>& boxes, const std::string& path) {
    std::vector<const BoxDump*> out;
    const auto slash = path.find('/');
    const std::string head = path.substr(0, slash);
    for (const BoxDump& b : boxes) {
      if (b.type != head) continue;
      if (slash == std::string::npos) out.push_back(&b);
      else for (const BoxDump* d : All(b.children, path.substr(slash + 1))) out.push_back(d);
    }
    return out;
  }
  static std::uint64_t Number(const BoxDump* b, const std::string& field) {
    const Field::Value* v = b->fields.find(field);
    return v && std::holds_alternative<std::uint64_t>(*v) ? std::get<std::uint64_t>(*v) : ~0ull;
  }
  static std::string Probe(const std::string& name, const std::string& entries) {
    std::string out;
    RunCommand("ffprobe -v error -select_streams a:0 -show_entries " + entries + " -of default=nw=1:nk=1 " +
                   ShellQuote(Path(name)),
               &out);
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
  }
  static BoxFileDump Dump(const std::string& name) {
    BoxFileDump d;
    EXPECT_EQ(DumpBoxFile(Path(name), &d), S_OK);
    return d;
  }

  static ScratchDir* s_dir;
};
ScratchDir* RealFiles::s_dir = nullptr;

const char* const kStsdAac = "moov/trak/mdia/minf/stbl/stsd/mp4a";

TEST_F(RealFiles, AacEsdsGivesObjectTypeRateAndChannels) {
  for (const auto& [name, rate, channels] : {std::tuple{"tone.m4a", 44100u, 2u}, std::tuple{"mono.m4a", 22050u, 1u}}) {
    const BoxFileDump d = Dump(name);
    const auto esds = All(d.boxes, std::string(kStsdAac) + "/esds");
    ASSERT_EQ(esds.size(), 1u) << name;
    EXPECT_EQ(Number(esds[0], "object_type_indication"), 0x40u);
    EXPECT_EQ(Number(esds[0], "audio_object_type"), 2u);
    EXPECT_EQ(Number(esds[0], "sample_rate"), rate);
    EXPECT_EQ(Number(esds[0], "channels"), channels);
    const auto mp4a = All(d.boxes, kStsdAac);
    EXPECT_EQ(std::to_string(Number(mp4a[0], "sample_rate")), Probe(name, "stream=sample_rate"));
  }
}

TEST_F(RealFiles, SampleTablesAgreeWithFfprobe) {
  const BoxFileDump d = Dump("tone.m4a");
  const auto stbl = All(d.boxes, "moov/trak/mdia/minf/stbl");
  ASSERT_EQ(stbl.size(), 1u);
  const auto stsz = All(stbl[0]->children, "stsz");
  ASSERT_EQ(stsz.size(), 1u);
  EXPECT_EQ(std::to_string(Number(stsz[0], "sample_count")), Probe("tone.m4a", "stream=nb_frames"));
  const auto mdhd = All(d.boxes, "moov/trak/mdia/mdhd");
  EXPECT_EQ("1/" + std::to_string(Number(mdhd[0], "time_scale")), Probe("tone.m4a", "stream=time_base"));
  const auto stts = All(stbl[0]->children, "stts");
  ASSERT_EQ(stts.size(), 1u);
  EXPECT_EQ(Number(stts[0], "samples"), Number(stsz[0], "sample_count"));
  EXPECT_EQ(Number(stts[0], "duration"), Number(mdhd[0], "duration"));
  const auto mvhd = All(d.boxes, "moov/mvhd");
  ASSERT_EQ(mvhd.size(), 1u);
  EXPECT_TRUE(mvhd[0]->opaque);
  EXPECT_NE(Number(mvhd[0], "time_scale"), ~0ull);
}

TEST_F(RealFiles, MovieHasOneVideoAndOneSoundTrack) {
  std::map<std::string, int> handlers;
  for (const char* name : {"movie.mp4", "clip.mov"}) {
    const BoxFileDump d = Dump(name);
    for (const BoxDump* h : All(d.boxes, "moov/trak/mdia/hdlr"))
      ++handlers[std::get<std::string>(*h->fields.find("handler_type"))];
  }
  EXPECT_EQ(handlers["vide"], 2);
  EXPECT_EQ(handlers["soun"], 2);
}

TEST_F(RealFiles, BrandsTellThreeGppAndQuickTime) {
  auto major = [&](const char* name) {
    const BoxFileDump d = Dump(name);
    const auto ftyp = All(d.boxes, "ftyp");
    return ftyp.empty() ? std::string() : std::get<std::string>(*ftyp[0]->fields.find("major_brand"));
  };
  EXPECT_EQ(major("clip.3gp").substr(0, 3), "3gp");
  EXPECT_EQ(major("clip.mov"), "qt  ");
  EXPECT_EQ(major("tone.m4a"), "M4A ");
}

TEST_F(RealFiles, MoovBeforeOrAfterMdatAndMetaReadCostsHeadersOnly) {
  for (const char* name : {"fast.mp4", "tone.m4a"}) {
    const BoxFileDump d = Dump(name);
    std::vector<std::string> order;
    for (const BoxDump& b : d.boxes) order.push_back(b.type);
    const auto moov = std::find(order.begin(), order.end(), "moov");
    const auto mdat = std::find(order.begin(), order.end(), "mdat");
    ASSERT_NE(moov, order.end());
    ASSERT_NE(mdat, order.end());
    EXPECT_EQ(moov < mdat, std::string(name) == "fast.mp4") << name;
    EXPECT_LT(d.bytesRead, d.fileSize) << name;
    std::uint64_t size = 0;
    for (const BoxDump& b : d.boxes) size += b.size;
    EXPECT_EQ(size, d.fileSize) << name;  // the root boxes tile the file
  }
}

TEST_F(RealFiles, FreePaddingIsReadAsFreeInUpdates) {
  BoxReader reader(std::filesystem::path(Path("tone.m4a")));
  auto boxes = reader.readMetaForUpdate();
  bool sawFree = false;
  for (IBox* b : *boxes) sawFree |= dynamic_cast<FreeBox*>(b) != nullptr;
  EXPECT_TRUE(sawFree);
}

TEST_F(RealFiles, CoverArtIsAnImageDataAtom) {
  VANE_REQUIRE_TOOL("AtomicParsley");
  ASSERT_TRUE(std::filesystem::exists(Path("art.m4a")));
  const BoxFileDump d = Dump("art.m4a");
  const auto covr = All(d.boxes, "moov/udta/meta/ilst/covr/data");
  ASSERT_EQ(covr.size(), 1u);
  EXPECT_EQ(Number(covr[0], "data_type"), 14u);  // PNG
  EXPECT_EQ(Number(covr[0], "image_bytes"), std::filesystem::file_size(Path("cover.png")));
  const auto title = All(d.boxes, "moov/udta/meta/ilst/\xC2\xA9nam/data");
  ASSERT_EQ(title.size(), 1u);
  EXPECT_EQ(std::get<std::string>(*title[0]->fields.find("text")), "Probe");
}

TEST_F(RealFiles, TruncatedRealFilesStillGiveATree) {
  const std::vector<std::uint8_t> bytes = vane::test::ReadBytes(Path("fast.mp4"));
  for (std::size_t n = 0; n < bytes.size(); n += 1 + n / 7) {
    std::istringstream s(std::string(bytes.begin(), bytes.begin() + std::ptrdiff_t(n)));
    BoxReader reader(s, n);
    auto boxes = reader.readFile();
    ASSERT_NE(boxes, nullptr);
  }
}

}  // namespace
}  // namespace fileutil
