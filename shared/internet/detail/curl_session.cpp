// SPDX-License-Identifier: MIT
#include "shared/internet/detail/curl_session.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

namespace vane::internet::detail {

void* OpenSession() {
  static std::once_flag once;
  static bool ready = false;
  std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
  return ready ? curl_easy_init() : nullptr;
}

void CloseSession(void* session) { curl_easy_cleanup(static_cast<CURL*>(session)); }

DWORD ErrorForCurl(CURLcode code) {
  switch (code) {
    case CURLE_OK: return 0;
    case CURLE_OPERATION_TIMEDOUT: return kErrTimeout;
    case CURLE_UNSUPPORTED_PROTOCOL: return kErrUnknownScheme;
    case CURLE_URL_MALFORMAT: return kErrInvalidUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return kErrNameNotResolved;
    case CURLE_COULDNT_CONNECT: return kErrCannotConnect;
    case CURLE_LOGIN_DENIED: return kErrBadPassword;
    case CURLE_ABORTED_BY_CALLBACK: return kErrCancelled;
    case CURLE_WRITE_ERROR: return kErrWriteFault;
    case CURLE_READ_ERROR: return kErrReadFault;
    case CURLE_FILE_COULDNT_READ_FILE: return kErrFileNotFound;
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_FTP_ACCEPT_TIMEOUT: return kErrConnectionAborted;
    case CURLE_REMOTE_FILE_NOT_FOUND:
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_QUOTE_ERROR:
    case CURLE_UPLOAD_FAILED:
    case CURLE_FTP_COULDNT_RETR_FILE:
    case CURLE_FTP_COULDNT_SET_TYPE:
    case CURLE_BAD_DOWNLOAD_RESUME:
    case CURLE_RANGE_ERROR:
    case CURLE_WEIRD_SERVER_REPLY: return kErrExtended;
    default: return kErrInternal;
  }
}

HRESULT StatusForError(DWORD error) {
  if (error == 0) return S_OK;
  if (error == kErrTimeout) return MakeStatus(0x8004E02C);
  if (error == kErrCancelled) return E_ABORT;
  return HRESULT_FROM_WIN32(error);
}

namespace {

int XferInfo(void* self, curl_off_t dlTotal, curl_off_t dlNow, curl_off_t ulTotal, curl_off_t ulNow) {
  auto* sink = static_cast<ProgressSink*>(self);
  const curl_off_t total = sink->upload ? ulTotal : dlTotal;
  const curl_off_t now = sink->upload ? ulNow : dlNow;
  const bool go = sink->tick(sink->context, total > 0 ? static_cast<ULONGLONG>(total) : 0,
                             now > 0 ? static_cast<ULONGLONG>(now) : 0);
  return go ? 0 : 1;
}

}  // namespace

void PrepareHandle(CURL* curl, const TransferSettings& settings, ProgressSink* progress) {
  curl_easy_reset(curl);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, settings.agent.c_str());
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectMs));
  // A transfer that moves nothing for the stall time ends with a time-out.
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings.stallMs < 1000 ? 1 : settings.stallMs / 1000));
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https,ftp,ftps");
  // VANE_INET_TRACE=1 shows the protocol exchange on standard error.
  static const bool trace = [] {
    const char* v = std::getenv("VANE_INET_TRACE");
    return v && *v == '1';
  }();
  if (trace) curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
  if (progress) {
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &XferInfo);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, progress);
  }
}

bool BesideFile::Open(const std::string& target) {
  Abandon();
  m_target = target;
  m_temp = target + ".partXXXXXX";
  const int fd = mkstemp(m_temp.data());
  if (fd < 0) {
    m_temp.clear();
    return false;
  }
  m_file = fdopen(fd, "wb");
  if (!m_file) {
    close(fd);
    unlink(m_temp.c_str());
    m_temp.clear();
    return false;
  }
  m_failed = false;
  return true;
}

bool BesideFile::Write(const void* data, size_t size) {
  if (!m_file || m_failed) return false;
  if (size && fwrite(data, 1, size, m_file) != size) m_failed = true;
  return !m_failed;
}

size_t BesideFile::CurlWrite(char* data, size_t size, size_t count, void* self) {
  return static_cast<BesideFile*>(self)->Write(data, size * count) ? size * count : 0;
}

bool BesideFile::Commit() {
  if (!m_file) return false;
  bool ok = !m_failed && fflush(m_file) == 0 && fsync(fileno(m_file)) == 0;
  ok = (fclose(m_file) == 0) && ok;
  m_file = nullptr;
  if (ok) ok = rename(m_temp.c_str(), m_target.c_str()) == 0;
  if (!ok) unlink(m_temp.c_str());
  m_temp.clear();
  return ok;
}

void BesideFile::Abandon() {
  if (m_file) {
    fclose(m_file);
    m_file = nullptr;
  }
  if (!m_temp.empty()) {
    unlink(m_temp.c_str());
    m_temp.clear();
  }
}

size_t CurlReadFile(char* buffer, size_t size, size_t count, void* file) {
  const size_t got = fread(buffer, 1, size * count, static_cast<FILE*>(file));
  if (got == 0 && ferror(static_cast<FILE*>(file))) return CURL_READFUNC_ABORT;
  return got;
}

std::string EscapePath(CURL* curl, const std::string& path) {
  std::string out;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (char* part = curl_easy_escape(curl, path.data() + start, static_cast<int>(end - start))) {
      out += part;
      curl_free(part);
    }
    if (end == path.size()) break;
    out += '/';
    start = end + 1;
  }
  return out;
}

}  // namespace vane::internet::detail
