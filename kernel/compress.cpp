// SPDX-License-Identifier: MIT
#include "kernel/compress.h"

#include <zlib.h>

namespace {

// The stream API is called with the version the interface was first built
// against; zlib accepts any 1.x caller.
constexpr const char* kZlibVersion = "1.2.3";

}  // namespace

int ffvane_compress(BYTE* destination, ULONG* destinationSize, const BYTE* source, ULONG sourceSize, int level) {
  if (!destinationSize || (!destination && *destinationSize) || (!source && sourceSize)) return Z_STREAM_ERROR;
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(source);
  stream.avail_in = sourceSize;
  stream.next_out = destination;
  stream.avail_out = *destinationSize;
  int err = deflateInit_(&stream, level, kZlibVersion, int(sizeof(z_stream)));
  if (err != Z_OK) return err;
  err = deflate(&stream, Z_FINISH);
  if (err != Z_STREAM_END) {
    *destinationSize = ULONG(stream.total_out);
    deflateEnd(&stream);
    // Output space ran out before the end.
    return err == Z_OK ? Z_BUF_ERROR : err;
  }
  *destinationSize = ULONG(stream.total_out);
  return deflateEnd(&stream);
}

int ffvane_uncompress(BYTE* destination, ULONG* destinationSize, const BYTE* source, ULONG sourceSize) {
  if (!destinationSize || (!destination && *destinationSize) || (!source && sourceSize)) return Z_STREAM_ERROR;
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(source);
  stream.avail_in = sourceSize;
  stream.next_out = destination;
  stream.avail_out = *destinationSize;
  int err = inflateInit_(&stream, kZlibVersion, int(sizeof(z_stream)));
  if (err != Z_OK) return err;
  err = inflate(&stream, Z_FINISH);
  if (err != Z_STREAM_END) {
    const bool inputUsedUp = stream.avail_in == 0;
    *destinationSize = ULONG(stream.total_out);
    inflateEnd(&stream);
    // A preset dictionary, or input that ends before the stream does, is
    // corrupt data; a full destination with input left is a buffer error.
    if (err == Z_NEED_DICT || (err == Z_BUF_ERROR && inputUsedUp)) return Z_DATA_ERROR;
    return err;
  }
  *destinationSize = ULONG(stream.total_out);
  return inflateEnd(&stream);
}
