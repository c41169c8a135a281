// SPDX-License-Identifier: MIT
// CZoInetBase: one internet request at a time on a worker thread of the
// object's own. A caller issues a command, then learns of its end by a notify
// "window" (a host-set callback standing in for posted window messages), by a
// callback object, or by waiting. Objects are reference counted; the worker
// holds one reference, so an object outlives its owner's Release until the
// worker has ended.
//
// Threads: every public member may be called from any thread. The object's
// lock guards the command fields and the counters; the worker is the only
// thread that runs transfers.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/status.h"
#include "platform/sync.h"
#include "platform/types.h"

// Messages posted to the notify window: a request ended; transfer progress.
inline constexpr UINT ZOINET_MSG_REQUEST_DONE = 3840;
inline constexpr UINT ZOINET_MSG_TRANSFER_PROGRESS = 3841;

// Command numbers, shared across the classes.
enum : DWORD {
  ZOINET_CMD_QUIT = 100,
  ZOINET_CMD_FTP_PUT = 101,
  ZOINET_CMD_FTP_GET = 102,
  ZOINET_CMD_FTP_SIZE = 103,
  ZOINET_CMD_FTP_ENUM = 104,
  ZOINET_CMD_FTP_MKDIR = 106,
  ZOINET_CMD_FTP_RMDIR = 107,
  ZOINET_CMD_FTP_DELETE = 108,
  ZOINET_CMD_HTTP_GET = 109,
  ZOINET_CMD_HTTP_POST = 110,
  ZOINET_CMD_HTTP_POST_MULTIPART = 111,
};

// A request timed out (the wait, or the transfer itself).
inline constexpr HRESULT ZOINET_E_TIMEOUT = MakeStatus(0x8004E02C);

// Stand-in for posting a window message: called with the window value the
// host gave, the message number and two zero parameters.
using ZoInetPostMessageProc = void (*)(void* window, UINT message, WPARAM wParam, LPARAM lParam);

// The callback object's two operations: progress (bytes moved since the last
// call) and the end of a request with its result and detail.
struct IZoInetRequestNotify {
  virtual void OnTransferProgress(ULONGLONG bytes) = 0;
  virtual void OnRequestDone(HRESULT result, DWORD detail) = 0;
};

class VANE_EXPORT CZoInetBase {
 public:
  CZoInetBase(const CZoInetBase&) = delete;
  CZoInetBase& operator=(const CZoInetBase&) = delete;

  ULONG AddRef();
  ULONG Release();

  void SetRequestNotifyWindow(void* window, ZoInetPostMessageProc post);
  void SetRequestNotify(IZoInetRequestNotify* notify);
  HRESULT WaitForRequestStatusChange(DWORD timeoutMs);
  HRESULT WaitForRequestCompletion(DWORD timeoutMs);
  // Result and detail of the last request (detail: the internet error
  // number, or the HTTP status for HTTP answers of 400 and above).
  HRESULT GetRequestResult(HRESULT* result, DWORD* detail);
  HRESULT CancelRequest();
  // Bytes to transfer (0 when unknown), bytes transferred, and whether a
  // command is under way.
  HRESULT GetTransferStatus(ULONGLONG* total, ULONGLONG* transferred, BOOL* busy);

  // Transfer limits of the following commands: connect time-out, and the time
  // the transfer may go without moving a byte. 0 keeps the default.
  void SetTimeouts(DWORD connectMs, DWORD stallMs);

  // Lines the object wrote to its log (failures, cancels), oldest first.
  std::vector<std::string> GetLogLines();

  // Objects alive in this process (the worker holds each until it ends).
  static LONG LiveObjectCount();

 protected:
  CZoInetBase();
  virtual ~CZoInetBase();

  HRESULT InitBase(const WCHAR* agent);
  HRESULT SendCmdToWorker(DWORD command);
  // Under the lock: refuses while a command is under way (ERROR_BUSY), else
  // lets `store` keep the command's arguments and sends the command.
  HRESULT QueueCommand(DWORD command, const std::function<void()>& store);
  void DoneWithCmd(HRESULT result, DWORD detail);
  // Runs one command on the worker; `handle` is the worker's session value.
  virtual HRESULT WorkerProcessCommand(void* handle, DWORD command, DWORD* detail) = 0;
  // Called on the worker before it ends (closes per-worker connections).
  virtual void WorkerEnding() {}

  void SetTotalBytesToTransfer(ULONGLONG total);
  void TransferProgressUpdate(ULONGLONG count);
  ULONGLONG GetTotalBytesToTransfer();
  ULONGLONG GetBytesTransferred();
  // Feeds a transfer's running totals (total 0 when unknown): sets the total,
  // reports the bytes moved since the last tick. False when cancelled.
  bool TransferTick(ULONGLONG total, ULONGLONG now);
  // Writes a failure's text to the log and returns the status for `detail`.
  HRESULT CaptureResponseAndErrorInfo(const std::string& what, DWORD detail);
  void Log(std::string line);

  bool CancelRequested() const { return m_cancel.load(); }
  bool IsInitialized();
  DWORD ConnectTimeoutMs();
  DWORD StallTimeoutMs();
  std::string AgentUtf8();

  CRITICAL_SECTION m_lock;

 private:
  static DWORD WorkerMain(void* self);
  void WorkerLoop();

  HRESULT m_result = S_OK;
  DWORD m_detail = 0;
  void* m_notifyWindow = nullptr;
  ZoInetPostMessageProc m_post = nullptr;
  IZoInetRequestNotify* m_notify = nullptr;
  HANDLE m_doneEvent = nullptr;
  HANDLE m_commandEvent = nullptr;
  std::atomic<bool> m_cancel{false};
  bool m_busy = false;
  DWORD m_command = 0;
  std::atomic<LONG> m_refs{1};
  std::u16string m_agent;
  bool m_initialized = false;
  HANDLE m_thread = nullptr;
  bool m_ending = false;  // the worker runs no further command
  ULONGLONG m_total = 0;
  ULONGLONG m_transferred = 0;
  ULONGLONG m_tickLast = 0;
  DWORD m_connectMs = 15000;
  DWORD m_stallMs = 30000;
  std::vector<std::string> m_log;
};
