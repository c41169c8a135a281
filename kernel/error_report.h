// SPDX-License-Identifier: MIT
// The crash reporter's trap bypass: code that faults on purpose (the CPU
// trials) brackets itself with Start/End so that the fault is not reported as
// a crash. The bypass nests and belongs to the calling thread.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
VANE_EXPORT void ErrorReport_StartTrapBypass(void);
VANE_EXPORT void ErrorReport_EndTrapBypass(void);
// Whether the calling thread is inside a bypass (for the crash filter).
VANE_EXPORT BOOL ErrorReport_IsTrapBypassed(void);
VANE_END_EXTERN_C
