// SPDX-License-Identifier: MIT
#include "riff/aiff.h"

#include <cmath>
#include <cstring>

#include "platform/file.h"
#include "platform/status.h"
#include "riff/detail/file_access.h"

using namespace vane::riff;

namespace {
inline DWORD Be32(const BYTE* p) { return DWORD(p[0]) << 24 | DWORD(p[1]) << 16 | DWORD(p[2]) << 8 | p[3]; }
inline WORD Be16(const BYTE* p) { return WORD(p[0] << 8 | p[1]); }
}  // namespace

void aiff_CreateRate(double rate, BYTE out[10]) {
  std::memset(out, 0, 10);
  if (!(rate > 0)) return;
  int exp = 0;
  double mant = std::frexp(rate, &exp);  // rate = mant * 2^exp, mant in [0.5, 1)
  const int biased = exp - 1 + 16383;
  const ULONGLONG m = ULONGLONG(std::ldexp(mant, 64));
  out[0] = BYTE(biased >> 8);
  out[1] = BYTE(biased);
  for (int i = 0; i < 8; ++i) out[2 + i] = BYTE(m >> (56 - 8 * i));
}

double aiff_ReadRate(const BYTE in[10]) {
  const int exp = ((in[0] & 0x7F) << 8 | in[1]) - 16383;
  ULONGLONG m = 0;
  for (int i = 0; i < 8; ++i) m = (m << 8) | in[2 + i];
  if (m == 0 || exp < -1000 || exp > 1000) return 0;
  return std::ldexp(double(m), exp - 63);
}

BOOL iff_IsAIFFFile(HANDLE file) {
  BYTE h[12];
  if (!FileSeek(file, 0, FILE_BEGIN) || !FileReadExact(file, h, 12)) return FALSE;
  return std::memcmp(h, "FORM", 4) == 0 && (std::memcmp(h + 8, "AIFF", 4) == 0 || std::memcmp(h + 8, "AIFC", 4) == 0);
}

HRESULT iff_GetAIFFWfx(HANDLE file, WAVEFORMATEX* wfx, DWORD* frames, LONGLONG* commOffset, BOOL* compressed) {
  if (!wfx) return E_POINTER;
  if (!iff_IsAIFFFile(file)) return ZOERR_BAD_FORMAT;
  BYTE h[12];
  FileSeek(file, 0, FILE_BEGIN);
  FileReadExact(file, h, 12);
  const bool aifc = std::memcmp(h + 8, "AIFC", 4) == 0;
  // Walk the big-endian chunks (even-padded) to "COMM"; the walk is bounded
  // by the file, each step moves forward.
  for (int guard = 0; guard < 4096; ++guard) {
    BYTE c[8];
    if (!FileReadExact(file, c, 8)) return ZOERR_NOT_FOUND;
    const DWORD size = Be32(c + 4);
    if (std::memcmp(c, "COMM", 4) == 0) {
      if (size < 18) return ZOERR_BAD_FORMAT;
      std::int64_t at = 0;
      FileTell(file, &at);
      BYTE b[22] = {};
      if (!FileReadExact(file, b, size >= 22 ? 22 : 18)) return ZOERR_FILE_READ;
      const WORD channels = Be16(b);
      const WORD bits = Be16(b + 6);
      const double rate = aiff_ReadRate(b + 8);
      bool isFloat = false, isCompressed = false;
      if (aifc && size >= 22) {
        isFloat = std::memcmp(b + 18, "fl32", 4) == 0 || std::memcmp(b + 18, "fl64", 4) == 0;
        isCompressed = !(std::memcmp(b + 18, "NONE", 4) == 0 || std::memcmp(b + 18, "sowt", 4) == 0 ||
                         std::memcmp(b + 18, "twos", 4) == 0 || isFloat);
      }
      std::memset(wfx, 0, sizeof *wfx);
      wfx->wFormatTag = isFloat ? WAVE_FORMAT_IEEE_FLOAT : WAVE_FORMAT_PCM;
      wfx->nChannels = channels;
      wfx->nSamplesPerSec = DWORD(std::lround(rate > 0 && rate < 4.0e9 ? rate : 0));
      wfx->wBitsPerSample = bits;
      wfx->nBlockAlign = WORD(((bits + 7) / 8) * channels);
      wfx->nAvgBytesPerSec = wfx->nBlockAlign * wfx->nSamplesPerSec;
      if (frames) *frames = Be32(b + 2);
      if (commOffset) *commOffset = at;
      if (compressed) *compressed = isCompressed;
      return S_OK;
    }
    if (!FileSkip(file, std::uint64_t(size) + (size & 1))) return ZOERR_NOT_FOUND;
  }
  return ZOERR_NOT_FOUND;
}

namespace vane::riff {

bool AiffSoundDataOffset(HANDLE file, std::int64_t* offset) {
  std::int64_t size = 0;
  if (!iff_IsAIFFFile(file) || !FileSize(file, &size)) return false;
  // iff_IsAIFFFile left the position behind the form type: walk from there.
  for (int guard = 0; guard < 4096; ++guard) {
    BYTE c[16];
    if (!FileReadExact(file, c, 8)) return false;
    const DWORD chunk = Be32(c + 4);
    if (std::memcmp(c, "SSND", 4) == 0) {
      if (chunk < 8 || !FileReadExact(file, c + 8, 8)) return false;
      std::int64_t at = 0;
      FileTell(file, &at);
      at += Be32(c + 8);
      if (at > size) return false;
      *offset = at;
      return true;
    }
    if (!FileSkip(file, std::uint64_t(chunk) + (chunk & 1))) return false;
  }
  return false;
}

}  // namespace vane::riff
