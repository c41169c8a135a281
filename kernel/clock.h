// SPDX-License-Identifier: MIT
// The kernel's clock. Levels: 0 unset, 1 performance counter (CLOCK_MONOTONIC
// in nanoseconds), 5 cycle counter. Reads go through a table of function
// slots filled when the clock starts, so a read is one indirect call.
//
// Counters handed to the Ex and Delta functions are raw readings of the
// active source: prime one with ZoDeltaMicrosecEx(&counter) from counter 0,
// then ZoGetMicrosecEx(counter) gives the time since that reading.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Starts the clock: below 5 the performance counter, and the base for
// ZoGetMillisec/ZoGetMicrosec is taken now. Level 5 also arms the cycle
// counter, which ZoTimer_LateInitialize completes.
VANE_EXPORT void ZoTimer_Initialize(int level);
// Completes an armed cycle counter: measures at least 500 ms (sleeping what
// is still missing) and accepts at least 450 ms, then switches the reads over.
// S_OK when it switched, S_FALSE when nothing was armed, E_FAIL when the
// measurement was refused.
VANE_EXPORT HRESULT ZoTimer_LateInitialize(void);
VANE_EXPORT int ZoTimer_GetLevel(void);

// Time since the base.
VANE_EXPORT LONGLONG ZoGetMillisec(void);
VANE_EXPORT LONGLONG ZoGetMicrosec(void);
// Time since a caller's counter reading.
VANE_EXPORT LONGLONG ZoGetMillisecEx(LONGLONG start);
VANE_EXPORT LONGLONG ZoGetMicrosecEx(LONGLONG start);
// Time since *counter, which then takes the present reading. A null counter
// gives 0.
VANE_EXPORT LONGLONG ZoDeltaMillisecEx(LONGLONG* counter);
VANE_EXPORT LONGLONG ZoDeltaMicrosecEx(LONGLONG* counter);
VANE_END_EXTERN_C

namespace vane::kernel {
// The processor's time stamp counter (0 where there is none).
ULONGLONG ReadCycleCounter();
}  // namespace vane::kernel
