// SPDX-License-Identifier: MIT
// Which reader takes a file: the header filter, then the stages in their
// fixed order (identification table, extension, last used, all), the
// by-name probe, the quick search, and opening a file with the merit
// override.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "fileio/enumerators.h"
#include "fileio/manager.h"
#include "fileio/rank_tables.h"
#include "platform/file.h"
#include "platform/sync.h"
#include "platform/wtext.h"
#include "riff/quick_identify.h"

namespace vane::fileio {
namespace {

constexpr DWORD kHeadBytes = 65536;
constexpr DWORD kOpenShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
// No fixed record carries the name of a file to open, so names are taken up
// to the platform's path limit (in characters, a bound on the bytes too).
constexpr size_t kMaxOpenName = 4096;
constexpr HRESULT kProbeNoteFallback = MakeStatus(0x0004E016);
constexpr HRESULT kStatusNotSupported = MakeStatus(0x8004E086);

BOOL RiffQuickIdentify(HANDLE file, LPCWSTR name, DWORD flags, DWORD* type) {
  return ZoIsQuicklyIdentifiableMediaFileFormat(file, name, flags, type);
}

std::atomic<QuickIdentifyFn> g_quickIdentify{&RiffQuickIdentify};

std::u16string Upper(std::u16string s) {
  for (auto& c : s)
    if ((c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) c = char16_t(c - 32);
  return s;
}

// The extension of a file name without its dot; empty when there is none.
// The name a file is probed by: the whole text when it names a file, else
// the part before a "?" (the rest is a moniker for the plug-in).
std::u16string ProbeName(const WCHAR* fileName) {
  std::u16string name(fileName);
  size_t mark = name.find(u'?');
  if (mark == std::u16string::npos) return name;
  struct stat st {};
  if (::stat(vane::platform::ToUtf8(name).c_str(), &st) == 0 && S_ISREG(st.st_mode)) return name;
  return name.substr(0, mark);
}

std::u16string ExtensionOf(const WCHAR* name) {
  if (!name) return {};
  std::u16string_view n(name);
  size_t slash = n.rfind(u'/');
  size_t dot = n.rfind(u'.');
  if (dot == std::u16string_view::npos || (slash != std::u16string_view::npos && dot < slash)) return {};
  return std::u16string(n.substr(dot + 1));
}

// Tracks the fallback and the indexes already tried during one search.
struct Search {
  HRESULT status = ZOERR_UNSUPPORTED_FORMAT;
  HRESULT fallbackStatus = E_FAIL;
  LONG fallbackIndex = -1;
  LONG found = -1;
  std::vector<LONG> tried;

  void Fallback(LONG index, HRESULT hr) {
    if (fallbackIndex >= 0 || index < 0) return;
    fallbackIndex = index;
    fallbackStatus = hr;
  }
  bool Tried(LONG index) const { return std::find(tried.begin(), tried.end(), index) != tried.end(); }
  HRESULT Finish(LONG* typeIndex) const {
    if (found >= 0) {
      *typeIndex = found;
      return fallbackIndex >= 0 ? kProbeNoteFallback : S_OK;
    }
    if (FAILED(status) && fallbackIndex >= 0) {
      *typeIndex = fallbackIndex;
      return fallbackStatus;
    }
    return status;
  }
};

LONG IndexOf(IZoReadFileClass* cls) {
  LONG index = -1;
  if (cls) cls->GetTypeIndex(&index);
  return index;
}

}  // namespace

void SetQuickIdentifyForTests(QuickIdentifyFn fn) { g_quickIdentify = fn ? fn : &RiffQuickIdentify; }

const char* ProbeStageName(ProbeStage stage) {
  switch (stage) {
    case ProbeStage::Table: return "table";
    case ProbeStage::Extension: return "extension";
    case ProbeStage::LastUsed: return "last used";
    case ProbeStage::All: return "all";
    case ProbeStage::Name: return "name";
    case ProbeStage::Merit: return "merit";
    case ProbeStage::None: break;
  }
  return "none";
}

HRESULT CZoFileIOManager::ReadHead(HANDLE file, std::vector<BYTE>* head) {
  head->assign(kHeadBytes, 0);
  LONG high = 0;
  if (SetFilePointer(file, 0, &high, FILE_BEGIN) == INVALID_SET_FILE_POINTER && GetLastError() != ERROR_SUCCESS)
    return HRESULT_FROM_WIN32(GetLastError());
  DWORD got = 0;
  if (!ReadFile(file, head->data(), kHeadBytes, &got, nullptr)) {
    DWORD err = GetLastError();
    return HRESULT_FROM_WIN32(err ? err : ERROR_INVALID_FUNCTION);
  }
  head->resize(got);
  return S_OK;
}

HRESULT CZoFileIOManager::ReaderByExtension(const WCHAR* ext, LONG* position, tZOFIOPLUGINENTRY** found) {
  *found = nullptr;
  if (!ext || !position || *position < -1) return E_INVALIDARG;
  if (*ext == u'.') ++ext;
  std::u16string wanted = Upper(std::u16string(ext).substr(0, MAX_PATH - 1));
  // Project files of the old packaging ("ZOAP1" and so on) are Wave64 underneath.
  if (wanted.size() > 4 && wanted.compare(0, 4, u"ZOAP") == 0 && wanted[4] >= u'0' && wanted[4] <= u'9') wanted = u"W64";
  auto readers = SortedReaders();
  for (size_t i = size_t(std::max<LONG>(*position, 0)); i < readers.size(); ++i) {
    tZOFIOPLUGINENTRY* e = readers[i];
    if (e->ExtReader.empty()) continue;
    std::u16string list = Upper(e->ExtReader);
    for (size_t pos = 0; pos <= list.size();) {
      size_t end = list.find(u';', pos);
      if (end == std::u16string::npos) end = list.size();
      std::u16string_view item(list.data() + pos, end - pos);
      if (!item.empty() && item.front() == u'*') item.remove_prefix(std::min<size_t>(2, item.size()));
      if (item == wanted) {
        *position = LONG(i);
        *found = e;
        return S_OK;
      }
      pos = end + 1;
    }
  }
  return ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::FindReadClassByExtension(IZoReadFileClass** out, LPCWSTR ext, LONG* position) {
  if (!out || !ext || !position || *position < -1) return E_INVALIDARG;
  *out = nullptr;
  LONG pos = *position;
  tZOFIOPLUGINENTRY* e = nullptr;
  VANE_RETURN_IF_FAILED(ReaderByExtension(ext, &pos, &e));
  *position = pos;
  return EnsureReader(e, out);
}

HRESULT CZoFileIOManager::FindRenderClassByExtension(IZoRenderFileClass** out, LPCWSTR ext, LONG* position) {
  if (!ext) return ZOERR_UNSUPPORTED_FORMAT;
  if (!out || !position || *position < -1) return E_INVALIDARG;
  *out = nullptr;
  if (*ext == u'.') ++ext;
  std::u16string wanted = Upper(std::u16string(ext).substr(0, MAX_PATH - 1));
  auto renderers = SortedRenderers();
  for (size_t i = size_t(std::max<LONG>(*position, 0)); i < renderers.size(); ++i) {
    std::u16string list = Upper(renderers[i]->ExtRenderer);
    for (size_t pos = 0; !list.empty() && pos <= list.size();) {
      size_t end = list.find(u';', pos);
      if (end == std::u16string::npos) end = list.size();
      std::u16string_view item(list.data() + pos, end - pos);
      if (!item.empty() && item.front() == u'*') item.remove_prefix(std::min<size_t>(2, item.size()));
      if (item == wanted) {
        *position = LONG(i);
        return EnsureRenderer(renderers[i], out);
      }
      pos = end + 1;
    }
  }
  return ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::FindReaderForHandle(HANDLE file, LPCWSTR fileName, LONG* typeIndex, DWORD flags) {
  return FindReaderForHandleEx(file, fileName, typeIndex, flags, nullptr);
}

HRESULT CZoFileIOManager::FindReaderForHandleEx(HANDLE file, LPCWSTR fileName, LONG* typeIndex, DWORD,
                                                ProbeStage* stage) {
  if (!typeIndex) return E_POINTER;
  *typeIndex = -1;
  ProbeStage decided = ProbeStage::None;
  if (stage) *stage = decided;
  std::vector<BYTE> head;
  VANE_RETURN_IF_FAILED(ReadHead(file, &head));
  if (tables::HeaderFilterRefuses(head.data(), head.size())) return ZOERR_APP_FILETYPE;

  Search s;
  auto isType = [&](IZoReadFileClass* cls) {
    return cls->IsType(file, head.data(), DWORD(head.size()), fileName);
  };

  // Table stage: a type named from the first bytes leads straight to its class.
  DWORD type = 0;
  QuickIdentifyFn identify = g_quickIdentify.load();
  if (identify(file, fileName, 0, &type)) {
    const auto& rows = tables::kIdentification;
    auto first = std::find_if(rows.begin(), rows.end(), [&](const tables::IdRow& r) { return r.type == type; });
    for (auto it = first; it != rows.end() && it->type == type && s.found < 0; ++it) {
      if (it->reader == GUID_NULL) continue;
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), it->reader);
      tZOFIOPLUGINENTRY* e = ReaderEntryByGuid(it->reader);
      LONG index = e ? e->readerIndex : -1;
      if (s.tried.size() < 2 && index >= 0) s.tried.push_back(index);
      if (SUCCEEDED(hr)) {
        hr = isType(cls.Get());
        // For these two types the name must agree too: a failure or a plain
        // "no" from IsTypeSlow refuses the file.
        if (hr == S_OK && (type == 5 || type == 0x14) && cls->IsTypeSlow(fileName) != S_OK) hr = ZOERR_FILE_OPEN;
        if (type == 0x100D) hr = cls->IsTypeSlow(fileName);
      }
      if (hr == S_OK) {
        s.status = S_OK;
        s.found = index;
        decided = ProbeStage::Table;
      } else if (hr == ZOERR_PLUGIN_NOT_INITIALIZED && it == first) {
        s.Fallback(index, hr);
      } else if (hr == ZOERR_FILE_OPEN) {
        s.status = hr;
      }
    }
  }

  // Extension stage.
  LONG lastExtensionIndex = -1;
  std::u16string ext = ExtensionOf(fileName);
  if (s.found < 0 && !ext.empty()) {
    LONG position = -1;
    for (;;) {
      tZOFIOPLUGINENTRY* e = nullptr;
      if (FAILED(ReaderByExtension(ext.c_str(), &position, &e))) break;
      lastExtensionIndex = position;
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = EnsureReader(e, cls.ReleaseAndGetAddressOf());
      if (SUCCEEDED(hr)) hr = isType(cls.Get());
      if (hr == S_OK) {
        s.status = S_OK;
        s.found = position;
        decided = ProbeStage::Extension;
        break;
      }
      if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) s.Fallback(position, hr);
      ++position;
    }
  }

  // Last-used stage.
  if (s.found < 0) {
    LONG last = m_lastRead.load();
    if (last >= 0 && !s.Tried(last)) {
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = GetReadClassByIndex(cls.ReleaseAndGetAddressOf(), last);
      if (SUCCEEDED(hr)) hr = isType(cls.Get());
      if (hr == S_OK) {
        s.status = S_OK;
        s.found = last;
        decided = ProbeStage::LastUsed;
      } else if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) {
        s.Fallback(last, hr);
      }
      s.tried.push_back(last);
    }
  }

  // All stage: every class not tried yet, in rank order.
  if (s.found < 0) {
    auto readers = SortedReaders();
    for (size_t i = 0; i < readers.size(); ++i) {
      LONG index = LONG(i);
      if (s.Tried(index) || index == lastExtensionIndex) continue;
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = EnsureReader(readers[i], cls.ReleaseAndGetAddressOf());
      if (SUCCEEDED(hr)) hr = isType(cls.Get());
      if (hr == S_OK) {
        s.status = S_OK;
        s.found = index;
        decided = ProbeStage::All;
        break;
      }
      if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) s.Fallback(index, hr);
    }
  }
  if (stage) *stage = decided;
  return s.Finish(typeIndex);
}

HRESULT CZoFileIOManager::FindReaderForName(LPCWSTR fileName, LONG* typeIndex) {
  if (!typeIndex || !fileName) return E_POINTER;
  *typeIndex = -1;
  Search s;
  LONG previous = -1;
  std::u16string ext = ExtensionOf(fileName);
  if (!ext.empty()) {
    LONG position = -1;
    for (;;) {
      tZOFIOPLUGINENTRY* e = nullptr;
      if (FAILED(ReaderByExtension(ext.c_str(), &position, &e))) break;
      previous = position;
      s.tried.push_back(position);
      ComPtr<IZoReadFileClass> cls;
      HRESULT hr = EnsureReader(e, cls.ReleaseAndGetAddressOf());
      if (SUCCEEDED(hr)) hr = cls->IsTypeSlow(fileName);
      if (hr == S_OK) {
        s.found = position;
        return s.Finish(typeIndex);
      }
      if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) s.Fallback(position, hr);
      ++position;
    }
  }
  LONG last = m_lastRead.load();
  if (last >= 0 && last != previous) {
    ComPtr<IZoReadFileClass> cls;
    HRESULT hr = GetReadClassByIndex(cls.ReleaseAndGetAddressOf(), last);
    if (SUCCEEDED(hr)) hr = cls->IsTypeSlow(fileName);
    if (hr == S_OK) {
      s.found = last;
      return s.Finish(typeIndex);
    }
    if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) s.Fallback(last, hr);
    s.tried.push_back(last);
  }
  auto readers = SortedReaders();
  for (size_t i = 0; i < readers.size(); ++i) {
    if (s.Tried(LONG(i))) continue;
    ComPtr<IZoReadFileClass> cls;
    HRESULT hr = EnsureReader(readers[i], cls.ReleaseAndGetAddressOf());
    if (SUCCEEDED(hr)) hr = cls->IsTypeSlow(fileName);
    if (hr == S_OK) {
      // The catch-all reader takes anything by name; it loses to a fallback.
      GUID id = GUID_NULL;
      cls->GetTypeID(&id);
      if (tables::IsCatchAllClass(id) && s.fallbackIndex >= 0) continue;
      s.found = LONG(i);
      break;
    }
    if (hr == ZOERR_PLUGIN_NOT_INITIALIZED) s.Fallback(LONG(i), hr);
  }
  return s.Finish(typeIndex);
}

HRESULT CZoFileIOManager::QuickFindReader(LPCWSTR fileName, IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!fileName) return ZOERR_UNSUPPORTED_FORMAT;
  std::u16string ext = Upper(ExtensionOf(fileName));
  auto readers = SortedReaders();
  tZOFIOPLUGINENTRY* byExt = nullptr;
  if (!ext.empty()) {
    for (auto* e : readers)
      if (Upper(e->ExtReader).find(ext) != std::u16string::npos) {
        byExt = e;
        break;
      }
  }
  HANDLE file = CreateFileW(fileName, GENERIC_READ, kOpenShare, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN,
                            nullptr);
  std::vector<BYTE> head;
  if (file != INVALID_HANDLE_VALUE && FAILED(ReadHead(file, &head))) head.clear();
  auto tryAll = [&](bool slow) -> bool {
    std::vector<tZOFIOPLUGINENTRY*> order;
    if (byExt) order.push_back(byExt);
    for (auto* e : readers)
      if (e != byExt) order.push_back(e);
    for (auto* e : order) {
      ComPtr<IZoReadFileClass> cls;
      if (FAILED(EnsureReader(e, cls.ReleaseAndGetAddressOf()))) continue;
      HRESULT hr = slow ? cls->IsTypeSlow(fileName)
                        : cls->IsType(file, head.data(), DWORD(head.size()), fileName);
      if (hr == S_OK) {
        *out = cls.Detach();
        return true;
      }
    }
    return false;
  };
  bool found = file != INVALID_HANDLE_VALUE && tryAll(false);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  if (!found && m_fast[kMetricNoNameProbe] == 0) found = tryAll(true);
  return found ? S_OK : ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::OpenReadFileEx(LPCWSTR fileName, IZoReadFile** out, DWORD flags, ProbeReport* report) {
  if (out) *out = nullptr;
  if (!fileName) return E_POINTER;
  ProbeReport local;
  ProbeReport& r = report ? *report : local;
  // Text after "?" is a moniker for the plug-in (ProbeName); the reader gets the whole text.
  std::u16string name = ProbeName(fileName);
  if (name.size() + 1 >= kMaxOpenName) return r.status = ZOERR_BUFFER_TOO_SMALL;
  HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, kOpenShare, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return r.status = HRESULT_FROM_WIN32(GetLastError());
  struct Closer {
    HANDLE h;
    ~Closer() { CloseHandle(h); }
  } closer{file};

  LONG index = -1;
  HRESULT probe = FindReaderForHandleEx(file, name.c_str(), &index, flags, &r.stage);
  if (FAILED(probe) && probe != ZOERR_APP_FILETYPE && probe != kStatusNotSupported &&
      probe != ZOERR_PLUGIN_NOT_INITIALIZED && m_fast[kMetricNoNameProbe] == 0) {
    LONG byName = -1;
    HRESULT hr = FindReaderForName(name.c_str(), &byName);
    if (hr != kStatusNotSupported && hr != ZOERR_PLUGIN_NOT_INITIALIZED) {
      probe = hr;
      index = byName;
      r.stage = SUCCEEDED(hr) ? ProbeStage::Name : ProbeStage::None;
    }
  }
  r.status = probe;
  r.index = index;
  if (FAILED(probe)) return probe;

  // Merit override: a configured merit beats the probe when its class takes the file.
  ComPtr<IZoReadFileClass> chosen;
  DWORD best = 0;
  std::vector<BYTE> head;
  bool haveHead = false;
  for (tZOFIOPLUGINENTRY* e : SortedReaders()) {
    if (e->MeritValue <= best) continue;
    ComPtr<IZoReadFileClass> cls;
    HRESULT hr = e->MeritReader != GUID_NULL ? GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), e->MeritReader)
                                             : EnsureReader(e, cls.ReleaseAndGetAddressOf());
    if (FAILED(hr)) continue;
    if (!haveHead) {
      if (FAILED(ReadHead(file, &head))) head.clear();
      haveHead = true;
    }
    if (cls->IsType(file, head.data(), DWORD(head.size()), name.c_str()) == S_OK) {
      best = e->MeritValue;
      chosen = cls;
    }
  }
  if (chosen) {
    r.stage = ProbeStage::Merit;
    r.index = IndexOf(chosen.Get());
  } else {
    HRESULT hr = GetReadClassByIndex(chosen.ReleaseAndGetAddressOf(), index);
    if (FAILED(hr)) return r.status = hr;
  }
  if (tZOFIOPLUGINENTRY* e = ReaderEntryByClass(chosen.Get())) {
    r.reader = e->Reader;
    r.name = e->DialogName;
  }
  if (!out) return probe;  // probing only

  BOOL openNow = (flags & 0x3000) == 0;
  ComPtr<IZoReadFile> reader;
  HRESULT hr = chosen->Open(reader.ReleaseAndGetAddressOf(), file, GetCurrentProcessId(), fileName, openNow);
  if (FAILED(hr)) return r.status = hr;
  if (!reader) return r.status = E_UNEXPECTED;
  SetLastReadClass(chosen.Get());
  *out = reader.Detach();
  return probe == kProbeNoteFallback ? probe : S_OK;
}

HRESULT CZoFileIOManager::OpenReadFile(LPCWSTR fileName, IZoReadFile** out, DWORD flags) {
  if (!out) return E_POINTER;
  return OpenReadFileEx(fileName, out, flags, nullptr);
}

HRESULT CZoFileIOManager::OpenReadFileWithClass(LPCWSTR fileName, IZoReadFile** out, REFGUID classId, DWORD flags) {
  if (!out || !fileName) return E_POINTER;
  *out = nullptr;
  std::u16string name = ProbeName(fileName);
  if (name.size() + 1 >= kMaxOpenName) return ZOERR_BUFFER_TOO_SMALL;
  if (classId != GUID_NULL) {
    ComPtr<IZoReadFileClass> cls;
    if (SUCCEEDED(GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), classId))) {
      HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, kOpenShare, nullptr, OPEN_EXISTING,
                                FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
      if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
      ComPtr<IZoReadFile> reader;
      HRESULT hr = cls->Open(reader.ReleaseAndGetAddressOf(), file, GetCurrentProcessId(), fileName,
                             (flags & 0x3000) == 0);
      CloseHandle(file);
      if (SUCCEEDED(hr) && reader) {
        SetLastReadClass(cls.Get());
        *out = reader.Detach();
        return S_OK;
      }
    }
  }
  return OpenReadFile(fileName, out, flags);
}

HRESULT CZoFileIOManager::IsFileOfReaderKind(LPCWSTR fileName) {
  if (!fileName) return E_POINTER;
  HANDLE file = CreateFileW(fileName, GENERIC_READ, kOpenShare, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  LONG index = -1;
  HRESULT hr = FindReaderForHandle(file, fileName, &index, 0);
  CloseHandle(file);
  if (FAILED(hr)) return hr;
  ComPtr<IZoReadFileClass> cls;
  VANE_RETURN_IF_FAILED(GetReadClassByIndex(cls.ReleaseAndGetAddressOf(), index));
  // The kind interface has one slot after IUnknown's: does the name belong.
  struct IZoReaderKind : IUnknown {
    virtual HRESULT IsOfKind(LPCWSTR name) = 0;
  };
  ComPtr<IZoReaderKind> kind;
  if (FAILED(cls->QueryInterface(IID_IZoReaderKind, kind.AsVoidOut())) || !kind) return S_FALSE;
  return kind->IsOfKind(fileName);
}

HRESULT ProbeFile(IZoFileIOMgrForApp* manager, const WCHAR* fileName, ProbeReport* report) {
  if (!manager || !report) return E_POINTER;
  *report = ProbeReport{};
  try {
    return static_cast<CZoFileIOManager*>(manager)->OpenReadFileEx(fileName, nullptr, 0, report);
  } catch (...) {
    return report->status = E_UNEXPECTED;
  }
}

}  // namespace vane::fileio
