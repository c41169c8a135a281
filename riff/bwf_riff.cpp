// SPDX-License-Identifier: MIT
#include "riff/bwf_riff.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "platform/file.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

namespace {

using vane::riff::FileReadExact;
using vane::riff::FileSeek;
using vane::riff::FileWriteExact;

constexpr DWORD kFourCC_bext = ZoFourCC("bext");
constexpr DWORD kFourCC_BEXT = ZoFourCC("BEXT");
constexpr DWORD kFourCC_iXML = ZoFourCC("iXML");
constexpr HRESULT kNotWave = MakeStatus(0x8004E00A);

std::int64_t FileLength(HANDLE file) {
  LARGE_INTEGER size{};
  return GetFileSizeEx(file, &size) ? size.QuadPart : -1;
}

// What the classic and Wave64 layers differ in.
struct Classic {
  using Id = DWORD;
  static constexpr std::int64_t kHeader = 8;
  static constexpr DWORD kAlign = 2;
  static HRESULT Form(HANDLE file, ULONGLONG* riffEnd) {
    DWORD size = 0, form = 0;
    if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
    VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &size, &form));
    if (form != kFourCC_WAVE) return kNotWave;
    *riffEnd = ULONGLONG{size} + 12;  // the size read leaves out the form type
    return S_OK;
  }
  static HRESULT Find(HANDLE file, Id id, ULONGLONG* size) {
    DWORD s = 0;
    const HRESULT hr = riff_FindChunkHeaderInRIFF(file, id, &s, nullptr);
    *size = s;
    return hr;
  }
  static bool IdsFor(int chunk, Id* ids, int* count) {
    if (chunk == BWF_CHUNK_BEXT) {
      ids[0] = kFourCC_bext;
      ids[1] = kFourCC_BEXT;
      *count = 2;
    } else {
      ids[0] = kFourCC_iXML;
      *count = 1;
    }
    return true;
  }
  static HRESULT WriteJunkId(HANDLE file) {
    const DWORD junk = kFourCC_JUNK;
    return FileWriteExact(file, &junk, 4) ? S_OK : ZOERR_FILE_WRITE;
  }
  static HRESULT WriteHeader(HANDLE file, Id id, DWORD size) { return riff_WriteChunkHeader(file, id, (size + 1) & ~1u); }
  static HRESULT Grow(HANDLE file, LONGLONG delta) { return riff_UpdateRIFFSize(file, delta); }
  static HRESULT Delete(HANDLE file, Id id, ULONGLONG* removed) {
    DWORD r = 0;
    const HRESULT hr = riff_DeleteChunk(file, id, &r, FALSE);
    *removed = r;
    return hr;
  }
  static HRESULT FormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
    return ReadFilePropsFromFormatChunk(file, rate, bits, channels);
  }
};

struct Wave64 {
  using Id = GUID;
  static constexpr std::int64_t kHeader = 24;
  static constexpr DWORD kAlign = 8;
  static HRESULT Form(HANDLE file, ULONGLONG* riffEnd) {
    ULONGLONG size = 0;
    GUID form{};
    if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
    VANE_RETURN_IF_FAILED(riff64_ReadFileID(file, &size, &form));
    if (!IsEqualGUID(form, kW64_wave)) return kNotWave;
    *riffEnd = size + 40;  // the size read leaves out the 40-byte head
    return S_OK;
  }
  static HRESULT Find(HANDLE file, Id id, ULONGLONG* size) { return riff64_FindChunkHeaderInRIFF(file, &id, size, nullptr); }
  static bool IdsFor(int chunk, Id* ids, int* count) {
    ids[0] = chunk == BWF_CHUNK_BEXT ? kW64_bext_chunk : kW64_iXML;
    *count = 1;
    return true;
  }
  static HRESULT WriteJunkId(HANDLE file) { return FileWriteExact(file, &kW64_junk, 16) ? S_OK : ZOERR_FILE_WRITE; }
  static HRESULT WriteHeader(HANDLE file, Id id, DWORD size) { return riff64_WriteChunkHeader(file, &id, size); }
  static HRESULT Grow(HANDLE file, LONGLONG delta) { return riff64_UpdateRIFFSize(file, delta); }
  static HRESULT Delete(HANDLE file, Id id, ULONGLONG* removed) { return riff64_DeleteChunk(file, &id, removed); }
  static HRESULT FormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
    return ReadFilePropsFromFormatChunk64(file, rate, bits, channels);
  }
};

// RF64 and BW64: classic chunks whose form and data sizes live in "ds64".
// The form ends where ds64 says (never past the file), chunks are walked
// from the start with the data chunk's real size, appends grow the ds64
// size, and a delete only relabels: the audio never moves.
struct Rf64 {
  using Id = DWORD;
  static constexpr std::int64_t kHeader = 8;
  static constexpr DWORD kAlign = 2;
  struct Ds64 {
    ULONGLONG riffSize = 0, dataSize = 0;
  };
  static HRESULT ReadDs64(HANDLE file, Ds64* ds64) {
    BYTE head[36];
    if (!FileSeek(file, 0, FILE_BEGIN) || !FileReadExact(file, head, sizeof head)) return ZOERR_FILE_READ;
    if ((std::memcmp(head, "RF64", 4) != 0 && std::memcmp(head, "BW64", 4) != 0) || std::memcmp(head + 8, "WAVE", 4) != 0)
      return kNotWave;
    if (std::memcmp(head + 12, "ds64", 4) != 0) return ZOERR_FILE_CORRUPT;
    std::memcpy(&ds64->riffSize, head + 20, 8);
    std::memcpy(&ds64->dataSize, head + 28, 8);
    return S_OK;
  }
  static HRESULT Form(HANDLE file, ULONGLONG* riffEnd) {
    Ds64 ds64;
    VANE_RETURN_IF_FAILED(ReadDs64(file, &ds64));
    const std::int64_t length = FileLength(file);
    if (length < 0) return ZOERR_FILE_READ;
    *riffEnd = ds64.riffSize > ULONGLONG(length) - 8 ? ULONGLONG(length) : ds64.riffSize + 8;
    return S_OK;
  }
  // Leaves the file at the chunk's body.
  static HRESULT Find(HANDLE file, Id id, ULONGLONG* size) {
    *size = 0;
    Ds64 ds64;
    VANE_RETURN_IF_FAILED(ReadDs64(file, &ds64));
    ULONGLONG end = 0;
    VANE_RETURN_IF_FAILED(Form(file, &end));
    ULONGLONG pos = 12;
    while (pos + 8 <= end) {
      BYTE head[8];
      if (!FileSeek(file, std::int64_t(pos), FILE_BEGIN) || !FileReadExact(file, head, 8)) return ZOERR_FILE_READ;
      DWORD chunkId = 0, chunkSize = 0;
      std::memcpy(&chunkId, head, 4);
      std::memcpy(&chunkSize, head + 4, 4);
      ULONGLONG real = chunkSize;
      if (chunkSize == 0xFFFFFFFF && chunkId == kFourCC_data) real = ds64.dataSize;
      if (chunkId == id) {
        *size = real;
        return S_OK;
      }
      pos += 8 + real + (real & 1);
    }
    return ZOERR_NOT_FOUND;
  }
  static bool IdsFor(int chunk, Id* ids, int* count) { return Classic::IdsFor(chunk, ids, count); }
  static HRESULT WriteJunkId(HANDLE file) { return Classic::WriteJunkId(file); }
  static HRESULT WriteHeader(HANDLE file, Id id, DWORD size) { return Classic::WriteHeader(file, id, size); }
  static HRESULT Grow(HANDLE file, LONGLONG delta) {
    Ds64 ds64;
    VANE_RETURN_IF_FAILED(ReadDs64(file, &ds64));
    const ULONGLONG riffSize = ds64.riffSize + ULONGLONG(delta);
    if (!FileSeek(file, 20, FILE_BEGIN) || !FileWriteExact(file, &riffSize, 8)) return ZOERR_FILE_WRITE;
    return S_OK;
  }
  static HRESULT Delete(HANDLE file, Id id, ULONGLONG* removed) {
    *removed = 0;
    ULONGLONG size = 0;
    VANE_RETURN_IF_FAILED(Find(file, id, &size));
    std::int64_t body = 0;
    if (!FileSeek(file, 0, FILE_CURRENT, &body) || !FileSeek(file, body - 8, FILE_BEGIN)) return ZOERR_FILE_WRITE;
    return WriteJunkId(file);
  }
  static HRESULT FormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels);
};

bool IsRf64File(HANDLE file) {
  Rf64::Ds64 ds64;
  return SUCCEEDED(Rf64::ReadDs64(file, &ds64));
}

template <typename Layer>
HRESULT ReadProps(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
  ULONGLONG end = 0;
  VANE_RETURN_IF_FAILED(Layer::Form(file, &end));
  ULONGLONG size = 0;
  typename Layer::Id fmt{};
  if constexpr (std::is_same_v<Layer, Wave64>) fmt = kW64_fmt;
  else fmt = kFourCC_fmt;
  VANE_RETURN_IF_FAILED(Layer::Find(file, fmt, &size));
  if (size < 16) return ZOERR_BAD_FORMAT;
  BYTE head[16];
  if (!FileReadExact(file, head, 16)) return ZOERR_FILE_READ;
  if (channels) *channels = static_cast<WORD>(head[2] | (head[3] << 8));
  if (rate) *rate = static_cast<DWORD>(head[4] | (head[5] << 8) | (head[6] << 16) | (DWORD{head[7]} << 24));
  if (bits) *bits = static_cast<WORD>(head[14] | (head[15] << 8));
  return FileSeek(file, Layer::kHeader + (std::is_same_v<Layer, Wave64> ? 16 : 4), FILE_BEGIN) ? S_OK : ZOERR_FILE_READ;
}

HRESULT Rf64::FormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
  return ReadProps<Rf64>(file, rate, bits, channels);
}

// Reads a whole chunk body found by one of the ids; S_FALSE when none is there.
template <typename Layer>
HRESULT ReadChunk(HANDLE file, int chunk, std::vector<BYTE>* body) {
  typename Layer::Id ids[2];
  int count = 0;
  Layer::IdsFor(chunk, ids, &count);
  for (int i = 0; i < count; ++i) {
    ULONGLONG size = 0;
    const HRESULT hr = Layer::Find(file, ids[i], &size);
    if (FAILED(hr)) continue;
    if (size < 4) return ZOERR_BAD_FORMAT;
    // A size that claims more than the file holds is read as far as the file goes.
    const std::int64_t length = FileLength(file);
    std::int64_t here = 0;
    FileSeek(file, 0, FILE_CURRENT, &here);
    const ULONGLONG available = length > here ? ULONGLONG(length - here) : 0;
    const ULONGLONG take = std::min<ULONGLONG>({size, available, 0x7FFFFFFF});
    try {
      body->assign(take + 1, 0);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    if (take && !FileReadExact(file, body->data(), static_cast<DWORD>(take))) return ZOERR_FILE_READ;
    body->pop_back();  // the terminator byte stays allocated behind the data
    return S_OK;
  }
  return S_FALSE;
}

template <typename Layer>
HRESULT LoadInfo(HANDLE file, _tagZOBWF_Chunk* record, BOOL* found) {
  if (!record || !found) return E_INVALIDARG;
  *found = FALSE;
  VANE_RETURN_IF_FAILED(Layer::FormatChunk(file, &record->sampleRate, &record->bitsPerSample, &record->channels));
  record->flags |= ZOBWF_FLAG_FORMAT;
  std::vector<BYTE> body;
  HRESULT hr = ReadChunk<Layer>(file, BWF_CHUNK_BEXT, &body);
  if (FAILED(hr)) return hr;
  if (hr == S_OK) {
    VANE_RETURN_IF_FAILED(ExtractBextContent(body.data(), static_cast<DWORD>(body.size()), record));
    *found = TRUE;
  }
  hr = ReadChunk<Layer>(file, BWF_CHUNK_IXML, &body);
  // An iXML block that does not parse leaves the bext values in place.
  if (hr == S_OK && SUCCEEDED(ExtractIxmlContent(body.data(), static_cast<DWORD>(body.size()), record))) *found = TRUE;
  return S_OK;
}

template <typename Layer>
HRESULT Append(HANDLE file, typename Layer::Id id, ULONGLONG riffEnd, const void* data, DWORD size, LONGLONG* delta) {
  // A form size that claims more than the file holds would put the chunk far
  // behind the end (a huge sparse file): the chunk goes at the end, aligned.
  static const BYTE zeros[8] = {};
  const std::int64_t length = FileLength(file);
  DWORD lead = 0;
  if (length >= 0 && riffEnd > ULONGLONG(length)) {
    riffEnd = ULONGLONG(length);
    lead = DWORD((Layer::kAlign - riffEnd % Layer::kAlign) % Layer::kAlign);
  }
  if (!FileSeek(file, static_cast<std::int64_t>(riffEnd), FILE_BEGIN)) return ZOERR_FILE_WRITE;
  if (lead && !FileWriteExact(file, zeros, lead)) return ZOERR_FILE_WRITE;
  VANE_RETURN_IF_FAILED(Layer::WriteHeader(file, id, size));
  if (size && !FileWriteExact(file, data, size)) return ZOERR_FILE_WRITE;
  const DWORD pad = (Layer::kAlign - (static_cast<DWORD>(Layer::kHeader) + size) % Layer::kAlign) % Layer::kAlign;
  if (pad && !FileWriteExact(file, zeros, pad)) return ZOERR_FILE_WRITE;
  const LONGLONG grown = Layer::kHeader + size + pad + lead;
  if (delta) *delta = grown;
  return Layer::Grow(file, grown);
}

template <typename Layer>
HRESULT UpdateStreamChunk(int chunk, HANDLE file, const void* data, DWORD size, LONGLONG* delta) {
  if (delta) *delta = 0;
  if (chunk != BWF_CHUNK_BEXT && chunk != BWF_CHUNK_IXML) return E_INVALIDARG;
  if (!data && size) return E_POINTER;
  VANE_RETURN_IF_FAILED(Layer::FormatChunk(file, nullptr, nullptr, nullptr));
  ULONGLONG riffEnd = 0;
  VANE_RETURN_IF_FAILED(Layer::Form(file, &riffEnd));
  typename Layer::Id ids[2];
  int count = 0;
  Layer::IdsFor(chunk, ids, &count);
  for (int i = 0; i < count; ++i) {
    ULONGLONG stored = 0;
    if (FAILED(Layer::Find(file, ids[i], &stored))) continue;
    std::int64_t body = 0;
    FileSeek(file, 0, FILE_CURRENT, &body);
    const std::int64_t length = FileLength(file);
    if (stored >= size && body + static_cast<std::int64_t>(stored) <= length) {
      // Patch: the body, then zeros to the stored size.
      if (size && !FileWriteExact(file, data, size)) return ZOERR_FILE_WRITE;
      std::vector<BYTE> zeros(static_cast<size_t>(std::min<ULONGLONG>(stored - size, 1 << 16)));
      for (ULONGLONG left = stored - size; left > 0;) {
        const DWORD n = static_cast<DWORD>(std::min<ULONGLONG>(left, zeros.size()));
        if (!FileWriteExact(file, zeros.data(), n)) return ZOERR_FILE_WRITE;
        left -= n;
      }
      return S_OK;
    }
    // Too small (or cut short by the end of the file): the old chunk becomes filler.
    if (!FileSeek(file, body - Layer::kHeader, FILE_BEGIN)) return ZOERR_FILE_WRITE;
    VANE_RETURN_IF_FAILED(Layer::WriteJunkId(file));
    break;
  }
  return Append<Layer>(file, ids[0], riffEnd, data, size, delta);
}

template <typename Layer>
HRESULT DeleteChunk(int chunk, HANDLE file, ULONGLONG* bytes) {
  if (bytes) *bytes = 0;
  if (chunk != BWF_CHUNK_BEXT && chunk != BWF_CHUNK_IXML) return S_OK;
  typename Layer::Id ids[2];
  int count = 0;
  Layer::IdsFor(chunk, ids, &count);
  for (int i = 0; i < count; ++i) {
    ULONGLONG removed = 0;
    const HRESULT hr = Layer::Delete(file, ids[i], &removed);
    if (hr == ZOERR_NOT_FOUND || hr == ZOERR_FILE_READ) continue;  // absent
    if (FAILED(hr)) return hr;
    if (bytes) *bytes += removed;
  }
  return S_OK;
}

template <typename Layer>
HRESULT DeleteAll(HANDLE file, ULONGLONG* bytes) {
  ULONGLONG a = 0, b = 0;
  VANE_RETURN_IF_FAILED(DeleteChunk<Layer>(BWF_CHUNK_BEXT, file, &a));
  VANE_RETURN_IF_FAILED(DeleteChunk<Layer>(BWF_CHUNK_IXML, file, &b));
  if (bytes) *bytes = a + b;
  return S_OK;
}

}  // namespace

VANE_EXTERN_C HRESULT ReadFilePropsFromFormatChunk(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
  return IsRf64File(file) ? ReadProps<Rf64>(file, rate, bits, channels) : ReadProps<Classic>(file, rate, bits, channels);
}
VANE_EXTERN_C HRESULT ReadFilePropsFromFormatChunk64(HANDLE file, DWORD* rate, WORD* bits, WORD* channels) {
  return ReadProps<Wave64>(file, rate, bits, channels);
}
VANE_EXTERN_C HRESULT bwfriff_LoadInfo(HANDLE file, _tagZOBWF_Chunk* record, BOOL* found) {
  return IsRf64File(file) ? LoadInfo<Rf64>(file, record, found) : LoadInfo<Classic>(file, record, found);
}
VANE_EXTERN_C HRESULT bwfriff64_LoadInfo(HANDLE file, _tagZOBWF_Chunk* record, BOOL* found) {
  return LoadInfo<Wave64>(file, record, found);
}
VANE_EXTERN_C HRESULT bwfriff_UpdateStreamChunk(int chunk, HANDLE file, const void* data, DWORD size, LONGLONG* delta) {
  return IsRf64File(file) ? UpdateStreamChunk<Rf64>(chunk, file, data, size, delta)
                          : UpdateStreamChunk<Classic>(chunk, file, data, size, delta);
}
VANE_EXTERN_C HRESULT bwfriff64_UpdateStreamChunk(int chunk, HANDLE file, const void* data, DWORD size,
                                                  LONGLONG* delta) {
  return UpdateStreamChunk<Wave64>(chunk, file, data, size, delta);
}
VANE_EXTERN_C HRESULT bwfriff_DeleteChunk(int chunk, HANDLE file, ULONGLONG* bytes) {
  return IsRf64File(file) ? DeleteChunk<Rf64>(chunk, file, bytes) : DeleteChunk<Classic>(chunk, file, bytes);
}
VANE_EXTERN_C HRESULT bwfriff64_DeleteChunk(int chunk, HANDLE file, ULONGLONG* bytes) {
  return DeleteChunk<Wave64>(chunk, file, bytes);
}
VANE_EXTERN_C HRESULT bwfriff_DeleteAllChunks(HANDLE file, ULONGLONG* bytes) {
  return IsRf64File(file) ? DeleteAll<Rf64>(file, bytes) : DeleteAll<Classic>(file, bytes);
}
VANE_EXTERN_C HRESULT bwfriff64_DeleteAllChunks(HANDLE file, ULONGLONG* bytes) { return DeleteAll<Wave64>(file, bytes); }

VANE_EXTERN_C HRESULT rf64_FindListChunk(HANDLE file, DWORD listType, DWORD* size) {
  if (size) *size = 0;
  Rf64::Ds64 ds64;
  VANE_RETURN_IF_FAILED(Rf64::ReadDs64(file, &ds64));
  ULONGLONG end = 0;
  VANE_RETURN_IF_FAILED(Rf64::Form(file, &end));
  for (ULONGLONG pos = 12; pos + 12 <= end;) {
    BYTE head[12];
    if (!FileSeek(file, std::int64_t(pos), FILE_BEGIN) || !FileReadExact(file, head, 12)) return ZOERR_FILE_READ;
    DWORD id = 0, chunkSize = 0, type = 0;
    std::memcpy(&id, head, 4);
    std::memcpy(&chunkSize, head + 4, 4);
    std::memcpy(&type, head + 8, 4);
    const ULONGLONG real = chunkSize == 0xFFFFFFFF && id == kFourCC_data ? ds64.dataSize : chunkSize;
    if (id == kFourCC_LIST && type == listType && real >= 4) {
      // Left after the list type, as the classic search leaves it.
      if (size) *size = DWORD(std::min<ULONGLONG>(real - 4, end - pos - 12));
      return S_OK;
    }
    pos += 8 + real + (real & 1);
  }
  return ZOERR_NOT_FOUND;
}

VANE_EXTERN_C BOOL rf64_IsRf64(HANDLE file) { return IsRf64File(file) ? TRUE : FALSE; }

VANE_EXTERN_C HRESULT rf64_FindChunkHeader(HANDLE file, DWORD id, DWORD* size) {
  ULONGLONG real = 0;
  const HRESULT hr = Rf64::Find(file, id, &real);
  if (size) *size = DWORD(std::min<ULONGLONG>(real, 0xFFFFFFFF));
  return hr;
}

VANE_EXTERN_C HRESULT bwfriff_LoadTimestampInfoQuick(LPCWSTR name, _tagZOBWF_Chunk* record, BOOL* found,
                                                     BOOL isWave64) {
  if (!name || !record || !found) return E_INVALIDARG;
  *found = FALSE;
  HANDLE file = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_OPEN;
  *found = TRUE;
  const bool rf64 = !isWave64 && IsRf64File(file);
  HRESULT hr = isWave64 ? ReadProps<Wave64>(file, &record->sampleRate, &record->bitsPerSample, &record->channels)
               : rf64   ? ReadProps<Rf64>(file, &record->sampleRate, &record->bitsPerSample, &record->channels)
                        : ReadProps<Classic>(file, &record->sampleRate, &record->bitsPerSample, &record->channels);
  if (SUCCEEDED(hr)) {
    ULONGLONG size = 0;
    const bool haveBext = isWave64 ? SUCCEEDED(Wave64::Find(file, kW64_bext_chunk, &size))
                          : rf64   ? (SUCCEEDED(Rf64::Find(file, kFourCC_bext, &size)) ||
                                      SUCCEEDED(Rf64::Find(file, kFourCC_BEXT, &size)))
                                   : (SUCCEEDED(Classic::Find(file, kFourCC_bext, &size)) ||
                                      SUCCEEDED(Classic::Find(file, kFourCC_BEXT, &size)));
    if (haveBext) {
      ZOBEXT_HEAD head{};
      const DWORD want = static_cast<DWORD>(std::min<ULONGLONG>(size, sizeof head));
      hr = isWave64 ? riff64_ReadDataBounded(file, &head, sizeof head, static_cast<DWORD>(std::min<ULONGLONG>(size, 0xFFFFFFFF)))
                    : riff_ReadDataBounded(file, &head, sizeof head, static_cast<DWORD>(std::min<ULONGLONG>(size, 0xFFFFFFFF)));
      if (SUCCEEDED(hr) && want >= 4) {
        _tagZOBWF_Chunk stamp;
        ExtractBextContent(reinterpret_cast<const BYTE*>(&head), sizeof head, &stamp);
        for (int v : {ZOBWF_ORIGINATION_DATE, ZOBWF_ORIGINATION_TIME, ZOBWF_TIME_REFERENCE, ZOBWF_VERSION})
          record->fields[v] = stamp.fields[v];
        record->timeReference = stamp.timeReference;
        record->version = stamp.version;
        record->flags |= ZOBWF_FLAG_TIME | ZOBWF_FLAG_FORMAT;
      }
    }
    std::vector<BYTE> body;
    const HRESULT ixml = isWave64 ? ReadChunk<Wave64>(file, BWF_CHUNK_IXML, &body) : ReadChunk<Classic>(file, BWF_CHUNK_IXML, &body);
    if (ixml == S_OK) ExtractIxmlContent(body.data(), static_cast<DWORD>(body.size()), record);
    hr = S_OK;
  }
  CloseHandle(file);
  return hr;
}

VANE_EXTERN_C HRESULT BuildAndWriteRawIxmlChunk(HANDLE file, const _tagZOBWF_Chunk* record, BOOL isWave64) {
  if (!record) return E_POINTER;
  DWORD size = 0;
  VANE_RETURN_IF_FAILED(BuildRawBwfIxmlChunkGlobal(record, nullptr, &size, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0));
  if (size == 0) return isWave64 ? bwfriff64_DeleteChunk(BWF_CHUNK_IXML, file, nullptr) : bwfriff_DeleteChunk(BWF_CHUNK_IXML, file, nullptr);
  std::vector<BYTE> xml(size);
  VANE_RETURN_IF_FAILED(BuildRawBwfIxmlChunkGlobal(record, xml.data(), &size, ZOIXML_BWFXML, ZOIXML_SYNC_POINT_EVENT_DURATION, 0));
  return isWave64 ? bwfriff64_UpdateStreamChunk(BWF_CHUNK_IXML, file, xml.data(), size, nullptr)
                  : bwfriff_UpdateStreamChunk(BWF_CHUNK_IXML, file, xml.data(), size, nullptr);
}

VANE_EXTERN_C HRESULT bwfriff_SaveInfo(HANDLE file, const _tagZOBWF_Chunk* record, BOOL isWave64) {
  if (!record) return E_POINTER;
  if (record->flags & ZOBWF_FLAG_BEXT) {
    DWORD size = 0;
    VANE_RETURN_IF_FAILED(BuildBextChunkGlobal(record, nullptr, &size));
    std::vector<BYTE> body(size);
    VANE_RETURN_IF_FAILED(BuildBextChunkGlobal(record, body.data(), &size));
    VANE_RETURN_IF_FAILED(isWave64 ? bwfriff64_UpdateStreamChunk(BWF_CHUNK_BEXT, file, body.data(), size, nullptr)
                                   : bwfriff_UpdateStreamChunk(BWF_CHUNK_BEXT, file, body.data(), size, nullptr));
  } else {
    VANE_RETURN_IF_FAILED(isWave64 ? bwfriff64_DeleteChunk(BWF_CHUNK_BEXT, file, nullptr)
                                   : bwfriff_DeleteChunk(BWF_CHUNK_BEXT, file, nullptr));
  }
  return BuildAndWriteRawIxmlChunk(file, record, isWave64);
}
