// SPDX-License-Identifier: MIT
// The template record: validation, its variable part, loading and saving,
// identity, copies and the records built from formats.
#include "fileio/zotemplate.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/status.h"
#include "platform/wtext.h"

namespace {

constexpr DWORD kIdentityOffset = 56;
constexpr DWORD kIdentityBytes = 472;
constexpr char kMd5Salt[] = "Fileio2007 V2 Template Data";
static_assert(sizeof kMd5Salt == 28);

DWORD PaddedPrivate(DWORD cbPrivate) { return (cbPrivate + 3) & ~3u; }

const BYTE* Bytes(const tagZOTEMPLATExV2* tpl) { return reinterpret_cast<const BYTE*>(tpl); }

// The text block of a validated record, and its size in characters.
const WCHAR* TextOf(const tagZOTEMPLATExV2* tpl) {
  return reinterpret_cast<const WCHAR*>(Bytes(tpl) + ZOTEMPLATE_HEAD_SIZE + PaddedPrivate(tpl->cbPrivate));
}

tagZOTEMPLATExV2* Allocate(size_t bytes) {
  return static_cast<tagZOTEMPLATExV2*>(std::calloc(1, bytes < ZOTEMPLATE_HEAD_SIZE ? ZOTEMPLATE_HEAD_SIZE : bytes));
}

HRESULT ReadExactly(IStream* stream, void* buffer, ULONG bytes) {
  ULONG got = 0;
  const HRESULT hr = stream->Read(buffer, bytes, &got);
  if (FAILED(hr)) return hr;
  return got == bytes ? S_OK : ZOERR_BAD_FORMAT;
}

}  // namespace

BYTE* ZoTemplate_Private(tagZOTEMPLATExV2* tpl) { return reinterpret_cast<BYTE*>(tpl) + ZOTEMPLATE_HEAD_SIZE; }
const BYTE* ZoTemplate_Private(const tagZOTEMPLATExV2* tpl) { return Bytes(tpl) + ZOTEMPLATE_HEAD_SIZE; }

BOOL ZoTemplate_PartsFit(const tagZOTEMPLATExV2* tpl) {
  if (!tpl || tpl->size < ZOTEMPLATE_HEAD_SIZE) return FALSE;
  const ULONGLONG room = tpl->size - ZOTEMPLATE_HEAD_SIZE;
  const ULONGLONG text = ULONGLONG(tpl->cchText) * 2;
  if (tpl->cbPrivate > room || PaddedPrivate(tpl->cbPrivate) + text > room) return FALSE;
  return tpl->cchText == 0 || TextOf(tpl)[tpl->cchText - 1] == 0;
}

const WCHAR* ZoTemplate_Name(const tagZOTEMPLATExV2* tpl) {
  if (!tpl || tpl->cchText == 0 || !ZoTemplate_PartsFit(tpl)) return u"";
  return TextOf(tpl);
}

const WCHAR* ZoTemplate_Notes(const tagZOTEMPLATExV2* tpl) {
  if (!tpl || tpl->cchText == 0 || !ZoTemplate_PartsFit(tpl)) return u"";
  const WCHAR* text = TextOf(tpl);
  // The name's terminator lies within cchText for a validated record.
  for (DWORD i = 0; i < tpl->cchText; ++i)
    if (text[i] == 0) return i + 1 < tpl->cchText ? text + i + 1 : u"";
  return u"";
}

HRESULT ZoTemplate_Validate(const tagZOTEMPLATExV2* tpl, size_t bytes) {
  if (!tpl) return E_POINTER;
  if (bytes < ZOTEMPLATE_HEAD_SIZE || tpl->size < ZOTEMPLATE_HEAD_SIZE || tpl->size > bytes) return ZOERR_BAD_FORMAT;
  if ((tpl->version >> 24) != 2) return S_OK;  // other majors are kept raw
  const ULONGLONG room = tpl->size - ZOTEMPLATE_HEAD_SIZE;
  const ULONGLONG priv = PaddedPrivate(tpl->cbPrivate);
  const ULONGLONG text = ULONGLONG(tpl->cchText) * 2;
  if (tpl->cbPrivate > room || text > room || priv + text > room) return ZOERR_BAD_FORMAT;
  if ((tpl->audioSize != 0 && tpl->audioSize != ZOTEMPLATE_SECTION_SIZE) ||
      (tpl->videoSize != 0 && tpl->videoSize != ZOTEMPLATE_SECTION_SIZE))
    return ZOERR_BAD_FORMAT;
  // The text must end in a terminator, so that name and notes stay inside.
  if (tpl->cchText != 0 && TextOf(tpl)[tpl->cchText - 1] != 0) return ZOERR_BAD_FORMAT;
  return S_OK;
}

HRESULT ZoTemplate_Rebuild(tagZOTEMPLATExV2** out, const tagZOTEMPLATExV2* tpl, const WCHAR* name, const WCHAR* notes,
                           const void* priv, DWORD cbPrivate) {
  if (!out || !tpl) return E_POINTER;
  *out = nullptr;
  const std::u16string n = name ? std::u16string(name) : std::u16string(ZoTemplate_Name(tpl));
  const std::u16string t = notes ? std::u16string(notes) : std::u16string(ZoTemplate_Notes(tpl));
  const BYTE* privBytes = priv ? static_cast<const BYTE*>(priv) : ZoTemplate_Private(tpl);
  const DWORD privSize = priv ? cbPrivate : ZoTemplate_PartsFit(tpl) ? tpl->cbPrivate : 0;
  const size_t cch = n.size() + 1 + t.size() + 1;
  const size_t total = ZOTEMPLATE_HEAD_SIZE + PaddedPrivate(privSize) + cch * 2;
  if (total > ZOTEMPLATE_MAX_STREAM_SIZE) return E_INVALIDARG;
  tagZOTEMPLATExV2* next = Allocate(total);
  if (!next) return E_OUTOFMEMORY;
  std::memcpy(next, tpl, ZOTEMPLATE_HEAD_SIZE);
  next->size = DWORD(total);
  next->cbPrivate = privSize;
  next->cchText = DWORD(cch);
  if (privSize) std::memcpy(ZoTemplate_Private(next), privBytes, privSize);
  WCHAR* text = const_cast<WCHAR*>(TextOf(next));
  std::memcpy(text, n.data(), n.size() * 2);
  std::memcpy(text + n.size() + 1, t.data(), t.size() * 2);
  *out = next;
  return S_OK;
}

HRESULT ZoFio_LoadTemplateData(LPCWSTR fileName, tagZOTEMPLATExV2** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!fileName) return E_INVALIDARG;
  HANDLE file = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
  std::unique_ptr<void, BOOL (*)(HANDLE)> closer(file, &CloseHandle);
  LARGE_INTEGER length{};
  if (!GetFileSizeEx(file, &length)) return ZOERR_FILE_READ;
  DWORD head[2] = {};
  DWORD got = 0;
  if (!ReadFile(file, head, sizeof head, &got, nullptr)) return ZOERR_FILE_READ;
  if (got < sizeof head || head[0] < ZOTEMPLATE_MIN_FILE_SIZE || LONGLONG(head[0]) > length.QuadPart)
    return ZOERR_BAD_FORMAT;
  if (head[1] < ZOTEMPLATE_VERSION_1) return ZOERR_BAD_FORMAT;
  if (head[0] > ZOTEMPLATE_MAX_STREAM_SIZE) return ZOERR_BAD_FORMAT;
  if ((head[1] >> 24) == 1) {
    // The older form is read as a stream and uplifted.
    std::vector<BYTE> all(head[0]);
    std::memcpy(all.data(), head, sizeof head);
    if (!ReadFile(file, all.data() + sizeof head, head[0] - sizeof head, &got, nullptr)) return ZOERR_FILE_READ;
    if (got != head[0] - sizeof head) return ZOERR_BAD_FORMAT;
    IStream* stream = SHCreateMemStream(all.data(), UINT(all.size()));
    if (!stream) return E_OUTOFMEMORY;
    const HRESULT hr = ZoFio_LoadTemplateDataV1(stream, out, nullptr);
    stream->Release();
    return hr;
  }
  tagZOTEMPLATExV2* tpl = Allocate(head[0]);
  if (!tpl) return E_OUTOFMEMORY;
  std::memcpy(tpl, head, sizeof head);
  if (!ReadFile(file, reinterpret_cast<BYTE*>(tpl) + sizeof head, head[0] - sizeof head, &got, nullptr)) {
    std::free(tpl);
    return ZOERR_FILE_READ;
  }
  HRESULT hr = got == head[0] - sizeof head ? ZoTemplate_Validate(tpl, head[0]) : ZOERR_BAD_FORMAT;
  if (FAILED(hr)) {
    std::free(tpl);
    return hr;
  }
  *out = tpl;
  return S_OK;
}

HRESULT ZoFio_LoadTemplateData(IStream* stream, tagZOTEMPLATExV2** out, DWORD maxVersion) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!stream) return E_INVALIDARG;
  DWORD head[2] = {};
  HRESULT hr = ReadExactly(stream, head, sizeof head);
  if (FAILED(hr)) return hr;
  const DWORD major = head[1] & 0xFF000000u;
  if (head[1] < ZOTEMPLATE_VERSION_1 || major > (maxVersion & 0xFF000000u) || head[1] >= 0x02000001u + 0xFFFFFFu)
    return ZOERR_BAD_FORMAT;
  if (major == ZOTEMPLATE_VERSION_1) {
    LARGE_INTEGER back{};
    back.QuadPart = -LONGLONG(sizeof head);
    hr = stream->Seek(back, STREAM_SEEK_CUR, nullptr);
    return FAILED(hr) ? hr : ZoFio_LoadTemplateDataV1(stream, out, nullptr);
  }
  if (head[0] < ZOTEMPLATE_HEAD_SIZE || head[0] > ZOTEMPLATE_MAX_STREAM_SIZE) return ZOERR_BAD_FORMAT;
  tagZOTEMPLATExV2* tpl = Allocate(head[0]);
  if (!tpl) return E_OUTOFMEMORY;
  std::memcpy(tpl, head, sizeof head);
  hr = ReadExactly(stream, reinterpret_cast<BYTE*>(tpl) + sizeof head, head[0] - sizeof head);
  if (SUCCEEDED(hr)) hr = ZoTemplate_Validate(tpl, head[0]);
  if (FAILED(hr)) {
    std::free(tpl);
    return hr;
  }
  *out = tpl;
  return S_OK;
}

HRESULT ZoFio_WriteTemplateToStream(IStream* stream, const tagZOTEMPLATExV2* tpl) {
  if (!stream || !tpl) return E_POINTER;
  ULONG written = 0;
  const HRESULT hr = stream->Write(tpl, tpl->size, &written);
  if (FAILED(hr)) return hr;
  return written == tpl->size ? S_OK : ZOERR_FILE_WRITE;
}

HRESULT ZoFio_SaveTemplateData(LPCWSTR fileName, const tagZOTEMPLATExV2* tpl, BOOL overwrite) {
  if (!fileName || !tpl) return E_POINTER;
  if (FAILED(ZoTemplate_Validate(tpl, tpl->size))) return ZOERR_BAD_FORMAT;
  if (!overwrite && GetFileAttributesW(fileName) != INVALID_FILE_ATTRIBUTES) return ZOERR_FILE_EXISTS;
  const std::u16string temp = std::u16string(fileName) + u".partial";
  HANDLE file = CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ZOERR_FILE_CREATE;
  DWORD written = 0;
  BOOL ok = WriteFile(file, tpl, tpl->size, &written, nullptr) && written == tpl->size;
  ok = ok && FlushFileBuffers(file);
  CloseHandle(file);
  if (!ok) {
    DeleteFileW(temp.c_str());
    return ZOERR_FILE_WRITE;
  }
  if (!MoveFileExW(temp.c_str(), fileName, MOVEFILE_REPLACE_EXISTING)) {
    const DWORD error = GetLastError();
    DeleteFileW(temp.c_str());
    return HRESULT_FROM_WIN32(error);
  }
  return S_OK;
}

DWORD ZoFio_GetTemplateDataCRC32(const tagZOTEMPLATExV2* tpl, BOOL withText) {
  if (!tpl) return 0;
  uLong crc = crc32(0, Bytes(tpl) + kIdentityOffset, kIdentityBytes);
  // A record of another major is kept raw: its parts count only when they lie inside it.
  if (!ZoTemplate_PartsFit(tpl)) return DWORD(crc);
  if (tpl->cbPrivate) crc = crc32(crc, ZoTemplate_Private(tpl), tpl->cbPrivate);
  if (withText && tpl->cchText) crc = crc32(crc, reinterpret_cast<const Bytef*>(TextOf(tpl)), tpl->cchText * 2);
  return DWORD(crc);
}

HRESULT ZoFio_InitGUIDFromTemplateMD5DataHash(GUID* guid, const tagZOTEMPLATExV2* tpl, BOOL withText) {
  if (!guid || !tpl) return E_POINTER;
  const bool parts = ZoTemplate_PartsFit(tpl);
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  bool ok = ctx && EVP_DigestInit_ex(ctx.get(), EVP_md5(), nullptr) == 1 &&
            EVP_DigestUpdate(ctx.get(), kMd5Salt, sizeof kMd5Salt) == 1 &&
            EVP_DigestUpdate(ctx.get(), Bytes(tpl) + kIdentityOffset, kIdentityBytes) == 1 &&
            (!parts || tpl->cbPrivate == 0 ||
             EVP_DigestUpdate(ctx.get(), ZoTemplate_Private(tpl), tpl->cbPrivate) == 1) &&
            (!parts || !withText || tpl->cchText == 0 || EVP_DigestUpdate(ctx.get(), TextOf(tpl), tpl->cchText * 2) == 1) &&
            EVP_DigestFinal_ex(ctx.get(), digest, &length) == 1 && length == 16;
  if (!ok) return E_FAIL;
  // A name-based GUID: version 3 in the third group, variant binary 10.
  std::memcpy(guid, digest, 16);
  guid->Data3 = WORD((guid->Data3 & 0x0FFF) | 0x3000);
  guid->Data4[0] = BYTE((guid->Data4[0] & 0x3F) | 0x80);
  return S_OK;
}

BOOL ZoFio_IsUpliftedV1Template(const tagZOTEMPLATExV2* tpl) {
  if (!tpl) return FALSE;
  const BYTE* id = Bytes(tpl) + offsetof(tagZOTEMPLATExV2, templateId);
  DWORD a = 0, b = 0;
  std::memcpy(&a, id + 6, 4);
  std::memcpy(&b, id + 10, 4);
  return a == 0x801010 && b == 4352 && id[14] == 0 && id[15] == 0;
}

const WCHAR* ZoFio_SkipDescriptionInTemplateNotesText(const WCHAR* notes) {
  if (!notes) return nullptr;
  static const std::u16string_view kGenerated[] = {u"Audio:", u"Video:", u"Pixel Aspect Ratio:"};
  const WCHAR* at = notes;
  for (;;) {
    const std::u16string_view rest(at);
    bool generated = false;
    for (auto prefix : kGenerated) generated = generated || rest.substr(0, prefix.size()) == prefix;
    if (!generated) return at;
    const size_t end = rest.find(u'\n');
    if (end == std::u16string_view::npos) return at + rest.size();
    at += end + 1;
  }
}

HRESULT ZoFio_CopyTemplate(tagZOTEMPLATExV2** out, const tagZOTEMPLATExV2* tpl) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!tpl) return E_INVALIDARG;
  if (tpl->size < ZOTEMPLATE_HEAD_SIZE) return ZOERR_BAD_FORMAT;
  tagZOTEMPLATExV2* copy = Allocate(tpl->size);
  if (!copy) return E_OUTOFMEMORY;
  std::memcpy(copy, tpl, tpl->size);
  *out = copy;
  return S_OK;
}

void ZoFio_ReleaseTemplate(tagZOTEMPLATExV2* tpl) { std::free(tpl); }

void ZoFio_ReleaseTemplate(tagZOTEMPLATExV2** tpl) {
  if (!tpl) return;
  std::free(*tpl);
  *tpl = nullptr;
}

HRESULT ZoFio_SetTemplate(tagZOTEMPLATExV2*& tpl, tagZOTEMPLATExV2* next, DWORD flags) {
  if ((flags & ZOTEMPLATE_SET_COMPARE) && tpl && next && tpl->size == next->size &&
      std::memcmp(tpl, next, tpl->size) == 0)
    return S_FALSE;
  tagZOTEMPLATExV2* value = next;
  if ((flags & ZOTEMPLATE_SET_COPY) && next) {
    const HRESULT hr = ZoFio_CopyTemplate(&value, next);
    if (FAILED(hr)) return hr;
  }
  if (tpl != value) std::free(tpl);
  tpl = value;
  return S_OK;
}

HRESULT ZoFio_MakeTemplate(tagZOTEMPLATExV2** out, const _zowaveformat* readFormat, const WAVEFORMATEX* fileFormat,
                           const BITMAPINFOHEADER* video, const tZOVIDEOEXTENSION* videoExtension, const void* priv,
                           DWORD cbPrivate, const WCHAR* name, const WCHAR* notes) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (cbPrivate && !priv) return E_INVALIDARG;
  tagZOTEMPLATExV2 head{};
  head.size = ZOTEMPLATE_HEAD_SIZE;
  head.version = ZOTEMPLATE_VERSION_2;
  head.one = 1;
  if (readFormat || fileFormat) {
    head.audioSize = ZOTEMPLATE_SECTION_SIZE;
    head.audioCount = 1;
    if (readFormat) {
      const DWORD bytes = readFormat->cbStruct < sizeof head.readFormat ? readFormat->cbStruct : sizeof head.readFormat;
      std::memcpy(head.readFormat, readFormat, bytes < ZOWAVEFORMAT_BASE_SIZE ? ZOWAVEFORMAT_BASE_SIZE : bytes);
      reinterpret_cast<_zowaveformat*>(head.readFormat)->cbStruct = bytes < ZOWAVEFORMAT_BASE_SIZE ? ZOWAVEFORMAT_BASE_SIZE : bytes;
    }
    if (fileFormat) {
      const bool plain = fileFormat->wFormatTag == WAVE_FORMAT_PCM || fileFormat->wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
      const DWORD bytes = plain ? 16 : 18u + fileFormat->cbSize;
      if (bytes > ZOTEMPLATE_FILE_FORMAT_BYTES) return ZOERR_BAD_FORMAT;
      std::memcpy(head.fileFormat, fileFormat, bytes);
      if (plain) std::memset(head.fileFormat + 16, 0, 2);
    }
  }
  if (video) {
    head.videoSize = ZOTEMPLATE_SECTION_SIZE;
    head.videoCount = 1;
    head.videoFormat = *video;
    head.videoFormat.biSize = sizeof(BITMAPINFOHEADER);
    if (videoExtension) head.videoExtension = *videoExtension;
    else {
      head.videoExtension.cbSize = sizeof(tZOVIDEOEXTENSION);
      head.videoExtension.reserved1 = -1;
      head.videoExtension.pixelAspect = 1.0;
    }
  }
  tagZOTEMPLATExV2* tpl = nullptr;
  HRESULT hr = ZoTemplate_Rebuild(&tpl, &head, name ? name : u"", notes ? notes : u"", priv ? priv : "", cbPrivate);
  if (FAILED(hr)) return hr;
  *out = tpl;
  return S_OK;
}

HRESULT ZoFio_InitBasicTemplate(tagZOTEMPLATExV2** out, const WAVEFORMATEX* audio, const BITMAPINFOHEADER* video,
                                double framesPerSecond, const WCHAR* name) {
  if (!out) return E_POINTER;
  *out = nullptr;
  ZoWaveFormatBuffer<40> read;
  if (audio) {
    const bool plain = audio->wFormatTag == WAVE_FORMAT_PCM || audio->wFormatTag == WAVE_FORMAT_IEEE_FLOAT ||
                       audio->wFormatTag == WAVE_FORMAT_EXTENSIBLE;
    // A compressed format is read as 16-bit PCM.
    if (plain) read->Init(40, *audio);
    else read->InitAsWfx(WAVE_FORMAT_PCM, audio->nSamplesPerSec, audio->nChannels, 16, 0, 40);
  }
  BITMAPINFOHEADER header{};
  tZOVIDEOEXTENSION extension{};
  if (video) {
    // Uncompressed and the kernel's own codes go straight into the read header.
    const DWORD c = video->biCompression;
    const bool direct = c == BI_RGB || c == BI_BITFIELDS || c == 0x42444F5A /* ZODB */ || c == 0x53474F5A /* ZOGS */;
    header = *video;
    if (!direct) {
      header.biCompression = BI_RGB;
      header.biBitCount = 32;
      header.biSizeImage = DWORD(header.biWidth) * DWORD(header.biHeight < 0 ? -header.biHeight : header.biHeight) * 4;
    }
    extension.cbSize = sizeof extension;
    extension.reserved1 = -1;
    extension.frameRate = framesPerSecond;
    extension.pixelAspect = 1.0;
  }
  HRESULT hr = ZoFio_MakeTemplate(out, audio ? read.get() : nullptr, audio, video ? &header : nullptr,
                                  video ? &extension : nullptr, nullptr, 0, name, nullptr);
  if (SUCCEEDED(hr) && video && video->biCompression != header.biCompression) (*out)->compressedFormat = *video;
  return hr;
}

HRESULT ZoFio_InitBasicAudioTemplate(tagZOTEMPLATExV2** out, const WAVEFORMATEX* audio, const WCHAR* name) {
  if (!audio) return E_INVALIDARG;
  return ZoFio_InitBasicTemplate(out, audio, nullptr, 0, name);
}
