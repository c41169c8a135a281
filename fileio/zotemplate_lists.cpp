// SPDX-License-Identifier: MIT
// Template lists: the pointer lists that carry templates, their stream form,
// the folders of a renderer class, the per-manager cache of what a class has,
// lookups and the application's last used template.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "fileio/zotemplate.h"
#include "fileio/zotemplate_cache.h"
#include "kernel/kernel_strings.h"
#include "platform/file.h"
#include "platform/folders.h"
#include "platform/guid.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace fs = std::filesystem;

namespace {

constexpr DWORD kListHeadSize = 12;
constexpr DWORD kListVersion = 100;
// The reserved name, from the kernel's catalogue (a language module may translate it).
const WCHAR* DefaultName() { return vane::kernel::KernelText(vane::kernel::kStrDefaultTemplate); }

// A read-only stream over the bytes of a template list: Read and Seek work,
// everything else is refused, and reading at the end is an end of file.
class TemplateStream final : public IStream {
 public:
  explicit TemplateStream(std::vector<BYTE> bytes) : m_bytes(std::move(bytes)) {}
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_ISequentialStream || iid == IID_IStream) {
      AddRef();
      *out = static_cast<IStream*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return ++m_refs; }
  ULONG Release() override {
    const ULONG n = --m_refs;
    if (n == 0) delete this;
    return n;
  }
  HRESULT Read(void* buffer, ULONG count, ULONG* read) override {
    if (read) *read = 0;
    if (count == 0) return S_OK;
    if (!buffer) return E_POINTER;
    if (m_at >= m_bytes.size()) return ZOERR_EOF;
    const size_t n = std::min<size_t>(count, m_bytes.size() - m_at);
    std::memcpy(buffer, m_bytes.data() + m_at, n);
    m_at += n;
    if (read) *read = ULONG(n);
    return n == count ? S_OK : S_FALSE;
  }
  HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
    LONGLONG base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? LONGLONG(m_at) : LONGLONG(m_bytes.size());
    if (origin > STREAM_SEEK_END) return STG_E_INVALIDFUNCTION;
    const LONGLONG to = base + move.QuadPart;
    if (to < 0) return STG_E_INVALIDFUNCTION;
    m_at = size_t(to);
    if (position) position->QuadPart = ULONGLONG(to);
    return S_OK;
  }
  HRESULT SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return E_NOTIMPL; }
  HRESULT Revert() override { return E_NOTIMPL; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) override { return E_NOTIMPL; }

 private:
  std::atomic<ULONG> m_refs{1};
  std::vector<BYTE> m_bytes;
  size_t m_at = 0;
};

std::string ProgramStem() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return "vane";
  path[n] = 0;
  return fs::path(path).stem().string();
}

// A class's own name as a folder name: lower case, no separators.
std::string ClassFolderName(IZoRenderFileClass* cls) {
  DWORD id = 1;
  BSTR text = nullptr;
  std::string name;
  if (SUCCEEDED(cls->GetInfoText(&id, 1, &text)) && text) name = vane::platform::ToUtf8(text);
  if (text) SysFreeString(text);
  if (name.empty()) {
    GUID g{};
    cls->GetTypeID(&g);
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%08x-%04x-%04x", g.Data1, g.Data2, g.Data3);
    name = buffer;
  }
  for (char& c : name) {
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    if (c == '/' || c == '\\' || c == ':' || c == '*' || c == '?' || c == '"' || c == '<' || c == '>' || c == '|')
      c = '_';
  }
  return name;
}

ULONGLONG WriteTime(const fs::path& path) {
  std::error_code ec;
  const auto t = fs::last_write_time(path, ec);
  return ec ? 0 : ULONGLONG(t.time_since_epoch().count());
}

}  // namespace

std::string ZoTemplate_RootFolder() {
  if (const char* root = std::getenv("VANE_TEMPLATE_DIR"); root && *root) return root;
  return vane::platform::GetFolderPath(vane::platform::Folder::RoamingAppData) + "/Quon/" + ProgramStem();
}

std::string ZoTemplate_ClassFolder(IZoRenderFileClass* cls, const char* kind) {
  return ZoTemplate_RootFolder() + "/" + kind + "/" + ClassFolderName(cls);
}

HRESULT ZoFio_CreateTemplateList(tZOLIST** out) {
  if (!out) return E_POINTER;
  return ZoList_CreateExZ(out, sizeof(void*), 8, 8, 0, 0, 0, 0);
}

HRESULT ZoFio_AppendTemplate(tZOLIST* list, tagZOTEMPLATExV2* tpl) {
  if (!list || !tpl) {
    std::free(tpl);
    return E_POINTER;
  }
  const HRESULT hr = ZoList_InsertList(list, list->nItems, &tpl, 1);
  if (FAILED(hr)) std::free(tpl);
  return hr;
}

tagZOTEMPLATExV2* ZoFio_TemplateAt(tZOLIST* list, LONG index) {
  if (!list || index < 0 || index >= list->nItems) return nullptr;
  return static_cast<tagZOTEMPLATExV2*>(ZoList_PointerAt(list, index));
}

void ZoFio_ReleaseTemplate(tZOLIST* list, LONG index) {
  if (!list || index < 0 || index >= list->nItems) return;
  std::free(ZoList_PointerAt(list, index));
  ZoList_DeleteList(list, index, 1, FALSE);
}

void ZoFio_ReleaseTemplateList(tZOLIST* list) {
  if (!list) return;
  for (LONG i = 0; i < list->nItems; ++i) std::free(ZoList_PointerAt(list, i));
  ZoList_Destroy(list);
}

HRESULT ZoFio_MakeTemplateListIStream(tZOLIST* list, IStream** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  const DWORD count = list ? DWORD(list->nItems) : 0;
  std::vector<BYTE> bytes(kListHeadSize);
  const DWORD head[3] = {kListHeadSize, kListVersion, count};
  std::memcpy(bytes.data(), head, sizeof head);
  for (DWORD i = 0; i < count; ++i) {
    const tagZOTEMPLATExV2* tpl = ZoFio_TemplateAt(list, LONG(i));
    if (!tpl) return E_UNEXPECTED;
    const BYTE* raw = reinterpret_cast<const BYTE*>(tpl);
    bytes.insert(bytes.end(), raw, raw + tpl->size);
  }
  *out = new (std::nothrow) TemplateStream(std::move(bytes));
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT ZoFio_AddTemplatesToListFromIStream(tZOLIST* list, IStream* stream) {
  if (!list || !stream) return E_POINTER;
  DWORD head[3] = {};
  ULONG got = 0;
  HRESULT hr = stream->Read(head, sizeof head, &got);
  if (FAILED(hr)) return hr;
  if (got != sizeof head || head[0] != kListHeadSize || head[1] != kListVersion) return ZOERR_BAD_FORMAT;
  for (DWORD i = 0; i < head[2]; ++i) {
    tagZOTEMPLATExV2* tpl = nullptr;
    hr = ZoFio_LoadTemplateData(stream, &tpl, ZOTEMPLATE_VERSION_2 | 0xFFFFFF);
    if (FAILED(hr)) return hr;
    hr = ZoFio_AppendTemplate(list, tpl);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT ZoFio_LoadRawUserTemplate(IZoRenderFileClass* cls, LPCWSTR fileName, tagZOTEMPLATExV2** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  tagZOTEMPLATExV2* tpl = nullptr;
  HRESULT hr = ZoFio_LoadTemplateData(fileName, &tpl);
  if (FAILED(hr)) return hr;
  if (cls) {
    // The class approves what it will render with.
    DWORD approved = 1;
    const HRESULT ask = cls->GetTemplateInfo(tpl, &approved, sizeof approved, ZOTPLINFO_CLASS_APPROVES);
    if (SUCCEEDED(ask) && ask != S_FALSE && approved == 0) {
      std::free(tpl);
      return ZOERR_TEMPLATE_REFUSED;
    }
  }
  *out = tpl;
  return S_OK;
}

HRESULT ZoFio_LoadRawLegacyTemplate(IZoRenderFileClass* cls, LPCWSTR fileName, tagZOTEMPLATExV2** out) {
  return ZoFio_LoadRawUserTemplate(cls, fileName, out);
}

// ---- the cache of one class's templates ----

void CZoTemplateCache::Free() {
  for (auto& node : folders) ZoFio_ReleaseTemplateList(node.templates);
  folders.clear();
}

HRESULT CZoTemplateCache::Build(IZoRenderFileClass* cls) {
  Free();
  cls->GetTypeID(&classId);
  newest = 0;
  // Presets of the class.
  FolderNode presets;
  presets.kind = ZOTEMPLATE_KIND_PRESETS;
  VANE_RETURN_IF_FAILED(ZoFio_CreateTemplateList(&presets.templates));
  LONG count = 0;
  if (SUCCEEDED(cls->GetPresetCount(&count))) {
    for (LONG i = 0; i < count; ++i) {
      tagZOTEMPLATExV2* preset = nullptr;
      if (SUCCEEDED(cls->GetPreset(&preset, i)) && preset) ZoFio_AppendTemplate(presets.templates, preset);
    }
  }
  folders.push_back(presets);
  // The user folder: every "*.zot*" file, bad ones remembered apart.
  FolderNode user;
  user.kind = ZOTEMPLATE_KIND_USER;
  user.path = ZoTemplate_ClassFolder(cls, "Render Templates");
  VANE_RETURN_IF_FAILED(ZoFio_CreateTemplateList(&user.templates));
  std::error_code ec;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(user.path, ec)) {
    const std::string leaf = entry.path().filename().string();
    if (!entry.is_regular_file(ec) || leaf.empty() || leaf[0] == '.') continue;
    const std::string ext = entry.path().extension().string();
    if (ext != ".zot" && ext != ".zot2") continue;
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  bool zot = false, zot2 = false;
  for (const auto& file : files) {
    (file.extension() == ".zot" ? zot : zot2) = true;
    newest = std::max(newest, WriteTime(file));
    tagZOTEMPLATExV2* tpl = nullptr;
    const std::u16string name = vane::platform::FromUtf8(file.string());
    const HRESULT hr = ZoFio_LoadRawUserTemplate(cls, name.c_str(), &tpl);
    if (FAILED(hr)) {
      badFiles.push_back(file.string());
      continue;
    }
    if (std::u16string_view(ZoTemplate_Name(tpl)) == DefaultName()) {
      std::free(tpl);
      continue;
    }
    ZoFio_AppendTemplate(user.templates, tpl);
  }
  newest = std::max(newest, WriteTime(user.path));
  user.kind = zot && zot2 ? ZOTEMPLATE_KIND_BOTH : zot ? ZOTEMPLATE_KIND_ZOT : zot2 ? ZOTEMPLATE_KIND_ZOT2 : user.kind;
  folders.push_back(user);
  return S_OK;
}

bool CZoTemplateCache::IsStale(IZoRenderFileClass* cls) const {
  GUID id{};
  cls->GetTypeID(&id);
  if (!(id == classId)) return true;
  for (const auto& node : folders) {
    if (node.path.empty()) continue;
    std::error_code ec;
    if (WriteTime(node.path) > newest) return true;
    for (const auto& entry : fs::directory_iterator(node.path, ec))
      if (WriteTime(entry.path()) > newest) return true;
  }
  return false;
}

namespace {
std::mutex g_cacheLock;
std::map<IZoFileIOManager*, CZoTemplateCache*> g_caches;
}  // namespace

HRESULT ZoFio_GetGlobalTemplateCache(IZoFileIOManager* manager, IZoRenderFileClass* cls, CZoTemplateCache** out) {
  if (!cls || !out) return E_POINTER;
  *out = nullptr;
  std::lock_guard<std::mutex> hold(g_cacheLock);
  CZoTemplateCache*& slot = g_caches[manager];
  if (slot && !slot->IsStale(cls)) {
    ++slot->refs;
    *out = slot;
    return S_OK;
  }
  auto* cache = new (std::nothrow) CZoTemplateCache();
  if (!cache) return E_OUTOFMEMORY;
  const HRESULT hr = cache->Build(cls);
  if (FAILED(hr)) {
    delete cache;
    return hr;
  }
  // The manager's reference, and the caller's.
  cache->refs = 2;
  if (slot && --slot->refs == 0) delete slot;
  slot = cache;
  *out = cache;
  return S_OK;
}

HRESULT ZoFio_ReleaseGlobalTemplateCache(CZoTemplateCache* cache) {
  if (!cache) return S_OK;
  std::lock_guard<std::mutex> hold(g_cacheLock);
  if (--cache->refs == 0) delete cache;
  return S_OK;
}

HRESULT ZoFio_DropManagerTemplateCache(IZoFileIOManager* manager) {
  std::lock_guard<std::mutex> hold(g_cacheLock);
  auto it = g_caches.find(manager);
  if (it == g_caches.end()) return S_FALSE;
  if (--it->second->refs == 0) delete it->second;
  g_caches.erase(it);
  return S_OK;
}

CZoPrivateTemplateCache::~CZoPrivateTemplateCache() {
  if (flat) ZoList_Destroy(flat);
  ZoFio_ReleaseTemplateList(privateNode.templates);
  ZoFio_ReleaseGlobalTemplateCache(global);
}

HRESULT CZoPrivateTemplateCache::Rebuild() {
  if (flat) ZoList_DeleteList(flat, 0, flat->nItems, FALSE);
  else VANE_RETURN_IF_FAILED(ZoList_CreateExZ(&flat, sizeof(void*), 8, 8, 0, 0, 0, 0));
  auto addNode = [this](const CZoTemplateCache::FolderNode& node) {
    for (LONG i = 0; node.templates && i < node.templates->nItems; ++i) {
      void* p = ZoList_PointerAt(node.templates, i);
      VANE_RETURN_IF_FAILED(ZoList_InsertList(flat, flat->nItems, &p, 1));
    }
    return S_OK;
  };
  VANE_RETURN_IF_FAILED(addNode(privateNode));
  for (const auto& node : global->folders) VANE_RETURN_IF_FAILED(addNode(node));
  position = 0;
  return S_OK;
}

HRESULT CZoPrivateTemplateCache::AddPrivate(const tagZOTEMPLATExV2* tpl) {
  tagZOTEMPLATExV2* copy = nullptr;
  VANE_RETURN_IF_FAILED(ZoFio_CopyTemplate(&copy, tpl));
  VANE_RETURN_IF_FAILED(ZoFio_AppendTemplate(privateNode.templates, copy));
  return Rebuild();
}

const tagZOTEMPLATExV2* CZoPrivateTemplateCache::Next() {
  if (!flat || position >= flat->nItems) return nullptr;
  return static_cast<const tagZOTEMPLATExV2*>(ZoList_PointerAt(flat, position++));
}

HRESULT ZoFio_CreatePrivateTemplateCache(IZoFileIOManager* manager, IZoRenderFileClass* cls, DWORD flags,
                                         CZoPrivateTemplateCache** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  auto* cache = new (std::nothrow) CZoPrivateTemplateCache();
  if (!cache) return E_OUTOFMEMORY;
  cache->flags = flags;
  cache->privateNode.kind = ZOTEMPLATE_KIND_PRIVATE;
  HRESULT hr = ZoFio_CreateTemplateList(&cache->privateNode.templates);
  if (SUCCEEDED(hr)) hr = ZoFio_GetGlobalTemplateCache(manager, cls, &cache->global);
  if (SUCCEEDED(hr)) hr = cache->Rebuild();
  if (FAILED(hr)) {
    delete cache;
    return hr;
  }
  *out = cache;
  return S_OK;
}

void ZoFio_ReleasePrivateTemplateCache(CZoPrivateTemplateCache* cache) { delete cache; }

HRESULT ZoFio_GetTemplateList(IZoFileIOManager* manager, IZoRenderFileClass* cls, tZOLIST** out) {
  return ZoFio_GetFilteredTemplateList(manager, cls, out, 0);
}

HRESULT ZoFio_GetFilteredTemplateList(IZoFileIOManager* manager, IZoRenderFileClass* cls, tZOLIST** out,
                                      DWORD flags) {
  if (!out) return E_POINTER;
  *out = nullptr;
  CZoTemplateCache* cache = nullptr;
  VANE_RETURN_IF_FAILED(ZoFio_GetGlobalTemplateCache(manager, cls, &cache));
  tZOLIST* list = nullptr;
  HRESULT hr = ZoFio_CreateTemplateList(&list);
  if (SUCCEEDED(hr) && (flags & ZOTEMPLATE_LIST_ADD_DEFAULT)) {
    tagZOTEMPLATExV2* preset = ZoFio_TemplateAt(cache->folders.front().templates, 0);
    tagZOTEMPLATExV2* named = nullptr;
    if (preset) hr = ZoTemplate_Rebuild(&named, preset, DefaultName(), nullptr, nullptr, 0);
    if (SUCCEEDED(hr) && named) hr = ZoFio_AppendTemplate(list, named);
  }
  for (const auto& node : cache->folders) {
    for (LONG i = 0; SUCCEEDED(hr) && i < node.templates->nItems; ++i) {
      tagZOTEMPLATExV2* copy = nullptr;
      hr = ZoFio_CopyTemplate(&copy, ZoFio_TemplateAt(node.templates, i));
      if (SUCCEEDED(hr)) hr = ZoFio_AppendTemplate(list, copy);
    }
  }
  ZoFio_ReleaseGlobalTemplateCache(cache);
  if (FAILED(hr)) {
    ZoFio_ReleaseTemplateList(list);
    return hr;
  }
  *out = list;
  return S_OK;
}

const tagZOTEMPLATExV2* ZoFio_GetTemplateByNameNoCopy(CZoTemplateCache* cache, const WCHAR* name) {
  if (!cache || !name) return nullptr;
  for (const auto& node : cache->folders)
    for (LONG i = 0; i < node.templates->nItems; ++i) {
      const tagZOTEMPLATExV2* tpl = ZoFio_TemplateAt(node.templates, i);
      if (std::u16string_view(ZoTemplate_Name(tpl)) == name) return tpl;
    }
  return nullptr;
}

HRESULT ZoFio_GetTemplateByName(IZoFileIOManager* manager, IZoRenderFileClass* cls, const WCHAR* name,
                                tagZOTEMPLATExV2** out) {
  if (!out || !name) return E_POINTER;
  *out = nullptr;
  CZoTemplateCache* cache = nullptr;
  VANE_RETURN_IF_FAILED(ZoFio_GetGlobalTemplateCache(manager, cls, &cache));
  const tagZOTEMPLATExV2* found = ZoFio_GetTemplateByNameNoCopy(cache, name);
  const HRESULT hr = found ? ZoFio_CopyTemplate(out, found) : ZOERR_NOT_FOUND;
  ZoFio_ReleaseGlobalTemplateCache(cache);
  return hr;
}

HRESULT ZoFio_GetTemplateByGuid(IZoFileIOManager* manager, IZoRenderFileClass* cls, const GUID& id,
                                tagZOTEMPLATExV2** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  CZoTemplateCache* cache = nullptr;
  VANE_RETURN_IF_FAILED(ZoFio_GetGlobalTemplateCache(manager, cls, &cache));
  HRESULT hr = ZOERR_NOT_FOUND;
  for (const auto& node : cache->folders)
    for (LONG i = 0; hr == ZOERR_NOT_FOUND && i < node.templates->nItems; ++i) {
      const tagZOTEMPLATExV2* tpl = ZoFio_TemplateAt(node.templates, i);
      if (tpl->templateId == id) hr = ZoFio_CopyTemplate(out, tpl);
    }
  ZoFio_ReleaseGlobalTemplateCache(cache);
  return hr;
}

// ---- the last used template of an application ----

namespace {
std::u16string LastUsedPath(IZoRenderFileClass* cls, const WCHAR* suffix) {
  std::string app = ProgramStem();
  std::string name = app + "-" + ClassFolderName(cls) + (suffix ? vane::platform::ToUtf8(suffix) : "") + ".zot2";
  return vane::platform::FromUtf8(ZoTemplate_RootFolder() + "/Render Templates/Last Used/" + name);
}
}  // namespace

HRESULT ZoFio_SaveAppLastUsedTemplate(IZoRenderFileClass* cls, const tagZOTEMPLATExV2* tpl, const WCHAR* suffix,
                                      BOOL overwrite) {
  if (!cls || !tpl) return E_POINTER;
  const std::u16string path = LastUsedPath(cls, suffix);
  std::error_code ec;
  fs::create_directories(fs::path(vane::platform::ToUtf8(path)).parent_path(), ec);
  return ZoFio_SaveTemplateData(path.c_str(), tpl, overwrite);
}

HRESULT ZoFio_LoadAppLastUsedTemplate(IZoRenderFileClass* cls, const WCHAR* suffix, tagZOTEMPLATExV2** out) {
  if (!cls || !out) return E_POINTER;
  return ZoFio_LoadRawUserTemplate(cls, LastUsedPath(cls, suffix).c_str(), out);
}

HRESULT ZoFio_DeleteAppLastUsedTemplate(IZoRenderFileClass* cls, const WCHAR* suffix) {
  if (!cls) return E_POINTER;
  return DeleteFileW(LastUsedPath(cls, suffix).c_str()) ? S_OK : HRESULT_FROM_WIN32(GetLastError());
}
