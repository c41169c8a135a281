// SPDX-License-Identifier: MIT
#include "audiopeak/peak_header.h"

#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <limits>

#include "platform/wtext.h"

HRESULT ZoAudioPeak_ParseHeader(const void* bytes, size_t size, tZOAUDIOPEAKHEADER* out) {
  if (!out) return E_POINTER;
  std::memset(out, 0, sizeof *out);
  if (!bytes) return S_FALSE;
  std::memcpy(out, bytes, size < sizeof *out ? size : sizeof *out);
  if (size < ZOAUDIOPEAK_HEADER_SIZE) return S_FALSE;
  if (out->magic != ZOAUDIOPEAK_MAGIC || out->version >= 2 || out->headerSize < ZOAUDIOPEAK_HEADER_SIZE)
    return S_FALSE;
  if (out->peakBits != 8 && out->peakBits != 16) return S_FALSE;
  if (out->channels == 0 || out->channels > 0xFFFF) return S_FALSE;
  if (out->framesPerPeak < DWORD(ZOAUDIOPEAK_MIN_FRAMES_PER_PEAK) ||
      out->framesPerPeak > DWORD(ZOAUDIOPEAK_MAX_FRAMES_PER_PEAK))
    return S_FALSE;
  return S_OK;
}

ULONGLONG ZoAudioPeak_RecordCount(const tZOAUDIOPEAKHEADER* header) {
  if (!header || header->framesPerPeak == 0) return 0;
  return header->frameCount / header->framesPerPeak + (header->frameCount % header->framesPerPeak != 0);
}

ULONGLONG ZoAudioPeak_RecordSize(const tZOAUDIOPEAKHEADER* header) {
  return header ? ULONGLONG(header->channels) * (header->peakBits / 8) * 2 : 0;
}

ULONGLONG ZoAudioPeak_ExpectedFileSize(const tZOAUDIOPEAKHEADER* header) {
  const ULONGLONG records = ZoAudioPeak_RecordCount(header);
  const ULONGLONG record = ZoAudioPeak_RecordSize(header);
  if (!header || record == 0) return 0;
  constexpr ULONGLONG kMax = std::numeric_limits<ULONGLONG>::max();
  if (records > (kMax - header->headerSize) / record) return 0;
  return header->headerSize + records * record;
}

namespace {

// Date in the high word, time (two-second steps) in the low word; years
// outside what the form can hold are clamped to its ends.
DWORD DosDate(const std::tm& t) {
  int year = t.tm_year + 1900;
  if (year < 1980) return (1 << 5 | 1) << 16;  // 1980-01-01 00:00:00
  if (year > 2107) year = 2107;
  const DWORD date = DWORD(year - 1980) << 9 | DWORD(t.tm_mon + 1) << 5 | DWORD(t.tm_mday);
  const DWORD time = DWORD(t.tm_hour) << 11 | DWORD(t.tm_min) << 5 | DWORD(t.tm_sec / 2);
  return date << 16 | time;
}

}  // namespace

BOOL ZoAudioPeak_GetMediaDates(LPCWSTR path, DWORD* localDate, DWORD* utcDate) {
  if (localDate) *localDate = 0;
  if (utcDate) *utcDate = 0;
  if (!path || !*path) return FALSE;
  struct stat st {};
  if (::stat(vane::platform::ToUtf8(path).c_str(), &st) != 0) return FALSE;
  const std::time_t when = st.st_mtime;
  std::tm local{}, utc{};
  if (!localtime_r(&when, &local) || !gmtime_r(&when, &utc)) return FALSE;
  if (localDate) *localDate = DosDate(local);
  if (utcDate) *utcDate = DosDate(utc);
  return TRUE;
}
