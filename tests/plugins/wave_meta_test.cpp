// SPDX-License-Identifier: MIT
// The Wave plug-in's metadata as a host meets it: a file opened through the
// manager answers IZoReadMeta with the text items of its "INFO" list, from
// files made by ffmpeg and by hand; odd sizes, damaged and cut lists keep
// what comes before the damage and never crash.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "fileio/zofileio.h"
#include "fileutil/meta_stream.h"
#include "platform/wtext.h"
#include "tests/support/test_files.h"

namespace {

using vane::ComPtr;
using vane::test::ByteWriter;
using vane::test::RunCommand;
using vane::test::ShellQuote;

constexpr DWORD Tag(const char (&s)[5]) {
  return DWORD(BYTE(s[0])) | DWORD(BYTE(s[1])) << 8 | DWORD(BYTE(s[2])) << 16 | DWORD(BYTE(s[3])) << 24;
}

class WaveMetaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CACHE_HOME", (m_dir / "cache").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (m_dir / "config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", m_dir.path().c_str(), 1);
    unsetenv("VANE_PLUGIN_PATH");
    ASSERT_EQ(ZOFileIO_CreateInstance(&m_manager, 0), S_OK);
  }
  void TearDown() override {
    if (m_manager) {
      m_manager->Shutdown();
      m_manager->Release();
    }
  }

  // The file's read-meta object through the manager, or the failing status.
  HRESULT OpenMeta(const std::filesystem::path& file, ComPtr<IZoReadMeta>* meta) {
    ComPtr<IZoReadFile> f;
    const std::u16string name = vane::platform::FromUtf8(file.string());
    VANE_RETURN_IF_FAILED(m_manager->OpenReadFile(name.c_str(), f.ReleaseAndGetAddressOf(), 0));
    return f->QueryInterface(IID_IZoReadMeta, meta->AsVoidOut());
  }

  static std::u16string Text(IZoReadMeta* meta, DWORD tag, HRESULT* status = nullptr) {
    WCHAR buf[256];
    const HRESULT hr = meta->GetSummaryInfo(tag, buf, 256);
    if (status) *status = hr;
    return buf;
  }

  void Write(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }

  vane::test::ScratchDir m_dir;
  IZoFileIOMgrForApp* m_manager = nullptr;
};

// A 16-bit mono Wave at 8 kHz with 4 frames and the INFO list given as
// (id, body) chunks; `listSizeDelta` makes the list's size lie.
std::vector<std::uint8_t> WaveWithInfo(const std::vector<std::pair<std::string, std::string>>& items,
                                       int listSizeDelta = 0) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(8000).u32le(16000).u16le(2).u16le(16);
  w.fourcc("data").u32le(8).zeros(8);
  const std::size_t list = w.size();
  w.fourcc("LIST").u32le(0).fourcc("INFO");
  for (const auto& [id, body] : items) {
    w.fourcc(id.c_str()).u32le(std::uint32_t(body.size())).bytes(body.data(), body.size());
    if (body.size() & 1) w.u8(0);
  }
  w.patch32le(list + 4, std::uint32_t(int(w.size() - list - 8) + listSizeDelta));
  w.patch32le(4, std::uint32_t(w.size() - 8));
  return w.data();
}

TEST_F(WaveMetaTest, TagsOfAnFfmpegFileComeThroughTheManager) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto file = m_dir / "tagged.wav";
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -f lavfi -i 'sine=f=440:d=0.2' -metadata title='A Title' "
                       "-metadata artist='Some Artist' -metadata comment='made for a test' -y " +
                       ShellQuote(file.string())),
            0);
  ComPtr<IZoReadMeta> meta;
  ASSERT_EQ(OpenMeta(file, &meta), S_OK);
  EXPECT_EQ(Text(meta.Get(), Tag("INAM")), u"A Title");
  EXPECT_EQ(Text(meta.Get(), Tag("IART")), u"Some Artist");
  EXPECT_EQ(Text(meta.Get(), Tag("ICMT")), u"made for a test");
  HRESULT hr = S_OK;
  EXPECT_EQ(Text(meta.Get(), Tag("ICOP"), &hr), u"");
  EXPECT_EQ(hr, ZOERR_NOT_FOUND);

  ComPtr<IStream> all;
  ASSERT_EQ(meta->GetAllSummaryInfo(all.ReleaseAndGetAddressOf()), S_OK);
  fileutil::MetaMap back;
  ASSERT_EQ(fileutil::InitMapFromSummaryStream(all.Get(), &back), S_OK);
  EXPECT_EQ(back.getMetaItem(Tag("INAM")), u"A Title");
  EXPECT_TRUE(back.hasMetaItem(Tag("ISFT"))) << "ffmpeg names itself";
}

TEST_F(WaveMetaTest, OddSizesAndSixInterfacesOfAHandMadeFile) {
  const auto file = m_dir / "hand.wav";
  Write(file, WaveWithInfo({{"INAM", std::string("ab\0", 3)}, {"IART", std::string("Five5\0", 6)},
                            {"ICMT", std::string("\xE9t\xE9", 3)}}));
  ComPtr<IZoReadMeta> meta;
  ASSERT_EQ(OpenMeta(file, &meta), S_OK);
  EXPECT_EQ(Text(meta.Get(), Tag("INAM")), u"ab");
  EXPECT_EQ(Text(meta.Get(), Tag("IART")), u"Five5");
  EXPECT_EQ(Text(meta.Get(), Tag("ICMT")), u"\u00e9t\u00e9") << "ANSI text; a body without terminator is read whole";

  ComPtr<IStream> markers;
  ASSERT_EQ(meta->GetMarkers(markers.ReleaseAndGetAddressOf()), S_OK);
  fileutil::MetaStreamContent c;
  ASSERT_EQ(fileutil::ReadMetaStream(markers.Get(), &c), S_OK);
  EXPECT_EQ(c.count, 0u);
  ComPtr<IZoReadGenericMeta> generic;
  ASSERT_EQ(meta->QueryInterface(IID_IZoReadGenericMeta, generic.AsVoidOut()), S_OK);
  ASSERT_EQ(generic->ResetGenericEnum(), S_OK);
  ComPtr<IStream> none;
  EXPECT_EQ(generic->GetNextGenericInfo(none.ReleaseAndGetAddressOf()), S_FALSE);
}

TEST_F(WaveMetaTest, MarkersAndUtf8TitlesComeThroughTheManager) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(1).u32le(8000).u32le(16000).u16le(2).u16le(16);
  w.fourcc("data").u32le(16000).zeros(16000);
  w.fourcc("cue ").u32le(4 + 48).u32le(2);
  for (std::uint32_t id : {1u, 2u}) w.u32le(id).u32le(id * 800).fourcc("data").u32le(0).u32le(0).u32le(id * 800);
  w.fourcc("LIST").u32le(4 + 28 + 14).fourcc("adtl");
  w.fourcc("ltxt").u32le(20).u32le(2).u32le(4000).fourcc("rgn ").zeros(8);
  w.fourcc("labl").u32le(6).u32le(1).bytes("Go", 2);
  w.fourcc("LIST").u32le(4 + 8 + 6).fourcc("INFO").fourcc("INAM").u32le(6).bytes("Caf\xC3\xA9", 6);
  w.patch32le(4, std::uint32_t(w.size() - 8));
  const auto file = m_dir / "marked.wav";
  Write(file, w.data());
  ComPtr<IZoReadMeta> meta;
  ASSERT_EQ(OpenMeta(file, &meta), S_OK);
  EXPECT_EQ(Text(meta.Get(), Tag("INAM")), u"Caf\u00e9") << "UTF-8 text as most tools write it";
  ComPtr<IStream> markers;
  ASSERT_EQ(meta->GetMarkers(markers.ReleaseAndGetAddressOf()), S_OK);
  fileutil::MetaStreamContent c;
  ASSERT_EQ(fileutil::ReadMetaStream(markers.Get(), &c), S_OK);
  ASSERT_EQ(c.count, 2u);
  fileutil::ZOMETAMARKERTIME first{}, second{};
  std::u16string text;
  ASSERT_EQ(fileutil::ParseMarkerTime(c.items[0].data, &first, &text), S_OK);
  EXPECT_EQ(text, u"Go");
  EXPECT_EQ(LONGLONG(first.start), 1000000) << "800 samples at 8 kHz in 100 ns units";
  EXPECT_EQ(DWORD(first.region), 0u);
  ASSERT_EQ(fileutil::ParseMarkerTime(c.items[1].data, &second, &text), S_OK);
  EXPECT_EQ(DWORD(second.region), 1u);
  EXPECT_EQ(LONGLONG(second.length), 5000000) << "a region of 4000 samples";
}

TEST_F(WaveMetaTest, VaneInfoShowsTheTags) {
  const auto file = m_dir / "tags.wav";
  Write(file, WaveWithInfo({{"INAM", std::string("ab\0", 3)}, {"IART", std::string("Five5\0", 6)}}));
  std::string out;
  ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " info --json " + ShellQuote(file.string()), &out), 0);
  EXPECT_NE(out.find("\"tags\":{\"INAM\":\"ab\",\"IART\":\"Five5\"}"), std::string::npos) << out;
  ASSERT_EQ(RunCommand(ShellQuote(VANE_TOOL_PATH) + " info " + ShellQuote(file.string()), &out), 0);
  EXPECT_NE(out.find("tag INAM: ab"), std::string::npos) << out;
}

TEST_F(WaveMetaTest, DamagedListKeepsTheItemsBeforeTheDamage) {
  const auto file = m_dir / "damaged.wav";
  // The third item claims more bytes than the list holds.
  auto bytes = WaveWithInfo({{"INAM", std::string("one\0", 4)}, {"IART", std::string("two\0", 4)},
                             {"ICMT", std::string("three\0", 6)}});
  const std::size_t icmtSize = bytes.size() - 6 - 4;
  bytes[icmtSize] = 0xF0;
  bytes[icmtSize + 1] = 0xFF;
  Write(file, bytes);
  ComPtr<IZoReadMeta> meta;
  ASSERT_EQ(OpenMeta(file, &meta), S_OK);
  EXPECT_EQ(Text(meta.Get(), Tag("INAM")), u"one");
  EXPECT_EQ(Text(meta.Get(), Tag("IART")), u"two");
  HRESULT hr = S_OK;
  Text(meta.Get(), Tag("ICMT"), &hr);
  EXPECT_EQ(hr, ZOERR_NOT_FOUND);
}

TEST_F(WaveMetaTest, EveryCutOfTheListOpensOrFailsWithoutCrash) {
  const auto whole = WaveWithInfo({{"INAM", std::string("title\0", 6)}, {"IART", std::string("x\0", 2)}});
  const std::size_t listStart = 12 + 24 + 16;
  for (std::size_t n = listStart; n < whole.size(); ++n) {
    const auto file = m_dir / ("cut" + std::to_string(n) + ".wav");
    Write(file, std::vector<std::uint8_t>(whole.begin(), whole.begin() + n));
    ComPtr<IZoReadMeta> meta;
    const HRESULT hr = OpenMeta(file, &meta);
    if (FAILED(hr)) continue;  // the audio side may refuse a cut file
    HRESULT status = S_OK;
    const std::u16string title = Text(meta.Get(), Tag("INAM"), &status);
    EXPECT_TRUE(status == S_OK || status == ZOERR_NOT_FOUND) << n;
    if (status == S_OK) {
      EXPECT_EQ(title, u"title") << n;
    }
  }
}

TEST_F(WaveMetaTest, Wave64FileHasAnEmptyMap) {
  VANE_REQUIRE_TOOL("ffmpeg");
  const auto file = m_dir / "plain.w64";
  ASSERT_EQ(RunCommand("ffmpeg -nostdin -loglevel error -f lavfi -i 'sine=f=440:d=0.1' -metadata title=x -y " +
                       ShellQuote(file.string())),
            0);
  ComPtr<IZoReadMeta> meta;
  ASSERT_EQ(OpenMeta(file, &meta), S_OK);
  HRESULT hr = S_OK;
  Text(meta.Get(), Tag("INAM"), &hr);
  EXPECT_EQ(hr, ZOERR_NOT_FOUND);
}

}  // namespace
