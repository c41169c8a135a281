// SPDX-License-Identifier: MIT
#include "fileio/detail/named_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>

namespace vane::fileio::detail {

struct NamedMutex::Shared {
  std::recursive_mutex inProcess;
  int depth = 0;  // guarded by inProcess
  int fd = -1;
  std::string lockPath;
};

namespace {

std::mutex g_registryLock;
std::map<std::string, std::weak_ptr<NamedMutex::Shared>>& Registry() {
  static auto* r = new std::map<std::string, std::weak_ptr<NamedMutex::Shared>>();
  return *r;
}

// A folder that is ours alone: a real directory (not a link), owned by
// this user, writable by nobody else.
bool PrivateFolder(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::geteuid() &&
         (st.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The folder for lock files; empty when no private one can be had. Shared
// folders such as /tmp are never used: anyone could hold a lock there.
std::string LockFolder() {
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime && PrivateFolder(runtime))
    return runtime;
  std::string base;
  if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && *cache) {
    base = cache;
  } else if (const char* home = std::getenv("HOME"); home && *home) {
    base = std::string(home) + "/.cache";
  } else {
    return {};
  }
  ::mkdir(base.c_str(), 0700);
  std::string folder = base + "/vane-locks";
  ::mkdir(folder.c_str(), 0700);
  return PrivateFolder(folder) ? folder : std::string();
}

// Opens the lock file without following a link and only when it is a plain
// file of ours; -1 otherwise.
int OpenLockFile(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return -1;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid()) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// A file name from the mutex name: path separators and blanks become '_'.
std::string LockFileName(const std::string& name) {
  std::string out = "vane-mutex-";
  for (char c : name) out += (c == '/' || c == '\\' || c == ' ') ? '_' : c;
  if (out.size() > 200) out = out.substr(0, 100) + std::to_string(std::hash<std::string>()(name));
  return out + ".lock";
}

}  // namespace

NamedMutex::NamedMutex(const std::string& name) : m_name(name) {
  std::lock_guard<std::mutex> hold(g_registryLock);
  auto& slot = Registry()[name];
  m_shared = slot.lock();
  if (!m_shared) {
    m_shared = std::make_shared<Shared>();
    std::string folder = LockFolder();
    if (!folder.empty()) m_shared->lockPath = folder + "/" + LockFileName(name);
    slot = m_shared;
  }
}

NamedMutex::~NamedMutex() {
  std::lock_guard<std::mutex> hold(g_registryLock);
  auto it = Registry().find(m_name);
  m_shared.reset();
  if (it != Registry().end() && it->second.expired()) Registry().erase(it);
}

void NamedMutex::Lock() {
  m_shared->inProcess.lock();
  if (m_shared->depth++ == 0) {
    m_shared->fd = m_shared->lockPath.empty() ? -1 : OpenLockFile(m_shared->lockPath);
    // Without a lock file the in-process mutex still serialises this process.
    if (m_shared->fd >= 0) {
      while (::flock(m_shared->fd, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
}

std::string NamedMutex::LockPath() const { return m_shared->lockPath; }

void NamedMutex::Unlock() {
  if (--m_shared->depth == 0 && m_shared->fd >= 0) {
    ::close(m_shared->fd);
    m_shared->fd = -1;
  }
  m_shared->inProcess.unlock();
}

}  // namespace vane::fileio::detail
