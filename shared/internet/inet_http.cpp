// SPDX-License-Identifier: MIT
#include "shared/internet/inet_http.h"

#include <curl/curl.h>

#include <memory>
#include <new>
#include <random>

#include "platform/wtext.h"
#include "shared/internet/detail/curl_session.h"
#include "shared/internet/multipart.h"

namespace dt = vane::internet::detail;

namespace {

std::string Utf8(const WCHAR* text) { return text ? vane::platform::ToUtf8(std::u16string_view(text)) : std::string(); }

struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Slist = std::unique_ptr<curl_slist, SlistDeleter>;

void Append(Slist& list, const std::string& line) {
  if (curl_slist* grown = curl_slist_append(list.get(), line.c_str())) {
    list.release();
    list.reset(grown);
  }
}

// Collects the header block of the final response (a redirect or an interim
// answer starts a new block).
size_t CollectHeader(char* data, size_t size, size_t count, void* target) {
  auto* headers = static_cast<std::string*>(target);
  const std::string_view line(data, size * count);
  if (line.rfind("HTTP/", 0) == 0) headers->clear();
  headers->append(line);
  return size * count;
}

size_t CollectBody(char* data, size_t size, size_t count, void* target) {
  try {
    auto* buffer = static_cast<std::vector<BYTE>*>(target);
    buffer->insert(buffer->end(), reinterpret_cast<BYTE*>(data), reinterpret_cast<BYTE*>(data) + size * count);
    return size * count;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// Checks the URL's form and scheme before anything goes on the wire.
DWORD CrackURLApart(const std::string& url) {
  CURLU* parts = curl_url();
  if (!parts) return dt::kErrInternal;
  DWORD error = 0;
  char* scheme = nullptr;
  if (curl_url_set(parts, CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
    error = dt::kErrInvalidUrl;
  } else if (curl_url_get(parts, CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) {
    error = dt::kErrInvalidUrl;
  } else if (std::string_view(scheme) != "http" && std::string_view(scheme) != "https") {
    error = dt::kErrUnknownScheme;
  }
  curl_free(scheme);
  curl_url_cleanup(parts);
  return error;
}

}  // namespace

const BYTE* CZoInetHttpResponse::GetResponseBuffer(SIZE_T* size) const {
  if (size) *size = m_buffer.size();
  return m_buffer.data();
}

const WCHAR* CZoInetHttpResponse::GetResponseDataFileName() const {
  return m_fileName.empty() ? nullptr : m_fileName.c_str();
}

void CZoInetHttpResponse::SetResponseDataFileName(const WCHAR* name) { m_fileName = name ? name : u""; }

void CZoInetHttpResponse::Clear() {
  m_buffer.clear();
  m_statusCode = 0;
  m_contentType.clear();
  m_headers.clear();
}

HRESULT CZoInetHttp::CreateInstance(CZoInetHttp** out) {
  if (!out) return E_POINTER;
  *out = new (std::nothrow) CZoInetHttp();
  return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CZoInetHttp::Init(const WCHAR* agent) { return InitBase(agent); }

std::vector<std::string> CZoInetHttp::ParseAcceptTypes(const std::string& list) {
  std::vector<std::string> types;
  size_t start = 0;
  while (start < list.size()) {
    size_t end = list.find_first_of(",;", start);
    if (end == std::string::npos) end = list.size();
    size_t a = list.find_first_not_of(" \t", start);
    size_t b = list.find_last_not_of(" \t", end == 0 ? 0 : end - 1);
    if (a != std::string::npos && a < end && b != std::string::npos && b >= a) types.push_back(list.substr(a, b - a + 1));
    start = end + 1;
  }
  return types;
}

HRESULT CZoInetHttp::Queue(DWORD command, Request request) {
  if (!request.response) return E_POINTER;
  return QueueCommand(command, [&] {
    request.response->Clear();
    m_request = std::move(request);
  });
}

HRESULT CZoInetHttp::Get(const WCHAR* url, const WCHAR* headers, const WCHAR* acceptTypes,
                         CZoInetHttpResponse* response) {
  if (!url) return E_POINTER;
  Request r;
  r.url = Utf8(url);
  r.headers = Utf8(headers);
  r.accept = ParseAcceptTypes(Utf8(acceptTypes));
  r.response = response;
  return Queue(ZOINET_CMD_HTTP_GET, std::move(r));
}

HRESULT CZoInetHttp::Post(const WCHAR* url, const WCHAR* headers, const WCHAR* acceptTypes, const void* body,
                          SIZE_T size, const WCHAR* contentType, CZoInetHttpResponse* response) {
  if (!url || (!body && size)) return E_POINTER;
  Request r;
  r.url = Utf8(url);
  r.headers = Utf8(headers);
  r.accept = ParseAcceptTypes(Utf8(acceptTypes));
  try {
    r.body.assign(static_cast<const BYTE*>(body), static_cast<const BYTE*>(body) + size);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  r.contentType = contentType ? Utf8(contentType) : "application/octet-stream";
  r.response = response;
  return Queue(ZOINET_CMD_HTTP_POST, std::move(r));
}

HRESULT CZoInetHttp::PostMultipart(const WCHAR* url, const WCHAR* headers, const ZOINET_MULTIPART_FILE* files,
                                   DWORD count, CZoInetHttpResponse* response) {
  if (!url || (!files && count)) return E_POINTER;
  Request r;
  r.url = Utf8(url);
  r.headers = Utf8(headers);
  for (DWORD i = 0; i < count; ++i) {
    if (!files[i].name || !files[i].path) return E_INVALIDARG;
    r.files.emplace_back(files[i].name, files[i].path);
    r.fileTypes.emplace_back(files[i].contentType ? files[i].contentType : u"");
  }
  r.response = response;
  return Queue(ZOINET_CMD_HTTP_POST_MULTIPART, std::move(r));
}

HRESULT CZoInetHttp::WorkerProcessCommand(void* handle, DWORD command, DWORD* detail) {
  switch (command) {
    case ZOINET_CMD_QUIT: return S_OK;
    case ZOINET_CMD_HTTP_GET:
    case ZOINET_CMD_HTTP_POST:
    case ZOINET_CMD_HTTP_POST_MULTIPART: return SendRequest(handle, command, detail);
    default: return E_FAIL;
  }
}

bool CZoInetHttp::Tick(void* self, ULONGLONG total, ULONGLONG now) {
  return static_cast<CZoInetHttp*>(self)->TransferTick(total, now);
}

HRESULT CZoInetHttp::SendRequest(void* handle, DWORD command, DWORD* detail) {
  CURL* curl = static_cast<CURL*>(handle);
  Request r;
  EnterCriticalSection(&m_lock);
  r = m_request;
  LeaveCriticalSection(&m_lock);
  CZoInetHttpResponse* response = r.response;

  if (const DWORD error = CrackURLApart(r.url)) {
    *detail = error;
    return CaptureResponseAndErrorInfo("InternetCrackUrl failed on " + r.url + " ", error);
  }

  dt::ProgressSink sink{&CZoInetHttp::Tick, this, command != ZOINET_CMD_HTTP_GET};
  dt::PrepareHandle(curl, {AgentUtf8(), ConnectTimeoutMs(), StallTimeoutMs()}, &sink);
  curl_easy_setopt(curl, CURLOPT_URL, r.url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L);

  Slist headers;
  size_t start = 0;
  while (start < r.headers.size()) {
    size_t end = r.headers.find("\r\n", start);
    if (end == std::string::npos) end = r.headers.size();
    if (end > start) Append(headers, r.headers.substr(start, end - start));
    start = end + 2;
  }
  if (!r.accept.empty()) {
    std::string accept = "Accept: ";
    for (size_t i = 0; i < r.accept.size(); ++i) accept += (i ? ", " : "") + r.accept[i];
    Append(headers, accept);
  }
  // No interim answer is awaited before a body is sent.
  Append(headers, "Expect:");

  vane::internet::MultipartBody multipart;
  if (command == ZOINET_CMD_HTTP_POST) {
    Append(headers, "Content-Type: " + r.contentType);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, reinterpret_cast<const char*>(r.body.data()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(r.body.size()));
    SetTotalBytesToTransfer(r.body.size());
  } else if (command == ZOINET_CMD_HTTP_POST_MULTIPART) {
    std::vector<vane::internet::MultipartFile> files;
    for (size_t i = 0; i < r.files.size(); ++i)
      files.push_back({vane::platform::ToUtf8(r.files[i].first), vane::platform::ToUtf8(r.files[i].second), {}, vane::platform::ToUtf8(r.fileTypes[i])});
    const std::string boundary = vane::internet::FindMultipartBoundaryDelimiter(files, std::random_device{}());
    if (boundary.empty() || !multipart.Prepare(files, boundary)) {
      *detail = dt::kErrFileNotFound;
      return CaptureResponseAndErrorInfo("a file of the multipart post cannot be read", *detail);
    }
    Append(headers, "Content-Type: multipart/form-data; boundary=" + boundary);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, &vane::internet::MultipartBody::CurlRead);
    curl_easy_setopt(curl, CURLOPT_READDATA, &multipart);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(multipart.Size()));
    SetTotalBytesToTransfer(multipart.Size());
  }
  if (!headers) {
    *detail = dt::kErrInternal;
    return CaptureResponseAndErrorInfo("HttpAddRequestHeaders failed with '" + r.headers + "'", *detail);
  }
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());

  std::string headerText;
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &CollectHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &headerText);

  dt::BesideFile file;
  const std::string fileName = vane::platform::ToUtf8(response->m_fileName);
  if (!fileName.empty()) {
    if (!file.Open(fileName)) {
      *detail = dt::kErrWriteFault;
      return CaptureResponseAndErrorInfo("cannot write beside " + fileName, *detail);
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &dt::BesideFile::CurlWrite);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &file);
  } else {
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &CollectBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response->m_buffer);
  }

  const CURLcode code = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  char* contentType = nullptr;
  curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &contentType);
  response->m_statusCode = static_cast<DWORD>(status);
  response->m_contentType = vane::platform::FromUtf8(contentType ? contentType : "");
  response->m_headers = vane::platform::FromUtf8(headerText);

  if (code != CURLE_OK) {
    *detail = dt::ErrorForCurl(code);
    return CaptureResponseAndErrorInfo(std::string("HttpSendRequest failed (") + curl_easy_strerror(code) + ")", *detail);
  }
  if (status >= 400) {
    *detail = static_cast<DWORD>(status);
    Log("HTTP status " + std::to_string(status) + " from " + r.url);
    return ZoInetHttpStatusResult(static_cast<DWORD>(status));
  }
  if (!fileName.empty() && !file.Commit()) {
    *detail = dt::kErrWriteFault;
    return CaptureResponseAndErrorInfo("cannot move the download into " + fileName, *detail);
  }
  return S_OK;
}
