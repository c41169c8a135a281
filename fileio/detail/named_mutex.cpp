// SPDX-License-Identifier: MIT
#include "fileio/detail/named_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
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

std::string LockFolder() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime && ::access(runtime, W_OK) == 0) return runtime;
  const char* tmp = std::getenv("TMPDIR");
  return tmp && *tmp ? tmp : "/tmp";
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
    m_shared->lockPath = LockFolder() + "/" + LockFileName(name);
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
    m_shared->fd = ::open(m_shared->lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    // Without a lock file the in-process mutex still serialises this process.
    if (m_shared->fd >= 0) {
      while (::flock(m_shared->fd, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
}

void NamedMutex::Unlock() {
  if (--m_shared->depth == 0 && m_shared->fd >= 0) {
    ::close(m_shared->fd);
    m_shared->fd = -1;
  }
  m_shared->inProcess.unlock();
}

}  // namespace vane::fileio::detail
