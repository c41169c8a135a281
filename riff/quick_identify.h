// SPDX-License-Identifier: MIT
// Names a media file's type from its first bytes.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

// Identifies the file behind a handle (or, with file INVALID_HANDLE_VALUE,
// the named file) from at most its first 65536 bytes. *type receives the
// type number (1 when nothing matched). Returns whether a row matched.
VANE_EXPORT BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE file, LPCWSTR name, DWORD flags, DWORD* type);
