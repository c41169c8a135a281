// SPDX-License-Identifier: MIT
// Module loading over dlopen. Each loaded object is one Module handle keyed
// by its link map, so loading a file twice gives the same handle, counted;
// the handle remembers the file's real path for GetModuleFileNameW.
#include "platform/module.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/detail/handle.h"
#include "platform/file.h"
#include "platform/wtext.h"

namespace vane::platform {
namespace {

using detail::HandleKind;

class Module final : public detail::HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Module;
  Module() : HandleObject(kKind) {}
  void* m_dl = nullptr;
  const link_map* m_map = nullptr;
  std::string m_path;   // UTF-8, absolute
  int m_loads = 0;      // LoadLibrary calls not yet balanced by FreeLibrary
  bool m_pinned = false;  // found by address: never unloaded by us
};

struct ModuleTable {
  std::mutex mutex;
  std::unordered_map<const link_map*, HMODULE> byMap;
};

ModuleTable& Modules() {
  static auto* table = new ModuleTable;
  return *table;
}

thread_local std::string t_moduleError;

std::string ExecutablePath() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  return n > 0 ? std::string(buf, size_t(n)) : std::string();
}

std::string RealPath(const link_map* map) {
  if (!map->l_name || !*map->l_name) return ExecutablePath();
  char buf[PATH_MAX];
  return realpath(map->l_name, buf) ? std::string(buf) : std::string(map->l_name);
}

// The platform appends the default extension to a name whose last
// component has none; a trailing dot means "no extension, add none".
std::string WithDefaultExtension(std::string name) {
  const size_t slash = name.rfind('/');
  const size_t base = slash == std::string::npos ? 0 : slash + 1;
  if (name.size() > base && name.back() == '.') {
    name.pop_back();
  } else if (name.find('.', base) == std::string::npos) {
    name += ".so";
  }
  return name;
}

DWORD LoadErrorFor(const std::string& file, const std::string& text) {
  if (text.find("undefined symbol") != std::string::npos) return ERROR_PROC_NOT_FOUND;
  if (text.find("No such file") != std::string::npos) return ERROR_MOD_NOT_FOUND;
  if (file.find('/') != std::string::npos && access(file.c_str(), F_OK) != 0) return ERROR_MOD_NOT_FOUND;
  return ERROR_BAD_EXE_FORMAT;
}

// Registers (or finds) the module of a link map and takes over one dl
// reference. Call with the table lock held.
HMODULE AdoptLocked(void* dl, const link_map* map, bool counted) {
  ModuleTable& t = Modules();
  auto it = t.byMap.find(map);
  if (it != t.byMap.end()) {
    // Every dlopen of one object returns the same dl handle, so each counted
    // load is balanced by one dlclose of m_dl.
    if (counted) ++detail::Lookup<Module>(it->second)->m_loads;
    return it->second;
  }
  auto module = std::make_shared<Module>();
  module->m_dl = dl;
  module->m_map = map;
  module->m_path = RealPath(map);
  module->m_loads = counted ? 1 : 0;
  module->m_pinned = !counted;
  HMODULE handle = detail::RegisterHandle(module);
  t.byMap.emplace(map, handle);
  return handle;
}

std::shared_ptr<Module> ModuleOrExecutable(HMODULE module) {
  if (module) return detail::Lookup<Module>(module);
  static HMODULE executable = [] {
    void* dl = dlopen(nullptr, RTLD_NOW);
    link_map* map = nullptr;
    dlinfo(dl, RTLD_DI_LINKMAP, &map);
    std::lock_guard lock(Modules().mutex);
    return AdoptLocked(dl, map, false);
  }();
  return detail::Lookup<Module>(executable);
}

}  // namespace
}  // namespace vane::platform

using namespace vane::platform;

HMODULE LoadLibraryW(LPCWSTR name) { return LoadLibraryExW(name, nullptr, 0); }

HMODULE LoadLibraryExW(LPCWSTR name, HANDLE, DWORD) {
  if (!name || !*name) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const std::string file = WithDefaultExtension(ToUtf8(name));
  dlerror();
  void* dl = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!dl) {
    const char* text = dlerror();
    t_moduleError = text ? text : "cannot load " + file;
    SetLastError(LoadErrorFor(file, t_moduleError));
    return nullptr;
  }
  link_map* map = nullptr;
  if (dlinfo(dl, RTLD_DI_LINKMAP, &map) != 0 || !map) {
    dlclose(dl);
    t_moduleError = "no link map for " + file;
    SetLastError(ERROR_BAD_EXE_FORMAT);
    return nullptr;
  }
  std::lock_guard lock(Modules().mutex);
  return AdoptLocked(dl, map, true);
}

BOOL FreeLibrary(HMODULE handle) {
  auto module = detail::Lookup<Module>(handle);
  if (!module) return FALSE;
  {
    std::lock_guard lock(Modules().mutex);
    if (module->m_loads == 0) return TRUE;  // found by address, not loaded by us
    if (--module->m_loads == 0 && !module->m_pinned) {
      Modules().byMap.erase(module->m_map);
      detail::UnregisterHandle(handle);
    }
  }
  // Outside the lock: the object's destructors may call back into us.
  dlclose(module->m_dl);
  return TRUE;
}

FARPROC GetProcAddress(HMODULE handle, LPCSTR name) {
  auto module = ModuleOrExecutable(handle);
  if (!module) return nullptr;
  // Names only: an ordinal (a small integer in the pointer) finds nothing.
  if (reinterpret_cast<uintptr_t>(name) < 0x10000) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  void* symbol = dlsym(module->m_dl, name);
  if (!symbol) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(symbol);
}

DWORD GetModuleFileNameW(HMODULE handle, LPWSTR buffer, DWORD capacity) {
  auto module = ModuleOrExecutable(handle);
  if (!module) return 0;
  if (!buffer || capacity == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  const std::u16string path = FromUtf8(module->m_path);
  if (path.size() < capacity) {
    std::memcpy(buffer, path.data(), path.size() * sizeof(WCHAR));
    buffer[path.size()] = 0;
    return DWORD(path.size());
  }
  std::memcpy(buffer, path.data(), (capacity - 1) * sizeof(WCHAR));
  buffer[capacity - 1] = 0;
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return capacity;
}

HMODULE ZoModuleFromAddress(const void* address) {
  Dl_info info;
  link_map* map = nullptr;
  if (!address || !dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  std::lock_guard lock(Modules().mutex);
  auto it = Modules().byMap.find(map);
  if (it != Modules().byMap.end()) return it->second;
  // Not loaded through us: a no-load dlopen gives a handle for dlsym, kept
  // for the life of the process.
  void* dl = (!map->l_name || !*map->l_name) ? dlopen(nullptr, RTLD_NOW) : dlopen(map->l_name, RTLD_NOW | RTLD_NOLOAD);
  if (!dl) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return AdoptLocked(dl, map, false);
}

HMODULE ZoKernelModuleHandle(void) {
  static const HMODULE kernel = ZoModuleFromAddress(reinterpret_cast<const void*>(&ZoKernelModuleHandle));
  return kernel;
}

const char* ZoGetLastModuleError(void) { return t_moduleError.c_str(); }
