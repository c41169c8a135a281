// SPDX-License-Identifier: MIT
// The file chunk walkers (classic and Wave64), the wave probes and the
// header repair over arbitrary file contents.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/riff_api.h"
#include "riff/wave_header.h"

namespace {
std::string ScratchName() {
  const char* tmp = std::getenv("TMPDIR");
  return std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_riff_file_" + std::to_string(getpid());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  static const std::u16string name = vane::platform::FromUtf8(ScratchName());
  HANDLE f = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (f == INVALID_HANDLE_VALUE) return 0;
  DWORD put = 0;
  WriteFile(f, data, DWORD(size), &put, nullptr);
  DWORD chunk = 0, remaining = 0, count = 0;
  (void)riff_FindChunkHeaderInRIFF(f, kFourCC_data, &chunk, &remaining);
  (void)riff_FindListChunkFromStart(f, kFourCC_INFO, &chunk);
  riff_SeekDataStart(f);
  remaining = DWORD(size);
  (void)riff_GetNumListEntries(f, &count, &remaining);
  ULONGLONG size64 = 0;
  LONGLONG remaining64 = 0;
  (void)riff64_FindChunkHeaderInRIFF(f, &kW64_data, &size64, &remaining64);
  riff64_SeekDataStart(f);
  remaining64 = LONGLONG(size);
  (void)riff64_GetNumListEntries(f, &count, &remaining64);
  CloseHandle(f);
  std::free(ZoGetFileWfx(name.c_str(), nullptr, nullptr));
  (void)ZoFileIsWave(name.c_str(), TRUE);
  (void)ZoFileIsWave64(name.c_str(), TRUE);
  // Repair last: it rewrites the header of the scratch copy.
  f = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (f != INVALID_HANDLE_VALUE) {
    (void)ZoFixTrashedWav(f, nullptr, 0x10000);
    (void)ZoFixTrashedW64(f, nullptr, 0x10000);
    DWORD removed = 0;
    (void)riff_DeleteChunk(f, ZoFourCC("JUNK"), &removed, FALSE);
    CloseHandle(f);
  }
  return 0;
}
