// SPDX-License-Identifier: MIT
// The shared library's attach and detach: the loader calls these when the
// module enters a process and when it leaves. Threads coming and going need
// nothing.
#include <strings.h>
#include <unistd.h>

#include <string>

#include "kernel/lifecycle.h"
#include "platform/export.h"
#include "platform/module.h"

namespace {

std::string ExecutableBaseName() {
  char buf[4096];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return {};
  const std::string path(buf, size_t(n));
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

__attribute__((constructor)) void KernelAttach() {
  // The result is a boolean (0 or 1), so this test for a negative status
  // never fires: a failed start does not stop the load, and the string
  // functions fall back to their empty results. Kept that way on purpose.
  const int started = ZoKernel_EarlyInitialize(ZoKernelModuleHandle(), 1);
  if (started < 0) return;
  const std::string exe = ExecutableBaseName();
  vane::kernel::SetRunningUnderRunDll(strcasecmp(exe.c_str(), "RunDLL32.exe") == 0);
}

__attribute__((destructor)) void KernelDetach() {
  // LateTerminate also clears the app-kernel module.
  ZoKernel_LateTerminate(ZoKernel_GetAppKernel(), 0);
}

}  // namespace
