// SPDX-License-Identifier: MIT
// Links between the international record, the token table and the number
// formatter inside the kernel.
#pragma once

#include <string>
#include <string_view>

#include "kernel/intl.h"

namespace vane::kernel {

HRESULT ReloadInternationals(const char* localeName);
void ReplaceInternationals(const tZOINTERNATIONALS& record);
// The SMPTE and music-time tokens that follow the record.
void RegisterKernelTokens(const tZOINTERNATIONALS& record);

// A number given as text ("-1234.5") in the record's punctuation. decimals
// -1 keeps the text's own; grouping false leaves the integer part whole.
// Text that is not a number comes back unchanged.
std::u16string LocaleNumber(std::u16string_view digits, int decimals, bool grouping);

// The time code type behind a format row (ZOSMPTE_TIME for the other rows).
DWORD SmpteTypeOfFormat(DWORD format);

// The record's thousand separator (not an index of ZoGetInat).
void ThousandSeparator(WCHAR* out, size_t capacity);

}  // namespace vane::kernel
