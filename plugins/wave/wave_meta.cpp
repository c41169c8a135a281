// SPDX-License-Identifier: MIT
#include "plugins/wave/wave_meta.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "ffbase/base_read_meta.h"
#include "fileutil/metamap.h"
#include "platform/file.h"
#include "fileutil/meta_stream.h"
#include "riff/meta_cues.h"
#include "riff/bwf_riff.h"
#include "riff/riff_api.h"
#include "riff/riff_types.h"
#include "riff/summary.h"

namespace vane::wave {
namespace {

// One item's text beyond this is cut: INFO texts are titles and names.
constexpr DWORD kMaxItemChars = 4096;
// An INFO list with more items than this is not read further.
constexpr int kMaxItems = 1024;

class WaveMetaDecoder final : public ffbase::IMetaDecoder {
 public:
  explicit WaveMetaDecoder(Container container) : m_container(container) {}
  ~WaveMetaDecoder() override { Close(); }

  HRESULT Open() override {
    Close();
    HANDLE file = CreateFileW(m_name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    m_file = file;
    return S_OK;
  }
  HRESULT Close() override {
    if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
    m_file = INVALID_HANDLE_VALUE;
    return S_OK;
  }
  HRESULT SetFileName(LPCWSTR name) override {
    if (!name) return E_POINTER;
    // A moniker after "?" is for the plug-in, not part of the file name.
    m_name = name;
    m_name = m_name.substr(0, m_name.find(u'?'));
    return S_OK;
  }
  DWORD GetSampleRate() override { return m_rate; }

  HRESULT InitMetaMap(fileutil::MetaMap* map) override {
    if (!map) return E_POINTER;
    if (m_file == INVALID_HANDLE_VALUE) return E_UNEXPECTED;
    ReadRate();
    if (m_container == Container::Wave) {
      AddSummary(map);
    } else {
      AddSummary64(map);
    }
    AddMarkers(map);
    return S_OK;
  }

 private:
  // The INFO items through the summary record; a list the record refuses
  // (damage) is walked item by item, keeping what comes before the damage.
  HRESULT FindInfo(DWORD* size) {
    return rf64_IsRf64(m_file) ? rf64_FindListChunk(m_file, kFourCC_INFO, size)
                               : riff_FindListChunkFromStart(m_file, kFourCC_INFO, size);
  }

  void AddSummary(fileutil::MetaMap* map) {
    DWORD size = 0;
    if (FAILED(FindInfo(&size))) return;  // no INFO list
    ZOSUMMARY summary{};
    DWORD remaining = size;
    if (SUCCEEDED(ZoSummary_Load(m_file, &summary, &remaining))) {
      for (DWORD i = 0; i < summary.count; ++i)
        if (summary.items[i].text) map->add(summary.items[i].tag, std::u16string(summary.items[i].text));
      ZoSummary_Free(&summary);
      return;
    }
    if (FAILED(FindInfo(&size))) return;
    remaining = size;
    std::u16string text(kMaxItemChars + 1, u'\0');
    for (int i = 0; i < kMaxItems && remaining >= 8; ++i) {
      DWORD tag = 0, bytes = 0;
      if (FAILED(riff_ReadChunkHeader(m_file, &tag, &bytes))) break;
      remaining -= 8;
      const DWORD padded = bytes + (bytes & 1);
      if (padded < bytes || padded > remaining) break;
      DWORD n = bytes;
      if (FAILED(riff_ReadANSIString(m_file, text.data(), DWORD(text.size()), &n))) break;
      remaining -= padded;
      map->add(tag, std::u16string(text.c_str()));
    }
  }

  void AddSummary64(fileutil::MetaMap* map) {
    ULONGLONG size = 0;
    if (FAILED(riff64_FindChunkHeaderInRIFF(m_file, &kW64_info, &size, nullptr))) return;
    std::vector<BYTE> body(static_cast<size_t>(std::min<ULONGLONG>(size, 1u << 20)));
    DWORD got = 0;
    if (!ReadFile(m_file, body.data(), DWORD(body.size()), &got, nullptr)) return;
    ZOSUMMARY summary{};
    if (SUCCEEDED(ZoSummary_LoadW64(body.data(), got, &summary))) {
      for (DWORD i = 0; i < summary.count; ++i)
        if (summary.items[i].text) map->add(summary.items[i].tag, std::u16string(summary.items[i].text));
    }
    ZoSummary_Free(&summary);
  }

  // Markers and regions in sample form become the map's marker generics, the
  // form GetMarkers converts to time with the file's rate.
  void AddMarkers(fileutil::MetaMap* map) {
    for (const vane::riff::MarkerSample& m :
         vane::riff::ReadMarkerSamples(m_file, m_container == Container::Wave64, m_rate))
      map->addGeneric(fileutil::GUID_ZoMetaMarkers, fileutil::MakeMarkerSample(m.id, m.position, m.length, m.text));
  }

  // The rate of the "fmt " chunk, for markers; 0 when there is none.
  void ReadRate() {
    m_rate = 0;
    if (rf64_IsRf64(m_file)) {
      ReadFilePropsFromFormatChunk(m_file, &m_rate, nullptr, nullptr);
      return;
    }
    DWORD size = 0, remaining = 0;
    if (FAILED(riff_FindChunkHeaderInRIFF(m_file, kFourCC_fmt, &size, &remaining)) || size < 8)
      return;
    BYTE head[8];
    if (SUCCEEDED(riff_ReadDataBounded(m_file, head, sizeof head, size)))
      m_rate = DWORD(head[4]) | DWORD(head[5]) << 8 | DWORD(head[6]) << 16 | DWORD(head[7]) << 24;
  }

  Container m_container;
  std::u16string m_name;
  HANDLE m_file = INVALID_HANDLE_VALUE;
  DWORD m_rate = 0;
};

class WaveMeta final : public ffbase::BaseReadMeta {
 public:
  explicit WaveMeta(Container container) : m_container(container) {}
  HRESULT CreateMetaDecoder(ffbase::IMetaDecoder** out) override {
    *out = new (std::nothrow) WaveMetaDecoder(m_container);
    return *out ? S_OK : E_OUTOFMEMORY;
  }

 private:
  Container m_container;
};

}  // namespace

bool IsReadMetaIid(REFIID iid) {
  return iid == IID_IZoReadMeta || iid == IID_IZoReadGenericMeta || iid == IID_IZoReadProjectLinkMeta ||
         iid == IID_IZoReadProjectLinkMetaEx || iid == IID_IZoReadMediaMgrMeta || iid == IID_IZoReadPulxMeta;
}

HRESULT CreateWaveMeta(LPCWSTR name, Container container, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  auto* meta = new (std::nothrow) WaveMeta(container);
  if (!meta) return E_OUTOFMEMORY;
  HRESULT hr = meta->Init(name);
  if (SUCCEEDED(hr)) hr = meta->QueryInterface(iid, out);
  meta->Release();
  return hr;
}

}  // namespace vane::wave
