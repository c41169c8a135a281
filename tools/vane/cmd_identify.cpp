// SPDX-License-Identifier: MIT
// vane identify FILE... [--json]: the type of each file from its first bytes.
#include <cstdio>

#include "platform/wtext.h"
#include "riff/quick_identify.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"identify", "identify FILE... [--json]", "name each file's media type from its first bytes",
                       &Run};
const Registrar kReg(kCommand);

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.empty()) return UsageError(kCommand, "at least one file is needed");
  Json out;
  out.BeginArray();
  int exit = kExitOk;
  Progress progress("identify", files.size(), !json && files.size() > 200);
  for (size_t i = 0; i < files.size(); ++i) {
    const std::u16string name = platform::FromUtf8(files[i]);
    ZOFILEIDINFO info{0, INVALID_HANDLE_VALUE, name.c_str(), nullptr, 0, nullptr, 0};
    BOOL found = FALSE;
    const HRESULT hr = ZoIsQuicklyIdentifiableMediaFileFormat(&info, &found);
    progress.Update(i + 1);
    if (FAILED(hr)) {
      exit = Failure(hr, files[i]);
      continue;
    }
    const char* typeName = ZoIdentifiedTypeName(info.type);
    if (json) {
      out.BeginObject().Field("file", files[i]).Field("type", std::uint64_t(info.type)).Field("name", typeName);
      out.EndObject();
    } else {
      std::printf("%s: 0x%04X %s\n", files[i].c_str(), unsigned(info.type), typeName);
    }
  }
  progress.Finish();
  if (json) std::printf("%s\n", out.EndArray().str().c_str());
  return exit;
}

}  // namespace
}  // namespace vane::tool
