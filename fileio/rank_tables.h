// SPDX-License-Identifier: MIT
// The manager's fixed tables: class ranks for the sort order, the
// identification table of the probe's first stage, the hidden classes, the
// classes initialised on every start, the id map, and the header filter.
// Rows whose GUID is null stand for formats without a team plug-in and never
// match anything.
#pragma once

#include <array>
#include <cstddef>

#include "platform/guid.h"

namespace vane::fileio::tables {

struct IdRow {
  DWORD type;  // as ZoIsQuicklyIdentifiableMediaFileFormat names it
  GUID reader;
};

// Classes only the first 12 bytes of whose id are fixed (Data1..Data3).
struct GuidPrefix {
  DWORD data1;
  WORD data2;
  WORD data3;
  bool Matches(const GUID& g) const { return g.Data1 == data1 && g.Data2 == data2 && g.Data3 == data3; }
};

extern const std::array<IdRow, 121> kIdentification;
extern const std::array<GUID, 52> kReaderFirst;
extern const std::array<GUID, 5> kReaderLast;
extern const std::array<GUID, 28> kRendererFirst;
extern const std::array<GUID, 2> kRendererLast;
extern const std::array<GUID, 16> kHiddenClasses;
extern const std::array<IdRow, 9> kIdMap;

// Rank of a class: first-table row i of n ranks n - i, last-table row i
// ranks -1 - i, any other class 0.
int ReaderRank(const GUID& g);
int RendererRank(const GUID& g);

bool IsHiddenClass(const GUID& g);
// The classes initialised on every start unless init-flag bit 1 is set.
bool IsFixedInitClass(const GUID& g);
// The catch-all reader, which never becomes the last used class.
bool IsCatchAllClass(const GUID& g);
// Readers that need their parent class (and, for the last, the readers of
// ids 0x7002 and 0x6000) initialised first. Returns 0 for none, 1 for a
// child, 2 for the child that also needs the id readers.
int ReaderDependency(const GUID& g);
bool IsDependencyParent(const GUID& g);

// Whether the head of a file must never reach a plug-in.
bool HeaderFilterRefuses(const BYTE* head, size_t bytes);

}  // namespace vane::fileio::tables
