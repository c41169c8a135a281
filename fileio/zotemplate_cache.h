// SPDX-License-Identifier: MIT
// What a renderer class has: its presets and the templates of its user
// folder, cached once per manager and rebuilt when a folder changes.
#pragma once

#include <string>
#include <vector>

#include "fileio/zotemplate.h"

// Kinds of a folder node.
inline constexpr DWORD ZOTEMPLATE_KIND_PRIVATE = 1;
inline constexpr DWORD ZOTEMPLATE_KIND_PRESETS = 8;
inline constexpr DWORD ZOTEMPLATE_KIND_USER = 16;
inline constexpr DWORD ZOTEMPLATE_KIND_ZOT = 17;
inline constexpr DWORD ZOTEMPLATE_KIND_ZOT2 = 18;
inline constexpr DWORD ZOTEMPLATE_KIND_BOTH = 19;

class VANE_EXPORT CZoTemplateCache {
 public:
  struct FolderNode {
    std::string path;             // empty for presets
    tZOLIST* templates = nullptr; // owned records
    DWORD kind = 0;
  };
  ~CZoTemplateCache() { Free(); }
  HRESULT Build(IZoRenderFileClass* cls);
  // True when it belongs to another class or a folder changed since Build.
  bool IsStale(IZoRenderFileClass* cls) const;
  void Free();

  std::vector<FolderNode> folders;  // presets first, then user folders
  std::vector<std::string> badFiles;
  GUID classId{};
  ULONGLONG newest = 0;
  LONG refs = 0;
};

// A process's own view of a class's templates: the global cache (shared,
// copied before this view changes it), a flat list of every template in
// kind order (private first, then presets, then user folders), a position
// for walking it, and one node of templates private to this process.
class VANE_EXPORT CZoPrivateTemplateCache {
 public:
  ~CZoPrivateTemplateCache();
  // Adds a copy of tpl to the private node and rebuilds the flat list.
  HRESULT AddPrivate(const tagZOTEMPLATExV2* tpl);
  // The template at the position (not a copy), advancing it; null at the end.
  const tagZOTEMPLATExV2* Next();
  void Reset() { position = 0; }
  LONG Count() const { return flat ? flat->nItems : 0; }
  HRESULT Rebuild();

  CZoTemplateCache* global = nullptr;  // one reference held
  bool shared = true;
  tZOLIST* flat = nullptr;             // pointers into the nodes, not owned
  LONG position = 0;
  CZoTemplateCache::FolderNode privateNode;
  DWORD flags = 0;
};

// The root of the template folders ($VANE_TEMPLATE_DIR, else the roaming
// application data of this program) and a class's folder of one kind.
VANE_EXPORT std::string ZoTemplate_RootFolder();
VANE_EXPORT std::string ZoTemplate_ClassFolder(IZoRenderFileClass* cls, const char* kind);

VANE_EXPORT HRESULT ZoFio_GetGlobalTemplateCache(IZoFileIOManager* manager, IZoRenderFileClass* cls,
                                                 CZoTemplateCache** out);
VANE_EXPORT HRESULT ZoFio_ReleaseGlobalTemplateCache(CZoTemplateCache* cache);
// Drops the manager's own reference (its shutdown).
VANE_EXPORT HRESULT ZoFio_DropManagerTemplateCache(IZoFileIOManager* manager);

VANE_EXPORT HRESULT ZoFio_CreatePrivateTemplateCache(IZoFileIOManager* manager, IZoRenderFileClass* cls,
                                                     DWORD flags, CZoPrivateTemplateCache** out);
VANE_EXPORT void ZoFio_ReleasePrivateTemplateCache(CZoPrivateTemplateCache* cache);

VANE_EXPORT HRESULT ZoFio_GetTemplateList(IZoFileIOManager* manager, IZoRenderFileClass* cls, tZOLIST** out);
VANE_EXPORT HRESULT ZoFio_GetFilteredTemplateList(IZoFileIOManager* manager, IZoRenderFileClass* cls, tZOLIST** out,
                                                  DWORD flags);
VANE_EXPORT const tagZOTEMPLATExV2* ZoFio_GetTemplateByNameNoCopy(CZoTemplateCache* cache, const WCHAR* name);
VANE_EXPORT HRESULT ZoFio_GetTemplateByName(IZoFileIOManager* manager, IZoRenderFileClass* cls, const WCHAR* name,
                                            tagZOTEMPLATExV2** out);
VANE_EXPORT HRESULT ZoFio_GetTemplateByGuid(IZoFileIOManager* manager, IZoRenderFileClass* cls, const GUID& id,
                                            tagZOTEMPLATExV2** out);

VANE_EXPORT HRESULT ZoFio_SaveAppLastUsedTemplate(IZoRenderFileClass* cls, const tagZOTEMPLATExV2* tpl,
                                                  const WCHAR* suffix, BOOL overwrite);
VANE_EXPORT HRESULT ZoFio_LoadAppLastUsedTemplate(IZoRenderFileClass* cls, const WCHAR* suffix,
                                                  tagZOTEMPLATExV2** out);
VANE_EXPORT HRESULT ZoFio_DeleteAppLastUsedTemplate(IZoRenderFileClass* cls, const WCHAR* suffix);
