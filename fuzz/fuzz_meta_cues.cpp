// SPDX-License-Identifier: MIT
// The metadata chunk readers over a Wave file whose chunks after "WAVE" are
// the fuzzer's bytes (cue, LIST adtl, zo01, LIST INFO, smpl with any sizes and
// counts), and the Wave64 summary body over the bytes themselves.
#include <unistd.h>

#include <cstdio>
#include <cstdint>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"
#include "platform/memory.h"
#include "riff/meta_cues.h"
#include "riff/meta_sampler.h"
#include "riff/summary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path = "/tmp/fuzz_meta_cues_" + std::to_string(getpid()) + ".wav";
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  const uint32_t riff = static_cast<uint32_t>(size + 4);
  std::fwrite("RIFF", 1, 4, f);
  std::fwrite(&riff, 4, 1, f);
  std::fwrite("WAVE", 1, 4, f);
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  const std::u16string name = vane::platform::FromUtf8(path);
  HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return 0;
  tZOLIST* times = nullptr;
  tZOLIST* samples = nullptr;
  ZoList_CreateExZ(&times, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0);
  ZoList_CreateExZ(&samples, sizeof(void*), 4, 8, ZOLIST_OPT_HEAPITEMS, 0, 0, 0);
  ZoFMMeta_fillCuesFromFileEx(h, 44100, times, samples);
  ZoFMMeta_fillSummaryFromFileEx(h, times, samples);
  BYTE* block = nullptr;
  DWORD blockSize = 0;
  ZoFMMeta_fillSamplerinfoFromFileEx(h, &block, &blockSize, FALSE, 44100);
  if (block) GlobalFree(block);
  ZOSUMMARY summary{};
  ZoSummary_LoadW64(data, size, &summary);
  ZoSummary_Free(&summary);
  ZoList_Destroy(times);
  ZoList_Destroy(samples);
  CloseHandle(h);
  return 0;
}
