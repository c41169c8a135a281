// SPDX-License-Identifier: MIT
// vane put FILE URL: uploads a file, to an FTP path, or to an HTTP(S) URL as
// a multipart form post (field "file"), with a progress bar.
#include "platform/wtext.h"
#include "shared/internet/inet_ftp.h"
#include "shared/internet/inet_http.h"
#include "tools/vane/cli.h"
#include "tools/vane/inet_wait.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"put", "put FILE URL [--field NAME] [--timeout SECONDS] [--quiet] [--json]",
                       "upload a file over FTP, or to HTTP as a multipart form post", &Run};
const Registrar kReg(kCommand);

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const bool quiet = args.Flag("--quiet") || json;
  const std::string field = args.Option("--field").value_or("file");
  const std::optional<std::string> timeout = args.Option("--timeout");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> rest = args.Positional();
  if (rest.size() != 2) return UsageError(kCommand, "a file and a URL are needed");
  const std::string& file = rest[0];
  const std::string& url = rest[1];
  const DWORD stallMs = timeout ? static_cast<DWORD>(std::max(1, std::atoi(timeout->c_str()))) * 1000 : 0;
  const std::u16string local = platform::FromUtf8(file);

  DWORD detail = 0;
  std::string why;
  HRESULT result;
  ULONGLONG sent = 0;
  DWORD httpStatus = 0;
  std::string host, user, password, path;
  if (SplitFtpUrl(url, &host, &user, &password, &path)) {
    InetHold<CZoInetFtp> ftp;
    HRESULT hr = CZoInetFtp::CreateInstance(&ftp.p);
    if (SUCCEEDED(hr))
      hr = ftp.p->Init(u"vane", platform::FromUtf8(host).c_str(),
                       user.empty() ? nullptr : platform::FromUtf8(user).c_str(), platform::FromUtf8(password).c_str());
    if (FAILED(hr)) return Failure(hr, "starting the FTP worker");
    ftp.p->SetTimeouts(0, stallMs);
    if (FAILED(hr = ftp.p->PutFile(local.c_str(), platform::FromUtf8(path).c_str()))) return Failure(hr, url);
    result = WaitForTransfer(ftp.p, "sending", quiet, &detail, &why);
    ftp.p->GetTransferStatus(nullptr, &sent, nullptr);
  } else {
    InetHold<CZoInetHttp> http;
    HRESULT hr = CZoInetHttp::CreateInstance(&http.p);
    if (SUCCEEDED(hr)) hr = http.p->Init(u"vane");
    if (FAILED(hr)) return Failure(hr, "starting the HTTP worker");
    http.p->SetTimeouts(0, stallMs);
    const std::u16string name = platform::FromUtf8(field);
    const ZOINET_MULTIPART_FILE part{name.c_str(), local.c_str(), nullptr};
    CZoInetHttpResponse response;
    if (FAILED(hr = http.p->PostMultipart(platform::FromUtf8(url).c_str(), nullptr, &part, 1, &response)))
      return Failure(hr, url);
    result = WaitForTransfer(http.p, "sending", quiet, &detail, &why);
    http.p->GetTransferStatus(nullptr, &sent, nullptr);
    httpStatus = response.GetStatusCode();
  }
  if (FAILED(result)) return Failure(result, url + (why.empty() ? "" : ": " + why));
  if (json) {
    Json j;
    j.BeginObject().Field("file", file).Field("url", url).Field("status", StatusHex(result)).Field("size", sent);
    if (httpStatus) j.Field("http_status", httpStatus);
    j.EndObject();
    std::printf("%s\n", j.str().c_str());
    return kExitOk;
  }
  std::printf("%s -> %s (%llu bytes)\n", file.c_str(), url.c_str(), static_cast<unsigned long long>(sent));
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
