// SPDX-License-Identifier: MIT
// Wave64 over a file handle. On disk a chunk's size counts its 24-byte
// header; in these interfaces sizes are data sizes.
#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"
#include "riff/detail/chunk_walk.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

using namespace vane::riff;

using vane::riff::detail::FileSource;
using vane::riff::detail::Wave64Codec;

namespace {

constexpr std::uint64_t Pad8(std::uint64_t n) { return Wave64Codec::Round(n); }
constexpr LONGLONG kHeader = Wave64Codec::kHeaderBytes;

HRESULT WriteHeader(HANDLE file, const GUID& id, ULONGLONG stored) {
  FileSource src(file);
  return Wave64Codec::WriteHeader(src, id, stored);
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
  if ((u & 7) || ((u >> 32) & 8)) return ZOERR_NEWER_VERSION;
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
  FileSource src(file);
  return detail::ReadData<Wave64Codec>(src, buffer, size);
}

HRESULT riff64_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize) {
  const DWORD n = std::min(wanted, chunkSize);
  if (n && !buffer) return E_POINTER;
  // (chunkSize & 7) - n + wanted: with wanted == chunkSize this skips
  // chunkSize & 7 bytes; callers position themselves by search afterwards.
  FileSource src(file);
  return detail::ReadThenSkip(src, buffer, n, std::uint64_t(chunkSize & 7) + (wanted - n));
}

HRESULT riff64_ReadDataAlloc(HANDLE file, ZORIFFDATA* data) {
  if (!data) return E_POINTER;
  FileSource src(file);
  return detail::ReadDataAlloc<Wave64Codec>(src, data);
}

HRESULT riff64_SetRIFFSize(HANDLE file, ULONGLONG size) {
  BYTE b[8];
  detail::PutLe64(b, size + kHeader);
  return FileSource(file).PatchAt(16, b, 8);
}

HRESULT riff64_UpdateRIFFSize(HANDLE file, LONGLONG delta) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  BYTE b[8];
  HRESULT hr = S_OK;
  if (!FileSeek(file, 16, FILE_BEGIN) || !FileReadExact(file, b, 8)) {
    hr = ZOERR_FILE_READ;
  } else {
    detail::PutLe64(b, detail::Le64(b) + ULONGLONG(delta));
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
  FileSource src(file);
  return Wave64Codec::ReadHeader(src, id, size) ? S_OK : ZOERR_FILE_READ;
}

HRESULT riff64_ReadListHeader(HANDLE file, GUID* listType, ULONGLONG* size) {
  BYTE h[40];
  if (!FileReadExact(file, h, 40)) return ZOERR_FILE_READ;
  if (std::memcmp(h, &kW64_list, 16) != 0) return ZOERR_NO_LIST;
  if (listType) std::memcpy(listType, h + 24, 16);
  if (size) *size = detail::Le64(h + 16) - kHeader - 16;
  return S_OK;
}

HRESULT riff64_ReadFileID(HANDLE file, ULONGLONG* size, GUID* formType) {
  FileSource src(file);
  return Wave64Codec::ReadFileID(src, size, formType);
}

HRESULT riff64_SeekDataStart(HANDLE file) { return FileSeek(file, 40, FILE_BEGIN) ? S_OK : ZOERR_FILE_READ; }

HRESULT riff64_FindChunkHeader(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining) {
  if (!id) return E_POINTER;
  FileSource src(file);
  return detail::FindChunk<Wave64Codec>(src, *id, size, remaining);
}

HRESULT riff64_FindChunkHeaderInRIFF(HANDLE file, const GUID* id, ULONGLONG* size, LONGLONG* remaining) {
  FileSource src(file);
  LONGLONG r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<Wave64Codec>(src, &r));
  const HRESULT hr = riff64_FindChunkHeader(file, id, size, &r);
  if (remaining) *remaining = r;
  return hr;
}

HRESULT riff64_FindListChunk(HANDLE file, const GUID* listType, ULONGLONG* size, LONGLONG* remaining) {
  if (!listType) return E_POINTER;
  FileSource src(file);
  return detail::FindList<Wave64Codec>(src, *listType, size, remaining);
}

HRESULT riff64_FindListChunkFromStart(HANDLE file, const GUID* listType, ULONGLONG* size) {
  FileSource src(file);
  LONGLONG r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<Wave64Codec>(src, &r));
  return riff64_FindListChunk(file, listType, size, &r);
}

HRESULT riff64_GetNumListEntries(HANDLE file, DWORD* count, LONGLONG* remaining) {
  if (!count) return E_POINTER;
  FileSource src(file);
  return detail::CountEntries<Wave64Codec>(src, count, remaining);
}

HRESULT riff64_SeekListEntry(HANDLE file, DWORD index, LONGLONG* remaining) {
  FileSource src(file);
  return detail::SeekEntry<Wave64Codec>(src, index, remaining);
}

HRESULT riff64_DeleteChunk(HANDLE file, const GUID* id, ULONGLONG* removed) {
  if (!id) return E_POINTER;
  if (removed) *removed = 0;
  FileSource src(file);
  ULONGLONG sz = 0;
  LONGLONG r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<Wave64Codec>(src, &r));
  VANE_RETURN_IF_FAILED(detail::FindChunk<Wave64Codec>(src, *id, &sz, &r));
  std::int64_t pos = 0, fileSize = 0;
  if (!FileTell(file, &pos) || !FileSize(file, &fileSize)) return ZOERR_FILE_READ;
  // A size that passes the end of the form or of the file would take the
  // chunks behind it along: refused before anything is written.
  if (r < 0 || sz > ULONGLONG(r) || sz > ULONGLONG(fileSize - pos)) return ZOERR_FILE_READ;
  const std::int64_t start = pos - kHeader;
  // The last chunk may lack its padding.
  const ULONGLONG cut = std::min<ULONGLONG>(Pad8(sz) + kHeader, ULONGLONG(fileSize - start));
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
  detail::PutLe64(b, ULONGLONG(end - start));  // the padded length, header included
  return FileSource(file).PatchAt(start + 16, b, 8);
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
