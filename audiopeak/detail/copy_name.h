// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/status.h"
#include "platform/types.h"

namespace vane::audiopeak {

// Copies a name into a caller's buffer: E_POINTER, or E_OUTOFMEMORY when the
// name and its terminator don't fit (the buffer then holds "").
inline HRESULT CopyName(const std::u16string& name, WCHAR* buffer, int cch) {
  if (!buffer || cch <= 0) return E_POINTER;
  if (name.size() + 1 > size_t(cch)) {
    buffer[0] = 0;
    return E_OUTOFMEMORY;
  }
  name.copy(buffer, name.size());
  buffer[name.size()] = 0;
  return S_OK;
}

}  // namespace vane::audiopeak
