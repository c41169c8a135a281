// SPDX-License-Identifier: MIT
#include "fileutil/esds/descriptor.h"

#include <gtest/gtest.h>

#include "tests/fileutil/box_builder.h"

namespace esds {
namespace {

using vane::test::mp4::Bytes;
using vane::test::mp4::Cat;

// ES descriptor (id 1) with a decoder config for AAC and an SL config.
Bytes AacTree(const Bytes& specificInfo) {
  const Bytes dsi = Cat({Bytes{0x05, std::uint8_t(specificInfo.size())}, specificInfo});
  const Bytes dcd = Cat({Bytes{0x04, std::uint8_t(13 + dsi.size()), 0x40, 0x15, 0, 0x18, 0, 0, 1, 0xF4, 0, 0, 1, 0xF4, 0}, dsi});
  const Bytes body = Cat({Bytes{0x00, 0x01, 0x00}, dcd, Bytes{0x06, 0x01, 0x02}});
  return Cat({Bytes{0x03, std::uint8_t(body.size())}, body});
}

TEST(DescriptorTest, FourByteLengthCountsInBytesRead) {
  Bytes tree = {0x13, 0x80, 0x80, 0x80, 0x22};
  tree.resize(5 + 34, 0);
  auto d = ReadDescriptorTree(tree.data(), tree.size());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->size(), 34u);
  EXPECT_EQ(d->bytesRead(), 5u + 34u);
}

TEST(DescriptorTest, AacConfigGivesObjectTypeRateAndChannels) {
  auto d = ReadDescriptorTree(AacTree({0x12, 0x10}).data(), AacTree({0x12, 0x10}).size());
  ASSERT_NE(d, nullptr);
  InitTrackReader notes;
  d->accept(&notes);
  ASSERT_NE(notes.decoderConfig, nullptr);
  EXPECT_EQ(notes.decoderConfig->objectTypeIndication, 0x40);
  EXPECT_EQ(notes.decoderConfig->streamType, 5);
  EXPECT_EQ(notes.decoderConfig->bufferSize, 0x1800u);
  ASSERT_NE(notes.specificInfo, nullptr);
  const AudioConfig c = notes.specificInfo->audioConfig();
  EXPECT_TRUE(c.valid);
  EXPECT_EQ(c.objectType, 2u);
  EXPECT_EQ(c.samplingFrequencyIndex, 4u);
  EXPECT_EQ(c.samplingFrequency, 44100u);
  EXPECT_EQ(c.channelConfiguration, 2u);
}

TEST(DescriptorTest, EscapedObjectTypeAndExplicitRateAreDecoded) {
  // object type 31 + 6 bits (= 32 + 10 = 42), index 15 with 24-bit rate 12345, 1 channel
  DecoderSpecificInfo dsi;
  dsi.payload = {0xF9, 0x5E, 0x00, 0x60, 0x72, 0x20};
  const AudioConfig c = dsi.audioConfig();
  ASSERT_TRUE(c.valid);
  EXPECT_EQ(c.objectType, 42u);
  EXPECT_EQ(c.samplingFrequency, 12345u);
  EXPECT_EQ(c.channelConfiguration, 1u);
  dsi.payload = {0x12};
  EXPECT_FALSE(dsi.audioConfig().valid);
}

TEST(DescriptorTest, DecoderConfigWithoutTrailingBytesHasNoChild) {
  const Bytes dcd = {0x04, 13, 0x40, 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  auto d = ReadDescriptorTree(dcd.data(), dcd.size());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(static_cast<DecoderConfigDescriptor*>(d.get())->decoderSpecificInfo(), nullptr);
}

TEST(DescriptorTest, DecoderConfigDropsAChildThatIsNotSpecificInfo) {
  const Bytes dcd = {0x04, 16, 0x40, 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x06, 0x01, 0x02};
  auto d = ReadDescriptorTree(dcd.data(), dcd.size());
  ASSERT_NE(d, nullptr);
  EXPECT_TRUE(d->children().empty());
}

TEST(DescriptorTest, UnknownChildKeepsItsBytesAndTagThroughAWrite) {
  const Bytes tree = {0x03, 0x09, 0x00, 0x02, 0x00, 0x42, 0x04, 0xDE, 0xAD, 0xBE, 0xEF};
  auto d = ReadDescriptorTree(tree.data(), tree.size());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d->children().size(), 1u);
  auto* unknown = dynamic_cast<UnknownDescriptor*>(d->children()[0].get());
  ASSERT_NE(unknown, nullptr);
  fileutil::ByteWriter w;
  WriteDescriptorTree(d.get(), w);
  const Bytes expected = {0x03, 0x80, 0x80, 0x80, 0x0C, 0x00, 0x02, 0x00,
                          0x42, 0x80, 0x80, 0x80, 0x04, 0xDE, 0xAD, 0xBE, 0xEF};
  EXPECT_EQ(w.data(), expected);
  EXPECT_EQ(d->sizeWithTagAndLength(), expected.size());
}

TEST(DescriptorTest, WrittenTreeReadsBackEqualAndCloneIsDeep) {
  const Bytes tree = AacTree({0x11, 0x90});
  auto d = ReadDescriptorTree(tree.data(), tree.size());
  ASSERT_NE(d, nullptr);
  auto copy = d->clone();
  d->children().clear();
  fileutil::ByteWriter w;
  WriteDescriptorTree(copy.get(), w);
  auto again = ReadDescriptorTree(w.data().data(), w.size());
  ASSERT_NE(again, nullptr);
  DescriptorPrinter a, b;
  copy->accept(&a);
  again->accept(&b);
  EXPECT_EQ(a.text(), b.text());
  EXPECT_NE(a.text().find("48000 Hz"), std::string::npos) << a.text();
}

TEST(DescriptorTest, EveryTruncationFailsCleanly) {
  const Bytes tree = AacTree({0x12, 0x10});
  for (std::size_t n = 0; n < tree.size(); ++n) EXPECT_EQ(ReadDescriptorTree(tree.data(), n), nullptr) << n;
}

TEST(DescriptorTest, DeepNestingIsRefused) {
  Bytes tree;
  for (int i = 0; i < 40; ++i) {
    const std::size_t n = 3 + tree.size();
    tree = Cat({Bytes{0x03, std::uint8_t(0x80 | (n >> 7)), std::uint8_t(n & 0x7F)}, Bytes{0, 1, 0}, tree});
  }
  EXPECT_EQ(ReadDescriptorTree(tree.data(), tree.size()), nullptr);
}

}  // namespace
}  // namespace esds
