// SPDX-License-Identifier: MIT
// vane plugins: every class of the plug-in list as the manager sees it.
#include <cstdio>

#include "fileio/zofileio.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"plugins", "plugins [--json]",
                       "list plug-in classes: GUIDs, names, extensions, module, state, type index, merit", &Run};
const Registrar kReg(kCommand);

std::string Guid(const GUID& g) { return g == GUID_NULL ? std::string() : vane::platform::GuidToString(g); }

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  if (!args.Positional().empty()) return UsageError(kCommand, "no arguments expected");
  IZoFileIOMgrForApp* manager = nullptr;
  HRESULT hr = ZOFileIO_CreateInstance(&manager, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  const auto plugins = vane::fileio::DescribePlugins(manager);
  if (json) {
    Json out;
    out.BeginArray();
    for (const auto& p : plugins) {
      out.BeginObject()
          .Field("guid", Guid(p.classId))
          .Field("name", vane::platform::ToUtf8(p.name))
          .Field("reader", Guid(p.reader))
          .Field("renderer", Guid(p.renderer))
          .Field("extensions", vane::platform::ToUtf8(p.extensions))
          .Field("module", vane::platform::ToUtf8(p.module))
          .Field("state", p.state)
          .Field("index", std::int64_t(p.index))
          .Field("merit", std::uint64_t(p.merit))
          .Field("reason", p.reason)
          .EndObject();
    }
    std::printf("%s\n", out.EndArray().str().c_str());
  } else if (plugins.empty()) {
    std::printf("no plug-ins found (configuration files \"*.Fio2007-Config\" beside the kernel or in $VANE_PLUGIN_PATH)\n");
  } else {
    for (const auto& p : plugins) {
      std::printf("%s  %s\n", Guid(p.classId).c_str(), vane::platform::ToUtf8(p.name).c_str());
      std::printf("  module     %s\n", vane::platform::ToUtf8(p.module).c_str());
      std::printf("  state      %s, index %d%s\n", p.state.c_str(), int(p.index),
                  p.merit ? (", merit " + std::to_string(p.merit)).c_str() : "");
      if (p.reader != GUID_NULL) std::printf("  reader     %s\n", Guid(p.reader).c_str());
      if (p.renderer != GUID_NULL) std::printf("  renderer   %s\n", Guid(p.renderer).c_str());
      if (!p.extensions.empty()) std::printf("  extensions %s\n", vane::platform::ToUtf8(p.extensions).c_str());
      if (!p.reason.empty()) std::printf("  why        %s\n", p.reason.c_str());
    }
  }
  manager->Release();
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
