// SPDX-License-Identifier: MIT
#include "riff/meta_cues.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/detail/file_access.h"
#include "riff/bwf_riff.h"
#include "riff/riff_api.h"

namespace {

using fileutil::GUID_ZoMetaMarkers;
using fileutil::ZOMETAITEMHEADER;
using fileutil::ZOMETAMARKERTIME;
using vane::riff::FileReadExact;
using vane::riff::FileSeek;

constexpr DWORD kFourCC_cue = ZoFourCC("cue ");
constexpr DWORD kFourCC_adtl = ZoFourCC("adtl");
constexpr DWORD kFourCC_labl = ZoFourCC("labl");
constexpr DWORD kFourCC_ltxt = ZoFourCC("ltxt");
constexpr DWORD kFourCC_zo01 = ZoFourCC("zo01");
constexpr size_t kMaxLabelBytes = 1024;
// Bodies read whole are bounded, so a lying size cannot make a large allocation.
constexpr ULONGLONG kMaxBody = 64u << 20;

DWORD Le32(const BYTE* p) { return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24; }
ULONGLONG Le64(const BYTE* p) { return ULONGLONG(Le32(p)) | ULONGLONG(Le32(p + 4)) << 32; }

struct Marker {
  DWORD id;
  LONGLONG position;
  LONGLONG length;  // -1: no length
  bool region;
  std::u16string text;
};

// Reads the body of the chunk the position stands at, as far as the file goes.
bool ReadBody(HANDLE file, ULONGLONG size, std::vector<BYTE>* body) {
  LARGE_INTEGER length{};
  std::int64_t here = 0;
  if (!GetFileSizeEx(file, &length) || !FileSeek(file, 0, FILE_CURRENT, &here)) return false;
  const ULONGLONG available = length.QuadPart > here ? ULONGLONG(length.QuadPart - here) : 0;
  body->resize(static_cast<size_t>(std::min({size, available, kMaxBody})));
  return body->empty() || FileReadExact(file, body->data(), static_cast<DWORD>(body->size()));
}

std::vector<BYTE> Item(const std::vector<std::uint8_t>& record) {
  std::vector<BYTE> item(sizeof(ZOMETAITEMHEADER) + record.size());
  ZOMETAITEMHEADER head{};
  head.cbHeader = sizeof head;
  head.version = 100;
  head.guid = GUID_ZoMetaMarkers;
  head.cbData = static_cast<DWORD>(record.size());
  std::memcpy(item.data(), &head, sizeof head);
  if (!record.empty()) std::memcpy(item.data() + sizeof head, record.data(), record.size());
  return item;
}

std::vector<std::uint8_t> TimeRecord(const Marker& m, DWORD rate) {
  ZOMETAMARKERTIME r{};
  r.cb = 28;
  r.start = fileutil::MetaTimeFromSamples(m.position, rate);
  // A region's length is the difference of its converted end and start.
  r.length = m.region && m.length >= 0
                 ? fileutil::SatSub(fileutil::MetaTimeFromSamples(fileutil::SatAdd(m.position, m.length), rate), r.start)
                 : 0;
  r.region = m.region ? 1 : 0;
  r.cbText = static_cast<DWORD>((m.text.size() + 1) * 2);
  std::vector<std::uint8_t> out(sizeof r + r.cbText, 0);
  std::memcpy(out.data(), &r, sizeof r);
  std::memcpy(out.data() + sizeof r, m.text.data(), m.text.size() * 2);
  return out;
}

// Appends unless an equal item is there already.
HRESULT AddUnique(tZOLIST* list, const std::vector<BYTE>& item) {
  if (!list) return S_OK;
  for (LONG i = 0; i < list->nItems; ++i) {
    // Compare by the framed size the item head states (allocations may be larger).
    const BYTE* have = static_cast<BYTE**>(list->pData)[i];
    ZOMETAITEMHEADER head{};
    if (ZoList_AllocSize(list, i) < sizeof head) continue;
    std::memcpy(&head, have, sizeof head);
    if (sizeof head + head.cbData == item.size() && std::memcmp(have, item.data(), item.size()) == 0) return S_OK;
  }
  return ZoList_AllocAndInsertItem(list, item.data(), item.size(), -1, nullptr);
}

HRESULT Add(const Marker& m, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList) {
  HRESULT hr = AddUnique(sampleList, Item(fileutil::MakeMarkerSample(m.id, m.position, m.length, m.text)));
  if (SUCCEEDED(hr)) hr = AddUnique(timeList, Item(TimeRecord(m, rate)));
  return hr;
}

// The zo01 / Wave64 entry list: count, then entries of 32 bytes and text.
HRESULT AddExtendedEntries(const std::vector<BYTE>& body, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList) {
  if (body.size() < 4) return S_OK;
  const DWORD count = Le32(body.data());
  size_t at = 4;
  for (DWORD i = 0; i < count && body.size() - at >= 32; ++i) {
    Marker m{Le32(&body[at]), LONGLONG(Le64(&body[at + 8])), LONGLONG(Le64(&body[at + 16])), false, {}};
    const DWORD cbText = Le32(&body[at + 24]);
    at += 32;
    const size_t textBytes = std::min<size_t>(cbText, body.size() - at);
    for (size_t k = 0; k + 1 < textBytes; k += 2) {
      const char16_t c = char16_t(body[at + k] | (body[at + k + 1] << 8));
      if (!c) break;
      m.text.push_back(c);
    }
    at += textBytes;
    m.region = m.length != -1;
    VANE_RETURN_IF_FAILED(Add(m, rate, timeList, sampleList));
  }
  return S_OK;
}

// Finds a sub-chunk of "adtl" of the given id whose first word is `name`.
// The walk ends at a chunk shorter than its id or fewer than 12 bytes left
// (a header and the id the name is compared with).
const BYTE* FindLabelChunk(const std::vector<BYTE>& adtl, DWORD id, DWORD name, DWORD* size) {
  size_t at = 0;
  while (at <= adtl.size() && adtl.size() - at >= 12) {
    const DWORD chunkId = Le32(&adtl[at]);
    const DWORD chunkSize = Le32(&adtl[at + 4]);
    if (chunkSize < 4) break;
    const size_t avail = adtl.size() - at - 8;
    if (chunkId == id && Le32(&adtl[at + 8]) == name) {
      *size = static_cast<DWORD>(std::min<size_t>(chunkSize, avail));
      return &adtl[at + 8];
    }
    if (chunkSize > avail) break;
    at += 8 + ((size_t(chunkSize) + 1) & ~size_t{1});
  }
  return nullptr;
}

}  // namespace

VANE_EXTERN_C HRESULT ZoFMMeta_fillCuesFromFileEx(HANDLE file, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList) {
  if (!timeList && !sampleList) return S_OK;
  if (!file || file == INVALID_HANDLE_VALUE) return MakeStatus(0x8004E007);
  // RF64 and BW64 keep their sizes in ds64; the same chunks are found there.
  const bool rf64 = rf64_IsRf64(file);
  auto findChunk = [&](DWORD id, DWORD* size) {
    return rf64 ? rf64_FindChunkHeader(file, id, size) : riff_FindChunkHeaderInRIFF(file, id, size, nullptr);
  };
  DWORD size = 0;
  std::vector<BYTE> body;
  if (SUCCEEDED(findChunk(kFourCC_zo01, &size))) {
    if (!ReadBody(file, size, &body)) return ZOERR_FILE_READ;
    VANE_RETURN_IF_FAILED(AddExtendedEntries(body, rate, timeList, sampleList));
  }
  if (FAILED(findChunk(kFourCC_cue, &size))) return S_OK;
  std::vector<BYTE> cue;
  if (!ReadBody(file, size, &cue)) return ZOERR_FILE_READ;
  std::vector<BYTE> adtl;
  DWORD listSize = 0;
  const HRESULT list = rf64 ? rf64_FindListChunk(file, kFourCC_adtl, &listSize)
                            : riff_FindListChunkFromStart(file, kFourCC_adtl, &listSize);
  if (SUCCEEDED(list) && !ReadBody(file, listSize, &adtl)) adtl.clear();
  if (cue.size() < 4) return S_OK;
  const DWORD count = std::min<DWORD>(Le32(cue.data()), static_cast<DWORD>((cue.size() - 4) / 24));
  for (DWORD i = 0; i < count; ++i) {
    const BYTE* e = &cue[4 + size_t(i) * 24];
    Marker m{Le32(e), LONGLONG(Le32(e + 20)), -1, false, {}};
    DWORD labelSize = 0;
    if (const BYTE* label = FindLabelChunk(adtl, kFourCC_labl, m.id, &labelSize)) {
      const char* text = reinterpret_cast<const char*>(label + 4);
      const size_t n = strnlen(text, std::min<size_t>(labelSize - 4, kMaxLabelBytes));
      m.text = vane::platform::FromCodePage(std::string_view(text, n), CP_ACP);
    }
    DWORD ltxtSize = 0;
    if (const BYTE* ltxt = FindLabelChunk(adtl, kFourCC_ltxt, m.id, &ltxtSize); ltxt && ltxtSize >= 8) {
      m.region = true;
      m.length = LONGLONG(Le32(ltxt + 4));
    }
    VANE_RETURN_IF_FAILED(Add(m, rate, timeList, sampleList));
  }
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoFMMeta64_fillCuesFromFile(HANDLE file, DWORD rate, tZOLIST* timeList, tZOLIST* sampleList) {
  if (!timeList && !sampleList) return S_OK;
  if (!file || file == INVALID_HANDLE_VALUE) return MakeStatus(0x8004E007);
  ULONGLONG size = 0;
  if (FAILED(riff64_FindChunkHeaderInRIFF(file, &kW64_cue, &size, nullptr))) return S_OK;
  std::vector<BYTE> body;
  if (!ReadBody(file, size, &body)) return ZOERR_FILE_READ;
  return AddExtendedEntries(body, rate, timeList, sampleList);
}

namespace vane::riff {

std::vector<MarkerSample> ReadMarkerSamples(HANDLE file, bool wave64, DWORD rate) {
  std::vector<MarkerSample> markers;
  tZOLIST* list = nullptr;
  if (FAILED(ZoList_CreateExZ(&list, sizeof(void*), 8, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0))) return markers;
  const HRESULT hr = wave64 ? ZoFMMeta64_fillCuesFromFile(file, rate, nullptr, list)
                            : ZoFMMeta_fillCuesFromFileEx(file, rate, nullptr, list);
  for (LONG i = 0; SUCCEEDED(hr) && i < list->nItems; ++i) {
    const BYTE* item = static_cast<BYTE**>(list->pData)[i];
    ZOMETAITEMHEADER head{};
    if (ZoList_AllocSize(list, i) < sizeof head) continue;
    std::memcpy(&head, item, sizeof head);
    if (ZoList_AllocSize(list, i) < sizeof head + head.cbData) continue;
    std::vector<std::uint8_t> data(item + sizeof head, item + sizeof head + head.cbData);
    fileutil::ZOMETAMARKERSAMPLE record{};
    std::u16string text;
    if (FAILED(fileutil::ParseMarkerSample(data, &record, &text))) continue;
    markers.push_back({record.id, record.position, record.length, std::move(text)});
  }
  ZoList_Destroy(list);
  return markers;
}

}  // namespace vane::riff
