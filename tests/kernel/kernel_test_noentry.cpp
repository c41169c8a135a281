// SPDX-License-Identifier: MIT
// A module without DllGetClassObject.
#include "platform/export.h"

extern "C" VANE_EXPORT int TestNoEntry_Value() { return 7; }
