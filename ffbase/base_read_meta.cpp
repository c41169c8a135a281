// SPDX-License-Identifier: MIT
#include "ffbase/base_read_meta.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <set>

#include "fileutil/meta_stream.h"
#include "platform/wtext.h"

namespace ffbase {
namespace {

constexpr HRESULT kUnknownSummaryTag = MakeStatus(0x8004E1FE);

constexpr DWORD Tag(const char (&s)[5]) {
  return DWORD(BYTE(s[0])) | DWORD(BYTE(s[1])) << 8 | DWORD(BYTE(s[2])) << 16 | DWORD(BYTE(s[3])) << 24;
}

// The tags a host asks a reader for; an absent one of these is "not found",
// any other tag is "not known".
constexpr DWORD kSummaryTags[] = {Tag("ISRC"), Tag("TIT2"), Tag("IAAT"), Tag("IART"), Tag("ICMT"), Tag("ICOP"),
                                  Tag("ISBJ"), Tag("IGNR"), Tag("IKEY"), Tag("INAM"), Tag("ICRD"), Tag("TRCK"),
                                  Tag("ISFT"), Tag("TLEN"), Tag("gnid"), Tag("gnxd"), Tag("VCHP")};

const GUID* const kFixedKinds[] = {&GUID_ZoMetaUserDefProps, &GUID_ZoMetaMediaMgrChunk, &GUID_ZoMetaPulxChunk,
                                   &GUID_ZoMetaStretchChunk, &GUID_ZoMetaStretchPoints, &GUID_ZoMetaProjectLink};

// Hands a new stream with its one reference to `out`, or releases it.
template <typename S>
HRESULT HandOut(S* s, HRESULT hr, IStream** out) {
  if (FAILED(hr)) {
    s->Release();
    return hr;
  }
  *out = s;
  return S_OK;
}

}  // namespace

bool IsFixedMetaKind(const GUID& guid) {
  return std::any_of(std::begin(kFixedKinds), std::end(kFixedKinds), [&](const GUID* g) { return *g == guid; });
}

HRESULT ReadProjectLinkPart(const std::vector<std::uint8_t>& blob, DWORD id, IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  std::size_t at = 0;
  while (at < blob.size()) {
    DWORD head[2];
    if (blob.size() - at < sizeof head) return ZOERR_FILE_READ;
    std::memcpy(head, blob.data() + at, sizeof head);
    at += sizeof head;
    if (head[1] > blob.size() - at) return ZOERR_FILE_READ;
    if (head[0] == id) {
      *out = SHCreateMemStream(blob.data() + at, head[1]);
      return *out ? S_OK : E_OUTOFMEMORY;
    }
    at += head[1];
  }
  return ZOERR_NOT_FOUND;
}

BaseReadMeta::BaseReadMeta() = default;
BaseReadMeta::~BaseReadMeta() = default;

HRESULT BaseReadMeta::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  void* face = nullptr;
  if (iid == IID_IUnknown || iid == IID_IZoReadMeta) face = static_cast<IZoReadMeta*>(this);
  else if (iid == IID_IZoReadGenericMeta) face = static_cast<IZoReadGenericMeta*>(this);
  else if (iid == IID_IZoReadProjectLinkMeta) face = static_cast<IZoReadProjectLinkMeta*>(this);
  else if (iid == IID_IZoReadProjectLinkMetaEx) face = static_cast<IZoReadProjectLinkMetaEx*>(this);
  else if (iid == IID_IZoReadMediaMgrMeta) face = static_cast<IZoReadMediaMgrMeta*>(this);
  else if (iid == IID_IZoReadPulxMeta) face = static_cast<IZoReadPulxMeta*>(this);
  *out = face;
  if (!face) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG BaseReadMeta::AddRef() { return ++m_refs; }

ULONG BaseReadMeta::Release() {
  const ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT BaseReadMeta::Init(LPCWSTR name) {
  if (!name) return E_INVALIDARG;
  std::lock_guard<std::mutex> g(m_lock);
  m_decoder.reset();
  m_map.clear();
  m_userDefs.Clear();
  m_pulx.Clear();
  m_enum.clear();
  m_next = 0;
  try {
    IMetaDecoder* made = nullptr;
    HRESULT hr = CreateMetaDecoder(&made);
    if (FAILED(hr) || !made) return FAILED(hr) ? hr : E_FAIL;
    std::unique_ptr<IMetaDecoder> decoder(made);
    const std::size_t n = std::min<std::size_t>(ZoWcsLen(name), MAX_PATH - 1);
    std::memcpy(m_name, name, n * sizeof(WCHAR));
    m_name[n] = 0;
    hr = decoder->SetFileName(name);
    if (SUCCEEDED(hr)) hr = decoder->Open();
    if (FAILED(hr)) return hr;
    hr = decoder->InitMetaMap(&m_map);
    decoder->Close();
    if (FAILED(hr)) {
      m_map.clear();
      return hr;
    }
    m_userDefs.Init(m_map);
    m_pulx.Init(m_map);
    m_decoder = std::move(decoder);
    return ResetGenericEnumLocked();
  } catch (const std::bad_alloc&) {
    m_decoder.reset();
    m_map.clear();
    return E_OUTOFMEMORY;
  } catch (...) {
    // A plug-in's decoder may throw; no exception leaves an interface slot.
    m_decoder.reset();
    m_map.clear();
    return ZOERR_EXCEPTION;
  }
}

HRESULT BaseReadMeta::GetMarkers(IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_UNEXPECTED;
  auto* s = new (std::nothrow) fileutil::MetaMarkerStream();
  if (!s) return E_OUTOFMEMORY;
  return HandOut(s, s->Init(m_map, m_decoder->GetSampleRate()), out);
}

HRESULT BaseReadMeta::GetCommands(IStream** out) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseReadMeta::GetKeyFrames(IStream** out) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT BaseReadMeta::GetSummaryInfo(DWORD tag, WCHAR* buffer, DWORD capacity) {
  if (!buffer || capacity == 0) return E_INVALIDARG;
  std::lock_guard<std::mutex> g(m_lock);
  const auto it = m_map.items().find(tag);
  if (it == m_map.items().end()) {
    buffer[0] = 0;
    const bool known = std::find(std::begin(kSummaryTags), std::end(kSummaryTags), tag) != std::end(kSummaryTags);
    return known ? ZOERR_NOT_FOUND : kUnknownSummaryTag;
  }
  const std::size_t n = std::min<std::size_t>(it->second.size(), capacity - 1);
  std::memcpy(buffer, it->second.data(), n * sizeof(WCHAR));
  buffer[n] = 0;
  return S_OK;
}

HRESULT BaseReadMeta::GetAllSummaryInfo(IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  auto* s = new (std::nothrow) fileutil::MetaSummaryStream();
  if (!s) return E_OUTOFMEMORY;
  return HandOut(s, s->Init(m_map), out);
}

HRESULT BaseReadMeta::ResetGenericEnum() {
  std::lock_guard<std::mutex> g(m_lock);
  return ResetGenericEnumLocked();
}

HRESULT BaseReadMeta::ResetGenericEnumLocked() {
  if (!m_decoder) return E_UNEXPECTED;
  m_enum.clear();
  m_next = 0;
  try {
    std::set<GUID, fileutil::GuidCmpLess> guids;
    m_map.genericGuids(guids);
    for (const GUID& guid : guids)
      if (!IsFixedMetaKind(guid)) m_enum.push_back(guid);
    return S_OK;
  } catch (const std::bad_alloc&) {
    m_enum.clear();
    return E_OUTOFMEMORY;
  }
}

HRESULT BaseReadMeta::GetNextGenericInfo(IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  if (m_next >= m_enum.size()) return S_FALSE;
  auto* s = new (std::nothrow) fileutil::MetaGenericStream();
  if (!s) return E_OUTOFMEMORY;
  const HRESULT hr = HandOut(s, s->Init(m_map, m_enum[m_next]), out);
  if (SUCCEEDED(hr)) ++m_next;
  return hr;
}

HRESULT BaseReadMeta::LinkPart(DWORD id, IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  const auto it = m_map.generics().find(GUID_ZoMetaProjectLink);
  if (it == m_map.generics().end()) return ZOERR_NOT_FOUND;
  return ReadProjectLinkPart(it->second, id, out);
}

HRESULT BaseReadMeta::GetProjectPath(IStream** out) { return LinkPart(1, out); }
HRESULT BaseReadMeta::GetCommandLineW(IStream** out) { return LinkPart(2, out); }
HRESULT BaseReadMeta::GetRendererGuid(IStream** out) { return LinkPart(3, out); }
HRESULT BaseReadMeta::GetTemplateName(IStream** out) { return LinkPart(4, out); }
HRESULT BaseReadMeta::GetTemplateData(IStream** out) { return LinkPart(5, out); }
HRESULT BaseReadMeta::GetAppTemplateData(IStream** out) { return LinkPart(6, out); }
HRESULT BaseReadMeta::GetProjectData(IStream** out) { return LinkPart(7, out); }
HRESULT BaseReadMeta::GetCreatorAppInfo(IStream** out) { return LinkPart(8, out); }
HRESULT BaseReadMeta::GetCreatorAppWindowClassName(IStream** out) { return LinkPart(9, out); }
HRESULT BaseReadMeta::GetProjectLinkInfo(IStream** out, DWORD type) { return LinkPart(type, out); }

HRESULT BaseReadMeta::GetAllUserDefinedProps(IStream** out) {
  if (out) *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  return m_userDefs.GetAllUserDefinedProps(out);
}

HRESULT BaseReadMeta::GetMediaMgrChunk(_zometa_mediamgrchunk* chunk) {
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  return m_userDefs.GetMediaMgrChunk(chunk);
}

HRESULT BaseReadMeta::GetPulxChunk(_tagZOFIO_pulxchunk* chunk) {
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  return m_pulx.GetPulxChunk(chunk);
}

HRESULT BaseReadMeta::GetStretchChunk(_tagZOFIO_stretchinfo* info) {
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  return m_pulx.GetStretchChunk(info);
}

HRESULT BaseReadMeta::GetStretchPoints(IStream** out) {
  if (out) *out = nullptr;
  std::lock_guard<std::mutex> g(m_lock);
  if (!m_decoder) return E_FAIL;
  return m_pulx.GetStretchPoints(out);
}

fileutil::MetaMap BaseReadMeta::GetMetaMap() const {
  std::lock_guard<std::mutex> g(m_lock);
  return m_map;
}

}  // namespace ffbase
