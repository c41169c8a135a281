// SPDX-License-Identifier: MIT
// Positions as text in every format row and back: the documented edges, and
// a round trip over random times for each row (the text of the parsed text
// is the text), with offsets, negative values and hostile input.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kernel/nanotime.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

namespace {

_zoposfmt Format(DWORD format) {
  _zoposfmt f{};
  f.format = format;
  f.samplesPerSec = 48000;
  f.framesPerSec = 30;
  f.beatsPerMinute = 120;
  f.beatsPerMeasure = 4;
  f.ticksPerBeat = 960;
  return f;
}

std::string Text(const _zoposfmt& f, ZoNanoTime t, DWORD flags = 0, int* length = nullptr) {
  WCHAR buffer[64];
  const int n = ZoNanoTimeToTextEx(buffer, &f, t, flags);
  if (length) *length = n;
  return vane::platform::ToUtf8(buffer);
}

TEST(NanoTimeText, DocumentedEdges) {
  int length = 0;
  EXPECT_EQ(Text(Format(ZOPOSFMT_TIME), 10000000), "00:00:01.000");
  EXPECT_EQ(Text(Format(ZOPOSFMT_TIME), -10000000, 0, &length), "-00:00:01.000");
  EXPECT_EQ(length, 13) << "the count includes the sign";
  EXPECT_EQ(Text(Format(ZOPOSFMT_TIME), 10000000, ZONANO_SHORT), "00:00:01");
  EXPECT_EQ(Text(Format(ZOPOSFMT_MICROSECONDS), 14), "1");
  EXPECT_EQ(Text(Format(ZOPOSFMT_MICROSECONDS), 15), "2");
  EXPECT_EQ(Text(Format(ZOPOSFMT_SECONDS), 15000000), "1.500");
  EXPECT_EQ(Text(Format(ZOPOSFMT_SAMPLES), 10000000 / 48000 * 100 + 1), "99");
  EXPECT_EQ(Text(Format(ZOPOSFMT_TIME_FRAMES), 10000000 + 10000000 / 30 * 5 + 1), "00:00:01.05");
  EXPECT_EQ(Text(Format(ZOPOSFMT_SMPTE_2997_DROP), ZoNanoTime(1800 / (30000.0 / 1001) * 1e7 + 0.999)), "00:01:00;02");
  // Two seconds at 120 bpm in 4/4: measure 2, beat 1.
  EXPECT_EQ(Text(Format(ZOPOSFMT_MEASURES), 20000000), "2.1.000");
  EXPECT_EQ(Text(Format(ZOPOSFMT_MEASURES), 20000000, ZONANO_NO_OFFSET), "1.0.000");
  EXPECT_EQ(Text(Format(ZOPOSFMT_FEET_35MM), 10000000 * 3), "2+10") << "90 frames at 40 a foot";
  EXPECT_EQ(Text(Format(ZOPOSFMT_FEET_16MM), 10000000 * 3), "5+10") << "90 frames at 16 a foot";
  EXPECT_EQ(Text(Format(ZOPOSFMT_COMPACT_TIME), 10000000 * 65), "1:05");
  EXPECT_EQ(Text(Format(ZOPOSFMT_COMPACT_TIME), 10000000LL * 725), "12:05");
  EXPECT_EQ(Text(Format(ZOPOSFMT_COMPACT_TIME), 10000000LL * 3725), "1:02:05");
  EXPECT_EQ(Text(Format(25), 123), "123") << "rows past the table print the count";
  // An offset is taken off unless flag 2 says not.
  _zoposfmt offset = Format(ZOPOSFMT_TIME);
  offset.offset = 10000000;
  EXPECT_EQ(Text(offset, 30000000), "00:00:02.000");
  EXPECT_EQ(Text(offset, 30000000, ZONANO_NO_OFFSET), "00:00:03.000");
  EXPECT_EQ(ZoTextToNanoTimeToken(u"00:00:02.000", &offset, nullptr), 30000000);
  EXPECT_EQ(ZoTextToNanoTimeTokenEx(u"00:00:02.000", &offset, ZONANO_PARSE_RELATIVE, nullptr), 20000000);
  // A short buffer is cut and says so.
  WCHAR small[6];
  const _zoposfmt time = Format(ZOPOSFMT_TIME);
  EXPECT_EQ(ZoNanoTimeToTextN(small, 6, &time, 10000000, 0), -1);
  EXPECT_EQ(vane::platform::ToUtf8(small), "00:00");
}

class RoundTrip : public ::testing::TestWithParam<const char*> {
 protected:
  void TearDown() override { ZoLang_LoadInternationals("C"); }
};

// In every locale the text of a time parses back to a time of the same text.
TEST_P(RoundTrip, EveryRowRoundTripsThroughItsOwnText) {
  if (ZoLang_LoadInternationals(GetParam()) != S_OK) GTEST_SKIP() << GetParam() << " is not installed";
  std::mt19937_64 rng(42);
  const DWORD rows[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
  for (DWORD row : rows)
    for (DWORD flags : {0u, DWORD(ZONANO_SHORT)})
      for (int i = 0; i < 400; ++i) {
        const _zoposfmt f = Format(row);
        // Up to 20 hours (clock rows wrap at 24), either sign for the rows that keep one.
        ZoNanoTime t = ZoNanoTime(rng() % (20ULL * 3600 * 10000000));
        if (i % 3 == 0 && row != 5 && row != 13) t = -t;
        const std::string text = Text(f, t, flags);
        const std::u16string wide = vane::platform::FromUtf8(text);
        LPCWSTR end = nullptr;
        const ZoNanoTime back = ZoTextToNanoTimeToken(wide.c_str(), &f, &end);
        ASSERT_EQ(end, wide.c_str() + wide.size()) << GetParam() << " row " << row << " text " << text;
        ASSERT_EQ(Text(f, back, flags), text) << GetParam() << " row " << row << " time " << t << " parsed " << back;
      }
}

INSTANTIATE_TEST_SUITE_P(Locales, RoundTrip, ::testing::Values("C", "de_DE.UTF-8", "fr_FR.UTF-8"));

TEST(NanoTimeText, HostileTextParsesToZeroOrClampsNeverCrashes) {
  for (DWORD row = 0; row < 22; ++row) {
    const _zoposfmt f = Format(row);
    LPCWSTR end = nullptr;
    const char16_t* junk = u"  xyz";
    EXPECT_EQ(ZoTextToNanoTimeToken(junk, &f, &end), 0) << row;
    EXPECT_EQ(end, junk) << row;
    const char16_t* huge = u"999999999999999999999999999999:99999999999999999999.99999999999";
    ZoTextToNanoTimeToken(huge, &f, &end);
    EXPECT_GT(end, huge) << row;
    EXPECT_EQ(ZoTextToNanoTimeToken(nullptr, &f, nullptr), 0);
  }
  EXPECT_EQ(ZoTextToTimeToken(u"1:02.5", 0, nullptr), 62500);
  EXPECT_EQ(ZoTextToTimeToken(u"1.25", 0, nullptr), 1250);
  EXPECT_EQ(ZoTextToTimeToken(u"90", 0, nullptr), 90000);
  // Extremes print without overflow.
  const _zoposfmt f = Format(ZOPOSFMT_SAMPLES);
  EXPECT_FALSE(Text(f, std::numeric_limits<ZoNanoTime>::min()).empty());
  EXPECT_FALSE(Text(Format(ZOPOSFMT_FRAMES), std::numeric_limits<ZoNanoTime>::max()).empty());
}

}  // namespace
