// SPDX-License-Identifier: MIT
// Internal helpers of the format texts.
#pragma once

#include <string>

#include "platform/types.h"

namespace vane::audio {

// Writes ASCII text into a UTF-16 buffer of cch characters (nothing when
// cch < 1), truncating and terminating. Returns S_OK.
HRESULT PutText(const std::string& text, WCHAR* buf, int cch);
// ASCII view of UTF-16 text (other characters become '?').
std::string ToNarrow(const WCHAR* text);
// The codec catalogue's name of a format tag, or null.
const char* CatalogueTagName(WORD tag);

}  // namespace vane::audio
