// SPDX-License-Identifier: MIT
// Status text lookup: order, line feeds and the dead duplicate row.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "kernel/status_table.h"
#include "platform/status.h"

namespace vane::kernel {
namespace {

std::u16string Text(HRESULT status) {
  const WCHAR* t = ZoStatus_FindText(status);
  return t ? std::u16string(t) : std::u16string();
}

TEST(StatusTable, FirstOfTwoRowsWins) {
  const auto rows = BuiltInStatusRows();
  int seen = 0;
  const WCHAR* first = nullptr;
  for (const StatusRow& row : rows) {
    if (row.status != MakeStatus(0x8004E02A)) continue;
    if (++seen == 1) first = row.text;
  }
  ASSERT_EQ(seen, 2);
  EXPECT_EQ(ZoStatus_FindText(MakeStatus(0x8004E02A)), first);
}

TEST(StatusTable, LookupReturnsTheFirstRowOfEveryCode) {
  std::set<HRESULT> seen;
  for (const StatusRow& row : BuiltInStatusRows()) {
    if (!seen.insert(row.status).second) continue;
    EXPECT_EQ(ZoStatus_FindText(row.status), row.text) << std::hex << row.status;
  }
  EXPECT_GE(seen.size(), 150u);
}

TEST(StatusTable, TextsCarryLineFeedsExceptTheMarkedOnes) {
  EXPECT_EQ(Text(E_FAIL), u"\n\nThe reason for the error could not be determined.");
  EXPECT_EQ(Text(ZOERR_BAD_FORMAT), u"\n\nThe file is most likely corrupted or of an unknown format.");
  EXPECT_EQ(Text(ZOERR_BUFFER_TOO_SMALL), u"Buffer to small.");
  EXPECT_EQ(Text(MakeStatus(0x8004E031)),
            u"One or more effects in the package failed to load.\n\nDo you want to try to load the loadable effects "
            u"from the chain?");
  EXPECT_EQ(Text(ZOSTATUS_PARTIAL_RECOVERY).substr(0, 2), u"\n\n");
}

TEST(StatusTable, UnknownCodesAndSuccessHaveNoText) {
  EXPECT_EQ(ZoStatus_FindText(S_OK), nullptr);
  EXPECT_EQ(ZoStatus_FindText(MakeStatus(0x8004E17C)), nullptr);  // the disc recorder's rows are not carried
  EXPECT_EQ(ZoStatus_FindText(MakeStatus(0x12345678)), nullptr);
}

}  // namespace
}  // namespace vane::kernel
