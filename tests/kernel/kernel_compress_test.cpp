// SPDX-License-Identifier: MIT
// One-shot compression: round trips and the status of every failure.
#include <gtest/gtest.h>
#include <zlib.h>

#include <vector>

#include "kernel/compress.h"

namespace vane::kernel {
namespace {

std::vector<BYTE> Sample(size_t n) {
  std::vector<BYTE> v(n);
  std::uint32_t s = 12345;
  for (auto& b : v) {
    s = s * 1103515245u + 12345u;
    b = BYTE((s >> 16) % 7 + 'a');  // compressible, not trivial
  }
  return v;
}

std::vector<BYTE> Compress(const std::vector<BYTE>& in, int level = 6) {
  std::vector<BYTE> out(in.size() + in.size() / 10 + 64);
  ULONG size = ULONG(out.size());
  EXPECT_EQ(ffvane_compress(out.data(), &size, in.data(), ULONG(in.size()), level), Z_OK);
  out.resize(size);
  return out;
}

class CompressRoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(CompressRoundTrip, GivesBackTheBytesAndSizes) {
  const std::vector<BYTE> in = Sample(100000);
  const std::vector<BYTE> packed = Compress(in, GetParam());
  std::vector<BYTE> out(in.size());
  ULONG size = ULONG(out.size());
  ASSERT_EQ(ffvane_uncompress(out.data(), &size, packed.data(), ULONG(packed.size())), Z_OK);
  EXPECT_EQ(size, in.size());
  EXPECT_EQ(out, in);
  // zlib's own one-shot call reads our stream.
  uLongf zsize = out.size();
  EXPECT_EQ(uncompress(out.data(), &zsize, packed.data(), packed.size()), Z_OK);
}

INSTANTIATE_TEST_SUITE_P(Levels, CompressRoundTrip, ::testing::Values(-1, 0, 1, 9));

TEST(Compress, ShortDestinationIsABufferError) {
  const std::vector<BYTE> in = Sample(10000);
  std::vector<BYTE> out(16);
  ULONG size = ULONG(out.size());
  EXPECT_EQ(ffvane_compress(out.data(), &size, in.data(), ULONG(in.size()), 6), Z_BUF_ERROR);
  EXPECT_EQ(ffvane_compress(out.data(), &size, in.data(), ULONG(in.size()), 42), Z_STREAM_ERROR);
  EXPECT_EQ(ffvane_compress(out.data(), nullptr, in.data(), ULONG(in.size()), 6), Z_STREAM_ERROR);
}

TEST(Uncompress, CorruptOrCutInputIsADataError) {
  const std::vector<BYTE> in = Sample(50000);
  const std::vector<BYTE> packed = Compress(in);
  std::vector<BYTE> out(in.size());
  ULONG size = ULONG(out.size());
  // Input that ends before the stream does.
  EXPECT_EQ(ffvane_uncompress(out.data(), &size, packed.data(), ULONG(packed.size() / 2)), Z_DATA_ERROR);
  // A broken header.
  std::vector<BYTE> broken = packed;
  broken[0] ^= 0xFF;
  size = ULONG(out.size());
  EXPECT_EQ(ffvane_uncompress(out.data(), &size, broken.data(), ULONG(broken.size())), Z_DATA_ERROR);
  // A stream that asks for a preset dictionary.
  z_stream z{};
  ASSERT_EQ(deflateInit(&z, 6), Z_OK);
  const Bytef dict[] = "abcdefg";
  deflateSetDictionary(&z, dict, sizeof dict);
  std::vector<BYTE> withDict(1024);
  z.next_in = const_cast<Bytef*>(in.data());
  z.avail_in = 100;
  z.next_out = withDict.data();
  z.avail_out = uInt(withDict.size());
  ASSERT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  withDict.resize(z.total_out);
  deflateEnd(&z);
  size = ULONG(out.size());
  EXPECT_EQ(ffvane_uncompress(out.data(), &size, withDict.data(), ULONG(withDict.size())), Z_DATA_ERROR);
}

TEST(Uncompress, ShortDestinationWithInputLeftIsABufferError) {
  const std::vector<BYTE> in = Sample(50000);
  const std::vector<BYTE> packed = Compress(in);
  std::vector<BYTE> out(100);
  ULONG size = ULONG(out.size());
  EXPECT_EQ(ffvane_uncompress(out.data(), &size, packed.data(), ULONG(packed.size())), Z_BUF_ERROR);
  EXPECT_EQ(size, 100u);
  EXPECT_EQ(ffvane_uncompress(out.data(), nullptr, packed.data(), ULONG(packed.size())), Z_STREAM_ERROR);
  size = 10;
  EXPECT_EQ(ffvane_uncompress(nullptr, &size, packed.data(), ULONG(packed.size())), Z_STREAM_ERROR);
}

}  // namespace
}  // namespace vane::kernel
