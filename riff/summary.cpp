// SPDX-License-Identifier: MIT
#include "riff/summary.h"

#include <cstring>
#include <string>
#include <vector>

#include "fileutil/meta_stream.h"
#include "platform/file.h"
#include "platform/memory.h"
#include "platform/wtext.h"
#include "riff/detail/file_access.h"
#include "riff/riff_api.h"

namespace {

using vane::riff::FileReadExact;
using vane::riff::FileSeek;
using vane::riff::FileWriteExact;

constexpr DWORD kFourCC_UNFO = ZoFourCC("UNFO");
constexpr DWORD kMaxW64Text = 2048;
// One item's text is at most this many bytes; a larger claim is damage.
constexpr DWORD kMaxItemBytes = 1u << 20;

WCHAR* NewText(const std::u16string& text) {
  auto* p = static_cast<WCHAR*>(GlobalAlloc(GPTR, (text.size() + 1) * sizeof(WCHAR)));
  if (p && !text.empty()) std::memcpy(p, text.data(), text.size() * sizeof(WCHAR));
  return p;
}

std::u16string Text(const WCHAR* p) { return p ? std::u16string(p) : std::u16string(); }

// Whether the bytes are valid UTF-8 with at least one multi-byte sequence.
bool LooksLikeUtf8(std::string_view s) {
  bool multi = false;
  for (size_t i = 0; i < s.size();) {
    const unsigned char b = static_cast<unsigned char>(s[i]);
    const int extra = b < 0x80 ? 0 : (b & 0xE0) == 0xC0 ? 1 : (b & 0xF0) == 0xE0 ? 2 : (b & 0xF8) == 0xF0 ? 3 : -1;
    if (extra < 0 || (extra == 1 && b < 0xC2) || s.size() - i <= static_cast<size_t>(extra)) return false;
    for (int k = 1; k <= extra; ++k)
      if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    multi = multi || extra > 0;
    i += static_cast<size_t>(extra) + 1;
  }
  return multi;
}

// Item text from the file: the system ANSI code page, except that text which
// is valid multi-byte UTF-8 (as many tools write INFO today) reads as UTF-8.
std::u16string DecodeItem(std::string_view s) {
  return LooksLikeUtf8(s) ? vane::platform::FromUtf8(s) : vane::platform::FromCodePage(s, CP_ACP);
}

// Replaces the record's content with the items (texts copied into blocks).
HRESULT Fill(ZOSUMMARY* record, const std::vector<std::pair<DWORD, std::u16string>>& items) {
  ZoSummary_Free(record);
  if (items.empty()) return S_OK;
  record->items = static_cast<ZOSUMMARYITEM*>(GlobalAlloc(GPTR, items.size() * sizeof(ZOSUMMARYITEM)));
  if (!record->items) return E_OUTOFMEMORY;
  record->count = static_cast<DWORD>(items.size());
  for (size_t i = 0; i < items.size(); ++i) {
    record->items[i].tag = items[i].first;
    record->items[i].text = NewText(items[i].second);
    if (!record->items[i].text) {
      ZoSummary_Free(record);
      return E_OUTOFMEMORY;
    }
  }
  return S_OK;
}

// Reads the item chunks of a list body from the position.
HRESULT LoadItems(HANDLE file, ZOSUMMARY* record, DWORD* remaining, bool wide) {
  if (!record || !remaining) return E_INVALIDARG;
  std::vector<std::pair<DWORD, std::u16string>> items;
  DWORD left = *remaining;
  HRESULT hr = S_OK;
  while (left >= 8) {
    DWORD tag = 0, size = 0;
    if (FAILED(riff_ReadChunkHeader(file, &tag, &size)) || size > left - 8 || size > kMaxItemBytes) {
      hr = ZOERR_FILE_READ;
      break;
    }
    std::vector<BYTE> body(size + 2, 0);
    if (size && !FileReadExact(file, body.data(), size)) {
      hr = ZOERR_FILE_READ;
      break;
    }
    const DWORD padded = (size + 1) & ~1u;
    if (padded != size && !FileSeek(file, 1, FILE_CURRENT)) {
      hr = ZOERR_FILE_READ;
      break;
    }
    std::u16string text;
    if (wide) {
      for (size_t k = 0; k + 1 < size; k += 2) {
        const char16_t c = char16_t(body[k] | (body[k + 1] << 8));
        if (!c) break;
        text.push_back(c);
      }
    } else {
      const char* s = reinterpret_cast<const char*>(body.data());
      text = DecodeItem(std::string_view(s, strnlen(s, size)));
    }
    items.emplace_back(tag, std::move(text));
    left -= std::min<DWORD>(left, 8 + padded);
  }
  if (FAILED(hr)) {
    ZoSummary_Free(record);
    return hr;
  }
  *remaining = left;
  return Fill(record, items);
}

HRESULT SaveItems(HANDLE file, const ZOSUMMARY* record, DWORD* bytes, bool wide) {
  if (bytes) *bytes = 0;
  if (!record) return E_INVALIDARG;
  if (record->count == 0) return S_OK;
  std::int64_t head = 0;
  if (!FileSeek(file, 0, FILE_CURRENT, &head)) return ZOERR_FILE_WRITE;
  if (FAILED(riff_WriteListHeader(file, wide ? kFourCC_UNFO : kFourCC_INFO, 0))) return ZOERR_FILE_WRITE;
  DWORD total = 4;
  for (DWORD i = 0; i < record->count; ++i) {
    const ZOSUMMARYITEM& item = record->items[i];
    if (!item.text) continue;
    std::string body;
    if (wide) {
      for (const WCHAR* p = item.text;; ++p) {
        body += static_cast<char>(*p & 0xFF);
        body += static_cast<char>(*p >> 8);
        if (!*p) break;
      }
    } else {
      body = vane::platform::ToCodePage(Text(item.text), CP_ACP);
      body.push_back('\0');
    }
    const DWORD size = static_cast<DWORD>(body.size());
    if (FAILED(riff_WriteChunkHeader(file, item.tag, size)) || !FileWriteExact(file, body.data(), size))
      return ZOERR_FILE_WRITE;
    static const BYTE zero = 0;
    if ((size & 1) && !FileWriteExact(file, &zero, 1)) return ZOERR_FILE_WRITE;
    total += 8 + ((size + 1) & ~1u);
  }
  std::int64_t end = 0;
  BYTE field[4] = {BYTE(total), BYTE(total >> 8), BYTE(total >> 16), BYTE(total >> 24)};
  if (!FileSeek(file, 0, FILE_CURRENT, &end) || !FileSeek(file, head + 4, FILE_BEGIN) ||
      !FileWriteExact(file, field, 4) || !FileSeek(file, end, FILE_BEGIN))
    return ZOERR_FILE_WRITE;
  if (bytes) *bytes = total + 8;
  return S_OK;
}

}  // namespace

VANE_EXTERN_C HRESULT ZoSummary_Load(HANDLE file, ZOSUMMARY* record, DWORD* remaining) {
  return LoadItems(file, record, remaining, false);
}
VANE_EXTERN_C HRESULT ZoSummary_LoadUNFO(HANDLE file, ZOSUMMARY* record, DWORD* remaining) {
  return LoadItems(file, record, remaining, true);
}
VANE_EXTERN_C HRESULT ZoSummary_Save(HANDLE file, const ZOSUMMARY* record, DWORD* bytes) {
  return SaveItems(file, record, bytes, false);
}
VANE_EXTERN_C HRESULT ZoSummary_SaveUNFO(HANDLE file, const ZOSUMMARY* record, DWORD* bytes) {
  return SaveItems(file, record, bytes, true);
}

VANE_EXTERN_C HRESULT ZoSummary_GetStringFromFile(HANDLE file, DWORD tag, WCHAR* buffer, DWORD capacity,
                                                  DWORD* remaining) {
  if (!buffer || capacity == 0 || !remaining) return E_INVALIDARG;
  buffer[0] = 0;
  std::int64_t keep = 0;
  if (!FileSeek(file, 0, FILE_CURRENT, &keep)) return ZOERR_FILE_READ;
  DWORD left = *remaining, listSize = 0;
  HRESULT hr = riff_FindListChunk(file, kFourCC_INFO, &listSize, &left);
  DWORD size = 0;
  if (SUCCEEDED(hr)) hr = riff_FindChunkHeader(file, tag, &size, &listSize);
  if (SUCCEEDED(hr)) {
    std::vector<BYTE> body(std::min<DWORD>(size, kMaxItemBytes) + 1, 0);
    if (!body.empty() && size && !FileReadExact(file, body.data(), static_cast<DWORD>(body.size() - 1))) {
      hr = ZOERR_FILE_READ;
    } else {
      const char* s = reinterpret_cast<const char*>(body.data());
      const std::u16string text = DecodeItem(std::string_view(s, strnlen(s, body.size() - 1)));
      ZoWcsCopy(buffer, capacity, text.c_str());
    }
  }
  FileSeek(file, keep, FILE_BEGIN);
  return hr;
}

VANE_EXTERN_C HRESULT ZoSummary_LoadW64(const BYTE* body, ULONGLONG size, ZOSUMMARY* record) {
  if (!record || (!body && size)) return E_INVALIDARG;
  std::vector<std::pair<DWORD, std::u16string>> items;
  if (size < 4) return Fill(record, items);
  DWORD count = 0;
  std::memcpy(&count, body, 4);
  ULONGLONG at = 4;
  for (DWORD i = 0; i < count && size - at >= 8; ++i) {
    DWORD tag = 0, bytes = 0;
    std::memcpy(&tag, body + at, 4);
    std::memcpy(&bytes, body + at + 4, 4);
    at += 8;
    if (bytes > kMaxW64Text) {
      ZoSummary_Free(record);
      return E_INVALIDARG;
    }
    if (bytes > size - at) break;
    std::u16string text;
    for (DWORD k = 0; k + 1 < bytes; k += 2) {
      const char16_t c = char16_t(body[at + k] | (body[at + k + 1] << 8));
      if (!c) break;
      text.push_back(c);
    }
    at += bytes;
    items.emplace_back(tag, std::move(text));
  }
  return Fill(record, items);
}

VANE_EXTERN_C HRESULT ZoSummary_SaveW64(const ZOSUMMARY* record, BYTE* body, ULONGLONG* size) {
  if (!record || !size) return E_INVALIDARG;
  std::vector<BYTE> out(4, 0);
  DWORD count = 0;
  for (DWORD i = 0; i < record->count; ++i) {
    if (!record->items[i].text) continue;
    const std::u16string text = Text(record->items[i].text);
    const DWORD bytes = static_cast<DWORD>((text.size() + 1) * 2);
    if (bytes > kMaxW64Text) return E_INVALIDARG;
    for (DWORD v : {record->items[i].tag, bytes})
      for (int k = 0; k < 4; ++k) out.push_back(static_cast<BYTE>(v >> (8 * k)));
    for (char16_t c : text) {
      out.push_back(static_cast<BYTE>(c));
      out.push_back(static_cast<BYTE>(c >> 8));
    }
    out.push_back(0);
    out.push_back(0);
    ++count;
  }
  std::memcpy(out.data(), &count, 4);
  if (body && *size >= out.size()) std::memcpy(body, out.data(), out.size());
  *size = out.size();
  return S_OK;
}

VANE_EXTERN_C void ZoSummary_Free(ZOSUMMARY* record) {
  if (!record) return;
  for (DWORD i = 0; record->items && i < record->count; ++i)
    if (record->items[i].text) GlobalFree(record->items[i].text);
  if (record->items) GlobalFree(record->items);
  record->items = nullptr;
  record->count = 0;
}

VANE_EXTERN_C LONG ZoSummary_GetItemIndex(const ZOSUMMARY* record, DWORD tag) {
  for (DWORD i = 0; record && i < record->count; ++i)
    if (record->items[i].tag == tag) return static_cast<LONG>(i);
  return ZOERR_NOT_FOUND;
}

VANE_EXTERN_C const WCHAR* ZoSummary_GetItemText(const ZOSUMMARY* record, DWORD tag) {
  const LONG i = ZoSummary_GetItemIndex(record, tag);
  return i >= 0 ? record->items[i].text : nullptr;
}

VANE_EXTERN_C HRESULT ZoSummary_Copy(ZOSUMMARY* destination, const ZOSUMMARY* source) {
  if (!destination || !source) return E_INVALIDARG;
  std::vector<std::pair<DWORD, std::u16string>> items;
  for (DWORD i = 0; i < source->count; ++i) items.emplace_back(source->items[i].tag, Text(source->items[i].text));
  return Fill(destination, items);
}

VANE_EXTERN_C BOOL ZoSummary_Compare(const ZOSUMMARY* a, const ZOSUMMARY* b) {
  if (!a || !b || a->count != b->count) return FALSE;
  for (DWORD i = 0; i < a->count; ++i)
    if (Text(a->items[i].text) != Text(b->items[i].text)) return FALSE;
  return TRUE;
}

VANE_EXTERN_C HRESULT ZoSummary_SetItem(ZOSUMMARY* record, DWORD tag, const WCHAR* text) {
  if (!record || tag == 0) return E_INVALIDARG;
  const LONG at = ZoSummary_GetItemIndex(record, tag);
  if (at >= 0) {
    ZOSUMMARYITEM& item = record->items[at];
    if (!text) {
      // Removing closes the gap; a record whose last item goes is freed.
      if (item.text) GlobalFree(item.text);
      std::memmove(&record->items[at], &record->items[at + 1], (record->count - at - 1) * sizeof(ZOSUMMARYITEM));
      if (--record->count == 0) ZoSummary_Free(record);
      return S_OK;
    }
    WCHAR* replacement = NewText(text);
    if (!replacement) return E_OUTOFMEMORY;
    if (item.text) GlobalFree(item.text);
    item.text = replacement;
    return S_OK;
  }
  if (!text) return S_OK;
  auto* grown = static_cast<ZOSUMMARYITEM*>(GlobalAlloc(GPTR, (record->count + 1) * sizeof(ZOSUMMARYITEM)));
  WCHAR* copy = NewText(text);
  if (!grown || !copy) {
    if (grown) GlobalFree(grown);
    if (copy) GlobalFree(copy);
    return E_OUTOFMEMORY;
  }
  if (record->count) std::memcpy(grown, record->items, record->count * sizeof(ZOSUMMARYITEM));
  if (record->items) GlobalFree(record->items);
  record->items = grown;
  record->items[record->count++] = {tag, copy};
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoSummary_Merge(ZOSUMMARY* destination, ZOSUMMARY* source, BOOL replace, BOOL steal) {
  if (!destination || !source) return E_INVALIDARG;
  if (steal && destination->count == 0) {
    ZoSummary_Free(destination);
    *destination = *source;
    *source = {};
    return S_OK;
  }
  for (DWORD i = 0; i < source->count; ++i) {
    const ZOSUMMARYITEM& item = source->items[i];
    const bool known = ZoSummary_GetItemIndex(destination, item.tag) >= 0;
    if (known && !replace) continue;
    VANE_RETURN_IF_FAILED(ZoSummary_SetItem(destination, item.tag, item.text ? item.text : u""));
  }
  if (steal) ZoSummary_Free(source);
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoFMMeta_fillSummaryFromFileEx(HANDLE file, tZOLIST* timeList, tZOLIST* sampleList) {
  if (!file || file == INVALID_HANDLE_VALUE) return MakeStatus(0x8004E007);
  BYTE head[12];
  if (!FileSeek(file, 0, FILE_BEGIN) || !FileReadExact(file, head, 12)) return ZOERR_FILE_READ;
  DWORD riffSize = DWORD(head[4]) | DWORD(head[5]) << 8 | DWORD(head[6]) << 16 | DWORD(head[7]) << 24;
  // A file whose second word is "LIST" starts its chunks at 8.
  const bool listAt8 = std::memcmp(head + 8, "LIST", 4) == 0;
  if (!FileSeek(file, listAt8 ? 8 : 12, FILE_BEGIN)) return ZOERR_FILE_READ;
  DWORD remaining = listAt8 ? riffSize : riffSize - 4, size = 0;
  if (FAILED(riff_FindListChunk(file, kFourCC_INFO, &size, &remaining))) return S_OK;
  ZOSUMMARY record{};
  VANE_RETURN_IF_FAILED(ZoSummary_Load(file, &record, &size));
  HRESULT hr = S_OK;
  for (DWORD i = 0; SUCCEEDED(hr) && i < record.count; ++i) {
    const std::u16string text = Text(record.items[i].text);
    fileutil::ZOMETASUMMARYHEAD s{12, record.items[i].tag, static_cast<DWORD>((text.size() + 1) * 2)};
    fileutil::ZOMETAITEMHEADER h{};
    h.cbHeader = sizeof h;
    h.version = 100;
    h.guid = fileutil::GUID_ZoMetaSummary;
    h.cbData = sizeof s + s.cbText;
    std::vector<BYTE> item(sizeof h + h.cbData, 0);
    std::memcpy(item.data(), &h, sizeof h);
    std::memcpy(item.data() + sizeof h, &s, sizeof s);
    std::memcpy(item.data() + sizeof h + sizeof s, text.data(), text.size() * 2);
    for (tZOLIST* list : {timeList, sampleList}) {
      if (!list) continue;
      bool present = false;
      for (LONG k = 0; k < list->nItems && !present; ++k) {
        const BYTE* have = static_cast<BYTE**>(list->pData)[k];
        DWORD tag = 0;
        if (ZoList_AllocSize(list, k) >= sizeof h + 8) std::memcpy(&tag, have + sizeof h + 4, 4);
        present = tag == record.items[i].tag;
      }
      if (!present) hr = ZoList_AllocAndInsertItem(list, item.data(), item.size(), -1, nullptr);
      if (FAILED(hr)) break;
    }
  }
  ZoSummary_Free(&record);
  return hr;
}
