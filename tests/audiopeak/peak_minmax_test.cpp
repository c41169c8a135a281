// SPDX-License-Identifier: MIT
// The min/max routines against a brute-force reference in every source and
// peak type, the conversion rules between them, the empty element of each
// layout, and the downward re-sampling of record series.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "audiopeak/peak_minmax.h"

namespace {

// A sample of any source type as a value at full scale 1.0, the way the
// reference converts it.
double Normalized(int type, const std::uint8_t* p) {
  switch (type) {
    case 16: return (int(*p) - 128) / 128.0;
    case 49: return static_cast<std::int8_t>(*p) / 128.0;
    case 17: { std::int16_t v; std::memcpy(&v, p, 2); return v / 32768.0; }
    case 18: { std::int32_t v = std::int32_t(std::uint32_t(p[0]) << 8 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 24) >> 8; return v / 8388608.0; }
    case 19: { std::int32_t v; std::memcpy(&v, p, 4); return v / 2147483648.0; }
    case 32: { float v; std::memcpy(&v, p, 4); return v; }
    default: { double v; std::memcpy(&v, p, 8); return v; }
  }
}

int Bytes(int type) {
  switch (type) {
    case 16: case 49: return 1;
    case 17: return 2;
    case 18: return 3;
    case 33: return 8;
    default: return 4;
  }
}

// The peak value the reference expects: integer sources keep their high
// bits (floor of value * 2^(bits-1) at the peak's width), floats truncate
// toward zero and clamp.
long long IntPeak(int type, const std::uint8_t* p, int peakBits) {
  const double v = Normalized(type, p);
  const double scaled = std::ldexp(v, peakBits - 1);
  const double lo = -std::ldexp(1.0, peakBits - 1), hi = std::ldexp(1.0, peakBits - 1) - 1;
  if (type == 32 || type == 33) return (long long)std::clamp(std::trunc(scaled), lo, hi);
  return (long long)std::floor(scaled);
}

std::vector<std::uint8_t> RandomSamples(int type, size_t samples, std::mt19937& rng) {
  std::vector<std::uint8_t> bytes(samples * Bytes(type));
  if (type == 32) {
    std::uniform_real_distribution<float> d(-1.2f, 1.2f);
    for (size_t i = 0; i < samples; ++i) { float v = d(rng); std::memcpy(&bytes[i * 4], &v, 4); }
  } else if (type == 33) {
    std::uniform_real_distribution<double> d(-1.2, 1.2);
    for (size_t i = 0; i < samples; ++i) { double v = d(rng); std::memcpy(&bytes[i * 8], &v, 8); }
  } else {
    for (auto& b : bytes) b = std::uint8_t(rng());
  }
  return bytes;
}

TEST(PeakMinMax, EveryRoutineAgreesWithTheReferenceWithAnyChannelCountAndAlignment) {
  std::mt19937 rng(7);
  for (int type : {16, 49, 17, 18, 19, 32, 33})
    for (int peakType : {17, 49, 32})
      for (int channels : {1, 2, 3, 6, 16, 17})
        for (int offset : {0, 1}) {  // an odd address takes the frame-by-frame path
          SCOPED_TRACE(testing::Message() << "type " << type << " peak " << peakType << " channels " << channels
                                          << " offset " << offset);
          const LONG frames = 1 + LONG(rng() % 700);
          const auto samples = RandomSamples(type, size_t(frames) * channels, rng);
          std::vector<std::uint8_t> shifted(samples.size() + 1);
          std::memcpy(shifted.data() + offset, samples.data(), samples.size());
          const UINT element = ZoAudioPeak_MinMaxElementSize(peakType);
          std::vector<std::uint8_t> out(element * channels);
          ASSERT_EQ(ZoAudioPeak_InitMinMaxArray(peakType, WORD(channels), out.data()), S_OK);
          ASSERT_EQ(ZoAudioPeak_CalcMinMax(type, peakType, shifted.data() + offset, frames, WORD(channels), out.data()),
                    S_OK);
          for (int c = 0; c < channels; ++c) {
            double lo = DBL_MAX, hi = -DBL_MAX;
            long long ilo = LLONG_MAX, ihi = LLONG_MIN;
            for (LONG f = 0; f < frames; ++f) {
              const std::uint8_t* p = &samples[(size_t(f) * channels + c) * Bytes(type)];
              lo = std::min(lo, Normalized(type, p));
              hi = std::max(hi, Normalized(type, p));
              if (peakType != 32) {
                ilo = std::min(ilo, IntPeak(type, p, peakType == 17 ? 16 : 8));
                ihi = std::max(ihi, IntPeak(type, p, peakType == 17 ? 16 : 8));
              }
            }
            const std::uint8_t* e = &out[size_t(c) * element];
            if (peakType == 17) {
              std::int16_t mn, mx;
              std::memcpy(&mn, e, 2);
              std::memcpy(&mx, e + 2, 2);
              EXPECT_EQ(mn, ilo) << "channel " << c;
              EXPECT_EQ(mx, ihi) << "channel " << c;
            } else if (peakType == 49) {
              EXPECT_EQ(static_cast<std::int8_t>(e[0]), ilo) << "channel " << c;
              EXPECT_EQ(static_cast<std::int8_t>(e[1]), ihi) << "channel " << c;
            } else {
              float mn, mx;
              std::memcpy(&mn, e, 4);
              std::memcpy(&mx, e + 4, 4);
              EXPECT_EQ(mn, float(lo)) << "channel " << c;
              EXPECT_EQ(mx, float(hi)) << "channel " << c;
            }
          }
        }
}

TEST(PeakMinMax, ReductionKeepsTheHighByteAndNaNNeverWins) {
  // 16-bit to 8-bit peaks: 0x7FFF -> 0x7F, 0x00FF -> 0, -1 -> -1 (the high byte, not a rounding).
  const std::int16_t s16[] = {0x00FF, -1};
  signed char peaks8[2];
  ZoAudioPeak_InitMinMaxArray(49, 1, peaks8);
  ZoAudioPeak_CalcMinMax(17, 49, s16, 2, 1, peaks8);
  EXPECT_EQ(peaks8[0], -1);
  EXPECT_EQ(peaks8[1], 0);
  // Unsigned 8-bit sources are re-centred: 0x00 is the most negative, 0xFF the most positive.
  const std::uint8_t u8[] = {0x00, 0xFF, 0x80};
  std::int16_t peaks16[2];
  ZoAudioPeak_InitMinMaxArray(17, 1, peaks16);
  ZoAudioPeak_CalcMinMax(16, 17, u8, 3, 1, peaks16);
  EXPECT_EQ(peaks16[0], -32768);
  EXPECT_EQ(peaks16[1], 0x7F00);
  // Floats past full scale clamp; NaN is ignored.
  const float f[] = {std::numeric_limits<float>::quiet_NaN(), 3.0f, -5.0f};
  ZoAudioPeak_InitMinMaxArray(17, 1, peaks16);
  ZoAudioPeak_CalcMinMax(32, 17, f, 3, 1, peaks16);
  EXPECT_EQ(peaks16[0], -32768);
  EXPECT_EQ(peaks16[1], 32767);
  const float onlyNaN = std::numeric_limits<float>::quiet_NaN();
  ZoAudioPeak_InitMinMaxArray(17, 1, peaks16);
  ZoAudioPeak_CalcMinMax(32, 17, &onlyNaN, 1, 1, peaks16);
  EXPECT_GT(peaks16[0], peaks16[1]) << "an element of only NaN stays empty";
}

TEST(PeakMinMax, EmptyElementsFollowTheirTypesAndUnknownPairsHaveNoRoutine) {
  std::uint8_t e[16];
  ZoAudioPeak_InitMinMaxArray(16, 1, e);
  EXPECT_EQ(e[0], 0xFF); EXPECT_EQ(e[1], 0x00);
  ZoAudioPeak_InitMinMaxArray(49, 1, e);
  EXPECT_EQ(e[0], 0x7F); EXPECT_EQ(e[1], 0x80);
  for (int type : {17, 64}) {
    ZoAudioPeak_InitMinMaxArray(type, 1, e);
    EXPECT_EQ(e[0] | e[1] << 8, 0x7FFF); EXPECT_EQ(e[2] | e[3] << 8, 0x8000);
  }
  ZoAudioPeak_InitMinMaxArray(18, 1, e);
  EXPECT_EQ(e[0] | e[1] << 8 | e[2] << 16, 0x7FFFFF); EXPECT_EQ(e[3] | e[4] << 8 | e[5] << 16, 0x800000);
  ZoAudioPeak_InitMinMaxArray(19, 1, e);
  std::uint32_t u[2];
  std::memcpy(u, e, 8);
  EXPECT_EQ(u[0], 0x7FFFFFFFu); EXPECT_EQ(u[1], 0x80000000u);
  float fl[2];
  ZoAudioPeak_InitMinMaxArray(32, 1, fl);
  EXPECT_EQ(fl[0], FLT_MAX); EXPECT_EQ(fl[1], -FLT_MAX);
  double db[2];
  ZoAudioPeak_InitMinMaxArray(33, 1, db);
  EXPECT_EQ(db[0], DBL_MAX); EXPECT_EQ(db[1], -DBL_MAX);

  EXPECT_EQ(ZoAudioPeak_GetMinMaxFunction(18, 17), nullptr);
  EXPECT_EQ(ZoAudioPeak_GetMinMaxFunction(17, 64), nullptr);
  EXPECT_EQ(ZoAudioPeak_CalcMinMax(64, 17, e, 1, 1, e), S_FALSE);
  EXPECT_EQ(ZoAudioPeak_InitMinMaxArray(99, 1, e), E_INVALIDARG);
}

TEST(PeakMinMax, PrimingConvertsRecordsBetweenPeakTypesAndKeepsEmptyOnesEmpty) {
  const signed char eight[] = {-128, 127, 0x7F, -128};  // a full channel, then an empty one
  std::int16_t sixteen[4];
  ASSERT_EQ(ZoAudioPeak_PrimeMinMaxArray(17, 2, sixteen, 49, eight), S_OK);
  EXPECT_EQ(sixteen[0], -32768);
  EXPECT_EQ(sixteen[1], 0x7F00);
  EXPECT_EQ(sixteen[2], 0x7FFF);
  EXPECT_EQ(sixteen[3], -32768);
  float asFloat[2];
  const std::int16_t half[] = {-16384, 16384};
  ASSERT_EQ(ZoAudioPeak_PrimeMinMaxArray(32, 1, asFloat, 17, half), S_OK);
  EXPECT_EQ(asFloat[0], -0.5f);
  EXPECT_EQ(asFloat[1], 0.5f);
}

TEST(PeakResample, DownwardMergesOverlappingRecordsAndUpwardIsRefused) {
  std::mt19937 rng(3);
  const WORD channels = 2;
  const LONGLONG srcStep = 256, srcRecords = 101;
  std::vector<std::int16_t> src(size_t(srcRecords) * channels * 2);
  for (size_t i = 0; i < src.size(); i += 2) {
    const std::int16_t a = std::int16_t(rng()), b = std::int16_t(rng());
    src[i] = std::min(a, b);
    src[i + 1] = std::max(a, b);
  }
  for (LONGLONG dstStep : {256LL, 512LL, 700LL, 2048LL, 100000LL}) {
    const LONGLONG frames = srcRecords * srcStep;
    const LONGLONG dstRecords = (frames + dstStep - 1) / dstStep;
    std::vector<std::int16_t> dst(size_t(dstRecords) * channels * 2);
    ASSERT_EQ(ZoAudioPeak_Resample(17, src.data(), srcRecords, srcStep, dst.data(), dstRecords, dstStep, channels), S_OK);
    for (LONGLONG i = 0; i < dstRecords; ++i)
      for (int c = 0; c < channels; ++c) {
        int lo = 32767, hi = -32768;
        for (LONGLONG j = 0; j < srcRecords; ++j)
          if (j * srcStep < (i + 1) * dstStep && (j + 1) * srcStep > i * dstStep) {
            lo = std::min<int>(lo, src[size_t(j * channels + c) * 2]);
            hi = std::max<int>(hi, src[size_t(j * channels + c) * 2 + 1]);
          }
        EXPECT_EQ(dst[size_t(i * channels + c) * 2], lo) << "step " << dstStep << " record " << i;
        EXPECT_EQ(dst[size_t(i * channels + c) * 2 + 1], hi) << "step " << dstStep << " record " << i;
      }
  }
  EXPECT_EQ(ZoAudioPeak_GetPeakResampleFunction(17, TRUE), nullptr);
  std::int16_t one[4];
  EXPECT_EQ(ZoAudioPeak_Resample(17, src.data(), srcRecords, 256, one, 1, 128, channels), E_UNEXPECTED);
  EXPECT_EQ(ZoAudioPeak_Resample(18, src.data(), srcRecords, 256, one, 1, 512, channels), E_UNEXPECTED);
  for (int type : {0, 17, 19, 32, 49}) EXPECT_NE(ZoAudioPeak_GetPeakResampleFunction(type, FALSE), nullptr);
}

}  // namespace
