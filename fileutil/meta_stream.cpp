// SPDX-License-Identifier: MIT
#include "fileutil/meta_stream.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "fileutil/picture_meta.h"

namespace fileutil {

// A list entry's generic header and a stream item's head are one layout, so
// list entries and stream items move between each other as they stand.
static_assert(sizeof(ZOGENERICMETAHEADER) == sizeof(ZOMETAITEMHEADER) &&
              offsetof(ZOGENERICMETAHEADER, kind) == offsetof(ZOMETAITEMHEADER, version) &&
              offsetof(ZOGENERICMETAHEADER, guid) == offsetof(ZOMETAITEMHEADER, guid) &&
              offsetof(ZOGENERICMETAHEADER, dataSize) == offsetof(ZOMETAITEMHEADER, cbData));

const MetaKind kMetaKinds[20] = {
    {0x1, GUID_ZoMetaSummary},
    {0x2, VANE_GUID(0xC42554A2, 0x0DE9, 0x41F5, 0xBF, 0xF2, 0xC3, 0x25, 0x73, 0xF9, 0x05, 0xE3)},
    {0x4, GUID_ZoMetaMarkers},
    {0x10, VANE_GUID(0xBD481736, 0x2F2C, 0x40E8, 0xA0, 0xAB, 0x3D, 0x52, 0x3E, 0xEB, 0x22, 0x6E)},
    {0x20, VANE_GUID(0xF686AA44, 0x6773, 0x4AAD, 0x93, 0xB5, 0x10, 0x07, 0xC1, 0x2A, 0x8C, 0xDB)},
    {0x40, VANE_GUID(0xBE46E415, 0x5EA4, 0x4264, 0x92, 0x83, 0x3B, 0x20, 0x92, 0xD5, 0x7F, 0x66)},
    {0x80, VANE_GUID(0x612CCA25, 0x92BB, 0x4C55, 0x84, 0x08, 0x7B, 0xDA, 0x2F, 0x15, 0xBD, 0x27)},
    {0x100, VANE_GUID(0x07A22A98, 0xF29A, 0x4FA4, 0xB7, 0xB5, 0x57, 0xC9, 0xD3, 0x71, 0xDB, 0x38)},
    {0x200, VANE_GUID(0x07A22A98, 0xF29A, 0x4FA4, 0xB7, 0xB5, 0x57, 0xC9, 0xD3, 0x71, 0xDB, 0x38)},
    {0x400, VANE_GUID(0xD907621B, 0xCA0D, 0x40C3, 0xA8, 0x9D, 0x2A, 0x18, 0x2B, 0x5D, 0x20, 0xB7)},
    {0x4000, VANE_GUID(0x62574347, 0x69A7, 0x473A, 0xA8, 0x9E, 0xD5, 0xB0, 0xFA, 0x7C, 0x9F, 0x7E)},
    {0x8000, VANE_GUID(0xB2A0A152, 0x055E, 0x4475, 0x86, 0xF1, 0x5D, 0x78, 0xAF, 0x15, 0xA0, 0x56)},
    {0x10000, VANE_GUID(0x3AE34B75, 0xF55E, 0x44EC, 0xA2, 0xF0, 0xF4, 0xEB, 0x3C, 0x53, 0xAF, 0x7D)},
    {0x20000, VANE_GUID(0x6EE8897A, 0x3617, 0x4B2D, 0x92, 0x13, 0x91, 0x79, 0xE8, 0x84, 0xB7, 0x34)},
    {0x40000, VANE_GUID(0x20636970, 0xACF2, 0x11D3, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A)},
    {0x100000, VANE_GUID(0x870914E2, 0x5832, 0x4639, 0x98, 0x8A, 0x37, 0x5E, 0x77, 0x8A, 0xC4, 0x4A)},
    {0x200000, VANE_GUID(0xCC7E18D8, 0xBF95, 0x4D30, 0xBC, 0x30, 0xDF, 0xB6, 0xC2, 0x8C, 0x1D, 0x08)},
    {0x400000, VANE_GUID(0x8A2EBAD0, 0xA180, 0x4C9E, 0x87, 0x78, 0x58, 0x7A, 0x7C, 0xBD, 0x9E, 0xF6)},
    {0x800000, VANE_GUID(0x9B15B15B, 0x9BE5, 0x46AB, 0x88, 0x47, 0xDB, 0xD0, 0xF9, 0x33, 0x68, 0x80)},
    {0x2000000, VANE_GUID(0xD392C689, 0xCC06, 0x4CC7, 0xBF, 0x1B, 0x0E, 0xC5, 0xBE, 0x62, 0xF0, 0x93)},
};

DWORD MetaKindOfGuid(const GUID& guid) {
  for (const MetaKind& k : kMetaKinds)
    if (k.guid == guid) return k.bit;
  return 0;
}

const GUID* MetaGuidOfKind(DWORD bit) {
  for (const MetaKind& k : kMetaKinds)
    if (k.bit == bit) return &k.guid;
  return nullptr;
}

namespace {

// A double outside the 64-bit range would be undefined to convert; such a
// position is no position any file holds, so it saturates.
LONGLONG Trunc(double v) {
  if (!(v == v)) return 0;
  if (v >= 9.2e18) return LONGLONG(9.2e18);
  if (v <= -9.2e18) return LONGLONG(-9.2e18);
  return LONGLONG(v);
}

std::u16string TextOf(const std::uint8_t* p, std::size_t bytes) {
  std::u16string t(bytes / 2, u'\0');
  if (!t.empty()) std::memcpy(t.data(), p, t.size() * 2);
  const std::size_t end = t.find(u'\0');
  if (end != std::u16string::npos) t.resize(end);
  return t;
}

// Text bytes with the terminator, as items carry them.
std::vector<std::uint8_t> TextBytes(const std::u16string& text) {
  std::vector<std::uint8_t> b((text.size() + 1) * 2, 0);
  std::memcpy(b.data(), text.data(), text.size() * 2);
  return b;
}

// Reads exactly n bytes; false on a failed or short read.
bool ReadAll(IStream* s, void* buffer, std::uint32_t n) {
  auto* p = static_cast<std::uint8_t*>(buffer);
  while (n > 0) {
    ULONG got = 0;
    if (FAILED(s->Read(p, n, &got)) || got == 0 || got > n) return false;
    p += got;
    n -= got;
  }
  return true;
}

// Reads n bytes into out in pieces, so that a size that lies costs only the
// bytes that really arrive.
bool ReadGrowing(IStream* s, std::uint64_t n, std::vector<std::uint8_t>* out) {
  constexpr std::uint32_t kPiece = 64 * 1024;
  out->clear();
  while (n > 0) {
    const std::uint32_t step = std::uint32_t(std::min<std::uint64_t>(n, kPiece));
    const std::size_t at = out->size();
    out->resize(at + step);
    if (!ReadAll(s, out->data() + at, step)) return false;
    n -= step;
  }
  return true;
}

}  // namespace

LONGLONG MetaSamplesFromTime(LONGLONG time, DWORD rate) { return Trunc(double(time) * 1e-7 * rate + 0.5); }

LONGLONG MetaTimeFromSamples(LONGLONG samples, DWORD rate) {
  if (rate == 0) return 0;
  return Trunc(double(samples) / rate * 1e7 + 0.5);
}

MetaStream::MetaStream() = default;
MetaStream::~MetaStream() = default;

HRESULT MetaStream::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
    AddRef();
    *out = static_cast<IStream*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG MetaStream::AddRef() { return ++m_refs; }

ULONG MetaStream::Release() {
  const ULONG n = --m_refs;
  if (n == 0) delete this;
  return n;
}

HRESULT MetaStream::Read(void* buffer, ULONG count, ULONG* read) {
  if (read) *read = 0;
  if (!buffer && count) return STG_E_INVALIDPOINTER;
  const std::size_t left = m_pos < m_bytes.size() ? m_bytes.size() - m_pos : 0;
  const ULONG n = ULONG(std::min<std::size_t>(count, left));
  if (n) std::memcpy(buffer, m_bytes.data() + m_pos, n);
  m_pos += n;
  if (read) *read = n;
  return S_OK;
}

HRESULT MetaStream::Write(const void*, ULONG, ULONG* written) {
  if (written) *written = 0;
  return E_NOTIMPL;
}

HRESULT MetaStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) {
  LONGLONG base = 0;
  switch (origin) {
    case STREAM_SEEK_SET: base = 0; break;
    case STREAM_SEEK_CUR: base = LONGLONG(m_pos); break;
    case STREAM_SEEK_END: base = LONGLONG(m_bytes.size()); break;
    default: return STG_E_INVALIDFUNCTION;
  }
  LONGLONG target = 0;
  if (__builtin_add_overflow(base, move.QuadPart, &target) || target < 0) return STG_E_INVALIDFUNCTION;
  m_pos = std::size_t(target);
  if (position) position->QuadPart = ULONGLONG(target);
  return S_OK;
}

HRESULT MetaStream::SetSize(ULARGE_INTEGER) { return E_NOTIMPL; }

HRESULT MetaStream::CopyTo(IStream* to, ULARGE_INTEGER count, ULARGE_INTEGER* read, ULARGE_INTEGER* written) {
  if (read) read->QuadPart = 0;
  if (written) written->QuadPart = 0;
  if (!to) return STG_E_INVALIDPOINTER;
  const std::size_t left = m_pos < m_bytes.size() ? m_bytes.size() - m_pos : 0;
  const ULONG n = ULONG(std::min<ULONGLONG>({count.QuadPart, left, 0xFFFFFFFFull}));
  ULONG put = 0;
  const HRESULT hr = n ? to->Write(m_bytes.data() + m_pos, n, &put) : S_OK;
  m_pos += n;
  if (read) read->QuadPart = n;
  if (written) written->QuadPart = put;
  return hr;
}

HRESULT MetaStream::Commit(DWORD) { return E_NOTIMPL; }
HRESULT MetaStream::Revert() { return E_NOTIMPL; }
HRESULT MetaStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }
HRESULT MetaStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }

HRESULT MetaStream::Stat(STATSTG* stat, DWORD flags) {
  if (!stat) return STG_E_INVALIDPOINTER;
  if (flags > STATFLAG_NONAME) return STG_E_INVALIDFLAG;
  std::memset(stat, 0, sizeof *stat);
  stat->type = STGTY_STREAM;
  stat->cbSize.QuadPart = m_bytes.size();
  stat->grfMode = STGM_READ;
  return S_OK;
}

// The clone is a plain memory stream with the same bytes and position: the
// forms differ only in how they build their bytes.
HRESULT MetaStream::Clone(IStream** out) {
  if (!out) return STG_E_INVALIDPOINTER;
  *out = SHCreateMemStream(m_bytes.data(), UINT(m_bytes.size()));
  if (!*out) return E_OUTOFMEMORY;
  LARGE_INTEGER at;
  at.QuadPart = LONGLONG(m_pos);
  (*out)->Seek(at, STREAM_SEEK_SET, nullptr);
  return S_OK;
}

void MetaStream::BeginFramed(const GUID& guid) {
  m_bytes.assign(sizeof(ZOMETASTREAMHEADER), 0);
  m_pos = 0;
  m_framed = true;
  m_count = 0;
  m_guid = guid;
  const ZOMETASTREAMHEADER h{kMetaHeaderBytes, kMetaVersion, 0, guid};
  std::memcpy(m_bytes.data(), &h, sizeof h);
}

void MetaStream::BeginEntries() {
  m_bytes.assign(sizeof(ZOMETAENTRYHEAD), 0);
  m_pos = 0;
  m_framed = false;
  m_count = 0;
  const ZOMETAENTRYHEAD h{sizeof(ZOMETAENTRYHEAD), kMetaVersion, 0};
  std::memcpy(m_bytes.data(), &h, sizeof h);
}

bool MetaStream::AddItem(const void* head, std::size_t headBytes, const void* tail, std::size_t tailBytes) {
  const std::size_t data = headBytes + tailBytes;
  if (data > kMetaMaxItemBytes) return false;
  const ZOMETAITEMHEADER ih{kMetaHeaderBytes, kMetaVersion, m_guid, DWORD(data)};
  const auto* h = reinterpret_cast<const std::uint8_t*>(&ih);
  m_bytes.insert(m_bytes.end(), h, h + sizeof ih);
  if (headBytes) m_bytes.insert(m_bytes.end(), static_cast<const std::uint8_t*>(head),
                                static_cast<const std::uint8_t*>(head) + headBytes);
  if (tailBytes) m_bytes.insert(m_bytes.end(), static_cast<const std::uint8_t*>(tail),
                                static_cast<const std::uint8_t*>(tail) + tailBytes);
  ++m_count;
  std::memcpy(m_bytes.data() + offsetof(ZOMETASTREAMHEADER, count), &m_count, 4);
  return true;
}

bool MetaStream::AddEntry(const std::vector<std::uint8_t>& entry) {
  if (entry.size() > kMetaMaxItemBytes) return false;
  m_bytes.insert(m_bytes.end(), entry.begin(), entry.end());
  ++m_count;
  std::memcpy(m_bytes.data() + offsetof(ZOMETAENTRYHEAD, count), &m_count, 4);
  return true;
}

HRESULT MetaGenericStream::Init(const MetaMap& map, const GUID& guid) {
  try {
    BeginFramed(guid);
    const auto range = map.generics().equal_range(guid);
    for (auto it = range.first; it != range.second; ++it) AddItem(it->second.data(), it->second.size());
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT MetaSummaryStream::Init(const MetaMap& map) {
  try {
    BeginFramed(GUID_ZoMetaSummary);
    for (const auto& [tag, text] : map.items()) {
      const std::vector<std::uint8_t> t = TextBytes(text);
      const ZOMETASUMMARYHEAD h{sizeof(ZOMETASUMMARYHEAD), tag, DWORD(t.size())};
      AddItem(&h, sizeof h, t.data(), t.size());
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT MetaMarkerStream::Init(const MetaMap& map, DWORD rate) {
  try {
    BeginFramed(GUID_ZoMetaMarkers);
    const auto range = map.generics().equal_range(GUID_ZoMetaMarkers);
    for (auto it = range.first; it != range.second; ++it) {
      ZOMETAMARKERSAMPLE s;
      std::u16string text;
      if (FAILED(ParseMarkerSample(it->second, &s, &text))) continue;
      const std::vector<std::uint8_t> t = TextBytes(text);
      ZOMETAMARKERTIME r{};
      r.cb = sizeof r;
      r.start = MetaTimeFromSamples(s.position, rate);
      r.region = s.length != -1;
      r.length = r.region ? SatSub(MetaTimeFromSamples(SatAdd(s.position, s.length), rate), r.start) : 0;
      r.cbText = DWORD(t.size());
      AddItem(&r, sizeof r, t.data(), t.size());
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT MetaLegacyMarkerStream::Init(IStream* timeForm, DWORD rate) {
  if (!timeForm) return E_INVALIDARG;
  try {
    MetaStreamContent in;
    VANE_RETURN_IF_FAILED(ReadMetaStream(timeForm, &in));
    BeginFramed(GUID_ZoMetaMarkers);
    DWORD id = 0;
    for (const MetaItem& item : in.items) {
      ZOMETAMARKERTIME r;
      std::u16string text;
      VANE_RETURN_IF_FAILED(ParseMarkerTime(item.data, &r, &text));
      ++id;
      const LONGLONG pos = MetaSamplesFromTime(r.start, rate);
      const LONGLONG len = r.region ? SatSub(MetaSamplesFromTime(SatAdd(r.start, r.length), rate), pos) : -1;
      const std::vector<std::uint8_t> rec = MakeMarkerSample(id, pos, len, text);
      AddItem(rec.data(), rec.size());
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT MetaEntryStream::Init(const MetaMap& map, const GUID& guid) {
  try {
    BeginEntries();
    const auto range = map.generics().equal_range(guid);
    for (auto it = range.first; it != range.second; ++it) AddEntry(it->second);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT ReadMetaStream(IStream* stream, MetaStreamContent* out) {
  if (!stream || !out) return E_INVALIDARG;
  *out = MetaStreamContent();
  try {
    ZOMETASTREAMHEADER h;
    if (!ReadAll(stream, &h, sizeof h) || h.cbHeader != kMetaHeaderBytes || h.version != kMetaVersion)
      return ZOERR_FILE_READ;
    out->guid = h.guid;
    out->count = h.count;
    for (DWORD i = 0; i < h.count; ++i) {
      ZOMETAITEMHEADER ih;
      if (!ReadAll(stream, &ih, sizeof ih) || ih.cbHeader != kMetaHeaderBytes || ih.version != kMetaVersion ||
          ih.cbData > kMetaMaxItemBytes)
        return ZOERR_FILE_READ;
      MetaItem item;
      item.guid = ih.guid;
      if (!ReadGrowing(stream, ih.cbData, &item.data)) return ZOERR_FILE_READ;
      out->items.push_back(std::move(item));
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT ReadMetaEntryStream(IStream* stream, std::uint32_t headBytes, const EntrySizeFn& totalBytes,
                            std::vector<std::vector<std::uint8_t>>* out) {
  if (!stream || !out || !totalBytes || headBytes == 0 || headBytes > kMetaMaxItemBytes) return E_INVALIDARG;
  try {
    out->clear();
    ZOMETAENTRYHEAD h;
    if (!ReadAll(stream, &h, sizeof h) || h.cb != sizeof h || h.version != kMetaVersion) return ZOERR_FILE_READ;
    for (DWORD i = 0; i < h.count; ++i) {
      std::vector<std::uint8_t> e(headBytes);
      if (!ReadAll(stream, e.data(), headBytes)) return ZOERR_FILE_READ;
      const std::uint64_t total = totalBytes(e.data());
      if (total < headBytes || total > kMetaMaxItemBytes) return ZOERR_FILE_READ;
      std::vector<std::uint8_t> rest;
      if (!ReadGrowing(stream, total - headBytes, &rest)) return ZOERR_FILE_READ;
      e.insert(e.end(), rest.begin(), rest.end());
      out->push_back(std::move(e));
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT ParseSummaryItem(const std::vector<std::uint8_t>& data, DWORD* tag, std::u16string* text) {
  if (!tag || !text) return E_INVALIDARG;
  ZOMETASUMMARYHEAD h;
  if (data.size() < sizeof h) return ZOERR_FILE_READ;
  std::memcpy(&h, data.data(), sizeof h);
  if (h.cb != sizeof h || h.cbText > data.size() - sizeof h) return ZOERR_FILE_READ;
  *tag = h.tag;
  *text = TextOf(data.data() + sizeof h, h.cbText);
  return S_OK;
}

HRESULT ParseMarkerTime(const std::vector<std::uint8_t>& data, ZOMETAMARKERTIME* record, std::u16string* text) {
  if (!record || !text) return E_INVALIDARG;
  if (data.size() < sizeof *record) return ZOERR_FILE_READ;
  std::memcpy(record, data.data(), sizeof *record);
  if (record->cb != sizeof *record || record->cbText > data.size() - sizeof *record) return ZOERR_FILE_READ;
  *text = TextOf(data.data() + sizeof *record, record->cbText);
  return S_OK;
}

HRESULT ParseMarkerSample(const std::vector<std::uint8_t>& data, ZOMETAMARKERSAMPLE* record,
                          std::u16string* text) {
  if (!record || !text) return E_INVALIDARG;
  if (data.size() < sizeof *record) return ZOERR_FILE_READ;
  std::memcpy(record, data.data(), sizeof *record);
  if (record->cb != sizeof *record || record->cbText > data.size() - sizeof *record) return ZOERR_FILE_READ;
  *text = TextOf(data.data() + sizeof *record, record->cbText);
  return S_OK;
}

std::vector<std::uint8_t> MakeMarkerSample(DWORD id, LONGLONG position, LONGLONG length, const std::u16string& text) {
  const std::vector<std::uint8_t> t = TextBytes(text);
  const ZOMETAMARKERSAMPLE r{sizeof(ZOMETAMARKERSAMPLE), id, position, length, DWORD(t.size())};
  std::vector<std::uint8_t> out(sizeof r);
  std::memcpy(out.data(), &r, sizeof r);
  out.insert(out.end(), t.begin(), t.end());
  return out;
}

// Both fillers add what arrived intact even when the status says damage: a
// reader that ends early keeps what it has read, and a broken record costs
// only itself.
HRESULT InitMapFromSummaryStream(IStream* stream, MetaMap* map) {
  if (!stream || !map) return E_INVALIDARG;
  MetaStreamContent c;
  HRESULT hr = ReadMetaStream(stream, &c);
  try {
    for (const MetaItem& item : c.items) {
      DWORD tag = 0;
      std::u16string text;
      const HRESULT parsed = item.guid == GUID_ZoMetaSummary ? ParseSummaryItem(item.data, &tag, &text)
                                                             : ZOERR_FILE_READ;
      if (SUCCEEDED(parsed)) map->add(tag, text);
      else if (SUCCEEDED(hr)) hr = parsed;
    }
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return hr;
}

HRESULT InitMapFromGenericStream(IStream* stream, MetaMap* map) {
  if (!stream || !map) return E_INVALIDARG;
  MetaStreamContent c;
  const HRESULT hr = ReadMetaStream(stream, &c);
  try {
    for (MetaItem& item : c.items) map->addGeneric(item.guid, item.data);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return hr;
}

}  // namespace fileutil
