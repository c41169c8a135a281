// SPDX-License-Identifier: MIT
// The platform's 40-byte bitmap header, as video streams carry it in the
// format union of the stream format record. Little-endian, byte-exact.
#pragma once

#include <cstddef>

#include "platform/types.h"

inline constexpr DWORD BI_RGB = 0;
inline constexpr DWORD BI_BITFIELDS = 3;

struct BITMAPINFOHEADER {
  DWORD biSize;  // 40 for this form; larger for the later header forms
  LONG biWidth;
  LONG biHeight;
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;  // BI_RGB, BI_BITFIELDS or a four-character code
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(offsetof(BITMAPINFOHEADER, biWidth) == 4 && offsetof(BITMAPINFOHEADER, biHeight) == 8 &&
              offsetof(BITMAPINFOHEADER, biPlanes) == 12 && offsetof(BITMAPINFOHEADER, biBitCount) == 14 &&
              offsetof(BITMAPINFOHEADER, biCompression) == 16 && offsetof(BITMAPINFOHEADER, biSizeImage) == 20 &&
              offsetof(BITMAPINFOHEADER, biXPelsPerMeter) == 24 && offsetof(BITMAPINFOHEADER, biYPelsPerMeter) == 28 &&
              offsetof(BITMAPINFOHEADER, biClrUsed) == 32 && offsetof(BITMAPINFOHEADER, biClrImportant) == 36);
