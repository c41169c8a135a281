// SPDX-License-Identifier: MIT
// bext and iXML: files made by ffmpeg read as ffmpeg wrote them, files we
// write read back by ffprobe and exiftool, the in-place update rule (patch,
// relabel and append, append to a bare file) never touching the audio, and
// hostile chunks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "riff/bwf_riff.h"
#include "riff/riff_api.h"
#include "tests/riff/riff_test_util.h"

namespace {

namespace fs = std::filesystem;
using vane::platform::ToUtf8;
using vane::test::ByteWriter;
using vane::test::Handle;

const char* kRecorderIxml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<BWFXML><IXML_VERSION>2.10</IXML_VERSION>"
    "<PROJECT>Night &amp; Day</PROJECT><SCENE>12A</SCENE><TAKE>3</TAKE><CIRCLED>TRUE</CIRCLED>"
    "<SPEED><NOTE>camera 2</NOTE><MASTER_SPEED>24000/1001</MASTER_SPEED><TIMECODE_FLAG>NDF</TIMECODE_FLAG>"
    "<TIMECODE_RATE>24000/1001</TIMECODE_RATE><FILE_SAMPLE_RATE>48000</FILE_SAMPLE_RATE>"
    "<TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI>0</TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_HI>"
    "<TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO>1728000000</TIMESTAMP_SAMPLES_SINCE_MIDNIGHT_LO></SPEED>"
    "<TRACK_LIST><TRACK_COUNT>2</TRACK_COUNT>"
    "<TRACK><CHANNEL_INDEX>1</CHANNEL_INDEX><INTERLEAVE_INDEX>1</INTERLEAVE_INDEX><NAME>Boom</NAME></TRACK>"
    "<TRACK><CHANNEL_INDEX>2</CHANNEL_INDEX><INTERLEAVE_INDEX>2</INTERLEAVE_INDEX><NAME>Lav</NAME>"
    "<FUNCTION>MIX</FUNCTION></TRACK></TRACK_LIST>"
    "<LOCATION><LOCATION_NAME a=\"1\">Stage 4</LOCATION_NAME></LOCATION></BWFXML>";

// A 16-bit stereo Wave file with the given extra chunks after "data".
std::vector<std::uint8_t> MakeWave(size_t frames, const std::vector<std::pair<std::string, std::string>>& chunks) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("WAVE");
  w.fourcc("fmt ").u32le(16).u16le(1).u16le(2).u32le(48000).u32le(192000).u16le(4).u16le(16);
  w.fourcc("data").u32le(static_cast<std::uint32_t>(frames * 4));
  for (size_t i = 0; i < frames * 4; ++i) w.u8(static_cast<std::uint8_t>(i * 7));
  for (const auto& [id, body] : chunks) {
    w.fourcc(id.c_str()).u32le(static_cast<std::uint32_t>(body.size())).bytes(body.data(), body.size());
    if (body.size() & 1) w.u8(0);
  }
  w.patch32le(4, static_cast<std::uint32_t>(w.size() - 8));
  return w.data();
}

std::string DataBytes(const fs::path& file) {
  const auto bytes = vane::test::ReadBytes(file);
  const std::string all(bytes.begin(), bytes.end());
  const size_t at = all.find("data");
  std::uint32_t size = 0;
  std::memcpy(&size, all.data() + at + 4, 4);
  return all.substr(at + 8, size);
}

std::string Field(const _tagZOBWF_Chunk& r, int value) { return r.fields[value].present ? ToUtf8(r.fields[value].text) : "<absent>"; }

TEST(BwfRead, FfmpegBextReadsAsWritten) {
  VANE_REQUIRE_TOOL("ffmpeg");
  vane::test::ScratchDir dir;
  const fs::path file = dir / "bwf.wav";
  ASSERT_TRUE(vane::test::Make("ffmpeg -v error -f lavfi -i sine=frequency=440:duration=0.5 -ar 48000 -write_bext 1"
                               " -metadata description='Scene 12A take 3' -metadata originator='Field Recorder'"
                               " -metadata originator_reference=REF123 -metadata origination_date=2026-11-24"
                               " -metadata origination_time=10:20:30 -metadata time_reference=1728000000"
                               " -metadata coding_history='A=PCM,F=48000,W=16,M=mono' -y " + file.string()));
  Handle h(file);
  _tagZOBWF_Chunk record;
  BOOL found = FALSE;
  ASSERT_EQ(bwfriff_LoadInfo(h.get(), &record, &found), S_OK);
  EXPECT_TRUE(found);
  EXPECT_EQ(record.sampleRate, 48000u);
  EXPECT_EQ(Field(record, ZOBWF_DESCRIPTION), "Scene 12A take 3");
  EXPECT_EQ(Field(record, ZOBWF_ORIGINATOR), "Field Recorder");
  EXPECT_EQ(Field(record, ZOBWF_ORIGINATOR_REFERENCE), "REF123");
  EXPECT_EQ(Field(record, ZOBWF_ORIGINATION_DATE), "2026-11-24");
  EXPECT_EQ(Field(record, ZOBWF_ORIGINATION_TIME), "10:20:30");
  EXPECT_EQ(record.timeReference, 1728000000u);
  EXPECT_EQ(Field(record, ZOBWF_CODING_HISTORY).rfind("A=PCM,F=48000,W=16,M=mono", 0), 0u);

  _tagZOBWF_Chunk quick;
  ASSERT_EQ(bwfriff_LoadTimestampInfoQuick(vane::test::Wide(file).c_str(), &quick, &found, FALSE), S_OK);
  EXPECT_EQ(quick.timeReference, 1728000000u);
  EXPECT_EQ(Field(quick, ZOBWF_ORIGINATION_DATE), "2026-11-24");
  EXPECT_EQ(Field(quick, ZOBWF_DESCRIPTION), "<absent>") << "the quick load takes the timestamp only";
  EXPECT_EQ(quick.flags & (ZOBWF_FLAG_TIME | ZOBWF_FLAG_FORMAT), ZOBWF_FLAG_TIME | ZOBWF_FLAG_FORMAT);
}

TEST(BwfWrite, WrittenChunksReadBackByTheFieldsTools) {
  VANE_REQUIRE_TOOL("ffprobe");
  vane::test::ScratchDir dir;
  const fs::path file = dir / "ours.wav";
  vane::test::WriteBytes(file, MakeWave(4800, {}));
  const std::string audio = DataBytes(file);
  _tagZOBWF_Chunk record;
  ASSERT_EQ(ExtractIxmlContent(reinterpret_cast<const BYTE*>(kRecorderIxml), std::strlen(kRecorderIxml), &record), S_OK);
  record.flags |= ZOBWF_FLAG_BEXT | ZOBWF_FLAG_TIME;
  record.fields[ZOBWF_DESCRIPTION] = {TRUE, u"Boom and lav, scene 12A"};
  record.fields[ZOBWF_ORIGINATOR] = {TRUE, u"vane"};
  record.fields[ZOBWF_ORIGINATION_DATE] = {TRUE, u"2026-11-24"};
  record.fields[ZOBWF_ORIGINATION_TIME] = {TRUE, u"08:00:00"};
  record.timeReference = 1728000000;
  record.version = 1;
  {
    Handle h(file, true);
    ASSERT_EQ(bwfriff_SaveInfo(h.get(), &record, FALSE), S_OK);
  }
  EXPECT_TRUE(DataBytes(file) == audio) << "the audio changed";
  std::string probe;
  ASSERT_EQ(vane::test::RunCommand("ffprobe -v error -show_entries format_tags -of default=nw=1 " + file.string(), &probe), 0);
  // ffprobe names the bext description "comment" and the originator "encoded_by".
  EXPECT_NE(probe.find("comment=Boom and lav, scene 12A"), std::string::npos) << probe;
  EXPECT_NE(probe.find("encoded_by=vane"), std::string::npos) << probe;
  EXPECT_NE(probe.find("time_reference=1728000000"), std::string::npos) << probe;
  if (vane::test::HaveTool("exiftool")) {
    std::string exif;
    vane::test::RunCommand("exiftool -n -s " + file.string(), &exif);
    for (const char* line : {"BwfxmlScene                     : 12A", "BwfxmlTake                      : 3",
                             "Description                     : Boom and lav, scene 12A",
                             "TimeReference                   : 1728000000"})
      EXPECT_NE(exif.find(line), std::string::npos) << line << "\n" << exif;
  }

  Handle h(file);
  _tagZOBWF_Chunk back;
  BOOL found = FALSE;
  ASSERT_EQ(bwfriff_LoadInfo(h.get(), &back, &found), S_OK);
  EXPECT_EQ(Field(back, ZOIXML_SCENE), "12A");
  EXPECT_EQ(Field(back, ZOIXML_PROJECT), "Night & Day");
  EXPECT_EQ(Field(back, ZOIXML_CIRCLED), "TRUE");
  EXPECT_EQ(Field(back, ZOIXML_MASTER_SPEED), "24000/1001");
  ASSERT_EQ(back.tracks.size(), 2u);
  EXPECT_EQ(ToUtf8(back.tracks[1].values[2].text), "Lav");
  EXPECT_EQ(ToUtf8(back.tracks[1].values[3].text), "MIX");
  ASSERT_EQ(back.unknown.size(), 1u);
  EXPECT_EQ(back.unknown[0], "<LOCATION><LOCATION_NAME a=\"1\">Stage 4</LOCATION_NAME></LOCATION>");
  EXPECT_EQ(Field(back, ZOBWF_DESCRIPTION), "Boom and lav, scene 12A");
  EXPECT_EQ(back.timeReference, 1728000000u);
}

// The update rule, chunk by chunk.
TEST(BwfUpdate, SmallerBodyPatchesInPlaceWithZeroTail) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "a.wav";
  vane::test::WriteBytes(file, MakeWave(100, {{"iXML", std::string(200, 'x')}}));
  const auto before = vane::test::ReadBytes(file);
  Handle h(file, true);
  LONGLONG delta = -1;
  ASSERT_EQ(bwfriff_UpdateStreamChunk(BWF_CHUNK_IXML, h.get(), "<BWFXML/>", 9, &delta), S_OK);
  EXPECT_EQ(delta, 0);
  const auto after = vane::test::ReadBytes(file);
  ASSERT_EQ(after.size(), before.size());
  const std::string text(after.begin(), after.end());
  const size_t at = text.find("iXML");
  std::uint32_t stored = 0;
  std::memcpy(&stored, text.data() + at + 4, 4);
  EXPECT_EQ(stored, 200u);
  EXPECT_EQ(text.substr(at + 8, 9), "<BWFXML/>");
  EXPECT_EQ(text.substr(at + 17, 191), std::string(191, '\0'));
  EXPECT_TRUE(DataBytes(file) == std::string(before.begin() + 44, before.begin() + 444)) << "the audio changed";
}

TEST(BwfUpdate, LargerBodyRelabelsOldChunkAndAppends) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "a.wav";
  vane::test::WriteBytes(file, MakeWave(100, {{"BEXT", std::string(10, 'b')}}));
  const std::string audio = DataBytes(file);
  const size_t length = vane::test::ReadBytes(file).size();
  Handle h(file, true);
  LONGLONG delta = 0;
  const std::string body(603, 'n');
  ASSERT_EQ(bwfriff_UpdateStreamChunk(BWF_CHUNK_BEXT, h.get(), body.data(), 603, &delta), S_OK);
  EXPECT_EQ(delta, 8 + 603 + 1);
  const auto after = vane::test::ReadBytes(file);
  EXPECT_EQ(after.size(), length + 612);
  const std::string text(after.begin(), after.end());
  EXPECT_NE(text.find(std::string("JUNK\x0a\0\0\0bbbbbbbbbb", 18)), std::string::npos) << "the capitals chunk became filler";
  const size_t at = text.find("bext");
  ASSERT_NE(at, std::string::npos);
  std::uint32_t stored = 0, riff = 0;
  std::memcpy(&stored, text.data() + at + 4, 4);
  std::memcpy(&riff, text.data() + 4, 4);
  EXPECT_EQ(stored, 604u) << "stored size rounded up to even";
  EXPECT_EQ(riff + 8u, after.size());
  EXPECT_TRUE(DataBytes(file) == audio) << "the audio changed";
}

TEST(BwfUpdate, BareFileGetsBothChunksAppendedAndSoxStillReadsIt) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "bare.wav";
  vane::test::WriteBytes(file, MakeWave(100, {}));
  const size_t length = vane::test::ReadBytes(file).size();
  Handle h(file, true);
  LONGLONG a = 0, b = 0;
  ASSERT_EQ(bwfriff_UpdateStreamChunk(BWF_CHUNK_BEXT, h.get(), std::string(602, 0).data(), 602, &a), S_OK);
  ASSERT_EQ(bwfriff_UpdateStreamChunk(BWF_CHUNK_IXML, h.get(), "<BWFXML/>", 9, &b), S_OK);
  EXPECT_EQ(a, 610);
  EXPECT_EQ(b, 18);
  EXPECT_EQ(vane::test::ReadBytes(file).size(), length + 628);
  EXPECT_EQ(bwfriff_UpdateStreamChunk(7, h.get(), "x", 1, &a), E_INVALIDARG);
  ULONGLONG removed = 0;
  ASSERT_EQ(bwfriff_DeleteAllChunks(h.get(), &removed), S_OK);
  EXPECT_EQ(removed, 628u);
  EXPECT_EQ(bwfriff_DeleteChunk(BWF_CHUNK_IXML, h.get(), &removed), S_OK) << "absent is success";
  EXPECT_EQ(vane::test::ReadBytes(file).size(), length);
  if (vane::test::HaveTool("sox")) {
    EXPECT_EQ(vane::test::RunCommand("sox --i " + file.string()), 0);
  }
}

// A RIFF size that claims 4 GB (a crashed recording) must not turn an append
// into a chunk 4 GB away or a file grown to match the lie.
TEST(BwfUpdate, ALyingFormSizeNeverGrowsTheFileToIt) {
  vane::test::ScratchDir dir;
  const fs::path file = dir / "crashed.wav";
  std::vector<std::uint8_t> bytes = MakeWave(100, {});
  const std::uint32_t lie = 0xFFFFFFF0u;
  std::memcpy(bytes.data() + 4, &lie, 4);
  vane::test::WriteBytes(file, bytes);
  {
    Handle h(file, true);
    LONGLONG delta = 0;
    (void)bwfriff_UpdateStreamChunk(BWF_CHUNK_IXML, h.get(), "<BWFXML/>", 9, &delta);
  }
  const size_t after = vane::test::ReadBytes(file).size();
  EXPECT_LE(after, bytes.size() + 64) << "the append landed at the file's end";
  EXPECT_GE(after, bytes.size());
}

TEST(BwfUpdate, Wave64RoundTripThroughTheUpdateRule) {
  VANE_REQUIRE_TOOL("sox");
  vane::test::ScratchDir dir;
  const fs::path file = dir / "a.w64";
  ASSERT_TRUE(vane::test::Make("sox -n -r 48000 -c 2 -b 16 " + file.string() + " synth 0.1 sine 440"));
  _tagZOBWF_Chunk record;
  record.flags = ZOBWF_FLAG_BEXT | ZOBWF_FLAG_TIME;
  record.fields[ZOBWF_DESCRIPTION] = {TRUE, u"w64 take"};
  record.fields[ZOIXML_SCENE] = {TRUE, u"7"};
  record.timeReference = 0x1234567890ull;
  {
    Handle h(file, true);
    ASSERT_EQ(bwfriff_SaveInfo(h.get(), &record, TRUE), S_OK);
  }
  EXPECT_EQ(vane::test::RunCommand("sox --i " + file.string()), 0);
  Handle h(file);
  _tagZOBWF_Chunk back;
  BOOL found = FALSE;
  ASSERT_EQ(bwfriff64_LoadInfo(h.get(), &back, &found), S_OK);
  EXPECT_TRUE(found);
  EXPECT_EQ(Field(back, ZOBWF_DESCRIPTION), "w64 take");
  EXPECT_EQ(Field(back, ZOIXML_SCENE), "7");
  EXPECT_EQ(back.timeReference, 0x1234567890ull);
}

TEST(BwfHostile, ShortOrLyingChunksGiveStatusOrReadAsFarAsTheFileGoes) {
  vane::test::ScratchDir dir;
  const fs::path tiny = dir / "tiny.wav";
  vane::test::WriteBytes(tiny, MakeWave(10, {{"bext", "ab"}}));
  _tagZOBWF_Chunk record;
  BOOL found = FALSE;
  {
    Handle h(tiny);
    EXPECT_EQ(bwfriff_LoadInfo(h.get(), &record, &found), MakeStatus(0x8004E00B));
  }
  // A bext that claims a megabyte in a small file.
  auto bytes = MakeWave(10, {{"bext", std::string(602, 'd')}});
  const std::string text(bytes.begin(), bytes.end());
  const size_t at = text.find("bext");
  bytes[at + 6] = 0x10;  // size 0x0010025A
  const fs::path liar = dir / "liar.wav";
  vane::test::WriteBytes(liar, bytes);
  Handle h(liar);
  _tagZOBWF_Chunk lied;
  const HRESULT hr = bwfriff_LoadInfo(h.get(), &lied, &found);
  EXPECT_TRUE(hr == S_OK || hr == ZOERR_FILE_READ || hr == MakeStatus(0x8004E00A)) << std::hex << hr;

  const fs::path text_file = dir / "not.wav";
  vane::test::WriteBytes(text_file, std::vector<std::uint8_t>(64, 'x'));
  Handle t(text_file);
  EXPECT_TRUE(FAILED(bwfriff_LoadInfo(t.get(), &record, &found)));
  EXPECT_EQ(bwfriff_LoadTimestampInfoQuick(nullptr, &record, &found, FALSE), E_INVALIDARG);
  EXPECT_EQ(bwfriff_LoadTimestampInfoQuick(u"/no/such/file.wav", &record, &found, FALSE), ZOERR_FILE_OPEN);
}

TEST(BwfIxml, BuildOrdersNodesByTheTableAndLeavesEmptyGroupsOut) {
  _tagZOBWF_Chunk record;
  record.fields[ZOIXML_TAKE] = {TRUE, u"3"};
  record.fields[ZOIXML_SCENE] = {TRUE, u"<12>"};
  record.fields[ZOIXML_TIMECODE_RATE] = {TRUE, u"29.970 fps = 30000/1001"};
  record.fields[ZOIXML_NO_GOOD] = {TRUE, u"1"};
  DWORD size = 0;
  ASSERT_EQ(BuildRawBwfIxmlChunkGlobal(&record, nullptr, &size, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0), S_OK);
  std::string xml(size, '\0');
  ASSERT_EQ(BuildRawBwfIxmlChunkGlobal(&record, reinterpret_cast<BYTE*>(xml.data()), &size, ZOIXML_BWFXML,
                                       ZOIXML_SYNC_POINT_EVENT_DURATION, 0), S_OK);
  EXPECT_LT(xml.find("<SCENE>&lt;12&gt;</SCENE>"), xml.find("<TAKE>3</TAKE>"));
  EXPECT_NE(xml.find("<NO_GOOD>TRUE</NO_GOOD>"), std::string::npos);
  EXPECT_NE(xml.find("<SPEED>\n    <TIMECODE_RATE>30000/1001</TIMECODE_RATE>\n  </SPEED>"), std::string::npos) << xml;
  EXPECT_EQ(xml.find("<HISTORY>"), std::string::npos);
  EXPECT_EQ(xml.find("<BEXT>"), std::string::npos) << "no bext view, no BEXT group";

  _tagZOBWF_Chunk empty;
  size = 99;
  ASSERT_EQ(BuildRawBwfIxmlChunkGlobal(&empty, nullptr, &size, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0), S_OK);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(IsKnownIxmlNodeGlobal("track_list"));
  EXPECT_FALSE(IsKnownIxmlNodeGlobal("LOCATION"));
}

TEST(BwfBext, BuildCutsTextsAndKeepsVerbatimParts) {
  _tagZOBWF_Chunk record;
  DWORD size = 0;
  EXPECT_EQ(BuildBextChunkGlobal(&record, nullptr, &size), E_FAIL) << "no bext view";
  record.flags = ZOBWF_FLAG_BEXT;
  record.fields[ZOBWF_ORIGINATOR] = {TRUE, std::u16string(40, u'o')};
  record.fields[ZOBWF_ORIGINATION_DATE] = {TRUE, u"2026-11-24"};
  record.fields[ZOBWF_CODING_HISTORY] = {TRUE, u"A=PCM\r\n"};
  record.timeReference = 99;
  record.umid[63] = 0x5A;
  ASSERT_EQ(BuildBextChunkGlobal(&record, nullptr, &size), S_OK);
  EXPECT_EQ(size, 609u);
  std::vector<BYTE> small(10);
  DWORD smallSize = 10;
  EXPECT_EQ(BuildBextChunkGlobal(&record, small.data(), &smallSize), S_OK);
  EXPECT_EQ(smallSize, 609u);
  std::vector<BYTE> body(size);
  ASSERT_EQ(BuildBextChunkGlobal(&record, body.data(), &size), S_OK);
  ZOBEXT_HEAD head;
  std::memcpy(&head, body.data(), sizeof head);
  EXPECT_EQ(std::string(head.originator, 32), std::string(31, 'o') + '\0');
  // Packed fields are copied out before comparing (gtest binds references).
  const char date0 = head.originationDate[0];
  const DWORD low = head.timeReferenceLow;
  const BYTE umid63 = head.umid[63];
  const WORD loudness4 = head.loudness[4];
  EXPECT_EQ(date0, 0) << "no time flag: date, time and reference stay zero";
  EXPECT_EQ(low, 0u);
  EXPECT_EQ(umid63, 0x5A);
  EXPECT_EQ(loudness4, 32767);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(body.data()) + 602, 7), "A=PCM\r\n");
}

}  // namespace
