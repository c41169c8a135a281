// SPDX-License-Identifier: MIT
#include "kernel/zolang.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/kernel_strings.h"
#include "kernel/lang_module.h"
#include "kernel/metrics.h"
#include "platform/module.h"
#include "platform/wtext.h"

struct tagZOLANG {
  HMODULE base = nullptr;
  std::mutex lock;
  // The temporary ring.
  DWORD capacity = 0;
  DWORD blockLimit = ZOLANG_TEMP_BLOCK_LIMIT;
  DWORD offset = 0;
  std::unique_ptr<WCHAR[]> ring;
  std::atomic<bool> notEnglish{false};
  std::unique_ptr<vane::kernel::LangModule> language;  // the ".lng" module, when one loaded
  std::atomic<DWORD> lcid{1033};
  std::atomic<LONG> index{0};  // cached table row; below 1 means not known yet
  std::map<UINT, std::u16string> cache;
};

namespace {

constexpr UINT kBlockEntries = 16;

// The table's languages in slot order: LCID and three-letter code.
struct LangRow {
  DWORD lcid;
  const char16_t* abbrev;
};
constexpr LangRow kRows[ZOLANG_COUNT] = {
    {0x409, u"ENU"}, {0x411, u"JPN"}, {0x407, u"DEU"}, {0x40A, u"ESN"}, {0x40C, u"FRA"}, {0x804, u"CHS"},
    {0x404, u"CHT"}, {0x406, u"DAN"}, {0x40B, u"FIN"}, {0x410, u"ITA"}, {0x412, u"KOR"}, {0x413, u"NLD"},
    {0x414, u"NOR"}, {0x416, u"PTB"}, {0x816, u"PTG"}, {0x419, u"RUS"}, {0x41D, u"SVE"}, {0x415, u"PLK"},
};

std::atomic<bool> g_mirrored{false};
thread_local DWORD t_threadLcid = 1033;
std::mutex g_langIdLock;
char g_langId[8] = "ENU";

const WCHAR* Empty() { return u""; }

DWORD UserDefaultLcid() { return 1033; }

// The ".lng" file beside a module: its file name with the extension replaced.
std::u16string LangPathOf(HMODULE module) {
  WCHAR path[4096];
  const DWORD n = module ? GetModuleFileNameW(module, path, 4096) : 0;
  if (n == 0 || n >= 4096) return {};
  std::u16string p(path, n);
  const size_t slash = p.find_last_of(u'/');
  const size_t leaf = slash == std::u16string::npos ? 0 : slash + 1;
  // A shared object's versions follow ".so": "libffvanek.so.13" has the stem "libffvanek".
  const size_t so = p.find(u".so", leaf);
  const size_t dot = p.find_last_of(u'.');
  if (so != std::u16string::npos) p.resize(so);
  else if (dot != std::u16string::npos && dot >= leaf) p.resize(dot);
  return p + u".lng";
}

// Strips the "^*" prefix some catalogues mark texts with.
std::u16string Unmarked(std::u16string text) {
  if (text.size() >= 2 && text[0] == u'^' && text[1] == u'*') text.erase(0, 2);
  return text;
}

// The text of a number: the language module (when the language is not
// English), else the base module's own strings (the kernel's compiled-in
// catalogue, or its ".lng" when that is English).
std::u16string LoadNumber(HZOLANG lang, UINT number) {
  if (!lang) return {};
  if (lang->language && lang->notEnglish) {
    if (const WCHAR* t = lang->language->Find(number)) return Unmarked(t);
  }
  if (lang->language && ZoLang_IsLCIDEnglish(lang->language->Lcid())) {
    if (const WCHAR* t = lang->language->Find(number)) return Unmarked(t);
  }
  if (!lang->base || lang->base == ZoKernelModuleHandle()) {
    if (const WCHAR* t = vane::kernel::BuiltInKernelString(number)) return Unmarked(t);
  }
  return {};
}

LONG CopyOut(const std::u16string& text, WCHAR* buffer, LONG capacity) {
  if (!buffer || capacity <= 0) return 0;
  const LONG n = LONG(std::min<size_t>(text.size(), size_t(capacity - 1)));
  std::memcpy(buffer, text.data(), size_t(n) * sizeof(WCHAR));
  buffer[n] = 0;
  return n;
}

LONG RowOf(HZOLANG lang) {
  LONG index = lang ? lang->index.load() : 0;
  if (index >= 1) return index;
  DWORD lcid = lang ? lang->lcid.load() : 0;
  if (lcid == 0) lcid = UserDefaultLcid();
  index = ZoLang_IndexOfLCID(lcid);
  if (lang) lang->index = index;
  return index;
}

void SetLcid(HZOLANG lang, DWORD lcid) {
  if (!lang) return;
  if (lang->lcid != lcid) {
    lang->lcid = lcid;
    lang->index = 0;
    std::lock_guard<std::mutex> hold(lang->lock);
    lang->cache.clear();
  }
  lang->notEnglish = (lcid & 0x3FF) != 9;
}

std::mutex g_kernelLock;
HZOLANG g_kernel = nullptr;

}  // namespace

VANE_EXTERN_C BOOL IsZOLANGSTRINGID(HZOLANG, const void* pointer) {
  const uintptr_t p = reinterpret_cast<uintptr_t>(pointer);
  if (!pointer || p <= 0xFFFF || (p & 3) != 0) return FALSE;
  WORD first = 0;
  std::memcpy(&first, pointer, sizeof first);
  return first == ZOLANG_RECORD_MARKER;
}

VANE_EXTERN_C HRESULT ZoLang_Open(HZOLANG* handle, HMODULE module, DWORD lcid, DWORD tempCapacity) {
  if (!handle) return E_POINTER;
  if (*handle) return ZOLANG_S_ALREADY_OPEN;
  auto lang = std::make_unique<tagZOLANG>();
  lang->capacity = tempCapacity == 0 ? ZOLANG_TEMP_DEFAULT : std::max(tempCapacity, ZOLANG_TEMP_MINIMUM);
  lang->ring.reset(new (std::nothrow) WCHAR[lang->capacity]());
  if (!lang->ring) return E_OUTOFMEMORY;
  lang->base = module;
  if (lcid) lang->lcid = lcid;
  lang->notEnglish = (lang->lcid & 0x3FF) != 9;
  // The language module beside the base module, when there is one.
  const std::u16string path = LangPathOf(module);
  if (!path.empty()) {
    auto m = std::make_unique<vane::kernel::LangModule>();
    if (SUCCEEDED(m->Load(path))) lang->language = std::move(m);
  }
  *handle = lang.release();
  return S_OK;
}

VANE_EXTERN_C void ZoLang_Close(HZOLANG* handle) {
  if (!handle || !*handle) return;
  {
    std::lock_guard<std::mutex> hold(g_kernelLock);
    if (*handle == g_kernel) g_kernel = nullptr;
  }
  delete *handle;
  *handle = nullptr;
}

VANE_EXTERN_C HZOLANG ZoLang_KernelHandle(void) {
  std::lock_guard<std::mutex> hold(g_kernelLock);
  if (!g_kernel) ZoLang_Open(&g_kernel, ZoKernelModuleHandle(), 0, 0);
  return g_kernel;
}

VANE_EXTERN_C DWORD ZoLang_GetLCID(HZOLANG lang) { return lang ? lang->lcid.load() : 0; }

VANE_EXTERN_C HRESULT ZoLang_UpdateKernelLCID(HZOLANG lang, DWORD lcid) {
  if (lcid == 0) lcid = 1033;
  SetLcid(lang, lcid);
  HZOLANG kernel = ZoLang_KernelHandle();
  if (kernel != lang) SetLcid(kernel, lcid);
  if (ZoLang_UseRTL(lang)) ZoLang_EnableProcessMirroring();
  else ZoLang_DisableProcessMirroring();
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoLang_UpdateThreadLocale(HZOLANG lang) {
  if (!lang) return E_INVALIDARG;
  t_threadLcid = lang->lcid;
  return S_OK;
}

VANE_EXTERN_C DWORD ZoLang_GetThreadLCID(void) { return t_threadLcid; }

VANE_EXTERN_C HRESULT ZoLang_ChangeLangInst(HZOLANG lang, const WCHAR* lngPath) {
  if (!lang) return E_INVALIDARG;
  std::unique_ptr<vane::kernel::LangModule> m;
  if (lngPath) {
    m = std::make_unique<vane::kernel::LangModule>();
    VANE_RETURN_IF_FAILED(m->Load(lngPath));
  }
  std::lock_guard<std::mutex> hold(lang->lock);
  lang->language = std::move(m);
  lang->cache.clear();
  return S_OK;
}

VANE_EXTERN_C HMODULE ZoLang_InstFromLang(HZOLANG lang) {
  if (!lang) return nullptr;
  return lang->language ? reinterpret_cast<HMODULE>(lang->language.get()) : lang->base;
}

VANE_EXTERN_C HRESULT ZoLang_GetLangAbbrev(HZOLANG lang, WCHAR* out, DWORD capacity) {
  if (!out || capacity < 4) return ZOERR_BUFFER_TOO_SMALL;
  const LONG row = ZoLang_IndexOfLCID(lang ? lang->lcid.load() : 1033);
  std::memcpy(out, kRows[row - 1].abbrev, 4 * sizeof(WCHAR));
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoLang_GetLangllCC(HZOLANG lang, WCHAR* out, DWORD capacity) {
  if (!out || capacity < 6) return ZOERR_BUFFER_TOO_SMALL;
  const DWORD primary = (lang ? lang->lcid.load() : 1033) & 0x3FF;
  const char16_t* text = primary == 4 ? u"zh-CN" : primary == 7 ? u"de-DE" : primary == 10 ? u"es-ES"
                         : primary == 12 ? u"fr-FR" : primary == 17 ? u"ja-JP" : primary == 21 ? u"pl-PL"
                         : primary == 25 ? u"ru-RU" : u"";
  std::memcpy(out, text, (std::char_traits<char16_t>::length(text) + 1) * sizeof(WCHAR));
  return *text ? S_OK : S_FALSE;
}

VANE_EXTERN_C BOOL ZoLang_UseRTL(HZOLANG lang) {
  const DWORD primary = (lang ? lang->lcid.load() : 1033) & 0x3FF;
  return primary == 1 || primary == 13 || primary == 32 || primary == 41;
}

VANE_EXTERN_C void ZoLang_EnableProcessMirroring(void) { g_mirrored = true; }
VANE_EXTERN_C void ZoLang_DisableProcessMirroring(void) { g_mirrored = false; }
VANE_EXTERN_C BOOL ZoLang_IsProcessMirrored(void) { return g_mirrored.load(); }

VANE_EXTERN_C HRESULT ZoLang_LocalizeUserName(HZOLANG lang, const WCHAR* first, const WCHAR* last, WCHAR* out,
                                              DWORD capacity) {
  if (!out || capacity == 0) return ZOERR_BUFFER_TOO_SMALL;
  const std::u16string a = first ? first : u"", b = last ? last : u"";
  const std::u16string joined = ZoLang_IsNameOrderReversed(lang) ? b + u" " + a : a + u" " + b;
  if (joined.size() + 1 > capacity) {
    CopyOut(joined, out, LONG(capacity));
    return ZOERR_BUFFER_TOO_SMALL;
  }
  CopyOut(joined, out, LONG(capacity));
  return S_OK;
}

VANE_EXTERN_C BOOL ZoLang_IsNameOrderReversed(HZOLANG lang) { return lang && lang->lcid == 1041; }

VANE_EXTERN_C BOOL ZoLang_IsLCIDEnglish(DWORD lcid) { return (lcid & 0x3FF) == 9; }

VANE_EXTERN_C DWORD ZoLang_GetConditionedLCID(DWORD lcid) {
  const DWORD primary = lcid & 0x3FF, sub = lcid >> 10;
  if (primary == 4) return sub == 1 || sub == 3 || sub == 5 ? (primary | 0x400) : (primary | 0x800);
  if (primary == 22) return lcid;
  return primary | 0x400;
}

VANE_EXTERN_C LONG ZoLang_IndexOfLCID(DWORD lcid) {
  const DWORD wanted = ZoLang_GetConditionedLCID(lcid);
  for (LONG i = 0; i < LONG(ZOLANG_COUNT); ++i)
    if (ZoLang_GetConditionedLCID(kRows[i].lcid) == wanted) return i + 1;
  return 1;
}

VANE_EXTERN_C WCHAR* ZoGetTempStringBuffer(HZOLANG lang, DWORD count) {
  if (!lang || !lang->ring || count > lang->blockLimit) return nullptr;
  std::lock_guard<std::mutex> hold(lang->lock);
  if (lang->capacity - lang->blockLimit < lang->offset) lang->offset = 0;
  WCHAR* slot = lang->ring.get() + lang->offset;
  if (count == 0) slot[0] = 0;
  lang->offset += (count + 2) & ~1u;
  return slot;
}

VANE_EXTERN_C const char* ZoGetPrintFromWideString(HZOLANG lang, const WCHAR* text) {
  if (!lang || !text) return "";
  const std::string utf8 = vane::platform::ToUtf8(std::u16string_view(text));
  // Bytes in a ring of wide characters: half as many slots, plus the terminator.
  WCHAR* slot = ZoGetTempStringBuffer(lang, DWORD(utf8.size() / 2 + 1));
  if (!slot) return "";
  char* bytes = reinterpret_cast<char*>(slot);
  std::memcpy(bytes, utf8.c_str(), utf8.size() + 1);
  return bytes;
}

VANE_EXTERN_C const WCHAR* ZoGetWideFromPrintString(HZOLANG lang, const char* text) {
  if (!lang || !text) return Empty();
  const std::u16string wide = vane::platform::FromUtf8(text);
  WCHAR* slot = ZoGetTempStringBuffer(lang, DWORD(wide.size() + 1));
  if (!slot) return Empty();
  std::memcpy(slot, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
  return slot;
}

VANE_EXTERN_C const char* ZoGetMultiByteFromPrintString(HZOLANG lang, const char* text) {
  return ZoGetPrintFromWideString(lang, ZoGetWideFromPrintString(lang, text));
}

VANE_EXTERN_C const char* ZoGetPrintFromMultiByteString(HZOLANG lang, const char* text) {
  return ZoGetMultiByteFromPrintString(lang, text);
}

VANE_EXTERN_C BOOL ZoLang_DetectMultiByteCharacters(const char* bytes, DWORD size) {
  if (!bytes) return FALSE;
  const auto* b = reinterpret_cast<const unsigned char*>(bytes);
  for (DWORD i = 0; i + 1 < size; ++i) {
    const int need = (b[i] & 0xE0) == 0xC0 ? 1 : (b[i] & 0xF0) == 0xE0 ? 2 : (b[i] & 0xF8) == 0xF0 ? 3 : 0;
    if (!need || i + DWORD(need) >= size + 0u) continue;
    bool ok = b[i] >= 0xC2;
    for (int k = 1; ok && k <= need; ++k) ok = (b[i + DWORD(k)] & 0xC0) == 0x80;
    if (ok) return TRUE;
  }
  return FALSE;
}

VANE_EXTERN_C HRESULT ZoLang_DetectPossibleCodepage(const char* text, DWORD size, UINT* codepage) {
  if (!text || !codepage) return E_POINTER;
  *codepage = 0;
  bool ascii = true;
  const auto* b = reinterpret_cast<const unsigned char*>(text);
  for (DWORD i = 0; i < size; ++i) {
    if (b[i] < 0x80) continue;
    ascii = false;
    const int need = (b[i] & 0xE0) == 0xC0 ? 1 : (b[i] & 0xF0) == 0xE0 ? 2 : (b[i] & 0xF8) == 0xF0 ? 3 : -1;
    if (need < 0 || b[i] < 0xC2 || i + DWORD(need) >= size) return ZOERR_NO_CODEPAGE;
    for (int k = 1; k <= need; ++k)
      if ((b[i + DWORD(k)] & 0xC0) != 0x80) return ZOERR_NO_CODEPAGE;
    i += DWORD(need);
  }
  *codepage = ascii ? 20127 : 65001;
  return S_OK;
}

VANE_EXTERN_C LONG ZoLoadString(HZOLANG lang, UINT number, WCHAR* buffer, LONG capacity) {
  if (buffer && capacity > 0) buffer[0] = 0;
  return CopyOut(LoadNumber(lang, number), buffer, capacity);
}

VANE_EXTERN_C LONG ZoLoadStringRecord(HZOLANG lang, ZOLANGSTRING* record, WCHAR* buffer, LONG capacity) {
  if (buffer && capacity > 0) buffer[0] = 0;
  const WCHAR* text = ZoGetStringByRecord(lang, record);
  return CopyOut(text ? text : u"", buffer, capacity);
}

VANE_EXTERN_C const WCHAR* ZoGetStringByNumber(HZOLANG lang, UINT number) {
  if (!lang) return Empty();
  std::lock_guard<std::mutex> hold(lang->lock);
  auto it = lang->cache.find(number);
  if (it != lang->cache.end()) return it->second.c_str();
  std::u16string text = LoadNumber(lang, number);
  if (text.empty()) return Empty();
  // The cache keeps the text, so the pointer holds until the cache is emptied.
  return lang->cache.emplace(number, std::move(text)).first->second.c_str();
}

VANE_EXTERN_C const WCHAR* ZoGetStringByRecord(HZOLANG lang, ZOLANGSTRING* record) {
  if (!record || record->marker != ZOLANG_RECORD_MARKER || record->count == 0) return Empty();
  LONG slot = RowOf(lang);
  if (slot > LONG(record->count)) slot = record->count;
  if (slot > LONG(ZOLANG_COUNT)) slot = ZOLANG_COUNT;
  const WCHAR* value = record->text[slot - 1];
  if (reinterpret_cast<uintptr_t>(value) > 0xFFFF) return value;
  // A string number: the language module resolves it once, and the slot
  // keeps the answer; without one the slot takes English.
  const UINT number = UINT(reinterpret_cast<uintptr_t>(value));
  const WCHAR* found = nullptr;
  if (lang && lang->language) found = lang->language->Find(number);
  const WCHAR* english = record->text[0];
  if (reinterpret_cast<uintptr_t>(english) <= 0xFFFF) english = u"";
  record->text[slot - 1] = found ? found : english;
  return record->text[slot - 1];
}

VANE_EXTERN_C const WCHAR* ZoGetStringSmart(HZOLANG lang, const void* text) {
  if (!text) return nullptr;
  const uintptr_t p = reinterpret_cast<uintptr_t>(text);
  if (p < 0x10000) return ZoGetStringByNumber(lang, UINT(p));
  if (IsZOLANGSTRINGID(lang, text))
    return ZoGetStringByRecord(lang, static_cast<ZOLANGSTRING*>(const_cast<void*>(text)));
  return static_cast<const WCHAR*>(text);
}

VANE_EXTERN_C LONG ZoEnumResourceLanguages(HZOLANG lang, UINT number, WORD* languages, LONG capacity) {
  std::vector<WORD> found;
  const UINT block = number / kBlockEntries;
  auto has = [&](const vane::kernel::LangModule& m) {
    for (const auto& [id, text] : m.Strings())
      if (id / kBlockEntries == block) return true;
    return false;
  };
  if (lang && lang->language && has(*lang->language)) found.push_back(WORD(lang->language->Lcid()));
  if (lang && (!lang->base || lang->base == ZoKernelModuleHandle())) {
    for (UINT id = block * kBlockEntries; id < (block + 1) * kBlockEntries; ++id)
      if (vane::kernel::BuiltInKernelString(id)) {
        if (found.empty() || found.back() != 1033) found.push_back(1033);
        break;
      }
  }
  for (LONG i = 0; languages && i < capacity && size_t(i) < found.size(); ++i) languages[i] = found[size_t(i)];
  return LONG(found.size());
}

namespace {
DWORD LoadLcid(HZOMETRIC metric, DWORD fallback) {
  const DWORD value = ZoGetMetricUsingName(metric, u"ULangID", fallback);
  ZoMetric_Close(metric);
  return value & 0xFFFF;
}
}  // namespace

VANE_EXTERN_C DWORD ZoLang_LoadUserLCIDMetric(const WCHAR* app, DWORD version, DWORD fallback, BOOL ignoreVersion) {
  HZOMETRIC metric = nullptr;
  if (FAILED(ZoMetric_Open(&metric, app, ignoreVersion ? 0 : version, u"Lang")) || !metric) return fallback;
  return LoadLcid(metric, fallback);
}

VANE_EXTERN_C HRESULT ZoLang_SaveUserLCIDMetric(const WCHAR* app, DWORD version, DWORD lcid, BOOL ignoreVersion) {
  HZOMETRIC metric = nullptr;
  VANE_RETURN_IF_FAILED(ZoMetric_Open(&metric, app, ignoreVersion ? 0 : version, u"Lang"));
  const HRESULT hr = ZoSetMetricUsingName(metric, u"ULangID", lcid & 0xFFFF);
  ZoMetric_Close(metric);
  return hr;
}

VANE_EXTERN_C DWORD ZoLang_LoadUserLCIDMetricAppReg(const WCHAR* app, DWORD version, DWORD fallback,
                                                    const WCHAR* company) {
  HZOMETRIC metric = nullptr;
  if (FAILED(ZoMetric_OpenRegHiveAndVersion(&metric, app, version, company, u"Lang")) || !metric) return fallback;
  return LoadLcid(metric, fallback);
}

VANE_EXTERN_C HRESULT ZoLang_SaveUserLCIDMetricAppReg(const WCHAR* app, DWORD version, DWORD lcid,
                                                      const WCHAR* company) {
  HZOMETRIC metric = nullptr;
  VANE_RETURN_IF_FAILED(ZoMetric_OpenRegHiveAndVersion(&metric, app, version, company, u"Lang"));
  const HRESULT hr = ZoSetMetricUsingName(metric, u"ULangID", lcid & 0xFFFF);
  ZoMetric_Close(metric);
  return hr;
}

VANE_EXTERN_C void ZoSetLangID(const char* code) {
  std::lock_guard<std::mutex> hold(g_langIdLock);
  std::snprintf(g_langId, sizeof g_langId, "%s", code && *code ? code : "ENU");
}

VANE_EXTERN_C const char* ZoGetLangID(void) {
  std::lock_guard<std::mutex> hold(g_langIdLock);
  return g_langId;
}
