// SPDX-License-Identifier: MIT
// Repair of RF64 and BW64 recordings whose "ds64" sizes were left at their
// starting values by a writer that stopped. Only header fields are written:
// the audio is never moved or cut.
#pragma once

#include "platform/export.h"
#include "platform/status.h"
#include "platform/types.h"

VANE_BEGIN_EXTERN_C
// Sets the "ds64" sizes (form, data, frames) from the chunk walk and the
// file's length: S_OK when something was fixed, S_FALSE when the sizes held.
// A classic "RIFF" file past 4 GB whose writer kept a "JUNK" chunk of "ds64"
// size right after the form head is turned into RF64 first. 0x8004E080 for
// another form, 0x8004E025 when the walk finds no "data" chunk, 0x8004E00B
// for a missing or unreadable "fmt " chunk.
VANE_EXPORT HRESULT ZoFixTrashedRF64(HANDLE file);
VANE_END_EXTERN_C
