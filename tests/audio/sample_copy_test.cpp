// SPDX-License-Identifier: MIT
// Sample copy: every pair of the table against a reference written here from
// the stated rule, the vector variants against the plain routines bit for
// bit, in-place work, and the whole-buffer operations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

#include "audio/detail/copy_variants.h"
#include "audio/detail/sample_traits.h"
#include "audio/channel_ops.h"
#include "audio/sample_copy.h"
#include "kernel/cpu.h"
#include "platform/status.h"

using namespace vane::audio::detail;

namespace {

const ZOSAMPLETYPE kTypes[] = {ZOSAMPLE_PCM8,     ZOSAMPLE_PCM16,       ZOSAMPLE_PCM24,   ZOSAMPLE_PCM32,
                               ZOSAMPLE_FLOAT32,  ZOSAMPLE_FLOAT64,     ZOSAMPLE_PCM24_UNPACKED,
                               ZOSAMPLE_PCM8_SIGNED, ZOSAMPLE_PCM16_BE, ZOSAMPLE_PCM24_BE, ZOSAMPLE_PCM32_BE};

bool IsFloat(ZOSAMPLETYPE t) { return t == ZOSAMPLE_FLOAT32 || t == ZOSAMPLE_FLOAT64; }
int Bytes(ZOSAMPLETYPE t) { return t == ZOSAMPLE_FLOAT64 ? 8 : t == ZOSAMPLE_PCM24_UNPACKED ? 4 : ZoAudio_BitsFromSampleType(t) / 8; }
int Width(ZOSAMPLETYPE t) { return t == ZOSAMPLE_PCM24_UNPACKED ? 24 : Bytes(t) * 8; }
bool BigEndian(ZOSAMPLETYPE t) { return t >= ZOSAMPLE_PCM16_BE; }

// --- the reference: decoding, encoding and the rule, written out plainly ---

int64_t DecodeInt(ZOSAMPLETYPE t, const uint8_t* p) {
  const int n = Bytes(t);
  uint64_t u = 0;
  for (int i = 0; i < n; ++i) u |= uint64_t(p[BigEndian(t) ? n - 1 - i : i]) << (8 * i);
  if (t == ZOSAMPLE_PCM8) return int64_t(u) - 128;
  const int bits = n * 8;
  return int64_t(u << (64 - bits)) >> (64 - bits);  // sign-extend the container
}

void EncodeInt(ZOSAMPLETYPE t, uint8_t* p, int64_t v) {
  if (t == ZOSAMPLE_PCM8) v ^= 0x80;
  const int n = Bytes(t);
  for (int i = 0; i < n; ++i) p[BigEndian(t) ? n - 1 - i : i] = uint8_t(uint64_t(v) >> (8 * i));
}

// Clip, add 1.5 * 2^52 and take the low bits of the double's pattern.
int64_t RefClipRound(double d, int width) {
  const double f = std::ldexp(1.0, width - 1);
  if (d < -f) d = -f;
  else if (d > f - 1) d = f - 1;
  const double r = d + 6755399441055744.0;
  uint64_t bits;
  std::memcpy(&bits, &r, 8);
  const uint64_t low = bits & ((uint64_t(1) << width) - 1);
  return int64_t(low << (64 - width)) >> (64 - width);
}

void RefConvert(ZOSAMPLETYPE dt, ZOSAMPLETYPE st, uint8_t* d, const uint8_t* s, float gain) {
  const bool unit = gain == 1.0f;
  const double fs = std::ldexp(1.0, Width(st) - 1), fd = std::ldexp(1.0, Width(dt) - 1);
  if (dt == st && unit) {
    std::memcpy(d, s, Bytes(st));
  } else if (!IsFloat(dt) && !IsFloat(st)) {
    int64_t v = DecodeInt(st, s);
    if (unit && Width(dt) >= Width(st)) {
      if (st == ZOSAMPLE_PCM24_UNPACKED) v = std::clamp<int64_t>(v, -8388608, 8388607);
      EncodeInt(dt, d, v * (int64_t(1) << (Width(dt) - Width(st))));
    } else {
      double x = double(v) * (1.0 / fs);
      if (!unit) x *= double(gain);
      EncodeInt(dt, d, RefClipRound(x * fd, Width(dt)));
    }
  } else if (!IsFloat(dt)) {
    double x;
    if (st == ZOSAMPLE_FLOAT32) {
      float f;
      std::memcpy(&f, s, 4);
      if (!unit) f = std::isnan(gain) ? gain : f * gain;  // a NaN gain wins over a NaN sample
      x = f;
    } else {
      std::memcpy(&x, s, 8);
      if (!unit) x = std::isnan(gain) ? double(gain) : x * double(gain);
    }
    EncodeInt(dt, d, RefClipRound(x * fd, Width(dt)));
  } else if (!IsFloat(st)) {
    const int64_t v = DecodeInt(st, s);
    if (dt == ZOSAMPLE_FLOAT32) {
      const float k = unit ? float(1.0 / fs) : gain * float(1.0 / fs);
      const float out = float(v) * k;
      std::memcpy(d, &out, 4);
    } else {
      const double k = unit ? 1.0 / fs : double(gain) * (1.0 / fs);
      const double out = double(v) * k;
      std::memcpy(d, &out, 8);
    }
  } else {
    double x;
    if (st == ZOSAMPLE_FLOAT32) {
      float f;
      std::memcpy(&f, s, 4);
      if (!unit) f = std::isnan(gain) ? gain : f * gain;  // a NaN gain wins over a NaN sample
      x = f;
    } else {
      std::memcpy(&x, s, 8);
      if (!unit) x = std::isnan(gain) ? double(gain) : x * double(gain);
    }
    if (dt == ZOSAMPLE_FLOAT32) {
      const float out = float(x);
      std::memcpy(d, &out, 4);
    } else {
      std::memcpy(d, &x, 8);
    }
  }
}

// Source buffers: random bytes for integers; for floats a mix of in-range,
// out-of-range, rounding ties, full scale, NaN and infinities.
std::vector<uint8_t> MakeSource(ZOSAMPLETYPE t, size_t samples, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<uint8_t> out(samples * Bytes(t));
  if (!IsFloat(t)) {
    for (auto& b : out) b = uint8_t(rng());
    // Full scale both ways and the unpacked container's overflow.
    if (samples >= 4) {
      const int w = Width(t);
      EncodeInt(t, out.data(), (int64_t(1) << (w - 1)) - 1);
      EncodeInt(t, out.data() + Bytes(t), -(int64_t(1) << (w - 1)));
      if (t == ZOSAMPLE_PCM24_UNPACKED) {
        EncodeInt(t, out.data() + 2 * Bytes(t), 0x7FFFFFFF);
        EncodeInt(t, out.data() + 3 * Bytes(t), -0x7FFFFFFF - 1);
      }
    }
    return out;
  }
  std::uniform_real_distribution<double> u(-1.2, 1.2);
  std::uniform_int_distribution<int> pick(0, 11);
  std::uniform_int_distribution<int> tie(-40000, 40000);
  const double inf = std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < samples; ++i) {
    double v;
    switch (pick(rng)) {
      case 0: v = (tie(rng) + 0.5) / 32768.0; break;                  // 16-bit ties
      case 1: v = (tie(rng) * 211 + 0.5) / 8388608.0; break;          // 24-bit ties
      case 2: v = (i & 1) ? 1.0 : -1.0; break;
      case 3: v = (i & 1) ? 32767.5 / 32768.0 : -32768.5 / 32768.0; break;
      case 4: v = i % 7 == 0 ? std::nan("") : (i & 1 ? inf : -inf); break;
      case 5: v = 1e-40; break;                                        // denormal in single
      default: v = u(rng); break;
    }
    if (t == ZOSAMPLE_FLOAT32) {
      const float f = float(v);
      std::memcpy(out.data() + 4 * i, &f, 4);
    } else {
      std::memcpy(out.data() + 8 * i, &v, 8);
    }
    // NaNs with payloads: their low bits survive the rounding add.
    if (i % 13 == 12) {
      if (t == ZOSAMPLE_FLOAT32) {
        const uint32_t nan = 0x7FC12345u | (i & 1 ? 0x80000000u : 0);
        std::memcpy(out.data() + 4 * i, &nan, 4);
      } else {
        const uint64_t nan = 0x7FF8000000ABCDEFull | (i & 1 ? 0x8000000000000000ull : 0);
        std::memcpy(out.data() + 8 * i, &nan, 8);
      }
    }
  }
  return out;
}

struct Pair {
  ZOSAMPLETYPE dst, src;
};
void PrintTo(const Pair& p, std::ostream* os) { *os << "to type " << int(p.dst) << " from type " << int(p.src); }

std::vector<Pair> AllPairs() {
  std::vector<Pair> v;
  for (ZOSAMPLETYPE d : kTypes)
    for (ZOSAMPLETYPE s : kTypes) v.push_back({d, s});
  return v;
}

std::string PairName(const testing::TestParamInfo<Pair>& info) {
  return "to" + std::to_string(info.param.dst) + "from" + std::to_string(info.param.src);
}

const float kGains[] = {1.0f, 0.5f, 1.7f, -0.25f, 0.0f, std::numeric_limits<float>::quiet_NaN(),
                        std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()};

void ExpectSameBits(const std::vector<uint8_t>& want, const std::vector<uint8_t>& got, int bytes,
                    const std::string& what) {
  ASSERT_EQ(want.size(), got.size());
  for (size_t i = 0; i < want.size(); i += bytes)
    ASSERT_EQ(0, std::memcmp(want.data() + i, got.data() + i, bytes)) << what << " at sample " << i / bytes;
}

class CopyPairTest : public testing::TestWithParam<Pair> {};

TEST_P(CopyPairTest, MatchesTheRuleForEveryGain) {
  const auto [dt, st] = GetParam();
  ZOAUDIO_COPYFUNC fn = GetCopyFunctionFor(dt, st, CopyVariant::kPlain);
  const bool missing = (dt == ZOSAMPLE_PCM16_BE || dt == ZOSAMPLE_PCM24_BE) &&
                       (st == ZOSAMPLE_PCM24_UNPACKED || st == ZOSAMPLE_PCM32_BE);
  if (missing) {
    EXPECT_EQ(fn, nullptr);
    return;
  }
  ASSERT_NE(fn, nullptr);
  const size_t n = 257;
  const auto src = MakeSource(st, n, 7 + dt * 131 + st);
  for (float gain : kGains) {
    std::vector<uint8_t> want(n * Bytes(dt)), got(n * Bytes(dt), 0xCD);
    for (size_t i = 0; i < n; ++i) RefConvert(dt, st, want.data() + i * Bytes(dt), src.data() + i * Bytes(st), gain);
    fn(got.data(), src.data(), LONG(n), gain);
    ExpectSameBits(want, got, Bytes(dt), "gain " + std::to_string(gain));
  }
}

TEST_P(CopyPairTest, InPlaceEqualsOutOfPlace) {
  const auto [dt, st] = GetParam();
  for (CopyVariant v : {CopyVariant::kPlain, BestCopyVariant()}) {
    ZOAUDIO_COPYFUNC fn = GetCopyFunctionFor(dt, st, v);
    if (fn == nullptr) return;
    const size_t n = 203;
    const auto src = MakeSource(st, n, 99 + dt + st);
    for (float gain : {1.0f, 0.75f}) {
      std::vector<uint8_t> want(n * Bytes(dt));
      fn(want.data(), src.data(), LONG(n), gain);
      std::vector<uint8_t> buf(n * std::max(Bytes(dt), Bytes(st)));
      std::memcpy(buf.data(), src.data(), src.size());
      fn(buf.data(), buf.data(), LONG(n), gain);
      buf.resize(want.size());
      ExpectSameBits(want, buf, Bytes(dt), "in place");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllPairs, CopyPairTest, testing::ValuesIn(AllPairs()), PairName);

TEST(CopyTable, Has117RoutinesAndRejectsOtherTypes) {
  int count = 0;
  for (ZOSAMPLETYPE d : kTypes)
    for (ZOSAMPLETYPE s : kTypes) count += ZoAudio_GetCopyFunction(d, s) != nullptr;
  EXPECT_EQ(count, 117);
  EXPECT_EQ(ZoAudio_GetCopyFunction(ZOSAMPLE_PCM16, ZOSAMPLE_PCM16_RA), nullptr);
  EXPECT_EQ(ZoAudio_GetCopyFunction(ZOSAMPLE_PCM24_RA, ZOSAMPLE_PCM16), nullptr);
  EXPECT_EQ(ZoAudio_GetCopyFunction(ZOSAMPLE_NONE, ZOSAMPLE_PCM16), nullptr);

  _zowaveformat ra{}, pcm{};
  ra.Init(44100, ZOSAMPLE_PCM16_RA, 2, 0, 32);
  pcm.Init(44100, ZOSAMPLE_PCM16, 2, 0, 32);
  int16_t buf[4] = {};
  EXPECT_EQ(ZoAudio_Copy(&pcm, buf, &ra, buf, 2, 1.0f), E_NOTIMPL);
  EXPECT_EQ(ZoAudio_Copy(&pcm, nullptr, &pcm, nullptr, 0, 1.0f), S_OK);
  EXPECT_EQ(ZoAudio_Copy(&pcm, nullptr, &pcm, nullptr, -5, 1.0f), S_OK);
}

// --- vector variants against the plain routines ----------------------------------

struct VectorCase {
  Pair pair;
  CopyVariant variant;
};
void PrintTo(const VectorCase& c, std::ostream* os) {
  *os << (c.variant == CopyVariant::kAvx2 ? "avx2 " : "sse2 ");
  PrintTo(c.pair, os);
}

std::vector<VectorCase> VectorCases() {
  std::vector<VectorCase> v;
  for (const Pair& p : AllPairs()) {
    const int di = TableIndex(p.dst), si = TableIndex(p.src);
    if (Sse2Routine(di, si)) v.push_back({p, CopyVariant::kSse2});
    if (Avx2Routine(di, si)) v.push_back({p, CopyVariant::kAvx2});
  }
  return v;
}

class VectorVariantTest : public testing::TestWithParam<VectorCase> {};

TEST_P(VectorVariantTest, GivesThePlainBitsOnEdgesOddLengthsAndUnalignedBuffers) {
  const auto [pair, variant] = GetParam();
  if (variant == CopyVariant::kAvx2 && !vane::kernel::CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this machine";
  const int di = TableIndex(pair.dst), si = TableIndex(pair.src);
  ZOAUDIO_COPYFUNC vec = variant == CopyVariant::kAvx2 ? Avx2Routine(di, si) : Sse2Routine(di, si);
  ZOAUDIO_COPYFUNC plain = PlainRoutine(di, si);
  const int db = Bytes(pair.dst), sb = Bytes(pair.src);
  for (size_t n : {1u, 7u, 8u, 9u, 31u, 64u, 1001u}) {
    for (size_t offset : {0u, 1u, 3u}) {
      const auto data = MakeSource(pair.src, n, uint32_t(n * 31 + offset));
      std::vector<uint8_t> src(n * sb + offset);
      std::memcpy(src.data() + offset, data.data(), data.size());
      for (float gain : kGains) {
        std::vector<uint8_t> want(n * db + offset), got(n * db + offset);
        plain(want.data() + offset, src.data() + offset, LONG(n), gain);
        vec(got.data() + offset, src.data() + offset, LONG(n), gain);
        ExpectSameBits(want, got, 1, "n " + std::to_string(n) + " offset " + std::to_string(offset) + " gain " +
                                         std::to_string(gain));
      }
    }
  }
}

TEST_P(VectorVariantTest, KeepsTheCallersRoundingModeOutOfTheResult) {
  const auto [pair, variant] = GetParam();
  if (variant == CopyVariant::kAvx2 && !vane::kernel::CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this machine";
  const int di = TableIndex(pair.dst), si = TableIndex(pair.src);
  ZOAUDIO_COPYFUNC vec = variant == CopyVariant::kAvx2 ? Avx2Routine(di, si) : Sse2Routine(di, si);
  const size_t n = 100;
  const auto src = MakeSource(pair.src, n, 5);
  std::vector<uint8_t> want(n * Bytes(pair.dst)), got(want.size());
  PlainRoutine(di, si)(want.data(), src.data(), LONG(n), 0.3f);
  const unsigned saved = _mm_getcsr();
  _mm_setcsr((saved & ~0x6000u) | 0x6000u);  // truncate
  vec(got.data(), src.data(), LONG(n), 0.3f);
  const unsigned after = _mm_getcsr();
  _mm_setcsr(saved);
  EXPECT_EQ(after & 0x6000u, 0x6000u) << "the caller's control word is restored";
  ExpectSameBits(want, got, 1, "under truncation");
}

INSTANTIATE_TEST_SUITE_P(Variants, VectorVariantTest, testing::ValuesIn(VectorCases()),
                         [](const testing::TestParamInfo<VectorCase>& info) {
                           return std::string(info.param.variant == CopyVariant::kAvx2 ? "avx2" : "sse2") + "_to" +
                                  std::to_string(info.param.pair.dst) + "from" + std::to_string(info.param.pair.src);
                         });

// --- stated values ---------------------------------------------------------------

TEST(CopyValues, FullScaleClipsAndRoundsHalfToEven) {
  const float in[3] = {1.0f, -1.0f, 0.5f};
  int16_t out[3];
  ZoAudio_GetCopyFunction(ZOSAMPLE_PCM16, ZOSAMPLE_FLOAT32)(out, in, 3, 1.0f);
  EXPECT_EQ(out[0], 32767);
  EXPECT_EQ(out[1], -32768);
  EXPECT_EQ(out[2], 16384);

  const int16_t top = 32767;
  float back;
  ZoAudio_GetCopyFunction(ZOSAMPLE_FLOAT32, ZOSAMPLE_PCM16)(&back, &top, 1, 1.0f);
  EXPECT_EQ(back, 0.999969482421875f);

  uint8_t wide[3];
  ZoAudio_GetCopyFunction(ZOSAMPLE_PCM24, ZOSAMPLE_PCM16)(wide, &top, 1, 1.0f);
  EXPECT_EQ(DecodeInt(ZOSAMPLE_PCM24, wide), 0x7FFF00);

  // 0x000080 -> 0 and 0x000180 -> 2: ties go to even; the top clips.
  const uint8_t s24[] = {0x80, 0, 0, 0x80, 1, 0, 0xFF, 0xFF, 0x7F, 0, 0, 0x80};
  int16_t s16[4];
  ZoAudio_GetCopyFunction(ZOSAMPLE_PCM16, ZOSAMPLE_PCM24)(s16, s24, 4, 1.0f);
  EXPECT_EQ(s16[0], 0);
  EXPECT_EQ(s16[1], 2);
  EXPECT_EQ(s16[2], 32767);
  EXPECT_EQ(s16[3], -32768);
}

TEST(CopyValues, UnpackedContainerIsClampedBeforeWidening) {
  const int32_t in[2] = {0x01000000, -0x01000000};
  int32_t out[2];
  ZoAudio_GetCopyFunction(ZOSAMPLE_PCM32, ZOSAMPLE_PCM24_UNPACKED)(out, in, 2, 1.0f);
  EXPECT_EQ(out[0], 0x7FFFFF00);
  EXPECT_EQ(out[1], int32_t(0x80000000));
}

TEST(CopyValues, SameTypeInPlaceAtUnitGainLeavesTheBufferAlone) {
  std::vector<int16_t> buf = {1, -2, 3, 32767};
  const auto before = buf;
  ZoAudio_GetCopyFunction(ZOSAMPLE_PCM16, ZOSAMPLE_PCM16)(buf.data(), buf.data(), 4, 1.0f);
  EXPECT_EQ(buf, before);
}

// --- silence, fill, reverse ---------------------------------------------------------

TEST(Silence, UsesTheUnsignedByteOnlyForUnsignedEightBit) {
  tWAVEFORMATEX w{};
  ZoAudio_InitWfxFlex(&w, WAVE_FORMAT_PCM, 8000, 8, 2, 0, 18);
  uint8_t buf[8];
  std::memset(buf, 0x11, 8);
  EXPECT_EQ(ZoAudio_FillSilence(&w, buf, 4), S_OK);
  EXPECT_EQ(buf[7], 0x80);
  w.wFormatTag = WAVE_FORMAT_ZO_PCM_SIGNED;
  EXPECT_EQ(ZoAudio_FillSilence(&w, buf, 4), S_OK);
  EXPECT_EQ(buf[7], 0);
  w.wFormatTag = 0x55;
  EXPECT_EQ(ZoAudio_FillSilence(&w, buf, 4), E_FAIL);

  ZoAudio_InitWfxFlex(&w, WAVE_FORMAT_PCM, 8000, 16, 3, 0, 18);
  std::vector<int16_t> s(6, 7);
  EXPECT_EQ(ZoAudio_FillSilenceChannel(&w, s.data(), 1, 2), S_OK);
  EXPECT_EQ(s, (std::vector<int16_t>{7, 0, 7, 7, 0, 7}));
  EXPECT_EQ(ZoAudio_FillSilenceChannel(&w, s.data(), 3, 2), E_FAIL);
}

TEST(Silence, OneChannelOfAnUnpackedContainerIsItsWholeFourBytes) {
  // Tag 0xFE00 with 24 bits holds each sample in a 32-bit word.
  const tWAVEFORMATEX w = {WAVE_FORMAT_ZO_PCM_UNPACKED, 2, 48000, 48000 * 8, 8, 24, 0};
  std::vector<int32_t> s = {-0x123456, 0x123456, -0x7FFFFF, -0x800000};
  ASSERT_EQ(ZoAudio_FillSilenceChannel(&w, s.data(), 1, 2), S_OK);
  EXPECT_EQ(s, (std::vector<int32_t>{-0x123456, 0, -0x7FFFFF, 0}));
  ASSERT_EQ(ZoAudio_MuteChannel(s.data(), &w, 0, 2), S_OK);
  EXPECT_EQ(s, (std::vector<int32_t>{0, 0, 0, 0}));
}

TEST(Silence, OneChannelOfAnExtensibleFormatIsRefused) {
  WAVEFORMATEXTENSIBLE x{};
  ZoAudio_InitWfxFlex(&x.Format, WAVE_FORMAT_PCM, 48000, 16, 3, 0x7, sizeof x);
  ASSERT_EQ(x.Format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
  std::vector<int16_t> s(6, 7);
  EXPECT_EQ(ZoAudio_FillSilenceChannel(&x.Format, s.data(), 1, 2), E_FAIL);
  EXPECT_EQ(ZoAudio_MuteChannel(s.data(), &x.Format, 2, 2), E_FAIL);
  EXPECT_EQ(s, std::vector<int16_t>(6, 7));
}

TEST(Silence, AFourBitRecordHasNoWholeBytesAndReturnsAtOnce) {
  // The plain header of a record is built from bits and channels alone, so
  // 4-bit ADPCM gets a block align of 0, and with it nothing to fill.
  ZoWaveFormatBuffer<32> adpcm;
  adpcm->InitAsWfx(2, 44100, 2, 4, 0, 32);
  adpcm->nBlockAlign = 2048;
  adpcm->nAvgBytesPerSec = 44359;
  const _zowaveformat_wfxcopyhelper plain(*adpcm.get());
  EXPECT_EQ(plain.wFormatTag, 2);
  EXPECT_EQ(plain.nBlockAlign, 0);
  EXPECT_EQ(plain.nAvgBytesPerSec, 0u);
  std::vector<uint8_t> buf(16, 0x11);
  EXPECT_EQ(ZoAudio_FillSilence(adpcm.get(), buf.data(), 4), S_OK);
  EXPECT_EQ(buf, std::vector<uint8_t>(16, 0x11));
}

TEST(Silence, FollowsTheSubFormatAndTheBigEndianEightBitIsUnsigned) {
  std::vector<uint8_t> buf(8, 0x11);
  tWAVEFORMATEX be{};
  ZoAudio_InitWfxFlex(&be, WAVE_FORMAT_ZO_PCM_BIGENDIAN, 8000, 8, 2, 0, 18);
  EXPECT_EQ(ZoAudio_FillSilence(&be, buf.data(), 4), S_OK);
  EXPECT_EQ(buf, std::vector<uint8_t>(8, 0x80));

  WAVEFORMATEXTENSIBLE x{};
  ZoAudio_InitWfxFlex(&x.Format, WAVE_FORMAT_PCM, 8000, 8, 3, 0x7, sizeof x);
  ASSERT_EQ(x.Format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
  std::fill(buf.begin(), buf.end(), 0x11);
  EXPECT_EQ(ZoAudio_FillSilence(&x.Format, buf.data(), 2), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x11, 0x11}));
  x.SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  EXPECT_EQ(ZoAudio_FillSilence(&x.Format, buf.data(), 2), S_OK);
  EXPECT_EQ(buf, (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0x11, 0x11}));

  // A foreign sub-format: success, and nothing written.
  x.SubFormat = WaveSubFormat(0x55);
  std::fill(buf.begin(), buf.end(), 0x11);
  EXPECT_EQ(ZoAudio_FillSilence(&x.Format, buf.data(), 2), S_OK);
  EXPECT_EQ(buf, std::vector<uint8_t>(8, 0x11));
}

TEST(Fill, RepeatsOneSampleOfAnyWidth) {
  const uint8_t sample[3] = {1, 2, 3};
  std::vector<uint8_t> buf(3 * 11);
  EXPECT_EQ(ZoAudio_FillWithSample(ZOSAMPLE_PCM24, buf.data(), sample, 11), S_OK);
  for (size_t i = 0; i < buf.size(); ++i) ASSERT_EQ(buf[i], sample[i % 3]);
  EXPECT_EQ(ZoAudio_FillWithSample(ZOSAMPLE_PCM16_RA, buf.data(), sample, 1), E_NOTIMPL);
}

TEST(Reverse, SwapsWholeFramesAndKeepsTwelveByteUnitsForSixteenByteFrames) {
  tWAVEFORMATEX w{};
  ZoAudio_InitWfx(&w, 8000, ZOSAMPLE_PCM16, 2);
  std::vector<int16_t> st = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(ZoAudio_Reverse(&w, st.data(), &w, st.data(), 3, 1.0f), S_OK);
  EXPECT_EQ(st, (std::vector<int16_t>{5, 6, 3, 4, 1, 2}));
  EXPECT_EQ(ZoAudio_Reverse(&w, st.data(), &w, st.data(), 1, 1.0f), S_OK);
  EXPECT_EQ(st, (std::vector<int16_t>{5, 6, 3, 4, 1, 2}));

  ZoAudio_InitWfx(&w, 8000, ZOSAMPLE_PCM32, 4);
  std::vector<int32_t> q(8);
  for (int i = 0; i < 8; ++i) q[i] = i;
  EXPECT_EQ(ZoAudio_Reverse(&w, q.data(), &w, q.data(), 2, 1.0f), S_OK);
  EXPECT_EQ(q, (std::vector<int32_t>{3, 4, 5, 0, 1, 2, 6, 7}));
}

// --- peaks --------------------------------------------------------------------------

tWAVEFORMATEX Fmt(ZOSAMPLETYPE t, WORD ch) {
  tWAVEFORMATEX w{};
  ZoAudio_InitWfxFlex(&w, ZoAudio_FormatTagFromSampleType(t), 44100, ZoAudio_BitsFromSampleType(t), ch, 0, 18);
  return w;
}

TEST(Peaks, ClipRunMustBeReachedExactly) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 1);
  std::vector<int16_t> s = {100, 32767, 32767, -32768, 5};
  ZOAUDIO_PEAK p{};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 3, s.data(), 5, &p), S_OK);
  EXPECT_TRUE(p.clipped);
  EXPECT_EQ(p.position, 0);  // the peak's frame 3 minus the run of 3 (the stretch itself began at frame 1)
  EXPECT_FLOAT_EQ(p.peak, float(32767 / 32768.0));
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 4, s.data(), 5, &p), S_OK);
  EXPECT_FALSE(p.clipped);
  EXPECT_EQ(p.position, 3);
}

TEST(Peaks, LastEqualPeakWinsPerChannel) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM16, 2);
  std::vector<int16_t> s = {10, -3, -10, 1, 4, 3};
  ZOAUDIO_PEAK p[2]{};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 2, s.data(), 3, p), S_OK);
  EXPECT_EQ(p[0].position, 1);
  EXPECT_EQ(p[1].position, 2);
  EXPECT_FLOAT_EQ(p[1].peak, float(3 / 32768.0));
}

TEST(Peaks, PackedTwentyFourBitRunCountsOnlyTheMinimum) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_PCM24, 1);
  const uint8_t top[] = {0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0x7F};
  ZOAUDIO_PEAK p{};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 2, top, 3, &p), S_OK);
  EXPECT_FALSE(p.clipped);
  const uint8_t low[] = {0, 0, 0x80, 0, 0, 0x80};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 2, low, 2, &p), S_OK);
  EXPECT_TRUE(p.clipped);
}

// The per-type rules of the peak search. Samples are given as stored: the
// raw byte of unsigned 8-bit, the 32-bit word of the unpacked container.
struct PeakCase {
  const char* name;
  ZOSAMPLETYPE type;
  std::vector<double> samples;
  LONG clipRun;
  float peak;
  LONG position;
  bool clipped;
};
void PrintTo(const PeakCase& c, std::ostream* os) { *os << c.name; }

class PeakRuleTest : public testing::TestWithParam<PeakCase> {};

TEST_P(PeakRuleTest, PeakPositionAndClip) {
  const PeakCase& c = GetParam();
  const int width = Bytes(c.type);
  std::vector<uint8_t> buf(c.samples.size() * width);
  for (size_t i = 0; i < c.samples.size(); ++i) {
    uint8_t* p = buf.data() + i * width;
    if (c.type == ZOSAMPLE_FLOAT64) std::memcpy(p, &c.samples[i], 8);
    else if (c.type == ZOSAMPLE_PCM8) *p = uint8_t(c.samples[i]);
    else EncodeInt(c.type, p, int64_t(c.samples[i]));
  }
  const tWAVEFORMATEX w = Fmt(c.type, 1);
  ZOAUDIO_PEAK p{};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, c.clipRun, buf.data(), LONG(c.samples.size()), &p), S_OK);
  EXPECT_FLOAT_EQ(p.peak, c.peak);
  EXPECT_EQ(p.position, c.position);
  EXPECT_EQ(bool(p.clipped), c.clipped);
}

INSTANTIATE_TEST_SUITE_P(
    Types, PeakRuleTest,
    testing::Values(
        // The unpacked container holds more than 24 bits: a magnitude above
        // 0x7FFFFF clips at once, whatever the run, and ends the search.
        PeakCase{"unpacked_above_top_stops", ZOSAMPLE_PCM24_UNPACKED, {0x100, 0x800000, 0x7FFFFFFF}, 1000,
                 float(0x800000 / 8388608.0), 1, true},
        PeakCase{"unpacked_run_at_top", ZOSAMPLE_PCM24_UNPACKED, {5, 0x7FFFFF, -0x800000, 0x7FFFFF}, 3,
                 float(0x7FFFFF / 8388608.0), 0, true},
        PeakCase{"unpacked_top_below_run", ZOSAMPLE_PCM24_UNPACKED, {0x7FFFFF, 0x7FFFFF, 5}, 3,
                 float(0x7FFFFF / 8388608.0), 1, false},
        // Unsigned 8-bit: a negative sample's magnitude is capped at 126, and
        // only the minimum gives 127, the top that counts toward the run.
        PeakCase{"u8_negative_caps_at_126", ZOSAMPLE_PCM8, {0x01, 0x01, 0x01}, 2, 126 / 128.0f, 2, false},
        PeakCase{"u8_minimum_is_127_and_runs", ZOSAMPLE_PCM8, {0x80, 0x00, 0x00}, 2, 127 / 128.0f, 0, true},
        PeakCase{"u8_positive_top_runs", ZOSAMPLE_PCM8, {0x80, 0xFF, 0xFF}, 2, 127 / 128.0f, 0, true},
        // Double: magnitudes above 1.0 run, exactly 1.0 does not.
        PeakCase{"double_full_scale_no_run", ZOSAMPLE_FLOAT64, {1.0, -1.0, 1.0}, 2, 1.0f, 2, false},
        PeakCase{"double_over_one_runs", ZOSAMPLE_FLOAT64, {0.5, 1.5, -2.0, 0.1}, 2, 2.0f, 0, true},
        // The run in progress is taken off the position even without a clip.
        PeakCase{"double_run_reset", ZOSAMPLE_FLOAT64, {1.5, 0.2, 1.5}, 2, 1.5f, 1, false}),
    [](const testing::TestParamInfo<PeakCase>& info) { return std::string(info.param.name); });

TEST(Peaks, SingleFloatFlagsOverOneAndReportsTheFrameCount) {
  const tWAVEFORMATEX w = Fmt(ZOSAMPLE_FLOAT32, 1);
  const float s[] = {0.5f, -1.5f, 0.25f};
  ZOAUDIO_PEAK p{};
  ASSERT_EQ(ZoAudio_FindPeaks(&w, 100, s, 3, &p), S_OK);
  EXPECT_TRUE(p.clipped);
  EXPECT_EQ(p.position, 3);
  EXPECT_EQ(p.peak, 1.5f);
  const tWAVEFORMATEX bad = Fmt(ZOSAMPLE_PCM16_BE, 1);
  EXPECT_EQ(ZoAudio_FindPeaks(&bad, 1, s, 3, &p), E_NOTIMPL);
}

}  // namespace
