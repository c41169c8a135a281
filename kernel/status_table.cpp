// SPDX-License-Identifier: MIT
// Placeholder until the table is filled in.
#include "kernel/status_table.h"

const WCHAR* ZoStatus_FindText(HRESULT) { return nullptr; }
