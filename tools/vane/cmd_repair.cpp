// SPDX-License-Identifier: MIT
// vane repair FILE -o OUT | --in-place [--rate R --channels C --bits B]:
// rescues a Wave or Wave64 file whose header a crash ruined. The original is
// never touched until the repaired copy is complete: the copy is made beside
// the target and renamed over it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/file.h"
#include "platform/wtext.h"
#include "platform/status.h"
#include "riff/riff_types.h"
#include "riff/rf64_repair.h"
#include "riff/wave_header.h"
#include "tools/vane/cli.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"repair", "repair FILE (-o OUT | --in-place) [--rate R --channels C --bits B] [--json]",
                       "rescue a Wave or Wave64 file whose header a crash ruined", &Run};
const Registrar kReg(kCommand);

// Search bound for the start of the samples.
constexpr DWORD kHeaderLimit = 1u << 20;

bool ParseNumber(const std::optional<std::string>& text, DWORD* out) {
  if (!text) return true;
  char* end = nullptr;
  const unsigned long v = std::strtoul(text->c_str(), &end, 10);
  if (!end || *end || text->empty() || v == 0 || v > 0xFFFFFFFFul) return false;
  *out = DWORD(v);
  return true;
}

int Run(Args& args) {
  const bool json = args.Flag("--json");
  const bool inPlace = args.Flag("--in-place");
  const auto outName = args.Option("--output", "-o");
  DWORD rate = 44100, channels = 2, bits = 16;
  if (!ParseNumber(args.Option("--rate"), &rate) || !ParseNumber(args.Option("--channels"), &channels) ||
      !ParseNumber(args.Option("--bits"), &bits) || channels > 0xFFFF || bits > 64)
    return UsageError(kCommand, "--rate, --channels and --bits take positive whole numbers");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1) return UsageError(kCommand, "one file is needed");
  if (inPlace == bool(outName)) return UsageError(kCommand, "give either -o OUT or --in-place");

  const std::string target = inPlace ? files[0] : *outName;
  const std::string work = target + ".vane-repair";
  const std::u16string src = platform::FromUtf8(files[0]), tmp = platform::FromUtf8(work),
                       dst = platform::FromUtf8(target);
  if (!CopyFileW(src.c_str(), tmp.c_str(), FALSE)) return Failure(ZOERR_FILE_OPEN, files[0]);

  WAVEFORMATEX hints{};
  hints.wFormatTag = WAVE_FORMAT_PCM;
  hints.nChannels = WORD(channels);
  hints.nSamplesPerSec = rate;
  hints.wBitsPerSample = WORD(bits);
  hints.nBlockAlign = WORD(channels * (bits / 8));
  hints.nAvgBytesPerSec = rate * hints.nBlockAlign;

  HRESULT hr = S_OK;
  HANDLE file = CreateFileW(tmp.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    hr = ZOERR_FILE_OPEN;
  } else {
    BYTE head[16] = {};
    DWORD got = 0;
    ReadFile(file, head, 16, &got, nullptr);
    const bool w64 = got == 16 && std::memcmp(head, &kW64_riff, 16) == 0;
    const bool rf64 = got >= 4 && (std::memcmp(head, "RF64", 4) == 0 || std::memcmp(head, "BW64", 4) == 0);
    // RF64 keeps its sizes in "ds64"; a classic file past 4 GB that holds a
    // reserved "JUNK" for it is made RF64 by the same repair.
    LARGE_INTEGER size{};
    GetFileSizeEx(file, &size);
    const bool reserved = !rf64 && !w64 && ULONGLONG(size.QuadPart) > 0xFFFFFFFFull && got == 16 &&
                          std::memcmp(head + 12, "JUNK", 4) == 0;
    if (rf64 || reserved) {
      hr = ZoFixTrashedRF64(file);
      CloseHandle(file);
      file = INVALID_HANDLE_VALUE;
    }
    if (file != INVALID_HANDLE_VALUE) {
      hr = w64 ? ZoFixTrashedW64(file, &hints, kHeaderLimit) : ZoFixTrashedWav(file, &hints, kHeaderLimit);
      FlushFileBuffers(file);
      CloseHandle(file);
    }
  }
  if (SUCCEEDED(hr) && !MoveFileExW(tmp.c_str(), dst.c_str(), MOVEFILE_REPLACE_EXISTING)) hr = ZOERR_FILE_WRITE;
  if (FAILED(hr)) {
    DeleteFileW(tmp.c_str());
    return Failure(hr, files[0]);
  }
  ULONGLONG samples = 0, offset = 0;
  WAVEFORMATEX* wfx = ZoGetFileWfx(dst.c_str(), &samples, &offset);
  if (json) {
    Json j;
    j.BeginObject().Field("file", files[0]).Field("output", target).Field("in_place", inPlace);
    if (wfx) {
      j.Field("sample_rate", std::uint64_t(wfx->nSamplesPerSec)).Field("channels", std::uint64_t(wfx->nChannels));
      j.Field("bits", std::uint64_t(wfx->wBitsPerSample)).Field("frames", std::uint64_t(samples));
      j.Field("offset", std::uint64_t(offset));
    }
    std::printf("%s\n", j.EndObject().str().c_str());
  } else {
    std::printf("%s %s\n", inPlace ? "repaired in place:" : "repaired copy written:", target.c_str());
    if (wfx)
      std::printf("  %u Hz, %u channels, %u bits, %llu samples from offset %llu\n", unsigned(wfx->nSamplesPerSec),
                  unsigned(wfx->nChannels), unsigned(wfx->wBitsPerSample), (unsigned long long)samples,
                  (unsigned long long)offset);
  }
  std::free(wfx);
  return kExitOk;
}

}  // namespace
}  // namespace vane::tool
