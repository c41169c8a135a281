// SPDX-License-Identifier: MIT
// File mapping over mmap. A mapping handle owns a section (a descriptor and
// a size); named mappings in this process share one section. Views are kept
// in a registry because munmap needs the length, and because a view may
// start inside a page: the caller's address is not the mapped base.
#include "platform/mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <string>

#include "platform/detail/handle.h"
#include "platform/file.h"

namespace vane::platform {
namespace {

using detail::HandleKind;

struct Section {
  Section(int fd, ULONGLONG size, bool writable) : m_fd(fd), m_size(size), m_writable(writable) {}
  ~Section() { ::close(m_fd); }
  const int m_fd;
  const ULONGLONG m_size;
  const bool m_writable;
};

class Mapping final : public detail::HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Mapping;
  explicit Mapping(std::shared_ptr<Section> section) : HandleObject(kKind), m_section(std::move(section)) {}
  const std::shared_ptr<Section> m_section;
};

struct View {
  void* base;
  size_t length;
};

struct Registry {
  std::mutex mutex;
  std::map<const void*, View> views;  // by the address handed out
  std::map<std::u16string, std::weak_ptr<Section>> named;
};

Registry& Maps() {
  static auto* registry = new Registry;
  return *registry;
}

int Protection(DWORD protect) {
  switch (protect & 0xFF) {
    case PAGE_READONLY:
    case PAGE_WRITECOPY:
      return 0;
    case PAGE_READWRITE:
      return 1;
    default:
      return -1;
  }
}

std::shared_ptr<Section> MakeSection(HANDLE file, bool writable, ULONGLONG size) {
  if (file == INVALID_HANDLE_VALUE) {
    if (size == 0) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return nullptr;
    }
    const int fd = memfd_create("vane-mapping", MFD_CLOEXEC);
    if (fd < 0 || ::ftruncate(fd, off_t(size)) != 0) {
      detail::SetLastErrorFromErrno(errno);
      if (fd >= 0) ::close(fd);
      return nullptr;
    }
    return std::make_shared<Section>(fd, size, true);
  }
  const int source = ZoHandleToFd(file);
  if (source < 0) return nullptr;
  const int mode = fcntl(source, F_GETFL) & O_ACCMODE;
  if (writable && mode == O_RDONLY) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  struct stat st;
  if (fstat(source, &st) != 0) {
    detail::SetLastErrorFromErrno(errno);
    return nullptr;
  }
  if (size == 0) {
    if (st.st_size == 0) {
      SetLastError(ERROR_FILE_INVALID);
      return nullptr;
    }
    size = ULONGLONG(st.st_size);
  } else if (size > ULONGLONG(st.st_size)) {
    if (!writable) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return nullptr;
    }
    if (::ftruncate(source, off_t(size)) != 0) {
      detail::SetLastErrorFromErrno(errno);
      return nullptr;
    }
  }
  const int fd = fcntl(source, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) {
    detail::SetLastErrorFromErrno(errno);
    return nullptr;
  }
  return std::make_shared<Section>(fd, size, writable);
}

}  // namespace
}  // namespace vane::platform

using namespace vane::platform;

HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES*, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
                          LPCWSTR name) {
  const int writable = Protection(protect);
  if (writable < 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const ULONGLONG size = (ULONGLONG(sizeHigh) << 32) | sizeLow;
  Registry& r = Maps();
  if (name && *name) {
    std::lock_guard lock(r.mutex);
    auto it = r.named.find(name);
    if (it != r.named.end()) {
      if (auto section = it->second.lock()) {
        HANDLE h = detail::RegisterHandle(std::make_shared<Mapping>(std::move(section)));
        SetLastError(ERROR_ALREADY_EXISTS);
        return h;
      }
    }
  }
  auto section = MakeSection(file, writable == 1, size);
  if (!section) return nullptr;
  if (name && *name) {
    std::lock_guard lock(r.mutex);
    r.named[name] = section;
  }
  HANDLE h = detail::RegisterHandle(std::make_shared<Mapping>(std::move(section)));
  SetLastError(ERROR_SUCCESS);
  return h;
}

LPVOID MapViewOfFile(HANDLE handle, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
  auto mapping = detail::Lookup<Mapping>(handle);
  if (!mapping) return nullptr;
  const Section& section = *mapping->m_section;
  // FILE_MAP_COPY alone asks for a private copy; the same bit is also part
  // of FILE_MAP_ALL_ACCESS, which is a shared writable view.
  const bool copy = (access & FILE_MAP_COPY) && !(access & (FILE_MAP_READ | FILE_MAP_WRITE));
  const bool write = access & FILE_MAP_WRITE;
  const ULONGLONG offset = (ULONGLONG(offsetHigh) << 32) | offsetLow;
  if ((write && !copy && !section.m_writable) || offset >= section.m_size) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  if (bytes == 0) bytes = SIZE_T(section.m_size - offset);
  if (bytes > section.m_size - offset) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  const ULONGLONG page = ULONGLONG(sysconf(_SC_PAGESIZE));
  const ULONGLONG start = offset & ~(page - 1);
  const size_t length = size_t(offset - start) + bytes;
  const int prot = PROT_READ | (write || copy ? PROT_WRITE : 0);
  void* base = mmap(nullptr, length, prot, copy ? MAP_PRIVATE : MAP_SHARED, section.m_fd, off_t(start));
  if (base == MAP_FAILED) {
    detail::SetLastErrorFromErrno(errno);
    return nullptr;
  }
  void* view = static_cast<char*>(base) + (offset - start);
  Registry& r = Maps();
  std::lock_guard lock(r.mutex);
  r.views[view] = View{base, length};
  return view;
}

BOOL UnmapViewOfFile(LPCVOID view) {
  View v{};
  {
    Registry& r = Maps();
    std::lock_guard lock(r.mutex);
    auto it = r.views.find(view);
    if (it == r.views.end()) {
      SetLastError(ERROR_INVALID_ADDRESS);
      return FALSE;
    }
    v = it->second;
    r.views.erase(it);
  }
  munmap(v.base, v.length);
  return TRUE;
}

BOOL FlushViewOfFile(LPCVOID address, SIZE_T bytes) {
  Registry& r = Maps();
  std::unique_lock lock(r.mutex);
  // The view that holds the address: the last one starting at or below it.
  auto it = r.views.upper_bound(address);
  if (it == r.views.begin()) {
    SetLastError(ERROR_INVALID_ADDRESS);
    return FALSE;
  }
  --it;
  const auto* base = static_cast<const char*>(it->second.base);
  const auto* end = base + it->second.length;
  const auto* from = static_cast<const char*>(address);
  if (from >= end) {
    SetLastError(ERROR_INVALID_ADDRESS);
    return FALSE;
  }
  const char* to = (bytes == 0 || bytes > size_t(end - from)) ? end : from + bytes;
  const uintptr_t page = uintptr_t(sysconf(_SC_PAGESIZE));
  auto* first = reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(from) & ~(page - 1));
  lock.unlock();
  if (msync(first, size_t(to - first), MS_SYNC) != 0) {
    detail::SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

int ZoMappingToFd(HANDLE handle) {
  auto mapping = detail::Lookup<Mapping>(handle);
  return mapping ? mapping->m_section->m_fd : -1;
}

HANDLE ZoMappingFromFd(int fd, DWORD protect) {
  const int writable = Protection(protect);
  struct stat st;
  if (writable < 0 || fd < 0 || fstat(fd, &st) != 0 || st.st_size <= 0) {
    SetLastError(fd < 0 ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto section = std::make_shared<Section>(fd, ULONGLONG(st.st_size), writable == 1);
  return detail::RegisterHandle(std::make_shared<Mapping>(std::move(section)));
}
