// SPDX-License-Identifier: MIT
// A reader plug-in in its smallest real form: headerless 16-bit PCM files
// ("take.raw") described by a side-car text file beside them ("take.raw.txt"
// with lines "rate=48000" and "channels=2"). Built only on the installed
// ffbase classes and public headers, as a third party builds one.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <new>
#include <string>

#include "ffbase/ffbase.h"
#include "platform/file.h"
#include "platform/wtext.h"

namespace {

// {AAB3C936-A26D-41C9-B2F6-8ED209C48988}
constexpr CLSID kPluginId = VANE_GUID(0xAAB3C936, 0xA26D, 0x41C9, 0xB2, 0xF6, 0x8E, 0xD2, 0x09, 0xC4, 0x89, 0x88);
// {E00DD22B-A3D2-4F7B-A023-7C377E62CA24}
constexpr GUID kReaderId = VANE_GUID(0xE00DD22B, 0xA3D2, 0x4F7B, 0xA0, 0x23, 0x7C, 0x37, 0x7E, 0x62, 0xCA, 0x24);

const WCHAR kName[] = u"Raw PCM with side-car (example)";
const ffbase::StringKeyValue kStrings[] = {
    {ffbase::kStringName, reinterpret_cast<LONG_PTR>(kName)},
    {ffbase::kStringExtensions, reinterpret_cast<LONG_PTR>(u"*.raw")},
    {ffbase::kStringDefaultExt, reinterpret_cast<LONG_PTR>(u"*.raw")},
    {ffbase::kStringFilterName, reinterpret_cast<LONG_PTR>(kName)},
    {ffbase::kStringAbout, reinterpret_cast<LONG_PTR>(u"Reads 16-bit PCM described by a .txt side-car.")},
};
ffbase::BaseGlobalParm& Parm() {
  static ffbase::BaseGlobalParm parm(kStrings, LONG(std::size(kStrings)), nullptr);
  return parm;
}

std::string Path(LPCWSTR name) {
  std::string path = vane::platform::ToUtf8(name);
  return path.substr(0, path.find('?'));
}

// "rate=" and "channels=" of the side-car; false when it is missing or odd.
bool ReadSideCar(const std::string& path, DWORD* rate, WORD* channels) {
  std::ifstream in(path + ".txt");
  *rate = 0;
  *channels = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("rate=", 0) == 0) *rate = DWORD(std::strtoul(line.c_str() + 5, nullptr, 10));
    if (line.rfind("channels=", 0) == 0) *channels = WORD(std::strtoul(line.c_str() + 9, nullptr, 10));
  }
  return *rate >= 1000 && *rate <= 768000 && *channels >= 1 && *channels <= 32;
}

class RawDecoder final : public ffbase::IAudioDecoder {
 public:
  ~RawDecoder() override { Close(); }
  HRESULT Init() override { return S_OK; }
  DWORD GetBlockAlign() override { return 2u * m_channels; }
  bool IsOpen() override { return m_file != INVALID_HANDLE_VALUE; }
  HRESULT GetReadFormat(_zowaveformat* format) override { return GetFileFormat(format); }
  HRESULT GetFileFormat(_zowaveformat* format) override {
    if (!format) return E_POINTER;
    format->Init(m_rate, ZOSAMPLE_PCM16, m_channels, 0, ZOWAVEFORMAT_BASE_SIZE);
    return S_OK;
  }
  LONGLONG GetSampleCount() override { return m_frames; }
  DWORD GetBitRate() override { return m_rate * GetBlockAlign(); }
  LONGLONG GetStreamLength() override { return m_frames; }
  HRESULT Open(LPCWSTR name) override {
    Close();
    if (!name) return E_POINTER;
    const std::string path = Path(name);
    if (!ReadSideCar(path, &m_rate, &m_channels)) return ZOERR_BAD_FORMAT;
    const std::u16string wide = vane::platform::FromUtf8(path);
    HANDLE file = CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    LARGE_INTEGER size{};
    GetFileSizeEx(file, &size);
    m_frames = size.QuadPart / GetBlockAlign();
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
    if (position >= m_frames) return S_OK;
    const LONGLONG frames = std::min<LONGLONG>(count, m_frames - position);
    OVERLAPPED at{};
    const ULONGLONG offset = ULONGLONG(position) * GetBlockAlign();
    at.Offset = DWORD(offset);
    at.OffsetHigh = DWORD(offset >> 32);
    DWORD got = 0;
    if (!ReadFile(m_file, buffer, DWORD(frames * GetBlockAlign()), &got, &at)) return ZOERR_FILE_READ;
    *read = LONG(got / GetBlockAlign());
    return S_OK;
  }

 private:
  HANDLE m_file = INVALID_HANDLE_VALUE;
  DWORD m_rate = 0;
  WORD m_channels = 0;
  LONGLONG m_frames = 0;
};

class RawStream final : public ffbase::BaseReadAudioStream {
 public:
  using BaseReadAudioStream::BaseReadAudioStream;
  HRESULT CreateDecoder(ffbase::IAudioDecoder** out) override {
    *out = new (std::nothrow) RawDecoder();
    return *out ? S_OK : E_OUTOFMEMORY;
  }
};

class RawFile final : public ffbase::BaseReadFile {
 public:
  using BaseReadFile::BaseReadFile;
  HRESULT CreateStream(IZoReadStream** out, LONG index) override {
    auto* stream = new (std::nothrow) RawStream(this, index);
    if (!stream) return E_OUTOFMEMORY;
    const HRESULT hr = stream->InitInfo();
    if (FAILED(hr)) {
      stream->Release();
      *out = nullptr;
      return hr;
    }
    *out = stream;
    return S_OK;
  }
};

class RawClass final : public ffbase::BaseReadFileClass {
 public:
  HRESULT PluginSlot9(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) override {
    if (count > 0 && (!ids || !texts)) return E_POINTER;
    for (LONG i = 0; i < count; ++i) {
      const WCHAR* text = Parm().GetString(ffbase::EStringId(ids[i]));
      texts[i] = *text ? SysAllocString(text) : nullptr;
    }
    return S_OK;
  }
  // Raw PCM has no header: the file is ours when its side-car describes it.
  HRESULT IsType(HANDLE, const BYTE*, DWORD, LPCWSTR name) override {
    DWORD rate = 0;
    WORD channels = 0;
    return name && ReadSideCar(Path(name), &rate, &channels) ? S_OK : S_FALSE;
  }
  HRESULT CreateFile(ffbase::BaseReadFile** out) override {
    *out = new (std::nothrow) RawFile(this);
    return *out ? S_OK : E_OUTOFMEMORY;
  }
  const GUID* GetClassGuid() override { return &kReaderId; }
  const GUID* GetRenderClassGuid() override { return &GUID_NULL; }
  const WCHAR* GetAboutText() override { return Parm().GetString(ffbase::kStringAbout); }
  ffbase::BaseGlobalParm* GetGlobalParm() override { return &Parm(); }
};

const ffbase::FilterRow kFilters[] = {{&kPluginId, kName, ZOFIO_FILTER_ACCESS_READ, ZOFILESTREAM_AUDIO, 0}};

class RawInfo final : public ffbase::BaseUnsharedFIOPluginInfo {
 public:
  const ffbase::FilterRow* GetFilterTable() override { return kFilters; }
  LONG GetFilterTableCount() override { return LONG(std::size(kFilters)); }
};

IUnknown* MakeInfo() { return new (std::nothrow) RawInfo(); }
IUnknown* MakeClass() { return new (std::nothrow) RawClass(); }

}  // namespace

extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (clsid == CLSID_ZoFioPluginDiscovery) return ffbase::BaseClassFactory::Make(&MakeInfo, iid, out);
  if (clsid == kPluginId || clsid == kReaderId) return ffbase::BaseClassFactory::Make(&MakeClass, iid, out);
  return CLASS_E_CLASSNOTAVAILABLE;
}
