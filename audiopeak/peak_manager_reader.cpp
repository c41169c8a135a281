// SPDX-License-Identifier: MIT
#include "audiopeak/peak_manager_reader.h"

#include <new>
#include <string>

#include "audiopeak/detail/copy_name.h"
#include "audio/zowaveformat.h"
#include "ffbase/memory_token.h"
#include "fileio/zofileio.h"
#include "platform/com.h"

using vane::ComPtr;

namespace {

class ManagerReader final : public CZoAudioPeakStreamReader {
 public:
  ManagerReader(IZoFileIOManager* manager, LPCWSTR path, LONG audioIndex)
      : m_manager(manager), m_path(path), m_audioIndex(audioIndex) {}
  ~ManagerReader() override { Close(); }

  // Opens once to learn the format, the length and the stream's number.
  HRESULT Probe() {
    VANE_RETURN_IF_FAILED(Open());
    ZoWaveFormatBuffer<sizeof(_zowaveformat)> record{};
    HRESULT hr = m_audio->GetReadAudioFormat(record.get());
    if (SUCCEEDED(hr)) hr = m_audio->GetSampleCount(&m_frames);
    if (SUCCEEDED(hr)) {
      ZoAudio_InitWfx(&m_format.Format, record->nSamplesPerSec, record->sampleType, record->nChannels);
      // A read type without a Wave form is asked for as 32-bit float.
      if (ZoAudio_GetSampleType(&m_format.Format) != record->sampleType) {
        m_forceFloat = true;
        ZoAudio_InitWfx(&m_format.Format, record->nSamplesPerSec, ZOSAMPLE_FLOAT32, record->nChannels);
        hr = ApplyFloat();
      }
    }
    LONG streams = 0;
    ULONG type = 0;
    LONG typeIndex = 0, rawIndex = -1;
    if (SUCCEEDED(hr) && SUCCEEDED(m_file->GetStreamCount(&streams)) && streams > 1 &&
        SUCCEEDED(m_audio->GetStreamType(&type, &typeIndex, &rawIndex)))
      m_streamIndex = rawIndex;
    Close();
    if (SUCCEEDED(hr) && (m_format.Format.nBlockAlign == 0 || m_frames < 0)) hr = ZOERR_FILE_OPEN;
    return hr;
  }

  HRESULT Open() override {
    if (m_audio) return S_OK;
    ComPtr<IZoReadFile> file;
    HRESULT hr = m_manager->OpenReadFile(m_path.c_str(), file.ReleaseAndGetAddressOf(), 0);
    if (FAILED(hr)) return hr;
    ComPtr<IZoReadStream> stream;
    hr = file->OpenStream(stream.ReleaseAndGetAddressOf(), ZOFILESTREAM_AUDIO, m_audioIndex, 0, nullptr);
    if (FAILED(hr)) return hr;
    ComPtr<IZoReadAudioStream> audio;
    VANE_RETURN_IF_FAILED(stream.As(IID_IZoReadAudioStream, &audio));
    m_file = file;
    m_audio = audio;
    if (m_forceFloat) {
      hr = ApplyFloat();
      if (FAILED(hr)) Close();
    }
    return hr;
  }

  HRESULT Read(LONGLONG position, LONG frames, void* buffer, LONG* framesRead) override {
    if (framesRead) *framesRead = 0;
    if (!m_audio) return ZOERR_FILE_OPEN;
    if (position < 0 || position > m_frames || frames < 0) return ZOERR_FILE_READ;
    if (!buffer && frames > 0) return E_POINTER;
    if (frames > m_frames - position) frames = LONG(m_frames - position);
    if (frames == 0) return S_OK;
    const _zomemorytoken token =
        ffbase::CMappingOfZoMemoryToken::FromPointer(buffer, ULONGLONG(frames) * m_format.Format.nBlockAlign);
    LONG got = 0;
    const HRESULT hr = m_audio->Read(position, token, frames, &got);
    if (FAILED(hr)) return ZOERR_FILE_READ;
    if (framesRead) *framesRead = got < 0 ? 0 : got > frames ? frames : got;
    return S_OK;
  }

  HRESULT GetStreamPosition(LONGLONG*) override { return E_NOTIMPL; }

  HRESULT Close() override {
    if (m_audio) m_audio->Close();
    m_audio.Reset();
    if (m_file) m_file->CloseFile();
    m_file.Reset();
    return S_OK;
  }

  const WAVEFORMATEX* GetFormat() override { return m_format.Format.nBlockAlign ? &m_format.Format : nullptr; }
  int GetStreamIndex() override { return m_streamIndex; }
  LONGLONG GetFrameCount() override { return m_frames; }
  HRESULT GetFileName(WCHAR* buffer, int cch, DWORD) override { return vane::audiopeak::CopyName(m_path, buffer, cch); }
  HRESULT Rename(LPCWSTR newName) override {
    if (!newName || !*newName) return E_INVALIDARG;
    Close();
    m_path = newName;
    return S_OK;
  }

 private:
  HRESULT ApplyFloat() {
    _zowaveformat record{};
    record.Init(m_format.Format.nSamplesPerSec, ZOSAMPLE_FLOAT32, m_format.Format.nChannels, 0, 32);
    return m_audio->SetReadAudioFormat(&record);
  }

  ComPtr<IZoFileIOManager> m_manager;
  std::u16string m_path;
  LONG m_audioIndex;
  ComPtr<IZoReadFile> m_file;
  ComPtr<IZoReadAudioStream> m_audio;
  WAVEFORMATEXTENSIBLE m_format{};
  LONGLONG m_frames = 0;
  int m_streamIndex = -1;
  bool m_forceFloat = false;
};

}  // namespace

HRESULT ZoAudioPeak_CreateManagerReader(CZoAudioPeakStreamReader** reader, IZoFileIOManager* manager, LPCWSTR path,
                                        LONG audioIndex) {
  if (!reader) return E_POINTER;
  *reader = nullptr;
  if (!manager || !path || !*path || audioIndex < 0) return E_INVALIDARG;
  auto* r = new (std::nothrow) ManagerReader(manager, path, audioIndex);
  if (!r) return E_OUTOFMEMORY;
  const HRESULT hr = r->Probe();
  if (FAILED(hr)) {
    delete r;
    return hr;
  }
  *reader = r;
  return S_OK;
}

void ZoAudioPeak_DestroyReader(CZoAudioPeakStreamReader* reader) { delete reader; }
