// SPDX-License-Identifier: MIT
#include "ffbase/memory_token.h"

#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include <pthread.h>

#include "platform/sync.h"

namespace ffbase {
namespace {

// The process id, asked once (and again in a forked child): the read loop
// maps a token on every call, and a system call each time shows.
std::atomic<DWORD> g_pid{0};

DWORD ThisProcess() {
  DWORD pid = g_pid.load(std::memory_order_relaxed);
  if (pid == 0) {
    static std::once_flag once;
    std::call_once(once, [] { ::pthread_atfork(nullptr, nullptr, [] { g_pid = 0; }); });
    pid = GetCurrentProcessId();
    g_pid = pid;
  }
  return pid;
}

bool SameProcess(const _zomemorytoken& t) { return t.processId == 0 || t.processId == ThisProcess(); }

bool MoveRemote(const _zomemorytoken& t, void* local, bool read) {
  ULONGLONG done = 0;
  while (done < t.size) {
    iovec here{static_cast<BYTE*>(local) + done, size_t(t.size - done)};
    iovec there{reinterpret_cast<void*>(t.pointer + t.offset + done), size_t(t.size - done)};
    ssize_t n = read ? ::process_vm_readv(pid_t(t.processId), &here, 1, &there, 1, 0)
                     : ::process_vm_writev(pid_t(t.processId), &here, 1, &there, 1, 0);
    if (n <= 0) return false;  // a short transfer counts as a failure
    done += ULONGLONG(n);
  }
  return true;
}

}  // namespace

CMappingOfZoMemoryToken::CMappingOfZoMemoryToken(const _zomemorytoken& token, DWORD access)
    : m_token(token), m_access(access) {}

CMappingOfZoMemoryToken::~CMappingOfZoMemoryToken() { Dispose(); }

HRESULT CMappingOfZoMemoryToken::Map() {
  m_mapped = true;
  if (SameProcess(m_token)) {
    m_pointer = reinterpret_cast<BYTE*>(m_token.pointer) + m_token.offset;
    return m_status = S_OK;
  }
  if (m_token.kind == 1) return m_status = E_NOTIMPL;
  try {
    m_local.assign(size_t(m_token.size), 0);
  } catch (...) {
    return m_status = E_OUTOFMEMORY;
  }
  const DWORD access = m_access == 0 ? (kTokenAccessRead | kTokenAccessWrite) : m_access;
  if ((access & kTokenAccessRead) && m_token.size && !MoveRemote(m_token, m_local.data(), true)) {
    m_local.clear();
    return m_status = E_ACCESSDENIED;
  }
  m_pointer = m_local.empty() ? nullptr : m_local.data();
  return m_status = S_OK;
}

HRESULT CMappingOfZoMemoryToken::GetPointer(void** pointer) {
  if (!pointer) return E_POINTER;
  if (!m_mapped) Map();
  *pointer = FAILED(m_status) ? nullptr : m_pointer;
  return m_status;
}

void* CMappingOfZoMemoryToken::Pointer() {
  void* p = nullptr;
  GetPointer(&p);
  return p;
}

HRESULT CMappingOfZoMemoryToken::Close() {
  HRESULT hr = S_OK;
  const DWORD access = m_access == 0 ? (kTokenAccessRead | kTokenAccessWrite) : m_access;
  if (m_mapped && SUCCEEDED(m_status) && !SameProcess(m_token) && (access & kTokenAccessWrite) && !m_local.empty() &&
      !MoveRemote(m_token, m_local.data(), false))
    hr = E_ACCESSDENIED;
  m_local.clear();
  m_pointer = nullptr;
  return hr;
}

void CMappingOfZoMemoryToken::Dispose() {
  Close();
  m_mapped = false;
  m_status = S_OK;
}

HRESULT CMappingOfZoMemoryToken::CopyData(void* destination, const _zomemorytoken& token, ULONGLONG bytes) {
  if (!destination) return E_POINTER;
  if (bytes < token.size) return ZOERR_BUFFER_TOO_SMALL;
  CMappingOfZoMemoryToken map(token, kTokenAccessRead);
  void* p = nullptr;
  VANE_RETURN_IF_FAILED(map.GetPointer(&p));
  if (token.size) std::memcpy(destination, p, size_t(token.size));
  return S_OK;
}

_zomemorytoken CMappingOfZoMemoryToken::FromPointer(void* pointer, ULONGLONG bytes) {
  _zomemorytoken t{};
  t.pointer = reinterpret_cast<ULONGLONG>(pointer);
  t.size = bytes;
  t.kind = 0;
  t.processId = ThisProcess();
  return t;
}

}  // namespace ffbase
