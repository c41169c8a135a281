// SPDX-License-Identifier: MIT
// BaseRenderFile: one file being written by a renderer class. It holds the
// template, the read streams (one per output stream), at most one metadata
// reader and the destination name. Render writes the file beside the
// destination and renames it into place only when the plug-in's render and
// the metadata step both succeeded; a failure or a cancel leaves an existing
// destination as it was. The static operations gather a reader's metadata
// into a MetaMap for the plug-in's metadata writer.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "ffbase/read_streams.h"
#include "fileio/fio_interfaces.h"
#include "fileio/zotemplate.h"
#include "fileutil/metamap.h"
#include "platform/export.h"

namespace ffbase {

class BaseRenderFileClass;

// Status 1: the step found nothing to gather, which is no failure.
inline constexpr HRESULT kNothingGathered = 1;

class VANE_EXPORT BaseRenderFile : public IZoRenderFile {
 public:
  // Takes ownership of tmpl; holds a reference on owner.
  BaseRenderFile(BaseRenderFileClass* owner, tagZOTEMPLATExV2* tmpl);
  BaseRenderFile(const BaseRenderFile&) = delete;
  BaseRenderFile& operator=(const BaseRenderFile&) = delete;

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT GetRenderFileClass(IZoRenderFileClass** out) override;
  HRESULT CloseFile() override;
  HRESULT IsFileOpen() override;
  HRESULT OpenFile(DWORD access, DWORD share) override;
  HRESULT SetFile(LPCWSTR name) override;
  HRESULT GetFileName(WCHAR* buffer, DWORD capacity) override;
  HRESULT GetStreamCount(LONG* count) override;
  HRESULT GetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* records, LONG first, LONG count) override;
  HRESULT SetStreamFormatInfo(const _ZOFILESTREAMFORMATINFOv2* records, LONG count) override;
  HRESULT SetStreamReader(IZoReadStream* stream, LONG index) override;
  HRESULT SetMetaReader(IZoReadMeta* meta) override;
  HRESULT GetTemplate(tagZOTEMPLATExV2** out, DWORD flags) override;
  HRESULT EstimateFileSize(LONGLONG* bytes) override;
  HRESULT Render(IZoProgress* progress) override;
  // Gathers the metadata reader into a map and gives it to WriteMetadata
  // with the file that Render is writing (or the destination afterwards).
  HRESULT UpdateMetaData(DWORD kinds, DWORD encoding) override;

  // Slot 18: writes the map's metadata into the finished file `name`.
  virtual HRESULT WriteMetadata(const fileutil::MetaMap& map, LPCWSTR name, DWORD kinds) = 0;
  // Slot 19: the render itself, into `name`.
  virtual HRESULT RenderFile(LPCWSTR name, const tagZOTEMPLATExV2* tmpl, ReadStreams& streams,
                             IZoProgress* progress) = 0;

  // Metadata gathering. A null reader does nothing; status 1 means the step
  // found nothing and counts as going on.
  static HRESULT InitMapFromMeta(IZoReadMeta* reader, fileutil::MetaMap& map);
  // The five steps, then the legacy markers (sample form at `rate`) when the
  // map holds no marker generic.
  static HRESULT InitMapFromMeta(IZoReadMeta* reader, fileutil::MetaMap& map, DWORD kinds, DWORD rate);
  static HRESULT InitNonLegacyItems(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetSummaryInfo(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetGenericMeta(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetProjectLink(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetMediaManagerInfo(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetPulxInfo(IZoReadMeta* reader, fileutil::MetaMap& map);
  static HRESULT GetLegacyMarkers(IZoReadMeta* reader, DWORD kinds, DWORD rate, fileutil::MetaMap& map);

  const tagZOTEMPLATExV2* Template() const { return m_template; }
  ReadStreams& Streams() { return m_streams; }

 protected:
  virtual ~BaseRenderFile();
  // The sample rate of the first audio stream, for marker conversion; 0 without one.
  DWORD SourceRate();

 private:
  std::atomic<ULONG> m_refs{1};
  BaseRenderFileClass* m_owner;
  tagZOTEMPLATExV2* m_template;
  ReadStreams m_streams;
  std::mutex m_lock;
  IZoReadMeta* m_meta = nullptr;
  std::u16string m_name;
  std::u16string m_writing;  // the file Render is writing; empty otherwise
};

// Builds a map from a reader and writes it into an MP4 file; needs the MP4
// encoder, which this build does not have yet (0x80004001).
VANE_EXPORT HRESULT ApplyMetadataToFile(LPCWSTR name, IZoReadMeta* reader);

}  // namespace ffbase
