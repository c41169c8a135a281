// SPDX-License-Identifier: MIT
// UserDefManager: the media manager's items of a read file, taken from the
// metadata map where they stand as generic blobs: the media manager chunk
// (12 bytes, one blob) and the user-defined properties (one blob each,
// handed out together as an entry stream: a 12-byte head {12, 100, count}
// and the properties as they stand). A plain value owned by BaseReadMeta,
// under its lock.
#pragma once

#include "fileio/fio_interfaces.h"
#include "fileutil/metamap.h"
#include "platform/export.h"
#include "platform/istream.h"

// The media manager chunk, held as it stands; its words belong to the hosts
// that fill it.
struct _zometa_mediamgrchunk {
  DWORD words[3];
};
static_assert(sizeof(_zometa_mediamgrchunk) == 12);

namespace ffbase {

// {2183E19B-0225-455C-9FBF-7514AFFDBA7D}: one user-defined property.
inline constexpr GUID GUID_ZoMetaUserDefProps =
    VANE_GUID(0x2183E19B, 0x0225, 0x455C, 0x9F, 0xBF, 0x75, 0x14, 0xAF, 0xFD, 0xBA, 0x7D);
// {CDB04C70-91A0-4668-AD38-6873E2956415}: the media manager chunk.
inline constexpr GUID GUID_ZoMetaMediaMgrChunk =
    VANE_GUID(0xCDB04C70, 0x91A0, 0x4668, 0xAD, 0x38, 0x68, 0x73, 0xE2, 0x95, 0x64, 0x15);

// A user-defined property is a 56-byte head whose last two words give the
// byte sizes of the two parts behind it; the rest of the head belongs to the
// hosts that fill it.
inline constexpr DWORD kUserDefPropHeadBytes = 56;
// The whole size of a property from its head (at least 56 bytes readable).
VANE_EXPORT ULONGLONG UserDefPropBytes(const BYTE* head);

class VANE_EXPORT UserDefManager {
 public:
  // Takes copies of the two kinds from the map, dropping what was held.
  // A property whose head does not match its size is left out.
  void Init(const fileutil::MetaMap& map);
  void Clear();
  // An entry stream of all properties (count 0 when there are none).
  HRESULT GetAllUserDefinedProps(IStream** out) const;
  // 0x8004E00A when the map had no chunk; 0x8004E008 for a blob that is not
  // 12 bytes (the chunk is then left alone).
  HRESULT GetMediaMgrChunk(_zometa_mediamgrchunk* chunk) const;

 private:
  fileutil::MetaMap m_items;
};

}  // namespace ffbase
