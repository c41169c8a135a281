// SPDX-License-Identifier: MIT
// The report a probe child writes back: whatever a crashing or hostile child
// leaves in the pipe, the manager's parser must end with a clean answer.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fileio/detail/module_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  vane::fileio::detail::ProbeResult r;
  if (vane::fileio::detail::ParseProbeReport(text, &r)) {
    // What parsed must format and parse back to the same classes.
    vane::fileio::detail::ProbeResult again;
    if (!vane::fileio::detail::ParseProbeReport(vane::fileio::detail::FormatProbeReport(r), &again)) std::abort();
    if (again.classes.size() != r.classes.size()) std::abort();
  }
  return 0;
}
