// SPDX-License-Identifier: MIT
// The manager's named mutex: an in-process recursive mutex shared by name,
// plus an flock on a lock file in a folder only this user can write
// ($XDG_RUNTIME_DIR, else $XDG_CACHE_HOME/vane-locks or ~/.cache/vane-locks),
// held while any thread of this process owns it, so two managers of one
// process and two processes of one executable exclude each other, and
// another user cannot hold the lock. Without such a folder only the
// in-process mutex is taken.
#pragma once

#include <memory>
#include <string>

namespace vane::fileio::detail {

class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name);
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;

  // Waits with no time limit; recursive on one thread.
  void Lock();
  void Unlock();
  const std::string& name() const { return m_name; }
  // The lock file used, or empty when there is none.
  std::string LockPath() const;

  struct Shared;

 private:
  std::string m_name;
  std::shared_ptr<Shared> m_shared;
};

class NamedMutexHold {
 public:
  explicit NamedMutexHold(NamedMutex* m) : m_m(m) {
    if (m_m) m_m->Lock();
  }
  ~NamedMutexHold() {
    if (m_m) m_m->Unlock();
  }
  NamedMutexHold(const NamedMutexHold&) = delete;
  NamedMutexHold& operator=(const NamedMutexHold&) = delete;

 private:
  NamedMutex* m_m;
};

}  // namespace vane::fileio::detail
