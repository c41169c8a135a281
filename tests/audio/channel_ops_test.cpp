// SPDX-License-Identifier: MIT
// Channel operations: mixes, spreads in place, extraction and insertion by
// width, strided conversion, swaps and their failures.
#include <gtest/gtest.h>

#include <vector>

#include "audio/channel_ops.h"
#include "platform/status.h"

namespace {

tWAVEFORMATEX Fmt(ZOSAMPLETYPE t, WORD channels) {
  tWAVEFORMATEX w{};
  ZoAudio_InitWfx(&w, 48000, t, channels);
  return w;
}

TEST(ChannelChange, SumClipsWhileAverageKeepsTheLevel) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 2);
  const std::vector<int16_t> src = {24576, 24576, -24576, -24576};  // 0.75 each
  std::vector<int16_t> out(2);
  ASSERT_EQ(ZoAudio_ChannelChange(out.data(), 1, src.data(), &w, 2), S_OK);
  EXPECT_EQ(out, (std::vector<int16_t>{32767, -32768}));
  ASSERT_EQ(ZoAudio_ChannelChangeAvg(out.data(), 1, src.data(), &w, 2), S_OK);
  EXPECT_EQ(out, (std::vector<int16_t>{24576, -24576}));

  const tWAVEFORMATEX f = Fmt(ZOSAMPLE_FLOAT32, 2);
  const std::vector<float> fs = {0.75f, 0.75f};
  std::vector<float> fo(1);
  ASSERT_EQ(ZoAudio_ChannelChange(fo.data(), 1, fs.data(), &f, 1), S_OK);
  EXPECT_EQ(fo[0], 1.5f);  // float is never clipped
}

TEST(ChannelChange, OnlyReducesToOneOrSpreadsOne) {
  const tWAVEFORMATEX three = Fmt(ZOSAMPLE_PCM16, 3);
  std::vector<int16_t> buf(12);
  EXPECT_EQ(ZoAudio_ChannelChange(buf.data(), 2, buf.data(), &three, 2), E_FAIL);
  const tWAVEFORMATEX two = Fmt(ZOSAMPLE_PCM16, 2);
  EXPECT_EQ(ZoAudio_ChannelChange(buf.data(), 3, buf.data(), &two, 2), E_FAIL);
  EXPECT_EQ(ZoAudio_ChannelChange(buf.data(), 3, buf.data(), &two, 0), S_OK);
}

TEST(ChannelChange, SpreadsMonoInPlaceInOrder) {
  const tWAVEFORMATEX mono = Fmt(ZOSAMPLE_PCM24, 1);
  std::vector<uint8_t> buf = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  ASSERT_EQ(ZoAudio_ChannelChange(buf.data(), 2, buf.data(), &mono, 3), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{1, 2, 3, 1, 2, 3, 4, 5, 6, 4, 5, 6, 7, 8, 9, 7, 8, 9}));
}

TEST(MonoChannel, AveragesIntoEveryChannelAndCopiesMono) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 2);
  std::vector<int16_t> buf = {3, -6, 100, 101};
  ASSERT_EQ(ZoAudio_MonoChannel(buf.data(), buf.data(), &w, 2), S_OK);
  EXPECT_EQ(buf, (std::vector<int16_t>{-1, -1, 100, 100}));  // truncating division
  const tWAVEFORMATEX u8 = Fmt(ZOSAMPLE_PCM8, 2);
  std::vector<uint8_t> b8 = {0x80, 0x83};
  ASSERT_EQ(ZoAudio_MonoChannel(b8.data(), b8.data(), &u8, 1), S_OK);
  EXPECT_EQ(b8, (std::vector<uint8_t>{0x81, 0x81}));
  const tWAVEFORMATEX m = Fmt(ZOSAMPLE_FLOAT64, 1);
  std::vector<double> in = {0.25, -0.5}, out(2);
  ASSERT_EQ(ZoAudio_MonoChannel(out.data(), in.data(), &m, 2), S_OK);
  EXPECT_EQ(out, in);
  const tWAVEFORMATEX be = Fmt(ZOSAMPLE_PCM16_BE, 2);
  EXPECT_EQ(ZoAudio_MonoChannel(buf.data(), buf.data(), &be, 2), E_FAIL);
}

TEST(ExtractInsert, RoundTripOneChannelOfEachWidth) {
  for (ZOSAMPLETYPE t : {ZOSAMPLE_PCM8, ZOSAMPLE_PCM16_BE, ZOSAMPLE_PCM24, ZOSAMPLE_FLOAT32, ZOSAMPLE_FLOAT64}) {
    const size_t width = ZoAudio_BitsFromSampleType(t) / 8;
    const WORD channels = 3;
    const LONG frames = 5;
    std::vector<uint8_t> inter(width * channels * frames);
    for (size_t i = 0; i < inter.size(); ++i) inter[i] = uint8_t(i * 7 + 1);
    std::vector<uint8_t> one(width * frames);
    ASSERT_EQ(ZoAudio_ExtractChannel(one.data(), 2, inter.data(), t, channels, frames), S_OK);
    for (LONG f = 0; f < frames; ++f)
      ASSERT_EQ(0, memcmp(one.data() + f * width, inter.data() + (f * channels + 2) * width, width));
    std::vector<uint8_t> rebuilt(inter.size(), 0);
    for (WORD c = 0; c < channels; ++c) {
      ASSERT_EQ(ZoAudio_ExtractChannel(one.data(), c, inter.data(), t, channels, frames), S_OK);
      ASSERT_EQ(ZoAudio_InsertChannel(rebuilt.data(), t, channels, c, one.data(), frames), S_OK);
    }
    EXPECT_EQ(rebuilt, inter) << "type " << t;
    EXPECT_EQ(ZoAudio_ExtractChannel(one.data(), 3, inter.data(), t, channels, frames), E_INVALIDARG);
  }
}

TEST(ExtractPair, TakesTwoNeighboursOrDoublesMono) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 4);
  const std::vector<int16_t> src = {1, 2, 3, 4, 5, 6, 7, 8};
  std::vector<int16_t> out(4);
  ASSERT_EQ(ZoAudio_ExtractChannelPair(out.data(), 2, src.data(), &w, 2), S_OK);
  EXPECT_EQ(out, (std::vector<int16_t>{3, 4, 7, 8}));
  EXPECT_EQ(ZoAudio_ExtractChannelPair(out.data(), 3, src.data(), &w, 2), E_INVALIDARG);
  const tWAVEFORMATEX m = Fmt(ZOSAMPLE_PCM16, 1);
  ASSERT_EQ(ZoAudio_ExtractChannelPair(out.data(), 0, src.data(), &m, 2), S_OK);
  EXPECT_EQ(out, (std::vector<int16_t>{1, 1, 2, 2}));
}

TEST(StridedCopy, ConvertsOneChannelIntoAnotherLayout) {
  ZOAUDIO_COPYCHANNELSFUNC fn = ZoAudio_GetCopyChannelsFunction(ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT32);
  ASSERT_NE(fn, nullptr);
  const std::vector<float> src = {0.5f, 1.0f, -1.0f, 0.25f, 2.0f, 0.0f};  // 2 channels
  std::vector<int16_t> dst(9, 7);                                      // 3 channels
  fn(dst.data(), 3, 1, src.data(), 2, 1, 3);
  EXPECT_EQ(dst, (std::vector<int16_t>{7, 32767, 7, 7, 8192, 7, 7, 0, 7}));
  EXPECT_EQ(ZoAudio_GetCopyChannelsFunction(ZOSAMPLE_PCM16_BE, ZOSAMPLE_PCM32_BE), nullptr);

  const tWAVEFORMATEX dw = Fmt(ZOSAMPLE_PCM16, 3), sw = Fmt(ZOSAMPLE_FLOAT32, 2);
  const WORD to[] = {0, 2}, from[] = {1, 0};
  ASSERT_EQ(ZoAudio_CopyChannels(&dw, dst.data(), to, &sw, src.data(), from, 2, 3), S_OK);
  EXPECT_EQ(dst, (std::vector<int16_t>{32767, 32767, 16384, 8192, 8192, -32768, 0, 0, 32767}));
  const WORD bad[] = {3};
  EXPECT_EQ(ZoAudio_CopyChannels(&dw, dst.data(), bad, &sw, src.data(), from, 1, 3), E_INVALIDARG);
}

TEST(StridedCopy, SpreadsInPlaceWhenTheDestinationStrideIsWider) {
  ZOAUDIO_COPYCHANNELSFUNC fn = ZoAudio_GetCopyChannelsFunction(ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM16);
  std::vector<uint8_t> buf(4 * 4 * 2);
  const int16_t in[4] = {16384, -16384, 8192, 32767};
  memcpy(buf.data(), in, sizeof in);
  fn(buf.data(), 2, 0, buf.data(), 1, 0, 4);
  const float* f = reinterpret_cast<const float*>(buf.data());
  EXPECT_EQ(f[0], 0.5f);
  EXPECT_EQ(f[2], -0.5f);
  EXPECT_EQ(f[4], 0.25f);
  EXPECT_EQ(f[6], 32767 / 32768.0f);
}

TEST(Swap, SwapsTheFirstPairAndLeavesMonoAlone) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM24, 3);
  std::vector<uint8_t> buf = {1, 1, 1, 2, 2, 2, 3, 3, 3};
  ASSERT_EQ(ZoAudio_SwapStereoChannels(buf.data(), &w, 1), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{2, 2, 2, 1, 1, 1, 3, 3, 3}));
  std::vector<uint8_t> copy(9);
  ASSERT_EQ(ZoAudio_CopySwapStereoChannels(copy.data(), buf.data(), &w, 1), S_OK);
  EXPECT_EQ(copy, (std::vector<uint8_t>{1, 1, 1, 2, 2, 2, 3, 3, 3}));
  const tWAVEFORMATEX mono = Fmt(ZOSAMPLE_PCM16, 1);
  EXPECT_EQ(ZoAudio_SwapStereoChannels(buf.data(), &mono, 4), S_OK);
  EXPECT_EQ(buf[0], 2);
  const tWAVEFORMATEX unpacked = Fmt(ZOSAMPLE_PCM24_UNPACKED, 2);
  EXPECT_EQ(ZoAudio_SwapStereoChannels(buf.data(), &unpacked, 1), E_FAIL);
}

TEST(Swap, AHeaderWithoutChannelsTouchesNothing) {
  // A damaged header can say 0 channels; the frame size is then 0.
  tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 2);
  w.nChannels = 0;
  std::vector<uint8_t> buf(16), copy(16, 0xA5);
  for (size_t i = 0; i < buf.size(); ++i) buf[i] = uint8_t(i);
  const auto before = buf;
  EXPECT_EQ(ZoAudio_SwapStereoChannels(buf.data(), &w, 3), S_OK);
  EXPECT_EQ(ZoAudio_CopySwapStereoChannels(copy.data(), buf.data(), &w, 3), S_OK);
  EXPECT_EQ(buf, before);
  EXPECT_EQ(copy, std::vector<uint8_t>(16, 0xA5));
}

TEST(ChannelCopies, MuteAndCopyToOthers) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM8, 3);
  std::vector<uint8_t> buf = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(ZoAudio_MuteChannel(buf.data(), &w, 1, 2), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{1, 0x80, 3, 4, 0x80, 6}));
  ASSERT_EQ(ZoAudio_CopyChannelToChannel(buf.data(), &w, 2, 0, 2), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{3, 0x80, 3, 6, 0x80, 6}));
  ASSERT_EQ(ZoAudio_CopyChannelToAll(buf.data(), &w, 1, 2), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{0x80, 0x80, 0x80, 0x80, 0x80, 0x80}));

  const std::vector<int16_t> stereo = {1, 2, 3, 4};
  std::vector<int16_t> multi(6);
  ASSERT_EQ(ZoAudio_CopyChannelToMultiMono2(multi.data(), 3, stereo.data(), 2, 1, 2, ZOSAMPLE_PCM16), S_OK);
  EXPECT_EQ(multi, (std::vector<int16_t>{2, 2, 2, 4, 4, 4}));
  EXPECT_EQ(ZoAudio_CopyChannelToMultiMono2(multi.data(), 3, stereo.data(), 2, 1, 2, ZOSAMPLE_PCM16_RA),
            E_INVALIDARG);
}

}  // namespace
