// SPDX-License-Identifier: MIT
#include "plugins/wave/wave_layout.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace vane::wave {
namespace {

constexpr int kMaxChunks = 100000;
constexpr ULONGLONG kW64HeaderBytes = 24;

// Wave64 identities in their stored (little-endian GUID) byte order.
constexpr BYTE kW64Riff[16] = {0x72, 0x69, 0x66, 0x66, 0x2E, 0x91, 0xCF, 0x11,
                               0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr BYTE kW64Wave[16] = {0x77, 0x61, 0x76, 0x65, 0xF3, 0xAC, 0xD3, 0x11,
                               0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
constexpr BYTE kW64Fmt[16] = {0x66, 0x6D, 0x74, 0x20, 0xF3, 0xAC, 0xD3, 0x11,
                              0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
constexpr BYTE kW64Data[16] = {0x64, 0x61, 0x74, 0x61, 0xF3, 0xAC, 0xD3, 0x11,
                               0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};

DWORD Le32(const BYTE* p) { return DWORD(p[0]) | DWORD(p[1]) << 8 | DWORD(p[2]) << 16 | DWORD(p[3]) << 24; }
ULONGLONG Le64(const BYTE* p) { return ULONGLONG(Le32(p)) | ULONGLONG(Le32(p + 4)) << 32; }

bool ReadExactly(const ReadAt& read, ULONGLONG offset, void* buffer, ULONGLONG bytes) {
  return read(offset, buffer, bytes) == bytes;
}

// Takes the format chunk's body (size bytes at offset) into the layout.
HRESULT TakeFormat(const ReadAt& read, ULONGLONG offset, ULONGLONG size, WaveLayout* out) {
  if (size < 16) return ZOERR_BAD_FORMAT;
  BYTE body[sizeof(WAVEFORMATEXTENSIBLE)] = {};
  const ULONGLONG take = size < sizeof body ? size : sizeof body;
  if (!ReadExactly(read, offset, body, take)) return ZOERR_FILE_CORRUPT;
  WAVEFORMATEX& wfx = out->wfx.Format;
  std::memcpy(&wfx, body, 16);
  // cbSize counts only what the chunk really holds.
  const WORD stored = take >= 18 ? WORD(body[16] | body[17] << 8) : 0;
  wfx.cbSize = take >= 18 ? WORD(stored < take - 18 ? stored : take - 18) : 0;
  if (take > 18) std::memcpy(reinterpret_cast<BYTE*>(&out->wfx) + 18, body + 18, size_t(take - 18));
  return S_OK;
}

HRESULT CheckFormat(WaveLayout* out) {
  const WAVEFORMATEX& wfx = out->wfx.Format;
  if (wfx.nChannels == 0) return ZOERR_CHANNELS_UNSUPPORTED;
  if (wfx.nSamplesPerSec == 0) return ZOERR_BAD_FORMAT;
  if (wfx.wFormatTag == WAVE_FORMAT_EXTENSIBLE && wfx.cbSize < 22) return ZOERR_BAD_FORMAT;
  out->sampleType = ZoAudio_GetSampleType(&wfx);
  if (!IsDecodedSampleType(out->sampleType)) return ZOERR_UNSUPPORTED_MEDIATYPE;
  const DWORD bytes = ZoAudio_BytesFromSampleType(out->sampleType);
  const DWORD align = bytes * wfx.nChannels;
  if (align == 0 || align > 0xFFFF) return ZOERR_BITDEPTH_UNSUPPORTED;
  // Writers get nBlockAlign wrong now and then; the frame size follows
  // from the sample type and the channels.
  out->blockAlign = WORD(align);
  return S_OK;
}

// The 64-bit sizes of an RF64 or BW64 file: its "ds64" chunk, first behind
// the form type, with the data size and a table of other large chunks.
struct Ds64 {
  bool present = false;
  ULONGLONG dataSize = 0;
  std::vector<std::pair<DWORD, ULONGLONG>> table;  // chunk id, size
};

constexpr DWORD kMaxDs64Table = 1024;

HRESULT ReadDs64(const ReadAt& read, ULONGLONG fileSize, Ds64* ds64) {
  BYTE head[8];
  if (fileSize < 20 || !ReadExactly(read, 12, head, 8) || std::memcmp(head, "ds64", 4) != 0) return ZOERR_FILE_CORRUPT;
  const ULONGLONG size = Le32(head + 4);
  if (size < 28 || 20 + size > fileSize) return ZOERR_FILE_CORRUPT;
  BYTE body[28];
  if (!ReadExactly(read, 20, body, 28)) return ZOERR_FILE_CORRUPT;
  ds64->present = true;
  ds64->dataSize = Le64(body + 8);
  const DWORD entries = Le32(body + 24);
  // The table is read as far as the chunk holds it.
  for (DWORD i = 0; i < entries && i < kMaxDs64Table && 28 + 12 * ULONGLONG(i + 1) <= size; ++i) {
    BYTE e[12];
    if (!ReadExactly(read, 20 + 28 + 12 * ULONGLONG(i), e, 12)) break;
    ds64->table.emplace_back(Le32(e), Le64(e + 4));
  }
  return S_OK;
}

// The size of a chunk: its 32-bit field, or for 0xFFFFFFFF in an RF64 file
// the size ds64 gives it.
ULONGLONG ChunkSize(const Ds64& ds64, const BYTE* head) {
  const ULONGLONG size = Le32(head + 4);
  if (!ds64.present || size != 0xFFFFFFFFull) return size;
  if (std::memcmp(head, "data", 4) == 0) return ds64.dataSize;
  for (const auto& [id, big] : ds64.table)
    if (id == Le32(head)) return big;
  return size;
}

HRESULT ParseRiff(const ReadAt& read, ULONGLONG fileSize, WaveLayout* out) {
  bool haveFormat = false, haveData = false;
  Ds64 ds64;
  if (out->rf64) VANE_RETURN_IF_FAILED(ReadDs64(read, fileSize, &ds64));
  ULONGLONG pos = 12;
  for (int n = 0; n < kMaxChunks && pos + 8 <= fileSize; ++n) {
    BYTE head[8];
    if (!ReadExactly(read, pos, head, 8)) break;
    const ULONGLONG size = ChunkSize(ds64, head);
    const ULONGLONG body = pos + 8;
    if (std::memcmp(head, "fmt ", 4) == 0 && !haveFormat) {
      if (body + size > fileSize) return ZOERR_FILE_CORRUPT;
      VANE_RETURN_IF_FAILED(TakeFormat(read, body, size, out));
      haveFormat = true;
    } else if (std::memcmp(head, "data", 4) == 0 && !haveData) {
      // An RF64 recording cut short (or a ds64 that claims too much) is
      // read as far as the file goes.
      if (body + size > fileSize && !out->rf64) return ZOERR_FILE_CORRUPT;
      out->dataOffset = body;
      out->dataBytes = std::min(size, fileSize - body);
      haveData = true;
    }
    if (haveFormat && haveData) return S_OK;
    pos = body + size + (size & 1);
  }
  return ZOERR_FILE_CORRUPT;
}

HRESULT ParseWave64(const ReadAt& read, ULONGLONG fileSize, WaveLayout* out) {
  bool haveFormat = false, haveData = false;
  ULONGLONG pos = 40;
  for (int n = 0; n < kMaxChunks && pos + kW64HeaderBytes <= fileSize; ++n) {
    BYTE head[kW64HeaderBytes];
    if (!ReadExactly(read, pos, head, kW64HeaderBytes)) break;
    const ULONGLONG stored = Le64(head + 16);
    // Sizes count the 24-byte header; anything smaller can't be walked.
    if (stored < kW64HeaderBytes || stored > fileSize) {
      if (std::memcmp(head, kW64Data, 16) == 0) return ZOERR_FILE_CORRUPT;
      break;
    }
    const ULONGLONG size = stored - kW64HeaderBytes;
    const ULONGLONG body = pos + kW64HeaderBytes;
    if (std::memcmp(head, kW64Fmt, 16) == 0 && !haveFormat) {
      if (body + size > fileSize) return ZOERR_FILE_CORRUPT;
      VANE_RETURN_IF_FAILED(TakeFormat(read, body, size, out));
      haveFormat = true;
    } else if (std::memcmp(head, kW64Data, 16) == 0 && !haveData) {
      if (body + size > fileSize) return ZOERR_FILE_CORRUPT;
      out->dataOffset = body;
      out->dataBytes = size;
      haveData = true;
    }
    if (haveFormat && haveData) return S_OK;
    pos = body + ((size + 7) & ~ULONGLONG(7));
  }
  return ZOERR_FILE_CORRUPT;
}

}  // namespace

bool IsDecodedSampleType(ZOSAMPLETYPE type) {
  switch (type) {
    case ZOSAMPLE_PCM8:
    case ZOSAMPLE_PCM16:
    case ZOSAMPLE_PCM24:
    case ZOSAMPLE_PCM32:
    case ZOSAMPLE_FLOAT32:
    case ZOSAMPLE_FLOAT64: return true;
    default: return false;
  }
}

HRESULT ParseWaveLayout(const ReadAt& read, ULONGLONG fileSize, WaveLayout* out) {
  if (!out) return E_POINTER;
  *out = WaveLayout{};
  BYTE form[40];
  const ULONGLONG got = fileSize < sizeof form ? fileSize : sizeof form;
  if (got < 12 || !ReadExactly(read, 0, form, got)) return ZOERR_NO_RIFF;
  HRESULT hr = ZOERR_NO_RIFF;
  const bool rf64 = std::memcmp(form, "RF64", 4) == 0 || std::memcmp(form, "BW64", 4) == 0;
  if ((std::memcmp(form, "RIFF", 4) == 0 || rf64) && std::memcmp(form + 8, "WAVE", 4) == 0) {
    out->container = Container::Wave;
    out->rf64 = rf64;
    hr = ParseRiff(read, fileSize, out);
  } else if (got >= 40 && std::memcmp(form, kW64Riff, 16) == 0 && std::memcmp(form + 24, kW64Wave, 16) == 0) {
    out->container = Container::Wave64;
    hr = ParseWave64(read, fileSize, out);
  }
  VANE_RETURN_IF_FAILED(hr);
  VANE_RETURN_IF_FAILED(CheckFormat(out));
  out->frames = out->dataBytes / out->blockAlign;
  return S_OK;
}

}  // namespace vane::wave
