// SPDX-License-Identifier: MIT
// The chunk walkers over files and memory: padding, remaining counts,
// the two Wave64 size conventions, deletion, strings, and hostile sizes.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "audio/mmreg.h"
#include "platform/memory.h"
#include "riff/detail/file_access.h"
#include "riff/mriff_api.h"
#include "riff/riff_api.h"
#include "tests/riff/riff_test_util.h"

using namespace vane::test;

namespace {

// RIFF "TEST" with an odd chunk, a LIST "INFO" holding one string, and a
// "data" chunk behind.
std::vector<std::uint8_t> SampleRiff() {
  ByteWriter w;
  w.fourcc("RIFF").u32le(0).fourcc("TEST");
  w.fourcc("odd ").u32le(3).bytes("abc", 3).u8(0);
  w.fourcc("LIST").u32le(4 + 8 + 6).fourcc("INFO").fourcc("INAM").u32le(6).bytes("hello", 6);
  w.fourcc("data").u32le(4).u32le(0x11223344);
  w.patch32le(4, std::uint32_t(w.size() - 8));
  return w.data();
}

class RiffFile : public ::testing::Test {
 protected:
  HANDLE Open(const std::vector<std::uint8_t>& bytes) {
    WriteBytes(m_path, bytes);
    m_handle = std::make_unique<Handle>(m_path, true);
    EXPECT_TRUE(m_handle->ok());
    return m_handle->get();
  }
  ScratchDir m_dir;
  std::filesystem::path m_path = m_dir / "t.riff";
  std::unique_ptr<Handle> m_handle;
};

TEST_F(RiffFile, FindsChunkBehindOddPadAndStopsAtRemaining) {
  HANDLE f = Open(SampleRiff());
  DWORD size = 0, remaining = 0;
  ASSERT_EQ(riff_FindChunkHeaderInRIFF(f, kFourCC_data, &size, &remaining), S_OK);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(remaining, 4u);
  DWORD value = 0;
  ASSERT_EQ(riff_ReadData(f, &value, 4), S_OK);
  EXPECT_EQ(value, 0x11223344u);

  // Remaining below a header gives "not found" at once and hands it back.
  riff_SeekDataStart(f);
  remaining = 7;
  EXPECT_EQ(riff_FindChunkHeader(f, kFourCC_data, &size, &remaining), ZOERR_NOT_FOUND);
  EXPECT_EQ(remaining, 7u);
  // A chunk larger than what remains ends the search with 0 left.
  riff_SeekDataStart(f);
  remaining = 12;
  EXPECT_EQ(riff_FindChunkHeader(f, kFourCC_data, &size, &remaining), ZOERR_NOT_FOUND);
  EXPECT_EQ(remaining, 0u);
}

TEST_F(RiffFile, FindsListCountsEntriesAndReadsInfoString) {
  HANDLE f = Open(SampleRiff());
  DWORD size = 0;
  ASSERT_EQ(riff_FindListChunkFromStart(f, kFourCC_INFO, &size), S_OK);
  EXPECT_EQ(size, 14u);
  DWORD count = 0, remaining = size;
  ASSERT_EQ(riff_GetNumListEntries(f, &count, &remaining), S_OK);
  EXPECT_EQ(count, 1u);
  DWORD id = 0, len = 0;
  ASSERT_EQ(riff_ReadChunkHeader(f, &id, &len), S_OK);  // the count left the position alone
  EXPECT_EQ(id, ZoFourCC("INAM"));
  WCHAR text[16];
  ASSERT_EQ(riff_ReadANSIString(f, text, 16, &len), S_OK);
  EXPECT_EQ(std::u16string(text), u"hello");
  EXPECT_EQ(len, 7u);
}

TEST_F(RiffFile, DeletesListAndLastChunkKeepingRiffSizeRight) {
  HANDLE f = Open(SampleRiff());
  DWORD removed = 0;
  ASSERT_EQ(riff_DeleteChunk(f, kFourCC_INFO, &removed, TRUE), S_OK);
  EXPECT_EQ(removed, 26u);
  ASSERT_EQ(riff_DeleteChunk(f, kFourCC_data, &removed, FALSE), S_OK);
  EXPECT_EQ(removed, 12u);
  m_handle.reset();
  const auto bytes = ReadBytes(m_path);
  ASSERT_EQ(bytes.size(), 24u);
  DWORD riffSize = 0;
  std::memcpy(&riffSize, bytes.data() + 4, 4);
  EXPECT_EQ(riffSize, 16u);
  EXPECT_EQ(std::memcmp(bytes.data() + 12, "odd ", 4), 0);
}

TEST_F(RiffFile, WritesOddChunkWithPadOutsideTheSizeAndAnsiStrings) {
  HANDLE f = Open({});
  ASSERT_EQ(riff_WriteFileID(f, ZoFourCC("TEST"), 0), S_OK);
  DWORD written = 0;
  ASSERT_EQ(riff_WriteChunk(f, ZoFourCC("abc "), "xyz", 3, &written), S_OK);
  EXPECT_EQ(written, 12u);
  ASSERT_EQ(riff_WriteChunkHeader(f, ZoFourCC("name"), 6), S_OK);
  ASSERT_EQ(riff_WriteANSIString(f, u"caf\u00e9!", &written), S_OK);
  EXPECT_EQ(written, 6u);
  ASSERT_EQ(riff_UpdateRIFFSize(f, 4 + 12 + 14), S_OK);
  DWORD extent = 0;
  ASSERT_EQ(riff_GetFileSize(f, &extent), S_OK);
  EXPECT_EQ(extent, 34u);  // 4 less than the file's 38 bytes, by definition
  DWORD size = 0, remaining = 0;
  ASSERT_EQ(riff_FindChunkHeaderInRIFF(f, ZoFourCC("name"), &size, &remaining), S_OK);
  WCHAR text[8];
  ASSERT_EQ(riff_ReadANSIString(f, text, 8, &size), S_OK);
  EXPECT_EQ(std::u16string(text), u"caf\u00e9!");
  m_handle.reset();
  const auto bytes = ReadBytes(m_path);
  EXPECT_EQ(bytes[16], 3);  // the size field keeps the odd size
  EXPECT_EQ(bytes[23], 0);  // and the pad byte follows the data
}

TEST_F(RiffFile, ReadsCdAudioShortcut) {
  ByteWriter w;
  w.fourcc("RIFF").u32le(36).fourcc("CDDA").fourcc("fmt ").u32le(24);
  w.u16le(1).u16le(3).u32le(0xABCD).u32le(1000).u32le(500).u8(10).u8(2).u8(1).u8(0).u8(0).u8(6).u8(0).u8(0);
  Open(w.data());
  m_handle.reset();
  DWORD track = 0, first = 0, start = 0, length = 0, serial = 0;
  ASSERT_EQ(riff_ReadCDAFile(Wide(m_path).c_str(), &track, &first, &start, &length, &serial), S_OK);
  EXPECT_EQ(track, 3u);
  EXPECT_EQ(start, (2u + 60u) * 75u + 10u);
  EXPECT_EQ(serial, 0xABCDu);
  EXPECT_EQ(riff_ReadCDAFile(u"/nonexistent/x.cda", &track, nullptr, nullptr, nullptr, nullptr), ZOERR_FILE_OPEN);
}

TEST_F(RiffFile, Wave64AcceptsBothStoredSizeConventions) {
  HANDLE f = Open({});
  const GUID form = kW64_wave, a = kW64_bext, b = kW64_smpl;
  ASSERT_EQ(riff64_WriteFileID(f, &form, 0), S_OK);
  ULONGLONG written = 0;
  ASSERT_EQ(riff64_WriteChunk(f, &a, "12345", 5, &written), S_OK);  // stores 29
  EXPECT_EQ(written, 32u);
  ASSERT_EQ(riff64_WriteChunkToFile(f, &b, "123456789", 9), S_OK);  // stores 40, padded
  ASSERT_EQ(riff64_WriteChunk(f, &kW64_data, "zz", 2, nullptr), S_OK);
  std::int64_t end = riff64_AmountWritten(f, 0);
  ASSERT_EQ(riff64_SetRIFFSize(f, ULONGLONG(end) - 24), S_OK);

  ULONGLONG size = 0;
  LONGLONG remaining = 0;
  ASSERT_EQ(riff64_FindChunkHeaderInRIFF(f, &kW64_data, &size, &remaining), S_OK);
  EXPECT_EQ(size, 2u);
  riff64_SeekDataStart(f);
  DWORD count = 0;
  remaining = end - 40;
  ASSERT_EQ(riff64_GetNumListEntries(f, &count, &remaining), S_OK);
  EXPECT_EQ(count, 3u);
  ULONGLONG removed = 0;
  ASSERT_EQ(riff64_DeleteChunk(f, &b, &removed), S_OK);
  EXPECT_EQ(removed, 40u);
  ASSERT_EQ(riff64_FindChunkHeaderInRIFF(f, &kW64_data, &size, &remaining), S_OK);
  m_handle.reset();
  const auto bytes = ReadBytes(m_path);
  EXPECT_EQ(std::int64_t(bytes.size()), end - 40);
}

// A chunk whose size passes the end of its form would take the chunks
// behind it along; the delete is refused and the file stays as it was.
struct LyingChunk {
  const char* name;
  const char* tool;
  std::string command;  // {} stands for the output file
  bool wave64;
  const char* lie;      // the chunk whose size is made to lie: "LIST", "data" or the Wave64 "fmt "
  std::uint32_t claimed;
};
void PrintTo(const LyingChunk& l, std::ostream* os) { *os << l.name; }

class DeleteLyingChunk : public ::testing::TestWithParam<LyingChunk> {};

TEST_P(DeleteLyingChunk, IsRefusedAndNothingIsWritten) {
  const LyingChunk& l = GetParam();
  if (!HaveTool(l.tool)) GTEST_SKIP() << l.tool << " is not installed";
  ScratchDir dir;
  const auto p = dir / (l.wave64 ? "t.w64" : "t.wav");
  std::string command = l.command;
  command.replace(command.find("{}"), 2, ShellQuote(p.string()));
  ASSERT_TRUE(Make(command));
  auto bytes = ReadBytes(p);
  ASSERT_LT(bytes.size(), l.claimed);
  // Find the chunk by walking the file's own headers, then make its size lie.
  size_t at = l.wave64 ? 40 : 12;
  const size_t header = l.wave64 ? 24 : 8;
  for (;;) {
    ASSERT_LE(at + header, bytes.size()) << "no " << l.lie << " chunk";
    std::uint64_t size = 0;
    std::memcpy(&size, bytes.data() + at + (l.wave64 ? 16 : 4), l.wave64 ? 8 : 4);
    if (std::memcmp(bytes.data() + at, l.lie, 4) == 0) break;
    at += l.wave64 ? header + ((size - header + 7) & ~7ull) : header + size + (size & 1);
  }
  if (l.wave64) {
    const std::uint64_t claimed = l.claimed;
    std::memcpy(bytes.data() + at + 16, &claimed, 8);
  } else {
    std::memcpy(bytes.data() + at + 4, &l.claimed, 4);
  }
  WriteBytes(p, bytes);
  {
    Handle h(p, true);
    if (l.wave64) {
      GUID id = kW64_fmt;
      ULONGLONG removed = 7;
      EXPECT_EQ(riff64_DeleteChunk(h.get(), &id, &removed), ZOERR_FILE_READ);
      EXPECT_EQ(removed, 0u);
    } else {
      DWORD removed = 7;
      const bool list = std::strcmp(l.lie, "LIST") == 0;
      EXPECT_EQ(riff_DeleteChunk(h.get(), list ? kFourCC_INFO : kFourCC_data, &removed, list), ZOERR_FILE_READ);
      EXPECT_EQ(removed, 0u);
    }
  }
  EXPECT_TRUE(ReadBytes(p) == bytes) << "the file changed";
}

INSTANTIATE_TEST_SUITE_P(
    Writers, DeleteLyingChunk,
    ::testing::Values(
        LyingChunk{"ffmpeg INFO list claiming 1 MB", "ffmpeg",
                   "ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.2 -metadata title=x {}", false,
                   "LIST", 1u << 20},
        LyingChunk{"sox data claiming more than the file", "sox",
                   "sox -n -r 8000 -c 1 -b 16 -t wavpcm {} synth 0.2 sine", false, "data", 1u << 20},
        LyingChunk{"sox Wave64 format chunk claiming 1 MB", "sox", "sox -n -r 8000 -c 1 -b 16 {} synth 0.2 sine", true,
                   "fmt ", 1u << 20}));

TEST_F(RiffFile, DeletesTheLastChunkWithoutItsPadByte) {
  auto bytes = SampleRiff();
  ByteWriter w;
  w.fourcc("odd2").u32le(3).bytes("xyz", 3);  // no pad byte: the file ends here
  bytes.insert(bytes.end(), w.data().begin(), w.data().end());
  const std::uint32_t riffSize = std::uint32_t(bytes.size() - 8);
  std::memcpy(bytes.data() + 4, &riffSize, 4);
  HANDLE f = Open(bytes);
  DWORD removed = 0;
  ASSERT_EQ(riff_DeleteChunk(f, ZoFourCC("odd2"), &removed, FALSE), S_OK);
  EXPECT_EQ(removed, 11u);
  m_handle.reset();
  EXPECT_TRUE(ReadBytes(m_path) == SampleRiff());
}

// An empty list, or one of 2 bytes, ahead of the INFO list: the search
// finds INFO behind it in the file and the memory layers alike.
class ListBehindShortList : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(ListBehindShortList, IsFound) {
  VANE_REQUIRE_TOOL("ffmpeg");
  ScratchDir dir;
  const auto p = dir / "t.wav";
  ASSERT_TRUE(Make("ffmpeg -v error -f lavfi -i sine=sample_rate=8000:duration=0.1 -metadata title=Tune -c:a "
                   "pcm_s16le " +
                   ShellQuote(p.string())));
  auto bytes = ReadBytes(p);
  std::uint32_t fmtSize = 0;
  ASSERT_EQ(std::memcmp(bytes.data() + 12, "fmt ", 4), 0);
  std::memcpy(&fmtSize, bytes.data() + 16, 4);
  ByteWriter shortList;
  shortList.fourcc("LIST").u32le(GetParam());
  for (std::uint32_t i = 0; i < GetParam(); ++i) shortList.u8(0);
  bytes.insert(bytes.begin() + 20 + fmtSize, shortList.data().begin(), shortList.data().end());
  const std::uint32_t riffSize = std::uint32_t(bytes.size() - 8);
  std::memcpy(bytes.data() + 4, &riffSize, 4);
  WriteBytes(p, bytes);

  Handle h(p);
  DWORD size = 0;
  ASSERT_EQ(riff_FindListChunkFromStart(h.get(), kFourCC_INFO, &size), S_OK);
  DWORD remaining = size, len = 0;
  ASSERT_EQ(riff_FindChunkHeader(h.get(), ZoFourCC("INAM"), &len, &remaining), S_OK);
  WCHAR text[16];
  ASSERT_EQ(riff_ReadANSIString(h.get(), text, 16, &len), S_OK);
  EXPECT_EQ(std::u16string(text), u"Tune");

  _tMRIFF c;
  ASSERT_EQ(mriff_Init(&c, bytes.data(), DWORD(bytes.size()), DWORD(bytes.size())), S_OK);
  ASSERT_EQ(mriff_FindListChunkFromStart(&c, kFourCC_INFO, &size), S_OK);
  mriff_SeekDataStart(&c);
  char name[16] = {};
  ASSERT_EQ(mriff_GetInfoString(&c, ZoFourCC("INAM"), name, sizeof name, nullptr), S_OK);
  EXPECT_STREQ(name, "Tune");
}

INSTANTIATE_TEST_SUITE_P(Sizes, ListBehindShortList, ::testing::Values(0u, 2u));

TEST(OuterSize, GrowthPastTheLimitCutsTheFileBackToTheOldSize) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto p = dir / "t.wav";
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 -t wavpcm " + ShellQuote(p.string()) + " synth 0.1 sine"));
  const auto made = ReadBytes(p);
  // A recorder wrote samples past the last size update; the next update
  // would pass the 32-bit limit.
  auto bytes = made;
  bytes.insert(bytes.end(), 500, 0x33);
  WriteBytes(p, bytes);
  {
    Handle h(p, true);
    std::int64_t at = 0;
    ASSERT_TRUE(vane::riff::FileSeek(h.get(), 30, FILE_BEGIN));
    EXPECT_EQ(riff_UpdateRIFFSize(h.get(), 0xFFFFFFF8LL - LONGLONG(made.size() - 8)), ZOERR_FILE_TOO_LARGE);
    ASSERT_TRUE(vane::riff::FileTell(h.get(), &at));
    EXPECT_EQ(at, 30);  // the position is kept
  }
  EXPECT_TRUE(ReadBytes(p) == made) << "cut back to what the old size describes";
  {
    Handle h(p, true);
    EXPECT_EQ(riff_UpdateRIFFSize(h.get(), 0xFFFFFFF7LL - LONGLONG(made.size() - 8)), S_OK);  // at the limit
    DWORD extent = 0;
    ASSERT_EQ(riff_GetFileSize(h.get(), &extent), S_OK);
    EXPECT_EQ(extent, 0xFFFFFFF7u + 4u);
  }
}

TEST(Bounds, ReadDataAllocRefusesASizeTheFileCannotHoldBeforeAllocating) {
  VANE_REQUIRE_TOOL("sox");
  ScratchDir dir;
  const auto p = dir / "t.wav";
  ASSERT_TRUE(Make("sox -n -r 8000 -c 1 -b 16 -t wavpcm " + ShellQuote(p.string()) + " synth 0.1 sine"));
  Handle h(p);
  DWORD size = 0, remaining = 0;
  ASSERT_EQ(riff_FindChunkHeaderInRIFF(h.get(), kFourCC_data, &size, &remaining), S_OK);
  std::uint64_t bytesRead = 0;
  vane::riff::SetReadCounterForThread(&bytesRead);
  for (HRESULT (*alloc)(HANDLE, ZORIFFDATA*) : {&riff_ReadDataAlloc, &riff64_ReadDataAlloc}) {
    riff_SeekDataStart(h.get());
    ZORIFFDATA data{0xFFFFFFF0u, nullptr};
    EXPECT_EQ(alloc(h.get(), &data), ZOERR_FILE_READ);
    EXPECT_EQ(data.pData, nullptr);
  }
  vane::riff::SetReadCounterForThread(nullptr);
  EXPECT_EQ(bytesRead, 0u) << "a size the file cannot hold is refused before reading";
  riff_SeekDataStart(h.get());
  ZORIFFDATA whole{size, nullptr};  // what the file holds still reads
  EXPECT_EQ(riff_FindChunkHeader(h.get(), kFourCC_data, nullptr, nullptr), S_OK);
  ASSERT_EQ(riff_ReadDataAlloc(h.get(), &whole), S_OK);
  ASSERT_NE(whole.pData, nullptr);
  HGLOBAL block = GlobalHandle(whole.pData);
  GlobalUnlock(block);
  GlobalFree(block);
}

TEST(Riff64, ValidatesHeaderSizesAndFloorsTinySizeFields) {
  EXPECT_EQ(riff64_ValidateChunkHeader(kW64_data, 0x0000000800000000LL), ZOERR_NEWER_VERSION);
  EXPECT_EQ(riff64_ValidateChunkHeader(kW64_data, 28), ZOERR_NEWER_VERSION);
  EXPECT_EQ(riff64_ValidateChunkHeader(kW64_data, 0), ZOERR_ZERO_CHUNK);
  EXPECT_EQ(riff64_ValidateChunkHeader(kW64_data, 32), S_OK);
  EXPECT_EQ(riff_ValidateChunkHeader(0, -1), ZOERR_NEWER_VERSION);
  EXPECT_EQ(riff_ValidateChunkHeader(0, 0), ZOERR_ZERO_CHUNK);

  ScratchDir dir;
  ByteWriter w;
  w.bytes(&kW64_data, 16).u64le(10);
  WriteBytes(dir / "g", w.data());
  Handle h(dir / "g");
  GUID id;
  ULONGLONG size = 99;
  ASSERT_EQ(riff64_ReadChunkHeader(h.get(), &id, &size), S_OK);
  EXPECT_EQ(size, 0u);
}

TEST(Riff64, JunkGuidKeepsItsStoredThirdGroup) {
  // Files already written carry 113D; a "corrected" 11D3 would no longer find them.
  EXPECT_EQ(kW64_junk.Data3, 0x113D);
  EXPECT_EQ(kW64_data.Data3, 0x11D3);
}

class MemoryRiff : public ::testing::Test {
 protected:
  void SetUp() override {
    m_bytes = SampleRiff();
    ASSERT_EQ(mriff_Init(&m_ctx, m_bytes.data(), DWORD(m_bytes.size()), DWORD(m_bytes.size())), S_OK);
  }
  std::vector<std::uint8_t> m_bytes;
  _tMRIFF m_ctx;
};

TEST_F(MemoryRiff, WalksLikeTheFileLayer) {
  DWORD size = 0, remaining = DWORD(m_bytes.size());
  ASSERT_EQ(mriff_FindChunkHeaderInRIFF(&m_ctx, kFourCC_data, &size, &remaining), S_OK);
  EXPECT_EQ(size, 4u);
  char text[64] = {};
  mriff_SeekDataStart(&m_ctx);
  ASSERT_EQ(mriff_GetInfoString(&m_ctx, ZoFourCC("INAM"), text, sizeof text, nullptr), S_OK);
  EXPECT_STREQ(text, "hello");
  EXPECT_EQ(mriff_GetFilePointer(&m_ctx), m_ctx.pBase + 12);  // restored
  remaining = 11;
  mriff_SetFilePointer(&m_ctx, 0, nullptr, 0);
  EXPECT_EQ(mriff_FindChunkHeaderInRIFF(&m_ctx, kFourCC_data, &size, &remaining), ZOERR_NOT_FOUND);
}

TEST_F(MemoryRiff, ClampsEveryMoveToTheBlock) {
  EXPECT_EQ(mriff_ZoSetFilePointer(&m_ctx, -100, 1), 0);
  EXPECT_EQ(mriff_ZoSetFilePointer(&m_ctx, 1LL << 40, 0), LONGLONG(m_bytes.size()));
  EXPECT_EQ(mriff_SetFilePointer(&m_ctx, 5, nullptr, 7), DWORD(m_bytes.size()));  // method 7: clamp only
  mriff_SeekDataStart(&m_ctx);
  // An absurd size ends at pDataEnd, and the search then runs out of data.
  m_bytes[16] = 0xFF, m_bytes[17] = 0xFF, m_bytes[18] = 0xFF, m_bytes[19] = 0x7F;
  DWORD size = 0;
  EXPECT_EQ(mriff_FindChunkHeader(&m_ctx, kFourCC_data, &size, nullptr), ZOERR_FILE_READ);
  EXPECT_EQ(mriff_GetFilePointer(&m_ctx), m_ctx.pDataEnd);
}

TEST(MemoryRiffWrite, ShortCopyReportsWriteFailureAndRaisesDataEnd) {
  BYTE block[11] = {};
  _tMRIFF c;
  ASSERT_EQ(mriff_Init(&c, block, 0, sizeof block), S_OK);
  EXPECT_EQ(mriff_WriteChunkHeader(&c, kFourCC_data, 1), S_OK);
  EXPECT_EQ(mriff_WriteChunkHeader(&c, kFourCC_data, 1), ZOERR_FILE_WRITE);  // 3 bytes of room
  EXPECT_EQ(c.pDataEnd, c.pCapacityEnd);
  EXPECT_EQ(std::memcmp(block + 8, "dat", 3), 0);
  EXPECT_EQ(mriff_Init(&c, block, 12, 11), E_INVALIDARG);
  EXPECT_EQ(mriff_Init(nullptr, block, 1, 1), E_POINTER);
}

TEST(MemoryRiffWrite, WaveHeaderRoundTripsThroughGetWfx) {
  WAVEFORMATEX in{WAVE_FORMAT_PCM, 2, 48000, 0, 0, 24, 0};
  BYTE block[64] = {};
  _tMRIFF c;
  ASSERT_EQ(mriff_Init(&c, block, 0, sizeof block), S_OK);
  ASSERT_EQ(mriff_WriteWaveHeader(&c, &in, 600, 0), S_OK);
  EXPECT_EQ(c.pDataEnd - c.pBase, 44);
  WAVEFORMATEX out;
  DWORD data = 0;
  ASSERT_EQ(mriff_GetWfx(&out, block, 44, &data), S_OK);
  EXPECT_EQ(data, 600u);
  EXPECT_EQ(out.nBlockAlign, 6);
  EXPECT_EQ(out.nAvgBytesPerSec, 288000u);
  EXPECT_EQ(out.cbSize, 0);  // 16-byte chunk: the tail stays zero
  block[8] = 'X';
  EXPECT_EQ(mriff_GetWfx(&out, block, 44, &data), E_FAIL);
}

// Truncations and bit flips of a valid block end with a status, never
// outside the block (the sanitizer build checks the "never").
TEST(MemoryRiffWrite, SurvivesEveryTruncationAndFlip) {
  const auto good = SampleRiff();
  for (size_t cut = 0; cut <= good.size(); ++cut) {
    for (size_t flip = 0; flip < cut; flip += 3) {
      std::vector<std::uint8_t> bad(good.begin(), good.begin() + long(cut));
      bad[flip] ^= 0xA5;
      _tMRIFF c;
      ASSERT_EQ(mriff_Init(&c, bad.data(), DWORD(bad.size()), DWORD(bad.size())), S_OK);
      DWORD size = 0, count = 0;
      char text[32];
      (void)mriff_FindListChunkFromStart(&c, kFourCC_INFO, &size);
      mriff_SeekDataStart(&c);
      (void)mriff_GetNumListEntries(&c, &count, nullptr);
      (void)mriff_GetInfoString(&c, ZoFourCC("INAM"), text, sizeof text, nullptr);
      WAVEFORMATEX w;
      (void)mriff_GetWfx(&w, bad.data(), DWORD(bad.size()), &size);
      EXPECT_LE(c.pCursor, c.pDataEnd);
    }
  }
}

}  // namespace
