// SPDX-License-Identifier: MIT
// Format records: reading foreign formats, writing them back in each shape,
// comparisons, and the display texts.
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>

#include "audio/zowaveformat.h"
#include "platform/memory.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace {

struct ExtBuf {
  alignas(8) unsigned char bytes[128] = {};
  WAVEFORMATEXTENSIBLE* x() { return reinterpret_cast<WAVEFORMATEXTENSIBLE*>(bytes); }
  tWAVEFORMATEX* w() { return reinterpret_cast<tWAVEFORMATEX*>(bytes); }
};

ExtBuf Extensible(WORD tag, WORD channels, WORD bits, WORD validBits, DWORD mask) {
  ExtBuf b;
  auto* x = b.x();
  x->Format = {WAVE_FORMAT_EXTENSIBLE, channels, 48000, 0, WORD(channels * bits / 8), bits, 22};
  x->Format.nAvgBytesPerSec = x->Format.nBlockAlign * 48000u;
  x->Samples.wValidBitsPerSample = validBits;
  x->dwChannelMask = mask;
  x->SubFormat = WaveSubFormat(tag);
  return b;
}

std::string Text(const WCHAR* s) { return vane::platform::ToUtf8(s); }

TEST(SampleType, TwentyBitPcmReadsAsPacked24WithRepairedBlockAlign) {
  tWAVEFORMATEX w = {WAVE_FORMAT_PCM, 2, 44100, 44100 * 5, 5, 20, 0};
  EXPECT_EQ(ZoAudio_GetSampleType(&w), ZOSAMPLE_PCM24);
  ZoWaveFormatBuffer<32> r;
  r->Init(32, w);
  EXPECT_EQ(r->sampleType, ZOSAMPLE_PCM24);
  EXPECT_EQ(r->nBlockAlign, 6);
  EXPECT_FALSE(r->IsCompressed());
}

TEST(SampleType, ValidBitsPickUnpackedFromExtensible32) {
  EXPECT_EQ(ZoAudio_GetSampleType(Extensible(1, 2, 32, 24, 3).w()), ZOSAMPLE_PCM24_UNPACKED);
  EXPECT_EQ(ZoAudio_GetSampleType(Extensible(1, 2, 32, 32, 3).w()), ZOSAMPLE_PCM32);
  EXPECT_EQ(ZoAudio_GetSampleType(Extensible(3, 2, 64, 64, 3).w()), ZOSAMPLE_FLOAT64);
  ExtBuf foreign = Extensible(1, 2, 16, 16, 3);
  foreign.x()->SubFormat.Data4[7] ^= 1;
  EXPECT_EQ(ZoAudio_GetSampleType(foreign.w()), ZOSAMPLE_NONE);
  EXPECT_EQ(ZoAudio_GetWaveFormatTag(foreign.w()), 0);
  EXPECT_TRUE(ZoAudio_IsCompressed(foreign.w()));
  EXPECT_EQ(ZoAudio_GetWaveFormatTag(nullptr), 0);
}

TEST(RecordInit, EmptySubFormatIsRescuedOnlyWhenBitsTimesChannelsIsTheBlockAlign) {
  ExtBuf b = Extensible(0, 2, 16, 16, 3);
  b.x()->SubFormat = GUID_NULL;
  ZoWaveFormatBuffer<128> r;
  r->Init(128, *b.w());
  EXPECT_TRUE(r->IsCompressed());  // 2 * 16 is not 4

  b.x()->Format.nBlockAlign = 32;
  b.x()->Format.nAvgBytesPerSec = 32 * 48000;
  r->Init(128, *b.w());
  EXPECT_EQ(r->sampleType, ZOSAMPLE_PCM16);
  EXPECT_TRUE(r->dwFlags & ZOWF_EXTENSIBLE);
}

TEST(RecordInit, KeepsCodecBytesWithinTheAllottedSize) {
  ExtBuf b;
  tWAVEFORMATEX* w = b.w();
  *w = {0x55, 2, 44100, 16000, 1, 0, 12};
  for (int i = 0; i < 12; ++i) b.bytes[18 + i] = BYTE(i + 1);
  ZoWaveFormatBuffer<128> big;
  big->Init(128, *w);
  EXPECT_TRUE(big->IsCompressed());
  EXPECT_EQ(big->ExtraBytes(), 12);
  EXPECT_EQ(big->cbStruct, 44u);
  EXPECT_EQ(big->extra[11], 12);
  EXPECT_TRUE(*big == *w);

  ZoWaveFormatBuffer<40> small;
  small->Init(40, *w);
  EXPECT_EQ(small->ExtraBytes(), 6);
  ZoWaveFormatBuffer<33> tiny;
  tiny->Init(33, *w);
  EXPECT_EQ(tiny->cbStruct, 32u);
  EXPECT_EQ(tiny->ExtraBytes(), 0);
}

// A record handed in from outside whose cbExtra claims more than the record
// holds: every reader stops at its size and at 1024 codec bytes.
struct ForeignExtraCase {
  DWORD cbStruct;
  WORD cbExtra;
  WORD readable;
};
void PrintTo(const ForeignExtraCase& c, std::ostream* os) {
  *os << "cbStruct " << c.cbStruct << " cbExtra " << c.cbExtra;
}

class ForeignExtraTest : public testing::TestWithParam<ForeignExtraCase> {};

TEST_P(ForeignExtraTest, ReadersStopAtTheRecordsSizeAndTheCodecLimit) {
  const ForeignExtraCase c = GetParam();
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> a, b;
  a->InitAsWfx(0x55, 44100, 2, 0, 0, sizeof(_zowaveformat));
  for (size_t i = 0; i < ZOWAVEFORMAT_MAX_EXTRA; ++i) a->extra[i] = BYTE(i * 7 + 1);
  a->cbStruct = c.cbStruct;
  a->cbExtra = c.cbExtra;
  EXPECT_EQ(a->ExtraBytes(), c.readable);

  // Bytes behind the readable ones take no part in a comparison.
  std::memcpy(b.get(), a.get(), sizeof(_zowaveformat));
  if (c.readable < ZOWAVEFORMAT_MAX_EXTRA) b->extra[c.readable] ^= 0xFF;
  EXPECT_TRUE(*a == *b);

  alignas(8) BYTE out[sizeof(WAVEFORMATEXTENSIBLE) + 2 * ZOWAVEFORMAT_MAX_EXTRA] = {};
  auto* w = reinterpret_cast<tWAVEFORMATEX*>(out);
  ZoAudio_GeneralCopyWfx(w, sizeof out, a.get(), ZOWFCOPY_NOFORCE);
  EXPECT_EQ(w->cbSize, c.readable);

  tWAVEFORMATEX* alloc = ZoAudio_AllocAndCopyWfx(a.get(), ZOWFCOPY_NOFORCE);
  ASSERT_NE(alloc, nullptr);
  EXPECT_EQ(alloc->cbSize, c.readable);
  EXPECT_EQ(GlobalSize(GlobalHandle(alloc)), sizeof(WAVEFORMATEX) + c.readable);
  EXPECT_TRUE(*a == *alloc);
  HGLOBAL h = GlobalHandle(alloc);
  GlobalUnlock(h);
  GlobalFree(h);

  ZoWaveFormatBuffer<sizeof(_zowaveformat)> copy;
  ZoAudio_GeneralCopyZoWaveFormat(copy.get(), sizeof(_zowaveformat), a.get(), 0);
  EXPECT_EQ(copy->cbExtra, c.readable);
}

INSTANTIATE_TEST_SUITE_P(Claims, ForeignExtraTest,
                         testing::Values(ForeignExtraCase{40, 100, 8}, ForeignExtraCase{33, 5, 0},
                                         ForeignExtraCase{sizeof(_zowaveformat), 2000, 1024},
                                         ForeignExtraCase{0xFFFFFFFFu, 0xFFFF, 1024},
                                         ForeignExtraCase{32 + 12, 12, 12}));

// Record to record: the source's size is 32 + cbExtra (two short of its
// data's end, as every reader of a record counts it); codec bytes are kept
// when that size fits the destination and dropped whole when it does not.
struct RecordCopyCase {
  DWORD dstSize;
  WORD keptExtra;  // cbExtra of the copy
  DWORD cbStruct;  // of the copy
  DWORD copied;    // bytes equal to the source's; the rest up to dstSize is 0
};
void PrintTo(const RecordCopyCase& c, std::ostream* os) { *os << "dstSize " << c.dstSize; }

class RecordCopyTest : public testing::TestWithParam<RecordCopyCase> {};

TEST_P(RecordCopyTest, CopiesTheSourcesSizeAndKeepsCodecBytesOnlyWhole) {
  const RecordCopyCase c = GetParam();
  ZoWaveFormatBuffer<128> src;
  src->InitAsWfx(0x55, 44100, 2, 0, 0x3, 128);
  src->cbExtra = 12;
  src->cbStruct = 32 + 12;
  for (int i = 0; i < 12; ++i) src->extra[i] = BYTE(0xA0 + i);
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> dst;
  std::memset(dst.bytes, 0xEE, sizeof dst.bytes);
  ZoAudio_GeneralCopyZoWaveFormat(dst.get(), c.dstSize, src.get(), ZOWFCOPY_EXTENSIBLE);

  const DWORD size = c.dstSize == 0 ? 32 : c.dstSize;
  EXPECT_EQ(dst->cbStruct, c.cbStruct);
  EXPECT_EQ(dst->ExtraBytes(), c.keptExtra);
  if (size >= 34) EXPECT_EQ(dst->cbExtra, c.keptExtra);
  EXPECT_EQ(std::memcmp(dst.bytes + 4, src.bytes + 4, 28), 0) << "the fixed fields";
  if (c.keptExtra) EXPECT_EQ(std::memcmp(dst.bytes + 34, src.bytes + 34, c.copied - 34), 0);
  for (DWORD i = std::max<DWORD>(c.copied, 34); i < size; ++i) ASSERT_EQ(dst.bytes[i], 0) << "byte " << i;
  for (DWORD i = size; i < sizeof dst.bytes; ++i) ASSERT_EQ(dst.bytes[i], 0xEE) << "beyond the size, byte " << i;
}

INSTANTIATE_TEST_SUITE_P(Sizes, RecordCopyTest,
                         testing::Values(RecordCopyCase{0, 0, 32, 32},     // 0 means 32
                                         RecordCopyCase{40, 0, 32, 32},    // 12 bytes don't fit 8
                                         RecordCopyCase{43, 0, 32, 32},
                                         RecordCopyCase{44, 12, 44, 44},   // exactly the source's size
                                         RecordCopyCase{128, 12, 44, 44}));

TEST(RecordCopy, InPlaceDropsCodecBytesThatDoNotFit) {
  ZoWaveFormatBuffer<64> r;
  r->InitAsWfx(0x55, 44100, 2, 0, 0, 64);
  r->cbExtra = 20;
  r->cbStruct = 52;
  ZoAudio_GeneralCopyZoWaveFormat(r.get(), 48, r.get(), 0);
  EXPECT_EQ(r->cbStruct, 32u);
  EXPECT_EQ(r->cbExtra, 0);
  EXPECT_EQ(r->wFormatTag, 0x55);
}

TEST(RecordCompare, IgnoresBlockAlignAndNormalisesMasks) {
  ZoWaveFormatBuffer<64> a, b;
  a->InitAsWfx(0x55, 44100, 2, 0, 0, 64);
  b->InitAsWfx(0x55, 44100, 2, 0, 3, 64);
  b->nBlockAlign = 417;
  EXPECT_TRUE(*a == *b);
  b->dwChannelMask = 5;
  EXPECT_FALSE(*a == *b);
}

struct ShapeCase {
  int dest;
  DWORD flags;
  DWORD room;
  bool extensible;
};
void PrintTo(const ShapeCase& c, std::ostream* os) {
  *os << "dest " << c.dest << " flags " << c.flags << " room " << c.room;
}

class CopyShapeTest : public testing::TestWithParam<ShapeCase> {};

TEST_P(CopyShapeTest, StereoWithMask3) {
  const ShapeCase c = GetParam();
  ZoWaveFormatBuffer<32> r;
  r->Init(48000, ZOSAMPLE_PCM16, 2, 3, 32);
  r->dwFlags |= c.flags;
  ExtBuf out;
  ZoAudio_GeneralCopyWfx(out.w(), c.room, r.get(), c.dest);
  EXPECT_EQ(out.w()->wFormatTag == WAVE_FORMAT_EXTENSIBLE, c.extensible);
  EXPECT_EQ(ZoAudio_GetSampleType(out.w()), ZOSAMPLE_PCM16);
  EXPECT_EQ(out.w()->nBlockAlign, 4);
}

INSTANTIATE_TEST_SUITE_P(Shapes, CopyShapeTest,
                         testing::Values(ShapeCase{0, 0, 40, false}, ShapeCase{0, ZOWF_EXTENSIBLE, 40, true},
                                         ShapeCase{0, ZOWF_EXTENSIBLE, 18, false}, ShapeCase{3, 0, 40, false},
                                         ShapeCase{4, 0, 40, true}, ShapeCase{4, 0, 18, false}));

// Codec bytes of a compressed record written into a platform header: where
// they land, how many fit the room, and what cbSize then says. The RIFF
// writers store these headers as they come.
struct CodecBytesCase {
  WORD tag;
  WORD bits;
  DWORD mask;
  int dest;
  DWORD room;
  bool extensible;
  WORD cbSize;
  size_t at;      // offset of the first codec byte
  size_t count;   // codec bytes written
};
void PrintTo(const CodecBytesCase& c, std::ostream* os) {
  *os << "tag " << c.tag << " mask " << c.mask << " dest " << c.dest << " room " << c.room;
}

class CodecBytesTest : public testing::TestWithParam<CodecBytesCase> {};

TEST_P(CodecBytesTest, LandWhereTheHeaderShapePutsThemAndOnlyWithinTheRoom) {
  const CodecBytesCase c = GetParam();
  ZoWaveFormatBuffer<64> r;
  r->InitAsWfx(c.tag, 44100, 6, c.bits, c.mask, 64);
  ASSERT_TRUE(r->IsCompressed());
  r->cbExtra = 4;
  r->cbStruct = 36;
  const BYTE codec[4] = {0x01, 0x02, 0x03, 0x04};
  std::memcpy(r->extra, codec, 4);

  ExtBuf out;
  std::memset(out.bytes, 0xEE, sizeof out.bytes);
  ZoAudio_GeneralCopyWfx(out.w(), c.room, r.get(), c.dest);
  EXPECT_EQ(out.w()->wFormatTag, c.extensible ? WAVE_FORMAT_EXTENSIBLE : c.tag);
  if (c.extensible) EXPECT_EQ(out.x()->SubFormat, WaveSubFormat(c.tag));
  EXPECT_EQ(out.w()->cbSize, c.cbSize);
  // In the old shape the count is added over the first two codec bytes.
  for (size_t i = c.at; i < c.at + c.count; ++i)
    if (i >= 18) EXPECT_EQ(out.bytes[i], codec[i - c.at]) << "codec byte " << i - c.at;
  for (size_t i = c.room; i < sizeof out.bytes; ++i) ASSERT_EQ(out.bytes[i], 0xEE) << "beyond the room, byte " << i;
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, CodecBytesTest,
    testing::Values(
        // Tags 1 and 3 keep the old 16-byte header: the bytes start over
        // cbSize, which then holds their first two plus the count.
        CodecBytesCase{1, 12, 0, ZOWFCOPY_NOFORCE, 40, false, 0x0201 + 4, 16, 4},
        CodecBytesCase{3, 24, 0, ZOWFCOPY_NOFORCE, 19, false, 0x0001 + 1, 16, 1},
        // Behind an extensible header, tags 1 and 3 too.
        CodecBytesCase{1, 12, 0, ZOWFCOPY_EXTENSIBLE, 44, true, 22 + 4, 40, 4},
        CodecBytesCase{1, 12, 0, ZOWFCOPY_EXTENSIBLE, 42, true, 22 + 2, 40, 2},
        // A telling mask turns the header extensible only with room for the
        // codec bytes as well; a forced one goes extensible and cuts them.
        CodecBytesCase{0x55, 0, 0x60F, ZOWFCOPY_NOFORCE, 43, false, 4, 18, 4},
        CodecBytesCase{0x55, 0, 0x60F, ZOWFCOPY_NOFORCE, 44, true, 22 + 4, 40, 4},
        CodecBytesCase{0x55, 0, 0x60F, ZOWFCOPY_AUTO, 41, true, 22 + 1, 40, 1},
        CodecBytesCase{0x55, 0, 0, ZOWFCOPY_NOFORCE, 18, false, 0, 18, 0},
        CodecBytesCase{0x55, 0, 0, ZOWFCOPY_NOFORCE, 20, false, 2, 18, 2}));

TEST(InitWfxFlex, DropsAMaskWithMoreSpeakersThanChannels) {
  ExtBuf b;
  ZoAudio_InitWfxFlex(b.w(), WAVE_FORMAT_PCM, 48000, 16, 2, 0x7, 40);
  ASSERT_EQ(b.w()->wFormatTag, WAVE_FORMAT_EXTENSIBLE);
  EXPECT_EQ(b.x()->dwChannelMask, 3u);
  ExtBuf c;
  ZoAudio_InitWfxFlex(c.w(), WAVE_FORMAT_PCM, 48000, 16, 2, 0x7, 18);
  EXPECT_EQ(c.w()->wFormatTag, WAVE_FORMAT_PCM);
  EXPECT_EQ(c.w()->cbSize, 0);
}

TEST(RoundTrip, RecordToExtensibleAndBackKeepsEveryProcessableType) {
  for (ZOSAMPLETYPE t : {ZOSAMPLE_PCM8, ZOSAMPLE_PCM16, ZOSAMPLE_PCM24, ZOSAMPLE_PCM32, ZOSAMPLE_FLOAT32,
                         ZOSAMPLE_FLOAT64, ZOSAMPLE_PCM24_UNPACKED, ZOSAMPLE_PCM8_SIGNED, ZOSAMPLE_PCM16_BE,
                         ZOSAMPLE_PCM24_BE, ZOSAMPLE_PCM32_BE}) {
    for (int dest : {1, 4}) {
      ZoWaveFormatBuffer<32> r;
      r->Init(96000, t, 6, 0x3F, 32);
      tWAVEFORMATEX* w = ZoAudio_AllocAndCopyWfx(r.get(), dest);
      ASSERT_NE(w, nullptr);
      ZoWaveFormatBuffer<128> back;
      back->Init(128, *w);
      EXPECT_EQ(back->sampleType, t) << "type " << t << " dest " << dest;
      EXPECT_TRUE(*r == *back);
      EXPECT_TRUE(*r == *w);
      HGLOBAL h = GlobalHandle(w);
      GlobalUnlock(h);
      GlobalFree(h);
    }
  }
}

TEST(ExtToWfx, WritesNothingForAForeignSubFormat) {
  ExtBuf f = Extensible(3, 2, 32, 32, 3);
  tWAVEFORMATEX w{};
  ZoAudio_CopyWfExtToWfx(f.x(), &w);
  EXPECT_EQ(w.wFormatTag, WAVE_FORMAT_IEEE_FLOAT);
  EXPECT_EQ(w.cbSize, 0);
  ExtBuf g = Extensible(0x55, 2, 0, 0, 3);
  tWAVEFORMATEX untouched{};
  ZoAudio_CopyWfExtToWfx(g.x(), &untouched);
  EXPECT_EQ(untouched.wFormatTag, 0);
}

TEST(Texts, NamesAndFallbacks) {
  WCHAR buf[96];
  EXPECT_EQ(ZoAudio_GetCompressionTypeName(0x1234, buf, 96, FALSE), 1);
  EXPECT_EQ(Text(buf), "'0x4660' Compression");
  EXPECT_EQ(ZoAudio_GetCompressionTypeName(0x6750, buf, 96, FALSE), 0);
  EXPECT_EQ(Text(buf), "Ogg Vorbis 2");
  EXPECT_EQ(ZoAudio_GetCompressionTypeName(0x6750, buf, 96, TRUE), 0);
  EXPECT_EQ(Text(buf), "Ogg");  // through the canonical tag
  EXPECT_EQ(ZoAudio_GetTagText(0x7777, buf, 96), E_FAIL);
  EXPECT_EQ(Text(buf), "Unknown");
  ZoAudio_GetChannelsText(4, 0x1B, buf, 96);
  EXPECT_EQ(Text(buf), "2/1 (L, R, Ls) + LFE");
  ZoAudio_GetChannelsText(3, 0, buf, 96);
  EXPECT_EQ(Text(buf), "3 Channel");
  buf[0] = 'x';
  ZoAudio_GetSampleTypeText(ZOSAMPLE_PCM24_BE, buf, 0);
  EXPECT_EQ(buf[0], 'x');
  ZoAudio_GetSampleTypeText(ZOSAMPLE_PCM24_BE, buf, 5);
  EXPECT_EQ(Text(buf), "24 B");
}

TEST(Texts, FormatLineJoinsItsPieces) {
  WCHAR buf[160];
  ZoWaveFormatBuffer<32> r;
  r->Init(44100, ZOSAMPLE_FLOAT32, 2, 0, 32);
  ZoAudio_GetFormatText(r.get(), buf, 160, 0);
  EXPECT_EQ(Text(buf), "44100 Hz, 32 Bit (IEEE Float), Stereo, Float");
  ZoAudio_GetFormatText(r.get(), buf, 160, 2);
  EXPECT_EQ(Text(buf), "44100 Hz, 32 Bit, Stereo");

  ZoWaveFormatBuffer<32> mp3;
  mp3->InitAsWfx(0x55, 48000, 2, 0, 0, 32);
  mp3->nAvgBytesPerSec = 16000;
  ZoAudio_GetFormatText(mp3.get(), buf, 160, 32 | 8);
  EXPECT_EQ(Text(buf), "128 Kbps, 48000 Hz, Stereo, MPEG Layer 3");
  ZoAudio_GetFormatText(mp3.get(), buf, 160, 1);
  EXPECT_EQ(Text(buf), "48000 Hz, 16 Bit, Stereo, PCM");
}

}  // namespace
