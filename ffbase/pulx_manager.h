// SPDX-License-Identifier: MIT
// PulxManager: the loop and stretch items of a read file, taken from the
// metadata map where they stand as generic blobs: the Pulx chunk (24
// bytes), the stretch chunk (28 bytes) and the stretch points (32 bytes
// each, handed out together as an entry stream: a 12-byte head {12, 100,
// count} and the points). A plain value owned by BaseReadMeta, under its
// lock.
#pragma once

#include "fileio/fio_interfaces.h"
#include "fileutil/metamap.h"
#include "platform/export.h"
#include "platform/istream.h"

// The Pulx and stretch chunks, held as they stand; their fields belong to
// the hosts that fill them.
struct _tagZOFIO_pulxchunk {
  DWORD words[6];
};
static_assert(sizeof(_tagZOFIO_pulxchunk) == 24);
struct _tagZOFIO_stretchinfo {
  DWORD words[7];
};
static_assert(sizeof(_tagZOFIO_stretchinfo) == 28);

namespace ffbase {

// {3152F494-C993-4B31-96E1-A33C79C7A8D0}
inline constexpr GUID GUID_ZoMetaPulxChunk =
    VANE_GUID(0x3152F494, 0xC993, 0x4B31, 0x96, 0xE1, 0xA3, 0x3C, 0x79, 0xC7, 0xA8, 0xD0);
// {53CBEDB8-992A-4202-AA8D-E2889279E86F}
inline constexpr GUID GUID_ZoMetaStretchChunk =
    VANE_GUID(0x53CBEDB8, 0x992A, 0x4202, 0xAA, 0x8D, 0xE2, 0x88, 0x92, 0x79, 0xE8, 0x6F);
// {FDB28EB2-7D5E-4A7B-AFBD-F1E38C7EC5F6}: one stretch point.
inline constexpr GUID GUID_ZoMetaStretchPoints =
    VANE_GUID(0xFDB28EB2, 0x7D5E, 0x4A7B, 0xAF, 0xBD, 0xF1, 0xE3, 0x8C, 0x7E, 0xC5, 0xF6);
inline constexpr DWORD kStretchPointBytes = 32;

class VANE_EXPORT PulxManager {
 public:
  // Takes copies of the three kinds from the map, dropping what was held.
  // Stretch points that are not 32 bytes are left out.
  void Init(const fileutil::MetaMap& map);
  void Clear();
  // 0x8004E00A when the map had no such chunk; 0x8004E008 for a blob of the
  // wrong size (the record is then left alone).
  HRESULT GetPulxChunk(_tagZOFIO_pulxchunk* chunk) const;
  HRESULT GetStretchChunk(_tagZOFIO_stretchinfo* info) const;
  // An entry stream of all points (count 0 when there are none).
  HRESULT GetStretchPoints(IStream** out) const;

 private:
  fileutil::MetaMap m_items;
};

}  // namespace ffbase
