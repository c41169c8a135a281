// SPDX-License-Identifier: MIT
// vane: the command-line host of the Vane Format Kernel.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/vane/cli.h"

using namespace vane::tool;

namespace {

int Help(Args&) {
  std::printf("vane: the command-line host of the Vane Format Kernel\n\nusage: vane COMMAND [ARGS]\n\ncommands:\n");
  for (const Command& c : Commands()) {
    // Long usages get their summary on the next line, aligned with the rest.
    if (std::strlen(c.usage) <= 40)
      std::printf("  %-40s %s\n", c.usage, c.summary);
    else
      std::printf("  %s\n  %-40s %s\n", c.usage, "", c.summary);
  }
  std::printf("\nExit status: 0 on success, 1 on failure (with the status on standard error), 2 on wrong usage.\n");
  return kExitOk;
}

const Registrar kHelp({"help", "help", "this list", &Help});

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    Args none({});
    Help(none);
    return kExitUsage;
  }
  std::string name = argv[1];
  if (name == "--help" || name == "-h") name = "help";
  for (const Command& c : Commands()) {
    if (name == c.name) {
      Args args(std::vector<std::string>(argv + 2, argv + argc));
      return c.run(args);
    }
  }
  std::fprintf(stderr, "vane: unknown command '%s' (try 'vane help')\n", name.c_str());
  return kExitUsage;
}
