// SPDX-License-Identifier: MIT
#include "kernel/metrics.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/file.h"
#include "platform/registry.h"
#include "platform/wtext.h"

namespace {

constexpr const char16_t* kDefaultCompany = u"Quon Works";
constexpr HRESULT kMoreData = MakeStatus(0x8004E03C);

bool Usable(HZOMETRIC m) { return m && m != ZOMETRIC_DEFAULT && m->key; }

// A registry failure above 0 keeps its low 16 bits under the Win32 facility.
HRESULT StatusOf(LONG error) { return error > 0 ? MakeStatus(0x80070000u | (DWORD(error) & 0xFFFF)) : S_OK; }

std::u16string Text(const char* utf8) { return vane::platform::FromUtf8(utf8); }

// "Software\<company>\<app>[\<major>.<minor>]", the application's root.
std::u16string AppRoot(const WCHAR* app, DWORD version, const WCHAR* company) {
  std::u16string path = u"Software\\" + std::u16string(company && *company ? company : kDefaultCompany) + u"\\" +
                        std::u16string(app ? app : u"");
  if (version >> 24) {
    char v[32];
    std::snprintf(v, sizeof v, "\\%u.%u", unsigned(version >> 24), unsigned((version >> 16) & 0xFF));
    path += Text(v);
  }
  return path;
}

HRESULT OpenPath(HZOMETRIC* out, std::u16string path, const WCHAR* subKey) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (subKey && *subKey) path += u"\\" + std::u16string(subKey);
  if (path.size() >= 260) return E_INVALIDARG;
  auto* m = new (std::nothrow) ZOMETRIC{};
  if (!m) return E_OUTOFMEMORY;
  std::memcpy(m->path, path.c_str(), (path.size() + 1) * sizeof(WCHAR));
  // The handle is handed out even when the key failed; the caller closes it.
  const LONG error = RegCreateKeyExW(HKEY_CURRENT_USER, m->path, 0, nullptr, 0, 0, nullptr, &m->key, nullptr);
  *out = m;
  return StatusOf(error);
}

std::u16string ValueName(LONG id, const char* prefix) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%ld", prefix, static_cast<long>(id < 0 ? -static_cast<long long>(id) : id));
  return Text(name);
}

const char* PrefixOf(DWORD type) {
  switch (type) {
    case REG_BINARY: return "B";
    case REG_SZ: return "S";
    case REG_MULTI_SZ: return "Z";
    default: return "";
  }
}

// The stored DWORD, or false.
bool ReadDword(HZOMETRIC m, const std::u16string& name, DWORD* value) {
  if (!Usable(m)) return false;
  DWORD type = 0, size = sizeof(DWORD), v = 0;
  if (RegQueryValueExW(m->key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&v), &size) != ERROR_SUCCESS ||
      type != REG_DWORD || size != sizeof v)
    return false;
  *value = v;
  return true;
}

// Reads a string value (wide, as stored) into a std::u16string; false when absent.
bool ReadWide(HZOMETRIC m, LONG id, const char* prefix, DWORD wantType, std::u16string* out, bool* present) {
  *present = false;
  if (!Usable(m)) return false;
  const std::u16string name = ValueName(id, prefix);
  DWORD type = 0, size = 0;
  if (RegQueryValueExW(m->key, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return false;
  *present = true;
  if (type != wantType) return false;
  std::vector<BYTE> bytes(size + 2, 0);
  if (RegQueryValueExW(m->key, name.c_str(), nullptr, &type, bytes.data(), &size) != ERROR_SUCCESS) return false;
  out->assign(reinterpret_cast<const char16_t*>(bytes.data()), size / 2);
  return true;
}

LONG CopyOut(const std::u16string& text, WCHAR* buffer, LONG capacity) {
  if (!buffer || capacity <= 0) return 0;
  const LONG n = LONG(text.size()) < capacity ? LONG(text.size()) : capacity - 1;
  std::memcpy(buffer, text.data(), size_t(n) * sizeof(WCHAR));
  buffer[n] = 0;
  return n;
}

LONG GetWide(HZOMETRIC m, LONG id, const char* prefix, DWORD type, WCHAR* buffer, LONG capacity, const WCHAR* fallback,
             BOOL onlyIfAbsent, bool multi) {
  if (buffer && capacity > 0) std::memset(buffer, 0, size_t(capacity) * sizeof(WCHAR));
  std::u16string text;
  bool present = false;
  const bool ok = ReadWide(m, id, prefix, type, &text, &present);
  // A stored text of more than one character (above 2 bytes) is the answer.
  if (ok && text.size() * 2 > 2) {
    if (!multi) text = text.c_str();  // up to its terminator
    return CopyOut(text, buffer, capacity);
  }
  if (fallback && (!onlyIfAbsent || !present)) return CopyOut(fallback, buffer, capacity);
  return 0;
}

HRESULT DeleteRoot(const std::u16string& path, bool both) {
  LONG user = ZoRegDeleteKey(HKEY_CURRENT_USER, path.c_str());
  if (user == ERROR_FILE_NOT_FOUND) user = ERROR_SUCCESS;
  if (both) {
    const LONG machine = ZoRegDeleteKey(HKEY_LOCAL_MACHINE, path.c_str());
    // The machine hive is often not writable by a user: only the user's part counts then.
    if (machine != ERROR_SUCCESS && machine != ERROR_FILE_NOT_FOUND && user == ERROR_SUCCESS) return S_OK;
  }
  return StatusOf(user);
}

}  // namespace

VANE_EXTERN_C HRESULT ZoMetric_OpenRegHiveAndVersion(HZOMETRIC* out, const WCHAR* app, DWORD version,
                                                     const WCHAR* company, const WCHAR* subKey) {
  if (!app) return E_POINTER;
  return OpenPath(out, AppRoot(app, version, company) + u"\\Metrics", subKey);
}

VANE_EXTERN_C HRESULT ZoMetric_Open(HZOMETRIC* out, const WCHAR* app, DWORD version, const WCHAR* subKey) {
  return ZoMetric_OpenRegHiveAndVersion(out, app, version, nullptr, subKey);
}

VANE_EXTERN_C HRESULT ZoMetric_OpenAppVersion(HZOMETRIC* out, const WCHAR* path, const WCHAR* subKey) {
  if (!path) return E_POINTER;
  return OpenPath(out, path, subKey);
}

// Sub-keys don't nest: the parent's own sub-key is dropped first.
VANE_EXTERN_C HRESULT ZoMetric_OpenSubKey(HZOMETRIC* out, HZOMETRIC parent, const WCHAR* subKey) {
  if (out) *out = nullptr;
  if (!parent || parent == ZOMETRIC_DEFAULT) return E_FAIL;
  std::u16string path = parent->path;
  const size_t at = path.find(u"\\Metrics");
  if (at != std::u16string::npos) path = path.substr(0, at) + u"\\Metrics";
  return OpenPath(out, path, subKey);
}

VANE_EXTERN_C HRESULT ZoMetric_Close(HZOMETRIC metric) {
  if (!metric || metric == ZOMETRIC_DEFAULT) return S_OK;
  if (metric->key) RegCloseKey(metric->key);
  delete metric;
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoMetric_CloseAndDeleteKey(HZOMETRIC metric) {
  if (!metric || metric == ZOMETRIC_DEFAULT) return E_FAIL;
  const std::u16string path = metric->path;
  ZoMetric_Close(metric);
  return DeleteRoot(path, false);
}

VANE_EXTERN_C HRESULT ZoMetric_DeleteAllHiveAndVersion(const WCHAR* app, DWORD version, const WCHAR* company) {
  if (!app) return E_POINTER;
  return DeleteRoot(AppRoot(app, version, company), true);
}
VANE_EXTERN_C HRESULT ZoMetric_DeleteAll(const WCHAR* app, DWORD version) {
  return ZoMetric_DeleteAllHiveAndVersion(app, version, nullptr);
}
VANE_EXTERN_C HRESULT ZoMetric_DeleteUserMetrics(const WCHAR* app, DWORD version) {
  if (!app) return E_POINTER;
  return DeleteRoot(AppRoot(app, version, nullptr), false);
}
VANE_EXTERN_C HRESULT ZoMetric_DeleteKeyHiveAndVersion(const WCHAR* app, DWORD version, const WCHAR* company,
                                                       const WCHAR* subKey) {
  if (!app) return E_POINTER;
  std::u16string path = AppRoot(app, version, company) + u"\\Metrics";
  if (subKey && *subKey) path += u"\\" + std::u16string(subKey);
  return DeleteRoot(path, true);
}
VANE_EXTERN_C HRESULT ZoMetric_DeleteKey(const WCHAR* app, DWORD version, const WCHAR* subKey) {
  return ZoMetric_DeleteKeyHiveAndVersion(app, version, nullptr, subKey);
}

VANE_EXTERN_C DWORD ZoGetMetric(HZOMETRIC metric, LONG id) {
  DWORD v = 0;
  return ReadDword(metric, ValueName(id, ""), &v) ? v : 0;
}

VANE_EXTERN_C DWORD ZoGetMetricEx(HZOMETRIC metric, LONG id, DWORD minimum, DWORD maximum, DWORD fallback) {
  DWORD v = fallback;
  ReadDword(metric, ValueName(id, ""), &v);
  if (minimum != maximum) v = v < minimum ? minimum : v > maximum ? maximum : v;
  return v;
}

VANE_EXTERN_C BOOL ZoGetMetricBool(HZOMETRIC metric, LONG id, BOOL fallback) {
  DWORD v = 0;
  if (ReadDword(metric, ValueName(id, ""), &v)) return v ? TRUE : FALSE;
  return fallback ? TRUE : FALSE;
}

VANE_EXTERN_C HRESULT ZoSetMetric(HZOMETRIC metric, LONG id, DWORD value) {
  if (!Usable(metric)) return E_FAIL;
  return StatusOf(RegSetValueExW(metric->key, ValueName(id, "").c_str(), 0, REG_DWORD,
                                 reinterpret_cast<const BYTE*>(&value), sizeof value));
}

VANE_EXTERN_C DWORD ZoGetMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD fallback) {
  DWORD v = fallback;
  if (name) ReadDword(metric, name, &v);
  return v;
}

VANE_EXTERN_C HRESULT ZoSetMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD value) {
  if (!Usable(metric) || !name) return E_FAIL;
  return StatusOf(RegSetValueExW(metric->key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value));
}

VANE_EXTERN_C HRESULT ZoGetMetricAny(HZOMETRIC metric, LONG id, DWORD refusedType, void* data, DWORD size,
                                     DWORD* outSize) {
  if (!Usable(metric)) return E_FAIL;
  DWORD type = 0, got = size;
  const LONG error =
      RegQueryValueExW(metric->key, ValueName(id, "").c_str(), nullptr, &type, static_cast<BYTE*>(data), &got);
  if (error == ERROR_MORE_DATA) {
    if (outSize) *outSize = got;
    return kMoreData;
  }
  if (error != ERROR_SUCCESS) return StatusOf(error);
  if (type == refusedType) return MakeStatus(0x8004E00A);
  if (outSize) *outSize = got;
  if ((type == REG_SZ || type == REG_MULTI_SZ) && data && size >= 2) {
    auto* text = static_cast<WCHAR*>(data);
    if (got + 2 <= size) {
      text[got / 2] = 0;
    } else {
      text[size / 2 - 1] = 0;  // no room: the last character gives way
      return kMoreData;
    }
  }
  return S_OK;
}

VANE_EXTERN_C HRESULT ZoGetMetricBinaryEx(HZOMETRIC metric, LONG id, void* data, DWORD size, DWORD* outSize) {
  if (!outSize) return E_INVALIDARG;
  *outSize = 0;
  if (data && size) std::memset(data, 0, size);
  if (!Usable(metric)) return S_FALSE;
  DWORD type = 0, got = data ? size : 0;
  const LONG error = RegQueryValueExW(metric->key, ValueName(id, "B").c_str(), nullptr, &type,
                                      data ? static_cast<BYTE*>(data) : nullptr, &got);
  if (error == ERROR_FILE_NOT_FOUND) return S_FALSE;
  if (error == ERROR_MORE_DATA) {
    *outSize = got;
    if (data && size) std::memset(data, 0, size);
    return kMoreData;
  }
  if (error != ERROR_SUCCESS) return StatusOf(error);
  *outSize = got;
  return S_OK;
}

VANE_EXTERN_C DWORD ZoGetMetricBinary(HZOMETRIC metric, LONG id, void* data, DWORD size) {
  DWORD got = 0;
  if (ZoGetMetricBinaryEx(metric, id, data, size, &got) != S_OK) {
    if (data && size) std::memset(data, 0, size);
    return 0;
  }
  return got;
}

VANE_EXTERN_C HRESULT ZoSetMetricBinary(HZOMETRIC metric, LONG id, const void* data, DWORD size) {
  if (!Usable(metric) || (!data && size)) return E_FAIL;
  return StatusOf(
      RegSetValueExW(metric->key, ValueName(id, "B").c_str(), 0, REG_BINARY, static_cast<const BYTE*>(data), size));
}

VANE_EXTERN_C LONG ZoGetMetricStringEx(HZOMETRIC metric, LONG id, WCHAR* buffer, LONG capacity, const WCHAR* fallback,
                                       BOOL onlyIfAbsent) {
  return GetWide(metric, id, "S", REG_SZ, buffer, capacity, fallback, onlyIfAbsent, false);
}

VANE_EXTERN_C LONG ZoGetMetricMultiStringEx(HZOMETRIC metric, LONG id, WCHAR* buffer, LONG capacity,
                                            const WCHAR* fallback, BOOL onlyIfAbsent) {
  return GetWide(metric, id, "Z", REG_MULTI_SZ, buffer, capacity, fallback, onlyIfAbsent, true);
}

VANE_EXTERN_C HRESULT ZoSetMetricString(HZOMETRIC metric, LONG id, const WCHAR* text) {
  if (!Usable(metric) || !text) return E_FAIL;
  const DWORD bytes = DWORD((ZoWcsLen(text) + 1) * sizeof(WCHAR));
  return StatusOf(
      RegSetValueExW(metric->key, ValueName(id, "S").c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text), bytes));
}

VANE_EXTERN_C HRESULT ZoSetMetricMultiString(HZOMETRIC metric, LONG id, const WCHAR* list, DWORD chars) {
  if (!Usable(metric) || !list) return E_FAIL;
  return StatusOf(RegSetValueExW(metric->key, ValueName(id, "Z").c_str(), 0, REG_MULTI_SZ,
                                 reinterpret_cast<const BYTE*>(list), chars * DWORD(sizeof(WCHAR))));
}

VANE_EXTERN_C HRESULT ZoDoesMetricExist(HZOMETRIC metric, LONG id, DWORD type) {
  if (!Usable(metric)) return MakeStatus(1);
  DWORD stored = 0, size = 0;
  const LONG error = RegQueryValueExW(metric->key, ValueName(id, PrefixOf(type)).c_str(), nullptr, &stored, nullptr, &size);
  return error == ERROR_SUCCESS && stored == type ? S_OK : MakeStatus(1);
}

VANE_EXTERN_C HRESULT ZoDeleteMetricUsingName(HZOMETRIC metric, const WCHAR* name, DWORD) {
  if (!Usable(metric)) return MakeStatus(1);
  if (!name) return E_POINTER;
  return StatusOf(RegDeleteValueW(metric->key, name));
}

VANE_EXTERN_C HRESULT ZoDeleteMetric(HZOMETRIC metric, LONG id, DWORD type) {
  return ZoDeleteMetricUsingName(metric, ValueName(id, PrefixOf(type)).c_str(), type);
}

VANE_EXTERN_C LONG ZoMetricGetName(LONG id, DWORD type, WCHAR* out) {
  if (!out) return 0;
  const std::u16string name = ValueName(id, type == REG_DWORD ? "D" : PrefixOf(type));
  std::memcpy(out, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
  return LONG(name.size());
}
