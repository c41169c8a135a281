// SPDX-License-Identifier: MIT
#include "kernel/os_info.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <iterator>
#include <string>

#include "platform/status.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

// Colour depth of the displays. The library holds no display connection;
// every display a host meets today has 24 bits per pixel.
constexpr int kPrimaryDisplayBits = 24;
constexpr int kLowestMonitorBits = 24;

// -1 unknown, else 0 or 1.
std::atomic<int> g_highColor{-1};
std::atomic<int> g_allMonitorsHighColor{-1};

struct VersionValue {
  const WCHAR* name;
  const WCHAR* value;
};

constexpr VersionValue kOwnVersion[] = {
    {u"FileDescription", u"Vane Format Kernel"},
    {u"FileVersion", u"13.0.373"},
    {u"ProductName", u"Vane Format Kernel"},
    {u"ProductVersion", u"13.0.373"},
    {u"InternalName", u"FFVANEK"},
    {u"OriginalFilename", u"libffvanek.so"},
};

struct LevelRow {
  DWORD platformId, major, minor;
  int servicePack;  // -1: the caller's
};

// Levels 0 to 9. Level 3 has no row of its own and compares like any unknown
// level: platform 1, version 0.0.
constexpr LevelRow kLevels[] = {{1, 4, 0, -1}, {1, 4, 1, -1}, {1, 4, 1, 1},  {1, 0, 0, -1}, {2, 4, 0, -1},
                                {2, 5, 0, -1}, {2, 5, 1, -1}, {2, 6, 0, -1}, {2, 6, 1, -1}, {2, 6, 2, -1}};
constexpr LevelRow kOtherLevel = {1, 0, 0, -1};

bool SameFile(const std::string& a, const std::string& b) {
  struct stat sa, sb;
  return !a.empty() && !b.empty() && stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

}  // namespace

OsVersionRecord RunningOsVersion() { return OsVersionRecord{kPlatformNt, 10, 0, 0}; }

bool OsVersionSatisfies(const OsVersionRecord& running, int level, int servicePack) {
  const LevelRow row = (level >= 0 && level < int(std::size(kLevels))) ? kLevels[level] : kOtherLevel;
  const int askedPack = row.servicePack < 0 ? servicePack : row.servicePack;
  if (running.platformId != row.platformId) return false;
  if (running.major != row.major) return running.major > row.major;
  if (running.minor != row.minor) return running.minor > row.minor;
  return int(running.servicePackMajor) >= askedPack;
}

void RefreshDisplayCaches() {
  g_highColor.store(kPrimaryDisplayBits >= 16 ? 1 : 0, std::memory_order_relaxed);
  g_allMonitorsHighColor.store(kLowestMonitorBits >= 16 ? 1 : 0, std::memory_order_relaxed);
}

std::string KernelFilePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&KernelFilePath), &info) == 0 || !info.dli_fname) return {};
  std::string path = info.dli_fname;
  // The executable itself is reported by its name as started; /proc knows
  // the full path.
  if (path.empty() || path.find('/') == std::string::npos) {
    char buf[4096];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return path;
    path.assign(buf, size_t(n));
  }
  return path;
}

}  // namespace vane::kernel

using namespace vane::kernel;

BOOL ZoIsWin95(void) {
  static const bool win9x = RunningOsVersion().platformId == kPlatformWin9x;
  return win9x ? TRUE : FALSE;
}

BOOL ZoIsHighColor(void) {
  if (g_highColor.load(std::memory_order_relaxed) < 0) RefreshDisplayCaches();
  return g_highColor.load(std::memory_order_relaxed);
}

BOOL ZoIsAllMonitorsHighColor(void) {
  if (g_allMonitorsHighColor.load(std::memory_order_relaxed) < 0) RefreshDisplayCaches();
  return g_allMonitorsHighColor.load(std::memory_order_relaxed);
}

BOOL ZoIsOS64Bit(void) { return sizeof(void*) == 8 ? TRUE : FALSE; }

BOOL ZoGetOS(LPWSTR text, DWORD capacity) {
  if (!text || capacity == 0) return FALSE;
  std::string name = "Linux";
  struct utsname u;
  if (uname(&u) == 0) {
    name = std::string(u.sysname) + " " + u.release;
    const std::string machine = u.machine;
    if (machine == "x86_64" || machine == "aarch64" || machine == "ppc64le" || machine == "s390x" ||
        machine == "riscv64")
      name += " (64-bit)";
    else if (machine.size() == 4 && machine[0] == 'i' && machine.substr(2) == "86")
      name += " (32-bit)";
  }
  ZoWcsCopy(text, capacity, vane::platform::FromUtf8(name).c_str());
  return TRUE;
}

BOOL ZoOSVersionOK(int level, int servicePack) {
  return OsVersionSatisfies(RunningOsVersion(), level, servicePack) ? TRUE : FALSE;
}

HRESULT ZoVersion_GetString(LPCWSTR fileName, LPCWSTR valueName, LPWSTR text, DWORD capacity) {
  if (!fileName || !valueName || !text) return E_POINTER;
  if (capacity == 0) return E_INVALIDARG;
  text[0] = 0;
  if (!SameFile(vane::platform::ToUtf8(fileName), KernelFilePath())) return ZOERR_NOT_FOUND;
  for (const VersionValue& v : kOwnVersion) {
    if (ZoWcsICmp(v.name, valueName) != 0) continue;
    ZoWcsCopy(text, capacity, v.value);
    return ZoWcsLen(v.value) < capacity ? S_OK : ZOERR_BUFFER_TOO_SMALL;
  }
  return ZOERR_NOT_FOUND;
}
