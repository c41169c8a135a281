// SPDX-License-Identifier: MIT
// Classic RIFF over a file handle.
#include "riff/riff_api.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/detail/chunk_walk.h"
#include "riff/detail/file_access.h"

using namespace vane::riff;
using vane::riff::detail::ClassicCodec;
using vane::riff::detail::FileSource;

namespace {

constexpr std::uint64_t Even(std::uint64_t n) { return ClassicCodec::Round(n); }

}  // namespace

HRESULT riff_ValidateChunkHeader(DWORD, LONG size) {
  if (size < 0) return ZOERR_NEWER_VERSION;
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
  FileSource src(file);
  return detail::ReadData<ClassicCodec>(src, buffer, size);
}

HRESULT riff_ReadDataBounded(HANDLE file, void* buffer, DWORD wanted, DWORD chunkSize) {
  const DWORD n = std::min(wanted, chunkSize);
  if (n && !buffer) return E_POINTER;
  // Skips (wanted - n) + pad: exact for wanted == chunkSize, the usual call.
  FileSource src(file);
  return detail::ReadThenSkip(src, buffer, n, std::uint64_t(wanted - n) + (chunkSize & 1));
}

HRESULT riff_ReadDataAlloc(HANDLE file, ZORIFFDATA* data) {
  if (!data) return E_POINTER;
  FileSource src(file);
  return detail::ReadDataAlloc<ClassicCodec>(src, data);
}

HRESULT riff_SetRIFFSize(HANDLE file, DWORD size) {
  BYTE b[4];
  detail::PutLe32(b, size);
  return FileSource(file).PatchAt(4, b, 4);
}

HRESULT riff_UpdateRIFFSize(HANDLE file, LONGLONG delta) {
  std::int64_t keep = 0;
  if (!FileTell(file, &keep)) return ZOERR_FILE_READ;
  BYTE b[4];
  HRESULT hr = S_OK;
  if (!FileSeek(file, 4, FILE_BEGIN) || !FileReadExact(file, b, 4)) {
    hr = ZOERR_FILE_READ;
  } else {
    const DWORD old = detail::Le32(b);
    const LONGLONG grown = LONGLONG(old) + delta;
    if (grown >= 0 && grown > 0xFFFFFFF7LL) {
      // Keep the file within the 32-bit limit: cut it back to what the old
      // size field describes. A size field that lies beyond the file's end
      // never makes the file longer.
      std::int64_t length = 0;
      if (FileSeek(file, 0, FILE_END, &length) && LONGLONG(old) + 8 < length &&
          FileSeek(file, LONGLONG(old) + 8, FILE_BEGIN))
        FileTruncate(file);
      hr = ZOERR_FILE_TOO_LARGE;
    } else {
      detail::PutLe32(b, DWORD(std::uint64_t(grown)));  // a negative sum wraps
      if (!FileSeek(file, 4, FILE_BEGIN) || !FileWriteExact(file, b, 4)) hr = ZOERR_FILE_WRITE;
    }
  }
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT riff_GetFileSize(HANDLE file, DWORD* size) {
  FileSource src(file);
  DWORD afterForm = 0;
  if (!src.SeekTo(0)) return ZOERR_FILE_READ;
  const HRESULT hr = ClassicCodec::ReadFileID(src, &afterForm, nullptr);
  if (size) *size = FAILED(hr) ? 0 : afterForm + 8;
  return hr;
}

HRESULT riff_WriteChunkHeader(HANDLE file, DWORD id, DWORD size) {
  FileSource src(file);
  return ClassicCodec::WriteHeader(src, id, size);
}

HRESULT riff_WriteChunk(HANDLE file, DWORD id, const void* data, DWORD size, DWORD* written) {
  if (size && !data) return E_POINTER;
  VANE_RETURN_IF_FAILED(riff_WriteChunkHeader(file, id, size));
  if (!FileWriteExact(file, data, size)) return ZOERR_FILE_WRITE;
  if (size & 1) {
    const BYTE zero = 0;
    if (!FileWriteExact(file, &zero, 1)) return ZOERR_FILE_WRITE;
  }
  if (written) *written = DWORD(Even(size) + 8);
  return S_OK;
}

HRESULT riff_WriteListHeader(HANDLE file, DWORD listType, DWORD size) {
  FileSource src(file);
  return ClassicCodec::WriteTypedHeader(src, kFourCC_LIST, size, listType);
}

HRESULT riff_WriteFileID(HANDLE file, DWORD formType, DWORD size) {
  FileSource src(file);
  return ClassicCodec::WriteTypedHeader(src, kFourCC_RIFF, size, formType);
}

HRESULT riff_ReadChunkHeader(HANDLE file, DWORD* id, DWORD* size) {
  FileSource src(file);
  return ClassicCodec::ReadHeader(src, id, size) ? S_OK : ZOERR_FILE_READ;
}

HRESULT riff_ReadListHeader(HANDLE file, DWORD* listType, DWORD* size) {
  FileSource src(file);
  return ClassicCodec::ReadListHeader(src, listType, size);
}

HRESULT riff_ReadFileID(HANDLE file, DWORD* size, DWORD* formType) {
  FileSource src(file);
  return ClassicCodec::ReadFileID(src, size, formType);
}

HRESULT riff_SeekDataStart(HANDLE file) { return FileSeek(file, 12, FILE_BEGIN) ? S_OK : ZOERR_FILE_READ; }

HRESULT riff_FindChunkHeader(HANDLE file, DWORD id, DWORD* size, DWORD* remaining) {
  FileSource src(file);
  return detail::FindChunk<ClassicCodec>(src, id, size, remaining);
}

HRESULT riff_FindChunkHeaderInRIFF(HANDLE file, DWORD id, DWORD* size, DWORD* remaining) {
  FileSource src(file);
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<ClassicCodec>(src, &r));
  const HRESULT hr = detail::FindChunk<ClassicCodec>(src, id, size, &r);
  if (remaining) *remaining = r;
  return hr;
}

HRESULT riff_FindListChunk(HANDLE file, DWORD listType, DWORD* size, DWORD* remaining) {
  FileSource src(file);
  return detail::FindList<ClassicCodec>(src, listType, size, remaining);
}

HRESULT riff_FindListChunkFromStart(HANDLE file, DWORD listType, DWORD* size) {
  FileSource src(file);
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<ClassicCodec>(src, &r));
  return detail::FindList<ClassicCodec>(src, listType, size, &r);
}

HRESULT riff_GetNumListEntries(HANDLE file, DWORD* count, DWORD* remaining) {
  if (!count) return E_POINTER;
  FileSource src(file);
  return detail::CountEntries<ClassicCodec>(src, count, remaining);
}

HRESULT riff_SeekListEntry(HANDLE file, DWORD index, DWORD* remaining) {
  FileSource src(file);
  return detail::SeekEntry<ClassicCodec>(src, index, remaining);
}

HRESULT riff_DeleteChunk(HANDLE file, DWORD id, DWORD* removed, BOOL isList) {
  if (removed) *removed = 0;
  FileSource src(file);
  DWORD r = 0, sz = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<ClassicCodec>(src, &r));
  VANE_RETURN_IF_FAILED(isList ? detail::FindList<ClassicCodec>(src, id, &sz, &r)
                               : detail::FindChunk<ClassicCodec>(src, id, &sz, &r));
  std::int64_t pos = 0, fileSize = 0;
  if (!FileTell(file, &pos) || !FileSize(file, &fileSize)) return ZOERR_FILE_READ;
  // A size that passes the end of the form or of the file would take the
  // chunks behind it along: refused before anything is written. (A LIST
  // too short for its type has wrapped to a huge size and is refused too.)
  if (sz > r || std::int64_t(sz) > fileSize - pos) return ZOERR_FILE_READ;
  const std::int64_t start = pos - 8 - (isList ? 4 : 0);
  // The last chunk may lack its pad byte.
  const std::uint64_t cut = std::min<std::uint64_t>(Even(sz) + 8 + (isList ? 4 : 0), std::uint64_t(fileSize - start));
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
