// SPDX-License-Identifier: MIT
// The manager's frame: creation, folders, metrics, class lookups and
// shutdown. Discovery and the cache live in manager_plugins.cpp, the probe
// stages in manager_probe.cpp.
#include "fileio/manager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/detail/module_loader.h"
#include "fileio/enumerators.h"
#include "fileio/profile_like.h"
#include "fileio/rank_tables.h"
#include "fileio/zotemplate_cache.h"
#include "platform/file.h"
#include "platform/profile.h"
#include "platform/wtext.h"

namespace vane::fileio {
namespace {

constexpr DWORD kDefaultLcid = 1033;
constexpr const char* kProcessorTag = "x86";
constexpr DWORD kMetricMarker = 61453;

std::string ExePath() {
  char buf[4096];
  ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "vane";
  buf[n] = 0;
  return buf;
}

std::string Stem(const std::string& path) {
  std::string name = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string EnvFolder(const char* var, const char* fallbackUnderHome) {
  if (const char* v = std::getenv(var); v && *v) return v;
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/" + fallbackUnderHome;
}

bool MakeFolders(const std::string& path) {
  for (size_t pos = 1; pos <= path.size(); ++pos) {
    if (pos == path.size() || path[pos] == '/') {
      std::string part = path.substr(0, pos);
      if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
  }
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

CZoFileIOManager::CZoFileIOManager(bool surrogateMode) : m_surrogateMode(surrogateMode) {}

CZoFileIOManager::~CZoFileIOManager() {
  Shutdown();
  m_initThread.Stop();
  m_mutex.reset();
}

HRESULT CZoFileIOManager::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (riid == IID_IUnknown || riid == IID_IZoFileIOManager || riid == IID_IZoFileIOMgrForApp) {
    *object = static_cast<IZoFileIOMgrForApp*>(this);
    AddRef();
    return S_OK;
  }
  // IZoFioFilterBuilder2 is answered by a new filter builder, which this
  // build does not carry yet.
  return E_NOINTERFACE;
}

ULONG CZoFileIOManager::AddRef() { return ULONG(++m_refs); }

ULONG CZoFileIOManager::Release() {
  LONG n = --m_refs;
  if (n == 0) delete this;
  return ULONG(n);
}

void CZoFileIOManager::Destroy() { delete this; }

HRESULT CZoFileIOManager::GetLCID(DWORD* lcid, DWORD reserved) {
  if (reserved != 0 || !lcid) return E_INVALIDARG;
  *lcid = kDefaultLcid;
  return S_OK;
}

HRESULT CZoFileIOManager::Initialize(DWORD flags) { return InitializeEx(flags, nullptr); }

HRESULT CZoFileIOManager::InitializeEx(DWORD flags, LPCWSTR name) {
  m_flags = flags;
  m_fast[kMetricRebuild] = (flags & kCreateRebuild) ? 1 : 0;
  std::string exe = ExePath();
  m_productName = name && *name ? std::u16string(name) : vane::platform::FromUtf8(Stem(exe));
  if (!m_mutex) {
    std::string mutexName = "Local\\Quon Media Works " + exe;
    for (char& c : mutexName.replace(0, 6, "Local_"))
      if (c == '\\' || c == '/') c = ' ';
    m_mutex = std::make_unique<detail::NamedMutex>(mutexName);
  }
  return ResolveFolders();
}

HRESULT CZoFileIOManager::ResolveFolders() {
  if (m_foldersResolved) return S_OK;
  // No version block travels with a Linux executable, so the product folder
  // is the program's stem with no version folder.
  std::string product = vane::platform::ToUtf8(m_productName);
  std::string cacheName = std::string("FFCache_") + kProcessorTag + "_" + std::to_string(kDefaultLcid) + ".ini";
  std::string metricsName = std::string("FFMetrics_") + kProcessorTag + ".ini";
  std::string cacheFolder = EnvFolder("XDG_CACHE_HOME", ".cache") + "/" + product;
  std::string metricsFolder = EnvFolder("XDG_CONFIG_HOME", ".config") + "/" + product;
  std::string cachePath, metricsPath;
  if (!(m_flags & kCreateFilesBesideExe) && MakeFolders(cacheFolder) && MakeFolders(metricsFolder)) {
    cachePath = cacheFolder + "/" + cacheName;
    metricsPath = metricsFolder + "/" + metricsName;
  } else {
    // Beside the executable the program's name leads, so two programs in
    // one folder keep their files apart.
    std::string exe = ExePath();
    std::string folder = exe.substr(0, exe.rfind('/'));
    std::string exeName = exe.substr(exe.rfind('/') + 1);
    cachePath = folder + "/" + exeName + " " + cacheName;
    metricsPath = folder + "/" + exeName + " " + metricsName;
  }
  m_cachePath = vane::platform::FromUtf8(cachePath);
  m_metricsPath = vane::platform::FromUtf8(metricsPath);
  m_foldersResolved = true;
  return S_OK;
}

HRESULT CZoFileIOManager::Create(DWORD flags, const _ZOFIO_KEYED_INFO* info, const WCHAR* const* names, LONG count) {
  VANE_RETURN_IF_FAILED(Initialize(flags));
  if (m_fast[kMetricRebuild]) flags |= kCreateRebuild;
  m_flags = flags;
  if (info) {
    VANE_RETURN_IF_FAILED(SetInitMetrics(&info->metrics));
    for (DWORD i = 0; info->skipNames && i < info->skipCount; ++i)
      if (info->skipNames[i]) m_skipNames.emplace_back(info->skipNames[i]);
  }
  if (names && count > 0) {
    BOOL allCached = TRUE;
    VANE_RETURN_IF_FAILED(AddCandidates(nullptr, names, count, flags, &allCached));
    VANE_RETURN_IF_FAILED(AttachPluginList(nullptr, flags, nullptr, 0));
  } else if (!(flags & kCreateNoDiscovery)) {
    BOOL allCached = TRUE;
    HRESULT hr = FindCandidates(nullptr, flags, &allCached);
    if (SUCCEEDED(hr))
      hr = AttachPluginList(nullptr, info ? info->filterFlags : 0, info ? info->guids : nullptr,
                            info ? info->guidCount : 0);
    if (FAILED(hr)) {
      if (m_list) m_list->ReleaseAll();
      m_list.reset();
      return hr;
    }
  }
  InitializeMarkedClasses();
  if (!(flags & kCreateNoCache)) {
    WriteCache(0);
    m_fast[kMetricRebuild] = 0;
  }
  return S_OK;
}

HRESULT CZoFileIOManager::Shutdown() {
  detail::NamedMutexHold hold(m_mutex.get());
  if (m_shutDown) return S_OK;
  // The template cache holds copies only; it goes before the classes.
  ZoFio_DropManagerTemplateCache(this);
  if (m_readerEnum) m_readerEnum->Release();
  if (m_rendererEnum) m_rendererEnum->Release();
  if (m_pluginEnum) m_pluginEnum->Release();
  m_readerEnum = m_rendererEnum = nullptr;
  m_pluginEnum = nullptr;
  if (m_list) {
    // Classes are released on the init thread, where they were made.
    m_initThread.Run([this] {
      m_list->ReleaseAll();
      return S_OK;
    });
    m_list.reset();
  }
  m_shutDown = true;
  return S_OK;
}

HRESULT CZoFileIOManager::SetInitMetrics(const _ZOFIO_INITIALIZATION_METRICS* metrics) {
  if (!metrics) return E_POINTER;
  for (DWORD n = 0; n < ZOFIO_FAST_METRIC_COUNT; ++n)
    if (metrics->mask & (1ull << n)) m_fast[n] = metrics->values[n];
  return S_OK;
}

std::u16string CZoFileIOManager::MetricKey(char kind, LONG id) const {
  long long v = id;
  if (v < 0) v = -v;
  return vane::platform::FromUtf8(std::string(1, kind) + std::to_string(v));
}

HRESULT CZoFileIOManager::GetMetric(LONG id, DWORD* value) {
  if (!value) return E_POINTER;
  if (id >= 0 && id < LONG(ZOFIO_FAST_METRIC_COUNT)) {
    *value = m_fast[size_t(id)];
    return S_OK;
  }
  if (id == LONG(ZOFIO_FAST_METRIC_COUNT)) {
    *value = 0;
    return S_OK;
  }
  ResolveFolders();
  std::u16string key = MetricKey('D', id);
  UINT a = GetPrivateProfileIntW(u"Metrics", key.c_str(), INT(kMetricMarker), m_metricsPath.c_str());
  UINT b = GetPrivateProfileIntW(u"Metrics", key.c_str(), 0, m_metricsPath.c_str());
  if (a == kMetricMarker && b == 0) return ZOERR_NOT_FOUND;
  *value = a;
  return S_OK;
}

HRESULT CZoFileIOManager::SetMetric(LONG id, DWORD value) {
  if (id >= 0 && id < LONG(ZOFIO_FAST_METRIC_COUNT)) {
    m_fast[size_t(id)] = value;
    return S_OK;
  }
  if (id == LONG(ZOFIO_FAST_METRIC_COUNT)) return E_UNEXPECTED;
  ResolveFolders();
  std::u16string text = vane::platform::FromUtf8(std::to_string(LONG(value)));
  if (!WritePrivateProfileStringW(u"Metrics", MetricKey('D', id).c_str(), text.c_str(), m_metricsPath.c_str()))
    return HRESULT_FROM_WIN32(GetLastError());
  return S_OK;
}

HRESULT CZoFileIOManager::GetMetricText(LONG id, WCHAR* buffer, DWORD capacity, DWORD* length) {
  if (id >= 0 && id <= LONG(ZOFIO_FAST_METRIC_COUNT)) return E_INVALIDARG;
  if (!buffer || capacity == 0) return E_INVALIDARG;
  ResolveFolders();
  CZoProfile profile = ProfileAt(m_metricsPath, u"Metrics");
  std::u16string key = MetricKey('S', id);
  bool present = profile.GetString(key.c_str(), u"", buffer, capacity);
  if (length) *length = DWORD(ZoWcsLen(buffer));
  return present ? S_OK : ZOERR_NOT_FOUND;
}

HRESULT CZoFileIOManager::SetMetricText(LONG id, LPCWSTR text) {
  if (id >= 0 && id <= LONG(ZOFIO_FAST_METRIC_COUNT)) return E_INVALIDARG;
  ResolveFolders();
  CZoProfile profile = ProfileAt(m_metricsPath, u"Metrics");
  return profile.WriteString(MetricKey('S', id).c_str(), text ? text : u"");
}

HRESULT CZoFileIOManager::DeleteMetric(LONG id, LONG kind) {
  ResolveFolders();
  char letter = kind == 4 ? 'D' : kind == 3 ? 'B' : kind == 1 ? 'S' : 'Z';
  if (!WritePrivateProfileStringW(u"Metrics", MetricKey(letter, id).c_str(), nullptr, m_metricsPath.c_str()))
    return HRESULT_FROM_WIN32(GetLastError());
  return S_OK;
}

HRESULT CZoFileIOManager::GetMetricBinary(LONG id, void* buffer, DWORD bytes, DWORD* bytesOut) {
  if (id >= 0 && id <= LONG(ZOFIO_FAST_METRIC_COUNT)) return E_INVALIDARG;
  if (!buffer && bytes) return E_POINTER;
  ResolveFolders();
  auto file = vane::platform::LoadIniSnapshot(vane::platform::ToUtf8(m_metricsPath));
  const std::u16string* text = file ? file->Find(u"Metrics", MetricKey('B', id)) : nullptr;
  if (!text) return ZOERR_NOT_FOUND;
  std::vector<LONG> values;
  std::string s = vane::platform::ToUtf8(*text);
  for (size_t pos = 0; pos < s.size() && values.size() < 128;) {
    size_t end = s.find(',', pos);
    if (end == std::string::npos) end = s.size();
    values.push_back(LONG(std::strtol(s.substr(pos, end - pos).c_str(), nullptr, 10)));
    pos = end + 1;
  }
  DWORD words = bytes / 4;
  auto* out = static_cast<LONG*>(buffer);
  for (DWORD i = 0; i < words; ++i) out[i] = i < values.size() ? values[i] : 0;
  if (bytesOut) *bytesOut = DWORD(values.size() * 4);
  return values.size() * 4 > bytes ? ZOERR_BUFFER_TOO_SMALL : S_OK;
}

HRESULT CZoFileIOManager::SetMetricBinary(LONG id, const void* buffer, DWORD bytes) {
  if (id >= 0 && id <= LONG(ZOFIO_FAST_METRIC_COUNT)) return E_INVALIDARG;
  if ((bytes % 4) != 0 || bytes > 128 * 4 || (!buffer && bytes)) return E_INVALIDARG;
  ResolveFolders();
  std::vector<LONG> values(bytes / 4);
  if (bytes) std::memcpy(values.data(), buffer, bytes);
  while (!values.empty() && values.back() == 0) values.pop_back();
  std::string text;
  for (size_t i = 0; i < values.size(); ++i) text += (i ? "," : "") + std::to_string(values[i]);
  std::u16string wide = vane::platform::FromUtf8(text);
  CZoProfile profile = ProfileAt(m_metricsPath, u"Metrics");
  return profile.WriteString(MetricKey('B', id).c_str(), wide.c_str());
}

std::vector<tZOFIOPLUGINENTRY*> CZoFileIOManager::SortedReaders() const {
  return m_readerEnum ? m_readerEnum->entries() : std::vector<tZOFIOPLUGINENTRY*>{};
}

std::vector<tZOFIOPLUGINENTRY*> CZoFileIOManager::SortedRenderers() const {
  return m_rendererEnum ? m_rendererEnum->entries() : std::vector<tZOFIOPLUGINENTRY*>{};
}

tZOFIOPLUGINENTRY* CZoFileIOManager::ReaderEntryByIndex(LONG index) const {
  if (!m_readerEnum || index < 0) return nullptr;
  const auto& list = m_readerEnum->entries();
  return size_t(index) < list.size() ? list[size_t(index)] : nullptr;
}

tZOFIOPLUGINENTRY* CZoFileIOManager::ReaderEntryByGuid(const GUID& g) const {
  if (!m_readerEnum || g == GUID_NULL) return nullptr;
  for (auto* e : m_readerEnum->entries())
    if (e->Reader == g) return e;
  for (auto* e : m_readerEnum->entries())
    if (e->classId == g) return e;
  return nullptr;
}

tZOFIOPLUGINENTRY* CZoFileIOManager::ReaderEntryByClass(IZoReadFileClass* cls) const {
  if (!m_readerEnum || !cls) return nullptr;
  for (auto* e : m_readerEnum->entries())
    if (e->readerClass == cls) return e;
  return nullptr;
}

HRESULT CZoFileIOManager::GetReadClassById(IZoReadFileClass** out, DWORD id) {
  if (!out) return E_POINTER;
  *out = nullptr;
  LONG index = -1;
  VANE_RETURN_IF_FAILED(MapIdToIndex(id, &index));
  return GetReadClassByIndex(out, index);
}

HRESULT CZoFileIOManager::GetReadClassByGuid(IZoReadFileClass** out, REFGUID id) {
  if (!out) return E_POINTER;
  *out = nullptr;
  tZOFIOPLUGINENTRY* e = ReaderEntryByGuid(id);
  if (!e) return ZOERR_UNSUPPORTED_FORMAT;
  return EnsureReader(e, out);
}

HRESULT CZoFileIOManager::GetRenderClassByGuid(IZoRenderFileClass** out, REFGUID id) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (id == GUID_NULL || !m_rendererEnum) return ZOERR_UNSUPPORTED_FORMAT;
  // Two passes: the whole GUID, then its first 10 bytes alone.
  for (size_t bytes : {size_t(16), size_t(10)}) {
    for (auto* e : m_rendererEnum->entries()) {
      if (std::memcmp(&e->Renderer, &id, bytes) == 0 || std::memcmp(&e->classId, &id, bytes) == 0)
        return EnsureRenderer(e, out);
    }
  }
  return ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::GetReadClassByIndex(IZoReadFileClass** out, LONG index) {
  if (!out) return E_POINTER;
  *out = nullptr;
  tZOFIOPLUGINENTRY* e = ReaderEntryByIndex(index);
  if (!e) return ZOERR_UNSUPPORTED_FORMAT;
  return EnsureReader(e, out);
}

HRESULT CZoFileIOManager::GetRenderClassByIndex(IZoRenderFileClass** out, LONG index) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!m_rendererEnum || index < 0 || size_t(index) >= m_rendererEnum->entries().size())
    return ZOERR_UNSUPPORTED_FORMAT;
  return EnsureRenderer(m_rendererEnum->entries()[size_t(index)], out);
}

HRESULT CZoFileIOManager::FindRendererByName(IZoRenderFileClass** out, LPCWSTR text) {
  if (!out || !text) return E_INVALIDARG;
  *out = nullptr;
  auto upper = [](std::u16string s) {
    for (auto& c : s)
      if ((c >= u'a' && c <= u'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) c = char16_t(c - 32);
    return s;
  };
  std::u16string wanted = upper(text);
  for (auto* e : SortedRenderers()) {
    if (upper(e->DialogName).find(wanted) != std::u16string::npos) return EnsureRenderer(e, out);
  }
  return ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::MapIdToIndex(DWORD id, LONG* index) {
  if (!index) return E_POINTER;
  if (id < 0x6000) return ZOERR_UNSUPPORTED_FORMAT;
  for (const auto& row : tables::kIdMap) {
    if (row.type != id || row.reader == GUID_NULL) continue;
    ComPtr<IZoReadFileClass> cls;
    if (SUCCEEDED(GetReadClassByGuid(cls.ReleaseAndGetAddressOf(), row.reader)))
      return cls->GetTypeIndex(index);
  }
  return ZOERR_UNSUPPORTED_FORMAT;
}

HRESULT CZoFileIOManager::GetLastReadClass(IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  LONG index = m_lastRead.load();
  if (index < 0) return ZOERR_UNSUPPORTED_FORMAT;
  return GetReadClassByIndex(out, index);
}

HRESULT CZoFileIOManager::SetLastReadClass(IZoReadFileClass* cls) {
  if (!cls) return E_POINTER;
  GUID id = GUID_NULL;
  if (SUCCEEDED(cls->GetTypeID(&id)) && tables::IsCatchAllClass(id)) return S_OK;
  LONG index = -1;
  VANE_RETURN_IF_FAILED(cls->GetTypeIndex(&index));
  m_lastRead = index;
  return S_OK;
}

HRESULT CZoFileIOManager::GetLastRenderClass(IZoRenderFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  LONG index = m_lastRender.load();
  if (index < 0) return ZOERR_UNSUPPORTED_FORMAT;
  return GetRenderClassByIndex(out, index);
}

HRESULT CZoFileIOManager::SetLastRenderClass(IZoRenderFileClass* cls) {
  if (!cls) return E_POINTER;
  LONG index = -1;
  VANE_RETURN_IF_FAILED(cls->GetTypeIndex(&index));
  m_lastRender = index;
  return S_OK;
}

HRESULT CZoFileIOManager::GetReaderEnum(IZoFileIOTypeEnum** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!m_readerEnum) return E_FAIL;
  *out = m_readerEnum->Copy(false);  // a cursor of the caller's own
  return S_OK;
}

HRESULT CZoFileIOManager::GetRendererEnum(IZoFileIOTypeEnum** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!m_rendererEnum) return E_FAIL;
  *out = m_rendererEnum->Copy(false);
  return S_OK;
}

LONG CZoFileIOManager::GetReaderCount() { return m_readerEnum ? m_readerEnum->GetCount() : 0; }
LONG CZoFileIOManager::GetRendererCount() { return m_rendererEnum ? m_rendererEnum->GetCount() : 0; }

HRESULT CZoFileIOManager::GetPluginCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = m_pluginEnum ? m_pluginEnum->Count() : 0;
  return *count < 1 ? S_FALSE : S_OK;
}

HRESULT CZoFileIOManager::IsPluginKnown(REFGUID classId) {
  if (!m_pluginEnum) return ZOERR_NOT_FOUND;
  ZOFIO_PLUGININFO info{};
  info.cbSize = sizeof info;
  return m_pluginEnum->GetPluginInfo(classId, &info);
}

HRESULT CZoFileIOManager::GetPluginEnum(IZoFIOPluginEnum** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!m_pluginEnum) return E_FAIL;
  *out = m_pluginEnum->Copy();
  return S_OK;
}

HRESULT CZoFileIOManager::GetPluginInfo(REFGUID classId, ZOFIO_PLUGININFO* record) {
  if (!m_pluginEnum) return ZOERR_NOT_FOUND;
  return m_pluginEnum->GetPluginInfo(classId, record);
}

HRESULT CZoFileIOManager::CreateFilterBuilder(IZoFioFilterBuilder2** out) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

HRESULT CZoFileIOManager::CreateFilterBuilder(IZoFioFilterBuilder2** out, DWORD) {
  if (out) *out = nullptr;
  return E_NOTIMPL;
}

std::vector<PluginDescription> CZoFileIOManager::Describe() {
  std::vector<PluginDescription> out;
  if (!m_list) return out;
  std::lock_guard<std::recursive_mutex> hold(m_list->lock);
  for (const auto& up : m_list->entries) {
    const tZOFIOPLUGINENTRY& e = *up;
    PluginDescription d;
    d.classId = e.classId;
    d.name = e.DialogName;
    d.reader = e.Reader;
    d.renderer = e.Renderer;
    d.extensions = !e.ExtReader.empty() ? e.ExtReader : e.ExtRenderer;
    d.module = e.path;
    d.merit = e.MeritValue;
    bool reader = (e.Access & kAccessReader) != 0;
    DWORD st = reader ? e.readerState : e.renderState;
    d.index = reader ? e.readerIndex : e.renderIndex;
    if (e.state & kEntryHidden) d.state = "hidden";
    else if (e.state & kEntryNotEnumerated) d.state = "left out";
    else if (d.index < 0) d.state = "left out";
    else if (st == kClassReady) d.state = "ready";
    else if (st == kClassFailed) d.state = "failed";
    else d.state = "not loaded";
    HRESULT failure = reader ? e.readerStatus : e.renderStatus;
    if (e.state & kEntryHiddenByList) {
      d.reason = "its class is on the manager's list of hidden classes";
    } else if (!e.problem.empty()) {
      d.reason = e.problem;
    } else if (st == kClassFailed && FAILED(failure)) {
      char text[64];
      std::snprintf(text, sizeof text, "making the class failed with 0x%08X", unsigned(failure));
      d.reason = text;
    } else if (e.path.size() >= MAX_PATH) {
      d.reason =
          "its module path is longer than the 259 characters the plug-in information record carries: "
          "GetPluginInfo gives it cut, with 0x8004E03C";
    }
    out.push_back(std::move(d));
  }
  return out;
}

namespace {

HRESULT CreateManager(IZoFileIOMgrForApp** out, DWORD flags, const _ZOFIO_KEYED_INFO* info,
                      const WCHAR* const* names, LONG count) {
  if (!out) return E_POINTER;
  *out = nullptr;
  auto* m = new (std::nothrow) CZoFileIOManager(false);
  if (!m) return E_OUTOFMEMORY;
  HRESULT hr;
  try {
    hr = m->Create(flags, info, names, count);
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (...) {
    hr = E_UNEXPECTED;
  }
  if (FAILED(hr)) {
    m->Release();
    return hr;
  }
  *out = m;
  return S_OK;
}

}  // namespace

}  // namespace vane::fileio

using vane::fileio::CreateManager;

HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags) {
  _ZOFIO_KEYED_INFO info{};
  info.filterFlags = flags;
  return CreateManager(out, flags, &info, nullptr, 0);
}

HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags, const _ZOFIO_KEYED_INFO* info) {
  return CreateManager(out, flags, info, nullptr, 0);
}

HRESULT ZOFileIO_CreateInstance(IZoFileIOMgrForApp** out, DWORD flags, const WCHAR* const* names, LONG count) {
  if (count > 0 && !names) return E_INVALIDARG;
  return CreateManager(out, count > 0 ? flags : flags | vane::fileio::kCreateNoDiscovery, nullptr, names, count);
}

std::vector<vane::fileio::PluginDescription> vane::fileio::DescribePlugins(IZoFileIOMgrForApp* manager) {
  if (!manager) return {};
  return static_cast<CZoFileIOManager*>(manager)->Describe();
}
