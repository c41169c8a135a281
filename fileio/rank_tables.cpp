// SPDX-License-Identifier: MIT
#include "fileio/rank_tables.h"

#include <cstring>

#include "fileio/team_guids.h"

namespace vane::fileio::tables {
namespace {

constexpr GuidPrefix kFixedInit[] = {
    {0xDDDB20E0, 0x9EAE, 0x11D3}, {0x85CB92DF, 0x8309, 0x42F2}, {0x4A5BFB35, 0x1417, 0x4785}};
constexpr GuidPrefix kCatchAll = {0xBFD5DB7F, 0xE73B, 0x41F9};
constexpr GuidPrefix kDependencyParent = {0xCED44F50, 0x8025, 0x44DB};
constexpr GuidPrefix kDependents[] = {
    {0x341D000D, 0x95CA, 0x458A}, {0x9ADE0F71, 0x2E82, 0x4A7C}, {0x34EFD06F, 0xE6D9, 0x4712}};

template <size_t N, size_t M>
int Rank(const GUID& g, const std::array<GUID, N>& first, const std::array<GUID, M>& last) {
  if (g == GUID_NULL) return 0;
  for (size_t i = 0; i < N; ++i)
    if (first[i] == g) return int(N - i);
  for (size_t i = 0; i < M; ++i)
    if (last[i] == g) return -1 - int(i);
  return 0;
}

bool MatchesAt(const BYTE* head, size_t bytes, size_t at, const void* what, size_t n) {
  return at + n <= bytes && std::memcmp(head + at, what, n) == 0;
}

}  // namespace

// Rows of one type stand together; the first row of a group is the class
// that claims the type, the others are alternatives.
const std::array<IdRow, 121> kIdentification = {{
    {0x0009, GUID_NULL},
    {0x0009, GUID_NULL},
    {0x2004, GUID_NULL},
    {0x2004, GUID_NULL},
    {0x2005, GUID_NULL},
    {0x2005, GUID_NULL},
    {0x2009, GUID_NULL},
    {0x2009, GUID_NULL},
    {0x2006, GUID_NULL},
    {0x2006, GUID_NULL},
    {0x000A, GUID_NULL},
    {0x000A, GUID_NULL},
    {0x1000, GUID_NULL},
    {0x1000, GUID_NULL},
    {0x1013, GUID_NULL},
    {0x1013, GUID_NULL},
    {0x0015, GUID_NULL},
    {0x0015, GUID_NULL},
    {0x0015, GUID_NULL},
    {0x1017, GUID_NULL},
    {0x1017, GUID_NULL},
    {0x0019, GUID_NULL},
    {0x0019, GUID_NULL},
    {0x101A, GUID_NULL},
    {0x101A, GUID_NULL},
    {0x1014, GUID_NULL},
    {0x1014, GUID_NULL},
    {0x1002, GUID_NULL},
    {0x1002, GUID_NULL},
    {0x1001, GUID_NULL},
    {0x1001, GUID_NULL},
    {0x0017, GUID_NULL},
    {0x0017, GUID_NULL},
    {0x0004, GUID_NULL},
    {0x0004, GUID_NULL},
    {0x2007, GUID_NULL},
    {0x2007, GUID_NULL},
    {0x2000, GUID_NULL},
    {0x2000, GUID_NULL},
    {0x2008, GUID_NULL},
    {0x2008, GUID_NULL},
    {0x2001, GUID_NULL},
    {0x2001, GUID_NULL},
    {0x2002, GUID_NULL},
    {0x2002, GUID_NULL},
    {0x2003, GUID_NULL},
    {0x2003, GUID_NULL},
    {0x100A, GUID_NULL},
    {0x100A, GUID_NULL},
    {0x100B, GUID_NULL},
    {0x100B, GUID_NULL},
    {0x000F, GUID_NULL},
    {0x000F, GUID_NULL},
    {0x0007, GUID_VaneWaveReader},
    {0x0007, GUID_NULL},
    {0x0007, GUID_NULL},
    {0x0006, GUID_VaneWaveReader},
    {0x0006, GUID_NULL},
    {0x0006, GUID_NULL},
    {0x0002, GUID_VaneWaveReader},
    {0x0002, GUID_NULL},
    {0x0002, GUID_NULL},
    {0x0012, GUID_VaneWaveReader},
    {0x0012, GUID_NULL},
    {0x0012, GUID_NULL},
    {0x0003, GUID_VaneWave64Reader},
    {0x0003, GUID_NULL},
    {0x0003, GUID_NULL},
    {0x1007, GUID_NULL},
    {0x1007, GUID_NULL},
    {0x1005, GUID_NULL},
    {0x1005, GUID_NULL},
    {0x1004, GUID_NULL},
    {0x1004, GUID_NULL},
    {0x1006, GUID_NULL},
    {0x1006, GUID_NULL},
    {0x1003, GUID_NULL},
    {0x1003, GUID_NULL},
    {0x0011, GUID_NULL},
    {0x0011, GUID_NULL},
    {0x0018, GUID_NULL},
    {0x0018, GUID_NULL},
    {0x100F, GUID_NULL},
    {0x100F, GUID_NULL},
    {0x1012, GUID_NULL},
    {0x1012, GUID_NULL},
    {0x1015, GUID_NULL},
    {0x1015, GUID_NULL},
    {0x0016, GUID_NULL},
    {0x0016, GUID_NULL},
    {0x100C, GUID_NULL},
    {0x100C, GUID_NULL},
    {0x100E, GUID_NULL},
    {0x100E, GUID_NULL},
    {0x100D, GUID_NULL},
    {0x100D, GUID_NULL},
    {0x0008, GUID_NULL},
    {0x0008, GUID_NULL},
    {0x000B, GUID_NULL},
    {0x000B, GUID_NULL},
    {0x000C, GUID_NULL},
    {0x000C, GUID_NULL},
    {0x000D, GUID_NULL},
    {0x000D, GUID_NULL},
    {0x1009, GUID_NULL},
    {0x1009, GUID_NULL},
    {0x1009, GUID_NULL},
    {0x000E, GUID_NULL},
    {0x000E, GUID_NULL},
    {0x0010, GUID_NULL},
    {0x0010, GUID_NULL},
    {0x1008, GUID_NULL},
    {0x1008, GUID_NULL},
    {0x0005, GUID_NULL},
    {0x0005, GUID_NULL},
    {0x0005, GUID_NULL},
    {0x0014, GUID_NULL},
    {0x0014, GUID_NULL},
    {0x0014, GUID_NULL},
    {0x101B, GUID_NULL},
    {0x101B, GUID_NULL},
}};

const std::array<GUID, 52> kReaderFirst = {{GUID_VaneWaveReader, GUID_VaneWave64Reader}};
const std::array<GUID, 5> kReaderLast = {};
const std::array<GUID, 28> kRendererFirst = {{GUID_VaneWaveRenderer, GUID_VaneWave64Renderer}};
const std::array<GUID, 2> kRendererLast = {};
const std::array<GUID, 16> kHiddenClasses = {};
// Numeric format ids to classes, grouped by id: 0x6000, 0x6001, 0x7000 and
// the four rows of 0x7002.
const std::array<IdRow, 9> kIdMap = {{
    {0x6000, GUID_VaneWaveReader},
    {0x6000, GUID_NULL},
    {0x6001, GUID_VaneWave64Reader},
    {0x6001, GUID_NULL},
    {0x7000, GUID_NULL},
    {0x7002, GUID_NULL},
    {0x7002, GUID_NULL},
    {0x7002, GUID_NULL},
    {0x7002, GUID_NULL},
}};

int ReaderRank(const GUID& g) { return Rank(g, kReaderFirst, kReaderLast); }
int RendererRank(const GUID& g) { return Rank(g, kRendererFirst, kRendererLast); }

bool IsHiddenClass(const GUID& g) {
  if (g == GUID_NULL) return false;
  for (const GUID& h : kHiddenClasses)
    if (h == g) return true;
  return false;
}

bool IsFixedInitClass(const GUID& g) {
  for (const auto& p : kFixedInit)
    if (p.Matches(g)) return true;
  return false;
}

bool IsCatchAllClass(const GUID& g) { return kCatchAll.Matches(g); }

int ReaderDependency(const GUID& g) {
  if (kDependents[0].Matches(g) || kDependents[1].Matches(g)) return 1;
  if (kDependents[2].Matches(g)) return 2;
  return 0;
}

bool IsDependencyParent(const GUID& g) { return kDependencyParent.Matches(g); }

bool HeaderFilterRefuses(const BYTE* head, size_t bytes) {
  if (!head || bytes < 12) return false;
  if (std::memcmp(head, "RIFF", 4) == 0) {
    static const char* const kForms[] = {"ZOXX", "PULX", "ZOSS", "ZOPL", "ZOPJ"};
    for (const char* form : kForms)
      if (std::memcmp(head + 8, form, 4) == 0) return true;
    if (head[4] == 0 && head[5] == 0 && head[6] == 0 && head[7] == 0) return true;
  }
  if (std::memcmp(head, "ZOPK", 4) == 0 || std::memcmp(head, "MThd", 4) == 0) return true;
  // Wave64 files of the application's own kinds (project, peak and
  // similar side files), told apart by the form GUID at byte 24.
  static const BYTE kW64Riff[16] = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11,
                                    0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
  static const GUID kForms64[] = {
      VANE_GUID(0x46C429EF, 0x904A, 0x11D2, 0x87, 0x22, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A),
      VANE_GUID(0x4D60BD88, 0x7758, 0x11D4, 0x88, 0x3A, 0x00, 0xB0, 0xD0, 0x22, 0x3D, 0x2B),
      VANE_GUID(0x533C1BF6, 0xD635, 0x43F3, 0x8A, 0x90, 0x64, 0xB8, 0x87, 0x23, 0x1F, 0x7F),
  };
  if (bytes >= 41 && MatchesAt(head, bytes, 0, kW64Riff, 16)) {
    for (const GUID& g : kForms64)
      if (MatchesAt(head, bytes, 24, &g, 16)) return true;
  }
  return false;
}

}  // namespace vane::fileio::tables
