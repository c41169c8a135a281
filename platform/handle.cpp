// SPDX-License-Identifier: MIT
// The handle table and CloseHandle.
#include "platform/detail/handle.h"

#include <mutex>
#include <unordered_map>

#include "platform/file.h"
#include "platform/module.h"

namespace vane::platform::detail {
namespace {

struct HandleTable {
  std::mutex mutex;
  std::unordered_map<HANDLE, std::shared_ptr<HandleObject>> objects;
};

// Never destroyed: handles may still be closed from static destructors.
HandleTable& Table() {
  static HandleTable* table = new HandleTable;
  return *table;
}

}  // namespace

HANDLE RegisterHandle(std::shared_ptr<HandleObject> object) {
  if (!object) return nullptr;
  HANDLE h = object.get();
  HandleTable& t = Table();
  std::lock_guard lock(t.mutex);
  t.objects.emplace(h, std::move(object));
  return h;
}

std::shared_ptr<HandleObject> LookupAnyHandle(HANDLE handle) {
  HandleTable& t = Table();
  {
    std::lock_guard lock(t.mutex);
    auto it = t.objects.find(handle);
    if (it != t.objects.end()) return it->second;
  }
  SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

std::shared_ptr<HandleObject> LookupHandle(HANDLE handle, HandleKind kind) {
  auto object = LookupAnyHandle(handle);
  if (object && object->Kind() != kind) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return object;
}

bool UnregisterHandle(HANDLE handle) {
  std::shared_ptr<HandleObject> doomed;  // destroyed outside the table lock
  HandleTable& t = Table();
  {
    std::lock_guard lock(t.mutex);
    auto it = t.objects.find(handle);
    if (it == t.objects.end()) {
      SetLastError(ERROR_INVALID_HANDLE);
      return false;
    }
    doomed = std::move(it->second);
    t.objects.erase(it);
  }
  return true;
}

}  // namespace vane::platform::detail

using namespace vane::platform::detail;

BOOL CloseHandle(HANDLE handle) {
  auto object = LookupAnyHandle(handle);
  if (!object) return FALSE;
  // A module handle counts loads; closing it is one FreeLibrary.
  if (object->Kind() == HandleKind::Module) return FreeLibrary(static_cast<HMODULE>(handle));
  object.reset();
  return UnregisterHandle(handle) ? TRUE : FALSE;
}
