// SPDX-License-Identifier: MIT
// The Wave plug-in: reader classes for Wave and Wave64 built on the ffbase
// classes, as any third-party format plug-in would be. One module, two
// classes; the probe is the kernel's quick identification, the decoder reads
// frames straight from the file into the caller's buffer (the read format is
// the file's own, so there is nothing to convert).
#include <cstring>
#include <new>
#include <string>

#include "ffbase/ffbase.h"
#include "fileio/team_guids.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "plugins/wave/wave_layout.h"
#include "plugins/wave/wave_meta.h"
#include "plugins/wave/wave_render.h"
#include "riff/quick_identify.h"

namespace vane::wave {
namespace {

// A single read of at most this many bytes; bigger requests are split.
constexpr DWORD kMaxReadBytes = 1u << 30;

const WCHAR kWaveName[] = u"Wave (Vane)";
const WCHAR kWave64Name[] = u"Wave64 (Vane)";

const ffbase::StringKeyValue kWaveStrings[] = {
    {ffbase::kStringName, reinterpret_cast<LONG_PTR>(kWaveName)},
    {ffbase::kStringExtensions, reinterpret_cast<LONG_PTR>(u"*.wav;*.bwf;*.rf64")},
    {ffbase::kStringDefaultExt, reinterpret_cast<LONG_PTR>(u"*.wav")},
    {ffbase::kStringFilterName, reinterpret_cast<LONG_PTR>(kWaveName)},
    {ffbase::kStringAbout, reinterpret_cast<LONG_PTR>(u"Reads Wave files: PCM 8 to 32 bits and float.")},
};
const ffbase::StringKeyValue kWave64Strings[] = {
    {ffbase::kStringName, reinterpret_cast<LONG_PTR>(kWave64Name)},
    {ffbase::kStringExtensions, reinterpret_cast<LONG_PTR>(u"*.w64")},
    {ffbase::kStringDefaultExt, reinterpret_cast<LONG_PTR>(u"*.w64")},
    {ffbase::kStringFilterName, reinterpret_cast<LONG_PTR>(kWave64Name)},
    {ffbase::kStringAbout, reinterpret_cast<LONG_PTR>(u"Reads Wave64 files: PCM 8 to 32 bits and float.")},
};

ffbase::BaseGlobalParm& WaveParm() {
  static ffbase::BaseGlobalParm parm(kWaveStrings, LONG(std::size(kWaveStrings)), nullptr);
  return parm;
}
ffbase::BaseGlobalParm& Wave64Parm() {
  static ffbase::BaseGlobalParm parm(kWave64Strings, LONG(std::size(kWave64Strings)), nullptr);
  return parm;
}

// Reads frames of one file. Owned by its stream, called under its lock.
class WaveDecoder final : public ffbase::IAudioDecoder {
 public:
  explicit WaveDecoder(Container container) : m_container(container) {}
  ~WaveDecoder() override { Close(); }

  HRESULT Init() override { return S_OK; }
  DWORD GetBlockAlign() override { return m_layout.blockAlign; }
  bool IsOpen() override { return m_file != INVALID_HANDLE_VALUE; }
  HRESULT GetReadFormat(_zowaveformat* format) override { return GetFileFormat(format); }
  HRESULT GetFileFormat(_zowaveformat* format) override {
    if (!format) return E_POINTER;
    if (!m_haveLayout) return E_UNEXPECTED;
    format->Init(ZOWAVEFORMAT_BASE_SIZE, m_layout.wfx.Format);
    format->nBlockAlign = m_layout.blockAlign;
    format->nAvgBytesPerSec = m_layout.blockAlign * m_layout.wfx.Format.nSamplesPerSec;
    return S_OK;
  }
  LONGLONG GetSampleCount() override { return LONGLONG(m_layout.frames); }
  DWORD GetBitRate() override { return m_layout.blockAlign * m_layout.wfx.Format.nSamplesPerSec; }
  LONGLONG GetStreamLength() override { return LONGLONG(m_layout.frames); }

  HRESULT Open(LPCWSTR name) override {
    Close();
    if (!name) return E_POINTER;
    // A moniker after "?" is for the plug-in, not part of the file name.
    std::u16string path(name);
    path = path.substr(0, path.find(u'?'));
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size)) {
      CloseHandle(file);
      return ZOERR_FILE_READ;
    }
    auto read = [file](ULONGLONG offset, void* buffer, ULONGLONG bytes) { return ReadAt(file, offset, buffer, bytes); };
    WaveLayout layout;
    HRESULT hr = ParseWaveLayout(read, ULONGLONG(size.QuadPart), &layout);
    if (SUCCEEDED(hr) && layout.container != m_container) hr = ZOERR_UNSUPPORTED_FORMAT;
    if (FAILED(hr)) {
      CloseHandle(file);
      return hr;
    }
    m_layout = layout;
    m_haveLayout = true;
    m_file = file;
    return S_OK;
  }

  HRESULT Close() override {
    if (m_file != INVALID_HANDLE_VALUE) CloseHandle(m_file);
    m_file = INVALID_HANDLE_VALUE;
    return S_OK;
  }

  HRESULT Read(LONGLONG position, void* buffer, LONG count, LONG* read) override {
    if (!read) return E_POINTER;
    *read = 0;
    if (!IsOpen()) return E_UNEXPECTED;
    if (position < 0 || count < 0) return E_INVALIDARG;
    if (ULONGLONG(position) >= m_layout.frames || count == 0) return S_OK;
    ULONGLONG frames = m_layout.frames - ULONGLONG(position);
    if (frames > ULONGLONG(count)) frames = ULONGLONG(count);
    const ULONGLONG align = m_layout.blockAlign;
    const ULONGLONG got = ReadAt(m_file, m_layout.dataOffset + ULONGLONG(position) * align, buffer, frames * align);
    // A file cut short since it was opened gives what is there.
    *read = LONG(got / align);
    return S_OK;
  }

 private:
  static ULONGLONG ReadAt(HANDLE file, ULONGLONG offset, void* buffer, ULONGLONG bytes) {
    ULONGLONG done = 0;
    while (done < bytes) {
      const DWORD want = bytes - done > kMaxReadBytes ? kMaxReadBytes : DWORD(bytes - done);
      OVERLAPPED at{};
      at.Offset = DWORD(offset + done);
      at.OffsetHigh = DWORD((offset + done) >> 32);
      DWORD got = 0;
      if (!ReadFile(file, static_cast<BYTE*>(buffer) + done, want, &got, &at) || got == 0) break;
      done += got;
    }
    return done;
  }

  Container m_container;
  HANDLE m_file = INVALID_HANDLE_VALUE;
  WaveLayout m_layout;
  bool m_haveLayout = false;
};

class WaveStream final : public ffbase::BaseReadAudioStream {
 public:
  WaveStream(ffbase::BaseReadFile* file, LONG index, Container container)
      : BaseReadAudioStream(file, index), m_container(container) {}
  HRESULT CreateDecoder(ffbase::IAudioDecoder** out) override {
    *out = new (std::nothrow) WaveDecoder(m_container);
    return *out ? S_OK : E_OUTOFMEMORY;
  }

 private:
  Container m_container;
};

class WaveFile final : public ffbase::BaseReadFile {
 public:
  WaveFile(ffbase::BaseReadFileClass* owner, Container container) : BaseReadFile(owner), m_container(container) {}
  // The read-meta identities are answered by a tear-off over the file's name.
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (!out || !IsReadMetaIid(iid)) return BaseReadFile::QueryInterface(iid, out);
    WCHAR name[MAX_PATH * 4];
    const HRESULT hr = GetFileName(name, DWORD(std::size(name)));
    if (FAILED(hr)) {
      *out = nullptr;
      return hr;
    }
    return CreateWaveMeta(name, m_container, iid, out);
  }
  HRESULT CreateStream(IZoReadStream** out, LONG index) override {
    *out = nullptr;
    auto* stream = new (std::nothrow) WaveStream(this, index, m_container);
    if (!stream) return E_OUTOFMEMORY;
    // The header is read now, so that a file we can't decode fails to open.
    HRESULT hr = stream->InitInfo();
    if (FAILED(hr)) {
      stream->Release();
      return hr;
    }
    *out = stream;
    return S_OK;
  }

 private:
  Container m_container;
};

class WaveClass final : public ffbase::BaseReadFileClass {
 public:
  explicit WaveClass(Container container) : m_container(container) {}

  HRESULT PluginSlot9(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }

  HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) override {
    if (count > 0 && (!ids || !texts)) return E_POINTER;
    HRESULT hr = S_OK;
    for (LONG i = 0; i < count; ++i) {
      const WCHAR* text = Parm().GetString(ffbase::EStringId(ids[i]));
      texts[i] = *text ? SysAllocString(text) : nullptr;
      if (*text && !texts[i]) hr = E_OUTOFMEMORY;
    }
    return hr;
  }

  // The kernel's quick identification names the container from the head.
  HRESULT IsType(HANDLE, const BYTE* head, DWORD headBytes, LPCWSTR) override {
    if (!head || headBytes == 0) return S_FALSE;
    // RF64 and BW64 are not in the quick identification; the Wave class knows them.
    if (m_container == Container::Wave && headBytes >= 12 &&
        (std::memcmp(head, "RF64", 4) == 0 || std::memcmp(head, "BW64", 4) == 0) && std::memcmp(head + 8, "WAVE", 4) == 0)
      return S_OK;
    DWORD type = ZOFILEID_UNKNOWN;
    if (!ZoIsQuicklyIdentifiableMediaFileFormat(head, headBytes, ZOFILEID_IGNORE_EXTENSION, &type)) return S_FALSE;
    if (m_container == Container::Wave64) return type == ZOFILEID_WAVE64 ? S_OK : S_FALSE;
    return type == ZOFILEID_WAVE || type == ZOFILEID_WAVE_1971 || type == ZOFILEID_WAVE_SCOT ? S_OK : S_FALSE;
  }

  HRESULT CreateFile(ffbase::BaseReadFile** out) override {
    *out = new (std::nothrow) WaveFile(this, m_container);
    return *out ? S_OK : E_OUTOFMEMORY;
  }
  const GUID* GetClassGuid() override {
    return m_container == Container::Wave ? &GUID_VaneWaveReader : &GUID_VaneWave64Reader;
  }
  const GUID* GetRenderClassGuid() override {
    return m_container == Container::Wave ? &GUID_VaneWaveRenderer : &GUID_VaneWave64Renderer;
  }
  const WCHAR* GetAboutText() override { return Parm().GetString(ffbase::kStringAbout); }
  ffbase::BaseGlobalParm* GetGlobalParm() override { return &Parm(); }

 private:
  ffbase::BaseGlobalParm& Parm() { return m_container == Container::Wave ? WaveParm() : Wave64Parm(); }
  Container m_container;
};

const ffbase::FilterRow kFilters[] = {
    {&CLSID_VaneWavePlugin, kWaveName, ZOFIO_FILTER_ACCESS_READ | ZOFIO_FILTER_ACCESS_RENDER, ZOFILESTREAM_AUDIO, 0},
    {&CLSID_VaneWave64Plugin, kWave64Name, ZOFIO_FILTER_ACCESS_READ | ZOFIO_FILTER_ACCESS_RENDER, ZOFILESTREAM_AUDIO,
     0},
};

class WaveInfo final : public ffbase::BaseUnsharedFIOPluginInfo {
 public:
  const ffbase::FilterRow* GetFilterTable() override { return kFilters; }
  LONG GetFilterTableCount() override { return LONG(std::size(kFilters)); }
};

IUnknown* MakeInfo() { return new (std::nothrow) WaveInfo(); }
IUnknown* MakeWaveClass() { return new (std::nothrow) WaveClass(Container::Wave); }
IUnknown* MakeWave64Class() { return new (std::nothrow) WaveClass(Container::Wave64); }
IUnknown* MakeWaveRenderer() { return MakeWaveRenderClass(Container::Wave); }
IUnknown* MakeWave64Renderer() { return MakeWaveRenderClass(Container::Wave64); }

// One factory for a module class: the renderer when the render interface is
// asked for, else the reader.
class DualFactory final : public ffbase::BaseClassFactory {
 public:
  DualFactory(Creator reader, Creator renderer) : BaseClassFactory(reader), m_renderer(renderer) {}
  HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (iid != IID_IZoRenderFileClass) return BaseClassFactory::CreateInstance(outer, iid, out);
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    IUnknown* object = m_renderer();
    if (!object) return E_OUTOFMEMORY;
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
  }
  static HRESULT Make(Creator reader, Creator renderer, REFIID iid, void** out) {
    auto* f = new (std::nothrow) DualFactory(reader, renderer);
    if (!f) return E_OUTOFMEMORY;
    const HRESULT hr = f->QueryInterface(iid, out);
    f->Release();
    return hr;
  }

 private:
  Creator m_renderer;
};

}  // namespace
}  // namespace vane::wave

extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid,
                                                                            void** out) {
  using namespace vane::wave;
  if (!out) return E_POINTER;
  *out = nullptr;
  if (clsid == CLSID_ZoFioPluginDiscovery) return ffbase::BaseClassFactory::Make(&MakeInfo, iid, out);
  if (clsid == CLSID_VaneWavePlugin) return DualFactory::Make(&MakeWaveClass, &MakeWaveRenderer, iid, out);
  if (clsid == CLSID_VaneWave64Plugin) return DualFactory::Make(&MakeWave64Class, &MakeWave64Renderer, iid, out);
  if (clsid == GUID_VaneWaveReader) return ffbase::BaseClassFactory::Make(&MakeWaveClass, iid, out);
  if (clsid == GUID_VaneWave64Reader) return ffbase::BaseClassFactory::Make(&MakeWave64Class, iid, out);
  if (clsid == GUID_VaneWaveRenderer) return ffbase::BaseClassFactory::Make(&MakeWaveRenderer, iid, out);
  if (clsid == GUID_VaneWave64Renderer) return ffbase::BaseClassFactory::Make(&MakeWave64Renderer, iid, out);
  return CLASS_E_CLASSNOTAVAILABLE;
}
