// SPDX-License-Identifier: MIT
// vane-probe: loads one plug-in module, asks its discovery object for its
// classes and prints the report on standard output. The manager runs this in
// a child process for every new or changed module, so a module that crashes
// or hangs while it loads costs only this process.
//
// usage: vane-probe MODULE [PRELOADS]
#include <unistd.h>

#include <cstdio>
#include <string>

#include "fileio/detail/module_loader.h"
#include "platform/wtext.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: vane-probe MODULE [PRELOADS]\n");
    return 2;
  }
  std::string path = argv[1];
  size_t slash = path.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    // Modules find their side files relative to their own folder.
    if (::chdir(path.substr(0, slash).c_str()) != 0) {
    }
  }
  auto result = vane::fileio::detail::ProbeModuleHere(vane::platform::FromUtf8(path),
                                                      vane::platform::FromUtf8(argc > 2 ? argv[2] : ""));
  std::string report = vane::fileio::detail::FormatProbeReport(result);
  std::fwrite(report.data(), 1, report.size(), stdout);
  std::fflush(stdout);
  // Leave without running the modules' or the runtime's exit handlers: the
  // report is complete, and a plug-in's teardown must not change it.
  ::_exit(0);
}
