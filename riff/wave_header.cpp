// SPDX-License-Identifier: MIT
#include "riff/wave_header.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/aiff.h"
#include "riff/detail/chunk_walk.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

using namespace vane::riff;

namespace vane::riff {

HRESULT CheckWriterFormat(const WAVEFORMATEX& f, bool checkCbSize) {
  if (checkCbSize && f.cbSize != 0) return ZOERR_UNSUPPORTED_MEDIATYPE;
  if (f.wFormatTag == WAVE_FORMAT_PCM &&
      (f.wBitsPerSample == 20 || f.nBlockAlign != f.nChannels * (f.wBitsPerSample >> 3)))
    return ZOERR_UNSUPPORTED_MEDIATYPE;
  return S_OK;
}

bool IsUncompressed(const BYTE* body, size_t size) {
  if (size < 2) return false;
  const WORD tag = WORD(body[0] | body[1] << 8);
  if (tag == WAVE_FORMAT_PCM || tag == WAVE_FORMAT_IEEE_FLOAT) return true;
  if (tag == WAVE_FORMAT_EXTENSIBLE && size >= sizeof(WAVEFORMATEXTENSIBLE)) {
    GUID sub;
    std::memcpy(&sub, body + offsetof(WAVEFORMATEXTENSIBLE, SubFormat), 16);
    return sub == KSDATAFORMAT_SUBTYPE_PCM || sub == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  }
  return false;
}

}  // namespace vane::riff

namespace {

// Closes a handle opened here.
class OwnedFile {
 public:
  explicit OwnedFile(HANDLE h) : m_h(h) {}
  ~OwnedFile() {
    if (ok()) CloseHandle(m_h);
  }
  OwnedFile(const OwnedFile&) = delete;
  OwnedFile& operator=(const OwnedFile&) = delete;
  // Closes the handle held and takes the other's.
  OwnedFile& operator=(OwnedFile&& other) noexcept {
    if (this != &other) {
      if (ok()) CloseHandle(m_h);
      m_h = other.m_h;
      other.m_h = INVALID_HANDLE_VALUE;
    }
    return *this;
  }
  bool ok() const { return m_h != INVALID_HANDLE_VALUE && m_h != nullptr; }
  HANDLE get() const { return m_h; }

 private:
  HANDLE m_h;
};

HANDLE OpenRead(LPCWSTR name) {
  return CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

DWORD Disposition(DWORD mode) {
  if (mode == 3) return TRUNCATE_EXISTING;
  if (mode == 4) return CREATE_ALWAYS;
  return mode;
}

HANDLE OpenCreate(LPCWSTR name, DWORD mode) {
  return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, Disposition(mode),
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// The 18-byte record as written: cbSize always 0.
WAVEFORMATEX Written(const WAVEFORMATEX& f) {
  WAVEFORMATEX w = f;
  w.cbSize = 0;
  return w;
}

HRESULT WriteZeros(HANDLE file, std::uint64_t count) {
  static const BYTE zeros[1024] = {};
  while (count) {
    const DWORD n = DWORD(std::min<std::uint64_t>(count, sizeof zeros));
    if (!FileWriteExact(file, zeros, n)) return ZOERR_FILE_WRITE;
    count -= n;
  }
  return S_OK;
}

// The frame count a data chunk claims, cut to the whole frames the file
// holds behind its start: streaming writers leave 0xFFFFFFFF there.
ULONGLONG FramesHeld(ULONGLONG claimed, WORD blockAlign, std::int64_t fileSize, std::int64_t start) {
  if (!blockAlign) return 0;
  const ULONGLONG held = fileSize > start ? ULONGLONG(fileSize - start) / blockAlign : 0;
  return std::min(claimed / blockAlign, held);
}

// The Wave probe of ZoGetFileWfx; the position is restored by the caller.
WAVEFORMATEX* ProbeWave(HANDLE file, std::int64_t fileSize, ULONGLONG* samples, ULONGLONG* offset) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return nullptr;
  DWORD r = 0, form = 0, fmtSize = 0, dataSize = 0;
  if (FAILED(riff_ReadFileID(file, &r, &form)) || form != kFourCC_WAVE) return nullptr;
  if (FAILED(riff_FindChunkHeader(file, kFourCC_fmt, &fmtSize, &r))) return nullptr;
  // The body is read whole: a claim above 4096 bytes is no format chunk a
  // reader can use, and is not allocated (as in the Wave64 probe).
  if (fmtSize < 14 || fmtSize > 4096 || std::int64_t(fmtSize) > fileSize) return nullptr;
  const size_t alloc = std::max<size_t>(fmtSize, sizeof(WAVEFORMATEX));
  BYTE* body = static_cast<BYTE*>(std::calloc(1, alloc));
  if (!body) return nullptr;
  if (FAILED(riff_ReadData(file, body, fmtSize)) || !IsUncompressed(body, fmtSize)) {
    std::free(body);
    return nullptr;
  }
  r = r >= (fmtSize + (fmtSize & 1)) ? r - (fmtSize + (fmtSize & 1)) : 0;
  if (FAILED(riff_FindChunkHeader(file, kFourCC_data, &dataSize, &r))) {
    std::free(body);
    return nullptr;
  }
  std::int64_t at = 0;
  FileTell(file, &at);
  auto* wfx = reinterpret_cast<WAVEFORMATEX*>(body);
  ZoAudio_FixBadWfx(wfx);
  if (samples) *samples = FramesHeld(dataSize, wfx->nBlockAlign, fileSize, at);
  if (offset) *offset = ULONGLONG(at);
  return wfx;
}

WAVEFORMATEX* ProbeWave64(HANDLE file, std::int64_t fileSize, ULONGLONG* samples, ULONGLONG* offset) {
  if (!FileSeek(file, 0, FILE_BEGIN)) return nullptr;
  ULONGLONG total = 0, fmtSize = 0, dataSize = 0;
  GUID form = GUID_NULL;
  if (FAILED(riff64_ReadFileID(file, &total, &form)) || form != kW64_wave) return nullptr;
  LONGLONG r = LONGLONG(total);
  if (FAILED(riff64_FindChunkHeader(file, &kW64_fmt, &fmtSize, &r))) return nullptr;
  if (fmtSize < 14 || fmtSize > 4096) return nullptr;
  const size_t alloc = std::max<size_t>(size_t(fmtSize), sizeof(WAVEFORMATEX));
  BYTE* body = static_cast<BYTE*>(std::calloc(1, alloc));
  if (!body) return nullptr;
  if (FAILED(riff64_ReadData(file, body, DWORD(fmtSize))) || !IsUncompressed(body, size_t(fmtSize))) {
    std::free(body);
    return nullptr;
  }
  r -= LONGLONG((fmtSize + 7) & ~7ULL);
  if (FAILED(riff64_FindChunkHeader(file, &kW64_data, &dataSize, &r))) {
    std::free(body);
    return nullptr;
  }
  std::int64_t at = 0;
  FileTell(file, &at);
  auto* wfx = reinterpret_cast<WAVEFORMATEX*>(body);
  ZoAudio_FixBadWfx(wfx);
  if (samples) *samples = FramesHeld(dataSize, wfx->nBlockAlign, fileSize, at);
  if (offset) *offset = ULONGLONG(at);
  return wfx;
}

WAVEFORMATEX* ProbeAiff(HANDLE file, ULONGLONG* samples, ULONGLONG* offset) {
  WAVEFORMATEX f;
  DWORD frames = 0;
  BOOL compressed = FALSE;
  if (FAILED(iff_GetAIFFWfx(file, &f, &frames, nullptr, &compressed)) || compressed) return nullptr;
  auto* wfx = static_cast<WAVEFORMATEX*>(std::calloc(1, sizeof(WAVEFORMATEX)));
  if (!wfx) return nullptr;
  *wfx = f;
  ZoAudio_FixBadWfx(wfx);
  std::int64_t at = 0;
  if (samples) *samples = frames;
  if (offset) *offset = AiffSoundDataOffset(file, &at) ? ULONGLONG(at) : 0;
  return wfx;
}

// Fixes each field that reads as nonsense from the hints.
WAVEFORMATEX RepairRecord(WAVEFORMATEX f, const WAVEFORMATEX& hint) {
  if (f.nSamplesPerSec < 2000 || f.nSamplesPerSec > 192000) f.nSamplesPerSec = hint.nSamplesPerSec;
  if (f.nChannels != 1 && f.nChannels != 2) f.nChannels = hint.nChannels;
  if (f.wFormatTag != WAVE_FORMAT_PCM && f.wFormatTag != WAVE_FORMAT_IEEE_FLOAT) f.wFormatTag = hint.wFormatTag;
  const WORD b = f.wBitsPerSample;
  if (f.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
    if (b != 32 && b != 64) f.wBitsPerSample = hint.wBitsPerSample > 32 ? 64 : 32;
  } else if (b != 8 && b != 16 && b != 24 && b != 32) {
    f.wBitsPerSample = std::min<WORD>(hint.wBitsPerSample, 32);
  }
  f.nBlockAlign = WORD((f.wBitsPerSample >> 3) * f.nChannels);
  f.nAvgBytesPerSec = DWORD(f.nBlockAlign) * f.nSamplesPerSec;
  f.cbSize = 0;
  return f;
}

WAVEFORMATEX DefaultHints() {
  WAVEFORMATEX h{};
  h.wFormatTag = WAVE_FORMAT_PCM;
  h.nChannels = 2;
  h.nSamplesPerSec = 44100;
  h.wBitsPerSample = 16;
  h.nBlockAlign = 4;
  h.nAvgBytesPerSec = 176400;
  return h;
}

// Scans from `from` for a marker of `len` bytes in 4096-byte blocks that
// overlap by `len`. Gives the offset of the first hit, or `limit` when the
// scan reaches the limit without one; a block that ends short of the limit
// (the file ended) is "not found".
HRESULT ScanFor(HANDLE file, std::int64_t from, std::int64_t limit, const void* marker, DWORD len,
                std::int64_t* hit) {
  std::vector<BYTE> block(4096);
  std::int64_t at = from;
  for (;;) {
    if (at >= limit) {
      *hit = limit;
      return S_FALSE;
    }
    DWORD got = 0;
    if (!FileSeek(file, at, FILE_BEGIN) || !FileRead(file, block.data(), 4096, &got)) return ZOERR_FILE_READ;
    for (DWORD i = 0; i + len <= got; ++i) {
      if (std::memcmp(block.data() + i, marker, len) == 0) {
        *hit = at + i;
        return S_OK;
      }
    }
    if (at + std::int64_t(got) >= limit) {
      *hit = limit;
      return S_FALSE;
    }
    if (got < 4096) return ZOERR_NOT_FOUND;
    at += 4096 - len;
  }
}

// The body position and size of a Wave file's first "fmt " chunk.
HRESULT LocateFormatChunk(HANDLE file, std::int64_t* body, DWORD* size) {
  DWORD r = 0, form = 0;
  if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_READ;
  VANE_RETURN_IF_FAILED(riff_ReadFileID(file, &r, &form));
  VANE_RETURN_IF_FAILED(riff_FindChunkHeader(file, kFourCC_fmt, size, &r));
  return FileTell(file, body) ? S_OK : ZOERR_FILE_READ;
}

// Copies count bytes from `from` in src to the position of dst.
HRESULT CopyRange(HANDLE src, std::int64_t from, std::uint64_t count, HANDLE dst) {
  std::vector<BYTE> block(1 << 16);
  if (!FileSeek(src, from, FILE_BEGIN)) return ZOERR_FILE_READ;
  while (count) {
    const DWORD n = DWORD(std::min<std::uint64_t>(count, block.size()));
    if (!FileReadExact(src, block.data(), n)) return ZOERR_FILE_READ;
    if (!FileWriteExact(dst, block.data(), n)) return ZOERR_FILE_WRITE;
    count -= n;
  }
  return S_OK;
}

// Writes a copy of the file with its format chunk (body at `body`, `oldSize`
// bytes) replaced by an 18-byte one, beside the original, and renames it
// over the original once complete. The original stays as it was on failure.
HRESULT RewriteWithFormat(OwnedFile& file, LPCWSTR name, std::int64_t body, DWORD oldSize, const WAVEFORMATEX& w) {
  std::int64_t total = 0;
  if (!FileSize(file.get(), &total)) return ZOERR_FILE_READ;
  const std::int64_t chunkStart = body - 8;
  const std::int64_t after = std::min<std::int64_t>(body + std::int64_t(oldSize) + (oldSize & 1), total);
  const std::u16string target(name);
  const std::u16string work = target + u".vane-tmp";
  HRESULT hr = S_OK;
  {
    OwnedFile out(CreateFileW(work.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!out.ok()) return ZOERR_FILE_OPEN;
    hr = CopyRange(file.get(), 0, std::uint64_t(chunkStart), out.get());
    if (SUCCEEDED(hr)) hr = riff_WriteChunk(out.get(), kFourCC_fmt, &w, sizeof w, nullptr);
    if (SUCCEEDED(hr)) hr = CopyRange(file.get(), after, std::uint64_t(total - after), out.get());
    // The outer size follows the change in the chunk's length; one that
    // claimed more than the file (a writer to a pipe leaves 0xFFFFFFFF) is
    // set to what the copy holds.
    const LONGLONG delta = LONGLONG(8 + sizeof w) - (after - chunkStart);
    BYTE field[4] = {};
    if (SUCCEEDED(hr) && (!FileSeek(file.get(), 4, FILE_BEGIN) || !FileReadExact(file.get(), field, 4)))
      hr = ZOERR_FILE_READ;
    const std::int64_t old = detail::Le32(field);
    const std::int64_t grown = old + 8 <= total ? old + delta : total + delta - 8;
    if (SUCCEEDED(hr) && (grown < 0 || grown > 0xFFFFFFFFLL)) hr = ZOERR_FILE_TOO_LARGE;
    if (SUCCEEDED(hr)) hr = riff_SetRIFFSize(out.get(), DWORD(grown));
    if (SUCCEEDED(hr) && !FlushFileBuffers(out.get())) hr = ZOERR_FILE_WRITE;
  }
  if (SUCCEEDED(hr)) {
    // The copy keeps the original's permissions.
    std::error_code ec;
    const auto perms = std::filesystem::status(vane::platform::ToUtf8(target), ec).permissions();
    if (!ec) std::filesystem::permissions(vane::platform::ToUtf8(work), perms, ec);
    file = OwnedFile(INVALID_HANDLE_VALUE);
    if (!MoveFileExW(work.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) hr = ZOERR_FILE_WRITE;
  }
  if (FAILED(hr)) DeleteFileW(work.c_str());
  return hr;
}

HRESULT SkipTo(HANDLE file, std::int64_t position) {
  return FileSeek(file, position, FILE_BEGIN) ? S_OK : ZOERR_FILE_WRITE;
}

// The header writers behind ZoInsert*Header. A repair passes zeroJunk false:
// the bytes inside the JUNK filler stay as they were, since they may be
// samples whose data header was lost.
HRESULT InsertWavHeader(HANDLE file, const WAVEFORMATEX* format, DWORD dataSize, DWORD headerSize, bool zeroJunk) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  std::int64_t size = 0, keep = 0;
  if (!FileSize(file, &size) || !FileTell(file, &keep)) return ZOERR_FILE_READ;
  const DWORD h = headerSize;
  if ((h & 1) || size < 46 || h < 46) return ZOERR_NEWER_VERSION;
  if (h > 46 && h < 54) return ZOERR_NEWER_VERSION;  // no room for a JUNK header
  const WAVEFORMATEX w = Written(*format);
  HRESULT hr = FileSeek(file, 0, FILE_BEGIN) ? S_OK : ZOERR_FILE_WRITE;
  if (SUCCEEDED(hr)) hr = riff_WriteFileID(file, kFourCC_WAVE, DWORD(std::uint64_t(dataSize) + h - 8));
  if (SUCCEEDED(hr)) hr = riff_WriteChunk(file, kFourCC_fmt, &w, sizeof w, nullptr);
  if (SUCCEEDED(hr) && h > 46) {
    hr = riff_WriteChunkHeader(file, kFourCC_JUNK, h - 54);
    if (SUCCEEDED(hr)) hr = zeroJunk ? WriteZeros(file, h - 54) : SkipTo(file, h - 8);
  }
  if (SUCCEEDED(hr)) hr = riff_WriteChunkHeader(file, kFourCC_data, dataSize);
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

HRESULT InsertW64Header(HANDLE file, const WAVEFORMATEX* format, ULONGLONG dataSize, ULONGLONG headerSize,
                        bool zeroJunk) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  std::int64_t size = 0, keep = 0;
  if (!FileSize(file, &size) || !FileTell(file, &keep)) return ZOERR_FILE_READ;
  const ULONGLONG h = headerSize;
  if ((h & 7) || size < 112 || h < 112 || h > (1ULL << 40)) return ZOERR_NEWER_VERSION;
  if (h != 112 && h - 112 < 24) return ZOERR_NEWER_VERSION;
  const WAVEFORMATEX w = Written(*format);
  HRESULT hr = FileSeek(file, 0, FILE_BEGIN) ? S_OK : ZOERR_FILE_WRITE;
  if (SUCCEEDED(hr)) hr = riff64_WriteFileID(file, &kW64_wave, dataSize + h - 24);
  if (SUCCEEDED(hr)) hr = riff64_WriteChunk(file, &kW64_fmt, &w, sizeof w, nullptr);
  if (SUCCEEDED(hr) && h > 112) {
    hr = riff64_WriteChunkHeader(file, &kW64_junk, h - 136);
    if (SUCCEEDED(hr)) hr = zeroJunk ? WriteZeros(file, h - 136) : SkipTo(file, std::int64_t(h - 24));
  }
  if (SUCCEEDED(hr)) hr = riff64_WriteChunkHeader(file, &kW64_data, dataSize);
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

// The two layers as the repair sees them: where the chunks start, how a
// format chunk is searched for, and where the size fields stand.
struct Classic {
  static constexpr std::int64_t kFirstChunk = 12;
  static bool FindFormat(HANDLE file, std::int64_t remaining, DWORD* size) {
    DWORD r = DWORD(remaining), sz = 0;
    if (FAILED(riff_FindChunkHeader(file, kFourCC_fmt, &sz, &r))) return false;
    *size = sz;
    return true;
  }
  // The outer header and the data chunk's size for samples at start.
  static HRESULT WriteSizes(HANDLE file, std::int64_t start, std::uint64_t data) {
    if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_WRITE;
    VANE_RETURN_IF_FAILED(riff_WriteFileID(file, kFourCC_WAVE, DWORD(data + std::uint64_t(start) - 8)));
    BYTE b[4];
    detail::PutLe32(b, DWORD(data));
    if (!FileSeek(file, start - 4, FILE_BEGIN) || !FileWriteExact(file, b, 4)) return ZOERR_FILE_WRITE;
    return S_OK;
  }
};

struct Wave64 {
  static constexpr std::int64_t kFirstChunk = 40;
  static bool FindFormat(HANDLE file, std::int64_t remaining, DWORD* size) {
    LONGLONG r = remaining;
    ULONGLONG sz = 0;
    if (FAILED(riff64_FindChunkHeader(file, &kW64_fmt, &sz, &r)) || sz > 0xFFFFFFFFULL) return false;
    *size = DWORD(sz);
    return true;
  }
  // The outer size counts the whole file; the data chunk's counts its header.
  static HRESULT WriteSizes(HANDLE file, std::int64_t start, std::uint64_t data) {
    if (!FileSeek(file, 0, FILE_BEGIN)) return ZOERR_FILE_WRITE;
    VANE_RETURN_IF_FAILED(riff64_WriteFileID(file, &kW64_wave, data + std::uint64_t(start) - 24));
    BYTE b[8];
    detail::PutLe64(b, data + 24);
    if (!FileSeek(file, start - 8, FILE_BEGIN) || !FileWriteExact(file, b, 8)) return ZOERR_FILE_WRITE;
    return S_OK;
  }
};

// A format chunk found by walking from the first chunk.
struct FoundFormat {
  std::int64_t body = -1;    // position of its body; -1 when none was found
  DWORD size = 0;            // its size as stored
  bool whole = false;        // its fields agree with one another
  std::vector<BYTE> bytes;   // the body, at least 18 bytes (zeros behind a 16-byte record)
};

// A crash ruins sizes; the format record itself usually survives. It is
// whole when its fields agree: channels, rate and block align set, and for
// PCM and float (plain or extensible) the block align and byte rate those
// fields imply. A whole record is kept as it is, whatever its channel
// count, so a 6-channel or extensible float recording stays what it was.
bool FormatIsWhole(const std::vector<BYTE>& body, DWORD size) {
  WAVEFORMATEX f;
  std::memcpy(&f, body.data(), sizeof f);
  if (size < 16 || !f.nChannels || !f.nSamplesPerSec || !f.nBlockAlign || !f.nAvgBytesPerSec) return false;
  WORD tag = f.wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    if (size < sizeof(WAVEFORMATEXTENSIBLE) || f.cbSize < 22) return false;
    if (!IsUncompressed(body.data(), size)) return true;  // a codec: its own fields are all there is to check
    tag = WAVE_FORMAT_PCM;  // the container bits decide, as for PCM
  } else if (tag != WAVE_FORMAT_PCM && tag != WAVE_FORMAT_IEEE_FLOAT) {
    return true;
  }
  const WORD bits = f.wBitsPerSample;
  if (bits == 0 || bits % 8 || bits > 64) return false;
  return f.nBlockAlign == f.nChannels * (bits / 8) && f.nAvgBytesPerSec == DWORD(f.nBlockAlign) * f.nSamplesPerSec;
}

// Walks from the first chunk to a format chunk that ends before the data
// header at dataHeader and holds 16 to 4096 bytes.
template <class Layer>
FoundFormat FindFormatChunk(HANDLE file, std::int64_t dataHeader, std::int64_t limit) {
  FoundFormat found;
  DWORD sz = 0;
  std::int64_t body = 0;
  if (!FileSeek(file, Layer::kFirstChunk, FILE_BEGIN) ||
      !Layer::FindFormat(file, std::max<std::int64_t>(limit - Layer::kFirstChunk, 0), &sz) ||
      !FileTell(file, &body))
    return found;
  if (sz < 16 || sz > 4096 || body + std::int64_t(sz) > dataHeader) return found;
  found.bytes.assign(std::max<size_t>(sz, sizeof(WAVEFORMATEX)), 0);
  if (!FileReadExact(file, found.bytes.data(), sz)) return found;
  found.body = body;
  found.size = sz;
  found.whole = FormatIsWhole(found.bytes, sz);
  return found;
}

// Repairs in place: a record that was not whole is written into its own
// chunk (16 or 18 bytes), then the two size fields are set. Nothing else of
// the header, and nothing of the samples, is written.
template <class Layer>
HRESULT PatchHeader(HANDLE file, const FoundFormat& found, const WAVEFORMATEX& record, std::int64_t start,
                    std::uint64_t data) {
  if (!found.whole) {
    VANE_RETURN_IF_FAILED(CheckWriterFormat(record));
    if (!FileSeek(file, found.body, FILE_BEGIN) || !FileWriteExact(file, &record, found.size)) return ZOERR_FILE_WRITE;
  }
  return Layer::WriteSizes(file, start, data);
}

bool StartsRf64(HANDLE file) {
  BYTE h[4] = {};
  if (!FileSeek(file, 0, FILE_BEGIN) || !FileReadExact(file, h, 4)) return false;
  return std::memcmp(h, "RF64", 4) == 0 || std::memcmp(h, "BW64", 4) == 0;
}

}  // namespace


BOOL ZoFileIsWave(LPCWSTR name, BOOL allowCompressed) {
  OwnedFile f(OpenRead(name));
  if (!f.ok()) return FALSE;
  DWORD r = 0, form = 0, sz = 0;
  if (FAILED(riff_ReadFileID(f.get(), &r, &form)) || form != kFourCC_WAVE) return FALSE;
  if (FAILED(riff_FindChunkHeader(f.get(), kFourCC_fmt, &sz, &r)) || sz < 2 || sz > 0x10000) return FALSE;
  std::vector<BYTE> body(sz);
  if (FAILED(riff_ReadData(f.get(), body.data(), sz))) return FALSE;
  return allowCompressed || IsUncompressed(body.data(), body.size());
}

BOOL ZoFileIsWave64(LPCWSTR name, BOOL allowCompressed) {
  OwnedFile f(OpenRead(name));
  if (!f.ok()) return FALSE;
  ULONGLONG total = 0, sz = 0;
  GUID form = GUID_NULL;
  if (FAILED(riff64_ReadFileID(f.get(), &total, &form)) || form != kW64_wave) return FALSE;
  LONGLONG r = LONGLONG(total);
  if (FAILED(riff64_FindChunkHeader(f.get(), &kW64_fmt, &sz, &r)) || sz < 14 || sz > 0x10000) return FALSE;
  // The record is read into at least 18 bytes; a 16-byte chunk leaves cbSize 0.
  std::vector<BYTE> body(std::max<size_t>(static_cast<size_t>(sz), 18));
  if (FAILED(riff64_ReadData(f.get(), body.data(), DWORD(sz)))) return FALSE;
  return allowCompressed || IsUncompressed(body.data(), body.size());
}

BOOL ZoFileIsAiff(LPCWSTR name) {
  OwnedFile f(OpenRead(name));
  return f.ok() && iff_IsAIFFFile(f.get());
}

WAVEFORMATEX* ZoGetFileWfx(LPCWSTR name, ULONGLONG* sampleCount, ULONGLONG* dataOffset) {
  // The outs are 0 unless a probe succeeds.
  if (sampleCount) *sampleCount = 0;
  if (dataOffset) *dataOffset = 0;
  OwnedFile f(OpenRead(name));
  if (!f.ok()) return nullptr;
  std::int64_t size = 0;
  if (!FileSize(f.get(), &size)) return nullptr;
  ULONGLONG samples = 0, offset = 0;
  WAVEFORMATEX* wfx = ProbeWave(f.get(), size, &samples, &offset);
  if (!wfx) wfx = ProbeWave64(f.get(), size, &samples, &offset);
  if (!wfx) {
    wfx = ProbeAiff(f.get(), &samples, &offset);
    if (wfx && offset) samples = std::min(samples, FramesHeld(~0ULL, wfx->nBlockAlign, size, std::int64_t(offset)));
  }
  FileSeek(f.get(), 0, FILE_BEGIN);
  if (wfx) {
    if (sampleCount) *sampleCount = samples;
    if (dataOffset) *dataOffset = offset;
  }
  return wfx;
}

HRESULT ZoSetFileWfx(LPCWSTR name, const WAVEFORMATEX* format) { return ZoSetFileWfx(name, format, TRUE); }

HRESULT ZoSetFileWfx(LPCWSTR name, const WAVEFORMATEX* format, BOOL allowRewrite) {
  if (!format || !name) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format, false));
  // Only the 18-byte head is written: an extensible record would lose its
  // sub-format and leave a format chunk no reader can use.
  if (format->wFormatTag == WAVE_FORMAT_EXTENSIBLE) return ZOERR_UNSUPPORTED_MEDIATYPE;
  OwnedFile f(CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!f.ok()) return ZOERR_FILE_OPEN;
  std::int64_t size = 0;
  FileSize(f.get(), &size);
  if (WAVEFORMATEX* probe = ProbeWave(f.get(), size, nullptr, nullptr)) {
    std::free(probe);
    const WAVEFORMATEX w = Written(*format);
    std::int64_t body = 0;
    DWORD old = 0;
    VANE_RETURN_IF_FAILED(LocateFormatChunk(f.get(), &body, &old));
    // The record fits the chunk as it stands: patch it there. A 16-byte chunk
    // holds a PCM record whole, since its cbSize is 0 anyway.
    if (old == sizeof w || (old == 16 && w.wFormatTag == WAVE_FORMAT_PCM)) {
      if (!FileSeek(f.get(), body, FILE_BEGIN) || !FileWriteExact(f.get(), &w, old)) return ZOERR_FILE_WRITE;
      return FlushFileBuffers(f.get()) ? S_OK : ZOERR_FILE_WRITE;
    }
    // Otherwise the chunk changes size and everything behind it moves.
    if (!allowRewrite) return ZOERR_UNSUPPORTED_MEDIATYPE;
    return RewriteWithFormat(f, name, body, old, w);
  }
  WAVEFORMATEX old;
  DWORD frames = 0;
  LONGLONG comm = 0;
  VANE_RETURN_IF_FAILED(iff_GetAIFFWfx(f.get(), &old, &frames, &comm, nullptr));
  if (format->wFormatTag != WAVE_FORMAT_PCM) return ZOERR_UNSUPPORTED_FORMAT;
  BYTE b[18];
  b[0] = BYTE(format->nChannels >> 8);
  b[1] = BYTE(format->nChannels);
  for (int i = 0; i < 4; ++i) b[2 + i] = BYTE(frames >> (24 - 8 * i));
  b[6] = BYTE(format->wBitsPerSample >> 8);
  b[7] = BYTE(format->wBitsPerSample);
  aiff_CreateRate(format->nSamplesPerSec, b + 8);
  if (!FileSeek(f.get(), comm, FILE_BEGIN) || !FileWriteExact(f.get(), b, 18)) return ZOERR_FILE_WRITE;
  return S_OK;
}

HRESULT ZoInitializeWav(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  OwnedFile f(OpenCreate(name, mode));
  if (!f.ok()) return ZOERR_FILE_OPEN;
  const WAVEFORMATEX w = Written(*format);
  VANE_RETURN_IF_FAILED(riff_WriteFileID(f.get(), kFourCC_WAVE, 38));
  VANE_RETURN_IF_FAILED(riff_WriteChunk(f.get(), kFourCC_fmt, &w, sizeof w, nullptr));
  return riff_WriteChunkHeader(f.get(), kFourCC_data, 0);
}

HRESULT ZoInitializeWav64(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  OwnedFile f(OpenCreate(name, mode));
  if (!f.ok()) return ZOERR_FILE_OPEN;
  const WAVEFORMATEX w = Written(*format);
  // Stored size 130, 18 more than written; the first size update corrects it.
  VANE_RETURN_IF_FAILED(riff64_WriteFileID(f.get(), &kW64_wave, 106));
  VANE_RETURN_IF_FAILED(riff64_WriteChunk(f.get(), &kW64_fmt, &w, sizeof w, nullptr));
  return riff64_WriteChunkHeader(f.get(), &kW64_data, 0);
}

HRESULT ZoInitializeWavWithJunk(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode, DWORD headerSize) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  const std::uint64_t h = std::uint64_t(headerSize) + (headerSize & 1);
  if (h < 54 || h > 0xFFFFFFF0ULL) return E_INVALIDARG;
  const DWORD s = DWORD(h - 8);
  OwnedFile f(OpenCreate(name, mode));
  if (!f.ok()) return ZOERR_FILE_OPEN;
  const WAVEFORMATEX w = Written(*format);
  VANE_RETURN_IF_FAILED(riff_WriteFileID(f.get(), kFourCC_WAVE, s));
  VANE_RETURN_IF_FAILED(riff_WriteChunk(f.get(), kFourCC_fmt, &w, sizeof w, nullptr));
  VANE_RETURN_IF_FAILED(riff_WriteChunkHeader(f.get(), kFourCC_JUNK, s - 46));
  VANE_RETURN_IF_FAILED(WriteZeros(f.get(), s - 46));
  return riff_WriteChunkHeader(f.get(), kFourCC_data, 0);
}

HRESULT ZoInitializeWav64WithJunk(LPCWSTR name, const WAVEFORMATEX* format, DWORD mode, ULONGLONG headerSize) {
  if (!format) return E_POINTER;
  VANE_RETURN_IF_FAILED(CheckWriterFormat(*format));
  if (headerSize > (1ULL << 40)) return E_INVALIDARG;
  const ULONGLONG h = (headerSize + 7) & ~7ULL;
  if (h < 136) return E_INVALIDARG;
  OwnedFile f(OpenCreate(name, mode));
  if (!f.ok()) return ZOERR_FILE_OPEN;
  const WAVEFORMATEX w = Written(*format);
  VANE_RETURN_IF_FAILED(riff64_WriteFileID(f.get(), &kW64_wave, h));
  VANE_RETURN_IF_FAILED(riff64_WriteChunk(f.get(), &kW64_fmt, &w, sizeof w, nullptr));
  VANE_RETURN_IF_FAILED(riff64_WriteChunkHeader(f.get(), &kW64_junk, h - 136));
  VANE_RETURN_IF_FAILED(WriteZeros(f.get(), h - 136));
  return riff64_WriteChunkHeader(f.get(), &kW64_data, 0);
}

HRESULT ZoInsertWavHeader(HANDLE file, const WAVEFORMATEX* format, DWORD dataSize, DWORD headerSize) {
  return InsertWavHeader(file, format, dataSize, headerSize, true);
}

HRESULT ZoInsertW64Header(HANDLE file, const WAVEFORMATEX* format, ULONGLONG dataSize, ULONGLONG headerSize) {
  return InsertW64Header(file, format, dataSize, headerSize, true);
}

HRESULT ZoFixTrashedWav(HANDLE file, const WAVEFORMATEX* hints, DWORD headerLimit) {
  const WAVEFORMATEX hint = hints ? *hints : DefaultHints();
  std::int64_t keep = 0, size = 0;
  if (!FileTell(file, &keep) || !FileSize(file, &size)) return ZOERR_FILE_READ;
  // RF64 keeps its sizes in a ds64 chunk; rewriting it as RIFF would misread it.
  if (StartsRf64(file)) {
    FileSeek(file, keep, FILE_BEGIN);
    return ZOERR_UNSUPPORTED_VERSION;
  }
  const std::int64_t limit = std::min<std::int64_t>(headerLimit, size);
  auto finish = [&](HRESULT hr) {
    FileSeek(file, keep, FILE_BEGIN);
    return hr;
  };
  WAVEFORMATEX rec;
  if (!FileSeek(file, 20, FILE_BEGIN) || !FileReadExact(file, &rec, sizeof rec)) return finish(ZOERR_FILE_READ);

  // The data chunk: a walk from the first chunk (any format chunk size, any
  // chunks ahead of it), a walk from behind the record of our own layout,
  // then the byte scan.
  auto walk = [&](std::int64_t from, DWORD remaining) {
    DWORD sz = 0;
    std::int64_t at = -1;
    if (FileSeek(file, from, FILE_BEGIN) && SUCCEEDED(riff_FindChunkHeader(file, kFourCC_data, &sz, &remaining)))
      FileTell(file, &at);
    return at;
  };
  std::int64_t start = walk(12, limit > 12 ? DWORD(limit - 12) : 0);
  const bool chained = start >= 0;  // every chunk ahead of the samples is where its neighbour says
  if (start < 0) start = walk(38, DWORD(limit));
  if (start < 0) {
    std::int64_t hit = 0;
    const HRESULT scan = ScanFor(file, 38, limit, "data", 4, &hit);
    if (FAILED(scan)) return finish(scan);
    start = scan == S_OK ? hit + 8 : hit;
  }
  if (start > size) start = size;

  // The format: the file's own chunk when a walk reaches it, kept as it
  // stands when whole and the chunks chain up to the samples; the record at
  // the fixed offset, repaired field by field, is the fallback.
  const FoundFormat found = FindFormatChunk<Classic>(file, start - 8, limit);
  if (found.body >= 0) std::memcpy(&rec, found.bytes.data(), sizeof rec);
  const bool patch = chained && found.body >= 0 && (found.whole || found.size == 16 || found.size == 18);
  const WAVEFORMATEX fixed = patch && found.whole ? rec : RepairRecord(rec, hint);
  const std::uint64_t align = fixed.nBlockAlign ? fixed.nBlockAlign : 1;
  std::uint64_t data = std::uint64_t(size - start) / align * align;
  if (data > 0xFFFFFFFFULL - start) data = (0xFFFFFFFFULL - start - 8) / align * align;
  if (patch) return finish(PatchHeader<Classic>(file, found, fixed, start, data));
  if (start == 44) {
    // A 16-byte format chunk ahead of the samples: rewrite it in its own size.
    HRESULT hr = CheckWriterFormat(fixed);
    if (SUCCEEDED(hr)) hr = FileSeek(file, 0, FILE_BEGIN) ? S_OK : ZOERR_FILE_WRITE;
    if (SUCCEEDED(hr)) hr = riff_WriteFileID(file, kFourCC_WAVE, DWORD(data + 36));
    if (SUCCEEDED(hr)) hr = riff_WriteChunk(file, kFourCC_fmt, &fixed, 16, nullptr);
    if (SUCCEEDED(hr)) hr = riff_WriteChunkHeader(file, kFourCC_data, DWORD(data));
    return finish(hr);
  }
  return finish(InsertWavHeader(file, &fixed, DWORD(data), DWORD(start), false));
}

HRESULT ZoFixTrashedW64(HANDLE file, const WAVEFORMATEX* hints, ULONGLONG headerLimit) {
  const WAVEFORMATEX hint = hints ? *hints : DefaultHints();
  std::int64_t keep = 0, size = 0;
  if (!FileTell(file, &keep) || !FileSize(file, &size)) return ZOERR_FILE_READ;
  auto finish = [&](HRESULT hr) {
    FileSeek(file, keep, FILE_BEGIN);
    return hr;
  };
  std::int64_t limit = std::int64_t(std::min<ULONGLONG>(headerLimit & ~7ULL, 1ULL << 62));
  limit = std::min(limit, size);
  WAVEFORMATEX rec;
  if (!FileSeek(file, 64, FILE_BEGIN) || !FileReadExact(file, &rec, sizeof rec)) return finish(ZOERR_FILE_READ);

  // The walk goes from the first chunk, so that the data chunk is found
  // behind a format chunk of any size (other writers put a 16- or 40-byte
  // record there, which puts the data header at 80 or 104); then from behind
  // the record of our own layout; then the bytes are scanned from the
  // earliest place a data header can stand, behind the shortest format chunk.
  auto walk = [&](std::int64_t from, LONGLONG remaining) {
    ULONGLONG sz = 0;
    std::int64_t at = -1;
    if (FileSeek(file, from, FILE_BEGIN) && SUCCEEDED(riff64_FindChunkHeader(file, &kW64_data, &sz, &remaining)))
      FileTell(file, &at);
    return at;
  };
  std::int64_t start = walk(40, limit - 40);
  const bool chained = start >= 0;  // every chunk ahead of the samples is where its neighbour says
  if (start < 0) start = walk(88, limit);
  if (start < 0) {
    std::int64_t hit = 0;
    const HRESULT scan = ScanFor(file, 80, limit, &kW64_data, 16, &hit);
    if (FAILED(scan)) return finish(scan);
    start = scan == S_OK ? hit + 24 : hit;
  }
  if (start > size) start = size;

  // The format: the file's own chunk when a walk reaches it, kept as it
  // stands when whole and the chunks chain up to the samples; the record at
  // the fixed offset, repaired field by field, is the fallback.
  const FoundFormat found = FindFormatChunk<Wave64>(file, start - 24, limit);
  if (found.body >= 0) std::memcpy(&rec, found.bytes.data(), sizeof rec);
  const bool patch = chained && found.body >= 0 && (found.whole || found.size == 16 || found.size == 18);
  const WAVEFORMATEX fixed = patch && found.whole ? rec : RepairRecord(rec, hint);
  const std::uint64_t align = fixed.nBlockAlign ? fixed.nBlockAlign : 1;
  const std::uint64_t data = std::uint64_t(size - start) / align * align;
  if (patch) return finish(PatchHeader<Wave64>(file, found, fixed, start, data));
  if (start == 104) {
    // A 16-byte format record ahead of the samples: rewrite it in its own size.
    HRESULT hr = CheckWriterFormat(fixed);
    if (SUCCEEDED(hr)) hr = FileSeek(file, 0, FILE_BEGIN) ? S_OK : ZOERR_FILE_WRITE;
    if (SUCCEEDED(hr)) hr = riff64_WriteFileID(file, &kW64_wave, data + 104 - 24);
    if (SUCCEEDED(hr)) hr = riff64_WriteChunk(file, &kW64_fmt, &fixed, 16, nullptr);
    if (SUCCEEDED(hr)) hr = riff64_WriteChunkHeader(file, &kW64_data, data);
    return finish(hr);
  }
  return finish(InsertW64Header(file, &fixed, data, ULONGLONG(start), false));
}
