// SPDX-License-Identifier: MIT
// vane fetch URL -o FILE: downloads over HTTP(S) or FTP on the internet
// classes' worker thread, with a progress bar; the file is written beside its
// target and moved into place only when complete.
#include "platform/wtext.h"
#include "shared/internet/inet_ftp.h"
#include "shared/internet/inet_http.h"
#include "tools/vane/cli.h"
#include "tools/vane/inet_wait.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"fetch", "fetch URL -o FILE [--timeout SECONDS] [--quiet] [--json]",
                       "download a file over HTTP or FTP", &Run};
const Registrar kReg(kCommand);

constexpr const char16_t* kAgent = u"vane";

int Report(bool json, const std::string& url, const std::string& file, HRESULT result, const std::string& why,
            ULONGLONG size, DWORD httpStatus) {
  if (FAILED(result)) return Failure(result, url + (why.empty() ? "" : ": " + why));
  if (json) {
    Json j;
    j.BeginObject().Field("url", url).Field("file", file).Field("status", StatusHex(result));
    if (httpStatus) j.Field("http_status", httpStatus);
    j.Field("size", size);
    j.EndObject();
    std::printf("%s\n", j.str().c_str());
    return kExitOk;
  }
  std::printf("%s -> %s (%llu bytes)\n", url.c_str(), file.c_str(), static_cast<unsigned long long>(size));
  return kExitOk;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const bool quiet = args.Flag("--quiet") || json;
  const std::optional<std::string> output = args.Option("--output", "-o");
  const std::optional<std::string> timeout = args.Option("--timeout");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> rest = args.Positional();
  if (rest.size() != 1 || !output) return UsageError(kCommand, "one URL and -o FILE are needed");
  const std::string& url = rest[0];
  const DWORD stallMs = timeout ? static_cast<DWORD>(std::max(1, std::atoi(timeout->c_str()))) * 1000 : 0;
  const std::u16string target = platform::FromUtf8(*output);

  DWORD detail = 0;
  std::string why;
  std::string host, user, password, path;
  if (SplitFtpUrl(url, &host, &user, &password, &path)) {
    InetHold<CZoInetFtp> ftp;
    HRESULT hr = CZoInetFtp::CreateInstance(&ftp.p);
    if (SUCCEEDED(hr))
      hr = ftp.p->Init(kAgent, platform::FromUtf8(host).c_str(), user.empty() ? nullptr : platform::FromUtf8(user).c_str(),
                       platform::FromUtf8(password).c_str());
    if (FAILED(hr)) return Failure(hr, "starting the FTP worker");
    ftp.p->SetTimeouts(0, stallMs);
    if (FAILED(hr = ftp.p->GetFile(platform::FromUtf8(path).c_str(), target.c_str()))) return Failure(hr, url);
    const HRESULT result = WaitForTransfer(ftp.p, "fetching", quiet, &detail, &why);
    ULONGLONG total = 0, done = 0;
    ftp.p->GetTransferStatus(&total, &done, nullptr);
    return Report(json, url, *output, result, why, done, 0);
  }
  InetHold<CZoInetHttp> http;
  HRESULT hr = CZoInetHttp::CreateInstance(&http.p);
  if (SUCCEEDED(hr)) hr = http.p->Init(kAgent);
  if (FAILED(hr)) return Failure(hr, "starting the HTTP worker");
  http.p->SetTimeouts(0, stallMs);
  CZoInetHttpResponse response;
  response.SetResponseDataFileName(target.c_str());
  if (FAILED(hr = http.p->Get(platform::FromUtf8(url).c_str(), nullptr, nullptr, &response))) return Failure(hr, url);
  const HRESULT result = WaitForTransfer(http.p, "fetching", quiet, &detail, &why);
  ULONGLONG total = 0, done = 0;
  http.p->GetTransferStatus(&total, &done, nullptr);
  return Report(json, url, *output, result, why, done, response.GetStatusCode());
}

}  // namespace
}  // namespace vane::tool
