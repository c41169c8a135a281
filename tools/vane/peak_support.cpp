// SPDX-License-Identifier: MIT
#include "tools/vane/peak_support.h"

#include "audiopeak/peak_manager_reader.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "tools/vane/cli.h"

namespace vane::tool {

const char* PeakStateName(PeakState state) {
  switch (state) {
    case PeakState::kFresh: return "fresh";
    case PeakState::kStale: return "stale";
    default: return "built";
  }
}

HRESULT OpenPeaks(PeakSession* session, const std::string& file, const std::string& peakPath, LONG framesPerPeak,
                  DWORD flags) {
  HRESULT hr = ZOFileIO_CreateInstance(&session->manager.m, 0);
  if (FAILED(hr)) return hr;
  const std::u16string media = platform::FromUtf8(file);
  CZoAudioPeakStreamReader* reader = nullptr;
  hr = ZoAudioPeak_CreateManagerReader(&reader, session->manager.m, media.c_str(), 0);
  if (FAILED(hr)) return hr;
  IZoAudioPeak* peak = nullptr;
  if (!peakPath.empty()) {
    const std::u16string name = platform::FromUtf8(peakPath);
    hr = ZoAudioPeak_CreateInstanceWithName(&peak, reader, name.c_str(), framesPerPeak, 0, flags);
  } else {
    hr = ZoAudioPeak_CreateInstance(&peak, reader, media.c_str(), nullptr, framesPerPeak, 0, flags);
  }
  if (FAILED(hr)) return hr;  // the instance's creation deleted the reader
  session->peak = vane::ComPtr<IZoAudioPeak>::Attach(peak);
  WCHAR name[4096];
  if (SUCCEEDED(peak->GetFileName(name, 4096))) session->peakFile = platform::ToUtf8(name);
  return S_OK;
}

namespace {

BOOL ShowProgress(void* user, LONGLONG done, LONGLONG) {
  static_cast<Progress*>(user)->Update(std::uint64_t(done));
  return TRUE;
}

}  // namespace

HRESULT BuildPeaks(PeakSession* session, DWORD buildFlags, bool quiet) {
  const std::u16string name = platform::FromUtf8(session->peakFile);
  const bool existed = !name.empty() && GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES;
  Progress progress("peaks", 10000, !quiet);
  const tZOAUDIOPEAK_PROGRESS callback{&ShowProgress, &progress};
  const HRESULT hr = session->peak->Build(buildFlags, &callback);
  progress.Finish();
  if (FAILED(hr)) return hr;
  session->state = hr == ZOAUDIOPEAK_S_VALID ? PeakState::kFresh : existed ? PeakState::kStale : PeakState::kBuilt;
  WCHAR built[4096];
  if (SUCCEEDED(session->peak->GetFileName(built, 4096))) session->peakFile = platform::ToUtf8(built);
  return hr;
}

}  // namespace vane::tool
