// SPDX-License-Identifier: MIT
// CZoInetHttp: GET, POST and multipart POST on the object's worker thread.
// A response lands in a CZoInetHttpResponse: in its buffer, or in the file it
// names (written beside that file and moved into place only when complete and
// the server answered below 400). The response object must stay alive until
// the request has ended.
#pragma once

#include <string>
#include <vector>

#include "shared/internet/inet_base.h"

class VANE_EXPORT CZoInetHttpResponse {
 public:
  CZoInetHttpResponse() = default;
  CZoInetHttpResponse(const CZoInetHttpResponse&) = delete;
  CZoInetHttpResponse& operator=(const CZoInetHttpResponse&) = delete;

  // The body when no file name is set.
  const BYTE* GetResponseBuffer(SIZE_T* size) const;
  const WCHAR* GetResponseDataFileName() const;
  // Null or empty: the body goes to the buffer.
  void SetResponseDataFileName(const WCHAR* name);
  DWORD GetStatusCode() const { return m_statusCode; }
  const WCHAR* GetContentType() const { return m_contentType.c_str(); }
  const WCHAR* GetAllHeaders() const { return m_headers.c_str(); }

 private:
  friend class CZoInetHttp;
  void Clear();

  std::vector<BYTE> m_buffer;
  std::u16string m_fileName;
  DWORD m_statusCode = 0;
  std::u16string m_contentType;
  std::u16string m_headers;
};

// One file of a multipart post: form field name, local path, and the content
// type (null: from the file's extension).
struct ZOINET_MULTIPART_FILE {
  const WCHAR* name;
  const WCHAR* path;
  const WCHAR* contentType;
};

// Status of an HTTP answer of 400 or above: 0x80190000 plus the status code.
constexpr HRESULT ZoInetHttpStatusResult(DWORD code) { return MakeStatus(0x80190000u + (code & 0xFFFF)); }

class VANE_EXPORT CZoInetHttp : public CZoInetBase {
 public:
  static HRESULT CreateInstance(CZoInetHttp** out);

  HRESULT Init(const WCHAR* agent);
  // `headers`: extra request header lines separated by CR LF (may be null);
  // `acceptTypes`: media types separated by commas or semicolons (may be null).
  HRESULT Get(const WCHAR* url, const WCHAR* headers, const WCHAR* acceptTypes, CZoInetHttpResponse* response);
  HRESULT Post(const WCHAR* url, const WCHAR* headers, const WCHAR* acceptTypes, const void* body, SIZE_T size,
               const WCHAR* contentType, CZoInetHttpResponse* response);
  HRESULT PostMultipart(const WCHAR* url, const WCHAR* headers, const ZOINET_MULTIPART_FILE* files, DWORD count,
                        CZoInetHttpResponse* response);

  // The accept list split into its media types.
  static std::vector<std::string> ParseAcceptTypes(const std::string& list);

 protected:
  HRESULT WorkerProcessCommand(void* handle, DWORD command, DWORD* detail) override;

 private:
  CZoInetHttp() = default;
  ~CZoInetHttp() override = default;

  struct Request {
    std::string url;
    std::string headers;
    std::vector<std::string> accept;
    std::vector<BYTE> body;
    std::string contentType;
    std::vector<std::pair<std::u16string, std::u16string>> files;  // name, path
    std::vector<std::u16string> fileTypes;
    CZoInetHttpResponse* response = nullptr;
  };
  HRESULT Queue(DWORD command, Request request);
  HRESULT SendRequest(void* handle, DWORD command, DWORD* detail);
  static bool Tick(void* self, ULONGLONG total, ULONGLONG now);

  Request m_request;
};
