// SPDX-License-Identifier: MIT
// Placeholder until the identification table lands: identifies nothing.
#include "riff/quick_identify.h"

BOOL ZoIsQuicklyIdentifiableMediaFileFormat(HANDLE, LPCWSTR, DWORD, DWORD* type) {
  if (type) *type = 1;
  return FALSE;
}
