// SPDX-License-Identifier: MIT
#include "riff/meta_write_source.h"

#include <cstring>
#include <string>
#include <vector>

#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/detail/file_access.h"
#include "riff/meta_write.h"
#include "riff/riff_api.h"
#include "riff/summary.h"

namespace {

constexpr DWORD kFourCC_ZOPL = ZoFourCC("ZOPL");
constexpr DWORD kFourCC_ZOPI = ZoFourCC("ZOPI");
constexpr DWORD kKindsWritten = ZOFIO_META_SUMMARY | ZOFIO_META_MARKERS;

// The metadata of the source, read once.
struct Source {
  bool haveMarkers = false, haveSummary = false;  // the stream exists
  std::vector<vane::riff::MarkerSample> markers;   // from the time form
  std::vector<std::pair<DWORD, std::u16string>> summary;
};

Source ReadSource(IZoReadMeta* meta, DWORD rate) {
  Source s;
  if (!meta) return s;
  IStream* stream = nullptr;
  fileutil::MetaStreamContent content;
  if (SUCCEEDED(meta->GetMarkers(&stream)) && stream) {
    s.haveMarkers = SUCCEEDED(fileutil::ReadMetaStream(stream, &content));
    DWORD index = 0;
    for (const fileutil::MetaItem& item : content.items) {
      fileutil::ZOMETAMARKERTIME r{};
      std::u16string text;
      if (FAILED(fileutil::ParseMarkerTime(item.data, &r, &text))) continue;
      ++index;
      const LONGLONG start = fileutil::MetaSamplesFromTime(r.start, rate);
      // A region's length is the difference of its converted end and start.
      const LONGLONG length = r.region ? fileutil::MetaSamplesFromTime(r.start + r.length, rate) - start : -1;
      s.markers.push_back({index, start, length, std::move(text)});
    }
    stream->Release();
  }
  stream = nullptr;
  content = {};
  if (SUCCEEDED(meta->GetAllSummaryInfo(&stream)) && stream) {
    s.haveSummary = SUCCEEDED(fileutil::ReadMetaStream(stream, &content));
    for (const fileutil::MetaItem& item : content.items) {
      DWORD tag = 0;
      std::u16string text;
      if (SUCCEEDED(fileutil::ParseSummaryItem(item.data, &tag, &text))) s.summary.emplace_back(tag, std::move(text));
    }
    stream->Release();
  }
  return s;
}

// The kinds asked for that the source has: in a write a stream counts when it
// has items, in an update when it exists (so that empty lists delete).
DWORD Narrow(DWORD kinds, const Source& s, bool update) {
  DWORD out = 0;
  if ((kinds & ZOFIO_META_MARKERS) && (update ? s.haveMarkers : !s.markers.empty())) out |= ZOFIO_META_MARKERS;
  if ((kinds & ZOFIO_META_SUMMARY) && (update ? s.haveSummary : !s.summary.empty())) out |= ZOFIO_META_SUMMARY;
  return out;
}

HRESULT WriteKinds(HANDLE file, DWORD kinds, const Source& s) {
  if (kinds & ZOFIO_META_MARKERS) {
    // The time form writes "cue " and "adtl" only; what 32 bits cannot hold is left out.
    std::vector<vane::riff::MarkerSample> fits;
    for (const auto& m : s.markers)
      if (m.position >= 0 && m.position <= 0xFFFFFFFFLL && m.length <= 0xFFFFFFFFLL) fits.push_back(m);
    VANE_RETURN_IF_FAILED(vane::riff::WriteMarkerChunks(file, fits));
  }
  if ((kinds & ZOFIO_META_SUMMARY) && !s.summary.empty()) {
    ZOSUMMARY record{};
    for (const auto& [tag, text] : s.summary) ZoSummary_SetItem(&record, tag, text.c_str());
    const HRESULT hr = vane::riff::WriteSummaryChunk(file, &record);
    ZoSummary_Free(&record);
    VANE_RETURN_IF_FAILED(hr);
  }
  return S_OK;
}

std::u16string Leaf(const WCHAR* name) {
  const std::u16string s = name;
  const size_t slash = s.find_last_of(u'/');
  return slash == std::u16string::npos ? s : s.substr(slash + 1);
}

HANDLE OpenReadWrite(const WCHAR* name) {
  return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                     nullptr);
}

// Creates a side file anew: the "ZOPL" form, the kinds, then "ZOPI".
HRESULT CreateSideFile(const WCHAR* side, const WCHAR* media, DWORD kinds, const Source& s) {
  HANDLE file = CreateFileW(side, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_CREATE;
  HRESULT hr = riff_WriteFileID(file, kFourCC_ZOPL, 4);
  if (SUCCEEDED(hr)) hr = WriteKinds(file, kinds, s);
  if (SUCCEEDED(hr)) hr = ZoFMMeta_AttachFileToExternList(file, media);
  CloseHandle(file);
  return hr;
}

// The side file of `name` under either of its names, or empty.
std::u16string FindSideFile(const WCHAR* name) {
  for (BOOL append : {FALSE, TRUE}) {
    WCHAR side[1024];
    ZoFMMeta_CreateMetaName(name, side, 1024, append);
    if (ZoFMMeta_IsMetaFile(name, side)) return side;
  }
  return {};
}

}  // namespace

VANE_EXTERN_C HRESULT ZoFMMeta_CreateMetaName(const WCHAR* source, WCHAR* out, DWORD capacity, BOOL append) {
  if (!source || !out || capacity == 0) return S_OK;
  std::u16string name = source;
  if (!append) {
    const size_t slash = name.find_last_of(u'/');
    const size_t dot = name.find_last_of(u'.');
    if (dot != std::u16string::npos && (slash == std::u16string::npos || dot > slash)) name.resize(dot);
  }
  name += u".zol";
  if (name.size() + 1 > capacity) {
    // Cut the source to fit and keep the extension.
    const size_t keep = capacity > 5 ? capacity - 5 : 0;
    name = std::u16string(source).substr(0, keep) + u".zol";
    if (name.size() + 1 > capacity) name = name.substr(name.size() + 1 - capacity);
  }
  std::memcpy(out, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
  return S_OK;
}

VANE_EXTERN_C BOOL ZoFMMeta_IsMetaFile(const WCHAR* mediaName, const WCHAR* candidate) {
  if (!mediaName || !candidate) return FALSE;
  HANDLE file = CreateFileW(candidate, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return FALSE;
  DWORD size = 0;
  BOOL same = FALSE;
  if (SUCCEEDED(riff_FindChunkHeaderInRIFF(file, kFourCC_ZOPI, &size, nullptr))) {
    char text[260] = {};
    const DWORD n = size < 259 ? size : 259;
    if (vane::riff::FileReadExact(file, text, n)) {
      text[n] = 0;
      same = vane::platform::FromCodePage(text, CP_ACP) == Leaf(mediaName) ? TRUE : FALSE;
    }
  }
  CloseHandle(file);
  return same;
}

VANE_EXTERN_C HRESULT ZoFMMeta_AttachFileToExternList(HANDLE sideFile, const WCHAR* mediaName) {
  if (!mediaName) return E_FAIL;
  std::string leaf = vane::platform::ToCodePage(Leaf(mediaName), CP_ACP);
  leaf.push_back('\0');
  return vane::riff::AppendChunk(sideFile, kFourCC_ZOPI, leaf.data(), DWORD(leaf.size()));
}

VANE_EXTERN_C HRESULT ZoFMMeta_openAndWriteMetaStreamEx(const WCHAR* name, BOOL noDelete, DWORD rate, IZoReadMeta* meta,
                                                        DWORD embedded, DWORD external) {
  if (!name || !meta) return E_INVALIDARG;
  const Source s = ReadSource(meta, rate);
  const DWORD outside = Narrow(external & kKindsWritten, s, false);
  WCHAR side[1024];
  for (BOOL append : {FALSE, TRUE}) {
    ZoFMMeta_CreateMetaName(name, side, 1024, append);
    if (ZoFMMeta_IsMetaFile(name, side)) DeleteFileW(side);
  }
  if (outside) VANE_RETURN_IF_FAILED(CreateSideFile(side, name, outside, s));
  const DWORD inside = embedded & kKindsWritten;
  if (!inside) return S_OK;
  if (!noDelete) VANE_RETURN_IF_FAILED(ZoFMMeta_DeleteMetaChunksEx(name, inside, FALSE));
  HANDLE file = OpenReadWrite(name);
  if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  const HRESULT hr = WriteKinds(file, Narrow(inside, s, false), s);
  CloseHandle(file);
  return hr;
}

VANE_EXTERN_C HRESULT ZoFMMeta_openAndWriteMetaStream(const WCHAR* name, BOOL noDelete, BOOL external, DWORD rate,
                                                      IZoReadMeta* meta) {
  const DWORD kinds = ZOFIO_META_SUMMARY | ZOFIO_META_MARKERS;
  return ZoFMMeta_openAndWriteMetaStreamEx(name, noDelete, rate, meta, external ? 0 : kinds, external ? kinds : 0);
}

VANE_EXTERN_C HRESULT ZoFMMeta_WriteMetaStreamEx(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta,
                                                 DWORD kinds) {
  return ZoFMMeta_openAndWriteMetaStreamEx(name, TRUE, rate, meta, external ? 0 : kinds, external ? kinds : 0);
}

VANE_EXTERN_C HRESULT ZoFMMeta_UpdateMetaStream2(const WCHAR* name, DWORD rate, IZoReadMeta* meta, DWORD embedded,
                                                 DWORD external) {
  if (!name || !meta) return E_INVALIDARG;
  const Source s = ReadSource(meta, rate);
  const DWORD inside = Narrow(embedded & kKindsWritten, s, true);
  const DWORD outside = Narrow(external & kKindsWritten, s, true);
  std::u16string side = FindSideFile(name);
  if (outside) {
    if (side.empty()) {
      WCHAR made[1024];
      ZoFMMeta_CreateMetaName(name, made, 1024, TRUE);
      VANE_RETURN_IF_FAILED(CreateSideFile(made, name, outside, s));
    } else {
      VANE_RETURN_IF_FAILED(ZoFMMeta_DeleteMetaChunksEx(side.c_str(), outside, FALSE));
      HANDLE file = OpenReadWrite(side.c_str());
      if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
      const HRESULT hr = WriteKinds(file, outside, s);
      CloseHandle(file);
      VANE_RETURN_IF_FAILED(hr);
    }
  }
  if (!inside) return S_OK;
  // A kind moved into the file does not stay behind in the side file.
  if (!side.empty()) ZoFMMeta_DeleteMetaChunksEx(side.c_str(), inside, FALSE);
  VANE_RETURN_IF_FAILED(ZoFMMeta_DeleteMetaChunksEx(name, inside, FALSE));
  HANDLE file = OpenReadWrite(name);
  if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  const HRESULT hr = WriteKinds(file, inside, s);
  CloseHandle(file);
  return hr;
}

VANE_EXTERN_C HRESULT ZoFMMeta_UpdateMetaStreamEx(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta,
                                                  DWORD kinds) {
  return ZoFMMeta_UpdateMetaStream2(name, rate, meta, external ? 0 : kinds, external ? kinds : 0);
}

VANE_EXTERN_C HRESULT ZoFMMeta_UpdateMetaStream(const WCHAR* name, BOOL external, DWORD rate, IZoReadMeta* meta) {
  return ZoFMMeta_UpdateMetaStreamEx(name, external, rate, meta, ZOFIO_META_MARKERS);
}
