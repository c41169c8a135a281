// SPDX-License-Identifier: MIT
// The ZoFio_ helpers: plain functions on the plug-in interfaces.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "audio/mmreg.h"
#include "audio/zowaveformat.h"
#include "fileio/bitmapinfo.h"
#include "fileio/stream_format_v1.h"
#include "fileio/zofileio.h"
#include "kernel/kernel_strings.h"
#include "kernel/message_box.h"
#include "platform/wtext.h"

namespace {

void ClearRecord(_ZOFILESTREAMFORMATINFOv2* record) {
  // A caller's larger size is kept; everything behind it stays untouched.
  DWORD size = std::max<DWORD>(record->cbSize, ZOFIO_STREAMFORMAT_SIZE);
  std::memset(record, 0, sizeof(*record));
  record->cbSize = size;
}

HRESULT SetRecord(_ZOFILESTREAMFORMATINFOv2* record, DWORD type, const void* format, size_t formatBytes,
                  const void* extension, size_t extensionBytes, LONGLONG length) {
  if (!record) return E_POINTER;
  ClearRecord(record);
  record->streamType = type;
  record->length = length;
  if (format) std::memcpy(record->format.raw, format, std::min<size_t>(formatBytes, ZOFIO_STREAMFORMAT_FORMAT_BYTES));
  if (extension)
    std::memcpy(record->extension.raw, extension,
                std::min<size_t>(extensionBytes, ZOFIO_STREAMFORMAT_EXTENSION_BYTES));
  return S_OK;
}

template <typename Class>
HRESULT InfoText(Class* cls, DWORD id, std::u16string* out) {
  out->clear();
  if (!cls) return E_POINTER;
  BSTR text = nullptr;
  HRESULT hr = cls->GetInfoText(&id, 1, &text);
  if (text) *out = std::u16string(text, SysStringLen(text));
  SysFreeString(text);
  return hr;
}

HRESULT CopyOut(std::u16string_view text, WCHAR* out, DWORD capacity) {
  if (!out || capacity == 0) return E_INVALIDARG;
  ZoWcsCopy(out, capacity, std::u16string(text).c_str());
  return text.size() < capacity ? S_OK : ZOERR_BUFFER_TOO_SMALL;
}

template <typename Class>
BOOL Accessible(Class* cls) {
  if (!cls) return FALSE;
  LONG status = 0;
  WCHAR* text = nullptr;
  HRESULT hr = cls->GetStatus(&status, &text);
  if (text) SysFreeString(text);
  // A class without a status to tell is taken as accessible.
  return hr == E_NOTIMPL || (SUCCEEDED(hr) && status >= 0);
}

template <typename Class>
HRESULT Disclose(Class* cls, HWND window) {
  if (!cls) return E_POINTER;
  LONG status = 0;
  WCHAR* text = nullptr;
  HRESULT hr = cls->GetStatus(&status, &text);
  if (FAILED(hr) || status >= 0) {
    if (text) SysFreeString(text);
    return S_OK;
  }
  // The dialog belongs to the UI kit; the texts go to the host's message box
  // handler (standard error without one).
  std::u16string message;
  UINT style = MB_ICONWARNING;
  if (text) {
    message = std::u16string(text).substr(0, 2048);
    std::u16string name, ext;
    InfoText(cls, ZOFIO_INFOTEXT_NAME, &name);
    InfoText(cls, ZOFIO_INFOTEXT_EXTENSIONS, &ext);
    if (!name.empty()) message = name.substr(0, 260) + u": " + message;
    if (!ext.empty()) message += u" (" + ext.substr(0, 260) + u")";
    SysFreeString(text);
  } else {
    message = vane::kernel::KernelText(vane::kernel::kStrPluginNotReady);
    style = MB_ICONERROR;
  }
  ZoKernel_MessageBox(window, message.c_str(), vane::kernel::KernelText(vane::kernel::kStrPluginDialog), style);
  return S_OK;
}

// Bytes of a _zowaveformat that hold data: the fixed part, and with codec
// bytes cbStruct + 2 (cbStruct counts two short of the end on purpose).
size_t WaveFormatBytes(const _zowaveformat& format) {
  return format.cbStruct >= 34 ? size_t(format.cbStruct) + 2 : ZOWAVEFORMAT_BASE_SIZE;
}

// The audio format of a v2 record as a WAVEFORMATEX, and the bytes it needs:
// 16 for PCM and float, else 18 plus its extra bytes.
size_t AudioHeaderFromRecord(const _ZOFILESTREAMFORMATINFOv2& record, BYTE* out, size_t room) {
  // The record comes from a plug-in: only the union's bytes are read, and a
  // claimed size beyond them is cut back to what the union holds.
  ZoWaveFormatBuffer<ZOFIO_STREAMFORMAT_FORMAT_BYTES> format;
  std::memcpy(format.bytes, record.format.raw, ZOFIO_STREAMFORMAT_FORMAT_BYTES);
  constexpr WORD kMaxExtra = ZOFIO_STREAMFORMAT_FORMAT_BYTES - offsetof(_zowaveformat, extra);
  if (format->cbStruct < ZOWAVEFORMAT_BASE_SIZE) format->cbStruct = ZOWAVEFORMAT_BASE_SIZE;
  if (format->cbStruct >= 34) {
    format->cbExtra = std::min(format->cbExtra, kMaxExtra);
    format->cbStruct = ZOWAVEFORMAT_BASE_SIZE + format->cbExtra;
  }
  std::memset(out, 0, room);
  ZoAudio_GeneralCopyWfx(reinterpret_cast<WAVEFORMATEX*>(out), DWORD(room), format.get(), ZOWFCOPY_AUTO);
  WAVEFORMATEX head;
  std::memcpy(&head, out, sizeof head);
  if (head.wFormatTag == WAVE_FORMAT_PCM || head.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) return sizeof(PCMWAVEFORMAT);
  return std::min(room, sizeof(WAVEFORMATEX) + head.cbSize);
}

// Copies a header into a v1 slot; false when the slot was too small.
bool FillV1Header(ZOFIO_V1_HEADER* slot, const void* bytes, size_t needed) {
  size_t room = slot->data ? slot->bytes : 0;
  if (room) std::memcpy(slot->data, bytes, std::min(room, needed));
  slot->bytes = DWORD(needed);
  return room >= needed;
}

// A language-table record read with the platform's widths: marker 0xFFFE,
// language count, then one text (or string id) per language, English first.
struct LanguageRecord {
  WORD marker;
  WORD count;
  const WCHAR* texts[18];
};

bool IsLanguageRecord(const WCHAR* text) {
  auto address = reinterpret_cast<UINT_PTR>(text);
  return address > 0xFFFF && address % 4 == 0 && WORD(text[0]) == 0xFFFE;
}

// A string id from the kernel's catalogue; false when it has none.
bool CatalogueString(UINT id, std::u16string* out) {
  if (id == 0) return false;
  if (vane::kernel::KernelStringsOpen()) {
    *out = vane::kernel::KernelString(id);
  } else {
    const WCHAR* text = vane::kernel::BuiltInKernelString(id);
    *out = text ? text : u"";
  }
  // Resource texts may carry a "^*" marker in front; it is never shown.
  if (out->starts_with(u"^*")) out->erase(0, 2);
  return !out->empty();
}

// A text argument: a string id, a language-table record (English slot until
// a language layer picks the language), or the text itself.
bool ResolveText(const WCHAR* text, std::u16string* out) {
  auto address = reinterpret_cast<UINT_PTR>(text);
  if (address < 0x10000) return CatalogueString(UINT(address), out);
  if (IsLanguageRecord(text)) {
    const auto* record = reinterpret_cast<const LanguageRecord*>(text);
    if (record->count == 0) return false;
    const WCHAR* english = record->texts[0];
    if (reinterpret_cast<UINT_PTR>(english) < 0x10000) return CatalogueString(UINT(reinterpret_cast<UINT_PTR>(english)), out);
    *out = english;
    return true;
  }
  *out = text;
  return true;
}

// Stores text in a slot; false when the string could not be allocated.
bool StoreBstr(const std::u16string& text, BSTR* slot) {
  *slot = SysAllocStringLen(text.data(), UINT(text.size()));
  return *slot != nullptr;
}

}  // namespace

DWORD ZoFio_GetMetric(IZoFileIOManager* manager, LONG id, DWORD def) {
  DWORD value = 0;
  if (!manager || FAILED(manager->GetMetric(id, &value))) return def;
  return value;
}

LONG ZoFio_GetMetric(IZoFileIOManager* manager, LONG id, LONG def, LONG minimum, LONG maximum) {
  LONG v = LONG(ZoFio_GetMetric(manager, id, DWORD(def)));
  return std::clamp(v, minimum, std::max(minimum, maximum));
}

BOOL ZoFio_GetMetricBool(IZoFileIOManager* manager, LONG id, BOOL def) {
  return ZoFio_GetMetric(manager, id, DWORD(def ? 1 : 0)) != 0 ? TRUE : FALSE;
}

HRESULT ZoFio_SetMetric(IZoFileIOManager* manager, LONG id, DWORD value) {
  if (!manager) return E_POINTER;
  return manager->SetMetric(id, value);
}

HRESULT ZoFio_FillStreamFormatInfo(IZoReadStream* stream, DWORD type, _ZOFILESTREAMFORMATINFOv2* record) {
  if (!stream || !record) return E_POINTER;
  ClearRecord(record);
  record->streamType = type;
  switch (type) {
    case ZOFILESTREAM_AUDIO: {
      IZoReadAudioStream* audio = nullptr;
      VANE_RETURN_IF_FAILED(stream->QueryInterface(IID_IZoReadAudioStream, reinterpret_cast<void**>(&audio)));
      HRESULT hr = audio->GetReadAudioFormat(reinterpret_cast<_zowaveformat*>(record->format.raw));
      audio->Release();
      return hr;
    }
    case ZOFILESTREAM_VIDEO: {
      IZoReadVideoStream* video = nullptr;
      VANE_RETURN_IF_FAILED(stream->QueryInterface(IID_IZoReadVideoStream, reinterpret_cast<void**>(&video)));
      HRESULT hr = video->GetReadVideoFormat(record->format.raw);
      video->Release();
      return hr;
    }
    case ZOFILESTREAM_OTHER:
      return S_OK;
    default:
      return E_INVALIDARG;
  }
}

HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const _zowaveformat* format,
                                  const void* extension, LONGLONG length) {
  // The record's own size leads it: copy what it says, capped by the union.
  size_t bytes = format ? WaveFormatBytes(*format) : 0;
  return SetRecord(record, ZOFILESTREAM_AUDIO, format, bytes, extension, sizeof(tZOAUDIOEXTENSION), length);
}

HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const WAVEFORMATEX* format,
                                  const void* extension, LONGLONG length) {
  // The union holds the engine's record for audio, so a platform header is
  // read into one; codec bytes are kept as far as the union has room.
  if (!format) return SetRecord(record, ZOFILESTREAM_AUDIO, nullptr, 0, extension, sizeof(tZOAUDIOEXTENSION), length);
  ZoWaveFormatBuffer<ZOFIO_STREAMFORMAT_FORMAT_BYTES> converted;
  converted->Init(ZOFIO_STREAMFORMAT_FORMAT_BYTES, *format);
  return SetRecord(record, ZOFILESTREAM_AUDIO, converted.get(), WaveFormatBytes(*converted), extension,
                   sizeof(tZOAUDIOEXTENSION), length);
}

HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const BITMAPINFOHEADER* format,
                                  const void* extension, LONGLONG length) {
  if (!record) return E_POINTER;
  BITMAPINFOHEADER header{};
  if (format) {
    std::memcpy(&header, format, sizeof header);
    if (header.biSize < sizeof header) return E_INVALIDARG;
    // Only the 40-byte form fits the union; a later form is cut to it.
    header.biSize = sizeof header;
  }
  tZOVIDEOEXTENSION video{};
  if (extension) std::memcpy(&video, extension, sizeof video);
  tZOVIDEOEXTENSION fixed{};
  fixed.cbSize = sizeof fixed;
  fixed.reserved1 = -1;
  fixed.interlace = video.interlace;
  fixed.frameRate = video.frameRate;
  fixed.pixelAspect = video.pixelAspect > 0.0 ? video.pixelAspect : 1.0;  // NaN is not above 0 either
  return SetRecord(record, ZOFILESTREAM_VIDEO, format ? &header : nullptr, sizeof header, &fixed, sizeof fixed,
                   length);
}

HRESULT ZoFio_ConvertToV2ifV1(IZoReadFile* file, LONG index, void* record, DWORD wantedType) {
  if (!file || !record) return E_POINTER;
  DWORD size = 0;
  std::memcpy(&size, record, sizeof size);
  if (size >= ZOFIO_STREAMFORMAT_SIZE) return S_FALSE;
  if (size != ZOFIO_STREAMFORMAT_V1_SIZE) return E_INVALIDARG;
  auto* v1 = static_cast<_ZOFILESTREAMFORMATINFOv1*>(record);

  _ZOFILESTREAMFORMATINFOv2 v2{};
  v2.cbSize = ZOFIO_STREAMFORMAT_SIZE;
  VANE_RETURN_IF_FAILED(file->GetStreamFormatInfo(&v2, index, 1));
  if (wantedType != 0 && (v2.streamType & wantedType) == 0) return E_INVALIDARG;

  v1->streamType = v2.streamType;
  v1->length = v2.length;
  v1->start = v2.start;
  ZOFIO_V1_HEADER* formatSlot = nullptr;
  BYTE format[ZOFIO_STREAMFORMAT_FORMAT_BYTES + 64];
  size_t formatBytes = 0;
  size_t extensionBytes = 0;
  switch (v2.streamType) {
    case ZOFILESTREAM_AUDIO:
      formatSlot = &v1->audio;
      formatBytes = AudioHeaderFromRecord(v2, format, sizeof format);
      extensionBytes = sizeof(tZOAUDIOEXTENSION);
      break;
    case ZOFILESTREAM_VIDEO:
      formatSlot = &v1->video;
      formatBytes = sizeof(BITMAPINFOHEADER);
      std::memcpy(format, v2.format.raw, formatBytes);
      extensionBytes = sizeof(tZOVIDEOEXTENSION);
      break;
    case ZOFILESTREAM_TEXT:
      formatSlot = &v1->text;
      formatBytes = 20;
      std::memcpy(format, v2.format.raw, formatBytes);
      extensionBytes = 40;
      break;
    default:
      break;
  }
  bool complete = true;
  for (ZOFIO_V1_HEADER* slot : {&v1->audio, &v1->video, &v1->text})
    if (slot == formatSlot) complete = FillV1Header(slot, format, formatBytes) && complete;
    else slot->bytes = 0;
  complete = FillV1Header(&v1->extension, v2.extension.raw, extensionBytes) && complete;
  return complete ? S_OK : ZOERR_BUFFER_TOO_SMALL;
}

LONG ZoFio_CountSetBits(ULONGLONG value) { return LONG(__builtin_popcountll(value)); }

LONG ZoFio_ConstrainValueToTable(LONG value, const LONG* table, LONG count, LONG direction, LONG* index) {
  if (!table || count <= 0) {
    if (index) *index = -1;
    return value;
  }
  LONG chosen = 0;
  if (value <= table[0]) {
    chosen = 0;
  } else if (value >= table[count - 1]) {
    chosen = count - 1;
  } else {
    LONG hi = 1;
    while (hi < count && table[hi] < value) ++hi;
    if (table[hi] == value) {
      chosen = hi;
    } else {
      LONG lo = hi - 1;
      long long L = (long long)value - table[lo];
      long long H = (long long)table[hi] - value;
      if (direction == -1) {
        chosen = lo;
      } else if (direction == 1) {
        chosen = hi;
      } else {
        // Other directions weigh one distance before the nearer row wins;
        // a tie goes to the higher row.
        if (direction > 1) L = (direction - 1 + L) / direction;
        else if (direction < -1) H = -((H - direction - 1) / direction);
        chosen = L < H ? lo : hi;
      }
    }
  }
  if (index) *index = chosen;
  return table[chosen];
}

void ZoFio_FreeBstrArray(BSTR* texts, LONG count) {
  if (!texts) return;
  for (LONG i = 0; i < count; ++i) {
    SysFreeString(texts[i]);
    texts[i] = nullptr;
  }
}

HRESULT ZoFio_CopyBstrArray(BSTR* to, const BSTR* from, LONG count) {
  if ((!to || !from) && count > 0) return E_POINTER;
  HRESULT hr = S_OK;
  for (LONG i = 0; i < count; ++i) {
    to[i] = from[i] ? SysAllocStringLen(from[i], SysStringLen(from[i])) : nullptr;
    if (from[i] && !to[i]) hr = E_OUTOFMEMORY;
  }
  return hr;
}

HRESULT ZoFio_CopyAndFreeBstrArray(BSTR* to, BSTR* from, LONG count) {
  HRESULT hr = ZoFio_CopyBstrArray(to, from, count);
  ZoFio_FreeBstrArray(from, count);
  return hr;
}

HRESULT ZoFio_FillBstrArrayFromStringResources(void* /*language*/, const UINT* stringIds, LONG count, BSTR* texts) {
  if (count < 0) return E_INVALIDARG;
  if ((!stringIds || !texts) && count > 0) return E_POINTER;
  HRESULT hr = S_OK;
  for (LONG i = 0; i < count; ++i) {
    texts[i] = nullptr;
    std::u16string text;
    if (CatalogueString(stringIds[i], &text) && !StoreBstr(text, &texts[i])) hr = E_OUTOFMEMORY;
  }
  return hr;
}

UINT ZoFio_MapInfoIdToStringId(DWORD infoId, const ZOFIO_INFOTEXT_MAP* map, LONG mapCount) {
  for (LONG m = 0; map && m < mapCount; ++m)
    if (map[m].infoId == infoId) {
      auto value = reinterpret_cast<UINT_PTR>(map[m].text);
      return value < 0x10000 ? UINT(value) : 0;
    }
  return 0;
}

HRESULT ZoFio_FillBstrArrayFromStringResourceMap(void* /*language*/, const DWORD* ids, LONG count, BSTR* texts,
                                                 const ZOFIO_INFOTEXT_MAP* map, LONG mapCount, const WCHAR* suffix) {
  if (count < 0) return E_INVALIDARG;
  if ((!ids || !texts) && count > 0) return E_POINTER;
  HRESULT hr = S_OK;
  for (LONG i = 0; i < count; ++i) {
    texts[i] = nullptr;
    const ZOFIO_INFOTEXT_MAP* row = nullptr;
    for (LONG m = 0; map && m < mapCount && !row; ++m)
      if (map[m].infoId == ids[i]) row = &map[m];
    std::u16string text;
    if (!row || !ResolveText(row->text, &text)) continue;
    if ((ids[i] == ZOFIO_INFOTEXT_EXTENSIONS || ids[i] == ZOFIO_INFOTEXT_NAME) && suffix && *suffix) text += suffix;
    // A failed allocation is reported, and the remaining slots still filled.
    if (!StoreBstr(text, &texts[i])) hr = E_OUTOFMEMORY;
  }
  return hr;
}

HRESULT ZoFio_GetRendererExtensionsList(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity) {
  std::u16string list;
  VANE_RETURN_IF_FAILED(InfoText(cls, ZOFIO_INFOTEXT_DEFAULT_EXT, &list));
  return CopyOut(list, text, capacity);
}

HRESULT ZoFio_GetDefaultRendererExtension(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity) {
  std::u16string list;
  VANE_RETURN_IF_FAILED(InfoText(cls, ZOFIO_INFOTEXT_DEFAULT_EXT, &list));
  std::u16string first = list.substr(0, list.find(u';'));
  if (!first.empty() && first.front() == u'*') first.erase(0, 1);
  return CopyOut(first, text, capacity);
}

HRESULT ZoFio_GetRendererOpenDialogFilterString(IZoRenderFileClass* cls, WCHAR* text, DWORD capacity,
                                                BOOL withPattern) {
  if (!text || capacity < 14) return E_INVALIDARG;
  std::u16string name, list;
  VANE_RETURN_IF_FAILED(InfoText(cls, ZOFIO_INFOTEXT_NAME, &name));
  InfoText(cls, ZOFIO_INFOTEXT_DEFAULT_EXT, &list);
  std::u16string out = name;
  if (withPattern && !list.empty()) out += u" (" + list + u")";
  out += u'\0';
  out += list.empty() ? std::u16string(u"*.*") : list;
  out += u'\0';
  out += u'\0';
  if (out.size() > capacity) {
    out.resize(capacity);
    out[capacity - 1] = 0;
    if (capacity >= 2) out[capacity - 2] = 0;
    std::memcpy(text, out.data(), capacity * sizeof(WCHAR));
    return ZOERR_BUFFER_TOO_SMALL;
  }
  std::memcpy(text, out.data(), out.size() * sizeof(WCHAR));
  return S_OK;
}

BOOL ZoFio_IsPluginAccessible(IZoReadFileClass* cls) { return Accessible(cls); }
BOOL ZoFio_IsPluginAccessible(IZoRenderFileClass* cls) { return Accessible(cls); }
HRESULT ZoFio_DisclosePluginProblems(IZoReadFileClass* cls, HWND window) { return Disclose(cls, window); }
HRESULT ZoFio_DisclosePluginProblems(IZoRenderFileClass* cls, HWND window) { return Disclose(cls, window); }
