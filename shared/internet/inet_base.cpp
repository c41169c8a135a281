// SPDX-License-Identifier: MIT
#include "shared/internet/inet_base.h"

#include <chrono>

#include "platform/file.h"
#include "platform/wtext.h"
#include "shared/internet/detail/curl_session.h"

namespace {

std::atomic<LONG> g_liveObjects{0};

LONGLONG NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// The object's lock is recursive, so callbacks made under it may call back
// into the object on the same thread.
using Locked = vane::platform::CsLock;

constexpr size_t kMaxLogLines = 256;

}  // namespace

CZoInetBase::CZoInetBase() {
  InitializeCriticalSection(&m_lock);
  ++g_liveObjects;
}

CZoInetBase::~CZoInetBase() {
  if (m_doneEvent) CloseHandle(m_doneEvent);
  if (m_commandEvent) CloseHandle(m_commandEvent);
  DeleteCriticalSection(&m_lock);
  --g_liveObjects;
}

LONG CZoInetBase::LiveObjectCount() { return g_liveObjects.load(); }

ULONG CZoInetBase::AddRef() { return static_cast<ULONG>(++m_refs); }

// Both the owner's and the worker's releases decrement under the lock, so the
// one that reaches zero does so after the other has left the object. When only
// the worker's reference remains, the worker is told to end: a quit command
// when idle, the cancel flag when a command is under way.
ULONG CZoInetBase::Release() {
  LONG left;
  {
    Locked lock(&m_lock);
    left = --m_refs;
    if (left == 1 && m_thread && !m_ending) {
      if (!m_busy) {
        SendCmdToWorker(ZOINET_CMD_QUIT);
      } else {
        m_cancel = true;
      }
    }
  }
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

void CZoInetBase::SetRequestNotifyWindow(void* window, ZoInetPostMessageProc post) {
  Locked lock(&m_lock);
  m_notifyWindow = window;
  m_post = post;
}

void CZoInetBase::SetRequestNotify(IZoInetRequestNotify* notify) {
  Locked lock(&m_lock);
  m_notify = notify;
}

void CZoInetBase::SetTimeouts(DWORD connectMs, DWORD stallMs) {
  Locked lock(&m_lock);
  if (connectMs) m_connectMs = connectMs;
  if (stallMs) m_stallMs = stallMs;
}

DWORD CZoInetBase::ConnectTimeoutMs() {
  Locked lock(&m_lock);
  return m_connectMs;
}

DWORD CZoInetBase::StallTimeoutMs() {
  Locked lock(&m_lock);
  return m_stallMs;
}

std::string CZoInetBase::AgentUtf8() {
  Locked lock(&m_lock);
  return vane::platform::ToUtf8(m_agent);
}

bool CZoInetBase::IsInitialized() {
  Locked lock(&m_lock);
  return m_initialized;
}

HRESULT CZoInetBase::InitBase(const WCHAR* agent) {
  Locked lock(&m_lock);
  if (m_initialized) return S_OK;
  m_agent = agent ? agent : u"";
  m_doneEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  m_commandEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  if (m_doneEvent && m_commandEvent) {
    ++m_refs;  // the worker's reference
    m_thread = CreateThread(nullptr, 0, &CZoInetBase::WorkerMain, this, 0, nullptr);
    if (m_thread) {
      m_initialized = true;
      return S_OK;
    }
    --m_refs;
  }
  if (m_doneEvent) CloseHandle(m_doneEvent);
  if (m_commandEvent) CloseHandle(m_commandEvent);
  m_doneEvent = m_commandEvent = nullptr;
  return E_FAIL;
}

DWORD CZoInetBase::WorkerMain(void* self) {
  static_cast<CZoInetBase*>(self)->WorkerLoop();
  return 0;
}

void CZoInetBase::WorkerLoop() {
  void* session = vane::internet::detail::OpenSession();
  if (session) {
    for (;;) {
      WaitForSingleObject(m_commandEvent, INFINITE);
      DWORD command;
      {
        Locked lock(&m_lock);
        command = m_command;
      }
      DWORD detail = 0;
      HRESULT result;
      if (command == ZOINET_CMD_QUIT) {
        result = WorkerProcessCommand(session, command, &detail);
      } else {
        try {
          result = WorkerProcessCommand(session, command, &detail);
        } catch (...) {
          result = E_FAIL;
        }
      }
      // Whether this is the worker's last command is settled before its end is
      // told, so that no command is accepted that no worker would run.
      bool ending;
      {
        Locked lock(&m_lock);
        ending = m_cancel.load() || command == ZOINET_CMD_QUIT;
        if (ending) m_ending = true;
      }
      DoneWithCmd(result, detail);
      if (ending) break;
    }
    WorkerEnding();
    vane::internet::detail::CloseSession(session);
  } else {
    Log("the worker could not open an internet session");
  }
  {
    Locked lock(&m_lock);
    m_ending = true;
  }
  LONG left;
  {
    Locked lock(&m_lock);
    CloseHandle(m_thread);
    m_thread = nullptr;
    left = --m_refs;
  }
  if (left == 0) delete this;
}

HRESULT CZoInetBase::SendCmdToWorker(DWORD command) {
  Locked lock(&m_lock);
  if (!m_initialized || !m_thread || m_ending) return E_FAIL;
  // A cancel given while idle must not end the next command.
  if (!m_busy) m_cancel = false;
  m_busy = true;
  m_command = command;
  m_total = 0;
  m_transferred = 0;
  m_tickLast = 0;
  ResetEvent(m_doneEvent);
  SetEvent(m_commandEvent);
  return S_OK;
}

HRESULT CZoInetBase::QueueCommand(DWORD command, const std::function<void()>& store) {
  Locked lock(&m_lock);
  if (!m_initialized || !m_thread || m_ending) return E_FAIL;
  if (m_busy) return HRESULT_FROM_WIN32(170);  // ERROR_BUSY: one command at a time
  store();
  return SendCmdToWorker(command);
}

void CZoInetBase::DoneWithCmd(HRESULT result, DWORD detail) {
  Locked lock(&m_lock);
  m_busy = false;
  m_result = result;
  m_detail = detail;
  if (m_command != ZOINET_CMD_QUIT) {
    if (m_post) m_post(m_notifyWindow, ZOINET_MSG_REQUEST_DONE, 0, 0);
    if (m_notify) m_notify->OnRequestDone(result, detail);
  }
  SetEvent(m_doneEvent);
}

void CZoInetBase::SetTotalBytesToTransfer(ULONGLONG total) {
  Locked lock(&m_lock);
  m_total = total;
}

void CZoInetBase::TransferProgressUpdate(ULONGLONG count) {
  Locked lock(&m_lock);
  m_transferred += count;
  if (m_post) m_post(m_notifyWindow, ZOINET_MSG_TRANSFER_PROGRESS, 0, 0);
  if (m_notify) m_notify->OnTransferProgress(count);
  SetEvent(m_doneEvent);
}

bool CZoInetBase::TransferTick(ULONGLONG total, ULONGLONG now) {
  ULONGLONG moved = 0;
  {
    Locked lock(&m_lock);
    if (total && total != m_total) m_total = total;
    if (now > m_tickLast) {
      moved = now - m_tickLast;
      m_tickLast = now;
    }
  }
  if (moved) TransferProgressUpdate(moved);
  return !m_cancel.load();
}

ULONGLONG CZoInetBase::GetTotalBytesToTransfer() {
  Locked lock(&m_lock);
  return m_total;
}

ULONGLONG CZoInetBase::GetBytesTransferred() {
  Locked lock(&m_lock);
  return m_transferred;
}

HRESULT CZoInetBase::WaitForRequestStatusChange(DWORD timeoutMs) {
  HANDLE done;
  {
    Locked lock(&m_lock);
    if (!m_initialized) return E_FAIL;
    if (!m_busy) return S_OK;
    done = m_doneEvent;
  }
  const DWORD r = WaitForSingleObject(done, timeoutMs);
  if (r == WAIT_OBJECT_0) return S_OK;
  if (r == WAIT_TIMEOUT) return ZOINET_E_TIMEOUT;
  return E_FAIL;
}

// A progress update signals the same event as the end of a command, so the
// wait goes on with the time left until the busy flag is clear.
HRESULT CZoInetBase::WaitForRequestCompletion(DWORD timeoutMs) {
  HANDLE done;
  {
    Locked lock(&m_lock);
    if (!m_initialized) return E_FAIL;
    if (!m_busy) return S_OK;
    done = m_doneEvent;
  }
  const LONGLONG start = NowMs();
  DWORD left = timeoutMs;
  for (;;) {
    const DWORD r = WaitForSingleObject(done, left);
    if (r == WAIT_TIMEOUT) return ZOINET_E_TIMEOUT;
    if (r != WAIT_OBJECT_0) return E_FAIL;
    {
      Locked lock(&m_lock);
      if (!m_busy) return S_OK;
    }
    if (timeoutMs == INFINITE) continue;
    const LONGLONG waited = NowMs() - start;
    if (waited >= static_cast<LONGLONG>(timeoutMs)) return ZOINET_E_TIMEOUT;
    left = static_cast<DWORD>(timeoutMs - waited);
  }
}

HRESULT CZoInetBase::GetRequestResult(HRESULT* result, DWORD* detail) {
  Locked lock(&m_lock);
  if (result) *result = m_result;
  if (detail) *detail = m_detail;
  return S_OK;
}

HRESULT CZoInetBase::CancelRequest() {
  Locked lock(&m_lock);
  if (!m_initialized) return E_FAIL;
  Log("request cancelled by the caller");
  m_cancel = true;
  return S_OK;
}

HRESULT CZoInetBase::GetTransferStatus(ULONGLONG* total, ULONGLONG* transferred, BOOL* busy) {
  Locked lock(&m_lock);
  if (total) *total = m_total;
  if (transferred) *transferred = m_transferred;
  if (busy) *busy = m_busy ? TRUE : FALSE;
  return S_OK;
}

HRESULT CZoInetBase::CaptureResponseAndErrorInfo(const std::string& what, DWORD detail) {
  Log(what + " GLE=" + std::to_string(detail));
  return vane::internet::detail::StatusForError(detail);
}

void CZoInetBase::Log(std::string line) {
  Locked lock(&m_lock);
  if (m_log.size() == kMaxLogLines) m_log.erase(m_log.begin());
  m_log.push_back(std::move(line));
}

std::vector<std::string> CZoInetBase::GetLogLines() {
  Locked lock(&m_lock);
  return m_log;
}
