// SPDX-License-Identifier: MIT
// The temp folder and the per-user application-data folders, from the XDG
// variables with their usual defaults. Relative values are ignored, as the
// XDG rules ask.
#include "platform/folders.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/file.h"
#include "platform/wtext.h"

namespace vane::platform {
namespace {

std::string AbsoluteEnv(const char* name) {
  const char* value = std::getenv(name);
  if (!value || value[0] != '/') return {};
  std::string path(value);
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string HomeFolder() {
  std::string home = AbsoluteEnv("HOME");
  if (!home.empty()) return home;
  passwd entry;
  passwd* found = nullptr;
  char buf[4096];
  if (getpwuid_r(getuid(), &entry, buf, sizeof buf, &found) == 0 && found && found->pw_dir) return found->pw_dir;
  return "/tmp";
}

std::string TempFolder() {
  std::string tmp = AbsoluteEnv("TMPDIR");
  return tmp.empty() ? "/tmp" : tmp;
}

}  // namespace

std::string GetFolderPath(Folder which) {
  std::string path;
  switch (which) {
    case Folder::Temp:
      return TempFolder();
    case Folder::RoamingAppData:
      path = AbsoluteEnv("XDG_CONFIG_HOME");
      if (path.empty()) path = HomeFolder() + "/.config";
      break;
    case Folder::LocalAppData:
      path = AbsoluteEnv("XDG_CACHE_HOME");
      if (path.empty()) path = HomeFolder() + "/.cache";
      break;
    case Folder::RuntimeDir:
      path = AbsoluteEnv("XDG_RUNTIME_DIR");
      if (path.empty()) path = TempFolder();
      break;
  }
  std::error_code ec;
  std::filesystem::create_directories(path, ec);
  return path;
}

}  // namespace vane::platform

using namespace vane::platform;

DWORD GetTempPathW(DWORD capacity, LPWSTR buffer) {
  const std::u16string path = FromUtf8(TempFolder() + "/");
  if (!buffer || path.size() >= capacity) return DWORD(path.size() + 1);
  std::memcpy(buffer, path.data(), path.size() * sizeof(WCHAR));
  buffer[path.size()] = 0;
  return DWORD(path.size());
}

UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR buffer) {
  if (!folder || !buffer) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::string base = ToUtf8(folder);
  if (base.empty() || base.back() != '/') base += '/';
  // Up to three characters of the prefix, as the platform takes.
  std::u16string stem(prefix ? prefix : u"");
  if (stem.size() > 3) stem.resize(3);
  base += ToUtf8(stem);
  auto nameFor = [&](UINT number) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%X.tmp", number & 0xFFFF);
    return base + hex;
  };
  auto emit = [&](const std::string& name) -> bool {
    const std::u16string wide = FromUtf8(name);
    if (wide.size() >= MAX_PATH) {
      SetLastError(ERROR_FILENAME_EXCED_RANGE);
      return false;
    }
    std::memcpy(buffer, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
    return true;
  };
  if (unique != 0) {
    // A caller-chosen number: the name is formed, no file is made.
    return emit(nameFor(unique)) ? (unique & 0xFFFF) : 0;
  }
  const auto seed = UINT(std::chrono::steady_clock::now().time_since_epoch().count() ^ getpid());
  for (UINT i = 0; i < 0xFFFF; ++i) {
    const UINT number = (seed + i) % 0xFFFF + 1;
    const std::string name = nameFor(number);
    const int fd = ::open(name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (fd >= 0) {
      ::close(fd);
      if (!emit(name)) {
        ::unlink(name.c_str());
        return 0;
      }
      return number;
    }
    if (errno != EEXIST) {
      SetLastError(ZoErrnoToWin32(errno) == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : ZoErrnoToWin32(errno));
      return 0;
    }
  }
  SetLastError(ERROR_FILE_EXISTS);
  return 0;
}
