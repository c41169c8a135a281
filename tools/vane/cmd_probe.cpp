// SPDX-License-Identifier: MIT
// vane probe FILE...: which reader takes each file, and which stage of the
// search decided.
#include <cstdio>

#include "fileio/zofileio.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"probe", "probe FILE... [--json]", "the reader plug-in that takes each file, and why", &Run};
const Registrar kReg(kCommand);

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.empty()) return UsageError(kCommand, "at least one file is needed");
  IZoFileIOMgrForApp* manager = nullptr;
  HRESULT hr = ZOFileIO_CreateInstance(&manager, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");

  int exit = kExitOk;
  Json out;
  out.BeginArray();
  Progress progress("probing", files.size(), !json && files.size() > 20);
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string& file = files[i];
    vane::fileio::ProbeReport r;
    std::u16string name = vane::platform::FromUtf8(file);
    HRESULT status = vane::fileio::ProbeFile(manager, name.c_str(), &r);
    const bool found = SUCCEEDED(status) && r.index >= 0;
    if (FAILED(status)) exit = kExitFailure;
    const std::string guid = found ? vane::platform::GuidToString(r.reader) : std::string();
    const std::string readerName = vane::platform::ToUtf8(r.name);
    if (json) {
      out.BeginObject().Field("file", file).Field("status", StatusHex(status)).Key("reader");
      if (found) {
        out.BeginObject().Field("guid", guid).Field("name", readerName).Field("index", std::int64_t(r.index)).EndObject();
      } else {
        out.Null();
      }
      out.Key("stage");
      if (found) out.String(vane::fileio::ProbeStageName(r.stage));
      else out.Null();
      out.EndObject();
    } else if (found) {
      std::printf("%s: %s %s (index %d), stage %s%s\n", file.c_str(), guid.c_str(), readerName.c_str(),
                  int(r.index), vane::fileio::ProbeStageName(r.stage),
                  status == S_OK ? "" : (", status " + StatusHex(status)).c_str());
    } else {
      std::string text = StatusText(status);
      std::fprintf(stderr, "%s: %s: %s\n", file.c_str(), StatusHex(status).c_str(), text.c_str());
    }
    progress.Update(i + 1);
  }
  progress.Finish();
  if (json) std::printf("%s\n", out.EndArray().str().c_str());
  manager->Release();
  return exit;
}

}  // namespace
}  // namespace vane::tool
