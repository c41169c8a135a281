// SPDX-License-Identifier: MIT
// What the internet classes share over libcurl's easy interface: one easy
// handle per worker (its connection cache keeps FTP logins and HTTP
// keep-alives between commands), the settings every transfer gets, the
// mapping of libcurl results to internet error numbers and statuses, and the
// file a download writes beside its target.
#pragma once

#include <curl/curl.h>

#include <cstdio>
#include <string>

#include "platform/status.h"
#include "platform/types.h"

namespace vane::internet::detail {

// Internet error numbers a request can end with (the detail of a result).
inline constexpr DWORD kErrTimeout = 12002;
inline constexpr DWORD kErrExtended = 12003;  // the server refused (FTP reply)
inline constexpr DWORD kErrInternal = 12004;
inline constexpr DWORD kErrInvalidUrl = 12005;
inline constexpr DWORD kErrUnknownScheme = 12006;
inline constexpr DWORD kErrNameNotResolved = 12007;
inline constexpr DWORD kErrBadPassword = 12014;
inline constexpr DWORD kErrCancelled = 12017;
inline constexpr DWORD kErrCannotConnect = 12029;
inline constexpr DWORD kErrConnectionAborted = 12030;
inline constexpr DWORD kErrWriteFault = 29;
inline constexpr DWORD kErrReadFault = 30;
inline constexpr DWORD kErrFileNotFound = 2;

void* OpenSession();
void CloseSession(void* session);

DWORD ErrorForCurl(CURLcode code);
// The status of a request that ended with `error`: the family's time-out
// status, E_ABORT for a cancel, otherwise the error number as a Win32 status.
HRESULT StatusForError(DWORD error);

// Running totals of a transfer go to `tick`; returning false cancels it.
struct ProgressSink {
  bool (*tick)(void* context, ULONGLONG total, ULONGLONG now) = nullptr;
  void* context = nullptr;
  bool upload = false;
};

struct TransferSettings {
  std::string agent;
  DWORD connectMs = 15000;
  DWORD stallMs = 30000;
};

// Resets the handle (keeping its connections) and applies the settings every
// transfer shares: no signals, time-outs, agent, progress.
void PrepareHandle(CURL* curl, const TransferSettings& settings, ProgressSink* progress);

// Writes beside a target file and moves into place only on Commit; anything
// else removes the partial file and leaves an existing target untouched.
class BesideFile {
 public:
  BesideFile() = default;
  ~BesideFile() { Abandon(); }
  BesideFile(const BesideFile&) = delete;
  BesideFile& operator=(const BesideFile&) = delete;

  bool Open(const std::string& target);
  bool Write(const void* data, size_t size);
  bool Commit();
  void Abandon();
  static size_t CurlWrite(char* data, size_t size, size_t count, void* self);

 private:
  std::string m_target;
  std::string m_temp;
  FILE* m_file = nullptr;
  bool m_failed = false;
};

// Streams a local file as a request body.
size_t CurlReadFile(char* buffer, size_t size, size_t count, void* file);

// Percent-escapes a remote path for a URL, keeping '/' as the separator.
std::string EscapePath(CURL* curl, const std::string& path);

}  // namespace vane::internet::detail
