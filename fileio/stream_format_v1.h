// SPDX-License-Identifier: MIT
// The older, header-pointer form of the stream format record, still held by
// v1 clients. Instead of the two unions of the 184-byte record it points at
// caller-owned headers, one per stream type, plus the extension:
//
//   offset  width    field
//    0      u32      cbSize, sizeof(_ZOFILESTREAMFORMATINFOv1) = 88
//    4      u32      stream type (ZOFILESTREAMTYPE)
//    8      i64      length in the stream's units
//   16      i64      start
//   24      pointer  audio header (WAVEFORMATEX, 16 bytes for tags 1 and 3, else 18 + cbSize)
//   32      u32      its bytes
//   40      pointer  video header (BITMAPINFOHEADER, 40 bytes)
//   48      u32      its bytes
//   56      pointer  text header (20 bytes)
//   64      u32      its bytes
//   72      pointer  extension (32 audio, 64 video, 40 text)
//   80      u32      its bytes
//
// Each bytes field is the capacity of its header on the way in; on the way
// out it holds the bytes the stream's header needs, and 0 for the headers of
// the other types. Pointers are the platform's width (padding after each u32).
#pragma once

#include <cstddef>

#include "platform/types.h"

struct ZOFIO_V1_HEADER {
  void* data;
  DWORD bytes;
};

struct _ZOFILESTREAMFORMATINFOv1 {
  DWORD cbSize;
  DWORD streamType;
  LONGLONG length;
  LONGLONG start;
  ZOFIO_V1_HEADER audio;
  ZOFIO_V1_HEADER video;
  ZOFIO_V1_HEADER text;
  ZOFIO_V1_HEADER extension;
};
static_assert(sizeof(_ZOFILESTREAMFORMATINFOv1) == 88);
static_assert(offsetof(_ZOFILESTREAMFORMATINFOv1, streamType) == 4 &&
              offsetof(_ZOFILESTREAMFORMATINFOv1, length) == 8 && offsetof(_ZOFILESTREAMFORMATINFOv1, start) == 16 &&
              offsetof(_ZOFILESTREAMFORMATINFOv1, audio) == 24 && offsetof(_ZOFILESTREAMFORMATINFOv1, video) == 40 &&
              offsetof(_ZOFILESTREAMFORMATINFOv1, text) == 56 && offsetof(_ZOFILESTREAMFORMATINFOv1, extension) == 72);
static_assert(offsetof(ZOFIO_V1_HEADER, bytes) == 8);

inline constexpr DWORD ZOFIO_STREAMFORMAT_V1_SIZE = sizeof(_ZOFILESTREAMFORMATINFOv1);
