// SPDX-License-Identifier: MIT
#include "fileio/profile_like.h"

#include <unistd.h>

#include <cerrno>

#include "platform/file.h"
#include "platform/profile.h"
#include "platform/wtext.h"

namespace vane::fileio {
namespace {

constexpr const WCHAR* kMissingMarker = u"_._";
constexpr DWORD kGuidListChars = 672;

}  // namespace

CZoProfile::CZoProfile(const std::u16string& folder, const std::u16string& file) {
  std::u16string path = folder;
  if (!path.empty() && path.back() != u'/') path += u'/';
  path += file;
  size_t slash = path.rfind(u'/');
  size_t dot = path.rfind(u'.');
  if (dot != std::u16string::npos && (slash == std::u16string::npos || dot > slash)) path.resize(dot);
  path += u".ini";
  m_path = path.substr(0, MAX_PATH - 1);
  m_section = u"main";
}

CZoProfile::CZoProfile(const CZoProfile& parent, const std::u16string& sub)
    : m_path(parent.m_path), m_section((parent.m_section + u"." + sub).substr(0, 129)) {}

bool CZoProfile::GetString(const WCHAR* key, const WCHAR* def, WCHAR* buffer, DWORD capacity) {
  if (!buffer || capacity == 0) return false;
  GetPrivateProfileStringW(m_section.c_str(), key, kMissingMarker, buffer, capacity, m_path.c_str());
  if (ZoWcsCmp(buffer, kMissingMarker) == 0) {
    ZoWcsCopy(buffer, capacity, def ? def : u"");
    return false;
  }
  return true;
}

LONG CZoProfile::GetInt(const WCHAR* key, LONG def) {
  return LONG(GetPrivateProfileIntW(m_section.c_str(), key, def, m_path.c_str()));
}

LONG CZoProfile::GetGuids(const WCHAR* key, GUID* out, LONG max) {
  WCHAR list[kGuidListChars] = {};
  DWORD n = GetPrivateProfileStringW(m_section.c_str(), key, u"", list, kGuidListChars, m_path.c_str());
  LONG count = 0;
  for (DWORD pos = 0; pos < n && count < max;) {
    const WCHAR* item = list + pos;
    size_t len = ZoWcsLen(item);
    GUID g;
    if (len && CLSIDFromString(item, &g) == S_OK) out[count++] = g;  // others: 0x800401F3, skipped
    pos += DWORD(len) + 1;
  }
  return count;
}

HRESULT CZoProfile::WriteString(const WCHAR* key, const WCHAR* text) {
  // An empty value first writes "." so that the key is sure to exist.
  if (text && !*text && !WritePrivateProfileStringW(m_section.c_str(), key, u".", m_path.c_str()))
    return HRESULT_FROM_WIN32(GetLastError());
  if (!WritePrivateProfileStringW(m_section.c_str(), key, text, m_path.c_str()))
    return HRESULT_FROM_WIN32(GetLastError());
  return S_OK;
}

HRESULT CZoProfile::WriteInt(const WCHAR* key, LONG value) {
  std::u16string text = vane::platform::FromUtf8(std::to_string(value));
  return WriteString(key, text.c_str());
}

HRESULT CZoProfile::WriteGuid(const WCHAR* key, const GUID& guid, const WCHAR* value) {
  std::u16string text = vane::platform::GuidToU16String(guid);
  if (key) return WriteString(key, text.c_str());
  return WriteString(text.c_str(), value ? value : u"");
}

HRESULT CZoProfile::DeleteSection() {
  if (!WritePrivateProfileStringW(m_section.c_str(), nullptr, nullptr, m_path.c_str()))
    return HRESULT_FROM_WIN32(GetLastError());
  return S_OK;
}

HRESULT CZoProfile::DeleteFile() {
  std::string path = vane::platform::ToUtf8(m_path);
  if (::unlink(path.c_str()) == 0) return S_OK;
  return errno == ENOENT ? S_FALSE : HRESULT_FROM_WIN32(ZoErrnoToWin32(errno));
}

CZoProfile ProfileAt(const std::u16string& path, const std::u16string& section) {
  size_t slash = path.rfind(u'/');
  CZoProfile p(slash == std::u16string::npos ? std::u16string(u".") : path.substr(0, slash),
               slash == std::u16string::npos ? path : path.substr(slash + 1));
  p.SetSection(section);
  return p;
}

bool CZoProfile::Exists() { return ::access(vane::platform::ToUtf8(m_path).c_str(), F_OK) == 0; }

}  // namespace vane::fileio
