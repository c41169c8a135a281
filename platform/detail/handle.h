// SPDX-License-Identifier: MIT
// Kernel objects behind HANDLE values. Every handle the platform layer hands
// out is the address of a HandleObject registered in one process-wide table,
// so a stale or made-up value is refused with ERROR_INVALID_HANDLE instead of
// being dereferenced, and CloseHandle closes any kind alike. Lookups return a
// shared reference: an object closed on one thread stays alive until another
// thread's call on it has returned.
#pragma once

#include <memory>

#include "platform/types.h"

namespace vane::platform::detail {

enum class HandleKind { File, Mapping, Event, Thread, Mutex, Module };

class HandleObject {
 public:
  explicit HandleObject(HandleKind kind) : m_kind(kind) {}
  virtual ~HandleObject() = default;
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;
  HandleKind Kind() const { return m_kind; }

 private:
  const HandleKind m_kind;
};

// Adds an object to the table; the handle value is the object's address.
HANDLE RegisterHandle(std::shared_ptr<HandleObject> object);
// The live object of that kind, or null with ERROR_INVALID_HANDLE set.
std::shared_ptr<HandleObject> LookupHandle(HANDLE handle, HandleKind kind);
// The live object whatever its kind, or null with ERROR_INVALID_HANDLE set.
std::shared_ptr<HandleObject> LookupAnyHandle(HANDLE handle);
// Removes the handle from the table; false (ERROR_INVALID_HANDLE) if absent.
bool UnregisterHandle(HANDLE handle);

template <typename T>
std::shared_ptr<T> Lookup(HANDLE handle) {
  return std::static_pointer_cast<T>(LookupHandle(handle, T::kKind));
}

// Sets the calling thread's last error from errno (or the given value).
void SetLastErrorFromErrno(int err);

}  // namespace vane::platform::detail
