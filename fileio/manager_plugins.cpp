// SPDX-License-Identifier: MIT
// The manager's plug-in list: discovery from configuration files, the cache
// file, probing of new or changed modules (in a child process), the sorted
// enumerators and the class-initialisation road.
#include <dirent.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/detail/module_loader.h"
#include "fileio/enumerators.h"
#include "fileio/manager.h"
#include "fileio/profile_like.h"
#include "fileio/rank_tables.h"
#include "platform/profile.h"
#include "platform/wtext.h"

namespace vane::fileio {
namespace {

constexpr DWORD kDefaultLcid = 1033;
// Kept in the cached Flags word: the class asked to stay out of the type
// enumerations, which the cache has no other key for.
constexpr DWORD kFlagNotEnumerated = 0x80000000u;
constexpr const char16_t* kConfigSection = u"FileIO Plug-Ins";

using vane::platform::FromUtf8;
using vane::platform::ToUtf8;

bool SameText(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  return ZoWcsNICmp(a.data(), b.data(), a.size()) == 0;
}

std::u16string FileNameOf(const std::u16string& path) {
  size_t slash = path.rfind(u'/');
  return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

std::u16string WithoutBlanks(std::u16string_view s) {
  std::u16string out;
  for (char16_t c : s)
    if (c != u' ' && c != u'\t') out += c;
  return out;
}

std::u16string GuidText(const GUID& g) { return vane::platform::GuidToU16String(g); }

// A blank candidate for one module path, or null when the module is missing.
std::unique_ptr<tZOFIOPLUGINENTRY> MakeCandidate(std::u16string path) {
  std::u16string name = FileNameOf(path);
  if (name.find(u'.') == std::u16string::npos) path += u".so";
  std::string utf8 = ToUtf8(path);
  DWORD modTime = detail::DosDateTimeUTC(utf8);
  if (modTime == 0) return nullptr;
  auto e = std::make_unique<tZOFIOPLUGINENTRY>();
  e->LangID = kDefaultLcid;
  // Kept whole: only the plug-in information record is limited to MAX_PATH,
  // and it says so with its status.
  e->path = std::move(path);
  e->name = FileNameOf(e->path);
  e->ModTime = modTime;
  e->state = (e->state | kEntryPrimary | kEntryNew) & ~(kEntryHidden | kEntry64Bit);
  DWORD machine = 0;
  if (!detail::GetFileExecutableInfo(utf8, &machine)) e->state |= kEntryHidden;
  else if (machine == 34404) e->state |= kEntry64Bit;
  return e;
}

// A further class of E's module: the module's facts and nothing of E's own
// class (its GUIDs, texts, class objects or states).
std::unique_ptr<tZOFIOPLUGINENTRY> SiblingOf(const tZOFIOPLUGINENTRY& e) {
  auto c = std::make_unique<tZOFIOPLUGINENTRY>();
  c->name = e.name;
  c->path = e.path;
  c->LangID = e.LangID;
  c->PreloadModules = e.PreloadModules;
  c->state = e.state & kEntry64Bit;
  c->BetaBuild = e.BetaBuild;
  c->ModTime = e.ModTime;
  c->Surrogate = e.Surrogate;
  c->MeritValue = e.MeritValue;
  c->MeritReader = e.MeritReader;
  return c;
}

HRESULT AddCandidatesTo(PluginList* list, const std::vector<std::u16string>& names,
                        std::vector<tZOFIOPLUGINENTRY*>* added) {
  std::lock_guard<std::recursive_mutex> hold(list->lock);
  for (const auto& n : names) {
    if (n.empty()) continue;
    auto e = MakeCandidate(n);
    if (!e) continue;
    bool present = std::any_of(list->entries.begin(), list->entries.end(),
                               [&](const auto& o) { return SameText(o->path, e->path); });
    if (present) continue;
    list->entries.push_back(std::move(e));
    if (added) added->push_back(list->entries.back().get());
  }
  return S_OK;
}

// Folders searched for configuration files: the kernel module's own, then
// those of $VANE_PLUGIN_PATH.
std::vector<std::string> ConfigFolders() {
  std::vector<std::string> folders;
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&ZoFio_CountSetBits), &info) && info.dli_fname) {
    std::string p = info.dli_fname;
    folders.push_back(p.rfind('/') == std::string::npos ? "." : p.substr(0, p.rfind('/')));
  }
  if (const char* env = std::getenv("VANE_PLUGIN_PATH"); env && *env) {
    std::string s = env;
    for (size_t pos = 0; pos <= s.size();) {
      size_t end = s.find(':', pos);
      if (end == std::string::npos) end = s.size();
      if (end > pos) folders.push_back(s.substr(pos, end - pos));
      pos = end + 1;
    }
  }
  return folders;
}

std::vector<std::string> ConfigFilesIn(const std::string& folder) {
  std::vector<std::string> files;
  DIR* d = ::opendir(folder.c_str());
  if (!d) return files;
  static const std::string kSuffix = ".fio2007-config";
  while (dirent* ent = ::readdir(d)) {
    std::string name = ent->d_name;
    if (name.size() <= kSuffix.size()) continue;
    std::string tail = name.substr(name.size() - kSuffix.size());
    std::transform(tail.begin(), tail.end(), tail.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (tail == kSuffix) files.push_back(folder + "/" + name);
  }
  ::closedir(d);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

std::u16string tZOFIOPLUGINENTRY::CacheSection() const {
  size_t dot = name.rfind(u'.');
  std::u16string stem = dot == std::u16string::npos || dot == 0 ? name : name.substr(0, dot);
  std::uint32_t hash = 2166136261u;  // FNV-1a of the path's bytes
  for (unsigned char b : ToUtf8(path)) hash = (hash ^ b) * 16777619u;
  char hex[16];
  std::snprintf(hex, sizeof hex, "%08x", unsigned(hash));
  // A collision only costs a probe: the section's Path must match too.
  return stem.substr(0, 64) + u"@" + FromUtf8(hex);
}

size_t PluginList::IndexOf(const tZOFIOPLUGINENTRY* e) const {
  for (size_t i = 0; i < entries.size(); ++i)
    if (entries[i].get() == e) return i;
  return entries.size();
}

tZOFIOPLUGINENTRY* PluginList::InsertAfter(const tZOFIOPLUGINENTRY* after, std::unique_ptr<tZOFIOPLUGINENTRY> e) {
  size_t at = IndexOf(after);
  at = at < entries.size() ? at + 1 : entries.size();
  auto it = entries.insert(entries.begin() + long(at), std::move(e));
  return it->get();
}

void PluginList::ReleaseAll() {
  std::lock_guard<std::recursive_mutex> hold(lock);
  for (auto& e : entries) {
    if (e->readerClass) {
      e->readerClass->SetIOManager(nullptr);
      e->readerClass->Release();
      e->readerClass = nullptr;
    }
    if (e->renderClass) {
      e->renderClass->SetIOManager(nullptr);
      e->renderClass->Release();
      e->renderClass = nullptr;
    }
  }
  for (auto& e : entries) detail::UnloadEntryModule(e.get());
  entries.clear();
}

PluginList* CZoFileIOManager::ListOrOwn(void* list) {
  if (list) return static_cast<PluginList*>(list);
  if (!m_list) m_list = std::make_unique<PluginList>();
  return m_list.get();
}

HRESULT CZoFileIOManager::FindCandidates(void* list, DWORD flags, BOOL* allCached) {
  detail::NamedMutexHold hold(m_mutex.get());
  PluginList* target = ListOrOwn(list);
  for (const std::string& folder : ConfigFolders()) {
    for (const std::string& config : ConfigFilesIn(folder)) {
      auto ini = vane::platform::LoadIniSnapshot(config);
      if (!ini) continue;
      const auto* section = ini->FindSection(kConfigSection);
      if (!section) continue;
      // The section is read as a buffer of 8320 characters: keys beyond it
      // are not seen.
      size_t budget = 8320;
      for (const std::u16string& key : ini->Keys(kConfigSection)) {
        if (key.size() + 1 >= budget) break;
        budget -= key.size() + 1;
        const std::u16string* value = ini->Find(kConfigSection, key);
        if (!value || value->empty()) continue;
        std::u16string rel = *value;
        if (rel.size() >= 2 && (rel.front() == u'"' || rel.front() == u'\'') && rel.back() == rel.front())
          rel = rel.substr(1, rel.size() - 2);
        std::u16string path = rel.front() == u'/' ? rel : FromUtf8(folder) + u"/" + rel;
        std::u16string fileName = FileNameOf(path);
        bool skipped = std::any_of(m_skipNames.begin(), m_skipNames.end(),
                                   [&](const std::u16string& s) { return SameText(s, fileName); });
        if (skipped) continue;
        std::vector<tZOFIOPLUGINENTRY*> added;
        AddCandidatesTo(target, {path}, &added);
        for (tZOFIOPLUGINENTRY* e : added) {
          const std::u16string* surrogate = ini->Find(key, u"Surrogate");
          e->Surrogate = surrogate ? LONG(std::strtol(ToUtf8(*surrogate).c_str(), nullptr, 10)) : -1;
          if (const std::u16string* reader = ini->Find(key, u"Reader")) {
            GUID g;
            if (vane::platform::GuidFromString(reader->c_str(), &g)) {
              e->MeritReader = g;
              const std::u16string* merit = ini->Find(key, GuidText(g));
              e->MeritValue = merit ? DWORD(std::strtol(ToUtf8(*merit).c_str(), nullptr, 10)) : 0;
            }
          }
        }
      }
    }
  }
  return LoadPluginList(target, flags, allCached);
}

HRESULT CZoFileIOManager::AddCandidates(void* list, const WCHAR* const* names, LONG count, DWORD flags,
                                        BOOL* allCached) {
  if (count > 0 && !names) return E_INVALIDARG;
  detail::NamedMutexHold hold(m_mutex.get());
  PluginList* target = ListOrOwn(list);
  std::vector<std::u16string> paths;
  for (LONG i = 0; i < count; ++i)
    if (names[i]) paths.emplace_back(names[i]);
  AddCandidatesTo(target, paths, nullptr);
  return LoadPluginList(target, flags, allCached);
}

HRESULT CZoFileIOManager::LoadPluginList(void* list, DWORD flags, BOOL* allCached) {
  PluginList* target = ListOrOwn(list);
  // Only modules added since the last call are read from the cache or
  // probed: the others already stand in the list with their classes.
  std::vector<tZOFIOPLUGINENTRY*> fresh;
  {
    std::lock_guard<std::recursive_mutex> hold(target->lock);
    for (auto& e : target->entries) {
      if (!(e->state & kEntryPrimary) || !(e->state & kEntryNew)) continue;
      e->state &= ~kEntryNew;
      fresh.push_back(e.get());
    }
  }
  bool all = true;
  bool cacheSkipped = (flags & (kCreateRebuild | kCreateNoCache)) != 0;
  if (cacheSkipped)
    all = fresh.empty();
  else
    ReadCache(target, fresh, &all);
  if (!all) {
    for (tZOFIOPLUGINENTRY* e : fresh)
      if (cacheSkipped || (e->state & kEntryMustProbe)) ApplyProbe(target, e);
  }
  if (allCached) *allCached = all ? TRUE : FALSE;
  return S_OK;
}

HRESULT CZoFileIOManager::ReadCache(PluginList* list, const std::vector<tZOFIOPLUGINENTRY*>& fresh, bool* allCached) {
  *allCached = true;
  if (fresh.empty()) return S_OK;
  ResolveFolders();
  auto ini = vane::platform::LoadIniSnapshot(ToUtf8(m_cachePath));
  std::lock_guard<std::recursive_mutex> hold(list->lock);
  for (tZOFIOPLUGINENTRY* e : fresh) {
    if (e->state & kEntryHidden) {  // no loadable image: nothing to read or probe
      *allCached = false;
      e->state |= kEntryDirty;
      e->problem = "not a loadable module";
      continue;
    }
    const std::u16string section = e->CacheSection();
    CZoProfile module = ProfileAt(m_cachePath, section);
    const std::u16string* path = ini ? ini->Find(section, u"Path") : nullptr;
    DWORD modTime = ini ? DWORD(module.GetInt(u"ModTime", 0)) : 0;
    if (!path || modTime != e->ModTime || !SameText(*path, e->path)) {
      e->state |= kEntryMustProbe;
      *allCached = false;
      continue;
    }
    e->BetaBuild = DWORD(module.GetInt(u"BetaBuild", 0));
    GUID guids[kMaxClassesPerModule];
    LONG n = module.GetGuids(nullptr, guids, kMaxClassesPerModule);
    if (n == 0) {
      // Probed before and found to hold nothing usable (or to crash): it
      // stays hidden and is not loaded.
      e->state |= kEntryHidden;
      e->problem = "the cache records it as unusable: when probed it crashed, hung or named no class";
      continue;
    }
    // Access, Flags and StreamType come only from the module's discovery
    // object: a class section without one of them has the module probed
    // again, which rewrites all its classes.
    bool coreMissing = false;
    for (LONG i = 0; i < n && !coreMissing; ++i) {
      if (tables::IsHiddenClass(guids[i])) continue;
      CZoProfile sub(module, GuidText(guids[i]));
      coreMissing =
          sub.GetInt(u"Access", -1) == -1 || sub.GetInt(u"Flags", -1) == -1 || sub.GetInt(u"StreamType", -1) == -1;
    }
    if (coreMissing) {
      e->state |= kEntryMustProbe;
      *allCached = false;
      continue;
    }
    tZOFIOPLUGINENTRY* previous = e;
    for (LONG i = 0; i < n; ++i) {
      tZOFIOPLUGINENTRY* t = e;
      if (i > 0) t = list->InsertAfter(previous, SiblingOf(*e));
      previous = t;
      t->classId = guids[i];
      if (tables::IsHiddenClass(t->classId)) {
        t->state |= kEntryHidden | kEntryHiddenByList;
        continue;
      }
      CZoProfile sub(module, GuidText(t->classId));
      LONG access = sub.GetInt(u"Access", -1);
      LONG flags = sub.GetInt(u"Flags", -1);
      LONG streamType = sub.GetInt(u"StreamType", -1);
      bool valid = access != -1 && flags != -1 && streamType != -1;
      if (valid) {
        t->Access = DWORD(access);
        t->Flags = DWORD(flags);
        t->initFlags = DWORD(flags) & ~kFlagNotEnumerated;
        t->StreamType = DWORD(streamType);
        t->duplicatesAllowed = (t->Flags & ZOFIO_FILTERFLAG_ALLOW_DUPLICATES) ? 1 : 0;
        if (t->Flags & kFlagNotEnumerated) t->state |= kEntryNotEnumerated;
        valid = DWORD(sub.GetInt(u"ModTime", 0)) == e->ModTime && DWORD(sub.GetInt(u"LangID", 0)) == kDefaultLcid;
      }
      if (valid) {
        WCHAR text[MAX_PATH * 4] = {};
        bool readGuid = false;
        if (sub.GetString(u"PreloadModules", u"", text, MAX_PATH)) t->PreloadModules = text;
        if (t->Access & kAccessReader) {
          GUID g[2];
          if (sub.GetGuids(u"Reader", g, 2) == 1) {
            t->Reader = g[0];
            readGuid = true;
          } else {
            t->readerState = kClassFailed;
          }
          if ((t->hasExtReader = sub.GetString(u"ExtReader", u"", text, MAX_PATH * 4))) t->ExtReader = text;
        }
        if (t->Access & kAccessRenderer) {
          GUID g[2];
          if (sub.GetGuids(u"Renderer", g, 2) == 1) {
            t->Renderer = g[0];
            readGuid = true;
          } else {
            t->renderState = kClassFailed;
          }
          // A missing renderer extension list invalidates the class while a
          // missing reader list does not; hosts rely on that difference.
          if ((t->hasExtRenderer = sub.GetString(u"ExtRenderer", u"", text, MAX_PATH * 4))) t->ExtRenderer = text;
          else valid = false;
        }
        if ((t->hasDialogName = sub.GetString(u"DialogName", u"", text, MAX_PATH))) t->DialogName = text;
        else if (readGuid) valid = false;
        if (e->BetaBuild != 0) valid = false;
      }
      if (!valid) {
        // Initialised at this start, which refills its texts; the module is
        // not probed for it.
        t->initFlags |= kInitAtStart;
        t->state |= kEntryDirty;
      }
      if (tables::IsFixedInitClass(t->classId) && !(t->initFlags & kInitNoFixed)) t->initFlags |= kInitAtStart;
      if (t->state & kEntryDirty) *allCached = false;
    }
  }
  return S_OK;
}

void CZoFileIOManager::ApplyProbe(PluginList* list, tZOFIOPLUGINENTRY* e) {
  e->state &= ~kEntryMustProbe;
  if (e->state & kEntryHidden) {  // no loadable image
    e->state |= kEntryDirty;
    e->problem = "not a loadable module";
    return;
  }
  detail::ProbeResult r = detail::ProbeModule(*e);
  if (r.notRun) {
    // Not judged: hidden now, and probed again at the next start.
    e->state = (e->state | kEntryHidden | kEntryNotCached) & ~kEntryDirty;
    e->problem = r.problem;
    return;
  }
  if (FAILED(r.status) || r.crashed) {
    if (r.crashed || r.status != E_OUTOFMEMORY) e->state |= kEntryHidden | kEntryDirty;
    char status[16];
    std::snprintf(status, sizeof status, "0x%08X", unsigned(r.status));
    e->problem = !r.problem.empty() ? r.problem : std::string("its discovery object failed with ") + status;
    return;
  }
  if (r.classes.empty()) e->problem = "it names no class";
  // A module that names no class stays hidden.
  e->state |= kEntryHidden | kEntryDirty;
  std::lock_guard<std::recursive_mutex> hold(list->lock);
  tZOFIOPLUGINENTRY* previous = e;
  for (size_t i = 0; i < r.classes.size(); ++i) {
    const detail::ProbedClass& c = r.classes[i];
    tZOFIOPLUGINENTRY* t = e;
    if (i > 0) t = list->InsertAfter(previous, SiblingOf(*e));
    previous = t;
    t->classId = c.classId;
    t->DialogName = c.name;
    t->hasDialogName = false;
    t->hasExtReader = t->hasExtRenderer = false;
    t->ExtReader.clear();
    t->ExtRenderer.clear();
    t->Reader = t->Renderer = GUID_NULL;
    t->Access = (c.access << 4) & (kAccessReader | kAccessRenderer);
    t->StreamType = c.streamTypes;
    t->Flags = c.flags & ~kFlagNotEnumerated;
    t->duplicatesAllowed = (c.flags & ZOFIO_FILTERFLAG_ALLOW_DUPLICATES) ? 1 : 0;
    // A non-zero word asks for the class to be enumerated; a zero word
    // changes nothing.
    t->state = (t->state & ~kEntryHidden) | kEntryDirty;
    if (c.enumerable) t->state &= ~kEntryNotEnumerated;
    t->initFlags = t->Flags & ~kFlagNotEnumerated;
    t->readerState = t->renderState = kClassNotTried;
    // The probe made the class and noted its ids and texts, so the entry is
    // as complete as one read from the cache and sorts the same way.
    bool described = true;
    if (t->Access & kAccessReader) {
      if (c.readerKnown) {
        t->Reader = c.reader;
        t->ExtReader = WithoutBlanks(c.readerExt);
        t->hasExtReader = true;
        if (!c.readerName.empty()) t->DialogName = c.readerName;
      } else {
        described = false;
      }
    }
    if (t->Access & kAccessRenderer) {
      if (c.rendererKnown) {
        t->Renderer = c.renderer;
        t->ExtRenderer = WithoutBlanks(c.rendererExt);
        t->hasExtRenderer = true;
        if (!c.rendererName.empty() && (!(t->Access & kAccessReader) || t->DialogName.empty()))
          t->DialogName = c.rendererName;
      } else {
        described = false;
      }
    }
    t->hasDialogName = described;
    if (tables::IsHiddenClass(t->classId)) t->state |= kEntryHidden | kEntryHiddenByList;
    else if (!described)
      t->initFlags |= kInitAtStart;  // initialised once now, which fills its name and extensions
  }
}

HRESULT CZoFileIOManager::AttachPluginList(void* list, DWORD filterFlags, const GUID* guids, DWORD count) {
  if (!m_list) m_list = std::make_unique<PluginList>();
  if (list && list != m_list.get()) {
    // A list made by ZoFio_SetPluginCandidateDLLs: its entries move into
    // the manager's list (those of a module already there are dropped), so
    // the host's list is left empty and may still be freed.
    auto* given = static_cast<PluginList*>(list);
    PluginList dropped;
    {
      std::lock_guard<std::recursive_mutex> holdGiven(given->lock);
      std::lock_guard<std::recursive_mutex> holdOwn(m_list->lock);
      bool dropping = false;  // a module's further classes follow its first
      for (auto& e : given->entries) {
        if (e->state & kEntryPrimary)
          dropping = std::any_of(m_list->entries.begin(), m_list->entries.end(), [&](const auto& o) {
            return (o->state & kEntryPrimary) && SameText(o->path, e->path);
          });
        (dropping ? dropped : *m_list).entries.push_back(std::move(e));
      }
      given->entries.clear();
    }
    dropped.ReleaseAll();
  }
  if (m_readerEnum) m_readerEnum->Release();
  if (m_rendererEnum) m_rendererEnum->Release();
  if (m_pluginEnum) m_pluginEnum->Release();
  m_pluginEnum = new CZoFIOPluginEnum(m_list.get());
  m_readerEnum = new CZoReaderEnum();
  m_rendererEnum = new CZoRendererEnum();
  VANE_RETURN_IF_FAILED(m_readerEnum->Init(this, filterFlags, guids, count, m_list.get()));
  return m_rendererEnum->Init(this, filterFlags, guids, count, m_list.get());
}

HRESULT CZoFileIOManager::InitializeMarkedClasses() {
  HRESULT first = S_OK;
  for (tZOFIOPLUGINENTRY* e : SortedReaders()) {
    if (!(e->initFlags & kInitAtStart)) continue;
    ComPtr<IZoReadFileClass> cls;
    HRESULT hr = EnsureReader(e, cls.ReleaseAndGetAddressOf());
    if (FAILED(hr) && SUCCEEDED(first)) first = hr;
  }
  for (tZOFIOPLUGINENTRY* e : SortedRenderers()) {
    if (!(e->initFlags & kInitAtStart)) continue;
    ComPtr<IZoRenderFileClass> cls;
    HRESULT hr = EnsureRenderer(e, cls.ReleaseAndGetAddressOf());
    if (FAILED(hr) && SUCCEEDED(first)) first = hr;
  }
  return first;
}

HRESULT CZoFileIOManager::RunInit(const std::function<HRESULT()>& work) {
  // A plug-in that calls back into the manager while its class is being
  // initialised does so on the init thread, whose caller holds the mutex
  // and waits: the request runs right here.
  if (m_initThread.IsCurrent()) return work();
  detail::NamedMutexHold hold(m_mutex.get());
  return m_initThread.Run(work);
}

HRESULT CZoFileIOManager::InitEntry(tZOFIOPLUGINENTRY* e) {
  // Both kinds of the class are made together, renderer first; the first
  // failure is the result.
  return RunInit([this, e] {
    HRESULT first = S_OK;
    if ((e->Access & kAccessRenderer) && e->renderState == kClassNotTried) first = InitRendererHere(e);
    if ((e->Access & kAccessReader) && e->readerState == kClassNotTried) {
      HRESULT hr = InitReaderHere(e);
      if (SUCCEEDED(first)) first = hr;
    }
    return first;
  });
}

HRESULT CZoFileIOManager::EnsureReader(tZOFIOPLUGINENTRY* e, IZoReadFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!e) return ZOERR_UNSUPPORTED_FORMAT;
  if (e->readerState == kClassNotTried) {
    const GUID& id = e->Reader != GUID_NULL ? e->Reader : e->classId;
    if (int dep = tables::ReaderDependency(id)) {
      for (tZOFIOPLUGINENTRY* p : SortedReaders()) {
        if (!tables::IsDependencyParent(p->Reader) && !tables::IsDependencyParent(p->classId)) continue;
        ComPtr<IZoReadFileClass> parent;
        EnsureReader(p, parent.ReleaseAndGetAddressOf());
        if (p->readerState == kClassFailed) return ZOERR_PLUGIN_NOT_INITIALIZED;
      }
      if (dep == 2) {
        ComPtr<IZoReadFileClass> a, b;
        GetReadClassById(a.ReleaseAndGetAddressOf(), 0x7002);
        GetReadClassById(b.ReleaseAndGetAddressOf(), 0x6000);
      }
    }
    InitEntry(e);
  }
  // A class that could not be made says why; one not made for another
  // reason (a parent class failed, it is being made) is "not initialised".
  if (e->readerState != kClassReady || !e->readerClass)
    return FAILED(e->readerStatus) ? e->readerStatus : ZOERR_PLUGIN_NOT_INITIALIZED;
  e->readerClass->AddRef();
  *out = e->readerClass;
  return S_OK;
}

HRESULT CZoFileIOManager::EnsureRenderer(tZOFIOPLUGINENTRY* e, IZoRenderFileClass** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!e) return ZOERR_UNSUPPORTED_FORMAT;
  if (e->renderState == kClassNotTried) InitEntry(e);
  if (e->renderState != kClassReady || !e->renderClass)
    return FAILED(e->renderStatus) ? e->renderStatus : ZOERR_PLUGIN_NOT_INITIALIZED;
  e->renderClass->AddRef();
  *out = e->renderClass;
  return S_OK;
}

namespace {

// Asks the class for its texts; the first is kept as given, blanks removed
// from extension lists.
template <typename Class>
HRESULT AskTexts(Class* cls, std::initializer_list<DWORD> ids, std::vector<std::u16string>* texts) {
  std::vector<DWORD> list(ids);
  std::vector<BSTR> out(list.size(), nullptr);
  HRESULT hr = cls->GetInfoText(list.data(), LONG(list.size()), out.data());
  texts->assign(list.size(), std::u16string());
  for (size_t i = 0; i < out.size(); ++i) {
    if (out[i]) (*texts)[i] = std::u16string(out[i], SysStringLen(out[i]));
    SysFreeString(out[i]);
  }
  return hr;
}

}  // namespace

HRESULT CZoFileIOManager::InitReaderHere(tZOFIOPLUGINENTRY* e) {
  if (e->readerState != kClassNotTried) return e->readerState == kClassReady ? S_OK : ZOERR_PLUGIN_NOT_INITIALIZED;
  if (e->readerBusy) return ZOERR_PLUGIN_NOT_INITIALIZED;
  e->readerBusy = true;
  struct Clear {
    bool* flag;
    ~Clear() { *flag = false; }
  } clear{&e->readerBusy};
  IZoReadFileClass* cls = nullptr;
  HRESULT hr = detail::CreateEntryObject(e, IID_IZoReadFileClass, reinterpret_cast<void**>(&cls));
  if (SUCCEEDED(hr)) hr = cls->SetIOManager(this);
  GUID id = GUID_NULL;
  if (SUCCEEDED(hr)) hr = cls->GetTypeID(&id);
  if (SUCCEEDED(hr)) {
    if (id != e->Reader) e->state |= kEntryDirty;
    e->Reader = id;
    if (!e->hasExtReader || !e->hasDialogName) {
      std::vector<std::u16string> texts;
      if (SUCCEEDED(AskTexts(cls, {ZOFIO_INFOTEXT_EXTENSIONS, ZOFIO_INFOTEXT_NAME, ZOFIO_INFOTEXT_DEFAULT_EXT}, &texts))) {
        e->ExtReader = WithoutBlanks(texts[0]);
        if (!texts[1].empty()) e->DialogName = texts[1];
        e->hasExtReader = e->hasDialogName = true;
        e->state |= kEntryDirty;
      }
    }
    hr = cls->SetTypeIndex(e->readerIndex);
  }
  if (FAILED(hr)) {
    if (cls) {
      cls->SetIOManager(nullptr);
      cls->Release();
    }
    e->readerStatus = hr;
    e->readerState = kClassFailed;
    return hr;
  }
  e->readerClass = cls;
  e->readerStatus = S_OK;
  e->readerState = kClassReady;
  return S_OK;
}

HRESULT CZoFileIOManager::InitRendererHere(tZOFIOPLUGINENTRY* e) {
  if (e->renderState != kClassNotTried) return e->renderState == kClassReady ? S_OK : ZOERR_PLUGIN_NOT_INITIALIZED;
  if (e->renderBusy) return ZOERR_PLUGIN_NOT_INITIALIZED;
  e->renderBusy = true;
  struct Clear {
    bool* flag;
    ~Clear() { *flag = false; }
  } clear{&e->renderBusy};
  IZoRenderFileClass* cls = nullptr;
  HRESULT hr = detail::CreateEntryObject(e, IID_IZoRenderFileClass, reinterpret_cast<void**>(&cls));
  if (SUCCEEDED(hr)) hr = cls->SetIOManager(this);
  GUID id = GUID_NULL;
  if (SUCCEEDED(hr)) hr = cls->GetTypeID(&id);
  if (SUCCEEDED(hr)) {
    if (id != e->Renderer) e->state |= kEntryDirty;
    e->Renderer = id;
    if (!e->hasExtRenderer || !e->hasDialogName) {
      std::vector<std::u16string> texts;
      if (SUCCEEDED(AskTexts(cls, {ZOFIO_INFOTEXT_DEFAULT_EXT, ZOFIO_INFOTEXT_NAME}, &texts))) {
        e->ExtRenderer = WithoutBlanks(texts[0]);
        // A class that reads too keeps its reader's display name.
        if (!texts[1].empty() && (!(e->Access & kAccessReader) || e->DialogName.empty())) e->DialogName = texts[1];
        e->hasExtRenderer = e->hasDialogName = true;
        e->state |= kEntryDirty;
      }
    }
    hr = cls->SetTypeIndex(e->renderIndex);
  }
  if (FAILED(hr)) {
    if (cls) {
      cls->SetIOManager(nullptr);
      cls->Release();
    }
    e->renderStatus = hr;
    e->renderState = kClassFailed;
    return hr;
  }
  e->renderClass = cls;
  e->renderStatus = S_OK;
  e->renderState = kClassReady;
  return S_OK;
}

HRESULT CZoFileIOManager::WriteCache(DWORD flags) {
  ResolveFolders();
  if (!m_list) return S_OK;
  std::string path = ToUtf8(m_cachePath);
  if (flags & 2) ::unlink(path.c_str());
  std::lock_guard<std::recursive_mutex> hold(m_list->lock);
  auto& entries = m_list->entries;
  DWORD err = vane::platform::UpdateIniFile(path, [&](vane::platform::IniFile& f) {
    bool changed = false;
    auto num = [](DWORD v) { return FromUtf8(std::to_string(LONG(v))); };
    auto visible = [](const tZOFIOPLUGINENTRY& t) { return !(t.state & kEntryHidden) && t.classId != GUID_NULL; };
    for (size_t i = 0; i < entries.size(); ++i) {
      tZOFIOPLUGINENTRY& e = *entries[i];
      if (e.state & kEntryNotCached) continue;
      if (!(e.state & kEntryDirty) && !(flags & 1)) continue;
      changed = true;
      const std::u16string section = e.CacheSection();
      if (e.state & kEntryPrimary) {
        f.DeleteSection(section);
        f.Set(section, u"Path", e.path);
        f.Set(section, u"ModTime", num(e.ModTime));
        if (e.BetaBuild) f.Set(section, u"BetaBuild", num(e.BetaBuild));
        f.Set(section, u"Surrogate", num(DWORD(e.Surrogate)));
        if (e.MeritValue) {
          f.Set(section, u"MeritValue", num(e.MeritValue));
          f.Set(section, u"MeritReader", GuidText(e.MeritReader));
        }
        // Clearing the section dropped the class keys of the module's other
        // entries too; put them back in class order, this entry's first, so
        // the first 16 read back are always the same ones.
        if (visible(e)) f.Set(section, GuidText(e.classId), e.DialogName);
        for (size_t j = i + 1; j < entries.size() && !(entries[j]->state & kEntryPrimary); ++j)
          if (visible(*entries[j])) f.Set(section, GuidText(entries[j]->classId), entries[j]->DialogName);
      }
      if (visible(e)) {
        f.Set(section, GuidText(e.classId), e.DialogName);
        const std::u16string sub = section + u"." + GuidText(e.classId);
        f.DeleteSection(sub);
        f.Set(sub, u"Access", num(e.Access));
        f.Set(sub, u"Flags", num(e.Flags));
        f.Set(sub, u"StreamType", num(e.StreamType));
        if (e.hasDialogName) f.Set(sub, u"DialogName", e.DialogName);
        f.Set(sub, u"LangID", num(e.LangID));
        f.Set(sub, u"ModTime", num(e.ModTime));
        f.Set(sub, u"PreloadModules", e.PreloadModules);
        if ((e.Access & kAccessReader) && e.Reader != GUID_NULL) f.Set(sub, u"Reader", GuidText(e.Reader));
        if (e.hasExtReader) f.Set(sub, u"ExtReader", e.ExtReader);
        if ((e.Access & kAccessRenderer) && e.Renderer != GUID_NULL) f.Set(sub, u"Renderer", GuidText(e.Renderer));
        if (e.hasExtRenderer) f.Set(sub, u"ExtRenderer", e.ExtRenderer);
      }
      e.state &= ~kEntryDirty;
    }
    return changed;
  });
  return err == 0 ? S_OK : HRESULT_FROM_WIN32(err);
}

}  // namespace vane::fileio

using vane::fileio::PluginList;

HRESULT ZoFio_SetPluginCandidateDLLs(void** list, const WCHAR* const* names, LONG count) {
  if (!list || (count > 0 && !names)) return E_INVALIDARG;
  std::vector<std::u16string> v;
  for (LONG i = 0; i < count; ++i)
    if (names[i]) v.emplace_back(names[i]);
  return ZoFio_SetPluginCandidateDLLs(list, v);
}

HRESULT ZoFio_SetPluginCandidateDLLs(void** list, const std::vector<std::u16string>& names) {
  if (!list) return E_INVALIDARG;
  try {
    if (!*list) *list = new PluginList();
    return vane::fileio::AddCandidatesTo(static_cast<PluginList*>(*list), names, nullptr);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

void ZoFio_FreePluginCandidateList(void* list) {
  auto* l = static_cast<PluginList*>(list);
  if (!l) return;
  l->ReleaseAll();
  delete l;
}
