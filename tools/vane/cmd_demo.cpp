// SPDX-License-Identifier: MIT
// vane demo: a walk through the library, one step after the other, each
// saying what it did. For now: the kernel's start facts, the CPU words and a
// status text.
#include <cstdio>
#include <string>
#include <vector>

#include "kernel/clock.h"
#include "kernel/cpu.h"
#include "kernel/lifecycle.h"
#include "kernel/os_info.h"
#include "platform/status.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"demo", "demo", "walk through what the library does, step by step", &Run};
const Registrar kReg(kCommand);

// One step: prints its lines and returns a status (a failure stops the walk).
struct Step {
  const char* title;
  HRESULT (*run)();
};

HRESULT KernelStep() {
  const DWORD version = ZoKernel_GetVersion();
  std::printf("  kernel version word 0x%08X: %u.%u.%u\n", unsigned(version), unsigned(version >> 24),
              unsigned((version >> 16) & 0xFF), unsigned(version & 0xFFFF));
  WCHAR path[4096];
  if (SUCCEEDED(ZoKernel_GetAppKernelPathName(path, 4096)))
    std::printf("  kernel module: %s\n", vane::platform::ToUtf8(path).c_str());
  const HRESULT same = ZoKernel_CheckVersion(nullptr, "vane demo", version, ZOKERNEL_INTERFACE_LEVEL, 0, TRUE);
  const HRESULT newer = ZoKernel_CheckVersion(nullptr, "vane demo", version + 1, ZOKERNEL_INTERFACE_LEVEL, 0, TRUE);
  std::printf("  handshake: a client of this version gets %s, one build newer gets %s\n", StatusHex(same).c_str(),
              StatusHex(newer).c_str());
  WCHAR os[256];
  ZoGetOS(os, 256);
  std::printf("  running on %s\n", vane::platform::ToUtf8(os).c_str());
  return FAILED(same) ? same : S_OK;
}

std::string Names(DWORD word) {
  std::string out;
  for (const auto& n : vane::kernel::CpuFeatureNames(word)) out += " " + n;
  return out.empty() ? " (none)" : out;
}

HRESULT CpuStep() {
  LONGLONG counter = 0;
  ZoDeltaMicrosecEx(&counter);
  const DWORD cpu = ZoGetCPUSupport(0);
  const DWORD os = ZoGetOSSupport(0);
  std::printf("  CPU support 0x%08X, class %u:%s\n", unsigned(cpu), unsigned(cpu & ZOCPU_CLASS_MASK),
              Names(cpu).c_str());
  std::printf("  OS support  0x%08X:%s\n", unsigned(os), Names(os).c_str());
  std::printf("  %u processors; wide vector variants %s\n", unsigned(ZoGetProcessorCount()),
              vane::kernel::CpuHasAvx2() ? "in use (AVX2)" : "not in use");
  std::printf("  the queries took %lld us on the kernel clock\n", static_cast<long long>(ZoDeltaMicrosecEx(&counter)));
  return S_OK;
}

HRESULT StatusStep() {
  const HRESULT status = ZOERR_BAD_FORMAT;
  std::printf("  status %s reads: %s\n", StatusHex(status).c_str(), StatusText(status).c_str());
  return S_OK;
}

const Step kSteps[] = {
    {"kernel start and version handshake", &KernelStep},
    {"processor and OS features", &CpuStep},
    {"status texts", &StatusStep},
};

int Run(Args& args) {
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  if (!args.Positional().empty()) return UsageError(kCommand, "no arguments expected");
  int n = 0;
  for (const Step& step : kSteps) {
    std::printf("[%d] %s\n", ++n, step.title);
    const HRESULT hr = step.run();
    if (FAILED(hr)) return Failure(hr, step.title);
  }
  std::printf("done: %d steps\n", n);
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
