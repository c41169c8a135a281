// SPDX-License-Identifier: MIT
#include "platform/guid.h"

#include <cstdio>

#include "platform/status.h"

namespace vane::platform {
namespace {

int HexValue(char32_t c) {
  if (c >= '0' && c <= '9') return int(c - '0');
  if (c >= 'a' && c <= 'f') return int(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return int(c - 'A' + 10);
  return -1;
}

template <typename Ch>
bool Parse(const Ch* text, GUID* out) {
  if (!text || !out) return false;
  const Ch* p = text;
  bool braced = (*p == Ch('{'));
  if (braced) ++p;
  // Group lengths in hex digits; a dash follows each group but the last.
  static constexpr int kGroups[5] = {8, 4, 4, 4, 12};
  std::uint64_t values[5] = {};
  for (int g = 0; g < 5; ++g) {
    for (int i = 0; i < kGroups[g]; ++i, ++p) {
      int v = HexValue(static_cast<char32_t>(*p));
      if (v < 0) return false;
      values[g] = (values[g] << 4) | std::uint64_t(v);
    }
    if (g < 4) {
      if (*p != Ch('-')) return false;
      ++p;
    }
  }
  if (braced) {
    if (*p != Ch('}')) return false;
    ++p;
  }
  if (*p != Ch(0)) return false;
  GUID g;
  g.Data1 = DWORD(values[0]);
  g.Data2 = WORD(values[1]);
  g.Data3 = WORD(values[2]);
  g.Data4[0] = BYTE(values[3] >> 8);
  g.Data4[1] = BYTE(values[3]);
  for (int i = 0; i < 6; ++i) g.Data4[2 + i] = BYTE(values[4] >> (40 - 8 * i));
  *out = g;
  return true;
}

}  // namespace

bool GuidFromString(const char* text, GUID* out) { return Parse(text, out); }
bool GuidFromString(const char16_t* text, GUID* out) { return Parse(text, out); }

std::string GuidToString(const GUID& g) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", unsigned(g.Data1),
                unsigned(g.Data2), unsigned(g.Data3), g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                g.Data4[5], g.Data4[6], g.Data4[7]);
  return buf;
}

std::u16string GuidToU16String(const GUID& g) {
  std::string s = GuidToString(g);
  return std::u16string(s.begin(), s.end());
}

}  // namespace vane::platform

int StringFromGUID2(REFGUID guid, WCHAR* text, int capacity) {
  if (!text || capacity < 39) return 0;
  std::string s = vane::platform::GuidToString(guid);
  for (size_t i = 0; i < s.size(); ++i) text[i] = WCHAR(s[i]);
  text[s.size()] = 0;
  return int(s.size() + 1);
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* out) {
  if (!out) return E_POINTER;
  if (!text || text[0] != u'{') return MakeStatus(0x800401F3);
  return vane::platform::GuidFromString(text, out) ? S_OK : MakeStatus(0x800401F3);
}

HRESULT IIDFromString(LPCOLESTR text, IID* out) { return CLSIDFromString(text, out); }
