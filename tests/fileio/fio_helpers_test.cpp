// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

#include "fileio/detail/module_loader.h"
#include "fileio/rank_tables.h"
#include "fileio/zofileio.h"

namespace {

struct ConstrainCase {
  LONG value;
  LONG direction;
  LONG expected;
  LONG index;
};
void PrintTo(const ConstrainCase& c, std::ostream* os) { *os << "value " << c.value << " direction " << c.direction; }

class ConstrainTest : public ::testing::TestWithParam<ConstrainCase> {};

TEST_P(ConstrainTest, PicksTheRowTheDirectionAsksFor) {
  static const LONG table[] = {10, 20, 40};
  LONG index = -9;
  EXPECT_EQ(ZoFio_ConstrainValueToTable(GetParam().value, table, 3, GetParam().direction, &index), GetParam().expected);
  EXPECT_EQ(index, GetParam().index);
}

INSTANTIATE_TEST_SUITE_P(Rows, ConstrainTest,
                         ::testing::Values(ConstrainCase{5, 0, 10, 0}, ConstrainCase{50, 0, 40, 2},
                                           ConstrainCase{20, 1, 20, 1}, ConstrainCase{25, -1, 20, 1},
                                           ConstrainCase{25, 1, 40, 2}, ConstrainCase{25, 0, 20, 1},
                                           ConstrainCase{35, 0, 40, 2},
                                           ConstrainCase{30, 0, 40, 2},   // a tie goes up
                                           ConstrainCase{35, 3, 40, 2}, ConstrainCase{30, 3, 20, 1},
                                           ConstrainCase{25, -3, 40, 2}, ConstrainCase{22, -3, 20, 1}));

TEST(HeaderFilter, RefusesApplicationFilesOnlyFromTwelveBytes) {
  using vane::fileio::tables::HeaderFilterRefuses;
  const BYTE zoss[] = {'R', 'I', 'F', 'F', 1, 0, 0, 0, 'Z', 'O', 'S', 'S'};
  EXPECT_TRUE(HeaderFilterRefuses(zoss, sizeof zoss));
  EXPECT_FALSE(HeaderFilterRefuses(zoss, 11));
  const BYTE wave[] = {'R', 'I', 'F', 'F', 1, 0, 0, 0, 'W', 'A', 'V', 'E'};
  EXPECT_FALSE(HeaderFilterRefuses(wave, sizeof wave));
  // Wave64 with a refused form GUID needs 41 bytes to be told.
  BYTE w64[41] = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11, 0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
  GUID form = VANE_GUID(0x533C1BF6, 0xD635, 0x43F3, 0x8A, 0x90, 0x64, 0xB8, 0x87, 0x23, 0x1F, 0x7F);
  std::memcpy(w64 + 24, &form, 16);
  EXPECT_TRUE(HeaderFilterRefuses(w64, 41));
  EXPECT_FALSE(HeaderFilterRefuses(w64, 40));
}

TEST(RankTables, TeamReadersComeFirstAndUnknownClassesInTheMiddle) {
  using namespace vane::fileio::tables;
  EXPECT_GT(ReaderRank(kReaderFirst[0]), ReaderRank(kReaderFirst[1]));
  EXPECT_EQ(ReaderRank(GUID_NULL), 0);
  EXPECT_EQ(kIdentification.size(), 121u);
  // Rows of one type stand together, so the scan can stop after the group.
  for (size_t i = 1; i < kIdentification.size(); ++i)
    for (size_t j = 0; j + 1 < i; ++j)
      if (kIdentification[j].type == kIdentification[i].type) {
        EXPECT_EQ(kIdentification[i - 1].type, kIdentification[i].type);
      }
}

TEST(ProbeReport, RoundTripsAndRejectsDamagedReports) {
  using namespace vane::fileio::detail;
  ProbeResult r;
  r.status = MakeStatus(0x8004E047);
  ProbedClass c;
  c.classId = VANE_GUID(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
  c.name = u"Name with blanks";
  c.access = 3;
  c.flags = 5;
  r.classes = {c, c};
  std::string text = FormatProbeReport(r);
  ProbeResult back;
  ASSERT_TRUE(ParseProbeReport(text, &back));
  EXPECT_EQ(back.status, r.status);
  ASSERT_EQ(back.classes.size(), 2u);
  EXPECT_EQ(back.classes[1].name, c.name);
  EXPECT_EQ(back.classes[1].flags, 5u);
  // A child that died before "end" said nothing usable.
  for (size_t cut : {size_t(0), text.size() / 2, text.size() - 4})
    EXPECT_FALSE(ParseProbeReport(text.substr(0, cut), &back)) << cut;
  EXPECT_FALSE(ParseProbeReport("status 0\nclass {junk} 1 2 3 4 x\nend\n", &back));
}

}  // namespace
