// SPDX-License-Identifier: MIT
// The Wave plug-in's metadata: a BaseReadMeta whose decoder fills the map
// with the text items of the file's summary ("LIST" "INFO", or the Wave64
// summary chunk) and its markers and regions, read through the kernel's
// chunk readers. A read file hands it out as a tear-off when asked
// for a read-meta identity: each request makes a new object that reads the
// file once (it doesn't lead back to the file through QueryInterface).
#pragma once

#include "fileio/fio_interfaces.h"
#include "plugins/wave/wave_layout.h"

namespace vane::wave {

// Whether `iid` is one of the six read-meta identities.
bool IsReadMetaIid(REFIID iid);

// Makes the metadata object of the file `name`, initialised, and answers
// `iid` from it. Statuses of the file's opening; a damaged "INFO" list gives
// the items before the damage.
HRESULT CreateWaveMeta(LPCWSTR name, Container container, REFIID iid, void** out);

}  // namespace vane::wave
