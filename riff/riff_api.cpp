// SPDX-License-Identifier: MIT
// Classic RIFF over a file handle.
#include "riff/riff_api.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"
#include "platform/memory.h"
#include "platform/wtext.h"
#include "riff/detail/file_access.h"

using namespace vane::riff;

namespace {

constexpr std::uint64_t Even(std::uint64_t n) { return n + (n & 1); }

inline DWORD Le32(const BYTE* p) { return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24; }
inline void PutLe32(BYTE* p, DWORD v) {
  p[0] = BYTE(v);
  p[1] = BYTE(v >> 8);
  p[2] = BYTE(v >> 16);
  p[3] = BYTE(v >> 24);
}

// Subtracts without wrapping below zero.
inline DWORD Minus(DWORD r, std::uint64_t n) { return n >= r ? 0 : DWORD(r - n); }

HRESULT WriteHeader8(HANDLE file, DWORD a, DWORD b) {
  BYTE h[8];
  PutLe32(h, a);
  PutLe32(h + 4, b);
  return FileWriteExact(file, h, 8) ? S_OK : ZOERR_FILE_WRITE;
}

}  // namespace

HRESULT riff_ValidateChunkHeader(DWORD, LONG size) {
  if (size < 0) return ZOERR_BAD_CHUNK_HEADER;
  if (size == 0) return ZOERR_ZERO_CHUNK;
  return S_OK;
}

HRESULT riff_SaveLocation(HANDLE file, DWORD* location) {
  if (!location) return E_POINTER;
  std::int64_t pos = 0;
  if (!FileTell(file, &pos)) return ZOERR_FILE_READ;
  *location = DWORD(pos);  // the high half is dropped by design
  return S_OK;
}

HRESULT riff_RestoreLocation(HANDLE file, DWORD location) {
  return FileSeek(file, std::int64_t(location), FILE_BEGIN) ? S_OK : ZOERR_FILE_READ;
}

DWORD riff_SkipChunk(HANDLE file, DWORD size) {
  const std::uint64_t rounded = Even(size);
  FileSkip(file, rounded);
  return DWORD(rounded);
}

HRESULT riff_ReadData(HANDLE file, void* buffer, DWORD size) {
  if (size && !buffer) return E_POINTER;
  if (!FileReadExact(file, buffer, size)) return ZOERR_FILE_READ;
  if (size & 1) FileSkip(file, 1);
  return S_OK;
}

HRESULT riff_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize) {
  const DWORD n = std::min(wanted, chunkSize);
  if (n && !buffer) return E_POINTER;
  if (!FileReadExact(file, buffer, n)) return ZOERR_FILE_READ;
  // Skips (wanted - n) + pad: exact for wanted == chunkSize, the usual call.
  FileSkip(file, std::uint64_t(wanted - n) + (chunkSize & 1));
  return S_OK;
}

HRESULT riff_ReadDataAlloc(HANDLE file, ZORIFFDATA* data) {
  if (!data) return E_POINTER;
  data->pData = nullptr;
  if (data->cbSize == 0) return S_OK;
  HGLOBAL h = GlobalAlloc(GHND, data->cbSize);
  if (!h) return E_OUTOFMEMORY;
  void* p = GlobalLock(h);
  if (!p) {
    GlobalFree(h);
    return E_OUTOFMEMORY;
  }
  const HRESULT hr = riff_ReadData(file, p, data->cbSize);
  if (FAILED(hr)) {
    GlobalUnlock(h);
    GlobalFree(h);
    return hr;
  }
  data->pData = p;
  return S_OK;
}

HRESULT riff_SetRIFFSize(HANDLE file, DWORD size) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_WRITE;
  BYTE b[4];
  PutLe32(b, size);
  HRESULT hr = S_OK;
  if (!FileSeek(file, 4, FILE_BEGIN) || !FileWriteExact(file, b, 4)) hr = ZOERR_FILE_WRITE;
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff_UpdateRIFFSize(HANDLE file, LONGLONG delta) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  BYTE b[4];
  HRESULT hr = S_OK;
  if (!FileSeek(file, 4, FILE_BEGIN) || !FileReadExact(file, b, 4)) {
    hr = ZOERR_FILE_READ;
  } else {
    const DWORD old = Le32(b);
    const LONGLONG grown = LONGLONG(old) + delta;
    if (grown >= 0 && grown > 0xFFFFFFF7LL) {
      // Keep the file within the 32-bit limit: cut it back to what the old
      // size field describes.
      if (FileSeek(file, LONGLONG(old) + 8, FILE_BEGIN)) FileTruncate(file);
      hr = ZOERR_SIZE_LIMIT;
    } else {
      PutLe32(b, DWORD(std::uint64_t(grown)));  // a negative sum wraps
      if (!FileSeek(file, 4, FILE_BEGIN) || !FileWriteExact(file, b, 4)) hr = ZOERR_FILE_WRITE;
    }
  }
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff_GetFileSize(HANDLE file, DWORD* size) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  DWORD afterForm = 0;
  const HRESULT hr = riff_ReadFileID(file, &afterForm, nullptr);
  if (size) *size = FAILED(hr) ? 0 : afterForm + 8;
  return hr;
}

HRESULT riff_WriteChunkHeader(HANDLE file, DWORD id, DWORD size) { return WriteHeader8(file, id, size); }

HRESULT riff_WriteChunk(HANDLE file, DWORD id, const void* data, DWORD size, DWORD* written) {
  if (size && !data) return E_POINTER;
  VANE_RETURN_IF_FAILED(WriteHeader8(file, id, size));
  if (!FileWriteExact(file, data, size)) return ZOERR_FILE_WRITE;
  if (size & 1) {
    const BYTE zero = 0;
    if (!FileWriteExact(file, &zero, 1)) return ZOERR_FILE_WRITE;
  }
  if (written) *written = DWORD(Even(size) + 8);
  return S_OK;
}

HRESULT riff_WriteListHeader(HANDLE file, DWORD listType, DWORD size) {
  BYTE h[12];
  PutLe32(h, kFourCC_LIST);
  PutLe32(h + 4, size);
  PutLe32(h + 8, listType);
  return FileWriteExact(file, h, 12) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT riff_WriteFileID(HANDLE file, DWORD formType, DWORD size) {
  BYTE h[12];
  PutLe32(h, kFourCC_RIFF);
  PutLe32(h + 4, size);
  PutLe32(h + 8, formType);
  return FileWriteExact(file, h, 12) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT riff_ReadChunkHeader(HANDLE file, DWORD* id, DWORD* size) {
  BYTE h[8];
  if (!FileReadExact(file, h, 8)) return ZOERR_FILE_READ;
  if (id) *id = Le32(h);
  if (size) *size = Le32(h + 4);
  return S_OK;
}

HRESULT riff_ReadListHeader(HANDLE file, DWORD* listType, DWORD* size) {
  BYTE h[12];
  if (!FileReadExact(file, h, 12)) return ZOERR_FILE_READ;
  if (Le32(h) != kFourCC_LIST) return ZOERR_NO_LIST;
  if (listType) *listType = Le32(h + 8);
  if (size) *size = Le32(h + 4) - 4;
  return S_OK;
}

HRESULT riff_ReadFileID(HANDLE file, DWORD* size, DWORD* formType) {
  if (size) *size = 0;
  BYTE h[12];
  if (!FileReadExact(file, h, 12)) return ZOERR_FILE_READ;
  if (Le32(h) != kFourCC_RIFF) return ZOERR_NO_RIFF;
  if (size) *size = Le32(h + 4) - 4;
  if (formType) *formType = Le32(h + 8);
  return S_OK;
}

HRESULT riff_SeekDataStart(HANDLE file) { return FileSeek(file, 12, FILE_BEGIN) ? S_OK : ZOERR_FILE_READ; }

HRESULT riff_FindChunkHeader(HANDLE file, DWORD id, DWORD* size, DWORD* remaining) {
  DWORD r = remaining ? *remaining : 0;
  for (;;) {
    if (remaining && r < 8) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    DWORD got = 0, sz = 0;
    // Without a remaining count the walk only ends at a failed read.
    if (FAILED(riff_ReadChunkHeader(file, &got, &sz))) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r -= 8;
    if (got == id) {
      if (size) *size = sz;
      if (remaining) *remaining = r;
      return S_OK;
    }
    const std::uint64_t rounded = Even(sz);
    if (!FileSkip(file, rounded)) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r = Minus(r, rounded);
  }
}

HRESULT riff_FindChunkHeaderInRIFF(HANDLE file, DWORD id, DWORD* size, DWORD* remaining) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &r, nullptr));
  const HRESULT hr = riff_FindChunkHeader(file, id, size, &r);
  if (remaining) *remaining = r;
  return hr;
}

HRESULT riff_FindListChunk(HANDLE file, DWORD listType, DWORD* size, DWORD* remaining) {
  DWORD sz = 0;
  VANE_RETURN_IF_FAILED(riff_FindChunkHeader(file, kFourCC_LIST, &sz, remaining));
  while (!remaining || *remaining >= 4) {
    BYTE t[4];
    if (!FileReadExact(file, t, 4)) return ZOERR_FILE_READ;
    if (remaining) *remaining -= 4;
    if (Le32(t) == listType) {
      if (size) *size = sz - 4;
      return S_OK;
    }
    // A list too short to hold its type is stepped over, never backwards.
    const std::uint64_t rounded = std::max<std::uint64_t>(Even(sz), 4);
    if (!FileSkip(file, rounded - 4)) return ZOERR_FILE_READ;
    if (remaining) *remaining = Minus(*remaining, rounded - 4);
    VANE_RETURN_IF_FAILED(riff_FindChunkHeader(file, kFourCC_LIST, &sz, remaining));
  }
  return ZOERR_NOT_FOUND;
}

HRESULT riff_FindListChunkFromStart(HANDLE file, DWORD listType, DWORD* size) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &r, nullptr));
  return riff_FindListChunk(file, listType, size, &r);
}

HRESULT riff_GetNumListEntries(HANDLE file, DWORD* count, DWORD* remaining) {
  if (!count) return E_POINTER;
  *count = 0;
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  DWORD r = remaining ? *remaining : 0;
  HRESULT hr = S_OK;
  while (!remaining || r >= 8) {
    DWORD sz = 0;
    if (FAILED(riff_ReadChunkHeader(file, nullptr, &sz))) {
      hr = ZOERR_FILE_READ;
      break;
    }
    // No floor: an oversize last entry wraps the count and the walk runs on
    // to the end of the file.
    const std::uint64_t rounded = Even(sz);
    r = DWORD(r - 8 - rounded);
    ++*count;
    if (!FileSkip(file, rounded)) {
      hr = ZOERR_FILE_READ;
      break;
    }
  }
  if (remaining) *remaining = r;
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff_SeekListEntry(HANDLE file, DWORD index, DWORD* remaining) {
  DWORD r = remaining ? *remaining : 0;
  for (DWORD i = 0; i < index; ++i) {
    if (remaining && r < 8) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    DWORD sz = 0;
    if (FAILED(riff_ReadChunkHeader(file, nullptr, &sz))) return ZOERR_FILE_READ;
    const std::uint64_t rounded = Even(sz);
    r = DWORD(r - 8 - rounded);
    if (!FileSkip(file, rounded)) return ZOERR_FILE_READ;
  }
  if (remaining) *remaining = r;
  return S_OK;
}

HRESULT riff_DeleteChunk(HANDLE file, DWORD id, DWORD* removed, BOOL isList) {
  if (removed) *removed = 0;
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  DWORD r = 0, sz = 0;
  VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &r, nullptr));
  VANE_RETURN_IF_FAILED(isList ? riff_FindListChunk(file, id, &sz, &r) : riff_FindChunkHeader(file, id, &sz, &r));
  std::int64_t pos = 0;
  if (!FileTell(file, &pos)) return ZOERR_FILE_READ;
  const std::uint64_t cut = Even(sz) + 8 + (isList ? 4 : 0);
  const std::int64_t start = pos - 8 - (isList ? 4 : 0);
  std::vector<BYTE> block(4096);
  std::int64_t from = start + std::int64_t(cut), to = start;
  for (;;) {
    DWORD got = 0;
    if (!FileSeek(file, from, FILE_BEGIN) || !FileRead(file, block.data(), 4096, &got)) return ZOERR_FILE_READ;
    if (got) {
      if (!FileSeek(file, to, FILE_BEGIN) || !FileWriteExact(file, block.data(), got)) return ZOERR_FILE_WRITE;
    }
    from += got;
    to += got;
    if (got < 4096) break;
  }
  if (!FileSeek(file, to, FILE_BEGIN) || !FileTruncate(file)) return ZOERR_FILE_WRITE;
  if (removed) *removed = DWORD(cut);
  const HRESULT hr = riff_UpdateRIFFSize(file, -LONGLONG(cut));
  return hr;
}

HRESULT riff_WriteANSIString(HANDLE file, LPCWSTR text, DWORD* written) {
  if (!text) return E_INVALIDARG;
  const std::string ansi = vane::platform::ToCodePage(std::u16string_view(text), CP_ACP);
  std::vector<BYTE> out(ansi.begin(), ansi.end());
  out.push_back(0);
  if (out.size() & 1) out.push_back(0);
  if (!FileWriteExact(file, out.data(), DWORD(out.size()))) return ZOERR_FILE_WRITE;
  if (written) *written = DWORD(out.size());
  return S_OK;
}

HRESULT riff_ReadANSIString(HANDLE file, LPWSTR buffer, DWORD bufferLength, DWORD* size) {
  if (!file || !buffer || !size || bufferLength == 0) return E_INVALIDARG;
  std::int64_t start = 0;
  if (!FileTell(file, &start)) return ZOERR_FILE_READ;
  const DWORD n = std::min(*size, bufferLength);
  std::string bytes(n, '\0');
  HRESULT hr = S_OK;
  if (n && !FileReadExact(file, bytes.data(), n)) hr = ZOERR_FILE_READ;
  if (n) bytes[n - 1] = '\0';
  const std::u16string wide = vane::platform::FromCodePage(std::string_view(bytes.c_str()), CP_ACP);
  const size_t copy = std::min<size_t>(wide.size(), bufferLength - 1);
  std::memcpy(buffer, wide.data(), copy * sizeof(WCHAR));
  buffer[copy] = 0;
  buffer[bufferLength - 1] = 0;
  FileSeek(file, start + std::int64_t(Even(*size)), FILE_BEGIN);
  *size += 1;  // in every case, odd or even: callers rely on it
  return hr;
}

HRESULT riff_ReadRIFFCDDA(HANDLE file, ZOCDDAINFO* info) {
  if (!info) return E_POINTER;
  DWORD r = 0, form = 0, sz = 0;
  VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &r, &form));
  if (form != kFourCC_CDDA) return ZOERR_BAD_FORMAT;
  VANE_RETURN_IF_FAILED(riff_FindChunkHeader(file, kFourCC_fmt, &sz, &r));
  if (sz != sizeof(ZOCDDAINFO)) return ZOERR_UNSUPPORTED_VERSION;
  return riff_ReadData(file, info, sizeof(ZOCDDAINFO));
}

HRESULT riff_ReadCDAFile(LPCWSTR name, DWORD* track, DWORD* firstSector, DWORD* startAddress, DWORD* length,
                         DWORD* serial) {
  HANDLE file = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  ZOCDDAINFO info;
  std::memset(&info, 0, sizeof info);
  const HRESULT hr = riff_ReadRIFFCDDA(file, &info);
  CloseHandle(file);
  // Every out is filled from the record, even after a failed read.
  if (track) *track = info.wTrack;
  if (firstSector) *firstSector = info.dwFirstSector;
  if (startAddress) *startAddress = (DWORD(info.startSecond) + DWORD(info.startMinute) * 60) * 75 + info.startFrame;
  if (length) *length = info.dwLengthSectors;
  if (serial) *serial = info.dwSerial;
  return hr;
}
