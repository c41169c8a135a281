// SPDX-License-Identifier: MIT
// What the manager knows of one class of one plug-in module, and the list
// that holds these entries. Entries are owned by their list; enumerators and
// lookups keep plain pointers, valid until the list is destroyed at Shutdown.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "fileio/fio_interfaces.h"

namespace vane::fileio {

// State bits of an entry.
inline constexpr DWORD kEntryPreloadsLoaded = 1;
inline constexpr DWORD kEntryHidden = 2;
inline constexpr DWORD kEntryHiddenByList = 4;
inline constexpr DWORD kEntryNotEnumerated = 8;
inline constexpr DWORD kEntry64Bit = 16;
inline constexpr DWORD kEntryDirty = 32;
inline constexpr DWORD kEntryMustProbe = 64;
inline constexpr DWORD kEntryPrimary = 128;
inline constexpr DWORD kEntrySurrogateNow = 256;
// Added since the last LoadPluginList: its cache section is still to be read.
inline constexpr DWORD kEntryNew = 512;
// Hidden for this start only (its probe could not run): never written to the cache.
inline constexpr DWORD kEntryNotCached = 1024;

// Init-flag bits (working copy of Flags).
inline constexpr DWORD kInitAtStart = 1;
inline constexpr DWORD kInitNoFixed = 2;

inline constexpr DWORD kAccessReader = 16;
inline constexpr DWORD kAccessRenderer = 32;

// Reader and renderer state of an entry.
inline constexpr DWORD kClassNotTried = 0;
inline constexpr DWORD kClassReady = 1;
inline constexpr DWORD kClassFailed = 2;

inline constexpr DWORD kEntryVersionTag = 5;
inline constexpr int kMaxClassesPerModule = 16;

// Field order follows the defined record; texts the entry owns are strings.
struct tZOFIOPLUGINENTRY {
  DWORD size = sizeof(tZOFIOPLUGINENTRY);
  GUID classId = GUID_NULL;
  HMODULE module = nullptr;
  IClassFactory* factory = nullptr;
  std::u16string name;  // module file name
  std::u16string path;  // full module path
  std::u16string DialogName;
  DWORD LangID = 0;
  std::u16string PreloadModules;
  DWORD state = 0;
  DWORD StreamType = 0;
  DWORD Access = 0;
  DWORD BetaBuild = 0;
  DWORD initFlags = 0;
  DWORD Flags = 0;
  DWORD ModTime = 0;
  DWORD duplicatesAllowed = 0;
  GUID Reader = GUID_NULL;
  LONG readerIndex = -1;
  IZoReadFileClass* readerClass = nullptr;
  // Read by any thread on a class's first use, written on the init thread:
  // the class pointer and status are set before the state that publishes them.
  std::atomic<DWORD> readerState{kClassNotTried};
  std::u16string ExtReader;
  GUID Renderer = GUID_NULL;
  LONG renderIndex = -1;
  IZoRenderFileClass* renderClass = nullptr;
  std::atomic<DWORD> renderState{kClassNotTried};
  std::u16string ExtRenderer;
  DWORD versionTag = kEntryVersionTag;
  LONG Surrogate = -1;
  DWORD MeritValue = 0;
  GUID MeritReader = GUID_NULL;
  // Not part of the record: whether the text fields were read from a valid
  // cache section (initialisation then skips GetInfoText).
  bool hasExtReader = false;
  bool hasExtRenderer = false;
  bool hasDialogName = false;
  // Set on the init thread while the class is being made, so that a plug-in
  // asking for its own class from inside its initialisation gets a refusal
  // instead of a second instance.
  bool readerBusy = false;
  bool renderBusy = false;
  // The status the last failed initialisation gave (S_OK when none failed).
  HRESULT readerStatus = S_OK;
  HRESULT renderStatus = S_OK;
  // Why a hidden module is unusable, for the user; empty when not known.
  std::string problem;

  // The module's cache section: its stem (the file name less its extension,
  // at most 64 characters) and a hash of its full path, so that two modules
  // of one name in two folders keep two sections, and a class section name
  // stays short.
  std::u16string CacheSection() const;
};

// The thread-safe plug-in list: one recursive lock over a vector of entries.
struct PluginList {
  std::recursive_mutex lock;
  std::vector<std::unique_ptr<tZOFIOPLUGINENTRY>> entries;

  size_t IndexOf(const tZOFIOPLUGINENTRY* e) const;
  // Inserts right after `after` and returns the new entry.
  tZOFIOPLUGINENTRY* InsertAfter(const tZOFIOPLUGINENTRY* after, std::unique_ptr<tZOFIOPLUGINENTRY> e);
  // Releases classes, factories, modules and preloaded modules of all entries.
  void ReleaseAll();
};

}  // namespace vane::fileio
