// SPDX-License-Identifier: MIT
// Time codes against libavutil's timecode labels over every frame of 24
// hours at each rate, their parse back, and the edges of drop frame,
// stepping, arithmetic and text.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/timecode.h>
}

#include <string>

#include "kernel/nanotime.h"
#include "kernel/smpte.h"
#include "platform/wtext.h"

namespace {

std::string Label(const _smpteval& v) {
  char text[48];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", int(v.hours), int(v.minutes), int(v.seconds),
                ZOSMPTE_IsDrop(v.type) ? ';' : ':', int(v.frames));
  return text;
}

_smpteval Code(DWORD type, LONG h, LONG m, LONG s, LONG f) { return _smpteval{type, h, m, s, f, 0}; }

struct RateCase {
  DWORD type;
  int num, den;
  bool drop;
  DWORD format;  // the text format row, or 99 when there is none
};

class EveryFrame : public ::testing::TestWithParam<RateCase> {};

TEST_P(EveryFrame, LabelsEqualLibavutilAndParseBackToTheSameCount) {
  const RateCase& c = GetParam();
  AVTimecode tc{};
  ASSERT_EQ(av_timecode_init(&tc, AVRational{c.num, c.den}, c.drop ? AV_TIMECODE_FLAG_DROPFRAME : 0, 0, nullptr), 0);
  const LONG fps = ZOSMPTE_FramesPerSecond(c.type);
  const LONGLONG drops = c.drop ? 54LL * (fps / 15) * 24 : 0;
  const LONGLONG day = LONGLONG(fps) * 86400 - drops;
  _zoposfmt fmt{};
  fmt.format = c.format;
  char theirs[AV_TIMECODE_STR_SIZE];
  for (LONGLONG frame = 0; frame < day; ++frame) {
    _smpteval v{};
    v.type = c.type;
    ASSERT_EQ(ZOSMPTE_FrameCountToSMPTE(&v, frame), S_OK);
    av_timecode_make_string(&tc, theirs, int(frame));
    const std::string ours = Label(v);
    ASSERT_EQ(ours, theirs) << "frame " << frame;
    _smpteval back{};
    back.type = c.type;
    ZOSMPTE_TextToSMPTE(vane::platform::FromUtf8(ours).c_str(), &back);
    ASSERT_EQ(ZOSMPTE_SMPTEToFrameCount(&back), frame) << ours;
    // Through nano-time and back to the same label.
    const ZoNanoTime t = ZOSMPTE_SMPTEToNanos(&v);
    _smpteval again{};
    again.type = c.type;
    ZOSMPTE_NanoToSMPTE(&again, t);
    ASSERT_EQ(ZOSMPTE_SMPTEToFrameCount(&again), frame) << ours;
    if (c.format != 99 && frame % 97 == 0) {
      WCHAR text[64];
      ZoNanoTimeToText(text, &fmt, t, 0);
      ASSERT_EQ(vane::platform::ToUtf8(text), ours);
      ASSERT_EQ(ZoTextToNanoTimeToken(text, &fmt, nullptr), t) << ours;
    }
  }
  // The day wraps.
  _smpteval v{};
  v.type = c.type;
  ZOSMPTE_FrameCountToSMPTE(&v, day);
  EXPECT_EQ(Label(v), Label(Code(c.type, 0, 0, 0, 0)));
}

INSTANTIATE_TEST_SUITE_P(
    Rates, EveryFrame,
    ::testing::Values(RateCase{ZOSMPTE_2997_DROP, 30000, 1001, true, ZOPOSFMT_SMPTE_2997_DROP},
                      RateCase{ZOSMPTE_5994_DROP, 60000, 1001, true, 99},
                      RateCase{ZOSMPTE_23976, 24000, 1001, false, ZOPOSFMT_SMPTE_23976},
                      RateCase{ZOSMPTE_24, 24, 1, false, ZOPOSFMT_SMPTE_24},
                      RateCase{ZOSMPTE_25, 25, 1, false, ZOPOSFMT_SMPTE_25},
                      RateCase{ZOSMPTE_2997, 30000, 1001, false, ZOPOSFMT_SMPTE_2997},
                      RateCase{ZOSMPTE_30, 30, 1, false, ZOPOSFMT_SMPTE_30},
                      RateCase{ZOSMPTE_50, 50, 1, false, 99}, RateCase{ZOSMPTE_60, 60, 1, false, 99}),
    [](const auto& info) { return "type" + std::to_string(info.param.type); });

TEST(Smpte, DropFrameEdges) {
  _smpteval v{ZOSMPTE_2997_DROP, 0, 0, 0, 0, 0};
  ZOSMPTE_FrameCountToSMPTE(&v, 1800);
  EXPECT_EQ(Label(v), "00:01:00;02");
  ZOSMPTE_FrameCountToSMPTE(&v, 17982);
  EXPECT_EQ(Label(v), "00:10:00;00");
  _smpteval hour = Code(ZOSMPTE_2997_DROP, 1, 0, 0, 0);
  EXPECT_EQ(ZOSMPTE_SMPTEToFrameCount(&hour), 107892);
  // A label drop frame skips is read as the first one that exists.
  _smpteval skipped = Code(ZOSMPTE_2997_DROP, 0, 1, 0, 0);
  EXPECT_EQ(ZOSMPTE_SMPTEToFrameCount(&skipped), 1800);
  _smpteval skipped4 = Code(ZOSMPTE_5994_DROP, 0, 1, 0, 1);
  EXPECT_EQ(ZOSMPTE_SMPTEToFrameCount(&skipped4), 3600);
}

TEST(Smpte, SteppingWrapsAndSkipsDroppedLabels) {
  _smpteval v = Code(ZOSMPTE_30, 23, 59, 59, 29);
  ZOSMPTE_IncrementByFrame(&v);
  EXPECT_EQ(Label(v), "00:00:00:00");
  ZOSMPTE_DeccrementByFrame(&v);
  EXPECT_EQ(Label(v), "23:59:59:29");
  v = Code(ZOSMPTE_2997_DROP, 0, 0, 59, 29);
  ZOSMPTE_IncrementByFrame(&v);
  EXPECT_EQ(Label(v), "00:01:00;02");
  ZOSMPTE_DeccrementByFrame(&v);
  EXPECT_EQ(Label(v), "00:00:59;29");
  v = Code(ZOSMPTE_2997_DROP, 0, 9, 59, 29);
  ZOSMPTE_IncrementByFrame(&v);
  EXPECT_EQ(Label(v), "00:10:00;00");
  // Stepping through a whole drop-frame hour visits every label once, in order.
  v = Code(ZOSMPTE_2997_DROP, 0, 0, 0, 0);
  for (LONGLONG f = 1; f <= 107892; ++f) {
    ZOSMPTE_IncrementByFrame(&v);
    ASSERT_EQ(ZOSMPTE_SMPTEToFrameCount(&v), f) << Label(v);
  }
}

TEST(Smpte, ArithmeticCompareAndText) {
  _smpteval a = Code(ZOSMPTE_25, 23, 59, 59, 20), b = Code(ZOSMPTE_25, 0, 0, 1, 10), r{};
  ZOSMPTE_AddSMPTE(&r, &a, &b);
  EXPECT_EQ(Label(r), "00:00:01:05");
  ZOSMPTE_SubtractSMPTE(&r, &b, &a);
  EXPECT_EQ(Label(r), "00:00:01:15");
  EXPECT_EQ(ZOSMPTE_SMPTECompare(&a, &b), 1);
  EXPECT_EQ(ZOSMPTE_SMPTECompare(&b, &a), -1);
  EXPECT_EQ(ZOSMPTE_SMPTECompare(&a, &a), 0);

  auto parse = [](DWORD type, const char16_t* text) {
    _smpteval v{type, 9, 9, 9, 9, 7};
    ZOSMPTE_TextToSMPTE(text, &v);
    EXPECT_EQ(v.type, type);
    return Label(v);
  };
  EXPECT_EQ(parse(ZOSMPTE_30, u"12"), "00:00:00:12");
  EXPECT_EQ(parse(ZOSMPTE_30, u"1:12"), "00:00:01:12");
  EXPECT_EQ(parse(ZOSMPTE_30, u"01:02:"), "00:01:02:00");
  EXPECT_EQ(parse(ZOSMPTE_30, u"0:0:0:45"), "00:00:01:15");
  EXPECT_EQ(parse(ZOSMPTE_30, u"garbage"), "00:00:00:00");
  EXPECT_EQ(parse(ZOSMPTE_30, u"99999999999999999999:1"), parse(ZOSMPTE_30, u"99999999999999999999:1"));
  EXPECT_EQ(parse(ZOSMPTE_2997_DROP, u"00:05:00;00"), "00:05:00;02");
  EXPECT_EQ(ZOSMPTE_ParseDropWord(u"drop frame"), 1);
  EXPECT_EQ(ZOSMPTE_ParseDropWord(u"Non-Drop Frame"), 0);
  EXPECT_EQ(ZOSMPTE_ParseDropWord(u"NONDROPFRAME"), 0);
  EXPECT_EQ(ZOSMPTE_ParseDropWord(u"dropped"), -1);
  _smpteval bad{99, 1, 2, 3, 4, 0};
  EXPECT_EQ(ZOSMPTE_FrameCountToSMPTE(&bad, 10), E_INVALIDARG);
  EXPECT_EQ(ZOSMPTE_SMPTEToFrameCount(&bad), 0);
}

}  // namespace
