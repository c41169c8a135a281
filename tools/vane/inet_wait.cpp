// SPDX-License-Identifier: MIT
#include "tools/vane/inet_wait.h"

#include <cctype>
#include <memory>

#include "platform/sync.h"
#include "tools/vane/cli.h"

namespace vane::tool {

void WaitForWorkers() {
  for (int i = 0; i < 500 && CZoInetBase::LiveObjectCount() > 0; ++i) Sleep(10);
}

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

namespace {

std::string PercentDecode(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace

bool SplitFtpUrl(const std::string& url, std::string* host, std::string* user, std::string* password,
                 std::string* path) {
  const std::string scheme = "ftp://";
  if (url.size() <= scheme.size() || url.compare(0, scheme.size(), scheme) != 0) return false;
  const std::string rest = url.substr(scheme.size());
  const size_t slash = rest.find('/');
  std::string authority = rest.substr(0, slash);
  // The URL's path is relative to the login folder ("/%2F..." names the root).
  *path = slash == std::string::npos ? std::string() : PercentDecode(rest.substr(slash + 1));
  const size_t at = authority.rfind('@');
  if (at != std::string::npos) {
    const std::string credentials = authority.substr(0, at);
    const size_t colon = credentials.find(':');
    *user = PercentDecode(credentials.substr(0, colon));
    *password = colon == std::string::npos ? std::string() : PercentDecode(credentials.substr(colon + 1));
    authority.erase(0, at + 1);
  }
  *host = authority;
  return !host->empty();
}

}  // namespace vane::tool
