// SPDX-License-Identifier: MIT
// The ZoFio_ helpers: plain functions on the plug-in interfaces.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "audio/mmreg.h"
#include "fileio/zofileio.h"
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
  return SUCCEEDED(hr) && status >= 0;
}

template <typename Class>
HRESULT Disclose(Class* cls) {
  if (!cls) return E_POINTER;
  LONG status = 0;
  WCHAR* text = nullptr;
  HRESULT hr = cls->GetStatus(&status, &text);
  if (FAILED(hr) || status >= 0) {
    if (text) SysFreeString(text);
    return S_OK;
  }
  // The dialog belongs to the UI kit; without one the texts go to standard error.
  std::u16string message;
  if (text) {
    message = std::u16string(text).substr(0, 2048);
    std::u16string name, ext;
    InfoText(cls, ZOFIO_INFOTEXT_NAME, &name);
    InfoText(cls, ZOFIO_INFOTEXT_EXTENSIONS, &ext);
    if (!name.empty()) message = name.substr(0, 260) + u": " + message;
    if (!ext.empty()) message += u" (" + ext.substr(0, 260) + u")";
    SysFreeString(text);
  } else {
    message = u"A plug-in could not be made ready.";
  }
  std::fprintf(stderr, "%s\n", vane::platform::ToUtf8(message).c_str());
  return S_OK;
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
  DWORD size = 0;
  if (format) std::memcpy(&size, format, sizeof size);
  return SetRecord(record, ZOFILESTREAM_AUDIO, format, size, extension, sizeof(tZOAUDIOEXTENSION), length);
}

HRESULT ZoFio_SetStreamFormatInfo(_ZOFILESTREAMFORMATINFOv2* record, const WAVEFORMATEX* format,
                                  const void* extension, LONGLONG length) {
  size_t bytes = 0;
  if (format) bytes = (format->wFormatTag == WAVE_FORMAT_PCM || format->wFormatTag == WAVE_FORMAT_IEEE_FLOAT)
                          ? 16
                          : sizeof(WAVEFORMATEX) + format->cbSize;
  return SetRecord(record, ZOFILESTREAM_AUDIO, format, bytes, extension, sizeof(tZOAUDIOEXTENSION), length);
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

HRESULT ZoFio_FillBstrArrayFromStringResourceMap(void* /*language*/, const DWORD* ids, LONG count, BSTR* texts,
                                                 const ZOFIO_INFOTEXT_MAP* map, LONG mapCount, const WCHAR* suffix) {
  if ((!ids || !texts) && count > 0) return E_POINTER;
  HRESULT hr = S_OK;
  for (LONG i = 0; i < count; ++i) {
    texts[i] = nullptr;
    const ZOFIO_INFOTEXT_MAP* row = nullptr;
    for (LONG m = 0; map && m < mapCount && !row; ++m)
      if (map[m].infoId == ids[i]) row = &map[m];
    if (!row) continue;
    // String resource ids (below 0x10000) need a language table, which the
    // kernel's language layer provides; without one the slot stays empty.
    if (reinterpret_cast<UINT_PTR>(row->text) < 0x10000) continue;
    std::u16string text = row->text;
    if ((ids[i] == ZOFIO_INFOTEXT_EXTENSIONS || ids[i] == ZOFIO_INFOTEXT_NAME) && suffix && *suffix) text += suffix;
    texts[i] = SysAllocStringLen(text.data(), UINT(text.size()));
    if (!texts[i]) hr = E_OUTOFMEMORY;
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
HRESULT ZoFio_DisclosePluginProblems(IZoReadFileClass* cls, HWND) { return Disclose(cls); }
HRESULT ZoFio_DisclosePluginProblems(IZoRenderFileClass* cls, HWND) { return Disclose(cls); }
