// SPDX-License-Identifier: MIT
#include "kernel/intl.h"

#include <langinfo.h>
#include <locale.h>

#include <climits>
#include <cstring>
#include <mutex>
#include <string>

#include "kernel/detail/text_internal.h"
#include "kernel/zoprintf.h"
#include "platform/wtext.h"

namespace vane::kernel {
namespace {

tZOINTERNATIONALS g_record;
std::once_flag g_loaded;

template <size_t N>
void Put(WCHAR (&field)[N], std::u16string_view text) {
  const size_t n = text.size() < N - 1 ? text.size() : N - 1;
  std::memcpy(field, text.data(), n * sizeof(WCHAR));
  field[n] = 0;
}

// A few LCIDs by language and territory; the rest fall back to English (US).
DWORD LcidOf(const std::string& name) {
  struct Row { const char* prefix; DWORD lcid; DWORD country; };
  static constexpr Row kRows[] = {
      {"en_US", 1033, 1},  {"en_GB", 2057, 44}, {"de_DE", 1031, 49}, {"de_AT", 3079, 43},
      {"de_CH", 2055, 41}, {"fr_FR", 1036, 33}, {"fr_CA", 3084, 2},  {"es_ES", 3082, 34},
      {"it_IT", 1040, 39}, {"ja_JP", 1041, 81}, {"nl_NL", 1043, 31}, {"pt_BR", 1046, 55},
      {"sv_SE", 1053, 46}, {"zh_CN", 2052, 86}, {"ru_RU", 1049, 7},  {"pl_PL", 1045, 48},
  };
  for (const Row& row : kRows)
    if (name.compare(0, std::strlen(row.prefix), row.prefix) == 0) return row.lcid;
  return 1033;
}

DWORD CountryOf(DWORD lcid) {
  switch (lcid) {
    case 2057: return 44;
    case 1031: return 49;
    case 3079: return 43;
    case 2055: return 41;
    case 1036: return 33;
    case 3084: return 2;
    case 3082: return 34;
    case 1040: return 39;
    case 1041: return 81;
    case 1043: return 31;
    case 1046: return 55;
    case 1053: return 46;
    case 2052: return 86;
    case 1049: return 7;
    case 1045: return 48;
    default: return 1;
  }
}

// glibc grouping bytes (3,3 or 3,2 or 3,CHAR_MAX) in the "3;0" form: a final
// 0 means the last size repeats.
std::u16string GroupingText(const char* bytes) {
  std::u16string text;
  if (!bytes || !*bytes || *bytes == CHAR_MAX) return u"0";
  const char* p = bytes;
  char last = 0;
  for (; *p && *p != CHAR_MAX; ++p) {
    if (!text.empty()) text += u';';
    text += platform::FromUtf8(std::to_string(int(*p)));
    last = *p;
  }
  // A list that ends with its terminator repeats the last size; CHAR_MAX stops.
  if (*p != CHAR_MAX && last > 0) text += u";0";
  return text;
}

// The character after the hour field of the locale's time format.
std::u16string TimeSeparator(const char* format) {
  if (!format) return u":";
  const char* h = std::strstr(format, "%H");
  if (!h) h = std::strstr(format, "%I");
  if (!h || !h[2] || h[2] == '%') return u":";
  return platform::FromUtf8(std::string(1, h[2]));
}

void Fill(tZOINTERNATIONALS& r, locale_t locale, const std::string& name) {
  std::memset(&r, 0, sizeof r);
  r.cbSize = sizeof r;
  r.lcid = LcidOf(name);
  r.country = CountryOf(r.lcid);
  r.negativeOrder = 1;
  r.leadingZero = 1;
  std::u16string decimal = u".", thousand = u",", grouping = u"3;0", time = u":";
  std::u16string country = u"United States";
  const char* codeset = "ANSI_X3.4-1968";
  const bool english = !locale || name == "C" || name == "POSIX" || name.rfind("C.", 0) == 0;
  if (!english) {
    decimal = platform::FromUtf8(nl_langinfo_l(RADIXCHAR, locale));
    thousand = platform::FromUtf8(nl_langinfo_l(THOUSEP, locale));
    grouping = GroupingText(nl_langinfo_l(GROUPING, locale));
    time = TimeSeparator(nl_langinfo_l(T_FMT, locale));
    const char* countryName = nl_langinfo_l(_NL_ADDRESS_COUNTRY_NAME, locale);
    if (countryName && *countryName) country = platform::FromUtf8(countryName);
    codeset = nl_langinfo_l(CODESET, locale);
    if (thousand.empty()) {
      thousand = u",";
      grouping = u"0";
    }
    if (decimal.empty()) decimal = u".";
  } else if (locale) {
    codeset = nl_langinfo_l(CODESET, locale);
  }
  // The C locale is taken as English (US). Grouping and decimals must stay
  // distinguishable.
  if (thousand == decimal) decimal = thousand == u"," ? u"." : u",";
  Put(r.decimal, decimal);
  Put(r.thousand, thousand);
  Put(r.grouping, grouping);
  Put(r.list, decimal == u"," ? u";" : u",");
  Put(r.time, time);
  Put(r.countryName, country);
  Put(r.countryNameEn, country);
  r.codePage = codeset && std::strcmp(codeset, "UTF-8") == 0 ? 65001 : 1252;
  Put(r.smpteWhole, u":");
  Put(r.smpteNonDrop, u".");
  Put(r.smpteDrop, u",");
  Put(r.music1, u".");
  Put(r.music2, u".");
}

}  // namespace

HRESULT ReloadInternationals(const char* name) {
  const bool fromEnvironment = !name || !*name;
  locale_t locale = newlocale(LC_ALL_MASK, fromEnvironment ? "" : name, locale_t(0));
  if (!locale && !fromEnvironment) return E_INVALIDARG;
  std::string localeName = fromEnvironment ? "" : name;
  if (fromEnvironment) {
    const char* env = getenv("LC_ALL");
    if (!env || !*env) env = getenv("LC_NUMERIC");
    if (!env || !*env) env = getenv("LANG");
    localeName = env && *env ? env : "C";
  }
  tZOINTERNATIONALS record;
  Fill(record, locale, localeName);
  if (locale) freelocale(locale);
  g_record = record;
  RegisterKernelTokens(g_record);
  return S_OK;
}

void ThousandSeparator(WCHAR* out, size_t capacity) { ZoWcsCopy(out, capacity, Internationals().thousand); }

void ReplaceInternationals(const tZOINTERNATIONALS& record) {
  g_record = record;
  RegisterKernelTokens(g_record);
}

namespace {
void EnsureLoaded() {
  std::call_once(g_loaded, [] {
    if (g_record.cbSize == 0) ReloadInternationals(nullptr);
  });
}
}  // namespace

const tZOINTERNATIONALS& Internationals() {
  EnsureLoaded();
  return g_record;
}

}  // namespace vane::kernel

using vane::kernel::Internationals;

VANE_EXTERN_C HRESULT ZoLang_GetInternationals(void* out, DWORD size) {
  if (!out) {
    vane::kernel::Internationals();
    return vane::kernel::ReloadInternationals(nullptr);
  }
  const tZOINTERNATIONALS& r = Internationals();
  std::memcpy(out, &r, size < sizeof r ? size : sizeof r);
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoLang_LoadInternationals(const char* localeName) {
  vane::kernel::Internationals();
  return vane::kernel::ReloadInternationals(localeName);
}

VANE_EXTERN_C HRESULT ZoLang_SetInternationals(const tZOINTERNATIONALS* record) {
  if (!record || record->cbSize != sizeof(tZOINTERNATIONALS)) return E_INVALIDARG;
  vane::kernel::Internationals();
  vane::kernel::ReplaceInternationals(*record);
  return S_OK;
}

namespace {
const WCHAR* InatText(const tZOINTERNATIONALS& r, int index) {
  switch (index) {
    case 2: return r.countryName;
    case 3: return r.countryNameEn;
    case 24: return r.decimal;
    case 40: return r.list;
    case 60: return r.time;
    case 100: return r.smpteWhole;
    case 101: return r.smpteNonDrop;
    case 102: return r.smpteDrop;
    case 120: return r.music1;
    case 121: return r.music2;
    default: return nullptr;
  }
}
}  // namespace

VANE_EXTERN_C int ZoGetInatN(int index, WCHAR* out, size_t capacity) {
  const tZOINTERNATIONALS& r = Internationals();
  if (index == 0 || index == 1 || index == 4) {
    const DWORD value = index == 0 ? r.lcid : index == 1 ? r.country : r.codePage;
    if (out && capacity) out[0] = 0;
    return int(value);
  }
  const WCHAR* text = InatText(r, index);
  if (!text) {
    if (out && capacity) out[0] = 0;
    return -1;
  }
  if (out && capacity) return int(ZoWcsCopy(out, capacity, text));
  return int(ZoWcsLen(text));
}

VANE_EXTERN_C int ZoGetInat(int index, WCHAR* out) { return ZoGetInatN(index, out, out ? 64 : 0); }
