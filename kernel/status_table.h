// SPDX-License-Identifier: MIT
// The built-in table of statuses and their display texts, searched in order.
#pragma once

#include <span>

#include "platform/export.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// The English display text of a status from the built-in table (first row
// that matches wins), or null when no row has it. The text is as stored,
// with its leading line feeds.
VANE_EXPORT const WCHAR* ZoStatus_FindText(HRESULT status);
VANE_END_EXTERN_C

namespace vane::kernel {

// One row of the built-in table. Most texts open with two line feeds (they
// sit under a caption in a message box); a few stand without them.
struct StatusRow {
  HRESULT status;
  const WCHAR* text;
};

// The rows in search order, for the error handler that walks them after its
// added tables. Some codes appear twice; only the first row of a code counts.
#if __cplusplus >= 202002L
std::span<const StatusRow> BuiltInStatusRows();
#endif

}  // namespace vane::kernel
