// SPDX-License-Identifier: MIT
// The smallest host: opens a file through the plug-in manager, as an editor
// does, and prints its reader class and streams.
#include <cstdio>
#include <cstring>

#include "audio/zowaveformat.h"
#include "fileio/zofileio.h"
#include "platform/wtext.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: vane-host FILE\n");
    return 2;
  }
  IZoFileIOMgrForApp* manager = nullptr;
  HRESULT hr = ZOFileIO_CreateInstance(&manager, 0);
  if (FAILED(hr)) return std::fprintf(stderr, "no manager: 0x%08X\n", unsigned(hr)), 1;
  const std::u16string name = vane::platform::FromUtf8(argv[1]);
  IZoReadFile* file = nullptr;
  hr = manager->OpenReadFile(name.c_str(), &file, 0);
  if (SUCCEEDED(hr)) {
    IZoReadFileClass* cls = nullptr;
    if (SUCCEEDED(file->GetFileClass(&cls)) && cls) {
      DWORD id = ZOFIO_INFOTEXT_NAME;
      BSTR text = nullptr;
      if (SUCCEEDED(cls->GetInfoText(&id, 1, &text)) && text) std::printf("reader: %s\n", vane::platform::ToUtf8(text).c_str());
      SysFreeString(text);
      cls->Release();
    }
    LONG count = 0;
    file->GetStreamCount(&count);
    for (LONG i = 0; i < count; ++i) {
      _ZOFILESTREAMFORMATINFOv2 info{};
      info.cbSize = sizeof info;
      if (FAILED(file->GetStreamFormatInfo(&info, i, 1))) continue;
      ZoWaveFormatBuffer<sizeof(_zowaveformat)> format{};
      std::memcpy(format.bytes, info.format.raw, ZOWAVEFORMAT_BASE_SIZE);
      std::printf("stream %d: %s, %u Hz, %u channels, %lld samples\n", int(i),
                  info.streamType == ZOFILESTREAM_AUDIO ? "audio" : "other", unsigned(format.get()->nSamplesPerSec),
                  unsigned(format.get()->nChannels), static_cast<long long>(info.length));
    }
    file->Release();
  } else {
    std::fprintf(stderr, "%s: 0x%08X\n", argv[1], unsigned(hr));
  }
  manager->Shutdown();
  manager->Release();
  return FAILED(hr) ? 1 : 0;
}
