// SPDX-License-Identifier: MIT
// The built-in table of statuses and their display texts, searched in order.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// The English display text of a status from the built-in table (first row
// that matches wins), or null when no row has it. The text is as stored,
// with its leading line feeds.
VANE_EXPORT const WCHAR* ZoStatus_FindText(HRESULT status);
VANE_END_EXTERN_C
