// SPDX-License-Identifier: MIT
// vane status CODE: the display text of a status from the kernel's table.
#include <cstdio>

#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"status", "status CODE [--json]", "the display text of a status code (e.g. 0x8004E00B)", &Run};
const Registrar kReg(kCommand);

int Run(Args& args) {
  const bool json = args.Flag("--json");
  std::vector<std::string> words = args.Positional();
  // A negative decimal status looks like an option to the argument parser.
  if (auto unknown = args.Unknown()) {
    if (!words.empty() || !ParseStatus(*unknown)) return UsageError(kCommand, "unknown option " + *unknown);
    words.push_back(*unknown);
  }
  if (words.size() != 1) return UsageError(kCommand, words.empty() ? "a status code is needed" : "one code only");
  const std::optional<HRESULT> status = ParseStatus(words[0]);
  if (!status) return UsageError(kCommand, "'" + words[0] + "' is not a status code");

  const std::string text = StatusText(*status);
  if (json) {
    Json out;
    out.BeginObject().Field("status", StatusHex(*status)).Field("failure", *status < 0).Key("text");
    if (text.empty())
      out.Null();
    else
      out.String(text);
    std::printf("%s\n", out.EndObject().str().c_str());
  } else if (!text.empty()) {
    std::printf("%s: %s\n", StatusHex(*status).c_str(), text.c_str());
  }
  if (text.empty()) {
    std::fprintf(stderr, "%s: no text is known for this status\n", StatusHex(*status).c_str());
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
