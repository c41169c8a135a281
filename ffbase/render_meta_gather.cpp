// SPDX-License-Identifier: MIT
// The metadata-gathering steps of BaseRenderFile: each asks the reader for
// one family of items and stores them in the map as the writers expect.
#include <cstring>
#include <vector>

#include "ffbase/base_read_meta.h"
#include "ffbase/base_render_file.h"
#include "ffbase/pulx_manager.h"
#include "ffbase/user_def_manager.h"
#include "fileutil/meta_stream.h"
#include "platform/status.h"

namespace ffbase {
namespace {

constexpr HRESULT kUnknownSummaryTag = MakeStatus(0x8004E1FE);
constexpr DWORD kEntryHeadBytes = 12;
constexpr DWORD kProjectLinkParts = 9;

// Every byte of a stream from its present position, bounded.
std::vector<BYTE> ReadAll(IStream* stream, size_t limit = size_t(1) << 30) {
  std::vector<BYTE> all;
  BYTE buffer[8192];
  for (;;) {
    ULONG got = 0;
    const HRESULT hr = stream->Read(buffer, sizeof buffer, &got);
    if (got) all.insert(all.end(), buffer, buffer + got);
    if (FAILED(hr) || got < sizeof buffer || all.size() > limit) break;
  }
  return all;
}

// Entries of an entry stream {12, version, count} as slices of `all`; a
// damaged entry ends the walk with what came whole.
template <typename SizeOf>
std::vector<std::vector<BYTE>> Entries(const std::vector<BYTE>& all, DWORD minimum, SizeOf sizeOf) {
  std::vector<std::vector<BYTE>> out;
  if (all.size() < kEntryHeadBytes) return out;
  DWORD head = 0, count = 0;
  std::memcpy(&head, all.data(), 4);
  std::memcpy(&count, all.data() + 8, 4);
  size_t at = head < kEntryHeadBytes ? kEntryHeadBytes : head;
  for (DWORD i = 0; i < count && at <= all.size() && all.size() - at >= minimum; ++i) {
    const ULONGLONG bytes = sizeOf(all.data() + at);
    if (bytes < minimum || bytes > all.size() - at) break;
    out.emplace_back(all.begin() + long(at), all.begin() + long(at + bytes));
    at += size_t(bytes);
  }
  return out;
}

HRESULT Step(HRESULT hr) { return hr == kNothingGathered || SUCCEEDED(hr) ? S_OK : hr; }

}  // namespace

HRESULT BaseRenderFile::InitNonLegacyItems(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  VANE_RETURN_IF_FAILED(Step(GetSummaryInfo(reader, map)));
  VANE_RETURN_IF_FAILED(Step(GetGenericMeta(reader, map)));
  VANE_RETURN_IF_FAILED(Step(GetProjectLink(reader, map)));
  VANE_RETURN_IF_FAILED(Step(GetMediaManagerInfo(reader, map)));
  return Step(GetPulxInfo(reader, map));
}

HRESULT BaseRenderFile::InitMapFromMeta(IZoReadMeta* reader, fileutil::MetaMap& map) {
  return InitNonLegacyItems(reader, map);
}

HRESULT BaseRenderFile::InitMapFromMeta(IZoReadMeta* reader, fileutil::MetaMap& map, DWORD kinds, DWORD rate) {
  if (!reader) return S_OK;
  VANE_RETURN_IF_FAILED(InitNonLegacyItems(reader, map));
  if (map.numGenerics(fileutil::GUID_ZoMetaMarkers) != 0) return S_OK;
  return Step(GetLegacyMarkers(reader, kinds, rate, map));
}

HRESULT BaseRenderFile::GetSummaryInfo(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IStream* stream = nullptr;
  const HRESULT hr = reader->GetAllSummaryInfo(&stream);
  if (hr == ZOERR_NOT_FOUND || hr == kUnknownSummaryTag) return kNothingGathered;
  if (FAILED(hr)) return hr;
  if (!stream) return kNothingGathered;
  map.init(stream);
  stream->Release();
  return S_OK;
}

HRESULT BaseRenderFile::GetGenericMeta(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IZoReadGenericMeta* generic = nullptr;
  HRESULT hr = reader->QueryInterface(IID_IZoReadGenericMeta, reinterpret_cast<void**>(&generic));
  if (hr == E_NOINTERFACE || !generic) return kNothingGathered;
  if (FAILED(hr)) return hr;
  hr = generic->ResetGenericEnum();
  while (SUCCEEDED(hr)) {
    IStream* stream = nullptr;
    hr = generic->GetNextGenericInfo(&stream);
    if (hr != S_OK || !stream) break;
    map.initGeneric(stream);
    stream->Release();
  }
  generic->Release();
  return FAILED(hr) ? hr : S_OK;
}

HRESULT BaseRenderFile::GetProjectLink(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IZoReadProjectLinkMetaEx* link = nullptr;
  if (FAILED(reader->QueryInterface(IID_IZoReadProjectLinkMetaEx, reinterpret_cast<void**>(&link))) || !link)
    return kNothingGathered;
  // The parts are joined back into one blob of {id, bytes, bytes}.
  std::vector<BYTE> blob;
  for (DWORD id = 1; id <= kProjectLinkParts; ++id) {
    IStream* stream = nullptr;
    if (FAILED(link->GetProjectLinkInfo(&stream, id)) || !stream) continue;
    const std::vector<BYTE> part = ReadAll(stream);
    stream->Release();
    const DWORD head[2] = {id, DWORD(part.size())};
    const BYTE* h = reinterpret_cast<const BYTE*>(head);
    blob.insert(blob.end(), h, h + sizeof head);
    blob.insert(blob.end(), part.begin(), part.end());
  }
  link->Release();
  if (blob.empty()) return kNothingGathered;
  map.addGeneric(GUID_ZoMetaProjectLink, blob);
  return S_OK;
}

HRESULT BaseRenderFile::GetMediaManagerInfo(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IZoReadMediaMgrMeta* media = nullptr;
  if (FAILED(reader->QueryInterface(IID_IZoReadMediaMgrMeta, reinterpret_cast<void**>(&media))) || !media)
    return kNothingGathered;
  bool found = false;
  _zometa_mediamgrchunk chunk{};
  if (media->GetMediaMgrChunk(&chunk) == S_OK) {
    const BYTE* p = reinterpret_cast<const BYTE*>(&chunk);
    map.addGeneric(GUID_ZoMetaMediaMgrChunk, std::vector<BYTE>(p, p + sizeof chunk));
    found = true;
  }
  IStream* stream = nullptr;
  if (SUCCEEDED(media->GetAllUserDefinedProps(&stream)) && stream) {
    for (auto& item : Entries(ReadAll(stream), kUserDefPropHeadBytes, &UserDefPropBytes)) {
      map.addGeneric(GUID_ZoMetaUserDefProps, item);
      found = true;
    }
    stream->Release();
  }
  media->Release();
  return found ? S_OK : kNothingGathered;
}

HRESULT BaseRenderFile::GetPulxInfo(IZoReadMeta* reader, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IZoReadPulxMeta* pulx = nullptr;
  if (FAILED(reader->QueryInterface(IID_IZoReadPulxMeta, reinterpret_cast<void**>(&pulx))) || !pulx)
    return kNothingGathered;
  bool found = false;
  _tagZOFIO_pulxchunk chunk{};
  if (pulx->GetPulxChunk(&chunk) == S_OK) {
    const BYTE* p = reinterpret_cast<const BYTE*>(&chunk);
    map.addGeneric(GUID_ZoMetaPulxChunk, std::vector<BYTE>(p, p + sizeof chunk));
    found = true;
  }
  _tagZOFIO_stretchinfo stretch{};
  if (pulx->GetStretchChunk(&stretch) == S_OK) {
    const BYTE* p = reinterpret_cast<const BYTE*>(&stretch);
    map.addGeneric(GUID_ZoMetaStretchChunk, std::vector<BYTE>(p, p + sizeof stretch));
    found = true;
  }
  IStream* stream = nullptr;
  if (SUCCEEDED(pulx->GetStretchPoints(&stream)) && stream) {
    for (auto& point : Entries(ReadAll(stream), kStretchPointBytes, [](const BYTE*) { return ULONGLONG(kStretchPointBytes); })) {
      map.addGeneric(GUID_ZoMetaStretchPoints, point);
      found = true;
    }
    stream->Release();
  }
  pulx->Release();
  return found ? S_OK : kNothingGathered;
}

HRESULT BaseRenderFile::GetLegacyMarkers(IZoReadMeta* reader, DWORD, DWORD rate, fileutil::MetaMap& map) {
  if (!reader) return S_OK;
  IStream* stream = nullptr;
  HRESULT hr = reader->GetMarkers(&stream);
  if (hr == ZOERR_NOT_FOUND || (SUCCEEDED(hr) && !stream)) return kNothingGathered;
  if (FAILED(hr)) return hr;
  auto* samples = new (std::nothrow) fileutil::MetaLegacyMarkerStream();
  hr = samples ? samples->Init(stream, rate) : E_OUTOFMEMORY;
  stream->Release();
  if (SUCCEEDED(hr)) {
    LARGE_INTEGER zero{};
    samples->Seek(zero, STREAM_SEEK_SET, nullptr);
    map.initGeneric(samples);
  }
  if (samples) samples->Release();
  return hr;
}

}  // namespace ffbase
