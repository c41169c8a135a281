// SPDX-License-Identifier: MIT
// vane decode FILE -o OUT.raw: the interleaved samples of the first audio
// stream in its read format, read as a host reads them: through the plug-in
// manager, the stream and its Read slot, a block at a time.
#include <cstdio>
#include <memory>

#include "audio/zowaveformat.h"
#include "ffbase/memory_token.h"
#include "fileio/zofileio.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"
#include "tools/vane/manager_hold.h"

namespace vane::tool {
namespace {

int Run(Args& args);

const Command kCommand{"decode", "decode FILE -o OUT.raw [--json]",
                       "write a file's audio samples, interleaved, in the stream's read format", &Run};
const Registrar kReg(kCommand);

constexpr LONG kBlockFrames = 65536;


int Run(Args& args) {
  const bool json = args.Flag("--json");
  std::optional<std::string> output = args.Option("--output", "-o");
  if (auto unknown = args.Unknown()) return UsageError(kCommand, "unknown option " + *unknown);
  const std::vector<std::string> files = args.Positional();
  if (files.size() != 1 || !output) return UsageError(kCommand, "one file and -o OUT are needed");
  const std::string& file = files[0];

  ManagerHold manager;
  HRESULT hr = ZOFileIO_CreateInstance(&manager.m, 0);
  if (FAILED(hr)) return Failure(hr, "creating the plug-in manager");
  const std::u16string name = vane::platform::FromUtf8(file);
  ComPtr<IZoReadFile> reader;
  hr = manager.m->OpenReadFile(name.c_str(), reader.ReleaseAndGetAddressOf(), 0);
  if (FAILED(hr)) return Failure(hr, file);
  ComPtr<IZoReadStream> stream;
  hr = reader->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, 0, 0, nullptr);
  if (FAILED(hr)) return Failure(hr, file + ": no audio stream");
  ComPtr<IZoReadAudioStream> audio;
  hr = stream.As(IID_IZoReadAudioStream, &audio);
  if (FAILED(hr)) return Failure(hr, file);
  LONGLONG total = 0;
  ULONG cell = 0;
  ZoWaveFormatBuffer<sizeof(_zowaveformat)> format{};
  if (FAILED(hr = audio->GetSampleCount(&total)) || FAILED(hr = audio->GetAudioCellSize(&cell)) ||
      FAILED(hr = audio->GetReadAudioFormat(format.get())))
    return Failure(hr, file);
  if (cell == 0) return Failure(ZOERR_BAD_FORMAT, file);

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(output->c_str(), "wb"), &std::fclose);
  if (!out) return Failure(ZOERR_FILE_CREATE, *output);
  std::vector<BYTE> block(size_t(kBlockFrames) * cell);
  const _zomemorytoken token = ffbase::CMappingOfZoMemoryToken::FromPointer(block.data(), block.size());
  Progress progress("decoding", std::uint64_t(total), !json && total > 10 * kBlockFrames);
  LONGLONG position = 0;
  while (position < total) {
    const LONG want = LONG(std::min<LONGLONG>(kBlockFrames, total - position));
    LONG got = 0;
    hr = audio->Read(position, token, want, &got);
    if (FAILED(hr)) return Failure(hr, file);
    if (got <= 0) break;
    if (std::fwrite(block.data(), cell, size_t(got), out.get()) != size_t(got)) return Failure(ZOERR_FILE_WRITE, *output);
    position += got;
    progress.Update(std::uint64_t(position));
  }
  progress.Finish();
  if (std::fclose(out.release()) != 0) return Failure(ZOERR_FILE_WRITE, *output);
  if (json) {
    Json j;
    j.BeginObject().Field("file", file).Field("output", *output).Field("frames", std::int64_t(position))
        .Field("bytes", std::int64_t(position * cell)).Field("block_align", std::uint64_t(cell)).EndObject();
    std::printf("%s\n", j.str().c_str());
  } else {
    std::printf("%s: %lld frames of %u bytes to %s\n", file.c_str(), static_cast<long long>(position), unsigned(cell),
                output->c_str());
  }
  return position == total ? kExitOk : Failure(ZOERR_NOT_ENOUGH_DATA, file + ": the stream ended early");
}

}  // namespace
}  // namespace vane::tool
