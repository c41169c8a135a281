// SPDX-License-Identifier: MIT
// Identification against files the field's tools make at test time: every
// table row a Debian tool can produce, the byte bound of a file read, the
// flags, and hand-built headers for the rows' sharp edges.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <ostream>

#include "riff/detail/file_access.h"
#include "riff/quick_identify.h"
#include "tests/riff/riff_test_util.h"

using namespace vane::test;

namespace {

struct Made {
  const char* file;
  const char* tool;
  const char* command;  // {out} is the output path
  DWORD type;
  bool boxes = false;   // the box classifier may read past the first 64 KB
};
void PrintTo(const Made& m, std::ostream* os) { *os << m.file << " made by " << m.tool; }

constexpr const char* kSine = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=0.3";
constexpr const char* kPicture = "-f lavfi -i testsrc=size=64x48:rate=10:duration=0.5";

const Made kMade[] = {
    {"a.ac3", "ffmpeg", "ffmpeg {sine} -c:a ac3 {out}", ZOFILEID_AC3},
    {"i.gif", "convert", "convert -size 8x8 xc:red {out}", ZOFILEID_GIF},
    {"le.tif", "convert", "convert -size 8x8 xc:red -endian LSB {out}", ZOFILEID_TIFF},
    {"be.tif", "convert", "convert -size 8x8 xc:red -endian MSB {out}", ZOFILEID_TIFF},
    {"s.aiff", "sox", "sox -n -r 8000 -c 1 {out} synth 0.1 sine 440", ZOFILEID_AIFF},
    {"v.avi", "ffmpeg", "ffmpeg {pic} -c:v mpeg4 {out}", ZOFILEID_AVI},
    {"v.dv", "ffmpeg", "ffmpeg -f lavfi -i testsrc=size=720x480:rate=30000/1001 -t 0.1 -pix_fmt yuv411p -c:v dvvideo -f dv {out}",
     ZOFILEID_DV},
    {"avc.mp4", "ffmpeg", "ffmpeg {pic} {sine} -shortest -c:v libx264 -c:a aac {out}", ZOFILEID_MP4_AVC, true},
    {"part2.mp4", "ffmpeg", "ffmpeg {pic} -c:v mpeg4 {out}", ZOFILEID_MP4, true},
    {"a.m4a", "ffmpeg", "ffmpeg {sine} -c:a aac {out}", ZOFILEID_M4A, true},
    {"v.3gp", "ffmpeg", "ffmpeg -f lavfi -i testsrc=size=176x144:rate=10:duration=0.5 -c:v mpeg4 {out}", ZOFILEID_3GP, true},
    {"v.mov", "ffmpeg", "ffmpeg {pic} -c:v mpeg4 {out}", ZOFILEID_QUICKTIME, true},
    {"a.flac", "ffmpeg", "ffmpeg {sine} {out}", ZOFILEID_FLAC},
    {"id3.flac", "ffmpeg", "ffmpeg {sine} {out} && printf 'ID3\\003\\000\\000\\000\\000\\000\\012' > {out}.t && "
                           "head -c 10 /dev/zero >> {out}.t && cat {out} >> {out}.t && mv {out}.t {out}",
     ZOFILEID_FLAC},
    {"tag.mp3", "ffmpeg", "ffmpeg {sine} -c:a libmp3lame {out}", ZOFILEID_MP3_TAGGED},
    {"bare.mp3", "ffmpeg", "ffmpeg {sine} -c:a libmp3lame -id3v2_version 0 -write_xing 0 {out}", ZOFILEID_MP3_TAGGED},
    {"lsf.mp3", "ffmpeg", "ffmpeg -f lavfi -i sine=sample_rate=22050:duration=1 -c:a libmp3lame -id3v2_version 0 -write_xing 0 {out}", ZOFILEID_MP3},
    {"a.mp2", "ffmpeg", "ffmpeg {sine} -c:a mp2 {out}", ZOFILEID_MP2},
    {"i.bmp", "convert", "convert -size 8x8 xc:red {out}", ZOFILEID_BMP},
    {"i.jpg", "convert", "convert -size 8x8 xc:red {out}", ZOFILEID_JPEG},
    {"i.png", "convert", "convert -size 8x8 xc:red {out}", ZOFILEID_PNG},
    {"a.ogg", "ffmpeg", "ffmpeg {sine} -c:a libvorbis {out}", ZOFILEID_OGG},
    {"a.au", "sox", "sox -n -r 8000 -c 1 {out} synth 0.1 sine 440", ZOFILEID_AU},
    {"v.mkv", "ffmpeg", "ffmpeg {pic} -c:v mpeg4 {out}", ZOFILEID_MATROSKA},
    {"a.wma", "ffmpeg", "ffmpeg {sine} -c:a wmav2 {out}", ZOFILEID_WMA},
    {"v.wmv", "ffmpeg", "ffmpeg {pic} -c:v wmv2 {out}", ZOFILEID_WMV},
    {"v.asf", "ffmpeg", "ffmpeg {pic} -c:v wmv2 {out}", ZOFILEID_WMV},
    {"asf.bin", "ffmpeg", "ffmpeg {pic} -c:v wmv2 -f asf {out}", ZOFILEID_ASF},
    {"v.ts", "ffmpeg", "ffmpeg {pic} -c:v mpeg2video {out}", ZOFILEID_MPEG_TS},
    {"v.vob", "ffmpeg", "ffmpeg {pic} -c:v mpeg2video -f vob {out}", ZOFILEID_MPEG2},
    {"v.mpg", "ffmpeg", "ffmpeg -f lavfi -i testsrc=size=64x48:rate=25:duration=0.5 -c:v mpeg1video -f mpeg {out}", ZOFILEID_MPEG1},
    {"v.mxf", "ffmpeg", "ffmpeg -f lavfi -i testsrc=size=720x576:rate=25:duration=0.2 -c:v mpeg2video -pix_fmt yuv422p {out}",
     ZOFILEID_MXF},
    // The box classifier's own results.
    {"aac.mp4", "ffmpeg", "ffmpeg {sine} -c:a aac {out}", ZOFILEID_AAC, true},
    {"pcm.mov", "ffmpeg", "ffmpeg {pic} {sine} -shortest -c:v libx264 -c:a pcm_s16le {out}", ZOFILEID_MP4_PCM, true},
    {"m2.mp4", "ffmpeg", "ffmpeg {pic} -c:v mpeg2video {out}", ZOFILEID_MP4_MPEG2, true},
    {"a.wav", "sox", "sox -n -r 8000 -c 2 {out} synth 0.1 sine 440", ZOFILEID_WAVE},
    {"a.w64", "sox", "sox -n -r 8000 -c 2 {out} synth 0.1 sine 440", ZOFILEID_WAVE64},
};

std::string Expand(std::string s, const std::string& out) {
  auto replace = [&](const std::string& key, const std::string& value) {
    for (size_t at; (at = s.find(key)) != std::string::npos;) s.replace(at, key.size(), value);
  };
  replace("{sine}", kSine);
  replace("{pic}", kPicture);
  replace("{out}", ShellQuote(out));
  if (s.rfind("ffmpeg", 0) == 0) s.insert(6, " -v error -y");
  return s;
}

// Generates every file once for the whole program.
class Generated : public ::testing::Environment {
 public:
  void SetUp() override {
    dir = std::make_unique<ScratchDir>();
    for (const Made& m : kMade) {
      if (!HaveTool(m.tool)) continue;
      const auto out = *dir / m.file;
      if (Make(Expand(m.command, out.string()))) made[m.file] = out;
    }
  }
  void TearDown() override { dir.reset(); }
  std::unique_ptr<ScratchDir> dir;
  std::map<std::string, std::filesystem::path> made;
};
Generated* g_files = static_cast<Generated*>(::testing::AddGlobalTestEnvironment(new Generated));

class ToolMadeFile : public ::testing::TestWithParam<Made> {};

TEST_P(ToolMadeFile, IdentifiedAsItsRowSaysWithinTheReadBound) {
  const Made& m = GetParam();
  if (!HaveTool(m.tool)) GTEST_SKIP() << m.tool << " is not installed";
  auto it = g_files->made.find(m.file);
  ASSERT_NE(it, g_files->made.end()) << "could not make " << m.file << " with: " << Expand(m.command, "OUT");
  Handle h(it->second);
  ASSERT_TRUE(h.ok());
  std::uint64_t bytesRead = 0;
  vane::riff::SetReadCounterForThread(&bytesRead);
  DWORD type = 0;
  const BOOL found = ZoIsQuicklyIdentifiableMediaFileFormat(h.get(), Wide(it->second).c_str(), 0, &type);
  vane::riff::SetReadCounterForThread(nullptr);
  EXPECT_TRUE(found);
  EXPECT_EQ(type, m.type) << std::hex << "got 0x" << type << " (" << ZoIdentifiedTypeName(type) << ")";
  if (!m.boxes) {
    EXPECT_LE(bytesRead, 65536u);
  }
  // The buffer form of the same first bytes agrees where neither a deep read
  // nor the extension is needed.
  if (!m.boxes && m.type != ZOFILEID_WMA && m.type != ZOFILEID_WMV && m.type != ZOFILEID_MXF &&
      m.type != ZOFILEID_MATROSKA) {  // the sync-search rows need ".mkv" to stay away
    const auto bytes = ReadBytes(it->second);
    DWORD fromBuffer = 0;
    ZOFILEIDINFO info{ZOFILEID_IGNORE_EXTENSION, INVALID_HANDLE_VALUE, nullptr, bytes.data(),
                      DWORD(std::min<size_t>(bytes.size(), 0x10000)), nullptr, 0};
    BOOL hit = FALSE;
    ASSERT_EQ(ZoIsQuicklyIdentifiableMediaFileFormat(&info, &hit), S_OK);
    fromBuffer = info.type;
    EXPECT_EQ(fromBuffer, m.type);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryToolRow, ToolMadeFile, ::testing::ValuesIn(kMade),
                         [](const ::testing::TestParamInfo<Made>& info) {
                           std::string n = info.param.file;
                           for (char& c : n)
                             if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                           return n;
                         });

DWORD Identify(const ByteWriter& w, DWORD flags = 0) {
  ZOFILEIDINFO info{flags, INVALID_HANDLE_VALUE, nullptr, w.data().data(), DWORD(w.size()), nullptr, 0};
  BOOL found = FALSE;
  EXPECT_EQ(ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found), S_OK);
  return info.type;
}

ByteWriter WaveHead(WORD tag, bool scot) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(100).fourcc("WAVE").fourcc("fmt ").u32le(18).u16le(tag).zeros(16);
  w.fourcc("JUNK").u32le(14).zeros(14);
  w.fourcc(scot ? "scot" : "xxxx").u32le(0).zeros(16);
  return w;
}

TEST(Rows, WaveVariantsFollowTheirOrder) {
  EXPECT_EQ(Identify(WaveHead(0x1971, false)), DWORD(ZOFILEID_WAVE_1971));
  EXPECT_EQ(Identify(WaveHead(0x1971, true)), DWORD(ZOFILEID_WAVE_1971));  // never 2 or 7
  EXPECT_EQ(Identify(WaveHead(1, true)), DWORD(ZOFILEID_WAVE_SCOT));
  EXPECT_EQ(Identify(WaveHead(1, true), ZOFILEID_SCOT_AS_WAVE), DWORD(ZOFILEID_WAVE));
  ByteWriter zero = WaveHead(1, false);
  zero.patch32le(4, 0);  // a RIFF size of 0 is no wave by this table
  EXPECT_EQ(Identify(zero), DWORD(ZOFILEID_UNKNOWN));
}

DWORD IdentifyNamed(const ScratchDir& dir, const std::string& name, DWORD flags) {
  ByteWriter w;
  w.zeros(64);
  WriteBytes(dir / name, w.data());
  Handle h(dir / name);
  DWORD type = 0;
  ZoIsQuicklyIdentifiableMediaFileFormat(h.get(), Wide(dir / name).c_str(), flags, &type);
  return type;
}

TEST(Rows, ExtensionOnlyRowsNeedAKnownExtension) {
  ScratchDir dir;
  std::filesystem::create_directory(dir / "a.dir");
  EXPECT_EQ(IdentifyNamed(dir, "clip.MXF", 0), DWORD(ZOFILEID_MXF));
  EXPECT_EQ(IdentifyNamed(dir, "clip.mxf", ZOFILEID_IGNORE_EXTENSION), DWORD(ZOFILEID_UNKNOWN));
  EXPECT_EQ(IdentifyNamed(dir, "a.dir/raw", 0), DWORD(ZOFILEID_UNKNOWN));
  EXPECT_EQ(IdentifyNamed(dir, "x.aac", 0), DWORD(ZOFILEID_AAC));
}

TEST(Rows, RangeFlagsSkipOtherRanges) {
  ByteWriter png;
  png.u8(0x89).fourcc("PNG\r").u8(0x0A).u8(0x1A).u8(0x0A).zeros(32);
  EXPECT_EQ(Identify(png, ZOFILEID_IMAGE_ONLY), DWORD(ZOFILEID_PNG));
  EXPECT_EQ(Identify(png, ZOFILEID_AUDIO_ONLY | ZOFILEID_VIDEO_ONLY), DWORD(ZOFILEID_UNKNOWN));
  EXPECT_EQ(Identify(WaveHead(1, false), ZOFILEID_VIDEO_ONLY), DWORD(ZOFILEID_UNKNOWN));
}

TEST(Rows, RangeFlagsSkipTheBoxClassifier) {
  VANE_REQUIRE_TOOL("ffmpeg");
  auto identify = [](const char* file, DWORD flags) {
    auto it = g_files->made.find(file);
    if (it == g_files->made.end()) return DWORD(~0u);
    DWORD type = 0;
    ZoIsQuicklyIdentifiableMediaFileFormat(Wide(it->second).c_str(), flags, &type);
    return type;
  };
  // Without its own type the classifier row is skipped; the plainer rows decide.
  EXPECT_EQ(identify("aac.mp4", 0), DWORD(ZOFILEID_AAC));
  EXPECT_EQ(identify("aac.mp4", ZOFILEID_AUDIO_ONLY), DWORD(ZOFILEID_UNKNOWN));
  EXPECT_EQ(identify("avc.mp4", ZOFILEID_VIDEO_ONLY), DWORD(ZOFILEID_QUICKTIME));
}

TEST(Rows, BoxClassifierReadsOnlyTheHeadersOfALargeMovieBox) {
  VANE_REQUIRE_TOOL("ffmpeg");
  ScratchDir dir;
  const auto p = dir / "long.mp4";
  // A 100 KB comment makes the movie box large; the classifier needs none of it.
  ASSERT_TRUE(Make(Expand("ffmpeg {sine} -c:a aac -metadata comment=" + std::string(100000, 'x') + " {out}",
                          p.string())));
  Handle h(p);
  std::uint64_t bytesRead = 0;
  vane::riff::SetReadCounterForThread(&bytesRead);
  DWORD type = 0;
  EXPECT_TRUE(ZoIsQuicklyIdentifiableMediaFileFormat(h.get(), Wide(p).c_str(), 0, &type));
  vane::riff::SetReadCounterForThread(nullptr);
  EXPECT_EQ(type, DWORD(ZOFILEID_AAC));
  EXPECT_LT(bytesRead, 65536u + 16384u);
}

// A transport stream made by ffmpeg with two video streams and AC-3 audio;
// one video entry of its program map is turned into a second view (type 32).
class SecondView : public ::testing::Test {
 protected:
  // Makes the stream with the inputs mapped in `order` (v: video, a: audio)
  // and returns its bytes; patches the entry at `entry` of every copy of the map.
  std::vector<std::uint8_t> Make(const std::string& order, size_t entry) {
    std::string command = "ffmpeg -v error -y";
    std::string maps;
    for (size_t i = 0; i < order.size(); ++i) {
      command += order[i] == 'v' ? " -f lavfi -i testsrc=size=64x48:rate=10:duration=0.5"
                                 : " -f lavfi -i sine=duration=0.5";
      maps += " -map " + std::to_string(i);
    }
    const auto out = m_dir / "t.ts";
    EXPECT_TRUE(vane::test::Make(command + maps + " -c:v mpeg2video -c:a ac3 " + ShellQuote(out.string())));
    auto bytes = ReadBytes(out);
    for (size_t k = 0; k + 188 <= bytes.size(); k += 188) {
      std::uint8_t* pk = bytes.data() + k;
      if (!(pk[1] & 0x40) || (pk[3] & 0x20)) continue;
      std::uint8_t* sec = pk + 5 + pk[4];
      if (sec[0] != 2) continue;
      size_t q = 12 + ((sec[10] & 0x0F) << 8 | sec[11]);
      for (size_t i = 0; i < entry; ++i) q += 5 + ((sec[q + 3] & 0x0F) << 8 | sec[q + 4]);
      EXPECT_EQ(sec[q], 2) << "entry " << entry << " is not video";
      sec[q] = 32;
    }
    return bytes;
  }
  static DWORD Identify(const std::vector<std::uint8_t>& bytes) {
    ZOFILEIDINFO info{0, INVALID_HANDLE_VALUE, nullptr, bytes.data(), DWORD(std::min<size_t>(bytes.size(), 0x10000)),
                      nullptr, 0};
    BOOL found = FALSE;
    EXPECT_EQ(ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found), S_OK);
    return info.type;
  }
  ScratchDir m_dir;
};

TEST_F(SecondView, IsFoundInTheProgramMapEvenAsItsLastEntry) {
  VANE_REQUIRE_TOOL("ffmpeg");
  EXPECT_EQ(Identify(Make("vva", 1)), DWORD(ZOFILEID_MPEG_TS_MVC));
  // The last entry has no descriptors: 5 bytes and the CRC are left.
  EXPECT_EQ(Identify(Make("vav", 2)), DWORD(ZOFILEID_MPEG_TS_MVC));
}

TEST_F(SecondView, AFirstAssociationTableThatDoesNotParseEndsTheWalk) {
  VANE_REQUIRE_TOOL("ffmpeg");
  auto bytes = Make("vva", 1);
  for (size_t k = 0; k + 188 <= bytes.size(); k += 188) {
    if ((bytes[k + 1] & 0x1F) == 0 && bytes[k + 2] == 0 && (bytes[k + 1] & 0x40)) {
      bytes[k + 5 + bytes[k + 4]] = 0x40;  // table id of the first PAT; later copies stay good
      break;
    }
  }
  EXPECT_EQ(Identify(bytes), DWORD(ZOFILEID_MPEG_TS));
}

TEST(Rows, ArgumentsAndOpenFailuresGiveStatuses) {
  BOOL found = TRUE;
  EXPECT_EQ(ZoIsQuicklyIdentifiableMediaFileFormat(nullptr, &found), E_INVALIDARG);
  ZOFILEIDINFO none{0, INVALID_HANDLE_VALUE, nullptr, nullptr, 0, nullptr, 7};
  EXPECT_EQ(ZoIsQuicklyIdentifiableMediaFileFormat(&none, &found), E_INVALIDARG);
  EXPECT_FALSE(found);
  ZOFILEIDINFO missing{0, INVALID_HANDLE_VALUE, u"/nonexistent/file.wav", nullptr, 0, nullptr, 0};
  EXPECT_TRUE(FAILED(ZoIsQuicklyIdentifiableMediaFileFormat(&missing, &found)));
}

// Every prefix of every hand-built header identifies without reading past it.
TEST(Rows, TruncatedHeadersStayInsideTheBuffer) {
  std::vector<ByteWriter> heads = {WaveHead(1, true)};
  ByteWriter ts;
  for (int k = 0; k < 4; ++k) ts.u8('G').u8(0x40).u8(0).u8(0x10).zeros(184);
  heads.push_back(ts);
  ByteWriter ftyp;
  ftyp.u32be(24).fourcc("ftyp").fourcc("isom").u32be(0).fourcc("avc1").fourcc("mp41").u32be(16).fourcc("moov").zeros(8);
  heads.push_back(ftyp);
  for (const ByteWriter& h : heads) {
    for (size_t cut = 1; cut <= h.size(); ++cut) {
      std::vector<std::uint8_t> part(h.data().begin(), h.data().begin() + long(cut));
      DWORD type = 0;
      ZoIsQuicklyIdentifiableMediaFileFormat(part.data(), DWORD(part.size()), 0, &type);
      EXPECT_NE(type, 0u);
    }
  }
}

}  // namespace
