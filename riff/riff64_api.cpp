// SPDX-License-Identifier: MIT
// Wave64 over a file handle. On disk a chunk's size counts its 24-byte
// header; in these interfaces sizes are data sizes.
#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/memory.h"
#include "platform/file.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

using namespace vane::riff;

namespace {

constexpr std::uint64_t Pad8(std::uint64_t n) { return (n + 7) & ~std::uint64_t(7); }
constexpr LONGLONG kHeader = 24;

inline ULONGLONG Le64(const BYTE* p) {
  ULONGLONG v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
inline void PutLe64(BYTE* p, ULONGLONG v) {
  for (int i = 0; i < 8; ++i) p[i] = BYTE(v >> (8 * i));
}

// Data size of a stored size field: the header is taken off, never below 0.
inline ULONGLONG DataSize(ULONGLONG field) { return field < ULONGLONG(kHeader) ? 0 : field - kHeader; }

// Saturating signed subtraction so that absurd sizes end a walk instead of
// wrapping a remaining count back to positive.
inline LONGLONG Less(LONGLONG r, ULONGLONG n) {
  if (n > ULONGLONG(std::numeric_limits<LONGLONG>::max())) return std::numeric_limits<LONGLONG>::min();
  const LONGLONG s = LONGLONG(n);
  if (r < std::numeric_limits<LONGLONG>::min() + s) return std::numeric_limits<LONGLONG>::min();
  return r - s;
}

HRESULT WriteHeader(HANDLE file, const GUID& id, ULONGLONG stored) {
  BYTE h[24];
  std::memcpy(h, &id, 16);
  PutLe64(h + 16, stored);
  return FileWriteExact(file, h, 24) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT Zeros(HANDLE file, DWORD count) {
  const BYTE zero = 0;
  for (DWORD i = 0; i < count; ++i)
    if (!FileWriteExact(file, &zero, 1)) return ZOERR_FILE_WRITE;
  return S_OK;
}

}  // namespace

HRESULT riff64_ValidateChunkHeader(GUID, LONGLONG size) {
  const ULONGLONG u = ULONGLONG(size);
  if ((u & 7) || ((u >> 32) & 8)) return ZOERR_BAD_CHUNK_HEADER;
  if (size == 0) return ZOERR_ZERO_CHUNK;
  return S_OK;
}

HRESULT riff64_SaveLocation(HANDLE file, ULONGLONG* location) {
  if (!location) return E_POINTER;
  std::int64_t pos = 0;
  if (!FileTell(file, &pos)) return ZOERR_FILE_READ;
  *location = ULONGLONG(pos);
  return S_OK;
}

HRESULT riff64_RestoreLocation(HANDLE file, ULONGLONG location) {
  return FileSeek(file, std::int64_t(location), FILE_BEGIN) ? S_OK : ZOERR_FILE_READ;
}

ULONGLONG riff64_SkipChunk(HANDLE file, ULONGLONG size) {
  const ULONGLONG rounded = Pad8(size);
  FileSkip(file, rounded);
  return rounded;
}

HRESULT riff64_ReadData(HANDLE file, void* buffer, DWORD size) {
  if (size && !buffer) return E_POINTER;
  if (!FileReadExact(file, buffer, size)) return ZOERR_FILE_READ;
  if (size & 7) FileSkip(file, 8 - (size & 7));
  return S_OK;
}

HRESULT riff64_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize) {
  const DWORD n = std::min(wanted, chunkSize);
  if (n && !buffer) return E_POINTER;
  if (!FileReadExact(file, buffer, n)) return ZOERR_FILE_READ;
  // (chunkSize & 7) - n + wanted: with wanted == chunkSize this skips
  // chunkSize & 7 bytes; callers position themselves by search afterwards.
  FileSkip(file, std::uint64_t(chunkSize & 7) + (wanted - n));
  return S_OK;
}

HRESULT riff64_ReadDataAlloc(HANDLE file, ZORIFFDATA* data) {
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
  const HRESULT hr = riff64_ReadData(file, p, data->cbSize);
  if (FAILED(hr)) {
    GlobalUnlock(h);
    GlobalFree(h);
    return hr;
  }
  data->pData = p;
  return S_OK;
}

HRESULT riff64_SetRIFFSize(HANDLE file, ULONGLONG size) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_WRITE;
  BYTE b[8];
  PutLe64(b, size + kHeader);
  HRESULT hr = S_OK;
  if (!FileSeek(file, 16, FILE_BEGIN) || !FileWriteExact(file, b, 8)) hr = ZOERR_FILE_WRITE;
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff64_UpdateRIFFSize(HANDLE file, LONGLONG delta) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  BYTE b[8];
  HRESULT hr = S_OK;
  if (!FileSeek(file, 16, FILE_BEGIN) || !FileReadExact(file, b, 8)) {
    hr = ZOERR_FILE_READ;
  } else {
    PutLe64(b, Le64(b) + ULONGLONG(delta));
    if (!FileSeek(file, 16, FILE_BEGIN) || !FileWriteExact(file, b, 8)) hr = ZOERR_FILE_WRITE;
  }
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff64_WriteChunkHeader(HANDLE file, const GUID* id, ULONGLONG size) {
  if (!id) return E_POINTER;
  return WriteHeader(file, *id, size + kHeader);
}

HRESULT riff64_WriteData(HANDLE file, const void* data, DWORD size, ULONGLONG* written) {
  if (size && !data) return E_POINTER;
  if (!FileWriteExact(file, data, size)) return ZOERR_FILE_WRITE;
  const DWORD pad = DWORD(Pad8(size) - size);
  VANE_RETURN_IF_FAILED(Zeros(file, pad));
  if (written) *written = ULONGLONG(size) + pad;
  return S_OK;
}

HRESULT riff64_WriteChunk(HANDLE file, const GUID* id, const void* data, DWORD size, ULONGLONG* written) {
  if (!id) return E_POINTER;
  // Stores data size + 24 without the padding; readers accept this and the
  // padded length of riff64_CompleteChunk alike.
  VANE_RETURN_IF_FAILED(WriteHeader(file, *id, ULONGLONG(size) + kHeader));
  ULONGLONG body = 0;
  VANE_RETURN_IF_FAILED(riff64_WriteData(file, data, size, &body));
  if (written) *written = body + kHeader;
  return S_OK;
}

HRESULT riff64_WriteListHeader(HANDLE file, const GUID* listType, ULONGLONG size) {
  if (!listType) return E_POINTER;
  VANE_RETURN_IF_FAILED(WriteHeader(file, kW64_list, size + kHeader));
  return FileWriteExact(file, listType, 16) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT riff64_WriteFileID(HANDLE file, const GUID* formType, ULONGLONG size) {
  if (!formType) return E_POINTER;
  (void)WriteHeader(file, kW64_riff, size + kHeader);  // only the form write is judged
  return FileWriteExact(file, formType, 16) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT riff64_ReadChunkHeader(HANDLE file, GUID* id, ULONGLONG* size) {
  BYTE h[24];
  if (!FileReadExact(file, h, 24)) return ZOERR_FILE_READ;
  if (id) std::memcpy(id, h, 16);
  if (size) *size = DataSize(Le64(h + 16));
  return S_OK;
}

HRESULT riff64_ReadListHeader(HANDLE file, GUID* listType, ULONGLONG* size) {
  BYTE h[40];
  if (!FileReadExact(file, h, 40)) return ZOERR_FILE_READ;
  if (std::memcmp(h, &kW64_list, 16) != 0) return ZOERR_NO_LIST;
  if (listType) std::memcpy(listType, h + 24, 16);
  if (size) *size = Le64(h + 16) - kHeader - 16;
  return S_OK;
}

HRESULT riff64_ReadFileID(HANDLE file, ULONGLONG* size, GUID* formType) {
  BYTE h[40] = {};
  // Only the GUID comparison is judged: a short read leaves zeros there.
  DWORD got = 0;
  FileRead(file, h, 40, &got);
  if (std::memcmp(h, &kW64_riff, 16) != 0) return ZOERR_NO_RIFF;
  if (size) *size = Le64(h + 16) - kHeader - 16;
  if (formType) std::memcpy(formType, h + 24, 16);
  return S_OK;
}

HRESULT riff64_SeekDataStart(HANDLE file) { return FileSeek(file, 40, FILE_BEGIN) ? S_OK : ZOERR_FILE_READ; }

HRESULT riff64_FindChunkHeader(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining) {
  if (!id) return E_POINTER;
  LONGLONG r = remaining ? *remaining : 0;
  for (;;) {
    if (remaining && r < kHeader) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    GUID got;
    ULONGLONG sz = 0;
    if (FAILED(riff64_ReadChunkHeader(file, &got, &sz))) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r -= kHeader;
    if (got == *id) {
      if (size) *size = sz;
      if (remaining) *remaining = r;
      return S_OK;
    }
    const ULONGLONG rounded = Pad8(sz);
    if (rounded < sz || !FileSkip(file, rounded)) {
      if (remaining) *remaining = r;
      return ZOERR_FILE_READ;
    }
    r = Less(r, rounded);  // may go negative: the next round reads that as the end
  }
}

HRESULT riff64_FindChunkHeaderInRIFF(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  ULONGLONG total = 0;
  VANE_RETURN_IF_FAILED(riff64_ReadFileID(file, &total, nullptr));
  LONGLONG r = LONGLONG(total);
  const HRESULT hr = riff64_FindChunkHeader(file, id, size, &r);
  if (remaining) *remaining = r;
  return hr;
}

HRESULT riff64_FindListChunk(HANDLE file, const GUID* listType, ULONGLONG* size, LONGLONG* remaining) {
  if (!listType) return E_POINTER;
  ULONGLONG sz = 0;
  VANE_RETURN_IF_FAILED(riff64_FindChunkHeader(file, &kW64_list, &sz, remaining));
  while (!remaining || *remaining >= 8) {
    GUID t;
    if (!FileReadExact(file, &t, 16)) return ZOERR_FILE_READ;
    if (remaining) *remaining -= 16;
    if (t == *listType) {
      if (size) *size = sz < 16 ? 0 : sz - 16;
      return S_OK;
    }
    const ULONGLONG rounded = std::max<ULONGLONG>(Pad8(sz), 16);
    if (rounded < sz || !FileSkip(file, rounded - 16)) return ZOERR_FILE_READ;
    if (remaining) *remaining = Less(*remaining, rounded - 16);
    VANE_RETURN_IF_FAILED(riff64_FindChunkHeader(file, &kW64_list, &sz, remaining));
  }
  return ZOERR_NOT_FOUND;
}

HRESULT riff64_FindListChunkFromStart(HANDLE file, const GUID* listType, ULONGLONG* size) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  ULONGLONG total = 0;
  VANE_RETURN_IF_FAILED(riff64_ReadFileID(file, &total, nullptr));
  LONGLONG r = LONGLONG(total);
  return riff64_FindListChunk(file, listType, size, &r);
}

HRESULT riff64_GetNumListEntries(HANDLE file, DWORD* count, LONGLONG* remaining) {
  if (!count) return E_POINTER;
  *count = 0;
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  LONGLONG r = remaining ? *remaining : 0;
  HRESULT hr = S_OK;
  while (!remaining || r >= kHeader) {
    ULONGLONG sz = 0;
    if (FAILED(riff64_ReadChunkHeader(file, nullptr, &sz))) {
      hr = ZOERR_FILE_READ;
      break;
    }
    const ULONGLONG rounded = Pad8(sz);
    r = Less(r - kHeader, rounded);
    ++*count;
    if (rounded < sz || !FileSkip(file, rounded)) {
      hr = ZOERR_FILE_READ;
      break;
    }
  }
  if (remaining) *remaining = r;
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff64_SeekListEntry(HANDLE file, DWORD index, LONGLONG* remaining) {
  LONGLONG r = remaining ? *remaining : 0;
  for (DWORD i = 0; i < index; ++i) {
    if (remaining && r < kHeader) {
      *remaining = r;
      return ZOERR_NOT_FOUND;
    }
    ULONGLONG sz = 0;
    if (FAILED(riff64_ReadChunkHeader(file, nullptr, &sz))) return ZOERR_FILE_READ;
    const ULONGLONG rounded = Pad8(sz);
    r = Less(r - kHeader, rounded);
    if (rounded < sz || !FileSkip(file, rounded)) return ZOERR_FILE_READ;
  }
  if (remaining) *remaining = r;
  return S_OK;
}

HRESULT riff64_DeleteChunk(HANDLE file, const GUID* id, ULONGLONG* removed) {
  if (!id) return E_POINTER;
  if (removed) *removed = 0;
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  ULONGLONG total = 0, sz = 0;
  VANE_RETURN_IF_FAILED(riff64_ReadFileID(file, &total, nullptr));
  LONGLONG r = LONGLONG(total);
  VANE_RETURN_IF_FAILED(riff64_FindChunkHeader(file, id, &sz, &r));
  std::int64_t pos = 0, fileSize = 0;
  if (!FileTell(file, &pos) || !FileSize(file, &fileSize)) return ZOERR_FILE_READ;
  const ULONGLONG cut = Pad8(sz) + kHeader;
  const std::int64_t start = pos - kHeader;
  if (cut > ULONGLONG(std::numeric_limits<std::int64_t>::max() - start)) return ZOERR_FILE_READ;
  std::int64_t from = start + std::int64_t(cut), to = start;
  std::int64_t tail = fileSize - from;
  if (tail > 0) {
    std::vector<BYTE> block(size_t(std::min<std::int64_t>(tail, 4096)));
    while (tail > 0) {
      const DWORD n = DWORD(std::min<std::int64_t>(tail, std::int64_t(block.size())));
      if (!FileSeek(file, from, FILE_BEGIN) || !FileReadExact(file, block.data(), n)) return ZOERR_FILE_READ;
      if (!FileSeek(file, to, FILE_BEGIN) || !FileWriteExact(file, block.data(), n)) return ZOERR_FILE_WRITE;
      from += n;
      to += n;
      tail -= n;
    }
  }
  if (!FileSeek(file, to, FILE_BEGIN) || !FileTruncate(file)) return ZOERR_FILE_WRITE;
  if (removed) *removed = cut;
  return riff64_UpdateRIFFSize(file, -LONGLONG(cut));
}

DWORD riff64_getGUIDLabel(GUID) { return 0; }
DWORD riff64_getGUIDLabelProperly(const GUID*, const BYTE*) { return 0; }

LONGLONG riff64_AmountWritten(HANDLE file, LONGLONG start) {
  std::int64_t pos = 0;
  FileTell(file, &pos);
  return pos - start;
}

HRESULT riff64_Pad(HANDLE file, LONGLONG start) {
  const DWORD low = DWORD(ULONGLONG(riff64_AmountWritten(file, start)));  // low 32 bits only
  return Zeros(file, (8 - (low & 7)) & 7);
}

HRESULT riff64_WriteToFile(HANDLE file, const void* data, DWORD size) {
  DWORD put = 0;
  return FileWrite(file, data, size, &put) ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT riff64_PrepareChunk(HANDLE file, const GUID* id, LONGLONG* start) {
  if (!id || !start) return E_POINTER;
  std::int64_t pos = 0;
  if (!FileTell(file, &pos)) return ZOERR_FILE_WRITE;
  *start = pos;
  return riff64_WriteChunkHeader(file, id, 0);
}

HRESULT riff64_PrepareList(HANDLE file, const GUID* listType, LONGLONG* start) {
  if (!listType || !start) return E_POINTER;
  std::int64_t pos = 0;
  if (!FileTell(file, &pos)) return ZOERR_FILE_WRITE;
  *start = pos;
  return FAILED(riff64_WriteListHeader(file, listType, 0)) ? ZOERR_FILE_WRITE : S_OK;
}

HRESULT riff64_CompleteChunk(HANDLE file, LONGLONG start) {
  VANE_RETURN_IF_FAILED(riff64_Pad(file, start));
  std::int64_t end = 0;
  if (!FileTell(file, &end)) return ZOERR_FILE_WRITE;
  BYTE b[8];
  PutLe64(b, ULONGLONG(end - start));  // the padded length, header included
  HRESULT hr = S_OK;
  if (!FileSeek(file, start + 16, FILE_BEGIN) || !FileWriteExact(file, b, 8)) hr = ZOERR_FILE_WRITE;
  FileSeek(file, end, FILE_BEGIN);
  return hr;
}

HRESULT riff64_WriteChunkToFile(HANDLE file, const GUID* id, const void* data, DWORD size) {
  LONGLONG start = 0;
  VANE_RETURN_IF_FAILED(riff64_PrepareChunk(file, id, &start));
  VANE_RETURN_IF_FAILED(riff64_WriteToFile(file, data, size));
  return riff64_CompleteChunk(file, start);
}

namespace {
constexpr ZoW64Label kLabels[] = {
    {kW64_riff, "RIFF"}, {kW64_list, "LIST"},       {kW64_wave, "WAVE"}, {kW64_fmt, "fmt "},
    {kW64_data, "data"}, {kW64_junk, "JUNK"},       {kW64_bext, "bext"}, {kW64_cue, "cue "},
    {kW64_info, "LIST/INFO"}, {kW64_scot, "scot"}, {kW64_plst, "plst"}, {kW64_tlst, "tlst"},
    {kW64_DISP, "DISP"}, {kW64_smpl, "smpl"},       {kW64_CDif, "CDif"}, {kW64_zo03, "zo03"},
    {kW64_zo04, "zo04"}, {kW64_str2, "str2"},       {kW64_bmrk, "bmrk"}, {kW64_dtbt, "dtbt"},
    {kW64_bmpi, "bmpi"}, {kW64_bmpm, "bmpm"},       {kW64_pic, "LIST/pic "},
};
}  // namespace

const ZoW64Label* ZoW64_KnownLabels(size_t* count) {
  if (count) *count = sizeof(kLabels) / sizeof(kLabels[0]);
  return kLabels;
}
