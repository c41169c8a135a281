// SPDX-License-Identifier: MIT
// The Wave and Wave64 renderers: PCM 8 to 32 bits and float 32/64 written
// from one audio read stream, converted through the kernel's sample copy.
// The header is written first with the sizes the source promises, the
// samples follow in blocks, and the sizes are set again to what was written.
// A format field left 0 in the template ("same as source") takes the
// source's value; a rate or channel count other than the source's needs the
// converter chain, which this renderer does not run, and is refused.
#include "plugins/wave/wave_render.h"

#include <cstring>
#include <new>
#include <vector>

#include "audio/mmreg.h"
#include "audio/sample_copy.h"
#include "ffbase/ffbase.h"
#include "fileio/team_guids.h"
#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "platform/wtext.h"
#include "riff/meta_write.h"
#include "riff/riff_types.h"

namespace vane::wave {
namespace {

constexpr LONG kBlockFrames = 1 << 16;
constexpr ULONGLONG kWaveLimit = 0xFFFFFFFFull;
// Room left under the limit for the header and metadata behind the audio.
constexpr ULONGLONG kReserveMargin = 64ull << 20;

const WCHAR kWaveName[] = u"Wave (Vane)";
const WCHAR kWave64Name[] = u"Wave64 (Vane)";

const ffbase::StringKeyValue kWaveStrings[] = {
    {ffbase::kStringName, reinterpret_cast<LONG_PTR>(kWaveName)},
    {ffbase::kStringExtensions, reinterpret_cast<LONG_PTR>(u"*.wav")},
    {ffbase::kStringDefaultExt, reinterpret_cast<LONG_PTR>(u"*.wav")},
    {ffbase::kStringFilterName, reinterpret_cast<LONG_PTR>(kWaveName)},
    {ffbase::kStringAbout, reinterpret_cast<LONG_PTR>(u"Writes Wave files: PCM 8 to 32 bits and float.")},
};
const ffbase::StringKeyValue kWave64Strings[] = {
    {ffbase::kStringName, reinterpret_cast<LONG_PTR>(kWave64Name)},
    {ffbase::kStringExtensions, reinterpret_cast<LONG_PTR>(u"*.w64")},
    {ffbase::kStringDefaultExt, reinterpret_cast<LONG_PTR>(u"*.w64")},
    {ffbase::kStringFilterName, reinterpret_cast<LONG_PTR>(kWave64Name)},
    {ffbase::kStringAbout, reinterpret_cast<LONG_PTR>(u"Writes Wave64 files: PCM 8 to 32 bits and float.")},
};

ffbase::BaseGlobalParm& Parm(Container c) {
  static ffbase::BaseGlobalParm wave(kWaveStrings, LONG(std::size(kWaveStrings)), nullptr);
  static ffbase::BaseGlobalParm wave64(kWave64Strings, LONG(std::size(kWave64Strings)), nullptr);
  return c == Container::Wave ? wave : wave64;
}

// Summary tags the renderers write (the INFO list).
constexpr ULONG kSummaryTags[] = {
    0x4D414E49 /* INAM */, 0x54524149 /* IART */, 0x44525049 /* IPRD */, 0x544D4349 /* ICMT */,
    0x504F4349 /* ICOP */, 0x44524349 /* ICRD */, 0x524E4749 /* IGNR */, 0x52415449 /* ITRK */,
    0x54465349 /* ISFT */, 0x474E4549 /* IENG */, 0x59454B49 /* IKEY */, 0x4A425349 /* ISBJ */,
};

bool Writable(ZOSAMPLETYPE t) {
  switch (t) {
    case ZOSAMPLE_PCM8: case ZOSAMPLE_PCM16: case ZOSAMPLE_PCM24: case ZOSAMPLE_PCM32:
    case ZOSAMPLE_FLOAT32: case ZOSAMPLE_FLOAT64: return true;
    default: return false;
  }
}

struct PresetSpec {
  const WCHAR* name;
  ZOSAMPLETYPE type;
  DWORD rate;
  WORD channels;
};

// Preset 0 is the default of Create without a template.
const PresetSpec kPresets[] = {
    {u"Same as source", ZOSAMPLE_NONE, 0, 0},
    {u"16-bit 44.1 kHz stereo", ZOSAMPLE_PCM16, 44100, 2},
    {u"16-bit 48 kHz stereo", ZOSAMPLE_PCM16, 48000, 2},
    {u"24-bit 44.1 kHz stereo", ZOSAMPLE_PCM24, 44100, 2},
    {u"24-bit 48 kHz stereo", ZOSAMPLE_PCM24, 48000, 2},
    {u"32-bit float 44.1 kHz stereo", ZOSAMPLE_FLOAT32, 44100, 2},
    {u"32-bit float 48 kHz stereo", ZOSAMPLE_FLOAT32, 48000, 2},
};

class PresetTable {
 public:
  explicit PresetTable(Container c) {
    const GUID& owner = c == Container::Wave ? GUID_VaneWaveRenderer : GUID_VaneWave64Renderer;
    for (const PresetSpec& p : kPresets) {
      tagZOTEMPLATExV2* tpl = nullptr;
      WaveRenderFormat(p.type, p.rate, p.channels, &tpl, p.name);
      if (!tpl) continue;
      tpl->presetNumber = DWORD(m_records.size());
      tpl->classId = owner;
      ZoFio_InitGUIDFromTemplateMD5DataHash(&tpl->templateId, tpl, TRUE);
      m_records.push_back(tpl);
    }
  }
  ~PresetTable() {
    for (auto* t : m_records) ZoFio_ReleaseTemplate(t);
  }
  LONG Count() const { return LONG(m_records.size()); }
  const tagZOTEMPLATExV2* At(LONG i) const { return i >= 0 && i < Count() ? m_records[size_t(i)] : nullptr; }

 private:
  std::vector<tagZOTEMPLATExV2*> m_records;
};

const PresetTable& Presets(Container c) {
  static const PresetTable wave(Container::Wave), wave64(Container::Wave64);
  return c == Container::Wave ? wave : wave64;
}

// ---- the header ----

void Put16(std::vector<BYTE>& b, WORD v) { b.insert(b.end(), {BYTE(v), BYTE(v >> 8)}); }
void Put32(std::vector<BYTE>& b, DWORD v) { b.insert(b.end(), {BYTE(v), BYTE(v >> 8), BYTE(v >> 16), BYTE(v >> 24)}); }
void Put64(std::vector<BYTE>& b, ULONGLONG v) {
  Put32(b, DWORD(v));
  Put32(b, DWORD(v >> 32));
}
void PutGuid(std::vector<BYTE>& b, const GUID& g) {
  const BYTE* p = reinterpret_cast<const BYTE*>(&g);
  b.insert(b.end(), p, p + sizeof g);
}

// The "fmt " body: 16 bytes for PCM that needs no mask, 18 for float, the
// extensible form when there are more than two channels or a mask that is
// not the plain mono or stereo one.
std::vector<BYTE> FormatBody(const _zowaveformat& f) {
  const bool isFloat = f.sampleType == ZOSAMPLE_FLOAT32 || f.sampleType == ZOSAMPLE_FLOAT64;
  const DWORD plainMask = f.nChannels == 1 ? 0x4 : f.nChannels == 2 ? 0x3 : 0;
  const bool extensible = f.nChannels > 2 || (f.dwChannelMask != 0 && f.dwChannelMask != plainMask);
  const WORD bits = ZoAudio_BitsFromSampleType(f.sampleType);
  std::vector<BYTE> b;
  Put16(b, extensible ? WAVE_FORMAT_EXTENSIBLE : isFloat ? WAVE_FORMAT_IEEE_FLOAT : WAVE_FORMAT_PCM);
  Put16(b, f.nChannels);
  Put32(b, f.nSamplesPerSec);
  Put32(b, f.nSamplesPerSec * f.nBlockAlign);
  Put16(b, f.nBlockAlign);
  Put16(b, bits);
  if (extensible) {
    Put16(b, 22);
    Put16(b, bits);
    Put32(b, f.dwChannelMask);
    PutGuid(b, isFloat ? KSDATAFORMAT_SUBTYPE_IEEE_FLOAT : KSDATAFORMAT_SUBTYPE_PCM);
  } else if (isFloat) {
    Put16(b, 0);
  }
  return b;
}

// How a Wave render lays out its head: classic RIFF; classic with a "JUNK"
// chunk the size of "ds64" held after the form head, for a render that may
// pass 4 GB; or RF64, the reserved chunk turned into "ds64" once it did.
enum class WaveForm { Classic, Reserved, Rf64 };

constexpr DWORD kDs64Body = 28;

// The whole header up to the first sample byte, for `dataBytes` of samples.
std::vector<BYTE> Header(Container c, const _zowaveformat& f, ULONGLONG frames, ULONGLONG dataBytes,
                         WaveForm form = WaveForm::Classic) {
  const std::vector<BYTE> fmt = FormatBody(f);
  const bool isFloat = f.sampleType == ZOSAMPLE_FLOAT32 || f.sampleType == ZOSAMPLE_FLOAT64;
  std::vector<BYTE> h;
  if (c == Container::Wave) {
    const DWORD factBytes = isFloat ? 12 : 0;
    const DWORD reserved = form == WaveForm::Classic ? 0 : 8 + kDs64Body;
    const ULONGLONG riff = 4 + reserved + 8 + fmt.size() + factBytes + 8 + dataBytes + (dataBytes & 1);
    const bool large = form == WaveForm::Rf64;
    Put32(h, large ? 0x34364652u /* "RF64" */ : 0x46464952u /* "RIFF" */);
    Put32(h, large ? 0xFFFFFFFFu : DWORD(riff));
    h.insert(h.end(), {'W', 'A', 'V', 'E'});
    if (form == WaveForm::Reserved) {
      h.insert(h.end(), {'J', 'U', 'N', 'K'});
      Put32(h, kDs64Body);
      h.resize(h.size() + kDs64Body, 0);
    } else if (large) {
      h.insert(h.end(), {'d', 's', '6', '4'});
      Put32(h, kDs64Body);
      Put64(h, riff);
      Put64(h, dataBytes);
      Put64(h, frames);
      Put32(h, 0);  // no table of other large chunks
    }
    h.insert(h.end(), {'f', 'm', 't', ' '});
    Put32(h, DWORD(fmt.size()));
    h.insert(h.end(), fmt.begin(), fmt.end());
    if (isFloat) {
      h.insert(h.end(), {'f', 'a', 'c', 't'});
      Put32(h, 4);
      Put32(h, frames > 0xFFFFFFFFull ? 0xFFFFFFFFu : DWORD(frames));
    }
    h.insert(h.end(), {'d', 'a', 't', 'a'});
    Put32(h, large ? 0xFFFFFFFFu : DWORD(dataBytes));
    return h;
  }
  const ULONGLONG fmtChunk = 24 + fmt.size();
  const ULONGLONG fmtPadded = (fmtChunk + 7) & ~7ull;
  const ULONGLONG dataPadded = (24 + dataBytes + 7) & ~7ull;
  PutGuid(h, kW64_riff);
  Put64(h, 40 + fmtPadded + dataPadded);
  PutGuid(h, kW64_wave);
  PutGuid(h, kW64_fmt);
  Put64(h, fmtChunk);
  h.insert(h.end(), fmt.begin(), fmt.end());
  h.resize(h.size() + size_t(fmtPadded - fmtChunk), 0);
  PutGuid(h, kW64_data);
  Put64(h, 24 + dataBytes);
  return h;
}

bool WriteAll(HANDLE file, const void* bytes, size_t size) {
  const BYTE* p = static_cast<const BYTE*>(bytes);
  while (size) {
    const DWORD chunk = size > (1u << 30) ? (1u << 30) : DWORD(size);
    DWORD written = 0;
    if (!WriteFile(file, p, chunk, &written, nullptr) || written != chunk) return false;
    p += chunk;
    size -= chunk;
  }
  return true;
}

bool SeekTo(HANDLE file, ULONGLONG offset) {
  LARGE_INTEGER at{};
  at.QuadPart = LONGLONG(offset);
  return SetFilePointerEx(file, at, nullptr, FILE_BEGIN);
}

// ---- the file object ----

class WaveRenderFile final : public ffbase::BaseRenderFile {
 public:
  WaveRenderFile(ffbase::BaseRenderFileClass* owner, tagZOTEMPLATExV2* tpl, Container c)
      : BaseRenderFile(owner, tpl), m_container(c) {}

  HRESULT RenderFile(LPCWSTR name, const tagZOTEMPLATExV2* tpl, ffbase::ReadStreams& streams,
                     IZoProgress* progress) override {
    IZoReadAudioStream* audio = nullptr;
    if (FAILED(streams.QueryAudio(0, &audio)) || !audio) return ZOERR_NO_AUDIO;
    const HRESULT hr = Write(name, tpl, audio, progress);
    audio->Release();
    return hr;
  }

  HRESULT WriteMetadata(const fileutil::MetaMap& map, LPCWSTR name, DWORD) override {
    ZOSUMMARY summary{};
    for (const auto& [tag, text] : map.items())
      if (!text.empty()) ZoSummary_SetItem(&summary, tag, text.c_str());
    std::vector<vane::riff::MarkerSample> markers;
    const auto range = map.generics().equal_range(fileutil::GUID_ZoMetaMarkers);
    for (auto it = range.first; it != range.second; ++it) {
      fileutil::ZOMETAMARKERSAMPLE record{};
      std::u16string text;
      if (FAILED(fileutil::ParseMarkerSample(it->second, &record, &text))) continue;
      markers.push_back({record.id, record.position, record.length, text});
    }
    if (summary.count == 0 && markers.empty()) return S_OK;
    HANDLE file = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      ZoSummary_Free(&summary);
      return ZOERR_FILE_OPEN;
    }
    HRESULT hr = S_OK;
    if (m_container == Container::Wave) {
      // Markers whose positions need more than 32 bits are for Wave64.
      std::vector<vane::riff::MarkerSample> fits;
      for (const auto& m : markers)
        if (m.position >= 0 && m.position <= LONGLONG(kWaveLimit) && m.length <= LONGLONG(kWaveLimit)) fits.push_back(m);
      hr = vane::riff::WriteSummaryChunk(file, &summary);
      if (SUCCEEDED(hr)) hr = vane::riff::WriteMarkerChunks(file, fits);
    } else {
      hr = vane::riff::WriteSummaryChunk64(file, &summary);
      if (SUCCEEDED(hr)) hr = vane::riff::WriteMarkerChunks64(file, markers);
    }
    CloseHandle(file);
    ZoSummary_Free(&summary);
    return hr;
  }

 private:
  HRESULT Write(LPCWSTR name, const tagZOTEMPLATExV2* tpl, IZoReadAudioStream* audio, IZoProgress* progress) {
    ZoWaveFormatBuffer<sizeof(_zowaveformat)> src;
    src->cbStruct = sizeof(_zowaveformat);
    VANE_RETURN_IF_FAILED(audio->GetReadAudioFormat(src.get()));
    if (src->IsCompressed() || src->sampleType == ZOSAMPLE_NONE || src->nChannels == 0) return ZOERR_UNSUPPORTED_FORMAT;
    ZoWaveFormatBuffer<40> dst;
    VANE_RETURN_IF_FAILED(ConformToSource(tpl, *src.get(), dst.get()));
    LONGLONG frames = 0;
    VANE_RETURN_IF_FAILED(audio->GetSampleCount(&frames));
    if (frames < 0) frames = 0;
    const ULONGLONG dataBytes = ULONGLONG(frames) * dst->nBlockAlign;
    // A Wave render that may pass 4 GB holds room for "ds64"; one that stays
    // well below is the classic form, byte for byte.
    m_form = m_container == Container::Wave && dataBytes + kReserveMargin > kWaveLimit ? WaveForm::Reserved
                                                                                     : WaveForm::Classic;
    std::vector<BYTE> header = Header(m_container, *dst.get(), ULONGLONG(frames), dataBytes, m_form);

    HANDLE file = CreateFileW(name, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_CREATE;
    HRESULT hr = WriteAll(file, header.data(), header.size()) ? S_OK : ZOERR_DISKFULL;
    if (progress && SUCCEEDED(hr)) progress->Start(frames);

    std::vector<BYTE> in(size_t(kBlockFrames) * src->nBlockAlign);
    std::vector<BYTE> out(size_t(kBlockFrames) * dst->nBlockAlign);
    const _zomemorytoken token = ffbase::CMappingOfZoMemoryToken::FromPointer(in.data(), in.size());
    LONGLONG done = 0;
    while (SUCCEEDED(hr) && done < frames) {
      const LONG want = LONG(frames - done < kBlockFrames ? frames - done : kBlockFrames);
      LONG got = 0;
      hr = audio->Read(done, token, want, &got);
      if (FAILED(hr) || got <= 0) break;  // a source that ends early ends the file there
      hr = ZoAudio_Copy(dst.get(), out.data(), src.get(), in.data(), got, 1.0f);
      if (SUCCEEDED(hr) && !WriteAll(file, out.data(), size_t(got) * dst->nBlockAlign)) hr = ZOERR_DISKFULL;
      done += got;
      if (SUCCEEDED(hr) && progress && FAILED(progress->Progress(done))) hr = ZOERR_CANCELLED;
    }
    if (SUCCEEDED(hr)) hr = Finish(file, *dst.get(), done);
    CloseHandle(file);
    return hr;
  }

  // Pads the data and writes the header again with the frames written.
  HRESULT Finish(HANDLE file, const _zowaveformat& f, LONGLONG frames) {
    const ULONGLONG dataBytes = ULONGLONG(frames) * f.nBlockAlign;
    const ULONGLONG headBytes = Header(m_container, f, ULONGLONG(frames), dataBytes, m_form).size();
    if (m_form == WaveForm::Reserved && headBytes + dataBytes + (dataBytes & 1) - 8 > kWaveLimit) m_form = WaveForm::Rf64;
    const std::vector<BYTE> header = Header(m_container, f, ULONGLONG(frames), dataBytes, m_form);
    const size_t pad = m_container == Container::Wave ? size_t(dataBytes & 1) : size_t((8 - (24 + dataBytes) % 8) % 8);
    static const BYTE zeros[8] = {};
    if (pad && !WriteAll(file, zeros, pad)) return ZOERR_DISKFULL;
    // No flush to the disk here: the file is renamed over the destination
    // only afterwards, and a flush of a whole render would cost as much as
    // writing it again.
    if (!SeekTo(file, 0) || !WriteAll(file, header.data(), header.size())) return ZOERR_FILE_WRITE;
    return S_OK;
  }

  Container m_container;
  WaveForm m_form = WaveForm::Classic;
};

// ---- the class ----

class WaveRenderClass final : public ffbase::BaseRenderFileClass {
 public:
  explicit WaveRenderClass(Container c) : m_container(c) {}

  HRESULT PluginSlot9(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT PluginSlot16(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT PluginSlot21(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT PluginSlot22(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }
  HRESULT PluginSlot23(LONG_PTR, LONG_PTR) override { return E_NOTIMPL; }

  HRESULT GetInfoText(const DWORD* ids, LONG count, BSTR* texts) override {
    if (count > 0 && (!ids || !texts)) return E_POINTER;
    HRESULT hr = S_OK;
    for (LONG i = 0; i < count; ++i) {
      const WCHAR* text = Parm(m_container).GetString(ffbase::EStringId(ids[i]));
      texts[i] = *text ? SysAllocString(text) : nullptr;
      if (*text && !texts[i]) hr = E_OUTOFMEMORY;
    }
    return hr;
  }

  // Approval (0x17): a template of another class, or a sample type this
  // renderer does not write, is refused. Other facts come from the record.
  HRESULT GetTemplateInfo(tagZOTEMPLATExV2* tmpl, void* buffer, DWORD bytes, DWORD info) override {
    if (!tmpl || !buffer) return E_POINTER;
    if (info != ZOTPLINFO_CLASS_APPROVES) return ZoFio_GetTemplateInfo(tmpl, info, buffer, bytes);
    if (bytes < 4) return ZOERR_BUFFER_TOO_SMALL;
    const auto* f = reinterpret_cast<const _zowaveformat*>(tmpl->readFormat);
    const bool ours = tmpl->classId == GUID_NULL || tmpl->classId == *GetClassGuid();
    const bool writable = tmpl->audioSize == 0 || f->sampleType == ZOSAMPLE_NONE || Writable(f->sampleType);
    const DWORD approved = ours && writable ? 1 : 0;
    std::memcpy(buffer, &approved, 4);
    return S_OK;
  }

  HRESULT ConformTemplateToSource(tagZOTEMPLATExV2** out, tagZOTEMPLATExV2* tmpl, IZoReadFile* source,
                                  DWORD reason) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (reason == 2 || !source || !tmpl) return BaseRenderFileClass::ConformTemplateToSource(out, tmpl, source, reason);
    IZoReadStream* stream = nullptr;
    VANE_RETURN_IF_FAILED(source->OpenStream(&stream, ZOFILESTREAM_AUDIO, 0, 0, nullptr));
    IZoReadAudioStream* audio = nullptr;
    HRESULT hr = stream->QueryInterface(IID_IZoReadAudioStream, reinterpret_cast<void**>(&audio));
    stream->Release();
    if (FAILED(hr)) return hr;
    ZoWaveFormatBuffer<sizeof(_zowaveformat)> src;
    src->cbStruct = sizeof(_zowaveformat);
    hr = audio->GetReadAudioFormat(src.get());
    audio->Release();
    ZoWaveFormatBuffer<40> dst;
    if (SUCCEEDED(hr)) hr = ConformFields(tmpl, *src.get(), dst.get());
    if (SUCCEEDED(hr)) hr = ZoFio_CopyTemplate(out, tmpl);
    if (SUCCEEDED(hr)) std::memcpy((*out)->readFormat, dst.get(), sizeof (*out)->readFormat);
    return hr;
  }

  const GUID* GetClassGuid() override {
    return m_container == Container::Wave ? &GUID_VaneWaveRenderer : &GUID_VaneWave64Renderer;
  }
  const GUID* GetReadClassGuid() override {
    return m_container == Container::Wave ? &GUID_VaneWaveReader : &GUID_VaneWave64Reader;
  }
  HRESULT CreateRenderFile(ffbase::BaseRenderFile** out, tagZOTEMPLATExV2* tmpl) override {
    *out = new (std::nothrow) WaveRenderFile(this, tmpl, m_container);
    return *out ? S_OK : E_OUTOFMEMORY;
  }
  LONG CountPresets() override { return Presets(m_container).Count(); }
  HRESULT GetPresetGuid(LONG index, GUID* id) override {
    const tagZOTEMPLATExV2* p = Presets(m_container).At(index);
    if (!p || !id) return E_INVALIDARG;
    *id = p->templateId;
    return S_OK;
  }
  const tagZOTEMPLATExV2* GetPresetRecord(LONG index) override { return Presets(m_container).At(index); }
  HRESULT GetSummaryTagAt(LONG position, ULONG* tag) override {
    if (position < 0 || size_t(position) >= std::size(kSummaryTags)) return S_FALSE;
    *tag = kSummaryTags[position];
    return S_OK;
  }
  ffbase::BaseGlobalParm* GetGlobalParm() override { return &Parm(m_container); }

 private:
  Container m_container;
};

}  // namespace

HRESULT ConformFields(const tagZOTEMPLATExV2* tpl, const _zowaveformat& src, _zowaveformat* dst) {
  const auto* want = reinterpret_cast<const _zowaveformat*>(tpl->readFormat);
  const bool some = tpl->audioSize != 0;
  const ZOSAMPLETYPE type = some && want->sampleType != ZOSAMPLE_NONE ? want->sampleType : src.sampleType;
  const DWORD rate = some && want->nSamplesPerSec ? want->nSamplesPerSec : src.nSamplesPerSec;
  const WORD channels = some && want->nChannels ? want->nChannels : src.nChannels;
  const DWORD mask = some && want->dwChannelMask ? want->dwChannelMask
                     : channels == src.nChannels ? src.dwChannelMask : 0;
  if (!Writable(type)) return ZOERR_BITDEPTH_UNSUPPORTED;
  dst->Init(rate, type, channels, mask, 40);
  return S_OK;
}

HRESULT ConformToSource(const tagZOTEMPLATExV2* tpl, const _zowaveformat& src, _zowaveformat* dst) {
  VANE_RETURN_IF_FAILED(ConformFields(tpl, src, dst));
  if (dst->nSamplesPerSec != src.nSamplesPerSec) return ZOERR_UNSUPPORTED_FORMAT;
  if (dst->nChannels != src.nChannels) return ZOERR_CHANNELS_UNSUPPORTED;
  return S_OK;
}

HRESULT WaveRenderFormat(ZOSAMPLETYPE type, DWORD rate, WORD channels, tagZOTEMPLATExV2** out, const WCHAR* name) {
  ZoWaveFormatBuffer<40> read;
  read->Init(rate, type, channels, 0, 40);
  return ZoFio_MakeTemplate(out, read.get(), nullptr, nullptr, nullptr, nullptr, 0, name, nullptr);
}

IUnknown* MakeWaveRenderClass(Container c) {
  return static_cast<IZoRenderFileClass*>(new (std::nothrow) WaveRenderClass(c));
}

}  // namespace vane::wave
