// SPDX-License-Identifier: MIT
// The file chunk walkers (classic and Wave64), the wave probes, the format
// rewrite, deletes and the header repair over arbitrary file contents.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/memory.h"
#include "platform/wtext.h"
#include "riff/bwf_riff.h"
#include "riff/meta_cues.h"
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
  // The ds64 walks of RF64 and BW64: lists, chunks, bext and iXML, cues.
  (void)rf64_FindListChunk(f, kFourCC_INFO, &chunk);
  (void)rf64_FindChunkHeader(f, kFourCC_data, &chunk);
  {
    _tagZOBWF_Chunk record;
    BOOL found = FALSE;
    (void)bwfriff_LoadInfo(f, &record, &found);
    (void)vane::riff::ReadMarkerSamples(f, false, 48000);
    static const BYTE body[40] = {'f', 'u', 'z', 'z'};
    LONGLONG delta = 0;
    (void)bwfriff_UpdateStreamChunk(BWF_CHUNK_IXML, f, body, (size & 1) ? 40 : 8, &delta);
    ULONGLONG bytes = 0;
    (void)bwfriff_DeleteChunk(BWF_CHUNK_BEXT, f, &bytes);
  }
  riff_SeekDataStart(f);
  ZORIFFDATA block{DWORD((size > 12 ? size - 12 : 0) + (size & 3)), nullptr};
  if (SUCCEEDED(riff_ReadDataAlloc(f, &block)) && block.pData) {
    HGLOBAL h = GlobalHandle(block.pData);
    GlobalUnlock(h);
    GlobalFree(h);
  }
  CloseHandle(f);
  ULONGLONG samples = 0, offset = 0;
  std::free(ZoGetFileWfx(name.c_str(), &samples, &offset));
  (void)ZoFileIsWave(name.c_str(), TRUE);
  (void)ZoFileIsWave64(name.c_str(), TRUE);
  // A PCM record fits a 16- or 18-byte chunk in place; a float record
  // needs 18 bytes and may rewrite the file beside itself.
  WAVEFORMATEX pcm{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  WAVEFORMATEX flt{WAVE_FORMAT_IEEE_FLOAT, 1, 48000, 192000, 4, 32, 0};
  (void)ZoSetFileWfx(name.c_str(), (size & 1) ? &flt : &pcm);
  // Repair last: it rewrites the header of the scratch copy.
  f = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (f != INVALID_HANDLE_VALUE) {
    (void)ZoFixTrashedWav(f, nullptr, 0x10000);
    (void)ZoFixTrashedW64(f, nullptr, 0x10000);
    DWORD removed = 0;
    (void)riff_DeleteChunk(f, ZoFourCC("JUNK"), &removed, FALSE);
    (void)riff_DeleteChunk(f, kFourCC_INFO, &removed, TRUE);
    ULONGLONG removed64 = 0;
    (void)riff64_DeleteChunk(f, &kW64_junk, &removed64);
    CloseHandle(f);
  }
  return 0;
}
