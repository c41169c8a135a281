// SPDX-License-Identifier: MIT
#include "kernel/error_report.h"

namespace {
thread_local int t_bypassDepth = 0;
}

void ErrorReport_StartTrapBypass(void) { ++t_bypassDepth; }

// An unmatched End leaves the depth at zero rather than going negative.
void ErrorReport_EndTrapBypass(void) {
  if (t_bypassDepth > 0) --t_bypassDepth;
}

BOOL ErrorReport_IsTrapBypassed(void) { return t_bypassDepth > 0 ? TRUE : FALSE; }
