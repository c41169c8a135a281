// SPDX-License-Identifier: MIT
// The older template form (major version 1, no fixed head) read from its
// stream form and uplifted to the current record.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "audio/mmreg.h"
#include "fileio/zotemplate.h"
#include "platform/status.h"

namespace {

constexpr DWORD kV1TextBytes = 520;
// Any one variable part of a version 1 stream larger than this is damage.
constexpr DWORD kV1MaxPart = 1u << 20;

class V1Reader {
 public:
  explicit V1Reader(IStream* stream) : m_stream(stream) {}
  HRESULT Bytes(void* out, ULONG bytes) {
    if (FAILED(m_hr)) return m_hr;
    ULONG got = 0;
    m_hr = m_stream->Read(out, bytes, &got);
    if (SUCCEEDED(m_hr) && got != bytes) m_hr = ZOERR_BAD_FORMAT;
    return m_hr;
  }
  DWORD U32() {
    DWORD v = 0;
    Bytes(&v, 4);
    return v;
  }
  // A u32 size and that many bytes.
  std::vector<BYTE> Sized() {
    const DWORD n = U32();
    if (FAILED(m_hr)) return {};
    if (n > kV1MaxPart) {
      m_hr = ZOERR_BAD_FORMAT;
      return {};
    }
    std::vector<BYTE> part(n);
    if (n) Bytes(part.data(), n);
    return part;
  }
  HRESULT Status() const { return m_hr; }

 private:
  IStream* m_stream;
  HRESULT m_hr = S_OK;
};

// Folds an extensible format to its plain tag: PCM below 32 bits, float at 32 and above.
void FoldExtensible(WAVEFORMATEX* wfx) {
  if (wfx->wFormatTag != WAVE_FORMAT_EXTENSIBLE) return;
  wfx->wFormatTag = wfx->wBitsPerSample < 32 ? WAVE_FORMAT_PCM : WAVE_FORMAT_IEEE_FLOAT;
  wfx->cbSize = 0;
}

std::u16string TextField(const BYTE* bytes) {
  std::u16string s;
  for (DWORD i = 0; i + 1 < kV1TextBytes; i += 2) {
    const char16_t c = char16_t(bytes[i] | (bytes[i + 1] << 8));
    if (!c) break;
    s.push_back(c);
  }
  return s;
}

}  // namespace

HRESULT ZoFio_LoadTemplateDataV1(IStream* stream, tagZOTEMPLATExV2** out, IZoRenderFileClass* cls) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!stream) return E_INVALIDARG;
  V1Reader r(stream);
  const DWORD size = r.U32();
  const DWORD version = r.U32();
  if (FAILED(r.Status())) return r.Status();
  if (size < 8 || (version >> 24) != 1) return ZOERR_BAD_FORMAT;
  BYTE name[kV1TextBytes], notes[kV1TextBytes];
  r.Bytes(name, sizeof name);
  r.Bytes(notes, sizeof notes);

  tagZOTEMPLATExV2 head{};
  head.version = (version & 0xFFFFFFu) | ZOTEMPLATE_VERSION_2;
  head.one = 1;
  std::vector<BYTE> priv;
  if (r.U32()) {
    WAVEFORMATEX read{};
    r.Bytes(&read, 18);
    head.audioCount = r.U32();
    std::vector<BYTE> file = r.Sized();
    r.Bytes(&head.audioExtension, sizeof head.audioExtension);
    std::vector<BYTE> audioPrivate = r.Sized();
    if (FAILED(r.Status())) return r.Status();
    head.audioSize = ZOTEMPLATE_SECTION_SIZE;
    FoldExtensible(&read);
    // The stream holds the 18 bytes only: no codec bytes follow them.
    read.cbSize = 0;
    ZoWaveFormatBuffer<40> zwf;
    zwf->Init(40, read);
    std::memcpy(head.readFormat, zwf.get(), sizeof head.readFormat);
    if (file.size() >= 16) {
      WAVEFORMATEX wfx{};
      std::memcpy(&wfx, file.data(), file.size() < 18 ? file.size() : 18);
      if (file.size() < 18) wfx.cbSize = 0;
      FoldExtensible(&wfx);
      if (wfx.wFormatTag == WAVE_FORMAT_PCM || wfx.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
        std::memcpy(head.fileFormat, &wfx, 16);
      } else {
        if (DWORD(wfx.cbSize) + 18 >= 97 || DWORD(wfx.cbSize) + 18 > file.size()) return ZOERR_BAD_FORMAT;
        std::memcpy(head.fileFormat, file.data(), 18u + wfx.cbSize);
      }
    }
    priv = std::move(audioPrivate);
  }
  if (r.U32()) {
    std::vector<BYTE> header = r.Sized();
    head.videoCount = r.U32();
    r.Bytes(&head.videoExtension, sizeof head.videoExtension);
    std::vector<BYTE> compressed = r.Sized();
    head.videoFlags = r.U32();
    BYTE unused[64];
    r.Bytes(unused, sizeof unused);
    std::vector<BYTE> videoPrivate = r.Sized();
    if (FAILED(r.Status())) return r.Status();
    head.videoSize = ZOTEMPLATE_SECTION_SIZE;
    if (!header.empty()) std::memcpy(&head.videoFormat, header.data(), header.size() < 40 ? header.size() : 40);
    if (!compressed.empty())
      std::memcpy(&head.compressedFormat, compressed.data(), compressed.size() < 40 ? compressed.size() : 40);
    // The private data of the two sections are joined, audio first.
    priv.insert(priv.end(), videoPrivate.begin(), videoPrivate.end());
  }
  if (FAILED(r.Status())) return r.Status();
  if (priv.size() > ZOTEMPLATE_MAX_STREAM_SIZE) return ZOERR_BAD_FORMAT;

  const std::u16string n = TextField(name), t = TextField(notes);
  tagZOTEMPLATExV2* tpl = nullptr;
  HRESULT hr = ZoTemplate_Rebuild(&tpl, &head, n.c_str(), t.c_str(), priv.data(), DWORD(priv.size()));
  if (FAILED(hr)) return hr;
  // The id marks the record as uplifted: the CRC of the record without text
  // as its first word, then the fixed tail.
  const DWORD crc = ZoFio_GetTemplateDataCRC32(tpl, FALSE);
  BYTE* id = reinterpret_cast<BYTE*>(&tpl->templateId);
  std::memset(id, 0, 16);
  std::memcpy(id, &crc, 4);
  const DWORD mark = 0x801010, tail = 4352;
  std::memcpy(id + 6, &mark, 4);
  std::memcpy(id + 10, &tail, 4);
  if (!priv.empty() && cls) {
    cls->GetTypeID(&tpl->classId);
    tagZOTEMPLATExV2* conformed = nullptr;
    hr = cls->ConformTemplate(&conformed, tpl, 1);
    if (hr == E_NOTIMPL) {
      hr = S_OK;
    } else if (FAILED(hr)) {
      std::free(tpl);
      return hr;
    } else if (conformed) {
      std::free(tpl);
      tpl = conformed;
    }
  }
  *out = tpl;
  return S_OK;
}
