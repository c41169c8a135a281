// SPDX-License-Identifier: MIT
#include "riff/rf64_repair.h"

#include <cstring>

#include "platform/file.h"
#include "riff/detail/chunk_walk.h"
#include "riff/detail/file_access.h"

namespace {

using vane::riff::FileReadExact;
using vane::riff::FileSeek;
using vane::riff::FileWriteExact;
using vane::riff::detail::Le32;
using vane::riff::detail::Le64;
using vane::riff::detail::PutLe32;
using vane::riff::detail::PutLe64;

constexpr DWORD kDs64Body = 28;
constexpr ULONGLONG kClassicLimit = 0xFFFFFFFFull;

bool ReadAt(HANDLE file, std::int64_t at, void* buffer, DWORD n) {
  return FileSeek(file, at, FILE_BEGIN) && FileReadExact(file, buffer, n);
}
bool WriteAt(HANDLE file, std::int64_t at, const void* buffer, DWORD n) {
  return FileSeek(file, at, FILE_BEGIN) && FileWriteExact(file, buffer, n);
}

}  // namespace

VANE_EXTERN_C HRESULT ZoFixTrashedRF64(HANDLE file) {
  std::int64_t fileSize = 0;
  if (!FileSeek(file, 0, FILE_END, &fileSize)) return ZOERR_FILE_READ;
  BYTE head[20];
  if (fileSize < 20 + kDs64Body || !ReadAt(file, 0, head, 20)) return ZOERR_NO_RIFF;
  if (std::memcmp(head + 8, "WAVE", 4) != 0) return ZOERR_NO_RIFF;
  const bool large = std::memcmp(head, "RF64", 4) == 0 || std::memcmp(head, "BW64", 4) == 0;
  const bool reserved = std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 12, "JUNK", 4) == 0 &&
                        Le32(head + 16) >= kDs64Body && ULONGLONG(fileSize) > kClassicLimit;
  if (!large && !reserved) return ZOERR_NO_RIFF;
  if (large && (std::memcmp(head + 12, "ds64", 4) != 0 || Le32(head + 16) < kDs64Body)) return ZOERR_FILE_CORRUPT;
  BYTE ds64[kDs64Body] = {};
  if (large && !ReadAt(file, 20, ds64, kDs64Body)) return ZOERR_FILE_READ;

  // The chunks after ds64 (or the reserved JUNK), up to "data".
  std::int64_t at = 20 + ((std::int64_t(Le32(head + 16)) + 1) & ~1);
  WORD blockAlign = 0;
  std::int64_t dataOffset = -1;
  while (at + 8 <= fileSize) {
    BYTE chunk[8];
    if (!ReadAt(file, at, chunk, 8)) return ZOERR_FILE_READ;
    const DWORD size = Le32(chunk + 4);
    if (std::memcmp(chunk, "data", 4) == 0) {
      dataOffset = at + 8;
      break;
    }
    // A chunk other than data with a size only ds64's table could give is more
    // than this repair knows to walk.
    if (size == 0xFFFFFFFFu || at + 8 + std::int64_t(size) > fileSize) return ZOERR_FILE_CORRUPT;
    if (std::memcmp(chunk, "fmt ", 4) == 0 && size >= 16) {
      BYTE fmt[16];
      if (!ReadAt(file, at + 8, fmt, 16)) return ZOERR_FILE_READ;
      blockAlign = WORD(fmt[12] | fmt[13] << 8);
    }
    at += 8 + ((std::int64_t(size) + 1) & ~1);
  }
  if (dataOffset < 0) return ZOERR_FILE_CORRUPT;
  if (blockAlign == 0) return ZOERR_BAD_FORMAT;

  // Sizes that hold (the data fits the file and is whole frames) are kept;
  // otherwise the data runs to the last whole frame of the file.
  ULONGLONG dataBytes = large ? Le64(ds64 + 8) : 0;
  const ULONGLONG room = ULONGLONG(fileSize - dataOffset);
  const bool dataHolds = large && dataBytes != 0 && dataBytes <= room && dataBytes % blockAlign == 0;
  if (!dataHolds) dataBytes = room / blockAlign * blockAlign;
  ULONGLONG riffSize = large ? Le64(ds64) : 0;
  const ULONGLONG minimum = ULONGLONG(dataOffset) + dataBytes - 8;
  if (!dataHolds || riffSize < minimum || riffSize + 8 > ULONGLONG(fileSize)) riffSize = ULONGLONG(fileSize) - 8;
  const ULONGLONG frames = dataBytes / blockAlign;
  if (large && dataHolds && Le64(ds64) == riffSize && Le64(ds64 + 16) == frames) return S_FALSE;

  BYTE fixed[kDs64Body] = {};
  std::memcpy(fixed, ds64, kDs64Body);
  PutLe64(fixed, riffSize);
  PutLe64(fixed + 8, dataBytes);
  PutLe64(fixed + 16, frames);
  if (reserved) PutLe32(fixed + 24, 0);
  BYTE form[8];
  std::memcpy(form, large ? head : reinterpret_cast<const BYTE*>("RF64"), 4);
  PutLe32(form + 4, 0xFFFFFFFFu);
  BYTE ds64Head[8] = {'d', 's', '6', '4', 0, 0, 0, 0};
  PutLe32(ds64Head + 4, Le32(head + 16));
  BYTE dataSize[4];
  PutLe32(dataSize, 0xFFFFFFFFu);
  if (!WriteAt(file, 20, fixed, kDs64Body) || !WriteAt(file, 12, ds64Head, 8) ||
      !WriteAt(file, dataOffset - 4, dataSize, 4) || !WriteAt(file, 0, form, 8))
    return ZOERR_FILE_WRITE;
  return S_OK;
}
