// SPDX-License-Identifier: MIT
// Creating an object of a class that lives in a plug-in module: through the
// module's DllGetClassObject and its class factory. Failures come back as
// statuses; no exception leaves these functions.
#pragma once

#include "platform/com.h"
#include "platform/export.h"

VANE_BEGIN_EXTERN_C
// E_FAIL when the module has no DllGetClassObject; the entry's and the
// factory's failures pass through.
VANE_EXPORT HRESULT ZoDllCreateInstance(HMODULE module, REFCLSID classId, IUnknown* outer, REFIID interfaceId,
                                        void** object);
// Loads the module from its own folder (the current directory moves there
// while it loads, so its dependencies resolve beside it, and is restored),
// then creates the object. E_FAIL when the module cannot be loaded,
// E_UNEXPECTED when the load raised an exception, 0x800700CE for a name of 260
// characters or more. A module whose object cannot be created is freed again.
VANE_EXPORT HRESULT ZoDllCreateInstanceFromFile(LPCWSTR fileName, REFCLSID classId, IUnknown* outer, REFIID interfaceId,
                                                void** object);
VANE_END_EXTERN_C
