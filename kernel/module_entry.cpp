// SPDX-License-Identifier: MIT
// The shared library's attach and detach: the platform calls these when the
// module is loaded into a process and when it leaves.
#include "platform/export.h"

namespace {

__attribute__((constructor)) void KernelAttach() {}

__attribute__((destructor)) void KernelDetach() {}

}  // namespace
