// SPDX-License-Identifier: MIT
// RF64 files made by ffmpeg as a writer that stopped would leave them, and
// metadata edits on them: the repair sets ds64 from the walk and the file's
// length, deletes and appends keep ds64 consistent, and the audio (compared
// with ffmpeg's raw decode of the untouched file) never changes.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/meta_write.h"
#include "riff/rf64_repair.h"
#include "tests/support/test_files.h"

namespace {

using vane::test::ReadBytes;
using vane::test::RunCommand;
using vane::test::ShellQuote;

std::u16string U(const std::filesystem::path& p) { return vane::platform::FromUtf8(p.string()); }

std::uint64_t Le64At(const std::vector<std::uint8_t>& b, size_t at) {
  std::uint64_t v = 0;
  std::memcpy(&v, b.data() + at, 8);
  return v;
}

class Rf64Test : public ::testing::Test {
 protected:
  // Two seconds of 24-bit stereo noise in the RF64 form; title given when asked.
  std::filesystem::path Make(const std::string& name, bool title = false) {
    const auto file = m_dir / name;
    const std::string make = "ffmpeg -nostdin -loglevel error -f lavfi -i 'anoisesrc=d=2:r=44100' -ac 2 -c:a pcm_s24le " +
                             std::string(title ? "-metadata title=Kept " : "") + "-rf64 always -y " +
                             ShellQuote(file.string());
    EXPECT_EQ(RunCommand(make), 0) << make;
    return file;
  }
  static std::vector<std::uint8_t> Decode(const std::filesystem::path& file) {
    const std::string raw = file.string() + ".raw";
    EXPECT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -i " + ShellQuote(file.string()) + " -f s32le -y " +
                         ShellQuote(raw)),
              0);
    return ReadBytes(raw);
  }
  static std::string Probe(const std::filesystem::path& file) {
    std::string out;
    RunCommand("ffprobe -v error -show_entries stream=duration_ts:format_tags -of compact " + ShellQuote(file.string()),
               &out);
    return out;
  }
  static HRESULT Repair(const std::filesystem::path& file) {
    HANDLE h = CreateFileW(U(file).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return E_FAIL;
    const HRESULT hr = ZoFixTrashedRF64(h);
    CloseHandle(h);
    return hr;
  }
  static void Zero(const std::filesystem::path& file, std::streamoff at, size_t n) {
    std::fstream f(file, std::ios::in | std::ios::out | std::ios::binary);
    std::vector<char> zeros(n, 0);
    f.seekp(at);
    f.write(zeros.data(), std::streamsize(n));
  }

  vane::test::ScratchDir m_dir;
};

TEST_F(Rf64Test, ZeroedSizesAreSetFromTheWalkAndTheAudioIsKept) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto original = Make("a.wav");
  const auto broken = m_dir / "b.wav";
  std::filesystem::copy_file(original, broken);
  Zero(broken, 20, 24);  // riff, data and frame counts of ds64
  EXPECT_EQ(Repair(broken), S_OK);
  EXPECT_EQ(ReadBytes(broken), ReadBytes(original));
  EXPECT_EQ(Repair(broken), S_FALSE);
  // Through the tool as a user repairs, with a copy written beside.
  Zero(broken, 20, 24);
  const auto fixed = m_dir / "fixed.wav";
  ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " repair " + ShellQuote(broken.string()) + " -o " +
                       ShellQuote(fixed.string())),
            0);
  EXPECT_TRUE(Decode(fixed) == Decode(original));
}

TEST_F(Rf64Test, ARecordingCutInsideAFrameKeepsTheWholeFrames) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto original = Make("a.wav");
  const auto cut = m_dir / "cut.wav";
  std::filesystem::copy_file(original, cut);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) - 6000 - 4);
  Zero(cut, 20, 24);
  EXPECT_EQ(Repair(cut), S_OK);
  const auto bytes = ReadBytes(cut);
  const std::uint64_t frames = Le64At(bytes, 36);
  EXPECT_EQ(frames, 88200u - 1000u - 1u);  // 6 bytes a frame: 1000 frames gone and one cut short
  EXPECT_EQ(Le64At(bytes, 28), frames * 6);
  const auto a = Decode(cut), b = Decode(original);
  ASSERT_EQ(a.size(), frames * 2 * 4);
  EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin()));
}

TEST_F(Rf64Test, AClassicFilePastFourGigabytesWithReservedRoomBecomesRf64) {
  VANE_REQUIRE_TOOL("ffprobe");
  // A writer that kept a JUNK chunk for ds64 and stopped past 4 GB: sizes at 0.
  vane::test::ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE").fourcc("JUNK").u32le(28).zeros(28);
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(2).u32le(48000).u32le(192000).u16le(4).u16le(16);
  w.fourcc("data").u32le(0);
  const auto file = m_dir / "junk.wav";
  vane::test::WriteBytes(file, w.data());
  const std::uint64_t frames = 1200000000;  // 4.8 GB of 16-bit stereo, sparse
  std::filesystem::resize_file(file, w.size() + frames * 4 + 3);
  EXPECT_EQ(Repair(file), S_OK);
  const std::string probe = Probe(file);
  EXPECT_NE(probe.find("duration_ts=" + std::to_string(frames)), std::string::npos) << probe;
  std::ifstream in(file, std::ios::binary);
  char id[4];
  in.read(id, 4);
  EXPECT_EQ(std::string(id, 4), "RF64");
}

TEST_F(Rf64Test, DeletesAndAppendsKeepDs64AndNeverMoveTheAudio) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto file = Make("t.wav", true);
  const auto before = Decode(file);
  ASSERT_NE(Probe(file).find("title=Kept"), std::string::npos);
  // ffmpeg puts LIST INFO ahead of the audio: deleting it leaves JUNK in its place.
  ASSERT_EQ(ZoFMMeta_DeleteMetaChunksEx(U(file).c_str(), ZOFIO_META_SUMMARY, FALSE), S_OK);
  EXPECT_EQ(Probe(file).find("title=Kept"), std::string::npos);
  EXPECT_TRUE(Decode(file) == before);
  // A summary appended behind the audio, then deleted again: ds64 follows the file.
  HANDLE h = CreateFileW(U(file).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  ZOSUMMARY summary{};
  ZoSummary_SetItem(&summary, 0x4D414E49 /* INAM */, u"Appended");
  EXPECT_EQ(vane::riff::WriteSummaryChunk(h, &summary), S_OK);
  ZoSummary_Free(&summary);
  CloseHandle(h);
  auto bytes = ReadBytes(file);
  EXPECT_EQ(Le64At(bytes, 20), bytes.size() - 8);
  EXPECT_NE(Probe(file).find("title=Appended"), std::string::npos) << Probe(file);
  EXPECT_TRUE(Decode(file) == before);
  const size_t grown = bytes.size();
  ASSERT_EQ(ZoFMMeta_DeleteMetaChunksEx(U(file).c_str(), ZOFIO_META_SUMMARY, FALSE), S_OK);
  bytes = ReadBytes(file);
  EXPECT_LT(bytes.size(), grown);
  EXPECT_EQ(Le64At(bytes, 20), bytes.size() - 8);
  EXPECT_TRUE(Decode(file) == before);
}

TEST_F(Rf64Test, DamagedHeadsAreRefusedWithoutWriting) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto original = Make("a.wav");
  struct Case {
    const char* what;
    std::streamoff at;
    const char* bytes;
  };
  const Case cases[] = {{"no ds64", 12, "JUNK"}, {"no data chunk", 0, nullptr}, {"no WAVE", 8, "WAVX"}};
  for (const Case& c : cases) {
    const auto file = m_dir / "bad.wav";
    std::filesystem::copy_file(original, file, std::filesystem::copy_options::overwrite_existing);
    if (c.bytes) {
      std::fstream f(file, std::ios::in | std::ios::out | std::ios::binary);
      f.seekp(c.at);
      f.write(c.bytes, 4);
    } else {
      std::filesystem::resize_file(file, 60);  // cut before the data chunk
    }
    const auto kept = ReadBytes(file);
    EXPECT_TRUE(FAILED(Repair(file))) << c.what;
    EXPECT_EQ(ReadBytes(file), kept) << c.what;
  }
}

}  // namespace
