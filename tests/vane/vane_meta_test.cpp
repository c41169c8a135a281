// SPDX-License-Identifier: MIT
// vane meta on a broadcast wave made by ffmpeg: one item list for info, bext
// and ixml; edits land where ffprobe and exiftool find them, and the decoded
// audio is the same before and after.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/test_files.h"

namespace {

int Vane(const std::string& args, std::string* out = nullptr) {
  return vane::test::RunCommand(std::string(VANE_TOOL_PATH) + " " + args + " 2>/dev/null", out);
}

std::string AudioHash(const std::string& file) {
  std::string md5;
  vane::test::RunCommand("ffmpeg -v error -i " + file + " -f md5 -", &md5);
  return md5;
}

// A half-second broadcast wave by ffmpeg with a description and a title;
// `options` adds encoder options. Returns its name ("" when ffmpeg failed).
std::string MakeTake(const vane::test::ScratchDir& dir, const std::string& name, const std::string& options) {
  const std::string file = (dir / name).string();
  const int rc = vane::test::RunCommand("ffmpeg -v error -f lavfi -i sine=frequency=440:duration=0.5 -ar 48000 " + options +
                                        " -write_bext 1 -metadata description=Before -metadata title=Take -y " + file +
                                        " </dev/null");
  return rc == 0 ? file : std::string();
}

// The items every take starts with.
void ExpectTakeItems(const std::string& json) {
  EXPECT_NE(json.find(R"({"dialect":"info","key":"INAM","value":"Take"})"), std::string::npos) << json;
  EXPECT_NE(json.find(R"({"dialect":"bext","key":"description","value":"Before"})"), std::string::npos) << json;
}

TEST(VaneMeta, ShowsAndEditsBextAndIxmlWithoutTouchingTheAudio) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("ffprobe");
  vane::test::ScratchDir dir;
  const std::string file = MakeTake(dir, "take.wav", "-metadata originator=Recorder");
  ASSERT_FALSE(file.empty());
  const std::string audio = AudioHash(file);
  std::string json;
  ASSERT_EQ(Vane("meta " + file + " --json", &json), 0);
  ExpectTakeItems(json);
  EXPECT_NE(json.find(R"("sample_rate":48000)"), std::string::npos) << json;

  ASSERT_EQ(Vane("meta " + file + " --set bext.description=After --set ixml.SCENE=12A --set ixml.SPEED/TIMECODE_RATE=25/1"
                 " --delete bext.originator --json", &json), 0);
  EXPECT_NE(json.find(R"({"dialect":"ixml","key":"SCENE","value":"12A"})"), std::string::npos) << json;
  EXPECT_EQ(json.find(R"("key":"originator")"), std::string::npos) << json;
  std::string probe;
  vane::test::RunCommand("ffprobe -v error -show_entries format_tags -of default=nw=1 " + file, &probe);
  EXPECT_NE(probe.find("comment=After"), std::string::npos) << probe;
  if (vane::test::HaveTool("exiftool")) {
    std::string exif;
    vane::test::RunCommand("exiftool -s -BwfxmlScene " + file, &exif);
    EXPECT_NE(exif.find("12A"), std::string::npos) << exif;
  }
  EXPECT_EQ(AudioHash(file), audio);

  ASSERT_EQ(Vane("meta " + file + " --add-marker 4800:Slate --add-region 9600+2400:Take --json", &json), 0);
  EXPECT_NE(json.find(R"({"dialect":"marker","key":"1","value":"Slate","position":4800,"length":-1})"), std::string::npos)
      << json;
  EXPECT_NE(json.find(R"({"dialect":"region","key":"2","value":"Take","position":9600,"length":2400})"), std::string::npos)
      << json;
  EXPECT_NE(json.find(R"({"dialect":"ixml","key":"SCENE","value":"12A"})"), std::string::npos) << "other items stay";
  EXPECT_EQ(AudioHash(file), audio);
  ASSERT_EQ(Vane("meta " + file + " --delete-markers --json", &json), 0);
  EXPECT_EQ(json.find(R"("dialect":"marker")"), std::string::npos) << json;
  EXPECT_EQ(Vane("meta " + file + " --add-region 10"), 2) << "a region needs a length";
  ASSERT_EQ(Vane("meta " + file + " --set info.INAM=Renamed --set info.IART=Band --delete info.ISFT --json", &json), 0);
  EXPECT_NE(json.find(R"({"dialect":"info","key":"INAM","value":"Renamed"})"), std::string::npos) << json;
  EXPECT_EQ(json.find(R"("key":"ISFT")"), std::string::npos) << json;
  vane::test::RunCommand("ffprobe -v error -show_entries format_tags -of default=nw=1 " + file, &probe);
  EXPECT_NE(probe.find("title=Renamed"), std::string::npos) << probe;
  EXPECT_NE(probe.find("artist=Band"), std::string::npos) << probe;
  EXPECT_EQ(AudioHash(file), audio);
  EXPECT_EQ(Vane("meta " + file + " --set info.TOOLONG=x"), 2);
  EXPECT_EQ(Vane("meta " + (dir / "missing.wav").string()), 1);
}

// The ds64 form size must follow every append, and the 32-bit fields stay
// at their RF64 marker.
void ExpectRf64Consistent(const std::string& file) {
  const std::vector<std::uint8_t> bytes = vane::test::ReadBytes(file);
  ASSERT_GE(bytes.size(), 36u);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RF64");
  EXPECT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 16), "ds64");
  std::uint64_t riffSize = 0;
  std::memcpy(&riffSize, bytes.data() + 20, 8);
  EXPECT_EQ(riffSize + 8, bytes.size()) << "ds64 RIFF size after an edit";
}

TEST(VaneMeta, EditsRf64FilesKeepingDs64AndTheAudio) {
  VANE_REQUIRE_TOOL("ffmpeg");
  VANE_REQUIRE_TOOL("ffprobe");
  vane::test::ScratchDir dir;
  const std::string file = MakeTake(dir, "long.wav", "-c:a pcm_s24le -rf64 always");
  ASSERT_FALSE(file.empty());
  const std::string audio = AudioHash(file);
  std::string json;
  ASSERT_EQ(Vane("meta " + file + " --json", &json), 0);
  ExpectTakeItems(json);

  ASSERT_EQ(Vane("meta " + file + " --set bext.description=A-description-longer-than-the-old-one --set ixml.SCENE=7B"
                 " --set info.INAM=Renamed --add-marker 4800:Slate --add-region 9600+2400:Take --json", &json), 0);
  EXPECT_NE(json.find(R"({"dialect":"ixml","key":"SCENE","value":"7B"})"), std::string::npos) << json;
  EXPECT_NE(json.find(R"({"dialect":"info","key":"INAM","value":"Renamed"})"), std::string::npos) << json;
  EXPECT_NE(json.find(R"({"dialect":"marker","key":"1","value":"Slate","position":4800,"length":-1})"), std::string::npos)
      << json;
  ExpectRf64Consistent(file);
  std::string probe;
  vane::test::RunCommand("ffprobe -v error -show_entries format_tags -of default=nw=1 " + file, &probe);
  EXPECT_NE(probe.find("comment=A-description-longer-than-the-old-one"), std::string::npos) << probe;
  EXPECT_NE(probe.find("title=Renamed"), std::string::npos) << probe;
  EXPECT_EQ(AudioHash(file), audio);

  ASSERT_EQ(Vane("meta " + file + " --delete bext.description --delete-markers --json", &json), 0);
  EXPECT_EQ(json.find(R"("dialect":"marker")"), std::string::npos) << json;
  ExpectRf64Consistent(file);
  EXPECT_EQ(AudioHash(file), audio);
  if (vane::test::HaveTool("sox")) {
    std::string info;
    vane::test::RunCommand("sox --i -s " + file, &info);
    EXPECT_EQ(info.substr(0, 5), "24000") << "sox still reads every frame";
  }
}

}  // namespace
