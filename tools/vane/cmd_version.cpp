// SPDX-License-Identifier: MIT
// vane version [--json]: the kernel's version, the CPU words with their
// feature names, the processor count and the OS.
#include <cstdio>
#include <string>

#include "kernel/cpu.h"
#include "kernel/lifecycle.h"
#include "kernel/os_info.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"version", "version [--json]", "kernel version, CPU features, processor count and OS", &Run};
const Registrar kReg(kCommand);

std::string VersionText(DWORD word) {
  return std::to_string(word >> 24) + "." + std::to_string((word >> 16) & 0xFF) + "." + std::to_string(word & 0xFFFF);
}

std::string Hex(DWORD v) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%08X", unsigned(v));
  return buf;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string out;
  for (const auto& n : names) out += (out.empty() ? "" : " ") + n;
  return out.empty() ? "(none)" : out;
}

std::string OsName() {
  WCHAR text[256];
  return ZoGetOS(text, 256) ? vane::platform::ToUtf8(text) : std::string();
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  if (!args.Positional().empty()) return UsageError(kCommand, "no arguments expected");

  const DWORD version = ZoKernel_GetVersion();
  const DWORD cpu = ZoGetCPUSupport(0);
  const DWORD os = ZoGetOSSupport(0);
  const std::vector<std::string> cpuNames = vane::kernel::CpuFeatureNames(cpu);
  const std::string osName = OsName();

  if (json) {
    Json out;
    out.BeginObject()
        .Field("version", VersionText(version))
        .Field("version_word", version)
        .Field("cpu_support", cpu)
        .Key("cpu_features")
        .BeginArray();
    for (const auto& n : cpuNames) out.String(n);
    out.EndArray().Field("cpu_class", cpu & ZOCPU_CLASS_MASK).Field("os_support", os).Key("os_features").BeginArray();
    for (const auto& n : vane::kernel::CpuFeatureNames(os)) out.String(n);
    out.EndArray()
        .Field("avx2", vane::kernel::CpuHasAvx2())
        .Field("processor_count", ZoGetProcessorCount())
        .Field("os", osName)
        .Field("os_64bit", ZoIsOS64Bit() != 0)
        .EndObject();
    std::printf("%s\n", out.str().c_str());
    return kExitOk;
  }

  std::printf("Vane Format Kernel %s (%s)\n", VersionText(version).c_str(), Hex(version).c_str());
  std::printf("CPU support:  %s  %s, class %u%s\n", Hex(cpu).c_str(), Joined(cpuNames).c_str(),
              unsigned(cpu & ZOCPU_CLASS_MASK), vane::kernel::CpuHasAvx2() ? ", AVX2 variants" : "");
  std::printf("OS support:   %s  %s\n", Hex(os).c_str(), Joined(vane::kernel::CpuFeatureNames(os)).c_str());
  std::printf("Processors:   %u\n", unsigned(ZoGetProcessorCount()));
  std::printf("OS:           %s\n", osName.c_str());
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
