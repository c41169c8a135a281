// SPDX-License-Identifier: MIT
// Classic RIFF in memory. Positions are kept as offsets from pBase while
// computing, so that no pointer is ever formed outside the block.
#include "riff/mriff_api.h"

#include <algorithm>
#include <cstring>

#include "audio/mmreg.h"
#include "riff/detail/chunk_walk.h"

namespace detail = vane::riff::detail;
using detail::ClassicCodec;
using detail::MemorySource;

namespace {

constexpr std::uint64_t Even(std::uint64_t n) { return ClassicCodec::Round(n); }

std::int64_t Cur(_tMRIFF* c) { return MemorySource(c).Offset(); }
std::int64_t End(_tMRIFF* c) { return MemorySource(c).End(); }
void MoveTo(_tMRIFF* c, std::int64_t off) { MemorySource(c).MoveTo(off); }
void Advance(_tMRIFF* c, std::uint64_t n) { MemorySource(c).Skip(n); }

HRESULT WriteAll(_tMRIFF* c, const void* buffer, DWORD n) {
  return MemorySource(c).Write(buffer, n) ? S_OK : ZOERR_FILE_WRITE;
}

}  // namespace

HRESULT mriff_Init(_tMRIFF* c, void* block, DWORD dataSize, DWORD capacity) {
  if (!c) return E_POINTER;
  if (dataSize > capacity) return E_INVALIDARG;
  if (!block && capacity) return E_INVALIDARG;
  BYTE* base = static_cast<BYTE*>(block);
  c->pBase = base;
  c->pCursor = base;
  c->pDataEnd = base + dataSize;
  c->pCapacityEnd = base + capacity;
  c->cbData = dataSize;
  c->cbCapacity = capacity;
  return S_OK;
}

BYTE* mriff_GetFilePointer(_tMRIFF* c) { return c ? c->pCursor : nullptr; }

LONGLONG mriff_ZoSetFilePointer(_tMRIFF* c, LONGLONG distance, DWORD method) {
  if (!c) return 0;
  std::int64_t target = Cur(c);
  // Saturating: an absurd distance lands on an end of the block.
  auto add = [](std::int64_t a, LONGLONG d) {
    if (d > 0 && a > INT64_MAX - d) return INT64_MAX;
    if (d < 0 && a < INT64_MIN - d) return INT64_MIN;
    return a + d;
  };
  switch (method) {
    case 0: target = distance; break;
    case 1: target = add(Cur(c), distance); break;
    case 2: target = add(End(c), distance); break;
    default: break;  // no move, only the clamp
  }
  MoveTo(c, target);
  return Cur(c);
}

DWORD mriff_SetFilePointer(_tMRIFF* c, LONG distance, LONG*, DWORD method) {
  return DWORD(mriff_ZoSetFilePointer(c, distance, method));
}

BOOL mriff_ReadFile(_tMRIFF* c, void* buffer, DWORD count, DWORD* read, OVERLAPPED*) {
  if (read) *read = 0;
  if (!c) return FALSE;
  const std::uint64_t left = std::uint64_t(End(c) - Cur(c));
  const DWORD n = DWORD(std::min<std::uint64_t>(count, left));
  if (n) {
    if (!buffer) return FALSE;
    std::memcpy(buffer, c->pCursor, n);
  }
  c->pCursor += n;
  if (read) *read = n;
  return n == count;
}

BOOL mriff_WriteFile(_tMRIFF* c, const void* buffer, DWORD count, DWORD* written, OVERLAPPED*) {
  if (written) *written = 0;
  if (!c) return TRUE;
  const std::uint64_t room = std::uint64_t(c->pCapacityEnd - c->pCursor);
  const DWORD n = DWORD(std::min<std::uint64_t>(count, room));
  if (n && buffer) std::memmove(c->pCursor, buffer, n);
  c->pCursor += n;
  if (c->pCursor > c->pDataEnd) c->pDataEnd = c->pCursor;
  if (written) *written = n;
  return TRUE;
}

DWORD mriff_UpdateDataSize(_tMRIFF* c, DWORD delta) {
  if (!c) return 0;
  const DWORD n = DWORD(std::min<std::uint64_t>(delta, std::uint64_t(c->pCapacityEnd - c->pDataEnd)));
  c->pDataEnd += n;
  return n;
}

HRESULT mriff_SaveLocation(_tMRIFF* c, DWORD* location) {
  if (!c || !location) return E_POINTER;
  *location = DWORD(Cur(c));
  return S_OK;
}

HRESULT mriff_RestoreLocation(_tMRIFF* c, DWORD location) {
  if (!c) return E_POINTER;
  MoveTo(c, location);
  return S_OK;
}

DWORD mriff_SkipChunk(_tMRIFF* c, DWORD size) {
  const std::uint64_t rounded = Even(size);
  if (c) Advance(c, rounded);
  return DWORD(rounded);
}

HRESULT mriff_SeekDataStart(_tMRIFF* c) {
  if (!c) return E_POINTER;
  MoveTo(c, 12);
  return S_OK;
}

HRESULT mriff_ReadData(_tMRIFF* c, void* buffer, DWORD size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return detail::ReadData<ClassicCodec>(src, buffer, size);
}

HRESULT mriff_ReadDataBounded(_tMRIFF* c, void* buffer, DWORD wanted, DWORD chunkSize) {
  if (!c) return E_POINTER;
  const DWORD n = std::min(wanted, chunkSize);
  // The memory form skips to the chunk's end: (chunkSize - n) + pad.
  MemorySource src(c);
  return detail::ReadThenSkip(src, buffer, n, std::uint64_t(chunkSize - n) + (chunkSize & 1));
}

HRESULT mriff_ReadDataAlloc(_tMRIFF* c, ZORIFFDATA* data) {
  if (!c || !data) return E_POINTER;
  // The memory source refuses what the block cannot hold before allocating.
  MemorySource src(c);
  return detail::ReadDataAlloc<ClassicCodec>(src, data);
}

HRESULT mriff_ReadChunkHeader(_tMRIFF* c, DWORD* id, DWORD* size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::ReadHeader(src, id, size) ? S_OK : ZOERR_FILE_READ;
}

HRESULT mriff_ReadListHeader(_tMRIFF* c, DWORD* listType, DWORD* size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::ReadListHeader(src, listType, size);
}

HRESULT mriff_ReadFileID(_tMRIFF* c, DWORD* size, DWORD* formType) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::ReadFileID(src, size, formType);
}

HRESULT mriff_FindChunkHeader(_tMRIFF* c, DWORD id, DWORD* size, DWORD* remaining) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return detail::FindChunk<ClassicCodec>(src, id, size, remaining);
}

HRESULT mriff_FindChunkHeaderInRIFF(_tMRIFF* c, DWORD id, DWORD* size, DWORD* remaining) {
  if (!c) return E_POINTER;
  if (remaining && *remaining < 12) return ZOERR_NOT_FOUND;
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(mriff_ReadFileID(c, &r, nullptr));
  const HRESULT hr = mriff_FindChunkHeader(c, id, size, &r);
  if (remaining) *remaining = r;
  return hr;
}

HRESULT mriff_FindListChunk(_tMRIFF* c, DWORD listType, DWORD* size, DWORD* remaining) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return detail::FindList<ClassicCodec>(src, listType, size, remaining);
}

HRESULT mriff_FindListChunkFromStart(_tMRIFF* c, DWORD listType, DWORD* size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  DWORD r = 0;
  VANE_RETURN_IF_FAILED(detail::StartOfForm<ClassicCodec>(src, &r));
  return detail::FindList<ClassicCodec>(src, listType, size, &r);
}

HRESULT mriff_GetNumListEntries(_tMRIFF* c, DWORD* count, DWORD* remaining) {
  if (!c || !count) return E_POINTER;
  MemorySource src(c);
  return detail::CountEntries<ClassicCodec>(src, count, remaining);
}

HRESULT mriff_GetInfoString(_tMRIFF* c, DWORD id, void* buffer, DWORD bufferSize, DWORD* remaining) {
  if (!c || !buffer) return E_POINTER;
  const std::int64_t keep = Cur(c);
  DWORD listSize = 0, chunkSize = 0;
  HRESULT hr = mriff_FindListChunk(c, kFourCC_INFO, &listSize, remaining);
  if (SUCCEEDED(hr)) {
    DWORD left = listSize;
    hr = mriff_FindChunkHeader(c, id, &chunkSize, &left);
    if (SUCCEEDED(hr)) hr = mriff_ReadDataBounded(c, buffer, std::min(left, bufferSize), std::min(left, bufferSize));
  }
  MoveTo(c, keep);
  return hr;
}

HRESULT mriff_WriteChunkHeader(_tMRIFF* c, DWORD id, DWORD size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::WriteHeader(src, id, size);
}

HRESULT mriff_WriteListHeader(_tMRIFF* c, DWORD listType, DWORD size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::WriteTypedHeader(src, kFourCC_LIST, size, listType);
}

HRESULT mriff_WriteFileID(_tMRIFF* c, DWORD formType, DWORD size) {
  if (!c) return E_POINTER;
  MemorySource src(c);
  return ClassicCodec::WriteTypedHeader(src, kFourCC_RIFF, size, formType);
}

HRESULT mriff_WriteWaveHeader(_tMRIFF* c, const WAVEFORMATEX* wfx, DWORD dataSize, DWORD extraSize) {
  if (!c || !wfx) return E_POINTER;
  WAVEFORMATEX body = *wfx;
  DWORD chunk = 18;
  if (wfx->wFormatTag == WAVE_FORMAT_PCM) {
    // PCM goes out as the 16-byte record with its derived fields computed.
    chunk = 16;
    body.nBlockAlign = WORD((wfx->wBitsPerSample >> 3) * wfx->nChannels);
    body.nAvgBytesPerSec = DWORD(wfx->wBitsPerSample >> 3) * wfx->nChannels * wfx->nSamplesPerSec;
  }
  const DWORD riffSize = DWORD(Even(std::uint64_t(extraSize) + 20 + dataSize + chunk));
  BYTE head[20];
  detail::PutLe32(head, kFourCC_RIFF);
  detail::PutLe32(head + 4, riffSize);
  detail::PutLe32(head + 8, kFourCC_WAVE);
  detail::PutLe32(head + 12, kFourCC_fmt);
  detail::PutLe32(head + 16, chunk);
  (void)WriteAll(c, head, 20);  // only the format body's copy is judged
  if (FAILED(WriteAll(c, &body, chunk))) return ZOERR_FILE_WRITE;
  BYTE tail[8];
  detail::PutLe32(tail, kFourCC_data);
  detail::PutLe32(tail + 4, dataSize);
  (void)WriteAll(c, tail, 8);
  return S_OK;
}

HRESULT mriff_GetWfx(WAVEFORMATEX* wfx, const void* block, DWORD size, DWORD* dataSize) {
  if (!wfx || !block) return E_POINTER;
  _tMRIFF c;
  VANE_RETURN_IF_FAILED(mriff_Init(&c, const_cast<void*>(block), size, size));
  DWORD r = 0, form = 0, fmtSize = 0, dsize = 0;
  VANE_RETURN_IF_FAILED(mriff_ReadFileID(&c, &r, &form));
  if (form != kFourCC_WAVE) return E_FAIL;
  const DWORD total = r;
  VANE_RETURN_IF_FAILED(mriff_FindChunkHeader(&c, kFourCC_fmt, &fmtSize, &r));
  const std::int64_t fmtAt = Cur(&c);
  MoveTo(&c, 12);
  r = total;
  VANE_RETURN_IF_FAILED(mriff_FindChunkHeader(&c, kFourCC_data, &dsize, &r));
  if (dataSize) *dataSize = dsize;
  std::memset(wfx, 0, sizeof(WAVEFORMATEX));
  const DWORD n = DWORD(std::min<std::uint64_t>({fmtSize, 18, std::uint64_t(End(&c) - fmtAt)}));
  std::memcpy(wfx, c.pBase + fmtAt, n);
  return S_OK;
}
