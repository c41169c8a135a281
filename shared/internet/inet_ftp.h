// SPDX-License-Identifier: MIT
// CZoInetFtp: FTP commands on the object's worker thread, over one
// connection that stays logged in between commands. Remote paths are relative
// to the login folder unless they start with '/'. Outputs given by pointer
// (file size) must stay valid until the request has ended; the listing of
// EnumDirectoryFiles is read from the object afterwards. CZoInetFtpKLIPR adds
// the partial get of a byte range.
#pragma once

#include <string>
#include <vector>

#include "shared/internet/inet_base.h"

namespace vane::internet::detail {
struct ProgressSink;
}

class VANE_EXPORT CZoInetFtp : public CZoInetBase {
 public:
  static HRESULT CreateInstance(CZoInetFtp** out);

  // Host may carry a port ("host:2121").
  HRESULT Init(const WCHAR* agent, const WCHAR* host, const WCHAR* user, const WCHAR* password);
  HRESULT PutFile(const WCHAR* localPath, const WCHAR* remotePath);
  // Written beside the local file and moved into place only when complete.
  HRESULT GetFile(const WCHAR* remotePath, const WCHAR* localPath);
  HRESULT CreateDirectoryW(const WCHAR* remotePath);
  HRESULT RemoveDirectoryW(const WCHAR* remotePath);
  HRESULT DeleteFileW(const WCHAR* remotePath);
  HRESULT GetFileSizeInBytes(const WCHAR* remotePath, ULONGLONG* size);
  HRESULT EnumDirectoryFiles(const WCHAR* remotePath);

  // The listing of the last EnumDirectoryFiles.
  DWORD GetDirectoryEntryCount();
  HRESULT GetDirectoryEntry(DWORD index, std::u16string* name, ULONGLONG* size, BOOL* isDirectory);

  const WCHAR* GetHostname() const { return m_host.c_str(); }
  const WCHAR* GetUsername() const { return m_user.c_str(); }
  const WCHAR* GetPassword() const { return m_password.c_str(); }

 protected:
  CZoInetFtp() = default;
  ~CZoInetFtp() override = default;
  HRESULT WorkerProcessCommand(void* handle, DWORD command, DWORD* detail) override;

  struct Request {
    std::string remote;
    std::string local;
    ULONGLONG* size = nullptr;
    ULONGLONG offset = 0;
    ULONGLONG length = 0;  // 0: the whole file
  };
  HRESULT Queue(DWORD command, Request request);

 private:
  struct Entry {
    std::u16string name;
    ULONGLONG size = 0;
    bool directory = false;
  };
  std::string Url(void* handle, const std::string& remote) const;
  void Prepare(void* handle, vane::internet::detail::ProgressSink* sink, bool upload);
  HRESULT Finish(void* handle, int code, const std::string& what, DWORD* detail);
  HRESULT PutFileWorker(void* handle, const Request& r, DWORD* detail);
  HRESULT GetFileWorker(void* handle, const Request& r, DWORD* detail);
  HRESULT GetFileSizeWorker(void* handle, const Request& r, DWORD* detail);
  HRESULT EnumDirectoryWorker(void* handle, const Request& r, DWORD* detail);
  HRESULT CreateOrRemoveDirectoryWorker(void* handle, const Request& r, bool create, DWORD* detail);
  HRESULT DeleteFileWorker(void* handle, const Request& r, DWORD* detail);
  HRESULT QuoteWorker(void* handle, const std::string& command, DWORD* detail);
  static bool Tick(void* self, ULONGLONG total, ULONGLONG now);

  std::u16string m_host;
  std::u16string m_user;
  std::u16string m_password;
  Request m_request;
  std::vector<Entry> m_entries;
};

class VANE_EXPORT CZoInetFtpKLIPR : public CZoInetFtp {
 public:
  static HRESULT CreateInstance(CZoInetFtpKLIPR** out);
  // Gets `length` bytes from `offset` of a remote file.
  HRESULT GetPartialFile(const WCHAR* remotePath, const WCHAR* localPath, ULONGLONG offset, ULONGLONG length);

 private:
  CZoInetFtpKLIPR() = default;
  ~CZoInetFtpKLIPR() override = default;
};

// Parses one line of a machine listing ("type=file;size=12; name").
bool ZoInetParseMachineListingLine(const std::string& line, std::string* name, ULONGLONG* size, bool* isDirectory);
