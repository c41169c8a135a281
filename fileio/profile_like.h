// SPDX-License-Identifier: MIT
// CZoProfileLike: a section of settings; CZoProfile: its implementation over
// one section of a private-profile (.ini) file. Not thread-safe; the file
// itself tolerates concurrent writers (see platform/profile.h).
#pragma once

#include <string>

#include "platform/guid.h"
#include "platform/status.h"

namespace vane::fileio {

class CZoProfileLike {
 public:
  virtual ~CZoProfileLike() = default;                                                     // 0
  // Whether the key is present (told apart from the default by the "_._" marker).
  virtual bool GetString(const WCHAR* key, const WCHAR* def, WCHAR* buffer, DWORD capacity) = 0;  // 1
  virtual LONG GetInt(const WCHAR* key, LONG def) = 0;                                     // 2
  // GUIDs of the key's value, or with no key of the section's key names;
  // items that are no GUID are skipped. Returns the count stored.
  virtual LONG GetGuids(const WCHAR* key, GUID* out, LONG max) = 0;                        // 3
  virtual HRESULT WriteString(const WCHAR* key, const WCHAR* text) = 0;                    // 4
  virtual HRESULT WriteInt(const WCHAR* key, LONG value) = 0;                              // 5
  virtual HRESULT WriteGuid(const WCHAR* key, const GUID& guid, const WCHAR* value) = 0;   // 6
  virtual HRESULT DeleteSection() = 0;                                                     // 7
  virtual HRESULT DeleteFile() = 0;                                                        // 8
  virtual bool Exists() = 0;                                                               // 9
};

class CZoProfile final : public CZoProfileLike {
 public:
  // Joins folder and file, forces the extension "ini"; section "main".
  CZoProfile(const std::u16string& folder, const std::u16string& file);
  // The parent's file, section "<parent section>.<sub>".
  CZoProfile(const CZoProfile& parent, const std::u16string& sub);

  bool GetString(const WCHAR* key, const WCHAR* def, WCHAR* buffer, DWORD capacity) override;
  LONG GetInt(const WCHAR* key, LONG def) override;
  LONG GetGuids(const WCHAR* key, GUID* out, LONG max) override;
  HRESULT WriteString(const WCHAR* key, const WCHAR* text) override;
  HRESULT WriteInt(const WCHAR* key, LONG value) override;
  HRESULT WriteGuid(const WCHAR* key, const GUID& guid, const WCHAR* value) override;
  HRESULT DeleteSection() override;
  HRESULT DeleteFile() override;
  bool Exists() override;

  void SetSection(const std::u16string& section) { m_section = section.substr(0, 129); }
  const std::u16string& path() const { return m_path; }
  const std::u16string& section() const { return m_section; }

 private:
  std::u16string m_path;     // up to 259 characters
  std::u16string m_section;  // up to 129 characters
};

// A profile over the file at a full path, on the given section.
CZoProfile ProfileAt(const std::u16string& path, const std::u16string& section);

}  // namespace vane::fileio
