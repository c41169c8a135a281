// SPDX-License-Identifier: MIT
// The identification table's one deep reader: classifies ISO base media
// files by their brands and, through the file, by their tracks' handlers and
// sample entries. Internal to the RIFF library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/types.h"

namespace vane::riff {

// bytes/n: the first bytes of the file; file: the open file (may be null,
// then only the bytes are walked). Returns a type value, 1 for none.
DWORD ClassifyBoxes(const BYTE* bytes, size_t n, HANDLE file);

// The table over a buffer; *found tells whether a row matched.
DWORD IdentifyBytes(const BYTE* bytes, size_t n, LPCWSTR name, DWORD flags, HANDLE file, bool* found);

}  // namespace vane::riff
