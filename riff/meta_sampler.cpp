// SPDX-License-Identifier: MIT
#include "riff/meta_sampler.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "platform/memory.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

namespace {

using fileutil::ZOMETAITEMHEADER;
using fileutil::ZOMETASTREAMHEADER;

// {07A22A98-F29A-4FA4-B7B5-57C9D371DB38}, the sampler kind.
constexpr GUID kSamplerGuid = VANE_GUID(0x07A22A98, 0xF29A, 0x4FA4, 0xB7, 0xB5, 0x57, 0xC9, 0xD3, 0x71, 0xDB, 0x38);
constexpr DWORD kMaxSamplerData = 1u << 20;

DWORD Le32(const BYTE* p) { return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24; }

// Frees a block handed in, refusing one that still counts items.
HRESULT TakeBlock(BYTE** block) {
  if (!block) return E_INVALIDARG;
  if (*block) {
    ZOMETASTREAMHEADER head{};
    std::memcpy(&head, *block, sizeof head);
    if (head.count != 0) return E_INVALIDARG;
    GlobalFree(*block);
    *block = nullptr;
  }
  return S_OK;
}

// A framed block: stream header, and the record as one item when given.
HRESULT Frame(const std::vector<BYTE>* record, BYTE** block, DWORD* size) {
  const DWORD bytes = DWORD(sizeof(ZOMETASTREAMHEADER) + (record ? sizeof(ZOMETAITEMHEADER) + record->size() : 0));
  *block = static_cast<BYTE*>(GlobalAlloc(GPTR, bytes));
  if (!*block) return E_OUTOFMEMORY;
  ZOMETASTREAMHEADER stream{};
  stream.cbHeader = sizeof stream;
  stream.version = 100;
  stream.count = record ? 1 : 0;
  stream.guid = kSamplerGuid;
  std::memcpy(*block, &stream, sizeof stream);
  if (record) {
    ZOMETAITEMHEADER item{};
    item.cbHeader = sizeof item;
    item.version = 100;
    item.guid = kSamplerGuid;
    item.cbData = DWORD(record->size());
    std::memcpy(*block + sizeof stream, &item, sizeof item);
    std::memcpy(*block + sizeof stream + sizeof item, record->data(), record->size());
  }
  if (size) *size = bytes;
  return S_OK;
}

// Reads the chunk body the position stands at (size bytes) into the record.
HRESULT ReadSampler(HANDLE file, ULONGLONG size, DWORD rate, std::vector<BYTE>* record) {
  if (size < 36) return ZOERR_FILE_READ;
  BYTE head[36];
  if (!vane::riff::FileReadExact(file, head, 36)) return ZOERR_FILE_READ;
  ZOSAMPLERHEAD h{};
  std::memcpy(&h, head, 36);
  h.samplePeriod = rate ? 1000000000u / rate : 22675u;
  const DWORD stored = h.loopCount;
  h.loopCount = stored < ZOSAMPLER_MAX_LOOPS ? stored : ZOSAMPLER_MAX_LOOPS;
  // The loops read must be in the chunk; sampler data stops at its end.
  const ULONGLONG loopBytes = ULONGLONG(h.loopCount) * 24;
  if (36 + loopBytes > size) h.loopCount = DWORD((size - 36) / 24);
  std::vector<ZOSAMPLERLOOP> loops;
  for (DWORD i = 0; i < h.loopCount; ++i) {
    BYTE l[24];
    if (!vane::riff::FileReadExact(file, l, 24)) return ZOERR_FILE_READ;
    const DWORD start = Le32(l + 8), end = Le32(l + 12);
    loops.push_back({Le32(l), Le32(l + 4), LONGLONG(start), LONGLONG(end) - LONGLONG(start) + 1, Le32(l + 16),
                     Le32(l + 20)});
  }
  const ULONGLONG afterLoops = 36 + ULONGLONG(h.loopCount) * 24;
  DWORD data = h.samplerDataBytes;
  if (data > kMaxSamplerData || afterLoops + data > size) data = DWORD(std::min<ULONGLONG>(size - afterLoops, kMaxSamplerData));
  h.samplerDataBytes = data;
  record->assign(ZOSAMPLER_RECORD_BYTES + data, 0);
  std::memcpy(record->data(), &h, sizeof h);
  for (size_t i = 0; i < loops.size(); ++i) std::memcpy(record->data() + 36 + i * 32, &loops[i], 32);
  // The data follows the second loop's place, as many bytes as the header says.
  if (data && !vane::riff::FileReadExact(file, record->data() + ZOSAMPLER_RECORD_BYTES, data)) return ZOERR_FILE_READ;
  return S_OK;
}

}  // namespace

namespace {

// The block for a chunk the search found (or not): the record, or a lone
// stream header with the failure.
HRESULT FrameChunk(HANDLE file, HRESULT found, ULONGLONG chunk, DWORD rate, BYTE** block, DWORD* size) {
  std::vector<BYTE> record;
  const HRESULT hr = FAILED(found) ? found : ReadSampler(file, chunk, rate, &record);
  if (FAILED(hr)) {
    VANE_RETURN_IF_FAILED(Frame(nullptr, block, size));
    return hr;
  }
  return Frame(&record, block, size);
}

}  // namespace

VANE_EXTERN_C HRESULT ZoFMMeta_fillSamplerinfoFromFileEx(HANDLE file, BYTE** block, DWORD* size, BOOL isAiff,
                                                         DWORD rate) {
  VANE_RETURN_IF_FAILED(TakeBlock(block));
  if (isAiff) return Frame(nullptr, block, size) == S_OK ? ZOERR_NOT_FOUND : E_OUTOFMEMORY;
  DWORD chunk = 0;
  const HRESULT found = riff_FindChunkHeaderInRIFF(file, ZoFourCC("smpl"), &chunk, nullptr);
  return FrameChunk(file, found, chunk, rate, block, size);
}

VANE_EXTERN_C HRESULT ZoFMMeta64_fillSamplerinfoFromFileEx(HANDLE file, BYTE** block, DWORD* size, DWORD rate) {
  VANE_RETURN_IF_FAILED(TakeBlock(block));
  ULONGLONG chunk = 0;
  const HRESULT found = riff64_FindChunkHeaderInRIFF(file, &kW64_smpl, &chunk, nullptr);
  return FrameChunk(file, found, chunk, rate, block, size);
}
