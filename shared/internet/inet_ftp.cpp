// SPDX-License-Identifier: MIT
#include "shared/internet/inet_ftp.h"

#include <curl/curl.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <new>

#include "platform/wtext.h"
#include "shared/internet/detail/curl_session.h"

namespace dt = vane::internet::detail;

namespace {

std::string Utf8(const WCHAR* text) { return text ? vane::platform::ToUtf8(std::u16string_view(text)) : std::string(); }

size_t Discard(char*, size_t size, size_t count, void*) { return size * count; }

size_t CollectText(char* data, size_t size, size_t count, void* target) {
  auto* text = static_cast<std::string*>(target);
  // A listing is text; one beyond 64 MB is refused rather than held.
  if (text->size() + size * count > (64u << 20)) return 0;
  text->append(data, size * count);
  return size * count;
}

}  // namespace

bool ZoInetParseMachineListingLine(const std::string& line, std::string* name, ULONGLONG* size, bool* isDirectory) {
  const size_t space = line.find(' ');
  if (space == std::string::npos || space + 1 >= line.size()) return false;
  std::string n = line.substr(space + 1);
  while (!n.empty() && (n.back() == '\r' || n.back() == '\n')) n.pop_back();
  if (n.empty()) return false;
  bool dir = false;
  bool skip = false;
  ULONGLONG bytes = 0;
  size_t start = 0;
  while (start < space) {
    size_t end = line.find(';', start);
    if (end == std::string::npos || end > space) end = space;
    const std::string fact = line.substr(start, end - start);
    const size_t eq = fact.find('=');
    if (eq != std::string::npos) {
      std::string key = fact.substr(0, eq);
      for (char& c : key) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
      std::string value = fact.substr(eq + 1);
      for (char& c : value) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
      if (key == "type") {
        dir = value == "dir";
        skip = value == "cdir" || value == "pdir";
      } else if (key == "size") {
        bytes = 0;
        for (char c : value) {
          if (c < '0' || c > '9' || bytes > (~0ULL - 9) / 10) return false;
          bytes = bytes * 10 + static_cast<ULONGLONG>(c - '0');
        }
      }
    }
    start = end + 1;
  }
  if (skip || n == "." || n == "..") return false;
  *name = n;
  *size = bytes;
  *isDirectory = dir;
  return true;
}

HRESULT CZoInetFtp::CreateInstance(CZoInetFtp** out) {
  if (!out) return E_POINTER;
  *out = new (std::nothrow) CZoInetFtp();
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZoInetFtpKLIPR::CreateInstance(CZoInetFtpKLIPR** out) {
  if (!out) return E_POINTER;
  *out = new (std::nothrow) CZoInetFtpKLIPR();
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZoInetFtp::Init(const WCHAR* agent, const WCHAR* host, const WCHAR* user, const WCHAR* password) {
  if (!host || !*host) return E_INVALIDARG;
  EnterCriticalSection(&m_lock);
  m_host = host;
  m_user = user ? user : u"anonymous";
  m_password = password ? password : u"";
  LeaveCriticalSection(&m_lock);
  return InitBase(agent);
}

HRESULT CZoInetFtp::Queue(DWORD command, Request request) {
  return QueueCommand(command, [&] { m_request = std::move(request); });
}

HRESULT CZoInetFtp::PutFile(const WCHAR* localPath, const WCHAR* remotePath) {
  if (!localPath || !remotePath) return E_POINTER;
  return Queue(ZOINET_CMD_FTP_PUT, {Utf8(remotePath), Utf8(localPath)});
}

HRESULT CZoInetFtp::GetFile(const WCHAR* remotePath, const WCHAR* localPath) {
  if (!localPath || !remotePath) return E_POINTER;
  return Queue(ZOINET_CMD_FTP_GET, {Utf8(remotePath), Utf8(localPath)});
}

HRESULT CZoInetFtpKLIPR::GetPartialFile(const WCHAR* remotePath, const WCHAR* localPath, ULONGLONG offset,
                                        ULONGLONG length) {
  if (!localPath || !remotePath) return E_POINTER;
  if (length == 0 || offset + length < offset) return E_INVALIDARG;
  Request r{Utf8(remotePath), Utf8(localPath)};
  r.offset = offset;
  r.length = length;
  return Queue(ZOINET_CMD_FTP_GET, std::move(r));
}

HRESULT CZoInetFtp::CreateDirectoryW(const WCHAR* remotePath) {
  if (!remotePath) return E_POINTER;
  return Queue(ZOINET_CMD_FTP_MKDIR, {Utf8(remotePath), {}});
}

HRESULT CZoInetFtp::RemoveDirectoryW(const WCHAR* remotePath) {
  if (!remotePath) return E_POINTER;
  return Queue(ZOINET_CMD_FTP_RMDIR, {Utf8(remotePath), {}});
}

HRESULT CZoInetFtp::DeleteFileW(const WCHAR* remotePath) {
  if (!remotePath) return E_POINTER;
  return Queue(ZOINET_CMD_FTP_DELETE, {Utf8(remotePath), {}});
}

HRESULT CZoInetFtp::GetFileSizeInBytes(const WCHAR* remotePath, ULONGLONG* size) {
  if (!remotePath || !size) return E_POINTER;
  Request r{Utf8(remotePath), {}};
  r.size = size;
  return Queue(ZOINET_CMD_FTP_SIZE, std::move(r));
}

HRESULT CZoInetFtp::EnumDirectoryFiles(const WCHAR* remotePath) {
  return Queue(ZOINET_CMD_FTP_ENUM, {Utf8(remotePath), {}});
}

DWORD CZoInetFtp::GetDirectoryEntryCount() {
  EnterCriticalSection(&m_lock);
  const DWORD n = static_cast<DWORD>(m_entries.size());
  LeaveCriticalSection(&m_lock);
  return n;
}

HRESULT CZoInetFtp::GetDirectoryEntry(DWORD index, std::u16string* name, ULONGLONG* size, BOOL* isDirectory) {
  EnterCriticalSection(&m_lock);
  HRESULT hr = E_INVALIDARG;
  if (index < m_entries.size()) {
    const Entry& e = m_entries[index];
    if (name) *name = e.name;
    if (size) *size = e.size;
    if (isDirectory) *isDirectory = e.directory ? TRUE : FALSE;
    hr = S_OK;
  }
  LeaveCriticalSection(&m_lock);
  return hr;
}

bool CZoInetFtp::Tick(void* self, ULONGLONG total, ULONGLONG now) {
  return static_cast<CZoInetFtp*>(self)->TransferTick(total, now);
}

// "ftp://host/relative" is relative to the login folder; an absolute remote
// path is sent as "%2F..." so the server starts from its root.
std::string CZoInetFtp::Url(void* handle, const std::string& remote) const {
  std::string url = "ftp://" + vane::platform::ToUtf8(m_host) + "/";
  if (!remote.empty() && remote[0] == '/') url += "%2F" + dt::EscapePath(static_cast<CURL*>(handle), remote.substr(1));
  else url += dt::EscapePath(static_cast<CURL*>(handle), remote);
  return url;
}

void CZoInetFtp::Prepare(void* handle, dt::ProgressSink* sink, bool upload) {
  CURL* curl = static_cast<CURL*>(handle);
  *sink = {&CZoInetFtp::Tick, this, upload};
  dt::PrepareHandle(curl, {AgentUtf8(), ConnectTimeoutMs(), StallTimeoutMs()}, sink);
  curl_easy_setopt(curl, CURLOPT_USERNAME, vane::platform::ToUtf8(m_user).c_str());
  curl_easy_setopt(curl, CURLOPT_PASSWORD, vane::platform::ToUtf8(m_password).c_str());
  curl_easy_setopt(curl, CURLOPT_FTP_USE_EPSV, 1L);
}

HRESULT CZoInetFtp::Finish(void* handle, int code, const std::string& what, DWORD* detail) {
  if (code == CURLE_OK) return S_OK;
  *detail = dt::ErrorForCurl(static_cast<CURLcode>(code));
  (void)handle;
  return CaptureResponseAndErrorInfo(what + " failed (" + curl_easy_strerror(static_cast<CURLcode>(code)) + ")", *detail);
}

HRESULT CZoInetFtp::WorkerProcessCommand(void* handle, DWORD command, DWORD* detail) {
  Request r;
  EnterCriticalSection(&m_lock);
  r = m_request;
  LeaveCriticalSection(&m_lock);
  switch (command) {
    case ZOINET_CMD_QUIT:
      // Ends the logged-in connection; the worker's handle goes with it.
      curl_easy_reset(static_cast<CURL*>(handle));
      return S_OK;
    case ZOINET_CMD_FTP_PUT: return PutFileWorker(handle, r, detail);
    case ZOINET_CMD_FTP_GET: return GetFileWorker(handle, r, detail);
    case ZOINET_CMD_FTP_SIZE: return GetFileSizeWorker(handle, r, detail);
    case ZOINET_CMD_FTP_ENUM: return EnumDirectoryWorker(handle, r, detail);
    case ZOINET_CMD_FTP_MKDIR: return CreateOrRemoveDirectoryWorker(handle, r, true, detail);
    case ZOINET_CMD_FTP_RMDIR: return CreateOrRemoveDirectoryWorker(handle, r, false, detail);
    case ZOINET_CMD_FTP_DELETE: return DeleteFileWorker(handle, r, detail);
    default: return E_FAIL;
  }
}

HRESULT CZoInetFtp::PutFileWorker(void* handle, const Request& r, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(r.local.c_str(), "rb"), &fclose);
  struct stat st {};
  if (!file || fstat(fileno(file.get()), &st) != 0) {
    *detail = dt::kErrFileNotFound;
    return CaptureResponseAndErrorInfo("cannot read " + r.local, *detail);
  }
  dt::ProgressSink sink;
  Prepare(handle, &sink, true);
  SetTotalBytesToTransfer(static_cast<ULONGLONG>(st.st_size));
  curl_easy_setopt(curl, CURLOPT_URL, Url(handle, r.remote).c_str());
  curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(curl, CURLOPT_READFUNCTION, &dt::CurlReadFile);
  curl_easy_setopt(curl, CURLOPT_READDATA, file.get());
  curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(st.st_size));
  return Finish(handle, curl_easy_perform(curl), "FtpPutFile to " + r.remote, detail);
}

HRESULT CZoInetFtp::GetFileWorker(void* handle, const Request& r, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  dt::BesideFile file;
  if (!file.Open(r.local)) {
    *detail = dt::kErrWriteFault;
    return CaptureResponseAndErrorInfo("cannot write beside " + r.local, *detail);
  }
  dt::ProgressSink sink;
  Prepare(handle, &sink, false);
  curl_easy_setopt(curl, CURLOPT_URL, Url(handle, r.remote).c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &dt::BesideFile::CurlWrite);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &file);
  std::string range;
  if (r.length) {
    range = std::to_string(r.offset) + "-" + std::to_string(r.offset + r.length - 1);
    curl_easy_setopt(curl, CURLOPT_RANGE, range.c_str());
  }
  const HRESULT hr = Finish(handle, curl_easy_perform(curl), "FtpGetFile of " + r.remote, detail);
  if (FAILED(hr)) return hr;
  if (!file.Commit()) {
    *detail = dt::kErrWriteFault;
    return CaptureResponseAndErrorInfo("cannot move the download into " + r.local, *detail);
  }
  return S_OK;
}

HRESULT CZoInetFtp::GetFileSizeWorker(void* handle, const Request& r, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  dt::ProgressSink sink;
  Prepare(handle, &sink, false);
  curl_easy_setopt(curl, CURLOPT_URL, Url(handle, r.remote).c_str());
  curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Discard);
  const HRESULT hr = Finish(handle, curl_easy_perform(curl), "FtpGetFileSize of " + r.remote, detail);
  if (FAILED(hr)) return hr;
  curl_off_t length = -1;
  curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  if (length < 0) {
    *detail = dt::kErrExtended;
    return CaptureResponseAndErrorInfo("the server gave no size for " + r.remote, *detail);
  }
  *r.size = static_cast<ULONGLONG>(length);
  return S_OK;
}

HRESULT CZoInetFtp::EnumDirectoryWorker(void* handle, const Request& r, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  std::string folder = r.remote;
  if (!folder.empty() && folder.back() != '/') folder += '/';
  std::string text;
  dt::ProgressSink sink;
  Prepare(handle, &sink, false);
  curl_easy_setopt(curl, CURLOPT_URL, Url(handle, folder).c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "MLSD");
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &CollectText);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &text);
  const HRESULT hr = Finish(handle, curl_easy_perform(curl), "FtpFindFirstFile in " + folder, detail);
  std::vector<Entry> entries;
  if (SUCCEEDED(hr)) {
    size_t start = 0;
    while (start < text.size()) {
      size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      std::string name;
      Entry e;
      if (ZoInetParseMachineListingLine(text.substr(start, end - start), &name, &e.size, &e.directory)) {
        e.name = vane::platform::FromUtf8(name);
        entries.push_back(std::move(e));
      }
      start = end + 1;
    }
  }
  EnterCriticalSection(&m_lock);
  m_entries = std::move(entries);
  LeaveCriticalSection(&m_lock);
  return hr;
}

HRESULT CZoInetFtp::QuoteWorker(void* handle, const std::string& command, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  dt::ProgressSink sink;
  Prepare(handle, &sink, false);
  curl_slist* quote = curl_slist_append(nullptr, command.c_str());
  if (!quote) return E_OUTOFMEMORY;
  curl_easy_setopt(curl, CURLOPT_URL, Url(handle, "").c_str());
  curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Discard);
  // After the login folder is current again (a reused connection may stand
  // in the folder of the last command), so relative paths mean the same.
  curl_easy_setopt(curl, CURLOPT_POSTQUOTE, quote);
  const CURLcode code = curl_easy_perform(curl);
  curl_easy_setopt(curl, CURLOPT_POSTQUOTE, nullptr);
  curl_slist_free_all(quote);
  return Finish(handle, code, command, detail);
}

HRESULT CZoInetFtp::CreateOrRemoveDirectoryWorker(void* handle, const Request& r, bool create, DWORD* detail) {
  return QuoteWorker(handle, (create ? "MKD " : "RMD ") + r.remote, detail);
}

HRESULT CZoInetFtp::DeleteFileWorker(void* handle, const Request& r, DWORD* detail) {
  return QuoteWorker(handle, "DELE " + r.remote, detail);
}
