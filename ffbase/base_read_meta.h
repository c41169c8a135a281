// SPDX-License-Identifier: MIT
// BaseReadMeta: the metadata side of a read file, around the plug-in's
// IMetaDecoder. Init has the decoder fill a MetaMap once; every slot after
// that answers from the map, as the metadata streams of the RIFF family
// (summary, markers in time form, generic blobs one GUID at a time) or
// through the two managers (media manager and user-defined properties;
// Pulx, stretch chunk and stretch points).
//
// The generic enumeration leaves out the six kinds the interfaces carry
// themselves (user-defined properties, media manager chunk, Pulx chunk,
// stretch chunk, stretch points, project link), so a host that copies both
// doesn't get them twice.
//
// A plug-in derives from it and supplies CreateMetaDecoder (slot 8). Reference
// counted (born with one); every slot takes the object's lock, so hosts may
// call from any thread. The decoder is owned and deleted through its
// virtual destructor.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "ffbase/decoders.h"
#include "ffbase/pulx_manager.h"
#include "ffbase/user_def_manager.h"
#include "fileio/fio_interfaces.h"
#include "fileutil/metamap.h"
#include "platform/export.h"
#include "platform/istream.h"

namespace ffbase {

// {2A33D899-550B-468C-9C47-3CE3900D8734}: the project link, one blob of
// parts, each {u32 id, u32 bytes, bytes}; ids 1 to 9 are the parts the
// project link slots name.
inline constexpr GUID GUID_ZoMetaProjectLink =
    VANE_GUID(0x2A33D899, 0x550B, 0x468C, 0x9C, 0x47, 0x3C, 0xE3, 0x90, 0x0D, 0x87, 0x34);

// The six kinds that GetNextGenericInfo leaves out.
VANE_EXPORT bool IsFixedMetaKind(const GUID& guid);

// A part of a project link blob as a memory stream: 0x8004E00A when the
// blob has no part `id`, 0x8004E008 when the blob is damaged.
[[nodiscard]] VANE_EXPORT HRESULT ReadProjectLinkPart(const std::vector<std::uint8_t>& blob, DWORD id,
                                                      IStream** out);

class VANE_EXPORT BaseReadMeta : public IZoReadMeta,
                                 public IZoReadGenericMeta,
                                 public IZoReadProjectLinkMeta,
                                 public IZoReadProjectLinkMetaEx,
                                 public IZoReadMediaMgrMeta,
                                 public IZoReadPulxMeta {
 public:
  BaseReadMeta();
  BaseReadMeta(const BaseReadMeta&) = delete;
  BaseReadMeta& operator=(const BaseReadMeta&) = delete;

  // IUnknown: answers all six identities; IUnknown is the IZoReadMeta face.
  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;

  // IZoReadMeta, slots 3 to 7.
  // Markers in time form, at the decoder's sample rate. E_INVALIDARG for
  // null, 0x8000FFFF before a successful Init.
  HRESULT GetMarkers(IStream** out) override;
  HRESULT GetCommands(IStream** out) override;   // 0x80004001
  HRESULT GetKeyFrames(IStream** out) override;  // 0x80004001
  // The text of `tag`, cut to the buffer. Absent: an empty text, and
  // 0x8004E00A for the 17 tags a reader is asked for, 0x8004E1FE for others.
  HRESULT GetSummaryInfo(DWORD tag, WCHAR* buffer, DWORD capacity) override;
  HRESULT GetAllSummaryInfo(IStream** out) override;

  // Slot 8: makes the plug-in's decoder (owned by this object afterwards).
  virtual HRESULT CreateMetaDecoder(IMetaDecoder** out) = 0;
  // Slot 9: makes the decoder, has it fill the map from the file `name`
  // (SetFileName, Open, InitMetaMap, Close) and resets the enumeration. On
  // failure the object is left without decoder and with an empty map.
  virtual HRESULT Init(LPCWSTR name);

  // IZoReadGenericMeta. ResetGenericEnum: 0x8000FFFF before Init.
  // GetNextGenericInfo: 1 at the end, else a generic stream of the next GUID.
  HRESULT ResetGenericEnum() override;
  HRESULT GetNextGenericInfo(IStream** out) override;

  // IZoReadProjectLinkMeta: parts 1 to 9 of the project link; 0x80004005
  // before Init.
  HRESULT GetProjectPath(IStream** out) override;
  HRESULT GetCommandLineW(IStream** out) override;
  HRESULT GetRendererGuid(IStream** out) override;
  HRESULT GetTemplateName(IStream** out) override;
  HRESULT GetTemplateData(IStream** out) override;
  HRESULT GetAppTemplateData(IStream** out) override;
  HRESULT GetProjectData(IStream** out) override;
  HRESULT GetCreatorAppInfo(IStream** out) override;
  HRESULT GetCreatorAppWindowClassName(IStream** out) override;
  // IZoReadProjectLinkMetaEx: part `type`.
  HRESULT GetProjectLinkInfo(IStream** out, DWORD type) override;

  // IZoReadMediaMgrMeta and IZoReadPulxMeta: the managers; 0x80004005
  // before Init.
  HRESULT GetAllUserDefinedProps(IStream** out) override;
  HRESULT GetMediaMgrChunk(_zometa_mediamgrchunk* chunk) override;
  HRESULT GetPulxChunk(_tagZOFIO_pulxchunk* chunk) override;
  HRESULT GetStretchChunk(_tagZOFIO_stretchinfo* info) override;
  HRESULT GetStretchPoints(IStream** out) override;

  // A copy of the map Init filled.
  fileutil::MetaMap GetMetaMap() const;
  // The name given to Init, cut to 259 characters.
  const WCHAR* FileName() const { return m_name; }

 protected:
  virtual ~BaseReadMeta();

 private:
  HRESULT ResetGenericEnumLocked();
  HRESULT LinkPart(DWORD id, IStream** out);

  mutable std::mutex m_lock;
  std::atomic<ULONG> m_refs{1};
  std::unique_ptr<IMetaDecoder> m_decoder;
  WCHAR m_name[MAX_PATH] = {};
  fileutil::MetaMap m_map;
  std::vector<GUID> m_enum;
  std::size_t m_next = 0;
  UserDefManager m_userDefs;
  PulxManager m_pulx;
};

}  // namespace ffbase
