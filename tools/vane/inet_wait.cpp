// SPDX-License-Identifier: MIT
#include "tools/vane/inet_wait.h"

#include <curl/curl.h>

#include <memory>

#include "tools/vane/cli.h"

namespace vane::tool {

HRESULT WaitForTransfer(CZoInetBase* object, const std::string& label, bool quiet, DWORD* detail, std::string* why) {
  std::unique_ptr<Progress> progress;
  for (;;) {
    const HRESULT wait = object->WaitForRequestStatusChange(250);
    ULONGLONG total = 0, done = 0;
    BOOL busy = FALSE;
    object->GetTransferStatus(&total, &done, &busy);
    if (!quiet && total > 0) {
      if (!progress) progress = std::make_unique<Progress>(label, total, true);
      progress->Update(done);
    }
    if (!busy) break;
    if (FAILED(wait) && wait != ZOINET_E_TIMEOUT) return wait;
  }
  if (progress) progress->Finish();
  HRESULT result = S_OK;
  object->GetRequestResult(&result, detail);
  if (FAILED(result)) {
    const std::vector<std::string> lines = object->GetLogLines();
    if (!lines.empty()) *why = lines.back();
  }
  return result;
}

bool SplitFtpUrl(const std::string& url, std::string* host, std::string* user, std::string* password,
                 std::string* path) {
  CURLU* parts = curl_url();
  if (!parts) return false;
  bool ok = curl_url_set(parts, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK;
  auto get = [&](CURLUPart part, std::string* out, bool decode) {
    char* text = nullptr;
    if (curl_url_get(parts, part, &text, decode ? CURLU_URLDECODE : 0) == CURLUE_OK && text) *out = text;
    curl_free(text);
  };
  std::string scheme, name, port;
  if (ok) {
    get(CURLUPART_SCHEME, &scheme, false);
    get(CURLUPART_HOST, &name, false);
    get(CURLUPART_PORT, &port, false);
    get(CURLUPART_USER, user, true);
    get(CURLUPART_PASSWORD, password, true);
    get(CURLUPART_PATH, path, true);
    ok = scheme == "ftp" && !name.empty();
  }
  curl_url_cleanup(parts);
  if (!ok) return false;
  *host = port.empty() ? name : name + ":" + port;
  // The URL's path is relative to the login folder ("/%2F..." names the root).
  if (!path->empty() && (*path)[0] == '/') path->erase(0, 1);
  return true;
}

}  // namespace vane::tool
